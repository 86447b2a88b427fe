#include "support/EngineTest.h"

#include "core/QWJSON.h"

// What is sent again, what is not, and what starts afterwards.

namespace {

struct UploadRepeat : EngineTest {
    UploadRepeat() { activateIdle(); }

    // Waits, and nothing has started it.
    Record waitingAuthor() {
        engine().setStatus(QWDropboxSyncStatusCheckingForUpdates);
        const auto author = desktop.add("Author");
        saveAndTurn();
        EXPECT_TRUE(desktop.row(*author));
        return author;
    }
    // Its path.
    QString failDeletion() {
        const auto author = desktop.add("Author");
        saveAndTurn();
        uploaded(client->requests[0]);
        desktop.context->deleteObject(*author);
        saveAndTurn();
        const auto request = client->requests.back();
        client->forget();
        const QWLogCapture log;
        engine().restClientDeletePathFailedWithError(*client, failure(500, info(request)));
        return request.path;
    }
};

} // namespace

TEST_F(UploadRepeat, An_object_edited_in_flight_is_sent_again_once_when_both_its_files_have_arrived) {
    const auto book = desktop.add("Book");
    desktop.setImage(*book, "cover");
    saveAndTurn();
    ASSERT_EQ(client->requests.size(), 2u);
    const auto image = client->requests[0], data = client->requests[1];
    book->setValueForKey("title", "New");
    saveAndTurn();
    client->forget();

    uploaded(image);
    EXPECT_EQ(client->log(), QStringList());
    uploaded(data);
    ASSERT_EQ(client->log(), QStringList{"upload " + data.path}) << "the image has not changed";
    const auto staged = desktop.world.files->read(client->requests[0].localPath);
    EXPECT_EQ(qw::json::read(staged.value())->toMap()["title"], "New");
    EXPECT_EQ(desktop.row(*book)->numberOfFilesUploadingToDropbox(), 1u);
}

TEST_F(UploadRepeat, An_edit_in_flight_of_an_object_with_a_uuid_in_lower_case_is_not_noticed) {
    const auto author = desktop.add("Author");
    author->setUuid("lower");
    saveAndTurn();
    author->setValueForKey("name", "New");
    saveAndTurn();
    EXPECT_FALSE(desktop.row(*author)->objectModifiedWhileUploading());
    uploaded(client->requests[0]);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
    EXPECT_EQ(client->requests.size(), 1u);
}

TEST_F(UploadRepeat, An_object_that_has_gone_when_it_is_to_be_sent_again_makes_way_for_the_next) {
    const auto author = desktop.add("Author");
    const QString uuid = author->uuid();
    saveAndTurn();
    const auto row = desktop.row(*author);
    const auto upload = client->requests[0];
    desktop.context->deleteObject(*author);
    saveAndTurn();
    row->setAction(QWDropboxSyncActionInsertOrUpdate);
    const auto next = waitingAuthor();
    client->forget();

    uploaded(upload);
    EXPECT_FALSE(probe().rowInFlight(uuid));
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 1);
    ASSERT_EQ(client->log(), QStringList{"upload " + remote(dataFile(*next))});
    uploaded(client->requests[0]);
    EXPECT_EQ(engine().numberOfObjectsSyncing(), 0);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(UploadRepeat, An_images_own_file_stays_whatever_it_is_called) {
    const auto book = desktop.add("Book");
    desktop.setImage(*book, "cover");
    saveAndTurn();
    const QString cover = desktop.path("cover.data");
    desktop.world.files->write(cover, "cover");
    engine().restClientUploadedFile(*client, remote(imageFile(*book)), cover, metadata(imageFile(*book)));
    EXPECT_TRUE(desktop.world.files->exists(cover));
    EXPECT_EQ(desktop.row(*book)->numberOfFilesUploadingToDropbox(), 1u) << "it counts as the image's";
}

TEST_F(UploadRepeat, An_upload_that_finds_nothing_there_is_repeated_like_any_other) {
    const auto author = desktop.add("Author");
    saveAndTurn();
    const auto request = client->requests[0];
    client->forget();
    const QWLogCapture log;
    engine().restClientUploadFileFailedWithError(*client, failure(404, info(request)));
    EXPECT_EQ(log.texts("qwlibrary.sync").size(), 1);
    EXPECT_TRUE(desktop.row(*author));
    pass(9.9);
    EXPECT_EQ(client->log(), QStringList());
    pass(0.2);
    EXPECT_EQ(client->log(), QStringList{"upload " + request.path});
}

TEST_F(UploadRepeat, The_repetition_of_a_deletion_does_not_look_at_the_status) {
    const QString path = failDeletion();
    engine().deactivateSync();
    pass(10);
    EXPECT_EQ(client->log(), QStringList{"delete " + path});
}

