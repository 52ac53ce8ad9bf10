#pragma once
// Frames the main thread queued for a link thread to write, one per turn. Shared by the network and
// serial link threads.

#include "foundation/MemStream.h"

#include <deque>
#include <memory>
#include <mutex>

namespace ferro {

struct TSendQueueItem {
    std::unique_ptr<MemStream> SendStream;
    bool IsLua = false;
};

class TSendQueue {
public:
    void Push(TSendQueueItem item);
    // The first queued frame; false when there is none.
    bool Pop(TSendQueueItem& item);
    void Clear();
    size_t Length() const;

private:
    std::deque<TSendQueueItem> items_;
    mutable std::mutex mutex_;
};

} // namespace ferro
