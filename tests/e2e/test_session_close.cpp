// A session's end from either side on every line: the state it ends in, the signals, the log lines,
// and what the instrument saw (no stray connection left holding one of its two places).
#include "link/DeviceSession.h"
#include "support/Lines.h"
#include "support/SimProcess.h"
#include "support/Wait.h"

#include <gtest/gtest.h>

#include <QCoreApplication>

#include <filesystem>
#include <memory>

using namespace ferro;
using namespace ferro::test;

namespace {

size_t count(const std::string& text, const std::string& part) {
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++n;
    return n;
}

// Connections the instrument holds now, as its log tells.
long openConnections(const SimProcess& sim) {
    const std::string log = sim.log();
    return long(count(log, "connected from")) - long(count(log, "] disconnected"));
}

const char* lineName(TTransport t) {
    return t == TTransport::Tcp ? "TCP" : t == TTransport::Ssh ? "SSH" : "serial";
}

struct SessionRun {
    std::vector<std::string> log;
    int closed = 0, lost = 0;
    // Last, so it goes first: a link that is torn down still logs into `log`.
    std::unique_ptr<TDeviceSession> session;

    SessionRun(const SimProcess& sim, TTransport line) {
        TConnectionRec rec;
        rec.Transport = line;
        rec.Port = line == TTransport::Ssh ? sim.sshPort() : sim.port();
        rec.SerialDevice = sim.serial();
        rec.SshUser = "admin";
        rec.SshPassword = "admin";
        rec.Folders.Ini = sim.tempDir() + "/";
        session = std::make_unique<TDeviceSession>(rec);
        session->DefaultAnswer = mrYes; // the host key of the simulator
        session->Link().FOnLogCallBack = [this](TSender, const std::string& s, bool) { log.push_back(s); };
        QObject::connect(session.get(), &TDeviceSession::SessionClosed, [this] { ++closed; });
        QObject::connect(session.get(), &TDeviceSession::SessionLost, [this](const QString&) { ++lost; });
    }
    bool logged(const std::string& part) const { return AnyContains(log, part); }
};

} // namespace

TEST(SessionClose, FromThisSideEndsClosedAndTheInstrumentKeepsNoConnection) {
    // Every answer late: the close must not depend on who drops the line first.
    SimProcess sim({"--ssh-port", "0", "--serial", "--faults", "delay:400"});
    ASSERT_TRUE(sim.ok() && sim.sshPort() > 0 && !sim.serial().empty());
    for (TTransport line : {TTransport::Tcp, TTransport::Ssh, TTransport::Serial}) {
        SCOPED_TRACE(lineName(line));
        SessionRun r(sim, line);
        ASSERT_TRUE(r.session->OpenAndWait(30000)) << r.session->LastError().Text;
        r.session->CloseAndWait();
        EXPECT_EQ(r.session->State(), TSessionState::Closed);
        EXPECT_EQ(r.closed, 1);
        EXPECT_EQ(r.lost, 0);
        EXPECT_TRUE(r.logged("ComUnit: ShutDown Start - Connected: True"));
        EXPECT_TRUE(r.logged("Kommando wird abgearbeitet: CCC_SESSION_STP"));
        if (line == TTransport::Ssh) {
            EXPECT_TRUE(r.logged("Begin ShutdownComplete"));
        }
        EXPECT_TRUE(WaitFor([&] { return openConnections(sim) == 0; }, 8000)) << sim.log();
    }
    EXPECT_EQ(sim.log().find("refused"), std::string::npos) << "nothing went out after the stop\n"
                                                            << sim.log();
}

