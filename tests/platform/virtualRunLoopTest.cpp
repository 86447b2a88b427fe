#include "testing/QWVirtualRunLoop.h"

#include <gmock/gmock.h>
#include <stdexcept>
#include <thread>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

struct VirtualRunLoop : testing::Test {
    auto noting(int entry) {
        return [this, entry] { log.push_back(entry); };
    }

    QWVirtualRunLoop loop;
    std::vector<int> log;
};

TEST_F(VirtualRunLoop, Runs_nothing_inside_the_scheduling_call) {
    loop.post(noting(1));
    loop.after(-5s, noting(2));
    EXPECT_TRUE(log.empty());
    loop.runDue();
    EXPECT_THAT(log, ElementsAre(1, 2));
}

TEST_F(VirtualRunLoop, Runs_by_deadline_and_equal_deadlines_in_the_order_they_were_made) {
    loop.after(2s, noting(3));
    loop.after(1s, noting(1));
    loop.after(2s, noting(4));
    loop.after(1s, noting(2));
    loop.post(noting(0));
    EXPECT_EQ(loop.runUntilIdle(), 5u);
    EXPECT_THAT(log, ElementsAre(0, 1, 2, 3, 4));
    EXPECT_EQ(loop.now(), 2s);
}

TEST_F(VirtualRunLoop, Runs_posted_work_after_what_is_due_already) {
    loop.after(1s, [&] {
        loop.post(noting(3));
        log.push_back(1);
    });
    loop.after(1s, noting(2));
    loop.advance(1s);
    EXPECT_THAT(log, ElementsAre(1, 2, 3));
}

TEST_F(VirtualRunLoop, Advancing_stops_at_each_deadline_and_ends_at_the_end) {
    std::vector<QWRunLoop::Duration> times;
    loop.after(1s, [&] {
        times.push_back(loop.now());
        loop.after(1s, [&] { times.push_back(loop.now()); });
    });
    loop.after(10s, [&] { times.push_back(loop.now()); });
    EXPECT_EQ(loop.advance(5s), 2u);
    EXPECT_THAT(times, ElementsAre(1s, 2s));
    EXPECT_EQ(loop.now(), 5s);
}

TEST_F(VirtualRunLoop, Stepping_runs_one_callback_at_its_deadline) {
    loop.after(1h, noting(1));
    loop.after(1h, noting(2));
    EXPECT_TRUE(loop.runNext());
    EXPECT_THAT(log, ElementsAre(1));
    EXPECT_EQ(loop.now(), 1h);
    EXPECT_TRUE(loop.runNext());
    EXPECT_FALSE(loop.runNext());
}

TEST_F(VirtualRunLoop, Running_until_a_condition_stops_as_soon_as_it_holds) {
    loop.after(1s, noting(1));
    loop.after(2s, noting(2));
    EXPECT_TRUE(loop.runUntil([&] { return log.size() == 1; }));
    EXPECT_EQ(loop.now(), 1s);
    EXPECT_FALSE(loop.runUntil([&] { return log.size() == 3; }, 10s));
    EXPECT_THAT(log, ElementsAre(1, 2));
    EXPECT_EQ(loop.now(), 11s);
}

TEST_F(VirtualRunLoop, Running_until_idle_gives_up_at_its_limit) {
    std::function<void()> again = [&] { loop.post(again); };
    again();
    EXPECT_EQ(loop.runUntilIdle(50), 50u);
}

TEST_F(VirtualRunLoop, A_cancelled_callback_does_not_run_and_is_released_at_once) {
    auto captured = std::make_shared<int>(1);
    auto handle = loop.after(1s, [captured] { *captured = 2; });
    const auto copy = handle;
    EXPECT_TRUE(copy.isPending());
    EXPECT_EQ(captured.use_count(), 2);
    handle.cancel();
    EXPECT_EQ(captured.use_count(), 1);
    EXPECT_FALSE(copy.isPending());
    EXPECT_EQ(loop.runUntilIdle(), 0u);
    EXPECT_EQ(loop.now(), 0s); // nothing is left to wait for
}

TEST_F(VirtualRunLoop, A_callback_is_released_after_it_ran) {
    auto captured = std::make_shared<int>(1);
    loop.post([captured] {});
    loop.runDue();
    EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(VirtualRunLoop, A_handle_is_not_pending_while_its_callback_runs_and_may_be_cancelled_then) {
    QWRunLoop::Handle handle;
    bool pending = true;
    handle = loop.post([&] {
        pending = handle.isPending();
        handle.cancel();
    });
    loop.runDue();
    EXPECT_FALSE(pending);
}

TEST_F(VirtualRunLoop, A_callback_can_cancel_another_of_the_same_deadline) {
    QWRunLoop::Handle second;
    loop.after(1s, [&] { second.cancel(); });
    second = loop.after(1s, noting(2));
    loop.advance(1s);
    EXPECT_TRUE(log.empty());
}

TEST_F(VirtualRunLoop, A_released_callback_may_schedule_and_cancel) {
    struct Rescheduler {
        QWVirtualRunLoop& loop;
        explicit Rescheduler(QWVirtualRunLoop& runLoop) : loop(runLoop) {}
        ~Rescheduler() {
            loop.post([] {}).cancel();
        }
    };
    auto rescheduler = std::make_shared<Rescheduler>(loop);
    auto handle = loop.after(1s, [rescheduler] {});
    rescheduler.reset();
    handle.cancel();
    EXPECT_EQ(loop.runUntilIdle(), 0u);
}

TEST_F(VirtualRunLoop, Dropping_a_handle_changes_nothing) {
    { const auto handle = loop.post(noting(1)); }
    loop.runDue();
    EXPECT_THAT(log, ElementsAre(1));
}

TEST(VirtualRunLoopHandle, Of_a_run_loop_that_is_gone_can_be_cancelled) {
    QWRunLoop::Handle handle;
    {
        QWVirtualRunLoop loop;
        handle = loop.after(1s, [] {});
    }
    EXPECT_FALSE(handle.isPending());
    handle.cancel();
    QWRunLoop::Handle().cancel();
}

TEST_F(VirtualRunLoop, What_a_callback_throws_leaves_the_rest_scheduled) {
    loop.post([] { throw std::runtime_error("stop"); });
    loop.post(noting(1));
    EXPECT_THROW(loop.runDue(), std::runtime_error);
    loop.runDue();
    EXPECT_THAT(log, ElementsAre(1));
}

TEST_F(VirtualRunLoop, Takes_posts_from_other_threads) {
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index)
        threads.emplace_back([&] {
            for (int count = 0; count < 1000; ++count)
                loop.post(noting(count));
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(loop.runDue(), 4000u);
}

TEST_F(VirtualRunLoop, Costs_the_same_for_each_of_many_deadlines) {
    int fired = 0;
    for (int index = 0; index < 100'000; ++index)
        loop.after(std::chrono::milliseconds((index * 7919) % 100'003), [&] { ++fired; });
    loop.runUntilIdle();
    EXPECT_EQ(fired, 100'000);
}

} // namespace
