// The firmware update through the window, end to end against ferrosim: the view over TCP and SSH,
// the archive's edge cases, and the mass update of three instruments.
#include "FlashFiles.h"
#include "GuiSupport.h"
#include "MainWindow.h"
#include "flash/FormFlash.h"
#include "flash/FrmChangelog.h"
#include "flash/FrmMassFlash.h"
#include "support/SimProcess.h"

#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTableWidget>
#include <QTimer>

#include <gtest/gtest.h>

#include <filesystem>

using namespace ferro;
using namespace ferro::guitest;
using namespace ferro::test;
namespace fs = std::filesystem;

namespace {

constexpr int CLongMs = 60000;

struct FlashRig {
    QTemporaryDir dir;
    TMainWindow w{SettingsIn(dir), FoldersIn(dir)};
    QPointer<TFormFlash> view;

    FlashRig(const TInstrument& e, const std::string& archive) {
        TFormFlash::ChooseArchive = [archive](QWidget*) { return archive; };
        w.show();
        w.AddInstruments({e});
        w.SelectInstrument(0);
        view = qobject_cast<TFormFlash*>(w.OpenDirect(dkflash));
        if (view) view->FRetryMs = 200;
    }
    ~FlashRig() { CloseAllBoxes(); }
    bool answer(const QString& piece, QMessageBox::StandardButton button) {
        QMessageBox* box = WaitForBox(piece, CLongMs);
        if (box) box->button(button)->click();
        return box != nullptr;
    }
    QFileDialog* saveDialog() {
        return WaitFor([&] { return view->dlgSave1->isVisible(); }, CLongMs) ? view->dlgSave1 : nullptr;
    }
    TFrmChangelog* changelog() {
        TFrmChangelog* d = nullptr;
        WaitFor([&] { return (d = view->findChild<TFrmChangelog*>()) && d->isVisible(); }, CLongMs);
        return d;
    }
    QString label(const char* name) const { return view->findChild<QLabel*>(name)->text(); }
};

std::string Scratchpad(const SimProcess& sim) {
    return sim.root() + "/flashdrive0/data/ccci/scratchpad/";
}

} // namespace

TEST(FlashView, UpdateOverTcpSavesTheBackupShowsTheChangeLogAndTheNewFirmware) {
    SimProcess sim({"--reboot-ms", "500"});
    ASSERT_TRUE(sim.ok()) << sim.output();
    QTemporaryDir files;
    const std::string zip = MakeUpdate(files, "2.3.1", "12");
    ASSERT_FALSE(zip.empty());
    FlashRig rig(Entry("FR-042", "127.0.0.1", sim.port()), zip);
    ASSERT_TRUE(rig.view);
    ASSERT_TRUE(rig.answer("Parametersicherung vor dem Firmwareupdate", QMessageBox::Yes));
    QFileDialog* save = rig.saveDialog();
    ASSERT_NE(save, nullptr) << rig.w.LogText().toStdString();
    EXPECT_TRUE(save->selectedFiles().value(0).endsWith("Para_FR-042_5120042.xml"))
        << save->selectedFiles().value(0).toStdString();
    // The suggested name, in a folder of the user's choice.
    const QString backup = files.filePath("Para_FR-042_5120042.xml");
    save->setDirectory(files.path());
    QMetaObject::invokeMethod(save, "accept");
    TFrmChangelog* log = rig.changelog();
    ASSERT_NE(log, nullptr);
    EXPECT_TRUE(log->mmoChangelog->toPlainText().contains("Ferro Recorder Firmware 2.3.1 (Build 12)"));
    EXPECT_EQ(log->btnok->text(), "Update Starten");
    EXPECT_EQ(log->btnAbort->text(), "Abbrechen");
    EXPECT_TRUE(SaveScreenshot(*log, "flash_changelog.png"));
    log->btnok->click();
    ASSERT_NE(WaitForBox("Update abgeschlossen!", CLongMs), nullptr) << sim.log();
    EXPECT_EQ(rig.label("lblFirmware"), "2.3.1.12");
    EXPECT_NE(FileText(backup.toStdString()).find("pqAppl"), std::string::npos)
        << rig.view->mmoLog->toPlainText().toStdString();
    EXPECT_TRUE(fs::exists(Scratchpad(sim) + "ferro-fw-2.3.1-12.tgz"));
    EXPECT_TRUE(fs::exists(Scratchpad(sim) + "ferro-fw-2.3.1-12.sha256"));
    EXPECT_FALSE(fs::exists(Scratchpad(sim) + "changelog.txt"));
    EXPECT_TRUE(rig.view->mmoLog->toPlainText().contains("Neue Firmware: 2.3.1.12"));
    EXPECT_TRUE(SaveScreenshot(*rig.view, "flash_view_done.png"));
    rig.answer("Update abgeschlossen!", QMessageBox::Ok);
    EXPECT_TRUE(WaitFor([&] { return !rig.view; }, CLongMs)) << "the read outcome closes the view";
}

