#include "util/QWTimerWithBlockHelper.h"

QWTimerWithBlockHelper::QWTimerWithBlockHelper(FireBlock fireBlock) : fireBlock_(std::move(fireBlock)) {}

void QWTimerWithBlockHelper::executeBlockWithFiredTimer(QWTimer& timer) const {
    fireBlock_(timer);
}
