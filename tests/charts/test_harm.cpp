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

const TRectF kPlot(54, 25, 1194, 475);

std::vector<TRectF> FilledIn(const TRecordingCanvas& c, TAlphaColor col) {
    std::vector<TRectF> out;
    for (const auto& f : c.Of(TCanvasOp::FillRect))
        if (f.Color == col) out.push_back(f.Rect);
    return out;
}

bool Inside(const TRectF& r, const TRectF& outer) {
    return r.Left >= outer.Left && r.Right <= outer.Right && r.Top >= outer.Top && r.Bottom <= outer.Bottom;
}

// Centre of an order's group, as the layout rule gives it for 1140 pixels.
double SlotX(int i, int maxIdx) {
    return std::trunc(1140.0 / (maxIdx + 1) * (i + 1)) + 54 - 11;
}

THrm Flat(float v) {
    THrm h;
    h.fill(v);
    return h;
}

struct Harm : ::testing::Test {
    TRecordingCanvas c;
    void SetUp() override { c.Font.Size = 12; }
    void paint(TPQPaintBox& b, double w = 1200, double h = 500) {
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
        v[3] = 10.0f * float(ch + 1); // 10, 20, 30, 40 A
        b.SetHrmVal(ch, v);
    }
    b.HrmRescale();
    EXPECT_FLOAT_EQ(b.HrmMaxScl(), 50); // RoundUp(40)
    THrm over{};
    over[3] = 400; // far above the axis, without a rescale
    b.SetHrmVal(3, over);
    paint(b);
    EXPECT_EQ(b.PlotRect(), kPlot);

    // Four channels: bars 0.4 of the marker's half width 10.45, side by side around the centre.
    const double x = SlotX(3, 50), h = 10.45, w = 4.18;
    for (int ch = 0; ch < 4; ++ch) {
        SCOPED_TRACE(ch);
        auto bars = FilledIn(c, CHrmBarColors[size_t(ch)]);
        ASSERT_EQ(bars.size(), 1u); // zero values draw nothing
        const double top = ch == 3 ? 25 : 475 - 450 * 10.0 * (ch + 1) / 50;
        EXPECT_NEAR(bars[0].Left, w / 2 + x - h + ch * w, 1e-4);
        EXPECT_NEAR(bars[0].Width(), w, 1e-4);
        EXPECT_NEAR(bars[0].Top, top, 1e-4);
        EXPECT_DOUBLE_EQ(bars[0].Bottom, 475);
    }
    // Current displays have no filled markers, but a faint line at each group's left.
    EXPECT_TRUE(FilledIn(c, 0xFFADFF2F).empty());
    // Six grid lines with the axis labels, 50 A down to 0 A, right-aligned before the plot.
    auto texts = c.Texts();
    for (const char* l : {"50.00 A", "40.00 A", "10.00 A", "0.00 A"})
        EXPECT_NE(std::find(texts.begin(), texts.end(), l), texts.end()) << l;
}

TEST_F(Harm, NoBarLeavesThePlotWhateverTheValuesOrTheSize) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    for (double width : {1200.0, 300.0, 90.0, 0.0}) {
        SCOPED_TRACE(width);
        TPQPaintBoxHarm b;
        b.SetFerroDisp(chartdefs::sdHrmIL);
        THrm v = Flat(7);
        v[0] = nan;
        v[4] = inf;
        v[9] = -3;
        v[50] = 1e30f;
        for (int ch = 0; ch < 4; ++ch)
            b.SetHrmVal(ch, v);
        b.HrmRescale();
        EXPECT_TRUE(std::isfinite(b.HrmMaxScl()) && b.HrmMaxScl() > 0);
        paint(b, width, 200);
        for (const auto& call : c.Calls) {
            ASSERT_TRUE(std::isfinite(call.Rect.Left + call.Rect.Right + call.Rect.Top + call.Rect.Bottom));
            ASSERT_TRUE(std::isfinite(call.P1.X + call.P1.Y + call.P2.X + call.P2.Y));
        }
        for (auto col : CHrmBarColors)
            for (const auto& r : FilledIn(c, col))
                EXPECT_TRUE(Inside(r, b.PlotRect()));
        EXPECT_EQ(c.Of(TCanvasOp::FillText).front().Text.rfind("Harmonische I", 0), 0u); // the caption
    }
}

