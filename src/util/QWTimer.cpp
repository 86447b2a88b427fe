#include "util/QWTimer.h"

#include <utility>

namespace {

QWRunLoop::Duration durationFromSeconds(double seconds) {
    constexpr double shortest = 0.0001;
    constexpr double longest = 1e12; // some 30,000 years: dates stay within the range of a Duration
    // In this order, so that a NaN becomes the shortest.
    const double inRange = std::min(std::max(shortest, seconds), longest);
    return std::chrono::round<QWRunLoop::Duration>(std::chrono::duration<double>(inRange));
}

} // namespace

std::shared_ptr<QWTimer> QWTimer::create(QWRunLoop& runLoop, double interval,
                                         std::shared_ptr<const QWTimerWithBlockHelper> target, bool repeats) {
    return std::shared_ptr<QWTimer>(new QWTimer(runLoop, interval, std::move(target), repeats));
}

QWTimer::QWTimer(QWRunLoop& runLoop, double interval, std::shared_ptr<const QWTimerWithBlockHelper> target,
                 bool repeats)
    : runLoop_(runLoop), interval_(durationFromSeconds(interval)), repeats_(repeats),
      nextDate_(runLoop.now() + interval_), target_(std::move(target)) {}

void QWTimer::schedule() {
    if (isValid() && !std::exchange(isScheduled_, true))
        arm();
}

void QWTimer::arm() {
    pending_ = runLoop_.after(nextDate_ - runLoop_.now(), [self = shared_from_this()] { self->fire(); });
}

void QWTimer::fire() {
    // Keeps what the callback captures while it runs, even if it invalidates the timer.
    const auto target = target_;
    target->executeBlockWithFiredTimer(*this);
    if (!repeats_)
        invalidate();
    if (!isValid())
        return;
    const auto missed = std::max((runLoop_.now() - nextDate_) / interval_, QWRunLoop::Duration::rep(0));
    nextDate_ += (missed + 1) * interval_;
    arm();
}

void QWTimer::invalidate() {
    // The run loop or the target may hold the last reference to this timer.
    const auto self = shared_from_this();
    pending_.cancel();
    target_.reset();
}
