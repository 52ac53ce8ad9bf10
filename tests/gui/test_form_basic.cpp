// The basic device form over an in-memory link: sends, messages, rights check, progress, work.
#include "GuiSupport.h"
#include "forms/FormBasic.h"
#include "foundation/Clock.h"
#include "link/CommandTable.h"
#include "link/Messages.h"
#include "support/Ports.h"
#include "support/Replies.h"
#include "support/TestComUnit.h"

#include <QKeyEvent>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>
#include <tuple>

using namespace ferro;
using namespace ferro::guitest;
using ferro::test::Frame;
using Names = std::vector<std::string>;

namespace {

class FormRig {
public:
    FormRig() {
        auto link = std::make_unique<TTestComUnit>();
        link->SetRealTimer(false);
        test = link.get();
        form.FOnLogCallBack = [this](TSender, const std::string& s, bool memo) {
            log.push_back(memo ? "memo " + s : s);
        };
        form.FWorkCallback = [this](TSender, const std::string& t, bool s, bool c) {
            work.push_back(t + (s ? "+" : "-") + (c ? "c" : ""));
        };
        form.FSetProg = [this](TSender, const TProgressRecord& r) { progress.push_back(r); };
        form.AdoptComUnit(std::move(link), false);
    }
    ~FormRig() { CloseAllBoxes(); }

    // Names of what the link sent and what waits in its list, in order.
    Names commands() const {
        Names names;
        for (const auto& f : test->Sent) {
            const TCommandDef* d = FindCommand(f.head().Cmd, f.head().ExtCmd);
            names.push_back(d ? d->Name : "?");
        }
        for (const auto& r : test->SendList())
            names.push_back(r.Info);
        return names;
    }
    std::string sentText(size_t i) const {
        const auto& b = test->Sent.at(i).bytes;
        return std::string(b.begin() + 20, b.end());
    }
    void feed(const std::vector<uint8_t>& f) { test->Feed(f.data(), f.size()); }
    template <class T> T* child(const char* name) { return form.findChild<T*>(name); }

    std::vector<std::string> log, work;
    std::vector<TProgressRecord> progress;
    TFormBasic form;
    TTestComUnit* test = nullptr;
};

} // namespace

TEST(FormBasicSend, StreamStartStopAndADroppedLine) {
    FormRig rig;
    rig.form.StopStream(nullptr);
    EXPECT_TRUE(rig.commands().empty()) << "no stream, nothing to stop";

    rig.form.StartStream(nullptr, 2);
    ASSERT_EQ(rig.commands(), Names{"CCC_STREAM_START"});
    EXPECT_TRUE(rig.form.FStreamRunning);
    rig.test->SendNxtCommand();
    const auto& start = rig.test->Sent.at(0).bytes;
    EXPECT_EQ(start[20] | start[21] << 8 | start[22] << 16 | uint32_t(start[23]) << 24, CDataObj[2]);
    rig.test->FStreamRec.ObjHdl = 0x1234;
    rig.form.StopStream(nullptr);
    EXPECT_EQ(rig.commands(), (Names{"CCC_STREAM_START", "CCC_STREAM_STOP"}));
    EXPECT_FALSE(rig.form.FStreamRunning);
    rig.form.StopStream(nullptr);
    EXPECT_EQ(rig.commands().size(), 2u);

    // On a dropped line the stop is not sent and the stream stays marked.
    FormRig dropped;
    dropped.form.StartStreamWithBinary(nullptr, 1);
    EXPECT_TRUE(dropped.test->FStreamRec.WithBinary);
    dropped.test->SetConnected(false);
    dropped.form.StopStream(nullptr);
    EXPECT_EQ(dropped.commands(), Names{"CCC_STREAM_START"});
    EXPECT_TRUE(dropped.form.FStreamRunning);
    // Any other send starts one reconnect, on the session's worker, and is not sent meanwhile.
    EXPECT_FALSE(dropped.form.SendCommandToCom("CCC_SETUP_RD_ALL", CmdSetup, 0, 1));
    EXPECT_TRUE(AnyContains(dropped.log, "Ferro: Connecting"));
    EXPECT_TRUE(WaitFor([&] { return dropped.test->IsConnected(); }, 5000));
    EXPECT_TRUE(dropped.commands().empty()) << "the new session starts with nothing of the old one waiting";
}

