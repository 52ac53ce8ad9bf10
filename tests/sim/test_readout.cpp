// Readout: listings, file reads from Pos in one frame, removal, display and log.
#include "SimHarness.h"

#include <QImage>

#include <gtest/gtest.h>

#include <filesystem>
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
    for (std::string line; std::getline(lines, line); ++count) {
        size_t a = line.find(';'), b = line.find(';', a + 1);
        EXPECT_GT(std::stoull(line.substr(a + 1, b - a - 1)), 0u) << line;
        EXPECT_EQ(line.back(), '\r');
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
    EXPECT_TRUE(c.request(plain(5, 0, 0x13)).ack());
    EXPECT_EQ(str(c.request(plain(5, 0, 0x10)).bytes), "");
    EXPECT_TRUE(c.request(plain(5, 0, 3)).ack());
    EXPECT_EQ(str(c.request(plain(5, 0, 0)).bytes), "");
    EXPECT_TRUE(fs::exists(sim.data() + "/setup/setup.xml"));
}
