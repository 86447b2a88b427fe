#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>
#include <chrono>

// Runs the Qt event loop until `condition` holds; false when that takes longer than `limit`.
template <class Condition>
bool runEventLoopUntil(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const QDeadlineTimer deadline(limit);
    QTimer wakeUp; // ends a wait in which no event comes
    wakeUp.start(limit);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}
