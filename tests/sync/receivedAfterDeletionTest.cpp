#include "support/EngineTest.h"

// What arrives from the cloud for a record that was deleted here, while its deletion waits or is on its way.

namespace {

struct ReceivedAfterDeletion : EngineTest {
    const QString later = "2026-06-01 00:00:00 +0000";

    // Book X is saved here and its files are known; then it is deleted, and the deletion saved.
    ReceivedAfterDeletion() {
        const auto book = desktop.add("Book", {{"title", "Old"}});
        book->setUuid("X");
        saveAndTurn();
        forgetQueue();
        activateIdle();
        for (const QString fileName : {"Book!!!X.data", "Book!!!X.image"})
            engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
                metadata(fileName));
    }
    void deleteBook() {
        desktop.context->deleteObject(*desktop.find("X"));
        saveAndTurn();
    }
    // Deletes the book while a batch runs, so that the deletion waits for its end.
    void deleteBookInBatch(const QList<DBDeltaEntryRef>& entries) {
        client->forget();
        receive(entries);
        deleteBook();
        ASSERT_EQ(waitingAction(), QWDropboxSyncActionDelete);
    }
    int waitingAction() {
        const auto row = QWFindObjectWaitingSync(*engine().dropboxCacheManagedObjectContext(), "X");
        return row ? row->action() : -1;
    }
};

} // namespace

TEST_F(ReceivedAfterDeletion, A_later_version_brings_the_record_back_and_drops_the_deletion) {
    deleteBookInBatch({changed("Book!!!X.data", "rev2")});
    loaded(client->requests[0], record("Received", later), "rev2");
    ASSERT_TRUE(desktop.find("X"));
    EXPECT_EQ(desktop.find("X")->valueForKey("title"), "Received");
    EXPECT_EQ(waitingAction(), -1);
}

TEST_F(ReceivedAfterDeletion, An_image_does_not_bring_the_record_back_and_is_deleted_with_it) {
    deleteBookInBatch({changed("Book!!!X.image", "rev2")});
    loaded(client->requests[0], "cover", "rev2");
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_FALSE(desktop.world.files->exists(desktop.path("cache/Download-book!!!x.image")));
    ASSERT_EQ(client->count(QWRestRequest::Delete), 2);
    EXPECT_EQ(client->requests.back().path, remote("Book!!!X.image"));
}

TEST_F(ReceivedAfterDeletion, A_copy_of_a_conflict_does_not_bring_the_record_back_and_is_deleted) {
    const QString copy = "Book!!!X (Bob's conflicted copy).data";
    deleteBookInBatch({changed(copy)});
    loaded(client->requests[0], record("Received", later));
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_EQ(client->requests[1].kind, QWRestRequest::Delete);
    EXPECT_EQ(client->requests[1].path, remote(copy));
    EXPECT_FALSE(desktop.fileMetadata(copy));
    EXPECT_FALSE(
        desktop.world.files->exists(desktop.path("cache/Download-book!!!x (bob's conflicted copy).data")));
    EXPECT_EQ(waitingAction(), QWDropboxSyncActionDelete);
}

TEST_F(ReceivedAfterDeletion, A_reference_does_not_bring_the_record_back) {
    deleteBookInBatch({changed("Chapter!!!C.data")});
    loaded(client->requests[0], R"({"heading":"C","book":{"entityName":"Book","uuid":"X"}})");
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_FALSE(desktop.find("C", "Chapter")->relatedObject("book"));
    EXPECT_EQ(waitingAction(), QWDropboxSyncActionDelete);
}

TEST_F(ReceivedAfterDeletion, A_version_that_came_while_the_files_were_being_deleted_is_sent_again) {
    deleteBook();
    const auto deletions = client->requests;
    ASSERT_EQ(deletions.size(), 2);
    client->forget();
    receive({changed("Book!!!X.data", "rev2")});
    loaded(client->requests[0], record("Received", later), "rev2");
    ASSERT_TRUE(desktop.find("X"));
    client->forget();
    for (const auto& deletion : deletions)
        engine().restClientDeletedPath(*client, deletion.path);
    ASSERT_EQ(client->count(QWRestRequest::Upload), 1);
    EXPECT_EQ(client->requests[0].parentRev, "");
    EXPECT_FALSE(engine().dropboxCacheManagedObjectContext()->hasChanges()) << "its row is saved";
}

// The upload is answered when the batch has brought the record back: the file that it knows is deleted in its turn.
TEST_F(ReceivedAfterDeletion, A_version_of_a_batch_whose_record_was_in_flight_goes_with_its_next_deletion) {
    desktop.find("X")->setValueForKey("title", "Edited");
    saveAndTurn();
    const auto upload = client->requests.at(0);
    deleteBookInBatch({changed("Book!!!X.data", "rev2"), changed("Chapter!!!C.data")});
    loaded(client->requests[0], record("Received", later), "rev2");
    uploaded(upload, "rev3");
    engine().deactivateSync();
    activate();
    page({deleted("Book!!!X.data")}, "cursor-2");
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    EXPECT_FALSE(desktop.find("X"));
}

TEST_F(ReceivedAfterDeletion, A_version_of_a_batch_that_still_runs_is_sent_again_when_it_ends) {
    deleteBook();
    const auto deletions = client->requests;
    client->forget();
    receive({changed("Book!!!X.data", "rev2"), changed("Chapter!!!C.data")});
    loaded(client->requests[0], record("Received", later), "rev2");
    const auto lastOfBatch = client->requests[1];
    for (const auto& deletion : deletions)
        engine().restClientDeletedPath(*client, deletion.path);
    EXPECT_EQ(client->count(QWRestRequest::Upload), 0);
    loaded(lastOfBatch, R"({"heading":"C"})");
    EXPECT_EQ(client->count(QWRestRequest::Upload), 1);
}

TEST_F(ReceivedAfterDeletion,
       No_save_leaves_a_record_that_came_back_unknown_and_unqueued_when_its_files_are_gone) {
    deleteBook();
    const auto deletions = client->requests;
    ASSERT_EQ(client->count(QWRestRequest::Delete), 2);
    engine().loadDeltaPotentialUpdates();
    page({changed("Book!!!X.data", "rev2")}, "cursor-1");
    loaded(client->requests.back(), record("Received", later), "rev2");
    ASSERT_TRUE(desktop.find("X"));
    int saves = 0;
    const auto observation =
        engine().dropboxCacheManagedObjectContext()->observeDidSave([&](const QWDidSaveNotice&) {
            ++saves;
            EXPECT_TRUE(desktop.fileMetadata("Book!!!X.data")
                        || waitingAction() == QWDropboxSyncActionInsertOrUpdate);
        });
    for (const auto& deletion : deletions)
        delegate().restClientDeletedPath(*client, deletion.path);
    EXPECT_GT(saves, 0);
    EXPECT_EQ(waitingAction(), QWDropboxSyncActionInsertOrUpdate);
}
