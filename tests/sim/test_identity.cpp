// Identity replies: every offset of the basic and full forms.
#include "SimHarness.h"

#include <QDateTime>

#include <gtest/gtest.h>

using namespace simtest;

TEST(SimIdentity, BasicReplyHoldsSerialArticleAndProductionDate) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    Frame f = c.request(plain(2, 0, 0));
    EXPECT_EQ(f.cmd(), 2);
    EXPECT_EQ(f.ext(), 0);
    ASSERT_EQ(f.size(), 32u);
    EXPECT_EQ(get32(f.bytes, 20), 5120042u);
    EXPECT_EQ(get32(f.bytes, 24), 2400512u);
    EXPECT_EQ(get32(f.bytes, 28), 1684310400u); // 2023-05-17 08:00:00 UTC
}

TEST(SimIdentity, FullReplyCarriesClockTimeSettingsFirmwareAndNames) {
    Sim sim("", [](const std::string& root) {
        Sim::setProfile(root, "plant", "\"Anlage West\"");
        Sim::setProfile(root, "firmware", "13686");
    });
    RawClient c(sim.port());
    c.openPlain();
    Frame f = c.request(plain(2, 0, 1));
    ASSERT_EQ(f.size(), 1592u);
    EXPECT_EQ(f.ext(), 1);
    EXPECT_EQ(get32(f.bytes, 20), 5120042u);
    EXPECT_EQ(get32(f.bytes, 24), 2400512u);
    int64_t clock = get32(f.bytes, 32);
    EXPECT_LT(std::llabs(clock - QDateTime::currentSecsSinceEpoch()), 5);
    // time_set_t at 36: Std, then zone +60 min as (hours << 1 | sign), dst mode, the two rules.
    EXPECT_EQ(get32(f.bytes, 36), 1u);
    EXPECT_EQ(get16(f.bytes, 44), 2);
    EXPECT_EQ(get16(f.bytes, 46), 0);
    EXPECT_EQ(get32(f.bytes, 48), 1u);
    EXPECT_EQ(f.bytes[52], 3);  // summer from March
    EXPECT_EQ(f.bytes[56], 10); // to October
    EXPECT_EQ(get32(f.bytes, 36 + 28), 64u);
    EXPECT_EQ(text(f.bytes, 36 + 32, 32), "127.0.0.1");
    EXPECT_EQ(get16(f.bytes, 36 + 160), 123);
    EXPECT_EQ(get32(f.bytes, 216), 13686u);
    EXPECT_EQ(text(f.bytes, 476, 128), "Anlage West");
    EXPECT_EQ(text(f.bytes, 1044, 128), "Feld 3");
    EXPECT_EQ(text(f.bytes, 1380, 128), "FR-042");
    // Names are NUL padded to their full width.
    EXPECT_EQ(f.bytes[476 + 127], 0);
    EXPECT_EQ(f.bytes[1380 + 6], 0);
}

TEST(SimIdentity, UnknownIdentityFormIsRefused) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    Frame f = c.request(plain(2, 0, 5));
    EXPECT_TRUE(f.nak());
    EXPECT_EQ(f.ext(), 5);
}
