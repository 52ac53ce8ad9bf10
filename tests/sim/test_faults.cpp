// Every fault of --faults, bad input on the wire, and a clean stop on SIGTERM.
#include "SimHarness.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>

using namespace simtest;

TEST(SimFaults, RefuseNamedCommandWithCodeAndText) {
    Sim sim("refuse:2:1:77:kein Zugriff,refuse:5:*:78:alle");
    RawClient c(sim.port());
    c.openPlain();
    Frame r = c.request(plain(2, 0, 1));
    EXPECT_TRUE(r.nak());
    EXPECT_EQ(r.code(), 77u);
    EXPECT_EQ(str(r.bytes, 24), "kein Zugriff");
    EXPECT_FALSE(c.request(plain(2, 0, 0)).nak());
    EXPECT_EQ(c.request(plain(5, 0, 0x10)).code(), 78u);
    EXPECT_EQ(c.request(plain(5, 0, 0x21)).code(), 78u);
}

TEST(SimFaults, DropSwallowsOnlyThatRequest) {
    Sim sim("drop:2:1");
    RawClient c(sim.port());
    c.openPlain();
    c.send(plain(2, 0, 1));
    c.send(plain(2, 0, 0));
    Frame f;
    ASSERT_TRUE(c.frame(f));
    // The first reply on the line belongs to the second request.
    EXPECT_EQ(f.ext(), 0);
    EXPECT_EQ(f.size(), 32u);
    EXPECT_FALSE(c.frame(f, 500));
}

TEST(SimFaults, DelayHoldsEveryReplyBack) {
    Sim sim("delay:400");
    RawClient c(sim.port());
    auto t0 = std::chrono::steady_clock::now();
    c.openPlain();
    Frame f = c.request(plain(2, 0, 0));
    auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - t0).count();
    EXPECT_EQ(f.size(), 32u);
    EXPECT_GE(ms, 800);
    Frame none;
    EXPECT_FALSE(c.frame(none, 0));
}

TEST(SimFaults, CutClosesTheLineInTheMiddleOfTheFileFrame) {
    Sim sim("cut:100000", [](const std::string& root) {
        Bytes big(300000);
        for (size_t i = 0; i < big.size(); ++i)
            big[i] = uint8_t(i * 13 + i / 256);
        writeBytes(root + "/flashdrive0/data/rec/rec/Hp-1-7-1700000000.rec", big);
    });
    RawClient c(sim.port());
    c.openPlain();
    c.send(named(5, 1, "rec/Hp-1-7-1700000000.rec", 1000));
    // The frame announces the whole rest of the file, but only the allowance comes, then the line drops.
    Bytes h, partial;
    ASSERT_TRUE(c.recvExact(h, 20));
    EXPECT_EQ(get32(h, 12), 20u + 299000);
    ASSERT_TRUE(c.recvExact(partial, 100000));
    const Bytes file = fileBytes(sim.data() + "/rec/rec/Hp-1-7-1700000000.rec");
    EXPECT_EQ(partial, Bytes(file.begin() + 1000, file.begin() + 101000));
    EXPECT_TRUE(c.closedWithin(3000));
}

TEST(SimFaults, GarbageFollowsTheSessionReply) {
    Sim sim("garbage");
    RawClient c(sim.port());
    Frame f = c.openPlain();
    EXPECT_EQ(f.cmd(), 1);
    EXPECT_FALSE(f.nak());
    Bytes junk;
    ASSERT_TRUE(c.recvExact(junk, 20, 2000));
    EXPECT_NE(junk, Bytes(20, 0));
}

TEST(SimFaults, BadSizeSendsAnAbsurdHead) {
    Sim sim("badsize");
    RawClient c(sim.port());
    c.openPlain();
    Bytes h;
    ASSERT_TRUE(c.recvExact(h, 20, 2000));
    EXPECT_EQ(get32(h, 12), 0x7FFFFFF0u);
}

TEST(SimFaults, LimitChangesTheConnectionLimit) {
    Sim sim("limit:1");
    RawClient a(sim.port());
    EXPECT_FALSE(a.openPlain().nak());
    RawClient b(sim.port());
    EXPECT_EQ(b.openPlain().code(), 120u);
}

TEST(SimFaults, BadFaultListStopsTheProgram) {
    Sim sim("explode:3");
    EXPECT_FALSE(sim.running());
    if (sim.process().state() != QProcess::NotRunning) sim.process().waitForFinished(5000);
    EXPECT_EQ(sim.process().state(), QProcess::NotRunning);
    EXPECT_EQ(sim.process().exitCode(), 2);
    EXPECT_NE(sim.stderrText().find("bad fault 'explode:3'"), std::string::npos);
}

