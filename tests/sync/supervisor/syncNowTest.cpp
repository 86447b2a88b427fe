#include "supervisor/OneDesktop.h"

namespace {

using namespace std::chrono_literals;

struct SyncNow : OneDesktop {
    SyncNow() : OneDesktop(Desktop::Supervised) {}
    int queries() { return count(QWRestRequest::LoadDelta); }
};

} // namespace

TEST_F(SyncNow, It_asks_at_once_when_the_engine_is_idle) {
    begin();
    desktop.client->forgetRequests();
    supervisor().syncNow();
    EXPECT_EQ(queries(), 1);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
}

TEST_F(SyncNow, While_a_batch_runs_it_asks_once_after_it_however_often_it_was_wanted) {
    begin();
    desktop.client->on(QWRestRequest::LoadFile).delaysAnswer(20s);
    cloud.putRecord("Book!!!X.data", book("X"));
    supervisor().syncNow();
    pass(1);
    desktop.client->forgetRequests();
    for (int wish = 0; wish < 5; ++wish) {
        supervisor().syncNow();
        pass(1);
    }
    EXPECT_EQ(queries(), 0);
    EXPECT_FALSE(supervisor().isAtRest());
    pass(20);
    EXPECT_EQ(queries(), 1);
    EXPECT_TRUE(desktop.isIdle());
}

TEST_F(SyncNow, While_uploads_run_it_asks_after_them) {
    begin();
    desktop.client->on(QWRestRequest::Upload).delaysAnswer(20s);
    desktop.client->forgetRequests();
    desktop.add("Author", {{"name", "Ann"}});
    desktop.save();
    pass(1);
    supervisor().syncNow();
    pass(10);
    EXPECT_EQ(queries(), 0);
    pass(20);
    EXPECT_EQ(queries(), 1);
}

TEST_F(SyncNow, A_query_that_is_due_anyway_serves_as_well) {
    desktop.client->on(QWRestRequest::LoadMetadata).delaysAnswer(20s);
    desktop.activate();
    supervisor().syncNow();
    pass(10);
    supervisor().syncNow();
    pass(100);
    EXPECT_EQ(queries(), 1);
    EXPECT_TRUE(desktop.isIdle());
}

TEST_F(SyncNow, The_poll_that_comes_while_it_waits_serves_as_well) {
    begin();
    pass(300);
    desktop.add("Author", {{"name", "Ann"}});
    desktop.client->on(QWRestRequest::Upload).delaysAnswer(600s);
    desktop.save();
    pass(1);
    desktop.client->forgetRequests();
    supervisor().syncNow();
    pass(650);
    EXPECT_EQ(queries(), 1);
}

TEST_F(SyncNow, While_a_failed_request_waits_to_be_repeated_it_waits_too) {
    begin();
    desktop.client->on(QWRestRequest::Upload).first(1).answersWith(500);
    desktop.client->forgetRequests();
    desktop.add("Author", {{"name", "Ann"}});
    desktop.save();
    pass(1);
    supervisor().syncNow();
    pass(8);
    EXPECT_EQ(queries(), 0);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusUploading);
    pass(10);
    EXPECT_EQ(queries(), 1);
}

TEST_F(SyncNow, While_the_folder_is_not_found_it_waits_too) {
    desktop.client->on(QWRestRequest::LoadMetadata).first(2).answersWith(500);
    desktop.activate();
    pass(1);
    supervisor().syncNow();
    pass(25);
    EXPECT_EQ(queries(), 0);
    pass(10);
    EXPECT_EQ(queries(), 1);
}

TEST_F(SyncNow, An_upload_that_is_in_flight_through_a_batch_is_waited_for) {
    begin();
    pass(597);
    desktop.client->on(QWRestRequest::Upload).first(1).answersWith(500);
    desktop.client->forgetRequests();
    desktop.add("Author", {{"name", "Ann"}});
    desktop.save();
    desktop.client->on(QWRestRequest::LoadDelta).first(1).delaysAnswer(2s);
    pass(3);
    ASSERT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    supervisor().syncNow();
    pass(3);
    ASSERT_EQ(engine().numberOfObjectsSyncing(), 1);
    EXPECT_EQ(queries(), 1) << "the poll";
    pass(10);
    EXPECT_EQ(queries(), 2);
}

TEST_F(SyncNow, While_the_engine_is_inactive_it_does_nothing_then_or_later) {
    begin();
    engine().deactivateSync();
    desktop.client->forgetRequests();
    supervisor().syncNow();
    desktop.advance(24h);
    EXPECT_TRUE(desktop.client->requests().empty());
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusDisabled);
    desktop.activate();
    pass(60);
    EXPECT_EQ(queries(), 1);
}
