// Session opening, refusals and connection limits, checked byte by byte on the wire.
#include "SimHarness.h"

#include <gtest/gtest.h>

using namespace simtest;

namespace {
constexpr uint32_t kSerial = 5120042;
}

TEST(SimSession, PlainOpeningAnswersInTheVersionSpokenWithTheAccount) {
    Sim sim;
    ASSERT_TRUE(sim.running());
    RawClient c(sim.port());
    // The first bytes a plain TCP client sends.
    Bytes adv = {0x01, 0x01, 0x02, 0x00, 0x04, 0x00, 0x04, 0x00, 0x00, 0x00,
                 0x00, 0x00, 0x14, 0x00, 0x00, 0x00, 0x2A, 0x00, 0x00, 0x00};
    Frame f = c.request(adv);
    EXPECT_EQ(f.cmd(), 1);
    EXPECT_EQ(f.priv(), 1);
    EXPECT_EQ(f.ext(), 2);
    EXPECT_EQ(f.ver(), 4);
    EXPECT_FALSE(f.nak());
    EXPECT_EQ(f.seq(), 42u);
    EXPECT_EQ(f.sn(), kSerial);
    ASSERT_EQ(f.size(), 20u + 64 + 64);
    EXPECT_EQ(text(f.bytes, 20, 64), "admin");
    EXPECT_EQ(text(f.bytes, 84, 64), "admin");
}

TEST(SimSession, StartFrameOpensVersion5WithEmptyReplyAndChecksPassword) {
    Sim sim;
    RawClient good(sim.port());
    Frame f = good.request(start("viewer", "viewer"));
    EXPECT_EQ(f.cmd(), 1);
    EXPECT_EQ(f.ext(), 0);
    EXPECT_EQ(f.ver(), 5);
    EXPECT_FALSE(f.nak());
    EXPECT_EQ(f.size(), 20u);

    RawClient bad(sim.port());
    Frame r = bad.request(start("viewer", "wrong"));
    EXPECT_TRUE(r.nak());
    EXPECT_EQ(r.code(), 13u);
}

TEST(SimSession, Version4DeviceRefusesStartFrameWith134ThenAcceptsPlainOpening) {
    Sim sim("", [](const std::string& root) { Sim::setProfile(root, "protocolVersion", "4"); });
    RawClient c(sim.port());
    Frame r = c.request(start("admin", "admin"));
    EXPECT_TRUE(r.nak());
    EXPECT_EQ(r.cmd(), 1);
    EXPECT_EQ(r.ext(), 0);
    EXPECT_EQ(r.code(), 134u);
    // The fall-back on the same line.
    Frame f = c.openPlain();
    EXPECT_FALSE(f.nak());
    EXPECT_EQ(f.ver(), 4);
    EXPECT_EQ(f.size(), 148u);
}

TEST(SimSession, RefusalFrameHasFlagsCodeAndTextInPlace) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    Bytes req = head(4, 0, 1, 24, 4, 4, 0x01020304);
    put32(req, 0x09FFFFFF); // no such stream object
    Frame r = c.request(req);
    // NAK bit added to the GZ bit of the request.
    EXPECT_EQ(r.flags(), 6);
    EXPECT_EQ(r.cmd(), 4);
    EXPECT_EQ(r.priv(), 0);
    EXPECT_EQ(r.ext(), 1);
    EXPECT_EQ(r.seq(), 0x01020304u);
    EXPECT_EQ(r.sn(), kSerial);
    EXPECT_EQ(r.code(), 200u);
    EXPECT_EQ(str(r.bytes, 24), "unknown stream object 0x09FFFFFF");
    EXPECT_EQ(r.size(), 24u + 32);
}

TEST(SimSession, CommandsBeforeTheSessionAndUnknownCommandsAreRefused) {
    Sim sim;
    RawClient c(sim.port());
    Frame early = c.request(plain(2, 0, 1));
    EXPECT_TRUE(early.nak());
    EXPECT_EQ(early.code(), 13u);
    c.openPlain();
    for (uint8_t cmd : {0, 8, 11, 200}) {
        Frame r = c.request(plain(cmd, 0, 0));
        EXPECT_TRUE(r.nak()) << int(cmd);
        EXPECT_EQ(r.cmd(), cmd);
        EXPECT_EQ(r.code(), 1u);
    }
    // Still serving afterwards.
    EXPECT_FALSE(c.request(plain(2, 0, 0)).nak());
}

TEST(SimSession, ThirdConnectionIsRefusedWith120AndClosed) {
    Sim sim;
    RawClient a(sim.port()), b(sim.port());
    EXPECT_FALSE(a.openPlain().nak());
    EXPECT_FALSE(b.openPlain().nak());
    RawClient c(sim.port());
    Frame r = c.openPlain();
    EXPECT_TRUE(r.nak());
    EXPECT_EQ(r.code(), 120u);
    EXPECT_EQ(r.cmd(), 1);
    EXPECT_EQ(r.ext(), 2);
    EXPECT_TRUE(c.closedWithin(3000));
    // Once one of the two leaves, a new client gets in.
    a.send(plain(1, 0, 0xFFFF));
    EXPECT_TRUE(a.closedWithin(3000));
    RawClient d(sim.port());
    EXPECT_FALSE(d.openPlain().nak());
}

TEST(SimSession, TwoClientsAreServedIndependently) {
    Sim sim;
    RawClient a(sim.port()), b(sim.port());
    a.openPlain();
    b.openPlain();
    // Interleaved: a Lua state per session, and each reply reaches its own line.
    EXPECT_EQ(a.request(lua("x = 'from a'")).ext(), 3);
    EXPECT_EQ(b.request(lua("x = 'from b'")).ext(), 3);
    Frame fa = a.request(lua("print(x)"));
    Frame fb = b.request(lua("print(x)"));
    EXPECT_EQ(str(fa.bytes), "from a\n");
    EXPECT_EQ(str(fb.bytes), "from b\n");
    Frame end;
    ASSERT_TRUE(a.frame(end));
    EXPECT_EQ(end.ext(), 3);
    ASSERT_TRUE(b.frame(end));
    EXPECT_EQ(end.ext(), 3);
}

TEST(SimSession, SessionStopIsAnsweredAndTheLineCloses) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    Frame r = c.request(plain(1, 0, 0xFFFF));
    EXPECT_EQ(r.cmd(), 1);
    EXPECT_EQ(r.ext(), 0xFFFF);
    EXPECT_FALSE(r.nak());
    EXPECT_TRUE(c.closedWithin(3000));
}

TEST(SimSession, ServiceOpeningIsAcceptedLikeThePlainOne) {
    Sim sim;
    RawClient c(sim.port());
    Frame f = c.request(plain(1, 2, 3, 4, 4));
    EXPECT_FALSE(f.nak());
    EXPECT_EQ(f.priv(), 2);
    EXPECT_EQ(f.ext(), 3);
    EXPECT_EQ(f.ver(), 4);
}
