#include "platform/QWEventLoopRunLoop.h"

#include "platform/QWTimerQueue.h"

#include <QThread>

QWEventLoopRunLoop::QWEventLoopRunLoop() {
    clock_.start();
    timer_.setTimerType(Qt::PreciseTimer);
    timer_.setSingleShot(true);
    connect(&timer_, &QTimer::timeout, this, &QWEventLoopRunLoop::runDue);
}

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
    using namespace std::chrono;
    const auto deadline = queue().nextDeadline();
    if (!deadline)
        return timer_.stop();
    // QTimer counts in an int of milliseconds: a later deadline is reached in several steps.
    timer_.start(std::clamp(ceil<milliseconds>(*deadline - now()), 0ms, milliseconds(24h)));
}

void QWEventLoopRunLoop::runDue() {
    // What is posted from here on waits for the next turn, so that other events get theirs.
    const Duration turn = now();
    // A callback may run an event loop of its own (a modal dialog), which must find the timer armed.
    arm();
    while (const Callback callback = queue().takeDue(turn))
        callback();
    arm();
}
