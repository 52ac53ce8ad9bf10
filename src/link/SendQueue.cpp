#include "link/SendQueue.h"

namespace ferro {

void TSendQueue::Push(TSendQueueItem item) {
    std::lock_guard<std::mutex> lk(mutex_);
    items_.push_back(std::move(item));
}

bool TSendQueue::Pop(TSendQueueItem& item) {
    std::lock_guard<std::mutex> lk(mutex_);
    if (items_.empty()) return false;
    item = std::move(items_.front());
    items_.pop_front();
    return true;
}

void TSendQueue::Clear() {
    std::lock_guard<std::mutex> lk(mutex_);
    items_.clear();
}

size_t TSendQueue::Length() const {
    std::lock_guard<std::mutex> lk(mutex_);
    return items_.size();
}

} // namespace ferro
