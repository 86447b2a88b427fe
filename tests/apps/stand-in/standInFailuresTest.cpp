#include "apps/stand-in/StandInTest.h"

#include <QElapsedTimer>

using ::testing::HasSubstr;

class StandInFailures : public StandInTest {
protected:
    void fail(const QStringList& rules) {
        QStringList options;
        for (const QString& rule : rules)
            options << "--fail" << rule;
        start(options);
    }
    // The statuses of so many uploads, each of another file.
    std::vector<int> uploads(int count) {
        std::vector<int> statuses;
        for (int i = 0; i < count; ++i)
            statuses.push_back(upload("/" + QString::number(++made_), "x").status);
        return statuses;
    }
    QStringList standing() { return entriesOf(list()); }

private:
    int made_ = 0;
};

using Statuses = std::vector<int>;

TEST_F(StandInFailures, A_status_is_answered_instead_of_carrying_the_request_out) {
    fail({"500:nth=1", "503:nth=2,retry-after=7", "404:nth=3", "302:nth=4"});
    EXPECT_EQ(upload("/a", "x").status, 500);
    const HTTPAnswer unavailable = upload("/a", "x");
    EXPECT_EQ(unavailable.status, 503);
    EXPECT_EQ(unavailable.headers["retry-after"], "7");
    EXPECT_EQ(upload("/a", "x").status, 404);
    const HTTPAnswer redirected = upload("/a", "x");
    EXPECT_EQ(redirected.status, 302);
    EXPECT_EQ(redirected.headers["location"], "/elsewhere");
    EXPECT_EQ(standing(), QStringList());
}

TEST_F(StandInFailures, A_refused_token_has_the_service_s_own_body) {
    fail({"401:nth=1", "401:nth=2,tag=expired_access_token"});
    const HTTPAnswer invalid = upload("/a", "x");
    EXPECT_EQ(invalid.status, 401);
    EXPECT_EQ(invalid.json()["error"], QJsonObject({{".tag", "invalid_access_token"}}));
    EXPECT_EQ(upload("/a", "x").json()["error"], QJsonObject({{".tag", "expired_access_token"}}));
}

TEST_F(StandInFailures, A_conflict_has_the_tags_that_it_is_given_in_the_form_of_its_route) {
    fail({"409:tag=path/insufficient_space", "409:nth=3"});
    const QJsonObject reason = {{".tag", "insufficient_space"}};
    const HTTPAnswer uploaded = upload("/a", "x");
    EXPECT_EQ(conflict(uploaded), "path/insufficient_space/");
    EXPECT_EQ(uploaded.json()["error"], QJsonObject({{".tag", "path"}, {"reason", reason}}));
    EXPECT_EQ(rpc("files/create_folder_v2", {{"path", "/a"}}).json()["error"],
              QJsonObject({{".tag", "path"}, {"path", reason}}));
}

TEST_F(StandInFailures, Too_many_requests_come_as_JSON_and_as_plain_text) {
    fail({"429:nth=1,retry-after=2", "429:nth=2,tag=too_many_write_operations",
          "429:nth=3,plain,retry-after=0"});
    const HTTPAnswer limited = upload("/a", "x");
    EXPECT_EQ(limited.status, 429);
    EXPECT_EQ(limited.headers["retry-after"], "2");
    EXPECT_EQ(limited.json()["error"],
              QJsonObject({{"reason", QJsonObject{{".tag", "too_many_requests"}}}, {"retry_after", 2}}));
    const HTTPAnswer contended = upload("/a", "x");
    EXPECT_FALSE(contended.headers.contains("retry-after"));
    EXPECT_EQ(contended.field("error/reason/.tag"), "too_many_write_operations");
    const HTTPAnswer plain = upload("/a", "x");
    EXPECT_EQ(plain.status, 429);
    EXPECT_TRUE(plain.json().isEmpty());
    EXPECT_EQ(plain.headers["retry-after"], "0");
}

TEST_F(StandInFailures, A_dropped_request_is_not_carried_out_and_not_even_read) {
    fail({"drop:nth=1"});
    RawConnection connection(standIn->url());
    connection.send("POST /2/files/upload HTTP/1.1\r\nHost: x\r\nContent-Length: 1000\r\n\r\n");
    EXPECT_EQ(connection.receive().status, 0);
    EXPECT_TRUE(connection.isClosed());
    EXPECT_EQ(standing(), QStringList());
}

