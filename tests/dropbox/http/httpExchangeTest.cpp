#include "dropbox/http/QWHTTPExchange_p.h"
#include "testing/QWVirtualWorld.h"

#include <QNetworkReply>
#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

// A reply whose bytes move when a test says so.
class HandMadeReply final : public QNetworkReply {
public:
    HandMadeReply() {
        setAttribute(QNetworkRequest::HttpStatusCodeAttribute, 200);
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }
    void bring(const QByteArray& bytes) {
        bytes_ += bytes;
        Q_EMIT readyRead();
    }
    void end() {
        setFinished(true);
        Q_EMIT finished();
    }
    void abort() override {}
    qint64 bytesAvailable() const override { return bytes_.size(); }

private:
    qint64 readData(char* to, qint64 limit) override {
        const qint64 size = std::min(limit, qint64(bytes_.size()));
        std::copy_n(bytes_.begin(), size, to);
        bytes_.remove(0, size);
        return size;
    }

    QByteArray bytes_;
};

struct HTTPExchange : testing::Test {
    QWVirtualWorld world;
    HandMadeReply* reply = new HandMadeReply; // the exchange deletes it
    std::vector<QWHTTPAnswer> answers;
    std::unique_ptr<QWHTTPExchange> exchange =
        std::make_unique<QWHTTPExchange>(*reply, nullptr, *world.runLoop, 60s,
                                         [this](const QWHTTPAnswer& answer) { answers.push_back(answer); });
};

TEST_F(HTTPExchange, Answers_on_a_later_turn) {
    reply->bring("bytes");
    reply->end();
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
            reply->bring(piece);
        else
            Q_EMIT reply->uploadProgress((i + 1) * piece.size(), 10 * piece.size());
    }
    reply->end();
    world.runLoop->runUntilIdle();
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].body, piece.repeated(5));
}

TEST_F(HTTPExchange, Gives_a_stalled_transfer_up) {
    world.runLoop->advance(30s);
    reply->bring(QByteArray(1024, 'x'));
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
            reply->bring("x");
        else
            Q_EMIT reply->uploadProgress(second, 1000);
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
        reply->bring(much);
    }
    world.runLoop->runUntilIdle();
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].trouble, "an answer without end came");
}

TEST_F(HTTPExchange, That_is_destroyed_answers_nothing) {
    reply->bring("bytes");
    reply->end();
    exchange.reset();
    world.runLoop->runUntilIdle();
    EXPECT_TRUE(answers.empty());
}

} // namespace
