// The spectrum engine and the curve chart with its spectrum, on the recorder.
#include "charts/PQPaintBoxCrvFFT.h"
#include "charts/RecordingCanvas.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace ferro;

namespace {

// 2048 samples over four mains periods: 25 600 samples per second, lines 12.5 Hz apart.
void FeedSine(TPQPaintBoxCrvFFT& b, double A, double h5) {
    b.SetMaxRecs(2048);
    for (int k = 0; k < 2048; ++k) {
        const double t = k / 25600.0;
        const float v = float(A * std::sin(2 * M_PI * 50 * t) + h5 * A * std::sin(2 * M_PI * 250 * t + 0.3));
        b.NewValues({v}, uint64_t(k) * 39062);
    }
}

// One "spectrum" record per line: value at line k from the function.
template <class F> void FeedLines(TPQPaintBoxCrvFFT& b, int n, F f) {
    b.SetMaxRecs(n);
    for (int k = 0; k < n; ++k)
        b.NewValues({float(f(k))}, uint64_t(k));
}

} // namespace

TEST(CrvFFT, SineWithFifthHarmonicReadsRmsOnItsLinesAndKeepsSamplesBehindTheSpectrum) {
    TPQPaintBoxCrvFFT b;
    b.SetCrvCnt(1);
    const double A = 325.0;
    FeedSine(b, A, 0.05);
    const float tail = b.MessLst().Val(1500, 0);
    b.DoFFT();
    EXPECT_DOUBLE_EQ(b.FFTCls().GetFreqDif(), 12.5);
    ASSERT_EQ(b.FFTCls().GetSpecNum(), 1024);
    const double l50 = b.MessLst().Val(4, 0), l250 = b.MessLst().Val(20, 0);
    EXPECT_NEAR(l50, A / std::sqrt(2.0), 0.005 * A / std::sqrt(2.0));
    EXPECT_NEAR(l250 / l50, 0.05, 0.05 * 0.005);
    // A block of whole periods leaks into no other line.
    for (int k : {0, 3, 5, 19, 21, 500, 1023})
        EXPECT_LT(b.MessLst().Val(k, 0), 1e-3 * A) << k;
    EXPECT_EQ(b.MessLst().Val(1500, 0), tail);

    // A block shorter than the engine's count has no spectrum; a non-number sample does not spread.
    TPQPaintBoxCrvFFT s;
    s.SetCrvCnt(1);
    FeedLines(s, 100, [](int) { return 1.0; });
    s.DoFFT();
    EXPECT_EQ(s.MessLst().Val(0, 0), 1.0f);
    FeedSine(s, 10, 0);
    s.NewValues({std::numeric_limits<float>::quiet_NaN()}, 0);
    s.DoFFT();
    EXPECT_TRUE(std::isfinite(s.MessLst().Val(100, 0)));
}

TEST(CrvFFT, AutoScaleLeavesOutExactlyFiftyHertzAndZoomStepsHalveTheRange) {
    TPQPaintBoxCrvFFT b;
    b.SetCrvCnt(1);
    b.SetRoundAftScl(false);
    FeedLines(b, 2048, [](int k) { return k == 4 ? 230.0 : (k == 20 ? 11.5 : 0.5); });
    b.AutoScale(0);
    EXPECT_DOUBLE_EQ(b.YRec(0).FSclMax, 11.5); // 4 x 12.5 Hz is the mains line
    EXPECT_DOUBLE_EQ(b.YRec(0).FSclMin, 0);
    EXPECT_DOUBLE_EQ(b.XNorm().FSclMax, 1024 * 12.5);
    b.FFTCls().SetSampleRate(49.9 * 512); // line 4 now lies on 49.9 Hz and counts
    b.AutoScale(0);
    EXPECT_DOUBLE_EQ(b.YRec(0).FSclMax, 230.0);
    b.AutoScale(1); // a curve that does not exist changes nothing
    EXPECT_DOUBLE_EQ(b.YRec(0).FSclMax, 230.0);

    int bar = 0;
    b.SetUpdateTrackBar([&](int v) { bar = v; });
    b.SetScl(0, 0, 100);
    EXPECT_FALSE(b.ZoomFFT(10));
    EXPECT_TRUE(b.ZoomFFT(25)); // forced to 20 for the factor, stored as given
    EXPECT_EQ(b.ScaleVal(), 25);
    EXPECT_DOUBLE_EQ(b.YRec(0).FSclMax, 100.0 / 1024);
    EXPECT_TRUE(b.ZoomFFT(24)); // from 25, forced to 20 again: 2^(25 - 20)
    EXPECT_DOUBLE_EQ(b.YRec(0).FSclMax, 100.0 / 1024 * 32);
    bool handled = false;
    b.MouseWheel(0, -120, handled); // to 23, forced to 20: 2^(24 - 20)
    EXPECT_EQ(bar, 23);
    EXPECT_DOUBLE_EQ(b.YRec(0).FSclMax, 100.0 / 1024 * 512);
}

