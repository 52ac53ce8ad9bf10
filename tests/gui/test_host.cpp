// The host: instrument list store and editor, main window, view buttons, screenshot of the list.
#include "GuiSupport.h"
#include "InstrumentDialog.h"
#include "InstrumentStore.h"
#include "MainWindow.h"

#include <QAction>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSettings>
#include <QStatusBar>
#include <QTabWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace ferro;
using namespace ferro::guitest;

namespace {

TInstrument Tcp(const std::string& name, const std::string& addr, int port) {
    TInstrument e;
    e.Name = name;
    e.Address = addr;
    e.Port = port;
    return e;
}

std::unique_ptr<QSettings> SettingsIn(const QTemporaryDir& dir) {
    return std::make_unique<QSettings>(dir.filePath("marlinlite.ini"), QSettings::IniFormat);
}

TFolders FoldersIn(const QTemporaryDir& dir) {
    return {dir.filePath("data/").toStdString(), dir.filePath("ini/").toStdString(),
            dir.filePath("tmp/").toStdString()};
}

} // namespace

// ---------------------------------------------------------------- store

TEST(InstrumentStore, RefusesEntriesThatCannotBeReached) {
    EXPECT_EQ(TInstrumentStore::Validate(Tcp("A", "", 5040)), "Bitte geben Sie die Adresse des Gerätes ein.");
    EXPECT_EQ(TInstrumentStore::Validate(Tcp("A", "  ", 5040)),
              "Bitte geben Sie die Adresse des Gerätes ein.");
    EXPECT_EQ(TInstrumentStore::Validate(Tcp("A", "host", 0)), "Der Port muss zwischen 1 und 65535 liegen.");
    EXPECT_EQ(TInstrumentStore::Validate(Tcp("A", "host", 65536)),
              "Der Port muss zwischen 1 und 65535 liegen.");
    EXPECT_EQ(TInstrumentStore::Validate(Tcp("", "host", 1)),
              "Bitte geben Sie einen Namen für das Gerät ein.");
    EXPECT_EQ(TInstrumentStore::Validate(Tcp("A", "ho st", 1)),
              "Die Adresse des Gerätes darf keine Leerzeichen enthalten.");
    EXPECT_EQ(TInstrumentStore::Validate(Tcp("A", "host", 65535)), "");
    TInstrument ssh = Tcp("S", "host", 22);
    ssh.Transport = TTransport::Ssh;
    EXPECT_EQ(TInstrumentStore::Validate(ssh), "Für eine SSH-Verbindung wird ein Benutzername benötigt.");
    TInstrument rs;
    rs.Name = "R";
    rs.Transport = TTransport::Serial;
    EXPECT_NE(TInstrumentStore::Validate(rs), "");
    rs.SerialDevice = "/dev/ttyUSB0";
    rs.Port = 0; // a serial line has no port
    EXPECT_EQ(TInstrumentStore::Validate(rs), "");
}

TEST(InstrumentStore, AddUpdateRemoveKeepTheListConsistent) {
    TInstrumentStore store;
    std::string error;
    EXPECT_TRUE(store.Add(Tcp("A", "10.0.0.1", 5040), error));
    EXPECT_FALSE(store.Add(Tcp("B", "", 5040), error));
    EXPECT_EQ(error, "Bitte geben Sie die Adresse des Gerätes ein.");
    EXPECT_EQ(store.Count(), 1u);
    EXPECT_FALSE(store.Update(0, Tcp("A", "10.0.0.1", 99999), error));
    EXPECT_EQ(store.At(0).Port, 5040);
    EXPECT_TRUE(store.Update(0, Tcp("A2", "10.0.0.2", 5041), error));
    EXPECT_EQ(store.At(0).Name, "A2");
    EXPECT_FALSE(store.Update(3, Tcp("X", "h", 1), error));
    EXPECT_FALSE(store.Remove(1));
    EXPECT_TRUE(store.Remove(0));
    EXPECT_EQ(store.Count(), 0u);
}

