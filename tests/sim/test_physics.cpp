// The synthesized measurements agree with the waveform and with each other: rms of a pure sine,
// harmonics at the orders put in, the power triangle, the oscilloscope samples, dips, aggregates.
#include "StreamClient.h"
#include "ferrosim/PowerAnalyzer.h"
#include "ferrosim/WaveformAnalyzer.h"
#include "foundation/records/CsRecord.h"
#include "foundation/records/FieldTable.h"
#include "foundation/records/HarmRecord.h"
#include "foundation/records/OscRecord.h"
#include "foundation/records/RecordCodec.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

using namespace simtest;
using namespace ferro;
using namespace ferro::sim;

namespace {

constexpr double kPi = 3.14159265358979323846;

double rms(const std::vector<float>& x) {
    double s = 0;
    for (float v : x)
        s += double(v) * double(v);
    return std::sqrt(s / double(x.size()));
}

// Starts the supply given, then returns the first oscilloscope capture and the first 1 s object.
std::pair<std::optional<TOscCurves>, std::optional<TCsValues>> oscAndCs(Sim& sim) {
    RawClient c(sim.port());
    c.openPlain();
    Bytes osc = nextBlock(c, startStream(c, 0x08FFFFFF));
    Bytes obj = nextBlock(c, startStream(c, 0x04FFFFFF));
    return {TOscRecord::Decode(osc.data(), osc.size(), 2, linear(osc)),
            TCsRecord::Decode(obj.data(), obj.size(), 2)};
}

} // namespace

TEST(SimPhysics, ReportedRmsOfAPureSineIsItsAmplitudeOverRoot2) {
    Sim sim("", [](const std::string& root) { Sim::setProfile(root, "supply", pureSineSupply(230, 80)); });
    auto [osc, cs] = oscAndCs(sim);
    ASSERT_TRUE(osc.has_value() && cs.has_value());
    // The amplitude as the instrument samples it: the largest oscilloscope sample.
    float peakU = 0, peakI = 0;
    for (size_t s = 0; s < osc->SmplCnt; ++s) {
        peakU = std::max(peakU, std::fabs(osc->Ch[0][s]));
        peakI = std::max(peakI, std::fabs(osc->Ch[7][s]));
    }
    EXPECT_NEAR(peakU, 230 * std::sqrt(2.0), 0.05);
    for (int k = 0; k < 3; ++k) {
        EXPECT_NEAR(cs->U[k], peakU / std::sqrt(2.0), peakU / std::sqrt(2.0) * 0.001) << k;
        EXPECT_NEAR(cs->I[k], peakI / std::sqrt(2.0), peakI / std::sqrt(2.0) * 0.001) << k;
        EXPECT_LT(cs->THDU[k], 0.01);
    }
    EXPECT_NEAR(cs->U[4], 230 * std::sqrt(3.0), 230 * std::sqrt(3.0) * 0.001);
    EXPECT_NEAR(cs->F, 50.0, 0.001);
    EXPECT_NEAR(cs->PHL[1], -120.0, 0.05);
    EXPECT_NEAR(cs->CosPhi[3], 0.95, 0.001);
}

TEST(SimPhysics, OscilloscopeSamplesAreTheMeasuredWaveform) {
    Sim sim("", [](const std::string& root) {
        Sim::setProfile(root, "supply", "{\"driftHz\": 0, \"events\": []}");
    });
    auto [osc, cs] = oscAndCs(sim);
    ASSERT_TRUE(osc.has_value() && cs.has_value());
    EXPECT_EQ(osc->SmplCnt, 4096u); // ten cycles at 20480 per second
    EXPECT_EQ(osc->Time.back() - osc->Time.front(), uint64_t(std::llround(4095 * 1e9 / 20480)));
    for (size_t k = 0; k < 7; ++k)
        EXPECT_NEAR(rms(osc->Ch[k]), cs->U[k], cs->U[k] * 0.002 + 0.01) << k;
    for (size_t k = 0; k < 3; ++k)
        EXPECT_NEAR(rms(osc->Ch[7 + k]), cs->I[k], cs->I[k] * 0.002) << k;
    // u12 is u1 - u2 sample by sample; iN the sum of the phase currents.
    for (size_t s = 0; s < osc->SmplCnt; s += 97) {
        EXPECT_NEAR(osc->Ch[4][s], osc->Ch[0][s] - osc->Ch[1][s], 0.01);
        EXPECT_NEAR(osc->Ch[10][s], osc->Ch[7][s] + osc->Ch[8][s] + osc->Ch[9][s], 0.01);
    }
    EXPECT_NEAR(WaveformAnalyzer::ZeroCrossingFrequency(osc->Ch[0], osc->smplrte), cs->F, 0.01);
}

