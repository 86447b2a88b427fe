#include "apps/stand-in/StandInTest.h"

#include "dropbox/DBContentHash.h"

#include <QRegularExpression>

using ::testing::HasSubstr;

class StandInFiles : public StandInTest {
protected:
    StandInFiles() { start(); }

    QJsonObject metadataOf(const QString& path) { return rpc("files/get_metadata", {{"path", path}}).json(); }
};

TEST_F(StandInFiles, An_uploaded_file_answers_its_metadata_without_a_tag) {
    const HTTPAnswer answer = upload("/Folder/Näme.data", "some bytes");
    ASSERT_EQ(answer.status, 400) << "not ASCII";
    const HTTPAnswer escaped =
        request("/2/files/upload", {bearer, bytes, R"(Dropbox-API-Arg: {"path":"/Folder/N\u00e4me.data"})"},
                "some bytes");
    ASSERT_EQ(escaped.status, 200) << escaped.body.toStdString();
    EXPECT_EQ(escaped.headers["content-type"], "application/json");
    const QJsonObject file = escaped.json();
    EXPECT_FALSE(file.contains(".tag"));
    EXPECT_EQ(file["name"], "Näme.data");
    EXPECT_EQ(file["path_lower"], "/folder/näme.data");
    EXPECT_EQ(file["path_display"], "/Folder/Näme.data");
    EXPECT_EQ(file["size"], 10);
    EXPECT_EQ(file["is_downloadable"], true);
    EXPECT_EQ(file["content_hash"].toString(), dropboxContentHash("some bytes"));
    EXPECT_TRUE(file["id"].toString().startsWith("id:"));
    static const QRegularExpression revision("\\A[0-9a-f]{9,}\\z");
    EXPECT_TRUE(revision.match(file["rev"].toString()).hasMatch());
    static const QRegularExpression time(R"(\A\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ\z)");
    EXPECT_TRUE(time.match(file["server_modified"].toString()).hasMatch());
    EXPECT_EQ(file["client_modified"], file["server_modified"]);
}

TEST_F(StandInFiles, A_download_brings_the_bytes_and_the_metadata_in_a_header_of_ASCII) {
    const QByteArray content("\0\r\n\xff bytes", 10);
    request("/2/files/upload", {bearer, bytes, R"(Dropbox-API-Arg: {"path":"/\u65e5\ud83d\ude00.data"})"},
            content);
    const HTTPAnswer answer =
        request("/2/files/download", {bearer, R"(Dropbox-API-Arg: {"path":"/\u65e5\ud83d\ude00.data"})"}, {});
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.headers["content-type"], "application/octet-stream");
    EXPECT_EQ(answer.body, content);
    const QByteArray result = answer.headers["dropbox-api-result"];
    EXPECT_THAT(result.toStdString(), HasSubstr(R"("name":"\u65e5\ud83d\ude00.data")"));
    const QJsonObject metadata = QJsonDocument::fromJson(result).object();
    EXPECT_FALSE(metadata.contains(".tag"));
    EXPECT_EQ(metadata["size"], content.size());
    EXPECT_EQ(answer.headers["etag"], "W/\"" + metadata["rev"].toString().toLatin1() + '"');
}

TEST_F(StandInFiles, A_download_may_be_a_GET_with_its_argument_in_the_URL) {
    upload("/a+b c", "bytes");
    const HTTPAnswer answer =
        request("/2/files/download?arg=%7B%22path%22:%22/a%2Bb+c%22%7D", {bearer}, {}, "GET");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, "bytes");
    const HTTPAnswer same = request("/2/files/download?arg=%7B%22path%22:%22/a%2Bb+c%22%7D",
                                    {bearer, "If-None-Match: " + answer.headers["etag"]}, {}, "GET");
    EXPECT_EQ(same.status, 304);
    EXPECT_EQ(same.body, "");
}

TEST_F(StandInFiles, Missing_things_and_folders_cannot_be_downloaded) {
    upload("/folder/file", "x");
    EXPECT_EQ(conflict(download("/nothing")), "path/not_found/");
    EXPECT_EQ(conflict(download("/folder")), "path/not_file/");
    EXPECT_EQ(conflict(download("/folder/")), "path/malformed_path/");
    EXPECT_EQ(download("/nothing").json()["error"],
              QJsonObject({{".tag", "path"}, {"path", QJsonObject{{".tag", "not_found"}}}}));
}

TEST_F(StandInFiles, Metadata_say_what_stands_there) {
    const QJsonObject uploaded = upload("/Folder/File", "x").json();
    QJsonObject file = metadataOf("/FOLDER/file");
    EXPECT_EQ(file.take(".tag"), "file");
    EXPECT_EQ(file, uploaded);
    const QJsonObject folder = metadataOf("/folder");
    EXPECT_EQ(folder.keys(), QStringList({".tag", "id", "name", "path_display", "path_lower"}));
    EXPECT_EQ(folder[".tag"], "folder");
    EXPECT_EQ(conflict(rpc("files/get_metadata", {{"path", "/nothing"}})), "path/not_found/");
}

