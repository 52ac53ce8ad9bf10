// The NTP tunnel: open and close replies, the device's requests while open, and its check of the
// time in the client's replies.
#include "SimHarness.h"

#include <QDateTime>

#include <algorithm>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

using namespace simtest;

namespace {

void putBE32(Bytes& b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        b[at + size_t(i)] = uint8_t(v >> (24 - 8 * i));
}

Bytes ntpReply(const Bytes& request, int64_t unixSeconds) {
    Bytes packet(request.begin() + 20, request.begin() + 68);
    packet[0] = 0x24; // version 4, server
    putBE32(packet, 32, uint32_t(unixSeconds + 2208988800LL));
    putBE32(packet, 40, uint32_t(unixSeconds + 2208988800LL));
    Bytes frame = head(9, 1, 3, 68, 4, 5, 0);
    frame.insert(frame.end(), packet.begin(), packet.end());
    return frame;
}

} // namespace

TEST(SimNtp, OpenTunnelSendsRequestsAndChecksRepliesUntilClosed) {
    Sim sim("", [](const std::string& root) { Sim::setProfile(root, "ntpRequestMs", "200"); });
    RawClient c(sim.port());
    c.openPlain();
    EXPECT_TRUE(c.request(plain(9, 1, 0)).ack());

    Frame req;
    ASSERT_TRUE(c.frame(req, 2000));
    EXPECT_EQ(req.ext(), 2);
    ASSERT_EQ(req.size(), 68u);
    EXPECT_EQ(req.bytes[20] & 0x07, 3); // client mode
    EXPECT_EQ((req.bytes[20] >> 3) & 0x07, 4);

    c.send(ntpReply(req.bytes, QDateTime::currentSecsSinceEpoch()));
    ASSERT_TRUE(c.frame(req, 2000));
    EXPECT_EQ(req.ext(), 2);
    c.send(ntpReply(req.bytes, QDateTime::currentSecsSinceEpoch() - 3600));

    // Requests may still be under way when the close goes out: skip them up to its reply.
    c.send(plain(9, 1, 1));
    Frame f;
    do {
        ASSERT_TRUE(c.frame(f, 2000));
    } while (f.ext() == 2);
    EXPECT_EQ(f.ext(), 1);
    Frame extra;
    EXPECT_FALSE(c.frame(extra, 600));
    std::string log = str(c.request(plain(5, 0, 0x22)).bytes);
    EXPECT_NE(log.find("ntp reply, offset"), std::string::npos);
    EXPECT_NE(log.find("ntp reply rejected, offset -3"), std::string::npos);
}

TEST(SimNtp, RequestsDueDuringAFileWaitForTheEndOfItsFrame) {
    Sim sim("", [](const std::string& root) { Sim::setProfile(root, "ntpRequestMs", "20"); });
    Bytes big(24u << 20);
    for (size_t i = 0; i < big.size(); ++i)
        big[i] = uint8_t(i * 13 + i / 4099);
    writeBytes(sim.data() + "/rec/sync/ntp-0-1.rec", big);
    RawClient c(sim.port());
    c.openPlain();
    EXPECT_TRUE(c.request(plain(9, 1, 0)).ack());
    c.send(named(5, 1, "sync/ntp-0-1.rec"));
    // The file stalls in the full socket while several requests fall due.
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    Frame f;
    int before = 0;
    do {
        ASSERT_TRUE(c.frame(f, 5000));
        before += f.ext() == 2 && f.cmd() == 9;
    } while (f.cmd() == 9);
    // The request that opening the tunnel sends at once was out before the file began.
    EXPECT_GE(before, 1);
    ASSERT_EQ(f.size(), 20 + big.size()) << "no request inside the file's frame";
    EXPECT_TRUE(std::equal(big.begin(), big.end(), f.bytes.begin() + 20));
    Frame next;
    ASSERT_TRUE(c.frame(next, 2000)) << "the request held back comes after the file";
    EXPECT_EQ(next.cmd(), 9);
    EXPECT_EQ(next.ext(), 2);
    EXPECT_EQ(next.size(), 68u);
}
