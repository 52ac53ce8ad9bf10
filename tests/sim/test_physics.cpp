// The synthesized measurements agree with the waveform and with each other: rms of a pure sine,
// harmonics at the orders put in, the power triangle, the oscilloscope samples, dips and swells.
// Partly in-process on the analysis classes, partly on the wire through the field table.
#include "StreamClient.h"
#include "ferrosim/MeasurementEngine.h"
#include "ferrosim/PowerAnalyzer.h"
#include "ferrosim/SupplySynth.h"
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
constexpr uint64_t kEpoch = 1790000000ull * 1000000000ull;

SupplyConfig pureSine() {
    SupplyConfig c;
    c.driftHz = 0;
    c.unbalancePercent = 0;
    c.neutralVolts = 0;
    c.residualAmps = 0;
    c.voltageHarmonics.clear();
    c.currentHarmonics.clear();
    c.interharmonics.clear();
    c.emissionPercent = 0;
    c.events.clear();
    return c;
}

double rms(const std::vector<float>& x) {
    double s = 0;
    for (float v : x)
        s += double(v) * double(v);
    return std::sqrt(s / double(x.size()));
}

// A window of two channels holding u = U sqrt2 sin(wt), i = I sqrt2 sin(wt - phi) (+ a 5th in i).
Waveforms twoChannels(double u, double i, double phiDeg, double fifth, uint32_t cycles) {
    Waveforms w;
    w.rate = 10240;
    const size_t n = size_t(cycles) * 10240 / 50;
    for (auto& ch : w.ch)
        ch.assign(n, 0.0f);
    for (size_t k = 0; k < n; ++k) {
        const double a = 2 * kPi * 50 * double(k) / 10240.0;
        w.ch[chU1][k] = float(u * std::sqrt(2.0) * std::sin(a));
        const double b = a - phiDeg * kPi / 180;
        w.ch[chI1][k] = float(i * std::sqrt(2.0) * (std::sin(b) + fifth * std::sin(5 * b)));
    }
    return w;
}

} // namespace

TEST(SimAnalysis, ZeroCrossingsGiveTheFrequencyAndSmoothLengthsStayNear) {
    std::vector<float> x(20480);
    for (size_t k = 0; k < x.size(); ++k)
        x[k] = float(std::sin(2 * kPi * 49.87 * double(k) / 20480.0 + 0.3));
    double lo = 0, hi = 0;
    EXPECT_NEAR(WaveformAnalyzer::ZeroCrossingFrequency(x, 20480, &lo, &hi), 49.87, 1e-3);
    EXPECT_NEAR(lo, 49.87, 0.01);
    EXPECT_NEAR(hi, 49.87, 0.01);
    EXPECT_EQ(WaveformAnalyzer::ZeroCrossingFrequency(std::vector<float>(100, 1.0f), 20480), 0.0);
    for (size_t n : {4096u, 4101u, 20483u, 61447u}) {
        size_t m = WaveformAnalyzer::SmoothLength(n);
        EXPECT_LE(std::abs(double(m) - double(n)), double(n) * 0.002) << n;
        for (size_t f : {2u, 3u, 5u, 7u, 11u, 13u})
            while (m % f == 0)
                m /= f;
        EXPECT_EQ(m, 1u) << n;
    }
}

TEST(SimAnalysis, PowersOfAKnownWaveformFollowTheirDefinitions) {
    // 230 V, 100 A lagging by 30 degrees, 20 % fifth harmonic in the current only.
    Waveforms w = twoChannels(230, 100, 30, 0.2, 10);
    Measurement m;
    WaveformAnalyzer::Analyze(w, 10, m);
    PowerAnalyzer::Analyze(w, m);
    const PowerValues& p = m.power[0];
    const double irms = 100 * std::sqrt(1 + 0.04);
    EXPECT_NEAR(m.ch[chI1].rms, irms, irms * 1e-4);
    EXPECT_NEAR(m.ch[chI1].thd, 20.0, 0.01);
    EXPECT_NEAR(p.P, 23000 * std::cos(kPi / 6), 2.0);
    EXPECT_NEAR(p.Q, 23000 * std::sin(kPi / 6), 2.0);
    EXPECT_NEAR(p.S, 230 * irms, 2.0);
    // The fifth flows without a voltage to push it: all of it is distortion power.
    EXPECT_NEAR(p.D, 230 * 20, 3.0);
    EXPECT_NEAR(p.cosPhi, std::cos(kPi / 6), 1e-4);
    EXPECT_NEAR(p.PF, p.P / p.S, 1e-9);
    EXPECT_NEAR(p.phiDeg, 30.0, 0.01);
    EXPECT_NEAR(m.ch[chI1].fundAngle, -30.0, 0.01);
}

