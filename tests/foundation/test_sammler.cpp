// The shared helpers: name lookup, text splitting, colour ramps, byte buffer.
#include "foundation/Format.h"
#include "foundation/MemStream.h"
#include "foundation/Sammler.h"

#include <gtest/gtest.h>

using namespace ferro;

TEST(DirectKind, LooksUpTheNameWithoutRegardToCase) {
    EXPECT_EQ(GetDirectKind("para"), dkpara);
    EXPECT_EQ(GetDirectKind("STATUS"), dkstatus);
    EXPECT_EQ(GetDirectKind("initssh"), dkInitSSH);
    EXPECT_EQ(GetDirectKind("MassFlash"), dkmassflash);
    EXPECT_EQ(GetDirectKind("nonsense"), dkpara);
    EXPECT_EQ(GetDirectKind(""), dkpara);
}

TEST(ExtractToChar, CutsThePieceInFrontOfTheSeparatorAndTrimsTheRest) {
    std::string s = "rec_01.dat;  1700000000;4096";
    std::string piece;
    LocalExtractToChar(s, ';', piece);
    EXPECT_EQ(piece, "rec_01.dat");
    EXPECT_EQ(s, "1700000000;4096");
    LocalExtractToChar(s, ';', piece);
    EXPECT_EQ(piece, "1700000000");
    EXPECT_EQ(s, "4096");
}

TEST(ExtractToChar, WithoutSeparatorTheStringStaysInPlace) {
    std::string s = "  4096 ";
    std::string piece;
    LocalExtractToChar(s, ';', piece);
    EXPECT_EQ(piece, "4096");
    EXPECT_EQ(s, "4096") << "a loop that waits for S to empty must stop by itself";
}

TEST(XMLRecList, AddListeSplitsAtEveryComma) {
    TXMLRec r;
    r.AddListe("aus,ein,,auto");
    ASSERT_EQ(r.Lst.size(), 4u);
    EXPECT_EQ(r.Lst[0], "aus");
    EXPECT_EQ(r.Lst[2], "");
    EXPECT_EQ(r.Lst[3], "auto");
}

TEST(AlphaColVerlauf, RampRunsFromRedOverTheRainbowBackToRed) {
    EXPECT_EQ(AlphaColVerlauf(12, 0), 0xFFFF0000u);
    EXPECT_EQ(AlphaColVerlauf(12, 12), 0xFFFF0000u);
    // Count 12: s = 2. Index 1: p = round(8.33) = 8 -> red with green r(0) = round(127.5 * 1) = 128 (halves
    // to even)
    EXPECT_EQ(AlphaColVerlauf(12, 1), 0xFFFF8000u);
    // Index 2: p = round(16.67) = 17 -> pure yellow
    EXPECT_EQ(AlphaColVerlauf(12, 2), 0xFFFFFF00u);
    // Index 3: p = 25 -> yellow with red 255 - r(1) = 255 - round(127.5 * 1) = 127
    EXPECT_EQ(AlphaColVerlauf(12, 3), 0xFF7FFF00u);
    // Index 6: p = 50 -> cyan
    EXPECT_EQ(AlphaColVerlauf(12, 6), 0xFF00FFFFu);
    // Index 8: p = round(66.67) = 67 -> blue
    EXPECT_EQ(AlphaColVerlauf(12, 8), 0xFF0000FFu);
    // Index 10: p = round(83.33) = 83 -> blue with red r(4) = round(127.5 * 2) = 255
    EXPECT_EQ(AlphaColVerlauf(12, 10), 0xFFFF00FFu);
    // Index 11: p = round(91.67) = 92 -> magenta with blue 255 - r(5) = 255 - round(127.5) = 127
    EXPECT_EQ(AlphaColVerlauf(12, 11), 0xFFFF007Fu);
}

TEST(GenerateAlphaColor, WalksTheHueCircleInSteps) {
    EXPECT_EQ(GenerateAlphaColor(0), 0xFFFF0000u);
    EXPECT_EQ(GenerateAlphaColor(255), 0xFFFFFF00u);
    EXPECT_EQ(GenerateAlphaColor(510), 0xFF00FF00u);
    EXPECT_EQ(GenerateAlphaColor(765), 0xFF00FFFFu);
    EXPECT_EQ(GenerateAlphaColor(1020), 0xFF0000FFu);
    EXPECT_EQ(GenerateAlphaColor(1275), 0xFFFE00FFu);
    // The last band: the blue byte starts at 0 and jumps to 255 one step later.
    EXPECT_EQ(GenerateAlphaColor(1276), 0xFFFF0000u);
    EXPECT_EQ(GenerateAlphaColor(1277), 0xFFFF00FFu);
    EXPECT_EQ(GenerateAlphaColor(1530), 0xFFFF0002u);
    EXPECT_EQ(GenerateAlphaColor(1531), 0xFF000000u);
    EXPECT_EQ(GenerateAlphaColor(-1), 0xFF000000u);
}

TEST(UTCToSystemTime, FollowsTheComputersZone) {
    setenv("TZ", "Europe/Berlin", 1);
    tzset();
    EXPECT_EQ(UTCToSystemTime(int64_t(1700000000)), 1700000000 + 3600); // November: CET
    EXPECT_EQ(UTCToSystemTime(int64_t(1690000000)), 1690000000 + 7200); // July: CEST
    // The date-time form keeps the fraction of the second.
    EXPECT_NEAR(DateTimeToUnix(UTCToSystemTime(UnixToDateTime(1690000000.25))), 1690000000.25 + 7200, 1e-4);
    unsetenv("TZ");
    tzset();
}

TEST(MemStream, LittleEndianReadsAndShortReadsFillWithZero) {
    MemStream s;
    s.writeU16(0x1234);
    s.writeU32(0xA1B2C3D4);
    s.writeF32(49.98f);
    s.writeFixedText("abc", 6);
    EXPECT_EQ(s.size(), 16u);
    EXPECT_EQ(s.bytes()[0], 0x34);
    EXPECT_EQ(s.bytes()[2], 0xD4);
    s.setPosition(0);
    EXPECT_EQ(s.readU16(), 0x1234);
    EXPECT_EQ(s.readU32(), 0xA1B2C3D4u);
    EXPECT_FLOAT_EQ(s.readF32(), 49.98f);
    EXPECT_EQ(s.readFixedText(6), "abc");
    EXPECT_TRUE(s.atEnd());
    EXPECT_EQ(s.readU32(), 0u);
    s.setPosition(1000);
    EXPECT_EQ(s.position(), s.size());
}

TEST(MemStream, CompactMovesTheRestToTheFront) {
    MemStream s(std::vector<uint8_t>{1, 2, 3, 4, 5});
    s.setPosition(3);
    s.compactFromPosition();
    EXPECT_EQ(s.bytes(), (std::vector<uint8_t>{4, 5}));
    EXPECT_EQ(s.position(), 0u);
}

TEST(Format, PrintfStyleAndWords) {
    EXPECT_EQ(Fmt("%s:%d", "127.0.0.1", 5040), "127.0.0.1:5040");
    EXPECT_EQ(Fmt("%x", 255u), "ff");
    EXPECT_EQ(Fmt("%s", std::string(600, 'a').c_str()).size(), 600u);
    EXPECT_TRUE(ContainsNoCase("Calibration OK done", "calibration ok"));
    EXPECT_EQ(Trim("  x \r\n"), "x");
}
