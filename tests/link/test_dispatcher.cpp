// The command list, the dispatcher, refusals, the timer branches and shutdown.
#include "support/LinkFixture.h"

#include <gtest/gtest.h>

using namespace ferro;
using namespace ferro::test;

namespace {
std::vector<uint8_t> identityBasicReply() {
    std::vector<uint8_t> p(12, 0);
    PutU32(p, 0, 4711);
    PutU32(p, 4, 2400512);
    return Frame(2, 0, 0, p);
}
} // namespace

TEST(CommandList, BurstOfTenPlainCommandsSendsOneUntilTheReply) {
    LinkFixture t;
    for (int i = 0; i < 10; ++i)
        t.link.SendNamed("CCC_IDENTIFY_BASIC");
    EXPECT_EQ(t.link.Sent.size(), 1u);
    EXPECT_EQ(t.link.CountSendLst(), 9);
    t.feed(identityBasicReply());
    EXPECT_EQ(t.link.Sent.size(), 1u) << "the next goes with the timer, not inside the reply";
    t.tick();
    EXPECT_EQ(t.link.Sent.size(), 2u);
    EXPECT_TRUE(t.logged("tmr: Send Next / 9"));
}

TEST(CommandList, WithoutReplyTheNextGoesAfterTenSecondsOfClock) {
    LinkFixture t;
    t.link.SetTimerEnabled(true);
    t.link.SendNamed("CCC_IDENTIFY_BASIC");
    t.link.SendNamed("CCC_READOUT_REC_LS");
    ASSERT_EQ(t.link.Sent.size(), 1u);
    t.tick(10000);
    EXPECT_EQ(t.link.Sent.size(), 1u) << "exactly ten seconds is not more than ten";
    t.tick(1000);
    ASSERT_EQ(t.link.Sent.size(), 2u);
    EXPECT_TRUE(t.logged("NextCmdTmout"));
    EXPECT_EQ(t.sentHead(1).Cmd, 5);
}

TEST(CommandList, SequenceCounterFollowsRepliesAndCountsNonLuaSends) {
    LinkFixture t;
    t.link.SendNamed("CCC_IDENTIFY_BASIC");
    EXPECT_EQ(t.sentHead(0).SeqCnt, 0u);
    auto reply = identityBasicReply();
    PutU32(reply, 16, 41);
    t.feed(reply);
    EXPECT_EQ(t.link.FSeqCnt, 42u);
    t.link.SendCommand("CCC_LUA_COMMAND", 6, 1, 0, "print(1)", true);
    EXPECT_EQ(t.sentHead(1).SeqCnt, 42u);
    EXPECT_EQ(t.link.FSeqCnt, 42u) << "Lua text does not advance the counter";
    EXPECT_TRUE(t.link.Sent[1].isLua);
    EXPECT_TRUE(t.logged("Sending CCC_LUA_COMMAND CMD: 6 Priv: 1 ExtCmd: 0 FTPNACK: 4 Seq: 42 AddData: ###"));
}

TEST(CommandList, AppendLogsAndStreamFormsWaitForTheTimer) {
    LinkFixture t;
    t.link.SendCommand("CCC_STREAM_START", 4, 0, 1, uint32_t(0x01FFFFFF));
    EXPECT_TRUE(t.link.Sent.empty());
    EXPECT_TRUE(
        t.logged("Liste -> Kommando hinzugefügt: CCC_STREAM_START CMD: 4 Priv: 0 ExtCmd: 1 ID: 33554431"));
    EXPECT_EQ(t.link.FStreamRec.ObjID, 0x01FFFFFFu);
    t.link.SendCommand("CCC_READOUT_REC_RD", 5, 0, 1, "rec.dat", 512u, false);
    EXPECT_TRUE(
        t.logged("Liste -> Kommando hinzugefügt: CCC_READOUT_REC_RD CMD: 5 Priv: 0 ExtCmd: 1 Pos: 512"));
    t.tick();
    ASSERT_EQ(t.link.Sent.size(), 2u) << "a stream start does not wait, the read behind it goes too";
    EXPECT_EQ(MemStream::peekU32(&t.link.Sent[1].bytes[84]), 512u);
    EXPECT_EQ(t.link.FFileName, "rec.dat");
}

