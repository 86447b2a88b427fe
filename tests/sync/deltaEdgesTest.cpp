#include "support/EngineTest.h"
#include "support/FullDisk.h"

// Batches of an unusual kind, and what ends them.

namespace {

struct DeltaEdges : EngineTest {
    DeltaEdges() { activateIdle(); }

    void know(const DBMetadata& file) {
        engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(file);
    }
    // Records that the host has, and none of which waits.
    void saveBooks(const QStringList& uuids) {
        engine().deactivateSync();
        for (const QString& uuid : uuids)
            desktop.add("Book")->setUuid(uuid);
        saveAndTurn();
        forgetQueue();
        activateIdle();
    }
    qint64 books() { return desktop.context->count(QWFetchRequest("Book")).value(); }
};

} // namespace

TEST_F(DeltaEdges, Deletions_alone_are_applied_in_one_pass_without_a_request) {
    QStringList uuids;
    QList<DBDeltaEntryRef> deletions;
    for (int index = 0; index < 12; ++index) {
        uuids.append(QStringLiteral("B%1").arg(index));
        deletions.append(deleted("Book!!!" + uuids.last() + ".data"));
        know(metadata("Book!!!" + uuids.last() + ".data"));
    }
    saveBooks(uuids);
    ASSERT_EQ(books(), 12);
    receive(deletions);
    EXPECT_EQ(books(), 0);
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(DeltaEdges, The_preferences_file_does_not_count_as_a_file_that_a_reset_listing_lacks) {
    saveBooks({"X"});
    DBMetadata preferences = metadata("x");
    preferences.path = "/PreferencesSync.data";
    know(preferences);
    engine().loadDeltaPotentialUpdates();
    client->forget();
    engine().restClientLoadedDeltaEntries(*client, {}, true, "cursor-1", false);
    EXPECT_TRUE(desktop.fileMetadata("PreferencesSync.data"));
    EXPECT_EQ(books(), 1);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0) << "the folder was not deleted";
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
}

TEST_F(DeltaEdges, A_reset_listing_that_is_interrupted_by_a_deactivation_tells_of_no_deletion) {
    saveBooks({"X"});
    know(metadata("Book!!!X.data"));
    engine().loadDeltaPotentialUpdates();
    engine().restClientLoadedDeltaEntries(*client, {changed("Author!!!A.data")}, true, "cursor-1", true);
    engine().deactivateSync();
    engine().restClientLoadedDeltaEntries(*client, {changed("Author!!!B.data")}, false, "cursor-2", false);
    loaded(client->requests.back(), R"({"name":"B"})");
    EXPECT_TRUE(desktop.find("B", "Author"));
    EXPECT_TRUE(desktop.find("X"));
}

TEST_F(DeltaEdges, A_record_made_for_an_image_is_as_long_as_the_image_in_a_reset_listing) {
    receive({changed("Book!!!X.image")});
    loaded(client->requests[0], "cover");
    ASSERT_TRUE(desktop.find("X"));
    for (const bool hasImage : {true, false}) {
        QList<DBDeltaEntryRef> listing{changed("Author!!!A.data")};
        if (hasImage)
            listing.append(changed("Book!!!X.IMAGE"));
        engine().loadDeltaPotentialUpdates();
        client->forget();
        engine().restClientLoadedDeltaEntries(*client, listing, true, "cursor-2", false);
        for (const auto& request : std::exchange(client->requests, {}))
            loaded(request, R"({"name":"A"})");
        EXPECT_EQ(desktop.find("X") != nullptr, hasImage);
    }
}

TEST_F(DeltaEdges, A_vanished_file_that_nobody_waits_for_ends_the_batch_with_another_query) {
    engine().syncSupportManagedObjectContextCopy()->insertObject("Author");
    engine().metadataWithKey(QWDBMetadataCursorKey)->setValue("older");
    const std::size_t timers = probe().scheduledTimers();
    engine().restClientLoadFileFailedWithError(
        *client,
        failure(404, {{"path", remote("Book!!!X.data")}, {"destinationPath", desktop.path("x.data")}}));
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    ASSERT_EQ(client->log(), QStringList{"delta"});
    EXPECT_EQ(client->requests[0].cursor, "cursor-0");
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    EXPECT_EQ(probe().scheduledTimers(), timers);
    EXPECT_TRUE(probe().hasSyncSupportContext()) << "the next batch goes on with it";

    engine().restClientLoadedDeltaEntries(*client, {}, false, "cursor-1", false);
    EXPECT_EQ(desktop.context->count(QWFetchRequest("Author")), 1);
    EXPECT_EQ(client->log(), QStringList{"delta"}) << "once only";
    EXPECT_EQ(probe().scheduledTimers(), timers + 1);
}

