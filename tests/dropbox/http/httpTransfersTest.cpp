#include "dropbox/DBContentHash.h"
#include "dropbox/http/HTTPClientFixture.h"

namespace {

class HTTPTransfers : public HTTPClientTest {
protected:
    // Files above four bytes go in pieces.
    void useSmallPieces() {
        auto with = options();
        with.pieceSize = 4;
        useClient(with);
    }
    void upload(const QByteArray& bytes) { client->uploadFile("a", "/F", {}, localFile("staged", bytes)); }
    // Route, argument and body of each request so far.
    QStringList sent() const {
        QStringList result;
        for (const auto& request : server.requests())
            result += QString("%1 %2 %3")
                          .arg(QString(request.line).section('/', 3).section(' ', 0, 0),
                               QString(request.headers["dropbox-api-arg"]), QString(request.body));
        return result;
    }
    void sendSession() { server.sendJson(R"({"session_id":"s1"})"); }

    const QString start = R"(upload_session/start {"close":false} )";
    const QString finish =
        R"(upload_session/finish {"commit":{"autorename":true,"mode":{".tag":"update",)"
        R"("update":"000000000"},"path":"/F/a"},"cursor":{"offset":%1,"session_id":"s1"}} )";
    const QString append =
        R"(upload_session/append_v2 {"close":false,"cursor":{"offset":%1,"session_id":"s1"}} )";
};

TEST_F(HTTPTransfers, A_large_file_goes_in_pieces) {
    useSmallPieces();
    sendSession();
    server.sendJson("null");
    server.sendJson(fileJson("/F/a", 10));
    upload("0123456789");
    EXPECT_EQ(answers(), QStringList("uploaded /F/a"));
    EXPECT_EQ(sent(), QStringList({start + "0123", append.arg(4) + "4567", finish.arg(8) + "89"}));
}

TEST_F(HTTPTransfers, A_file_of_whole_pieces_ends_with_the_last_of_them) {
    useSmallPieces();
    sendSession();
    server.sendJson(fileJson("/F/a", 8));
    upload("01234567");
    EXPECT_EQ(answers(), QStringList("uploaded /F/a"));
    EXPECT_EQ(sent(), QStringList({start + "0123", finish.arg(4) + "4567"}));
}

TEST_F(HTTPTransfers, A_file_of_one_piece_goes_in_one_request) {
    useSmallPieces();
    server.sendJson(fileJson("/F/a", 4));
    upload("0123");
    EXPECT_EQ(answers(), QStringList("uploaded /F/a"));
    EXPECT_EQ(server.requests().size(), 1u);
}

TEST_F(HTTPTransfers, An_upload_goes_on_where_the_service_says_that_it_is) {
    useSmallPieces();
    sendSession();
    sendConflict(R"({".tag":"incorrect_offset","correct_offset":6})");
    sendConflict(
        R"({".tag":"lookup_failed","lookup_failed":{".tag":"incorrect_offset","correct_offset":2}})");
    server.sendJson("null");
    server.sendJson(fileJson("/F/a", 10));
    upload("0123456789");
    EXPECT_EQ(answers(), QStringList("uploaded /F/a"));
    EXPECT_EQ(sent(), QStringList({start + "0123", append.arg(4) + "4567", finish.arg(6) + "6789",
                                   append.arg(2) + "2345", finish.arg(6) + "6789"}));
}

TEST_F(HTTPTransfers, An_upload_whose_bytes_are_all_there_is_finished_without_any) {
    useSmallPieces();
    sendSession();
    sendConflict(
        R"({".tag":"lookup_failed","lookup_failed":{".tag":"incorrect_offset","correct_offset":6}})");
    server.sendJson(fileJson("/F/a", 6));
    upload("012345");
    EXPECT_EQ(answers(), QStringList("uploaded /F/a"));
    EXPECT_EQ(sent().last(), finish.arg(6));
}

TEST_F(HTTPTransfers, A_lost_session_begins_again) {
    useSmallPieces();
    for (const char* error : {R"({".tag":"not_found"})", R"({".tag":"closed"})"}) {
        sendSession();
        sendConflict(error);
    }
    sendSession();
    server.sendJson("null");
    server.sendJson(fileJson("/F/a", 10));
    upload("0123456789");
    EXPECT_EQ(answers(), QStringList("uploaded /F/a"));
    EXPECT_EQ(server.requests().size(), 7u);
}

TEST_F(HTTPTransfers, A_session_that_is_lost_again_and_again_is_an_error) {
    useSmallPieces();
    for (int time = 0; time < 4; ++time) {
        sendSession();
        sendConflict(R"({".tag":"not_found"})");
    }
    upload("0123456789");
    EXPECT_EQ(answers(), QStringList("upload 409 /F/a"));
    EXPECT_EQ(server.requests().size(), 8u);
}

TEST_F(HTTPTransfers, An_offset_outside_of_the_file_is_an_error) {
    useSmallPieces();
    for (const char* offset : {"11", "-1", "\"4\"", "1e300"}) {
        sendSession();
        sendConflict(R"({".tag":"incorrect_offset","correct_offset":)" + QByteArray(offset) + "}");
        upload("0123456789");
        EXPECT_EQ(answers(), QStringList("upload 409 /F/a"));
    }
}

TEST_F(HTTPTransfers, A_session_without_a_name_is_an_error) {
    useSmallPieces();
    server.sendJson(R"({"session_id":5})");
    upload("0123456789");
    EXPECT_EQ(answers(), QStringList("upload 0 /F/a"));
}

TEST_F(HTTPTransfers, A_refused_piece_is_the_uploads_error) {
    useSmallPieces();
    sendSession();
    server.send("500 Internal Server Error", "");
    upload("0123456789");
    EXPECT_EQ(answers(), QStringList("upload 500 /F/a"));
    sendSession();
    server.sendJson("null");
    sendConflict(R"({".tag":"path","path":{".tag":"insufficient_space"}})");
    upload("0123456789");
    EXPECT_EQ(answers(), QStringList("upload 507 /F/a"));
}

TEST_F(HTTPTransfers, A_file_that_changes_between_two_pieces_is_an_error) {
    useSmallPieces();
    upload("0123456789");
    ASSERT_TRUE(waitForRequests(1));
    QFile staged(directory.filePath("staged"));
    ASSERT_TRUE(staged.open(QIODevice::Append));
    staged.write("more");
    staged.close();
    sendSession();
    EXPECT_EQ(answers(), QStringList("upload 0 /F/a"));
    EXPECT_TRUE(message().contains("changed while it was sent")) << message().toStdString();
}

TEST_F(HTTPTransfers, A_file_that_is_replaced_between_two_pieces_goes_as_it_was) {
    useSmallPieces();
    upload("012345");
    ASSERT_TRUE(waitForRequests(1));
    localFile("staged", "another one");
    sendSession();
    server.sendJson(fileJson("/F/a", 6));
    EXPECT_EQ(answers(), QStringList("uploaded /F/a"));
    EXPECT_EQ(server.request(1).body, "45");
}

TEST_F(HTTPTransfers, A_missing_local_file_is_an_error_and_nothing_is_sent) {
    client->uploadFile("a", "/F", {}, directory.filePath("missing"));
    EXPECT_EQ(answers(), QStringList("upload 0 /F/a"));
    EXPECT_TRUE(message().contains("missing cannot be read"));
    EXPECT_EQ(server.connections(), 0);
}

TEST_F(HTTPTransfers, A_download_replaces_the_local_file_when_it_is_whole) {
    const QByteArray bytes(1'000'000, 'b');
    localFile("download", "old");
    sendFile(
        fileJson("/F/a", bytes.size(), R"(,"content_hash":")" + dropboxContentHash(bytes).toLatin1() + "\""),
        bytes);
    client->loadFile("/F/a", directory.filePath("download"));
    EXPECT_EQ(answers(), QStringList("loaded /F/a"));
    EXPECT_EQ(bytesAt("download"), bytes);
    EXPECT_EQ(localFiles(), QStringList("download"));
    EXPECT_EQ(delegate.metadata[0].totalBytes, 1'000'000);
}

