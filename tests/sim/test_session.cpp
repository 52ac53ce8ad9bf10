// Session opening, identity, refusals and connection limits, checked byte by byte on the wire.
#include "SimHarness.h"

#include <QDateTime>

#include <gtest/gtest.h>

using namespace simtest;

namespace {
constexpr uint32_t kSerial = 5120042;
}

TEST(SimSession, BothOpeningFormsAndThePasswordCheck) {
    Sim sim;
    ASSERT_TRUE(sim.running());
    RawClient c(sim.port());
    // The first bytes a plain TCP client sends.
    Bytes adv = {0x01, 0x01, 0x02, 0x00, 0x04, 0x00, 0x04, 0x00, 0x00, 0x00,
                 0x00, 0x00, 0x14, 0x00, 0x00, 0x00, 0x2A, 0x00, 0x00, 0x00};
    Frame f = c.request(adv);
    EXPECT_EQ(f.ext(), 2);
    EXPECT_EQ(f.ver(), 4);
    EXPECT_EQ(f.seq(), 42u);
    EXPECT_EQ(f.sn(), kSerial);
    ASSERT_EQ(f.size(), 20u + 64 + 64);
    EXPECT_EQ(text(f.bytes, 20, 64), "admin");
    EXPECT_EQ(text(f.bytes, 84, 64), "admin");
    c.send(plain(1, 0, 0xFFFF));
    ASSERT_TRUE(c.closedWithin(3000));

    RawClient good(sim.port());
    Frame s = good.request(start("viewer", "viewer"));
    EXPECT_TRUE(s.ack());
    EXPECT_EQ(s.ver(), 5);
    EXPECT_EQ(s.size(), 20u);

    RawClient bad(sim.port());
    EXPECT_EQ(bad.request(start("viewer", "wrong")).code(), 13u);
}

TEST(SimSession, Version4DeviceRefusesStartFrameWith134ThenAcceptsPlainOpening) {
    Sim sim("", [](const std::string& root) { Sim::setProfile(root, "protocolVersion", "4"); });
    RawClient c(sim.port());
    EXPECT_EQ(c.request(start("admin", "admin")).code(), 134u);
    // The fall-back on the same line.
    Frame f = c.openPlain();
    EXPECT_TRUE(f.ack());
    EXPECT_EQ(f.ver(), 4);
    EXPECT_EQ(f.size(), 148u);
}

TEST(SimSession, RefusalsHaveFlagsCodeAndTextInPlace) {
    Sim sim;
    RawClient c(sim.port());
    EXPECT_EQ(c.request(plain(2, 0, 1)).code(), 13u); // before the session
    c.openPlain();
    Bytes req = head(4, 0, 1, 24, 4, 4, 0x01020304);
    put32(req, 0x09FFFFFF); // no such stream object
    Frame r = c.request(req);
    // NAK bit added to the GZ bit of the request.
    EXPECT_EQ(r.flags(), 6);
    EXPECT_EQ(r.ext(), 1);
    EXPECT_EQ(r.seq(), 0x01020304u);
    EXPECT_EQ(r.sn(), kSerial);
    EXPECT_EQ(r.code(), 200u);
    EXPECT_EQ(str(r.bytes, 24), "unknown stream object 0x09FFFFFF");
    EXPECT_EQ(r.size(), 24u + 32);
    for (uint8_t cmd : {0, 8, 11, 200}) {
        Frame u = c.request(plain(cmd, 0, 0));
        EXPECT_EQ(u.cmd(), cmd);
        EXPECT_EQ(u.code(), 1u) << int(cmd);
    }
    EXPECT_TRUE(c.request(plain(2, 0, 5)).nak()); // unknown identity form
    EXPECT_TRUE(c.request(plain(2, 0, 0)).ack());
}

TEST(SimSession, ThirdConnectionIsRefusedWith120UntilASessionStops) {
    Sim sim;
    RawClient a(sim.port()), b(sim.port());
    EXPECT_TRUE(a.openPlain().ack());
    EXPECT_TRUE(b.openPlain().ack());
    RawClient c(sim.port());
    EXPECT_EQ(c.openPlain().code(), 120u);
    EXPECT_TRUE(c.closedWithin(3000));
    Frame stop = a.request(plain(1, 0, 0xFFFF));
    EXPECT_EQ(stop.ext(), 0xFFFF);
    EXPECT_TRUE(a.closedWithin(3000));
    RawClient d(sim.port());
    EXPECT_TRUE(d.openPlain().ack());
}

TEST(SimSession, TwoClientsAreServedIndependently) {
    Sim sim;
    RawClient a(sim.port()), b(sim.port());
    a.openPlain();
    b.openPlain();
    // Interleaved: a Lua state per session, and each reply reaches its own line.
    EXPECT_EQ(a.request(lua("x = 'from a'")).ext(), 3);
    EXPECT_EQ(b.request(lua("x = 'from b'")).ext(), 3);
    EXPECT_EQ(str(a.request(lua("print(x)")).bytes), "from a\n");
    EXPECT_EQ(str(b.request(lua("print(x)")).bytes), "from b\n");
    Frame end;
    for (RawClient* c : {&a, &b})
        EXPECT_TRUE(c->frame(end) && end.ext() == 3);
}

TEST(SimIdentity, BasicAndFullRepliesAtTheirOffsets) {
    Sim sim("", [](const std::string& root) {
        Sim::setProfile(root, "plant", "\"Anlage West\"");
        Sim::setProfile(root, "firmware", "13686");
    });
    RawClient c(sim.port());
    c.openPlain();
    Frame b = c.request(plain(2, 0, 0));
    ASSERT_EQ(b.size(), 32u);
    EXPECT_EQ(get32(b.bytes, 20), kSerial);
    EXPECT_EQ(get32(b.bytes, 28), 1684310400u); // production date 2023-05-17 08:00:00 UTC

    Frame f = c.request(plain(2, 0, 1));
    ASSERT_EQ(f.size(), 1592u);
    EXPECT_EQ(get32(f.bytes, 24), 2400512u);
    EXPECT_LT(std::llabs(int64_t(get32(f.bytes, 32)) - QDateTime::currentSecsSinceEpoch()), 5);
    // time_set_t at 36: zone +60 min as (hours << 1 | sign), summer from March to October.
    EXPECT_EQ(get16(f.bytes, 44), 2);
    EXPECT_EQ(f.bytes[52], 3);
    EXPECT_EQ(f.bytes[56], 10);
    EXPECT_EQ(text(f.bytes, 36 + 32, 32), "127.0.0.1");
    EXPECT_EQ(get16(f.bytes, 36 + 160), 123);
    EXPECT_EQ(get32(f.bytes, 216), 13686u);
    EXPECT_EQ(text(f.bytes, 476, 128), "Anlage West");
    EXPECT_EQ(text(f.bytes, 1044, 128), "Feld 3");
    EXPECT_EQ(text(f.bytes, 1380, 128), "FR-042");
    EXPECT_EQ(f.bytes[476 + 127], 0);
}
