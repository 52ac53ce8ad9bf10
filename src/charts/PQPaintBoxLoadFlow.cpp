#include "charts/PQPaintBoxLoadFlow.h"

#include "charts/DateText.h"
#include "charts/NumFormat.h"
#include "foundation/Format.h"

#include <algorithm>
#include <cmath>

namespace ferro {

std::string TPQPaintBoxLoadFlow::GetCaption() const {
    return Fmt("%s [%s]", chartdefs::DispCaption(sdLoadFlow).c_str(), StampToText(FTSStart).c_str());
}

void TPQPaintBoxLoadFlow::SetBasicAngle(float A1, float A2, float A3) {
    FBasicAngle = {A1, A2, A3};
}

void TPQPaintBoxLoadFlow::SetHarmUMag(int Channel, const THrm& V) {
    if (Channel >= 0 && Channel < 3) FHrmUMag[size_t(Channel)] = V;
}

void TPQPaintBoxLoadFlow::SetHarmIMag(int Channel, const THrm& V) {
    if (Channel >= 0 && Channel < 3) FHrmIMag[size_t(Channel)] = V;
}

void TPQPaintBoxLoadFlow::HrmRescale() {
    TPQPaintBoxHarm::HrmRescale();
    auto top = [this](const std::array<THrm, 3>& mag) {
        float m = 0;
        for (const auto& phase : mag)
            for (int i = 0; i <= FHrmMaxIdx; ++i) {
                const float v = phase[size_t(i)];
                if (std::isfinite(v) && v > m) m = v;
            }
        return float(RoundUp(m));
    };
    FHrmMaxU = top(FHrmUMag);
    FHrmMaxI = top(FHrmIMag);
}

void TPQPaintBoxLoadFlow::PaintStatic(TCanvas& Canvas) {
    PaintGrid(Canvas, 4, true);
    PaintSlots(Canvas, FFerroDisp == sdHrmULE || FFerroDisp == sdHrmULL, false);
}

void TPQPaintBoxLoadFlow::PaintInner(TCanvas& Canvas) {
    if (!FPlotValid) return;
    for (int i = std::max(FHrmStartIdx, 0); i <= FHrmMaxIdx; ++i)
        PaintPlainBars(Canvas, i);

    const int a = FHrmActIdx;
    if (a < 0 || a > FHrmMaxIdx) return;
    const size_t s = size_t(a);
    std::string text = "Index: " + FHrmTxt[s];
    for (size_t p = 0; p < 3; ++p)
        text += Fmt("\r\n%s=%s  U=%s  I=%s  Phi=%s", FHrmMeas[p].c_str(),
                    FltToStrShrt(FHrmVal[p][s], 2, buAuto, DetailUnit(a)).c_str(),
                    FltToStrShrt(FHrmUMag[p][s], 2, buAuto, CVolt).c_str(),
                    FltToStrShrt(FHrmIMag[p][s], 2, buAuto, CAmpere).c_str(),
                    FltToStrShrt(Correct180(FBasicAngle[p]), 1, buPlain, CGrad).c_str());
    PaintDetailBox(Canvas, text);
}

} // namespace ferro
