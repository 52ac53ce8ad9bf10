#include "link/TCPComUnit.h"

#include "foundation/Format.h"
#include "foundation/MainThread.h"
#include "link/Messages.h"
#include "link/ReadThreadTCPSSH.h"
#include "link/ReadThreadTCPTCP.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace ferro {

TTCPComUnit::TTCPComUnit(bool IsSSH) {
    FisSSHCon = IsSSH;
    CreateThread(IsSSH);
}

TTCPComUnit::~TTCPComUnit() {
    SetTimerEnabled(false);
    if (FReadThread) {
        // Stopped first: the callback must not change under a thread that may be calling it.
        FReadThread->JoinLoop();
        FReadThread->Flog = nullptr;
    }
    FReadThread.reset();
}

void TTCPComUnit::CreateThread(bool IsSSH) {
    WriteLog("Create Thread");
    if (IsSSH) {
        createSshThread();
        return;
    }
    auto t = std::make_unique<TIdReadThreadTCPTCP>(this);
    t->FOnStatus = [this](TcpStatus s, const std::string& text) { onStatus(s, text); };
    FReadThread = std::move(t);
    FReadThread->Flog = [this](const std::string& s, bool memo) { WriteLogFromAnyThread(s, memo); };
    FReadThread->FOnException = [this](const std::string& msg) {
        Postpone(this, [this, msg] { ThreadException(msg); });
    };
    wireWork();
}

void TTCPComUnit::wireWork() {
    // A frame of a few bytes needs neither a progress bar nor its time-outs pushed on; not waking
    // the main thread four times for each command keeps the round trip short.
    constexpr uint64_t CReportFrom = 16 * 1024;
    auto post = [this](TWorkStatus st) {
        return [this, st](TWorkMode m, uint64_t n) {
            std::atomic<bool>& on = FReportWork[m == wmWrite ? 1 : 0];
            if (st == WorkBegin) on = n >= CReportFrom;
            if (!on) return;
            if (st == WorkEnd) on = false;
            Postpone(this, [this, st, m, n] { TransferWork(st, m, n); });
        };
    };
    FReadThread->FBeginWork = post(WorkBegin);
    FReadThread->FOnWork = post(WorkWorking);
    FReadThread->FEndWork = post(WorkEnd);
}

std::string TTCPComUnit::ConnectError() const {
    return FReadThread ? FReadThread->ConnectError() : std::string();
}

uint64_t TTCPComUnit::ReadArrived() const {
    return FReadThread ? FReadThread->ReadArrived() : 0;
}

void TTCPComUnit::createSshThread() {
    auto t = std::make_unique<TIdReadThreadTCPSSH>(this);
    t->Flog = [this](const std::string& s, bool memo) { WriteLogFromAnyThread(s, memo); };
    t->FOnException = [this](const std::string& msg) {
        Postpone(this, [this, msg] { ThreadException(msg); });
    };
    // Shell text arrives on the link thread; the Lua state belongs to the main thread.
    t->FLuaCB = [this](const std::string& text) { Postpone(this, [this, text] { LUACommandSSH(text); }); };
    t->FOnConnected = [this](bool ok) { sshConnected(ok); };
    t->FOnDisconnected = [this] { Postpone(this, [this] { sshDisconnected(); }); };
    t->SSH().FOnFingerprint = [this](TSSHUnit* ssh, const std::string& fp, TFingerprintState st,
                                     TConnectHashAction& action) {
        const char* type = ssh->KeyTypeName().c_str();
        std::string q = (st == fsNew ? Fmt(_SHostKeyNeu, type) : Fmt(_SHostKeyGeaendert, type, type)) +
                        Fmt(_SHostKeyFingerprint, fp.c_str(), ssh->ServerFingerprintSha256().c_str());
        action = askHostKey(q) ? chaSave : chaCancel;
    };
    FReadThread = std::move(t);
    wireWork();
}

