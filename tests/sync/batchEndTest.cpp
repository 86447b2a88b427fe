#include "store/FaultyDisk.h"
#include "support/EngineTest.h"
#include "support/LockedStore.h"

// What a batch leaves in the books file by file, and when its save fails.

namespace {

struct BatchEnd : EngineTest {
    Record book; // saved, known with rev1 and not waiting

    BatchEnd() {
        book = desktop.add("Book", {{"title", "Local"}});
        book->setUuid("X");
        saveAndTurn();
        forgetQueue();
        know("Book!!!X.data");
        engine().saveCacheContext();
        activateIdle();
    }

    void know(const QString& fileName) {
        engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(metadata(fileName));
    }
    bool isCacheSaved() { return !engine().dropboxCacheManagedObjectContext()->hasChanges(); }
    const QString later = "2026-06-01 00:00:00 +0000";
    const QString copy = "Book!!!X (Bob's conflicted copy).data";
};

} // namespace

TEST_F(BatchEnd, The_books_are_saved_after_every_download_and_every_deletion) {
    know("Chapter!!!C.data");
    receive({changed("Author!!!A.data"), changed("Book!!!X.data", "rev2"), changed("Book!!!Y.image")});
    loaded(client->requests[1], record("Received", later), "rev2");
    EXPECT_TRUE(isCacheSaved());
    loaded(client->requests[2], "cover");
    EXPECT_TRUE(isCacheSaved());

    receive({deleted("Book!!!X.data"), changed("Author!!!B.data")});
    EXPECT_TRUE(desktop.find("X")) << "the batch runs still";
    EXPECT_TRUE(isCacheSaved());
}

TEST_F(BatchEnd, An_image_has_an_entry_in_the_journal_when_its_record_is_unsaved_and_only_then) {
    receive({changed("Book!!!X.data", "rev2"), changed("Book!!!X.image"), changed("Book!!!Y.image"),
             changed("Chapter!!!LAST.data")});
    const auto requests = client->requests;
    const auto load = [&](const QString& fileName, const QByteArray& bytes) {
        for (const auto& request : requests)
            if (request.path == remote(fileName))
                loaded(request, bytes, fileName == "Book!!!X.data" ? "rev2" : "rev1");
    };
    const auto entries = [this] { return desktop.rows("JournalEntry"); };
    load("Book!!!X.image", "cover");
    EXPECT_EQ(entries(), 0) << "the record is as it was saved";
    load("Book!!!Y.image", "cover");
    EXPECT_EQ(entries(), 1) << "made for the image";
    load("Book!!!X.data", record("Received", later));
    EXPECT_EQ(entries(), 2);
    receive({changed("Book!!!X.image", "rev2")});
    loaded(client->requests.back(), "other cover", "rev2");
    EXPECT_EQ(entries(), 3) << "of a record with a received version";
}

TEST_F(BatchEnd, An_image_that_comes_for_a_deleted_record_of_an_entity_without_images_is_deleted_too) {
    const auto author = desktop.add("Author");
    author->setUuid("A");
    saveAndTurn();
    uploaded(client->requests[0]);
    client->forget();
    receive({changed("Author!!!A.image")});
    desktop.context->deleteObject(*author);
    saveAndTurn();
    loaded(client->requests[0], "portrait");
    EXPECT_EQ(client->log().mid(1),
              QStringList({"delete " + remote("Author!!!A.data"), "delete " + remote("Author!!!A.image")}));
}

TEST_F(BatchEnd, A_download_with_the_extension_of_records_in_capitals_is_a_record) {
    receive({changed("Author!!!A.data")});
    auto request = client->requests[0];
    request.localPath = desktop.path("cache/download.DATA");
    loaded(request, R"({"name":"Ann"})");
    ASSERT_TRUE(desktop.find("A", "Author"));
    EXPECT_EQ(desktop.find("A", "Author")->valueForKey("name"), "Ann");
}

