// The basic settings and time pages of the parameter form against ferrosim: mains form, nominal
// voltage, a 20000/100 V transformer, a harmonic limit, recorder lengths in ms and the RCM in mA typed
// on the pages, the time zone chosen; sent; ferroctl reads the document's units back and the
// instrument's identity reports the zone.
#include "GuiSupport.h"
#include "MainWindow.h"
#include "ParaGridSupport.h"
#include "forms/FormPara.h"
#include "forms/FormParaSettings.h"
#include "forms/FormParaTime.h"

#include <QComboBox>
#include <QLineEdit>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QToolButton>

#include <gtest/gtest.h>

#include <map>
#include <sstream>

using namespace ferro;
using namespace ferro::guitest;
using ferro::test::CtlResult;
using ferro::test::RunCtl;
using ferro::test::SimProcess;

namespace {

constexpr int kWaitMs = 30000;

void Type(QLineEdit* E, const QString& Text) {
    ASSERT_TRUE(E) << "control missing";
    E->setText(Text);
    emit E->editingFinished();
}

// id -> value of the instrument's setup, as `ferroctl params --csv` lists it at level 0.
std::map<std::string, std::string> Params(int Port) {
    CtlResult r = RunCtl({"--port", std::to_string(Port), "params", "--level", "0", "--csv"});
    EXPECT_EQ(r.code, 0) << r.err;
    std::map<std::string, std::string> v;
    std::istringstream in(r.out);
    for (std::string line; std::getline(in, line);) {
        std::vector<std::string> f(1);
        bool quoted = false;
        for (char c : line) {
            if (c == '"')
                quoted = !quoted;
            else if (c == ',' && !quoted)
                f.emplace_back();
            else if (c != '\r')
                f.back() += c;
        }
        if (f.size() >= 4) v[f[1]] = f[3];
    }
    return v;
}

std::string IdentifyZone(int Port) {
    CtlResult r = RunCtl({"--port", std::to_string(Port), "identify"});
    const auto at = r.out.find("\"timeZone\":\"");
    return at == std::string::npos ? r.out : r.out.substr(at + 12, 6);
}

bool SendAndReload(TFormPara& F) {
    F.btnSend->click();
    const bool done = WaitForBox("Übertragung abgeschlossen", kWaitMs) != nullptr;
    CloseAllBoxes();
    F.btnSend->click(); // "Reload"
    return done &&
           WaitFor([&] { return F.btnSend->text() == "Senden" && F.SettingsPages()->isEnabled(); }, kWaitMs);
}

void ChooseZone(TParaTimePage& T, const QString& Name) {
    const int i = T.cbbZeitzone->findData(Name);
    ASSERT_GE(i, 0) << Name.toStdString();
    T.cbbZeitzone->setCurrentIndex(i);
    emit T.cbbZeitzone->activated(i);
}

} // namespace

