#pragma once
// The one clock of the program. Tests install a manual clock and move it instead of sleeping.

#include <atomic>
#include <cstdint>
#include <memory>

namespace ferro {

class Clock {
public:
    virtual ~Clock() = default;
    // Milliseconds since 1970-01-01 UTC.
    virtual int64_t nowMs() const = 0;
    // Blocks the caller for `ms` (a manual clock advances itself instead).
    virtual void sleepMs(int64_t ms) = 0;
};

class SystemClock : public Clock {
public:
    int64_t nowMs() const override;
    void sleepMs(int64_t ms) override;
};

// A clock that only moves when told to; sleeping advances it. Link threads read it too.
class ManualClock : public Clock {
public:
    explicit ManualClock(int64_t startMs = 1700000000000LL) : now_(startMs) {}
    int64_t nowMs() const override { return now_; }
    void sleepMs(int64_t ms) override { now_ += ms; }
    void advance(int64_t ms) { now_ += ms; }
    void set(int64_t ms) { now_ = ms; }

private:
    std::atomic<int64_t> now_;
};

Clock& clock();
// Installs `c` as the program's clock; nullptr restores the system clock. Not owned.
void setClock(Clock* c);

} // namespace ferro
