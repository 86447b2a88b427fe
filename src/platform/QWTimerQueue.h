#pragma once

#include "platform/QWRunLoop.h"

#include <QtGlobal>
#include <mutex>
#include <optional>
#include <queue>
#include <vector>

// Scheduled callbacks by deadline, then by the order in which they were made. Shared by the real and the
// virtual run loop. Thread-safe; callbacks run outside the lock.
class QWTimerQueue {
public:
    QWRunLoop::Handle add(QWRunLoop::Duration deadline, QWRunLoop::Callback callback);

    // The earliest deadline of a callback that was not cancelled.
    std::optional<QWRunLoop::Duration> nextDeadline() const;

    // Takes the first callback whose deadline is not later than `now` out of the queue; empty if there is
    // none.
    QWRunLoop::Callback takeDue(QWRunLoop::Duration now);

private:
    using EntryPointer = std::shared_ptr<QWRunLoop::Handle::Entry>;
    struct Later {
        bool operator()(const EntryPointer& left, const EntryPointer& right) const;
    };

    void dropCancelled() const;

    mutable std::mutex mutex_;
    mutable std::priority_queue<EntryPointer, std::vector<EntryPointer>, Later> entries_;
    quint64 nextSequence_ = 0;
};