TEST(FlashView, StatusRunSendsTheScriptRunsItAndShowsTheInstrumentsStatusText) {
    SimProcess sim;
    ASSERT_TRUE(sim.ok()) << sim.output();
    FlashRig rig(Entry("FR-042", "127.0.0.1", sim.port()), "");
    auto* view = new TFormFlash(nullptr);
    view->FKind = KndStatus;
    QPointer<TFormFlash> status(
        qobject_cast<TFormFlash*>(rig.w.OpenView(view, "Status", "View_flashstatus")));
    ASSERT_TRUE(status);
    // The lines come one by one, in the order Lua walks the table: wait for both that are checked.
    // One line per leaf: the dotted key left-justified in 35 characters, then the value.
    const QRegularExpression serial("(^|\\n)serial {29}5120042");
    ASSERT_TRUE(WaitFor(
        [&] {
            const QString text = status->mmoLog->toPlainText();
            return text.contains(serial) && text.contains("flashdrive0.total");
        },
        CLongMs))
        << status->mmoLog->toPlainText().toStdString() << rig.w.LogText().toStdString() << sim.log();
    EXPECT_TRUE(FileText(Scratchpad(sim) + "status.lua").find("prntStat(\"\", uti.stat()") !=
                std::string::npos);
    EXPECT_TRUE(WaitFor([&] { return !status->Established(); }, CLongMs)) << "the run ends the link";
}

TEST(FlashView, UpdateOverSshTakesTheLastImageAndShowsAnEmptyChangeLog) {
    SimProcess sim({"--ssh-port", "0", "--reboot-ms", "500"});
    ASSERT_TRUE(sim.ok()) << sim.output();
    QTemporaryDir files;
    const std::string first = ImageOf(MakeUpdate(files, "2.3.1", "12"));
    const std::string last = ImageOf(MakeUpdate(files, "2.4.0", "3"));
    const std::string zip = files.filePath("zwei-images.zip").toStdString();
    ASSERT_TRUE(WriteZip(zip, {{"erst.tgz", first}, {"zuletzt.tgz", last}}));
    FlashRig rig(Entry("FR-042", "127.0.0.1", sim.sshPort(), TTransport::Ssh, "admin", "admin"), zip);
    ASSERT_TRUE(rig.answer("ECDSA-Schlüssels", QMessageBox::Yes));
    ASSERT_TRUE(rig.answer("Parametersicherung vor dem Firmwareupdate", QMessageBox::No));
    TFrmChangelog* log = rig.changelog();
    ASSERT_NE(log, nullptr);
    EXPECT_TRUE(log->mmoChangelog->toPlainText().isEmpty());
    log->btnok->click();
    ASSERT_NE(WaitForBox("Update abgeschlossen!", CLongMs), nullptr) << sim.log();
    EXPECT_EQ(rig.label("lblFirmware"), "2.4.0.3");
    EXPECT_EQ(FileText(Scratchpad(sim) + "erst.tgz"), first) << "both images are sent";
    EXPECT_EQ(FileText(Scratchpad(sim) + "zuletzt.tgz"), last);
}

