// The NTP tunnel: open and close replies, the device's requests while open, and its check of the
// time in the client's replies.
#include "SimHarness.h"

#include <QDateTime>

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
    EXPECT_FALSE(c.request(plain(9, 1, 0)).nak());

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
    EXPECT_NE(log.find("ntp reply rejected, offset -3600"), std::string::npos);
}