bool TTCPComUnit::askHostKey(const std::string& question) {
    struct Answer {
        std::mutex m;
        std::condition_variable cv;
        bool done = false;
        bool yes = false;
    };
    auto answer = std::make_shared<Answer>();
    {
        // A link that is going away answers No at once, now and while the question waits.
        std::lock_guard<std::mutex> lk(hostKeyMutex_);
        if (connectCanceled_) return false;
        cancelHostKey_ = [answer] {
            std::lock_guard<std::mutex> a(answer->m);
            answer->done = true;
            answer->yes = false;
            answer->cv.notify_all();
        };
    }
    auto ask = [this, question, answer] {
        if (!FDisplayConnMessage) {
            std::lock_guard<std::mutex> lk(answer->m);
            answer->done = true;
            return;
        }
        FDisplayConnMessage(
            question, mtConfirmation,
            [answer](TSender, int r) {
                std::lock_guard<std::mutex> lk(answer->m);
                answer->yes = r == mrYes;
                answer->done = true;
                answer->cv.notify_all();
            },
            Buttons({mbYes, mbNo}), mbNo);
    };
    // A question nobody answers within ten minutes counts as No.
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(10);
    if (IsMainThread()) {
        ask();
        RunEventsUntil(
            [&] {
                std::lock_guard<std::mutex> lk(answer->m);
                return answer->done;
            },
            int(std::chrono::duration_cast<std::chrono::milliseconds>(limit -
                                                                      std::chrono::steady_clock::now())
                    .count()));
    } else {
        Postpone(this, ask);
        std::unique_lock<std::mutex> lk(answer->m);
        answer->cv.wait_until(lk, limit, [&] { return answer->done; });
    }
    {
        std::lock_guard<std::mutex> lk(hostKeyMutex_);
        cancelHostKey_ = nullptr;
    }
    std::lock_guard<std::mutex> lk(answer->m);
    return answer->yes;
}

void TTCPComUnit::sshConnected(bool ok) {
    auto* ssh = static_cast<TIdReadThreadTCPSSH*>(FReadThread.get());
    FInvalidAuth = ssh->FInvalidAuth;
    FAuthError = FInvalidAuth;
    if (!ok) {
        // Under a session the refused login is told by it, with the attempt's end.
        if (FInvalidAuth && !FOnLineLost)
            Postpone(this, [this] {
                if (FStopWork) FStopWork();
                Postpone(
                    this,
                    [this] {
                        if (FDisplayConnMessage)
                            FDisplayConnMessage(_SAuthFehlgeschlagen, mtError, nullptr, Buttons({mbOK}),
                                                mbOK);
                        if (FClearWork) FClearWork();
                    },
                    500);
            });
        return;
    }
    WriteLogFromAnyThread("Status: Connected", false);
    Postpone(this, [this] {
        FHardDisconnect = false;
        WriteLog(Fmt("Connected: %s:%d", FIP.c_str(), int(FPort)), true);
        SendStartCommand(0, FSSHUser, FSSHPassword);
    });
}

void TTCPComUnit::SetIPAndPort(const std::string& IP, int Port, int BoundPort) {
    TComUnit::SetIPAndPort(IP, Port, BoundPort);
    if (FReadThread) FReadThread->SetConParams(IP, FPort, BoundPort);
}

void TTCPComUnit::ResetForConnect() {
    TComUnit::ResetForConnect();
    FWantedDisco = false;
    FInvalidAuth = false;
    FAuthError = false;
}

void TTCPComUnit::DoConnect() {
    WriteLogFromAnyThread("DoConnect", false);
    if (!FReadThread) {
        WriteLogFromAnyThread("DoConnectExcept: no link thread", false);
        return;
    }
    FReadThread->FIPVersion = FIPVersion;
    FReadThread->ConnectTimeoutMs = ConnectTimeoutMs;
    if (auto* ssh = dynamic_cast<TIdReadThreadTCPSSH*>(FReadThread.get())) {
        ssh->FUser = FSSHUser;
        ssh->FPassword = FSSHPassword;
        ssh->FPublicKey = FSSHPublicKey;
        ssh->FPrivateKey = FSSHPrivateKey;
        ssh->FHashFile = FIniFolder.empty() ? std::string() : FIniFolder + "Hash";
    }
    FReadThread->DoConnect();
}

void TTCPComUnit::CancelConnect() {
    {
        std::lock_guard<std::mutex> lk(hostKeyMutex_);
        connectCanceled_ = true;
        if (cancelHostKey_) cancelHostKey_();
    }
    if (FReadThread) FReadThread->CancelConnect();
}

bool TTCPComUnit::IsConnected() const {
    return FReadThread && FReadThread->FIsconnected;
}

void TTCPComUnit::onStatus(TcpStatus status, const std::string& text) {
    switch (status) {
    case TcpStatus::Resolving:
        WriteLogFromAnyThread("Status: Resolving", false);
        break;
    case TcpStatus::Connecting:
        WriteLogFromAnyThread("Status: Connecting " + text, false);
        break;
    case TcpStatus::Connected:
        WriteLogFromAnyThread("Status: Connected1 " + text, false);
        // The session opens 100 ms after the socket stands.
        Postpone(
            this, [this] { afterConnected(); }, 100);
        break;
    case TcpStatus::Disconnecting:
        WriteLogFromAnyThread("Status: Disconnecting", false);
        FWantedDisco = true;
        break;
    case TcpStatus::Disconnected:
        WriteLogFromAnyThread("Status: Disconnected " + text, false);
        Postpone(this, [this] { onDisconnected(); });
        break;
    }
}

