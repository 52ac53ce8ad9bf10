#include "link/LinkWorker.h"

#include "foundation/MainThread.h"

#include <chrono>
#include <exception>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace ferro {

TLinkWorker::TLinkWorker()
    : wakeFd_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
      pendingBytes_(std::make_shared<std::atomic<size_t>>(0)) {}

TLinkWorker::~TLinkWorker() {
    // The derived thread joined its loop already (its turn is virtual); this is the last guard.
    if (thread_.joinable()) {
        stop_ = true;
        thread_.join();
    }
    if (wakeFd_ >= 0) ::close(wakeFd_);
}

void TLinkWorker::Wake() {
    uint64_t one = 1;
    ssize_t r = ::write(wakeFd_, &one, sizeof one);
    (void)r;
}

void TLinkWorker::DrainWake() {
    uint64_t v;
    ssize_t r = ::read(wakeFd_, &v, sizeof v);
    (void)r;
}

bool TLinkWorker::WaitWake(int timeoutMs) {
    pollfd p{wakeFd_, POLLIN, 0};
    if (::poll(&p, 1, timeoutMs) <= 0) return false;
    DrainWake();
    return true;
}

void TLinkWorker::StartLoop() {
    if (running_) return;
    if (thread_.joinable()) thread_.join(); // an earlier loop that ended by itself
    stop_ = false;
    running_ = true;
    thread_ = std::thread([this] { run(); });
}

bool TLinkWorker::StopAndWait(int timeoutMs) {
    RequestStop();
    if (!thread_.joinable()) return true;
    // The loop asking itself to stop: it ends after this turn, and its owner joins it.
    if (thread_.get_id() == std::this_thread::get_id()) return true;
    std::unique_lock<std::mutex> lk(doneMutex_);
    const bool ended =
        doneCv_.wait_for(lk, std::chrono::milliseconds(timeoutMs), [this] { return !running_.load(); });
    lk.unlock();
    if (ended) {
        thread_.join();
    } else {
        log("Thread did not end in time");
    }
    return ended;
}

void TLinkWorker::JoinLoop() {
    RequestStop();
    if (!thread_.joinable() || thread_.get_id() == std::this_thread::get_id()) return;
    thread_.join();
}

void TLinkWorker::run() {
    while (!stop_) {
        try {
            ThreadRun();
        } catch (const std::exception& e) {
            log(std::string("Thread Except ") + e.what());
            if (FOnException) FOnException(e.what());
            break;
        }
    }
    {
        std::lock_guard<std::mutex> lk(doneMutex_);
        running_ = false;
    }
    doneCv_.notify_all();
}

void TLinkWorker::Enqueue(TSendQueueItem item) {
    FSendQueue.Push(std::move(item));
    Wake();
}

void TLinkWorker::ClearQueue() {
    FSendQueue.Clear();
}

size_t TLinkWorker::QueueLength() const {
    return FSendQueue.Length();
}

void TLinkWorker::HandOver(QObject* context, std::shared_ptr<MemStream> frame,
                           std::function<void(MemStream&)> eval) {
    const size_t size = frame->size();
    std::shared_ptr<std::atomic<size_t>> pending = pendingBytes_;
    *pending += size;
    Postpone(context, [frame, pending, size, eval = std::move(eval)] {
        *pending -= size;
        eval(*frame);
    });
}

} // namespace ferro
