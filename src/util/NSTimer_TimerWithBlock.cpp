#include "util/NSTimer_TimerWithBlock.h"

std::shared_ptr<QWTimer> scheduledTimerWithTimeInterval(QWRunLoop& runLoop, double interval,
                                                        QWTimerWithBlockHelper::FireBlock block,
                                                        bool repeats) {
    auto timer = timerWithTimeInterval(runLoop, interval, std::move(block), repeats);
    timer->schedule();
    return timer;
}

std::shared_ptr<QWTimer> timerWithTimeInterval(QWRunLoop& runLoop, double interval,
                                               QWTimerWithBlockHelper::FireBlock block, bool repeats) {
    return QWTimer::create(runLoop, interval, std::make_shared<QWTimerWithBlockHelper>(std::move(block)),
                           repeats);
}