TEST(SimBadInput, SizeBelowHeadOrAbsurdClosesTheLineButNotTheServer) {
    Sim sim;
    {
        RawClient c(sim.port());
        c.openPlain();
        c.send(head(2, 0, 0, 7));
        EXPECT_TRUE(c.closedWithin(3000));
    }
    {
        RawClient c(sim.port());
        c.openPlain();
        c.send(head(5, 0, 1, 0xFFFFFFF0u));
        EXPECT_TRUE(c.closedWithin(3000));
    }
    {
        RawClient c(sim.port());
        Bytes junk(4096);
        for (size_t i = 0; i < junk.size(); ++i)
            junk[i] = uint8_t(i * 151 + 3);
        c.send(junk);
        c.closedWithin(1000);
    }
    RawClient ok(sim.port());
    EXPECT_FALSE(ok.openPlain().nak());
    EXPECT_EQ(ok.request(plain(2, 0, 0)).size(), 32u);
}

TEST(SimBadInput, TruncatedFrameWaitsAndIsJoinedAcrossSegments) {
    Sim sim;
    RawClient c(sim.port());
    c.openPlain();
    Bytes req = plain(2, 0, 1);
    Bytes two = req;
    two.insert(two.end(), req.begin(), req.end());
    // Byte by byte, with the head split too.
    for (uint8_t b : two)
        c.send(Bytes{b});
    Frame f1, f2;
    ASSERT_TRUE(c.frame(f1));
    ASSERT_TRUE(c.frame(f2));
    EXPECT_EQ(f1.size(), 1592u);
    EXPECT_EQ(f2.size(), 1592u);
}

TEST(SimSignals, SigtermDuringATransferExitsWithCode0) {
    Sim sim("", [](const std::string& root) {
        Bytes big(40u << 20, 0x33);
        writeBytes(root + "/flashdrive0/data/rec/rec/Osc-1-1-1700000001.rec", big);
    });
    RawClient c(sim.port());
    c.openPlain();
    c.send(named(5, 1, "rec/Osc-1-1-1700000001.rec"));
    Bytes h, some;
    ASSERT_TRUE(c.recvExact(h, 20));
    EXPECT_EQ(get32(h, 12), 20u + (40u << 20));
    ASSERT_TRUE(c.recvExact(some, 1u << 20));
    // The client reads no further: the transfer stands still in the middle.
    ::kill(pid_t(sim.process().processId()), SIGTERM);
    ASSERT_TRUE(sim.process().waitForFinished(5000));
    EXPECT_EQ(sim.process().exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(sim.process().exitCode(), 0);
}

TEST(SimBadInput, RandomFramesAreAnsweredOrRefusedAndTheServerLives) {
    Sim sim;
    {
        RawClient c(sim.port());
        c.openPlain();
        uint32_t x = 12345;
        auto next = [&x] {
            x = x * 1103515245u + 12345u;
            return x >> 8;
        };
        const uint16_t exts[] = {0, 1, 2, 3, 0x10, 0x11, 0x21, 0x22, 7, 0x1234};
        for (int i = 0; i < 400; ++i) {
            uint8_t cmd = uint8_t(next() % 12);
            uint16_t ext = exts[next() % 10];
            // Leave out what would end the line or wipe the tree; everything else may come.
            if (cmd == 1 || cmd == 6 || cmd == 9 || (cmd == 5 && (ext == 3 || ext == 0x13))) continue;
            size_t len = next() % 300;
            Bytes f = head(cmd, uint8_t(next() % 3), ext, uint32_t(20 + len), uint16_t(next() % 32));
            for (size_t k = 0; k < len; ++k)
                f.push_back(uint8_t(next()));
            c.send(f);
        }
        // A marked request behind all of them: its reply proves that everything before was served.
        c.send(head(2, 0, 0, 20, 4, 5, 0xABCDEF));
        Frame f;
        bool marked = false;
        for (int n = 0; n < 2000 && !marked && c.frame(f, 10000); ++n)
            marked = f.seq() == 0xABCDEF && f.cmd() == 2;
        EXPECT_TRUE(marked);
        EXPECT_EQ(sim.process().state(), QProcess::Running);
    }
    RawClient fresh(sim.port());
    EXPECT_FALSE(fresh.openPlain().nak());
    EXPECT_EQ(fresh.request(plain(2, 0, 0)).size(), 32u);
    EXPECT_TRUE(std::filesystem::exists(sim.data() + "/setup/setup.xml"));
}
