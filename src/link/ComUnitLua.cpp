// The Lua channel of TComUnit: frames over CCCI and text chunks from the SSH shell.
#include "link/ComUnit.h"

#include "foundation/Format.h"
#include "foundation/MainThread.h"

namespace ferro {

void TComUnit::LUACommand(MemStream& Stream) {
    Stream.setPosition(CHeadSize);
    size_t len = FHead.Size > Stream.position() ? FHead.Size - Stream.position() : 0;
    WriteLog(Fmt("LUA: StreamPos: %d, sz: %d", int(Stream.position()), int(len)));
    std::string text = Stream.readText(len);
    EvalLuaCommand(FHead.ExtCmd, text);
    if (len > 0) LogLuaLines(text, false);
    if (FHead.ExtCmd == 3) LogLuaLines(std::string(), true);
    // Output before the end frame keeps the list waiting: the device answers one command at a time,
    // and only the end tells that the next may go.
    FReplyNotFinal = FHead.ExtCmd != 3;
}

void TComUnit::LogLuaLines(const std::string& text, bool final) {
    FLuaText += text;
    size_t from = 0;
    for (size_t lf; (lf = FLuaText.find('\n', from)) != std::string::npos; from = lf + 1)
        WriteLog(FLuaText.substr(from, lf - from), true);
    // Erase the logged lines at once: a long output is cut in one pass, never line by line.
    FLuaText.erase(0, from);
    if (final) {
        if (!FLuaText.empty()) WriteLog(FLuaText, true);
        FLuaText.clear();
    }
}

void TComUnit::EvalLuaCommand(int Kind, const std::string& Text) {
    WriteLog(Text);
    switch (Kind) {
    case 1:
        if (FCCCISratchpadProc) FCCCISratchpadProc(Text, false);
        FLuaReply += Text;
        break;
    case 2:
        FSuccess = false;
        FCCCISratchpad = spNone;
        FLuaReply += Text;
        FLuaFailed = true;
        break;
    case 3: {
        if (FCCCISratchpadProc) {
            FCCCISratchpadProc(Text, true);
        } else if (FFlashDone) {
            WriteLog("Read Data Before FlashDone");
            FFlashDone(this, FSuccess);
            WriteLog("Read Data After FlashDone");
        }
        {
            TReply r;
            r.Ok = !FLuaFailed;
            r.Text = FLuaReply + Text;
            FLuaReply.clear();
            FLuaFailed = false;
            SettleReply(CmdLua, 3, false, std::move(r));
        }
        if (FCCCISratchpad == spGetLog) {
            SendCommand("CCC_SCRATCH_PAD_RD", CmdScratchPad, 0, 1, "logd.log", false);
            FCCCISratchpad = spNone;
        } else if (FCCCISratchpad == spFlushLog) {
            FCCCISratchpad = spGetLog;
            SendCommand("CCC_LUA_COMMAND", CmdLua, 1, 0,
                        "fs.cp(\"//mnt/flashdrive0/data/logd.log\",\"//mnt/flashdrive0/data/ccci/scratchpad/"
                        "logd.log\")",
                        true);
        }
        break;
    }
    default:
        break;
    }
}

void TComUnit::SendLUACBCommand(const std::string& Text, TStringProc Proc) {
    if (!Proc) return;
    Postpone(this, [Text, Proc = std::move(Proc)] { Proc(Text); });
}

void TComUnit::LUACommandSSH(const std::string& Text) {
    if (ContainsNoCase(Text, "Welcome to")) {
        WriteLog(Text);
        return;
    }
    bool done = false;
    std::string collected;
    size_t from = 0;
    while (from < Text.size()) {
        size_t lf = Text.find('\n', from);
        size_t end = lf == std::string::npos ? Text.size() : lf + 1;
        std::string piece = Text.substr(from, end - from);
        from = end;
        if (piece.find('\x1B') != std::string::npos) {
            done = true;
        } else {
            EvalLuaCommand(1, piece);
            collected += piece;
        }
    }
    WriteLog("LUA in: " + collected, true);
    WriteLog(std::string("done: ") + BoolStr(done));
    if (done) {
        EvalLuaCommand(3, "");
        FWaitForAnswer = false;
    }
}

} // namespace ferro