TEST(FlashView, CancelledSaveStillUpdatesTheLastChangeLogShowsAndAnAbortIsAFailure) {
    SimProcess sim({"--reboot-ms", "500"});
    ASSERT_TRUE(sim.ok()) << sim.output();
    QTemporaryDir files;
    const std::string image = ImageOf(MakeUpdate(files, "2.3.1", "12"));
    const std::string zip = files.filePath("texte.zip").toStdString();
    ASSERT_TRUE(WriteZip(zip, {{"eins.txt", "Erste Fassung"},
                               {"fw.tgz", image},
                               {"zwei.txt", "Zweite Fassung"},
                               {"notes.bin", "x"}}));
    {
        FlashRig rig(Entry("FR-042", "127.0.0.1", sim.port()), zip);
        ASSERT_TRUE(rig.answer("Parametersicherung vor dem Firmwareupdate", QMessageBox::Yes));
        QFileDialog* save = rig.saveDialog();
        ASSERT_NE(save, nullptr);
        save->reject();
        TFrmChangelog* log = rig.changelog();
        ASSERT_NE(log, nullptr) << "a cancelled save dialog goes on with the update";
        EXPECT_EQ(log->mmoChangelog->toPlainText(), "Zweite Fassung");
        log->btnAbort->click();
        EXPECT_NE(WaitForBox("ACHTUNG: Das Update war nicht erfolgreich!", CLongMs), nullptr);
        EXPECT_TRUE(fs::exists(Scratchpad(sim) + "fw.tgz"));
        EXPECT_TRUE(fs::exists(Scratchpad(sim) + "notes.bin"));
        EXPECT_FALSE(fs::exists(Scratchpad(sim) + "eins.txt"));
        EXPECT_FALSE(fs::exists(Scratchpad(sim) + "zwei.txt"));
        EXPECT_EQ(sim.log().find("firmware updated"), std::string::npos);
    }
    // An archive without image is refused before anything is sent.
    const std::string bad = files.filePath("ohne-image.zip").toStdString();
    ASSERT_TRUE(WriteZip(bad, {{"liesmich.txt", "nur Text"}, {"../../ausserhalb.tgz", image}}));
    FlashRig rig(Entry("FR-042", "127.0.0.1", sim.port()), bad);
    ASSERT_TRUE(rig.answer("Parametersicherung vor dem Firmwareupdate", QMessageBox::No));
    EXPECT_NE(WaitForBox("Die Updatedatei scheint ungültig zu sein!", CLongMs), nullptr);
    EXPECT_FALSE(fs::exists(fs::path(rig.dir.path().toStdString()) / "ausserhalb.tgz"));
    EXPECT_FALSE(fs::exists(fs::path(rig.dir.path().toStdString()) / "tmp" / "ausserhalb.tgz"));
}

TEST(FlashMass, ThreeInstrumentsOneDamagedUploadTwoUpdatedWithBackupsAndASummary) {
    SimProcess a({"--reboot-ms", "500"}), b({"--reboot-ms", "500"}),
        c({"--reboot-ms", "500", "--faults", "flipup"});
    ASSERT_TRUE(a.ok() && b.ok() && c.ok());
    QTemporaryDir dir;
    const std::string zip = MakeUpdate(dir, "2.3.1", "12");
    TMainWindow w{SettingsIn(dir), FoldersIn(dir)};
    w.AddInstruments({Entry("FR-A", "127.0.0.1", a.port()), Entry("FR-B", "127.0.0.1", b.port()),
                      Entry("FR-C", "127.0.0.1", c.port())});
    w.show();
    TFrmMassFlash* m = w.OpenMassFlash();
    ASSERT_NE(m, nullptr);
    m->FRetryMs = 200;
    m->edtArchive->setText(QString::fromStdString(zip));
    m->edtBackupDir->setText(dir.filePath("sicherungen"));
    bool finished = false;
    QObject::connect(m, &TFrmMassFlash::RunFinished, [&] { finished = true; });
    int boxes = 0;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] { boxes += BoxContaining("") ? 1 : 0; });
    poll.start(50);
    ASSERT_TRUE(m->btnStart->isEnabled());
    m->btnStart->click();
    ASSERT_TRUE(WaitFor([&] { return finished; }, 2 * CLongMs));
    EXPECT_EQ(boxes, 0) << "a mass run asks nothing";
    const auto& lines = m->Run()->Lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_TRUE(lines[0].Ok && lines[1].Ok) << lines[0].Text << " / " << lines[1].Text;
    EXPECT_EQ(lines[0].Text, "Firmware 2.3.1.12");
    EXPECT_FALSE(lines[2].Ok);
    EXPECT_NE(lines[2].Text.find("Checksum mismatch"), std::string::npos) << lines[2].Text;
    for (const char* name : {"FR-A", "FR-B"})
        EXPECT_TRUE(fs::exists(dir.filePath("sicherungen").toStdString() + "/5120042_127.0.0.1_" + name +
                               "_FR-042.xml"))
            << name;
    EXPECT_TRUE(m->lblSummary->text().contains("2 von 3 Geräten aktualisiert. Fehlgeschlagen: FR-C"));
    EXPECT_TRUE(m->lstTargets->item(2, 2)->text().startsWith("Fehler"));
    EXPECT_TRUE(SaveScreenshot(*m, "flash_mass_done.png"));
}
