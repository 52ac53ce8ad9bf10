// The TCP link against a loopback instrument: session, identity, failures.
#include "foundation/Format.h"
#include "link/ReadThreadTCP.h"
#include "link/TCPComUnit.h"
#include "support/FakeInstrument.h"
#include "support/Lines.h"
#include "support/Ports.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <mutex>
#include <thread>

using namespace ferro;
using namespace ferro::test;

namespace {
struct LogSink {
    std::vector<std::string> lines;
    void attach(TComUnit& link) {
        link.FOnLogCallBack = [this](TSender, const std::string& s, bool) { lines.push_back(s); };
    }
    bool has(const std::string& part) const { return AnyContains(lines, part); }
};
} // namespace

TEST(TcpLink, SessionReachesTheFullIdentity) {
    FakeInstrument dev;
    TTCPComUnit link(false);
    LogSink log;
    log.attach(link);
    bool done = false;
    uint32_t serial = 0;
    std::string label;
    link.FOnConnDone = [&](TSender, bool ok) { done = ok; };
    link.FOnComNewSNCallBack = [&](TSender, uint32_t sn, TDevType, const std::string&, const std::string&,
                                   const std::string&) { serial = sn; };
    link.FOnConCallack = [&](TSender, const std::string& t) { label = t; };
    link.SetIPAndPort("127.0.0.1", dev.port(), 0);
    link.DoConnect();
    ASSERT_TRUE(link.IsConnected());
    ASSERT_TRUE(WaitFor([&] { return done; }));
    EXPECT_EQ(serial, 777u);
    EXPECT_EQ(link.Identity().Plant, "Umspannwerk");
    EXPECT_EQ(link.Identity().Field, "Feld 3");
    EXPECT_EQ(link.Identity().Device, "PQ1");
    EXPECT_EQ(label, Fmt("127.0.0.1:%d - Umspannwerk Feld 3 PQ1 (Rev 20000 (V2_2))", dev.port()));
    EXPECT_TRUE(link.IsTimerActive());
    EXPECT_TRUE(log.has("Status: Connected2"));
    auto frames = dev.received();
    ASSERT_GE(frames.size(), 2u);
    const std::vector<uint8_t> opening = {0x01, 0x01, 0x02, 0x00, 0x04, 0x00, 0x04, 0x00, 0x00, 0x00,
                                          0x00, 0x00, 0x14, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
    EXPECT_EQ(frames[0], opening);
    EXPECT_EQ(frames[1][0], 2);
    EXPECT_EQ(frames[1][2], 1);
}

TEST(TcpLink, ClosedPortFailsCleanly) {
    const int port = FreeLoopbackPort();
    TTCPComUnit link(false);
    LogSink log;
    log.attach(link);
    link.SetIPAndPort("127.0.0.1", port, 0);
    link.DoConnect();
    WaitFor([] { return false; }, 50);
    EXPECT_FALSE(link.IsConnected());
    EXPECT_TRUE(log.has("DoConnectExcept: "));
}

TEST(TcpLink, PortZeroIsStoredAsOne) {
    TTCPComUnit link(false);
    link.SetIPAndPort("127.0.0.1", 0, 0);
    EXPECT_EQ(link.FPort, 1);
    link.SetIPAndPort("127.0.0.1", 70000, 0);
    EXPECT_EQ(link.FPort, 65535);
}

TEST(TcpLink, LineDropShowsConnectionLossAndFreesQueuedFrames) {
    FakeInstrument dev;
    TTCPComUnit link(false);
    LogSink log;
    log.attach(link);
    bool done = false;
    std::string shown;
    int cleared = 0;
    link.FOnConnDone = [&](TSender, bool ok) { done = ok; };
    link.FDisplayConnMessage = [&](const std::string& t, TMsgDlgType, TThreadedMessageCallBack,
                                   TMsgDlgButtons, TMsgDlgBtn) { shown = t; };
    link.FClearWork = [&] { ++cleared; };
    link.SetIPAndPort("127.0.0.1", dev.port(), 0);
    link.DoConnect();
    ASSERT_TRUE(WaitFor([&] { return done; }));
    size_t before = dev.framesReceived();
    dev.dropLine();
    ASSERT_TRUE(WaitFor([&] { return !link.IsConnected(); }));
    link.SendNamed("CCC_READOUT_REC_LS");
    ASSERT_TRUE(WaitFor([&] { return !shown.empty(); }));
    EXPECT_EQ(shown, "Verbindungsabbruch");
    EXPECT_EQ(cleared, 1);
    EXPECT_FALSE(link.IsTimerActive());
    EXPECT_EQ(dev.framesReceived(), before) << "nothing goes out on a fallen line";
    EXPECT_TRUE(log.has("Status: Disconnected"));
}

TEST(TcpLink, ShutdownSendsTheStopAndCompletes) {
    FakeInstrument dev;
    TTCPComUnit link(false);
    bool done = false;
    int completed = 0;
    link.FOnConnDone = [&](TSender, bool ok) { done = ok; };
    link.SetIPAndPort("127.0.0.1", dev.port(), 0);
    link.DoConnect();
    ASSERT_TRUE(WaitFor([&] { return done; }));
    link.ShutDown(nullptr, [&](TSender) { ++completed; });
    ASSERT_TRUE(WaitFor([&] { return completed > 0; }, 6000));
    EXPECT_EQ(completed, 1);
    EXPECT_FALSE(link.IsConnected());
    auto frames = dev.received();
    ASSERT_FALSE(frames.empty());
    EXPECT_EQ(frames.back()[0], 1);
    EXPECT_EQ(frames.back()[2], 0xFF);
    EXPECT_EQ(frames.back()[3], 0xFF);
}

TEST(TcpLink, IpV6LoopbackReachesTheIdentity) {
    FakeInstrument dev(true);
    TTCPComUnit link(false);
    link.FIPVersion = ipverV6;
    bool done = false;
    link.FOnConnDone = [&](TSender, bool ok) { done = ok; };
    link.SetIPAndPort("::1", dev.port(), 0);
    link.DoConnect();
    ASSERT_TRUE(link.IsConnected());
    ASSERT_TRUE(WaitFor([&] { return done; }));
    EXPECT_EQ(link.FSN, 777u);
}

TEST(TcpLink, GarbageFromTheInstrumentLeavesTheLinkUsable) {
    FakeInstrument dev(false, FakeInstrument::Mode::Garbage);
    TTCPComUnit link(false);
    LogSink log;
    log.attach(link);
    link.SetIPAndPort("127.0.0.1", dev.port(), 0);
    link.DoConnect();
    ASSERT_TRUE(link.IsConnected());
    // The garbage announces an absurd frame size: it is dropped and logged, nothing is delivered.
    ASSERT_TRUE(WaitFor([&] { return log.has("invalid head"); }, 3000));
    EXPECT_TRUE(link.IsConnected());
    link.DoDisconnect(false);
    EXPECT_FALSE(link.IsConnected());
}

TEST(TcpLink, TeardownOfAStandingLinkEndsWithinFiveSeconds) {
    FakeInstrument dev;
    auto link = std::make_unique<TTCPComUnit>(false);
    bool done = false;
    link->FOnConnDone = [&](TSender, bool ok) { done = ok; };
    link->SetIPAndPort("127.0.0.1", dev.port(), 0);
    link->DoConnect();
    ASSERT_TRUE(WaitFor([&] { return done; }));
    link->SendNamed("CCC_IDENTIFY_BASIC");
    auto t0 = std::chrono::steady_clock::now();
    link.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(5));
    WaitFor([] { return false; }, 50); // jobs posted by the thread are dropped with their link
}

