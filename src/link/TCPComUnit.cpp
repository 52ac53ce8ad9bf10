#include "link/TCPComUnit.h"

#include "foundation/Format.h"
#include "foundation/MainThread.h"
#include "link/Messages.h"
#include "link/ReadThreadTCPTCP.h"

namespace ferro {

TTCPComUnit::TTCPComUnit(bool IsSSH) {
    FisSSHCon = IsSSH;
    CreateThread(IsSSH);
}

TTCPComUnit::~TTCPComUnit() {
    SetTimerEnabled(false);
    if (FReadThread) {
        FReadThread->Flog = nullptr;
        FReadThread->StopAndWait(5000);
    }
    FReadThread.reset();
}

void TTCPComUnit::logFromAnyThread(const std::string& text, bool memo) {
    if (IsMainThread())
        WriteLog(text, memo);
    else
        Postpone(this, [this, text, memo] { WriteLog(text, memo); });
}

void TTCPComUnit::CreateThread(bool IsSSH) {
    WriteLog("Create Thread");
    if (IsSSH) {
        WriteLog("Create Thread: the SSH link is not available in this build");
        return;
    }
    auto t = std::make_unique<TIdReadThreadTCPTCP>(this);
    t->FOnStatus = [this](TcpStatus s, const std::string& text) { onStatus(s, text); };
    FReadThread = std::move(t);
    FReadThread->Flog = [this](const std::string& s, bool memo) { logFromAnyThread(s, memo); };
    FReadThread->FOnException = [this](const std::string& msg) {
        Postpone(this, [this, msg] { ThreadException(msg); });
    };
}

void TTCPComUnit::SetIPAndPort(const std::string& IP, int Port, int BoundPort) {
    FIP = IP;
    FPort = uint16_t(Port < 1 ? 1 : (Port > 65535 ? 65535 : Port));
    if (FReadThread) FReadThread->SetConParams(IP, FPort, BoundPort);
}

void TTCPComUnit::DoConnect() {
    logFromAnyThread("DoConnect", false);
    if (!FReadThread) {
        logFromAnyThread("DoConnectExcept: no link thread", false);
        return;
    }
    if (auto* tcp = dynamic_cast<TIdReadThreadTCPTCP*>(FReadThread.get())) {
        tcp->FIPVersion = FIPVersion;
        tcp->ConnectTimeoutMs = ConnectTimeoutMs;
    }
    FReadThread->DoConnect();
}

bool TTCPComUnit::IsConnected() const { return FReadThread && FReadThread->FIsconnected; }

void TTCPComUnit::onStatus(TcpStatus status, const std::string& text) {
    switch (status) {
    case TcpStatus::Resolving: logFromAnyThread("Status: Resolving", false); break;
    case TcpStatus::Connecting: logFromAnyThread("Status: Connecting " + text, false); break;
    case TcpStatus::Connected:
        logFromAnyThread("Status: Connected1 " + text, false);
        // The session opens 100 ms after the socket stands.
        Postpone(this, [this] { afterConnected(); }, 100);
        break;
    case TcpStatus::Disconnecting:
        logFromAnyThread("Status: Disconnecting", false);
        FWantedDisco = true;
        break;
    case TcpStatus::Disconnected:
        logFromAnyThread("Status: Disconnected " + text, false);
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

void TTCPComUnit::onDisconnected() {
    if (FHardDisconnect) {
        ReConnect();
        return;
    }
    if (FShutDownComplete) {
        TShutDownComplete cb = std::move(FShutDownComplete);
        FShutDownComplete = nullptr;
        FOnLogCallBack = nullptr;
        cb(this);
        return;
    }
    if (FWantedDisco && FRequestClose) {
        WriteLog("RequestClose ");
        Postpone(this, [this] {
            if (FRequestClose) FRequestClose(this);
        });
        return;
    }
    SetTimerEnabled(false);
    if (!FWantedDisco) {
        if (FReadThread) FReadThread->DoDisconnect(false);
        Postpone(
            this,
            [this] {
                if (FNAK) return; // the refusal has already told the user
                FWantedDisco = false;
                if (FDisplayConnMessage)
                    FDisplayConnMessage(_SVerbindungsabbruch, mtError, nullptr, Buttons({mbOK}), mbOK);
                if (FClearWork) FClearWork();
            },
            500);
    }
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

void TTCPComUnit::CloseConnection(bool Value) { DoDisconnect(Value); }

void TTCPComUnit::StreamErrorsSearch() {
    Postpone(this, [this] { SendCommand("CCC_STREAM_STOP", CmdStream, 0, CExtStop, FStreamRec.ObjHdl); });
    Postpone(this, [this] { SendCommand("CCC_STREAM_START", CmdStream, 0, 1, FStreamRec.ObjID); }, 2000);
}

} // namespace ferro
