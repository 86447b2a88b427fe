#include "dropbox/http/HTTPClientFixture.h"
#include "dropbox/http/TestCertificate.h"
#include "testing/QWLogCapture.h"

#include <QNetworkProxy>

namespace {

using HTTPTrust = HTTPClientTest;

class HTTPSTrust : public HTTPClientTest {
protected:
    void useServer(const ScriptedServer& other, const QByteArray& certificates = {}) {
        auto with = options();
        with.apiHost = with.contentHost = other.url("https");
        with.certificates = certificates;
        useClient(with);
    }
    void expectNoByteFor(const ScriptedServer& impostor, const char* inMessage) {
        client->loadMetadata("/a");
        client->uploadFile("a", "/", {}, localFile("staged", "bytes"));
        QStringList lines = answers(2);
        lines.sort();
        EXPECT_EQ(lines, QStringList({"metadata 0 /a", "upload 0 /a"}));
        EXPECT_TRUE(delegate.errors[0].message.contains(inMessage))
            << delegate.errors[0].message.toStdString();
        EXPECT_TRUE(impostor.requests().empty());
    }
};

TEST_F(HTTPSTrust, A_server_whose_certificate_is_trusted_is_asked) {
    ScriptedServer trusted(serverWithTestCertificate());
    useServer(trusted, testCertificate);
    trusted.sendJson(R"({"entries":[],"cursor":"c1","has_more":false})");
    client->loadDelta({});
    EXPECT_EQ(answers(), QStringList("delta of 0"));
}

TEST_F(HTTPSTrust, A_server_whose_certificate_nobody_vouches_for_gets_no_byte_of_a_request) {
    const ScriptedServer impostor(serverWithTestCertificate());
    useServer(impostor);
    expectNoByteFor(impostor, "self-signed certificate");
}

TEST_F(HTTPSTrust, A_server_whose_certificate_is_for_another_host_gets_no_byte_of_a_request) {
    const ScriptedServer impostor(serverWithTestCertificate(), QHostAddress("127.0.0.2"));
    useServer(impostor, testCertificate);
    expectNoByteFor(impostor, "127.0.0.2");
}

TEST_F(HTTPSTrust, A_server_whose_certificate_has_expired_gets_no_byte_of_a_request) {
    const ScriptedServer impostor(serverWithTestCertificate(expiredCertificate));
    useServer(impostor, expiredCertificate);
    expectNoByteFor(impostor, "expired");
}

TEST_F(HTTPSTrust, Certificates_that_are_none_let_nobody_in) {
    const ScriptedServer impostor(serverWithTestCertificate());
    useServer(impostor, "no certificate");
    expectNoByteFor(impostor, "certificate");
}

class HTTPHost : public HTTPClientTest {
protected:
    // Whatever is sent to a host that is not this machine goes through the scripted server.
    HTTPHost() {
        QNetworkProxy::setApplicationProxy(
            {QNetworkProxy::HttpProxy, server.url().host(), quint16(server.url().port())});
    }
    ~HTTPHost() override { QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy); }
};

TEST_F(HTTPHost, That_is_not_this_machine_gets_no_byte_over_http) {
    for (const QString host :
         {"http://cloud.example", "http://192.168.1.2:80", "http://localhost.example", "http://[fe80::1]",
          "http://127.0.0.1.example", "http://0.0.0.0", "http://", "//cloud.example", "ftp://127.0.0.1"}) {
        auto with = options();
        with.apiHost = with.contentHost = QUrl(host);
        useClient(with);
        delegate.errors.clear();
        client->loadMetadata("/a");
        client->uploadFile("a", "/", {}, localFile("staged", "bytes"));
        EXPECT_EQ(answers(2), QStringList({"metadata 0 /a", "upload 0 /a"})) << host.toStdString();
        for (const QWError& error : delegate.errors)
            EXPECT_THAT(error.message.toStdString(), testing::HasSubstr("over https alone"));
        EXPECT_FALSE(QWHTTPRestClient::objectionToHost(QUrl(host)).isEmpty());
    }
    EXPECT_EQ(server.connections(), 0);
}

