#include "dropbox/http/HTTPClientFixture.h"

#include <QNetworkProxy>
#include <curl/curl.h>

namespace {

using HTTPRequests = HTTPClientTest;
using testing::Each;
using testing::Field;

TEST_F(HTTPRequests, A_look_up_is_a_JSON_request_with_the_token_in_a_header) {
    client->loadMetadata("/SyncCache.dbSync");
    ASSERT_TRUE(waitForRequests(1));
    const auto& request = server.request(0);
    EXPECT_EQ(request.line, "POST /2/files/get_metadata HTTP/1.1");
    EXPECT_EQ(request.body, R"({"path":"/SyncCache.dbSync"})");
    EXPECT_EQ(request.headers["content-type"], "application/json");
    EXPECT_EQ(request.headers["authorization"], QByteArray("Bearer ") + token);
    EXPECT_EQ(request.headers["accept-encoding"], "identity");
    EXPECT_FALSE(request.headers.contains("dropbox-api-arg"));
    EXPECT_FALSE(request.headers.contains("cookie"));
    server.sendJson(R"({".tag":"folder","name":"SyncCache.dbSync","path_lower":"/synccache.dbsync",)"
                    R"("path_display":"/SyncCache.dbSync","id":"id:f"})");
    EXPECT_EQ(answers(), QStringList("metadata of /SyncCache.dbSync"));
    EXPECT_TRUE(delegate.metadata[0].isDirectory);
}

TEST_F(HTTPRequests, A_listing_asks_for_everything_that_can_be_downloaded_in_large_pages) {
    client->loadDelta({});
    ASSERT_TRUE(waitForRequests(1));
    EXPECT_EQ(server.request(0).line, "POST /2/files/list_folder HTTP/1.1");
    EXPECT_EQ(server.request(0).body,
              R"({"include_non_downloadable_files":false,"limit":2000,"path":"","recursive":true})");
    server.sendJson(R"({"entries":[],"cursor":"c1","has_more":false})");
    EXPECT_EQ(answers(), QStringList("delta of 0"));
    EXPECT_EQ(delegate.pages[0].cursor, "c1");
}

TEST_F(HTTPRequests, A_query_for_changes_sends_the_cursor_alone) {
    client->loadDelta("AAÄ\"");
    ASSERT_TRUE(waitForRequests(1));
    EXPECT_EQ(server.request(0).line, "POST /2/files/list_folder/continue HTTP/1.1");
    EXPECT_EQ(server.request(0).body, "{\"cursor\":\"AAÄ\\\"\"}");
}

TEST_F(HTTPRequests, An_upload_is_one_request_that_updates_the_parent_revision_or_makes_a_copy) {
    client->uploadFile("a.data", "/Folder", "0123456789abcdef",
                       localFile("staged", QByteArray("a\0\r\nb", 5)));
    ASSERT_TRUE(waitForRequests(1));
    const auto& request = server.request(0);
    EXPECT_EQ(request.line, "POST /2/files/upload HTTP/1.1");
    EXPECT_EQ(request.body, QByteArray("a\0\r\nb", 5));
    EXPECT_EQ(request.headers["content-type"], "application/octet-stream");
    EXPECT_EQ(request.headers["authorization"], QByteArray("Bearer ") + token);
    EXPECT_EQ(
        request.headers["dropbox-api-arg"],
        R"({"autorename":true,"mode":{".tag":"update","update":"0123456789abcdef"},"path":"/Folder/a.data"})");
    server.sendJson(fileJson("/Folder/a.data", 5, R"(,"content_hash":"abcd")"));
    EXPECT_EQ(answers(), QStringList("uploaded /Folder/a.data"));
    EXPECT_EQ(delegate.metadata[0], (DBMetadata{"/Folder/a.data", "0123456789abc", "abcd",
                                                QDateTime({2024, 5, 6}, {7, 8, 9}, Qt::UTC), 5, false}));
}

class ParentRevision : public HTTPClientTest, public testing::WithParamInterface<const char*> {};

TEST_P(ParentRevision, That_is_none_of_the_service_is_sent_as_one_that_no_file_has) {
    client->uploadFile("a", "/", GetParam(), localFile("staged", {}));
    ASSERT_TRUE(waitForRequests(1));
    EXPECT_EQ(server.request(0).headers["dropbox-api-arg"],
              R"({"autorename":true,"mode":{".tag":"update","update":"000000000"},"path":"/a"})");
    EXPECT_EQ(server.request(0).headers["content-length"], "0");
}
INSTANTIATE_TEST_SUITE_P(Forms, ParentRevision,
                         testing::Values("", "12345678", "0123456789ABCDEF", "folder-revision",
                                         "0123456789\n"));

TEST_F(HTTPRequests, A_path_in_a_header_is_ASCII) {
    client->uploadFile("Ä\u007F日本\U0001F30D\"\\\t.data", "/Ordner", {}, localFile("staged", {}));
    ASSERT_TRUE(waitForRequests(1));
    const QByteArray argument = server.request(0).headers["dropbox-api-arg"];
    EXPECT_TRUE(argument.endsWith(R"("path":"/Ordner/\u00c4\u007f\u65e5\u672c\ud83c\udf0d\"\\\t.data"})"))
        << argument.toStdString();
}

TEST_F(HTTPRequests, A_path_in_a_body_is_UTF_8) {
    client->deletePath("/Ä日本\U0001F30D\".data");
    ASSERT_TRUE(waitForRequests(1));
    EXPECT_EQ(server.request(0).line, "POST /2/files/delete_v2 HTTP/1.1");
    EXPECT_EQ(server.request(0).body, "{\"path\":\"/Ä日本\U0001F30D\\\".data\"}");
    server.sendJson(R"({"metadata":)" + fileJson("/x", 1, R"(,".tag":"file")") + "}");
    EXPECT_EQ(answers(), QStringList("deleted /Ä日本\U0001F30D\".data"));
}

TEST_F(HTTPRequests, A_download_has_its_argument_in_a_header_and_no_body) {
    client->loadFile("/Folder/Ä.data", directory.filePath("download"));
    ASSERT_TRUE(waitForRequests(1));
    const auto& request = server.request(0);
    EXPECT_EQ(request.line, "POST /2/files/download HTTP/1.1");
    EXPECT_EQ(request.headers["dropbox-api-arg"], R"({"path":"/Folder/\u00c4.data"})");
    EXPECT_EQ(request.headers["content-type"], "application/octet-stream");
    EXPECT_EQ(request.body, "");
    sendFile(fileJson("/Folder/x.data", 5), "bytes");
    EXPECT_EQ(answers(), QStringList("loaded /Folder/x.data"));
    EXPECT_EQ(bytesAt("download"), "bytes");
}

TEST_F(HTTPRequests, A_connection_is_kept_for_the_next_request) {
    for (int count = 1; count <= 10; ++count) {
        server.sendJson(R"({"entries":[],"cursor":"c1","has_more":false})");
        client->loadDelta("c1");
        answers();
    }
    EXPECT_EQ(server.requests().size(), 10u);
    EXPECT_EQ(server.connections(), 1);
}

TEST_F(HTTPRequests, Six_are_out_at_a_time_and_the_others_follow_in_their_order) {
    for (int number = 0; number < 20; ++number)
        client->deletePath(QString("/%1").arg(number));
    ASSERT_TRUE(waitForRequests(6));
    QCoreApplication::processEvents();
    EXPECT_EQ(server.requests().size(), 6u);
    QStringList deleted;
    for (int number = 0; number < 20; ++number) {
        server.sendJson(R"({"metadata":{}})");
        deleted += answers();
    }
    ASSERT_EQ(server.requests().size(), 20u);
    for (int number = 6; number < 20; ++number)
        EXPECT_EQ(server.request(number).body, QString("{\"path\":\"/%1\"}").arg(number).toUtf8());
    EXPECT_LE(server.connections(), 6);
}

TEST_F(HTTPRequests, The_two_halves_of_the_service_may_be_at_different_places) {
    ScriptedServer content;
    auto with = options();
    with.apiHost.setPath("/api/");
    with.contentHost = content.url();
    with.contentHost.setPath("/content");
    useClient(with);
    client->deletePath("/a");
    client->loadFile("/a", directory.filePath("download"));
    ASSERT_TRUE(wait([&] { return server.requests().size() + content.requests().size() == 2; }));
    EXPECT_EQ(server.request(0).line, "POST /api/2/files/delete_v2 HTTP/1.1");
    EXPECT_EQ(content.request(0).line, "POST /content/2/files/download HTTP/1.1");
    client.reset(); // before its server goes
}

TEST_F(HTTPRequests, A_proxy_of_the_host_is_asked_in_place_of_the_service) {
    auto with = options();
    with.apiHost = QUrl("https://service.example:81");
    useClient(with);
    QNetworkProxy::setApplicationProxy(
        {QNetworkProxy::HttpProxy, server.url().host(), quint16(server.url().port())});
    client->deletePath("/a");
    server.send("403 Forbidden", "");
    EXPECT_EQ(answers(), QStringList("delete 0 /a"));
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    EXPECT_EQ(server.request(0).line, "CONNECT service.example:81 HTTP/1.1");
    EXPECT_FALSE(server.request(0).headers.contains("authorization")); // the token is the service's
}

TEST_F(HTTPRequests, A_large_body_is_sent_without_asking_first) {
    const QByteArray bytes(5'000'000, 'b');
    client->uploadFile("a", "/", {}, localFile("staged", bytes));
    ASSERT_TRUE(waitForRequests(1));
    EXPECT_EQ(server.request(0).body, bytes);
    EXPECT_FALSE(server.request(0).headers.contains("expect"));
}

TEST_F(HTTPRequests, Names_are_looked_up_while_the_thread_goes_on) {
    EXPECT_TRUE(curl_version_info(CURLVERSION_NOW)->features & CURL_VERSION_ASYNCHDNS);
}

TEST_F(HTTPRequests, No_answer_comes_from_inside_the_call) {
    client->uploadFile("a", "/", {}, directory.filePath("missing"));
    client->setAccessToken({});
    client->loadDelta({});
    client->deletePath("/a");
    EXPECT_TRUE(delegate.lines.isEmpty());
    EXPECT_EQ(answers(3), QStringList({"upload 0 /a", "delta 401", "delete 401 /a"}));
}

TEST_F(HTTPRequests, A_destroyed_client_breaks_off_what_is_out_and_answers_nothing) {
    client->loadFile("/a", directory.filePath("download"));
    ASSERT_TRUE(waitForRequests(1));
    server.sendBytes("HTTP/1.1 200 OK\r\nContent-Length: 10\r\nDropbox-API-Result: " + fileJson("/a", 10)
                     + "\r\n\r\nhalf ");
    client.reset();
    EXPECT_TRUE(wait([&] { return server.closedConnections() == 1; }));
    EXPECT_EQ(localFiles(), QStringList());
}

TEST_F(HTTPRequests, The_delegate_may_destroy_the_client) {
    class Destroyer final : public QObject, public DBRestClientDelegate {
    public:
        explicit Destroyer(std::unique_ptr<QWHTTPRestClient>& client) : client_(client) {}
        int answers = 0;

    private:
        void end() {
            ++answers;
            client_.reset();
        }
        void restClientLoadedDeltaEntries(DBRestClient&, const QList<DBDeltaEntryRef>&, bool, const QString&,
                                          bool) override {
            end();
        }
        void restClientLoadDeltaFailedWithError(DBRestClient&, const QWError&) override { end(); }
        void restClientUploadedFile(DBRestClient&, const QString&, const QString&,
                                    const DBMetadata&) override {
            end();
        }
        void restClientUploadFileFailedWithError(DBRestClient&, const QWError&) override { end(); }
        void restClientDeletedPath(DBRestClient&, const QString&) override { end(); }
        void restClientDeletePathFailedWithError(DBRestClient&, const QWError&) override { end(); }
        void restClientLoadedFile(DBRestClient&, const QString&, const QString&, const DBMetadata&) override {
            end();
        }
        void restClientLoadFileFailedWithError(DBRestClient&, const QWError&) override { end(); }
        void restClientLoadedMetadata(DBRestClient&, const DBMetadata&) override { end(); }
        void restClientLoadMetadataFailedWithError(DBRestClient&, const QWError&) override { end(); }

        std::unique_ptr<QWHTTPRestClient>& client_;
    } destroyer(client);
    client->setDelegate(&destroyer, &destroyer);
    for (int request = 0; request < 10; ++request) {
        client->deletePath("/a");
        server.sendJson(R"({"metadata":{}})");
    }
    EXPECT_TRUE(wait([&] { return destroyer.answers > 0; }));
    EXPECT_FALSE(client);
    EXPECT_EQ(destroyer.answers, 1);
}

} // namespace