TEST(CommandList, SessionStopDropsWhatWasAppendedBeforeItWasSent) {
    LinkFixture t;
    t.link.SendNamed("CCC_IDENTIFY_BASIC");                            // waits for its answer
    t.link.SendNamed("CCC_SESSION_STP");                               // queued behind it
    t.link.SendCommand("CCC_READOUT_REC_RD", 5, 0, 1, "a", 0u, false); // queued behind the stop
    t.feed(identityBasicReply());
    t.tick();
    EXPECT_EQ(t.sentNames().back(), "CCC_SESSION_STP");
    EXPECT_EQ(t.link.CountSendLst(), 0);
    EXPECT_TRUE(t.logged("Liste gecleart 1")) << "the read appended behind the stop is dropped";
    EXPECT_FALSE(t.link.FWaitForAnswer);
    t.tick();
    EXPECT_EQ(t.sentNames().back(), "CCC_SESSION_STP");
}

TEST(CommandList, NothingIsSentWhileDisconnected) {
    LinkFixture t;
    t.link.SetConnected(false);
    t.link.SendNamed("CCC_IDENTIFY_BASIC");
    EXPECT_TRUE(t.link.Sent.empty());
    EXPECT_EQ(t.link.CountSendLst(), 1);
    EXPECT_TRUE(t.logged("Before Next Command Not Connected"));
}

TEST(Refusal, Code134OnTheOpeningMakesTheNextFrameVersionFour) {
    LinkFixture t;
    t.link.SendStartCommand(0, "admin", "admin");
    ASSERT_EQ(t.sentHead(0).Ver, 5);
    ASSERT_EQ(t.link.Sent[0].bytes.size(), 160u);
    t.feed(Refusal(1, 0, 0, 134, "old"));
    EXPECT_TRUE(t.logged("FallBack CCCI V4"));
    ASSERT_EQ(t.link.Sent.size(), 2u);
    EXPECT_EQ(t.sentHead(1).Ver, 4);
    EXPECT_EQ(t.sentNames()[1], "CCC_SESSION_STR_ADV");
    // The version-4 answer is a session reply of its own, not more of the refusal.
    t.feed(SessionReply(4));
    EXPECT_FALSE(t.link.FNAK);
    EXPECT_EQ(t.link.FVer, 4);
    ASSERT_EQ(t.link.Sent.size(), 3u);
    EXPECT_EQ(t.sentNames()[2], "CCC_IDENTIFY_ALL");
}

TEST(Refusal, Code120ShowsTheTwoConnectionsMessage) {
    LinkFixture t;
    std::string shown;
    TThreadedMessageCallBack answer;
    t.link.FDisplayConnMessage = [&](const std::string& text, TMsgDlgType type, TThreadedMessageCallBack cb,
                                     TMsgDlgButtons, TMsgDlgBtn) {
        shown = text;
        EXPECT_EQ(type, mtError);
        answer = cb;
    };
    uint32_t nakCode = 999;
    t.link.FNAKCB = [&](TSender, uint32_t c) { nakCode = c; };
    bool closeRequested = false;
    t.link.FRequestClose = [&](TSender) { closeRequested = true; };
    t.link.StartPlainSession();
    t.feed(Refusal(1, 1, 2, 120, ""));
    EXPECT_EQ(shown,
              "Es sind bereits zwei aktive Verbindungen mit dem Gerät hergestellt. Eine weitere Verbindung "
              "ist nicht möglich.");
    EXPECT_EQ(nakCode, 999u) << "with a display the code is not passed on before the answer";
    EXPECT_TRUE(t.link.FTransferInProgress) << "stays set until the next tick";
    ASSERT_TRUE(answer);
    answer(nullptr, mrOk);
    EXPECT_EQ(nakCode, 0u);
    EXPECT_TRUE(t.logged("NAK RequestClose"));
    EXPECT_FALSE(closeRequested) << "closing goes through the main-thread queue";
    t.processEvents();
    EXPECT_TRUE(closeRequested);
    t.tick();
    EXPECT_FALSE(t.link.FTransferInProgress);
    EXPECT_TRUE(t.logged("No Communication within Transfer time!"));

    // Without a display the code goes to the refusal callback at once.
    LinkFixture quiet;
    uint32_t code = 0;
    quiet.link.FNAKCB = [&](TSender, uint32_t c) { code = c; };
    quiet.feed(Refusal(1, 1, 2, 120, ""));
    EXPECT_EQ(code, 120u);
}

