#include "para/Wandler.h"

#include "para/VarValue.h"

#include <cmath>
#include <limits>

namespace ferro {

namespace {

const float CSqrt3 = std::sqrt(3.0f);

float Leading(const float (&Ratio)[4], float (&Corr)[4]) {
    float lead = std::numeric_limits<float>::quiet_NaN();
    for (float f : Ratio)
        if (std::isnan(lead) || std::fabs(lead) < std::fabs(f)) lead = std::fabs(f);
    // The sign stays with the channel: a reversed transformer keeps its negative correction.
    for (int i = 0; i < 4; ++i)
        Corr[i] = Ratio[i] / lead;
    return lead;
}

float NumberOr(const char* Text, float Default) {
    const auto v = Text ? ParseFloat(Text) : std::nullopt;
    return v ? float(*v) : Default;
}

} // namespace

void TWandlerRec::CalcInputs() {
    WLFU = Leading(WFU, WLKFU);
    WLFI = Leading(WFI, WLKFI);
}

void TWandlerRec::CalcOutputs() {
    for (int i = 0; i < 4; ++i) {
        WFU[i] = WLFU * WLKFU[i];
        WFI[i] = WLFI * WLKFI[i];
    }
    // The voltage the user types is worked out directly, so that 230 V shows as 230 and not as 229.99998.
    const float typed = SekNennSpannung * NormLLSp * WLFU / 100;
    if (Netzform == nf3L) {
        NennSpannungLL = typed;
        NennSpannungLE = typed / CSqrt3;
    } else {
        NennSpannungLE = typed;
        NennSpannungLL = CSqrt3 * typed;
    }
}

int TWandlerRec::ChangeNetzform(TNetzForm New) {
    const TNetzForm old = Netzform;
    Netzform = New;
    for (int i = 0; i < 4; ++i)
        WFU[i] = WFI[i] = 1.0f;
    CalcInputs();
    int range = -1;
    if (old == nf3L && New != nf3L) {
        NennSpannungLE = 230;
        NennSpannungLL = CSqrt3 * 230;
        SekNennSpannung = 230;
        NormLLSp = 100;
        range = 0;
    } else if (old != nf3L && New == nf3L) {
        NennSpannungLL = 100;
        NennSpannungLE = 100 / CSqrt3;
        SekNennSpannung = 100;
        NormLLSp = 100 / WLFU;
        range = 4;
    }
    return range;
}

void TWandlerRec::NennspannungChange(const char* LEText, const char* LLText) {
    if (Netzform == nf3L) {
        NennSpannungLL = NumberOr(LLText, 100);
        NennSpannungLE = NennSpannungLL / CSqrt3;
        NormLLSp = NennSpannungLL * 100 / (SekNennSpannung * WLFU);
    } else {
        NennSpannungLE = NumberOr(LEText, 230);
        NennSpannungLL = CSqrt3 * NennSpannungLE;
        NormLLSp = NennSpannungLE * 100 / (SekNennSpannung * WLFU);
    }
}

void TWandlerRec::FitSekNennSpannung() {
    // Three wires: the line-to-line voltage is what the user typed (sqrt(3) x LE, without its rounding).
    SekNennSpannung = (Netzform == nf3L ? NennSpannungLL : NennSpannungLE) * 100 / (NormLLSp * WLFU);
}

} // namespace ferro
