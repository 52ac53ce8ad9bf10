// The calibration wizard in the host against ferrosim: whole runs over TCP and SSH that store the
// calibration, write the certificate and restart the instrument, and a run that the instrument stops.
#include "GuiSupport.h"
#include "MainWindow.h"
#include "calib/FrmCalib.h"
#include "foundation/Clock.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>
#include <QTreeWidget>

#include <gtest/gtest.h>

using namespace ferro;
using namespace ferro::guitest;
using ferro::test::RunCtl;
using ferro::test::SimProcess;

namespace {

constexpr int CConnectMs = 20000;

struct CalibRig {
    QTemporaryDir dir;
    TMainWindow w{SettingsIn(dir), FoldersIn(dir)};
    QPointer<TFrmCalib> v;
    ManualClock ani{0}; // the progress bars' clock: a settling wait passes at once
    int closes = 0;

    explicit CalibRig(const TInstrument& e) {
        w.resize(1280, 800);
        w.show();
        w.AddInstruments({e});
        w.SelectInstrument(0);
        v = dynamic_cast<TFrmCalib*>(w.OpenDirect(dkcalib));
        v->SetAnimationClock(&ani);
        v->FClose = [this](TSender) { ++closes; };
        // A host key seen for the first time is trusted.
        WaitFor([&] { return BoxContaining("ECDSA-Schlüssels") || v->Established(); }, CConnectMs);
        if (QMessageBox* box = BoxContaining("ECDSA-Schlüssels")) box->button(QMessageBox::Yes)->click();
    }
    ~CalibRig() { CloseAllBoxes(); }

    template <class T = QPushButton> T* get(const char* name) { return v->findChild<T*>(name); }
    bool shown(const char* name) { return get<QWidget>(name) && get<QWidget>(name)->isVisible(); }
    QString page() { return get<QTabWidget>("tbcCalib")->currentWidget()->objectName(); }
    // Lets replies come and waits pass until `done`.
    bool drive(const std::function<bool()>& done, int ms = 20000) {
        return WaitFor(
            [&] {
                if (get<QTimer>("fltnmtnProgress")->isActive()) ani.advance(31000);
                return done();
            },
            ms);
    }
    // "Weiter" and on to the next step that waits for the user.
    bool next(int untilStep) {
        if (!shown("rctnglNext")) return false;
        get("rctnglNext")->click();
        return drive([&] { return v->Run().Step() == untilStep && shown("lytbcknxt"); });
    }
    std::string lua(const SimProcess& sim, const std::string& line) {
        return RunCtl({"--port", std::to_string(sim.port()), "lua", line}).out;
    }
};

// A whole good run; returns the text of the certificate.
std::string GoodRun(CalibRig& r, const SimProcess& sim, bool pictures) {
    EXPECT_TRUE(r.drive([&] { return r.get("sbtnStart")->isEnabled(); }, CConnectMs));
    if (pictures) SaveScreenshot(*r.v, "calib_start.png");
    r.get("sbtnStart")->click();
    EXPECT_TRUE(r.drive([&] { return r.v->Run().Step() == 1 && r.shown("lytbcknxt"); }));
    EXPECT_EQ(r.page(), "TbtmEinrichtung");
    EXPECT_EQ(r.get<QLineEdit>("edtSN")->text(), "5120042");
    r.get<QLineEdit>("edtUser")->setText("Erika Mustermann");
    r.get<QLineEdit>("edtModel1")->setText("Fluke 6105A");
    if (pictures) SaveScreenshot(*r.v, "calib_einrichtung.png");
    EXPECT_TRUE(r.next(2));
    r.get("btnStandardwerte")->click();
    EXPECT_EQ(r.get<QLineEdit>("edtAirTemp")->text(), "15 °C ... 35 °C");
    EXPECT_TRUE(r.get<QLineEdit>("edtModel1")->text().isEmpty());
    if (pictures) SaveScreenshot(*r.v, "calib_bedingungen.png");
    EXPECT_TRUE(r.next(3));
    EXPECT_TRUE(r.next(4));
    EXPECT_TRUE(r.next(9));
    if (pictures) SaveScreenshot(*r.v, "calib_anschluss.png");
    EXPECT_TRUE(r.next(11));
    r.get<QLineEdit>("edtSpannung")->setText("100,000");
    r.get("rctnglNext")->click();
    EXPECT_TRUE(r.drive([&] { return r.shown("rctngSaveExit"); }, 30000));
    if (pictures) SaveScreenshot(*r.v, "calib_ergebnis.png");
    EXPECT_EQ(r.get<QLabel>("txtSucc")->text(), "Kalibration erfolgreich!");
    int ok = 0;
    auto* list = r.get<QTreeWidget>("LBStatus");
    for (int g = 0; g < 2; ++g)
        for (int c = 0; c < 8; ++c)
            ok += list->topLevelItem(g)->child(c)->data(0, Qt::UserRole).toInt() == 3;
    EXPECT_EQ(ok, 16);
    for (const char* lamp : {"rrsrc", "rrFrequ", "rrNull", "rrSrcCon", "rrRef", "rrCheck"})
        EXPECT_EQ(r.get<QWidget>(lamp)->property("state").toInt(), 2) << lamp;

    r.get("rctngSaveExit")->click();
    EXPECT_TRUE(r.drive([&] { return r.closes > 0; }));
    EXPECT_EQ(r.get<QWidget>("rrFinal")->property("state").toInt(), 2);
    const std::string pdf = r.v->CertificateFile();
    EXPECT_TRUE(QFile::exists(QString::fromStdString(pdf))) << pdf;
    QProcess text;
    text.start("pdftotext", {QString::fromStdString(pdf), "-"});
    text.waitForFinished(10000);
    if (pictures) {
        QProcess::execute("pdftoppm", {"-png", "-r", "60", "-singlefile", QString::fromStdString(pdf),
                                       FERRO_BINARY_DIR "/screenshots/calib_certificate"});
    }
    // The instrument restarted with the new calibration, and kept the time it took from us.
    EXPECT_TRUE(WaitFor([&] { return !r.lua(sim, "print(uti.stat().calibration.date)").empty(); }, 10000));
    const std::string tunnel =
        r.lua(sim, "local t = uti.stat().time.tunnel print(t.replies, math.abs(t.offsetMs))");
    int replies = 0, offset = 99999;
    EXPECT_EQ(std::sscanf(tunnel.c_str(), "%d %d", &replies, &offset), 2) << tunnel;
    EXPECT_GE(replies, 1);
    EXPECT_LT(offset, 50);
    EXPECT_NE(sim.log().find("ferrosim: restart"), std::string::npos);
    return text.readAllStandardOutput().toStdString();
}

int Count(const std::string& s, const std::string& part) {
    int n = 0;
    for (size_t at = s.find(part); at != std::string::npos; at = s.find(part, at + 1))
        ++n;
    return n;
}

} // namespace

