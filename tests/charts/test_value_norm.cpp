// Value axes: grid choice of SetScaleIdx, pixel mapping both ways, and the small records.
// Expected figures are worked out by hand from the rules (divisor 8, truncation, single power).
#include "charts/AxisRecords.h"
#include "charts/XLinNorm.h"
#include "charts/YLinNorm.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

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

std::vector<double> Lines(const TYNorm& n) {
    std::vector<double> v;
    for (int i = 0; i < n.FSclCnt; ++i)
        v.push_back(n.ScaleAt(i));
    return v;
}

} // namespace

TEST(YNormScale, Diff100TakesTenAndNineLines) {
    // Step 10^Trunc(Log10(12.5)) = 10; r = 10 keeps it; n = 10 is whole, so 9 lines.
    TYLinNorm n = Scale(0, 100);
    EXPECT_DOUBLE_EQ(n.FSclDiff, 10);
    EXPECT_EQ(n.FSclCnt, 9);
    EXPECT_DOUBLE_EQ(n.FSclStart, 10);
    EXPECT_EQ(n.FAftPnt, 3); // 5 - DecimalPower(100)
    // From 3: the first line is Trunc(13 / 10) x 10.
    n = Scale(3, 103);
    EXPECT_DOUBLE_EQ(n.FSclStart, 10);
    EXPECT_EQ(n.FSclCnt, 9);
}

TEST(YNormScale, Diff1000From0) {
    const TYLinNorm n = Scale(0, 1000);
    EXPECT_DOUBLE_EQ(n.FSclDiff, 100);
    EXPECT_EQ(Lines(n), (std::vector<double>{100, 200, 300, 400, 500, 600, 700, 800, 900}));
    EXPECT_EQ(n.FAftPnt, 2);
}

TEST(YNormScale, Diff7And30) {
    // Log10(0.875) truncates to 0: step 1, r = 7, n = 7 whole: 6 lines.
    TYLinNorm n = Scale(0, 7);
    EXPECT_DOUBLE_EQ(n.FSclDiff, 1);
    EXPECT_EQ(n.FSclCnt, 6);
    EXPECT_DOUBLE_EQ(n.FSclStart, 1);
    EXPECT_EQ(n.FAftPnt, 5);
    // Step 1, r = 30 doubles it to 2, n = 15 whole: 14, above 12, halved to 7 with distance 4.
    n = Scale(0, 30);
    EXPECT_DOUBLE_EQ(n.FSclDiff, 4);
    EXPECT_EQ(n.FSclCnt, 7);
    EXPECT_EQ(Lines(n), (std::vector<double>{4, 8, 12, 16, 20, 24, 28}));
    EXPECT_EQ(n.FAftPnt, 4);
}

TEST(YNormScale, HalvingDividesTowardZero) {
    // Diff 60: step 1, distance 2, n = 30 whole: 29 -> 14 (distance 4) -> 7 (distance 8).
    const TYLinNorm n = Scale(0, 60);
    EXPECT_EQ(n.FSclCnt, 7);
    EXPECT_DOUBLE_EQ(n.FSclDiff, 8);
}

TEST(YNormScale, PowerIsTakenInSinglePrecision) {
    // Diff 0.5: Log10(0.0625) = -1.2 truncates to -1; 10^-1 in single is 0.100000001490116...,
    // so r = 4.9999999 < 5 halves it, and n = 9.9999998 has a fraction: 9 lines.
    // (In double, r would be exactly 5 and give 4 lines of 0.1.)
    const TYLinNorm n = Scale(0, 0.5);
    EXPECT_DOUBLE_EQ(n.FSclDiff, 0.0500000007450580596923828125);
    EXPECT_EQ(n.FSclCnt, 9);
    EXPECT_EQ(n.FAftPnt, 5);
}

TEST(YNormScale, FixedCountIsNotRounded) {
    const TYLinNorm n = Scale(0, 100, 3);
    EXPECT_EQ(Lines(n), (std::vector<double>{25, 50, 75}));
    // 0 .. 10 with 2 lines: distance 10/3, first line at 10/3.
    TYLinNorm m = Scale(0, 10);
    m.SetFixed(2);
    EXPECT_EQ(m.FSclCnt, 2);
    EXPECT_DOUBLE_EQ(m.FSclStart, 10.0 / 3);
    m.SetFixed(0); // back to the free scale: step 1, r = 10, 9 lines
    EXPECT_EQ(m.FSclCnt, 9);
}

