// The connection view and the host against the simulated instrument over TCP, SSH and a serial line.
#include "ConnectionView.h"
#include "GuiSupport.h"
#include "MainWindow.h"
#include "link/Messages.h"
#include "support/Ports.h"

#include <QLabel>
#include <QPushButton>
#include <QTabWidget>
#include <QTcpServer>
#include <QTimeZone>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>

#include <algorithm>

using namespace ferro;
using namespace ferro::guitest;
using ferro::test::SimProcess;

namespace {

constexpr int CConnectMs = 20000;

TInstrument Serial(const QString& device) {
    return Entry("Koffer", "", 5040, TTransport::Serial, "", "", device.toStdString());
}

// Shows the host, lists only `e` and opens a connection view on it.
QPointer<TConnectionView> OpenInHost(TMainWindow& w, const TInstrument& e) {
    w.show();
    w.AddInstruments({e});
    w.SelectInstrument(0);
    return w.OpenConnectionView();
}

// Answers the question about an unknown host key with Yes.
bool TrustHostKey() {
    QMessageBox* box = WaitForBox("ECDSA-Schlüssels", CConnectMs);
    if (box) box->button(QMessageBox::Yes)->click();
    return box != nullptr;
}

struct ViewRig {
    QTemporaryDir dir;
    std::vector<std::string> log;
    int attempts = 0;
    bool attemptOk = false;
    std::unique_ptr<TConnectionView> view = std::make_unique<TConnectionView>();

    ViewRig() {
        view->FOnLogCallBack = [this](TSender, const std::string& s, bool) { log.push_back(s); };
        view->FConnectThreadEnd = [this](TSender, bool ok, bool) { ++attempts, attemptOk = ok; };
        view->resize(900, 620);
        view->show();
    }
    ~ViewRig() {
        view.reset();
        CloseAllBoxes();
    }
    void open(const TInstrument& e) {
        QDir().mkpath(dir.filePath("ini"));
        TInstrument rec = e;
        rec.Folders = FoldersIn(dir);
        view->Open(rec);
    }
    bool established() {
        return WaitFor([&] { return view->Established(); }, CConnectMs);
    }
    QString label(const char* name) const { return view->findChild<QLabel*>(name)->text(); }
    long count(const std::string& piece) const {
        return std::count_if(log.begin(), log.end(),
                             [&](const std::string& l) { return l.find(piece) != l.npos; });
    }
    // Asks for a right and returns whether it was granted.
    bool allowed() {
        int yes = 0, no = 0;
        view->CheckSSHRight(
            "lua.user.print", [&] { ++yes; }, [&] { ++no; });
        EXPECT_TRUE(WaitFor([&] { return yes + no > 0; }, 10000));
        return yes == 1 && no == 0;
    }
};

} // namespace

TEST(ConnectionViewTcp, AClosedPortEndsTheAttemptWithAMessage) {
    const int port = ferro::test::FreeLoopbackPort();
    ViewRig rig;
    rig.open(Entry("ferrosim", "127.0.0.1", port));
    ASSERT_TRUE(WaitFor([&] { return rig.attempts > 0; }, CConnectMs));
    EXPECT_FALSE(rig.attemptOk);
    EXPECT_FALSE(rig.view->Established());
    EXPECT_NE(WaitForBox(QString("Keine Verbindung zu 127.0.0.1:%1 möglich.").arg(port)), nullptr);
    EXPECT_EQ(rig.label("lblState"), "Keine Verbindung");
}

TEST(ConnectionViewSsh, HostKeyPasswordAndUserRights) {
    SimProcess sim({"--ssh-port", "0"});
    ASSERT_TRUE(sim.ok()) << sim.output();
    for (const std::string user : {"admin", "viewer", "intruder"}) {
        const bool admin = user == "admin", intruder = user == "intruder";
        ViewRig rig;
        rig.open(Entry("ferrosim", "127.0.0.1", sim.sshPort(), TTransport::Ssh, intruder ? "admin" : user,
                       intruder ? "falsch" : user));
        ASSERT_TRUE(TrustHostKey()) << user;
        if (intruder) {
            EXPECT_NE(WaitForBox(_SAuthFehlgeschlagen, CConnectMs), nullptr);
            EXPECT_FALSE(rig.view->Established());
            continue;
        }
        ASSERT_TRUE(rig.established()) << user;
        EXPECT_EQ(rig.label("lblState"), "Verbunden (verschlüsselt)");
        EXPECT_NE(rig.label("lblSerial"), "–");
        EXPECT_EQ(rig.view->findChild<QLabel*>("imgSecure")->toolTip(), "Verschlüsselte Verbindung (SSH)");
        EXPECT_TRUE(!admin || SaveScreenshot(*rig.view, "connection_view_ssh.png"));
        EXPECT_EQ(rig.allowed(), admin);
        const auto denial = "Der Benutzer \"" + user + "\" hat nicht die nötigen Rechte für diesen Vorgang!";
        EXPECT_EQ(WaitForBox(QString::fromStdString(denial), admin ? 0 : 3000) != nullptr, !admin) << user;
    }
}

TEST(ConnectionViewSerial, AMissingDeviceEndsTheAttemptWithItsReasonAndTheViewCanBeClosed) {
    ViewRig rig;
    const QString device = rig.dir.filePath("no-such-tty");
    rig.open(Serial(device));
    ASSERT_TRUE(WaitFor([&] { return rig.attempts > 0; }, 10000));
    EXPECT_FALSE(rig.attemptOk);
    EXPECT_FALSE(rig.view->Established());
    EXPECT_EQ(rig.label("lblState"), "Keine Verbindung");
    QMessageBox* box = WaitForBox("Die serielle Schnittstelle " + device +
                                  " ist nicht verfügbar (Datei oder Verzeichnis nicht gefunden).");
    ASSERT_NE(box, nullptr) << "one message, with the device and the system's reason";
    CloseAllBoxes();
    const auto t0 = std::chrono::steady_clock::now();
    rig.view->close();
    rig.view.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(5)) << "closing does not hang";
}

