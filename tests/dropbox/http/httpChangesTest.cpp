#include "dropbox/http/HTTPClientFixture.h"

namespace {

class HTTPChanges : public HTTPClientTest {
protected:
    static QByteArray file(const QByteArray& path) {
        return R"({".tag":"file","path_lower":")" + path.toLower() + R"(","path_display":")" + path
               + R"(","rev":"0123456789","size":3,"server_modified":"2024-05-06T07:08:09Z"})";
    }
    static QByteArray folder(const QByteArray& path) {
        return R"({".tag":"folder","path_lower":")" + path.toLower() + R"(","path_display":")" + path
               + R"("})";
    }
    static QByteArray deleted(const QByteArray& path) {
        return R"({".tag":"deleted","path_lower":")" + path.toLower() + R"(","path_display":")" + path
               + R"("})";
    }
    void sendPage(const QByteArrayList& entries, const QByteArray& cursor, bool hasMore = false) {
        server.sendJson("{\"entries\":[" + entries.join(',') + "],\"cursor\":\"" + cursor
                        + "\",\"has_more\":" + (hasMore ? "true}" : "false}"));
    }
    // The routes and cursors asked for so far: "list", "c1", …
    QStringList asked() const {
        QStringList result;
        for (const auto& request : server.requests())
            result += request.line.contains("continue") ? QString(request.body).section('"', 3, 3)
                                                        : QString("list");
        return result;
    }
    // What the last answer holds; a deleted path starts with "-".
    QStringList entries() const {
        QStringList result;
        for (const auto& entry : delegate.pages.back().entries)
            result += (entry->metadata ? "" : "-") + entry->lowercasePath;
        return result;
    }
};

TEST_F(HTTPChanges, Of_several_pages_come_in_one_answer) {
    sendPage({folder("/F"), file("/F/A")}, "c1", true);
    sendPage({}, "c2", true);
    sendPage({deleted("/F/b")}, "c3");
    client->loadDelta("c0");
    EXPECT_EQ(answers(), QStringList("delta of 3"));
    EXPECT_EQ(asked(), QStringList({"c0", "c1", "c2"}));
    EXPECT_EQ(entries(), QStringList({"/f", "/f/a", "-/f/b"}));
    const auto& page = delegate.pages[0];
    EXPECT_EQ(page.cursor, "c3");
    EXPECT_FALSE(page.hasMore || page.reset);
    EXPECT_TRUE(page.entries[0]->metadata->isDirectory);
    EXPECT_EQ(page.entries[1]->metadata,
              (DBMetadata{"/F/A", "0123456789", {}, QDateTime({2024, 5, 6}, {7, 8, 9}, Qt::UTC), 3, false}));
}

TEST_F(HTTPChanges, Of_one_path_come_with_what_it_is_in_the_end) {
    sendPage({file("/a"), deleted("/b"), file("/f/c")}, "c1", true);
    sendPage({deleted("/a"), file("/b"), deleted("/f")}, "c2");
    client->loadDelta("c0");
    answers();
    EXPECT_EQ(entries(), QStringList({"-/a", "/b", "-/f", "-/f/c"}));
}

TEST_F(HTTPChanges, Of_unknown_kinds_or_without_a_place_are_left_out) {
    sendPage({R"({".tag":"symlink","path_lower":"/s"})",
              R"({".tag":"file","name":"unmounted","path_lower":null})", file("/a")},
             "c1");
    client->loadDelta("c0");
    answers();
    EXPECT_EQ(entries(), QStringList("/a"));
}

TEST_F(HTTPChanges, After_a_lost_cursor_are_a_listing_with_the_reset_flag) {
    const QByteArray refusals[] = {R"({".tag":"reset"})", R"({".tag":"a_tag_of_tomorrow"})"};
    for (const QByteArray& refusal : refusals) {
        sendConflict(refusal);
        sendPage({file("/a")}, "n1", true);
        sendPage({file("/b")}, "n2");
        client->loadDelta("lost");
        EXPECT_EQ(answers(), QStringList("delta of 2"));
        EXPECT_TRUE(delegate.pages.back().reset);
        EXPECT_EQ(delegate.pages.back().cursor, "n2");
    }
    EXPECT_EQ(asked(), QStringList({"lost", "list", "n1", "lost", "list", "n1"}));
}

