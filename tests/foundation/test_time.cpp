// Time records: the clock block, zones and the firmware generation.
#include "foundation/TimeRecords.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace ferro;

TEST(TimeSet, EveryFieldSitsAtItsOffset) {
    uint8_t raw[180];
    for (int i = 0; i < 180; ++i)
        raw[i] = 0;
    raw[0] = 3;            // Std
    raw[8] = (1 << 1) | 0; // tz: +1 h
    raw[10] = 30;          // tz minutes
    raw[12] = 1;           // dstmode
    raw[16] = 3;           // ws mon
    raw[17] = 25;          // ws day
    raw[18] = 2;           // ws hour
    raw[19] = 7;           // ws dow
    raw[20] = 10;          // sw mon
    std::memcpy(raw + 32, "pool.ntp.org", 12);
    std::memcpy(raw + 128, "10.0.0.3", 8);
    raw[160] = 0x7B; // port 0 = 123
    raw[166] = 0x7C; // port 3 = 124
    raw[176] = 9;    // rspcm
    time_set_t t = time_set_t::decode(raw);
    EXPECT_EQ(t.Std, 3u);
    EXPECT_EQ(t.tz.hours(), 1u);
    EXPECT_FALSE(t.tz.negative());
    EXPECT_EQ(t.tz.offsetSeconds(), 5400);
    EXPECT_EQ(t.dstmode, 1u);
    EXPECT_EQ(t.ws.mon, 3);
    EXPECT_EQ(t.ws.dow, 7);
    EXPECT_EQ(t.sw.mon, 10);
    EXPECT_EQ(t.ntpip[0], "pool.ntp.org");
    EXPECT_EQ(t.ntpip[3], "10.0.0.3");
    EXPECT_EQ(t.ntpport[0], 123);
    EXPECT_EQ(t.ntpport[3], 124);
    EXPECT_EQ(t.rspcm, 9u);
    uint8_t back[180];
    t.encode(back);
    EXPECT_EQ(std::memcmp(raw, back, 180), 0);
}

TEST(TimeZone, SignBitTurnsTheShiftWest) {
    time_tz_t west = time_tz_t::fromOffsetMinutes(-330);
    EXPECT_TRUE(west.negative());
    EXPECT_EQ(west.hours(), 5u);
    EXPECT_EQ(west.minutes, 30);
    tmStamp_t out;
    UTCtoLocal({100000, 5}, west, out);
    EXPECT_EQ(out.sec, 100000u - 19800u);
    EXPECT_EQ(out.frac, 5u);
}

TEST(TimeZone, SummerFlagAddsAnHourAndIsCleared) {
    tmStamp_t out;
    UTCtoLocal({1000, CSummerTimeFlag | 42}, time_tz_t::fromOffsetMinutes(60), out);
    EXPECT_EQ(out.sec, 1000u + 7200u);
    EXPECT_EQ(out.frac, 42u);
}

TEST(LinearTime, NanosecondsSince1970RoundTrip) {
    tmStamp_t ts{1700000000, 123456789};
    uint64_t lin = TStoLinear(ts);
    EXPECT_EQ(lin, 1700000000123456789ull);
    tmStamp_t back = LinearToTS(lin);
    EXPECT_EQ(back.sec, ts.sec);
    EXPECT_EQ(back.frac, ts.frac);
}

TEST(FirmwareGeneration, RevisionsAndPackedVersions) {
    TFerroFW fw;
    fw.Rev = 13685;
    fw.CalcVer();
    EXPECT_EQ(fw.Gen, 0);
    fw.Rev = 13686;
    fw.CalcVer();
    EXPECT_EQ(fw.Gen, 1);
    fw.Rev = 0x02010200; // 2.1.2.0
    fw.CalcVer();
    EXPECT_EQ(fw.Gen, 1);
    EXPECT_TRUE(fw.HasBinaryInputs());
    EXPECT_EQ(fw.VerAsStr(), "V2.1.2.0 (V1_0)");
    fw.Rev = 0x02020000;
    fw.CalcVer();
    EXPECT_EQ(fw.Gen, 2);
    for (uint32_t newer : {0x03000000u, 0x03FF0102u, 20000u, 45000u}) {
        fw.Rev = newer;
        fw.CalcVer();
        EXPECT_EQ(fw.Gen, 2) << newer << ": the V2_2 layouts are the newest there are";
    }
    EXPECT_EQ(fw.VerAsStr(), "Rev 45000 (V2_2)");
    fw.Rev = 0x020101FF;
    fw.CalcVer();
    EXPECT_FALSE(fw.HasBinaryInputs());
}