TEST(InstrumentStore, SurvivesASaveAndLoadRoundTrip) {
    QTemporaryDir dir;
    TInstrumentStore store;
    std::string error;
    TInstrument ssh = Tcp("Station Süd", "fe80::2", 2222);
    ssh.Transport = TTransport::Ssh;
    ssh.IpVer = ipverV6;
    ssh.SshUser = "admin";
    ssh.SshPassword = "geheim";
    TInstrument rs;
    rs.Name = "Koffer";
    rs.Transport = TTransport::Serial;
    rs.SerialDevice = "/dev/ttyACM0";
    ASSERT_TRUE(store.Add(Tcp("Nord", "10.1.1.1", 5040), error));
    ASSERT_TRUE(store.Add(ssh, error));
    ASSERT_TRUE(store.Add(rs, error));
    {
        auto s = SettingsIn(dir);
        store.Save(*s);
    }
    TInstrumentStore loaded;
    auto s = SettingsIn(dir);
    loaded.Load(*s);
    EXPECT_EQ(loaded.Items(), store.Items());
}

TEST(InstrumentStore, LoadingSkipsBrokenEntries) {
    QTemporaryDir dir;
    {
        auto s = SettingsIn(dir);
        s->beginWriteArray("instruments", 2);
        s->setArrayIndex(0);
        s->setValue("name", "ok");
        s->setValue("address", "h");
        s->setValue("port", 5040);
        s->setArrayIndex(1);
        s->setValue("name", "kaputt");
        s->setValue("address", "h");
        s->setValue("port", 700000);
        s->endArray();
    }
    TInstrumentStore loaded;
    auto s = SettingsIn(dir);
    loaded.Load(*s);
    ASSERT_EQ(loaded.Count(), 1u);
    EXPECT_EQ(loaded.At(0).Name, "ok");
}

TEST(InstrumentStore, DemoOptionNamesOneEntryPerTransport) {
    std::vector<TInstrument> out;
    std::string error;
    ASSERT_TRUE(TInstrumentStore::ParseDemo("127.0.0.1:5040,ssh=2222,serial=/dev/pts/7", out, error))
        << error;
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[0].Transport, TTransport::Tcp);
    EXPECT_EQ(out[0].Port, 5040);
    EXPECT_EQ(out[1].Transport, TTransport::Ssh);
    EXPECT_EQ(out[1].Port, 2222);
    EXPECT_EQ(out[1].SshUser, "admin");
    EXPECT_EQ(out[2].SerialDevice, "/dev/pts/7");
    out.clear();
    ASSERT_TRUE(TInstrumentStore::ParseDemo("[::1]:6000,ssh=22,user=viewer,password=viewer", out, error));
    EXPECT_EQ(out[0].Address, "::1");
    EXPECT_EQ(out[0].IpVer, ipverV6);
    EXPECT_EQ(out[1].SshUser, "viewer");
}

TEST(InstrumentStore, ABrokenDemoOptionIsExplained) {
    std::vector<TInstrument> out;
    std::string error;
    EXPECT_FALSE(TInstrumentStore::ParseDemo("localhost", out, error));
    EXPECT_NE(error.find("HOST:PORT"), std::string::npos);
    EXPECT_FALSE(TInstrumentStore::ParseDemo("localhost:99999", out, error));
    EXPECT_FALSE(TInstrumentStore::ParseDemo("localhost:5040,ssh=abc", out, error));
    EXPECT_NE(error.find("ssh=abc"), std::string::npos);
    EXPECT_FALSE(TInstrumentStore::ParseDemo("localhost:5040,foo=1", out, error));
    EXPECT_TRUE(out.empty());
}

// ---------------------------------------------------------------- editor