TEST(SimAnalysis, APureSineMeasuresItsConfiguredValues) {
    SupplySynth synth(pureSine(), kEpoch);
    MeasurementEngine engine(synth);
    Measurement m = engine.measure(kEpoch + 5000000000ull, 50, kEpoch);
    EXPECT_NEAR(m.ch[chU1].rms, 230.0, 0.23);
    EXPECT_NEAR(m.ch[chU12].rms, 230.0 * std::sqrt(3.0), 0.4);
    EXPECT_NEAR(m.ch[chI2].rms, 100.0, 0.1);
    EXPECT_LT(m.ch[chU1].thd, 0.01);
    EXPECT_NEAR(m.frequency, 50.0, 1e-3);
    EXPECT_NEAR(m.ch[chU2].fundAngle, -120.0, 0.01);
    EXPECT_NEAR(m.ch[chU3].fundAngle, 120.0, 0.01);
    EXPECT_NEAR(m.power[3].PF, 0.95, 1e-3);
    EXPECT_LT(m.u.unbalance, 0.01);
    EXPECT_NEAR(m.ch[chU1].crest, std::sqrt(2.0), 1e-3);
    EXPECT_EQ(m.flags, 0u);
}

TEST(SimPhysics, ReportedRmsOfAPureSineIsItsAmplitudeOverRoot2) {
    Sim sim("", [](const std::string& root) { Sim::setProfile(root, "supply", pureSineSupply(230, 80)); });
    RawClient c(sim.port());
    c.openPlain();
    // The amplitude as the instrument samples it: the largest oscilloscope sample.
    Bytes osc = nextBlock(c, startStream(c, 0x08FFFFFF));
    auto curves = TOscRecord::Decode(osc.data(), osc.size(), 2, 0);
    ASSERT_TRUE(curves.has_value());
    float peakU = 0, peakI = 0;
    for (float v : curves->Ch[0])
        peakU = std::max(peakU, std::fabs(v));
    for (float v : curves->Ch[7])
        peakI = std::max(peakI, std::fabs(v));
    EXPECT_NEAR(peakU, 230 * std::sqrt(2.0), 0.05);

    Bytes obj = nextBlock(c, startStream(c, 0x04FFFFFF));
    auto cs = TCsRecord::Decode(obj.data(), obj.size(), 2);
    ASSERT_TRUE(cs.has_value());
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
            auto it = putIn.find(h);
            const double want = it == putIn.end() ? 0.0 : it->second;
            EXPECT_NEAR(hv->HrmULE[ph][h], want, 0.02 + want * 0.02) << "phase " << ph << " order " << h;
        }
        EXPECT_NEAR(hv->IHrmULE[ph][7], 0.6, 0.03); // 7.5 is interharmonic index 7
        EXPECT_LT(hv->IHrmULE[ph][20], 0.02);
        EXPECT_NEAR(hv->HrmIL[ph][5], 10.0, 0.2); // 10 % of 100 A, in A
        EXPECT_NEAR(hv->HrmIL[ph][13], 3.0, 0.1);
        EXPECT_LT(hv->HrmIL[ph][7], 0.05);
    }
    // Line to line: the 3rd is the same in every phase and cancels in the difference.
    EXPECT_LT(hv->HrmULL[0][3], 0.02);
    EXPECT_NEAR(hv->HrmULL[0][5], 3.0, 0.1);
    // The 3rd of the currents adds up in the neutral; with none put in, there is no neutral current.
    EXPECT_LT(hv->HrmIL[3][1], 0.5);
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
            EXPECT_LT(cs->PF[k], cs->CosPhi[k]);
        }
        for (int k = 0; k < 3; ++k)
            EXPECT_NEAR(cs->S[k], cs->U[k] * cs->I[k], cs->S[k] * 1e-4);
        EXPECT_NEAR(cs->P[3], cs->P[0] + cs->P[1] + cs->P[2], std::fabs(cs->P[3]) * 1e-5);
        EXPECT_NEAR(cs->Q[3], cs->Q[0] + cs->Q[1] + cs->Q[2], std::fabs(cs->Q[3]) * 1e-5);
        EXPECT_GT(cs->QV[3], 0); // an inductive load
    }
}

