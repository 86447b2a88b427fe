#pragma once

#include <functional>

class QWTimer;

// The target of a timer: owns the callback that the timer calls.
class QWTimerWithBlockHelper {
public:
    using FireBlock = std::function<void(QWTimer& firedTimer)>;

    explicit QWTimerWithBlockHelper(FireBlock fireBlock);

    const FireBlock& fireBlock() const { return fireBlock_; }
    void executeBlockWithFiredTimer(QWTimer& timer) const;

private:
    FireBlock fireBlock_;
};
