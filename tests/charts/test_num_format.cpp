// Number texts, tidy rounding and the clipboard list.
#include "charts/ClipLst.h"
#include "charts/NumFormat.h"

#include <QClipboard>
#include <QGuiApplication>

#include <gtest/gtest.h>

using namespace ferro;

TEST(FltToStrShrt, FixedDigitsAndAPrefixFollowingTheBaseUnit) {
    EXPECT_EQ(FltToStrShrt(0.9712, 2, ""), "0.97");
    EXPECT_EQ(FltToStrShrt(12.34, 1), "12.3");
    EXPECT_EQ(FltToStrShrt(-0.001, 2, ""), "0.00"); // no "-0.00"
    EXPECT_EQ(FltToStrShrt(2.5e6, 1, buAuto, "VA"), "2.5 MVA");
    EXPECT_EQ(FltToStrShrt(12345.0, 2, buPlain, "W"), "12345.00 W");
    // 2100 Hz + 194.2857 Hz: a band label in kilo.
    EXPECT_EQ(FltToStrShrt(2294.2857, 1, buKilo, "Hz"), "2.3 kHz");
    // Rounded first: 999.996 is 1000.00 with two digits, so it moves to kilo.
    EXPECT_EQ(FltToStrShrt(999.996, 2, buAuto, "V"), "1.00 kV");
    EXPECT_EQ(FltToStrShrt(-1500.0, 1, buAuto, "var"), "-1.5 kvar");
    // Percent and degrees never take a prefix.
    EXPECT_EQ(FltToStrShrt(2500.0, 1, buAuto, "%"), "2500.0 %");
}

TEST(DecimalPower, ExponentOfTheLeadingDigit) {
    EXPECT_EQ(DecimalPower(100), 2);
    EXPECT_EQ(DecimalPower(99.99), 1);
    EXPECT_EQ(DecimalPower(0.05), -2);
    EXPECT_EQ(DecimalPower(-250), 2);
    EXPECT_EQ(DecimalPower(0), 0);
}

TEST(RoundLimits, OutwardToATenthOfTheSpanDecade) {
    // Span 37 lies in the decade 10, grain 1.
    EXPECT_DOUBLE_EQ(RoundMaxValue(37, 236.4), 237);
    EXPECT_DOUBLE_EQ(RoundMinValue(37, 199.6), 199);
    // Span 150, grain 10.
    EXPECT_DOUBLE_EQ(RoundMaxValue(150, 231), 240);
    EXPECT_DOUBLE_EQ(RoundMinValue(150, -81), -90);
    // Already tidy values stay, even when the division is inexact (0.3 / 0.1).
    EXPECT_DOUBLE_EQ(RoundMaxValue(0.5, 0.3), 0.3);
    // A constant curve: grain from the value, one grain further out on both sides.
    EXPECT_DOUBLE_EQ(RoundMaxValue(0, 230), 240);
    EXPECT_DOUBLE_EQ(RoundMinValue(0, 230), 220);
    EXPECT_DOUBLE_EQ(RoundMaxValue(0, 0), 1);
    EXPECT_DOUBLE_EQ(RoundMinValue(0, 0), -1);
}

TEST(RoundUp, OneTwoTwoAndAHalfFive) {
    EXPECT_DOUBLE_EQ(RoundUp(10.5), 20);
    EXPECT_DOUBLE_EQ(RoundUp(0.4), 0.5);
    EXPECT_DOUBLE_EQ(RoundUp(2.2), 2.5);
    EXPECT_DOUBLE_EQ(RoundUp(7.3), 10);
    EXPECT_DOUBLE_EQ(RoundUp(260), 500);
    // A scale top is divided by: never zero.
    EXPECT_DOUBLE_EQ(RoundUp(0), 1);
    EXPECT_DOUBLE_EQ(RoundUp(-3), 1);
}

TEST(Correct180, WrapsIntoPlusMinus180) {
    EXPECT_DOUBLE_EQ(Correct180(190), -170);
    EXPECT_DOUBLE_EQ(Correct180(-190), 170);
    EXPECT_DOUBLE_EQ(Correct180(180), 180);
    EXPECT_DOUBLE_EQ(Correct180(-180), 180);
    EXPECT_DOUBLE_EQ(Correct180(725), 5);
}

TEST(MilliSecToDuration, ClockTextWithDays) {
    EXPECT_EQ(MilliSecToDuration(1500), "00:00:01.500");
    EXPECT_EQ(MilliSecToDuration(3723004), "01:02:03.004");
    EXPECT_EQ(MilliSecToDuration(2 * 86400000ull + 60000), "2d 00:01:00.000");
}

TEST(ClipLst, CopiesToTheClipboardAndEmpties) {
    TClipLst l;
    l.Add("Time\tu1 [V]");
    l.Add("a\t1");
    ASSERT_EQ(l.Count(), 2);
    EXPECT_TRUE(l.CopyToClip());
    EXPECT_EQ(l.Count(), 0);
    EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(), "Time\tu1 [V]\na\t1\n");
    // Nothing to copy: false, and the clipboard keeps what it had.
    EXPECT_FALSE(l.CopyToClip());
    EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(), "Time\tu1 [V]\na\t1\n");
}
