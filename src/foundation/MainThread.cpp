#include "foundation/MainThread.h"

#include "foundation/Clock.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMetaObject>
#include <QThread>
#include <QTimer>

namespace ferro {

namespace {
std::function<void()> withDelay(std::function<void()> proc, int delayMs) {
    return [proc = std::move(proc), delayMs] {
        if (delayMs > 0) clock().sleepMs(delayMs);
        if (proc) proc();
    };
}
} // namespace

void Postpone(std::function<void()> proc, int delayMs) {
    Postpone(QCoreApplication::instance(), std::move(proc), delayMs);
}

void Postpone(QObject* context, std::function<void()> proc, int delayMs) {
    if (!context) context = QCoreApplication::instance();
    if (!context) return;
    QMetaObject::invokeMethod(context, withDelay(std::move(proc), delayMs), Qt::QueuedConnection);
}

bool IsMainThread() {
    auto* app = QCoreApplication::instance();
    return app && QThread::currentThread() == app->thread();
}

void RunOnMainAndWait(const std::function<void()>& proc) {
    auto* app = QCoreApplication::instance();
    if (!app || IsMainThread()) {
        proc();
        return;
    }
    QMetaObject::invokeMethod(app, proc, Qt::BlockingQueuedConnection);
}

bool RunEventsUntil(const std::function<bool()>& done, int timeoutMs) {
    QElapsedTimer elapsed;
    elapsed.start();
    QTimer tick;
    tick.start(10);
    while (!done()) {
        if (elapsed.elapsed() > timeoutMs) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    return true;
}

} // namespace ferro
