#include "support/EngineTest.h"

#include "core/QWJSON.h"

namespace {

struct Upload : EngineTest {
    Upload() { activateIdle(); }

    std::vector<Record> addAuthors(int number) {
        std::vector<Record> authors;
        for (int index = 0; index < number; ++index)
            authors.push_back(desktop.add("Author", {{"name", QString::number(index)}}));
        return authors;
    }
    QByteArray staged(const QWManagedObjectWithSyncSupport& record) {
        return desktop.world.files->read(desktop.path("cache/Uploading-" + record.uuid() + ".data"))
            .value_or(QByteArray());
    }
};

} // namespace

TEST_F(Upload, A_record_is_staged_as_compact_JSON_and_uploaded_under_its_name) {
    const auto author = desktop.add("Author", {{"name", "Ann"}});
    saveAndTurn();
    ASSERT_EQ(client->log(), QStringList{"upload " + remote(dataFile(*author))});
    EXPECT_EQ(client->requests[0].localPath, desktop.path("cache/Uploading-" + author->uuid() + ".data"));
    EXPECT_EQ(client->requests[0].parentRev, QString());
    EXPECT_FALSE(desktop.fileMetadata(dataFile(*author))) << "it is not in the cloud yet";
    const auto record = qw::json::read(staged(*author))->toMap();
    EXPECT_EQ(record["name"], "Ann");
    EXPECT_EQ(record["dateModified"], "2026-01-01 00:00:00 +0000");
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusUploading);
    EXPECT_EQ(engine().numberOfItemsToProcess(), 1);
}

TEST_F(Upload, A_completed_upload_retires_the_row_and_records_the_revision) {
    const auto author = desktop.add("Author");
    saveAndTurn();
    uploaded(client->requests[0], "rev7");
    EXPECT_FALSE(desktop.row(*author));
    EXPECT_EQ(desktop.fileMetadata(dataFile(*author))->rev(), "rev7");
    EXPECT_TRUE(staged(*author).isEmpty());
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    EXPECT_EQ(engine().numberOfItemsToProcess(), 0);
    EXPECT_FALSE(engine().dropboxCacheManagedObjectContext()->hasChanges());
}

TEST_F(Upload, The_next_upload_names_the_last_revision_as_its_parent) {
    const auto author = desktop.add("Author");
    saveAndTurn();
    uploaded(client->requests[0], "rev7");
    author->setValueForKey("name", "New");
    saveAndTurn();
    EXPECT_EQ(client->requests.back().parentRev, "rev7");
}

TEST_F(Upload, An_image_goes_first_and_the_row_waits_for_both_files) {
    const auto book = desktop.add("Book");
    desktop.setImage(*book, "cover");
    saveAndTurn();
    ASSERT_EQ(client->log(),
              QStringList({"upload " + remote(imageFile(*book)), "upload " + remote(dataFile(*book))}));
    EXPECT_EQ(client->requests[0].localPath, book->imageURL().toLocalFile());
    EXPECT_EQ(desktop.row(*book)->numberOfFilesUploadingToDropbox(), 2u);

    uploaded(client->requests[0]);
    EXPECT_TRUE(desktop.row(*book));
    EXPECT_EQ(desktop.image(*book), "cover") << "the image's own file stays";
    EXPECT_EQ(desktop.world.files->modificationDate(book->imageURL().toLocalFile()),
              metadata("x").lastModifiedDate);
    uploaded(client->requests[1]);
    EXPECT_FALSE(desktop.row(*book));
}

TEST_F(Upload, An_image_that_the_cloud_has_is_not_sent_again) {
    const auto book = desktop.add("Book");
    desktop.setImage(*book, "cover");
    saveAndTurn();
    uploaded(client->requests[0]);
    uploaded(client->requests[1]);
    client->forget();
    book->setValueForKey("title", "New");
    saveAndTurn();
    EXPECT_EQ(client->log(), QStringList{"upload " + remote(dataFile(*book))});
    EXPECT_EQ(desktop.row(*book)->numberOfFilesUploadingToDropbox(), 1u);
}

