#pragma once
// What every link thread has, whatever its line: the loop with its stop request, the queue of
// frames to write, a wake-up descriptor beside the line, the hand-over of whole frames to the main
// thread with back-pressure, and the log. TCP, SSH and serial threads add their line's turn.

#include "foundation/MemStream.h"
#include "link/SendQueue.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

class QObject;

namespace ferro {

class TLinkWorker {
public:
    TLinkWorker();
    virtual ~TLinkWorker();
    TLinkWorker(const TLinkWorker&) = delete;
    TLinkWorker& operator=(const TLinkWorker&) = delete;

    // Starts the loop; a loop that still runs is left alone, one that ended is joined first.
    void StartLoop();
    // Asks the loop to end and waits up to `timeoutMs` for it. False when it has not ended yet: it
    // still runs its (bounded) turn, and whoever owns it must call JoinLoop before going away.
    bool StopAndWait(int timeoutMs);
    // Asks the loop to end and waits for it, however long the turn under way takes.
    void JoinLoop();
    bool Running() const { return running_; }

    // Frames for the line, shared with the main thread.
    void Enqueue(TSendQueueItem item);
    void ClearQueue();
    size_t QueueLength() const;

    // Asks the loop to drop a half frame it holds (from any thread); done at its next turn.
    void RequestDropHalfFrame() {
        dropHalfFrame_ = true;
        Wake();
    }

    std::function<void(const std::string&, bool)> Flog;
    // A turn threw: the loop ends and this is told the reason (on the link thread).
    std::function<void(const std::string& Message)> FOnException;

protected:
    // One pass of the loop: must come back within a few seconds whatever the line does.
    virtual void ThreadRun() = 0;

    void log(const std::string& s, bool memo = false) {
        if (Flog) Flog(s, memo);
    }
    bool stopRequested() const { return stop_; }
    void RequestStop() {
        stop_ = true;
        Wake();
    }
    // Wakes an idle turn that waits on WakeFd beside its line.
    void Wake();
    int WakeFd() const { return wakeFd_; }
    // Swallows pending wake-ups after a wait returned.
    void DrainWake();
    // Waits on the wake-up descriptor alone; true if it was woken.
    bool WaitWake(int timeoutMs);

    // True once after RequestDropHalfFrame.
    bool TakeDropRequest() { return dropHalfFrame_.exchange(false); }
    // Takes the first queued frame; false when there is none.
    bool PopQueued(TSendQueueItem& item) { return FSendQueue.Pop(item); }

    // Frame bytes handed to the main thread but not evaluated yet; reading pauses above a limit so
    // that a fast line cannot fill our memory faster than the main thread empties it.
    bool MainThreadBusy() const { return pendingBytes_->load() > CMaxPendingBytes; }
    // Posts `frame` to the main thread (dropped with `context`) and runs `eval` on it there.
    void HandOver(QObject* context, std::shared_ptr<MemStream> frame, std::function<void(MemStream&)> eval);

private:
    static constexpr size_t CMaxPendingBytes = 16u << 20;
    void run();

    TSendQueue FSendQueue;
    std::thread thread_;
    std::atomic<bool> stop_{false};
    std::atomic<bool> running_{false};
    std::atomic<bool> dropHalfFrame_{false};
    std::mutex doneMutex_;
    std::condition_variable doneCv_;
    int wakeFd_ = -1;
    // Shared with posted jobs, which may run after this worker is gone.
    std::shared_ptr<std::atomic<size_t>> pendingBytes_;
};

} // namespace ferro
