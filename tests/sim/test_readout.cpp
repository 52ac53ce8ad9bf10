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

} // namespace

TEST(SimReadout, ListingsNameEveryFileWithEndAndSize) {
    Sim sim("", [](const std::string& root) {
        writeBytes(root + "/flashdrive0/data/rec/sync/10min-0-1700000000.rec", pattern(1234));
    });
    RawClient c(sim.port());
    c.openPlain();
    std::string rec = str(c.request(plain(5, 0, 0)).bytes);
    EXPECT_NE(rec.find("sync/10min-0-1700000000.rec;"), std::string::npos);
    EXPECT_NE(rec.find(";1234\r\n"), std::string::npos);
    EXPECT_NE(rec.find("rec/Hp-1-1-"), std::string::npos);
    EXPECT_NE(rec.find("async/Bin-0-"), std::string::npos);
    std::istringstream lines(rec);
    std::string line;
    int count = 0;
    while (std::getline(lines, line)) {
        ASSERT_EQ(line.back(), '\r');
        // name;END;size, with END and size numbers.
        size_t a = line.find(';'), b = line.find(';', a + 1);
        ASSERT_NE(b, std::string::npos) << line;
        EXPECT_GT(std::stoull(line.substr(a + 1, b - a - 1)), 0u);
        EXPECT_NO_THROW(std::stoull(line.substr(b + 1)));
        ++count;
    }
    EXPECT_EQ(count, 7);
    Frame evt = c.request(plain(5, 0, 0x10));
    EXPECT_EQ(evt.ext(), 0x10);
    EXPECT_NE(str(evt.bytes).find("Dip-1763772600-250000000.evt;"), std::string::npos);
}

TEST(SimReadout, AFileReadIsOneFrameFromPosToTheEnd) {
    // The client appends each frame and takes it as the end of the file: a file is never split.
    const size_t n = 200000;
    Sim sim("", [](const std::string& root) {
        writeBytes(root + "/flashdrive0/data/rec/rec/Osc-1-9-1700000000.rec", pattern(n));
    });
    RawClient c(sim.port());
    c.openPlain();
    const Bytes whole = pattern(n);
    Frame all = c.request(named(5, 1, "rec/Osc-1-9-1700000000.rec"));
    EXPECT_EQ(all.cmd(), 5);
    EXPECT_EQ(all.ext(), 1);
    EXPECT_EQ(all.size(), 20u + n);
    EXPECT_EQ(all.payload(), whole);

    const uint32_t pos = 150001;
    Frame rest = c.request(named(5, 1, "rec/Osc-1-9-1700000000.rec", pos));
    EXPECT_EQ(rest.size(), 20u + n - pos);
    EXPECT_EQ(rest.payload(), Bytes(whole.begin() + pos, whole.end()));

    Frame atEnd = c.request(named(5, 1, "rec/Osc-1-9-1700000000.rec", n));
    EXPECT_FALSE(atEnd.nak());
    EXPECT_EQ(atEnd.size(), 20u);
    EXPECT_TRUE(c.request(named(5, 1, "rec/Osc-1-9-1700000000.rec", n + 1)).nak());
    // Nothing else follows the single frame.
    Frame more;
    EXPECT_FALSE(c.frame(more, 300));
}

TEST(SimReadout, EventReadRemoveAndRemoveAll) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    const std::string name = "Swell-1763773600-0.evt";
    Frame f = c.request(named(5, 0x11, name));
    EXPECT_EQ(f.ext(), 0x11);
    EXPECT_EQ(f.payload(), fileBytes(sim.data() + "/evt/" + name));
    EXPECT_FALSE(c.request(named(5, 0x12, name)).nak());
    EXPECT_FALSE(fs::exists(sim.data() + "/evt/" + name));
    EXPECT_EQ(c.request(named(5, 0x11, name)).code(), 2u);
    EXPECT_FALSE(c.request(plain(5, 0, 0x13)).nak());
    EXPECT_EQ(str(c.request(plain(5, 0, 0x10)).bytes), "");
    EXPECT_FALSE(c.request(plain(5, 0, 3)).nak());
    EXPECT_EQ(str(c.request(plain(5, 0, 0)).bytes), "");
    EXPECT_TRUE(fs::exists(sim.data() + "/setup/setup.xml"));
}

TEST(SimReadout, NamesOutsideTheReadoutFoldersAreRefused) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    for (const char* name : {"../setup/setup.xml", "/etc/passwd", "sync/../../logd.log", "..", "C:evil"}) {
        Frame f = c.request(named(5, 1, name));
        EXPECT_TRUE(f.nak()) << name;
        EXPECT_EQ(f.code(), 3u) << name;
        EXPECT_TRUE(c.request(named(5, 0x12, name)).nak()) << name;
    }
    EXPECT_TRUE(fs::exists(sim.data() + "/setup/setup.xml"));
}

TEST(SimReadout, DisplayIsA320x240PngAndLogIsTheDeviceLog) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    Frame d = c.request(plain(5, 0, 0x21));
    EXPECT_EQ(d.ext(), 0x21);
    Bytes png = d.payload();
    QImage img = QImage::fromData(png.data(), int(png.size()), "PNG");
    ASSERT_FALSE(img.isNull());
    EXPECT_EQ(img.width(), 320);
    EXPECT_EQ(img.height(), 240);

    // A key press moves the screen to another page: the picture changes.
    c.send(lua("gpio.keyRight()"));
    Frame end;
    ASSERT_TRUE(c.frame(end));
    ASSERT_EQ(end.ext(), 3);
    Bytes next = c.request(plain(5, 0, 0x21)).payload();
    QImage img2 = QImage::fromData(next.data(), int(next.size()), "PNG");
    ASSERT_FALSE(img2.isNull());
    EXPECT_NE(img.copy(0, 30, 320, 30), img2.copy(0, 30, 320, 30));

    Frame log = c.request(plain(5, 0, 0x22));
    EXPECT_EQ(log.ext(), 0x22);
    std::string text = str(log.bytes);
    EXPECT_NE(text.find("boot"), std::string::npos);
    EXPECT_NE(text.find("session open"), std::string::npos);
}