TEST(FormBasicSend, ShortcutsAndFrontPanelKeysSendTheirCommand) {
    FormRig rig;
    const std::tuple<std::function<void()>, std::string, std::string> rows[] = {
        {[&] { rig.form.GetPara(nullptr); }, "CCC_SETUP_RD_ALL", ""},
        {[&] { rig.form.RecUebClick(nullptr); }, "CCC_READOUT_REC_LS", ""},
        {[&] { rig.form.EvtDelAll(nullptr); }, "CCC_READOUT_EVT_RMALL", ""},
        {[&] { rig.form.GetNewDisplayImage(nullptr); }, "CCC_READOUT_DISP_RD", ""},
        {[&] { rig.form.RecDel(nullptr, "rec_0001.dat"); }, "CCC_READOUT_REC_RM", "rec_0001.dat"},
        {[&] { rig.form.ControlDevice(nullptr, BtnLeft); }, "CCC_LUA_COMMAND", "gpio.keyLeft()"},
        {[&] { rig.form.ControlDevice(nullptr, BtnRight); }, "CCC_LUA_COMMAND", "gpio.keyRight()"},
        {[&] { rig.form.ControlDevice(nullptr, BtnTop); }, "CCC_LUA_COMMAND", "gpio.keyUp()"},
        {[&] { rig.form.ControlDevice(nullptr, BtnDown); }, "CCC_LUA_COMMAND", "gpio.keyDown()"},
        {[&] { rig.form.ControlDevice(nullptr, BtnEnter); }, "CCC_LUA_COMMAND", "gpio.keyEnter()"},
    };
    for (size_t i = 0; i < std::size(rows); ++i) {
        const auto& [call, command, text] = rows[i];
        call();
        rig.test->FWaitForAnswer = false;
        ASSERT_EQ(rig.commands().size(), i + 1) << command;
        EXPECT_EQ(rig.commands().back(), command);
        EXPECT_EQ(rig.sentText(i).rfind(text, 0), 0u) << command;
        EXPECT_EQ(rig.test->Sent.at(i).isLua, command == "CCC_LUA_COMMAND") << command;
    }
}

TEST(FormBasicSend, WithoutALinkNothingIsSentOrShownAndOfflineNeverConnects) {
    std::vector<std::string> log;
    std::vector<bool> work;
    TFormBasic bare, offline;
    for (TFormBasic* f : {&bare, &offline})
        f->FOnLogCallBack = [&](TSender, const std::string& s, bool) { log.push_back(s); };
    EXPECT_FALSE(bare.CheckConnection());
    EXPECT_FALSE(bare.SendCommandToCom("CCC_SETUP_RD_ALL", CmdSetup, 0, 1));
    bool answered = false;
    bare.DisplayConnMessage(
        "Verbindungsabbruch", mtError, [&](TSender, int) { answered = true; }, Buttons({mbOK}), mbOK);
    WaitFor([] { return false; }, 100);
    EXPECT_EQ(BoxContaining(""), nullptr);
    EXPECT_FALSE(answered);
    EXPECT_FALSE(AnyContains(log, "Show Message"));

    offline.FWorkCallback = [&](TSender, const std::string&, bool start, bool) { work.push_back(start); };
    offline.SetComUnit(false, false, ipverV4);
    ASSERT_NE(offline.FTCPComUnit, nullptr);
    offline.SetTCPCommUnit("", 5040, false, false, false, true, false, 0);
    EXPECT_EQ(work, std::vector<bool>{false}) << "without connecting the work ends at once";
    EXPECT_TRUE(offline.CheckConnection());
    EXPECT_FALSE(AnyContains(log, "Connecting"));
    EXPECT_FALSE(offline.FComUnit->IsConnected());
}