TEST_F(DeltaEdges, A_batch_that_a_vanished_file_holds_open_is_given_up_by_a_full_upload) {
    receive({changed("Book!!!X.data")});
    const auto request = client->requests[0];
    client->forget();
    engine().restClientLoadFileFailedWithError(*client, failure(404, info(request)));
    ASSERT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    ASSERT_EQ(desktop.savedCursor(), "cursor-0");

    engine().resetSyncAndUploadAllItems();
    EXPECT_EQ(probe().entriesInProcess(), 0);
    receive({}, "cursor-2");
    EXPECT_EQ(desktop.savedCursor(), "cursor-2");
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    EXPECT_EQ(client->log(), QStringList());
}

TEST_F(DeltaEdges, A_conflicted_copy_of_an_image_is_taken_like_any_image) {
    saveBooks({"X"});
    const QString copy = "Book!!!X (Bob's conflicted copy).image";
    receive({changed(copy)});
    ASSERT_EQ(client->count(QWRestRequest::LoadFile), 1);
    loaded(client->requests[0], "copy");
    const auto book = desktop.find("X");
    EXPECT_EQ(desktop.image(*book), "copy");
    EXPECT_EQ(desktop.world.files->modificationDate(book->imageURL().toLocalFile()),
              metadata("x").lastModifiedDate);
    EXPECT_TRUE(desktop.fileMetadata(copy));
    EXPECT_FALSE(desktop.fileMetadata(imageFile(*book)));
    EXPECT_EQ(client->count(QWRestRequest::Delete), 0);
    EXPECT_FALSE(desktop.row(*book));
    EXPECT_EQ(books(), 1);
}

TEST_F(DeltaEdges, Each_finished_batch_sets_a_poll_of_its_own) {
    receive({});
    pass(600);
    EXPECT_EQ(client->log(), QStringList({"delta", "delta"}));
}

TEST_F(DeltaEdges, A_path_that_begins_like_the_folder_is_judged_as_one_under_it) {
    DBMetadata file = metadata("x");
    file.path = "/SyncCache.dbSyncX/Book!!!X.data";
    const auto entry = DBMakeDeltaEntry(file.path.toLower(), file);
    auto& manager = engine().fileMetadataManager();
    EXPECT_TRUE(manager.isUsefullImportOfDropboxDeltaEntry(*entry));
    EXPECT_EQ(entry->specialAction, SpecialActionNone);
    know(file);
    EXPECT_FALSE(manager.isUsefullImportOfDropboxDeltaEntry(*entry)) << "its revision is known now";
}

TEST_F(DeltaEdges, The_repetition_of_a_download_does_not_look_at_the_status) {
    receive({changed("Book!!!X.data")});
    const auto request = client->requests[0];
    client->forget();
    const QWLogCapture log;
    engine().restClientLoadFileFailedWithError(*client, failure(500, info(request)));
    engine().deactivateSync();
    pass(10);
    ASSERT_EQ(client->log(), QStringList{"load " + request.path});
    EXPECT_EQ(client->requests[0].localPath, request.localPath);
}

TEST_F(DeltaEdges, A_record_that_a_full_disk_refuses_is_loaded_again_until_there_is_space) {
    const auto disk = std::make_shared<FullDisk>();
    desktop.crash();
    desktop.world.files = disk;
    desktop.start();
    const QString cursor = desktop.savedCursor();
    cloud.putRecord("Book!!!X.data", {{"title", "Remote"}, {"dateModified", "2026-01-01 00:00:00 +0000"}});
    {
        const QWLogCapture log;
        desktop.activate();
        pass(35);
        EXPECT_EQ(log.texts("qwlibrary.sync").size(), 4);
    }
    EXPECT_EQ(desktop.client->requests(QWRestRequest::LoadFile).size(), 4u);
    EXPECT_EQ(desktop.savedCursor(), cursor);
    EXPECT_EQ(books(), 0);

    disk->isFull = false;
    pass(10);
    EXPECT_EQ(desktop.client->requests(QWRestRequest::LoadFile).size(), 5u);
    ASSERT_TRUE(desktop.find("X"));
    EXPECT_EQ(desktop.find("X")->valueForKey("title"), "Remote");
    EXPECT_NE(desktop.savedCursor(), cursor);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}
