#include "live/CompleteTable.h"

#include "charts/DateText.h"
#include "foundation/Format.h"
#include "foundation/MemStream.h"
#include "foundation/records/FieldTable.h"

#include <cstring>

namespace ferro {

namespace {

TCompleteNode Group(const std::string& Caption) {
    TCompleteNode n;
    n.Caption = Caption;
    return n;
}

TCompleteNode Leaf(const std::string& Caption, TDataObj D, TFerroStruct S, TFerroStrucTyp T) {
    TCompleteNode n;
    n.Caption = Caption;
    n.Leaf = true;
    n.Tag = {D, S, T};
    return n;
}

// FormatFloat("0.###"): at most three decimals, none that are zero at the end.
std::string Float3(double v) {
    std::string s = Fmt("%.3f", v);
    while (!s.empty() && s.back() == '0')
        s.pop_back();
    if (!s.empty() && s.back() == '.') s.pop_back();
    return s == "-0" ? "0" : s;
}

// The 32 bits of a word, lowest first.
std::string DWordToBinStrLowToHi(uint32_t w) {
    std::string s(32, '0');
    for (int i = 0; i < 32; ++i)
        if (w & (1u << i)) s[size_t(i)] = '1';
    return s;
}

std::string StampText(uint32_t Sec, uint32_t Frac) {
    return Fmt("%s:%u", FormatDateTimeSecs("dd.mm.yyyy hh:nn:ss", Sec).c_str(), Frac);
}

bool IsOneOf(int v, std::initializer_list<int> set) {
    for (int s : set)
        if (v == s) return true;
    return false;
}

} // namespace

TCompleteNode TCompleteTable::FillTreeView(uint8_t Gen) {
    const TFerroStruct i = Gen >= 2 ? ssi_std_t_V2_2 : ssi_std_t_V1_0;
    const TFerroStruct is = Gen >= 2 ? ssi_s_t_V2_2 : ssi_s_t_V1_0;
    auto voltage = [](TDataObj d) {
        TCompleteNode g = Group("Spannungsmessgroessen");
        g.Children = {Leaf("Messwerte", d, ssu_std_t, stMesswerte),
                      Leaf("Polarkoordinaten", d, ssu_std_t, stPolarkoordinaten),
                      Leaf("Harmonische", d, ssu_std_t, stHarmonische),
                      Leaf("Zwischenharmonische", d, ssu_std_t, stZwischenharmonische),
                      Leaf("Phasendifferenz der Harmonischen", d, ssu_std_t, stPhasendifferenz)};
        return g;
    };
    auto current = [i](TDataObj d) {
        TCompleteNode g = Group("Strommessgroessen");
        g.Children = {Leaf("Messwerte", d, i, stMesswerte),
                      Leaf("Polarkoordinaten", d, i, stPolarkoordinaten),
                      Leaf("Harmonische", d, i, stHarmonische),
                      Leaf("Zwischenharmonische", d, i, stZwischenharmonische),
                      Leaf("Phasendifferenz der Harmonischen", d, i, stPhasendifferenz)};
        return g;
    };
    auto seconds = [is](TDataObj d, bool frequency) {
        TCompleteNode u = Group("Spannungsmessgroessen");
        u.Children = {Leaf("Messwerte", d, ssu_s_t, stMesswerte),
                      Leaf("Polarkoordinaten", d, ssu_s_t, stPolarkoordinaten),
                      Leaf("Spannungseffektivwerte", d, ssu_fb_t, stEffektivwerte)};
        TCompleteNode c = Group("Strommessgroessen");
        c.Children = {Leaf("Messwerte", d, is, stMesswerte),
                      Leaf("Polarkoordinaten", d, is, stPolarkoordinaten),
                      Leaf("Stromeffektivwerte Frequenzbaender 2..9kHz", d, ssi_fb_t, stEffektivwerte)};
        std::vector<TCompleteNode> all = {u, c, Leaf("Leistungsmessgroessen", d, ssp_std_t, stMesswerte),
                                          Leaf("Energiemessgroessen", d, ssw_t, stEnergiemessgroessen),
                                          Leaf("Temperatur", d, sstmp_t_V2_2, stMesswerte)};
        if (frequency) all.push_back(Leaf("10-Sekunden-Frequenz", do10s, ssc_10s_f, stMesswerte));
        return all;
    };

    TCompleteNode root = Group("Value (Live-Daten)");
    {
        TCompleteNode g = Group("200 MS");
        TCompleteNode u = voltage(do10T);
        u.Children.push_back(Leaf("Momentane Flickerwarnehmung", do10T, ssu_10t_t, stMesswerte));
        g.Children = {u, current(do10T)};
        root.Children.push_back(g);
    }
    {
        TCompleteNode g = Group("3 Sec");
        TCompleteNode u = voltage(do150T);
        u.Children.push_back(Leaf("Momentane Flickerwarnehmung", do150T, ssu_150t_t, stMesswerte));
        g.Children = {u, current(do150T)};
        root.Children.push_back(g);
    }
    {
        TCompleteNode g = Group("10 Min");
        TCompleteNode u = voltage(do10min);
        u.Children.push_back(Leaf("Spannungseffektivwerte", do10min, ssu_fb_t, stEffektivwerte));
        TCompleteNode ext = Group("10min-Spannungs-Extremwerte");
        ext.Children = {Leaf("Spannungs-Extremwerte", do10min, ssu_ext_t, stExtremwerte),
                        Leaf("Maxima 10/12-Perioden-Harmonische", do10min, ssu_ext_t, stMaxHarmonische)};
        u.Children.push_back(ext);
        u.Children.push_back(Leaf("10min-Spannungs-Statistikgroessen", do10min, ssu_stat_t, stMesswerte));
        TCompleteNode c = current(do10min);
        c.Children.push_back(
            Leaf("Stromeffektivwerte Frequenzbaender 2..9kHz", do10min, ssi_fb_t, stEffektivwerte));
        c.Children.push_back(Leaf("10min-Strom-Extremwerte", do10min, ssi_ext_t, stExtremwerte));
        g.Children = {u, c, Leaf("Leistungsmessgroessen", do10min, ssp_std_t, stMesswerte),
                      Leaf("10min-Leistungs-Extremwerte", do10min, ssp_ext_t, stExtremwerte),
                      Leaf("Energiemessgroessen", do10min, ssw_t, stEnergiemessgroessen)};
        root.Children.push_back(g);
    }
    {
        TCompleteNode g = Group("2 Stunden");
        TCompleteNode u = voltage(do2h);
        u.Children.push_back(Leaf("2h-Spannungsmessgroessen", do2h, ssu_2h_t, stMesswerte));
        u.Children.push_back(Leaf("Spannungseffektivwerte", do2h, ssu_fb_t, stEffektivwerte));
        TCompleteNode c = current(do2h);
        c.Children.push_back(
            Leaf("Stromeffektivwerte Frequenzbaender 2..9kHz", do2h, ssi_fb_t, stEffektivwerte));
        g.Children = {u, c, Leaf("Leistungsmessgroessen", do2h, ssp_std_t, stMesswerte),
                      Leaf("Energiemessgroessen", do2h, ssw_t, stEnergiemessgroessen)};
        root.Children.push_back(g);
    }
    for (auto [d, caption] : {std::pair{do1s, "1 Sec"}, {doNs, "n Sec"}, {doMmin, "m Min"}}) {
        TCompleteNode g = Group(caption);
        g.Children = seconds(d, d == do1s);
        root.Children.push_back(g);
    }
    root.Children.push_back(Leaf("Oszilloskopischen Online Streams", doOsc,
                                 Gen >= 2 ? ssosc_dta_t_V2_2 : ssosc_dta_t_V1_0, stMesswerte));
    return root;
}

void TCompleteTable::Select(const TFerroTag& Tag, uint8_t Gen) {
    FTag = Tag;
    FGen = Gen;
    FillStringList();
    CreateCols();
}

void TCompleteTable::FillStringList() {
    FRows.clear();
    FTailStride = 0;
    const TRecordDef* rec = TFieldTable::Instance().RecordFor(FTag.FerroDataObj, FGen);
    const TMemberDef* m = rec ? rec->Member(FTag.FerroStruc) : nullptr;
    if (!m) return;
    if (rec->HasTail() && m == &rec->TailMember) {
        FTailStart = rec->Size;
        FTailStride = rec->TailType->Size;
        FTailCountOffs = rec->TailCountOffs;
    }
    for (const TFieldDef& f : m->Type->Fields)
        if (f.StrucTyp == FTag.FerroStrucTyp)
            FRows.push_back({f.Name, m->Offs + f.Offs, FieldTypeKind(f.Kind), f.Count});
}

void TCompleteTable::CreateCols() {
    FCols.clear();
    const int s = FTag.FerroStruc, t = FTag.FerroStrucTyp;
    auto perField = [this](const char* first) {
        FCols.push_back({first, 120});
        for (const TGridRec& r : FRows)
            FCols.push_back({r.Symb, 120});
    };
    if (FTailStride) {
        perField("Abtastwert");
    } else if (s == ssu_ext_t && t == stMaxHarmonische) {
        FCols.push_back({"Bezeichner", 120});
        for (const char* c : {"u1E / u1N", "u2E / u2N", "u3E / u3N", "u0E / uNE", "u12", "u23", "u31"})
            FCols.push_back({c, 200});
    } else if (IsOneOf(s, {ssu_ext_t, ssi_ext_t, ssp_ext_t, ssw_t, ssc_10s_f})) {
        FCols = {{"Bezeichner", 250}, {"Value", 120}, {"Time", 200}};
    } else if (t == stEffektivwerte) {
        perField("FrqBand");
    } else if (t == stHarmonische || t == stZwischenharmonische) {
        perField("Harmonische");
    } else if (t == stPhasendifferenz) {
        perField("Phase");
    } else if (t == stPolarkoordinaten) {
        FCols = {{"Bezeichner", 250}, {"Betrag", 120}, {"Phase", 120}};
    } else {
        FCols = {{"Bezeichner", 250}, {"Value", 120}};
    }
}

int TCompleteTable::RowCount(const std::vector<uint8_t>& Bytes) const {
    const int s = FTag.FerroStruc, t = FTag.FerroStrucTyp;
    if (FTailStride) {
        if (Bytes.size() < size_t(FTailCountOffs) + 4) return 0;
        const uint32_t n = MemStream::peekU32(Bytes.data() + FTailCountOffs);
        // No more rows than the object carries, whatever its count word says.
        const size_t fit = Bytes.size() > FTailStart ? (Bytes.size() - FTailStart) / FTailStride : 0;
        return int(std::min<size_t>(n, fit));
    }
    if (s == ssu_ext_t && t == stMaxHarmonische) return 49;
    if (t == stEffektivwerte) return 35;
    if (t == stHarmonische) return 51;
    if (t == stZwischenharmonische) return 50;
    if (t == stPhasendifferenz) return 49;
    return int(FRows.size());
}

bool TCompleteTable::GetValueFromBytes(const std::vector<uint8_t>& Bytes, int Row, int Col,
                                       std::string& Out) const {
    Out.clear();
    if (Bytes.empty() || Row < 0 || Col < 0 || Col >= int(FCols.size())) return false;
    return ReadCell(Bytes, Row, Col, Out);
}

bool TCompleteTable::ReadCell(const std::vector<uint8_t>& Bytes, int Row, int Col, std::string& Out) const {
    const int s = FTag.FerroStruc, t = FTag.FerroStrucTyp;
    // Every read is checked against the object's length: a short object leaves the cell empty.
    auto f32 = [&](size_t at, float& v) {
        if (at + 4 > Bytes.size()) return false;
        std::memcpy(&v, Bytes.data() + at, 4);
        return true;
    };
    auto u32 = [&](size_t at, uint32_t& v) {
        if (at + 4 > Bytes.size()) return false;
        v = MemStream::peekU32(Bytes.data() + at);
        return true;
    };
    const bool fieldRows =
        !FTailStride && t < stPhasendifferenz && !(s == ssu_ext_t && t == stMaxHarmonische);
    if (Col == 0) {
        if (FTailStride || t >= stHarmonische || (s == ssu_ext_t && t == stMaxHarmonische))
            Out = std::to_string(Row);
        else if (t == stPhasendifferenz)
            Out = std::to_string(Row + 2);
        else if (Row < int(FRows.size()))
            Out = FRows[size_t(Row)].Symb;
        return !Out.empty();
    }
    if (fieldRows && Row >= int(FRows.size())) return false;
    const TGridRec* byRow = fieldRows ? &FRows[size_t(Row)] : nullptr;
    const TGridRec* byCol = !fieldRows && Col - 1 < int(FRows.size()) ? &FRows[size_t(Col - 1)] : nullptr;
    float v = 0;
    uint32_t w = 0, sec = 0, frac = 0;

    if (FTailStride) {
        if (!byCol || !f32(FTailStart + size_t(Row) * FTailStride + (byCol->Offs - FTailStart), v))
            return false;
        Out = Float3(v);
        return true;
    }
    if (IsOneOf(s, {ssu_ext_t, ssi_ext_t, ssp_ext_t})) {
        if (t == stMaxHarmonische) {
            if (!byCol) return false;
            const size_t at = byCol->Offs + size_t(Row) * 12;
            if (!u32(at, sec) || !u32(at + 4, frac) || !f32(at + 8, v)) return false;
            Out = Fmt("%s:%u - %g", FormatDateTimeSecs("dd.mm.yyyy hh:nn:ss", sec).c_str(), frac, double(v));
            return true;
        }
        if (!u32(byRow->Offs, sec) || !u32(byRow->Offs + 4, frac) || !f32(byRow->Offs + 8, v)) return false;
        Out = Col == 1 ? Float3(v) : StampText(sec, frac);
        return true;
    }
    if (s == ssw_t) {
        if (Col != 1) return false;
        if (byRow->TypKind == 14) {
            if (!u32(byRow->Offs, frac) || !u32(byRow->Offs + 4, sec)) return false;
            Out = StampText(sec, frac);
            return true;
        }
        if (byRow->Offs + 8 > Bytes.size()) return false;
        double d = 0;
        std::memcpy(&d, Bytes.data() + byRow->Offs, 8);
        Out = Float3(d);
        return true;
    }
    if (IsOneOf(s, {ssu_10t_t, ssu_150t_t}) && byRow) {
        if (byRow->TypKind == 1) {
            if (!u32(byRow->Offs, w)) return false;
            Out = DWordToBinStrLowToHi(w);
            return true;
        }
        if (!f32(byRow->Offs, v)) return false;
        Out = Float3(v);
        return true;
    }
    if (byRow) {
        // Single values, and the polar pairs: magnitude, then the angle four bytes on.
        if (Col > 2 || (Col == 2 && t != stPolarkoordinaten)) return false;
        if (!f32(byRow->Offs + (Col == 2 ? 4 : 0), v)) return false;
        Out = Float3(v);
        return true;
    }
    // Arrays by row at the column's field.
    if (!byCol || !f32(byCol->Offs + size_t(Row) * 4, v)) return false;
    Out = Float3(v);
    return true;
}

} // namespace ferro
