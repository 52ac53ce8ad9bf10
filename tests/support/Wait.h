#pragma once
// The one way tests wait: run the event loop until a condition holds, bounded. It sleeps until
// something happens; the tick lets conditions that other threads change be seen within 10 ms.

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QTimer>

#include <functional>

namespace ferro::test {

inline bool WaitFor(const std::function<bool()>& done, int timeoutMs = 5000) {
    QElapsedTimer elapsed;
    elapsed.start();
    QTimer tick;
    tick.start(10);
    while (!done()) {
        if (elapsed.elapsed() > timeoutMs) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        // Widgets closed with deleteLater are gone before the condition is looked at again.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

} // namespace ferro::test
