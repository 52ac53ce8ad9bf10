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
}

TEST(TimeNormGrid, LinesAlignToMidnightAndStartAfterTheLeftEnd) {
    const uint64_t top = 9223372036854775807ull; // 2^63 - 1
    struct Case {
        uint64_t from, to;
        TTimeGrid grid;
        uint64_t start;
        int count;
    };
    const Case cases[] = {
        // 7.3 s after midnight, 60 s long: 10 s grid, first line at 10 s, 6 lines (10 .. 60 s).
        {D + 7300 * ms, D + 67300 * ms, gr10Sec, D + 10 * sec, 6},
        {D + 20 * sec, D + 80 * sec, gr10Sec, D + 30 * sec, 6}, // on a grid line: the next one
        // 65 div 10 = 6, but 10 s + 6 x 10 s = 70 s is still inside, so 7 lines.
        {D + 9 * sec, D + 74 * sec, gr10Sec, D + 10 * sec, 7},
        // Six-hour lines fall on 06:00, 12:00 ... whatever the start time.
        {D + 5 * hour, D + 53 * hour, gr6Hour, D + 6 * hour, 8},
        // 2e16 ns is more than ten 20-day steps (1.728e16); 2e16 div 1.728e15 = 11 lines, and
        // start + 11 steps lies beyond the end, so no twelfth. The first line is one step on.
        {D, D + 20000000000000000ull, gr20day, D + 20 * 86400 * sec, 11},
        // The first line is the next whole millisecond; five steps on it pass 2^63 and so the
        // end, but read as a signed number the sum is negative and counts as below: a sixth line.
        {top - 5 * ms, top, gr1ms, 9223372036850000000ull, 6},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.from);
        const TTimeNorm t = Axis(c.from, c.to);
        EXPECT_EQ(t.TimeGrid(), c.grid);
        EXPECT_EQ(t.SclStart(), c.start);
        EXPECT_EQ(t.SclCount(), c.count);
    }
    EXPECT_EQ(Axis(D + 5 * hour, D + 53 * hour).ScaleAt(3), D + 24 * hour);
    EXPECT_EQ(Axis(D, D + 172800000000000000ull).SclCount(), 100); // 100 steps of 20 days
}

TEST(TimeNormPixel, EndsAndOutsideValues) {
    const TTimeNorm t = Axis(D, D + 10 * ms, 50, 400);
    EXPECT_FLOAT_EQ(t.TmNorm(D), 50);
    EXPECT_FLOAT_EQ(t.TmNorm(D + 10 * ms), 450);          // right end
    EXPECT_FLOAT_EQ(t.TmNorm(D + 10 * ms + 1), 50);       // one ns later: left edge, not right
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
    EXPECT_EQ(Axis(D, D + 120000).GetDuration(), "2.00min");
    // 10 ms = 10,000,000 "ms" = 2.777... hours.
    EXPECT_EQ(Axis(D, D + 10 * ms).GetDuration(), "2.78hour");
    // 1 s = 1e9 "ms" = 11.574 days.
    EXPECT_EQ(Axis(D, D + sec).GetDuration(), "11.57days");
}
