#pragma once
// Jobs for the main thread: Postpone queues and returns, RunOnMainAndWait blocks until done.

#include <functional>

class QObject;

namespace ferro {

// Queues `proc` to the main thread even when called there. The job first sleeps `delayMs` on the
// main thread (through the program clock) and then runs. With a context object the job is dropped
// if the context is destroyed first.
void Postpone(std::function<void()> proc, int delayMs = 0);
void Postpone(QObject* context, std::function<void()> proc, int delayMs = 0);

// Method form: Postpone(obj, &T::Method, delay).
template <class T> void Postpone(T* obj, void (T::*method)(), int delayMs = 0) {
    Postpone(
        obj, [obj, method] { (obj->*method)(); }, delayMs);
}

// Runs `proc` on the main thread and waits for it; runs at once when already there.
void RunOnMainAndWait(const std::function<void()>& proc);

bool IsMainThread();

// Runs the main thread's event loop until `done` holds or `timeoutMs` passes; true if `done` held.
// It sleeps while nothing happens; a 10 ms tick lets it see conditions that other threads change.
bool RunEventsUntil(const std::function<bool()>& done, int timeoutMs);

} // namespace ferro
