// Time services: linear time, zone shifts and display texts.
#include "foundation/records/PQTimeProgs.h"

#include <gtest/gtest.h>

using namespace ferro;

TEST(TimeProgs, LinearTimeRoundTrip) {
    const tmStamp_t cases[] = {{0, 0}, {1, 999999999}, {1700000000, 123456789}, {0xFFFFFFFFu, 999999999}};
    for (const auto& ts : cases) {
        const uint64_t lin = TM.TStoLinear(ts);
        EXPECT_EQ(lin, uint64_t(ts.sec) * 1000000000ull + ts.frac);
        const tmStamp_t back = TM.LinearToTS(lin);
        EXPECT_EQ(back.sec, ts.sec);
        EXPECT_EQ(back.frac, ts.frac);
    }
}

TEST(TimeProgs, UTCtoLocalShiftsByTheZoneOnly) {
    const tmStamp_t utc{1700000000, 42};
    tmStamp_t out;
    TM.UTCtoLocal(utc, time_tz_t::fromOffsetMinutes(60), out);
    EXPECT_EQ(out.sec, 1700000000u + 3600u);
    EXPECT_EQ(out.frac, 42u);
    // West of UTC, with minutes: -03:30.
    const time_tz_t west = time_tz_t::fromOffsetMinutes(-210);
    EXPECT_TRUE(west.negative());
    TM.UTCtoLocal(utc, west, out);
    EXPECT_EQ(out.sec, 1700000000u - 12600u);
    EXPECT_EQ(out.frac, 42u);
    // The summer flag in the fraction adds an hour and is cleared.
    TM.UTCtoLocal({1700000000, CSummerTimeFlag | 7u}, time_tz_t::fromOffsetMinutes(-300), out);
    EXPECT_EQ(out.sec, 1700000000u - 18000u + 3600u);
    EXPECT_EQ(out.frac, 7u);
}

TEST(TimeProgs, ZoneShiftInSeconds) {
    EXPECT_EQ(TM.UTCTimeShiftSoc(time_tz_t::fromOffsetMinutes(60), true), 7200);
    EXPECT_EQ(TM.UTCTimeShiftSoc(time_tz_t::fromOffsetMinutes(-330), false), -19800);
    EXPECT_EQ(TM.UTCTimeShiftSoc(time_tz_t::fromOffsetMinutes(-330), true), -16200);
    time_set_t ts;
    ts.tz = time_tz_t::fromOffsetMinutes(-60);
    ts.dstmode = 3;
    bool summer = false;
    EXPECT_EQ(TM.UTCTimeShiftSoc(ts, summer), -3600);
    EXPECT_TRUE(summer);
    ts.dstmode = 2;
    EXPECT_EQ(TM.UTCTimeShiftSoc(ts, summer), -3600);
    EXPECT_FALSE(summer);
}

TEST(TimeProgs, DisplayTexts) {
    // 2024-02-29 13:05:09 (a leap day), 0.012345678 s.
    const tmStamp_t ts{1709211909, 12345678};
    EXPECT_EQ(TM.FerroTS_to_Str(ts), "29.02.2024 13:05:09");
    EXPECT_EQ(TM.FerroTS_to_Str(TM.TStoLinear(ts)), "29.02.2024 13:05:09");
    EXPECT_EQ(TM.FerroTS_to_StrMilSec(ts), "29.02.2024 13:05:09.012");
    EXPECT_EQ(TM.FerroTS_to_StrMicSec(TM.TStoLinear(ts)), "13:05:09.012345");
    EXPECT_EQ(TM.FerroTS_to_Str(tmStamp_t{951868799, 0}), "29.02.2000 23:59:59");
    EXPECT_EQ(TM.FerroTS_to_Str(tmStamp_t{4102444800u, 0}), "01.01.2100 00:00:00");
    // The summer flag does not count into the milliseconds.
    EXPECT_EQ(TM.FerroTS_to_StrMilSec({0, CSummerTimeFlag | 999000000u}), "01.01.1970 00:00:00.999");
}

TEST(TimeProgs, DateTimeAndDistances) {
    EXPECT_DOUBLE_EQ(TM.FerroTS_to_DateTime(0), 25569.0);
    EXPECT_DOUBLE_EQ(TM.FerroTS_to_DateTime(86400ull * 1000000000ull * 2 + 43200ull * 1000000000ull),
                     25571.5);
    EXPECT_EQ(TM.MilliSecsBetween(5000000000ull, 2000000000ull), 3000u); // either order
    EXPECT_EQ(TM.MilliSecsBetween(2000000000ull, 5000000000ull), 3000u);
    EXPECT_EQ(TM.MilliSecsBetween(1999999ull, 0), 1u);
}
