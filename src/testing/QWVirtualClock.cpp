#include "testing/QWVirtualClock.h"

using std::chrono::milliseconds;

QWVirtualClock::QWVirtualClock(std::shared_ptr<const QWRunLoop> runLoop, const QDateTime& base)
    : runLoop_(std::move(runLoop)), base_(base.toUTC()) {}

QDateTime QWVirtualClock::standardBase() {
    return QDateTime(QDate(2026, 1, 1), QTime(0, 0), Qt::UTC);
}

QDateTime QWVirtualClock::now() const {
    return base_.addMSecs((std::chrono::floor<milliseconds>(runLoop_->now()) + offset_).count());
}
