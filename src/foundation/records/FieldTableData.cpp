// The layouts of all measurement records. Offsets are wire format: they must not move.
// docs/records.md shows the same table as text.

#include "foundation/records/FieldTable.h"
#include "foundation/records/FieldTableBuilder.h"
#include "foundation/records/Units.h"

#include "foundation/Sammler.h"

#include <initializer_list>

namespace ferro {

namespace {

// Measuring channels in wire order.
const std::vector<std::string> kU7 = {"U1E", "U2E", "U3E", "UNE", "U12", "U23", "U31"};
const std::vector<std::string> kI4 = {"I1", "I2", "I3", "IN"};
// Phase-resolved quantities: three phases, then the sum.
const std::vector<std::string> kPhaseSum = {" L1", " L2", " L3", " total"};
// The flicker channels: line to earth and line to line, no neutral.
const std::vector<std::string> kFlicker = {"U1E", "U2E", "U3E", "U12", "U23", "U31"};
const std::vector<std::string> kOscU = {"u1", "u2", "u3", "uN", "u12", "u23", "u31"};
const std::vector<std::string> kOscI = {"i1", "i2", "i3", "iN"};

class SubBuilder {
public:
    SubBuilder(TSubRecDef& d) : d_(d) {}

    SubBuilder& add(const std::string& name, uint32_t offs, TFieldKind kind, uint32_t count, const char* unit,
                    TFerroStrucTyp typ) {
        d_.Fields.push_back(TFieldDef{name, offs, kind, count, unit, typ});
        return *this;
    }
    SubBuilder& f32(const std::string& name, uint32_t offs, const char* unit,
                    TFerroStrucTyp typ = stMesswerte) {
        return add(name, offs, fkF32, 1, unit, typ);
    }
    SubBuilder& u32(const std::string& name, uint32_t offs, const char* unit = CNoUnit,
                    TFerroStrucTyp typ = stMesswerte) {
        return add(name, offs, fkU32, 1, unit, typ);
    }
    // One field per name, `step` bytes apart, each named prefix + name + suffix.
    SubBuilder& row(const std::string& prefix, const std::vector<std::string>& names, uint32_t offs,
                    uint32_t step, TFieldKind kind, uint32_t count, const char* unit,
                    TFerroStrucTyp typ = stMesswerte, const std::string& suffix = "") {
        for (size_t i = 0; i < names.size(); ++i)
            add(prefix + names[i] + suffix, offs + uint32_t(i) * step, kind, count, unit, typ);
        return *this;
    }
    SubBuilder& rowF(const std::string& prefix, const std::vector<std::string>& names, uint32_t offs,
                     const char* unit, TFerroStrucTyp typ = stMesswerte) {
        return row(prefix, names, offs, 4, fkF32, 1, unit, typ);
    }

private:
    TSubRecDef& d_;
};

std::vector<std::string> first(const std::vector<std::string>& v, size_t n) {
    return std::vector<std::string>(v.begin(), v.begin() + long(n));
}

// The voltage block that the one-second values and the standard values share (176 bytes).
void voltageBase(SubBuilder& b) {
    b.f32("F", 0, CHertz)
        .rowF("", kU7, 4, CVolt)
        .row("", kU7, 32, 8, fkF32, 2, CVolt, stPolarkoordinaten, " polar")
        .f32("U+", 88, CVolt)
        .f32("U-", 92, CVolt)
        .f32("U0", 96, CVolt)
        .f32("Umean LE", 100, CVolt)
        .f32("Umean LL", 104, CVolt)
        .f32("UU0", 108, CPercent)
        .f32("UU", 112, CPercent)
        .f32("MSV", 116, CVolt)
        .rowF("THD ", kU7, 120, CPercent)
        .rowF("CF ", kU7, 148, CNoUnit);
}

// The current block that the one-second values and the standard values share (160 bytes).
void currentBase(SubBuilder& b) {
    b.rowF("", kI4, 0, CAmpere)
        .row("", kI4, 16, 8, fkF32, 2, CAmpere, stPolarkoordinaten, " polar")
        .rowF("CF ", kI4, 48, CNoUnit)
        .f32("I+", 64, CAmpere)
        .f32("I-", 68, CAmpere)
        .f32("I0", 72, CAmpere)
        .f32("IU", 76, CPercent)
        .rowF("THD ", kI4, 80, CPercent)
        .rowF("TDD ", kI4, 96, CPercent)
        .rowF("K ", kI4, 112, CNoUnit)
        .rowF("H1 ", kI4, 128, CAmpere)
        .f32("Imean", 144, CAmpere)
        .f32("IN calc", 148, CAmpere)
        .f32("IU0", 152, CPercent)
        .f32("Imax", 156, CAmpere);
}

// Harmonics (51), interharmonics (50) of each channel, one channel after the other, 404 bytes each.
void harmonicBlocks(SubBuilder& b, const std::vector<std::string>& ch, uint32_t offs, const char* unit) {
    for (size_t c = 0; c < ch.size(); ++c) {
        uint32_t base = offs + uint32_t(c) * 404;
        b.add("H " + ch[c], base, fkF32, 51, unit, stHarmonische);
        b.add("IH " + ch[c], base + 204, fkF32, 50, unit, stZwischenharmonische);
    }
}

} // namespace

void TFieldTableBuilder::Build(TFieldTable& t) {
    auto sub = [&t](const std::string& name, uint32_t size, int st) -> TSubRecDef& {
        auto d = std::make_unique<TSubRecDef>();
        d->TypeName = name;
        d->Size = size;
        d->Struct = st;
        t.subRecords_.push_back(std::move(d));
        return *t.subRecords_.back();
    };

    // ---- Object headers ----
    {
        SubBuilder b(sub("hdr20_t", 20, -1));
        b.u32("ObjID", 0).add("TS", 4, fkStamp, 1, CNoUnit, stMesswerte).u32("Res1", 12).u32("Res2", 16);
    }
    {
        SubBuilder b(sub("hdr16_t", 16, -1));
        b.u32("ObjID", 0).add("TS", 4, fkStamp, 1, CNoUnit, stMesswerte).u32("Res1", 12);
    }

    // ---- Voltage ----
    {
        SubBuilder b(sub("u_s_t", 176, ssu_s_t));
        voltageBase(b);
    }
    {
        // 204..223 reserved.
        SubBuilder b(sub("u_std_t", 3640, ssu_std_t));
        voltageBase(b);
        b.rowF("TIHD ", kU7, 176, CPercent);
        harmonicBlocks(b, kU7, 224, CPercent);
        b.row("Phi H ", first(kU7, 3), 3052, 196, fkF32, 49, CGrad, stPhasendifferenz);
    }
    for (const char* name : {"u_10t_t", "u_150t_t"}) {
        SubBuilder b(sub(name, 28, std::string(name) == "u_10t_t" ? ssu_10t_t : ssu_150t_t));
        b.u32("Flags", 0).rowF("Pinst ", kFlicker, 4, CNoUnit);
    }
    {
        SubBuilder b(sub("u_fb_t", 980, ssu_fb_t));
        b.row("FB ", kU7, 0, 140, fkF32, 35, CVolt, stEffektivwerte);
    }
    {
        SubBuilder b(sub("u_ext_t", 4308, ssu_ext_t));
        b.row("Umax ", kU7, 0, 12, fkExtrem, 1, CVolt, stExtremwerte)
            .row("Umin ", kU7, 84, 12, fkExtrem, 1, CVolt, stExtremwerte)
            .add("Fmax", 168, fkExtrem, 1, CHertz, stExtremwerte)
            .add("Fmin", 180, fkExtrem, 1, CHertz, stExtremwerte)
            .row("Hmax ", kU7, 192, 588, fkExtrem, 49, CPercent, stMaxHarmonische);
    }
    {
        SubBuilder b(sub("u_stat_t", 48, ssu_stat_t));
        b.rowF("Pst ", kFlicker, 0, CNoUnit)
            .rowF("Uover ", first(kU7, 3), 24, CPercent)
            .rowF("Uunder ", first(kU7, 3), 36, CPercent);
    }
    {
        SubBuilder b(sub("u_2h_t", 24, ssu_2h_t));
        b.rowF("Plt ", kFlicker, 0, CNoUnit);
    }

    // ---- Current ----
    {
        SubBuilder b(sub("i_s_t_V1_0", 160, ssi_s_t_V1_0));
        currentBase(b);
    }
    {
        // The residual current joins at the end, so nothing of the older block moves.
        SubBuilder b(sub("i_s_t_V2_2", 164, ssi_s_t_V2_2));
        currentBase(b);
        b.f32("IR", 160, CAmpere);
    }
    auto currentStd = [](SubBuilder& b) {
        currentBase(b);
        harmonicBlocks(b, kI4, 160, CAmpere);
        b.row("Phi H ", first(kI4, 3), 1776, 196, fkF32, 49, CGrad, stPhasendifferenz);
    };
    {
        SubBuilder b(sub("i_std_t_V1_0", 2364, ssi_std_t_V1_0));
        currentStd(b);
    }
    {
        SubBuilder b(sub("i_std_t_V2_2", 2576, ssi_std_t_V2_2));
        currentStd(b);
        b.f32("IR", 2364, CAmpere)
            .f32("THD IR", 2368, CPercent)
            .add("H IR", 2372, fkF32, 51, CAmpere, stHarmonische);
    }
    {
        SubBuilder b(sub("i_fb_t", 560, ssi_fb_t));
        b.row("FB ", kI4, 0, 140, fkF32, 35, CAmpere, stEffektivwerte);
    }
    {
        SubBuilder b(sub("i_ext_t", 96, ssi_ext_t));
        b.row("Imax ", kI4, 0, 12, fkExtrem, 1, CAmpere, stExtremwerte)
            .row("Imin ", kI4, 48, 12, fkExtrem, 1, CAmpere, stExtremwerte);
    }

    // ---- Power, energy, temperature ----
    {
        const std::vector<std::string> ps = {"1", "2", "3", " total"};
        SubBuilder b(sub("p_std_t", 224, ssp_std_t));
        for (uint32_t ph = 0; ph < 3; ++ph)
            b.f32("P" + ps[ph], 12 * ph, CWatt)
                .f32("Q" + ps[ph], 12 * ph + 4, CVoltAmpRea)
                .f32("S" + ps[ph], 12 * ph + 8, CVoltAmpere);
        b.f32("P total", 36, CWatt).f32("Q total", 40, CVoltAmpRea).f32("S total", 44, CVoltAmpere);
        // Fundamental and non-fundamental powers after IEEE 1459, one group of four per phase.
        for (uint32_t g = 0; g < 4; ++g)
            b.f32("PV" + ps[g], 48 + 16 * g, CWatt)
                .f32("QV" + ps[g], 52 + 16 * g, CVoltAmpRea)
                .f32("SV" + ps[g], 56 + 16 * g, CVoltAmpere)
                .f32("SN" + ps[g], 60 + 16 * g, CVoltAmpere);
        b.rowF("D", ps, 112, CVoltAmpRea);
        b.row("PF", ps, 128, 8, fkF32, 1, CNoUnit).row("tan phi", ps, 132, 8, fkF32, 1, CNoUnit);
        b.rowF("cos ", {"PHL1", "PHL2", "PHL3", "PH"}, 160, CNoUnit);
        b.rowF("PHI", first(ps, 3), 176, CGrad)
            .f32("P+", 188, CWatt)
            .f32("Q+", 192, CVoltAmpRea)
            .f32("S+", 196, CVoltAmpere)
            .f32("SU", 200, CVoltAmpere)
            .f32("Se", 204, CVoltAmpere)
            .f32("PFe", 208, CNoUnit)
            .f32("SeN", 212, CVoltAmpere)
            .f32("SN/S1", 216, CPercent)
            .f32("SU/S+", 220, CPercent);
    }
    {
        SubBuilder b(sub("p_ext_t", 240, ssp_ext_t));
        const char* units[] = {CWatt, CWatt, CVoltAmpRea, CVoltAmpRea, CVoltAmpere};
        const char* names[] = {"Pmax", "Pmin", "Qmax", "Qmin", "Smax"};
        for (uint32_t g = 0; g < 5; ++g)
            b.row(names[g], kPhaseSum, 48 * g, 12, fkExtrem, 1, units[g], stExtremwerte);
    }
    {
        SubBuilder b(sub("w_t", 204, ssw_t));
        const char* units[] = {CWattHour,       CWattHour,    CVoltAmpReaHour,
                               CVoltAmpReaHour, CVoltAmpHour, CVoltAmpReaHour};
        // Import and export active energy, inductive and capacitive reactive, apparent, fundamental reactive.
        const char* names[] = {"WP+", "WP-", "WQ+", "WQ-", "WS", "WQV"};
        for (uint32_t g = 0; g < 6; ++g)
            b.row(names[g], kPhaseSum, 32 * g, 8, fkF64, 1, units[g], stEnergiemessgroessen);
        b.add("Start", 192, fkStamp, 1, CNoUnit, stEnergiemessgroessen)
            .u32("Resets", 200, CNoUnit, stEnergiemessgroessen);
    }
    {
        SubBuilder b(sub("tmp_t_V2_2", 4, sstmp_t_V2_2));
        b.f32("Temp", 0, CCelsius);
    }
    {
        SubBuilder b(sub("c_10s_f", 20, ssc_10s_f));
        b.add("Start", 0, fkStamp, 1, CNoUnit, stMesswerte)
            .f32("F10s", 8, CHertz)
            .f32("Fmin", 12, CHertz)
            .f32("Fmax", 16, CHertz);
    }

    // ---- Oscilloscope, half periods, binary inputs ----
    {
        SubBuilder b(sub("osc_t", 24, ssosc_t));
        b.u32("ChanCnt", 0)
            .u32("SmplSize", 4)
            .f32("Fnom", 8, CHertz)
            .f32("Fmeas", 12, CHertz)
            .u32("SmplCnt", 16)
            .u32("smplrte", 20, "1/s");
    }
    {
        // The later header adds the scaling of the samples in front of the count.
        SubBuilder b(sub("osc_t_V2_0", 44, ssosc_t));
        b.u32("ChanCnt", 0).u32("SmplSize", 4).f32("Fnom", 8, CHertz).f32("Fmeas", 12, CHertz);
        b.f32("Uratio", 16, CNoUnit)
            .f32("Iratio", 20, CNoUnit)
            .f32("Unom", 24, CVolt)
            .f32("Inom", 28, CAmpere)
            .u32("Flags", 32);
        b.u32("SmplCnt", 36).u32("smplrte", 40, "1/s");
    }
    {
        SubBuilder b(sub("osc_dta_t_V1_0", 44, ssosc_dta_t_V1_0));
        b.rowF("", kOscU, 0, CVolt).rowF("", kOscI, 28, CAmpere);
    }
    {
        SubBuilder b(sub("osc_dta_t_V2_2", 48, ssosc_dta_t_V2_2));
        b.rowF("", kOscU, 0, CVolt).rowF("", kOscI, 28, CAmpere).f32("iR", 44, CAmpere);
    }
    {
        SubBuilder b(sub("hp_t", 8, sshp_t));
        b.u32("HpCnt", 0).f32("Fnom", 4, CHertz);
    }
    {
        SubBuilder b(sub("hp_dta_t", 44, sshp_dta_t));
        b.rowF("", kU7, 0, CVolt).rowF("", kI4, 28, CAmpere);
    }
    {
        SubBuilder b(sub("bin_hdr_t", 14, -1));
        b.u32("id", 0)
            .add("TS", 4, fkStamp, 1, CNoUnit, stMesswerte)
            .add("Ver", 12, fkU8, 1, CNoUnit, stMesswerte)
            .add("inputCnt", 13, fkU8, 1, CNoUnit, stMesswerte);
    }
    {
        SubBuilder b(sub("bin_in_t", 1, -1));
        b.add("State", 0, fkU8, 1, CNoUnit, stMesswerte);
    }

    // ---- Records: members follow each other without gaps ----
    auto rec = [&t](const std::string& name, int dataObj, uint32_t objId,
                    std::initializer_list<const char*> members) -> TRecordDef& {
        auto r = std::make_unique<TRecordDef>();
        r->Name = name;
        r->DataObj = dataObj;
        r->ObjID = objId;
        uint32_t offs = 0;
        for (const char* m : members) {
            const TSubRecDef* s = t.SubRecord(m);
            r->Members.push_back(TMemberDef{s, offs});
            offs += s->Size;
        }
        r->Size = offs;
        t.records_.push_back(std::move(r));
        return *t.records_.back();
    };
    auto tail = [&t](TRecordDef& r, const char* type, uint32_t countOffs, TFieldKind countKind) {
        r.TailType = t.SubRecord(type);
        r.TailMember = TMemberDef{r.TailType, r.Size};
        r.TailCountOffs = countOffs;
        r.TailCountKind = countKind;
    };

    rec("c_10t_t_V1_0", do10T, CDataObj[do10T], {"hdr20_t", "u_std_t", "u_10t_t", "i_std_t_V1_0"});
    rec("c_10t_t_V2_2", do10T, CDataObj[do10T], {"hdr20_t", "u_std_t", "u_10t_t", "i_std_t_V2_2"});
    rec("c_150t_t_V1_0", do150T, CDataObj[do150T], {"hdr20_t", "u_std_t", "u_150t_t", "i_std_t_V1_0"});
    rec("c_150t_t_V2_2", do150T, CDataObj[do150T], {"hdr20_t", "u_std_t", "u_150t_t", "i_std_t_V2_2"});
    rec("c_10min_t_V1_0", do10min, CDataObj[do10min],
        {"hdr16_t", "u_std_t", "u_ext_t", "u_stat_t", "u_fb_t", "i_std_t_V1_0", "i_ext_t", "i_fb_t",
         "p_std_t", "p_ext_t", "w_t"});
    rec("c_10min_t_V2_2", do10min, CDataObj[do10min],
        {"hdr16_t", "u_std_t", "u_ext_t", "u_stat_t", "u_fb_t", "i_std_t_V2_2", "i_ext_t", "i_fb_t",
         "p_std_t", "p_ext_t", "w_t", "tmp_t_V2_2"});
    rec("c_2h_t_V1_0", do2h, CDataObj[do2h],
        {"hdr16_t", "u_std_t", "u_2h_t", "u_fb_t", "i_std_t_V1_0", "i_fb_t", "p_std_t", "w_t"});
    rec("c_2h_t_V2_2", do2h, CDataObj[do2h],
        {"hdr16_t", "u_std_t", "u_2h_t", "u_fb_t", "i_std_t_V2_2", "i_fb_t", "p_std_t", "w_t", "tmp_t_V2_2"});
    rec("c_s_t_V1_0", do1s, CDataObj[do1s],
        {"hdr16_t", "u_s_t", "u_fb_t", "i_s_t_V1_0", "i_fb_t", "p_std_t", "w_t"});
    rec("c_s_t_V2_2", do1s, CDataObj[do1s],
        {"hdr16_t", "u_s_t", "u_fb_t", "i_s_t_V2_2", "i_fb_t", "p_std_t", "w_t", "tmp_t_V2_2"});
    rec("c_10s_t", do10s, CDataObj[do10s], {"hdr16_t", "c_10s_f"});
    tail(rec("c_osc_dta_t_V1_0", doOsc, CDataObj[doOsc], {"hdr16_t", "osc_t"}), "osc_dta_t_V1_0", 32, fkU32);
    tail(rec("c_osc_dta_t_V2_0", doOsc, CDataObj[doOsc], {"hdr16_t", "osc_t_V2_0"}), "osc_dta_t_V1_0", 52,
         fkU32);
    tail(rec("c_osc_dta_t_V2_2", doOsc, CDataObj[doOsc], {"hdr16_t", "osc_t_V2_0"}), "osc_dta_t_V2_2", 52,
         fkU32);
    tail(rec("c_hp_t", -1, 0, {"hdr16_t", "hp_t"}), "hp_dta_t", 16, fkU32);
    tail(rec("c_bin_in_t", doBin, CDataObj[doBin], {"bin_hdr_t"}), "bin_in_t", 13, fkU8);
}

} // namespace ferro
