#pragma once
// The link object of one open view: the command list, the 100 ms timer, the frame dispatcher and
// every callback into the view. Abstract; the transports add the socket, SSH or serial line.

#include "foundation/MemStream.h"
#include "foundation/Sammler.h"
#include "foundation/TimeRecords.h"
#include "link/CccHead.h"
#include "link/CommandTable.h"
#include "link/FrameSpool.h"

#include <QObject>
#include <QTimer>

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ferro {

// The end of one request: its result, or why there is none.
struct TReply {
    bool Ok = false;
    uint32_t Code = 0; // the instrument's refusal code, 0 without one
    std::string Text;  // Lua output, or the reason of a failure in German
    std::string File;  // the local file that arrived (setup, scratchpad, recording)
};
using TReplyProc = std::function<void(const TReply&)>;

// Who answered, as the last full identity told it. Read-only for everything but the dispatcher.
struct TIdentity {
    uint32_t SN = 0;
    uint32_t Article = 0, ProdDate = 0;
    TDevType DevType = devtypNone;
    TFerroFW Rev;
    std::string Plant, Field, Device;
    uint32_t ConTime = 0; // the instrument's clock in UTC seconds when the identity was read
    time_set_t TimeSet;
};

struct TSendRec {
    TSendCmd Typ = scDefault;
    std::string Info;
    uint8_t Cmd = 0, Priv = 0;
    uint16_t ExtCmd = 0;
    uint32_t ID = 0;
    std::string txt;
    std::string ccciFileName;
    uint32_t Pos = 0;
    bool LUA = false;
    // A scratchpad read: what its reply is (the link's FCCCISratchpad when the read was asked for).
    TCCCISratchpad Scratch = spNone;
    bool WithIcd = false; // a setup write packed with the ICD copy
    TReplyProc OnReply;   // called once, on the main thread, when the request ends
};

// The eight language files, the structure file and the object-properties file as the instrument
// names them (the scratchpad carries them gzip-compressed).
enum TLangu : uint8_t {
    lgDeutsch,
    lgEnglish,
    lgFrancais,
    lgEspanol,
    lgItaliano,
    lgPolski,
    lgCesky,
    lgRussian
};

class TComUnit : public QObject {
    Q_OBJECT
public:
    TComUnit();
    ~TComUnit() override;
    TComUnit(const TComUnit&) = delete;
    TComUnit& operator=(const TComUnit&) = delete;

    // ---- Sending ----
    void SendCommand(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd);
    void SendCommand(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                     const std::string& txt, bool LUA);
    void SendCommand(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd, uint32_t ID);
    void SendCommand(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                     const std::string& txt);
    void SendCommand(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                     const std::string& txt, uint32_t Pos, bool LUA);
    void SendCommand(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                     const std::string& txt, const std::string& ccciFileName);
    // A string literal as the last argument means the scratchpad form, never the Lua flag.
    void SendCommand(const std::string& Info, uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd,
                     const std::string& txt, const char* ccciFileName) {
        SendCommand(Info, Cmd, Priv, ExtCmd, txt, std::string(ccciFileName));
    }
    // A row of the command table by name, plain form.
    void SendNamed(const std::string& name);

    // ---- Requests with a completion (each Done is called once, on the main thread, also when the
    // instrument refuses, the answer does not come or the line goes) ----
    void Lua(const std::string& Line, TReplyProc Done, const std::string& Info = "CCC_LUA_COMMAND");
    // The whole setup; Done gets the local file.
    void ReadSetup(TReplyProc Done);
    // Sends a setup file and waits for the instrument's acknowledgement. `WithIcd`: as a tar.gz
    // with the local ICD copy (FICDFile), so that the instrument's IEC 61850 server gets it too.
    void WriteSetup(const std::string& File, TReplyProc Done, bool WithIcd = false);
    // A recording (or event) from byte `Pos` on, appended to its local file, which Done gets.
    void ReadFile(bool Events, const std::string& Name, uint32_t Pos, TReplyProc Done);
    // A file of the scratchpad into the temporary folder; Done gets the local copy.
    void ScratchpadGet(const std::string& Name, TReplyProc Done);
    void ScratchpadPut(const std::string& LocalFile, const std::string& Name, TReplyProc Done);
    // Ends every request still waiting with `Reason`.
    void FailPendingReplies(const std::string& Reason);
    size_t PendingReplies() const { return FPending.size(); }

    void SendNxtCommand();
    void SendStartCommand(uint32_t Method, const std::string& User, const std::string& Password);
    // The plain opening after the line stands: protocol 4, the advanced or the support session.
    void StartPlainSession();

    int CountSendLst() const { return int(FSendLst.size()); }
    const std::deque<TSendRec>& SendList() const { return FSendLst; }
    bool IsTimerActive() const { return FTimerEnabled; }
    void ManualTimer(TSender Sender);
    void WriteLog(const std::string& Text, bool ToMemo = false);
    void SetSSHUserPass(const std::string& User, const std::string& Password);
    void ShutDown(TSender Sender, TShutDownComplete Callback);

    // ---- Receiving ----
    // Parses a complete frame at the start of Stream. False asks the thread to clear its buffer.
    bool Evaluate(MemStream& Stream);
    virtual void ClearStreamAndBuffer();
    void OnTimer();
    bool CheckTransferTimeout() const;
    // A link thread died.
    void ThreadException(const std::string& Message);
    void AfterConDisp();
    void NAKerrorCB(TSender Sender, int AResult);

    // ---- What the line tells about itself ----
    // Why the last connect failed, in German; "" when it did not fail.
    virtual std::string ConnectError() const { return std::string(); }
    // The last connect failed at the login (SSH user or password).
    virtual bool AuthFailed() const { return false; }
    // Ends a connect under way at once, from any thread, and refuses later ones.
    virtual void CancelConnect() {}
    // Bytes of the frame under way that have arrived; readable from any thread.
    virtual uint64_t ReadArrived() const { return 0; }
    // Where the line goes, for the footer and messages: "address:port", a serial link's device.
    virtual std::string LineName() const;
    const TIdentity& Identity() const { return FIdentity; }

    // A standing line fell without being asked to (on the main thread, once per fall); unset, the
    // link tells the user itself.
    std::function<void(const std::string& Reason)> FOnLineLost;
    void LineLost(const std::string& Reason);
    // Before a new connect on this link: nothing of the last session is waiting any more.
    virtual void ResetForConnect();

    // Transfer progress, on the main thread, from every transport and FTP alike.
    std::function<void(TWorkStatus Status, TWorkMode Mode, uint64_t Count)> FOnTransferWork;
    // Progress of a transfer arrived: the answer time-outs are pushed on and the listener told.
    void TransferWork(TWorkStatus Status, TWorkMode Mode, uint64_t Count);

    // ---- Transport (the virtual slots) ----
    virtual void CreateThread(bool IsSSH) = 0;
    virtual void CloseConnection(bool Value) = 0;
    virtual void WorkEvent(TWorkMode Mode, uint64_t Count, TWorkStatus Status) = 0;
    virtual void ReadData(MemStream& Stream) = 0;
    virtual bool SendCommandStream(MemStream& Stream, bool IsLua) = 0;
    virtual void ReConnect() = 0;
    virtual bool IsConnected() const = 0;
    // Stores address and port (clamped to 1..65535); transports pass them on to their line.
    virtual void SetIPAndPort(const std::string& IP, int Port, int BoundPort);
    virtual void DoConnect() = 0;
    virtual void DoDisconnect(bool Value) = 0;
    // Restart of a stream that went silent: stop now, start again 2 s later.
    virtual void StreamErrorsSearch();
    // After a time-out: a half frame that still waits in the link thread will not complete (a
    // garbled head swallows the replies behind it); the thread drops it and reads afresh.
    virtual void DropHalfFrame() {}
    // The link thread dropped a half frame: the requests whose answers it swallowed end now.
    void HalfFrameDropped();

    // A frame whose payload was spooled to disk as it arrived (a large recording): evaluated like any
    // other, the readout handler moving the spool into place.
    void ReadSpooled(const ccc_head_t& Head, std::unique_ptr<TFrameSpool> Spool);
    // Where a reply may be spooled while it arrives; empty when it stays in memory (only readout
    // file replies are spooled, next to the instrument's data folders). Called from link threads.
    std::string SpoolFolderFor(const ccc_head_t& Head) const;

    // ---- Group handlers, called by Evaluate with the stream at offset 20 ----
    void SessionCommand(MemStream& Stream);
    void IdentityCommand(MemStream& Stream);
    void SetupCommand(MemStream& Stream);
    void StreamCommand(MemStream& Stream);
    void ReadoutCommand(MemStream& Stream);
    void LUACommand(MemStream& Stream);
    void ScratchPadCommand(MemStream& Stream);
    void NTPCommand(MemStream& Stream);
    void FileStream(MemStream& Stream);

    // ---- Identity and clock ----
    static TDevType DevTypeFromArticle(uint32_t ArticleNumber);
    void SetDataFolders();
    tmStamp_t CorrectUTCtoLocal(const tmStamp_t& TimeStamp) const;
    void CheckFileVersions();
    void CheckXMLVersion(const std::string& Text);
    void ReadXMLVersion(const std::string& Text, int& ObjPropsVer, int& StrucVer, int& LangVer) const;
    void GetNewXMLFiles();
    void NewXMLFilesResult(TSender Sender, int Result);
    void GetNewXMLFilesFromScratchpad();
    // "lang/" and the language file of FXMLLang with ".gz", as the version list names it.
    std::string LanguageGzName() const;

    // ---- Setup files ----
    // ".tgz", ".gz" or ".xml" as the flags say.
    std::string SetupExtension() const;
    bool UnTarFile(const MemStream& Stream, const std::string& Folder, std::string& Setup, std::string& ICD,
                   std::string& ECDSAKey, std::string& RSAKey);
    // Packs the setup with the ICD and key files; gives the archive's name ("" on failure).
    std::string TarFile(const std::string& File);
    // The file that goes on the wire for a setup write: tar+gzip, gzip or the file itself.
    std::string PrepareSetupUpload(const std::string& File, bool Tar = false);

    // ---- FTP road ----
    bool PrepareFTP();
    bool GetFTPFile(const std::string& Remote, MemStream& Stream);
    bool GetFTPFile(const std::string& Remote, const std::string& Local, bool Overwrite = true,
                    bool Resume = false);
    bool SendFTPFile(const std::string& File, const std::string& RemoteDir);
    bool SendFTPFiles(const std::vector<std::string>& Files, const std::string& RemoteDir);
    void DisconnectFTP();
    // The instrument's FTP port (21); tests and the simulator use another.
    int FFtpPort = 21;
    std::unique_ptr<class TFtpClient> FFTPClient;
    // Opens a fetched log with the desktop's viewer; unassigned in programs without a desktop.
    std::function<void(const std::string& Path)> FOpenWithViewer;

    // ---- Lua ----
    void EvalLuaCommand(int Kind, const std::string& Text);
    void SendLUACBCommand(const std::string& Text, TStringProc Proc);
    void LUACommandSSH(const std::string& Text);

    // ---- Timer control (the QTimer runs only when real ticking is wanted) ----
    void SetTimerEnabled(bool on);
    // Takes the shutdown callback out, unhooks the log and calls it; false when none was set.
    bool FireShutDownComplete();
    // Log line from any thread: on other threads it is posted to the main thread.
    void WriteLogFromAnyThread(const std::string& Text, bool ToMemo = false);
    // Tests drive OnTimer by hand; then no QTimer ticks in the background.
    void SetRealTimer(bool on) { FRealTimer = on; }

    // ---- State, named as the views and transports use it ----
    TCCCISratchpad FCCCISratchpad = spNone;
    std::function<void(const std::string& Text, bool Last)> FCCCISratchpadProc;
    int FObjPropsVer = 0, FLangVer = 0, FstrucVer = 0;
    std::vector<std::string> FScratchpadFleLst;

    bool FFTP = false, FNAK = false, FGZ = true, FTGZ = false, FSetFolders = false;
    std::string FIP;
    uint16_t FPort = 0;
    ccc_head_t FHead{};
    uint16_t FVer = 5;
    uint32_t FSN = 0;
    std::string FFileName;

    TFerroSerNumCallBack FOnComNewSNCallBack;
    TSetLabConText FOnConCallack;
    TFerroLogNotify FOnLogCallBack;
    TComXMLCallBack FOnNewXMLFile;
    TWaitForConnDone FOnConnDone;

    std::string FUser = "ferro", FPAss = "ferro";
    std::string FIniFolder, FOwnTemplateFolder, FTemplateFolder;
    std::string FICDFile, FECDSAKeyFile, FRSAKeyFile;

    TByteTransport FBytes;
    TUpdateGrid FUpdateGrid;
    bool FTransferInProgress = false, FNextStreamBool = false;
    TRecOverview FRecOverview;
    TEvtOverview FEvtOverview;
    TRecToTable FRecToTable;
    TEvtToTable FEvtToTable;
    TSetNewDisplayImage FSetNewDisplayImage;
    std::string FRecDir, FEvtDir, FTmpDir, FDatadir;
    int64_t FLastCmd = 0, FNextStreamDT = 0; // clock milliseconds
    bool FWaitForAnswer = false, FCheckXMLFileVersions = false, FShutDown = false, FShutDownWithTimer = false;
    int64_t FShutdownTime = 0, FTransferInProgressTime = 0;
    bool FHardDisconnect = false, FSuccess = false;
    TFlashDone FFlashDone;
    TSendCCCIFileNext FSendCCCIFileNext;
    TSendParaDone FSendParaDone;
    TShutDownComplete FShutDownComplete;
    TMassDownload FMassDLNext;
    bool FTHreadExcept = false;
    int FVisibility = 0;
    TDisplayConnMessage FDisplayConnMessage;
    TThreadExceptCallBack FThreadExceptCallBack;
    bool FNTPTunnelActive = false;
    TFormClose FRequestClose;
    TNAKCB FNAKCB;
    TStreamRec FStreamRec;
    bool FNewXMLFiles = false;
    std::string FLuaText;
    TProc FStopWork, FClearWork;
    uint32_t FSeqCnt = 0;
    TLangu FXMLLang = lgDeutsch;
    std::string FSSHUser, FSSHPassword;
    bool FHeartBeatDisabled = true;
    std::atomic<bool> SendQueueActive{false};
    bool FConWithoutCCCI = false, FisSSHCon = false;
    TBinaryStreamCB FBinInCB;

protected:
    TIdentity FIdentity;
    ccc_head_t MakeHead(uint8_t Cmd, uint8_t Priv, uint16_t ExtCmd) const;
    // Sends one list entry; false if the transport refused it.
    bool SendEntry(const TSendRec& rec);
    void HandleRefusal(MemStream& Stream, bool& result);
    void LogLuaLines(const std::string& text, bool final);
    void ScratchpadXmlArrived(const MemStream& payload);
    static bool AppendToFile(const std::string& path, const uint8_t* data, size_t len);
    void ReportUnpackFailure(const std::string& file, const std::string& why);

private:
    static TSendRec MakeRec(TSendCmd Typ, const std::string& Info, uint8_t Cmd, uint8_t Priv,
                            uint16_t ExtCmd);
    void appendRec(TSendRec rec, const char* suffix);
    // A request's record goes on the list with its completion.
    void appendRequest(TSendRec rec);
    struct TPendingReply {
        uint8_t Cmd = 0;
        uint16_t RequestExt = 0, ReplyExt = 0;
        int64_t SentMs = 0;
        // A scratchpad read's file name and kind: its reply is named by them, never by a later read.
        std::string Name;
        TCCCISratchpad Scratch = spNone;
        TReplyProc Done;
    };
    // Ends the first waiting request that this reply (or refusal) answers.
    void SettleReply(uint8_t Cmd, uint16_t Ext, bool Refusal, TReply Reply);
    // The oldest scratchpad read still waiting: the one the arriving reply answers (null: none).
    const TPendingReply* WaitingScratchRead() const;
    void FailStaleReplies();
    // The answer wait ran out while requests wait; once per silence.
    void AnswerTimedOut();
    // Empties the command list; requests on it end with `Reason`.
    void clearSendList(const std::string& Reason);
    static void Settle(QObject* Context, TReplyProc Done, TReply Reply);
    static void Fail(QObject* Context, TReplyProc Done, const std::string& Reason);

    std::deque<TPendingReply> FPending;
    // What the handler of the frame being evaluated stored, and the Lua output of the request.
    std::string FReplyFile, FReplyError;
    std::string FLuaReply;
    bool FLuaFailed = false;

    std::deque<TSendRec> FSendLst;
    // Set by a handler whose frame is not the last reply to its command (Lua output before the end).
    bool FReplyNotFinal = false;
    // The payload of the frame being evaluated when it lies on disk.
    std::unique_ptr<TFrameSpool> FSpooled;
    bool foldersMade_ = false; // the serial is in FDatadir
    mutable std::mutex spoolMutex_;
    std::string spoolFolder_;
    std::unique_ptr<QTimer> FTimer;
    bool FTimerEnabled = false;
    bool FRealTimer = true;
    int64_t FSilenceHandled = -1; // FLastCmd of the silence already answered by AnswerTimedOut

signals:
    // The instrument refused a request (every code but the version fall-back), with its own text.
    void Refused(quint8 Cmd, quint16 ExtCmd, quint32 Code, const QString& Text);
};

} // namespace ferro