TEST_F(StandInFailures, A_lost_answer_was_of_a_request_that_is_carried_out) {
    fail({"lost:nth=1"});
    EXPECT_EQ(upload("/a", "x").status, 0);
    EXPECT_EQ(standing(), QStringList("/a"));
}

TEST_F(StandInFailures, A_cut_answer_promises_twice_what_it_brings) {
    fail({"cut:route=files/download"});
    upload("/a", "12345678");
    const HTTPAnswer answer = download("/a");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.headers["content-length"], "8");
    EXPECT_FALSE(answer.isWhole);
    EXPECT_EQ(answer.body, "1234");
}

TEST_F(StandInFailures, A_page_of_HTML_or_nothing_comes_in_place_of_the_answer) {
    fail({"html:nth=1", "empty:nth=2"});
    const HTTPAnswer page = upload("/a", "x");
    EXPECT_EQ(page.status, 200);
    EXPECT_EQ(page.headers["content-type"], "text/html; charset=utf-8");
    EXPECT_TRUE(page.body.startsWith("<!DOCTYPE html>"));
    const HTTPAnswer empty = upload("/a", "x");
    EXPECT_EQ(empty.status, 200);
    EXPECT_EQ(empty.body, "");
    EXPECT_EQ(standing(), QStringList());
}

TEST_F(StandInFailures, A_delay_is_of_one_request_and_latency_of_all) {
    fail({"delay:route=files/upload,ms=150"});
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(upload("/a", "x").status, 200);
    EXPECT_GE(timer.elapsed(), 150);
    start({"--latency", "60"});
    timer.start();
    upload("/a", "x");
    download("/a");
    EXPECT_GE(timer.elapsed(), 120);
}

TEST_F(StandInFailures, A_reset_forgets_every_cursor) {
    fail({"reset:route=files/list_folder/continue,nth=2"});
    const QString cursor = cursorOf(list());
    EXPECT_EQ(list(cursor).status, 200);
    EXPECT_EQ(conflict(list(cursor)), "reset/");
    EXPECT_EQ(list(cursorOf(list())).status, 200);
}

TEST_F(StandInFailures, Selectors_choose_among_the_requests_of_the_route) {
    fail({"500:route=files/upload,nth=3"});
    download("/a");
    EXPECT_EQ(uploads(4), Statuses({200, 200, 500, 200}));
    fail({"500:route=files/upload,every=2"});
    EXPECT_EQ(uploads(5), Statuses({200, 500, 200, 500, 200}));
    fail({"500:from=2,to=3"});
    EXPECT_EQ(uploads(4), Statuses({200, 500, 500, 200}));
    fail({"500:from=2,count=1"});
    EXPECT_EQ(uploads(3), Statuses({200, 500, 200}));
    fail({"500:every=2,from=3,count=1"});
    EXPECT_EQ(uploads(6), Statuses({200, 200, 200, 500, 200, 200}));
}

TEST_F(StandInFailures, Of_several_rules_the_first_that_strikes_counts_and_all_go_on_counting) {
    fail({"500:every=2", "503:every=2", "404:nth=3"});
    EXPECT_EQ(uploads(4), Statuses({200, 500, 404, 500}));
}

TEST_F(StandInFailures, A_rate_with_a_seed_strikes_the_same_requests_each_time) {
    const auto struck = [&](const QString& rule) {
        fail({rule});
        return uploads(200);
    };
    const Statuses first = struck("500:rate=0.1,seed=7");
    EXPECT_EQ(struck("500:rate=0.1,seed=7"), first);
    EXPECT_NE(struck("500:rate=0.1,seed=8"), first);
    const auto failed = std::count(first.begin(), first.end(), 500);
    EXPECT_GT(failed, 5);
    EXPECT_LT(failed, 45);
    EXPECT_EQ(struck("500:rate=0"), Statuses(200, 200));
    EXPECT_EQ(struck("500:rate=1"), Statuses(200, 500));
}

TEST_F(StandInFailures, What_got_no_answer_is_counted_too) {
    fail({"drop:nth=1", "lost:nth=2", "cut:nth=3", "500:nth=4"});
    uploads(5);
    const QJsonObject statistics = standIn->statistics();
    EXPECT_EQ(statistics["requests"], QJsonObject({{"files/upload", 5}}));
    EXPECT_EQ(statistics["answers"], QJsonObject({{"none", 3}, {"500", 1}, {"200", 1}}));
    EXPECT_EQ(statistics["uploadsAtOnce"], 1);
}