TEST_F(HTTPChanges, After_a_cursor_that_is_none_of_the_service_are_a_listing_with_the_reset_flag) {
    server.send("400 Bad Request", "Invalid \"cursor\" parameter: 'lost'");
    sendPage({file("/a")}, "n1");
    client->loadDelta("lost");
    EXPECT_EQ(answers(), QStringList("delta of 1"));
    EXPECT_TRUE(delegate.pages[0].reset);
}

TEST_F(HTTPChanges, Hold_nothing_of_the_pages_before_the_cursor_was_lost) {
    sendPage({file("/gone")}, "c1", true);
    sendConflict(R"({".tag":"reset"})");
    sendPage({file("/a")}, "n1");
    client->loadDelta("c0");
    answers();
    EXPECT_EQ(entries(), QStringList("/a"));
    EXPECT_TRUE(delegate.pages[0].reset);
}

TEST_F(HTTPChanges, That_the_service_resets_again_and_again_are_an_error) {
    sendConflict(R"({".tag":"reset"})");
    sendPage({file("/a")}, "n1", true);
    sendConflict(R"({".tag":"reset"})");
    client->loadDelta("lost");
    EXPECT_EQ(answers(), QStringList("delta 409"));
    sendConflict(R"({".tag":"reset"})");
    sendPage({file("/a")}, "n2");
    client->loadDelta("lost");
    EXPECT_EQ(answers(), QStringList("delta of 1"));
    EXPECT_EQ(asked(), QStringList({"lost", "list", "n1", "lost", "list"}));
}

TEST_F(HTTPChanges, That_do_not_get_on_are_an_error) {
    sendPage({file("/a")}, "c1", true);
    sendPage({file("/b")}, "c1", true);
    client->loadDelta("c0");
    EXPECT_EQ(answers(), QStringList("delta 0"));
}

TEST_F(HTTPChanges, Whose_pages_have_long_brought_nothing_new_fail_and_go_on_when_asked_for_again) {
    constexpr int mostIdlePages = 1000;
    for (int number = 0; number <= mostIdlePages; ++number)
        sendPage({file("/a")}, "c" + QByteArray::number(number % 2), true);
    client->loadDelta("c");
    EXPECT_EQ(answers(), QStringList("delta 0"));
    EXPECT_EQ(server.requests().size(), size_t(mostIdlePages + 1));
    sendPage({file("/b")}, "c2");
    client->loadDelta("c");
    answers();
    EXPECT_EQ(asked().constLast(), "c0");
    EXPECT_EQ(entries(), QStringList({"/a", "/b"}));
}

TEST_F(HTTPChanges, Go_on_after_a_failure_where_they_were) {
    sendPage({file("/a")}, "c1", true);
    server.send("500 Internal Server Error", "");
    client->loadDelta("c0");
    EXPECT_EQ(answers(), QStringList("delta 500"));
    sendPage({file("/b")}, "c2");
    client->loadDelta("c0");
    answers();
    EXPECT_EQ(asked(), QStringList({"c0", "c1", "c1"}));
    EXPECT_EQ(entries(), QStringList({"/a", "/b"}));
}

TEST_F(HTTPChanges, Since_another_cursor_know_nothing_of_a_failure) {
    sendPage({file("/a")}, "c1", true);
    server.send("500 Internal Server Error", "");
    client->loadDelta("c0");
    answers();
    sendPage({file("/b")}, "d1");
    client->loadDelta("d0");
    answers();
    EXPECT_EQ(entries(), QStringList("/b"));
    sendPage({file("/c")}, "c1");
    client->loadDelta("c0");
    answers();
    EXPECT_EQ(entries(), QStringList("/c"));
    EXPECT_EQ(asked(), QStringList({"c0", "c1", "d0", "c0"}));
}

TEST_F(HTTPChanges, Of_two_queries_at_once_do_not_mix) {
    client->loadDelta("c0");
    ASSERT_TRUE(waitForRequests(1));
    client->loadDelta("d0");
    ASSERT_TRUE(waitForRequests(2));
    sendPage({file("/c")}, "c1", true);
    sendPage({file("/d")}, "d1");
    EXPECT_EQ(answers(), QStringList("delta of 1"));
    EXPECT_EQ(entries(), QStringList("/d"));
    sendPage({file("/e")}, "c2");
    answers();
    EXPECT_EQ(entries(), QStringList({"/c", "/e"}));
}

} // namespace
