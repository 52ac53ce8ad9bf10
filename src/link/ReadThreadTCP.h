#pragma once
// Base of the network link threads: the send queue, the receive buffer and frame hand-over to the
// main thread. The TCP and SSH threads add their pipe.

#include "foundation/MemStream.h"
#include "foundation/Sammler.h"
#include "link/FrameAssembler.h"
#include "link/SendQueue.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace ferro {

class TTCPComUnit;

class TIdReadThreadTCP {
public:
    using WorkFn = std::function<void(TWorkMode Mode, uint64_t Count)>;

    explicit TIdReadThreadTCP(TTCPComUnit* client);
    virtual ~TIdReadThreadTCP();
    TIdReadThreadTCP(const TIdReadThreadTCP&) = delete;
    TIdReadThreadTCP& operator=(const TIdReadThreadTCP&) = delete;

    // ---- the virtual slots ----
    virtual void ThreadRun() = 0;
    virtual bool WriteData(MemStream& Stream, bool IsLua) = 0;
    virtual void ReadData();
    virtual void DoHardDisconnect() {}
    virtual void HandleNTPSendAnswer(MemStream& Stream) = 0;
    virtual void Clearbuffer();
    virtual void SetConParams(const std::string& IP, int Port, int BoundPort);
    virtual void DoConnect() = 0;
    virtual void DoDisconnect(bool Notify);

    // Gives up a connect under way at once, and any later one: the view that owns the link closes
    // and does not wait out the time-out.
    void CancelConnect() {
        cancelConnect_ = true;
        Wake();
    }

    // Starts the loop (once; later calls do nothing).
    void Start();
    // Asks the loop to end and waits up to `timeoutMs`; false if it did not end in time.
    bool StopAndWait(int timeoutMs);
    bool Running() const { return running_; }
    // Bytes of the frame under way that have arrived; readable from any thread.
    uint64_t ReadArrived() const { return readArrived_; }

    // Queue shared with the main thread.
    void Enqueue(TSendQueueItem item);
    void ClearQueue();
    size_t QueueLength() const;
    // Sends the first queued frame (one per turn).
    void SendCommandStream();

    TIpVer FIPVersion = ipverV4;
    int ConnectTimeoutMs = 10000;

    std::function<void(const std::string&, bool)> Flog;
    std::function<void(const std::string& Message)> FOnException;
    WorkFn FBeginWork, FEndWork, FOnWork;
    std::atomic<bool> FIsconnected{false};
    std::atomic<bool> FDoClearBuffer{false};
    uint32_t FSeqCnt = 0;

protected:
    void log(const std::string& s, bool memo = false) {
        if (Flog) Flog(s, memo);
    }
    bool stopRequested() const { return stop_; }
    std::atomic<bool> cancelConnect_{false};
    // Wakes an idle turn: the threads wait on this descriptor beside their socket.
    void Wake();
    int WakeFd() const { return wakeFd_; }
    // Swallows pending wake-ups after a wait returned.
    void DrainWake();
    // Frame bytes handed to the main thread but not yet evaluated; reading pauses above a limit.
    bool MainThreadBusy() const { return pendingBytes_ > CMaxPendingBytes; }
    // Connects a non-blocking TCP socket to FHost:FPortNo within ConnectTimeoutMs; CancelConnect
    // ends the wait at once. `onConnecting` is called once the address is known. Throws with the
    // reason on failure.
    int OpenSocket(const std::function<void()>& onConnecting);
    // Tells how much of a large frame has arrived, every MiB or so.
    void ReportReadProgress();

    TTCPComUnit* FClient;
    TFrameAssembler FreadStream;
    std::string FHost;
    int FPortNo = 0;
    int FBoundPort = 0;

private:
    static constexpr size_t CMaxPendingBytes = 16u << 20;
    void run();
    void handOver(const uint8_t* frame, size_t size);
    void handOver(std::shared_ptr<MemStream> frame);
    void serveNtp(const uint8_t* frame, size_t size);

    TSendQueue FSendQueue;
    std::thread thread_;
    std::atomic<bool> stop_{false};
    std::atomic<bool> running_{false};
    std::mutex doneMutex_;
    std::condition_variable doneCv_;
    int wakeFd_ = -1;
    size_t progressReported_ = 0;
    std::atomic<uint64_t> readArrived_{0};
    std::shared_ptr<std::atomic<size_t>> pendingShared_;
    std::atomic<size_t>& pendingBytes_;
};

} // namespace ferro
