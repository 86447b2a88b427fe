#include "apps/stand-in/StandInTest.h"

using ::testing::HasSubstr;

class StandInListing : public StandInTest {
protected:
    StandInListing() { start(); }

    // A long poll on a connection of its own, so that others can be made meanwhile.
    std::unique_ptr<RawConnection> poll(const QString& cursor) {
        auto connection = std::make_unique<RawConnection>(standIn->url());
        connection->send(requestText("/2/files/list_folder/longpoll", {json},
                                     compact({{"cursor", cursor}, {"timeout", 30}})));
        return connection;
    }
};

TEST_F(StandInListing, A_listing_holds_everything_with_tags) {
    EXPECT_EQ(entriesOf(list()), QStringList());
    upload("/Folder/File", "x");
    const HTTPAnswer page = list();
    EXPECT_EQ(page.status, 200);
    EXPECT_EQ(page.json()["has_more"], false);
    EXPECT_EQ(page.field("entries/0/.tag"), "folder");
    EXPECT_EQ(page.field("entries/1/.tag"), "file");
    EXPECT_EQ(entriesOf(page), QStringList({"/Folder", "/Folder/File"}));
}

TEST_F(StandInListing, Its_cursor_brings_what_has_changed_since) {
    upload("/Gone", "x");
    const QString cursor = cursorOf(list());
    EXPECT_EQ(entriesOf(list(cursor)), QStringList());
    rpc("files/delete_v2", {{"path", "/Gone"}});
    upload("/new", "x");
    const HTTPAnswer page = list(cursor);
    EXPECT_EQ(entriesOf(page), QStringList({"-/gone", "/new"}));
    EXPECT_EQ(page.field("entries/0").toObject().keys(),
              QStringList({".tag", "name", "path_display", "path_lower"}));
    EXPECT_EQ(entriesOf(list(cursorOf(page))), QStringList());
}

TEST_F(StandInListing, A_page_holds_as_many_entries_as_the_request_or_the_program_allow) {
    start({"--page", "3"});
    for (int i = 0; i < 7; ++i)
        upload("/" + QString::number(i), "x");
    QStringList all;
    HTTPAnswer page = list();
    for (; page.json()["has_more"].toBool(); page = list(cursorOf(page))) {
        EXPECT_EQ(entriesOf(page).size(), 3);
        all += entriesOf(page);
    }
    EXPECT_EQ((all + entriesOf(page)).size(), 7);
    EXPECT_EQ(entriesOf(rpc("files/list_folder", {{"path", ""}, {"limit", 2}})).size(), 2);
    EXPECT_EQ(entriesOf(rpc("files/list_folder", {{"path", ""}, {"limit", 2000}})).size(), 3);
    EXPECT_THAT(bad(rpc("files/list_folder", {{"path", ""}, {"limit", 0}})), HasSubstr("limit"));
    EXPECT_THAT(bad(rpc("files/list_folder", {{"path", ""}, {"limit", 2001}})), HasSubstr("limit"));
}

TEST_F(StandInListing, A_listing_can_be_of_one_folder_and_of_what_lies_directly_in_it) {
    upload("/A/B/c", "x");
    upload("/A/d", "x");
    upload("/e", "x");
    const auto listed = [&](const QString& path, bool recursive) {
        return entriesOf(rpc("files/list_folder", {{"path", path}, {"recursive", recursive}}));
    };
    EXPECT_EQ(listed("", false), QStringList({"/A", "/e"}));
    EXPECT_EQ(listed("/a", false), QStringList({"/A/B", "/A/d"}));
    EXPECT_EQ(listed("/a", true), QStringList({"/A/B", "/A/B/c", "/A/d"}));
    EXPECT_EQ(conflict(rpc("files/list_folder", {{"path", "/nothing"}})), "path/not_found/");
    EXPECT_EQ(conflict(rpc("files/list_folder", {{"path", "/e"}})), "path/not_folder/");

    const QString cursor = cursorOf(rpc("files/list_folder", {{"path", "/A"}}));
    upload("/A/f", "x");
    upload("/A/B/g", "x");
    upload("/h", "x");
    EXPECT_EQ(entriesOf(list(cursor)), QStringList({"/A/f"}));
    rpc("files/delete_v2", {{"path", "/A"}});
    EXPECT_EQ(conflict(list(cursor)), "path/not_found/");
}

TEST_F(StandInListing, The_latest_cursor_starts_after_what_stands_now) {
    upload("/old", "x");
    const HTTPAnswer latest = rpc("files/list_folder/get_latest_cursor", {{"path", ""}, {"recursive", true}});
    EXPECT_EQ(latest.json().keys(), QStringList("cursor"));
    upload("/new", "x");
    EXPECT_EQ(entriesOf(list(cursorOf(latest))), QStringList("/new"));
}

TEST_F(StandInListing, A_cursor_of_another_folder_is_answered_with_a_reset) {
    const QString cursor = cursorOf(list());
    start();
    for (const QString& lost : {cursor, QString("nonsense")}) {
        const HTTPAnswer answer = list(lost);
        EXPECT_EQ(conflict(answer), "reset/");
        EXPECT_EQ(answer.json()["error"], QJsonObject({{".tag", "reset"}}));
        EXPECT_EQ(conflict(poll(lost)->receive()), "reset/");
    }
}

TEST_F(StandInListing, A_deleted_folder_is_reported_with_or_without_what_stood_in_it) {
    for (const bool alone : {false, true}) {
        start(alone ? QStringList{"--deleted-folders-alone"} : QStringList());
        upload("/a/b", "x");
        const QString cursor = cursorOf(list());
        rpc("files/delete_v2", {{"path", "/a"}});
        EXPECT_EQ(entriesOf(list(cursor)), alone ? QStringList{"-/a"} : QStringList({"-/a", "-/a/b"}));
    }
}

TEST_F(StandInListing, A_long_poll_answers_when_something_changes) {
    const QString cursor = cursorOf(list());
    const auto waiting = poll(cursor);
    // Answered after the poll, and the poll not with it.
    EXPECT_EQ(entriesOf(list(cursor)), QStringList());
    upload("/new", "x");
    const HTTPAnswer answer = waiting->receive();
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.json(), QJsonObject({{"changes", true}}));
    EXPECT_EQ(poll(cursor)->receive().json(), QJsonObject({{"changes", true}})) << "at once";
}

TEST_F(StandInListing, A_long_poll_hears_of_other_processes_that_share_the_directory) {
    const QTemporaryDir directory;
    start({"--dir", directory.path()});
    const auto waiting = poll(cursorOf(list()));
    const auto first = std::move(standIn);
    start({"--dir", directory.path()});
    upload("/new", "x");
    EXPECT_EQ(waiting->receive().json(), QJsonObject({{"changes", true}}));
}

TEST_F(StandInListing, A_client_that_gives_up_its_long_poll_leaves_nothing_behind) {
    poll(cursorOf(list()));
    EXPECT_EQ(upload("/new", "x").status, 200);
    EXPECT_EQ(standIn->stop(), 0);
}

TEST_F(StandInListing, A_long_poll_waits_for_30_to_480_seconds) {
    const QString cursor = cursorOf(list());
    for (const int timeout : {0, 29, 481})
        EXPECT_THAT(bad(request("/2/files/list_folder/longpoll", {json},
                                compact({{"cursor", cursor}, {"timeout", timeout}}))),
                    HasSubstr("timeout"));
}