TEST_F(BatchEnd, A_deletion_of_a_record_that_was_sent_and_not_saved_takes_its_image_and_its_journal_along) {
    const auto fresh = desktop.add("Book");
    fresh->setUuid("N");
    desktop.setImage(*fresh, "cover");
    desktop.context->processPendingChanges();
    turn();
    for (const auto& request : std::exchange(client->requests, {}))
        uploaded(request);
    const QString file = fresh->imageURL().toLocalFile();
    ASSERT_TRUE(desktop.world.files->exists(file));
    ASSERT_EQ(desktop.rows("JournalEntry"), 2);
    receive({deleted("Book!!!N.data"), changed("Author!!!A.data")});
    EXPECT_FALSE(desktop.find("N"));
    EXPECT_FALSE(desktop.world.files->exists(file));
    EXPECT_EQ(desktop.rows("JournalEntry"), 0);
}

TEST_F(BatchEnd, A_deletion_that_comes_twice_reaches_the_host_with_its_batch_too) {
    receive({deleted("Book!!!X.data"), deleted("Book!!!X.data"), changed("Chapter!!!C.data")});
    EXPECT_TRUE(desktop.find("X"));
    loaded(client->requests[0], R"({"heading":"C"})");
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_EQ(client->count(QWRestRequest::Delete), 0);
}

TEST_F(BatchEnd, A_deletion_forgets_a_file_that_is_called_like_the_record_file_without_its_extension) {
    know("Book!!!X");
    receive({deleted("Book!!!X.data")});
    EXPECT_FALSE(desktop.fileMetadata("Book!!!X"));
    EXPECT_TRUE(desktop.fileMetadata("Book!!!X.data"));
}

TEST_F(BatchEnd, An_entry_that_is_finished_has_no_special_action) {
    const auto merged = changed(copy), last = changed("Author!!!A.data");
    receive({merged, last});
    EXPECT_EQ(merged->specialAction, SpecialActionConflictedCopy);
    loaded(client->requests[1], record("Received", later));
    EXPECT_EQ(merged->specialAction, SpecialActionNone);
}

TEST_F(BatchEnd, What_was_discarded_meanwhile_is_put_back_before_anything_is_sent) {
    book->setValueForKey("title", "Unsaved");
    desktop.context->processPendingChanges();
    turn();
    uploaded(client->requests[0], "rev2");
    client->forget();
    receive({changed("Author!!!A.data")});
    desktop.context->rollback();
    const auto chapter = desktop.add("Chapter");
    saveAndTurn();
    EXPECT_EQ(desktop.fileMetadata("Book!!!X.data")->rev(), "rev2");
    loaded(client->requests[0], R"({"name":"A"})");
    EXPECT_EQ(client->requests.back().kind, QWRestRequest::Upload);
    EXPECT_EQ(desktop.fileMetadata("Book!!!X.data")->rev(), "rev1");
}

TEST_F(BatchEnd, A_batch_that_cannot_be_saved_is_shown_and_received_again) {
    const auto receiveBatch = [this] {
        client->forget();
        receive({changed("Author!!!A.data"), changed(copy)});
        ASSERT_EQ(client->count(QWRestRequest::LoadFile), 2);
        loaded(client->requests[0], R"({"name":"A"})");
        loaded(client->requests[1], record("Received", later));
    };
    {
        const LockedStore other(desktop.path("library.sqlite"));
        receiveBatch();
    }
    EXPECT_EQ(desktop.world.errorPresenter->errors().size(), 1u);
    EXPECT_FALSE(probe().hasSyncSupportContext());
    EXPECT_FALSE(desktop.find("A", "Author"));
    EXPECT_EQ(book->valueForKey("title"), "Local");
    EXPECT_EQ(client->count(QWRestRequest::Delete), 0) << "the copy's version stands nowhere else";
    EXPECT_FALSE(desktop.fileMetadata("Author!!!A.data"));
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    EXPECT_EQ(probe().deltaNextCursor(), "cursor-0");

    receiveBatch();
    EXPECT_TRUE(desktop.find("A", "Author"));
    EXPECT_EQ(book->valueForKey("title"), "Received");
    EXPECT_EQ(client->count(QWRestRequest::Delete), 1);
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
}

