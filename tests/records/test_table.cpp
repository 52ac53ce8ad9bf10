// The field table is whole: sizes, no overlaps, no stray gaps, names the value table can find,
// and the data-class vocabulary around it.
#include "foundation/records/FieldTable.h"
#include "foundation/records/Units.h"

#include "foundation/Sammler.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

using namespace ferro;

namespace {
const TFieldTable& T() {
    return TFieldTable::Instance();
}
} // namespace

TEST(FieldTable, RecordSizes) {
    const std::map<std::string, uint32_t> sizes = {{"c_s_t_V1_0", 2320},      {"c_s_t_V2_2", 2328},
                                                   {"c_150t_t_V1_0", 6052},   {"c_150t_t_V2_2", 6264},
                                                   {"c_10t_t_V1_0", 6052},    {"c_10t_t_V2_2", 6264},
                                                   {"c_10min_t_V1_0", 12680}, {"c_10min_t_V2_2", 12896},
                                                   {"c_2h_t_V1_0", 8012},     {"c_2h_t_V2_2", 8228},
                                                   {"c_10s_t", 36},           {"c_osc_dta_t_V1_0", 40},
                                                   {"c_osc_dta_t_V2_0", 60},  {"c_osc_dta_t_V2_2", 60},
                                                   {"c_osc_dta_t_V3", 20},    {"c_hp_t", 24},
                                                   {"c_bin_in_t", 14}};
    EXPECT_EQ(T().Records().size(), sizes.size());
    for (const auto& [name, size] : sizes) {
        const TRecordDef* r = T().Record(name);
        ASSERT_NE(r, nullptr) << name;
        EXPECT_EQ(r->Size, size) << name;
    }
    EXPECT_EQ(T().Record("c_osc_dta_t_V1_0")->TailType->Size, 44u);
    EXPECT_EQ(T().Record("c_osc_dta_t_V2_0")->TailType->Size, 44u);
    EXPECT_EQ(T().Record("c_osc_dta_t_V2_2")->TailType->Size, 48u);
}

TEST(FieldTable, MembersOfTheOneSecondRecordAtTheirOffsets) {
    const TRecordDef& a = *T().Record("c_s_t_V1_0");
    const TRecordDef& b = *T().Record("c_s_t_V2_2");
    EXPECT_EQ(a.Member("u_s_t")->Offs, 16u);
    EXPECT_EQ(a.Member("u_fb_t")->Offs, 192u);
    EXPECT_EQ(a.Member("i_s_t_V1_0")->Offs, 1172u);
    EXPECT_EQ(a.Member("i_fb_t")->Offs, 1332u);
    EXPECT_EQ(a.Member("p_std_t")->Offs, 1892u);
    EXPECT_EQ(a.Member("w_t")->Offs, 2116u);
    EXPECT_EQ(a.Member("tmp_t_V2_2"), nullptr);
    EXPECT_EQ(b.Member("i_s_t_V2_2")->Offs, 1172u);
    EXPECT_EQ(b.Member("i_fb_t")->Offs, 1336u);
    EXPECT_EQ(b.Member("p_std_t")->Offs, 1896u);
    EXPECT_EQ(b.Member("w_t")->Offs, 2120u);
    EXPECT_EQ(b.Member("tmp_t_V2_2")->Offs, 2324u);
    // Every field in front of the current bands lies at the same place in both.
    for (const char* m : {"hdr16_t", "u_s_t", "u_fb_t"})
        for (const auto& f : a.Member(m)->Type->Fields)
            EXPECT_EQ(a.AbsOffset(m, f.Name), b.AbsOffset(m, f.Name));
    for (const auto& f : a.Member("i_s_t_V1_0")->Type->Fields)
        EXPECT_EQ(a.AbsOffset("i_s_t_V1_0", f.Name), b.AbsOffset("i_s_t_V2_2", f.Name)) << f.Name;
    EXPECT_EQ(b.AbsOffset("u_fb_t", "FB U31"), 1032);
    EXPECT_EQ(b.AbsOffset("p_std_t", "cos PH"), 1896 + 172);
}

