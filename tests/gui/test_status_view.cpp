// The device status view against ferrosim: the status read through the scratchpad, the pages and
// their refresh, a capture started, listed, downloaded and removed through the capture page, and
// the Lua console.
#include "GuiSupport.h"
#include "MainWindow.h"
#include "status/FormStatus.h"
#include "status/FrameStatDrives.h"
#include "status/FrameStatLUA.h"
#include "status/FrameStatMain.h"
#include "status/FrameStatPCAP.h"
#include <cmath>

#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QTest>
#include <QTreeWidget>

#include <gtest/gtest.h>

#include <filesystem>

using namespace ferro;
using namespace ferro::guitest;
using ferro::test::RunCtl;
using ferro::test::SimProcess;

namespace {

std::vector<std::string> WithoutHistory(std::vector<std::string> args) {
    args.insert(args.end(), {"--history-days", "0"});
    return args;
}

struct StatusRig {
    SimProcess sim;
    QTemporaryDir dir;
    TMainWindow w{SettingsIn(dir), FoldersIn(dir)};
    QPointer<TfrmStatus> v;

    explicit StatusRig(std::vector<std::string> simArgs = {}) : sim(WithoutHistory(simArgs)) {
        w.resize(1280, 800);
        w.show();
        w.AddInstruments({Entry("ferrosim", "127.0.0.1", sim.port())});
        w.SelectInstrument(0);
        v = dynamic_cast<TfrmStatus*>(w.OpenDirect(dkstatus));
    }
    ~StatusRig() { CloseAllBoxes(); }
    QPushButton* button(const char* name) const { return v->findChild<QPushButton*>(name); }
    bool read() const {
        return WaitFor([&] { return v && button("btnUebersicht")->isEnabled(); }, 30000);
    }
    QString row(QWidget* page, const QString& name) const {
        auto* e = page->findChild<QLineEdit*>("val_" + name);
        return e ? e->text() : "<none>";
    }
};

} // namespace

