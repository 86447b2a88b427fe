#pragma once

#include <QDateTime>

// Wall-clock time. May jump (the user sets it, the network corrects it); for intervals use QWRunLoop::now.
class QWClock {
public:
    virtual ~QWClock();
    // The current date and time in UTC, to the millisecond.
    virtual QDateTime now() const = 0;
};

class QWSystemClock final : public QWClock {
public:
    QDateTime now() const override;
};