TEST(FormBasicConnection, ConnEstLogPrefixAndShutdown) {
    FormRig rig;
    bool est = false;
    int langVer = -1;
    rig.form.FConnestCB = [&](bool ok) { est = ok; };
    rig.form.FXMLVersionCallback = [&](TSender, int l, int, int) { langVer = l; };
    rig.test->FLangVer = 7;
    rig.form.StartWork("Verbinde");
    rig.test->StartPlainSession();
    rig.feed(test::SessionReply());
    rig.feed(test::IdentityAll(4711, 2400512, 20000, "Umspannwerk", "Feld 3", "PQ1"));
    EXPECT_TRUE(est);
    EXPECT_EQ(langVer, 7);
    EXPECT_FALSE(rig.child<QWidget>("PanelBack")->isHidden());
    EXPECT_TRUE(rig.child<QWidget>("AniIndi")->isHidden());
    EXPECT_FALSE(rig.child<QLabel>("imgSecure")->pixmap().isNull());
    EXPECT_TRUE(rig.child<QLabel>("lblCon")->text().contains("Umspannwerk Feld 3 PQ1"));

    FormRig failed;
    failed.form.FConnestCB = [&](bool ok) { est = !ok; };
    failed.form.StartWork("x");
    failed.form.ConnEst(nullptr, false);
    EXPECT_TRUE(est) << "the view hears of the failure";
    EXPECT_TRUE(failed.child<QWidget>("PanelBack")->isHidden());
    EXPECT_TRUE(failed.child<QWidget>("AniIndi")->isHidden());

    failed.test->WriteLog("Hallo", true);
    EXPECT_EQ(failed.log.back(), "memo Ferro: Hallo") << "link lines reach the host with the prefix";
    failed.test->FRequestClose = [](TSender) {};
    failed.form.PrepareShutdown();
    EXPECT_FALSE(failed.test->FRequestClose);
    EXPECT_TRUE(AnyContains(failed.log, "Ferro: PrepareShutdown"));
}

TEST(FormBasicMessages, OnlyAMessageFromALinkThreadIsLoggedWithTheStar) {
    FormRig rig;
    rig.test->SetIPAndPort("127.0.0.1", 5040, 0);
    rig.test->MutableIdentity().Plant = "Werk";
    rig.test->MutableIdentity().Field = "F1";
    rig.test->MutableIdentity().Device = "PQ";
    rig.form.DisplayMessage("Hinweis A", mtInformation, Buttons({mbOK}), mbOK, nullptr);
    EXPECT_EQ(BoxContaining(""), nullptr) << "the box must not open inside the call";
    EXPECT_TRUE(AnyContains(rig.log, "Ferro: Show Message: Hinweis A"));
    ASSERT_NE(WaitForBox("Hinweis A"), nullptr);

    std::atomic<bool> returned{false};
    std::thread link([&] {
        rig.test->FDisplayConnMessage("Leitung gestört", mtWarning, nullptr, Buttons({mbOK}), mbOK);
        returned = true;
    });
    const bool done = WaitFor([&] { return returned.load(); }, 5000);
    link.join();
    ASSERT_TRUE(done);
    EXPECT_TRUE(AnyContains(rig.log, "Ferro: Show Message*: Leitung gestört"));
    QMessageBox* box = BoxContaining("Leitung gestört");
    ASSERT_NE(box, nullptr) << "the thread waits until the box is up";
    EXPECT_EQ(box->text(), "Leitung gestört:\n\n127.0.0.1 5040 - Werk F1 PQ")
        << "with the instrument's identity";
}