TEST(StatusView, ReadsTheStatusFillsEveryPageAndARefreshKeepsThePageButDropsGoneRows) {
    StatusRig rig;
    ASSERT_TRUE(rig.sim.ok()) << rig.sim.output();
    ASSERT_NE(rig.v, nullptr);
    ASSERT_TRUE(rig.read()) << rig.w.LogText().toStdString();
    EXPECT_EQ(rig.v->ActiveFrame(), rig.v->FFrameMain);
    TFrameMain* main = rig.v->FFrameMain;
    EXPECT_EQ(main->edtGeraet->text(), "FR-042");
    EXPECT_EQ(main->edtAnlage->text(), "Umspannwerk Nord");
    EXPECT_EQ(main->edtSerial->text(), "5120042");
    EXPECT_EQ(main->edtFirmware->text(), "2.2.1");
    EXPECT_TRUE(
        main->edtTime->text().contains(QRegularExpression("^\\d\\d\\.\\d\\d\\.\\d{4} \\d\\d:\\d\\d:\\d\\d")));
    EXPECT_GT(main->pbSystem->value(), 0);
    EXPECT_EQ(main->lblSystemText->text(), QString("%1%").arg(main->pbSystem->value()));
    EXPECT_EQ(main->lblSDKarteText->text(), QString("%1%").arg(main->pbSDKarte->value()));
    TFrameDrives* drives = rig.v->FFrameDrives;
    EXPECT_EQ(drives->txtRamTotalVal->text(), "64 MB");
    EXPECT_FALSE(drives->FBMPFlash.isNull());
    EXPECT_NE(drives->FBMPFlash.pixelColor(drives->FBMPFlash.width() / 2, 20).alpha(), 0)
        << "the ring starts at the top";
    {
        // Used, free and bad close the ring: just left of the top is painted too.
        const QImage& b = drives->FBMPFlash;
        const double r = b.width() / 2.0 - 40 + 19, a = -93 * M_PI / 180;
        EXPECT_NE(
            b.pixelColor(int(b.width() / 2.0 + r * std::cos(a)), int(b.height() / 2.0 + r * std::sin(a)))
                .alpha(),
            0);
    }

    QStringList pages = rig.v->Pages();
    ASSERT_EQ(pages.size(), 8);
    const char* shots[8] = {"status_overview.png", "status_ccci.png",  "status_drives.png",
                            "status_system.png",   "status_scada.png", "status_time.png",
                            "status_pcap.png",     "status_lua.png"};
    for (int i = 0; i < 8; ++i) {
        rig.v->ShowPage(i);
        QApplication::processEvents();
        SaveScreenshot(rig.w, shots[i]);
    }
    rig.v->ShowPage(5);
    QWidget* ntp = rig.v->ActiveFrame();
    EXPECT_EQ(rig.row(ntp, "syncSrc"), "NTP");
    EXPECT_TRUE(rig.row(ntp, "utc.soc").endsWith("(UTC)"));
    EXPECT_EQ(rig.row(ntp, "Zeitzone"), "1");

    // A second client shows as a worker while it is connected, and its row goes with it.
    rig.v->ShowPage(1);
    QWidget* ccci = rig.v->ActiveFrame();
    TConnectionRec rec;
    rec.Port = rig.sim.port();
    rec.Folders.Tmp = rig.sim.tempDir() + "/";
    auto other = std::make_unique<TDeviceSession>(rec);
    ASSERT_TRUE(other->OpenAndWait(30000));
    rig.v->refreshView(nullptr);
    ASSERT_TRUE(rig.read());
    EXPECT_EQ(rig.row(ccci, "ccciWorker.sessions"), "2");
    other->CloseAndWait();
    other.reset();
    // The instrument notices the closed line in its own time: refreshed until it has.
    for (int tries = 0; tries < 20; ++tries) {
        ccci->findChild<QPushButton*>("btnRefresh")->click();
        ASSERT_TRUE(rig.read());
        if (rig.row(ccci, "ccciWorker.sessions") == "1") break;
        QTest::qWait(250);
    }
    EXPECT_EQ(rig.v->ActiveFrame(), ccci) << "a refresh keeps the page on view";
    EXPECT_EQ(rig.row(ccci, "ccciWorker.sessions"), "1");
    EXPECT_EQ(ccci->findChildren<QLineEdit*>(QRegularExpression("^val_ccciWorker\\.\\d+\\.peer$")).size(), 1)
        << "the gone worker's rows are dropped";
}

