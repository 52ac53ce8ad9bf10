// The time chart: decimation, zoom by dragging, markers and the cached picture, on the recorder
// and, for the decimation's pixels, on images.
#include "charts/ImageBitmap.h"
#include "charts/PQPaintBoxCrvTime.h"
#include "charts/PainterCanvas.h"
#include "charts/RecordingBitmap.h"
#include "charts/RecordingCanvas.h"

#include <gtest/gtest.h>

#include <QImage>

#include <cmath>
#include <limits>

using namespace ferro;

namespace {

constexpr uint64_t CSec = 1000000000ull;
constexpr uint64_t CDay0 = 1700000000ull * CSec;

struct TimeChart : ::testing::Test {
    TPQPaintBoxCrvTime b;
    TRecordingCanvas c;
    int notified = 0;
    void SetUp() override {
        b.SetMouseNotify(
            [this](TPQPaintBox*, const TPointF&, const TPointF&, TMouseButton, TShiftState) { ++notified; });
        b.SetSize(1200, 500);
        c.Font.Size = 12;
    }
    template <class F> void Fill(int n, F f, int crv = 1) {
        b.SetCrvCnt(crv);
        for (int i = 0; i < crv; ++i)
            b.SetBaseRec(i, BaseRect("u" + std::to_string(i + 1), "ULE", "V", buAuto));
        b.SetMaxRecs(n);
        TSingleArray v(static_cast<size_t>(crv));
        for (int i = 0; i < n; ++i) {
            for (auto& x : v)
                x = float(f(i));
            b.NewValues(v, CDay0 + uint64_t(i) * CSec);
        }
        b.ResetZoom();
    }
    // What the last full repaint drew into the cached picture.
    TRecordingCanvas& Picture() { return dynamic_cast<TRecordingBitmap&>(*b.Bitmap()).Recorder(); }
    void Paint() {
        c.Reset();
        b.Paint(c);
    }
    void Drag(double x0, double x1, TShiftState up = 0) {
        b.MouseDown(mbLeft, ssLeft, x0, 200);
        b.MouseMove(ssLeft, x1, 210);
        b.MouseUp(mbLeft, up, x1, 210);
    }
};

} // namespace

TEST_F(TimeChart, DecimationKeepsAOneSampleSpikeAmongAMillionFlatSamples) {
    Fill(1000000, [](int i) { return i == 612345 ? 100.0 : 0.0; });
    b.SetScl(0, 0, 100);
    Paint();
    const auto paths = Picture().Of(TCanvasOp::DrawPath);
    ASSERT_EQ(paths.size(), 1u);
    const auto& steps = paths[0].Path;
    EXPECT_LT(steps.size(), 600u); // a flat line keeps a point every second column
    const TRectF rr = b.PropLst()[0].RR;
    double top = rr.Bottom;
    for (const auto& s : steps)
        top = std::min(top, s.Point.Y);
    EXPECT_DOUBLE_EQ(top, rr.Top);

    // Few records or no surface paint nothing; values that are not numbers leave no point.
    b.SetSize(0, 0);
    Paint();
    EXPECT_TRUE(c.Calls.empty());
    b.SetSize(1200, 500);
    Fill(3, [](int) { return 1.0; });
    Paint();
    EXPECT_TRUE(c.Calls.empty());
    Fill(50, [](int i) { return i % 7 ? double(i) : std::numeric_limits<double>::infinity(); });
    b.SetScl(0, 0, 50);
    b.ForceRepaint();
    Paint();
    const auto finite = Picture().Of(TCanvasOp::DrawPath);
    for (const auto& s : finite.back().Path)
        EXPECT_TRUE(std::isfinite(s.Point.Y));
}

// Each record's column is its time on the axis rounded to a pixel, however unevenly the records
// are spread: bursts, gaps of hours and columns that hold none.
TEST_F(TimeChart, EveryRecordLiesInTheColumnOfItsTime) {
    b.SetCrvCnt(1);
    b.SetBaseRec(0, BaseRect("u1", "ULE", "V", buAuto));
    constexpr int n = 200000;
    b.SetMaxRecs(n);
    std::vector<uint64_t> ts;
    uint64_t t = CDay0;
    TSingleArray v(1);
    for (int i = 0; i < n; ++i) {
        t += i % 5000 < 3000  ? CSec / 1000
             : i % 20011 == 0 ? 3600 * CSec
                              : CSec / 3 + uint64_t(i % 7) * CSec / 50;
        ts.push_back(t);
        v[0] = float(i % 2);
        b.NewValues(v, t);
    }
    b.ResetZoom();
    Paint();
    const TRectF r = b.CrvRect();
    const double k = r.Width() / double(ts.back() - ts.front());
    for (int i = 0; i < n; ++i)
        ASSERT_EQ(b.RecordX(i), float(std::nearbyint(double(ts[size_t(i)] - ts.front()) * k + r.Left)))
            << "record " << i;
}