TEST(InstrumentEditor, RefusesAnEmptyAddressWithAMessageAndStaysOpen) {
    TInstrumentDialog dlg(TInstrument{});
    dlg.show();
    dlg.edtName->setText("Neu");
    dlg.edtAddress->setText("");
    dlg.btnBox->button(QDialogButtonBox::Ok)->click();
    ASSERT_TRUE(WaitUntil([] { return BoxContaining("Adresse") != nullptr; }, 3000));
    EXPECT_EQ(BoxContaining("Adresse")->text(), "Bitte geben Sie die Adresse des Gerätes ein.");
    EXPECT_TRUE(dlg.isVisible());
    EXPECT_NE(dlg.result(), QDialog::Accepted);
    CloseAllBoxes();
}

TEST(InstrumentEditor, RefusesAPortOutOfRangeOrNotANumber) {
    for (const char* port : {"70000", "0", "-1", "abc"}) {
        TInstrumentDialog dlg(TInstrument{});
        dlg.show();
        dlg.edtName->setText("Neu");
        dlg.edtAddress->setText("127.0.0.1");
        dlg.edtPort->setText(port);
        dlg.btnBox->button(QDialogButtonBox::Ok)->click();
        ASSERT_TRUE(WaitUntil([] { return BoxContaining("Port") != nullptr; }, 3000)) << port;
        EXPECT_EQ(dlg.LastError(), "Der Port muss zwischen 1 und 65535 liegen.");
        EXPECT_TRUE(dlg.isVisible());
        CloseAllBoxes();
    }
}

TEST(InstrumentEditor, AcceptsAGoodEntryAndHidesFieldsThatDoNotApply) {
    TInstrumentDialog dlg(TInstrument{});
    dlg.show();
    dlg.edtName->setText("Feld 7");
    dlg.cbTransport->setCurrentIndex(int(TTransport::Ssh));
    EXPECT_TRUE(dlg.edtUser->isEnabled());
    EXPECT_FALSE(dlg.edtSerial->isEnabled());
    dlg.edtAddress->setText("192.168.0.7");
    dlg.edtPort->setText("22");
    dlg.edtUser->setText("admin");
    dlg.edtPassword->setText("pw");
    dlg.btnBox->button(QDialogButtonBox::Ok)->click();
    EXPECT_EQ(dlg.result(), QDialog::Accepted);
    const TInstrument e = dlg.Entry();
    EXPECT_EQ(e.Transport, TTransport::Ssh);
    EXPECT_EQ(e.Port, 22);
    EXPECT_EQ(e.SshPassword, "pw");
    dlg.cbTransport->setCurrentIndex(int(TTransport::Serial));
    EXPECT_FALSE(dlg.edtAddress->isEnabled());
    EXPECT_TRUE(dlg.edtSerial->isEnabled());
}

// ---------------------------------------------------------------- main window

TEST(HostWindow, ListsTheInstrumentsAndKeepsThemInTheSettings) {
    QTemporaryDir dir;
    {
        TMainWindow w(SettingsIn(dir), FoldersIn(dir));
        std::vector<TInstrument> demo;
        std::string error;
        ASSERT_TRUE(TInstrumentStore::ParseDemo("127.0.0.1:5040,ssh=5022,serial=/dev/pts/3", demo, error));
        w.AddInstruments(demo);
        auto* list = w.findChild<QTableWidget*>("lstInstruments");
        ASSERT_EQ(list->rowCount(), 3);
        EXPECT_EQ(list->item(1, 0)->text(), "ferrosim (SSH)");
        EXPECT_EQ(list->item(1, 3)->text(), "SSH");
        EXPECT_EQ(list->item(1, 5)->text(), "admin");
        EXPECT_EQ(list->item(2, 6)->text(), "/dev/pts/3");
        // Adding the demo again replaces its entries instead of doubling them.
        w.AddInstruments(demo);
        EXPECT_EQ(list->rowCount(), 3);
    }
    TMainWindow again(SettingsIn(dir), FoldersIn(dir));
    EXPECT_EQ(again.Store().Count(), 3u);
}