TEST(FormBasicMessages, TheAnswerComesBackTheHostCountsBoxesAndClosingAnswersNo) {
    int result = -1, atClose = -1;
    // A form being torn down still tells the host that its boxes close: what that handler
    // writes into must outlive the form.
    std::vector<bool> counted;
    {
        FormRig rig;
        rig.form.FCntDlgBoxes = [&](bool open) { counted.push_back(open); };
        rig.form.DisplayMessage("Weiter?", mtConfirmation, Buttons({mbYes, mbNo}), mbNo,
                                [&](TSender, int r) { result = r; });
        QMessageBox* box = WaitForBox("Weiter?");
        ASSERT_NE(box, nullptr);
        EXPECT_EQ(box->defaultButton(), box->button(QMessageBox::No));
        box->button(QMessageBox::Yes)->click();
        ASSERT_TRUE(WaitFor([&] { return result != -1; }, 3000));
        EXPECT_EQ(result, mrYes);
        EXPECT_EQ(counted, (std::vector<bool>{true, false}));
        rig.form.ShowDLG("Vertrauen?", mtConfirmation, Buttons({mbYes, mbNo}), mbNo,
                         [&](TSender, int r) { atClose = r; });
        ASSERT_NE(BoxContaining("Vertrauen?"), nullptr);
    }
    EXPECT_EQ(atClose, mrNo);
    EXPECT_EQ(counted, (std::vector<bool>{true, false, false}))
        << "the box answered at close is counted closed";
}

TEST(FormBasicRights, TrueInAnyCaseIsAllowedAndAnEmptyReplyIsDeniedNamingTheUser) {
    for (const char* reply : {"True\n", "  TRUE", "true"})
        EXPECT_TRUE(TFormBasic::RightGranted(reply)) << reply;
    for (const char* reply : {"", "false\n", "nil"})
        EXPECT_FALSE(TFormBasic::RightGranted(reply)) << reply;

    FormRig rig;
    rig.test->SetSSHUserPass("viewer", "viewer");
    int allowed = 0, denied = 0;
    rig.form.CheckSSHRight(
        "lua.user.print", [&] { ++allowed; }, [&] { ++denied; });
    ASSERT_EQ(rig.commands(), Names{"CCC_LUA_COMMAND"});
    EXPECT_EQ(rig.sentText(0).rfind("print(user.authorized(\"lua.user.print\")[\"lua.user.print\"]);", 0),
              0u);
    rig.feed(Frame(6, 1, 3, {}));
    ASSERT_TRUE(WaitFor([&] { return denied > 0; }, 3000));
    EXPECT_EQ(allowed, 0);
    QMessageBox* box = WaitForBox("Der Benutzer \"viewer\" hat nicht die nötigen Rechte");
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->icon(), QMessageBox::Critical);
}

TEST(FormBasicXml, AListingAsksForTheUserManagementBranchOnlyIfItHasIt) {
    QTemporaryDir dir;
    const std::string good = dir.filePath("ls.xml").toStdString();
    const std::string other = dir.filePath("other.xml").toStdString();
    std::ofstream(good) << "<root><group name='pqAppl'><group name='usr'><group name='acc'>"
                           "<system name='x'/></group></group></group></root>";
    std::ofstream(other) << "<root><group name='other'/></root>";
    FormRig rig;
    rig.form.CallBackXML(nullptr, other, 0);
    rig.form.CallBackXML(nullptr, dir.filePath("missing.xml").toStdString(), 0);
    EXPECT_TRUE(rig.commands().empty());
    rig.form.CallBackXML(nullptr, good, 0);
    ASSERT_EQ(rig.commands(), Names{"CCC_SETUP_RD_ONE"}) << ::testing::PrintToString(rig.log);
    EXPECT_EQ(std::string(rig.sentText(0).c_str()), "usrMan/usr/acc");

    // A language file is loaded at once; a broken one keeps the texts that were there.
    const std::string lang = dir.filePath("lang_de.xml").toStdString();
    std::ofstream(lang)
        << "<language lang='de'><text id='168820736' long='Spannungen L1' short='V'/></language>";
    rig.form.CallBackXML(nullptr, lang, 2);
    EXPECT_TRUE(AnyContains(rig.log, "Ferro: New XML " + lang));
    EXPECT_EQ(rig.form.FLangXML.IdToText(168820736u), "Spannungen L1");
    EXPECT_EQ(rig.form.FLangXMLFN.IdToShort(168820736u), "V");
    rig.form.CallBackXML(nullptr, other, 2);
    EXPECT_EQ(rig.form.FLangXML.IdToText(168820736u), "Spannungen L1");
    EXPECT_TRUE(AnyContains(rig.log, "nicht den erwarteten Inhalt"));
}

