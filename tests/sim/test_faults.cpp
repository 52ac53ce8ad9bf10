// Every fault of --faults, bad input on the wire, and a clean stop on SIGTERM.
#include "SimHarness.h"

#include <gtest/gtest.h>

#include <QThread>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>

using namespace simtest;

TEST(SimFaults, EveryFaultKindActsOnTheWire) {
    const std::string hp = "rec/Hp-1-7-1700000000.rec";
    struct Case {
        std::string faults;
        std::function<void(Sim&, RawClient&)> check;
    };
    const Case cases[] = {
        {"refuse:2:1:77:kein Zugriff,refuse:5:*:78:alle",
         [](Sim&, RawClient& c) {
             Frame r = c.request(plain(2, 0, 1));
             EXPECT_EQ(r.code(), 77u);
             EXPECT_EQ(str(r.bytes, 24), "kein Zugriff");
             EXPECT_TRUE(c.request(plain(2, 0, 0)).ack());
             EXPECT_EQ(c.request(plain(5, 0, 0x21)).code(), 78u);
         }},
        {"drop:2:1",
         [](Sim&, RawClient& c) {
             c.send(plain(2, 0, 1));
             // The first reply on the line belongs to the second request.
             Frame f = c.request(plain(2, 0, 0));
             EXPECT_EQ(f.ext(), 0);
             EXPECT_EQ(f.size(), 32u);
             EXPECT_FALSE(c.frame(f, 500));
         }},
        {"delay:400",
         [](Sim&, RawClient& c) {
             auto t0 = std::chrono::steady_clock::now();
             EXPECT_EQ(c.request(plain(2, 0, 0)).size(), 32u);
             EXPECT_GE(std::chrono::steady_clock::now() - t0, std::chrono::milliseconds(400));
         }},
        {"cut:100000",
         [&hp](Sim& sim, RawClient& c) {
             Bytes big(300000);
             for (size_t i = 0; i < big.size(); ++i)
                 big[i] = uint8_t(i * 13 + i / 256);
             writeBytes(sim.data() + "/rec/" + hp, big);
             c.send(named(5, 1, hp, 1000));
             // The frame announces the whole rest, but only the allowance comes, then the line drops.
             Bytes h, partial;
             ASSERT_TRUE(c.recvExact(h, 20));
             EXPECT_EQ(get32(h, 12), 20u + 299000);
             ASSERT_TRUE(c.recvExact(partial, 100000));
             EXPECT_EQ(partial, Bytes(big.begin() + 1000, big.begin() + 101000));
             EXPECT_TRUE(c.closedWithin(3000));
         }},
        {"garbage",
         [](Sim&, RawClient& c) {
             Bytes junk;
             ASSERT_TRUE(c.recvExact(junk, 20, 2000)); // right behind the session reply
             EXPECT_NE(junk, Bytes(20, 0));
         }},
        {"badsize",
         [](Sim&, RawClient& c) {
             Bytes h;
             ASSERT_TRUE(c.recvExact(h, 20, 2000));
             EXPECT_EQ(get32(h, 12), 0x7FFFFFF0u);
         }},
        {"strayhead:2",
         [](Sim&, RawClient& c) {
             EXPECT_EQ(c.request(plain(2, 0, 0)).size(), 32u);
             // A plausible head that announces a frame which never comes, once per connection.
             Bytes h;
             ASSERT_TRUE(c.recvExact(h, 20, 2000));
             EXPECT_EQ(h[0], 2);
             EXPECT_EQ(get32(h, 12), 1u << 20);
             EXPECT_EQ(c.request(plain(2, 0, 0)).size(), 32u);
         }},
        {"limit:1",
         [](Sim& sim, RawClient&) {
             RawClient b(sim.port());
             EXPECT_EQ(b.openPlain().code(), 120u);
         }},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.faults);
        Sim sim(k.faults);
        RawClient c(sim.port());
        EXPECT_TRUE(c.openPlain().ack());
        k.check(sim, c);
    }
    Sim bad("explode:3");
    EXPECT_FALSE(bad.running());
    EXPECT_EQ(bad.stop(), 2);
    EXPECT_NE(bad.log().find("bad fault 'explode:3'"), std::string::npos);
}

