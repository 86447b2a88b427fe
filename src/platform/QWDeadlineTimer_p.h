#pragma once

#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>

class QSocketNotifier;

// Calls back once on the Qt event loop of its thread, a duration from `start` on and as exactly as the system
// can. On Linux that is some ten microseconds (timerfd); elsewhere QTimer's whole milliseconds, rounded up.
class QWDeadlineTimer {
public:
    explicit QWDeadlineTimer(std::function<void()> callback);
    ~QWDeadlineTimer();
    QWDeadlineTimer(const QWDeadlineTimer&) = delete;
    QWDeadlineTimer& operator=(const QWDeadlineTimer&) = delete;

    // Replaces an earlier start. Zero or less: on the loop's next turn.
    void start(std::chrono::microseconds duration);
    void stop();

private:
    const std::function<void()> callback_;
    QTimer timer_;                                 // where the system has no better
    std::unique_ptr<QSocketNotifier> expirations_; // else null
};