namespace {
class KeyView : public TFormBasic {
public:
    std::vector<int> keys;
    void NewOnKeyDown(TSender, int& Key, QChar&, Qt::KeyboardModifiers) override {
        keys.push_back(Key);
        if (Key == Qt::Key_Left) Key = 0;
    }
};
} // namespace

TEST(FormBasicLife, KeysReachTheViewObjectsAreLookedUpAndTheTearDownCountsItsSteps) {
    std::vector<std::string> log;
    {
        KeyView view;
        view.FOnLogCallBack = [&](TSender, const std::string& s, bool) { log.push_back(s); };
        QKeyEvent left(QEvent::KeyPress, Qt::Key_Left, Qt::NoModifier);
        QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, "\r");
        QApplication::sendEvent(&view, &left);
        QApplication::sendEvent(&view, &enter);
        EXPECT_EQ(view.keys, (std::vector<int>{Qt::Key_Left, Qt::Key_Return}));
        EXPECT_TRUE(left.isAccepted()) << "a key the view used goes no further";

        view.FMGFerroCls[0x104002F] = {0x104002F, "U1E", "V"};
        const TMGFerroRec hit = view.FOnGetFerroPtr(nullptr, 0x104002F);
        const TMGFerroRec miss = view.FOnGetFerroPtr(nullptr, 7);
        EXPECT_EQ(hit.Name + hit.Unit, "U1EV");
        EXPECT_EQ(miss.Id, 7u);
        EXPECT_TRUE(miss.Name.empty() && miss.Unit.empty());
    }
    Names steps;
    for (const auto& l : log)
        if (l.rfind("Ferro: End:", 0) == 0) steps.push_back(l.substr(7, 6));
    ASSERT_EQ(steps.size(), 15u) << ::testing::PrintToString(log);
    EXPECT_EQ(steps.front(), "End: 0");
    EXPECT_EQ(steps[1], "End:");
    EXPECT_EQ(steps.back(), "End: 7");
}

TEST(FormBasicWork, BusyIndicatorHostCallbackAndRefusal) {
    FormRig rig;
    auto* ani = rig.child<QWidget>("AniIndi");
    rig.form.StartWork("Lade Setup");
    EXPECT_FALSE(ani->isHidden());
    rig.form.EndWork();
    EXPECT_TRUE(ani->isHidden());
    rig.form.StartWork("x");
    rig.form.ClearWork();
    EXPECT_TRUE(ani->isHidden());
    rig.form.StartWork("y");
    rig.test->FNAKCB(nullptr, 5);
    EXPECT_TRUE(ani->isHidden()) << "a refusal ends the work";
    EXPECT_EQ(rig.work, (Names{"Lade Setup+", "-", "x+", "-c", "y+", "-"}));
}

