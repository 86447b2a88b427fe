#include "testing/QWVirtualRunLoop.h"

#include "platform/QWTimerQueue.h"

bool QWVirtualRunLoop::runNext() {
    return runNextBefore(Duration::max());
}

std::size_t QWVirtualRunLoop::advance(Duration duration) {
    const Duration end = now() + duration;
    std::size_t count = 0;
    while (runNextBefore(end))
        ++count;
    now_ = std::max(now(), end);
    return count;
}

std::size_t QWVirtualRunLoop::runUntilIdle(std::size_t limit) {
    std::size_t count = 0;
    while (count < limit && runNext())
        ++count;
    return count;
}

bool QWVirtualRunLoop::runUntil(const std::function<bool()>& condition, Duration timeout) {
    const Duration end = now() + timeout;
    while (!condition()) {
        if (!runNextBefore(end)) {
            now_ = std::max(now(), end);
            return false;
        }
    }
    return true;
}

// Runs the first callback whose deadline is not later than `end`.
bool QWVirtualRunLoop::runNextBefore(Duration end) {
    const auto deadline = queue().nextDeadline();
    if (!deadline || *deadline > end)
        return false;
    now_ = std::max(now(), *deadline);
    queue().takeDue(now())();
    return true;
}