TEST_F(UploadRepeat, A_failed_deletion_is_repeated_by_the_client_that_failed) {
    const QString path = failDeletion();
    const auto second = std::make_shared<SilentClient>();
    engine().activateSyncWithDropboxRestClient(second);
    pass(10);
    EXPECT_EQ(client->log(), QStringList{"delete " + path});
    EXPECT_EQ(second->log(), QStringList{"delta"});
}

TEST_F(UploadRepeat, A_deletion_whose_row_is_not_known_starts_what_waits) {
    const auto author = waitingAuthor();
    engine().setStatus(QWDropboxSyncStatusIdle);
    const QWLogCapture log;
    engine().restClientDeletedPath(*client, remote("Book!!!X.data"));
    EXPECT_EQ(log.texts("qwlibrary.sync"), QStringList{"Theorically impossible"});
    EXPECT_EQ(client->log(), QStringList{"upload " + remote(dataFile(*author))});
}

TEST_F(UploadRepeat, With_a_large_queue_in_flight_only_what_is_not_there_yet_starts) {
    constexpr int number = 2000;
    for (int index = 0; index < number; ++index)
        desktop.add("Author");
    saveAndTurn();
    engine().beginSyncOfObjectsWaitingSync();
    ASSERT_EQ(client->count(QWRestRequest::Upload), number);
    client->forget();
    const QWLogCapture log;
    engine().beginSyncOfObjectsWaitingSync();
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_EQ(engine().numberOfItemsToProcess(), number);

    const auto last = desktop.add("Author");
    saveAndTurn();
    EXPECT_EQ(client->log(), QStringList());
    engine().beginSyncOfObjectsWaitingSync();
    EXPECT_EQ(client->log(), QStringList{"upload " + remote(dataFile(*last))});
    EXPECT_EQ(log.texts(), QStringList());
}

TEST_F(UploadRepeat, Whatever_is_no_upload_is_a_deletion) {
    for (const qint16 action : {0, 7, -2}) {
        const auto author = waitingAuthor();
        const auto row = desktop.row(*author);
        row->setAction(action);
        client->forget();
        probe().begin(row);
        EXPECT_EQ(client->log(), QStringList{"delete " + remote(dataFile(*author))}) << action;
    }
}

TEST_F(UploadRepeat, A_staged_file_is_deleted_whatever_the_letter_case_of_its_extension) {
    const QString path = desktop.path("cache/Uploading-X.DATA");
    desktop.world.files->write(path, "{}");
    const QWLogCapture log;
    engine().restClientUploadedFile(*client, remote("Author!!!X.data"), path, metadata("Author!!!X.data"));
    EXPECT_FALSE(desktop.world.files->exists(path));
}

TEST_F(UploadRepeat, A_row_one_of_whose_files_failed_stays_in_flight_until_its_repetition_succeeds) {
    const auto book = desktop.add("Book");
    desktop.setImage(*book, "cover");
    saveAndTurn();
    const auto image = client->requests[0], data = client->requests[1];
    client->forget();
    const QWLogCapture log;
    engine().restClientUploadFileFailedWithError(*client, failure(500, info(image)));
    EXPECT_EQ(desktop.row(*book)->numberOfFilesUploadingToDropbox(), 2u);
    uploaded(data);
    EXPECT_TRUE(probe().rowInFlight(book->uuid()));
    pass(10);
    ASSERT_EQ(client->log(), QStringList{"upload " + image.path});
    EXPECT_EQ(client->requests[0].localPath, image.localPath);
    uploaded(client->requests[0]);
    EXPECT_FALSE(desktop.row(*book));
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(UploadRepeat, A_file_whose_object_nobody_can_tell_keeps_its_revision) {
    const QWLogCapture log;
    for (const char* name : {"notes.txt", "BookAuthor!!!X.data"}) {
        engine().restClientUploadedFile(*client, remote(name), desktop.path(name), metadata(name, "rev5"));
        ASSERT_TRUE(desktop.fileMetadata(name)) << name;
        EXPECT_EQ(desktop.fileMetadata(name)->rev(), "rev5");
    }
}

TEST_F(UploadRepeat, A_second_answer_to_an_object_with_a_uuid_in_lower_case_blocks_none_of_its_edits) {
    const auto author = desktop.add("Author");
    author->setUuid("lower");
    saveAndTurn();
    const auto request = client->requests[0];
    uploaded(request);
    uploaded(request);
    client->forget();
    author->setValueForKey("name", "New");
    saveAndTurn();
    EXPECT_EQ(client->log(), QStringList{"upload " + request.path});
}
