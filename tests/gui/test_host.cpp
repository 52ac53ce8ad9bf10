// The host: instrument list store and editor, main window, screenshot of the list.
#include "GuiSupport.h"
#include "InstrumentDialog.h"
#include "InstrumentStore.h"
#include "MainWindow.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>
#include <QStatusBar>
#include <QTableWidget>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace ferro;
using namespace ferro::guitest;

TEST(InstrumentStore, ValidateExplainsWhatIsMissingAndTheListStaysConsistent) {
    const std::pair<TInstrument, std::string> cases[] = {
        {Entry("A", "  ", 5040), "Bitte geben Sie die Adresse des Gerätes ein."},
        {Entry("A", "host", 65536), "Der Port muss zwischen 1 und 65535 liegen."},
        {Entry("", "host", 1), "Bitte geben Sie einen Namen für das Gerät ein."},
        {Entry("A", "ho st", 1), "Die Adresse des Gerätes darf keine Leerzeichen enthalten."},
        {Entry("A", "host", 65535), ""},
        {Entry("S", "host", 22, TTransport::Ssh), "Für eine SSH-Verbindung wird ein Benutzername benötigt."},
        {Entry("R", "", 0, TTransport::Serial, "", "", "/dev/ttyUSB0"), ""},
    };
    for (const auto& [entry, error] : cases)
        EXPECT_EQ(TInstrumentStore::Validate(entry), error) << entry.Name << " " << entry.Address;
    EXPECT_NE(TInstrumentStore::Validate(Entry("R", "", 0, TTransport::Serial)), "");

    TInstrumentStore store;
    std::string error;
    EXPECT_TRUE(store.Add(Entry("A", "10.0.0.1", 5040), error));
    EXPECT_FALSE(store.Add(Entry("B", "", 5040), error));
    EXPECT_EQ(store.Count(), 1u);
    EXPECT_FALSE(store.Update(0, Entry("A", "10.0.0.1", 99999), error));
    EXPECT_EQ(store.At(0).Port, 5040);
    EXPECT_TRUE(store.Update(0, Entry("A2", "10.0.0.2", 5041), error));
    EXPECT_EQ(store.At(0).Name, "A2");
    EXPECT_FALSE(store.Update(3, Entry("X", "h", 1), error));
    EXPECT_FALSE(store.Remove(1));
    EXPECT_TRUE(store.Remove(0));
    EXPECT_EQ(store.Count(), 0u);
}

TEST(InstrumentStore, RoundTripsThroughTheSettingsAndSkipsBrokenEntries) {
    QTemporaryDir dir;
    TInstrumentStore store;
    std::string error;
    TInstrument ssh = Entry("Station Süd", "fe80::2", 2222, TTransport::Ssh, "admin", "geheim");
    ssh.IpVer = ipverV6;
    for (const TInstrument& e : {Entry("Nord", "10.1.1.1", 5040), ssh,
                                 Entry("Koffer", "", 5040, TTransport::Serial, "", "", "/dev/ttyACM0")})
        ASSERT_TRUE(store.Add(e, error)) << error;
    store.Save(*SettingsIn(dir));
    TInstrumentStore loaded;
    loaded.Load(*SettingsIn(dir));
    EXPECT_EQ(loaded.Items(), store.Items());

    {
        auto s = SettingsIn(dir);
        s->remove("instruments");
        s->beginWriteArray("instruments", 2);
        for (int i : {0, 1}) {
            s->setArrayIndex(i);
            s->setValue("name", i ? "kaputt" : "ok");
            s->setValue("address", "h");
            s->setValue("port", i ? 700000 : 5040);
        }
        s->endArray();
    }
    TInstrumentStore partial;
    partial.Load(*SettingsIn(dir));
    ASSERT_EQ(partial.Count(), 1u);
    EXPECT_EQ(partial.At(0).Name, "ok");
}

TEST(InstrumentStore, DemoOptionIsParsedOrExplained) {
    std::vector<TInstrument> out;
    std::string error;
    ASSERT_TRUE(TInstrumentStore::ParseDemo("[::1]:6000,ssh=22,user=viewer,password=viewer", out, error));
    EXPECT_EQ(out[0].Address, "::1");
    EXPECT_EQ(out[0].IpVer, ipverV6);
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[1].Transport, TTransport::Ssh);
    EXPECT_EQ(out[1].Port, 22);
    EXPECT_EQ(out[1].SshUser, "viewer");
    EXPECT_EQ(out[1].SshPassword, "viewer");

    const std::pair<const char*, const char*> broken[] = {{"localhost", "HOST:PORT"},
                                                          {"localhost:99999", "localhost:99999"},
                                                          {"localhost:5040,ssh=abc", "ssh=abc"},
                                                          {"localhost:5040,foo=1", "foo=1"}};
    for (const auto& [option, hint] : broken) {
        out.clear();
        error.clear();
        EXPECT_FALSE(TInstrumentStore::ParseDemo(option, out, error)) << option;
        EXPECT_NE(error.find(hint), std::string::npos) << option << ": " << error;
        EXPECT_TRUE(out.empty()) << option;
    }
}