TEST(FieldTable, FieldsInsideTheirSubRecordWithoutOverlapOrStrayGap) {
    // The only reserved bytes of all sub-records.
    const std::map<std::string, std::set<uint32_t>> reserved = {{"u_std_t", {204, 208, 212, 216, 220}}};
    for (const auto& sp : T().SubRecords()) {
        const TSubRecDef& s = *sp;
        SCOPED_TRACE(s.TypeName);
        std::vector<int> owner(s.Size, -1);
        std::set<std::string> names;
        for (size_t i = 0; i < s.Fields.size(); ++i) {
            const TFieldDef& f = s.Fields[i];
            EXPECT_TRUE(names.insert(f.Name).second) << "duplicate " << f.Name;
            ASSERT_LE(f.Offs + f.ByteSize(), s.Size) << f.Name;
            for (size_t b = f.Offs; b < f.Offs + f.ByteSize(); ++b) {
                EXPECT_EQ(owner[b], -1) << f.Name << " overlaps at " << b;
                owner[b] = int(i);
            }
        }
        auto it = reserved.find(s.TypeName);
        for (uint32_t b = 0; b < s.Size; ++b) {
            const bool isReserved = it != reserved.end() && it->second.count(b & ~3u);
            EXPECT_EQ(owner[b] == -1, isReserved) << "byte " << b;
        }
    }
}

TEST(FieldTable, MembersTileTheirRecord) {
    for (const auto& rp : T().Records()) {
        const TRecordDef& r = *rp;
        uint32_t next = 0;
        for (const auto& m : r.Members) {
            EXPECT_EQ(m.Offs, next) << r.Name << " " << m.Type->TypeName;
            next = m.Offs + m.Type->Size;
        }
        EXPECT_EQ(next, r.Size) << r.Name;
        if (r.HasTail()) {
            EXPECT_LE(r.TailCountOffs + FieldKindSize(r.TailCountKind), r.Size) << r.Name;
        }
    }
}

TEST(FieldTable, EveryNamedSubRecordCarriesItsStructName) {
    for (const auto& sp : T().SubRecords()) {
        if (sp->Struct < 0) continue;
        const std::string name = FerroStructName(TFerroStruct(sp->Struct));
        // The later oscilloscope headers share ssosc_t with the first one.
        if (sp->TypeName == "osc_t_V2_0" || sp->TypeName == "osc_t_V3") {
            EXPECT_EQ(name, "ssosc_t");
            continue;
        }
        EXPECT_EQ(name, "ss" + sp->TypeName);
    }
}

namespace {
struct Leaf {
    TDataObj obj;
    int st; // TFerroStruct, or -1 for the current standard record of the generation
    TFerroStrucTyp typ;
};
// The leaves of the complete value table; each must find fields in its class's record.
const Leaf kLeaves[] = {
    {do10T, ssu_std_t, stMesswerte},
    {do10T, ssu_std_t, stPolarkoordinaten},
    {do10T, ssu_std_t, stHarmonische},
    {do10T, ssu_std_t, stZwischenharmonische},
    {do10T, ssu_std_t, stPhasendifferenz},
    {do10T, ssu_10t_t, stMesswerte},
    {do10T, -1, stMesswerte},
    {do10T, -1, stPolarkoordinaten},
    {do10T, -1, stHarmonische},
    {do10T, -1, stZwischenharmonische},
    {do10T, -1, stPhasendifferenz},
    {do150T, ssu_150t_t, stMesswerte},
    {do150T, ssu_std_t, stHarmonische},
    {do150T, -1, stPhasendifferenz},
    {do10min, ssu_std_t, stMesswerte},
    {do10min, ssu_fb_t, stEffektivwerte},
    {do10min, ssu_ext_t, stExtremwerte},
    {do10min, ssu_ext_t, stMaxHarmonische},
    {do10min, ssu_stat_t, stMesswerte},
    {do10min, -1, stHarmonische},
    {do10min, ssi_fb_t, stEffektivwerte},
    {do10min, ssi_ext_t, stExtremwerte},
    {do10min, ssp_std_t, stMesswerte},
    {do10min, ssp_ext_t, stExtremwerte},
    {do10min, ssw_t, stEnergiemessgroessen},
    {do2h, ssu_2h_t, stMesswerte},
    {do2h, ssu_fb_t, stEffektivwerte},
    {do2h, ssi_fb_t, stEffektivwerte},
    {do2h, ssp_std_t, stMesswerte},
    {do2h, ssw_t, stEnergiemessgroessen},
    {do1s, ssu_s_t, stMesswerte},
    {do1s, ssu_s_t, stPolarkoordinaten},
    {do1s, ssu_fb_t, stEffektivwerte},
    {do1s, ssi_fb_t, stEffektivwerte},
    {do1s, ssp_std_t, stMesswerte},
    {do1s, ssw_t, stEnergiemessgroessen},
    {do10s, ssc_10s_f, stMesswerte},
    {doNs, ssu_s_t, stMesswerte},
    {doMmin, ssp_std_t, stMesswerte},
};
} // namespace

