#pragma once

#include "platform/QWClock.h"
#include "platform/QWRunLoop.h"

#include <memory>

// A wall clock that advances with a run loop. Starts at 2026-01-01 00:00:00 UTC unless told otherwise; the
// offset is what a user who sets the clock adds, and may be changed at any time.
class QWVirtualClock final : public QWClock {
public:
    explicit QWVirtualClock(std::shared_ptr<const QWRunLoop> runLoop, const QDateTime& base = standardBase());

    static QDateTime standardBase();

    QDateTime now() const override;

    void setOffset(std::chrono::milliseconds offset) { offset_ = offset; }
    std::chrono::milliseconds offset() const { return offset_; }

private:
    std::shared_ptr<const QWRunLoop> runLoop_;
    QDateTime base_;
    std::chrono::milliseconds offset_ = std::chrono::milliseconds::zero();
};
