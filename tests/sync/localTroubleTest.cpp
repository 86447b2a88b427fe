#include "support/EngineTest.h"
#include "support/FullDisk.h"

// What goes wrong on this machine's own disk.

namespace {

struct LocalTrouble : EngineTest {
    LocalTrouble() { activateIdle(); }

    QWFileManager& files() { return *desktop.world.files; }
};

} // namespace

TEST_F(LocalTrouble, A_download_that_cannot_be_read_is_repeated_and_its_entry_kept) {
    receive({changed("Book!!!X.data")});
    const auto request = client->requests[0];
    client->forget();
    {
        const QWLogCapture log;
        engine().restClientLoadedFile(*client, request.localPath, {}, metadata("Book!!!X.data"));
        EXPECT_EQ(log.texts("qwlibrary.sync").size(), 1);
    }
    EXPECT_FALSE(desktop.fileMetadata("Book!!!X.data"));
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    pass(10);
    ASSERT_EQ(client->log(), QStringList{"load " + request.path});
    loaded(client->requests[0], record("T", "2026-01-01 00:00:00 +0000"));
    EXPECT_EQ(desktop.find("X")->valueForKey("title"), "T");
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
}

TEST_F(LocalTrouble, A_download_that_could_not_be_read_is_not_repeated_for_another_batch) {
    receive({changed("Book!!!X.data")});
    const QWLogCapture log;
    engine().restClientLoadedFile(*client, client->requests[0].localPath, {}, metadata("Book!!!X.data"));
    engine().deactivateSync();
    receive({changed("Book!!!X.data")});
    client->forget();
    pass(10);
    EXPECT_EQ(client->log(), QStringList());
}

TEST_F(LocalTrouble, A_file_sent_by_a_later_start_of_its_row_is_not_sent_once_more) {
    desktop.add("Author");
    saveAndTurn();
    const QWLogCapture log;
    engine().restClientUploadFileFailedWithError(*client, failure(500, info(client->requests[0])));
    engine().deactivateSync();
    client->forget();
    engine().activateSyncWithDropboxRestClient(client);
    engine().restClientLoadedDeltaEntries(*client, {}, false, "cursor-1", false);
    ASSERT_EQ(client->count(QWRestRequest::Upload), 1);
    uploaded(client->requests.back());
    client->forget();
    pass(20);
    EXPECT_EQ(client->log(), QStringList());
}

TEST_F(LocalTrouble, A_staged_record_that_vanishes_while_its_upload_is_repeated_is_staged_again) {
    desktop.add("Author", {{"name", "Ann"}});
    saveAndTurn();
    const auto request = client->requests[0];
    client->forget();
    const QWLogCapture log;
    engine().restClientUploadFileFailedWithError(*client, failure(500, info(request)));
    ASSERT_TRUE(files().remove(request.localPath));
    pass(10);
    EXPECT_EQ(client->log(), QStringList{"upload " + request.path});
    EXPECT_TRUE(files().read(request.localPath)->contains("Ann"));
}

TEST_F(LocalTrouble, A_record_that_could_not_be_staged_is_sent_once_after_a_new_activation) {
    const auto disk = std::make_shared<FullDisk>();
    desktop.crash();
    desktop.world.files = disk;
    desktop.start();
    activateIdle();
    const auto author = desktop.add("Author");
    const QWLogCapture log;
    saveAndTurn();
    const auto row = desktop.row(*author);
    engine().deactivateSync();
    disk->isFull = false;
    engine().activateSyncWithDropboxRestClient(client);
    engine().restClientLoadedDeltaEntries(*client, {}, false, "cursor-1", false);
    EXPECT_EQ(probe().rowInFlight(author->uuid()), row);
    pass(20);
    EXPECT_EQ(client->count(QWRestRequest::Upload), 1);
}

TEST_F(LocalTrouble, A_record_that_cannot_be_staged_is_not_sent_once_an_earlier_upload_has_settled_its_row) {
    const auto disk = std::make_shared<FullDisk>();
    disk->isFull = false;
    desktop.crash();
    desktop.world.files = disk;
    desktop.start();
    activateIdle();
    const auto author = desktop.add("Author");
    saveAndTurn();
    const auto request = client->requests[0];
    const QWLogCapture log;
    engine().deactivateSync();
    disk->isFull = true;
    activateIdle();
    EXPECT_EQ(log.texts("qwlibrary.sync").size(), 1);
    uploaded(request);
    EXPECT_FALSE(desktop.row(*author));
    disk->isFull = false;
    pass(10);
    EXPECT_EQ(client->count(QWRestRequest::Upload), 0);
}
