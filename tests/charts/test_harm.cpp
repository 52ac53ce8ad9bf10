// The harmonic bar chart and the load-flow chart on the recorder. Font 12 there: a letter is 6 x 15,
// the caption line 17.5. At 1200 x 500 the plot is (54, 25) .. (1194, 475): 1140 x 450, base unit 11.
#include "charts/PQPaintBoxHarm.h"
#include "charts/PQPaintBoxLoadFlow.h"
#include "charts/RecordingCanvas.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace ferro;

namespace {

std::vector<TRectF> FilledIn(const TRecordingCanvas& c, TAlphaColor col) {
    std::vector<TRectF> out;
    for (const auto& f : c.Of(TCanvasOp::FillRect))
        if (f.Color == col) out.push_back(f.Rect);
    return out;
}

// Centre of an order's group for 1140 pixels.
double SlotX(int i, int maxIdx) {
    return std::trunc(1140.0 / (maxIdx + 1) * (i + 1)) + 54 - 11;
}

bool HasText(const TRecordingCanvas& c, const std::string& t) {
    auto texts = c.Texts();
    return std::find(texts.begin(), texts.end(), t) != texts.end();
}

bool HasTextStarting(const TRecordingCanvas& c, const std::string& head) {
    for (const auto& t : c.Texts())
        if (t.rfind(head, 0) == 0) return true;
    return false;
}

struct Harm : ::testing::Test {
    TRecordingCanvas c;
    void paint(TPQPaintBox& b, double w = 1200, double h = 500) {
        c.Font.Size = 12;
        b.SetSize(w, h);
        c.Reset();
        b.Paint(c);
    }
};

} // namespace

TEST_F(Harm, BarsPerChannelScaleWithTheAxisAndClampAtItsTop) {
    TPQPaintBoxHarm b;
    b.SetFerroDisp(chartdefs::sdHrmIL);
    for (int ch = 0; ch < 4; ++ch) {
        THrm v{};
        v[3] = 10.0f * float(ch + 1); // 10 .. 40 A
        b.SetHrmVal(ch, v);
    }
    b.HrmRescale();
    EXPECT_FLOAT_EQ(b.HrmMaxScl(), 50);
    THrm over{};
    over[3] = 400; // far above the axis, without a rescale
    b.SetHrmVal(3, over);
    paint(b);
    const double x = SlotX(3, 50), h = 10.45, w = 4.18; // four bars of 0.4 half widths
    for (int ch = 0; ch < 4; ++ch) {
        auto bars = FilledIn(c, CHrmBarColors[size_t(ch)]);
        ASSERT_EQ(bars.size(), 1u); // zero values draw nothing
        EXPECT_NEAR(bars[0].Left, w / 2 + x - h + ch * w, 1e-4);
        EXPECT_NEAR(bars[0].Width(), w, 1e-4);
        EXPECT_NEAR(bars[0].Top, ch == 3 ? 25 : 475 - 450 * 10.0 * (ch + 1) / 50, 1e-4);
        EXPECT_DOUBLE_EQ(bars[0].Bottom, 475);
    }
    EXPECT_TRUE(HasText(c, "50.00 A"));
    EXPECT_TRUE(HasText(c, "0.00 A"));
    EXPECT_TRUE(FilledIn(c, 0xFFADFF2F).empty()); // currents have no limit markers

    // Voltage harmonics leave out orders 0 and 1 and never scale below 10 %.
    b.SetFerroDisp(chartdefs::sdHrmULE);
    b.ClearData();
    THrm u{};
    u[1] = 230;
    u[5] = 3;
    b.SetHrmVal(0, u);
    b.HrmRescale();
    EXPECT_EQ(b.HrmStartIdx(), 2);
    EXPECT_FLOAT_EQ(b.HrmMaxScl(), 10);
}

TEST_F(Harm, BadValuesAndSizesLeaveEveryBarInsideThePlot) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    for (double width : {1200.0, 300.0, 0.0}) {
        TPQPaintBoxHarm b;
        b.SetFerroDisp(chartdefs::sdHrmIL);
        b.HrmRescale(); // all zero: RoundUp(0) must still give a top to divide by
        EXPECT_GT(b.HrmMaxScl(), 0);
        THrm v;
        v.fill(7);
        v[0] = nan;
        v[4] = inf;
        v[9] = -3;
        for (int ch = 0; ch < 4; ++ch)
            b.SetHrmVal(ch, v);
        b.HrmRescale();
        paint(b, width, 200);
        for (const auto& call : c.Calls)
            ASSERT_TRUE(std::isfinite(call.Rect.Left + call.Rect.Right + call.Rect.Top + call.Rect.Bottom +
                                      call.P1.X + call.P1.Y + call.P2.X + call.P2.Y));
        const TRectF& p = b.PlotRect();
        for (auto col : CHrmBarColors)
            for (const auto& r : FilledIn(c, col))
                EXPECT_TRUE(r.Left >= p.Left && r.Right <= p.Right && r.Top >= p.Top && r.Bottom <= p.Bottom);
        EXPECT_TRUE(HasTextStarting(c, "Harmonische I")); // the caption at any size
    }
}

