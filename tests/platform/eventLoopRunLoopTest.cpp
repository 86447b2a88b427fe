#include "platform/QWEventLoopRunLoop.h"
#include "support/EventLoopWait.h"

#include <QEventLoop>
#include <gmock/gmock.h>
#include <thread>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

struct EventLoopRunLoop : testing::Test {
    auto noting(int entry) {
        return [this, entry] { log.push_back(entry); };
    }
    bool waitForEntries(std::size_t count) {
        return runEventLoopUntil([&] { return log.size() >= count; });
    }

    QWEventLoopRunLoop loop;
    std::vector<int> log;
};

TEST_F(EventLoopRunLoop, Runs_nothing_inside_the_scheduling_call) {
    loop.post(noting(1));
    EXPECT_TRUE(log.empty());
    EXPECT_TRUE(waitForEntries(1));
}

TEST_F(EventLoopRunLoop, Runs_by_deadline_and_equal_deadlines_in_the_order_they_were_made) {
    loop.after(30ms, noting(4));
    loop.after(10ms, noting(2));
    loop.post(noting(0));
    loop.after(0ms, noting(1));
    loop.after(20ms, noting(3));
    ASSERT_TRUE(waitForEntries(5));
    EXPECT_THAT(log, ElementsAre(0, 1, 2, 3, 4));
}

TEST_F(EventLoopRunLoop, Never_runs_before_the_deadline) {
    const auto start = loop.now();
    QWRunLoop::Duration ranAt = 0s;
    loop.after(15500us, [&] { ranAt = loop.now(); });
    ASSERT_TRUE(runEventLoopUntil([&] { return ranAt != 0s; }));
    EXPECT_GE(ranAt - start, 15500us);
}

TEST_F(EventLoopRunLoop, Posted_work_waits_for_a_later_turn) {
    int turns = 0;
    QMetaObject::Connection connection;
    loop.post([&] {
        loop.post(noting(2));
        QMetaObject::invokeMethod(&loop, noting(1), Qt::QueuedConnection);
        ++turns;
    });
    ASSERT_TRUE(waitForEntries(2));
    EXPECT_EQ(turns, 1);
}

TEST_F(EventLoopRunLoop, A_callback_that_posts_itself_lets_other_events_through) {
    bool stop = false;
    std::function<void()> again = [&] {
        if (!stop)
            loop.post(again);
    };
    loop.post(again);
    QTimer::singleShot(5, &loop, [&] { stop = true; });
    EXPECT_TRUE(runEventLoopUntil([&] { return stop; }));
}

TEST_F(EventLoopRunLoop, A_callback_with_an_event_loop_of_its_own_does_not_hold_up_the_others) {
    QEventLoop dialog;
    loop.post([&] {
        dialog.exec();
        log.push_back(3);
    });
    loop.post(noting(1));
    loop.after(5ms, [&] {
        log.push_back(2);
        dialog.quit();
    });
    ASSERT_TRUE(waitForEntries(3));
    EXPECT_THAT(log, ElementsAre(1, 2, 3));
}

TEST_F(EventLoopRunLoop, A_cancelled_callback_does_not_run) {
    auto handle = loop.after(1ms, noting(1));
    handle.cancel();
    loop.after(5ms, noting(2));
    ASSERT_TRUE(waitForEntries(1));
    EXPECT_THAT(log, ElementsAre(2));
}

TEST_F(EventLoopRunLoop, Runs_on_its_own_thread_what_another_thread_posts) {
    std::thread::id ranOn;
    std::thread worker([&] { loop.post([&] { ranOn = std::this_thread::get_id(); }); });
    worker.join();
    ASSERT_TRUE(runEventLoopUntil([&] { return ranOn != std::thread::id(); }));
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST_F(EventLoopRunLoop, A_deadline_beyond_the_reach_of_one_timer_stays_pending) {
    const auto handle = loop.after(24h * 365, noting(1));
    loop.after(1ms, noting(2));
    ASSERT_TRUE(waitForEntries(1));
    EXPECT_THAT(log, ElementsAre(2));
    EXPECT_TRUE(handle.isPending());
}

} // namespace
