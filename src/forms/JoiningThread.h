#pragma once
// A worker thread that is joined when it is replaced and when its owner goes, so a form never
// leaves a thread running behind it.

#include <thread>
#include <utility>

namespace ferro {

class TJoiningThread {
public:
    TJoiningThread() = default;
    ~TJoiningThread() { Join(); }
    TJoiningThread(const TJoiningThread&) = delete;
    TJoiningThread& operator=(const TJoiningThread&) = delete;

    template <class F> void Start(F&& Fn) {
        Join();
        FThread = std::thread(std::forward<F>(Fn));
    }
    void Join() {
        if (FThread.joinable()) FThread.join();
    }

private:
    std::thread FThread;
};

} // namespace ferro