TEST(TcpLink, QueuedFramesWakeTheLinkThreadInsteadOfWaitingOutItsIdleTurn) {
    FakeInstrument dev;
    TTCPComUnit link(false);
    bool done = false;
    link.FOnConnDone = [&](TSender, bool ok) { done = ok; };
    link.SetIPAndPort("127.0.0.1", dev.port(), 0);
    link.DoConnect();
    ASSERT_TRUE(WaitFor([&] { return done; }));
    // A thread that let a queued frame wait out its 20 ms idle turn would take about that long for
    // every exchange; awake, an exchange is a loopback round trip. Counting the slow exchanges
    // rather than timing the whole keeps a busy machine's odd stall from failing the test.
    const size_t before = dev.received().size();
    int slow = 0;
    for (int i = 0; i < 50; ++i) {
        auto t0 = std::chrono::steady_clock::now();
        link.SendNamed("CCC_IDENTIFY_BASIC");
        ASSERT_TRUE(WaitFor([&] { return !link.FWaitForAnswer; }, 2000));
        slow += std::chrono::steady_clock::now() - t0 >= std::chrono::milliseconds(10);
    }
    EXPECT_LT(slow, 25) << "exchanges that waited half an idle turn or more";
    EXPECT_EQ(dev.received().size(), before + 50) << "every exchange really went over the line";
}

