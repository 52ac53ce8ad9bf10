#include "link/ReadThreadTCPSSH.h"

#include "foundation/Format.h"
#include "link/SocketText.h"
#include "link/TCPComUnit.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace ferro {

TIdReadThreadTCPSSH::TIdReadThreadTCPSSH(TTCPComUnit* client)
    : TIdReadThreadTCP(client), FSSHClient(std::make_unique<TSSHUnit>()) {
    FSSHClient->FLogCB = [this](TSSHUnit*, const std::string& s) { log(s); };
    FSSHClient->FSSHErrorCB = [this](TSSHUnit*, const std::string& s) {
        log(Fmt("SSH Error: %s [%s]", s.c_str(), FHost.c_str()));
    };
    FSSHClient->FOnAuthFail = [this](TSSHUnit*, bool& cont) {
        log("SSH Auth Error");
        cont = false;
        FInvalidAuth = true;
    };
    FSSHClient->FOnWorkWrite = [this](uint64_t n) {
        if (FOnWork) FOnWork(wmWrite, n);
    };
    // Data events: frames and shell text reach us as they arrive, not by asking every turn.
    FSSHClient->FCCCIDataCallBack = [this](const uint8_t* data, int count) {
        FreadStream.Append(data, size_t(count));
        ReportReadProgress();
    };
    FSSHClient->FLUACallBack = [this](const std::string& text) {
        if (FLuaCB) FLuaCB(text);
    };
    FSSHClient->FDisConnectCallBack = [this](TSSHUnit*) {
        FIsconnected = false;
        log("Status: Disconnected");
        if (FOnDisconnected) FOnDisconnected();
    };
}

TIdReadThreadTCPSSH::~TIdReadThreadTCPSSH() {
    JoinLoop();
    FSSHClient.reset();
    log("FSSHClient Free");
}

void TIdReadThreadTCPSSH::DoConnect() {
    log("DoConnectSSH as " + FUser);
    FSSHClient->SetHost(FHost);
    FSSHClient->SetPort(FPortNo);
    FSSHClient->SetUsername(FUser);
    FSSHClient->SetPassword(FPassword);
    if (!FPrivateKey.empty()) FSSHClient->SetKeyAuth(FPublicKey, FPrivateKey);
    FSSHClient->SetHashFile(FHashFile);
    FInvalidAuth = false;
    FCanceled = false;
    FSSHClient->SetBlocking(false);
    bool ok = false;
    try {
        // Our own connect, so that a view that closes can cancel it; libssh takes the socket over.
        FSSHClient->SetSocket(OpenSocket(nullptr));
        ok = FSSHClient->Connect();
        if (ok) {
            setConnectError("");
        } else if (FSSHClient->AuthFailed()) {
            setConnectError("Anmeldung abgelehnt");
        } else {
            setConnectError(cancelConnect_ ? std::string(CConnectCanceled)
                                           : "SSH: " + FSSHClient->LastError());
            log("DoConnectExcept: " + FSSHClient->LastError());
        }
    } catch (const std::exception& e) {
        setConnectError(e.what());
        log(std::string("DoConnectExcept: ") + e.what());
    }
    FIsconnected = ok;
    if (ok) StartLoop();
    if (FOnConnected) FOnConnected(ok);
}

bool TIdReadThreadTCPSSH::waitData(int timeoutMs) {
    // A closed session gives fd -1, which poll skips: then only the wake-up counts.
    pollfd p[2] = {{FSSHClient->SocketFd(), POLLIN, 0}, {WakeFd(), POLLIN, 0}};
    int n = ::poll(p, 2, timeoutMs);
    if (n > 0 && (p[1].revents & POLLIN)) DrainWake();
    return n > 0;
}

void TIdReadThreadTCPSSH::ThreadRun() {
    bool connected = FSSHClient->isConnected();
    bool was = FIsconnected.exchange(connected);
    if (!connected) {
        if (was) {
            FreadStream.Clear();      // a frame cut short can never complete on this line
            FSSHClient->Disconnect(); // the line fell under us: the disconnect handling follows
        }
        log("Thread not Connected", true);
        WaitWake(10);
        return;
    }
    if (FDoClearBuffer) {
        Clearbuffer();
        return;
    }
    DropHalfFrameIfAsked();
    FSSHClient->CheckServerAlive();
    ReadData();
    if (QueueLength() == 0) {
        // Idle or in the middle of a frame with nothing more to read: wait on the socket, but wake at
        // once when a frame is queued. Never spin on half a frame.
        const bool frameReady = FreadStream.CheckHead() && FreadStream.FrameComplete();
        if ((!frameReady && !FSSHClient->DataPending()) || MainThreadBusy()) waitData(10);
    } else {
        SendCommandStream();
    }
}

void TIdReadThreadTCPSSH::ReadData() {
    FIntransfer = true;
    try {
        // The data events append to the buffer; one block per round, until a whole frame is there.
        for (int rounds = 0; rounds < 256 && !FCanceled && !MainThreadBusy(); ++rounds) {
            if (FreadStream.CheckHead() && FreadStream.FrameComplete()) break;
            if (!FSSHClient->ProcessEvents(1)) break;
        }
    } catch (const std::exception& e) {
        log(std::string("SSH Read Exception: ") + e.what());
    }
    FIntransfer = false;
    TIdReadThreadTCP::ReadData();
}

bool TIdReadThreadTCPSSH::WriteData(MemStream& Stream, bool IsLua) {
    size_t written = 0;
    return FSSHClient->SendData(Stream, IsLua, written);
}

void TIdReadThreadTCPSSH::DoDisconnect(bool Notify) {
    TIdReadThreadTCP::DoDisconnect(Notify);
    log("SSH DoDisconnect");
    if (FClient) FClient->FWantedDisco = true;
    // A read under way stops at its next chunk, and the loop ends before the session goes.
    FCanceled = true;
    FSSHClient->FCanceled = true;
    JoinLoop();
    FIsconnected = false;
    FreadStream.Clear(); // a half frame must not become the start of the next connection's first
    FSSHClient->Disconnect();
    log("SSH DoDisconnect 2");
}

} // namespace ferro