TEST(FieldTable, EveryValueTableLeafFindsFields) {
    for (uint8_t gen : {uint8_t(0), uint8_t(2)}) {
        for (const Leaf& l : kLeaves) {
            const TRecordDef* r = T().RecordFor(l.obj, gen);
            ASSERT_NE(r, nullptr);
            int st = l.st;
            if (st < 0) st = gen >= 2 ? ssi_std_t_V2_2 : ssi_std_t_V1_0;
            const TMemberDef* m = r->Member(TFerroStruct(st));
            ASSERT_NE(m, nullptr) << r->Name << " " << FerroStructName(TFerroStruct(st));
            int n = 0;
            for (const auto& f : m->Type->Fields)
                n += f.StrucTyp == l.typ;
            EXPECT_GT(n, 0) << r->Name << " " << m->Type->TypeName << " " << FerroStrucTypName(l.typ);
        }
        // The one-second currents are their own sub-record.
        EXPECT_NE(T().RecordFor(do1s, gen)->Member(gen >= 2 ? ssi_s_t_V2_2 : ssi_s_t_V1_0), nullptr);
    }
    // Temperature exists from V2_2 on; under V1_0 its leaf stays empty.
    EXPECT_NE(T().RecordFor(do1s, 2)->Member(sstmp_t_V2_2), nullptr);
    EXPECT_EQ(T().RecordFor(do1s, 1)->Member(sstmp_t_V2_2), nullptr);
    // Oscilloscope rows: 44 bytes below generation 2, 48 from it; the first row is found as a member.
    EXPECT_EQ(T().RecordFor(doOsc, 0)->Member(ssosc_dta_t_V1_0)->Offs, 40u);
    EXPECT_EQ(T().RecordFor(doOsc, 1)->AbsOffset("osc_dta_t_V1_0", "iN"), 60 + 40);
    EXPECT_EQ(T().RecordFor(doOsc, 2)->AbsOffset("osc_dta_t_V2_2", "iR"), 60 + 44);
    EXPECT_EQ(T().RecordFor(doOsc, 2)->Member(ssosc_dta_t_V1_0), nullptr);
    EXPECT_EQ(T().RecordFor(doOsc, 1)->TailType->Struct, int(ssosc_dta_t_V1_0));
    EXPECT_EQ(T().RecordFor(doOsc, 2)->TailType->Struct, int(ssosc_dta_t_V2_2));
    // Generation 3: no gap after the stamp, the count at 12 and the samples at 20.
    EXPECT_EQ(T().RecordFor(doOsc, 3)->AbsOffset("osc_t_V3", "SmplCnt"), 12);
    EXPECT_EQ(T().RecordFor(doOsc, 3)->AbsOffset("osc_dta_t_V2_2", "u1"), 20);
    EXPECT_EQ(T().RecordFor(doOsc, 3)->TailType->Size, 48u);
}

TEST(FieldTable, ExtremesAndEnergiesHaveTheKindsTheValueTableReads) {
    const TSubRecDef& ext = *T().SubRecord("u_ext_t");
    EXPECT_EQ(ext.Field("Hmax U31")->Count, 49u);
    EXPECT_EQ(ext.Field("Hmax U31")->Kind, fkExtrem);
    EXPECT_EQ(FieldTypeKind(fkExtrem), 14);
    const TSubRecDef& w = *T().SubRecord("w_t");
    EXPECT_EQ(w.Field("WP+ total")->Kind, fkF64);
    EXPECT_EQ(w.Field("WP+ total")->Unit, "Wh");
    EXPECT_EQ(w.Field("Start")->Kind, fkStamp);
    EXPECT_EQ(FieldTypeKind(fkU32), 1);
    EXPECT_EQ(FieldTypeKind(fkF64), 4);
    EXPECT_EQ(T().SubRecord("u_10t_t")->Field("Flags")->Kind, fkU32);
    EXPECT_EQ(T().SubRecord("p_std_t")->Field("P total")->Unit, CWatt);
    EXPECT_EQ(T().SubRecord("u_s_t")->Field("THD U1E")->Unit, CPercent);
    EXPECT_EQ(T().SubRecord("u_s_t")->Field("U1E polar")->StrucTyp, stPolarkoordinaten);
}

TEST(FerroTypes, LabelsCaptionsAndNames) {
    const char* labels[] = {"10T", "150T", "10min", "2h", "1s", "10s", "Ns", "Mmin", "", "Bin"};
    for (int i = 0; i < CDataObjCount; ++i)
        EXPECT_STREQ(DataObjLabel(TDataObj(i)), labels[i]);
    EXPECT_STREQ(DataObjCaption(do150T), "3 Sec");
    EXPECT_STREQ(DataObjCaption(do2h), "2 Stunden");
    EXPECT_STREQ(FerroDispTextName(sdIHrmIL), "_SsdIHrmIL");
    EXPECT_EQ(int(sdIHrmIL), 13);
    EXPECT_EQ(int(ssc_osc_dta_t), 26);
    EXPECT_EQ(int(ssosc_dta_t_V1_0), 20);
    EXPECT_EQ(int(stMaxHarmonische), 9);
    TFerroStruct s;
    ASSERT_TRUE(FerroStructByName("ssw_t", s));
    EXPECT_EQ(s, ssw_t);
    EXPECT_FALSE(FerroStructByName("ssx_t", s));
    TFerroStrucTyp t;
    ASSERT_TRUE(FerroStrucTypByName("STHARMONISCHE", t));
    EXPECT_EQ(t, stHarmonische);
    EXPECT_STREQ(FerroStructName(TFerroStruct(200)), "");
}