TEST_F(TimeChart, DragZoomsBeyondTwentyPixelsOnlyAndNeedsFiveRecords) {
    Fill(1000, [](int i) { return i; });
    Paint();
    Drag(300, 320);
    EXPECT_EQ(b.ZoomIdx1(), 0);
    EXPECT_EQ(b.ZoomIdx2(), 999);
    EXPECT_EQ(notified, 1); // a drag that did nothing goes to the host
    Paint();
    Drag(300, 321);
    EXPECT_GT(b.ZoomIdx1(), 200);
    EXPECT_GE(b.ZoomIdx2() - b.ZoomIdx1(), 15);
    EXPECT_EQ(b.ZoomTS2() - b.ZoomTS1(), uint64_t(b.ZoomIdx2() - b.ZoomIdx1()) * CSec);
    EXPECT_EQ(b.GetCaption(), MilliSecToDuration((b.ZoomTS2() - b.ZoomTS1()) / 1000000));
    Paint();
    Drag(900, 700); // leftward: everything again
    EXPECT_EQ(b.ZoomIdx2() - b.ZoomIdx1(), 999);
    bool handled = false;
    b.MouseWheel(0, 120, handled); // the wheel zooms only the spectrum
    EXPECT_EQ(b.ScaleVal(), 10);

    Fill(100, [](int i) { return i; });
    Paint();
    Drag(b.RecordX(10) - 0.5, b.RecordX(13) + 0.5); // four records
    EXPECT_EQ(b.ZoomIdx1(), 0);
    EXPECT_EQ(b.ZoomIdx2(), 99);
    Drag(b.RecordX(10) - 0.5, b.RecordX(14) + 0.5);
    EXPECT_EQ(b.ZoomIdx1(), 10);
    EXPECT_EQ(b.ZoomIdx2(), 14);
    EXPECT_FALSE(b.ZoomRectVisible());
}

TEST_F(TimeChart, ShiftSetsMarkerOneEvenWithCtrlAndMarkersAreDrawn) {
    Fill(
        100, [](int i) { return i * 2; }, 2);
    Paint();
    int mark = -1;
    uint64_t ts = 0;
    std::vector<std::string> names;
    TSingleArray vals;
    b.SetMarkerNotify(
        [&](TPQPaintBox*, int m, uint64_t t, const std::vector<std::string>& sl, const TSingleArray& v) {
            mark = m;
            ts = t;
            names = sl;
            vals = v;
        });
    const double x = b.RecordX(40) - 0.5;
    b.MouseUp(mbLeft, ssShift | ssCtrl, x, 200);
    EXPECT_EQ(mark, 0);
    EXPECT_EQ(b.MarkIdx1(), 40);
    EXPECT_EQ(b.MarkIdx2(), -1);
    EXPECT_EQ(ts, CDay0 + 40 * CSec);
    EXPECT_EQ(names, (std::vector<std::string>{"u1 [V]", "u2 [V]"}));
    EXPECT_EQ(vals, (TSingleArray{80, 80}));
    b.MouseUp(mbLeft, ssCtrl, x, 200); // backward: the last record not right of x
    EXPECT_EQ(mark, 1);
    EXPECT_EQ(b.MarkIdx2(), 39);
    b.SetTrigger(LinearToTS(CDay0 + 70 * CSec));
    Paint();
    const auto texts = Picture().Texts();
    EXPECT_NE(std::find(texts.begin(), texts.end(), "M1"), texts.end());
    EXPECT_NE(std::find(texts.begin(), texts.end(), "M2"), texts.end());
    EXPECT_NE(std::find(texts.begin(), texts.end(), "22:14:30.000000"), texts.end()); // the trigger

    // New limits for the region under the last mouse-down, only with stacking on.
    TRectF rr;
    b.MouseDown(mbRight, 0, 600, 200);
    ASSERT_TRUE(b.GetSclRegion(rr));
    b.SetSclRegion(-10, 500);
    EXPECT_EQ(b.YRec(1).FSclMax, 500);
    b.SetStack(stkNone);
    b.SetSclRegion(0, 1);
    EXPECT_EQ(b.YRec(0).FSclMin, -10);

    TClipLst clip;
    EXPECT_TRUE(b.CopyToClip(clip));
    ASSERT_EQ(clip.Count(), 101);
    EXPECT_EQ(clip[0], "Time\tu1 [V]\tu2 [V]");
    EXPECT_EQ(clip[2], "14.11.2023 22:13:21.000000\t2\t2");
}