TEST(YNormScale, NegativeLowerLimitTruncatesTowardZero) {
    // -25 .. 75: Diff 100, distance 10; Trunc(-15 / 10) = -1, so the first line is -10, not -20.
    const TYLinNorm n = Scale(-25, 75);
    EXPECT_DOUBLE_EQ(n.FSclDiff, 10);
    EXPECT_DOUBLE_EQ(n.FSclStart, -10);
    EXPECT_DOUBLE_EQ(n.ScaleAt(8), 70);
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
    EXPECT_DOUBLE_EQ(n.CorrectDiff(4.9, 1), 0.5);
    EXPECT_DOUBLE_EQ(n.CorrectDiff(5, 1), 1);
    EXPECT_DOUBLE_EQ(n.CorrectDiff(10, 1), 1);
    EXPECT_DOUBLE_EQ(n.CorrectDiff(10.01, 1), 2);
    EXPECT_DOUBLE_EQ(n.CorrectDiff(std::nan(""), 1), 0.5);
    EXPECT_EQ(n.CalcDecimalPoint(1e6), 0);   // 5 - 6, forced up to 0
    EXPECT_EQ(n.CalcDecimalPoint(0.001), 5); // 5 + 3, forced down to 5
    EXPECT_EQ(n.CalcDecimalPoint(250), 3);
}

TEST(YLinNormPixel, GrowsDownwardAndClamps) {
    const TYLinNorm n = Scale(0, 100); // bottom 400, 300 pixels high
    EXPECT_DOUBLE_EQ(n.YNorm(25), 325);
    EXPECT_DOUBLE_EQ(n.YNorm(100), 100);
    EXPECT_DOUBLE_EQ(n.YNorm(150), 100);
    EXPECT_DOUBLE_EQ(n.YNorm(-5), 400);
    EXPECT_DOUBLE_EQ(n.InversVal(325), 25);
    EXPECT_DOUBLE_EQ(n.InversVal(100), 100);
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
    EXPECT_DOUBLE_EQ(x.ScaleAt(2), 300); // inherited: 100 + 2 x 100
}

TEST(YNormText, FixedDigitsWhateverTheScale) {
    TYLinNorm n = Scale(0, 7); // FAftPnt 5 must not matter
    n.FBaseRec = BaseRect("u1", "ULE", "V", buAuto);
    EXPECT_EQ(n.TextAt(230), "230.00 V");
    EXPECT_EQ(n.TextUntAt(230), "230.0 V");
    EXPECT_EQ(n.TextAt(1250), "1.25 kV");
    n.FreeItem();
    EXPECT_EQ(n.FBaseRec.FSym, "");
    EXPECT_EQ(n.FBaseRec.FGrpSym, "");
    EXPECT_EQ(n.TextAt(230), "230.00");
}

TEST(YNormRange, NullLineAndInScale) {
    EXPECT_TRUE(Scale(-10, 10).GetNullLine());
    EXPECT_FALSE(Scale(0, 10).GetNullLine());
    EXPECT_FALSE(Scale(-10, 0).GetNullLine());
    const TYLinNorm n = Scale(0, 10);
    EXPECT_TRUE(n.InScale(0));
    EXPECT_TRUE(n.InScale(10));
    EXPECT_FALSE(n.InScale(10.001));
}

TEST(AxisRecords, BaseRecAndMinMax) {
    const TYBaseRec r = BaseRect("i1", "IL", "A", buPlain);
    EXPECT_EQ(r.FSym, "i1");
    EXPECT_EQ(r.FGrpSym, "IL");
    EXPECT_EQ(r.FUnt, "A");
    EXPECT_EQ(r.FBaseUnt, buPlain);
    EXPECT_EQ(TYLinNorm().FBaseRec.FBaseUnt, buAuto);
    const TMinMaxRec mm{-1.5f, 2.0f, buAuto};
    EXPECT_TRUE(mm.ValInside(-1.5f));
    EXPECT_TRUE(mm.ValInside(2.0f));
    EXPECT_FALSE(mm.ValInside(2.001f));
}
