// The connection view and the host against the simulated instrument over TCP, SSH and a serial line.
#include "ConnectionView.h"
#include "GuiSupport.h"
#include "MainWindow.h"
#include "link/Messages.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QSettings>
#include <QTabWidget>
#include <QTcpServer>

#include <gtest/gtest.h>

#include <memory>

using namespace ferro;
using namespace ferro::guitest;

namespace {

constexpr int CConnectMs = 20000;

TInstrument Entry(TTransport t, int port, const std::string& user = "", const std::string& pw = "") {
    TInstrument e;
    e.Name = "ferrosim";
    e.Address = "127.0.0.1";
    e.Port = port;
    e.Transport = t;
    e.SshUser = user;
    e.SshPassword = pw;
    return e;
}

// Answers the question about an unknown host key with Yes.
bool TrustHostKey(int timeoutMs) {
    if (!WaitUntil([] { return BoxContaining("RSA") != nullptr; }, timeoutMs)) return false;
    BoxContaining("RSA")->button(QMessageBox::Yes)->click();
    return true;
}

struct ViewRig {
    QTemporaryDir dir;
    std::vector<std::string> log;
    int attempts = 0;
    bool attemptOk = false, authError = false;
    bool finished = false;
    std::unique_ptr<TConnectionView> view;

    ViewRig() {
        view = std::make_unique<TConnectionView>();
        view->FOnLogCallBack = [this](TSender, const std::string& s, bool) { log.push_back(s); };
        view->FConnectThreadEnd = [this](TSender, bool ok, bool auth) {
            ++attempts;
            attemptOk = ok;
            authError = auth;
        };
        QObject::connect(view.get(), &TConnectionView::ViewFinished, [this] { finished = true; });
        view->resize(900, 620);
        view->show();
    }
    ~ViewRig() {
        view.reset();
        CloseAllBoxes();
    }
    TFolders folders() const {
        return {dir.filePath("data/").toStdString(), dir.filePath("ini/").toStdString(),
                dir.filePath("tmp/").toStdString()};
    }
    void open(const TInstrument& e) {
        QDir().mkpath(dir.filePath("ini"));
        view->Open(e, folders());
    }
    // Opens an SSH view, trusts the new host key and waits for the session.
    bool openSsh(int port, const std::string& user, const std::string& password) {
        open(Entry(TTransport::Ssh, port, user, password));
        return TrustHostKey(CConnectMs) && WaitUntil([&] { return view->Established(); }, CConnectMs);
    }
    QString label(const char* name) const { return view->findChild<QLabel*>(name)->text(); }
    int count(const std::string& part) const {
        int n = 0;
        for (const auto& l : log)
            n += l.find(part) != std::string::npos;
        return n;
    }
};

// A loopback port on which nobody listens.
int ClosedPort() {
    QTcpServer s;
    s.listen(QHostAddress::LocalHost, 0);
    const int port = s.serverPort();
    s.close();
    return port;
}

void SaveScreenshot(QWidget& w, const char* name) {
    QDir().mkpath(FERRO_BINARY_DIR "/screenshots");
    w.grab().save(QString(FERRO_BINARY_DIR "/screenshots/") + name);
}

} // namespace

// ---------------------------------------------------------------- TCP

TEST(ConnectionViewTcp, ReachesConnEstAndShowsTheIdentity) {
    SimProcess sim;
    ASSERT_TRUE(sim.Ok()) << sim.Output().toStdString();
    ViewRig rig;
    rig.open(Entry(TTransport::Tcp, sim.port));
    ASSERT_TRUE(WaitUntil([&] { return rig.view->Established(); }, CConnectMs));
    EXPECT_EQ(rig.attempts, 1);
    EXPECT_TRUE(rig.attemptOk);
    const TComUnit& link = *rig.view->FComUnit;
    EXPECT_NE(link.FSN, 0u);
    EXPECT_EQ(rig.label("lblSerial"), QString::number(link.FSN));
    EXPECT_EQ(rig.label("lblArticle"), QString::number(link.FArticle));
    EXPECT_EQ(rig.label("lblFirmware").toStdString(), link.FRev.VerAsStr());
    EXPECT_NE(rig.label("lblDevType"), "–");
    EXPECT_TRUE(rig.label("lblStation").contains(QString::fromStdString(link.FPlant)));
    EXPECT_TRUE(rig.label("lblClock").contains("UTC"));
    EXPECT_EQ(rig.label("lblState"), "Verbunden");
    EXPECT_TRUE(
        rig.view->findChild<QLabel*>("lblCon")->text().startsWith(QString("127.0.0.1:%1").arg(sim.port)));
    EXPECT_FALSE(rig.view->findChild<QWidget*>("PanelBack")->isHidden());
    EXPECT_TRUE(rig.view->findChild<QWidget*>("AniIndi")->isHidden());
    // The data folder of this instrument was made.
    EXPECT_TRUE(QDir(rig.dir.filePath(QString("data/%1/Recorder").arg(link.FSN))).exists());
    WaitUntil([] { return false; }, 1100); // one clock tick
    SaveScreenshot(*rig.view, "connection_view_tcp.png");

    rig.view->CloseView();
    ASSERT_TRUE(WaitUntil([&] { return rig.finished; }, 8000));
    EXPECT_TRUE(rig.count("CCC_SESSION_STP") > 0);
}

