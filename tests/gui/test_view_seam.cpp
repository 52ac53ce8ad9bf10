// The seam every view follows: one subclass of the basic form and one registry row give a view
// that the host opens, that hears its session's states, and that closes in any state.
#include "GuiSupport.h"
#include "MainWindow.h"
#include "support/Ports.h"

#include <QTabWidget>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace ferro;
using namespace ferro::guitest;
using ferro::test::CtlResult;
using ferro::test::RunCtl;
using ferro::test::SimProcess;

namespace {

constexpr int CConnectMs = 20000;

// A view that is nothing but the base: it notes what the base tells it.
class TProbeView : public TFormBasic {
public:
    using TFormBasic::TFormBasic;
    std::vector<TSessionState> States;
    std::vector<std::string> Lost, Failed;
    std::vector<bool> EstablishedSteps;

    void SessionStateChanged(TSessionState State) override { States.push_back(State); }
    void ConnectionLost(const std::string& Reason) override {
        Lost.push_back(Reason);
        TFormBasic::ConnectionLost(Reason);
    }
    void ConnectionFailed(const std::string& Reason) override {
        Failed.push_back(Reason);
        TFormBasic::ConnectionFailed(Reason);
    }
};

struct HostRig {
    QTemporaryDir dir;
    TMainWindow w{SettingsIn(dir), FoldersIn(dir)};

    explicit HostRig(const TInstrument& e) {
        w.RegisterView({dkstatus, "Prüfansicht", TIconKind::Status,
                        [](QWidget* parent) { return new TProbeView(parent); }});
        w.show();
        w.AddInstruments({e});
        w.SelectInstrument(0);
    }
    ~HostRig() { CloseAllBoxes(); }
    QPointer<TProbeView> open() {
        QPointer<TProbeView> v = dynamic_cast<TProbeView*>(w.OpenDirect(dkstatus));
        if (v)
            QObject::connect(v, &TFormBasic::EstablishedChanged, v,
                             [p = v.data()](bool on) { p->EstablishedSteps.push_back(on); });
        return v;
    }
    // Closes the view's tab and tells whether the host took it away within `ms`.
    bool closes(QPointer<TProbeView>& v, int ms) {
        w.CloseViewAt(w.Tabs()->indexOf(v));
        return WaitFor([&] { return v.isNull(); }, ms);
    }
};

} // namespace

TEST(ViewSeam, ARegisteredViewOpensHearsEstablishedLostAndClosesThroughTheBase) {
    SimProcess sim;
    ASSERT_TRUE(sim.ok()) << sim.output();
    HostRig rig(Entry("ferrosim", "127.0.0.1", sim.port()));
    auto* button = rig.w.findChild<QToolButton*>("btn_dkstatus");
    ASSERT_TRUE(button->isEnabled());
    EXPECT_EQ(button->toolTip(), "Prüfansicht des gewählten Geräts öffnen");
    EXPECT_TRUE(rig.w.findChild<QAction*>("act_dkstatus")->isEnabled());
    EXPECT_FALSE(rig.w.findChild<QAction*>("act_dkUserSetup")->isEnabled());

    QPointer<TProbeView> v = rig.open();
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->objectName(), "View_dkstatus");
    EXPECT_EQ(rig.w.Tabs()->tabText(rig.w.Tabs()->currentIndex()), "ferrosim – Prüfansicht");
    ASSERT_TRUE(WaitFor([&] { return v->Established(); }, CConnectMs));
    EXPECT_NE(v->FComUnit->FSN, 0u);
    sim.stop();
    ASSERT_TRUE(WaitFor([&] { return !v->Lost.empty(); }, 10000));
    EXPECT_FALSE(v->Established());
    EXPECT_EQ(v->EstablishedSteps, (std::vector<bool>{true, false}));
    EXPECT_EQ(v->States.front(), TSessionState::Connecting);
    EXPECT_EQ(v->States.back(), TSessionState::Lost);
    EXPECT_TRUE(v->Failed.empty());
    CloseAllBoxes();
    EXPECT_TRUE(rig.closes(v, 3000)) << "a lost line closes at once";
    EXPECT_TRUE(rig.w.LogText().contains("Ansicht geschlossen: ferrosim"));
}

TEST(ViewSeam, ClosingWhileConnectingAndWhileATransferRunsEndsWithoutHanging) {
    {
        ferro::test::HangingListener hanging;
        ASSERT_TRUE(hanging.ok());
        HostRig rig(Entry("hängt", "127.0.0.1", hanging.port()));
        QPointer<TProbeView> v = rig.open();
        ASSERT_TRUE(WaitFor([&] { return v->Session()->Connecting(); }, 3000));
        EXPECT_TRUE(rig.closes(v, 8000)) << "the connect worker is cancelled, not waited for";
    }
    // The simulator answers every frame late: the setup read is still under way when the view closes.
    SimProcess sim({"--faults", "delay:300"});
    ASSERT_TRUE(sim.ok()) << sim.output();
    HostRig rig(Entry("ferrosim", "127.0.0.1", sim.port()));
    QPointer<TProbeView> v = rig.open();
    ASSERT_TRUE(WaitFor([&] { return v && v->Established(); }, CConnectMs));
    int replies = 0;
    TReply last;
    v->FComUnit->ReadSetup([&](const TReply& r) { ++replies, last = r; });
    EXPECT_TRUE(rig.closes(v, 10000));
    EXPECT_LE(replies, 1) << "a pending request ends once, at the latest when its link goes";
    EXPECT_TRUE(replies == 0 || !last.Ok);
}

TEST(ViewSeam, AFailedConnectGivesTheSameGermanReasonInTheHostAndInFerroctl) {
    const int port = ferro::test::FreeLoopbackPort();
    HostRig rig(Entry("zu", "127.0.0.1", port));
    QPointer<TProbeView> v = rig.open();
    ASSERT_TRUE(WaitFor([&] { return v && !v->Failed.empty(); }, CConnectMs));
    const std::string reason = v->Session()->LastError().Text;
    EXPECT_EQ(v->Failed.front(), reason);
    EXPECT_NE(reason.find("Keine Verbindung zu 127.0.0.1:" + std::to_string(port)), std::string::npos)
        << reason;
    EXPECT_NE(WaitForBox(QString::fromStdString(reason)), nullptr) << "the host shows the reason itself";
    for (const char* verbose : {"", "-v"}) {
        std::vector<std::string> args = {"--host", "127.0.0.1", "--port", std::to_string(port), "identify"};
        if (*verbose) args.insert(args.begin(), verbose);
        const CtlResult r = RunCtl(args, 30000);
        EXPECT_NE(r.code, 0);
        EXPECT_NE(r.err.find(reason + "\n"), std::string::npos) << verbose << ": " << r.err;
    }
}
