#include "support/EngineTest.h"

namespace {

struct Import : EngineTest {
    Import() { activateIdle(); }

    // The cloud's file arrives as the only entry of a batch.
    void import(const QString& fileName, const QByteArray& bytes, const QString& rev = "rev1") {
        client->forget();
        receive({changed(fileName, rev)});
        ASSERT_EQ(client->count(QWRestRequest::LoadFile), 1) << fileName.toStdString();
        loaded(client->requests[0], bytes, rev);
    }
    Record savedBook(const QString& uuid = "X") {
        const auto book = desktop.add("Book", {{"title", "Local"}});
        book->setUuid(uuid);
        saveAndTurn();
        forgetQueue();
        engine().deactivateSync();
        activateIdle();
        return book;
    }
    bool exists(const QString& name) { return desktop.world.files->exists(desktop.path(name)); }
    const QString later = "2026-06-01 00:00:00 +0000", earlier = "2025-01-01 00:00:00 +0000";
};

} // namespace

TEST_F(Import, A_new_record_is_made_with_its_uuid_and_date_and_its_revision_recorded) {
    import("Book!!!X.data", record("Remote", later));
    const auto book = desktop.find("X");
    ASSERT_TRUE(book);
    EXPECT_EQ(book->valueForKey("title"), "Remote");
    EXPECT_EQ(book->dateModified(), QDateTime(QDate(2026, 6, 1), QTime(0, 0), Qt::UTC));
    EXPECT_EQ(desktop.fileMetadata("Book!!!X.data")->rev(), "rev1");
    EXPECT_FALSE(exists("cache/Download-book!!!x.data"));
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
    EXPECT_FALSE(desktop.context->hasChanges());
}

TEST_F(Import, A_record_file_may_be_a_property_list) {
    import("Book!!!X.data", R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)"
                            R"(<key>title</key><string>Remote</string></dict></plist>)");
    EXPECT_EQ(desktop.find("X")->valueForKey("title"), "Remote");
}