TEST_F(Upload, At_most_five_objects_are_in_flight_and_each_completion_starts_the_next) {
    addAuthors(7);
    saveAndTurn();
    EXPECT_EQ(client->requests.size(), 5u);
    EXPECT_EQ(engine().numberOfItemsToProcess(), 7);
    EXPECT_FALSE(engine().canUploadAnotherObject());
    uploaded(client->requests[2]);
    EXPECT_EQ(client->requests.size(), 6u);
    EXPECT_EQ(engine().numberOfItemsToProcess(), 6);
    for (int index : {0, 1, 3, 4, 5, 6})
        uploaded(client->requests[index]);
    EXPECT_EQ(client->requests.size(), 7u);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(Upload, With_five_in_flight_a_change_starts_nothing) {
    addAuthors(5);
    saveAndTurn();
    desktop.add("Author");
    saveAndTurn();
    EXPECT_EQ(client->requests.size(), 5u);
    uploaded(client->requests[0]);
    EXPECT_EQ(client->requests.size(), 6u);
}

TEST_F(Upload, A_start_with_five_in_flight_has_no_limit_nor_has_one_with_more) {
    addAuthors(8);
    saveAndTurn();
    EXPECT_EQ(client->requests.size(), 5u);
    engine().beginSyncOfObjectsWaitingSync();
    EXPECT_EQ(client->requests.size(), 8u);
    addAuthors(2);
    saveAndTurn();
    engine().beginSyncOfObjectsWaitingSync();
    EXPECT_EQ(client->requests.size(), 10u);
}

TEST_F(Upload, Nothing_starts_while_updates_are_checked_or_sync_is_off) {
    for (const quint64 status : {1, 3, 4}) {
        engine().setStatus(status);
        desktop.add("Author");
        saveAndTurn();
        EXPECT_EQ(client->requests.size(), 0u) << status;
    }
    engine().setStatus(QWDropboxSyncStatusUploading);
    engine().beginSyncOfObjectsWaitingSync();
    EXPECT_EQ(client->requests.size(), 3u);
}

TEST_F(Upload, A_deletion_removes_the_record_and_the_image_and_a_missing_image_counts_as_removed) {
    const auto book = desktop.add("Book");
    saveAndTurn();
    uploaded(client->requests[0]);
    client->forget();
    const QString data = remote(dataFile(*book)), image = remote(imageFile(*book));
    desktop.context->deleteObject(*book);
    saveAndTurn();
    ASSERT_EQ(client->log(), QStringList({"delete " + data, "delete " + image}));

    engine().restClientDeletedPath(*client, data);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 1);
    EXPECT_FALSE(desktop.fileMetadata(data.section('/', -1)));
    engine().restClientDeletePathFailedWithError(*client, failure(404, {{"path", image}}));
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(Upload, A_deletion_whose_row_does_not_say_whether_there_was_an_image_removes_both) {
    const auto author = desktop.add("Author");
    const auto row = engine().objectWaitingSyncForObject(*author, true);
    row->setAction(QWDropboxSyncActionDelete);
    EXPECT_EQ(row->objectCouldHaveAnImage(), false);
    row->setObjectCouldHaveAnImage(std::nullopt);
    probe().begin(row);
    EXPECT_EQ(client->count(QWRestRequest::Delete), 2);
    EXPECT_EQ(row->numberOfFilesUploadingToDropbox(), 2u);
}

TEST_F(Upload, A_deletion_of_an_object_without_image_removes_the_record_only) {
    const auto author = desktop.add("Author");
    saveAndTurn();
    uploaded(client->requests[0]);
    client->forget();
    desktop.context->deleteObject(*author);
    saveAndTurn();
    EXPECT_EQ(client->count(QWRestRequest::Delete), 1);
}

TEST_F(Upload, An_object_that_has_gone_drops_its_row_and_the_next_ones_start) {
    const auto authors = addAuthors(7);
    engine().setStatus(QWDropboxSyncStatusDisabled);
    saveAndTurn();
    for (int index = 0; index < 6; ++index)
        desktop.context->deleteObject(*authors[index]);
    saveAndTurn();
    for (const auto& row : QWFetchCacheRecords<ObjectWaitingSync>(
             *engine().dropboxCacheManagedObjectContext(), QWFetchRequest(QWDBEntityNameObjectWaitingSync)))
        row->setAction(QWDropboxSyncActionInsertOrUpdate);
    engine().setStatus(QWDropboxSyncStatusIdle);
    engine().beginSyncOfObjectsWaitingSync();
    EXPECT_EQ(client->requests.size(), 1u);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 1);
    EXPECT_EQ(engine().numberOfItemsToProcess(), 1);
}

