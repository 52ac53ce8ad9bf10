// The live view against ferrosim: each view asks for its stream object and shows the supply's
// values, a silent stream is restarted, and the display mirror's keys move the instrument's menu.
#include "GuiSupport.h"
#include "charts/PQPaintBoxCrvTime.h"
#include "charts/PQPaintBoxHarm.h"
#include "charts/PQPaintBoxVecDiag.h"
#include "forms/FormVisu.h"
#include "foundation/Clock.h"

#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace ferro;
using namespace ferro::guitest;
using ferro::test::SimProcess;

namespace {

struct LiveRig {
    QTemporaryDir dir;
    std::vector<std::string> log; // before the view: a view being torn down still logs
    TFormVisu view;

    explicit LiveRig(const SimProcess& sim) {
        TConnectionRec rec;
        rec.Port = sim.port();
        rec.Folders = FoldersIn(dir);
        for (const std::string& f : {rec.Folders.Data, rec.Folders.Ini, rec.Folders.Tmp})
            QDir().mkpath(QString::fromStdString(f));
        view.FOnLogCallBack = [this](QObject*, const std::string& t, bool) { log.push_back(t); };
        view.resize(1000, 640);
        view.show();
        view.Open(rec);
    }
    ~LiveRig() {
        view.CloseView();
        WaitFor([&] { return !view.Session() || !view.Established(); }, 5000);
    }
    bool open(const char* button) {
        auto* b = view.findChild<QToolButton*>(button);
        if (!b || !b->isVisible() || !b->isEnabled()) return false;
        b->click();
        return view.actMenuBack->isEnabled();
    }
    QString field(const char* name) { return view.findChild<QLineEdit*>(name)->text(); }
    void back() { view.actMenuBack->trigger(); }
};

double Number(const QString& text) {
    return text.section(' ', 0, 0).toDouble();
}

// Which of the four menu entries the instrument's screen shows inverted (light), -1 if none.
int HighlightedEntry(const QPixmap& screen) {
    const QImage img = screen.toImage();
    for (int i = 0; i < 4; ++i)
        if (qGray(img.pixel(8, 34 + i * 30 + 3)) > 200) return i;
    return -1;
}

} // namespace

TEST(LiveE2E, EachViewAsksForItsObjectAndShowsTheSupply) {
    QTemporaryDir root;
    SimProcess sim({}, SteadyRoot(root));
    ASSERT_TRUE(sim.ok()) << sim.output();
    LiveRig rig(sim);
    ASSERT_TRUE(WaitFor([&] { return rig.view.Established(); }, 20000));
    // A TCP link offers the waveform views; the fixture's device type has a display.
    EXPECT_TRUE(rig.view.findChild<QToolButton*>("BtnOsci")->isVisible());
    EXPECT_TRUE(rig.view.findChild<QToolButton*>("btnDisplay")->isVisible());

    ASSERT_TRUE(rig.open("BtnPanel"));
    EXPECT_FALSE(rig.open("BtnVector")) << "a second view while one is open";
    ASSERT_TRUE(WaitFor([&] { return !rig.field("edtUL1").isEmpty(); }, 10000));
    // The fixture's supply: 230 V with 0.8 % unbalance, 100 A, 50 Hz drifting by 0.03 Hz.
    EXPECT_NEAR(Number(rig.field("edtUL1")), 230, 230 * 0.01);
    EXPECT_TRUE(rig.field("edtUL1").endsWith(" V"));
    EXPECT_NEAR(Number(rig.field("edtF")), 50, 0.05);
    EXPECT_TRUE(rig.field("edtPtotal").endsWith(" kW")) << rig.field("edtPtotal").toStdString();
    SaveScreenshot(rig.view, "live_panel.png");
    rig.back();

    ASSERT_TRUE(rig.open("BtnOsci"));
    ASSERT_TRUE(
        WaitFor([&] { return rig.view.FReaders.Oszi && rig.view.FReaders.Oszi->GetMessCnt() > 0; }, 10000));
    auto* scope = rig.view.FReaders.Oszi;
    EXPECT_EQ(scope->GetCrvCnt(), 4); // U1, U2, U3 and I1 are pressed at first
    EXPECT_EQ(rig.view.FReaders.FOsziArrNumbers, (std::vector<int>{0, 1, 2, 7}));
    EXPECT_NEAR(scope->YRec(0).FSclMax, 230 * std::sqrt(2.0), 80); // scaled to the first block
    SaveScreenshot(rig.view, "live_oscilloscope.png");
    rig.back();
    EXPECT_EQ(rig.view.FReaders.Oszi, nullptr);

    ASSERT_TRUE(rig.open("BtnFFT"));
    ASSERT_TRUE(
        WaitFor([&] { return rig.view.FReaders.FFT && rig.view.FReaders.FFT->GetMessCnt() > 0; }, 10000));
    auto* fft = rig.view.FReaders.FFT;
    const int l50 = int(std::lround(50 / fft->FFTCls().GetFreqDif()));
    double line = 0;
    for (int k = l50 - 1; k <= l50 + 1; ++k)
        line = std::max(line, double(fft->MessLst().Val(k, 0)));
    EXPECT_NEAR(line, 230, 230 * 0.05); // the 50 Hz line in rms
    SaveScreenshot(rig.view, "live_spectrum.png");
    rig.back();

    ASSERT_TRUE(rig.open("BtnVector"));
    ASSERT_TRUE(WaitFor(
        [&] { return rig.view.FReaders.Vect && rig.view.FReaders.Vect->MagAngle(vpU1E).Magn > 0; }, 10000));
    EXPECT_NEAR(rig.view.FReaders.Vect->MagAngle(vpU1E).Magn, 230, 5);
    EXPECT_NEAR(rig.view.FReaders.Vect->MagAngle(vpI1).Magn, 100, 5);
    SaveScreenshot(rig.view, "live_phasors.png");
    rig.back();

    ASSERT_TRUE(rig.open("BtnHrmULE"));
    ASSERT_TRUE(
        WaitFor([&] { return rig.view.FReaders.Hrm && rig.view.FReaders.Hrm->HrmVal()[0][5] > 0; }, 10000));
    EXPECT_NEAR(rig.view.FReaders.Hrm->HrmVal()[0][5], 3, 0.3); // the fixture's 3 % of 5th
    SaveScreenshot(rig.view, "live_harmonics.png");
    rig.back();
}

