#include "foundation/Clock.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace ferro {

int64_t SystemClock::nowMs() const {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

void SystemClock::sleepMs(int64_t ms) {
    if (ms > 0) std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

namespace {
SystemClock g_system;
std::atomic<Clock*> g_clock{&g_system};
} // namespace

Clock& clock() {
    return *g_clock.load();
}

void setClock(Clock* c) {
    g_clock.store(c ? c : &g_system);
}

} // namespace ferro
