// The time axis: grid choice, midnight alignment, pixel mapping, labels and the duration text.
// Expected figures are worked out from the grid table by hand.
#include "charts/TimeNorm.h"

#include <gtest/gtest.h>

using namespace ferro;

namespace {

constexpr uint64_t ms = 1000000ull;
constexpr uint64_t sec = 1000000000ull;
constexpr uint64_t hour = 3600 * sec;
// 2024-02-29 00:00:00 (19782 days after 1970-01-01), a Thursday.
constexpr uint64_t D = 19782ull * 86400 * sec;

TTimeNorm Axis(uint64_t from, uint64_t to, float left = 0, float width = 1000) {
    TTimeNorm t;
    t.SetSclMinMax(from, to, left, width, 0);
    return t;
}

} // namespace

TEST(TimeNormGrid, StepIsTheFirstAboveATenthOfTheRange) {
    // Ten times 1 ms is not greater than 10 ms: the next step.
    EXPECT_EQ(Axis(D, D + 10 * ms).TimeGrid(), gr5ms);
    EXPECT_EQ(Axis(D, D + 10 * ms - 1).TimeGrid(), gr1ms);
    EXPECT_EQ(Axis(D, D + 10 * sec).TimeGrid(), gr2Sec);
    // One hour: 10 x 5 min = 50 min is not above it, 10 x 10 min is.
    EXPECT_EQ(Axis(D, D + hour).TimeGrid(), gr10Min);
    EXPECT_EQ(Axis(D, D + 48 * hour).TimeGrid(), gr6Hour);
}

TEST(TimeNormGrid, HugeRangeKeepsTwentyDaysWithManyLines) {
    // 2e16 ns is more than ten 20-day steps (1.728e16); 2e16 div 1.728e15 = 11 lines, and
    // start + 11 steps lies beyond the end, so no twelfth.
    const TTimeNorm t = Axis(D, D + 20000000000000000ull);
    EXPECT_EQ(t.TimeGrid(), gr20day);
    EXPECT_EQ(t.SclCount(), 11);
    const TTimeNorm big = Axis(D, D + 172800000000000000ull); // 100 steps of 20 days
    EXPECT_EQ(big.TimeGrid(), gr20day);
    EXPECT_EQ(big.SclCount(), 100);
}

TEST(TimeNormGrid, LinesAlignToMidnightAndStartAfterTheLeftEnd) {
    // 7.3 s after midnight, 60 s long: 10 s grid, first line at 10 s, 6 lines (10 .. 60 s).
    TTimeNorm t = Axis(D + 7300 * ms, D + 67300 * ms);
    EXPECT_EQ(t.TimeGrid(), gr10Sec);
    EXPECT_EQ(t.SclStart(), D + 10 * sec);
    EXPECT_EQ(t.SclCount(), 6);
    EXPECT_EQ(t.ScaleAt(5), D + 60 * sec);

    // A left end on a grid line: the first line is the next one.
    t = Axis(D + 20 * sec, D + 80 * sec);
    EXPECT_EQ(t.SclStart(), D + 30 * sec);
    EXPECT_EQ(t.SclCount(), 6);

    // 9 s to 74 s: 65 div 10 = 6, but 10 s + 6 x 10 s = 70 s is still inside, so 7 lines.
    t = Axis(D + 9 * sec, D + 74 * sec);
    EXPECT_EQ(t.SclStart(), D + 10 * sec);
    EXPECT_EQ(t.SclCount(), 7);

    // Six-hour lines fall on 06:00, 12:00 ... whatever the start time.
    t = Axis(D + 5 * hour, D + 53 * hour);
    EXPECT_EQ(t.SclStart(), D + 6 * hour);
    EXPECT_EQ(t.SclCount(), 8);
    EXPECT_EQ(t.ScaleAt(3), D + 24 * hour);
}

