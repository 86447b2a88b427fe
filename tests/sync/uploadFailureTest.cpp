#include "support/EngineTest.h"
#include "support/FullDisk.h"

namespace {

struct UploadFailure : EngineTest {
    UploadFailure() { activateIdle(); }

    QWRestRequest uploadOf(const QString& entityName) {
        desktop.add(entityName);
        saveAndTurn();
        const auto request = client->requests.back();
        client->forget();
        return request;
    }
    QWRestRequest deletionOf(const QString& entityName) {
        const auto record = desktop.add(entityName);
        saveAndTurn();
        uploaded(client->requests.back());
        desktop.context->deleteObject(*record);
        saveAndTurn();
        const auto request = client->requests.back();
        client->forget();
        return request;
    }
    // Starts the desktop again, active, on a disk that takes no more files.
    std::shared_ptr<FullDisk> fillDisk() {
        auto disk = std::make_shared<FullDisk>();
        desktop.crash();
        desktop.world.files = disk;
        desktop.start();
        activateIdle();
        return disk;
    }
};

} // namespace

TEST_F(UploadFailure, A_failed_upload_is_logged_and_repeated_every_10_seconds_without_limit) {
    const auto request = uploadOf("Author");
    for (int attempt = 0; attempt < 3; ++attempt) {
        const QWLogCapture log;
        const std::size_t timers = probe().scheduledTimers();
        engine().restClientUploadFileFailedWithError(*client, failure(500, info(request)));
        EXPECT_EQ(log.texts("qwlibrary.sync"),
                  QStringList{"restClient:uploadFileFailedWithError: it failed"});
        EXPECT_EQ(probe().scheduledTimers(), timers + 1);
        pass(9.9);
        EXPECT_EQ(client->log(), QStringList());
        pass(0.2);
        EXPECT_EQ(client->log(), QStringList{"upload " + request.path});
        EXPECT_EQ(client->requests[0].localPath, request.localPath);
        EXPECT_EQ(probe().scheduledTimers(), timers);
        client->forget();
    }
    uploaded(request);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(UploadFailure, A_repeated_upload_names_the_revision_that_is_known_by_then) {
    const auto request = uploadOf("Author");
    engine().restClientUploadFileFailedWithError(*client, failure(409, info(request)));
    engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
        metadata(request.path.section('/', -1), "rev5"));
    pass(10);
    EXPECT_EQ(client->requests[0].parentRev, "rev5");
}

TEST_F(UploadFailure, A_repetition_does_not_look_at_the_status) {
    const auto request = uploadOf("Author");
    engine().restClientUploadFileFailedWithError(*client, failure(500, info(request)));
    engine().deactivateSync();
    pass(10);
    EXPECT_EQ(client->log(), QStringList{"upload " + request.path});
}

TEST_F(UploadFailure, A_refused_token_stops_the_engine_and_keeps_the_row) {
    const auto request = uploadOf("Author");
    const std::size_t timers = probe().scheduledTimers();
    engine().restClientUploadFileFailedWithError(*client, failure(401, info(request)));
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusTokenInvalid);
    EXPECT_EQ(desktop.refusedTokens, 1);
    EXPECT_EQ(probe().scheduledTimers(), timers);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 1);
}

TEST_F(UploadFailure, A_failed_deletion_is_logged_whole_and_repeated_after_10_seconds) {
    const auto request = deletionOf("Author");
    const QWLogCapture log;
    engine().restClientDeletePathFailedWithError(*client, failure(500, info(request)));
    EXPECT_EQ(
        log.texts("qwlibrary.sync"),
        QStringList{R"(restClient:deletePathFailedWithError: Error Domain=dropbox Code=500 "it failed")"});
    pass(10);
    EXPECT_EQ(client->log(), QStringList{"delete " + request.path});
    engine().restClientDeletedPath(*client, request.path);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(UploadFailure, A_deletion_of_a_missing_file_counts_as_done) {
    const auto request = deletionOf("Author");
    engine().restClientDeletePathFailedWithError(*client, failure(404, info(request)));
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(UploadFailure, A_deletion_refused_with_401_stops_the_engine) {
    const auto request = deletionOf("Author");
    engine().restClientDeletePathFailedWithError(*client, failure(401, info(request)));
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusTokenInvalid);
}

TEST_F(UploadFailure, A_completion_whose_row_is_not_known_is_logged_and_the_next_rows_start) {
    const auto request = uploadOf("Author");
    engine().deactivateSync();
    engine().setStatus(QWDropboxSyncStatusIdle);
    const QWLogCapture log;
    uploaded(request);
    EXPECT_EQ(log.texts("qwlibrary.sync"), QStringList{"Theorically impossible"});
    EXPECT_EQ(client->log(), QStringList{"upload " + request.path}) << "the row waited and is sent again";
}

TEST_F(UploadFailure, A_deletion_whose_row_is_not_known_is_logged_too) {
    const QWLogCapture log;
    engine().restClientDeletedPath(*client, remote("Book!!!X.data"));
    engine().restClientDeletedPath(*client, remote("notes.txt"));
    EXPECT_EQ(log.texts("qwlibrary.sync"), QStringList({"Theorically impossible", "Theorically impossible"}));
}

TEST_F(UploadFailure, A_record_that_cannot_be_staged_is_not_sent_until_it_can_be) {
    const auto disk = fillDisk();
    const auto author = desktop.add("Author");
    {
        const QWLogCapture log;
        saveAndTurn();
        EXPECT_EQ(log.texts("qwlibrary.sync").size(), 1);
        pass(10);
    }
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_TRUE(desktop.row(*author));

    disk->isFull = false;
    author->setValueForKey("name", "Later");
    saveAndTurn();
    pass(10);
    ASSERT_EQ(client->count(QWRestRequest::Upload), 1);
    EXPECT_TRUE(disk->read(client->requests[0].localPath)->contains("Later"));
}

TEST_F(UploadFailure, A_record_that_was_never_staged_and_is_deleted_has_its_files_deleted) {
    fillDisk();
    const auto author = desktop.add("Author");
    const QWLogCapture log;
    saveAndTurn();
    desktop.context->deleteObject(*author);
    saveAndTurn();
    pass(10);
    EXPECT_EQ(client->count(QWRestRequest::Delete), 1);
}

TEST_F(UploadFailure, A_record_that_could_not_be_staged_is_left_alone_after_a_deactivation) {
    const auto disk = fillDisk();
    desktop.add("Author");
    const QWLogCapture log;
    saveAndTurn();
    engine().deactivateSync();
    disk->isFull = false;
    pass(10);
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 1);
}
