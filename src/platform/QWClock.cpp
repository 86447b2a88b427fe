#include "platform/QWClock.h"

QWClock::~QWClock() = default;

QDateTime QWSystemClock::now() const {
    return QDateTime::currentDateTimeUtc();
}
