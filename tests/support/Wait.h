#pragma once
// The one way tests wait: the program's own event wait, bounded. Widgets closed with deleteLater are
// gone before the condition is looked at again.

#include "foundation/MainThread.h"

#include <QCoreApplication>
#include <QEvent>

#include <functional>

namespace ferro::test {

inline bool WaitFor(const std::function<bool()>& done, int timeoutMs = 5000) {
    return RunEventsUntil(
        [&] {
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            return done();
        },
        timeoutMs);
}

} // namespace ferro::test
