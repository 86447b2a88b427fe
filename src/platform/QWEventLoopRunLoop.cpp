#include "platform/QWEventLoopRunLoop.h"

#include "platform/QWDeadlineTimer_p.h"
#include "platform/QWTimerQueue.h"

#include <QThread>

QWEventLoopRunLoop::QWEventLoopRunLoop() : timer_(std::make_unique<QWDeadlineTimer>([this] { runDue(); })) {
    clock_.start();
}

QWEventLoopRunLoop::~QWEventLoopRunLoop() = default;

QWRunLoop::Duration QWEventLoopRunLoop::now() const {
    return std::chrono::duration_cast<Duration>(std::chrono::nanoseconds(clock_.nsecsElapsed()));
}

void QWEventLoopRunLoop::deadlineChanged() {
    if (thread() == QThread::currentThread())
        arm();
    else
        QMetaObject::invokeMethod(this, &QWEventLoopRunLoop::arm, Qt::QueuedConnection);
}

void QWEventLoopRunLoop::arm() {
    const auto deadline = queue().nextDeadline();
    if (deadline == armedFor_)
        return;
    armedFor_ = deadline;
    if (deadline)
        timer_->start(*deadline - now());
    else
        timer_->stop();
}

void QWEventLoopRunLoop::runDue() {
    // What is posted from here on waits for the next turn, so that other events get theirs.
    const Duration turn = now();
    armedFor_.reset();
    while (const Callback callback = queue().takeDue(turn)) {
        arm(); // for a callback that runs an event loop of its own (a modal dialog)
        callback();
    }
    arm();
}
