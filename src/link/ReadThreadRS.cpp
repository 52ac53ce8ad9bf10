#include "link/ReadThreadRS.h"

#include "foundation/Format.h"
#include "foundation/MainThread.h"
#include "link/RSComUnit.h"

namespace ferro {

TIdReadThreadRS::TIdReadThreadRS(TRSComUnit* client)
    : FClient(client), FRSClient(std::make_unique<TRS232Unit>()), readBuf_(TRS232Unit::CBufferSize) {
    FreadStream.Flog = [this](const std::string& s, bool memo) { log(s, memo); };
    FreadStream.FBeginWork = [this](uint32_t size) {
        progressReported_ = 0;
        if (FClient) FClient->WorkEvent(wmRead, size, WorkBegin);
    };
    FreadStream.FOnFrame = [this](const uint8_t* f, size_t n) {
        TRSComUnit* client = FClient;
        HandOver(client, std::make_shared<MemStream>(f, n), [client](MemStream& frame) {
            client->ReadData(frame);
            client->WriteLog("EvalEnd");
        });
    };
}

TIdReadThreadRS::~TIdReadThreadRS() {
    DoDisconnect();
}

bool TIdReadThreadRS::SetPort(const std::string& port) {
    FRSClient->SetPort(port);
    if (FRSClient->OpenPort()) return true;
    log("RSUnit open failed: " + port + " " + FRSClient->LastError());
    return false;
}

std::string TIdReadThreadRS::LastError() const {
    return FRSClient->LastError();
}

void TIdReadThreadRS::Start() {
    wasConnected_ = false;
    StartLoop();
}

void TIdReadThreadRS::ThreadRun() {
    bool& wasConnected = wasConnected_;
    FConnected = FRSClient->CheckConnection();
    if (FDoClearBuffer) {
        // Once an evaluation failed the line is purged on every turn: it stays silent until closed.
        FRSClient->ClearBuffer();
        WaitWake(10);
        return;
    }
    if (FConnected && TakeDropRequest() && FreadStream.DropHalfFrame()) {
        TRSComUnit* client = FClient;
        Postpone(client, [client] { client->HalfFrameDropped(); });
    }
    if (FConnected) {
        wasConnected = true;
        if (QueueLength() > 0) {
            SendCommandStream();
            return;
        }
        long n = FRSClient->Read(readBuf_.data(), readBuf_.size(), 10);
        bool frameWaiting = FreadStream.FrameComplete();
        if (n > 0 || frameWaiting) {
            log(Fmt("ReadCnt: %ld", n > 0 ? n : 0));
            ReadData(readBuf_.data(), n > 0 ? size_t(n) : 0);
        }
        return;
    }
    if (wasConnected) {
        wasConnected = false;
        std::string sys = FRSClient->LastError().empty() ? "the line hung up" : FRSClient->LastError();
        log(sys);
        if (FOnPortLost) FOnPortLost(sys);
        RequestStop();
        return;
    }
    log("Thread not Connected", true);
    WaitWake(50);
}

void TIdReadThreadRS::ReadData(const uint8_t* data, size_t len) {
    FreadStream.Append(data, len);
    // Read on while more is coming, so a large frame is joined in one go.
    for (int i = 0; i < 4096; ++i) {
        bool complete = FreadStream.CheckHead() && FreadStream.FrameComplete();
        if (complete) break;
        long n = FRSClient->Read(readBuf_.data(), readBuf_.size(), 5);
        log(Fmt("Read ReadHead: %s sz: %d ssz: %d return: %ld", BoolStr(FreadStream.HeadRead()),
                int(FreadStream.Head().Size), int(FreadStream.Buffered()), n));
        if (n <= 0) break;
        FreadStream.Append(readBuf_.data(), size_t(n));
        reportProgress();
    }
    bool more = FreadStream.ReadData() && FreadStream.Buffered() > 0;
    if (more) log("MoreStreamData");
}

void TIdReadThreadRS::reportProgress() {
    // A serial line is slow: a large frame tells how far it got every few seconds.
    constexpr size_t step = 16u << 10;
    if (!FreadStream.HeadRead() || !FClient) return;
    const size_t arrived = FreadStream.FrameArrived();
    if (arrived >= progressReported_ + step) {
        progressReported_ = arrived;
        FClient->WorkEvent(wmRead, arrived, WorkWorking);
    }
}

void TIdReadThreadRS::SendCommandStream() {
    log("Thread Before Send");
    TSendQueueItem item;
    if (!PopQueued(item)) return;
    size_t written = 0;
    bool ok = FRSClient->CheckConnection() && FRSClient->WriteData(*item.SendStream, written);
    log(Fmt("Sending %d / %d Bytes - success: %s", int(written), int(item.SendStream->size()), BoolStr(ok)));
    if (!ok && FOnPortLost) {
        log("Error While Sending " + FRSClient->LastError());
        FOnPortLost(FRSClient->LastError());
        RequestStop();
    }
    log("Thread After Send");
    if (FClient) FClient->SendQueueActive = QueueLength() > 0;
}

void TIdReadThreadRS::DoDisconnect() {
    ClearQueue();
    // From the loop itself (a lost port) this only asks it to end; the owner joins it later.
    JoinLoop();
    if (Running()) return;
    FRSClient->ClearBuffer();
    std::string err;
    FRSClient->Disconnect(err);
    FConnected = false;
    log(Fmt("Thread Disconnect success: %s Err: %s", BoolStr(err.empty()), err.c_str()));
}

} // namespace ferro
