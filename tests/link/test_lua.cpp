// The Lua channel: output over frames and from the SSH shell, errors, one-shot callbacks, log lines.
#include "support/LinkFixture.h"

#include <gtest/gtest.h>

using namespace ferro;
using namespace ferro::test;

namespace {
std::vector<uint8_t> luaOut(uint16_t kind, const std::string& text) {
    return Frame(6, 1, kind, std::vector<uint8_t>(text.begin(), text.end()));
}
} // namespace

TEST(LuaFrames, LineBrokenAcrossTwoFramesIsLoggedOnceWhole) {
    LinkFixture t;
    std::string result;
    bool called = false;
    t.link.Lua("print(uti.stat())", [&](const TReply& r) {
        result = r.Text;
        called = r.Ok;
    });
    t.feed(luaOut(1, "first line\nsecond "));
    t.feed(luaOut(1, "half\nthird"));
    t.feed(luaOut(3, ""));
    std::vector<std::string> expect = {"first line", "second half", "third"};
    EXPECT_EQ(t.memoLines, expect);
    EXPECT_FALSE(called) << "the completion runs from the main-thread queue";
    t.processEvents();
    EXPECT_TRUE(called);
    EXPECT_EQ(result, "first line\nsecond half\nthird");
    EXPECT_EQ(t.link.PendingReplies(), 0u) << "settled once, then forgotten";
    EXPECT_FALSE(t.link.FWaitForAnswer);
}

TEST(LuaFrames, EachLineGetsItsOwnOutputAndErrorsFailTheRequest) {
    LinkFixture t;
    std::vector<TReply> replies;
    t.link.Lua("gpio.keyLeft()", [&](const TReply& r) { replies.push_back(r); });
    t.link.Lua("nope()", [&](const TReply& r) { replies.push_back(r); });
    t.feed(luaOut(3, ""));
    t.tick(); // the second line leaves once the first has ended
    t.feed(luaOut(2, "attempt to call a nil value\n"));
    t.feed(luaOut(3, ""));
    t.processEvents();
    ASSERT_EQ(replies.size(), 2u);
    EXPECT_TRUE(replies[0].Ok);
    EXPECT_EQ(replies[0].Text, "");
    EXPECT_FALSE(replies[1].Ok);
    EXPECT_EQ(replies[1].Text, "attempt to call a nil value\n");
}

TEST(LuaFrames, RefusalAndLostLineEndTheRequestWithTheirReason) {
    LinkFixture t;
    std::vector<TReply> replies;
    t.link.Lua("print(1)", [&](const TReply& r) { replies.push_back(r); });
    t.feed(Refusal(6, 1, 0, 13, "no right"));
    t.link.Lua("print(2)", [&](const TReply& r) { replies.push_back(r); });
    t.link.LineLost("Verbindungsabbruch");
    t.processEvents();
    ASSERT_EQ(replies.size(), 2u);
    EXPECT_EQ(replies[0].Code, 13u);
    EXPECT_NE(replies[0].Text.find("no right"), std::string::npos);
    EXPECT_FALSE(replies[1].Ok);
    EXPECT_EQ(replies[1].Text, "Verbindungsabbruch");
}

TEST(LuaFrames, ErrorOutputClearsSuccessForTheFlashCallback) {
    LinkFixture t;
    int calls = 0;
    bool success = true;
    t.link.FFlashDone = [&](TSender, bool ok) {
        ++calls;
        success = ok;
    };
    t.link.SendCommand("CCC_LUA_COMMAND", 6, 1, 0, "nope()", true);
    EXPECT_TRUE(t.link.FSuccess);
    t.feed(luaOut(2, "attempt to call a nil value (global 'nope')\n"));
    t.feed(luaOut(3, ""));
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(success);
    EXPECT_TRUE(t.logged("Read Data Before FlashDone"));
}

TEST(LuaFrames, PieceCallbackTakesPrecedenceAndIsKept) {
    LinkFixture t;
    std::vector<std::pair<std::string, bool>> pieces;
    int flash = 0;
    t.link.FCCCISratchpadProc = [&](const std::string& s, bool last) { pieces.push_back({s, last}); };
    t.link.FFlashDone = [&](TSender, bool) { ++flash; };
    t.feed(luaOut(1, "a"));
    t.feed(luaOut(3, "b"));
    ASSERT_EQ(pieces.size(), 2u);
    EXPECT_EQ(pieces[1], std::make_pair(std::string("b"), true));
    EXPECT_EQ(flash, 0);
    EXPECT_TRUE(t.link.FCCCISratchpadProc) << "the caller owns it";
}