TEST(FerroTypes, TagWordAndStructInfo) {
    TFerroTag tag{do10min, ssu_ext_t, stMaxHarmonische};
    EXPECT_EQ(tag.ToTag(), 0x090302u);
    TFerroTag back = TFerroTag::FromTag(0x090302u);
    EXPECT_EQ(back.FerroDataObj, do10min);
    EXPECT_EQ(back.FerroStruc, ssu_ext_t);
    EXPECT_EQ(back.FerroStrucTyp, stMaxHarmonische);
    TStrucInfo info;
    EXPECT_EQ(int(info.FerroVarTyp), 1);
}

TEST(Units, DefaultHarmonicLimits) {
    EXPECT_EQ(CDefHrms.size(), 51u);
    EXPECT_FLOAT_EQ(CDefHrms[2], 2.0f);
    EXPECT_FLOAT_EQ(CDefHrms[3], 5.0f);
    EXPECT_FLOAT_EQ(CDefHrms[5], 6.0f);
    EXPECT_FLOAT_EQ(CDefHrms[7], 5.0f);
    EXPECT_FLOAT_EQ(CDefHrms[9], 1.5f);
    EXPECT_FLOAT_EQ(CDefHrms[11], 3.5f);
    EXPECT_FLOAT_EQ(CDefHrms[13], 3.0f);
    EXPECT_FLOAT_EQ(CDefHrms[15], 0.4f);
    EXPECT_FLOAT_EQ(CDefHrms[17], 2.0f);
    EXPECT_NEAR(CDefHrms[25], 1.2736f, 1e-4);
    EXPECT_NEAR(CDefHrms[49], 0.5175f, 1e-4);
    EXPECT_FLOAT_EQ(CDefHrms[45], 0.2f);
    EXPECT_FLOAT_EQ(CDefHrms[10], 0.5f);
    EXPECT_FLOAT_EQ(CDefHrms[50], 0.3f);
    // Odd non-triplen levels fall with the order from 17 on.
    int prev = 17;
    for (int h = 19; h <= 49; h += 2) {
        if (h % 3 == 0) continue;
        EXPECT_LT(CDefHrms[size_t(h)], CDefHrms[size_t(prev)]) << h;
        prev = h;
    }
    EXPECT_STREQ(CGrad, "\u00B0");
    EXPECT_STREQ(CVoltAmpRea, "var");
    EXPECT_EQ(CTab, '\t');
    EXPECT_STREQ(CBoolValue[true], "1");
    EXPECT_EQ(CEnum_0_1[1], '1');
    EXPECT_EQ(CEnum_0_1[0], '0');
    EXPECT_STREQ(CPhaseTxt[0], "");
    EXPECT_STREQ(CPhaseTxt[1], "L1");
    EXPECT_STREQ(CPhaseTxt[7], "L31");
}

TEST(FieldTable, FirmwareWordSelectsTheLayout) {
    struct Case {
        uint32_t word;
        uint8_t gen;
        uint32_t csLen;
        const char* osc;
    };
    const Case cases[] = {
        {13685, 0, 2320, "c_osc_dta_t_V1_0"},      {13686, 1, 2320, "c_osc_dta_t_V2_0"},
        {19999, 1, 2320, "c_osc_dta_t_V2_0"},      {20000, 2, 2328, "c_osc_dta_t_V2_2"},
        {0x01050000, 0, 2320, "c_osc_dta_t_V1_0"}, {0x02010200, 1, 2320, "c_osc_dta_t_V2_0"},
        {0x02020000, 2, 2328, "c_osc_dta_t_V2_2"}, {0x03000000, 3, 2328, "c_osc_dta_t_V3"}};
    for (const auto& c : cases) {
        TFerroFW fw;
        fw.Rev = c.word;
        fw.CalcVer();
        EXPECT_EQ(fw.Gen, c.gen) << std::hex << c.word;
        EXPECT_EQ(T().RecordFor(do1s, fw.Gen)->Size, c.csLen) << std::hex << c.word;
        EXPECT_EQ(T().RecordFor(doOsc, fw.Gen)->Name, c.osc) << std::hex << c.word;
    }
}