TEST(LiveE2E, ASilentStreamIsRestartedAfterTenSeconds) {
    // Every request for the next block is swallowed: only the first block comes.
    SimProcess sim({"--faults", "drop:4:2"});
    ASSERT_TRUE(sim.ok()) << sim.output();
    LiveRig rig(sim);
    ASSERT_TRUE(WaitFor([&] { return rig.view.Established(); }, 20000));
    ASSERT_TRUE(rig.open("BtnPanel"));
    ASSERT_TRUE(WaitFor([&] { return !rig.field("edtUL1").isEmpty(); }, 10000));
    ASSERT_TRUE(WaitFor([&] { return rig.view.Session()->Link().SendList().empty(); }, 5000));

    ManualClock manual(ferro::clock().nowMs());
    setClock(&manual);
    rig.view.DispTimer();
    EXPECT_FALSE(AnyContains(rig.log, "Trying to restart Stream")) << "not before ten seconds";
    manual.advance(10001);
    rig.view.DispTimer();
    setClock(nullptr);
    EXPECT_TRUE(AnyContains(rig.log, "Trying to restart Stream"));
    // A second later the stream is asked for anew and its first block comes again.
    rig.view.findChild<QLineEdit*>("edtUL1")->clear();
    EXPECT_TRUE(WaitFor([&] { return !rig.field("edtUL1").isEmpty(); }, 10000));

    sim.stop();
    ASSERT_TRUE(WaitFor([&] { return !rig.view.Session()->Link().IsConnected(); }, 10000));
    rig.view.DispTimer();
    EXPECT_TRUE(AnyContains(rig.log, "Connection lost"));
}

TEST(LiveE2E, TheDisplayMirrorsTheInstrumentsMenuAndItsKeysMoveIt) {
    SimProcess sim;
    ASSERT_TRUE(sim.ok()) << sim.output();
    LiveRig rig(sim);
    ASSERT_TRUE(WaitFor([&] { return rig.view.Established(); }, 20000));
    auto* screen = rig.view.findChild<QLabel*>("imgDisp");
    rig.view.findChild<QToolButton*>("btnDisplay")->click();
    ASSERT_TRUE(WaitFor([&] { return rig.view.FPictures >= 1; }, 10000));
    EXPECT_EQ(HighlightedEntry(screen->pixmap()), 0);

    // Three presses of the down key, one by the keyboard: the menu moves to its fourth entry.
    auto* down = rig.view.findChild<QPushButton*>("rctnglbot");
    down->click();
    down->click();
    int key = Qt::Key_Down;
    QChar none;
    rig.view.NewOnKeyDown(&rig.view, key, none, Qt::NoModifier);
    EXPECT_EQ(key, 0);
    EXPECT_TRUE(WaitFor([&] { return HighlightedEntry(screen->pixmap()) == 3; }, 10000));
    SaveScreenshot(rig.view, "live_display.png");

    // Leaving the page while the next request waits its half second: no further picture is asked for.
    const int seen = rig.view.FPictures;
    ASSERT_TRUE(WaitFor([&] { return rig.view.FPictures > seen; }, 5000));
    rig.back();
    const int left = rig.view.FPictures;
    QTest::qWait(800); // longer than the half second the next request waits
    EXPECT_LE(rig.view.FPictures, left + 1) << "at most the answer already on its way";
    EXPECT_FALSE(rig.view.FDisplayActive);
}
