#include "dropbox/http/QWHTTPExchange_p.h"
#include "testing/QWVirtualWorld.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

// An exchange whose bytes move when a test says so.
struct HTTPExchange : testing::Test {
    HTTPExchange() { exchange->headCame({.status = 200}); }

    void bring(const QByteArray& bytes) {
        if (!exchange->bytesCame(bytes))
            exchange->ended("broken off");
    }

    QWVirtualWorld world;
    std::vector<QWHTTPAnswer> answers;
    std::unique_ptr<QWHTTPExchange> exchange = std::make_unique<QWHTTPExchange>(
        nullptr, *world.runLoop, 60s, [this](const QWHTTPAnswer& answer) { answers.push_back(answer); });
};

TEST_F(HTTPExchange, Answers_on_a_later_turn) {
    bring("bytes");
    exchange->ended({});
    EXPECT_TRUE(answers.empty());
    world.runLoop->runUntilIdle();
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].status, 200);
    EXPECT_EQ(answers[0].body, "bytes");
}

TEST_F(HTTPExchange, Bears_a_slow_transfer) {
    const QByteArray piece(1024, 'x');
    for (int i = 0; i < 10; ++i) {
        world.runLoop->advance(59s);
        if (i % 2 == 0)
            bring(piece);
        else
            exchange->sent((i + 1) * piece.size());
    }
    exchange->ended({});
    world.runLoop->runUntilIdle();
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].body, piece.repeated(5));
}

TEST_F(HTTPExchange, Gives_a_stalled_transfer_up) {
    world.runLoop->advance(30s);
    bring(QByteArray(1024, 'x'));
    world.runLoop->advance(59s);
    EXPECT_TRUE(answers.empty());
    world.runLoop->advance(1s);
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].status, 0);
    EXPECT_EQ(answers[0].trouble, "less than 1 KiB has moved for 60 seconds");
}

TEST_F(HTTPExchange, Gives_a_trickle_up) {
    for (int second = 0; second < 59; ++second) {
        world.runLoop->advance(1s);
        if (second % 2 == 0)
            bring("x");
        else
            exchange->sent(second);
    }
    EXPECT_TRUE(answers.empty());
    world.runLoop->advance(1s);
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].trouble, "less than 1 KiB has moved for 60 seconds");
}

TEST_F(HTTPExchange, Gives_an_answer_without_end_up) {
    const QByteArray much(1024 * 1024, 'x');
    for (int piece = 0; piece < 65; ++piece) {
        ASSERT_TRUE(answers.empty());
        bring(much);
    }
    world.runLoop->runUntilIdle();
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].trouble, "an answer without end came");
}

TEST_F(HTTPExchange, That_is_destroyed_answers_nothing) {
    bring("bytes");
    exchange->ended({});
    exchange.reset();
    world.runLoop->runUntilIdle();
    EXPECT_TRUE(answers.empty());
}

} // namespace