TEST(StatusView, CaptureStartedListedDownloadedAndRemovedThroughThePageAndTheLuaConsole) {
    StatusRig rig;
    ASSERT_TRUE(rig.sim.ok()) << rig.sim.output();
    ASSERT_TRUE(rig.read());

    // The console: a reply goes onto the memo's last line; with an empty memo nothing is shown.
    TFrameLUA* lua = rig.v->FFrameLUA;
    rig.v->ShowPage(7);
    lua->WriteToMemo("verloren");
    EXPECT_TRUE(lua->mmoOutput->toPlainText().isEmpty());
    lua->cbbCommands->setCurrentIndex(0);
    EXPECT_EQ(lua->edtCommand->text(), "pq.getEvtOscHpCnt()");
    lua->edtCommand->setText("print(6*7)");
    QTest::keyClick(lua->edtCommand, Qt::Key_Return);
    EXPECT_FALSE(lua->btnSend->isEnabled());
    ASSERT_TRUE(WaitFor([&] { return lua->btnSend->isEnabled(); }, 10000));
    EXPECT_EQ(lua->mmoOutput->toPlainText().toStdString(), "Send: print(6*7)\n42\n");
    SaveScreenshot(rig.w, "status_lua.png");

    TFramePCAP* pcap = rig.v->FFramePCAP;
    pcap->FNow = [] { return QDateTime(QDate(2026, 11, 23), QTime(6, 0, 0)); };
    rig.v->ShowPage(6);
    EXPECT_EQ(pcap->edtFinalCommand->text(),
              "ips.pcapStart(\"emac\", \"/mnt/flashdrive0/data/261123_060000.pcap\", \"1h\")");
    pcap->nboxSeconds->setValue(30);
    EXPECT_TRUE(pcap->edtFinalCommand->text().endsWith("\"1h30s\")"));
    pcap->cboxDuration->setCurrentIndex(1);
    EXPECT_FALSE(pcap->nboxHours->isEnabled());
    pcap->sboxDuraPakets->setValue(20);
    pcap->edtFilter->setText("127.0.0.1");
    pcap->btnAddFilter->click();
    EXPECT_EQ(pcap->edtFinalCommand->text(),
              "ips.pcapStart(\"emac\", \"/mnt/flashdrive0/data/261123_060000.pcap\", 20, \"all@127.0.0.1\")");
    pcap->btnSend->click();
    // The instrument's port is busy with other clients while the capture runs.
    ASSERT_TRUE(WaitFor([&] { return pcap->ListView1->topLevelItemCount() == 1; }, 10000));
    EXPECT_EQ(RunCtl({"--port", std::to_string(rig.sim.port()), "identify"}).code, 0);
    pcap->Button1->click();
    ASSERT_TRUE(WaitFor([&] { return pcap->ListView1->topLevelItemCount() == 1; }, 10000));
    SaveScreenshot(rig.w, "status_pcap_list.png");
    QTreeWidgetItem* item = pcap->ListView1->topLevelItem(0);
    EXPECT_EQ(item->text(0), "261123_060000.pcap");
    EXPECT_TRUE(item->text(1).startsWith("file"));

    const std::string saved = rig.dir.filePath("heim.pcap").toStdString();
    rig.v->FAskSavePath = [&](const std::string&) { return saved; };
    pcap->ItemClickEx(item, true, QPoint(0, 0));
    pcap->PopupMenu1->hide();
    pcap->miDownloadPCAP->trigger();
    ASSERT_TRUE(WaitFor([&] { return rig.w.LogText().contains("PCAP Saved to"); }, 15000))
        << rig.w.LogText().toStdString();
    EXPECT_TRUE(rig.w.LogText().contains(QString::fromStdString("PCAP Saved to " + saved)));
    QProcess dump;
    dump.start("tcpdump", {"-nn", "-r", QString::fromStdString(saved)});
    if (dump.waitForStarted(5000)) {
        ASSERT_TRUE(dump.waitForFinished(20000));
        EXPECT_EQ(QString(dump.readAllStandardOutput()).count('\n'), 20);
        EXPECT_FALSE(QString(dump.readAllStandardError()).contains("warning", Qt::CaseInsensitive));
    }
    pcap->miDeletePCAP->trigger();
    ASSERT_TRUE(WaitFor([&] { return pcap->ListView1->topLevelItemCount() == 0; }, 10000));
    EXPECT_FALSE(std::filesystem::exists(rig.sim.root() + "/flashdrive0/data/261123_060000.pcap"));
}

TEST(StatusView, AnInstrumentWithoutACardHidesTheCardGroupAndShowsItsWord) {
    QTemporaryDir profileDir;
    const QString profile = profileDir.filePath("profile.json");
    QFile f(profile);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(R"({"device": "ohne Karte", "sdCard": false})");
    f.close();
    StatusRig rig({"--profile", profile.toStdString()});
    ASSERT_TRUE(rig.sim.ok()) << rig.sim.output();
    ASSERT_TRUE(rig.read());
    EXPECT_EQ(rig.v->FFrameMain->edtGeraet->text(), "ohne Karte");
    EXPECT_EQ(rig.v->FFrameMain->lblSDKarteText->text(), "N/A");
    EXPECT_EQ(rig.v->FFrameMain->pbSDKarte->value(), 0);
    rig.v->ShowPage(2);
    EXPECT_TRUE(rig.v->FFrameDrives->grpboxSD->isHidden());
    EXPECT_FALSE(rig.v->FFrameDrives->findChild<QGroupBox*>("grpboxRam")->isHidden());
}
