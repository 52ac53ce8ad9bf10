#include "link/ComUnit.h"

#include "foundation/Clock.h"
#include "foundation/Format.h"
#include "foundation/MainThread.h"
#include "link/FtpClient.h"
#include "link/Messages.h"
#include "link/XmlNames.h"

#include <fstream>

namespace ferro {

namespace {
constexpr int CTickMs = 100;
constexpr int64_t CAnswerWaitSec = 10;
constexpr int64_t CHeartbeatSec = 22;
constexpr int64_t CShutdownLimitMs = 5000;

int64_t now() {
    return clock().nowMs();
}
int64_t wholeSecondsSince(int64_t t) {
    return (now() - t) / 1000;
}
} // namespace

TComUnit::TComUnit() : FFTPClient(std::make_unique<TFtpClient>()), FTimer(std::make_unique<QTimer>()) {
    FTimer->setInterval(CTickMs);
    connect(FTimer.get(), &QTimer::timeout, this, [this] { OnTimer(); });
    FLastCmd = now();
}

TComUnit::~TComUnit() {
    FTimer->stop();
}

void TComUnit::SetTimerEnabled(bool on) {
    FTimerEnabled = on;
    if (on && FRealTimer)
        FTimer->start();
    else
        FTimer->stop();
}

void TComUnit::WriteLog(const std::string& Text, bool ToMemo) {
    if (FOnLogCallBack) FOnLogCallBack(this, Text, ToMemo);
}

void TComUnit::WriteLogFromAnyThread(const std::string& Text, bool ToMemo) {
    if (IsMainThread())
        WriteLog(Text, ToMemo);
    else
        Postpone(this, [this, Text, ToMemo] { WriteLog(Text, ToMemo); });
}

bool TComUnit::FireShutDownComplete() {
    if (!FShutDownComplete) return false;
    TShutDownComplete cb = std::move(FShutDownComplete);
    FShutDownComplete = nullptr;
    FOnLogCallBack = nullptr;
    cb(this);
    return true;
}

std::string TComUnit::LineName() const {
    // An IPv6 address is bracketed so that its port stays readable.
    const bool v6 = FIP.find(':') != std::string::npos;
    return Fmt(v6 ? "[%s]:%d" : "%s:%d", FIP.c_str(), int(FPort));
}

void TComUnit::SetIPAndPort(const std::string& IP, int Port, int) {
    FIP = IP;
    // Port 0 is stored as 1: the field is never left without a port.
    FPort = uint16_t(Port < 1 ? 1 : (Port > 65535 ? 65535 : Port));
}

void TComUnit::StreamErrorsSearch() {
    // Once per silent transfer: the restart below is the answer to it, not to every tick after.
    ClearStreamAndBuffer();
    Postpone(this, [this] { SendCommand("CCC_STREAM_STOP", CmdStream, 0, CExtStop, FStreamRec.ObjHdl); });
    Postpone(
        this, [this] { SendCommand("CCC_STREAM_START", CmdStream, 0, 1, FStreamRec.ObjID); }, 2000);
}

void TComUnit::SetSSHUserPass(const std::string& User, const std::string& Password) {
    FSSHUser = User;
    FSSHPassword = Password;
}

ccc_head_t TComUnit::MakeHead(uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd) const {
    ccc_head_t h;
    h.Cmd = Cmd;
    h.Priv = Priv;
    h.ExtCmd = ExtCmd;
    h.Ver = FVer;
    h.FTPNAK = GenHeaderFTPNAK(FFTP, FGZ, FTGZ);
    h.SN = FSN;
    h.SeqCnt = FSeqCnt;
    return h;
}

// ---------------------------------------------------------------- the command list

TSendRec TComUnit::MakeRec(TSendCmd Typ, const std::string& Info, uint8_t Cmd, uint8_t Priv,
                           uint16_t ExtCmd) {
    TSendRec r;
    r.Typ = Typ;
    r.Info = Info;
    r.Cmd = Cmd;
    r.Priv = Priv;
    r.ExtCmd = ExtCmd;
    return r;
}

void TComUnit::appendRec(TSendRec rec, const char* suffix) {
    if (rec.Cmd == CmdScratchPad && rec.ExtCmd == 1) {
        // The kind belongs to this read: a read asked for later must not inherit it.
        rec.Scratch = FCCCISratchpad;
        FCCCISratchpad = spNone;
    }
    WriteLog(Fmt("Liste -> Kommando hinzugefügt: %s CMD: %x Priv: %x ExtCmd: %x%s", rec.Info.c_str(), rec.Cmd,
                 rec.Priv, rec.ExtCmd, suffix));
    FSendLst.push_back(std::move(rec));
}

void TComUnit::SendCommand(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd) {
    TSendRec r = MakeRec(scDefault, Info, Cmd, Priv, ExtCmd);
    appendRec(std::move(r), "");
    SendNxtCommand();
}

void TComUnit::SendCommand(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                           const std::string& txt, bool LUA) {
    TSendRec r = MakeRec(scWithTxt, Info, Cmd, Priv, ExtCmd);
    r.txt = txt;
    r.LUA = LUA;
    appendRec(std::move(r), "");
    SendNxtCommand();
}

void TComUnit::SendCommand(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd, uint32_t ID) {
    TSendRec r = MakeRec(scStream, Info, Cmd, Priv, ExtCmd);
    r.ID = ID;
    if (Cmd == CmdStream && ExtCmd == 1) FStreamRec.ObjID = ID;
    bool stop = ExtCmd == CExtStop;
    if (stop) {
        FNextStreamBool = false;
        FStreamRec.ObjHdl = 0;
        WriteLog("ObjectHandle auf 0 gesetzt");
    }
    appendRec(std::move(r), Fmt(" ID: %u", ID).c_str());
    if (stop && FStreamRec.WithBinary && FStreamRec.BinaryHdl > 0) {
        FStreamRec.WithBinary = false;
        uint32_t bin = FStreamRec.BinaryHdl;
        FStreamRec.BinaryHdl = 0;
        SendCommand("CCC_STREAM_STOP", CmdStream, 0, CExtStop, bin);
    }
}

void TComUnit::SendCommand(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                           const std::string& txt) {
    TSendRec r = MakeRec(scFile, Info, Cmd, Priv, ExtCmd);
    r.txt = txt;
    appendRec(std::move(r), "");
}

void TComUnit::SendCommand(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                           const std::string& txt, uint32_t Pos, bool LUA) {
    TSendRec r = MakeRec(scFileResume, Info, Cmd, Priv, ExtCmd);
    r.txt = txt;
    r.Pos = Pos;
    r.LUA = LUA;
    appendRec(std::move(r), Fmt(" Pos: %u", Pos).c_str());
}

void TComUnit::SendCommand(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                           const std::string& txt, const std::string& ccciFileName) {
    TSendRec r = MakeRec(scCCCIFile, Info, Cmd, Priv, ExtCmd);
    r.txt = txt;
    r.ccciFileName = ccciFileName;
    appendRec(std::move(r), "");
}

// ---------------------------------------------------------------- requests with a completion

void TComUnit::Settle(QObject* Context, TReplyProc Done, TReply Reply) {
    if (!Done) return;
    // Never inside the dispatcher: a completion may send, and the frame's end would undo its wait.
    Postpone(Context, [Done = std::move(Done), Reply = std::move(Reply)] { Done(Reply); });
}

void TComUnit::Fail(QObject* Context, TReplyProc Done, const std::string& Reason) {
    TReply r;
    r.Text = Reason;
    Settle(Context, std::move(Done), std::move(r));
}

void TComUnit::appendRequest(TSendRec rec) {
    if (!IsConnected()) {
        TReply r;
        r.Text = _SKeineVerbindung;
        Settle(this, std::move(rec.OnReply), std::move(r));
        return;
    }
    const bool sendsNow = rec.Typ == scDefault || rec.Typ == scWithTxt || rec.Typ == scStream;
    appendRec(std::move(rec), "");
    if (sendsNow) SendNxtCommand();
}

void TComUnit::Lua(const std::string& Line, TReplyProc Done, const std::string& Info) {
    TSendRec r = MakeRec(scWithTxt, Info, CmdLua, 1, 0);
    r.txt = Line;
    r.LUA = true;
    r.OnReply = std::move(Done);
    appendRequest(std::move(r));
}

void TComUnit::ReadSetup(TReplyProc Done) {
    TSendRec r = MakeRec(scDefault, "CCC_SETUP_RD_ALL", CmdSetup, 0, 1);
    r.OnReply = std::move(Done);
    appendRequest(std::move(r));
}

void TComUnit::WriteSetup(const std::string& File, TReplyProc Done, bool WithIcd) {
    TSendRec r = MakeRec(scFile, "CCC_SETUP_WR", CmdSetup, 1, 3);
    r.txt = File;
    r.WithIcd = WithIcd && !FICDFile.empty();
    r.OnReply = std::move(Done);
    appendRequest(std::move(r));
}

void TComUnit::ReadFile(bool Events, const std::string& Name, uint32_t Pos, TReplyProc Done) {
    if (LocalFileName(Name).empty()) {
        // A folder, "..", a NUL: nothing on disk could take it, so nothing is asked for.
        WriteLog("Readout refused, not a file name: " + Name, true);
        Fail(this, std::move(Done), Fmt(_SKeinDateiname, Name.c_str()));
        return;
    }
    TSendRec r = MakeRec(scFileResume, Events ? "CCC_READOUT_EVT_RD" : "CCC_READOUT_REC_RD", CmdReadout, 0,
                         Events ? 0x11 : 0x01);
    r.txt = Name;
    r.Pos = Pos;
    r.OnReply = std::move(Done);
    appendRequest(std::move(r));
}

void TComUnit::ScratchpadGet(const std::string& Name, TReplyProc Done) {
    TSendRec r = MakeRec(scWithTxt, "CCC_SCRATCH_PAD_RD", CmdScratchPad, 0, 1);
    r.txt = Name;
    r.OnReply = std::move(Done);
    appendRequest(std::move(r));
}

void TComUnit::ScratchpadPut(const std::string& LocalFile, const std::string& Name, TReplyProc Done) {
    TSendRec r = MakeRec(scCCCIFile, "CCC_SCRATCH_PAD_WR", CmdScratchPad, 0, 2);
    r.txt = LocalFile;
    r.ccciFileName = Name;
    r.OnReply = std::move(Done);
    appendRequest(std::move(r));
}

void TComUnit::SettleReply(uint8_t Cmd, uint16_t Ext, bool Refusal, TReply Reply) {
    for (auto it = FPending.begin(); it != FPending.end(); ++it) {
        if (it->Cmd != Cmd) continue;
        if (it->ReplyExt != Ext && !(Refusal && it->RequestExt == Ext)) continue;
        TReplyProc done = std::move(it->Done);
        FPending.erase(it);
        Settle(this, std::move(done), std::move(Reply));
        return;
    }
}

const TComUnit::TPendingReply* TComUnit::WaitingScratchRead() const {
    for (const TPendingReply& p : FPending)
        if (p.Cmd == CmdScratchPad && p.ReplyExt == 1) return &p;
    return nullptr;
}

void TComUnit::FailPendingReplies(const std::string& Reason) {
    std::deque<TPendingReply> pending;
    pending.swap(FPending);
    for (TPendingReply& p : pending)
        Fail(this, std::move(p.Done), Reason);
}

void TComUnit::FailStaleReplies() {
    // Writes are acknowledged whenever the instrument is done; everything else answers in turn.
    const int64_t limit = now() - CAnswerWaitSec * 1000;
    for (auto it = FPending.begin(); it != FPending.end();) {
        const bool write =
            (it->Cmd == CmdSetup && it->RequestExt == 3) || (it->Cmd == CmdScratchPad && it->RequestExt == 2);
        if (write || it->SentMs > limit) {
            ++it;
            continue;
        }
        Fail(this, std::move(it->Done), _SKeineAntwort);
        it = FPending.erase(it);
    }
}

void TComUnit::clearSendList(const std::string& Reason) {
    std::deque<TSendRec> dropped;
    dropped.swap(FSendLst);
    for (TSendRec& rec : dropped) {
        Fail(this, std::move(rec.OnReply), Reason);
    }
}

void TComUnit::LineLost(const std::string& Reason) {
    SetTimerEnabled(false);
    clearSendList(Reason);
    FailPendingReplies(Reason);
    ClearStreamAndBuffer();
    if (FOnLineLost) {
        FOnLineLost(Reason);
        return;
    }
    if (FDisplayConnMessage) FDisplayConnMessage(Reason, mtError, nullptr, Buttons({mbOK}), mbOK);
    if (FClearWork) FClearWork();
}

void TComUnit::ResetForConnect() {
    SetTimerEnabled(false);
    clearSendList(_SVerbindungBeendet);
    FailPendingReplies(_SVerbindungBeendet);
    ClearStreamAndBuffer();
    FShutDown = false;
    FShutDownWithTimer = false;
    FNAK = false;
    FTHreadExcept = false;
    FLuaReply.clear();
    FLuaFailed = false;
}

void TComUnit::TransferWork(TWorkStatus Status, TWorkMode Mode, uint64_t Count) {
    if (Status == WorkWorking) {
        // A transfer that moves is alive: neither the answer wait nor the transfer time runs out.
        FLastCmd = now();
        FTransferInProgressTime = now() + 10000;
    }
    if (FOnTransferWork) FOnTransferWork(Status, Mode, Count);
}

void TComUnit::SendNamed(const std::string& name) {
    const TCommandDef* def = FindCommand(name);
    if (!def) {
        WriteLog("Unknown command " + name);
        return;
    }
    SendCommand(def->Name, def->Cmd, def->Priv, def->ExtCmd);
}

void TComUnit::SendNxtCommand() {
    WriteLog(Fmt("Before Next Command Cnt: %d Wait: %s inProg: %s", CountSendLst(), BoolStr(FWaitForAnswer),
                 BoolStr(FTransferInProgress)));
    if (!IsConnected()) WriteLog("Before Next Command Not Connected");
    while (IsConnected() && !FSendLst.empty() && !FWaitForAnswer &&
           (!FTransferInProgress || CheckTransferTimeout())) {
        TSendRec rec = std::move(FSendLst.front());
        FSendLst.pop_front();
        WriteLog(Fmt("Liste -> Kommando wird abgearbeitet: %s CMD: %x Priv: %x ExtCmd: %x SLCnt: %d",
                     rec.Info.c_str(), rec.Cmd, rec.Priv, rec.ExtCmd, CountSendLst()));
        TReplyProc done = std::move(rec.OnReply);
        // Every scratchpad read waits in the list, with or without a completion: its reply takes
        // the name and kind of the read it answers, even while a second read is out.
        const bool request = bool(done) || (rec.Cmd == CmdScratchPad && rec.ExtCmd == 1 && !rec.LUA);
        if (request) {
            // Registered before the send: a reply can never overtake its request.
            TPendingReply p;
            p.Cmd = rec.Cmd;
            p.RequestExt = rec.ExtCmd;
            p.ReplyExt = rec.Cmd == CmdLua ? 3 : rec.ExtCmd;
            p.SentMs = now();
            p.Name = rec.txt;
            p.Scratch = rec.Scratch;
            p.Done = std::move(done);
            FPending.push_back(std::move(p));
        }
        bool ok = SendEntry(rec);
        if (!rec.LUA) ++FSeqCnt;
        if (!ok) {
            if (request && !FPending.empty()) {
                TReply r;
                r.Text = _SSendenFehlgeschlagen;
                Settle(this, std::move(FPending.back().Done), std::move(r));
                FPending.pop_back();
            }
            break;
        }
    }
}

bool TComUnit::SendEntry(const TSendRec& rec) {
    FLastCmd = now();
    ccc_head_t h = MakeHead(rec.Cmd, rec.Priv, rec.ExtCmd);
    switch (rec.Typ) {
    case scDefault: {
        FWaitForAnswer = true;
        MemStream s = frames::Plain(h);
        WriteLog(Fmt("Sending %s CMD: %x Priv: %x ExtCmd: %x NAK: %x Seq: %u", rec.Info.c_str(), h.Cmd,
                     h.Priv, h.ExtCmd, h.FTPNAK, h.SeqCnt));
        bool ok = SendCommandStream(s, false);
        if (rec.ExtCmd == CExtStop) {
            // The session stop drops whatever was appended before it went out.
            WriteLog(Fmt("Liste gecleart %d", CountSendLst()));
            FWaitForAnswer = false;
            clearSendList(_SVerbindungBeendet);
        }
        return ok;
    }
    case scWithTxt:
    case scFileResume: {
        FWaitForAnswer = true;
        MemStream s;
        if (rec.LUA) {
            FSuccess = true;
            s = frames::Lua(h, rec.txt);
            WriteLog(Fmt("Sending %s CMD: %x Priv: %x ExtCmd: %x FTPNACK: %x Seq: %u AddData: %s",
                         rec.Info.c_str(), h.Cmd, h.Priv, h.ExtCmd, h.FTPNAK, h.SeqCnt, "###"));
        } else {
            FFileName = rec.txt;
            s = frames::WithName(h, rec.txt, rec.Typ == scWithTxt ? 0 : rec.Pos);
            WriteLog(Fmt("Sending %s CMD: %x Priv: %x ExtCmd: %x FTPNACK: %x Seq: %u AddData: %s",
                         rec.Info.c_str(), h.Cmd, h.Priv, h.ExtCmd, h.FTPNAK, h.SeqCnt, rec.txt.c_str()));
        }
        return SendCommandStream(s, rec.LUA);
    }
    case scStream: {
        if (rec.ExtCmd == CExtStop) FWaitForAnswer = true;
        MemStream s = frames::WithId(h, rec.ID);
        WriteLog(Fmt("Sending %s CMD: %x Priv: %x ExtCmd: %x NAK: %x Seq: %u AddData: %x", rec.Info.c_str(),
                     h.Cmd, h.Priv, h.ExtCmd, h.FTPNAK, h.SeqCnt, rec.ID));
        return SendCommandStream(s, false);
    }
    case scFile: {
        FWaitForAnswer = false;
        WriteLog(Fmt("Sending %s CMD: %x Priv: %x ExtCmd: %x NAK: %x Seq: %u", rec.Info.c_str(), h.Cmd,
                     h.Priv, h.ExtCmd, h.FTPNAK, h.SeqCnt));
        if (rec.WithIcd) h.FTPNAK |= CFlagTGZ;
        std::string file = PrepareSetupUpload(rec.txt, rec.WithIcd);
        WriteLog("Sending File " + file);
        if (file.empty()) return false;
        if (FFTP) {
            bool put = SendFTPFile(file, "/ramdrive0/ccci");
            if (!put) WriteLog("FTP: upload failed " + file, true);
            SendCommand(rec.Info, rec.Cmd, rec.Priv, rec.ExtCmd, ExtractFileName(file), false);
            return put;
        }
        MemStream data;
        if (!data.loadFromFile(file)) {
            WriteLog("File not found: " + file);
            return false;
        }
        WriteLog("Before Send");
        MemStream s = frames::File(h, data.bytes());
        WorkEvent(wmWrite, s.size(), WorkBegin);
        bool ok = SendCommandStream(s, false);
        WorkEvent(wmWrite, s.size(), WorkEnd);
        WriteLog("After Send");
        return ok;
    }
    case scCCCIFile: {
        FWaitForAnswer = false;
        WriteLog(Fmt("Sending %s CMD: %x Priv: %x ExtCmd: %x NAK: %x Seq: %u", rec.Info.c_str(), h.Cmd,
                     h.Priv, h.ExtCmd, h.FTPNAK, h.SeqCnt));
        MemStream file;
        if (!file.loadFromFile(rec.txt)) {
            WriteLog("File not found: " + rec.txt);
            return false;
        }
        MemStream s = frames::ScratchFile(h, rec.ccciFileName, file.bytes());
        WorkEvent(wmWrite, s.size(), WorkBegin);
        bool ok = SendCommandStream(s, false);
        WorkEvent(wmWrite, s.size(), WorkEnd);
        return ok;
    }
    }
    return false;
}

void TComUnit::SendStartCommand(uint32_t Method, const std::string& User, const std::string& Password) {
    ccc_head_t h = MakeHead(CmdSession, 0, 0);
    MemStream s = frames::Start(h, Method, User, Password);
    WriteLog(Fmt(
        "Sending ccc_start_s CMD: %x | Priv: %x | ExtCmd: %x | Method: %d | NAK: %x | Ver: %d | Seq: %u | "
        "Size: %d",
        h.Cmd, h.Priv, h.ExtCmd, int(Method), h.FTPNAK, h.Ver, h.SeqCnt, int(frames::CStartSize)));
    SendCommandStream(s, false);
}

void TComUnit::StartPlainSession() {
    FVer = 4;
    SendNamed(FVisibility >= 2 ? "CCC_SESSION_STR_SUP" : "CCC_SESSION_STR_ADV");
}

// ---------------------------------------------------------------- receiving

bool TComUnit::Evaluate(MemStream& Stream) {
    // A frame copy holds exactly one frame and brings its own head: a refusal that left the transfer
    // flag set (it stays until the next tick) must not make this frame more of the refusal.
    FTransferInProgress = false;
    // A remainder left by a handler is parsed as the next frame.
    for (;;) {
        if (!FTransferInProgress) {
            FTransferInProgress = true;
            FHead = ccc_head_t{};
            if (Stream.size() >= CHeadSize) FHead = ccc_head_t::decode(Stream.data());
            FNAK = CheckNAK(FHead.FTPNAK);
            FSeqCnt = FHead.SeqCnt;
            WriteLog(Fmt(
                "ComUnit: CMD=%x Priv=%x ExtCmd=%x ver=%d FTPNAK=%d SN=%d Size=%d SeqCnt=%d StreamSize=%d",
                FHead.Cmd, FHead.Priv, FHead.ExtCmd, FHead.Ver, FHead.FTPNAK, int(FHead.SN), int(FHead.Size),
                int(FHead.SeqCnt), int(Stream.size())));
            ++FSeqCnt;
        }
        if (FNAK) {
            bool result = true;
            HandleRefusal(Stream, result);
            return result;
        }
        const size_t held = Stream.size() + (FSpooled ? FSpooled->Size() : 0);
        if (FHead.Size > held) return true;
        if (FHead.Size < CHeadSize) {
            // Not a frame: nothing to dispatch, and nothing behind it can be trusted.
            WriteLog(Fmt("ComUnit: frame size %u below the head dropped", FHead.Size));
            ClearStreamAndBuffer();
            return false;
        }
        Stream.setPosition(CHeadSize);
        FTransferInProgress = false;
        WorkEvent(wmRead, FHead.Size, WorkEnd);
        WriteLog(Fmt("ComUnit: EndWork %d/%d", int(Stream.size()), int(FHead.Size)));
        WriteLog(Fmt(
            "ComUnit Accept Cmd=%d Priv=%d ExtCmd=%d ver=%d FTPNAK=%d SN=%d Size=%d SeqCnt=%d StreamSize=%d",
            FHead.Cmd, FHead.Priv, FHead.ExtCmd, FHead.Ver, FHead.FTPNAK, int(FHead.SN), int(FHead.Size),
            int(FHead.SeqCnt), int(Stream.size())));
        FReplyNotFinal = false;
        switch (FHead.Cmd) {
        case CmdSession:
            SessionCommand(Stream);
            break;
        case CmdIdentify:
            IdentityCommand(Stream);
            break;
        case CmdSetup:
            SetupCommand(Stream);
            break;
        case CmdStream:
            StreamCommand(Stream);
            break;
        case CmdReadout:
            ReadoutCommand(Stream);
            break;
        case CmdLua:
            LUACommand(Stream);
            break;
        case CmdScratchPad:
            ScratchPadCommand(Stream);
            break;
        case CmdNTP:
            NTPCommand(Stream);
            break;
        case CmdFileStream:
            FileStream(Stream);
            break;
        default:
            // An unknown frame drops all waiting commands.
            ClearStreamAndBuffer();
            clearSendList(_SUnbekannteAntwort);
            return false;
        }
        if (FHead.Cmd != CmdLua && !FReplyNotFinal) {
            TReply r;
            r.Ok = FReplyError.empty();
            r.Text = FReplyError;
            r.File = FReplyFile;
            SettleReply(FHead.Cmd, FHead.ExtCmd, false, std::move(r));
        }
        FReplyFile.clear();
        FReplyError.clear();
        WriteLog(Fmt("ComUnit BeforeClear Size: %d StreamSize: %d StreamPosition: %d", int(FHead.Size),
                     int(Stream.size()), int(Stream.position())));
        if (Stream.position() >= Stream.size()) {
            // A handler whose reply is not the last of its command keeps the list waiting.
            const bool keep = FReplyNotFinal;
            const bool wait = FWaitForAnswer;
            ClearStreamAndBuffer();
            if (keep) FWaitForAnswer = wait;
            return true;
        }
        WriteLog(Fmt("Data still inside: %d", int(Stream.remaining())));
        Stream.compactFromPosition();
        FTransferInProgress = false;
    }
}

void TComUnit::HandleRefusal(MemStream& Stream, bool& result) {
    WriteLog("NAK True");
    Stream.setPosition(CHeadSize);
    uint32_t code = Stream.readU32();
    const size_t end = FHead.Size <= Stream.size() ? FHead.Size : Stream.size();
    const std::string text =
        Stream.position() < end ? Stream.readText(end - Stream.position()) : std::string();
    if (code == 120) {
        if (FDisplayConnMessage)
            FDisplayConnMessage(
                _SZweiVerbindungen, mtError, [this](TSender s, int r) { NAKerrorCB(s, r); }, Buttons({mbOK}),
                mbOK);
        else if (FNAKCB)
            FNAKCB(this, code);
        emit Refused(FHead.Cmd, FHead.ExtCmd, code, QString::fromStdString(text));
        result = true;
        return;
    }
    if (code == 134 && FHead.Cmd == CmdSession && FHead.ExtCmd == 0) {
        WriteLog("FallBack CCCI V4");
        FVer = 4;
        SendNamed("CCC_SESSION_STR_ADV");
        result = true;
        return;
    }
    {
        TReply r;
        r.Code = code;
        r.Text = Fmt(_SGeraetLehntAb, unsigned(code), text.c_str());
        SettleReply(FHead.Cmd, FHead.ExtCmd, true, std::move(r));
    }
    WriteLog(
        Fmt("ComUnit NAK Cmd=%u Priv=%u ExtCmd=%u Ver=%u FTPNAK=%u SN=%u Size=%u SeqCnt=%u StreamSize=%d "
            "ErrorCode:%u ErrorMessage:%s",
            FHead.Cmd, FHead.Priv, FHead.ExtCmd, FHead.Ver, FHead.FTPNAK, FHead.SN, FHead.Size, FHead.SeqCnt,
            int(Stream.size()), code, text.c_str()));
    if (!FDisplayConnMessage) {
        if (FNAKCB) FNAKCB(this, code);
    } else if (code == 13) {
        // A plain session (serial, TCP) has no login of ours: the session's user is named then.
        const std::string& user = FSSHUser.empty() ? FUser : FSSHUser;
        FDisplayConnMessage(Fmt(_SKeinZugriff, user.c_str()), mtError, nullptr, Buttons({mbOK}), mbOK);
    } else if (code == 107) {
        FDisplayConnMessage(
            _SZweiVerbindungen, mtError, [this](TSender s, int r) { NAKerrorCB(s, r); }, Buttons({mbOK}),
            mbOK);
    } else {
        // The title carries the instrument's code, so that the message names both.
        FDisplayConnMessage(Fmt(_SErrorCode, unsigned(code)) + " NAK: " + text, mtError, nullptr,
                            Buttons({mbOK}), mbOK);
    }
    emit Refused(FHead.Cmd, FHead.ExtCmd, code, QString::fromStdString(text));
    Stream.setPosition(end);
    WorkEvent(wmRead, FHead.Size, WorkEnd);
    // The refusal is the request's answer: the list goes on (and a close is not held up by it).
    ClearStreamAndBuffer();
    if (FStopWork) FStopWork();
    if (Stream.remaining() >= CHeadSize) {
        Stream.compactFromPosition();
        FTransferInProgress = false;
        Evaluate(Stream);
    }
    result = false;
}

void TComUnit::NAKerrorCB(TSender, int) {
    if (FNAKCB) FNAKCB(this, 0);
    if (FRequestClose) {
        WriteLog("NAK RequestClose");
        Postpone(this, [this] {
            if (FRequestClose) FRequestClose(this);
        });
    }
}

void TComUnit::AnswerTimedOut() {
    FSilenceHandled = FLastCmd;
    WriteLog("AnswerTmout");
    // Only the link thread knows whether a half frame waits; it says so if it dropped one.
    DropHalfFrame();
}

void TComUnit::HalfFrameDropped() {
    WriteLog("Half frame dropped, reading afresh");
    // Whatever was asked before the silence was swallowed by the garbled frame.
    FailStaleReplies();
    FTransferInProgress = false;
    FWaitForAnswer = false;
    SendNxtCommand();
}

void TComUnit::ClearStreamAndBuffer() {
    FTransferInProgress = false;
    FWaitForAnswer = false;
}

bool TComUnit::CheckTransferTimeout() const {
    return FTransferInProgressTime < now();
}

void TComUnit::ManualTimer(TSender) {
    if (FTimerEnabled) OnTimer();
}

void TComUnit::OnTimer() {
    const bool C = IsConnected();
    const bool T = CheckTransferTimeout();
    if (FShutDownWithTimer) {
        FShutDownWithTimer = false;
        ShutDown(this, nullptr);
        return;
    }
    if (FTransferInProgress && T) {
        if (!FStreamRec.Active) {
            WriteLog("No Communication within Transfer time!");
            ClearStreamAndBuffer();
        } else {
            StreamErrorsSearch();
        }
        return;
    }
    if (FNextStreamBool && FNextStreamDT < now()) {
        FNextStreamBool = false;
        SendCommand("CCC_STREAM_GET_NXT", CmdStream, 0, 2, FStreamRec.ObjHdl);
        return;
    }
    if (!FWaitForAnswer && !FSendLst.empty() && (!FTransferInProgress || T)) {
        WriteLog(Fmt("tmr: Send Next / %d", CountSendLst()));
        SendNxtCommand();
        return;
    }
    if (C && !FSendLst.empty() && wholeSecondsSince(FLastCmd) > CAnswerWaitSec) {
        WriteLog("NextCmdTmout");
        FailStaleReplies();
        FWaitForAnswer = false;
        FSilenceHandled = FLastCmd;
        DropHalfFrame();
        SendNxtCommand();
        return;
    }
    if (C && (FWaitForAnswer || !FPending.empty()) && T && wholeSecondsSince(FLastCmd) > CAnswerWaitSec &&
        FSilenceHandled != FLastCmd) {
        AnswerTimedOut();
        return;
    }
    if (C && !FShutDown && FSendLst.empty() && wholeSecondsSince(FLastCmd) > CHeartbeatSec &&
        (!FTransferInProgress || T) && !FHeartBeatDisabled) {
        WriteLog("Heartbeat");
        SendNamed("CCC_IDENTIFY_BASIC");
        return;
    }
    if (!FWaitForAnswer && FShutDown && ((FSendLst.empty() && !SendQueueActive) || FShutdownTime < now())) {
        WriteLog("ShutdownHandling");
        if (C) {
            SetTimerEnabled(false);
            CloseConnection(true);
        } else if (FShutDownComplete) {
            FireShutDownComplete();
        } else {
            FShutDown = false;
        }
    }
}

void TComUnit::ShutDown(TSender, TShutDownComplete Callback) {
    if (Callback) FShutDownComplete = std::move(Callback);
    FShutdownTime = now() + CShutdownLimitMs;
    FShutDown = true;
    WriteLog(Fmt("ComUnit: ShutDown Start - Connected: %s", BoolStr(IsConnected())));
    if (IsConnected() && FTimerEnabled) {
        if (!FSendLst.empty()) clearSendList(_SVerbindungBeendet);
        if (FNTPTunnelActive) SendNamed("CCC_TUNNEL_NTP_CLOSE");
        if (FStreamRec.ObjHdl > 1) SendCommand("CCC_STREAM_STOP", CmdStream, 0, CExtStop, FStreamRec.ObjHdl);
        SendNamed("CCC_SESSION_STP");
    } else if (FShutDownComplete) {
        FireShutDownComplete();
    }
}

void TComUnit::ThreadException(const std::string& Message) {
    WriteLog("ThreadExcept " + Message);
    clearSendList(_SVerbindungsabbruch);
    FailPendingReplies(_SVerbindungsabbruch);
    DoDisconnect(false);
    SetTimerEnabled(false);
    if (FOnLineLost) {
        FTHreadExcept = true;
        if (FThreadExceptCallBack) FThreadExceptCallBack(this);
        FOnLineLost(_SVerbindungsabbruch);
        return;
    }
    if (FDisplayConnMessage) {
        FDisplayConnMessage(
            _SVerbindungsabbruch, mtError, [this](TSender, int) { AfterConDisp(); }, Buttons({mbOK}), mbOK);
        if (FClearWork) FClearWork();
    } else {
        AfterConDisp();
    }
}

void TComUnit::AfterConDisp() {
    FTHreadExcept = true;
    auto calls = [this] {
        if (FThreadExceptCallBack) FThreadExceptCallBack(this);
        if (FRequestClose) {
            WriteLog("Request Close");
            FRequestClose(this);
        }
    };
    if (IsMainThread())
        calls();
    else
        Postpone(this, calls);
}

} // namespace ferro
