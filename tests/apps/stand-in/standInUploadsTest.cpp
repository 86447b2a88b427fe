#include "apps/stand-in/StandInTest.h"

#include "dropbox/DBContentHash.h"

using ::testing::HasSubstr;

class StandInUploads : public StandInTest {
protected:
    StandInUploads() { start(); }

    static QJsonObject update(const QString& rev) { return {{".tag", "update"}, {"update", rev}}; }
    static QJsonObject cursor(const QString& session, qint64 offset) {
        return {{"session_id", session}, {"offset", offset}};
    }
    QString startSession(const QByteArray& body, const QJsonObject& argument = {}) {
        return content("files/upload_session/start", argument, body).json()["session_id"].toString();
    }
    HTTPAnswer append(const QString& session, qint64 offset, const QByteArray& body,
                      QJsonObject argument = {}) {
        argument["cursor"] = cursor(session, offset);
        return content("files/upload_session/append_v2", argument, body);
    }
    HTTPAnswer finish(const QString& session, qint64 offset, const QByteArray& body,
                      const QJsonObject& commit) {
        return content("files/upload_session/finish",
                       {{"cursor", cursor(session, offset)}, {"commit", commit}}, body);
    }
};

TEST_F(StandInUploads, A_taken_place_is_a_conflict_that_says_what_stands_there) {
    upload("/folder/file", "one");
    const HTTPAnswer refused = upload("/folder/file", "two");
    EXPECT_EQ(conflict(refused), "path/conflict/file/");
    QJsonObject error = refused.json()["error"].toObject();
    EXPECT_TRUE(error.take("upload_session_id").isString());
    EXPECT_EQ(error, QJsonObject({{".tag", "path"},
                                  {"reason", QJsonObject{{".tag", "conflict"},
                                                         {"conflict", QJsonObject{{".tag", "file"}}}}}}));
    EXPECT_EQ(conflict(upload("/folder", "x")), "path/conflict/folder/");
    EXPECT_EQ(conflict(upload("/folder/file/x", "x")), "path/conflict/file_ancestor/");
    EXPECT_EQ(conflict(upload("/a\\b", "x")), "path/malformed_path/");
    EXPECT_EQ(download("/folder/file").body, "one");
}

TEST_F(StandInUploads, A_refused_upload_can_be_committed_elsewhere_from_its_session) {
    upload("/file", "one");
    const QString session = upload("/file", "two").field("error/upload_session_id").toString();
    EXPECT_EQ(finish(session, 3, {}, {{"path", "/other"}}).status, 200);
    EXPECT_EQ(download("/other").body, "two");
}

TEST_F(StandInUploads, Identical_bytes_are_no_conflict_unless_the_upload_is_strict) {
    const QJsonObject first = upload("/file", "same").json();
    EXPECT_EQ(upload("/file", "same").json(), first);
    EXPECT_EQ(upload("/file", "same", {{"mode", update("123456789")}}).json(), first);
    EXPECT_EQ(conflict(upload("/file", "same", {{"strict_conflict", true}})), "path/conflict/file/");
}

TEST_F(StandInUploads, Overwriting_replaces_a_file_and_no_folder) {
    upload("/folder/file", "one");
    EXPECT_EQ(upload("/folder/file", "two", {{"mode", "overwrite"}}).status, 200);
    EXPECT_EQ(upload("/folder/file", "three", {{"mode", QJsonObject{{".tag", "overwrite"}}}}).status, 200);
    EXPECT_EQ(download("/folder/file").body, "three");
    EXPECT_EQ(conflict(upload("/folder", "x", {{"mode", "overwrite"}})), "path/conflict/folder/");
    EXPECT_EQ(upload("/new", "x", {{"mode", "overwrite"}}).status, 200);
}

TEST_F(StandInUploads, An_update_replaces_the_revision_that_it_names) {
    const QString rev = upload("/file", "one").json()["rev"].toString();
    const HTTPAnswer second = upload("/file", "two", {{"mode", update(rev)}});
    EXPECT_EQ(second.status, 200);
    EXPECT_NE(second.json()["rev"], rev);
    EXPECT_EQ(conflict(upload("/file", "three", {{"mode", update(rev)}})), "path/conflict/file/");
}

TEST_F(StandInUploads, An_update_of_what_is_gone_makes_it_again_unless_it_is_strict) {
    const QString rev = upload("/file", "one").json()["rev"].toString();
    rpc("files/delete_v2", {{"path", "/file"}});
    EXPECT_EQ(conflict(upload("/file", "two", {{"mode", update(rev)}, {"strict_conflict", true}})),
              "path/conflict/file/");
    EXPECT_EQ(upload("/file", "two", {{"mode", update(rev)}}).json()["path_display"], "/file");
}

TEST_F(StandInUploads, A_conflict_that_may_be_renamed_shows_its_name_in_the_answer_only) {
    upload("/file.data", "one");
    EXPECT_EQ(upload("/file.data", "two", {{"autorename", true}}).json()["path_display"], "/file (1).data");
    const HTTPAnswer copy =
        upload("/file.data", "three", {{"mode", update("000000000")}, {"autorename", true}});
    EXPECT_EQ(copy.json()["name"], "file (Owner's conflicted copy).data");
    EXPECT_EQ(download("/file.data").body, "one");
}

