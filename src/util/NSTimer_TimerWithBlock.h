#pragma once

#include "util/QWTimer.h"

// Timers that call a callback. The interval is in seconds; the callback gets the timer that fired. See
// QWTimer for when it fires and who owns what.

// A timer that is scheduled on `runLoop` already.
std::shared_ptr<QWTimer> scheduledTimerWithTimeInterval(QWRunLoop& runLoop, double interval,
                                                        QWTimerWithBlockHelper::FireBlock block,
                                                        bool repeats);

// A timer for `runLoop` that fires nothing until the caller schedules it. Its dates count from now.
std::shared_ptr<QWTimer> timerWithTimeInterval(QWRunLoop& runLoop, double interval,
                                               QWTimerWithBlockHelper::FireBlock block, bool repeats);