TEST(SimPhysics, OscilloscopeSamplesAreTheMeasuredWaveform) {
    Sim sim("", [](const std::string& root) {
        Sim::setProfile(root, "supply", "{\"driftHz\": 0, \"events\": []}");
    });
    RawClient c(sim.port());
    c.openPlain();
    Bytes osc = nextBlock(c, startStream(c, 0x08FFFFFF));
    uint64_t base = uint64_t(get32(osc, 4)) * 1000000000ull + get32(osc, 8);
    auto curves = TOscRecord::Decode(osc.data(), osc.size(), 2, base);
    ASSERT_TRUE(curves.has_value());
    EXPECT_EQ(curves->SmplCnt, 4096u); // ten cycles at 20480 per second
    EXPECT_EQ(curves->Time.back() - curves->Time.front(), uint64_t(std::llround(4095 * 1e9 / 20480)));
    Bytes obj = nextBlock(c, startStream(c, 0x04FFFFFF));
    auto cs = TCsRecord::Decode(obj.data(), obj.size(), 2);
    ASSERT_TRUE(cs.has_value());
    for (int k = 0; k < 7; ++k)
        EXPECT_NEAR(rms(curves->Ch[size_t(k)]), cs->U[size_t(k)], cs->U[size_t(k)] * 0.002 + 0.01) << k;
    for (int k = 0; k < 3; ++k)
        EXPECT_NEAR(rms(curves->Ch[size_t(7 + k)]), cs->I[size_t(k)], cs->I[size_t(k)] * 0.002) << k;
    // u12 is u1 - u2 sample by sample; iN the sum of the phase currents.
    for (size_t s = 0; s < curves->SmplCnt; s += 97) {
        EXPECT_NEAR(curves->Ch[4][s], curves->Ch[0][s] - curves->Ch[1][s], 0.01);
        EXPECT_NEAR(curves->Ch[10][s], curves->Ch[7][s] + curves->Ch[8][s] + curves->Ch[9][s], 0.01);
    }
    EXPECT_NEAR(WaveformAnalyzer::ZeroCrossingFrequency(curves->Ch[0], curves->smplrte), cs->F, 0.01);
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
        const double u1 = v->Get("u_std_t", "U1E"), u2 = v->Get("u_std_t", "U2E");
        const uint32_t flags = uint32_t(v->Get("u_10t_t", "Flags"));
        EXPECT_NEAR(u2, 230 * 0.992, 2.0); // the unbalance lowers L2 a little; the dip does not touch it
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

TEST(SimPhysics, AggregatedObjectsAgreeWithThemselves) {
    Sim sim("", [](const std::string& root) { Sim::setProfile(root, "supply", "{\"events\": []}"); });
    RawClient c(sim.port());
    c.openPlain();
    const TRecordDef* def = TFieldTable::Instance().RecordFor(do10min, 2);
    Bytes first;
    startStream(c, 0x02FFFFFF, &first);
    auto v = TRecordCodec::Decode(first, *def);
    ASSERT_TRUE(v.has_value());
    for (const char* ch : {"U1E", "U2E", "U3E", "U12"}) {
        SCOPED_TRACE(ch);
        const std::string n = ch;
        const double u = v->Get("u_std_t", n);
        EXPECT_GE(v->Get("u_ext_t", "Umax " + n) + 1e-3, u);
        EXPECT_LE(v->Get("u_ext_t", "Umin " + n) - 1e-3, u);
        // THD is the root of the harmonics' squares, in % of the fundamental (order 1, in V).
        double h2 = 0;
        for (size_t h = 2; h <= 50; ++h)
            h2 += std::pow(v->Get("u_std_t", "H " + n, h), 2);
        EXPECT_NEAR(v->Get("u_std_t", "THD " + n), std::sqrt(h2), 0.01);
        // The rms contains the fundamental and everything else.
        EXPECT_GT(u, v->Get("u_std_t", "H " + n, 1));
        EXPECT_NEAR(v->Get("u_std_t", "H " + n, 1), v->Get("u_std_t", n + " polar", 0), 1e-3);
    }
    const double f = v->Get("u_std_t", "F");
    EXPECT_NEAR(f, 50.0, 0.05);
    EXPECT_LE(v->Get("u_ext_t", "Fmin"), f + 1e-3);
    EXPECT_GE(v->Get("u_ext_t", "Fmax"), f - 1e-3);
    EXPECT_NEAR(v->Get("tmp_t_V2_2", "Temp"), 35.0, 2.01);
    EXPECT_NEAR(v->Get("i_std_t_V2_2", "IN"), v->Get("i_std_t_V2_2", "IN calc"), 1e-3);
    // The default load draws a 3rd harmonic; it adds up in the neutral.
    EXPECT_NEAR(v->Get("i_std_t_V2_2", "H IN", 3), 3 * 6.0, 0.5);
    EXPECT_EQ(v->GetStamp("w_t", "Start").sec, v->GetStamp("hdr16_t", "TS").sec);

    const TRecordDef* tenS = TFieldTable::Instance().RecordFor(do10s, 2);
    auto fv = TRecordCodec::Decode(nextBlock(c, startStream(c, 0x05FFFFFF)), *tenS);
    ASSERT_TRUE(fv.has_value());
    EXPECT_EQ(fv->GetStamp("hdr16_t", "TS").sec - fv->GetStamp("c_10s_f", "Start").sec, 10u);
    EXPECT_NEAR(fv->Get("c_10s_f", "F10s"), 50.0, 0.05);
    EXPECT_LE(fv->Get("c_10s_f", "Fmin"), fv->Get("c_10s_f", "Fmax"));
}