TEST_F(Import, A_newer_record_replaces_the_local_one_and_drops_its_pending_change) {
    const auto book = savedBook();
    engine().insertInSyncQueueManagedObject(*book, QWDropboxSyncActionInsertOrUpdate);
    import("Book!!!X.data", record("Remote", later));
    EXPECT_EQ(book->valueForKey("title"), "Remote");
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(Import, An_older_record_changes_nothing_and_leaves_the_pending_change) {
    const auto book = savedBook();
    engine().insertInSyncQueueManagedObject(*book, QWDropboxSyncActionInsertOrUpdate);
    const QWLogCapture log;
    import("Book!!!X.data", record("Remote", earlier));
    EXPECT_EQ(book->valueForKey("title"), "Local");
    EXPECT_TRUE(desktop.row(*book));
    EXPECT_EQ(desktop.fileMetadata("Book!!!X.data")->rev(), "rev1");
    EXPECT_FALSE(exists("cache/Download-book!!!x.data"));
}

TEST_F(Import, A_record_without_a_readable_date_is_not_newer_than_a_local_one) {
    const auto book = savedBook();
    const QWLogCapture log;
    import("Book!!!X.data", R"({"title":"Remote"})");
    import("Book!!!X.data", record("Remote", "yesterday"), "rev2");
    EXPECT_EQ(book->valueForKey("title"), "Local");
}

TEST_F(Import, A_conflicted_copy_that_is_newer_is_merged_queued_and_deleted_remotely) {
    const auto book = savedBook();
    import("Book!!!X (Bob's conflicted copy).data", record("Remote", later));
    EXPECT_EQ(book->valueForKey("title"), "Remote");
    ASSERT_TRUE(desktop.row(*book));
    EXPECT_EQ(desktop.row(*book)->action(), QWDropboxSyncActionInsertOrUpdate);
    EXPECT_EQ(client->count(QWRestRequest::Delete), 1);
    EXPECT_EQ(client->requests[1].path, remote("Book!!!X (Bob's conflicted copy).data"));
    EXPECT_FALSE(desktop.fileMetadata("Book!!!X (Bob's conflicted copy).data"));
}

TEST_F(Import, A_conflicted_copy_that_is_older_is_deleted_remotely_and_changes_nothing) {
    const auto book = savedBook();
    const QWLogCapture log;
    import("Book!!!X (Bob's conflicted copy).data", record("Remote", earlier));
    EXPECT_EQ(book->valueForKey("title"), "Local");
    EXPECT_FALSE(desktop.row(*book));
    EXPECT_EQ(client->count(QWRestRequest::Delete), 1);
}

TEST_F(Import, A_declined_conflicted_copy_of_this_desktops_own_upload_queues_nothing_and_is_forgotten) {
    const auto book = savedBook();
    const QString copy = "Book!!!X (Bob's conflicted copy).data";
    engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(metadata(copy, "rev1"));
    const QWLogCapture log;
    import(copy, record("Local", "2026-01-01 00:00:00 +0000"), "rev1");
    EXPECT_FALSE(desktop.row(*book));
    EXPECT_EQ(client->count(QWRestRequest::Delete), 1);
    EXPECT_FALSE(desktop.fileMetadata(copy));
}

TEST_F(Import, Of_two_files_of_a_new_record_in_one_batch_the_later_one_wins_in_either_order) {
    const QString copy = "(Bob's conflicted copy).data";
    for (const bool copyIsLater : {false, true}) {
        for (const bool copyComesFirst : {false, true}) {
            const QString uuid = QStringLiteral("N%1%2").arg(copyIsLater).arg(copyComesFirst);
            client->forget();
            receive({changed("Book!!!" + uuid + ".data"), changed("Book!!!" + uuid + " " + copy)});
            const auto requests = client->requests;
            ASSERT_EQ(requests.size(), 2);
            for (const bool isCopy : {copyComesFirst, !copyComesFirst}) {
                const auto& request = requests[requests[0].path.contains(copy) == isCopy ? 0 : 1];
                loaded(request, record(isCopy == copyIsLater ? "Later" : "Earlier",
                                       isCopy == copyIsLater ? later : earlier));
            }
            const auto book = desktop.find(uuid);
            EXPECT_EQ(book->valueForKey("title"), "Later") << copyIsLater << copyComesFirst;
            EXPECT_EQ(client->count(QWRestRequest::Upload) > 0, copyIsLater || copyComesFirst);
        }
    }
}

TEST_F(Import, Of_two_files_of_a_new_record_in_one_batch_with_one_date_the_first_to_arrive_stays) {
    receive({changed("Book!!!X.data"), changed("Book!!!X (Bob's conflicted copy).data")});
    const auto requests = client->requests;
    ASSERT_EQ(requests.size(), 2);
    const bool isCopyFirst = requests[0].path.contains("conflicted");
    loaded(requests[isCopyFirst ? 1 : 0], record("First", later));
    loaded(requests[isCopyFirst ? 0 : 1], record("Second", later));
    EXPECT_EQ(desktop.find("X")->valueForKey("title"), "First");
    EXPECT_EQ(client->count(QWRestRequest::Upload), 0) << "the cloud has it already";
    EXPECT_EQ(client->count(QWRestRequest::Delete), 1);
}

TEST_F(Import, A_row_left_over_from_a_lost_insertion_does_not_send_the_empty_record_of_a_reference) {
    const auto author = desktop.add("Author");
    author->setUuid("A");
    engine().insertInSyncQueueManagedObject(*author, QWDropboxSyncActionInsertOrUpdate);
    desktop.context->rollback();
    client->forget();
    receive({changed("Book!!!X.data")});
    loaded(client->requests[0], R"({"title":"Remote","author":{"entityName":"Author","uuid":"A"}})");
    ASSERT_TRUE(desktop.find("A", "Author"));
    EXPECT_EQ(client->count(QWRestRequest::Upload), 0);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(Import, An_image_is_moved_to_its_place_and_takes_the_remote_date) {
    const auto book = savedBook();
    import("Book!!!X.image", "cover");
    const QString file = book->imageURL().toLocalFile();
    EXPECT_EQ(desktop.image(*book), "cover");
    EXPECT_EQ(desktop.world.files->modificationDate(file), metadata("x").lastModifiedDate);
    EXPECT_FALSE(exists("cache/Download-book!!!x.image"));
    EXPECT_EQ(desktop.fileMetadata("Book!!!X.image")->rev(), "rev1");
}

TEST_F(Import, An_image_replaces_an_older_one) {
    const auto book = savedBook();
    desktop.setImage(*book, "old");
    desktop.world.files->setModificationDate(book->imageURL().toLocalFile(),
                                             metadata("x").lastModifiedDate.addSecs(-1));
    import("Book!!!X.image", "new");
    EXPECT_EQ(desktop.image(*book), "new");
}

TEST_F(Import, An_image_that_is_newer_here_stays_and_takes_the_remote_date) {
    const auto book = savedBook();
    desktop.setImage(*book, "mine");
    const QString file = book->imageURL().toLocalFile();
    for (const int seconds : {0, 100}) {
        desktop.world.files->setModificationDate(file, metadata("x").lastModifiedDate.addSecs(seconds));
        import("Book!!!X.image", "theirs", QString::number(seconds));
        EXPECT_EQ(desktop.image(*book), "mine");
        EXPECT_EQ(desktop.world.files->modificationDate(file), metadata("x").lastModifiedDate);
        EXPECT_FALSE(exists("cache/Download-book!!!x.image"));
    }
}

TEST_F(Import, An_image_that_arrives_before_its_record_makes_the_record) {
    import("Book!!!X.image", "cover");
    ASSERT_TRUE(desktop.find("X"));
    EXPECT_EQ(desktop.image(*desktop.find("X")), "cover");
}

TEST_F(Import, A_record_made_for_an_image_goes_with_the_deletion_of_a_file_that_never_arrived) {
    import("Book!!!X.image", "cover");
    const QString file = desktop.find("X")->imageURL().toLocalFile();
    receive({deleted("Book!!!X.data"), deleted("Book!!!X.image")});
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_FALSE(desktop.world.files->exists(file));
}

TEST_F(Import, A_deletion_deletes_the_record_and_its_image_and_is_not_sent_back) {
    const auto book = savedBook();
    desktop.setImage(*book, "cover");
    const QString file = book->imageURL().toLocalFile();
    engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
        metadata("Book!!!X.data"));
    receive({deleted("Book!!!X.data")});
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_FALSE(desktop.world.files->exists(file));
    EXPECT_EQ(client->count(QWRestRequest::Delete), 0);
    EXPECT_TRUE(desktop.fileMetadata("Book!!!X.data")) << "so that a repeated deletion is recognised";
}

TEST_F(Import, A_deletion_of_a_record_that_is_not_there_does_nothing) {
    engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
        metadata("Book!!!X.data"));
    receive({deleted("Book!!!X.data")});
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(Import, A_file_name_gives_the_object_whatever_its_letter_case) {
    const auto book = savedBook("5C1D");
    EXPECT_EQ(probe().objectForFile("book!!!5c1d.data", false)->uuid(), "5C1D");
    EXPECT_EQ(probe().objectForFile("book!!!5c1d (bob's conflicted copy).data", false)->uuid(), "5C1D");
    EXPECT_FALSE(probe().objectForFile("book!!!other.data", false));
    EXPECT_EQ(probe().objectForFile("book!!!other.data", true)->uuid(), "OTHER");
}

TEST_F(Import, An_entity_name_with_an_inner_capital_is_not_found) {
    EXPECT_FALSE(probe().objectForFile("bookauthor!!!x.data", true));
}

TEST_F(Import, What_was_referred_to_before_it_arrived_is_filled_when_it_does) {
    import(
        "Book!!!X.data",
        R"({"title":"T","dateModified":"2026-06-01 00:00:00 +0000","author":{"uuid":"A","entityName":"Author"}})");
    const auto author = desktop.find("A", "Author");
    ASSERT_TRUE(author);
    EXPECT_FALSE(author->dateModified().isValid());
    import("Author!!!A.data", R"({"name":"Ann","dateModified":"2001-01-01 00:00:00 +0000"})");
    EXPECT_EQ(author->valueForKey("name"), "Ann");
    EXPECT_EQ(desktop.find("X")->relatedObject("author").data(), author.data());
}