TEST(HostWindow, ViewKindsWithoutAViewShowANote) {
    QTemporaryDir dir;
    TMainWindow w(SettingsIn(dir), FoldersIn(dir));
    w.AddInstruments({Tcp("A", "127.0.0.1", 1)});
    auto* para = w.findChild<QToolButton*>("btn_dkpara");
    ASSERT_NE(para, nullptr);
    para->click();
    EXPECT_EQ(w.statusBar()->currentMessage(), "Parametrierung: noch nicht verfügbar");
    EXPECT_TRUE(w.LogText().contains("Parametrierung: noch nicht verfügbar"));
    EXPECT_EQ(w.findChildren<TConnectionView*>().size(), 0);
    // Every kind of view has its button.
    for (const char* name : {"btn_dkvisu", "btn_dkdata", "btn_dkoffline", "btn_dkflash", "btn_dkmassflash",
                             "btn_dkstatus", "btn_dkInitSSH", "btn_dkUserSetup", "btn_dkparaRefresh"})
        EXPECT_NE(w.findChild<QToolButton*>(name), nullptr) << name;
}

TEST(HostWindow, RemovingAsksFirst) {
    QTemporaryDir dir;
    TMainWindow w(SettingsIn(dir), FoldersIn(dir));
    w.show();
    w.AddInstruments({Tcp("A", "127.0.0.1", 1), Tcp("B", "127.0.0.1", 2)});
    w.SelectInstrument(0);
    w.RemoveInstrument();
    ASSERT_TRUE(WaitUntil([] { return BoxContaining("\"A\"") != nullptr; }, 3000));
    BoxContaining("\"A\"")->button(QMessageBox::No)->click();
    EXPECT_EQ(w.Store().Count(), 2u);
    w.RemoveInstrument();
    ASSERT_TRUE(WaitUntil([] { return BoxContaining("\"A\"") != nullptr; }, 3000));
    BoxContaining("\"A\"")->button(QMessageBox::Yes)->click();
    ASSERT_EQ(w.Store().Count(), 1u);
    EXPECT_EQ(w.Store().At(0).Name, "B");
}

TEST(HostWindow, ConnectingWithoutASelectionAsksForOne) {
    QTemporaryDir dir;
    TMainWindow w(SettingsIn(dir), FoldersIn(dir));
    EXPECT_EQ(w.OpenConnectionView(), nullptr);
    EXPECT_EQ(w.statusBar()->currentMessage(), "Bitte wählen Sie zuerst ein Gerät aus der Liste.");
}

TEST(HostWindow, ScreenshotWithThreeInstruments) {
    QTemporaryDir dir;
    TMainWindow w(SettingsIn(dir), FoldersIn(dir));
    TInstrument ssh = Tcp("Umspannwerk Süd – Feld 2", "192.168.10.42", 22);
    ssh.Transport = TTransport::Ssh;
    ssh.SshUser = "admin";
    TInstrument rs;
    rs.Name = "Messkoffer (USB)";
    rs.Transport = TTransport::Serial;
    rs.SerialDevice = "/dev/ttyACM0";
    w.AddInstruments({Tcp("Umspannwerk Nord – Feld 1", "192.168.10.41", 5040), ssh, rs});
    w.SelectInstrument(1);
    w.AppendLog("Gerät hinzugefügt: Messkoffer (USB)");
    w.show();
    WaitUntil([] { return false; }, 200);
    QDir().mkpath(FERRO_BINARY_DIR "/screenshots");
    const QString path = FERRO_BINARY_DIR "/screenshots/marlinlite_instruments.png";
    ASSERT_TRUE(w.grab().save(path));
    EXPECT_EQ(w.findChild<QTableWidget*>("lstInstruments")->rowCount(), 3);
}
