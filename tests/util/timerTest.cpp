#include "testing/QWVirtualRunLoop.h"
#include "util/NSTimer_TimerWithBlock.h"

#include <gmock/gmock.h>
#include <limits>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

struct Timer : testing::Test {
    // A block that notes when it runs.
    QWTimerWithBlockHelper::FireBlock noting() {
        return [this](QWTimer&) { times.push_back(loop.now()); };
    }

    QWVirtualRunLoop loop;
    std::vector<QWRunLoop::Duration> times;
};

TEST_F(Timer, That_does_not_repeat_calls_its_callback_once_with_itself) {
    std::vector<QWTimer*> fired;
    const auto timer = scheduledTimerWithTimeInterval(
        loop, 10.0, [&](QWTimer& which) { fired.push_back(&which); }, false);
    loop.advance(9999ms);
    EXPECT_TRUE(fired.empty());
    loop.advance(1h);
    EXPECT_THAT(fired, ElementsAre(timer.get()));
}

TEST_F(Timer, That_does_not_repeat_is_valid_in_its_callback_and_invalid_after) {
    bool validInCallback = false;
    const auto timer = scheduledTimerWithTimeInterval(
        loop, 1.0, [&](QWTimer& which) { validInCallback = which.isValid(); }, false);
    EXPECT_TRUE(timer->isValid());
    loop.advance(1s);
    EXPECT_TRUE(validInCallback);
    EXPECT_FALSE(timer->isValid());
}

TEST_F(Timer, That_repeats_fires_until_it_is_invalidated) {
    const auto timer = scheduledTimerWithTimeInterval(loop, 2.0, noting(), true);
    loop.advance(6s);
    timer->invalidate();
    loop.advance(1h);
    EXPECT_THAT(times, ElementsAre(2s, 4s, 6s));
    EXPECT_FALSE(timer->isValid());
}

TEST_F(Timer, Invalidated_before_its_first_firing_never_runs_and_releases_its_captures) {
    const auto captured = std::make_shared<int>(0);
    const auto timer = scheduledTimerWithTimeInterval(
        loop, 1.0, [captured](QWTimer&) { ++*captured; }, true);
    EXPECT_EQ(captured.use_count(), 2);
    timer->invalidate();
    EXPECT_EQ(captured.use_count(), 1);
    loop.advance(1h);
    EXPECT_EQ(*captured, 0);
}