TEST(SimPhysics, HarmonicsComeBackAtTheOrdersTheyWerePutIn) {
    Sim sim("", [](const std::string& root) {
        Sim::setProfile(
            root, "supply",
            "{\"voltageHarmonics\": [{\"order\": 3, \"percent\": 4}, {\"order\": 5, \"percent\": 3},"
            " {\"order\": 7, \"percent\": 2}, {\"order\": 11, \"percent\": 1},"
            " {\"order\": 23, \"percent\": 0.5}],"
            " \"currentHarmonics\": [{\"order\": 5, \"percent\": 10}, {\"order\": 13, \"percent\": 3}],"
            " \"interharmonics\": [{\"order\": 7.5, \"percent\": 0.6}], \"unbalancePercent\": 0,"
            " \"events\": []}");
    });
    RawClient c(sim.port());
    c.openPlain();
    Bytes obj = nextBlock(c, startStream(c, 0x01FFFFFF));
    auto hv = THarmRecord::Decode(obj.data(), obj.size(), 2);
    ASSERT_TRUE(hv.has_value());
    const std::map<int, double> putIn = {{3, 4}, {5, 3}, {7, 2}, {11, 1}, {23, 0.5}};
    for (int ph = 0; ph < 3; ++ph) {
        EXPECT_NEAR(hv->HrmULE[ph][1], 230.0, 0.5);
        for (int h = 2; h <= 50; ++h) {
            const double want = putIn.count(h) ? putIn.at(h) : 0.0;
            EXPECT_NEAR(hv->HrmULE[ph][h], want, 0.02 + want * 0.02) << "phase " << ph << " order " << h;
        }
        EXPECT_NEAR(hv->IHrmULE[ph][7], 0.6, 0.03); // 7.5 is interharmonic index 7
        EXPECT_NEAR(hv->HrmIL[ph][5], 10.0, 0.2);   // 10 % of 100 A, in A
        EXPECT_NEAR(hv->HrmIL[ph][13], 3.0, 0.1);
    }
    // Line to line: the 3rd is the same in every phase and cancels in the difference.
    EXPECT_LT(hv->HrmULL[0][3], 0.02);
    EXPECT_NEAR(hv->HrmULL[0][5], 3.0, 0.1);
    EXPECT_LT(hv->HrmIL[3][1], 0.5); // no 3rd in the currents: no neutral current
}

TEST(SimPhysics, PowersFormATriangleWithDistortionAndAddUpOverPhases) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    const uint32_t h = startStream(c, 0x04FFFFFF);
    for (int block = 0; block < 3; ++block) {
        Bytes obj = nextBlock(c, h);
        auto cs = TCsRecord::Decode(obj.data(), obj.size(), 2);
        ASSERT_TRUE(cs.has_value());
        for (int k = 0; k < 4; ++k) {
            const double s2 = double(cs->S[k]) * cs->S[k];
            const double sum =
                double(cs->P[k]) * cs->P[k] + double(cs->Q[k]) * cs->Q[k] + double(cs->D[k]) * cs->D[k];
            EXPECT_NEAR(sum, s2, s2 * 0.01) << "phase " << k;
            EXPECT_GT(cs->D[k], 0.01 * cs->S[k]) << "the harmonics give distortion power";
            EXPECT_NEAR(cs->PF[k], cs->P[k] / cs->S[k], 1e-4);
            EXPECT_NEAR(cs->CosPhi[k], 0.95, 0.005);
        }
        for (int k = 0; k < 3; ++k)
            EXPECT_NEAR(cs->S[k], cs->U[k] * cs->I[k], cs->S[k] * 1e-4);
        EXPECT_NEAR(cs->P[3], cs->P[0] + cs->P[1] + cs->P[2], std::fabs(cs->P[3]) * 1e-5);
        EXPECT_NEAR(cs->Q[3], cs->Q[0] + cs->Q[1] + cs->Q[2], std::fabs(cs->Q[3]) * 1e-5);
        EXPECT_GT(cs->QV[3], 0); // an inductive load
    }
}

TEST(SimPhysics, ScheduledDipsLowerTheirPhaseAndFlagTheInterval) {
    // Phase 1 at 50 % for the first second of every two: of consecutive 200 ms values, about half dip.
    Sim sim("", [](const std::string& root) {
        Sim::setProfile(root, "supply",
                        "{\"events\": [{\"kind\": \"dip\", \"everySeconds\": 2, \"atSecond\": 0,"
                        " \"durationMs\": 1000, \"percent\": 50, \"phases\": [1]}]}");
    });
    RawClient c(sim.port());
    c.openPlain();
    const TRecordDef* def = TFieldTable::Instance().RecordFor(do10T, 2);
    const uint32_t h = startStream(c, 0x00FFFFFF);
    int dipped = 0, normal = 0;
    for (int k = 0; k < 10; ++k) {
        auto v = TRecordCodec::Decode(nextBlock(c, h), *def);
        ASSERT_TRUE(v.has_value());
        const double u1 = v->Get("u_std_t", "U1E");
        const uint32_t flags = uint32_t(v->Get("u_10t_t", "Flags"));
        EXPECT_NEAR(v->Get("u_std_t", "U2E"), 230 * 0.992, 2.0); // the dip does not touch L2
        if (u1 < 130) {
            ++dipped;
            EXPECT_NEAR(u1, 115, 3.0);
            EXPECT_EQ(flags & 0x7Fu, 0x51u); // U1E, U12 and U31
        } else if (flags == 0) {
            ++normal;
            EXPECT_NEAR(u1, 230, 3.0);
        }
    }
    EXPECT_GE(dipped, 3);
    EXPECT_GE(normal, 3);
}