TEST_F(StandInFiles, Metadata_of_what_is_gone_are_given_on_request) {
    upload("/file", "x");
    rpc("files/delete_v2", {{"path", "/file"}});
    EXPECT_EQ(conflict(rpc("files/get_metadata", {{"path", "/file"}})), "path/not_found/");
    const QJsonObject gone = rpc("files/get_metadata", {{"path", "/file"}, {"include_deleted", true}}).json();
    EXPECT_EQ(
        gone,
        QJsonObject(
            {{".tag", "deleted"}, {"name", "file"}, {"path_lower", "/file"}, {"path_display", "/file"}}));
    EXPECT_EQ(conflict(rpc("files/get_metadata", {{"path", "/never"}, {"include_deleted", true}})),
              "path/not_found/");
}

TEST_F(StandInFiles, A_deletion_answers_what_stood_there) {
    QJsonObject file = upload("/file", "x").json();
    file[".tag"] = "file";
    const HTTPAnswer answer = rpc("files/delete_v2", {{"path", "/FILE"}});
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.json(), QJsonObject({{"metadata", file}}));
    EXPECT_EQ(conflict(rpc("files/delete_v2", {{"path", "/file"}})), "path_lookup/not_found/");
}

TEST_F(StandInFiles, A_deletion_may_be_of_one_revision_only) {
    const QString rev = upload("/file", "x").json()["rev"].toString();
    EXPECT_EQ(conflict(rpc("files/delete_v2", {{"path", "/file"}, {"parent_rev", "123456789"}})),
              "path_write/conflict/file/");
    EXPECT_EQ(rpc("files/delete_v2", {{"path", "/file"}, {"parent_rev", rev}}).status, 200);
}

TEST_F(StandInFiles, A_folder_is_made_once) {
    const HTTPAnswer made = rpc("files/create_folder_v2", {{"path", "/A/B"}});
    EXPECT_EQ(made.status, 200);
    const QJsonObject metadata = made.json()["metadata"].toObject();
    EXPECT_EQ(metadata["path_display"], "/A/B");
    EXPECT_FALSE(metadata.contains(".tag"));
    EXPECT_FALSE(metadata.contains("rev"));
    EXPECT_EQ(conflict(rpc("files/create_folder_v2", {{"path", "/a/b"}})), "path/conflict/folder/");
    upload("/file", "x");
    EXPECT_EQ(conflict(rpc("files/create_folder_v2", {{"path", "/file"}})), "path/conflict/file/");
    EXPECT_EQ(conflict(rpc("files/create_folder_v2", {{"path", "/file/A"}})), "path/conflict/file_ancestor/");
    const HTTPAnswer renamed = rpc("files/create_folder_v2", {{"path", "/A/B"}, {"autorename", true}});
    EXPECT_EQ(renamed.field("metadata/path_display"), "/A/B (1)");
}

TEST_F(StandInFiles, A_move_takes_a_folder_with_everything_in_it) {
    upload("/From/Sub/File", "bytes");
    const QString cursor = cursorOf(list());
    const HTTPAnswer moved = rpc("files/move_v2", {{"from_path", "/from"}, {"to_path", "/New/To"}});
    EXPECT_EQ(moved.status, 200) << moved.body.toStdString();
    EXPECT_EQ(moved.field("metadata/.tag"), "folder");
    EXPECT_EQ(moved.field("metadata/path_display"), "/New/To");
    EXPECT_EQ(download("/new/to/sub/file").body, "bytes");
    EXPECT_EQ(conflict(download("/from/sub/file")), "path/not_found/");
    EXPECT_EQ(entriesOf(list(cursor)), QStringList({"/New", "/New/To", "/New/To/Sub", "/New/To/Sub/File",
                                                    "-/from", "-/from/sub", "-/from/sub/file"}));
}

TEST_F(StandInFiles, A_move_that_cannot_be_says_which_end_is_wrong) {
    upload("/file", "x");
    upload("/folder/other", "y");
    const auto move = [&](const QString& from, const QString& to) {
        return conflict(rpc("files/move_v2", {{"from_path", from}, {"to_path", to}}));
    };
    EXPECT_EQ(move("/nothing", "/a"), "from_lookup/not_found/");
    EXPECT_EQ(move("/file", "/folder"), "to/conflict/folder/");
    EXPECT_EQ(move("/file", "/folder/other"), "to/conflict/file/");
    EXPECT_EQ(move("/folder", "/file/a"), "to/conflict/file_ancestor/");
    EXPECT_EQ(move("/file", "/a/"), "to/malformed_path/");
    EXPECT_EQ(move("/folder", "/folder/a"), "cant_move_folder_into_itself/");
    const HTTPAnswer renamed =
        rpc("files/move_v2", {{"from_path", "/file"}, {"to_path", "/folder/other"}, {"autorename", true}});
    EXPECT_EQ(renamed.field("metadata/path_display"), "/folder/other (1)");
}

TEST_F(StandInFiles, The_account_has_a_name) {
    start({"--account", "Ada"});
    const HTTPAnswer account = request("/2/users/get_current_account", {bearer}, {});
    EXPECT_EQ(account.status, 200);
    EXPECT_EQ(account.field("name/display_name"), "Ada");
    EXPECT_TRUE(account.json()["account_id"].isString());
    EXPECT_EQ(request("/2/users/get_current_account", {bearer, json}, "null").json(), account.json());
}

TEST_F(StandInFiles, A_check_answers_what_it_was_asked) {
    const HTTPAnswer answer = rpc("check/user", {{"query", "hello"}});
    EXPECT_EQ(answer.json(), QJsonObject({{"result", "hello"}}));
    EXPECT_THAT(bad(rpc("check/user", {{"query", QString(501, 'x')}})),
                HasSubstr("query: expected at most 500"));
}
