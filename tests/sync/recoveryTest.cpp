#include "support/EngineTest.h"

// What the cache store says after the process has died, or the host has discarded its changes.

namespace {

struct Recovery : EngineTest {
    Record book; // saved, and in the cloud with rev1

    Recovery() {
        book = desktop.add("Book", {{"title", "Old"}});
        book->setUuid("X");
        saveAndTurn();
        forgetQueue();
        engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
            metadata(dataFile(*book)));
        engine().saveCacheContext();
        pass(60);
        activateIdle();
    }

    qint64 entries() { return desktop.rows("JournalEntry"); }
    void die() {
        book.reset();
        desktop.crash();
        desktop.start();
        desktop.engine->saveCacheContext();
    }
    // The host edits without saving, and the engine sees it.
    void edit(const QString& title) {
        book->setValueForKey("title", title);
        desktop.context->processPendingChanges();
        turn();
    }
    QString knownRev(const QString& fileName = "Book!!!X.data") {
        const auto known = desktop.fileMetadata(fileName);
        return known ? known->rev() : "none";
    }
    QWRef<ObjectWaitingSync> row(const QString& uuid = "X") {
        return QWFindObjectWaitingSync(*engine().dropboxCacheManagedObjectContext(), uuid);
    }
};

} // namespace

// Uploads and deletions -------------------------------------------------------------------------------------

TEST_F(Recovery, A_clean_record_has_no_entry) {
    book->setValueForKey("title", "New");
    saveAndTurn();
    EXPECT_EQ(client->count(QWRestRequest::Upload), 1);
    EXPECT_EQ(entries(), 0);
}

TEST_F(Recovery, An_unsaved_record_has_an_entry_before_its_upload_is_sent) {
    edit("New");
    ASSERT_EQ(client->count(QWRestRequest::Upload), 1);
    EXPECT_EQ(entries(), 1);
    EXPECT_FALSE(engine().dropboxCacheManagedObjectContext()->hasChanges());
}

TEST_F(Recovery, Each_entry_is_saved_before_its_request_goes_out) {
    int asked = 0;
    client->isAsked = [&](const QWRestRequest& request) {
        ++asked;
        EXPECT_EQ(entries(), request.kind == QWRestRequest::Upload ? asked : 2);
        EXPECT_FALSE(engine().dropboxCacheManagedObjectContext()->hasChanges());
    };
    desktop.setImage(*book, "cover");
    edit("New");
    EXPECT_EQ(asked, 2);
    for (int index : {0, 1})
        uploaded(client->requests[index], "rev2");
    desktop.save();
    EXPECT_EQ(entries(), 0);
    desktop.context->deleteObject(*book);
    desktop.context->processPendingChanges();
    turn();
    EXPECT_EQ(asked, 4);
}

TEST_F(Recovery, An_acknowledged_upload_of_an_edit_that_died_unsaved_is_forgotten) {
    edit("New");
    uploaded(client->requests[0], "rev2");
    engine().metadataWithKey(QWDBMetadataCursorKey)->setValue("cursor-9");
    engine().saveCacheContext();
    EXPECT_FALSE(row());
    die();
    EXPECT_EQ(knownRev(), "rev1");
    ASSERT_TRUE(row());
    EXPECT_EQ(row()->action(), QWDropboxSyncActionInsertOrUpdate);
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    EXPECT_EQ(entries(), 0);
}

TEST_F(Recovery, A_host_that_opens_the_cache_file_before_the_engine_does_loses_no_entry) {
    edit("New");
    uploaded(client->requests[0], "rev2");
    book.reset();
    desktop.crash();
    {
        QWPersistentStoreCoordinator host(QWMakeDropboxCacheModel(), desktop.environment);
        ASSERT_TRUE(host.addStore(desktop.path("cache/DropboxCache.sqlite")));
    }
    desktop.start();
    EXPECT_EQ(knownRev(), "rev1");
}