TEST(FormBasicProgress, PercentIsShownAndNeverAbove100StepsAreCountedThreadsAreServed) {
    FormRig rig;
    auto* bar = rig.child<QProgressBar>("ProgressBar1");
    auto* text = rig.child<QLabel>("txtProgress");
    EXPECT_TRUE(bar->isHidden() && text->isHidden()) << "no bar while nothing moves";
    rig.form.WorkBegin(wmRead, 1000);
    EXPECT_FALSE(bar->isHidden() || text->isHidden());
    EXPECT_EQ(text->text(), "0%");
    ASSERT_TRUE(rig.progress.back().start);
    rig.form.SetWorkProg(wmRead, 505);
    EXPECT_EQ(text->text(), "51%");
    EXPECT_EQ(bar->value(), 51);
    rig.form.SetWorkProg(wmRead, 4000);
    EXPECT_EQ(text->text(), "100%");
    EXPECT_EQ(bar->value(), 100);
    EXPECT_EQ(rig.progress.back().Progress, 4000u);
    rig.form.WorkEnd(wmRead);
    EXPECT_TRUE(bar->isHidden() && text->isHidden());
    EXPECT_EQ(bar->value(), 0);
    EXPECT_TRUE(rig.progress.back().stop);

    Names steps;
    rig.form.FSetGlobalProg = [&](TSender, bool on, const std::string& t) {
        steps.push_back(on ? t : "off");
    };
    rig.form.SynchStartProgress(3);
    rig.form.SynchSendProgress();
    rig.form.SynchSendProgress();
    rig.form.SynchStoppProgress();
    EXPECT_EQ(steps, (Names{"0 / 3", "1 / 3", "2 / 3", "off"})) << "the host-wide progress counts steps";

    // Events from a link thread arrive on the main thread.
    std::thread([&] {
        rig.form.ComUnitOnWorkBegin(wmRead, 400);
        rig.form.ComUnitOnWork(wmRead, 100);
    }).join();
    ASSERT_TRUE(WaitFor([&] { return text->text() == "25%"; }, 3000));
    std::thread([&] { rig.form.ComUnitOnWorkEnd(wmRead); }).join();
    ASSERT_TRUE(WaitFor([&] { return text->text() == "0%"; }, 3000));
}

TEST(FormBasicProgress, DuringShutDownNeitherBarNorTextMoveButTheTimeoutsDo) {
    ManualClock clk;
    setClock(&clk);
    // The program clock goes back even when an assertion below ends the test early.
    std::unique_ptr<ManualClock, void (*)(ManualClock*)> restore(&clk,
                                                                 [](ManualClock*) { setClock(nullptr); });
    {
        FormRig rig;
        auto* bar = rig.child<QProgressBar>("ProgressBar1");
        auto* text = rig.child<QLabel>("txtProgress");
        rig.form.WorkBegin(wmRead, 200);
        rig.form.SetWorkProg(wmRead, 50);
        ASSERT_EQ(text->text(), "25%");
        const size_t reports = rig.progress.size();

        rig.test->ShutDown(nullptr, nullptr);
        clk.advance(3000);
        rig.test->TransferWork(WorkWorking, wmRead, 150);
        EXPECT_EQ(text->text(), "25%");
        EXPECT_EQ(bar->value(), 25);
        EXPECT_EQ(rig.progress.size(), reports);
        EXPECT_EQ(rig.test->FLastCmd, clk.nowMs());
        EXPECT_EQ(rig.test->FTransferInProgressTime, clk.nowMs() + 10000);
        rig.form.WorkBegin(wmRead, 999);
        EXPECT_EQ(text->text(), "25%");
    }
}

TEST(FormBasicSend, WhileTheConnectWorkerRunsASendNeitherWaitsNorConnectsAgain) {
    ferro::test::HangingListener hanging; // the worker's connect hangs
    ASSERT_TRUE(hanging.ok());
    std::vector<std::string> log;
    auto form = std::make_unique<TFormBasic>();
    form->FOnLogCallBack = [&](TSender, const std::string& s, bool) { log.push_back(s); };
    form->SetComUnit(false, false, ipverV4);
    form->SetTCPCommUnit("127.0.0.1", hanging.port(), false, true, false, true, false, 0);
    const auto t0 = std::chrono::steady_clock::now();
    EXPECT_FALSE(form->SendCommandToCom("CCC_IDENTIFY_BASIC", CmdIdentify, 0, 1));
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(1));
    EXPECT_FALSE(AnyContains(log, "Connecting")) << "no second connect beside the worker";
    form.reset(); // cancels the worker's connect
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(3));
}