TEST_F(Harm, LimitsMarkersAndNormalisationOnlyForVoltageHarmonics) {
    TPQPaintBoxHarm b;
    b.SetHarmLim(1, 42);
    EXPECT_FLOAT_EQ(b.HrmLim(1), CDefHrms[1]); // the fundamental keeps its limit
    b.SetHarmLim(5, 4);
    paint(b);
    const auto markers = FilledIn(c, 0xFFADFF2F);
    ASSERT_EQ(markers.size(), 51u);
    EXPECT_NEAR(markers[5].Top, 475 - 450 * 4.0 / 10, 1e-9);
    EXPECT_NEAR(markers[1].Top, 25, 1e-9); // 100 % clamped to the top

    for (auto d : {chartdefs::sdHrmIL, chartdefs::sdIHrmULE, chartdefs::sdFrqBandULE}) {
        b.SetFerroDisp(d);
        b.SetNormalization(true);
        EXPECT_FALSE(b.Normalization()) << int(d);
    }
    b.SetFerroDisp(chartdefs::sdHrmULL);
    b.SetNormalization(true);
    EXPECT_TRUE(b.Normalization());
    paint(b);
    EXPECT_TRUE(FilledIn(c, 0xFFADFF2F).empty()); // no markers while normalised
    bool line = false;
    for (const auto& l : c.Of(TCanvasOp::DrawLine))
        line |= l.Stroke.Color == 0xFFFF0000 && l.P1.Y == 475 - 450 / 1.5 && l.P1.X == 54 && l.P2.X == 1194;
    EXPECT_TRUE(line);
    EXPECT_TRUE(HasText(c, "Grenzwert"));
}

TEST_F(Harm, StatisticStacksThe95PercentBarUnderTheMaximum) {
    TPQPaintBoxHarm b;
    b.SetStatistic(true);
    b.SetTSStart({1709164800, 0});
    b.SetTSStop({1709251200, 0});
    EXPECT_EQ(b.GetCaption(), "Harmonische U L-E [29.02.2024 00:00:00 - 01.03.2024 00:00:00]");
    THrm mx{}, p95{};
    mx[5] = 5;
    p95[5] = 3;
    mx[7] = 20; // above the normalised top 1.5 x 5 %: clamped
    p95[7] = 2;
    b.SetHrmVal(0, mx);
    b.SetHrmVal95p(0, p95);
    b.SetNormalization(true);
    b.SetHarmLim(7, 5);
    paint(b);
    const auto red = FilledIn(c, 0xFFFF0000), blue = FilledIn(c, 0xFF0000FF);
    ASSERT_EQ(red.size(), 2u);
    ASSERT_EQ(blue.size(), 2u);
    // Order 5, limit 6 %: the top is 9 %; 3 % in red from the bottom, the rest up to 5 % in blue.
    EXPECT_NEAR(red[0].Top, 475 - 450 * 3.0 / 9, 1e-4);
    EXPECT_DOUBLE_EQ(blue[0].Bottom, red[0].Top);
    EXPECT_NEAR(blue[0].Top, 475 - 450 * 5.0 / 9, 1e-4);
    EXPECT_DOUBLE_EQ(blue[1].Top, 25);
    EXPECT_FALSE(HasText(c, "10.00 %")); // no axis values under statistics
    EXPECT_TRUE(HasText(
        c, "Index: 1\r\nLIMIT=100.00 V\r\nU1E(95%)=0.00 V\r\nU1E(Max)=0.00 V\r\nU2E(95%)=0.00 V\r\n"
           "U2E(Max)=0.00 V\r\nU3E(95%)=0.00 V\r\nU3E(Max)=0.00 V\r\nUNE(95%)=0.00 V\r\nUNE(Max)=0.00 V"));
    // A zero limit leaves its order without bars under normalisation.
    b.SetHarmLim(5, 0);
    paint(b);
    EXPECT_EQ(FilledIn(c, 0xFFFF0000).size(), 1u);
}

