// What each answer of the service, and each thing that is none, becomes.
#include "dropbox/http/HTTPClientFixture.h"
#include "testing/QWLogCapture.h"

namespace {

using testing::HasSubstr;

struct Operation {
    const char* name;
    QString line; // of the answer that tells of a failure, with %1 for the code
    std::function<void(DBRestClient&, const QString& folder)> ask;
};

const Operation operations[] = {
    {"delta", "delta %1", [](DBRestClient& client, const QString&) { client.loadDelta("c"); }},
    {"upload", "upload %1 /F/a",
     [](DBRestClient& client, const QString& folder) {
         client.uploadFile("a", "/F", {}, folder + "/staged");
     }},
    {"deletion", "delete %1 /F/a", [](DBRestClient& client, const QString&) { client.deletePath("/F/a"); }},
    {"download", "load %1 /F/a",
     [](DBRestClient& client, const QString& folder) { client.loadFile("/F/a", folder + "/download"); }},
    {"look-up", "metadata %1 /F/a",
     [](DBRestClient& client, const QString&) { client.loadMetadata("/F/a"); }},
};

// The same answer to each of the five operations.
class AnyOperation : public HTTPClientTest, public testing::WithParamInterface<Operation> {
protected:
    AnyOperation() {
        localFile("staged", "bytes");
        localFile("download", "old");
    }
    void TearDown() override {
        // Whatever is still to come, though everything was answered, shows now.
        world.runLoop->advance(std::chrono::hours(5));
        HTTPClientTest::TearDown();
    }