TEST_F(Harm, AllZeroCurrentsStillGiveAPositiveAxis) {
    TPQPaintBoxHarm b;
    b.SetFerroDisp(chartdefs::sdHrmIL);
    b.ClearData();
    b.HrmRescale();
    EXPECT_GT(b.HrmMaxScl(), 0);
    paint(b);
    for (auto col : CHrmBarColors)
        EXPECT_TRUE(FilledIn(c, col).empty());
}

TEST_F(Harm, RescaleSkipsTheFundamentalAndKeepsTheFloorsOfVoltage) {
    TPQPaintBoxHarm b;
    THrm v{};
    v[0] = 80; // DC and the fundamental (in volts) stay out of the scale
    v[1] = 230;
    v[5] = 3;
    b.SetHrmVal(0, v);
    b.HrmRescale();
    EXPECT_EQ(b.HrmStartIdx(), 2);
    EXPECT_FLOAT_EQ(b.HrmMaxScl(), 10); // never below 10 %
    v[7] = 12;
    b.SetHrmVal(0, v);
    b.HrmRescale();
    EXPECT_FLOAT_EQ(b.HrmMaxScl(), 20);

    // Line to line: the fourth channel does not count.
    b.SetFerroDisp(chartdefs::sdHrmULL);
    b.SetHrmVal(3, Flat(40));
    b.HrmRescale();
    EXPECT_FLOAT_EQ(b.HrmMaxScl(), 20);

    // Interharmonics of voltage start at 0.4 %, of current at nothing.
    b.SetFerroDisp(chartdefs::sdIHrmULE);
    b.ClearData();
    b.SetIHrmVal(0, TIHrm{});
    b.HrmRescale();
    EXPECT_EQ(b.HrmStartIdx(), 0);
    EXPECT_FLOAT_EQ(b.HrmMaxScl(), 0.5f);
    b.SetFerroDisp(chartdefs::sdIHrmIL);
    TIHrm ih{};
    ih[7] = 0.03f;
    b.SetIHrmVal(1, ih);
    b.HrmRescale();
    EXPECT_FLOAT_EQ(b.HrmMaxScl(), 0.05f);
}

TEST_F(Harm, DisplaysLayOutTheirSlotsTextsUnitsAndChannels) {
    TPQPaintBoxHarm b;
    EXPECT_EQ(b.FerroDisp(), chartdefs::sdHrmULE);
    EXPECT_EQ(b.HrmMeasNum(), lt0);
    EXPECT_EQ(b.HrmActIdx(), 1);
    EXPECT_FLOAT_EQ(b.HrmMaxScl(), 10);
    EXPECT_FLOAT_EQ(b.HrmLim(5), CDefHrms[5]);

    b.SetFerroDisp(chartdefs::sdFrqBandULL);
    EXPECT_EQ(b.HrmMaxIdx(), 35);
    EXPECT_EQ(b.HrmTxt(1), "2.3 kHz");
    EXPECT_EQ(b.HrmTxt(35), "8.9 kHz");
    EXPECT_FLOAT_EQ(b.HrmLim(20), 0.05f);
    EXPECT_EQ(b.YUnit(), "V");
    EXPECT_EQ(b.HrmMeasNum(), lt3);
    EXPECT_EQ(b.HrmMeas(2), "U31");

    b.SetFerroDisp(chartdefs::sdIHrmIL);
    EXPECT_EQ(b.HrmMaxIdx(), 49);
    EXPECT_EQ(b.HrmTxt(0), "0.5");
    EXPECT_EQ(b.HrmTxt(49), "49.5");
    EXPECT_FLOAT_EQ(b.HrmLim(3), 0);
    EXPECT_EQ(b.YUnit(), "A");
    EXPECT_EQ(b.HrmMeas(3), "IN");

    // Band values go from slot 1 on; slot 0 stays empty.
    TFrqBand fb;
    fb.fill(0.25f);
    b.SetFerroDisp(chartdefs::sdFrqBandULE);
    b.SetFrqBVal(0, fb);
    paint(b);
    const auto bars = FilledIn(c, CHrmBarColors[0]);
    ASSERT_EQ(bars.size(), 35u);
    EXPECT_GT(bars[0].Left, SlotX(1, 35) - 11); // the first bar belongs to band 1
}