TEST(ConnectionViewTcp, AClosedPortEndsTheAttemptWithAMessage) {
    const int port = ClosedPort();
    ViewRig rig;
    rig.open(Entry(TTransport::Tcp, port));
    ASSERT_TRUE(WaitUntil([&] { return rig.attempts > 0; }, CConnectMs));
    EXPECT_FALSE(rig.attemptOk);
    EXPECT_FALSE(rig.view->Established());
    const QString text = QString("Keine Verbindung zu 127.0.0.1:%1 möglich.").arg(port);
    ASSERT_TRUE(WaitUntil([&] { return BoxContaining(text) != nullptr; }, 3000));
    EXPECT_EQ(rig.label("lblState"), "Keine Verbindung");
}

// ---------------------------------------------------------------- SSH

TEST(ConnectionViewSsh, ReachesConnEstAfterTheHostKeyIsTrusted) {
    SimProcess sim({"--ssh-port", "0"});
    if (!sim.Ok()) GTEST_SKIP() << "ferrosim without SSH: " << sim.Output().toStdString();
    ViewRig rig;
    rig.open(Entry(TTransport::Ssh, sim.sshPort, "admin", "admin"));
    ASSERT_TRUE(TrustHostKey(CConnectMs));
    ASSERT_TRUE(WaitUntil([&] { return rig.view->Established(); }, CConnectMs));
    EXPECT_EQ(rig.label("lblState"), "Verbunden (verschlüsselt)");
    EXPECT_NE(rig.label("lblSerial"), "–");
    EXPECT_EQ(rig.view->findChild<QLabel*>("imgSecure")->toolTip(), "Verschlüsselte Verbindung (SSH)");
    SaveScreenshot(*rig.view, "connection_view_ssh.png");
}

TEST(ConnectionViewSsh, AUserWithoutTheRightIsDenied) {
    SimProcess sim({"--ssh-port", "0"});
    if (!sim.Ok()) GTEST_SKIP() << "ferrosim without SSH: " << sim.Output().toStdString();
    ViewRig rig;
    ASSERT_TRUE(rig.openSsh(sim.sshPort, "viewer", "viewer"));
    int allowed = 0, denied = 0;
    rig.view->CheckSSHRight(
        "lua.user.print", [&] { ++allowed; }, [&] { ++denied; });
    ASSERT_TRUE(WaitUntil([&] { return allowed + denied > 0; }, 10000));
    EXPECT_EQ(denied, 1);
    ASSERT_TRUE(WaitUntil([] { return BoxContaining("nicht die nötigen Rechte") != nullptr; }, 3000));
    EXPECT_EQ(BoxContaining("nicht die nötigen Rechte")->text(),
              "Der Benutzer \"viewer\" hat nicht die nötigen Rechte für diesen Vorgang!");
}

TEST(ConnectionViewSsh, AUserWithTheRightIsAllowed) {
    SimProcess sim({"--ssh-port", "0"});
    if (!sim.Ok()) GTEST_SKIP() << "ferrosim without SSH: " << sim.Output().toStdString();
    ViewRig rig;
    ASSERT_TRUE(rig.openSsh(sim.sshPort, "admin", "admin"));
    int allowed = 0, denied = 0;
    rig.view->CheckSSHRight(
        "lua.user.print", [&] { ++allowed; }, [&] { ++denied; });
    ASSERT_TRUE(WaitUntil([&] { return allowed + denied > 0; }, 10000));
    EXPECT_EQ(allowed, 1);
    EXPECT_EQ(denied, 0);
    EXPECT_EQ(BoxContaining("nicht die nötigen Rechte"), nullptr);
}

TEST(ConnectionViewSsh, AWrongPasswordIsAnAuthenticationError) {
    SimProcess sim({"--ssh-port", "0"});
    if (!sim.Ok()) GTEST_SKIP() << "ferrosim without SSH: " << sim.Output().toStdString();
    ViewRig rig;
    rig.open(Entry(TTransport::Ssh, sim.sshPort, "admin", "falsch"));
    TrustHostKey(CConnectMs);
    ASSERT_TRUE(WaitUntil([] { return BoxContaining(_SAuthFehlgeschlagen) != nullptr; }, CConnectMs));
    EXPECT_FALSE(rig.view->Established());
}

// ---------------------------------------------------------------- serial