    void ask() { GetParam().ask(*client, directory.path()); }
    // Asks once and expects the failure.
    void expectFailure(int code, const char* inMessage) {
        ask();
        EXPECT_EQ(answers(), QStringList(GetParam().line.arg(code)));
        EXPECT_THAT(message().toStdString(), HasSubstr(inMessage));
        EXPECT_THAT(message().toStdString(), HasSubstr(" at 127.0.0.1:"));
        EXPECT_FALSE(message().contains(token));
        EXPECT_EQ(bytesAt("download"), "old");
        EXPECT_EQ(localFiles(), QStringList({"download", "staged"}));
    }
};

TEST_P(AnyOperation, That_is_refused_fails_with_the_status_and_what_the_service_says) {
    const std::pair<const char*, int> refusals[] = {
        {"401 Unauthorized", 401},          {"403 Forbidden", 403},   {"409 Conflict", 409},
        {"500 Internal Server Error", 500}, {"502 Bad Gateway", 502}, {"503 Service Unavailable", 503},
        {"507 Insufficient Storage", 507},
    };
    for (const auto& [status, code] : refusals) {
        delegate.errors.clear();
        server.sendJson(
            R"({"error_summary":"because/of_this/..","error":{".tag":"path","path":{".tag":"other"}}})",
            status);
        expectFailure(code, "because/of_this");
    }
}

TEST_P(AnyOperation, That_a_portal_answers_fails_without_an_answer_of_the_service) {
    const QByteArray html = "<html><body>Please sign in to the hotel's network</body></html>";
    for (const char* status : {"200 OK", "404 Not Found", "201 Created", "206 Partial Content"}) {
        delegate.errors.clear();
        server.send(status, html, "Content-Type: text/html\r\n");
        const bool isFile = QByteArray(GetParam().name) == "download" && QByteArray(status) == "200 OK";
        expectFailure(0, isFile ? "does not say which file" : "Please sign in");
    }
}

TEST_P(AnyOperation, That_is_redirected_goes_nowhere_else) {
    ScriptedServer elsewhere;
    for (const char* status :
         {"301 Moved Permanently", "302 Found", "307 Temporary Redirect", "308 Permanent Redirect"}) {
        delegate.errors.clear();
        server.send(status, "", "Location: " + elsewhere.url().toEncoded() + "/2/files/upload\r\n");
        expectFailure(QByteArray(status).left(3).toInt(), "status 30");
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(elsewhere.connections(), 0);
}

TEST_P(AnyOperation, Fails_when_the_answer_makes_no_sense) {
    const QByteArray bodies[] = {
        "",
        "{",
        "null",
        "[]",
        "\"text\"",
        "{}",
        "{\"metadata\":5}",
        R"({"entries":5,"cursor":"c","has_more":false})",
        R"({"entries":[],"cursor":5,"has_more":false})",
        R"({"entries":[],"cursor":"c","has_more":"no"})",
        R"({"entries":[5],"cursor":"c","has_more":false})",
        R"({"entries":[{".tag":"file","path_lower":"/a"}],"cursor":"c","has_more":false})",
        R"({".tag":"file","path_lower":"/f/a","path_display":"/F/a"})",
        fileJson("/F/a", -1),
        QByteArray("\xFF\xFE\x00{", 4)};
    const bool isDownload = QByteArray(GetParam().name) == "download";
    for (const QByteArray& body : bodies) {
        delegate.errors.clear();
        server.send("200 OK", body);
        expectFailure(0, isDownload ? "does not say which file" : "status 200");
        server.send("409 Conflict", body);
        delegate.errors.clear();
        expectFailure(409, "status 409");
    }
}

TEST_P(AnyOperation, Fails_when_the_connection_ends_in_the_middle) {
    const QByteArray beginnings[] = {
        "HTTP/1.1 200 OK\r\nContent-Length: 100\r\nDropbox-API-Result: " + fileJson("/F/a", 100)
            + "\r\n\r\n{\"half",
        "HTTP/1.1 409 Conflict\r\nContent-Length: 100\r\n\r\n{\"half",
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nDropbox-API-Result: " + fileJson("/F/a", 100)
            + "\r\n\r\n5\r\n{\"hal\r\n",
    };
    for (const QByteArray& bytes : beginnings) {
        for (const auto after : {ScriptedServer::Closes, ScriptedServer::Resets}) {
            delegate.errors.clear();
            server.always(bytes, after);
            expectFailure(0, "");
        }
    }
}

TEST_P(AnyOperation, Fails_when_what_answers_is_no_server_of_HTTP) {
    server.always("220 mail.example.com ESMTP ready\r\n", ScriptedServer::Closes);
    expectFailure(0, "no answer came");
}

TEST_P(AnyOperation, Fails_when_nobody_listens) {
    server.stopListening();
    expectFailure(0, "refused");
}

TEST_P(AnyOperation, Fails_when_no_byte_moves_for_the_limit) {
    ask();
    ASSERT_TRUE(waitForRequests(1));
    world.runLoop->advance(std::chrono::seconds(59));
    EXPECT_TRUE(delegate.lines.isEmpty());
    world.runLoop->advance(std::chrono::seconds(1));
    EXPECT_EQ(answers(), QStringList(GetParam().line.arg(0)));
    EXPECT_TRUE(message().contains("less than 1 KiB has moved for 60 seconds")) << message().toStdString();
    EXPECT_EQ(bytesAt("download"), "old");
}

TEST_P(AnyOperation, Does_not_show_a_token_that_the_service_quotes_in_an_error_or_in_the_log) {
    const QWLogCapture log;
    QLoggingCategory::setFilterRules("*=true");
    const QByteArray quote = QByteArray("Invalid authorization value: \"Bearer ") + token + "\"";
    server.send("429 Too Many Requests", quote, "Retry-After: 0\r\n"); // which is logged
    server.send("400 Bad Request", quote);
    if (QByteArray(GetParam().name) == "delta")
        server.send("400 Bad Request", quote);
    ask();
    ASSERT_TRUE(waitWhileTimePasses([this] { return !delegate.lines.isEmpty(); }));
    EXPECT_EQ(answers(), QStringList(GetParam().line.arg(400)));
    QLoggingCategory::setFilterRules({});
    EXPECT_THAT(message().toStdString(), HasSubstr("Bearer (token)"));
    EXPECT_FALSE(message().contains(token));
    EXPECT_EQ(log.texts("qwlibrary.dropbox").size(), 1);
    for (const QString& line : log.texts())
        EXPECT_FALSE(line.contains(token)) << line.toStdString();
}

INSTANTIATE_TEST_SUITE_P(All, AnyOperation, testing::ValuesIn(operations),
                         [](const auto& row) { return QString(row.param.name).remove('-').toStdString(); });

// Refusals that mean something to the engine ----------------------------------------------------------------

struct Refusal {
    int operation; // index above
    const char* error;
    int code;
};

class Meaning : public HTTPClientTest, public testing::WithParamInterface<Refusal> {};

TEST_P(Meaning, Of_a_refusal_is_in_its_tags) {
    localFile("staged", "bytes");
    sendConflict(GetParam().error);
    const Operation& operation = operations[GetParam().operation];
    operation.ask(*client, directory.path());
    EXPECT_EQ(answers(), QStringList(operation.line.arg(GetParam().code)));
    EXPECT_TRUE(message().contains("status 409: summary/...")) << message().toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Table, Meaning,
    testing::Values(
        Refusal{2, R"({".tag":"path_lookup","path_lookup":{".tag":"not_found"}})", 404},
        Refusal{2, R"({".tag":"path_lookup","path_lookup":"not_found"})", 404},
        Refusal{2, R"({".tag":"path_write","path_write":{".tag":"no_write_permission"}})", 409},
        Refusal{3, R"({".tag":"path","path":{".tag":"not_found"}})", 404},
        Refusal{3, R"({".tag":"path","path":{".tag":"not_file"}})", 409},
        Refusal{3, R"({".tag":"unsupported_file"})", 409},
        Refusal{4, R"({".tag":"path","path":{".tag":"not_found"}})", 404},
        Refusal{4, R"({".tag":"path","path":{".tag":"malformed_path"}})", 409},
        Refusal{4, R"({".tag":"other","path":{".tag":"not_found"}})", 409}, Refusal{4, R"("not_found")", 409},
        Refusal{
            1,
            R"({".tag":"path","reason":{".tag":"conflict","conflict":{".tag":"folder"}},"upload_session_id":"s"})",
            409},
        Refusal{1, R"({".tag":"path","reason":{".tag":"insufficient_space"}})", 507},
        Refusal{1, R"({".tag":"payload_too_large"})", 409},
        Refusal{0, R"({".tag":"path","path":{".tag":"not_found"}})", 404}));

using HTTPAnswers = HTTPClientTest;

TEST_F(HTTPAnswers, Errors_name_what_they_are_about) {
    const QString staged = localFile("staged", "bytes"), download = directory.filePath("download");
    const QVariantMap infos[] = {{},
                                 {{"sourcePath", staged}, {"destinationPath", "/F/a"}},
                                 {{"path", "/F/a"}},
                                 {{"path", "/F/a"}, {"destinationPath", download}},
                                 {{"path", "/F/a"}}};
    const char* const texts[] = {"Loading changes at ", "Uploading /F/a at ", "Deleting /F/a at ",
                                 "Downloading /F/a at ", "Looking up /F/a at "};
    for (int number = 0; number < 5; ++number) {
        delegate.errors.clear();
        server.send("500 Internal Server Error", "sorry");
        operations[number].ask(*client, directory.path());
        answers();
        EXPECT_EQ(delegate.errors[0].userInfo, infos[number]);
        EXPECT_TRUE(message().startsWith(texts[number])) << message().toStdString();
        EXPECT_TRUE(message().endsWith(": status 500: sorry")) << message().toStdString();
    }
}

TEST_F(HTTPAnswers, A_renamed_upload_tells_the_name_that_it_got) {
    client->uploadFile("a.data", "/F", {}, localFile("staged", "12345"));
    server.sendJson(fileJson("/F/a (Somebody's conflicted copy).data", 5));
    EXPECT_EQ(answers(), QStringList("uploaded /F/a (Somebody's conflicted copy).data"));
}

TEST_F(HTTPAnswers, An_upload_of_which_less_arrived_has_failed) {
    client->uploadFile("a.data", "/F", {}, localFile("staged", "12345"));
    server.sendJson(fileJson("/F/a.data", 4));
    EXPECT_EQ(answers(), QStringList("upload 0 /F/a.data"));
}

TEST_F(HTTPAnswers, A_demand_for_a_password_is_a_refused_token) {
    server.send("401 Unauthorized", "", "WWW-Authenticate: Basic realm=\"x\"\r\n");
    client->deletePath("/a");
    EXPECT_EQ(answers(), QStringList("delete 401 /a"));
    EXPECT_EQ(server.requests().size(), 1u);
}

TEST_F(HTTPAnswers, A_lost_answer_is_asked_for_again_on_a_new_connection) {
    client->deletePath("/a");
    server.sendJson(R"({"metadata":{}})");
    EXPECT_EQ(answers(), QStringList("deleted /a"));
    client->deletePath("/b");
    server.sendBytes("", ScriptedServer::Closes);
    sendConflict(R"({".tag":"path_lookup","path_lookup":{".tag":"not_found"}})");
    EXPECT_EQ(answers(), QStringList("delete 404 /b"));
    EXPECT_EQ(server.requests().size(), 3u);
}

} // namespace
