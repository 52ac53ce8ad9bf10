// Readout: listings, file reads from Pos in one frame, removal, display and log.
#include "SimHarness.h"

#include <QImage>

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <sstream>

using namespace simtest;
namespace fs = std::filesystem;

namespace {
Bytes pattern(size_t n) {
    Bytes b(n);
    for (size_t i = 0; i < n; ++i)
        b[i] = uint8_t((i * 31 + i / 251) & 0xFF);
    return b;
}
const std::string kOsc = "rec/Osc-1-9-1700000000.rec";

Bytes text(const std::string& s) {
    return Bytes(s.begin(), s.end());
}

// END of every listed name.
std::map<std::string, uint64_t> listedEnds(const std::string& listing) {
    std::map<std::string, uint64_t> ends;
    std::istringstream lines(listing);
    for (std::string line; std::getline(lines, line);) {
        size_t a = line.find(';'), b = line.find(';', a + 1);
        ends[line.substr(0, a)] = std::stoull(line.substr(a + 1, b - a - 1));
    }
    return ends;
}
} // namespace

TEST(SimReadout, ListingsAndAFileReadIsOneFrameFromPosToTheEnd) {
    const size_t n = 200000;
    Sim sim("",
            [](const std::string& root) { writeBytes(root + "/flashdrive0/data/rec/" + kOsc, pattern(n)); });
    RawClient c(sim.port());
    c.openPlain();
    std::string rec = str(c.request(plain(5, 0, 0)).bytes);
    EXPECT_NE(rec.find("rec/Osc-1-9-1700000000.rec;"), std::string::npos);
    EXPECT_NE(rec.find(";200000\r\n"), std::string::npos);
    EXPECT_NE(rec.find("async/Bin-0-"), std::string::npos);
    // name;END;size CR LF, every line.
    std::istringstream lines(rec);
    int count = 0;
    for (std::string line; std::getline(lines, line);) {
        size_t a = line.find(';'), b = line.find(';', a + 1);
        EXPECT_GT(std::stoull(line.substr(a + 1, b - a - 1)), 0u) << line;
        EXPECT_EQ(line.back(), '\r');
        // The recorder's own files (".log") join the list as the clock runs; the others are fixed.
        count += line.compare(a - 4, 4, ".rec") == 0;
    }
    EXPECT_EQ(count, 7);
    EXPECT_NE(str(c.request(plain(5, 0, 0x10)).bytes).find("Dip-1763772600-250000000.evt;"),
              std::string::npos);

    // The client appends each frame and takes it as the end of the file: a file is never split.
    const Bytes whole = pattern(n);
    EXPECT_EQ(c.request(named(5, 1, kOsc)).payload(), whole);
    const uint32_t pos = 150001;
    EXPECT_EQ(c.request(named(5, 1, kOsc, pos)).payload(), Bytes(whole.begin() + pos, whole.end()));
    Frame atEnd = c.request(named(5, 1, kOsc, n));
    EXPECT_TRUE(!atEnd.nak() && atEnd.size() == 20u);
    EXPECT_TRUE(c.request(named(5, 1, kOsc, n + 1)).nak());
    Frame more;
    EXPECT_FALSE(c.frame(more, 300));
}

TEST(SimReadout, DisplayLogEventRemovalAndNamesOutsideTheReadoutFolders) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    auto screen = [&c] {
        Bytes png = c.request(plain(5, 0, 0x21)).payload();
        return QImage::fromData(png.data(), int(png.size()), "PNG");
    };
    QImage img = screen();
    ASSERT_FALSE(img.isNull());
    EXPECT_EQ(img.size(), QSize(320, 240));
    // A key press moves the screen to another page: the picture changes.
    EXPECT_EQ(c.request(lua("gpio.keyRight()")).ext(), 3);
    EXPECT_NE(img.copy(0, 30, 320, 30), screen().copy(0, 30, 320, 30));
    std::string log = str(c.request(plain(5, 0, 0x22)).bytes);
    EXPECT_NE(log.find("boot"), std::string::npos);
    EXPECT_NE(log.find("session open"), std::string::npos);
    for (const char* name : {"../setup/setup.xml", "/etc/passwd", "sync/../../logd.log", "..", "C:evil"}) {
        EXPECT_EQ(c.request(named(5, 1, name)).code(), 3u) << name;
        EXPECT_TRUE(c.request(named(5, 0x12, name)).nak()) << name;
    }
    const std::string name = "Swell-1763773600-0.evt";
    EXPECT_EQ(c.request(named(5, 0x11, name)).payload(), fileBytes(sim.data() + "/evt/" + name));
    EXPECT_TRUE(c.request(named(5, 0x12, name)).ack());
    EXPECT_FALSE(fs::exists(sim.data() + "/evt/" + name));
    EXPECT_EQ(c.request(named(5, 0x11, name)).code(), 2u);
    // Everything listed before is gone; what the running recorder writes meanwhile may be listed.
    EXPECT_TRUE(c.request(plain(5, 0, 0x13)).ack());
    EXPECT_EQ(str(c.request(plain(5, 0, 0x10)).bytes).find(".evt;"), std::string::npos);
    EXPECT_TRUE(c.request(plain(5, 0, 3)).ack());
    EXPECT_EQ(str(c.request(plain(5, 0, 0)).bytes).find(".rec;"), std::string::npos);
    EXPECT_TRUE(fs::exists(sim.data() + "/setup/setup.xml"));
}

TEST(SimReadout, ListedEndIsTheLastRecordOfARecordingAndStartPlusDurationOfAnEvent) {
    Sim sim("", [](const std::string& root) {
        const std::string data = root + "/flashdrive0/data";
        writeBytes(data + "/evt/Flicker-1700000000-900000000.evt",
                   text("event Flicker-1700000000-900000000.evt\nphase L2\nduration 2.300 s\n"));
        writeBytes(data + "/evt/Note-1700000500-0.evt", text("event without a length\n"));
        std::string hp;
        for (int k = 0; k < 250; ++k)
            hp += "rec/Hp-1-7-1700001000.rec line " + std::to_string(k) + ": 230.0 230.0 230.0\n";
        writeBytes(data + "/rec/rec/Hp-1-7-1700001000.rec", text(hp));
        writeBytes(data + "/rec/sync/10min-0-1700002000.rec", pattern(5000));
    });
    RawClient c(sim.port());
    c.openPlain();
    auto rec = listedEnds(str(c.request(plain(5, 0, 0)).bytes));
    // The fixture's 40 ten-minute records from 1763769600 on, and 70 of 200 ms from 1763770200.
    EXPECT_EQ(rec["sync/10min-0-1763769600.rec"], 1763769600u + 39 * 600);
    EXPECT_EQ(rec["sync/10T-0-1763770200.rec"], 1763770214u) << "13.8 s rounded up";
    EXPECT_EQ(rec["rec/Hp-1-7-1700001000.rec"], 1700001003u) << "249 half periods: 2.49 s";
    EXPECT_EQ(rec["sync/10min-0-1700002000.rec"], 1700002000u) << "no numbered line: one record";
    auto evt = listedEnds(str(c.request(plain(5, 0, 0x10)).bytes));
    EXPECT_EQ(evt["Flicker-1700000000-900000000.evt"], 1700000004u) << "0.9 s + 2.3 s";
    EXPECT_EQ(evt["Dip-1763772600-250000000.evt"], 1763772601u) << "0.25 s + 0.12 s";
    EXPECT_EQ(evt["Note-1700000500-0.evt"], 1700000500u);
}
