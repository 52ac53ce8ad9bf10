// The basic device form over an in-memory link: sends, messages, rights check, progress, work.
#include "GuiSupport.h"
#include "forms/FormBasic.h"
#include "foundation/Clock.h"
#include "link/CommandTable.h"
#include "link/Messages.h"
#include "link/TestComUnit.h"
#include "support/Replies.h"

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <thread>

using namespace ferro;
using namespace ferro::guitest;
using ferro::test::Frame;

namespace {

struct WorkCall {
    std::string text;
    bool start, clear;
};

class FormRig {
public:
    FormRig() {
        auto link = std::make_unique<TTestComUnit>();
        link->SetRealTimer(false);
        test = link.get();
        form.FOnLogCallBack = [this](TSender, const std::string& s, bool memo) {
            log.push_back(s);
            if (memo) memo_.push_back(s);
        };
        form.FWorkCallback = [this](TSender, const std::string& t, bool s, bool c) {
            work.push_back({t, s, c});
        };
        form.FSetProg = [this](TSender, const TProgressRecord& r) { progress.push_back(r); };
        form.AdoptComUnit(std::move(link), false);
    }
    ~FormRig() { CloseAllBoxes(); }

    // Names of what the link sent and what waits in its list, in order.
    std::vector<std::string> commands() const {
        std::vector<std::string> names;
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
    // Lets the link put the next list entry on the line, as its timer would.
    void flush() { test->SendNxtCommand(); }
    void feed(const std::vector<uint8_t>& f) { test->Feed(f.data(), f.size()); }
    void openSession() {
        test->StartPlainSession();
        feed(test::SessionReply());
        feed(test::IdentityAll(4711, 2400512, 20000, "Umspannwerk", "Feld 3", "PQ1"));
    }
    template <class T> T* child(const char* name) { return form.findChild<T*>(name); }

    std::vector<std::string> log, memo_;
    std::vector<WorkCall> work;
    std::vector<TProgressRecord> progress;
    TFormBasic form;
    TTestComUnit* test = nullptr;
};

} // namespace

// ---------------------------------------------------------------- streams and commands

TEST(FormBasicSend, StopStreamWithoutARunningStreamSendsNothing) {
    FormRig rig;
    rig.form.StopStream(nullptr);
    EXPECT_TRUE(rig.commands().empty());
    EXPECT_FALSE(rig.form.FStreamRunning);
}

TEST(FormBasicSend, StreamStartsWithTheObjectIdAndStopsWithTheHandle) {
    FormRig rig;
    rig.form.StartStream(nullptr, 2);
    ASSERT_EQ(rig.commands(), std::vector<std::string>{"CCC_STREAM_START"});
    EXPECT_TRUE(rig.form.FStreamRunning);
    rig.flush();
    const auto& start = rig.test->Sent.at(0).bytes;
    uint32_t obj = start[20] | start[21] << 8 | start[22] << 16 | uint32_t(start[23]) << 24;
    EXPECT_EQ(obj, CDataObj[2]);

    rig.test->FStreamRec.ObjHdl = 0x1234;
    rig.form.StopStream(nullptr);
    EXPECT_EQ(rig.commands(), (std::vector<std::string>{"CCC_STREAM_START", "CCC_STREAM_STOP"}));
    EXPECT_FALSE(rig.form.FStreamRunning);
    // A second stop has nothing left to stop.
    rig.form.StopStream(nullptr);
    EXPECT_EQ(rig.commands().size(), 2u);
}

TEST(FormBasicSend, StopStreamOnADroppedLineSendsNothingAndKeepsTheStreamMarked) {
    FormRig rig;
    rig.form.StartStream(nullptr, 0);
    rig.test->SetConnected(false);
    rig.form.StopStream(nullptr);
    EXPECT_EQ(rig.commands(), std::vector<std::string>{"CCC_STREAM_START"});
    EXPECT_TRUE(rig.form.FStreamRunning);
}

TEST(FormBasicSend, StreamWithBinaryInputsMarksTheLinkFirst) {
    FormRig rig;
    rig.form.StartStreamWithBinary(nullptr, 1);
    EXPECT_TRUE(rig.test->FStreamRec.WithBinary);
    EXPECT_EQ(rig.commands(), std::vector<std::string>{"CCC_STREAM_START"});
}

TEST(FormBasicSend, FrontPanelKeysBecomeTheirLuaLines) {
    EXPECT_STREQ(TFormBasic::ControlDeviceLua(BtnLeft), "gpio.keyLeft()");
    EXPECT_STREQ(TFormBasic::ControlDeviceLua(BtnRight), "gpio.keyRight()");
    EXPECT_STREQ(TFormBasic::ControlDeviceLua(BtnTop), "gpio.keyUp()");
    EXPECT_STREQ(TFormBasic::ControlDeviceLua(BtnDown), "gpio.keyDown()");
    EXPECT_STREQ(TFormBasic::ControlDeviceLua(BtnEnter), "gpio.keyEnter()");
    FormRig rig;
    rig.form.ControlDevice(nullptr, BtnTop);
    ASSERT_EQ(rig.commands(), std::vector<std::string>{"CCC_LUA_COMMAND"});
    EXPECT_EQ(rig.sentText(0).rfind("gpio.keyUp()", 0), 0u);
    EXPECT_TRUE(rig.test->Sent.at(0).isLua);
}

TEST(FormBasicSend, ShortcutsSendTheirRowOfTheCommandTable) {
    FormRig rig;
    rig.form.GetPara(nullptr);
    rig.test->FWaitForAnswer = false;
    rig.form.RecUebClick(nullptr);
    rig.test->FWaitForAnswer = false;
    rig.form.EvtDelAll(nullptr);
    rig.test->FWaitForAnswer = false;
    rig.form.GetNewDisplayImage(nullptr);
    rig.test->FWaitForAnswer = false;
    rig.form.RecDel(nullptr, "rec_0001.dat");
    EXPECT_EQ(rig.commands(),
              (std::vector<std::string>{"CCC_SETUP_RD_ALL", "CCC_READOUT_REC_LS", "CCC_READOUT_EVT_RMALL",
                                        "CCC_READOUT_DISP_RD", "CCC_READOUT_REC_RM"}));
    EXPECT_EQ(std::string(rig.sentText(4).c_str()), "rec_0001.dat");
}

TEST(FormBasicSend, ASendOnADroppedLineTriesOneReconnect) {
    FormRig rig;
    rig.test->SetConnected(false);
    EXPECT_TRUE(rig.form.SendCommandToCom("CCC_SETUP_RD_ALL", CmdSetup, 0, 1));
    EXPECT_TRUE(AnyContains(rig.log, "Ferro: Connecting"));
    EXPECT_TRUE(rig.test->IsConnected());
    EXPECT_EQ(rig.commands(), std::vector<std::string>{"CCC_SETUP_RD_ALL"});
}

TEST(FormBasicSend, AnOfflineFormCountsAsConnectedWithoutTouchingTheLine) {
    std::vector<std::string> log;
    std::vector<bool> work;
    TFormBasic form;
    form.FOnLogCallBack = [&](TSender, const std::string& s, bool) { log.push_back(s); };
    form.FWorkCallback = [&](TSender, const std::string&, bool start, bool) { work.push_back(start); };
    form.SetComUnit(false, false, ipverV4);
    ASSERT_NE(form.FTCPComUnit, nullptr);
    form.SetTCPCommUnit("", 5040, false, false, false, true, false, 0);
    EXPECT_EQ(work, std::vector<bool>{false}) << "without connecting the work ends at once";
    EXPECT_TRUE(form.CheckConnection());
    EXPECT_FALSE(AnyContains(log, "Connecting"));
    EXPECT_FALSE(form.FComUnit->IsConnected());
}

TEST(FormBasicSend, AFormWithoutALinkSendsNothing) {
    TFormBasic bare;
    EXPECT_FALSE(bare.CheckConnection());
    EXPECT_FALSE(bare.SendCommandToCom("CCC_SETUP_RD_ALL", CmdSetup, 0, 1));
}

// ---------------------------------------------------------------- connection established

TEST(FormBasicConnection, ConnEstShowsThePanelAndTellsTheView) {
    FormRig rig;
    bool est = false;
    int langVer = -1;
    rig.form.FConnestCB = [&](bool ok) { est = ok; };
    rig.form.FXMLVersionCallback = [&](TSender, int l, int, int) { langVer = l; };
    rig.test->FLangVer = 7;
    rig.form.StartWork("Verbinde");
    rig.openSession();
    EXPECT_TRUE(est);
    EXPECT_EQ(langVer, 7);
    EXPECT_FALSE(rig.child<QWidget>("PanelBack")->isHidden());
    EXPECT_TRUE(rig.child<QWidget>("AniIndi")->isHidden());
    EXPECT_FALSE(rig.child<QLabel>("imgSecure")->pixmap().isNull());
    EXPECT_TRUE(rig.child<QLabel>("lblCon")->text().contains("Umspannwerk Feld 3 PQ1"));
}

TEST(FormBasicConnection, AFailedConnEstHidesPanelAndIndicator) {
    FormRig rig;
    bool called = false, result = true;
    rig.form.FConnestCB = [&](bool ok) {
        called = true;
        result = ok;
    };
    rig.form.StartWork("x");
    rig.form.ConnEst(nullptr, false);
    EXPECT_TRUE(called);
    EXPECT_FALSE(result);
    EXPECT_TRUE(rig.child<QWidget>("PanelBack")->isHidden());
    EXPECT_TRUE(rig.child<QWidget>("AniIndi")->isHidden());
}

TEST(FormBasicConnection, LinkLogLinesReachTheHostWithThePrefix) {
    FormRig rig;
    rig.test->WriteLog("Hallo", true);
    ASSERT_FALSE(rig.memo_.empty());
    EXPECT_EQ(rig.memo_.back(), "Ferro: Hallo");
}

TEST(FormBasicConnection, CaptionAndConnectionLabel) {
    FormRig rig;
    rig.form.FVerInfo = "Parametrierung";
    rig.form.SetCapt("Feld 3");
    EXPECT_EQ(rig.form.windowTitle(), "Parametrierung - Feld 3");
    rig.form.SetLabConText(nullptr, "10.0.0.1:5040 - A B C");
    auto* lbl = rig.child<QLabel>("lblCon");
    EXPECT_EQ(lbl->text(), "10.0.0.1:5040 - A B C");
    EXPECT_GE(lbl->minimumWidth(), lbl->fontMetrics().horizontalAdvance(lbl->text()));
}

TEST(FormBasicConnection, PrepareShutdownUnhooksTheCloseRequest) {
    FormRig rig;
    rig.test->FRequestClose = [](TSender) {};
    rig.form.PrepareShutdown();
    EXPECT_FALSE(rig.test->FRequestClose);
    EXPECT_TRUE(AnyContains(rig.log, "Ferro: PrepareShutdown"));
}

// ---------------------------------------------------------------- messages

TEST(FormBasicMessages, ConnMessageWithoutALinkShowsNothing) {
    std::vector<std::string> log;
    TFormBasic bare;
    bare.FOnLogCallBack = [&](TSender, const std::string& s, bool) { log.push_back(s); };
    bool answered = false;
    bare.DisplayConnMessage(
        "Verbindungsabbruch", mtError, [&](TSender, int) { answered = true; }, Buttons({mbOK}), mbOK);
    for (int i = 0; i < 5; ++i)
        QApplication::processEvents();
    EXPECT_TRUE(OpenBoxes().empty());
    EXPECT_FALSE(answered);
    EXPECT_FALSE(AnyContains(log, "Show Message"));
}

TEST(FormBasicMessages, ConnMessageAddsTheInstrumentsIdentity) {
    FormRig rig;
    rig.test->SetIPAndPort("127.0.0.1", 5040, 0);
    rig.test->FPlant = "Werk";
    rig.test->FField = "F1";
    rig.test->FDevice = "PQ";
    rig.form.DisplayConnMessage(_SVerbindungsabbruch, mtError, nullptr, Buttons({mbOK}), mbOK);
    ASSERT_TRUE(WaitUntil([] { return !OpenBoxes().empty(); }, 3000));
    EXPECT_EQ(OpenBoxes().front()->text(), "Verbindungsabbruch:\n\n127.0.0.1 5040 - Werk F1 PQ");
}

TEST(FormBasicMessages, OnTheMainThreadTheBoxOpensLaterAndTheLogHasNoStar) {
    FormRig rig;
    rig.form.DisplayMessage("Hinweis A", mtInformation, Buttons({mbOK}), mbOK, nullptr);
    EXPECT_TRUE(OpenBoxes().empty()) << "the box must not open inside the call";
    EXPECT_TRUE(AnyContains(rig.log, "Ferro: Show Message: Hinweis A"));
    ASSERT_TRUE(WaitUntil([] { return BoxContaining("Hinweis A") != nullptr; }, 3000));
}

TEST(FormBasicMessages, AMessageFromALinkThreadIsLoggedWithTheStar) {
    FormRig rig;
    std::atomic<bool> returned{false};
    std::thread link([&] {
        rig.test->FDisplayConnMessage("Leitung gestört", mtWarning, nullptr, Buttons({mbOK}), mbOK);
        returned = true;
    });
    const bool done = WaitUntil([&] { return returned.load(); }, 5000);
    link.join();
    ASSERT_TRUE(done);
    EXPECT_TRUE(AnyContains(rig.log, "Ferro: Show Message*: Leitung gestört"));
    // The thread waited until the box was up.
    EXPECT_NE(BoxContaining("Leitung gestört"), nullptr);
}

TEST(FormBasicMessages, TheAnswerComesBackAsDialogResultAndTheHostCountsBoxes) {
    FormRig rig;
    std::vector<bool> counted;
    rig.form.FCntDlgBoxes = [&](bool open) { counted.push_back(open); };
    int result = -1;
    rig.form.DisplayMessage("Weiter?", mtConfirmation, Buttons({mbYes, mbNo}), mbNo,
                            [&](TSender, int r) { result = r; });
    ASSERT_TRUE(WaitUntil([] { return BoxContaining("Weiter?") != nullptr; }, 3000));
    QMessageBox* box = BoxContaining("Weiter?");
    EXPECT_EQ(box->defaultButton(), box->button(QMessageBox::No));
    box->button(QMessageBox::Yes)->click();
    ASSERT_TRUE(WaitUntil([&] { return result != -1; }, 3000));
    EXPECT_EQ(result, mrYes);
    EXPECT_EQ(counted, (std::vector<bool>{true, false}));
}

TEST(FormBasicMessages, ClosingTheFormAnswersAnAwaitedQuestionWithNo) {
    int result = -1;
    {
        FormRig rig;
        rig.form.ShowDLG("Vertrauen?", mtConfirmation, Buttons({mbYes, mbNo}), mbNo,
                         [&](TSender, int r) { result = r; });
        ASSERT_NE(BoxContaining("Vertrauen?"), nullptr);
    }
    EXPECT_EQ(result, mrNo);
}

// ---------------------------------------------------------------- user rights

namespace {
std::vector<uint8_t> LuaFinal(const std::string& text) {
    return Frame(6, 1, 3, std::vector<uint8_t>(text.begin(), text.end()));
}
} // namespace

TEST(FormBasicRights, TheQuestionIsOneLuaLineUnderTheNameUser) {
    FormRig rig;
    rig.form.CheckSSHRight("lua.user.print", nullptr, nullptr);
    ASSERT_EQ(rig.commands(), std::vector<std::string>{"CCC_LUA_COMMAND"});
    EXPECT_EQ(rig.sentText(0).rfind("print(user.authorized(\"lua.user.print\")[\"lua.user.print\"]);", 0),
              0u);
    EXPECT_TRUE(AnyContains(rig.log, "Liste -> Kommando hinzugefügt: User"));
}

TEST(FormBasicRights, TrueInAnyCaseCountsAsAllowed) {
    EXPECT_TRUE(TFormBasic::RightGranted("True\n"));
    EXPECT_TRUE(TFormBasic::RightGranted("  TRUE"));
    EXPECT_FALSE(TFormBasic::RightGranted(""));
    EXPECT_FALSE(TFormBasic::RightGranted("false\n"));
    EXPECT_FALSE(TFormBasic::RightGranted("nil"));

    FormRig rig;
    int allowed = 0, denied = 0;
    rig.form.CheckSSHRight(
        "lua.user.print", [&] { ++allowed; }, [&] { ++denied; });
    rig.feed(LuaFinal("True\n"));
    ASSERT_TRUE(WaitUntil([&] { return allowed + denied > 0; }, 3000));
    EXPECT_EQ(allowed, 1);
    EXPECT_EQ(denied, 0);
    for (int i = 0; i < 5; ++i)
        QApplication::processEvents();
    EXPECT_TRUE(OpenBoxes().empty());
}

TEST(FormBasicRights, AnEmptyReplyIsDeniedWithTheMessageNamingTheUser) {
    FormRig rig;
    rig.test->SetSSHUserPass("viewer", "viewer");
    int allowed = 0, denied = 0;
    rig.form.CheckSSHRight(
        "lua.user.print", [&] { ++allowed; }, [&] { ++denied; });
    rig.feed(LuaFinal(""));
    ASSERT_TRUE(WaitUntil([&] { return denied > 0; }, 3000));
    EXPECT_EQ(allowed, 0);
    ASSERT_TRUE(WaitUntil([] { return !OpenBoxes().empty(); }, 3000));
    EXPECT_EQ(OpenBoxes().front()->text().toStdString(),
              "Der Benutzer \"viewer\" hat nicht die nötigen Rechte für diesen Vorgang!");
    EXPECT_EQ(OpenBoxes().front()->icon(), QMessageBox::Critical);
}

// ---------------------------------------------------------------- setup listing

TEST(FormBasicXml, AListingAsksForTheUserManagementBranch) {
    QTemporaryDir dir;
    const std::string file = dir.filePath("ls.xml").toStdString();
    std::ofstream(file) << "<root><group name='pqAppl'><group name='usr'><group name='acc'>"
                           "<system name='x'/></group></group></group></root>";
    FormRig rig;
    rig.form.CallBackXML(nullptr, file, 0);
    ASSERT_EQ(rig.commands(), std::vector<std::string>{"CCC_SETUP_RD_ONE"})
        << ::testing::PrintToString(rig.log);
    EXPECT_EQ(std::string(rig.sentText(0).c_str()), "usrMan/usr/acc");
}

TEST(FormBasicXml, AListingWithoutTheApplicationNodeSendsNothing) {
    QTemporaryDir dir;
    const std::string file = dir.filePath("ls.xml").toStdString();
    std::ofstream(file) << "<root><group name='other'/></root>";
    FormRig rig;
    rig.form.CallBackXML(nullptr, file, 0);
    rig.form.CallBackXML(nullptr, dir.filePath("missing.xml").toStdString(), 0);
    EXPECT_TRUE(rig.commands().empty());
    rig.form.CallBackXML(nullptr, "lang.xml", 2);
    EXPECT_TRUE(AnyContains(rig.log, "Ferro: New XML lang.xml"));
}

// ---------------------------------------------------------------- work and progress

TEST(FormBasicWork, BusyIndicatorAndHostCallback) {
    FormRig rig;
    auto* ani = rig.child<QWidget>("AniIndi");
    rig.form.StartWork("Lade Setup");
    EXPECT_FALSE(ani->isHidden());
    rig.form.EndWork();
    EXPECT_TRUE(ani->isHidden());
    rig.form.StartWork("x");
    rig.form.ClearWork();
    EXPECT_TRUE(ani->isHidden());
    ASSERT_EQ(rig.work.size(), 4u);
    EXPECT_EQ(rig.work[0].text, "Lade Setup");
    EXPECT_TRUE(rig.work[0].start);
    EXPECT_FALSE(rig.work[1].start);
    EXPECT_FALSE(rig.work[1].clear);
    EXPECT_TRUE(rig.work[3].clear);
    EXPECT_EQ(rig.work[3].text, "");
}

TEST(FormBasicWork, ARefusalEndsTheWork) {
    FormRig rig;
    rig.form.StartWork("x");
    rig.test->FNAKCB(nullptr, 5);
    EXPECT_TRUE(rig.child<QWidget>("AniIndi")->isHidden());
    EXPECT_FALSE(rig.work.back().start);
}

TEST(FormBasicProgress, PercentIsShownAndNeverAbove100) {
    FormRig rig;
    auto* bar = rig.child<QProgressBar>("ProgressBar1");
    auto* text = rig.child<QLabel>("txtProgress");
    rig.form.WorkBegin(wmRead, 1000);
    EXPECT_EQ(text->text(), "0%");
    ASSERT_TRUE(rig.progress.back().start);
    rig.form.SetWorkProg(wmRead, 505);
    EXPECT_EQ(text->text(), "51%");
    EXPECT_EQ(bar->value(), 51);
    // The announced size was too small: the display stops at 100.
    rig.form.SetWorkProg(wmRead, 4000);
    EXPECT_EQ(text->text(), "100%");
    EXPECT_EQ(bar->value(), 100);
    EXPECT_EQ(rig.progress.back().Progress, 4000u);
    rig.form.WorkEnd(wmRead);
    EXPECT_EQ(text->text(), "0%");
    EXPECT_EQ(bar->value(), 0);
    EXPECT_TRUE(rig.progress.back().stop);
}

TEST(FormBasicProgress, DuringShutDownNeitherBarNorTextMoveButTheTimeoutsDo) {
    ManualClock clk;
    setClock(&clk);
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
        rig.form.SetWorkProg(wmRead, 150);
        EXPECT_EQ(text->text(), "25%");
        EXPECT_EQ(bar->value(), 25);
        EXPECT_EQ(rig.progress.size(), reports);
        EXPECT_EQ(rig.test->FLastCmd, clk.nowMs());
        EXPECT_EQ(rig.test->FTransferInProgressTime, clk.nowMs() + 10000);
        rig.form.WorkBegin(wmRead, 999);
        EXPECT_EQ(text->text(), "25%");
    }
    setClock(nullptr);
}

TEST(FormBasicProgress, EventsFromALinkThreadArriveOnTheMainThread) {
    FormRig rig;
    auto* text = rig.child<QLabel>("txtProgress");
    std::thread t([&] {
        rig.form.ComUnitOnWorkBegin(wmRead, 400);
        rig.form.ComUnitOnWork(wmRead, 100);
    });
    t.join();
    ASSERT_TRUE(WaitUntil([&] { return text->text() == "25%"; }, 3000));
    std::thread e([&] { rig.form.ComUnitOnWorkEnd(wmRead); });
    e.join();
    ASSERT_TRUE(WaitUntil([&] { return text->text() == "0%"; }, 3000));
}

TEST(FormBasicProgress, HostWideProgressCountsSteps) {
    FormRig rig;
    std::vector<std::string> texts;
    rig.form.FSetGlobalProg = [&](TSender, bool on, const std::string& t) {
        texts.push_back(on ? t : "off");
    };
    rig.form.SynchStartProgress(3);
    rig.form.SynchSendProgress();
    rig.form.SynchSendProgress();
    rig.form.SynchStoppProgress();
    EXPECT_EQ(texts, (std::vector<std::string>{"0 / 3", "1 / 3", "2 / 3", "off"}));
}
