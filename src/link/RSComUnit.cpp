#include "link/RSComUnit.h"

#include "foundation/Format.h"
#include "foundation/MainThread.h"
#include "link/Messages.h"
#include "link/ReadThreadRS.h"

namespace ferro {

TRSComUnit::TRSComUnit() {
    CreateThread(false);
}

TRSComUnit::~TRSComUnit() {
    SetTimerEnabled(false);
    if (FReadThread) {
        // Stopped first: the callback must not change under a thread that may be calling it.
        FReadThread->DoDisconnect();
        FReadThread->Flog = nullptr;
    }
}

void TRSComUnit::CreateThread(bool) {
    WriteLog("Create Thread");
    FReadThread = std::make_unique<TIdReadThreadRS>(this);
    FReadThread->Flog = [this](const std::string& s, bool memo) { WriteLogFromAnyThread(s, memo); };
    FReadThread->FOnPortLost = [this](const std::string&) {
        Postpone(this, [this] {
            OnError(_SVerbindungsabbruch);
            if (FClearWork) FClearWork();
        });
    };
}

void TRSComUnit::DoConnect() {
    if (!FReadThread) return;
    if (!FReadThread->SetPort(FRSPort)) {
        FConnectError = Fmt("Die serielle Schnittstelle %s ist nicht verfügbar (%s).", FRSPort.c_str(),
                            FReadThread->LastError().c_str());
        return;
    }
    FConnectError.clear();
    FReadThread->Start();
}

bool TRSComUnit::IsConnected() const {
    return FReadThread && FReadThread->FConnected;
}

void TRSComUnit::WorkEvent(TWorkMode Mode, uint64_t Count, TWorkStatus Status) {
    // Called from the link thread too: the main thread owns the time-outs and the listeners.
    if (IsMainThread())
        TransferWork(Status, Mode, Count);
    else
        Postpone(this, [this, Mode, Count, Status] { TransferWork(Status, Mode, Count); });
}

void TRSComUnit::ReadData(MemStream& Stream) {
    if (Stream.size() < CHeadSize) return;
    WorkEvent(wmRead, Stream.size(), WorkWorking);
    bool ok = Evaluate(Stream);
    WorkEvent(wmRead, Stream.size(), WorkEnd);
    if (!ok && FReadThread) FReadThread->FDoClearBuffer = true;
}

bool TRSComUnit::SendCommandStream(MemStream& Stream, bool) {
    if (!FReadThread) {
        WriteLog("Reathread not assigned");
        return false;
    }
    WriteLog("Check Before Send");
    FReadThread->Enqueue(std::make_unique<MemStream>(Stream.bytes()));
    SendQueueActive = FReadThread->QueueLength() > 0;
    WriteLog("After Send");
    return true;
}

void TRSComUnit::CloseConnection(bool) {
    // The instrument gets two seconds to finish before the line closes.
    Postpone(
        this, [this] { DoDisconnect(false); }, 2000);
}

void TRSComUnit::DoDisconnect(bool) {
    WriteLog("Do Disconnect");
    if (FReadThread) FReadThread->DoDisconnect();
    FireShutDownComplete();
}

void TRSComUnit::DropHalfFrame() {
    if (FReadThread) FReadThread->RequestDropHalfFrame();
}

void TRSComUnit::OnError(const std::string& Message) {
    WriteLog("RSUnit Error: " + Message);
    if (FOnLineLost) {
        if (FReadThread) FReadThread->DoDisconnect();
        LineLost(_SUSBGetrennt);
        return;
    }
    if (FDisplayConnMessage) FDisplayConnMessage(_SUSBGetrennt, mtError, nullptr, Buttons({mbOK}), mbOK);
    if (FReadThread) FReadThread->DoDisconnect();
    SetTimerEnabled(false);
    if (FRequestClose) FRequestClose(this);
}

void TRSComUnit::ReConnect() {
    // There is no reconnect on this line; the bell is the only sign.
    WriteLog("\a");
}

} // namespace ferro
