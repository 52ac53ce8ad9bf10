#pragma once
// Base of the network link threads: the send queue, the receive buffer and frame hand-over to the
// main thread. The TCP and SSH threads add their pipe.

#include "foundation/MemStream.h"
#include "foundation/Sammler.h"
#include "link/FrameAssembler.h"
#include "link/LinkWorker.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace ferro {

class TTCPComUnit;

class TIdReadThreadTCP : public TLinkWorker {
public:
    using WorkFn = std::function<void(TWorkMode Mode, uint64_t Count)>;

    explicit TIdReadThreadTCP(TTCPComUnit* client);
    virtual ~TIdReadThreadTCP();

    // ---- the virtual slots ----
    virtual bool WriteData(MemStream& Stream, bool IsLua) = 0;
    virtual void ReadData();
    virtual void DoHardDisconnect() {}
    virtual void HandleNTPSendAnswer(MemStream& Stream) = 0;
    // Whether an NTP request is answered right here on the link thread.
    virtual bool ServesNtpOnThread() const { return true; }
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

    // Bytes of the frame under way that have arrived; readable from any thread.
    uint64_t ReadArrived() const { return readArrived_; }

    // Sends the first queued frame (one per turn).
    void SendCommandStream();

    TIpVer FIPVersion = ipverV4;
    int ConnectTimeoutMs = 10000;

    WorkFn FBeginWork, FEndWork, FOnWork;
    std::atomic<bool> FIsconnected{false};
    std::atomic<bool> FDoClearBuffer{false};
    uint32_t FSeqCnt = 0;

    // Why the last connect failed, in German ("" after a good one); readable once DoConnect returned.
    std::string ConnectError() const;

protected:
    void setConnectError(const std::string& text);
    std::atomic<bool> cancelConnect_{false};
    // Connects a non-blocking TCP socket to FHost:FPortNo within ConnectTimeoutMs; CancelConnect
    // ends the wait at once. `onConnecting` is called once the address is known. Throws with the
    // German reason on failure.
    int OpenSocket(const std::function<void()>& onConnecting);
    // Tells how much of a large frame has arrived, every MiB or so.
    void ReportReadProgress();
    // Drops a half frame when the main thread asked for it after a time-out, and tells it.
    void DropHalfFrameIfAsked();

    TTCPComUnit* FClient;
    TFrameAssembler FreadStream;
    std::string FHost;
    int FPortNo = 0;
    int FBoundPort = 0;

private:
    void handOver(const uint8_t* frame, size_t size);
    void handOver(std::shared_ptr<MemStream> frame);
    void serveNtp(const uint8_t* frame, size_t size);

    size_t progressReported_ = 0;
    std::atomic<uint64_t> readArrived_{0};
    mutable std::mutex errorMutex_;
    std::string connectError_;
};

} // namespace ferro