TEST_F(HTTPTransfers, An_empty_file_is_downloaded) {
    localFile("download", "old");
    sendFile(fileJson("/F/a", 0), "");
    client->loadFile("/F/a", directory.filePath("download"));
    EXPECT_EQ(answers(), QStringList("loaded /F/a"));
    EXPECT_EQ(bytesAt("download"), "");
}

struct BadDownload {
    const char* name;
    QByteArray bytes;
    const char* message;
};

class Download : public HTTPClientTest, public testing::WithParamInterface<BadDownload> {};

TEST_P(Download, That_is_not_what_was_announced_leaves_the_local_file_as_it_was) {
    localFile("download", "old");
    QByteArray bytes = GetParam().bytes;
    bytes.replace("RESULT", "Dropbox-API-Result: " + fileJson("/F/a", 5, R"(,"content_hash":"00")"));
    server.sendBytes(bytes, ScriptedServer::Closes);
    client->loadFile("/F/a", directory.filePath("download"));
    EXPECT_EQ(answers(), QStringList("load 0 /F/a"));
    EXPECT_TRUE(message().contains(GetParam().message)) << message().toStdString();
    EXPECT_EQ(bytesAt("download"), "old");
    EXPECT_EQ(localFiles(), QStringList("download"));
}

INSTANTIATE_TEST_SUITE_P(
    Table, Download,
    testing::Values(
        BadDownload{"TooShort", "HTTP/1.1 200 OK\r\nRESULT\r\nContent-Length: 4\r\n\r\n1234",
                    "4 of 5 announced bytes"},
        BadDownload{"ShortWithoutLength", "HTTP/1.1 200 OK\r\nRESULT\r\n\r\n1234", "4 of 5 announced bytes"},
        BadDownload{"TooLong", "HTTP/1.1 200 OK\r\nRESULT\r\nContent-Length: 6\r\n\r\n123456",
                    "more than the announced 5 bytes"},
        BadDownload{"WrongHash", "HTTP/1.1 200 OK\r\nRESULT\r\nContent-Length: 5\r\n\r\n12345",
                    "not those of the announced hash"},
        BadDownload{"NoResult", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n12345",
                    "does not say which file"},
        BadDownload{"BrokenResult",
                    "HTTP/1.1 200 OK\r\nDropbox-API-Result: {\"size\":\r\nContent-Length: 5\r\n\r\n12345",
                    "does not say which file"}),
    [](const auto& row) { return row.param.name; });

TEST_F(HTTPTransfers, A_download_to_a_place_that_cannot_be_written_fails) {
    sendFile(fileJson("/F/a", 5), "12345");
    client->loadFile("/F/a", directory.filePath("no/such/folder"));
    EXPECT_EQ(answers(), QStringList("load 0 /F/a"));
    EXPECT_TRUE(message().contains("cannot be written")) << message().toStdString();
}

TEST_F(HTTPTransfers, Two_downloads_to_one_place_do_not_mix) {
    client->loadFile("/F/a", directory.filePath("download"));
    client->loadFile("/F/a", directory.filePath("download"));
    sendFile(fileJson("/F/a", 5), "first");
    sendFile(fileJson("/F/a", 5), "other");
    EXPECT_EQ(answers(2), QStringList({"loaded /F/a", "loaded /F/a"}));
    EXPECT_TRUE(bytesAt("download") == "first" || bytesAt("download") == "other");
    EXPECT_EQ(localFiles(), QStringList("download"));
}

} // namespace
