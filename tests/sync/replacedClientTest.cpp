#include "support/EngineTest.h"

namespace {

struct ReplacedClient : EngineTest {
    std::shared_ptr<SilentClient> second = std::make_shared<SilentClient>();

    // A query is out when the token is refused; the user signs in again.
    void replace() {
        activateIdle();
        engine().loadDeltaPotentialUpdates();
        engine().tokenBecameInvalid();
        defaults().setBoolean(QWDBLastTimeTokenExpiredPrefKey, false);
        engine().activateSyncWithDropboxRestClient(second);
    }
};

} // namespace

TEST_F(ReplacedClient, The_cursor_of_its_first_page_is_saved) {
    replace();
    EXPECT_EQ(second->log(), QStringList{"delta"});
    engine().restClientLoadedDeltaEntries(*second, {}, false, "cursor-9", false);
    EXPECT_EQ(desktop.savedCursor(), "cursor-9");
}

TEST_F(ReplacedClient, A_listing_from_scratch_completes) {
    const auto author = desktop.add("Author");
    author->setUuid("GONE");
    desktop.save();
    replace();
    forgetQueue();
    engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
        metadata("Author!!!GONE.data"));
    DBMetadata folder;
    folder.path = "/SyncCache.dbSync";
    folder.isDirectory = true;
    engine().restClientLoadedDeltaEntries(*second, {DBMakeDeltaEntry("/synccache.dbsync", folder)}, true,
                                          "cursor-9", false);
    EXPECT_FALSE(desktop.find("GONE", "Author"));
}

TEST_F(ReplacedClient, The_one_before_reports_no_more) {
    replace();
    EXPECT_EQ(client->delegate(), nullptr);
    EXPECT_EQ(second->delegate(), &engine());
}

TEST_F(ReplacedClient, What_was_in_flight_without_a_deactivation_is_sent_by_the_new_one) {
    activateIdle();
    const auto author = desktop.add("Author");
    saveAndTurn();
    engine().activateSyncWithDropboxRestClient(second);
    engine().restClientLoadedDeltaEntries(*second, {}, false, "cursor-9", false);
    EXPECT_EQ(second->log(), QStringList({"delta", "upload " + remote(dataFile(*author))}));
}

TEST_F(ReplacedClient, What_was_being_downloaded_without_a_deactivation_is_loaded_by_the_new_one) {
    activateIdle();
    receive({changed("Author!!!A.data")});
    engine().activateSyncWithDropboxRestClient(second);
    EXPECT_EQ(second->requests[0].cursor, "cursor-0");
    engine().restClientLoadedDeltaEntries(*second, {changed("Author!!!A.data")}, false, "cursor-9", false);
    EXPECT_EQ(second->log(), QStringList({"delta", "load " + remote("Author!!!A.data")}));
}

// A query given up by a deactivation ------------------------------------------------------------------------

TEST_F(ReplacedClient, A_page_of_a_query_given_up_saves_no_cursor_also_after_a_newer_query_failed) {
    activateIdle();
    engine().loadDeltaPotentialUpdates();
    engine().restClientLoadedDeltaEntries(*client, {changed("Author!!!A.data")}, false, "cursor-1", true);
    engine().deactivateSync();
    engine().activateSyncWithDropboxRestClient(client);
    const QWLogCapture log;
    engine().restClientLoadDeltaFailedWithError(*client, failure(500));
    engine().restClientLoadedDeltaEntries(*client, {}, false, "cursor-2", false);
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    pass(10);
    EXPECT_EQ(client->requests.back().cursor, "cursor-0");
    engine().restClientLoadedDeltaEntries(*client, {}, false, "cursor-3", false);
    EXPECT_EQ(desktop.savedCursor(), "cursor-3");
}

TEST_F(ReplacedClient, A_page_of_a_query_given_up_saves_no_cursor_also_when_a_newer_query_is_answered_first) {
    activateIdle();
    engine().loadDeltaPotentialUpdates();
    engine().restClientLoadedDeltaEntries(*client, {changed("Author!!!A.data")}, false, "cursor-5", true);
    engine().deactivateSync();
    engine().activateSyncWithDropboxRestClient(client);
    engine().restClientLoadedDeltaEntries(*client, {}, false, "cursor-1", true);
    EXPECT_EQ(client->requests.back().cursor, "cursor-1") << "its pages are followed";
    engine().restClientLoadedDeltaEntries(*client, {}, false, "cursor-6", false);
    EXPECT_EQ(desktop.savedCursor(), "cursor-0") << "what stands before is dropped or still to come";

    const QWLogCapture log;
    engine().restClientLoadDeltaFailedWithError(*client, failure(500));
    client->forget();
    pass(10);
    ASSERT_EQ(client->log(), QStringList{"delta"});
    EXPECT_EQ(client->requests[0].cursor, "cursor-0");
    engine().restClientLoadedDeltaEntries(*client, {}, false, "cursor-7", false);
    EXPECT_EQ(desktop.savedCursor(), "cursor-7");
}

TEST_F(ReplacedClient, A_page_of_a_query_given_up_completes_no_listing_of_a_newer_query) {
    for (const QString uuid : {"A", "B"}) {
        desktop.add("Author")->setUuid(uuid);
        engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
            metadata("Author!!!" + uuid + ".data"));
    }
    saveAndTurn();
    forgetQueue();
    activateIdle();
    const auto listed = changed("Author!!!B.data");
    engine().loadDeltaPotentialUpdates();
    engine().restClientLoadedDeltaEntries(*client, {listed}, true, "cursor-1", true);
    engine().deactivateSync();
    engine().activateSyncWithDropboxRestClient(client);
    engine().restClientLoadedDeltaEntries(*client, {listed}, true, "cursor-1", true);
    const QWLogCapture log;
    engine().restClientLoadDeltaFailedWithError(*client, failure(500));
    engine().restClientLoadedDeltaEntries(*client, {}, false, "cursor-3", false);
    EXPECT_TRUE(desktop.find("A", "Author")) << "it stands on the page that failed";

    client->forget();
    pass(10);
    ASSERT_EQ(client->log(), QStringList{"delta"});
    engine().restClientLoadedDeltaEntries(*client, {}, false, "cursor-4", false);
    EXPECT_TRUE(desktop.find("A", "Author")) << "no page before counts any more";
    EXPECT_EQ(desktop.savedCursor(), "cursor-4");

    DBMetadata folder;
    folder.path = "/SyncCache.dbSync";
    folder.isDirectory = true;
    engine().loadDeltaPotentialUpdates();
    engine().restClientLoadedDeltaEntries(*client, {DBMakeDeltaEntry("/synccache.dbsync", folder)}, true,
                                          "cursor-5", false);
    EXPECT_FALSE(desktop.find("A", "Author")) << "a listing asked for since completes";
    EXPECT_FALSE(desktop.find("B", "Author")) << "it knows nothing of the pages before";
}
