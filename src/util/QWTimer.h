#pragma once

#include "platform/QWRunLoop.h"
#include "util/QWTimerWithBlockHelper.h"

#include <memory>

// Fires once or repeatedly on a run loop. The dates at which it fires are creation + n·interval, so a late
// callback delays none of the later ones; periods missed while the run loop was busy fire once together.
//
// Ownership: a timer owns its target, and with it what the callback captures, until it is invalidated; a
// scheduled timer is kept by its run loop, so the caller keeps it only in order to invalidate it. Threads:
// the run loop's.
class QWTimer final : public std::enable_shared_from_this<QWTimer> {
public:
    // `interval` in seconds; 0, negative ones and those below 0.1 ms count as 0.1 ms. The run loop must
    // outlive the timer's validity.
    static std::shared_ptr<QWTimer> create(QWRunLoop& runLoop, double interval,
                                           std::shared_ptr<const QWTimerWithBlockHelper> target,
                                           bool repeats);

    // Adds the timer to its run loop; once is enough. An invalid timer stays silent.
    void schedule();

    // Ends the timer for good and releases its target; from inside its own callback, after the callback.
    void invalidate();
    // A timer that does not repeat is valid while its callback runs and invalid afterwards.
    bool isValid() const { return target_ != nullptr; }

    double timeInterval() const { return std::chrono::duration<double>(interval_).count(); }

private:
    QWTimer(QWRunLoop& runLoop, double interval, std::shared_ptr<const QWTimerWithBlockHelper> target,
            bool repeats);
    void arm();
    void fire();

    QWRunLoop& runLoop_;
    const QWRunLoop::Duration interval_;
    const bool repeats_;
    QWRunLoop::Duration nextDate_; // in the run loop's time
    std::shared_ptr<const QWTimerWithBlockHelper> target_;
    QWRunLoop::Handle pending_;
    bool isScheduled_ = false;
};