TEST_F(Harm, LimitsMarkersAndNormalisation) {
    TPQPaintBoxHarm b;
    b.SetHarmLim(1, 42);
    EXPECT_FLOAT_EQ(b.HrmLim(1), CDefHrms[1]); // the fundamental keeps its limit
    b.SetHarmLim(5, 4);
    EXPECT_FLOAT_EQ(b.HrmLim(5), 4);

    // Voltage harmonics: a filled marker of the limit's height per order.
    paint(b);
    const auto markers = FilledIn(c, 0xFFADFF2F);
    ASSERT_EQ(markers.size(), 51u);
    EXPECT_NEAR(markers[5].Top, 475 - 450 * 4.0 / 10, 1e-9);
    EXPECT_NEAR(markers[5].Left, SlotX(5, 50) - 10.45, 1e-9);
    EXPECT_NEAR(markers[1].Top, 25, 1e-9); // 100 % is clamped to the top

    // Normalisation only for voltage harmonics (8, 9).
    for (auto d : {chartdefs::sdHrmIL, chartdefs::sdIHrmULE, chartdefs::sdFrqBandULE}) {
        b.SetFerroDisp(d);
        b.SetNormalization(true);
        EXPECT_FALSE(b.Normalization()) << int(d);
    }
    b.SetFerroDisp(chartdefs::sdHrmULL);
    b.SetNormalization(true);
    EXPECT_TRUE(b.Normalization());
    b.SetFerroDisp(chartdefs::sdHrmIL); // leaving 8/9 switches it off
    EXPECT_FALSE(b.Normalization());

    b.SetFerroDisp(chartdefs::sdHrmULE);
    b.SetNormalization(true);
    paint(b);
    EXPECT_TRUE(FilledIn(c, 0xFFADFF2F).empty()); // no markers while normalised
    bool line = false;
    for (const auto& l : c.Of(TCanvasOp::DrawLine))
        line |= l.Stroke.Color == 0xFFFF0000 && l.P1.Y == 475 - 450 / 1.5 && l.P1.X == 54 && l.P2.X == 1194;
    EXPECT_TRUE(line);
    auto texts = c.Texts();
    EXPECT_NE(std::find(texts.begin(), texts.end(), "Grenzwert"), texts.end());

    // Interharmonics of voltage: the fixed 0.2 % marker.
    b.SetFerroDisp(chartdefs::sdIHrmULE);
    b.HrmRescale(); // 0.5 %
    paint(b);
    const auto ih = FilledIn(c, 0xFFADFF2F);
    ASSERT_EQ(ih.size(), 50u);
    EXPECT_NEAR(ih[10].Top, 475 - 450 * 0.2 / 0.5, 1e-4);
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
    // Order 5, limit 6 %: the top is 9 %; 95 % value 3 % from the bottom, the rest up to 5 % above it.
    EXPECT_NEAR(red[0].Top, 475 - 450 * 3.0 / 9, 1e-4);
    EXPECT_DOUBLE_EQ(red[0].Bottom, 475);
    EXPECT_DOUBLE_EQ(blue[0].Bottom, red[0].Top);
    EXPECT_NEAR(blue[0].Top, 475 - 450 * 5.0 / 9, 1e-4);
    EXPECT_DOUBLE_EQ(blue[1].Top, 25);
    // No value labels on the axis of voltage harmonics under statistics.
    auto texts = c.Texts();
    EXPECT_EQ(std::find(texts.begin(), texts.end(), "10.00 %"), texts.end());

    // Without normalisation the axis top is the scale; a zero limit hides nothing then.
    b.SetNormalization(false);
    b.SetHarmLim(5, 0);
    paint(b);
    EXPECT_EQ(FilledIn(c, 0xFFFF0000).size(), 2u);
    // With normalisation a zero limit leaves its order without bars.
    b.SetNormalization(true);
    paint(b);
    EXPECT_EQ(FilledIn(c, 0xFFFF0000).size(), 1u);
}

TEST_F(Harm, DetailBoxNamesTheSelectedOrder) {
    TPQPaintBoxHarm b;
    THrm v{};
    v[1] = 230.5f;
    v[5] = 3;
    b.SetHrmVal(0, v);
    b.SetHrmVal(3, v);
    b.SetHrmActIdx(5);
    paint(b);
    auto texts = c.Texts();
    const std::string five =
        "Index: 5\r\nLIMIT=6.00 %\r\nU1E=3.00 %\r\nU2E=0.00 %\r\nU3E=0.00 %\r\nUNE=3.00 %";
    EXPECT_NE(std::find(texts.begin(), texts.end(), five), texts.end());
    // The fundamental is in volts.
    b.SetHrmActIdx(1);
    paint(b);
    texts = c.Texts();
    EXPECT_NE(std::find_if(texts.begin(), texts.end(),
                           [](const std::string& t) {
                               return t.rfind("Index: 1\r\nLIMIT=100.00 V\r\nU1E=230.50 V", 0) == 0;
                           }),
              texts.end());
    // Statistics: 95 % and maximum per channel; currents have no limit line.
    b.SetFerroDisp(chartdefs::sdHrmIL);
    b.SetStatistic(true);
    THrm p{};
    p[5] = 2;
    b.SetHrmVal95p(0, p);
    b.SetHrmActIdx(5);
    paint(b);
    texts = c.Texts();
    EXPECT_NE(std::find_if(texts.begin(), texts.end(),
                           [](const std::string& t) {
                               return t.rfind("Index: 5\r\nI1(95%)=2.00 A\r\nI1(Max)=3.00 A\r\nI2(95%)=",
                                              0) == 0;
                           }),
              texts.end());
    // An index beyond the slots in use shows no box.
    b.SetHrmActIdx(60);
    paint(b);
    for (const auto& t : c.Texts())
        EXPECT_EQ(t.find("Index:"), std::string::npos);
}