TEST(TimeNormGrid, SumIntoTheTopBitCountsAsBelowTheEnd) {
    // 1 ms grid over 5 ms, ending at 2^63 - 1. The first line is the next whole millisecond,
    // 9223372036850000000; five steps on it is 9223372036855000000, past 2^63 and so past the
    // end, but read as a signed number it is negative and counts as below: a sixth line.
    const uint64_t end = 9223372036854775807ull;
    const TTimeNorm t = Axis(end - 5 * ms, end);
    EXPECT_EQ(t.TimeGrid(), gr1ms);
    EXPECT_EQ(t.SclStart(), 9223372036850000000ull);
    EXPECT_EQ(t.SclCount(), 6);
}

TEST(TimeNormShift, LeadingZerosLessOne) {
    // 10 ms = 10,000,000 ns: highest bit 23 (2^23 = 8,388,608), 40 leading zeros.
    EXPECT_EQ(Axis(D, D + 10 * ms).ShiftNum(), 39);
    EXPECT_EQ(Axis(D, D + 1).ShiftNum(), 62);
    EXPECT_EQ(Axis(0, 1ull << 62).ShiftNum(), 0);
}

TEST(TimeNormPixel, EndsAndOutsideValues) {
    const TTimeNorm t = Axis(D, D + 10 * ms, 50, 400);
    EXPECT_FLOAT_EQ(t.TmNorm(D), 50);
    EXPECT_FLOAT_EQ(t.TmNorm(D + 10 * ms), 450);    // right end
    EXPECT_FLOAT_EQ(t.TmNorm(D + 10 * ms + 1), 50); // one ns later: left edge, not right
    EXPECT_FLOAT_EQ(t.TmNorm(D - 1), 50);
    EXPECT_FLOAT_EQ(t.TmNorm(D + 2500 * ms / 1000), 150); // a quarter of 400
    // Single nanoseconds count on a long axis: 1 ns of a 3-ns axis over 300 pixels.
    const TTimeNorm fine = Axis(D, D + 3, 0, 300);
    EXPECT_FLOAT_EQ(fine.TmNorm(D + 1), 100);
}

TEST(TimeNormText, LabelFormatFollowsTheGrid) {
    const uint64_t ts = D + 13 * hour + 45 * 60 * sec + 7 * sec + 123456789;
    EXPECT_EQ(Axis(D, D + 10 * ms).TextAt(ts), "13:45:07.123"); // below 1 s: milliseconds
    EXPECT_EQ(Axis(D, D + 10 * sec).TextAt(ts), "13:45:07");
    EXPECT_EQ(Axis(D, D + 4 * hour).TextAt(ts), "13:45");                // gr30Min
    EXPECT_EQ(Axis(D, D + 20 * hour).TextAt(ts), "29.02. 13:45");        // gr6Hour
    EXPECT_EQ(Axis(D, D + 100 * hour).TextAt(ts), "Do 29.02. 13:45");    // gr12Hour
    EXPECT_EQ(Axis(D, D + 1000 * hour).TextAt(ts), "Do 29.02.24");       // gr7day
    EXPECT_EQ(Axis(D, D + 20000000000000000ull).TextAt(ts), "29.02.24"); // gr20day
}

TEST(TimeNormText, DurationReadsTheNanosecondRangeAsMilliseconds) {
    EXPECT_EQ(Axis(D, D + 9999).GetDuration(), "9999ms");
    EXPECT_EQ(Axis(D, D + 10000).GetDuration(), "10.00sec");
    EXPECT_EQ(Axis(D, D + 30000).GetDuration(), "30.00sec");
    EXPECT_EQ(Axis(D, D + 120000).GetDuration(), "2.00min");
    // 10 ms = 10,000,000 "ms" = 2.777... hours.
    EXPECT_EQ(Axis(D, D + 10 * ms).GetDuration(), "2.78hour");
    // 1 s = 1e9 "ms" = 11.574 days.
    EXPECT_EQ(Axis(D, D + sec).GetDuration(), "11.57days");
    EXPECT_EQ(Axis(D, D + sec).GetTimeRange(), sec);
}
