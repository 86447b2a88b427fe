#include "supervisor/OneDesktop.h"
#include "support/EngineTest.h"

// Which queries for changes reach the cloud. Each query that the engine makes leaves a timer of its own, also
// those of an activity that has ended.

namespace {

using namespace std::chrono_literals;

struct PollsAlone : OneDesktop {
    PollsAlone() : OneDesktop(Desktop::Alone) {}
};

struct Polls : OneDesktop {
    Polls() : OneDesktop(Desktop::Supervised) {}
};

// A restless user: in 400 seconds sixteen restarts and twice as many wishes to sync.
void beRestless(OneDesktop& test) {
    for (int round = 0; round < 16; ++round) {
        test.engine().deactivateSync();
        test.desktop.activate();
        test.pass(10);
        test.desktop.askForChanges();
        test.pass(10);
        test.desktop.askForChanges();
        test.pass(5);
    }
}

} // namespace

TEST_F(PollsAlone, Each_restart_and_each_wish_to_sync_adds_a_query_to_every_interval) {
    begin();
    beRestless(*this);
    desktop.client->forgetRequests();
    pass(600);
    EXPECT_GT(count(QWRestRequest::LoadDelta), 40);
}

TEST_F(Polls, There_is_one_in_an_interval_whatever_has_been_asked_before) {
    begin();
    for (int hour = 0; hour < 4; ++hour) {
        beRestless(*this);
        for (int interval = 0; interval < 5; ++interval) {
            desktop.client->forgetRequests();
            pass(601);
            EXPECT_GE(count(QWRestRequest::LoadDelta), interval == 0 ? 0 : 1) << hour << ' ' << interval;
            EXPECT_LE(count(QWRestRequest::LoadDelta), 1) << hour << ' ' << interval;
        }
    }
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(Polls, The_queries_of_restarts_and_of_wishes_to_sync_are_all_made) {
    begin();
    desktop.client->forgetRequests();
    beRestless(*this);
    EXPECT_EQ(count(QWRestRequest::LoadDelta), 3 * 16);
}

TEST_F(Polls, The_next_one_comes_ten_minutes_after_the_last_query) {
    auto& times = timesOf(QWRestRequest::LoadDelta);
    begin();
    pass(299);
    supervisor().syncNow();
    pass(1500);
    EXPECT_EQ(times, (std::vector<int>{0, 300, 900, 1500}));
}

TEST_F(Polls, A_clock_that_is_set_back_or_forward_changes_nothing) {
    auto& times = timesOf(QWRestRequest::LoadDelta);
    begin();
    desktop.world.clock->setOffset(-48h);
    pass(1300);
    desktop.world.clock->setOffset(48h);
    pass(1200);
    ASSERT_EQ(times.size(), 5u);
    for (std::size_t index = 1; index < times.size(); ++index)
        EXPECT_NEAR(times[index] - times[index - 1], 600, 1);
    EXPECT_TRUE(desktop.isIdle());
}

TEST_F(Polls, Failed_queries_are_repeated_every_ten_seconds_until_one_succeeds) {
    begin();
    bool fails = true;
    desktop.client->on(QWRestRequest::LoadDelta)
        .where([&](const QWRestRequest&) { return fails; })
        .answersWith(500);
    auto& times = timesOf(QWRestRequest::LoadDelta);
    supervisor().syncNow();
    pass(35);
    EXPECT_EQ(times, (std::vector<int>{1, 11, 21, 31}));
    fails = false;
    pass(700);
    EXPECT_EQ(times, (std::vector<int>{1, 11, 21, 31, 41, 641}));
}

// Answered by the test --------------------------------------------------------------------------------------

namespace {

struct StoppedPollsAlone : EngineTest {
    StoppedPollsAlone() { activateIdle(); }
};

struct StoppedPolls : EngineTest {
    StoppedPolls() : EngineTest(Desktop::Supervised) { activateIdle(); }
};

} // namespace

TEST_F(StoppedPollsAlone, A_timer_that_fires_after_the_end_makes_the_engine_active_again) {
    engine().deactivateSync();
    pass(601);
    EXPECT_EQ(client->log(), QStringList{"delta"});
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    page({}, "cursor-1");
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(StoppedPolls, A_timer_that_fires_after_the_end_changes_nothing) {
    engine().deactivateSync();
    pass(24 * 3600);
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusDisabled);
    EXPECT_EQ(probe().scheduledTimers(), 0u) << "its chain has ended";
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
}

TEST_F(StoppedPolls, A_timer_that_fires_when_the_token_was_refused_changes_nothing) {
    engine().tokenBecameInvalid();
    pass(24 * 3600);
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusTokenInvalid);
}

TEST_F(StoppedPolls, A_timer_that_fires_while_a_query_is_out_makes_none_and_the_status_stays) {
    pass(0.5);
    desktop.supervisor->syncNow();
    client->forget();
    pass(650);
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    page({}, "cursor-1");
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
}

TEST_F(StoppedPolls, A_timer_that_fires_while_a_batch_runs_makes_no_query) {
    pass(0.5);
    receive({changed("Author!!!A.data")});
    ASSERT_EQ(client->log(), QStringList{"load " + remote("Author!!!A.data")});
    pass(650);
    EXPECT_EQ(client->requests.size(), 1u);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    loaded(client->requests[0], record("Ann", "2026-01-01 00:00:00 +0000"));
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    client->forget();
    pass(601);
    EXPECT_EQ(client->log(), QStringList{"delta"});
}

TEST_F(StoppedPolls, A_timer_that_is_not_due_leaves_an_upload_its_status) {
    pass(300);
    receive({});
    pass(299);
    desktop.add("Author", {{"name", "Ann"}});
    saveAndTurn();
    ASSERT_EQ(engine().status(), QWDropboxSyncStatusUploading);
    client->forget();
    pass(5);
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusUploading);
}

TEST_F(StoppedPolls, Each_further_page_is_asked_for) {
    desktop.supervisor->syncNow();
    for (int number = 1; number <= 3; ++number) {
        client->forget();
        page({}, QStringLiteral("page-%1").arg(number), true);
        ASSERT_EQ(client->log(), QStringList{"delta"});
        EXPECT_EQ(client->requests[0].cursor, QStringLiteral("page-%1").arg(number));
    }
    page({}, "cursor-1");
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(StoppedPolls, The_query_of_an_activation_is_made_although_another_was_made_just_before) {
    engine().deactivateSync();
    desktop.supervisor->activate();
    EXPECT_EQ(client->log(), QStringList{"delta"});
}

TEST_F(Polls, An_old_timer_asks_for_nothing_while_the_sync_folder_is_looked_up) {
    begin();
    pass(590);
    desktop.world.userDefaults->setBoolean(QWDBLastTimeTokenExpiredPrefKey, true);
    desktop.client->on(QWRestRequest::LoadMetadata).answersWith(500);
    engine().deactivateSync();
    desktop.activate();
    desktop.client->forgetRequests();
    pass(60);
    EXPECT_EQ(count(QWRestRequest::LoadDelta), 0);
    desktop.client->removeFaults();
    pass(60);
    EXPECT_EQ(count(QWRestRequest::LoadDelta), 1);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}