TEST(CrvFFT, RingStackingAndPaint) {
    TPQPaintBoxCrvFFT b;
    b.SetCrvCnt(3);
    b.SetBaseRec(0, BaseRect("u1", "ULE", "V", buAuto));
    b.SetBaseRec(1, BaseRect("u2", "ule", "v", buAuto));
    b.SetBaseRec(2, BaseRect("i1", "I", "A", buAuto));
    EXPECT_EQ(b.SubRegionNumber(), 3);        // the pairs compare case-sensitively when listed
    EXPECT_EQ(b.SubRegionSet(0).count(), 2u); // and case-insensitively when curves are matched
    EXPECT_EQ(b.SubRegionSym(2), "I");
    EXPECT_EQ(b.SubRegionUnt(2), "A");
    EXPECT_TRUE(b.SubRegionSet(7).none());

    b.SetMaxRecs(3);
    for (int i = 0; i < 3; ++i)
        b.NewValues({float(i)}, uint64_t(i)); // short value lists count 0 for the rest
    TRecordingCanvas c;
    c.Font.Size = 12;
    b.SetSize(800, 400);
    b.Paint(c);
    EXPECT_TRUE(c.Calls.empty()); // three records: not even a frame
    b.SetMaxRecs(5);
    for (int i = 3; i < 7; ++i)
        b.NewValues({float(i), 1, 2}, uint64_t(i));
    ASSERT_EQ(b.GetMessCnt(), 5);
    EXPECT_EQ(b.MessLst().Tsl(0), 2u);
    EXPECT_EQ(b.MessLst().Val(0, 1), 0.0f);
    b.SetMaxRecs(0);
    b.NewValues({1}, 99);
    EXPECT_EQ(b.GetMessCnt(), 5);

    // A ring that has wrapped round keeps its order when it grows.
    TPQPaintBoxCrvFFT r;
    r.SetCrvCnt(2);
    r.SetMaxRecs(1100);
    for (int i = 0; i < 1150; ++i)
        r.NewValues({float(i), float(-i)}, uint64_t(i));
    r.SetMaxRecs(5000);
    for (int i = 1150; i < 3000; ++i)
        r.NewValues({float(i), float(-i)}, uint64_t(i));
    ASSERT_EQ(r.GetMessCnt(), 2950);
    for (int i = 0; i < r.GetMessCnt(); i += 7) {
        ASSERT_EQ(r.MessLst().Tsl(i), uint64_t(i + 50));
        ASSERT_EQ(r.MessLst().Val(i, 1), -float(i + 50));
    }

    b.SetStack(stkCurve);
    b.Paint(c);
    ASSERT_EQ(b.PropLst().size(), 3u);
    EXPECT_EQ(c.Of(TCanvasOp::DrawPath).size(), 3u);
    for (const auto& p : c.Of(TCanvasOp::DrawPath))
        EXPECT_EQ(p.Path.size(), 5u); // fewer records than lines: every record is a point
    const auto texts = c.Texts();
    EXPECT_NE(std::find(texts.begin(), texts.end(), "i1 [A]"), texts.end());
    EXPECT_NE(std::find(texts.begin(), texts.end(), "Frequenz"), texts.end());

    TClipLst clip;
    EXPECT_TRUE(b.CopyToClip(clip));
    ASSERT_EQ(clip.Count(), 6);
    EXPECT_EQ(clip[0], "FFT\tu1 [V]\tu2 [v]\ti1 [A]");
    EXPECT_EQ(clip[1].substr(clip[1].find('\t')), "\t2\t0\t0");
}