TEST(SimBadInput, BadSizesAndGarbageCloseTheLineButNotTheServer) {
    Sim sim;
    for (uint32_t size : {7u, 0xFFFFFFF0u}) {
        RawClient c(sim.port());
        c.openPlain();
        c.send(head(5, 0, 1, size));
        EXPECT_TRUE(c.closedWithin(3000)) << size;
    }
    {
        RawClient c(sim.port());
        Bytes junk(4096);
        for (size_t i = 0; i < junk.size(); ++i)
            junk[i] = uint8_t(i * 151 + 3);
        c.send(junk);
        EXPECT_TRUE(c.closedWithin(3000)) << "a head announcing an absurd size closes the line";
    }
    RawClient c(sim.port());
    EXPECT_TRUE(c.openPlain().ack());
    // Two frames sent byte by byte, the heads split too, are joined across segments.
    Bytes two = plain(2, 0, 1), one = two;
    two.insert(two.end(), one.begin(), one.end());
    for (uint8_t b : two)
        c.send(Bytes{b});
    Frame f;
    for (int k : {1, 2}) {
        ASSERT_TRUE(c.frame(f)) << k;
        EXPECT_EQ(f.size(), 1592u);
    }
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
    }
    RawClient fresh(sim.port());
    EXPECT_TRUE(fresh.openPlain().ack());
    EXPECT_TRUE(std::filesystem::exists(sim.data() + "/setup/setup.xml"));
}

TEST(SimSignals, SigtermDuringATransferExitsWithCode0) {
    Sim sim("", [](const std::string& root) {
        writeBytes(root + "/flashdrive0/data/rec/rec/Osc-1-1-1700000001.rec", Bytes(40u << 20, 0x33));
    });
    RawClient c(sim.port());
    c.openPlain();
    c.send(named(5, 1, "rec/Osc-1-1-1700000001.rec"));
    Bytes h, some;
    ASSERT_TRUE(c.recvExact(h, 20));
    EXPECT_EQ(get32(h, 12), 20u + (40u << 20));
    ASSERT_TRUE(c.recvExact(some, 1u << 20));
    // The client reads no further: the transfer stands still in the middle.
    EXPECT_EQ(sim.stop(), 0) << "a normal exit on SIGTERM, not a kill";
}

TEST(SimSignals, ExitWithParentEndsTheSimulatorWhenItsStarterDies) {
    QTemporaryDir dir;
    ferro::ChildProcess shell;
    // A shell starts the simulator, tells its id and is then killed as a crashed test would be.
    const std::string at = dir.path().toStdString();
    ASSERT_TRUE(shell.start("/bin/sh",
                            {"-c", "'" + std::string(FERROSIM_BIN) + "' --root '" + at +
                                       "/root' --port 0 --history-days 0 --exit-with-parent >'" + at +
                                       "/out' 2>/dev/null & echo $!; wait"},
                            "/dev/null", at + "/pid", ""));
    pid_t pid = 0;
    for (int i = 0; i < 100 && pid <= 0; ++i) {
        QThread::msleep(50);
        std::ifstream(at + "/pid") >> pid;
    }
    ASSERT_GT(pid, 0);
    auto alive = [pid] {
        std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
        std::string id, name, state;
        return bool(stat >> id >> name >> state) && state != "Z";
    };
    auto serving = [&dir] {
        std::ifstream out(dir.path().toStdString() + "/out");
        return std::string(std::istreambuf_iterator<char>(out), {}).find("listening on") != std::string::npos;
    };
    for (int i = 0; i < 200 && alive() && !serving(); ++i)
        QThread::msleep(50);
    ASSERT_TRUE(serving());
    shell.signal(SIGKILL);
    shell.finish(3000);
    bool ended = false;
    for (int i = 0; i < 200 && !(ended = !alive()); ++i)
        QThread::msleep(50);
    EXPECT_TRUE(ended) << "the simulator outlived its starter";
    if (!ended) ::kill(pid, SIGKILL);
}
