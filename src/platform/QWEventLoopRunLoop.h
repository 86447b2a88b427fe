#pragma once

#include "platform/QWRunLoop.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

// The run loop of a real program, on the Qt event loop of the thread that creates it. One precise timer is
// armed for the earliest deadline; a late wake-up runs everything that is due, in order.
class QWEventLoopRunLoop final : public QObject, public QWRunLoop {
    Q_OBJECT

public:
    QWEventLoopRunLoop();

    Duration now() const override;

private:
    void deadlineChanged() override;
    void arm();
    void runDue();

    QElapsedTimer clock_;
    QTimer timer_;
};
