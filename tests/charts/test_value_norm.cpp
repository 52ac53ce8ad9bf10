// Value axes: grid choice of SetScaleIdx, pixel mapping both ways and the label texts.
// Expected figures are worked out by hand from the rules (divisor 8, truncation, single power).
#include "charts/XLinNorm.h"
#include "charts/YLinNorm.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace ferro;

namespace {

TYLinNorm Scale(double min, double max, int fixed = 0) {
    TYLinNorm n;
    n.FSclMin = min;
    n.FSclMax = max;
    n.FFixed = fixed;
    n.SetSclMinMax(400, 300);
    return n;
}

} // namespace

TEST(YNormScale, GridOfSetScaleIdx) {
    // Step 10^Trunc(Log10(Diff / 8)); r = Diff / step; r <= 5 halves the step, r > 10 doubles it;
    // n = Diff / distance less one when whole; above 12 lines the count is halved toward zero.
    struct Case {
        double min, max;
        int fixed;
        double diff;
        int cnt;
        double start;
        int aftPnt; // -1: not checked
    };
    const Case cases[] = {
        // Step 10, r = 10 keeps it; n = 10 is whole, so 9 lines; 5 - DecimalPower(100) digits.
        {0, 100, 0, 10, 9, 10, 3},
        {3, 103, 0, 10, 9, 10, 3}, // the first line is Trunc(13 / 10) x 10
        {0, 1000, 0, 100, 9, 100, 2},
        // Log10(0.875) truncates to 0: step 1, r = 7, n = 7 whole: 6 lines.
        {0, 7, 0, 1, 6, 1, 5},
        // Step 1, r = 30 doubles it to 2, n = 15 whole: 14, above 12, halved to 7 with distance 4.
        {0, 30, 0, 4, 7, 4, 4},
        // Distance 2, n = 30 whole: 29 -> 14 (distance 4) -> 7 (distance 8).
        {0, 60, 0, 8, 7, 8, 4},
        // Trunc(-15 / 10) = -1: the first line is -10, not -20.
        {-25, 75, 0, 10, 9, -10, 3},
        // A fixed count is not rounded: 3 lines split the range into four.
        {0, 100, 3, 25, 3, 25, -1},
        // Log10(0.0625) = -1.2 truncates to -1; 10^-1 in single is 0.100000001490116..., so
        // r = 4.9999999 < 5 halves it, and n = 9.9999998 has a fraction: 9 lines. (In double, r
        // would be exactly 5 and give 4 lines of 0.1.)
        {0, 0.5, 0, 0.0500000007450580596923828125, 9, 0.0500000007450580596923828125, 5},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.min << " .. " << c.max << " fixed " << c.fixed);
        const TYLinNorm n = Scale(c.min, c.max, c.fixed);
        EXPECT_DOUBLE_EQ(n.FSclDiff, c.diff);
        EXPECT_EQ(n.FSclCnt, c.cnt);
        EXPECT_DOUBLE_EQ(n.FSclStart, c.start);
        if (c.aftPnt >= 0) {
            EXPECT_EQ(n.FAftPnt, c.aftPnt);
        }
    }
    EXPECT_DOUBLE_EQ(Scale(-25, 75).ScaleAt(8), 70);
}

TEST(YNormScale, SetFixedSwitchesBetweenFixedAndFreeGrid) {
    // 0 .. 10 with 2 lines: distance 10/3, first line at 10/3.
    TYLinNorm m = Scale(0, 10);
    m.SetFixed(2);
    EXPECT_EQ(m.FSclCnt, 2);
    EXPECT_DOUBLE_EQ(m.FSclStart, 10.0 / 3);
    m.SetFixed(0); // back to the free scale: step 1, r = 10, 9 lines
    EXPECT_EQ(m.FSclCnt, 9);
}

TEST(YNormScale, EmptyRangeHasNoGrid) {
    TYLinNorm n = Scale(0, 100);
    n.FSclMin = n.FSclMax = 5;
    n.SetScaleIdx();
    EXPECT_EQ(n.FSclCnt, 0);
    EXPECT_DOUBLE_EQ(n.FSclDiff, 0);
    EXPECT_EQ(n.FAftPnt, 0);
    EXPECT_DOUBLE_EQ(n.FSclStart, 10); // kept from before
    EXPECT_DOUBLE_EQ(n.YNorm(5), 400); // the bottom

    TXLinNorm x;
    x.FSclMin = x.FSclMax = 5;
    x.SetSclMinMax(40, 500);
    EXPECT_DOUBLE_EQ(x.YNorm(5), 0);
}

TEST(YNormHelpers, CorrectDiffAndDecimalPoint) {
    const TYLinNorm n;
    EXPECT_DOUBLE_EQ(n.CorrectDiff(5, 1), 1); // r = 5 keeps the step, just above 10 doubles it
    EXPECT_DOUBLE_EQ(n.CorrectDiff(10.01, 1), 2);
    EXPECT_DOUBLE_EQ(n.CorrectDiff(std::nan(""), 1), 0.5);
    EXPECT_EQ(n.CalcDecimalPoint(1e6), 0);   // 5 - 6, forced up to 0
    EXPECT_EQ(n.CalcDecimalPoint(0.001), 5); // 5 + 3, forced down to 5
}

TEST(YLinNormPixel, GrowsDownwardAndClamps) {
    const TYLinNorm n = Scale(0, 100); // bottom 400, 300 pixels high
    EXPECT_DOUBLE_EQ(n.YNorm(25), 325);
    EXPECT_DOUBLE_EQ(n.YNorm(100), 100);
    EXPECT_DOUBLE_EQ(n.YNorm(150), 100);
    EXPECT_DOUBLE_EQ(n.YNorm(-5), 400);
    EXPECT_DOUBLE_EQ(n.InversVal(325), 25);
}

TEST(XLinNormPixel, RoundsToWholePixelsHalfToEven) {
    TXLinNorm x; // 0 .. 1000 Hz over 500 pixels from 40
    x.FSclMin = 0;
    x.FSclMax = 1000;
    x.SetSclMinMax(40, 500);
    EXPECT_DOUBLE_EQ(x.YNorm(250), 165);
    EXPECT_DOUBLE_EQ(x.YNorm(1), 40);     // 0.5 -> 0
    EXPECT_DOUBLE_EQ(x.YNorm(3), 42);     // 1.5 -> 2
    EXPECT_DOUBLE_EQ(x.YNorm(5), 42);     // 2.5 -> 2
    EXPECT_DOUBLE_EQ(x.YNorm(2000), 540); // clamped to the right end
    EXPECT_DOUBLE_EQ(x.InversVal(165), 250);
}

TEST(YNormText, FixedDigitsWhateverTheScale) {
    TYLinNorm n = Scale(0, 7); // FAftPnt 5 must not matter
    n.FBaseRec = BaseRect("u1", "ULE", "V", buAuto);
    EXPECT_EQ(n.TextAt(230), "230.00 V");
    EXPECT_EQ(n.TextUntAt(230), "230.0 V");
    EXPECT_EQ(n.TextAt(1250), "1.25 kV");
    n.FreeItem();
    EXPECT_EQ(n.TextAt(230), "230.00");
}

TEST(YNormRange, NullLineAndInScale) {
    EXPECT_TRUE(Scale(-10, 10).GetNullLine());
    EXPECT_FALSE(Scale(0, 10).GetNullLine());
    EXPECT_FALSE(Scale(-10, 0).GetNullLine());
    const TYLinNorm n = Scale(0, 10);
    EXPECT_TRUE(n.InScale(10));
    EXPECT_FALSE(n.InScale(10.001));
}