TEST(TcpLink, ACanceledConnectEndsAtOnceInsteadOfWaitingOutItsTimeOut) {
    HangingListener hanging;
    ASSERT_TRUE(hanging.ok());
    for (bool ssh : {false, true}) {
        TTCPComUnit link(ssh);
        link.ConnectTimeoutMs = 10000;
        LogSink log;
        link.SetIPAndPort("127.0.0.1", hanging.port(), 0);
        // The view closes while the connect is under way.
        std::thread closer([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            link.CancelConnect();
        });
        link.FOnLogCallBack = [&](TSender, const std::string& s, bool) { log.lines.push_back(s); };
        auto t0 = std::chrono::steady_clock::now();
        link.DoConnect();
        // Well below the 10 s time-out, with room for a busy machine.
        EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(5)) << (ssh ? "ssh" : "tcp");
        closer.join();
        EXPECT_FALSE(link.IsConnected());
        EXPECT_EQ(link.ConnectError(), "Verbindungsaufbau abgebrochen") << (ssh ? "ssh" : "tcp");
    }
}

TEST(TcpLink, AnNtpRequestBehindAnotherFrameIsAnsweredOnTheLinkThreadWithTheComputersTime) {
    FakeInstrument dev;
    std::vector<uint8_t> packet(48, 0);
    packet[0] = 0x23;                                 // version 4, client
    const uint8_t sent[8] = {1, 2, 3, 4, 5, 6, 7, 8}; // the instrument's transmit stamp
    std::copy(sent, sent + 8, packet.begin() + 40);
    dev.ntpBehindIdentity = Frame(9, 1, 2, packet, 4);
    TTCPComUnit link(false);
    bool done = false;
    link.FOnConnDone = [&](TSender, bool ok) { done = ok; };
    link.SetIPAndPort("127.0.0.1", dev.port(), 0);
    link.DoConnect();
    ASSERT_TRUE(WaitFor([&] { return done; }));
    std::vector<uint8_t> reply;
    ASSERT_TRUE(WaitFor([&] {
        for (const auto& f : dev.received())
            if (f[0] == 9) reply = f;
        return !reply.empty();
    }));
    ASSERT_EQ(reply.size(), 68u);
    EXPECT_EQ(reply[2], 3);  // ExtCmd
    EXPECT_EQ(reply[1], 1);  // Priv
    EXPECT_EQ(reply[6], 4);  // flags
    EXPECT_EQ(reply[16], 0); // the thread's sequence counter
    const uint8_t* ntp = reply.data() + 20;
    EXPECT_EQ(ntp[0], 0x24) << "version 4, server";
    EXPECT_EQ(ntp[1], 1) << "stratum";
    EXPECT_TRUE(std::equal(sent, sent + 8, ntp + 24)) << "our stamp comes back as the originate time";
    const uint64_t secs =
        uint64_t(ntp[40]) << 24 | uint64_t(ntp[41]) << 16 | uint64_t(ntp[42]) << 8 | ntp[43];
    const int64_t unix = int64_t(secs) - 2208988800LL;
    EXPECT_LE(std::llabs(unix - int64_t(std::time(nullptr))), 2);
}

namespace {
// The link thread's own NTP path without a socket: bytes go into its receive buffer, and what it
// would write back is kept.
class NtpProbeThread : public TIdReadThreadTCP {
public:
    NtpProbeThread() : TIdReadThreadTCP(nullptr) {}
    std::vector<MemStream> written;
    void feed(const std::vector<uint8_t>& bytes) {
        FreadStream.Append(bytes.data(), bytes.size());
        ReadData();
    }
    bool WriteData(MemStream&, bool) override { return false; }
    void HandleNTPSendAnswer(MemStream& s) override { written.push_back(s); }
    void DoConnect() override {}
    void ThreadRun() override {}
};
} // namespace

TEST(TcpLink, AnNtpRequestArrivingAfterTheLineFellIsDroppedAndNotAnswered) {
    std::vector<uint8_t> packet(48, 0);
    packet[0] = 0x23;
    const auto request = Frame(9, 1, 2, packet, 4);
    NtpProbeThread thread;
    thread.FIsconnected = true;
    thread.feed(request);
    ASSERT_EQ(thread.written.size(), 1u) << "a connected line answers";
    EXPECT_EQ(thread.written[0].size(), 68u);
    // The session ended in the same batch of data that carried the request.
    thread.FIsconnected = false;
    thread.feed(request);
    EXPECT_EQ(thread.written.size(), 1u) << "no reply goes to a line that is gone";
}
