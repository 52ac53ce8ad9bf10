#include "link/ReadThreadRS.h"

#include "foundation/Format.h"
#include "foundation/MainThread.h"
#include "link/RSComUnit.h"

#include <chrono>

namespace ferro {

TIdReadThreadRS::TIdReadThreadRS(TRSComUnit* client)
    : FClient(client), FRSClient(std::make_unique<TRS232Unit>()), readBuf_(TRS232Unit::CBufferSize) {
    FreadStream.Flog = [this](const std::string& s, bool memo) { log(s, memo); };
    FreadStream.FBeginWork = [this](uint32_t size) {
        progressReported_ = 0;
        if (FClient) FClient->WorkEvent(wmRead, size, WorkBegin);
    };
    FreadStream.FOnFrame = [this](const uint8_t* f, size_t n) {
        auto copy = std::make_shared<MemStream>(f, n);
        TRSComUnit* client = FClient;
        Postpone(client, [client, copy] {
            client->ReadData(*copy);
            client->WriteLog("EvalEnd");
        });
    };
}

TIdReadThreadRS::~TIdReadThreadRS() {
    DoDisconnect();
}

void TIdReadThreadRS::SetPort(const std::string& port) {
    FRSClient->SetPort(port);
    if (!FRSClient->OpenPort()) log("RSUnit open failed: " + port + " " + FRSClient->LastError());
}

void TIdReadThreadRS::Start() {
    if (thread_.joinable()) return;
    stop_ = false;
    thread_ = std::thread([this] { run(); });
}

void TIdReadThreadRS::run() {
    bool wasConnected = false;
    while (!stop_)
        turn(wasConnected);
    FConnected = false;
    log("Thread stopped");
}

void TIdReadThreadRS::turn(bool& wasConnected) {
    FConnected = FRSClient->CheckConnection();
    if (FDoClearBuffer) {
        // Once an evaluation failed the line is purged on every turn: it stays silent until closed.
        FRSClient->ClearBuffer();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return;
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
        stop_ = true;
        return;
    }
    log("Thread not Connected", true);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
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
    if (!FSendQueue.Pop(item)) return;
    size_t written = 0;
    bool ok = FRSClient->CheckConnection() && FRSClient->WriteData(*item.SendStream, written);
    log(Fmt("Sending %d / %d Bytes - success: %s", int(written), int(item.SendStream->size()), BoolStr(ok)));
    if (!ok && FOnPortLost) {
        log("Error While Sending " + FRSClient->LastError());
        FOnPortLost(FRSClient->LastError());
        stop_ = true;
    }
    log("Thread After Send");
    if (FClient) FClient->SendQueueActive = QueueLength() > 0;
}

void TIdReadThreadRS::DoDisconnect() {
    FSendQueue.Clear();
    stop_ = true;
    if (thread_.joinable()) {
        if (thread_.get_id() == std::this_thread::get_id())
            thread_.detach();
        else
            thread_.join();
    }
    FRSClient->ClearBuffer();
    std::string err;
    FRSClient->Disconnect(err);
    FConnected = false;
    log(Fmt("Thread Disconnect success: %s Err: %s", BoolStr(err.empty()), err.c_str()));
}

} // namespace ferro