TEST_F(TimeChart, MovingTheZoomFramePaintsFromThePictureWithoutTouchingTheRecords) {
    Fill(1000, [](int i) { return std::sin(i / 30.0); });
    Paint();
    const uint64_t laidOut = b.RecordsLaidOut();
    EXPECT_EQ(laidOut, 1000u);
    const size_t pictureCalls = Picture().Calls.size();
    b.MouseDown(mbLeft, ssLeft, 300, 100);
    b.MouseMove(ssLeft, 450, 300);
    Paint();
    EXPECT_EQ(b.RecordsLaidOut(), laidOut);
    EXPECT_EQ(Picture().Calls.size(), pictureCalls);
    ASSERT_EQ(c.Of(TCanvasOp::DrawBitmap).size(), 1u);
    EXPECT_TRUE(c.Of(TCanvasOp::DrawPath).empty());
    ASSERT_EQ(c.Of(TCanvasOp::DrawRect).size(), 1u);
    EXPECT_EQ(c.Of(TCanvasOp::DrawRect)[0].Rect, TRectF(300, 100, 450, 300));
    // New data is the one thing that redraws.
    b.NewValues({0.5f}, CDay0 + 5000 * CSec);
    Paint();
    EXPECT_EQ(b.RecordsLaidOut(), 2 * laidOut);
}

// Drawn without antialiasing, one span per pixel column gives the pixels of the rule's every point.
TEST_F(TimeChart, ColumnSpansDrawTheSamePixelsAsEveryKeptPoint) {
    auto render = [&](bool plain) {
        b.SetPlainDecimation(plain);
        b.ForceRepaint();
        QImage img(640, 320, QImage::Format_ARGB32_Premultiplied);
        TPainterCanvas pc(img);
        pc.Font.Size = 12;
        b.Paint(pc);
        return img;
    };
    auto differing = [&] {
        const QImage a = render(false), p = render(true);
        int n = 0;
        for (int y = 0; y < a.height(); ++y)
            for (int x = 0; x < a.width(); ++x)
                n += a.pixel(x, y) != p.pixel(x, y);
        return n;
    };
    b.SetSize(640, 320);
    // A 50 Hz sine at 20 480 Hz, about a cycle per column, then a slow drift with noise.
    Fill(300000, [](int i) { return 100 * std::sin(2 * M_PI * 50 * i / 20480.0); });
    b.SetScl(0, -110, 110);
    EXPECT_EQ(differing(), 0);
    Fill(300000, [](int i) { return std::sin(i / 40000.0) + 0.02 * ((int64_t(i) * 7919) % 13); });
    b.SetScl(0, -1.5, 1.5);
    EXPECT_EQ(differing(), 0);
    // Every point far from the one before (all drawn), then a level with a rare jump (hardly any).
    Fill(300000, [](int i) { return double((int64_t(i) * 37) % 101); });
    b.SetScl(0, 0, 100);
    EXPECT_EQ(differing(), 0);
    Fill(300000, [](int i) { return (i / 7001) % 2 + 0.001 * (i % 3); });
    b.SetScl(0, -0.5, 1.5);
    EXPECT_EQ(differing(), 0);
}

TEST_F(TimeChart, AxisLabelsOfANarrowRangeDiffer) {
    // A frequency within hundredths of a hertz: two decimals would print one value on every line.
    Fill(100, [](int i) { return 50.0 + 0.0002 * (i - 50); });
    b.SetStack(stkCurve);
    b.ScaleToRange(0, 49.99f, 50.01f);
    Paint();
    std::vector<std::string> labels;
    for (const std::string& t : Picture().Texts())
        if (t.size() > 2 && t.compare(t.size() - 2, 2, " V") == 0) labels.push_back(t);
    ASSERT_GE(labels.size(), 3u);
    std::vector<std::string> unique = labels;
    std::sort(unique.begin(), unique.end());
    unique.erase(std::unique(unique.begin(), unique.end()), unique.end());
    EXPECT_EQ(unique.size(), labels.size()) << labels[0] << " " << labels[1] << " " << labels[2];
}

