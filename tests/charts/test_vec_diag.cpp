// The vector diagram on the recorder: the polar rule, the scale's hysteresis, the turn that puts
// U1E up, vectors held to twice the radius, zero magnitudes, and the table beside the circle.
#include "charts/PQPaintBoxVecDiag.h"
#include "charts/RecordingCanvas.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace ferro;

namespace {

const double kSqrt3 = std::sqrt(3.0);

// Vectors are told apart by colour and thickness: voltages 1.5, line to line 1, currents 1.3.
std::vector<TCanvasCall> Lines(const TRecordingCanvas& c, TAlphaColor col, double thickness) {
    std::vector<TCanvasCall> out;
    for (const auto& l : c.Of(TCanvasOp::DrawLine))
        if (l.Stroke.Color == col && l.Stroke.Thickness == thickness) out.push_back(l);
    return out;
}

double Length(const TCanvasCall& l) {
    return std::hypot(l.P2.X - l.P1.X, l.P2.Y - l.P1.Y);
}

// Screen angle of a line, counter-clockwise from the right.
double ScreenAngle(const TCanvasCall& l) {
    return std::atan2(l.P1.Y - l.P2.Y, l.P2.X - l.P1.X) * 180 / M_PI;
}

bool HasText(const TRecordingCanvas& c, const std::string& t) {
    auto texts = c.Texts();
    return std::find(texts.begin(), texts.end(), t) != texts.end();
}

struct Vec : ::testing::Test {
    TPQPaintBoxVecDiag b;
    TRecordingCanvas c;
    void SetUp() override {
        c.Font.Size = 12;
        b.SetSize(1200, 500);
    }
    void paint() {
        c.Reset();
        b.Paint(c);
    }
    void phase(int p, float u, float ua, float i, float ia) {
        b.SetMagAngle(TVecPointer(vpU1E + p), {u, ua});
        b.SetMagAngle(TVecPointer(vpI1 + p), {i, ia});
    }
};

} // namespace

TEST(VecPolar, AnglesTurnCounterClockwiseAndLengthsStopAtTwiceTheRadius) {
    const TPointF c(100, 100);
    auto near = [](TPointF a, TPointF b) {
        return std::fabs(a.X - b.X) < 1e-9 && std::fabs(a.Y - b.Y) < 1e-9;
    };
    EXPECT_TRUE(near(TPQPaintBoxVecDiag::PolarToScreen(c, 90, 50, 1), {100, 50}));
    EXPECT_TRUE(near(TPQPaintBoxVecDiag::PolarToScreen(c, 0, 50, 2), {200, 100}));
    EXPECT_TRUE(near(TPQPaintBoxVecDiag::PolarToScreen(c, -90, 50, 7), {100, 200}));
    EXPECT_TRUE(near(TPQPaintBoxVecDiag::PolarToScreen(c, 30, 50, -1), c));
    EXPECT_TRUE(near(TPQPaintBoxVecDiag::PolarToScreen(c, std::nan(""), 50, 1), c));
}

TEST_F(Vec, TheScaleMovesOnlyWhenTheTidyMaximumLeavesAQuarter) {
    EXPECT_FLOAT_EQ(b.RefVol(), 20000);
    EXPECT_FLOAT_EQ(b.RefCur(), 100);
    // No magnitudes: the scale stays.
    b.RescaleVec();
    EXPECT_FLOAT_EQ(b.RefCur(), 100);

    // 227 A: 1.1 x 227 rounds up to 250, a quarter above 200: the scale follows.
    b.SetRefScale(500, 200);
    phase(1, 230, -120, 227, -140);
    b.RescaleVec();
    EXPECT_FLOAT_EQ(b.RefCur(), 250);
    EXPECT_FLOAT_EQ(b.RefVol(), 500); // 1.1 x 230 rounds up to 500: unchanged
    // The same 250 is 24 % above 201.6: the circle stays calm.
    b.SetRefScale(500, 201.6129f);
    b.RescaleVec();
    EXPECT_FLOAT_EQ(b.RefCur(), 201.6129f);
    // Downward alike: 500 is 74.96 % of 667.
    b.SetRefScale(667, 250);
    b.RescaleVec();
    EXPECT_FLOAT_EQ(b.RefVol(), 500);
    // Paint runs the same step.
    b.SetRefScale(20000, 100);
    paint();
    EXPECT_FLOAT_EQ(b.RefVol(), 500);
    EXPECT_FLOAT_EQ(b.RefCur(), 250);
    EXPECT_TRUE(HasText(c, "250.0 A / 500.0 V"));
}

