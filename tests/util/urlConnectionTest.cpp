#include "support/AssertionProbe.h"
#include "support/EventLoopWait.h"
#include "util/NSURLConnection_BlockAddition.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpServer>
#include <QTcpSocket>
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;

// A server on loopback that answers each request with the same bytes and then closes the connection.
class ScriptedServer {
public:
    explicit ScriptedServer(QByteArray answer) : answer_(std::move(answer)) {
        QObject::connect(&server_, &QTcpServer::newConnection, &server_, [this] {
            QTcpSocket* socket = server_.nextPendingConnection();
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                if (!socket->readAll().endsWith("\r\n\r\n"))
                    return;
                ++requests_;
                socket->write(answer_);
                socket->disconnectFromHost();
            });
        });
        server_.listen(QHostAddress::LocalHost);
    }

    QNetworkRequest request() const {
        return QNetworkRequest(QUrl(QStringLiteral("http://127.0.0.1:%1/").arg(server_.serverPort())));
    }
    int requests() const { return requests_; }

private:
    QByteArray answer_;
    int requests_ = 0;
    QTcpServer server_;
};

QByteArray answerOf(const QByteArray& status, const QByteArray& body, qsizetype announcedLength) {
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + QByteArray::number(announcedLength)
           + "\r\nConnection: close\r\n\r\n" + body;
}

struct URLConnection : testing::Test {
    std::shared_ptr<QWURLConnection> connect(const QNetworkRequest& request, bool startImmediately = true) {
        auto connection = QWURLConnection::create(
            network, request,
            [this](QWURLConnection& which, const QByteArray& data) {
                calledWith.push_back(&which);
                bodies.push_back(data);
            },
            [this](QWURLConnection& which, const QWError& error) {
                calledWith.push_back(&which);
                errors.push_back(error);
            },
            startImmediately);
        last = connection;
        return connection;
    }

    // Waits for the end of the last connection, before which a second callback would come.
    bool waitForAnswer() {
        return runEventLoopUntil([&] { return last.expired(); });
    }

    QNetworkAccessManager network;
    std::weak_ptr<QWURLConnection> last;
    std::vector<QWURLConnection*> calledWith;
    std::vector<QByteArray> bodies;
    std::vector<QWError> errors;
};

TEST_F(URLConnection, Completes_once_with_itself_and_the_whole_body) {
    const QByteArray body(1'000'000, 'x'); // comes in many pieces
    const ScriptedServer server(answerOf("200 OK", body, body.size()));
    const auto* connection = connect(server.request()).get();
    ASSERT_TRUE(waitForAnswer());
    EXPECT_THAT(calledWith, ElementsAre(connection));
    ASSERT_EQ(bodies.size(), 1u);
    EXPECT_EQ(bodies.front(), body);
}

TEST_F(URLConnection, Completes_with_an_empty_body) {
    const ScriptedServer server(answerOf("200 OK", "", 0));
    connect(server.request());
    ASSERT_TRUE(waitForAnswer());
    EXPECT_THAT(bodies, ElementsAre(QByteArray()));
}

TEST_F(URLConnection, Follows_a_redirection_and_completes_with_the_last_body_alone) {
    const ScriptedServer target(answerOf("200 OK", "there", 5));
    const auto location = "302 Found\r\nLocation: " + target.request().url().toEncoded();
    const ScriptedServer server(answerOf(location, "elsewhere", 9));
    connect(server.request());
    ASSERT_TRUE(waitForAnswer());
    EXPECT_THAT(bodies, ElementsAre(QByteArray("there")));
    EXPECT_TRUE(errors.empty());
}

TEST_F(URLConnection, Completes_with_a_body_that_was_longer_when_compressed) {
    const auto compressed = QByteArray::fromHex("1f8b0800000000000203ab00008316dc8c01000000");
    const ScriptedServer server(answerOf("200 OK\r\nContent-Encoding: gzip", compressed, compressed.size()));
    connect(server.request());
    ASSERT_TRUE(waitForAnswer());
    EXPECT_THAT(bodies, ElementsAre(QByteArray("x")));
}

TEST_F(URLConnection, That_fails_after_some_bytes_calls_only_the_error_callback) {
    const ScriptedServer server(answerOf("200 OK", "half of it", 1000));
    const auto* connection = connect(server.request()).get();
    ASSERT_TRUE(waitForAnswer());
    EXPECT_THAT(calledWith, ElementsAre(connection));
    EXPECT_TRUE(bodies.empty());
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors.front().domain, u"network");
    EXPECT_EQ(errors.front().code, QNetworkReply::RemoteHostClosedError);
    EXPECT_EQ(errors.front().userInfo.value("url").toUrl(), server.request().url());
}

TEST_F(URLConnection, Fails_when_nobody_listens) {
    QNetworkRequest request;
    {
        const ScriptedServer server("");
        request = server.request();
    }
    connect(request);
    ASSERT_TRUE(waitForAnswer());
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors.front().code, QNetworkReply::ConnectionRefusedError);
}

class ErrorStatus : public URLConnection, public testing::WithParamInterface<const char*> {};

TEST_P(ErrorStatus, Is_an_answer_that_completes_with_its_body) {
    const ScriptedServer server(answerOf(GetParam(), "sorry", 5));
    connect(server.request());
    ASSERT_TRUE(waitForAnswer());
    EXPECT_THAT(bodies, ElementsAre(QByteArray("sorry")));
    EXPECT_TRUE(errors.empty());
}

INSTANTIATE_TEST_SUITE_P(Table, ErrorStatus,
                         testing::Values("400 Bad Request", "401 Unauthorized", "403 Forbidden",
                                         "404 Not Found", "409 Conflict", "429 Too Many Requests",
                                         "500 Internal Server Error", "503 Service Unavailable"));

TEST_F(URLConnection, Whose_error_status_comes_without_its_whole_body_fails) {
    const ScriptedServer server(answerOf("404 Not Found", "so", 5));
    connect(server.request());
    ASSERT_TRUE(waitForAnswer());
    EXPECT_TRUE(bodies.empty());
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors.front().code, QNetworkReply::RemoteHostClosedError);
}

TEST_F(URLConnection, That_is_not_started_immediately_sends_nothing_until_it_is_started) {
    const ScriptedServer server(answerOf("200 OK", "late", 4));
    const auto waiting = connect(server.request(), false);
    const auto other = connect(server.request());
    ASSERT_TRUE(runEventLoopUntil([&] { return calledWith.size() == 1; }));
    EXPECT_THAT(calledWith, ElementsAre(other.get()));
    EXPECT_EQ(server.requests(), 1);
    waiting->start();
    waiting->start();
    ASSERT_TRUE(runEventLoopUntil([&] { return calledWith.size() == 2; }));
    EXPECT_THAT(calledWith, ElementsAre(other.get(), waiting.get()));
    EXPECT_EQ(server.requests(), 2);
}

TEST_F(URLConnection, Keeps_itself_until_it_is_answered_and_no_longer) {
    const ScriptedServer server(answerOf("200 OK", "kept", 4));
    connect(server.request());
    EXPECT_FALSE(last.expired());
    ASSERT_TRUE(waitForAnswer());
    EXPECT_THAT(bodies, ElementsAre(QByteArray("kept")));
}

TEST_F(URLConnection, Needs_both_callbacks) {
    EXPECT_EQ(failedAssertion([&] { QWURLConnection::create(network, {}, {}, [](auto&, auto&) {}); }),
              u"completionBlock");
    EXPECT_EQ(failedAssertion([&] { QWURLConnection::create(network, {}, [](auto&, auto&) {}, {}); }),
              u"errorBlock");
}

} // namespace
