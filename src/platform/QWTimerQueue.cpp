#include "platform/QWTimerQueue.h"

#include <tuple>
#include <utility>

// The deadline and the sequence never change, so the queue may compare entries while another thread adds one.
// The callback belongs to the run loop's thread; it is empty once it was taken or cancelled.
struct QWRunLoop::Handle::Entry {
    Duration deadline;
    quint64 sequence;
    Callback callback;
};

void QWRunLoop::Handle::cancel() {
    if (const auto entry = entry_.lock())
        std::exchange(entry->callback, nullptr);
}

bool QWRunLoop::Handle::isPending() const {
    const auto entry = entry_.lock();
    return entry && entry->callback;
}

bool QWTimerQueue::Later::operator()(const EntryPointer& left, const EntryPointer& right) const {
    return std::tie(left->deadline, left->sequence) > std::tie(right->deadline, right->sequence);
}

QWRunLoop::Handle QWTimerQueue::add(QWRunLoop::Duration deadline, QWRunLoop::Callback callback) {
    const std::lock_guard lock(mutex_);
    const auto entry = std::make_shared<QWRunLoop::Handle::Entry>(
        QWRunLoop::Handle::Entry{deadline, nextSequence_++, std::move(callback)});
    entries_.push(entry);
    return QWRunLoop::Handle(entry);
}

std::optional<QWRunLoop::Duration> QWTimerQueue::nextDeadline() const {
    const std::lock_guard lock(mutex_);
    dropCancelled();
    if (entries_.empty())
        return std::nullopt;
    return entries_.top()->deadline;
}

QWRunLoop::Callback QWTimerQueue::takeDue(QWRunLoop::Duration now) {
    const std::lock_guard lock(mutex_);
    dropCancelled();
    if (entries_.empty() || entries_.top()->deadline > now)
        return nullptr;
    const EntryPointer entry = entries_.top();
    entries_.pop();
    return std::exchange(entry->callback, nullptr);
}

void QWTimerQueue::dropCancelled() const {
    while (!entries_.empty() && !entries_.top()->callback)
        entries_.pop();
}
