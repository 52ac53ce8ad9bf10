#pragma once
// The link thread on a serial line: reads, writes and assembles frames like the network threads.

#include "foundation/MemStream.h"
#include "link/FrameAssembler.h"
#include "link/LinkWorker.h"
#include "link/RS232Unit.h"

#include <atomic>
#include <functional>
#include <memory>

namespace ferro {

class TRSComUnit;

class TIdReadThreadRS : public TLinkWorker {
public:
    explicit TIdReadThreadRS(TRSComUnit* client);
    ~TIdReadThreadRS() override;

    // Opens the port; false (with the system's reason in LastError) when it cannot be opened.
    bool SetPort(const std::string& port);
    std::string LastError() const;
    void Start();
    void DoDisconnect();
    void Enqueue(std::unique_ptr<MemStream> frame) { TLinkWorker::Enqueue({std::move(frame), false}); }

    std::atomic<bool> FConnected{false};
    std::atomic<bool> FDoClearBuffer{false};
    // The port went away under a standing line.
    std::function<void(const std::string& systemText)> FOnPortLost;

protected:
    void ThreadRun() override;

private:
    void SendCommandStream();
    void ReadData(const uint8_t* data, size_t len);
    void reportProgress();

    TRSComUnit* FClient;
    std::unique_ptr<TRS232Unit> FRSClient;
    TFrameAssembler FreadStream;
    std::vector<uint8_t> readBuf_;
    size_t progressReported_ = 0;
    bool wasConnected_ = false; // only the loop touches it
};

} // namespace ferro
