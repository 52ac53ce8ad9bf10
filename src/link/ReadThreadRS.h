#pragma once
// The link thread on a serial line: reads, writes and assembles frames like the network threads.

#include "foundation/MemStream.h"
#include "link/FrameAssembler.h"
#include "link/RS232Unit.h"
#include "link/SendQueue.h"

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

namespace ferro {

class TRSComUnit;

class TIdReadThreadRS {
public:
    explicit TIdReadThreadRS(TRSComUnit* client);
    ~TIdReadThreadRS();
    TIdReadThreadRS(const TIdReadThreadRS&) = delete;
    TIdReadThreadRS& operator=(const TIdReadThreadRS&) = delete;

    // Opens the port; the loop starts with Start().
    void SetPort(const std::string& port);
    void Start();
    void DoDisconnect();
    void Enqueue(std::unique_ptr<MemStream> frame) { FSendQueue.Push({std::move(frame), false}); }
    size_t QueueLength() const { return FSendQueue.Length(); }

    std::atomic<bool> FConnected{false};
    std::atomic<bool> FDoClearBuffer{false};
    std::function<void(const std::string&, bool)> Flog;
    // The port went away under a standing line.
    std::function<void(const std::string& systemText)> FOnPortLost;

private:
    void run();
    void turn(bool& wasConnected);
    void SendCommandStream();
    void ReadData(const uint8_t* data, size_t len);
    void reportProgress();
    void log(const std::string& s, bool memo = false) {
        if (Flog) Flog(s, memo);
    }

    TRSComUnit* FClient;
    std::unique_ptr<TRS232Unit> FRSClient;
    TSendQueue FSendQueue;
    TFrameAssembler FreadStream;
    std::thread thread_;
    std::atomic<bool> stop_{false};
    std::vector<uint8_t> readBuf_;
    size_t progressReported_ = 0;
};

} // namespace ferro
