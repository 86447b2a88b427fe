#include "platform/QWEventLoopRunLoop.h"
#include "support/EventLoopWait.h"
#include "testing/QWVirtualRunLoop.h"
#include "util/QWOperationQueue.h"

#include <future>
#include <gmock/gmock.h>
#include <thread>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

static_assert(!std::is_default_constructible_v<QWOperationQueue>);

TEST(OperationQueue, A_block_for_the_main_queue_runs_after_the_call_returned) {
    QWVirtualRunLoop mainLoop;
    std::vector<std::string> order;
    QWOperationQueue::performBlockOnMainQueue(mainLoop, [&] { order.emplace_back("block"); });
    order.emplace_back("returned");
    mainLoop.runDue();
    EXPECT_THAT(order, ElementsAre("returned", "block"));
}

TEST(OperationQueue, Blocks_for_the_main_queue_run_in_the_order_of_the_calls) {
    QWVirtualRunLoop mainLoop;
    std::vector<int> order;
    for (int index = 0; index < 3; ++index)
        QWOperationQueue::performBlockOnMainQueue(mainLoop, [&order, index] { order.push_back(index); });
    mainLoop.runDue();
    EXPECT_THAT(order, ElementsAre(0, 1, 2));
}

TEST(OperationQueue, A_block_in_the_background_runs_on_another_thread) {
    std::promise<std::thread::id> ranOn;
    QWOperationQueue::performBlockInBackground([&] { ranOn.set_value(std::this_thread::get_id()); });
    auto answer = ranOn.get_future();
    ASSERT_EQ(answer.wait_for(20s), std::future_status::ready);
    EXPECT_NE(answer.get(), std::this_thread::get_id());
}

TEST(OperationQueue, A_block_in_the_background_can_hand_its_result_to_the_main_thread) {
    QWEventLoopRunLoop mainLoop;
    std::thread::id deliveredOn;
    QWOperationQueue::performBlockInBackground([&] {
        QWOperationQueue::performBlockOnMainQueue(mainLoop,
                                                  [&] { deliveredOn = std::this_thread::get_id(); });
    });
    ASSERT_TRUE(runEventLoopUntil([&] { return deliveredOn != std::thread::id(); }));
    EXPECT_EQ(deliveredOn, std::this_thread::get_id());
}

} // namespace