TEST(HostWithSimulator, ReachesConnEstOverTcpInATabShowsTheIdentityAndCloses) {
    SimProcess sim;
    ASSERT_TRUE(sim.ok()) << sim.output();
    QTemporaryDir dir;
    TMainWindow w(SettingsIn(dir), FoldersIn(dir));
    QPointer<TConnectionView> view = OpenInHost(w, Entry("ferrosim (TCP)", "127.0.0.1", sim.port()));
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(w.Tabs()->currentWidget(), view);
    EXPECT_EQ(w.Tabs()->tabText(w.Tabs()->currentIndex()), "ferrosim (TCP) – Verbindung");
    std::vector<std::string> log;
    view->FOnLogCallBack = [&, host = view->FOnLogCallBack](TSender s, const std::string& l, bool memo) {
        log.push_back(l);
        host(s, l, memo);
    };
    ASSERT_TRUE(WaitFor([&] { return view && view->Established(); }, CConnectMs));
    EXPECT_TRUE(w.LogText().contains("Connected: 127.0.0.1")) << "memo lines reach the host's log pane";
    const TComUnit& link = *view->FComUnit;
    auto label = [&](const char* name) { return view->findChild<QLabel*>(name)->text(); };
    EXPECT_NE(link.FSN, 0u);
    EXPECT_EQ(label("lblSerial"), QString::number(link.FSN));
    EXPECT_EQ(label("lblArticle"), QString::number(link.Identity().Article));
    EXPECT_EQ(label("lblFirmware").toStdString(), link.Identity().Rev.VerAsStr());
    EXPECT_NE(label("lblDevType"), "–");
    EXPECT_TRUE(label("lblStation").contains(QString::fromStdString(link.Identity().Plant)));
    EXPECT_EQ(label("lblState"), "Verbunden");
    EXPECT_TRUE(label("lblCon").startsWith(QString("127.0.0.1:%1").arg(sim.port())));
    EXPECT_TRUE(QDir(dir.filePath(QString("data/%1/Recorder").arg(link.FSN))).exists());
    ASSERT_TRUE(WaitFor([&] { return label("lblClock").contains("UTC"); }, 3000));
    {
        // The local time shown, less the offset shown, is the instrument's UTC clock.
        const QString text = label("lblClock");
        const QDateTime local = QDateTime::fromString(text.left(19), "dd.MM.yyyy HH:mm:ss");
        const int at = text.indexOf("UTC") + 3;
        const int sign = text.at(at) == '-' ? -1 : 1;
        const int offset = sign * (text.mid(at + 1, 2).toInt() * 3600 + text.mid(at + 4, 2).toInt() * 60);
        ASSERT_TRUE(local.isValid()) << text.toStdString();
        const qint64 utc =
            QDateTime(local.date(), local.time(), QTimeZone::utc()).toSecsSinceEpoch() - offset;
        EXPECT_LE(std::llabs(utc - qint64(link.Identity().ConTime)), 5) << text.toStdString();
    }
    EXPECT_TRUE(SaveScreenshot(*view, "connection_view_tcp.png"));
    EXPECT_TRUE(SaveScreenshot(w, "marlinlite_connected.png"));

    w.CloseViewAt(w.Tabs()->indexOf(view));
    ASSERT_TRUE(WaitFor([&] { return view.isNull(); }, 8000));
    EXPECT_TRUE(w.LogText().contains("Ansicht geschlossen: ferrosim (TCP)"));
    EXPECT_TRUE(AnyContains(log, "CCC_SESSION_STP"));
}

TEST(HostWithSimulator, ReachesConnEstOverThePtyAndALostLineShowsTheLostStateAtOnce) {
    SimProcess sim({"--serial"});
    ASSERT_TRUE(sim.ok()) << sim.output();
    QTemporaryDir dir;
    TMainWindow w(SettingsIn(dir), FoldersIn(dir));
    QPointer<TConnectionView> view = OpenInHost(w, Serial(QString::fromStdString(sim.serial())));
    ASSERT_TRUE(WaitFor([&] { return view && view->Established(); }, CConnectMs));
    EXPECT_NE(view->findChild<QLabel*>("lblSerial")->text(), "–");
    EXPECT_TRUE(
        view->findChild<QLabel*>("lblCon")->text().startsWith(QString::fromStdString(sim.serial()) + " - "))
        << "the footer names the device";
    sim.stop();
    // The view stays, shows the loss and offers to connect again; the host log names it.
    ASSERT_TRUE(WaitFor([&] { return !view->Established(); }, 10000));
    EXPECT_EQ(view->findChild<QLabel*>("lblState")->text(), "Verbindung verloren");
    EXPECT_FALSE(view->findChild<QPushButton*>("btnIdentify")->isEnabled());
    EXPECT_FALSE(view->findChild<QPushButton*>("btnReconnect")->isHidden());
    EXPECT_TRUE(w.LogText().contains("verloren"));
    QMessageBox* box = WaitForBox(_SUSBGetrennt);
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->parentWidget(), &w);
    CloseAllBoxes();
    // Closing the tab of a lost line ends at once.
    w.CloseViewAt(w.Tabs()->indexOf(view));
    ASSERT_TRUE(WaitFor([&] { return view.isNull(); }, 3000));
    EXPECT_EQ(w.Tabs()->count(), 1) << "only the start page is left";
}