// The fast scan keeps, column by column, what the rule's every drawn point comes to: up to three
// points as they are, beyond that the first, the two ends and the last.
TEST_F(TimeChart, TheFastScanKeepsTheRulesPointsColumnByColumn) {
    constexpr int n = 400000; // enough for the second thread
    Fill(n, [](int) { return 0.0; });
    b.SetScl(0, 0, 1000);
    Paint();
    const double perPixel = 1000 / b.PropLst()[0].RR.Height();
    auto points = [&](bool plain) {
        b.SetPlainDecimation(plain);
        b.ForceRepaint();
        Paint();
        const auto paths = Picture().Of(TCanvasOp::DrawPath);
        std::vector<TPointF> out;
        for (const auto& s : paths.back().Path)
            out.push_back(s.Point);
        return out;
    };
    auto collapse = [](const std::vector<TPointF>& all) {
        std::vector<TPointF> out;
        auto put = [&](TPointF p) {
            if (out.empty() || !(out.back().X == p.X && out.back().Y == p.Y)) out.push_back(p);
        };
        for (size_t i = 0; i < all.size();) {
            size_t e = i;
            double lo = all[i].Y, hi = all[i].Y;
            for (; e < all.size() && all[e].X == all[i].X; ++e)
                lo = std::min(lo, all[e].Y), hi = std::max(hi, all[e].Y);
            if (e - i <= 3) {
                for (size_t k = i; k < e; ++k)
                    put(all[k]);
            } else {
                const bool loFirst = std::fabs(all[i].Y - lo) <= std::fabs(all[i].Y - hi);
                put(all[i]);
                put({all[i].X, loFirst ? lo : hi});
                put({all[i].X, loFirst ? hi : lo});
                put(all[e - 1]);
            }
            i = e;
        }
        return out;
    };
    auto same = [&](const char* what) {
        const auto fast = points(false), plain = points(true), expected = collapse(plain);
        EXPECT_GT(plain.size(), 500u) << what;
        ASSERT_EQ(fast.size(), expected.size()) << what;
        for (size_t i = 0; i < fast.size(); ++i)
            ASSERT_TRUE(fast[i].X == expected[i].X && fast[i].Y == expected[i].Y) << what << ", point " << i;
    };
    // Steps of 1.5 pixels, each a few hundred records long: the rule keeps every second one, so a
    // scan of the right half that starts without the left half's last point keeps the wrong ones
    // until it is run again from where the left half ended. A few step lengths, so that the split
    // falls on a step the rule skips in one of them.
    for (int len : {331, 347, 359, 373}) {
        Fill(n, [&](int i) { return 100 + ((i / len) % 200) * 1.5 * perPixel; });
        b.SetScl(0, 0, 1000);
        same("stairs");
    }
    // A zigzag whose step lies a few float steps around 2 pixels, where the strict test decides
    // between drawing every point and none, after a few jumps that every column draws.
    const float twoPixels = float(500 + 2 * perPixel);
    for (int ulps = -3; ulps <= 3; ++ulps) {
        float high = twoPixels;
        for (int u = 0; u != ulps; u += ulps > 0 ? 1 : -1)
            high = std::nextafter(high, ulps > 0 ? 1000.f : 0.f);
        Fill(n, [&](int i) { return i % 101 < 4 ? 500 + 30 * perPixel * (i % 101) : i % 2 ? high : 500; });
        b.SetScl(0, 0, 1000);
        same("zigzag");
    }
    // A dense sine, noise on a drift, and a sine that leaves the scale.
    Fill(n, [](int i) { return 500 + 400 * std::sin(2 * M_PI * 50 * i / 20480.0); });
    b.SetScl(0, 0, 1000);
    same("sine");
    Fill(n, [&](int i) { return 300 + i * 0.001 + ((int64_t(i) * 7919) % 13) * 0.4 * perPixel; });
    b.SetScl(0, 0, 1000);
    same("noise");
    // A zigzag between two levels, every step far above 2 pixels, but now and then a third of a
    // pixel beyond the upper level, which the rule does not draw: also where that step falls
    // between two blocks of values that are drawn whole.
    uint32_t seed = 7;
    double prev = 0;
    const double low = 400, high = 400 + 50 * perPixel;
    Fill(n, [&](int) {
        seed = seed * 1664525u + 1013904223u;
        prev = prev == high && (seed >> 20) % 40 == 0 ? high + perPixel / 3 : prev == low ? high : low;
        return prev;
    });
    b.SetScl(0, 0, 1000);
    same("zigzag with small steps");
    Fill(n, [](int i) { return 500 + 700 * std::sin(i / 3000.0); });
    b.SetScl(0, 0, 1000);
    same("clamped");
}