TEST_F(StandInUploads, A_mode_that_is_not_one_is_refused) {
    EXPECT_THAT(bad(upload("/a", "x", {{"mode", "update"}})), HasSubstr("mode"));
    EXPECT_THAT(bad(upload("/a", "x", {{"mode", "append"}})), HasSubstr("mode"));
    EXPECT_THAT(bad(upload("/a", "x", {{"mode", update("not hex")}})), HasSubstr("[0-9a-f]{9,}"));
    EXPECT_THAT(bad(upload("/a", "x", {{"mode", update("12345678")}})), HasSubstr("[0-9a-f]{9,}"));
}

TEST_F(StandInUploads, The_client_may_say_when_it_changed_the_file_in_whole_seconds_of_UTC) {
    EXPECT_EQ(upload("/a", "x", {{"client_modified", "2026-01-02T03:04:05Z"}, {"mute", true}}).status, 200);
    for (const char* time :
         {"2026-01-02T03:04:05.5Z", "2026-01-02T03:04:05", "2026-01-02", "2026-13-02T03:04:05Z"})
        EXPECT_THAT(bad(upload("/b", "x", {{"client_modified", time}})), HasSubstr("client_modified"))
            << time;
}

TEST_F(StandInUploads, A_content_hash_that_does_not_match_is_refused) {
    EXPECT_EQ(upload("/a", "x", {{"content_hash", dropboxContentHash("x")}}).status, 200);
    EXPECT_EQ(conflict(upload("/b", "x", {{"content_hash", dropboxContentHash("y")}})),
              "content_hash_mismatch/");
    EXPECT_EQ(conflict(download("/b")), "path/not_found/");
    EXPECT_THAT(bad(upload("/b", "x", {{"content_hash", "abc"}})), HasSubstr("content_hash"));
}

TEST_F(StandInUploads, A_session_takes_a_file_in_pieces) {
    const QString session = startSession("one ");
    EXPECT_EQ(append(session, 4, "two ").body, "null");
    EXPECT_EQ(append(session, 8, "three ").status, 200);
    const HTTPAnswer finished = finish(session, 14, "four", {{"path", "/Folder/File"}});
    EXPECT_EQ(finished.status, 200) << finished.body.toStdString();
    EXPECT_FALSE(finished.json().contains(".tag"));
    EXPECT_EQ(finished.json()["content_hash"].toString(), dropboxContentHash("one two three four"));
    EXPECT_EQ(download("/folder/file").body, "one two three four");
    EXPECT_EQ(conflict(finish(session, 14, "four", {{"path", "/a"}})), "lookup_failed/not_found/");
}

TEST_F(StandInUploads, A_session_says_where_it_stands) {
    const QString session = startSession("12345");
    const HTTPAnswer appended = append(session, 3, "x");
    EXPECT_EQ(conflict(appended), "incorrect_offset/");
    EXPECT_EQ(appended.json()["error"], QJsonObject({{".tag", "incorrect_offset"}, {"correct_offset", 5}}));
    const HTTPAnswer finished = finish(session, 6, "x", {{"path", "/a"}});
    EXPECT_EQ(conflict(finished), "lookup_failed/incorrect_offset/");
    EXPECT_EQ(finished.field("error/lookup_failed/correct_offset"), 5);
    EXPECT_EQ(conflict(append("unknown", 0, "x")), "not_found/");
}

TEST_F(StandInUploads, A_closed_session_takes_nothing_more) {
    const QString session = startSession("one", {{"close", true}});
    EXPECT_EQ(conflict(append(session, 3, "x")), "closed/");
    EXPECT_EQ(conflict(finish(session, 3, "x", {{"path", "/a"}})), "lookup_failed/closed/");
    EXPECT_EQ(finish(session, 3, "", {{"path", "/a"}}).status, 200);
    const QString other = startSession("");
    EXPECT_EQ(append(other, 0, "one", {{"close", true}}).status, 200);
    EXPECT_EQ(conflict(append(other, 3, "x")), "closed/");
}

TEST_F(StandInUploads, A_session_whose_commit_conflicts_can_be_committed_again) {
    upload("/taken", "x");
    const QString session = startSession("one ");
    const HTTPAnswer refused = finish(session, 4, "two", {{"path", "/taken"}});
    EXPECT_EQ(conflict(refused), "path/conflict/file/");
    EXPECT_EQ(refused.field("error/path/.tag"), "conflict") << "under the tag's own name";
    EXPECT_EQ(finish(session, 4, "two", {{"path", "/free"}}).status, 200);
    EXPECT_EQ(download("/free").body, "one two");
}

TEST_F(StandInUploads, Pieces_of_a_session_have_hashes_too) {
    EXPECT_EQ(
        conflict(content("files/upload_session/start", {{"content_hash", dropboxContentHash("y")}}, "x")),
        "content_hash_mismatch/");
    const QString session = startSession("x", {{"content_hash", dropboxContentHash("x")}});
    EXPECT_EQ(conflict(append(session, 1, "x", {{"content_hash", dropboxContentHash("y")}})),
              "content_hash_mismatch/");
    EXPECT_EQ(append(session, 1, "y", {{"content_hash", dropboxContentHash("y")}}).status, 200);
}