TEST_F(Harm, DisplaysLayOutTheirSlotsAndAClickSelectsAColumn) {
    TPQPaintBoxHarm b;
    b.SetFerroDisp(chartdefs::sdIHrmIL);
    EXPECT_EQ(b.HrmMaxIdx(), 49);
    EXPECT_EQ(b.HrmTxt(49), "49.5");
    EXPECT_EQ(b.YUnit(), "A");
    b.SetFerroDisp(chartdefs::sdFrqBandULE);
    EXPECT_EQ(b.HrmTxt(1), "2.3 kHz");
    TFrqBand fb;
    fb.fill(0.01f);
    b.SetFrqBVal(0, fb);
    int repaints = 0;
    b.SetRepaintRequest([&] { ++repaints; });
    b.MouseUp(mbLeft, 0, 0, 0); // nothing laid out yet
    EXPECT_EQ(b.HrmActIdx(), 1);
    paint(b);
    EXPECT_EQ(FilledIn(c, CHrmBarColors[0]).size(), 35u); // bands from slot 1 on
    // Slot 0 of a band view holds no value, yet its column answers.
    const TPointF p0 = b.HrmRectF(0).CenterPoint();
    b.MouseUp(mbLeft, 0, p0.X, p0.Y);
    EXPECT_EQ(b.HrmActIdx(), 0);
    b.MouseUp(mbLeft, 0, SlotX(17, 35), 100);
    EXPECT_EQ(b.HrmActIdx(), 17);
    b.MouseUp(mbLeft, 0, 20, 100); // beside every column
    EXPECT_EQ(b.HrmActIdx(), 17);
    EXPECT_EQ(repaints, 2);
    paint(b);
    EXPECT_TRUE(HasText(c, "Index: 5.4 kHz\r\nU1E=0.01 V\r\nU2E=0.00 V\r\nU3E=0.00 V\r\nUNE=0.00 V"));
}

TEST_F(Harm, CopyToClipWritesOneTabSeparatedRowPerSeries) {
    TPQPaintBoxHarm b;
    THrm v{};
    v[2] = 1.5f;
    b.SetHrmVal(0, v);
    TClipLst l;
    l.Add("old");
    ASSERT_TRUE(b.CopyToClip(l));
    ASSERT_EQ(l.Count(), 6); // Info, Limit, L1..L0
    EXPECT_EQ(l[0].substr(0, 12), "Info\t0\t1\t2\t3");
    EXPECT_EQ(l[1].substr(0, 17), "Limit\t0\t100\t2\t5\t1");
    EXPECT_EQ(l[2].substr(0, 17), "L1 (Val)\t0\t0\t1.5\t");
    EXPECT_EQ(std::count(l[2].begin(), l[2].end(), '\t'), 51);
    b.SetFerroDisp(chartdefs::sdIHrmULL);
    b.SetStatistic(true);
    ASSERT_TRUE(b.CopyToClip(l));
    ASSERT_EQ(l.Count(), 7); // Info, then 95 % and maximum of three channels
    EXPECT_EQ(l[1].substr(0, 9), "L1 (95%)\t");
    EXPECT_EQ(l[2].substr(0, 9), "L1 (Max)\t");
}

TEST_F(Harm, LoadFlowDrawsBarsOnFourIntervalsWithMagnitudesInTheBox) {
    TPQPaintBoxLoadFlow b;
    THrm u{}, i{}, bar{};
    u[5] = 6.9f;
    i[5] = 10;
    bar[5] = 3;
    for (int p = 0; p < 3; ++p) {
        b.SetHarmUMag(p, u);
        b.SetHarmIMag(p, i);
        b.SetHrmVal(p, bar);
    }
    b.SetBasicAngle(18.2f, 18.2f, -190);
    b.HrmRescale();
    EXPECT_FLOAT_EQ(b.HrmMaxU(), 10);
    EXPECT_FLOAT_EQ(b.HrmMaxI(), 10);
    b.SetHrmActIdx(5);
    paint(b);
    EXPECT_TRUE(HasTextStarting(c, "Lastfluss ["));
    int grid = 0;
    for (const auto& l : c.Of(TCanvasOp::DrawLine))
        grid += l.P1.X == 54 && l.P2.X == 1194 && l.P1.Y == l.P2.Y;
    EXPECT_EQ(grid, 5);
    EXPECT_EQ(FilledIn(c, 0xFFADFF2F).size(), 51u);
    ASSERT_EQ(FilledIn(c, CHrmBarColors[1]).size(), 1u);
    EXPECT_NEAR(FilledIn(c, CHrmBarColors[1])[0].Top, 475 - 450 * 0.3, 1e-4);
    EXPECT_TRUE(
        HasText(c, "Index: 5\r\nU1E=3.00 %  U=6.90 V  I=10.00 A  Phi=18.2 \u00B0\r\nU2E=3.00 %  U=6.90 V  "
                   "I=10.00 A  Phi=18.2 \u00B0\r\nU3E=3.00 %  U=6.90 V  I=10.00 A  Phi=170.0 \u00B0"));
}