TEST(SessionClose, FromTheInstrumentSideEndsLostWithTheReason) {
    for (TTransport line : {TTransport::Tcp, TTransport::Ssh, TTransport::Serial}) {
        SCOPED_TRACE(lineName(line));
        SimProcess sim({"--ssh-port", "0", "--serial"});
        ASSERT_TRUE(sim.ok() && sim.sshPort() > 0 && !sim.serial().empty());
        SessionRun r(sim, line);
        ASSERT_TRUE(r.session->OpenAndWait(30000)) << r.session->LastError().Text;
        sim.stop();
        ASSERT_TRUE(WaitFor([&] { return r.session->State() == TSessionState::Lost; }, 15000));
        WaitFor([] { return false; }, 100); // a second report would come now
        EXPECT_EQ(r.lost, 1);
        EXPECT_EQ(r.closed, 0);
        EXPECT_EQ(r.session->LastError().Kind, TSessionErrorKind::Lost);
        EXPECT_EQ(r.session->LastError().Text,
                  line == TTransport::Serial ? "Die USB Verbindung wurde getrennt!" : "Verbindungsabbruch");
        EXPECT_TRUE(r.logged("verloren: "));
        if (line == TTransport::Ssh) {
            EXPECT_TRUE(r.logged("Terminating RedThread"));
        }
    }
}

TEST(SessionClose, FerroctlOverTheSerialLineLeavesNoConnectionBehind) {
    SimProcess sim({"--serial"});
    ASSERT_FALSE(sim.serial().empty());
    CtlResult r = RunCtl({"--serial", sim.serial(), "identify"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(WaitFor([&] { return openConnections(sim) == 0; }, 8000)) << sim.log();
    EXPECT_EQ(sim.log().find("refused"), std::string::npos) << sim.log();
    // A client that closes the line without ending its session frees the place as well.
    TConnectionRec rec;
    rec.Transport = TTransport::Serial;
    rec.SerialDevice = sim.serial();
    {
        TDeviceSession s(rec);
        ASSERT_TRUE(s.OpenAndWait(30000)) << s.LastError().Text;
        EXPECT_EQ(openConnections(sim), 1);
    } // gone without a session stop
    EXPECT_TRUE(WaitFor([&] { return openConnections(sim) == 0; }, 8000)) << sim.log();
}

TEST(SessionClose, FerroctlStreamStopsItsStreamBeforeTheSessionEnds) {
    SimProcess sim;
    ASSERT_TRUE(sim.ok());
    CtlResult r = RunCtl({"--port", std::to_string(sim.port()), "-v", "stream", "1s", "--count", "1"});
    ASSERT_EQ(r.code, 0) << r.err;
    const size_t stop = r.err.find("Kommando wird abgearbeitet: CCC_STREAM_STOP");
    EXPECT_NE(stop, std::string::npos) << r.err;
    EXPECT_LT(stop, r.err.find("Kommando wird abgearbeitet: CCC_SESSION_STP"));
    const std::string log = sim.log();
    const size_t stopped = log.find("stream handle");
    EXPECT_NE(stopped, std::string::npos) << log;
    EXPECT_LT(stopped, log.find("session stopped")) << log;
}

TEST(SessionClose, SessionsOneAfterAnotherLeaveNoDescriptorOnEitherSide) {
    SimProcess sim({"--ssh-port", "0"});
    ASSERT_TRUE(sim.ok() && sim.sshPort() > 0);
    auto descriptors = [](qint64 pid) {
        long n = 0;
        for (auto& e : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd"))
            n += e.exists() ? 1 : 0;
        return n;
    };
    const qint64 self = QCoreApplication::applicationPid();
    long mine = 0, its = 0;
    for (int i = 0; i < 4; ++i) {
        for (TTransport line : {TTransport::Tcp, TTransport::Ssh}) {
            SessionRun r(sim, line);
            ASSERT_TRUE(r.session->OpenAndWait(30000)) << r.session->LastError().Text;
            r.session->CloseAndWait();
        }
        ASSERT_TRUE(WaitFor([&] { return openConnections(sim) == 0; }, 8000));
        if (i == 0) { // the first round sets up what stays (libssh, the host key store)
            mine = descriptors(self);
            its = descriptors(sim.pid());
        }
    }
    // A socket handed to libssh used to stay open on both ends, one per SSH session.
    EXPECT_EQ(descriptors(self), mine);
    EXPECT_TRUE(WaitFor([&] { return descriptors(sim.pid()) <= its; }, 5000)) << descriptors(sim.pid());
}