TEST(LuaFrames, SecondLineWaitsForTheFirstToEnd) {
    LinkFixture t;
    t.link.SendCommand("CCC_LUA_COMMAND", 6, 1, 0, "print(1)", true);
    t.link.SendCommand("CCC_LUA_COMMAND", 6, 1, 0, "print(2)", true);
    ASSERT_EQ(t.link.Sent.size(), 1u);
    t.feed(luaOut(1, "1\n"));
    t.tick();
    EXPECT_EQ(t.link.Sent.size(), 1u) << "output alone does not end the command";
    t.feed(luaOut(3, ""));
    t.tick();
    ASSERT_EQ(t.link.Sent.size(), 2u);
    std::string second(t.link.Sent[1].bytes.begin() + 20, t.link.Sent[1].bytes.end());
    EXPECT_EQ(second, "print(2)\r\n");

    // Without an end frame the next line goes after ten seconds of clock.
    t.link.SetTimerEnabled(true);
    t.link.SendCommand("CCC_LUA_COMMAND", 6, 1, 0, "print(3)", true);
    t.tick(10500);
    EXPECT_EQ(t.link.Sent.size(), 2u);
    t.tick(600);
    EXPECT_EQ(t.link.Sent.size(), 3u);
}

TEST(LuaFrames, LogFileRoadForOldDevices) {
    LinkFixture t;
    t.link.FCCCISratchpad = spFlushLog;
    t.link.SendCommand("CCC_LUA_COMMAND", 6, 1, 0, "uti.flushLog()", true);
    t.feed(luaOut(3, ""));
    EXPECT_EQ(t.link.FCCCISratchpad, spGetLog);
    t.tick();
    ASSERT_EQ(t.link.Sent.size(), 2u);
    std::string copy(t.link.Sent[1].bytes.begin() + 20, t.link.Sent[1].bytes.end() - 2);
    EXPECT_EQ(
        copy,
        "fs.cp(\"//mnt/flashdrive0/data/logd.log\",\"//mnt/flashdrive0/data/ccci/scratchpad/logd.log\")");
    t.feed(luaOut(3, ""));
    t.tick();
    ASSERT_EQ(t.link.Sent.size(), 3u);
    EXPECT_EQ(t.sentNames()[2], "CCC_SCRATCH_PAD_RD");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&t.link.Sent[2].bytes[20])), "logd.log");
    EXPECT_EQ(t.link.FCCCISratchpad, spNone) << "the state falls back right behind the read";
}

TEST(LuaFrames, SeveralMegabytesArriveWhole) {
    LinkFixture t;
    std::string result;
    t.link.Lua("big()", [&](const TReply& r) { result = r.Text; });
    std::string line(99, 'x');
    line += '\n';
    std::string chunk;
    for (int i = 0; i < 10; ++i)
        chunk += line; // 1000 bytes per frame
    for (int i = 0; i < 4000; ++i)
        t.feed(luaOut(1, chunk));
    t.feed(luaOut(3, ""));
    t.processEvents();
    EXPECT_EQ(result.size(), 4000u * 1000u);
    EXPECT_EQ(t.memoLines.size(), 40000u);
}

TEST(LuaShell, GreetingChunkIsDroppedWhole) {
    LinkFixture t;
    std::string result = "unset";
    t.link.Lua("print(7)", [&](const TReply& r) { result = r.Text; });
    t.link.LUACommandSSH("Welcome to FerroRecorder\r\n42\r\n");
    t.processEvents();
    EXPECT_EQ(result, "unset");
    EXPECT_TRUE(t.memoLines.empty());
    // The answer after it is the command's, without anything of the greeting.
    t.link.LUACommandSSH("7\n\x1b[1;32mferro> ");
    t.processEvents();
    EXPECT_EQ(result, "7\n");
}

TEST(LuaShell, EscapeEndsTheCommand) {
    LinkFixture t;
    std::string result;
    t.link.Lua("print(2) print(3)", [&](const TReply& r) { result = r.Text; });
    t.link.FWaitForAnswer = true;
    t.link.LUACommandSSH("2\n");
    EXPECT_TRUE(t.link.FWaitForAnswer);
    t.link.LUACommandSSH("3\n\x1b[1;32mferro> ");
    EXPECT_FALSE(t.link.FWaitForAnswer);
    t.processEvents();
    EXPECT_EQ(result, "2\n3\n");
    EXPECT_TRUE(t.logged("done: True"));
}
