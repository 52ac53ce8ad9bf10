#include "para/EasyPara.h"

#include "foundation/Format.h"
#include "para/ParaHelper.h"
#include "para/SetupDocument.h"
#include "para/XMLLangu.h"

#include <cmath>

namespace ferro {

namespace {

const char* const CLengthWarning =
    "Achtung: Die Eingabe der minimalen und maximalen Störschrieblänge sowie der Pretrigger länge sind "
    "nicht Schlüssig. Bitte Überprüfen Sie Ihre Eingaben.";
const char* const CWandlerWarning = "Bitte prüfen Sie die Nennspannung in Abhängigkeit der "
                                    "Spannungswandlerfaktoren. Die eingegebenen Parameter sind unplausibel";
// The display of a length whose rate or frequency is not in the document.
const char* const CNoBase = "Check ME";

bool IsOsciLength(uint32_t Id) {
    return Id == easyid::OsciMin || Id == easyid::OsciMax || Id == easyid::OsciPre;
}
bool IsTrmsLength(uint32_t Id) {
    return Id == easyid::TrmsMin || Id == easyid::TrmsMax || Id == easyid::TrmsPre;
}
bool IsCurrentThreshold(uint32_t Id) {
    return Id >= easyid::CurrentFirst && Id <= easyid::CurrentLast && (Id & 0xFFFF) == 0;
}

// Round half to even, as the instrument's own tools round.
double RoundEven(double V) {
    return std::nearbyint(V);
}

} // namespace

uint32_t HarmonicLimitId(int Order) {
    const int h = Order < 2 ? 2 : Order > 50 ? 50 : Order;
    return easyid::HarmFirst + uint32_t(h - 2) * 256;
}

void TEasyPara::Reset(TSetupDocument* Doc, const TXMLLangu* Lang, int Level, uint8_t Gen, char DecimalSep) {
    FDoc = Doc;
    FLang = Lang;
    FLevel = Level;
    FGen = Gen;
    FDecimalSep = DecimalSep;
    FRows.clear();
}

TGridRow* TEasyPara::Bind(uint32_t Id) {
    if (Id == 0 || !FDoc || !FDoc->Loaded()) return nullptr;
    if (auto it = FRows.find(Id); it != FRows.end()) return &it->second;
    pugi::xml_node node;
    std::string parent;
    if (!FDoc->GetNode(Id, node, parent)) return nullptr;
    TGridRow row;
    try {
        if (!GetGridRow(FLevel, parent, node, row, FLang, FDoc->ChangeList())) return nullptr;
    } catch (const TParaError&) {
        return nullptr;
    }
    return &FRows.emplace(Id, std::move(row)).first->second;
}

TGridRow* TEasyPara::Row(uint32_t Id) {
    auto it = FRows.find(Id);
    return it == FRows.end() ? nullptr : &it->second;
}

const TGridRow* TEasyPara::Row(uint32_t Id) const {
    auto it = FRows.find(Id);
    return it == FRows.end() ? nullptr : &it->second;
}

double TEasyPara::GetVal(uint32_t Id) const {
    const TGridRow* r = Row(Id);
    return r ? r->RowVal.AsFloat() : 0;
}

uint32_t TEasyPara::ReplaceTag(uint32_t Id) const {
    if (FGen == 0) return Id;
    // The newer layout moved the binary-input and network triggers of both recorders.
    switch (Id & 0xF0FFFFFF) {
    case 0x10030059:
        return (Id & 0x0F000000) | 0x10030061;
    case 0x1003005A:
        return (Id & 0x0F000000) | 0x10030062;
    case 0x1003005D:
        return (Id & 0x0F000000) | 0x10030071;
    case 0x1003005E:
        return (Id & 0x0F000000) | 0x10030072;
    default:
        return Id;
    }
}

double TEasyPara::NominalFrequency() const {
    const TGridRow* r = Row(easyid::Frequency);
    if (!r) return 0;
    // A list of nominal frequencies may key its entries by index: the entry's text names the Hertz.
    if (r->IsList) {
        const std::string text = r->ListText(r->RowVal.AsString());
        if (const auto hz = ParseFloat(text.substr(0, text.find(' '))); hz && *hz >= 1) return *hz;
    }
    return r->RowVal.AsFloat();
}

bool TEasyPara::ToDisplay(uint32_t Id, double Stored, double& Display) const {
    if (IsOsciLength(Id)) {
        const double rate = GetVal(easyid::OsciRate);
        Display = rate > 0 ? RoundEven(Stored * 1000 / rate) : NAN;
    } else if (IsTrmsLength(Id)) {
        const double f = NominalFrequency();
        Display = f > 0 ? RoundEven((Stored / 2) / f * 1000) : NAN;
    } else if (IsCurrentThreshold(Id)) {
        if (!FAmpDisplay) return false;
        Display = Stored * FNennStrom / 100;
    } else if (Id == easyid::RcmRated) {
        Display = Stored * 1000;
    } else {
        return false;
    }
    return true;
}

bool TEasyPara::FromDisplay(uint32_t Id, double Display, double& Stored) const {
    if (IsOsciLength(Id)) {
        Stored = RoundEven(GetVal(easyid::OsciRate) * (Display / 1000));
    } else if (IsTrmsLength(Id)) {
        Stored = RoundEven(NominalFrequency() * Display * 2 / 1000);
    } else if (IsCurrentThreshold(Id)) {
        if (!FAmpDisplay) return false;
        if (FNennStrom == 0) return false;
        Stored = Display / FNennStrom * 100;
    } else if (Id == easyid::RcmRated) {
        Stored = Display / 1000;
    } else {
        return false;
    }
    return true;
}

std::string TEasyPara::GetSpecialVal(uint32_t Id) const {
    const TGridRow* r = Row(Id);
    if (!r) return std::string();
    double shown = 0;
    if (!ToDisplay(Id, r->RowVal.AsFloat(), shown)) return r->ValText(FDecimalSep);
    return std::isnan(shown) ? CNoBase : FormatFloat(shown, FDecimalSep);
}

bool TEasyPara::SetSpecialVal(const std::string& Text, uint32_t Id, std::string& Display, bool& Corrected) {
    Corrected = false;
    TGridRow* r = Row(Id);
    if (!r) return false;
    std::string stored = Text;
    double typed = 0, value = 0;
    const auto parsed = ParseFloat(Text);
    const bool converts = parsed && ToDisplay(Id, 0, typed) && FromDisplay(Id, *parsed, value);
    if (converts) stored = FormatFloat(value);
    // Limits, default and the corrected value are told in the page's unit.
    auto shown = [&](const std::string& S) {
        double v = 0, d = 0;
        const auto p = ParseFloat(S);
        return converts && p && ToDisplay(Id, *p, d) && !std::isnan(d) ? (v = d, FormatFloat(v, FDecimalSep))
                                                                       : S;
    };
    std::string out;
    r->CheckValue(
        stored,
        [&](const std::string&, const std::string& Min, const std::string& Max, const std::string& Def,
            const std::string& OutVal, const std::string&) {
            Message(RangeMessage(r->RowCap, shown(Min), shown(Max), shown(Def), shown(OutVal)));
        },
        Corrected, out, FDecimalSep);
    Write(*r, out);
    Display = GetSpecialVal(Id);
    return true;
}

bool TEasyPara::SetStoredVal(const std::string& Text, uint32_t Id, bool& Corrected) {
    Corrected = false;
    TGridRow* r = Row(Id);
    if (!r) return false;
    std::string out;
    r->CheckValue(
        Text,
        [&](const std::string&, const std::string& Min, const std::string& Max, const std::string& Def,
            const std::string& OutVal,
            const std::string&) { Message(RangeMessage(r->RowCap, Min, Max, Def, OutVal)); },
        Corrected, out, FDecimalSep);
    Write(*r, out);
    return true;
}

void TEasyPara::Write(TGridRow& Row, const std::string& Text) {
    if (FDoc && Row.Node) FDoc->ChangeCell(Row.Node, Text, Row.Equal, Row.RowTyp);
}

void TEasyPara::Message(const std::string& Text) const {
    if (FMessage) FMessage(Text);
}

bool TEasyPara::CheckLengths(uint32_t AnyLengthId) {
    const bool osci = IsOsciLength(AnyLengthId);
    const uint32_t lo = osci ? easyid::OsciMin : easyid::TrmsMin,
                   hi = osci ? easyid::OsciMax : easyid::TrmsMax,
                   pre = osci ? easyid::OsciPre : easyid::TrmsPre;
    if (!Row(lo) || !Row(hi) || !Row(pre)) return true;
    if (GetVal(pre) <= GetVal(lo) && GetVal(lo) <= GetVal(hi)) return true;
    Message(CLengthWarning);
    return false;
}

void TEasyPara::FillWandler() {
    TWandlerRec& w = FWandlerRec;
    w.WLFU = float(GetVal(easyid::WLFU));
    w.WLFI = float(GetVal(easyid::WLFI));
    for (uint32_t i = 0; i < 4; ++i) {
        w.WLKFU[i] = float(GetVal(easyid::WLKFU1 + 256 * i));
        w.WLKFI[i] = float(GetVal(easyid::WLKFI1 + 256 * i));
    }
    w.SekNennSpannung = float(GetVal(easyid::SekNennSpannung));
    w.NormLLSp = float(GetVal(easyid::NormLLSp));
    const double form = GetVal(easyid::Netzform);
    w.Netzform = form >= 2 ? nf3L : form >= 1 ? nf4L1ph : nf4L3Pf;
    w.CalcOutputs();
    UpdateNennStrom();
}

bool TEasyPara::WriteWandler(const char* LEText, const char* LLText) {
    FAlreadyWarned = false;
    TWandlerRec& w = FWandlerRec;
    w.NennspannungChange(LEText, LLText);
    // Everything is checked before anything is written: a refused set leaves the document whole.
    bool ok = true;
    auto check = [&](uint32_t Id, float Value, bool Mend) -> std::string {
        TGridRow* r = Row(Id);
        if (!r) return std::string();
        TGridRow probe = *r;
        bool corrected = false;
        std::string out;
        probe.CheckValue(FormatFloat(Value), nullptr, corrected, out);
        if (corrected && Mend) {
            // NormLLSp outside its limits: the limit, and the secondary voltage that keeps the primary.
            const double lo = r->RowMin.AsFloat(), hi = r->RowMax.AsFloat();
            w.NormLLSp = float(Value < lo ? lo : hi);
            w.FitSekNennSpannung();
            return FormatFloat(w.NormLLSp);
        }
        if (corrected) {
            if (FLog)
                FLog(Fmt("Error for %s Min: %s Max: %s Def: %s", r->IDStr.c_str(), r->MinText().c_str(),
                         r->MaxText().c_str(), r->DefText().c_str()));
            if (!FAlreadyWarned) Message(CWandlerWarning);
            FAlreadyWarned = true;
            ok = false;
        }
        return out;
    };
    std::vector<std::pair<uint32_t, std::string>> texts;
    texts.emplace_back(easyid::WLFU, check(easyid::WLFU, w.WLFU, false));
    for (uint32_t i = 0; i < 4; ++i)
        texts.emplace_back(easyid::WLKFU1 + 256 * i, check(easyid::WLKFU1 + 256 * i, w.WLKFU[i], false));
    texts.emplace_back(easyid::WLFI, check(easyid::WLFI, w.WLFI, false));
    for (uint32_t i = 0; i < 4; ++i)
        texts.emplace_back(easyid::WLKFI1 + 256 * i, check(easyid::WLKFI1 + 256 * i, w.WLKFI[i], false));
    texts.emplace_back(easyid::NormLLSp, check(easyid::NormLLSp, w.NormLLSp, true));
    texts.emplace_back(easyid::SekNennSpannung, check(easyid::SekNennSpannung, w.SekNennSpannung, false));
    if (!ok) return false;
    for (const auto& [id, text] : texts) {
        // A value the document has within the float tolerance keeps its text: nothing moves for nothing.
        const TGridRow* r = Row(id);
        const auto v = ParseFloat(text);
        if (text.empty() || !r || (v && std::fabs(*v - r->RowVal.AsFloat()) <= 1E-5)) continue;
        bool corrected = false;
        SetStoredVal(text, id, corrected);
    }
    w.CalcOutputs();
    UpdateNennStrom();
    return true;
}

std::string TEasyPara::RcmPrimary() const {
    return FormatFloat(GetVal(easyid::RcmRated) * GetVal(easyid::RcmRatio) * 1000, FDecimalSep);
}

std::string TEasyPara::RcmSecondaryFor(const std::string& PrimaryMilliAmp) const {
    const double ratio = GetVal(easyid::RcmRatio);
    const double primary = ParseFloat(PrimaryMilliAmp).value_or(0);
    return ratio > 0 ? FormatFloat(primary / ratio, FDecimalSep) : std::string();
}

TTZI TEasyPara::DeviceZone() const {
    return ZoneFromSetting([this](uint32_t Id) { return uint32_t(GetVal(Id)); });
}

void TEasyPara::WriteZone(const TTZI& Zone) {
    for (const auto& [id, value] : ZoneSettingValues(Zone)) {
        bool corrected = false;
        SetStoredVal(std::to_string(value), id, corrected);
    }
}

} // namespace ferro