TEST(Refusal, FlagsEighteenIsNotARefusal) {
    LinkFixture t;
    t.link.SendNamed("CCC_IDENTIFY_BASIC");
    auto reply = identityBasicReply();
    reply[6] = 18;
    t.feed(reply);
    EXPECT_FALSE(t.link.FNAK);
    EXPECT_FALSE(t.link.FWaitForAnswer);
    EXPECT_FALSE(t.logged("NAK True"));
}

TEST(Refusal, OtherCodesShowTheDeviceTextAndAskForAFlush) {
    LinkFixture t;
    std::vector<std::string> shown;
    t.link.FDisplayConnMessage = [&](const std::string& text, TMsgDlgType, TThreadedMessageCallBack,
                                     TMsgDlgButtons, TMsgDlgBtn) { shown.push_back(text); };
    int stops = 0;
    t.link.FStopWork = [&] { ++stops; };
    t.link.FSSHUser = "viewer";
    t.feed(Refusal(7, 0, 1, 55, "file missing"));
    t.feed(Refusal(6, 1, 0, 13, "no right"));
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_EQ(shown[0], "Fehler (Code 55) NAK: file missing");
    EXPECT_EQ(shown[1], "Der Nutzer viewer hat keinen Zugriff auf diese Funktion");
    EXPECT_EQ(stops, 2);
    EXPECT_EQ(t.link.ClearBufferRequests, 2);
    EXPECT_TRUE(t.loggedContaining("ErrorCode:55 ErrorMessage:file missing"));
    t.link.FSSHUser.clear(); // a plain session names the session's user
    t.feed(Refusal(6, 1, 0, 13, "no right"));
    EXPECT_EQ(shown.back(), "Der Nutzer ferro hat keinen Zugriff auf diese Funktion");
}

TEST(Dispatcher, UnknownCommandEightEmptiesTheListAndAsksForAFlush) {
    LinkFixture t;
    t.link.SendNamed("CCC_IDENTIFY_BASIC");
    t.link.SendNamed("CCC_READOUT_REC_LS");
    t.link.SendNamed("CCC_READOUT_EVT_LS");
    ASSERT_EQ(t.link.CountSendLst(), 2);
    t.feed(Frame(8, 0, 0, {1, 2, 3}));
    EXPECT_EQ(t.link.CountSendLst(), 0);
    EXPECT_EQ(t.link.ClearBufferRequests, 1);
    EXPECT_FALSE(t.link.FWaitForAnswer);
}

TEST(Dispatcher, EveryKnownGroupIsDispatchedAndConsumed) {
    LinkFixture t;
    for (uint8_t cmd : {1, 2, 3, 4, 5, 6, 7, 9, 10}) {
        t.link.FWaitForAnswer = true;
        t.feed(Frame(cmd, 0, cmd == 6 ? 3 : 0x77, {9, 9, 9, 9})); // Lua output keeps waiting until its end
        EXPECT_FALSE(t.link.FWaitForAnswer) << "group " << int(cmd);
        EXPECT_FALSE(t.loggedContaining("Data still inside")) << "group " << int(cmd);
    }
    EXPECT_EQ(t.link.ClearBufferRequests, 0);
}