TEST(FormParaSettings, BasicSettingsAndTimeZoneSentAndReadBack) {
    // A German desk: the pages show and take decimal commas; the locale before returns afterwards.
    struct GermanDesk {
        const QLocale before;
        GermanDesk() { QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany)); }
        ~GermanDesk() { QLocale::setDefault(before); }
    } german;
    SimProcess sim;
    ASSERT_TRUE(sim.ok()) << sim.output();
    QTemporaryDir dir;
    TMainWindow w(SettingsIn(dir), FoldersIn(dir));
    QPointer<TFormPara> f = OpenParaOn(w, sim.port());
    ASSERT_TRUE(f);
    ASSERT_TRUE(WaitFor([&] { return f->Document().Loaded() && f->SettingsPages()->isEnabled(); }, kWaitMs));
    TParaSettings& s = *f->SettingsPages();
    ASSERT_TRUE(s.isVisible()) << "level 0 shows the settings pages";
    EXPECT_LE(w.minimumSizeHint().width(), 1280) << "the pages fit a 1280x800 screen";
    auto edit = [&](const char* Name) { return s.findChild<QLineEdit*>(Name); };

    // Three wires: ratios back to 1, 100 V between lines, the 100 V range; then 20000/100 V at 20 kV.
    s.findChild<QRadioButton*>("rdbtn_4261413948")->click();
    EXPECT_EQ(s.edtUL[0]->text(), "1");
    EXPECT_EQ(s.edtNennspannungLL->text(), "100");
    EXPECT_TRUE(s.edtNennspannungLL->isEnabled());
    EXPECT_FALSE(s.edtNennspannungLE->isEnabled());
    EXPECT_EQ(s.findChild<QComboBox*>("CmbBox_234946560")->currentText(), "100 V");
    for (QLineEdit* e : s.edtUL)
        Type(e, "200");
    Type(s.edtNennspannungLL, "20000");
    EXPECT_TRUE(s.edtNennspannungLE->text().startsWith("11547,"))
        << s.edtNennspannungLE->text().toStdString();
    SaveScreenshot(w, "para_settings_basic.png");

    // Harmonic order 50 on the limits page; recorder lengths in ms; the RCM in mA.
    s.setCurrentIndex(1);
    s.spnboxHarm->setValue(50);
    EXPECT_EQ(s.edtharmonicLimit->property("FerroTag").toUInt(), 0x0D143000u);
    Type(s.edtharmonicLimit, "2,5");
    SaveScreenshot(w, "para_settings_limits.png");
    s.setCurrentIndex(3);
    Type(edit("edt_285212672"), "400"); // 40 half periods at 50 Hz
    Type(edit("edt1_253165568"), "12");
    EXPECT_EQ(edit("edt0_253165568")->text(), "12") << "the other recorder page shows the same threshold";
    SaveScreenshot(w, "para_settings_trms.png");
    s.setCurrentIndex(2);
    Type(edit("edt_268435456"), "1");
    EXPECT_TRUE(WaitForBox("Minimaler Wert: 25"));
    CloseAllBoxes();
    EXPECT_EQ(edit("edt_268435456")->text(), "25") << "256 samples at 10240/s";
    SaveScreenshot(w, "para_settings_osci.png");
    s.setCurrentIndex(6);
    Type(edit("edt_335740928"), "50");
    EXPECT_EQ(s.edtBADPri->text(), "30000") << "600 x 50 mA";

    // The time page: NTP as the instrument has it, then manual with its live clock, then DCF 77.
    s.setCurrentIndex(5);
    TParaTimePage& t = *s.TimePage();
    ASSERT_GT(t.cbbZeitzone->count(), 300);
    EXPECT_EQ(t.ActiveTimeFrame()->objectName(), "TtimeControlframe_NTP");
    ChooseZone(t, "Asia/Kolkata");
    SaveScreenshot(w, "para_time_ntp.png");
    t.CmbBox_4261413634->setCurrentIndex(0);
    ASSERT_EQ(t.ActiveTimeFrame()->objectName(), "TtimeControlframe_MANUAL");
    EXPECT_TRUE(WaitFor([&] { return !t.edtDeviceTime->text().isEmpty(); }, kWaitMs)) << "time stream";
    ASSERT_TRUE(t.btnSendPCTime->isEnabled()) << "revision 2.2.1.5 sets the time from the PC";
    t.btnSendPCTime->click();
    EXPECT_TRUE(WaitFor([&] { return t.btnSendPCTime->isEnabled() && !t.andctrTime->isVisible(); }, kWaitMs));
    SaveScreenshot(w, "para_time_manual.png");
    t.CmbBox_4261413634->setCurrentIndex(1);
    EXPECT_EQ(t.ActiveTimeFrame()->objectName(), "TtimeControlframe_DCF77");
    EXPECT_FALSE(t.StreamActive());
    SaveScreenshot(w, "para_time_dcf77.png");

    ASSERT_TRUE(SendAndReload(*f));
    std::map<std::string, std::string> p = Params(sim.port());
    EXPECT_EQ(p["235143168"], "2") << "three wires";
    EXPECT_EQ(p["235470848"], "200") << "leading voltage factor";
    EXPECT_EQ(p["235602688"], "1");
    EXPECT_EQ(p["218300416"], "100") << "20000 V = 100 % of 100 V x 200";
    EXPECT_EQ(p["235667456"], "100");
    EXPECT_EQ(p["234946560"], "4");
    EXPECT_EQ(p["219426816"], "2.5");
    EXPECT_EQ(p["285212672"], "40") << "half periods";
    EXPECT_EQ(p["268435456"], "256") << "samples";
    EXPECT_EQ(p["253165568"], "12");
    EXPECT_EQ(p["335740928"], "0.05") << "A";
    EXPECT_EQ(p["4261413634"], "1");
    EXPECT_EQ(p["4261413639"], "5");
    EXPECT_EQ(p["4261413640"], "30");
    EXPECT_EQ(IdentifyZone(sim.port()), "+05:30");

    // Europe/Berlin after the reload: found again in the document, then chosen and sent.
    s.setCurrentIndex(5);
    ASSERT_GE(t.cbbZeitzone->currentIndex(), 0);
    EXPECT_EQ(t.TimeZones()[size_t(t.cbbZeitzone->currentIndex())].Settings.Bias, -330);
    ChooseZone(t, "Europe/Berlin");
    ASSERT_TRUE(SendAndReload(*f));
    p = Params(sim.port());
    EXPECT_EQ(p["4261413638"], "0");
    EXPECT_EQ(p["4261413639"], "1");
    EXPECT_EQ(p["4261413641"], "1");
    EXPECT_EQ(p["4261413647"], "25");
    EXPECT_EQ(IdentifyZone(sim.port()), "+01:00");

    // An unplausible transformer set keeps the user on the first page and the document unchanged.
    s.setCurrentIndex(0);
    for (QLineEdit* e : s.edtUL)
        Type(e, "0");
    f->btnSend->click();
    EXPECT_TRUE(WaitForBox("unplausibel"));
    CloseAllBoxes();
    EXPECT_EQ(f->btnSend->text(), "Senden") << "nothing sent";
    EXPECT_EQ(Params(sim.port())["235470848"], "200");
}