TEST_F(Vec, U1EStandsUpAndEveryVectorTurnsWithIt) {
    // A supply turned by 40 degrees, currents lagging by 30.
    for (int p = 0; p < 3; ++p)
        phase(p, 230, 40 - 120.0f * p, 100, 10 - 120.0f * p);
    b.SetMagAngle(vpU12, {398.4f, 70});
    paint();
    const double r = b.Radius();
    ASSERT_GT(r, 100);
    const auto u1 = Lines(c, CVecPhaseColors[0], 1.5), i1 = Lines(c, CVecPhaseColors[0], 1.3);
    ASSERT_EQ(u1.size(), 1u);
    ASSERT_EQ(i1.size(), 1u);
    EXPECT_EQ(u1[0].P1, b.Center());
    EXPECT_NEAR(u1[0].P2.X, b.Center().X, 1e-9);
    EXPECT_NEAR(Length(u1[0]), kSqrt3 * 230 / 500 * r, 1e-6); // scale 500 V after the first paint
    EXPECT_NEAR(ScreenAngle(i1[0]), 60, 1e-9);
    EXPECT_NEAR(Length(i1[0]), 100.0 / 200 * r, 1e-6);
    EXPECT_NEAR(ScreenAngle(Lines(c, CVecPhaseColors[1], 1.5)[0]), -30, 1e-9);
    EXPECT_NEAR(ScreenAngle(Lines(c, CVecPhaseColors[2], 1.5)[0]), -150, 1e-9);
    // U12 runs from the tip of U1E towards U2E: its own angle turned, plus half a turn.
    const auto ll = Lines(c, CVecPhaseColors[0], 1);
    ASSERT_EQ(ll.size(), 1u);
    EXPECT_EQ(ll[0].P1, u1[0].P2);
    EXPECT_NEAR(ScreenAngle(ll[0]), 70 + 50 + 180 - 360, 1e-9);
    // Labels read the turned angles; the currents their shift against the voltage.
    EXPECT_TRUE(HasText(c, "U1E=230.0 V <0.0 \u00B0"));
    EXPECT_TRUE(HasText(c, "U3E=230.0 V <120.0 \u00B0"));
    EXPECT_TRUE(HasText(c, "I1=100.0 A Phi_L1=30.0 \u00B0"));
}

TEST_F(Vec, AVectorTwiceTheScaleEndsAtTwiceTheRadiusAndNoFurther) {
    phase(0, 230, 0, 100, 0);
    paint(); // scales 500 V, 200 A
    for (float factor : {2.0f, 10.0f}) {
        b.SetMagAngle(vpUNE, {float(factor * 500 / kSqrt3), 0});
        paint();
        const auto n = Lines(c, CVecNeutralColor, 1.5);
        ASSERT_EQ(n.size(), 1u);
        EXPECT_NEAR(Length(n[0]), 2 * b.Radius(), 1e-6) << factor;
    }
}

TEST_F(Vec, AZeroMagnitudeIsAPointAtTheCentreWithItsText) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    phase(0, 230, 0, 0, 0);
    b.SetMagAngle(vpI2, {nan, nan});
    paint();
    const auto i1 = Lines(c, CVecPhaseColors[0], 1.3);
    ASSERT_EQ(i1.size(), 1u);
    EXPECT_EQ(i1[0].P1, b.Center());
    EXPECT_EQ(i1[0].P2, b.Center());
    EXPECT_EQ(i1[0].Stroke.Cap, TStrokeCap::Round); // so that the point shows
    EXPECT_TRUE(HasText(c, "I1=0.0 A Phi_L1=0.0 \u00B0"));
    EXPECT_EQ(Lines(c, CVecPhaseColors[1], 1.3)[0].P2, b.Center());
    // Surfaces too small for the circle or the table draw what fits.
    for (auto [w, h] : {std::pair{0.0, 0.0}, {150.0, 60.0}}) {
        b.SetSize(w, h);
        paint();
        for (const auto& t : c.Of(TCanvasOp::FillText))
            EXPECT_LE(t.Rect.Bottom, std::max(h, 17.5)) << t.Text;
    }
}

TEST_F(Vec, TheTableListsAllMagnitudesInThreeBlocks) {
    for (int p = 0; p < 3; ++p)
        phase(p, 230.04f, 30 - 120.0f * p, 99.96f, 5 - 120.0f * p);
    b.SetMagAngle(vpUNE, {0.4f, 200});
    b.SetMagAngle(vpU23, {398.4f, -60});
    paint();
    std::vector<TCanvasCall> rows;
    for (const auto& t : c.Of(TCanvasOp::FillText))
        if (t.Rect.Left > b.TableRect().Left - 1 && t.Rect.Top >= b.TableRect().Top) rows.push_back(t);
    ASSERT_EQ(rows.size(), 10u);
    EXPECT_EQ(rows[0].Text, "U1E=230.0 V  <0.0 \u00B0");
    EXPECT_EQ(rows[1].Text, "U2E=230.0 V  <-120.0 \u00B0");
    EXPECT_EQ(rows[3].Text, "UNE=0.4 V  <170.0 \u00B0");
    EXPECT_EQ(rows[3].Fill.Color, CVecNeutralColor);
    EXPECT_EQ(rows[5].Text, "U23=398.4 V  <-90.0 \u00B0");
    EXPECT_EQ(rows[5].Fill.Color, CVecPhaseColors[1]);
    EXPECT_EQ(rows[9].Text, "I3=100.0 A Phi=25.0 \u00B0");
    // Rows of equal height; 20 pixels between the blocks.
    const double rowH = rows[1].Rect.Top - rows[0].Rect.Top;
    EXPECT_DOUBLE_EQ(rowH, 15 + 4);
    EXPECT_DOUBLE_EQ(rows[4].Rect.Top - rows[3].Rect.Top, rowH + 20);
    EXPECT_DOUBLE_EQ(rows[7].Rect.Top - rows[6].Rect.Top, rowH + 20);
    // The table stands right of the circle.
    EXPECT_GT(b.TableRect().Left, b.Center().X + b.Radius());

    TClipLst l;
    l.Add("x");
    EXPECT_FALSE(b.CopyToClip(l));
    EXPECT_TRUE(l.Empty());
}
