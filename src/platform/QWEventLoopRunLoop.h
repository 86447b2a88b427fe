#pragma once

#include "platform/QWRunLoop.h"

#include <QElapsedTimer>
#include <QObject>
#include <memory>
#include <optional>

class QWDeadlineTimer;

// The run loop of a real program, on the Qt event loop of the thread that creates it. One precise timer is
// armed for the earliest deadline (on Linux it is some ten microseconds late, elsewhere up to a millisecond
// or two); a late wake-up runs everything that is due, in order.
class QWEventLoopRunLoop final : public QObject, public QWRunLoop {
    Q_OBJECT

public:
    QWEventLoopRunLoop();
    ~QWEventLoopRunLoop() override;

    Duration now() const override;

private:
    void deadlineChanged() override;
    void arm();
    void runDue();

    QElapsedTimer clock_;
    std::unique_ptr<QWDeadlineTimer> timer_;
    std::optional<Duration> armedFor_; // the deadline that the timer runs for
};