TEST_F(HTTPHost, May_be_this_machine_by_any_of_its_names) {
    for (const char* host : {"http://localhost", "http://LOCALHOST:8080", "http://127.0.0.1:8080",
                             "http://127.1.2.3", "http://[::1]", "https://cloud.example"})
        EXPECT_EQ(QWHTTPRestClient::objectionToHost(QUrl(host)), QString()) << host;
    auto with = options();
    with.apiHost.setHost("localhost");
    useClient(with);
    client->loadMetadata("/a");
    ASSERT_TRUE(waitForRequests(1));
}

class BadToken : public HTTPClientTest, public testing::WithParamInterface<QString> {};

TEST_P(BadToken, Is_never_sent_and_counts_as_refused) {
    auto with = options();
    with.accessToken = GetParam();
    useClient(with);
    client->loadDelta({});
    client->uploadFile("a", "/", {}, localFile("staged", "bytes"));
    client->deletePath("/a");
    client->loadFile("/a", directory.filePath("download"));
    client->loadMetadata("/a");
    EXPECT_EQ(answers(5),
              QStringList({"delta 401", "upload 401 /a", "delete 401 /a", "load 401 /a", "metadata 401 /a"}));
    for (const QWError& error : delegate.errors) {
        EXPECT_TRUE(error.message.contains("access token")) << error.message.toStdString();
        EXPECT_FALSE(error.message.contains("secret"));
    }
    EXPECT_FALSE(QWHTTPRestClient::objectionToAccessToken(GetParam()).isEmpty());
    EXPECT_EQ(QWHTTPRestClient::objectionToAccessToken(token), QString());
    EXPECT_EQ(server.connections(), 0);
    client->setAccessToken(token);
    client->loadMetadata("/a");
    ASSERT_TRUE(waitForRequests(1));
}

INSTANTIATE_TEST_SUITE_P(Table, BadToken,
                         testing::Values(QString(), "secret\n", "secret\r\nX-Injected: yes", "sec ret",
                                         "secret\t", "secrét", QString("secret") + QChar(0), "secret\x7F",
                                         "secret\U0001F30D"));

TEST_F(HTTPTrust, The_token_is_in_one_header_and_nowhere_else) {
    const QWLogCapture log;
    QLoggingCategory::setFilterRules("*.debug=true\nqt.*.debug=true");
    client->loadMetadata("/a");
    server.send("429 Too Many Requests", token, "Retry-After: 1\r\n");
    ASSERT_TRUE(waitForRequests(1));
    EXPECT_FALSE(server.request(0).line.contains(token));
    EXPECT_FALSE(server.request(0).body.contains(token));
    int bearing = 0;
    for (const QByteArray& value : server.request(0).headers)
        bearing += value.contains(token);
    EXPECT_EQ(bearing, 1);
    server.send("401 Unauthorized",
                R"({"error_summary":"expired_access_token/..","error":{".tag":"expired_access_token"}})");
    ASSERT_TRUE(waitWhileTimePasses([&] { return !delegate.lines.isEmpty(); }));
    EXPECT_EQ(answers(), QStringList("metadata 401 /a"));
    QLoggingCategory::setFilterRules({});
    for (const QString& line : log.texts())
        EXPECT_FALSE(line.contains(token)) << line.toStdString();
}

TEST_F(HTTPTrust, A_new_token_is_used_from_the_next_request_on) {
    client->loadMetadata("/a");
    ASSERT_TRUE(waitForRequests(1));
    client->setAccessToken("another");
    client->loadMetadata("/b");
    ASSERT_TRUE(waitForRequests(2));
    EXPECT_EQ(server.request(0).headers["authorization"], QByteArray("Bearer ") + token);
    EXPECT_EQ(server.request(1).headers["authorization"], "Bearer another");
}

TEST_F(HTTPTrust, Cookies_are_neither_kept_nor_sent) {
    client->loadMetadata("/a");
    server.send("500 Internal Server Error", "", "Set-Cookie: id=1\r\n");
    answers();
    client->loadMetadata("/a");
    ASSERT_TRUE(waitForRequests(2));
    EXPECT_FALSE(server.request(1).headers.contains("cookie"));
}

} // namespace