void TTCPComUnit::afterConnected() {
    if (!IsConnected()) return;
    FHardDisconnect = false;
    WriteLog("Status: Connected2 ");
    WriteLog(Fmt("Connected: %s:%d", FIP.c_str(), int(FPort)), true);
    StartPlainSession();
}

bool TTCPComUnit::requestCloseIfWanted() {
    if (!FWantedDisco || !FRequestClose) return false;
    WriteLog("RequestClose ");
    Postpone(this, [this] {
        if (FRequestClose) FRequestClose(this);
    });
    return true;
}

void TTCPComUnit::tellLineLost(bool AskToClose) {
    if (FOnLineLost) {
        // The session tells it, once, and keeps the reason.
        LineLost(FInvalidAuth ? _SAuthFehlgeschlagen : _SVerbindungsabbruch);
        return;
    }
    // Without a session the user is told after half a second, so that a refusal that explains the
    // loss speaks first.
    Postpone(
        this,
        [this, AskToClose] {
            if (FNAK) return; // the refusal has already told the user
            FWantedDisco = false;
            if (FDisplayConnMessage) {
                TThreadedMessageCallBack answered;
                // Once the user has read it, the view is asked to close.
                if (AskToClose && !FInvalidAuth) answered = [this](TSender, int) { AfterConDisp(); };
                FDisplayConnMessage(FInvalidAuth ? _SAuthFehlgeschlagen : _SVerbindungsabbruch, mtError,
                                    std::move(answered), Buttons({mbOK}), mbOK);
            }
            if (FClearWork) FClearWork();
        },
        500);
}

void TTCPComUnit::onDisconnected() {
    if (FHardDisconnect) {
        ReConnect();
        return;
    }
    if (FireShutDownComplete() || requestCloseIfWanted()) return;
    SetTimerEnabled(false);
    if (FWantedDisco) return;
    if (FReadThread) FReadThread->DoDisconnect(false);
    tellLineLost(false);
}

void TTCPComUnit::sshDisconnected() {
    auto* t = static_cast<TIdReadThreadTCPSSH*>(FReadThread.get());
    FAuthError = FInvalidAuth;
    WriteLog(Fmt("Harddisc: %s | ShutCompl: %s | Wanted: %s | Request:%s | ReadThr: %s | ReadThrTer: %s | "
                 "NAK: %s | Connected: %s | Canceled: %s",
                 BoolStr(FHardDisconnect), BoolStr(bool(FShutDownComplete)), BoolStr(FWantedDisco),
                 BoolStr(bool(FRequestClose)), BoolStr(t != nullptr), BoolStr(t && !t->Running()),
                 BoolStr(FNAK), BoolStr(t && t->FIsconnected), BoolStr(t && t->FCanceled)));
    if (FHardDisconnect) {
        ReConnect();
        return;
    }
    if (FShutDownComplete) {
        WriteLog("Begin ShutdownComplete");
        // Posted: the callback may free this link, which is still inside its disconnect handling.
        Postpone(this, [this] { FireShutDownComplete(); });
        return;
    }
    if (requestCloseIfWanted()) return;
    SetTimerEnabled(false);
    if (FWantedDisco) return;
    if (t && t->FIsconnected) {
        t->DoDisconnect(false);
    } else if (t) {
        WriteLog("Terminating RedThread");
        t->JoinLoop();
    }
    tellLineLost(true);
}

void TTCPComUnit::ReadData(MemStream& Stream) {
    if (Stream.size() < CHeadSize) return;
    if (!Evaluate(Stream) && FReadThread) FReadThread->FDoClearBuffer = true;
}

bool TTCPComUnit::SendCommandStream(MemStream& Stream, bool IsLua) {
    if (!FReadThread) return false;
    TSendQueueItem item;
    item.SendStream = std::make_unique<MemStream>(Stream.bytes());
    item.IsLua = IsLua;
    WriteLog("Check Before Send");
    FReadThread->Enqueue(std::move(item));
    SendQueueActive = FReadThread->QueueLength() > 0;
    WriteLog("After Send");
    return true;
}

void TTCPComUnit::DoDisconnect(bool Value) {
    WriteLog("ComUnit Call Disconnect");
    if (FReadThread) FReadThread->DoDisconnect(Value);
}

void TTCPComUnit::DropHalfFrame() {
    if (FReadThread) FReadThread->RequestDropHalfFrame();
}

void TTCPComUnit::CloseConnection(bool Value) {
    DoDisconnect(Value);
}

} // namespace ferro
