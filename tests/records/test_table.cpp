// The field table is whole: sizes, no overlaps, no stray gaps, and fields the value table can find.
#include "foundation/records/FieldTable.h"

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
    // The one-second, 3 s, oscilloscope and binary records are measured by their decoder tests.
    const std::map<std::string, uint32_t> sizes = {
        {"c_10t_t_V1_0", 6052}, {"c_10t_t_V2_2", 6264}, {"c_10min_t_V1_0", 12680}, {"c_10min_t_V2_2", 12896},
        {"c_2h_t_V1_0", 8012},  {"c_2h_t_V2_2", 8228},  {"c_10s_t", 36},           {"c_hp_t", 24}};
    for (const auto& [name, size] : sizes) {
        const TRecordDef* r = T().Record(name);
        ASSERT_NE(r, nullptr) << name;
        EXPECT_EQ(r->Size, size) << name;
    }
}

TEST(FieldTable, OneSecondLayoutsDifferOnlyFromTheCurrentBandsOn) {
    const TRecordDef& a = *T().Record("c_s_t_V1_0");
    const TRecordDef& b = *T().Record("c_s_t_V2_2");
    EXPECT_EQ(a.Member("tmp_t_V2_2"), nullptr);
    for (const char* m : {"hdr16_t", "u_s_t", "u_fb_t"})
        for (const auto& f : a.Member(m)->Type->Fields)
            EXPECT_EQ(a.AbsOffset(m, f.Name), b.AbsOffset(m, f.Name)) << f.Name;
    for (const auto& f : a.Member("i_s_t_V1_0")->Type->Fields)
        EXPECT_EQ(a.AbsOffset("i_s_t_V1_0", f.Name), b.AbsOffset("i_s_t_V2_2", f.Name)) << f.Name;
}

TEST(FieldTable, FieldsAndMembersTileWithoutOverlapOrStrayGap) {
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

namespace {
struct Leaf {
    TDataObj obj;
    int st; // TFerroStruct, or -1 for the current standard record of the generation
    std::vector<TFerroStrucTyp> typs;
};
// One leaf of the value table per sub-record and kind of value; each must find fields.
const Leaf kLeaves[] = {
    {do10T,
     ssu_std_t,
     {stMesswerte, stPolarkoordinaten, stHarmonische, stZwischenharmonische, stPhasendifferenz}},
    {do10T, -1, {stMesswerte, stPolarkoordinaten, stHarmonische, stZwischenharmonische, stPhasendifferenz}},
    {do10T, ssu_10t_t, {stMesswerte}},
    {do150T, ssu_150t_t, {stMesswerte}},
    {do10min, ssu_fb_t, {stEffektivwerte}},
    {do10min, ssu_ext_t, {stExtremwerte, stMaxHarmonische}},
    {do10min, ssu_stat_t, {stMesswerte}},
    {do10min, ssi_fb_t, {stEffektivwerte}},
    {do10min, ssi_ext_t, {stExtremwerte}},
    {do10min, ssp_std_t, {stMesswerte}},
    {do10min, ssp_ext_t, {stExtremwerte}},
    {do10min, ssw_t, {stEnergiemessgroessen}},
    {do2h, ssu_2h_t, {stMesswerte}},
    {do1s, ssu_s_t, {stMesswerte, stPolarkoordinaten}},
    {do10s, ssc_10s_f, {stMesswerte}},
    {doNs, ssu_s_t, {stMesswerte}},
    {doMmin, ssp_std_t, {stMesswerte}}};
} // namespace

TEST(FieldTable, EveryValueTableLeafFindsFields) {
    for (uint8_t gen : {uint8_t(0), uint8_t(2)}) {
        for (const Leaf& l : kLeaves) {
            const TRecordDef* r = T().RecordFor(l.obj, gen);
            ASSERT_NE(r, nullptr);
            const int st = l.st >= 0 ? l.st : gen >= 2 ? ssi_std_t_V2_2 : ssi_std_t_V1_0;
            const TMemberDef* m = r->Member(TFerroStruct(st));
            ASSERT_NE(m, nullptr) << r->Name << " " << FerroStructName(TFerroStruct(st));
            for (TFerroStrucTyp typ : l.typs) {
                int n = 0;
                for (const auto& f : m->Type->Fields)
                    n += f.StrucTyp == typ;
                EXPECT_GT(n, 0) << r->Name << " " << m->Type->TypeName << " " << FerroStrucTypName(typ);
            }
        }
    }
    // Oscilloscope rows are found by their struct: as a member in generation 0, as the tail later.
    EXPECT_EQ(T().RecordFor(doOsc, 0)->Member(ssosc_dta_t_V1_0)->Offs, 40u);
    EXPECT_EQ(T().RecordFor(doOsc, 1)->TailType->Struct, int(ssosc_dta_t_V1_0));
    EXPECT_EQ(T().RecordFor(doOsc, 2)->TailType->Struct, int(ssosc_dta_t_V2_2));
}

TEST(FerroTypes, TagWordRoundTrip) {
    // Type, struct and data class from the high byte down: 9, 3, 2.
    EXPECT_EQ((TFerroTag{do10min, ssu_ext_t, stMaxHarmonische}.ToTag()), 0x090302u);
    const TFerroTag back = TFerroTag::FromTag(0x090302u);
    EXPECT_EQ(back.FerroDataObj, do10min);
    EXPECT_EQ(back.FerroStruc, ssu_ext_t);
    EXPECT_EQ(back.FerroStrucTyp, stMaxHarmonische);
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
        {0x02020000, 2, 2328, "c_osc_dta_t_V2_2"}, {0x020201FF, 2, 2328, "c_osc_dta_t_V2_2"}};
    for (const auto& c : cases) {
        TFerroFW fw;
        fw.Rev = c.word;
        fw.CalcVer();
        EXPECT_EQ(fw.Gen, c.gen) << std::hex << c.word;
        EXPECT_EQ(T().RecordFor(do1s, fw.Gen)->Size, c.csLen) << std::hex << c.word;
        EXPECT_EQ(T().RecordFor(doOsc, fw.Gen)->Name, c.osc) << std::hex << c.word;
    }
    // The instrument knows no layout after V2_2: firmware newer than the known ones, whatever byte
    // it gets, reads the newest layouts, also the oscilloscope's.
    for (uint32_t word : {0x03000000u, 30000u}) {
        TFerroFW fw;
        fw.Rev = word;
        fw.CalcVer();
        for (TDataObj d : {do10T, do150T, do10min, do2h, do1s, doNs, doMmin})
            EXPECT_EQ(T().RecordFor(d, fw.Gen), T().RecordFor(d, 2)) << std::hex << word << " class " << int(d);
        EXPECT_EQ(T().RecordFor(doOsc, fw.Gen)->Name, "c_osc_dta_t_V2_2") << std::hex << word;
    }
}