TEST_F(Timer, Invalidated_in_its_own_callback_ends_and_releases_its_captures_after_the_callback) {
    const auto captured = std::make_shared<int>(0);
    long usesAfterInvalidating = 0;
    const auto timer = scheduledTimerWithTimeInterval(
        loop, 1.0,
        [&usesAfterInvalidating, captured](QWTimer& which) {
            which.invalidate();
            usesAfterInvalidating = captured.use_count();
            ++*captured;
        },
        true);
    loop.advance(1h);
    EXPECT_EQ(*captured, 1);
    EXPECT_EQ(usesAfterInvalidating, 2);
    EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(Timer, That_fired_for_good_releases_its_captures) {
    const auto captured = std::make_shared<int>(0);
    const auto timer = scheduledTimerWithTimeInterval(
        loop, 1.0, [captured](QWTimer&) {}, false);
    loop.advance(1s);
    EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(Timer, Is_kept_by_its_run_loop_until_it_is_invalid) {
    std::weak_ptr<QWTimer> timer = scheduledTimerWithTimeInterval(loop, 1.0, noting(), false);
    ASSERT_FALSE(timer.expired());
    loop.advance(1s);
    EXPECT_THAT(times, ElementsAre(1s));
    EXPECT_TRUE(timer.expired());
}

TEST_F(Timer, Whose_only_holder_is_its_own_callback_can_invalidate_itself) {
    auto holder = std::make_shared<std::shared_ptr<QWTimer>>();
    *holder = scheduledTimerWithTimeInterval(
        loop, 1.0, [holder](QWTimer&) { (*holder)->invalidate(); }, true);
    const std::weak_ptr<QWTimer> timer = *holder;
    holder.reset();
    loop.advance(1h);
    EXPECT_TRUE(timer.expired());
}

TEST_F(Timer, That_is_not_scheduled_stays_silent_until_it_is) {
    const auto timer = timerWithTimeInterval(loop, 5.0, noting(), false);
    loop.advance(3s);
    timer->schedule();
    loop.advance(1h);
    EXPECT_THAT(times, ElementsAre(5s)); // its date counts from its creation
}

TEST_F(Timer, Scheduled_after_its_date_fires_at_once) {
    const auto timer = timerWithTimeInterval(loop, 5.0, noting(), true);
    loop.advance(12s);
    EXPECT_TRUE(times.empty());
    timer->schedule();
    loop.advance(5s);
    EXPECT_THAT(times, ElementsAre(12s, 15s));
}

TEST_F(Timer, Scheduled_twice_fires_once) {
    const auto timer = scheduledTimerWithTimeInterval(loop, 1.0, noting(), false);
    timer->schedule();
    loop.advance(1h);
    EXPECT_THAT(times, ElementsAre(1s));
}

TEST_F(Timer, Scheduled_again_in_its_own_callback_keeps_to_its_dates) {
    const auto timer = scheduledTimerWithTimeInterval(
        loop, 1.0,
        [&](QWTimer& which) {
            times.push_back(loop.now());
            which.schedule();
        },
        true);
    loop.advance(3s);
    timer->invalidate();
    EXPECT_THAT(times, ElementsAre(1s, 2s, 3s));
    EXPECT_EQ(loop.runUntilIdle(), 0u);
}

TEST_F(Timer, Invalidated_cannot_be_scheduled_again) {
    const auto timer = timerWithTimeInterval(loop, 1.0, noting(), true);
    timer->invalidate();
    timer->invalidate();
    timer->schedule();
    EXPECT_EQ(loop.runUntilIdle(), 0u);
}

TEST_F(Timer, Fires_once_for_all_periods_that_were_missed_and_keeps_to_its_dates) {
    bool busy = true;
    const auto timer = scheduledTimerWithTimeInterval(
        loop, 1.0,
        [&](QWTimer&) {
            times.push_back(loop.now());
            if (std::exchange(busy, false))
                loop.advance(3500ms); // the callback takes that long
        },
        true);
    loop.advance(7s);
    EXPECT_THAT(times, ElementsAre(1s, 5s, 6s, 7s));
}

TEST_F(Timer, Has_the_nearest_microsecond) {
    const auto timer =
        scheduledTimerWithTimeInterval(loop, 1.005, noting(), false); // a little less in binary
    loop.advance(2s);
    EXPECT_THAT(times, ElementsAre(1005ms));
}

TEST_F(Timer, Does_not_drift) {
    const auto timer = scheduledTimerWithTimeInterval(
        loop, 0.1,
        [&](QWTimer&) {
            times.push_back(loop.now());
            loop.advance(30ms);
        },
        true);
    loop.advance(100s);
    ASSERT_GE(times.size(), 1000u);
    EXPECT_EQ(times[999], 100s);
}

TEST_F(Timer, Equal_deadlines_fire_in_the_order_of_creation) {
    std::vector<int> order;
    std::vector<std::shared_ptr<QWTimer>> timers;
    for (int index = 0; index < 5; ++index)
        timers.push_back(scheduledTimerWithTimeInterval(
            loop, 1.0, [&order, index](QWTimer&) { order.push_back(index); }, index % 2 == 0));
    loop.advance(2s);
    EXPECT_THAT(order, ElementsAre(0, 1, 2, 3, 4, 0, 2, 4));
}

TEST_F(Timer, A_callback_may_make_and_invalidate_other_timers) {
    std::shared_ptr<QWTimer> second;
    const auto first = scheduledTimerWithTimeInterval(
        loop, 1.0,
        [&](QWTimer&) {
            second->invalidate();
            (void)scheduledTimerWithTimeInterval(loop, 1.0, noting(), false);
        },
        false);
    second = scheduledTimerWithTimeInterval(loop, 1.0, noting(), false);
    loop.advance(1h);
    EXPECT_THAT(times, ElementsAre(2s));
}

class ShortInterval : public Timer, public testing::WithParamInterface<double> {};

TEST_P(ShortInterval, Counts_as_a_tenth_of_a_millisecond) {
    const auto timer = scheduledTimerWithTimeInterval(loop, GetParam(), noting(), true);
    loop.advance(300us);
    timer->invalidate();
    EXPECT_THAT(times, ElementsAre(100us, 200us, 300us));
    EXPECT_DOUBLE_EQ(timer->timeInterval(), 0.0001);
}

INSTANTIATE_TEST_SUITE_P(Table, ShortInterval,
                         testing::Values(0.0, -5.0, 1e-9, -std::numeric_limits<double>::infinity(),
                                         std::numeric_limits<double>::quiet_NaN()));

TEST_F(Timer, With_an_endless_interval_stays_pending) {
    const auto timer =
        scheduledTimerWithTimeInterval(loop, std::numeric_limits<double>::infinity(), noting(), true);
    loop.advance(24h * 365);
    EXPECT_TRUE(times.empty());
    EXPECT_TRUE(timer->isValid());
    timer->invalidate();
}

TEST_F(Timer, May_outlive_its_run_loop) {
    std::shared_ptr<QWTimer> timer;
    {
        QWVirtualRunLoop other;
        timer = scheduledTimerWithTimeInterval(other, 1.0, noting(), true);
    }
    timer->invalidate();
    EXPECT_FALSE(timer->isValid());
}

TEST(TimerWithBlockHelper, Holds_a_copy_of_the_callback_and_calls_it_with_the_timer) {
    QWVirtualRunLoop loop;
    int calls = 0;
    QWTimer* received = nullptr;
    QWTimerWithBlockHelper::FireBlock block = [&](QWTimer& timer) {
        ++calls;
        received = &timer;
    };
    const auto helper = std::make_shared<QWTimerWithBlockHelper>(block);
    block = nullptr;
    ASSERT_TRUE(helper->fireBlock());
    const auto timer = QWTimer::create(loop, 1.0, helper, false);
    helper->executeBlockWithFiredTimer(*timer);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(received, timer.get());
}

} // namespace
