#pragma once

#include "platform/QWRunLoop.h"

#include <atomic>
#include <cstddef>

// A run loop whose time stands still until a test moves it, and then jumps from deadline to deadline, so that
// hours pass at once and every run is the same. It starts at 0. What a callback throws leaves the call that
// ran it; the rest stays scheduled.
//
// Runs on the thread that calls it; `post` and `now` may be called from any thread.
class QWVirtualRunLoop final : public QWRunLoop {
public:
    Duration now() const override { return now_; }

    // Moves the time to the earliest deadline and runs that one callback; false when nothing is scheduled.
    bool runNext();
    // Runs what is due without moving the time, including what that makes due. Answers how many callbacks
    // ran.
    std::size_t runDue() { return advance(Duration::zero()); }
    // Moves the time forward by `duration`, running everything that becomes due on the way, each at its
    // deadline.
    std::size_t advance(Duration duration);
    // Runs until nothing is scheduled, at most `limit` callbacks (a repeating timer never ends).
    std::size_t runUntilIdle(std::size_t limit = 1'000'000);
    // Runs until `condition` holds, at most for `timeout`; false when it did not come to hold.
    bool runUntil(const std::function<bool()>& condition, Duration timeout = std::chrono::hours(24));

private:
    void deadlineChanged() override {}
    bool runNextBefore(Duration end);

    std::atomic<Duration> now_ = Duration::zero();
};
