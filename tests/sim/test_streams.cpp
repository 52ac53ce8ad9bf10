// Live streams: START/GET_NXT/STOP on the wire, every object in the layout of each firmware
// generation, handles, refusals, the stream clock and the binary inputs.
#include "StreamClient.h"
#include "ferrosim/Profile.h"
#include "foundation/TimeRecords.h"
#include "foundation/records/BinaryInputRecord.h"
#include "foundation/records/CsRecord.h"
#include "foundation/records/FieldTable.h"
#include "foundation/records/HarmRecord.h"
#include "foundation/records/ObjectHeader.h"
#include "foundation/records/OscRecord.h"
#include "foundation/records/RecordCodec.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace simtest;
using namespace ferro;

namespace {

constexpr uint32_t kBinary = 10000000;
const uint32_t kObjects[] = {0x00FFFFFF, 0x01FFFFFF, 0x02FFFFFF, 0x03FFFFFF, 0x04FFFFFF,
                             0x05FFFFFF, 0x06FFFFFF, 0x07FFFFFF, 0x08FFFFFF};

struct Generation {
    const char* firmware;
    uint8_t gen;
};

void PrintTo(const Generation& g, std::ostream* os) {
    *os << g.firmware;
}

class SimStreamLayout : public ::testing::TestWithParam<Generation> {};

} // namespace

TEST_P(SimStreamLayout, EveryObjectHasTheTableLengthAndDecodes) {
    const Generation g = GetParam();
    TFerroFW fw;
    fw.Rev = sim::ParseFirmwareWord(g.firmware);
    fw.CalcVer();
    // The word selects the layouts of generation `gen` (a firmware newer than the known ones the
    // newest of them).
    for (TDataObj d : {do1s, do150T, doOsc})
        ASSERT_EQ(TFieldTable::Instance().RecordFor(d, fw.Gen), TFieldTable::Instance().RecordFor(d, g.gen));
    Sim sim("", [&](const std::string& root) {
        Sim::setProfile(root, "firmware", std::string("\"") + g.firmware + "\"");
        // No dips or swells: the values checked below are those of the undisturbed supply.
        Sim::setProfile(root, "supply", "{\"events\": []}");
    });
    RawClient c(sim.port());
    c.openPlain();
    for (uint32_t id : kObjects) {
        SCOPED_TRACE(id);
        const TRecordDef* def =
            TFieldTable::Instance().RecordFor(TDataObj(TObjectHeader::DataObjOf(id)), g.gen);
        ASSERT_NE(def, nullptr);
        const uint32_t h = startStream(c, id);
        ASSERT_GT(h, 1u);
        Bytes obj = nextBlock(c, h);
        EXPECT_EQ(get32(obj, 0), id);
        EXPECT_GT(get32(obj, 4), 1700000000u);
        EXPECT_EQ(obj.size(), def->HasTail() ? def->LengthFor(get32(obj, def->TailCountOffs)) : def->Size);
        ASSERT_TRUE(TRecordCodec::Decode(obj, *def).has_value());
        if (id == 0x04FFFFFF || id == 0x06FFFFFF || id == 0x07FFFFFF) {
            auto cs = TCsRecord::Decode(obj.data(), obj.size(), g.gen);
            ASSERT_TRUE(cs.has_value());
            EXPECT_NEAR(cs->U[0], 230.0, 10.0);
            EXPECT_NEAR(cs->F, 50.0, 0.1);
            EXPECT_NEAR(cs->I[0], 100.0, 5.0);
        }
        if (id == 0x00FFFFFF || id == 0x01FFFFFF) {
            auto hv = THarmRecord::Decode(obj.data(), obj.size(), g.gen);
            ASSERT_TRUE(hv.has_value());
            EXPECT_NEAR(hv->HrmULE[0][1], 230.0, 10.0); // the fundamental in V
            EXPECT_NEAR(hv->HrmULE[0][5], 3.0, 0.3);    // the default supply's 5th: 3 %
        }
        if (id == 0x08FFFFFF) {
            auto osc = TOscRecord::Decode(obj.data(), obj.size(), g.gen, linear(obj));
            ASSERT_TRUE(osc.has_value());
            EXPECT_EQ(osc->smplrte, 20480u);
            EXPECT_EQ(osc->Ch.size(), g.gen >= 2 ? 12u : 11u);
        }
        EXPECT_EQ(c.request(idFrame(0xFFFF, h)).ext(), 0xFFFF);
    }
    // Binary inputs exist from the generations that have them on; before, the object is unknown.
    const uint32_t bin = startStream(c, kBinary);
    EXPECT_EQ(bin != 0, fw.HasBinaryInputs());
    if (bin != 0) {
        Bytes obj = nextBlock(c, bin);
        auto inputs = TBinaryInputs::Decode(obj.data(), obj.size());
        ASSERT_TRUE(inputs.has_value());
        EXPECT_EQ(inputs->Inputs.size(), 4u);
    }
}

