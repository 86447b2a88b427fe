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
    EXPECT_EQ(probe().deltaNextCursor(), "cursor-0");
    receive({}, "cursor-3");
    EXPECT_EQ(desktop.savedCursor(), "cursor-3");
}