TEST(ConnectionViewSerial, AMissingDeviceKeepsTryingAndTheViewCanBeClosed) {
    ViewRig rig;
    TInstrument e;
    e.Name = "Koffer";
    e.Transport = TTransport::Serial;
    e.SerialDevice = rig.dir.filePath("no-such-tty").toStdString();
    rig.open(e);
    ASSERT_TRUE(WaitUntil([&] { return rig.count("Thread not Connected") >= 3; }, 5000));
    ASSERT_TRUE(WaitUntil([&] { return rig.attempts > 0; }, 10000));
    EXPECT_FALSE(rig.attemptOk);
    EXPECT_FALSE(rig.view->Established());
    rig.view->close();
    rig.view.reset();
    SUCCEED();
}

TEST(ConnectionViewSerial, ReachesConnEstOverThePtyAndClosesWhenItGoes) {
    SimProcess sim({"--serial"});
    if (!sim.Ok()) GTEST_SKIP() << "ferrosim without --serial: " << sim.Output().toStdString();
    ViewRig rig;
    TInstrument e;
    e.Name = "Koffer";
    e.Transport = TTransport::Serial;
    e.SerialDevice = sim.serial.toStdString();
    rig.open(e);
    ASSERT_TRUE(WaitUntil([&] { return rig.view->Established(); }, CConnectMs));
    EXPECT_NE(rig.label("lblSerial"), "–");
    sim.Stop();
    ASSERT_TRUE(WaitUntil([&] { return rig.finished; }, 10000));
    ASSERT_TRUE(WaitUntil([] { return BoxContaining(_SUSBGetrennt) != nullptr; }, 3000));
}

// ---------------------------------------------------------------- the host

TEST(HostWithSimulator, OpensAConnectionViewInATabAndClosesIt) {
    SimProcess sim;
    ASSERT_TRUE(sim.Ok()) << sim.Output().toStdString();
    QTemporaryDir dir;
    TMainWindow w(std::make_unique<QSettings>(dir.filePath("m.ini"), QSettings::IniFormat),
                  {dir.filePath("data/").toStdString(), dir.filePath("ini/").toStdString(),
                   dir.filePath("tmp/").toStdString()});
    w.show();
    std::vector<TInstrument> demo;
    std::string error;
    ASSERT_TRUE(
        TInstrumentStore::ParseDemo(QString("127.0.0.1:%1").arg(sim.port).toStdString(), demo, error));
    w.AddInstruments(demo);
    w.SelectInstrument(0);
    TConnectionView* view = w.OpenConnectionView();
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(w.Tabs()->currentWidget(), view);
    EXPECT_EQ(w.Tabs()->tabText(w.Tabs()->currentIndex()), "ferrosim (TCP)");
    QPointer<TConnectionView> guard(view);
    ASSERT_TRUE(WaitUntil([&] { return guard && guard->Established(); }, CConnectMs));
    // Lines meant for the memo reach the host's log pane.
    EXPECT_TRUE(w.LogText().contains("Connected: 127.0.0.1"));
    WaitUntil([] { return false; }, 300);
    SaveScreenshot(w, "marlinlite_connected.png");

    w.CloseViewAt(w.Tabs()->indexOf(view));
    ASSERT_TRUE(WaitUntil([&] { return guard.isNull(); }, 8000));
    EXPECT_TRUE(w.LogText().contains("Ansicht geschlossen: ferrosim (TCP)"));
}

TEST(HostWithSimulator, ALostSerialLineClosesTheTabAndTheMessageStays) {
    SimProcess sim({"--serial"});
    ASSERT_TRUE(sim.Ok()) << sim.Output().toStdString();
    QTemporaryDir dir;
    TMainWindow w(std::make_unique<QSettings>(dir.filePath("m.ini"), QSettings::IniFormat),
                  {dir.filePath("data/").toStdString(), dir.filePath("ini/").toStdString(),
                   dir.filePath("tmp/").toStdString()});
    w.show();
    TInstrument rs;
    rs.Name = "Koffer";
    rs.Transport = TTransport::Serial;
    rs.SerialDevice = sim.serial.toStdString();
    w.AddInstruments({rs});
    w.SelectInstrument(0);
    QPointer<TConnectionView> view(w.OpenConnectionView());
    ASSERT_TRUE(WaitUntil([&] { return view && view->Established(); }, CConnectMs));
    sim.Stop();
    ASSERT_TRUE(WaitUntil([&] { return view.isNull(); }, 10000));
    EXPECT_EQ(w.Tabs()->count(), 1) << "only the start page is left";
    // The message belongs to the window, so it outlives the view it closed.
    ASSERT_TRUE(WaitUntil([] { return BoxContaining(_SUSBGetrennt) != nullptr; }, 3000));
    EXPECT_EQ(BoxContaining(_SUSBGetrennt)->parentWidget(), &w);
    CloseAllBoxes();
}