INSTANTIATE_TEST_SUITE_P(Generations, SimStreamLayout,
                         ::testing::Values(Generation{"1.5.0.0", 0}, Generation{"2.0.1.0", 1},
                                           Generation{"2.2.1.5", 2}, Generation{"3.0.0.1", 2}),
                         [](const ::testing::TestParamInfo<Generation>& info) {
                             std::string name = std::string("Fw") + info.param.firmware;
                             std::replace(name.begin(), name.end(), '.', '_');
                             return name;
                         });

TEST(SimStreams, HandlesAreUniqueAtMostEightAndWrongHandlesOrObjectsAreRefused) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    const uint32_t a = startStream(c, 0x04FFFFFF), b = startStream(c, 0x08FFFFFF);
    EXPECT_GT(a, 1u);
    EXPECT_GT(b, 1u);
    EXPECT_NE(a, b);
    Frame wrong = c.request(idFrame(2, a + b + 100, 0x55));
    EXPECT_EQ(wrong.code(), 201u);
    EXPECT_EQ(wrong.seq(), 0x55u);
    EXPECT_EQ(c.request(idFrame(0xFFFF, 0)).code(), 201u);
    EXPECT_EQ(c.request(idFrame(1, 0)).code(), 200u);
    EXPECT_EQ(c.request(head(4, 0, 1, 20)).code(), 4u); // no id at all
    EXPECT_EQ(c.request(idFrame(7, a)).code(), 1u);
    // A stopped handle is gone; the other stream goes on.
    EXPECT_TRUE(c.request(idFrame(0xFFFF, a)).ack());
    EXPECT_EQ(c.request(idFrame(2, a)).code(), 201u);
    EXPECT_EQ(get32(nextBlock(c, b), 0), 0x08FFFFFFu);
    for (int k = 0; k < 7; ++k)
        ASSERT_GT(startStream(c, 0x05FFFFFF), 1u);
    EXPECT_EQ(c.request(idFrame(1, 0x05FFFFFF)).code(), 202u);
    // Another session does not see this session's handles.
    RawClient other(sim.port());
    other.openPlain();
    EXPECT_EQ(other.request(idFrame(2, b)).code(), 201u);
}

TEST(SimStreams, TheClockAdvancesByTheIntervalEnergiesAccumulateAndInputsCountUp) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    // The oscilloscope's stamp is its first sample: the capture length follows the drifting
    // frequency, so it may move by a sample (1/20480 s).
    struct Case {
        uint32_t id;
        uint64_t stepNs, slackNs;
    };
    for (Case k : {Case{0x00FFFFFF, 200000000ull, 0}, Case{0x04FFFFFF, 1000000000ull, 0},
                   Case{0x02FFFFFF, 600000000000ull, 0}, Case{0x08FFFFFF, 1000000000ull, 48829}}) {
        SCOPED_TRACE(k.id);
        Bytes first;
        const uint32_t h = startStream(c, k.id, &first);
        Bytes second = nextBlock(c, h), third = nextBlock(c, h);
        ASSERT_FALSE(third.empty());
        EXPECT_NEAR(double(linear(second) - linear(first)), double(k.stepNs), double(k.slackNs));
        EXPECT_NEAR(double(linear(third) - linear(second)), double(k.stepNs), double(k.slackNs));
    }
    const TRecordDef* def = TFieldTable::Instance().RecordFor(do1s, 2);
    Bytes first, firstBin;
    const uint32_t h = startStream(c, 0x04FFFFFF, &first), bin = startStream(c, kBinary, &firstBin);
    ASSERT_GT(bin, 1u);
    double last = 0;
    for (uint32_t k = 0; k < 6; ++k) {
        auto v = TRecordCodec::Decode(k == 0 ? first : nextBlock(c, h), *def);
        ASSERT_TRUE(v.has_value());
        const double w = v->Get("w_t", "WP+ total"), p = v->Get("p_std_t", "P total");
        // Nothing in the first block, then one second of P more than the block before, in Wh.
        EXPECT_NEAR(w - last, k == 0 ? 0.0 : p / 3600.0, p / 3600.0 * 0.02) << k;
        EXPECT_GE(v->Get("w_t", "WS total"), w);
        last = w;
        Bytes obj = k == 0 ? firstBin : nextBlock(c, bin);
        ASSERT_EQ(obj.size(), 14u + 4);
        auto inputs = TBinaryInputs::Decode(obj.data(), obj.size());
        ASSERT_TRUE(inputs.has_value());
        for (uint32_t j = 0; j < 4; ++j)
            EXPECT_EQ(inputs->Inputs[j], (k >> j) & 1u) << "block " << k << " input " << j;
    }
}