TEST(Heartbeat, OldFirmwareBeatsEveryTwentyTwoSeconds) {
    LinkFixture t;
    t.openSession();
    t.feed(IdentityAll(1234, 2400512, 13685));
    EXPECT_FALSE(t.link.FHeartBeatDisabled);
    size_t sent = t.link.Sent.size();
    for (int i = 0; i < 220; ++i)
        t.tick(100); // 22 s
    EXPECT_EQ(t.link.Sent.size(), sent);
    t.tick(1000);
    ASSERT_EQ(t.link.Sent.size(), sent + 1);
    EXPECT_EQ(t.sentNames().back(), "CCC_IDENTIFY_BASIC");
    EXPECT_TRUE(t.logged("Heartbeat"));
    t.feed(identityBasicReply());
    for (int i = 0; i < 240; ++i)
        t.tick(100);
    EXPECT_EQ(t.link.Sent.size(), sent + 2) << "and again about 22 s later";
}

TEST(Heartbeat, NewerFirmwareStaysQuiet) {
    LinkFixture t;
    t.openSession();
    t.feed(IdentityAll(1234, 2400512, 13686));
    EXPECT_TRUE(t.link.FHeartBeatDisabled);
    size_t sent = t.link.Sent.size();
    for (int i = 0; i < 100; ++i)
        t.tick(1000);
    EXPECT_EQ(t.link.Sent.size(), sent);
    EXPECT_FALSE(t.logged("Heartbeat"));
}

TEST(Shutdown, CallbackFiresExactlyOnce) {
    LinkFixture t;
    t.openSession();
    t.feed(IdentityAll(1, 2400512, 20000));
    int done = 0;
    t.link.ShutDown(nullptr, [&](TSender) { ++done; });
    EXPECT_EQ(t.sentNames().back(), "CCC_SESSION_STP");
    EXPECT_TRUE(t.logged("ComUnit: ShutDown Start - Connected: True"));
    t.tick();
    EXPECT_TRUE(t.logged("ShutdownHandling"));
    EXPECT_EQ(t.link.CloseConnectionCalls, 1);
    EXPECT_EQ(done, 1);
    EXPECT_FALSE(t.link.IsTimerActive());
    for (int i = 0; i < 5; ++i)
        t.link.OnTimer();
    EXPECT_EQ(done, 1);
}

TEST(Shutdown, TheStopReplySendsNothingMore) {
    // On a serial line a request after the stop reaches the instrument outside any session.
    LinkFixture t;
    t.openSession();
    t.feed(IdentityAll(1, 2400512, 20000));
    t.link.ShutDown(nullptr, nullptr);
    const size_t sent = t.link.Sent.size();
    t.feed(Frame(1, 0, 0xFFFF, {}));
    for (int i = 0; i < 3; ++i)
        t.tick();
    EXPECT_EQ(t.link.Sent.size(), sent) << t.sentNames().back();
    EXPECT_TRUE(t.logged("Session stopped"));
}

TEST(Shutdown, StopsTheStreamBeforeTheSession) {
    LinkFixture t;
    t.openSession();
    t.link.FStreamRec.ObjHdl = 0x55;
    t.link.FNTPTunnelActive = true;
    t.link.ShutDown(nullptr, nullptr);
    auto names = t.sentNames();
    ASSERT_GE(names.size(), 2u);
    EXPECT_EQ(names.back(), "CCC_TUNNEL_NTP_CLOSE");
    t.link.ClearStreamAndBuffer();
    t.tick();
    names = t.sentNames();
    EXPECT_EQ(names.back(), "CCC_STREAM_STOP");
}