TEST(CalibWizard, AGoodRunOverTcpStoresCertifiesAndRestarts) {
    SimProcess sim;
    ASSERT_TRUE(sim.ok()) << sim.output();
    CalibRig r(Entry("ferrosim", "127.0.0.1", sim.port()));
    const std::string cert = GoodRun(r, sim, true);
    EXPECT_NE(cert.find("Kalibrierschein"), std::string::npos) << cert;
    EXPECT_NE(cert.find("5120042"), std::string::npos);
    EXPECT_NE(cert.find("Erika Mustermann"), std::string::npos);
    EXPECT_EQ(Count(cert, "in Ordnung"), 16) << cert;
    EXPECT_NE(sim.log().find("ntp reply, offset"), std::string::npos);
}

TEST(CalibWizard, AGoodRunOverSshTakesTheSameWay) {
    SimProcess sim({"--ssh-port", "0"});
    ASSERT_TRUE(sim.ok()) << sim.output();
    CalibRig r(Entry("ferrosim", "127.0.0.1", sim.sshPort(), TTransport::Ssh, "admin", "admin"));
    const std::string cert = GoodRun(r, sim, false);
    EXPECT_EQ(Count(cert, "in Ordnung"), 16) << cert;
}

TEST(CalibWizard, AFrequencyOutOfToleranceStopsTheRunAndStoresNothing) {
    SimProcess sim({"--faults", "cal-freq"});
    ASSERT_TRUE(sim.ok()) << sim.output();
    CalibRig r(Entry("ferrosim", "127.0.0.1", sim.port()));
    ASSERT_TRUE(r.drive([&] { return r.get("sbtnStart")->isEnabled(); }, CConnectMs));
    r.get("sbtnStart")->click();
    ASSERT_TRUE(r.drive([&] { return r.v->Run().Step() == 1 && r.shown("lytbcknxt"); }));
    for (int step : {2, 3, 4, 9, 11})
        ASSERT_TRUE(r.next(step)) << step;
    r.get("rctnglNext")->click();
    ASSERT_TRUE(r.drive([&] { return r.v->Run().Step() == 0 && r.page() == "tbtmStart"; }));
    EXPECT_EQ(r.get<QLabel>("txtError")->text(), "Frequenz außer Toleranz");
    EXPECT_TRUE(r.shown("rctnglAni"));
    EXPECT_FALSE(r.shown("lytbcknxt"));
    SaveScreenshot(*r.v, "calib_fehler.png");
    EXPECT_EQ(QString::fromStdString(r.lua(sim, "print(uti.stat().calibration.date)")).trimmed(), "");
    // The start button begins again and discards the open calibration first.
    r.get("sbtnStart")->click();
    EXPECT_TRUE(r.drive([&] { return r.v->Run().Step() == 1 && r.shown("lytbcknxt"); }));
    EXPECT_TRUE(r.get<QLabel>("txtError")->text().isEmpty());
}