TEST_F(Upload, An_object_edited_in_flight_is_sent_again_after_each_pass) {
    const auto book = desktop.add("Book");
    saveAndTurn();
    book->setValueForKey("title", "New");
    saveAndTurn();
    EXPECT_TRUE(desktop.row(*book)->objectModifiedWhileUploading());
    EXPECT_EQ(client->requests.size(), 1u);
    for (std::size_t pass = 0; pass < 3; ++pass) {
        uploaded(client->requests[pass]);
        ASSERT_EQ(client->requests.size(), pass + 2);
        EXPECT_EQ(qw::json::read(staged(*book))->toMap()["title"], "New");
    }
    EXPECT_TRUE(desktop.row(*book));
}

TEST_F(Upload, An_object_deleted_in_flight_has_its_files_deleted_after_the_upload) {
    const auto book = desktop.add("Book");
    saveAndTurn();
    const auto upload = client->requests[0];
    client->forget();
    desktop.context->deleteObject(*book);
    saveAndTurn();
    EXPECT_EQ(client->log(), QStringList());
    uploaded(upload);
    ASSERT_EQ(client->count(QWRestRequest::Delete), 2);
    engine().restClientDeletedPath(*client, client->requests[0].path);
    engine().restClientDeletedPath(*client, client->requests[1].path);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
    EXPECT_EQ(engine().numberOfObjectsSyncing(), 0);
}

TEST_F(Upload, A_renamed_upload_is_that_of_the_object_whose_uuid_it_bears) {
    const auto author = desktop.add("Author");
    saveAndTurn();
    const QString copy = "Author!!!" + author->uuid() + " (Owner's conflicted copy).data";
    EXPECT_EQ(probe().rowForFile(copy.toLower()), desktop.row(*author));
    engine().restClientUploadedFile(*client, remote(copy), client->requests[0].localPath,
                                    metadata(copy, "rev9"));
    EXPECT_FALSE(desktop.row(*author));
    EXPECT_EQ(desktop.fileMetadata(copy)->rev(), "rev9");
}

TEST_F(Upload, The_deletion_of_a_conflicted_copy_counts_for_no_row) {
    const auto author = desktop.add("Author");
    saveAndTurn();
    const QWLogCapture log;
    engine().restClientDeletedPath(
        *client, remote("author!!!" + author->uuid().toLower() + " (owner's conflicted copy).data"));
    EXPECT_EQ(desktop.row(*author)->numberOfFilesUploadingToDropbox(), 1u);
    EXPECT_EQ(log.texts("qwlibrary.sync"), QStringList());
}

TEST_F(Upload, A_row_with_a_uuid_in_lower_case_stays_in_flight_for_good) {
    const auto author = desktop.add("Author");
    author->setUuid("lower");
    saveAndTurn();
    EXPECT_TRUE(probe().rowInFlight("LOWER"));
    uploaded(client->requests[0]);
    EXPECT_FALSE(desktop.row(*author));
    EXPECT_EQ(engine().numberOfObjectsSyncing(), 1);
    EXPECT_EQ(engine().numberOfItemsToProcess(), 1) << "what is in flight, when nothing waits";
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusUploading);

    const auto other = desktop.add("Author");
    saveAndTurn();
    EXPECT_EQ(client->requests.size(), 2u) << "a row that has gone hides none that waits";
    uploaded(client->requests[1]);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(Upload, Rows_wait_again_after_a_restart) {
    const QString uuid = desktop.add("Author")->uuid();
    saveAndTurn();
    desktop.crash();
    desktop.start();
    client->forget();
    engine().activateSyncWithDropboxRestClient(client);
    receive({});
    EXPECT_EQ(client->log(), QStringList({"delta", "upload " + remote("Author!!!" + uuid + ".data")}));
}