TEST(Shutdown, NotConnectedWithCallbackCallsItAtOnceAndOnce) {
    LinkFixture t;
    t.link.SetConnected(false);
    t.link.SetTimerEnabled(true);
    int done = 0;
    t.link.ShutDown(nullptr, [&](TSender) { ++done; });
    EXPECT_EQ(done, 1);
    t.tick();
    EXPECT_EQ(done, 1);
    EXPECT_FALSE(t.link.FOnLogCallBack) << "the log is unassigned before the callback";

    // Without a callback a shutdown only arms and clears at the next tick.
    LinkFixture u;
    u.link.SetConnected(false);
    u.link.SetTimerEnabled(true);
    u.link.ShutDown(nullptr, nullptr);
    EXPECT_TRUE(u.link.FShutDown);
    u.tick();
    EXPECT_FALSE(u.link.FShutDown);
    EXPECT_TRUE(u.link.Sent.empty());
    EXPECT_EQ(u.link.CloseConnectionCalls, 0);
}

TEST(ThreadFailure, ShowsConnectionLossAndRequestsClose) {
    LinkFixture t;
    std::string shown;
    TThreadedMessageCallBack answer;
    t.link.FDisplayConnMessage = [&](const std::string& text, TMsgDlgType, TThreadedMessageCallBack cb,
                                     TMsgDlgButtons, TMsgDlgBtn) {
        shown = text;
        answer = cb;
    };
    int cleared = 0, excepts = 0, closes = 0;
    t.link.FClearWork = [&] { ++cleared; };
    t.link.FThreadExceptCallBack = [&](TSender) { ++excepts; };
    t.link.FRequestClose = [&](TSender) { ++closes; };
    t.link.SetTimerEnabled(true);
    t.link.ThreadException("socket gone");
    EXPECT_TRUE(t.logged("ThreadExcept socket gone"));
    EXPECT_EQ(shown, "Verbindungsabbruch");
    EXPECT_EQ(cleared, 1);
    EXPECT_FALSE(t.link.IsTimerActive());
    EXPECT_EQ(t.link.DisconnectCalls, 1);
    answer(nullptr, mrOk);
    EXPECT_TRUE(t.link.FTHreadExcept);
    EXPECT_EQ(excepts, 1);
    EXPECT_EQ(closes, 1);
    EXPECT_TRUE(t.logged("Request Close"));
}

TEST(NtpTunnel, OpenRequestOnTheMainThreadPathAndClose) {
    LinkFixture t;
    t.openSession();
    t.feed(Frame(9, 1, 0, {}));
    EXPECT_TRUE(t.link.FNTPTunnelActive);
    EXPECT_NE(std::find(t.memoLines.begin(), t.memoLines.end(), "NTP Tunnel Open"), t.memoLines.end());
    // A request that the link thread handed on (SSH) is answered here, with the link's head.
    std::vector<uint8_t> packet(48, 0);
    packet[0] = 0x23;
    auto request = Frame(9, 1, 2, packet);
    MemStream m(request.data(), request.size());
    const size_t sent = t.link.Sent.size();
    t.link.ReadData(m);
    ASSERT_EQ(t.link.Sent.size(), sent + 1);
    const auto& reply = t.link.Sent.back().bytes;
    const ccc_head_t h = t.link.Sent.back().head();
    EXPECT_EQ(h.Cmd, 9);
    EXPECT_EQ(h.ExtCmd, 3);
    EXPECT_EQ(h.Size, 68u);
    EXPECT_EQ(h.SN, t.link.FSN);
    const uint32_t secs =
        uint32_t(reply[60]) << 24 | uint32_t(reply[61]) << 16 | uint32_t(reply[62]) << 8 | reply[63];
    EXPECT_EQ(secs, uint32_t(t.clock.nowMs() / 1000 + 2208988800LL)) << "the computer's time, era 0";
    EXPECT_TRUE(t.loggedContaining("Sending CCC_TUNNEL_NTP_REPLY CMD: 9 Priv: 1 ExtCmd: 3"));
    t.feed(Frame(9, 1, 1, {}));
    EXPECT_FALSE(t.link.FNTPTunnelActive);
}