TEST_F(BatchEnd, What_a_batch_that_could_not_be_saved_has_received_is_the_hosts_again) {
    {
        const LockedStore other(desktop.path("library.sqlite"));
        receive({changed("Author!!!A.data")});
        loaded(client->requests[0], R"({"name":"A"})");
    }
    desktop.add("Author")->setUuid("A");
    desktop.context->processPendingChanges();
    turn();
    EXPECT_EQ(desktop.rows("JournalEntry"), 1);
    desktop.save();
    EXPECT_EQ(desktop.rows("JournalEntry"), 0);
}

TEST_F(BatchEnd, A_batch_that_cannot_be_saved_comes_again_though_the_host_holds_its_record_unsaved) {
    book->setValueForKey("title", "Host's");
    desktop.context->processPendingChanges();
    turn();
    uploaded(client->requests[0], "rev2");
    client->forget();
    {
        const LockedStore other(desktop.path("library.sqlite"));
        receive({changed("Book!!!X.data", "rev3")});
        loaded(client->requests[0], record("Received", later), "rev3");
    }
    EXPECT_EQ(desktop.fileMetadata("Book!!!X.data")->rev(), "rev1");
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    EXPECT_EQ(book->valueForKey("title"), "Host's");
}

TEST_F(BatchEnd, A_batch_that_cannot_be_saved_comes_again_though_a_query_is_answered_since) {
    receive({changed("Author!!!A.data")});
    const auto download = client->requests[0];
    engine().loadDeltaPotentialUpdates();
    {
        const LockedStore other(desktop.path("library.sqlite"));
        loaded(download, R"({"name":"A"})");
    }
    page({}, "cursor-2");
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    EXPECT_FALSE(desktop.fileMetadata("Author!!!A.data"));
}

// Listings from scratch -------------------------------------------------------------------------------------

TEST_F(BatchEnd, A_record_whose_image_alone_a_reset_listing_holds_is_deleted) {
    know("Book!!!X.image");
    engine().loadDeltaPotentialUpdates();
    client->forget();
    engine().restClientLoadedDeltaEntries(*client, {changed("Book!!!X.image")}, true, "cursor-1", false);
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_FALSE(desktop.find("X"));
}

TEST_F(BatchEnd, A_reset_listing_after_a_failed_query_tells_of_deletions_all_the_same) {
    const QWLogCapture log;
    engine().loadDeltaPotentialUpdates();
    engine().restClientLoadDeltaFailedWithError(*client, failure(500));
    pass(10);
    engine().restClientLoadedDeltaEntries(*client, {changed("Author!!!A.data")}, true, "cursor-1", false);
    loaded(client->requests.back(), R"({"name":"A"})");
    EXPECT_FALSE(desktop.find("X"));
}

// Queries given up ------------------------------------------------------------------------------------------

TEST_F(BatchEnd, A_query_given_up_that_fails_leaves_the_next_one_its_cursor) {
    const QWLogCapture log;
    engine().loadDeltaPotentialUpdates();
    engine().deactivateSync();
    engine().restClientLoadDeltaFailedWithError(*client, failure(500));
    receive({}, "cursor-2");
    EXPECT_EQ(desktop.savedCursor(), "cursor-2");
}

// A disk that is full ---------------------------------------------------------------------------------------

namespace {

// The disk is there before the stores are opened, and until they are closed.
struct BatchEndOnFullDisk : FaultyDisk, EngineTest {};

} // namespace

TEST_F(BatchEndOnFullDisk, Is_tried_again_every_ten_seconds_until_there_is_room) {
    desktop.add("Author")->setUuid("A");
    saveAndTurn();
    forgetQueue();
    engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
        metadata("Author!!!A.data"));
    engine().saveCacheContext();
    activateIdle();
    fail(SQLITE_FULL);
    receive({deleted("Author!!!A.data")});
    pass(10.1);
    mend();
    pass(9.8);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    EXPECT_TRUE(desktop.find("A", "Author"));
    pass(0.2);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    EXPECT_FALSE(desktop.find("A", "Author"));
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
}