TEST(InstrumentEditor, RefusesAMissingAddressOrABadPortAcceptsAGoodEntryAndDisablesWhatDoesNotApply) {
    TInstrumentDialog dlg(TInstrument{});
    dlg.show();
    dlg.edtName->setText("Feld 7");
    const std::pair<const char*, const char*> refused[] = {
        {"", "5040"}, {"127.0.0.1", "70000"}, {"127.0.0.1", "0"}, {"127.0.0.1", "-1"}, {"127.0.0.1", "abc"}};
    for (const auto& [address, port] : refused) {
        dlg.edtAddress->setText(address);
        dlg.edtPort->setText(port);
        dlg.btnBox->button(QDialogButtonBox::Ok)->click();
        const QString expected = *address ? "Der Port muss zwischen 1 und 65535 liegen."
                                          : "Bitte geben Sie die Adresse des Gerätes ein.";
        EXPECT_NE(WaitForBox(expected), nullptr) << address << " " << port;
        EXPECT_EQ(dlg.LastError(), expected.toStdString());
        EXPECT_TRUE(dlg.isVisible());
        EXPECT_NE(dlg.result(), QDialog::Accepted);
        CloseAllBoxes();
    }
    // The default port follows the transport; a port the user typed stays.
    dlg.edtPort->setText("5040");
    dlg.cbTransport->setCurrentIndex(int(TTransport::Ssh));
    EXPECT_EQ(dlg.edtPort->text(), "22");
    dlg.cbTransport->setCurrentIndex(int(TTransport::Tcp));
    EXPECT_EQ(dlg.edtPort->text(), "5040");
    dlg.edtPort->setText("2222");
    dlg.cbTransport->setCurrentIndex(int(TTransport::Ssh));
    EXPECT_EQ(dlg.edtPort->text(), "2222");
    EXPECT_TRUE(dlg.edtUser->isEnabled());
    EXPECT_FALSE(dlg.edtSerial->isEnabled());
    dlg.edtAddress->setText("192.168.0.7");
    dlg.edtPort->setText("22");
    dlg.edtUser->setText("admin");
    dlg.edtPassword->setText("pw");
    dlg.btnBox->button(QDialogButtonBox::Ok)->click();
    EXPECT_EQ(dlg.result(), QDialog::Accepted);
    EXPECT_EQ(dlg.Entry(), Entry("Feld 7", "192.168.0.7", 22, TTransport::Ssh, "admin", "pw"));
    dlg.cbTransport->setCurrentIndex(int(TTransport::Serial));
    EXPECT_FALSE(dlg.edtAddress->isEnabled());
    EXPECT_TRUE(dlg.edtSerial->isEnabled());
}

TEST(HostWindow, RemovingAsksFirst) {
    QTemporaryDir dir;
    TMainWindow w(SettingsIn(dir), FoldersIn(dir));
    w.show();
    w.AddInstruments({Entry("A", "127.0.0.1", 1), Entry("B", "127.0.0.1", 2)});
    w.SelectInstrument(0);
    for (auto answer : {QMessageBox::No, QMessageBox::Yes}) {
        w.RemoveInstrument();
        QMessageBox* box = WaitForBox("\"A\"");
        ASSERT_NE(box, nullptr);
        box->button(answer)->click();
        EXPECT_EQ(w.Store().Count(), answer == QMessageBox::No ? 2u : 1u);
    }
    EXPECT_EQ(w.Store().At(0).Name, "B");
}

TEST(HostWindow, ListsAndKeepsTheInstrumentsNotesWhatIsMissingAndIsPhotographed) {
    QTemporaryDir dir;
    {
        TMainWindow w(SettingsIn(dir), FoldersIn(dir));
        EXPECT_EQ(w.OpenConnectionView(), nullptr);
        EXPECT_EQ(w.statusBar()->currentMessage(), "Bitte wählen Sie zuerst ein Gerät aus der Liste.");
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
        w.AddInstruments(demo);
        EXPECT_EQ(list->rowCount(), 3) << "adding the demo again replaces its entries";
    }
    TMainWindow w(SettingsIn(dir), FoldersIn(dir));
    EXPECT_EQ(w.Store().Count(), 3u);
    w.SelectInstrument(1);
    // A view that is not built yet is a disabled button that says so, never one that does nothing.
    auto* users = w.findChild<QToolButton*>("btn_dkUserSetup");
    EXPECT_FALSE(users->isEnabled());
    EXPECT_TRUE(users->toolTip().contains("noch nicht verfügbar"));
    EXPECT_EQ(w.OpenDirect(dkUserSetup), nullptr);
    EXPECT_TRUE(w.LogText().contains("Benutzerverwaltung: diese Ansicht ist noch nicht verfügbar"));
    EXPECT_EQ(w.findChildren<TConnectionView*>().size(), 0);
    w.AppendLog("Gerät hinzugefügt: Messkoffer (USB)");
    w.show();
    WaitFor([] { return false; }, 200);
    ASSERT_TRUE(SaveScreenshot(w, "marlinlite_instruments.png"));
}
