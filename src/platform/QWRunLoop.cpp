#include "platform/QWRunLoop.h"

#include "platform/QWTimerQueue.h"

QWRunLoop::QWRunLoop() : queue_(std::make_unique<QWTimerQueue>()) {}
QWRunLoop::~QWRunLoop() = default;

QWRunLoop::Handle QWRunLoop::post(Callback callback) {
    return after(Duration::zero(), std::move(callback));
}

QWRunLoop::Handle QWRunLoop::after(Duration delay, Callback callback) {
    const Handle handle = queue_->add(now() + std::max(delay, Duration::zero()), std::move(callback));
    deadlineChanged();
    return handle;
}
