#pragma once

#include <chrono>
#include <functional>
#include <memory>

class QWTimerQueue;

// The one source of "later" in the library: nothing else schedules work or sleeps. The real run loop stands
// on Qt's event loop; hosts' tests use QWVirtualRunLoop (testing/), which steps from deadline to deadline at
// once. Both keep their work in one QWTimerQueue, so that order cannot differ: work runs by deadline, and
// equal deadlines run in the order in which they were made.
//
// Threads: callbacks run on the thread that owns the run loop. `post` may be called from any thread;
// everything else belongs to the owning thread.
class QWRunLoop {
public:
    using Callback = std::function<void()>;
    using Duration = std::chrono::microseconds;

    // Names one scheduled callback. Dropping it changes nothing; copies name the same callback.
    class Handle {
    public:
        Handle() = default;
        // The callback will not run; it and its captures are released at once. Safe at any time.
        void cancel();
        bool isPending() const;

    private:
        friend class QWTimerQueue;
        struct Entry;
        explicit Handle(std::weak_ptr<Entry> entry) : entry_(std::move(entry)) {}
        std::weak_ptr<Entry> entry_;
    };

    virtual ~QWRunLoop();

    // Time since some fixed instant; never goes back. For wall-clock time see QWClock.
    virtual Duration now() const = 0;

    // Runs `callback` on a later turn, never inside the call, after everything that is due already.
    Handle post(Callback callback);
    // Runs `callback` once, `delay` from now; a delay of zero or less is the same as `post`.
    Handle after(Duration delay, Callback callback);

protected:
    QWRunLoop();
    QWTimerQueue& queue() { return *queue_; }
    const QWTimerQueue& queue() const { return *queue_; }
    // Called after something was scheduled, possibly from another thread: the next deadline may be earlier
    // now.
    virtual void deadlineChanged() = 0;

private:
    std::unique_ptr<QWTimerQueue> queue_;
};