TEST_F(Harm, AClickSelectsTheOrderUnderItAndRepaints) {
    TPQPaintBoxHarm b;
    b.SetFerroDisp(chartdefs::sdFrqBandULE);
    TFrqBand fb;
    fb.fill(0.01f);
    b.SetFrqBVal(0, fb);
    int repaints = 0;
    b.SetRepaintRequest([&] { ++repaints; });
    // Before any paint there is nothing to hit.
    b.MouseUp(mbLeft, 0, 0, 0);
    EXPECT_EQ(b.HrmActIdx(), 1);
    paint(b);
    // Order 0 of a band view holds no value, yet its column answers.
    const TPointF p0 = b.HrmRectF(0).CenterPoint();
    b.MouseUp(mbLeft, 0, p0.X, p0.Y);
    EXPECT_EQ(b.HrmActIdx(), 0);
    EXPECT_EQ(repaints, 1);
    b.MouseUp(mbLeft, 0, SlotX(17, 35), 100);
    EXPECT_EQ(b.HrmActIdx(), 17);
    // Beside every column: nothing changes.
    b.MouseUp(mbLeft, 0, 20, 100);
    EXPECT_EQ(b.HrmActIdx(), 17);
    EXPECT_EQ(repaints, 2);
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
    EXPECT_EQ(l[5].substr(0, 8), "L0 (Val)");
    EXPECT_EQ(std::count(l[2].begin(), l[2].end(), '\t'), 51);

    b.SetFerroDisp(chartdefs::sdIHrmULL);
    b.SetIHrmVal(0, TIHrm{});
    b.SetStatistic(true);
    ASSERT_TRUE(b.CopyToClip(l));
    ASSERT_EQ(l.Count(), 7); // Info, then 95 % and maximum of three channels
    EXPECT_EQ(l[1].substr(0, 9), "L1 (95%)\t");
    EXPECT_EQ(l[2].substr(0, 9), "L1 (Max)\t");
    EXPECT_EQ(std::count(l[0].begin(), l[0].end(), '\t'), 50);
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
    EXPECT_FLOAT_EQ(b.HrmMaxScl(), 10);
    b.SetHrmActIdx(5);
    paint(b);
    EXPECT_EQ(c.Texts().front().rfind("Lastfluss [", 0), 0u);
    int grid = 0;
    for (const auto& l : c.Of(TCanvasOp::DrawLine))
        grid += l.P1.X == 54 && l.P2.X == 1194 && l.P1.Y == l.P2.Y;
    EXPECT_EQ(grid, 5);
    EXPECT_EQ(FilledIn(c, 0xFFADFF2F).size(), 51u);
    const auto bars = FilledIn(c, CHrmBarColors[1]);
    ASSERT_EQ(bars.size(), 1u);
    EXPECT_NEAR(bars[0].Top, 475 - 450 * 0.3, 1e-4);
    auto texts = c.Texts();
    EXPECT_NE(
        std::find(texts.begin(), texts.end(),
                  "Index: 5\r\nU1E=3.00 %  U=6.90 V  I=10.00 A  Phi=18.2 \u00B0\r\nU2E=3.00 %  U=6.90 V  "
                  "I=10.00 A  Phi=18.2 \u00B0\r\nU3E=3.00 %  U=6.90 V  I=10.00 A  Phi=170.0 \u00B0"),
        texts.end());
    // Markers for voltage harmonics only.
    b.SetFerroDisp(chartdefs::sdHrmIL);
    paint(b);
    EXPECT_TRUE(FilledIn(c, 0xFFADFF2F).empty());
}