TEST_F(Recovery, An_acknowledged_upload_of_an_insertion_that_died_unsaved_comes_back_from_the_cloud) {
    const auto fresh = desktop.add("Book", {{"title", "Fresh"}});
    fresh->setUuid("F");
    desktop.context->processPendingChanges();
    turn();
    uploaded(client->requests[0], "rev1");
    die();
    EXPECT_EQ(knownRev("Book!!!F.data"), "none");
    client->forget();
    engine().activateSyncWithDropboxRestClient(client);
    receive({changed("Book!!!F.data")});
    loaded(client->requests.back(), record("Fresh", "2026-01-01 00:01:00 +0000"));
    ASSERT_TRUE(desktop.find("F"));
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(Recovery, The_entry_goes_when_the_host_saves) {
    edit("New");
    desktop.save();
    EXPECT_EQ(entries(), 0);
    uploaded(client->requests[0], "rev2");
    die();
    EXPECT_EQ(knownRev(), "rev2");
    EXPECT_FALSE(row());
}

TEST_F(Recovery, The_state_before_the_first_of_several_uploads_is_kept) {
    edit("New");
    uploaded(client->requests[0], "rev2");
    edit("Newer");
    uploaded(client->requests[1], "rev3");
    EXPECT_EQ(entries(), 1);
    die();
    EXPECT_EQ(knownRev(), "rev1");
}

TEST_F(Recovery, An_image_has_an_entry_of_its_own) {
    desktop.setImage(*book, "cover");
    desktop.context->processPendingChanges();
    turn();
    EXPECT_EQ(client->count(QWRestRequest::Upload), 2);
    EXPECT_EQ(entries(), 2);
    uploaded(client->requests[0]);
    uploaded(client->requests[1]);
    die();
    EXPECT_EQ(knownRev("Book!!!X.image"), "none");
    EXPECT_EQ(knownRev(), "rev1");
}

TEST_F(Recovery, A_deletion_that_died_unsaved_is_forgotten_and_the_record_sent_again) {
    desktop.context->deleteObject(*book);
    desktop.context->processPendingChanges();
    turn();
    ASSERT_EQ(client->count(QWRestRequest::Delete), 2);
    EXPECT_EQ(entries(), 2);
    for (int index : {0, 1})
        engine().restClientDeletedPath(*client, client->requests[index].path);
    EXPECT_EQ(knownRev(), "none");
    die();
    EXPECT_TRUE(desktop.find("X"));
    EXPECT_EQ(knownRev(), "rev1");
    ASSERT_TRUE(row());
    EXPECT_EQ(row()->action(), QWDropboxSyncActionInsertOrUpdate);
}

TEST_F(Recovery, A_saved_deletion_has_no_entry) {
    desktop.context->deleteObject(*book);
    saveAndTurn();
    EXPECT_EQ(client->count(QWRestRequest::Delete), 2);
    EXPECT_EQ(entries(), 0);
    die();
    EXPECT_EQ(row()->action(), QWDropboxSyncActionDelete);
}

TEST_F(Recovery, A_deletion_that_was_queued_and_died_unsaved_is_not_sent) {
    engine().deactivateSync();
    desktop.context->deleteObject(*book);
    desktop.context->processPendingChanges();
    EXPECT_EQ(row()->action(), QWDropboxSyncActionDelete);
    die();
    EXPECT_EQ(row()->action(), QWDropboxSyncActionInsertOrUpdate);
}

TEST_F(Recovery, An_upload_acknowledged_for_a_record_that_has_gone_does_not_keep_its_revision) {
    const auto fresh = desktop.add("Book");
    fresh->setUuid("F");
    desktop.context->processPendingChanges();
    turn();
    desktop.context->rollback();
    uploaded(client->requests[0]);
    EXPECT_EQ(knownRev("Book!!!F.data"), "none");
    uploaded(client->requests[0]);
    EXPECT_EQ(knownRev("Book!!!F.data"), "none") << "nor does one whose row is not known";
}

TEST_F(Recovery, An_insertion_that_is_deleted_before_it_was_saved_keeps_no_entry) {
    const auto fresh = desktop.add("Book");
    desktop.context->processPendingChanges();
    turn();
    EXPECT_EQ(entries(), 1);
    desktop.context->deleteObject(*fresh);
    desktop.context->processPendingChanges();
    EXPECT_EQ(entries(), 0);
}

// Imports ---------------------------------------------------------------------------------------------------

TEST_F(Recovery, An_import_that_died_unsaved_is_forgotten_and_its_row_and_the_cursor_are_back) {
    engine().insertInSyncQueueManagedObject(*book, QWDropboxSyncActionInsertOrUpdate);
    receive({changed("Book!!!X.data", "rev2"), changed("Chapter!!!C.data")});
    loaded(client->requests[0], record("Received", "2026-06-01 00:00:00 +0000"), "rev2");
    EXPECT_EQ(entries(), 1);
    EXPECT_EQ(knownRev(), "rev2");
    EXPECT_FALSE(row());
    die();
    EXPECT_EQ(knownRev(), "rev1");
    EXPECT_TRUE(row());
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
}

TEST_F(Recovery, An_import_whose_batch_was_saved_has_no_entry) {
    receive({changed("Book!!!X.data", "rev2")});
    loaded(client->requests[0], record("Received", "2026-06-01 00:00:00 +0000"), "rev2");
    EXPECT_EQ(entries(), 0);
    die();
    EXPECT_EQ(knownRev(), "rev2");
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
}

TEST_F(Recovery, A_declined_import_has_no_entry) {
    const QWLogCapture log;
    receive({changed("Book!!!X.data", "rev2"), changed("Chapter!!!C.data")});
    loaded(client->requests[0], record("Received", "2020-01-01 00:00:00 +0000"), "rev2");
    EXPECT_EQ(entries(), 0);
}

TEST_F(Recovery, A_received_deletion_that_died_unsaved_is_received_again) {
    receive({deleted("Book!!!X.data"), changed("Chapter!!!C.data")});
    EXPECT_EQ(entries(), 1);
    die();
    EXPECT_TRUE(desktop.find("X"));
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    EXPECT_EQ(knownRev(), "rev1");
}

TEST_F(Recovery, The_image_of_a_record_that_died_unsaved_is_downloaded_again) {
    receive({changed("Book!!!N.data"), changed("Book!!!N.image"), changed("Chapter!!!C.data")});
    loaded(client->requests[0], record("New", "2026-06-01 00:00:00 +0000"));
    loaded(client->requests[2], "cover");
    EXPECT_EQ(entries(), 2);
    die();
    EXPECT_EQ(knownRev("Book!!!N.image"), "none");
    EXPECT_EQ(knownRev("Book!!!N.data"), "none");
}

TEST_F(Recovery, A_conflicted_copy_stays_in_the_cloud_until_what_was_merged_is_saved) {
    receive({changed("Book!!!X (Bob's conflicted copy).data"), changed("Chapter!!!C.data")});
    loaded(client->requests[0], record("Received", "2026-06-01 00:00:00 +0000"));
    EXPECT_EQ(client->count(QWRestRequest::Delete), 0);
    loaded(client->requests[1], R"({"heading":"C"})");
    EXPECT_EQ(client->count(QWRestRequest::Delete), 1);
    EXPECT_EQ(entries(), 0);
}

TEST_F(Recovery, A_version_of_the_hosts_that_beat_a_received_one_keeps_the_entry_until_it_is_saved) {
    receive({changed("Book!!!X.data", "rev2"), changed("Chapter!!!C.data")});
    loaded(client->requests[0], record("Received", "2026-01-01 00:00:30 +0000"), "rev2");
    book->setValueForKey("title", "Host's");
    loaded(client->requests[1], R"({"heading":"C"})");
    EXPECT_EQ(entries(), 1);
    desktop.save();
    EXPECT_EQ(entries(), 0);
}

// Discards --------------------------------------------------------------------------------------------------

TEST_F(Recovery, A_rollback_puts_back_what_an_upload_had_changed) {
    edit("New");
    uploaded(client->requests[0], "rev2");
    engine().metadataWithKey(QWDBMetadataCursorKey)->setValue("cursor-9");
    desktop.context->rollback();
    EXPECT_EQ(knownRev(), "rev2") << "not within the call";
    turn();
    EXPECT_EQ(knownRev(), "rev1");
    EXPECT_EQ(entries(), 0);
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    EXPECT_EQ(client->requests.back().parentRev, "rev1") << "the row that is back is sent";
    engine().loadDeltaPotentialUpdates();
    EXPECT_EQ(client->requests.back().cursor, "cursor-0");
}

TEST_F(Recovery, A_refresh_without_merging_does_so_for_its_record_alone) {
    const auto other = desktop.add("Author");
    desktop.context->processPendingChanges();
    turn();
    edit("New");
    for (int index : {0, 1})
        uploaded(client->requests[index], "rev2");
    EXPECT_EQ(entries(), 2);
    desktop.context->refreshObject(*book, false);
    turn();
    EXPECT_EQ(knownRev(), "rev1");
    EXPECT_EQ(knownRev(dataFile(*other)), "rev2") << "it is unsaved still";
    EXPECT_EQ(entries(), 1);
}

// What the first rollback has the cloud list again, the second one must not pass over.
TEST_F(Recovery, A_second_rollback_leaves_the_cursor_where_the_first_one_has_put_it) {
    edit("New");
    uploaded(client->requests[0], "rev2");
    engine().metadataWithKey(QWDBMetadataCursorKey)->setValue("cursor-9");
    desktop.add("Author");
    desktop.context->processPendingChanges();
    turn();
    uploaded(client->requests[1]);
    desktop.context->refreshObject(*book, false);
    turn();
    ASSERT_EQ(desktop.savedCursor(), "cursor-0");
    uploaded(client->requests.back());
    desktop.context->rollback();
    turn();
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    EXPECT_EQ(entries(), 0);
}

TEST_F(Recovery, It_waits_for_requests_in_flight) {
    edit("New");
    uploaded(client->requests[0], "rev2");
    desktop.add("Author");
    desktop.context->processPendingChanges();
    turn();
    desktop.context->rollback();
    turn();
    EXPECT_EQ(knownRev(), "rev2");
    uploaded(client->requests[1]);
    EXPECT_EQ(knownRev(), "rev1");
}

TEST_F(Recovery, It_waits_for_the_end_of_a_running_batch) {
    edit("New");
    uploaded(client->requests[0], "rev2");
    client->forget();
    receive({changed("Chapter!!!C.data")});
    desktop.context->rollback();
    turn();
    EXPECT_EQ(knownRev(), "rev2");
    loaded(client->requests[0], R"({"heading":"C"})");
    EXPECT_EQ(knownRev(), "rev1");
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
}

TEST_F(Recovery, It_waits_for_the_answer_to_a_query) {
    edit("New");
    uploaded(client->requests[0], "rev2");
    engine().loadDeltaPotentialUpdates();
    desktop.context->rollback();
    turn();
    EXPECT_EQ(knownRev(), "rev2");
    engine().restClientLoadedDeltaEntries(*client, {}, false, "cursor-1", false);
    EXPECT_EQ(knownRev(), "rev1");
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
}

TEST_F(Recovery, An_object_whose_unsaved_deletion_lost_its_row_to_a_full_re_upload_is_sent_after_a_crash) {
    engine().deactivateSync();
    desktop.context->deleteObject(*book);
    desktop.context->processPendingChanges();
    engine().resetSyncAndUploadAllItems();
    ASSERT_FALSE(row());
    die();
    ASSERT_TRUE(row());
    EXPECT_EQ(row()->action(), QWDropboxSyncActionInsertOrUpdate);
}

TEST_F(Recovery, A_deletion_that_is_rolled_back_sends_the_record_and_its_image_again) {
    desktop.setImage(*book, "cover");
    saveAndTurn();
    uploaded(client->requests[0]);
    uploaded(client->requests[1], "rev2");
    client->forget();
    desktop.context->deleteObject(*book);
    desktop.context->processPendingChanges();
    turn();
    for (int index : {0, 1})
        engine().restClientDeletedPath(*client, client->requests[index].path);
    client->forget();
    desktop.context->rollback();
    turn();
    EXPECT_EQ(client->log(),
              QStringList({"upload " + remote("Book!!!X.image"), "upload " + remote("Book!!!X.data")}));
    EXPECT_EQ(client->requests[1].parentRev, "rev2");
}
