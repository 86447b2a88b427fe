#include "support/EngineTest.h"

namespace {

struct FullReupload : EngineTest {
    FullReupload() { activateIdle(); }

    void know(const QString& fileName) {
        engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(metadata(fileName));
    }
};

} // namespace

TEST_F(FullReupload, It_forgets_revisions_and_queues_every_object_without_touching_its_date) {
    const auto book = desktop.add("Book"), author = desktop.add("Author");
    saveAndTurn();
    forgetQueue();
    engine().deactivateSync();
    pass(60);
    const QDateTime date = book->dateModified();
    know("Book!!!X.data");

    engine().resetSyncAndUploadAllItems();
    EXPECT_EQ(desktop.rows(QWDBEntityNameFileMetadata), 0);
    ASSERT_TRUE(desktop.row(*book));
    EXPECT_EQ(desktop.row(*book)->action(), QWDropboxSyncActionInsertOrUpdate);
    EXPECT_TRUE(desktop.row(*author));
    EXPECT_EQ(book->dateModified(), date);
    EXPECT_FALSE(engine().dropboxCacheManagedObjectContext()->hasChanges());
}

TEST_F(FullReupload, A_deletion_that_waited_leaves_nothing_behind) {
    const auto book = desktop.add("Book"), author = desktop.add("Author");
    saveAndTurn();
    forgetQueue();
    engine().deactivateSync();
    desktop.context->deleteObject(*book);
    saveAndTurn();
    engine().resetSyncAndUploadAllItems();
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 1);
    EXPECT_TRUE(desktop.row(*author));
}

TEST_F(FullReupload, An_object_that_stands_and_whose_deletion_waits_is_sent) {
    const auto author = desktop.add("Author");
    saveAndTurn();
    engine().deactivateSync();
    engine().insertInSyncQueueManagedObject(*author, QWDropboxSyncActionDelete);
    const auto row = desktop.row(*author);
    engine().resetSyncAndUploadAllItems();
    EXPECT_EQ(desktop.row(*author), row);
    EXPECT_EQ(row->action(), QWDropboxSyncActionInsertOrUpdate);
}

TEST_F(FullReupload, Objects_of_entities_that_are_not_listed_and_objects_without_uuid_get_no_row) {
    desktop.wantsUpdate = [](auto&) { return false; };
    desktop.add("BookAuthor");
    desktop.add("Book")->setUuid("");
    saveAndTurn();
    forgetQueue();
    engine().resetSyncAndUploadAllItems();
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(FullReupload, Rows_in_flight_stay_in_flight) {
    const auto author = desktop.add("Author");
    saveAndTurn();
    engine().resetSyncAndUploadAllItems();
    EXPECT_EQ(probe().rowInFlight(author->uuid()), desktop.row(*author));
    uploaded(client->requests[0]);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(FullReupload, A_deletion_in_flight_is_given_up_in_the_store_and_finishes_in_flight) {
    const auto author = desktop.add("Author");
    saveAndTurn();
    uploaded(client->requests[0]);
    desktop.context->deleteObject(*author);
    saveAndTurn();
    engine().resetSyncAndUploadAllItems();
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
    EXPECT_EQ(engine().numberOfObjectsSyncing(), 1);
    const auto other = desktop.add("Author");
    saveAndTurn();
    EXPECT_EQ(client->count(QWRestRequest::Upload), 2) << "a row that has gone hides none that waits";
    engine().restClientDeletedPath(*client, client->requests[1].path);
    EXPECT_EQ(engine().numberOfObjectsSyncing(), 1);
}

TEST_F(FullReupload, Objects_are_queued_entity_by_entity_in_order_of_dependency) {
    const auto chapter = desktop.add("Chapter"), book = desktop.add("Book"), author = desktop.add("Author");
    saveAndTurn();
    forgetQueue();
    engine().deactivateSync();
    activateIdle();
    engine().resetSyncAndUploadAllItems();
    engine().beginSyncOfObjectsWaitingSync();
    EXPECT_EQ(client->log(),
              QStringList({"upload " + remote(dataFile(*author)), "upload " + remote(dataFile(*book)),
                           "upload " + remote(dataFile(*chapter))}));
}

TEST_F(FullReupload, What_the_running_batch_has_received_is_queued_when_it_is_saved) {
    receive({changed("Author!!!A.data"), changed("Book!!!X.data")});
    const auto second = client->requests[1];
    loaded(client->requests[0], R"({"name":"Received"})");
    receive({DBMakeDeltaEntry("/synccache.dbsync")});
    ASSERT_TRUE(desktop.find("A", "Author"));
    EXPECT_EQ(client->requests.back().path, remote("Author!!!A.data"));
    EXPECT_EQ(client->requests.back().kind, QWRestRequest::Upload);
}

TEST_F(FullReupload, A_download_that_arrives_after_it_starts_no_query) {
    receive({changed("Book!!!X.data"), changed("Book!!!Y.data")});
    const auto requests = client->requests;
    engine().restClientLoadFileFailedWithError(*client, failure(404, info(requests[0])));
    engine().resetSyncAndUploadAllItems();
    client->forget();
    loaded(requests[1], record("T", "2026-01-01 00:00:00 +0000"));
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(FullReupload, A_missing_folder_at_activation_uploads_everything_without_a_parent_revision) {
    const auto author = desktop.add("Author");
    saveAndTurn();
    uploaded(client->requests[0]);
    engine().tokenBecameInvalid();
    client->forget();
    engine().activateSyncWithDropboxRestClient(client);
    engine().restClientLoadMetadataFailedWithError(*client, failure(404, {{"path", "/synccache.dbsync"}}));
    EXPECT_FALSE(defaults().boolean(QWDBLastTimeTokenExpiredPrefKey));
    ASSERT_EQ(client->log(), QStringList({"metadata /SyncCache.dbSync", "metadata /PreferencesSync.data",
                                          "upload " + remote(dataFile(*author))}));
    EXPECT_EQ(client->requests[2].parentRev, QString());
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusUploading);
}

TEST_F(FullReupload, A_lookup_of_the_folder_that_fails_otherwise_does_nothing) {
    engine().tokenBecameInvalid();
    engine().activateSyncWithDropboxRestClient(client);
    client->forget();
    engine().restClientLoadMetadataFailedWithError(*client, failure(500, {{"path", "/SyncCache.dbSync"}}));
    engine().restClientLoadMetadataFailedWithError(*client,
                                                   failure(404, {{"path", "/PreferencesSync.data"}}));
    DBMetadata other;
    other.path = "/PreferencesSync.data";
    engine().restClientLoadedMetadata(*client, other);
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    EXPECT_TRUE(defaults().boolean(QWDBLastTimeTokenExpiredPrefKey));
    engine().restClientLoadMetadataFailedWithError(*client, failure(401, {{"path", "/SyncCache.dbSync"}}));
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusTokenInvalid);
}

TEST_F(FullReupload, A_deletion_of_the_folder_in_a_delta_drops_the_other_entries_and_uploads_everything) {
    const auto author = desktop.add("Author");
    saveAndTurn();
    uploaded(client->requests[0]);
    client->forget();
    receive({DBMakeDeltaEntry("/synccache.dbsync"), changed("Book!!!X.data"), deleted(dataFile(*author))});
    EXPECT_EQ(client->log(), QStringList{"upload " + remote(dataFile(*author))});
    EXPECT_TRUE(desktop.find(author->uuid(), "Author"));
    EXPECT_TRUE(engine().deltaEntriesToImport().isEmpty());
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusUploading);
}
