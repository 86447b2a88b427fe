#include "support/EngineTest.h"
#include "support/FullDisk.h"

namespace {

struct ImageTransfer : EngineTest {
    ImageTransfer() { activateIdle(); }

    QWFileManager& files() { return *desktop.world.files; }
    static QString path(const QWManagedObjectWithSyncSupport& book) { return book.imageURL().toLocalFile(); }

    // The upload of an image and its record is out.
    Record bookInFlight() {
        const auto book = desktop.add("Book");
        desktop.setImage(*book, "old");
        saveAndTurn();
        EXPECT_EQ(client->count(QWRestRequest::Upload), 2);
        image = client->requests[0];
        data = client->requests[1];
        client->forget();
        return book;
    }
    // As an editor would, a moment before the cloud dates the upload.
    void replaceImage(const QWManagedObjectWithSyncSupport& book) {
        ASSERT_TRUE(files().write(path(book), "new"));
        ASSERT_TRUE(files().setModificationDate(path(book), metadata("x").lastModifiedDate.addSecs(-5)));
    }
    QWRestRequest image, data;
};

} // namespace

// Upload ----------------------------------------------------------------------------------------------------

TEST_F(ImageTransfer, An_image_that_changes_on_its_way_is_sent_again_before_the_row_is_retired) {
    const auto book = bookInFlight();
    replaceImage(*book);
    uploaded(image, "rev5");
    ASSERT_EQ(client->log(), QStringList{"upload " + remote(imageFile(*book))});
    EXPECT_EQ(client->requests[0].parentRev, "rev5");
    uploaded(data);
    EXPECT_TRUE(desktop.row(*book));
    uploaded(client->requests[0], "rev6");
    EXPECT_FALSE(desktop.row(*book));
    EXPECT_EQ(files().modificationDate(path(*book)), metadata("x").lastModifiedDate);
    EXPECT_EQ(desktop.image(*book), "new");
}

TEST_F(ImageTransfer, An_image_that_changed_on_its_way_is_sent_by_the_next_activation_too) {
    const auto book = bookInFlight();
    replaceImage(*book);
    engine().deactivateSync();
    const QWLogCapture log;
    uploaded(image, "rev5");
    EXPECT_EQ(client->log(), QStringList());
    engine().activateSyncWithDropboxRestClient(client);
    engine().restClientLoadedDeltaEntries(*client, {}, false, "cursor-1", false);
    EXPECT_TRUE(client->log().contains("upload " + remote(imageFile(*book))));
}

TEST_F(ImageTransfer, An_image_that_changed_after_the_date_of_its_remote_copy_keeps_its_own) {
    const auto book = bookInFlight();
    const QDateTime date = metadata("x").lastModifiedDate.addSecs(100);
    ASSERT_TRUE(files().setModificationDate(path(*book), date));
    uploaded(image, "rev5");
    EXPECT_EQ(files().modificationDate(path(*book)), date);
    EXPECT_EQ(client->count(QWRestRequest::Upload), 1);
}

TEST_F(ImageTransfer, An_image_that_changed_on_its_way_is_not_sent_for_a_deleted_record) {
    const auto book = bookInFlight();
    replaceImage(*book);
    desktop.context->deleteObject(*book);
    saveAndTurn();
    uploaded(image);
    uploaded(data);
    EXPECT_EQ(client->count(QWRestRequest::Upload), 0);
    EXPECT_EQ(client->count(QWRestRequest::Delete), 2);
}

TEST_F(ImageTransfer, An_image_that_vanishes_while_its_upload_is_repeated_is_waited_for_no_longer) {
    const auto book = bookInFlight();
    const QString file = path(*book);
    uploaded(data);
    const QWLogCapture log;
    engine().restClientUploadFileFailedWithError(*client, failure(500, info(image)));
    desktop.context->deleteObject(*book);
    saveAndTurn();
    ASSERT_TRUE(files().remove(file));
    pass(10);
    EXPECT_EQ(client->count(QWRestRequest::Upload), 0);
    EXPECT_EQ(client->count(QWRestRequest::Delete), 2) << "the deletion is sent";
}

TEST_F(ImageTransfer, An_image_that_vanishes_ends_no_row_that_was_started_since) {
    const auto book = bookInFlight();
    const QWLogCapture log;
    engine().restClientUploadFileFailedWithError(*client, failure(500, info(image)));
    engine().deactivateSync();
    ASSERT_TRUE(files().remove(path(*book)));
    activateIdle();
    ASSERT_TRUE(desktop.row(*book));
    EXPECT_EQ(desktop.row(*book)->numberOfFilesUploadingToDropbox(), 1u);
    pass(10);
    EXPECT_TRUE(desktop.row(*book)) << "its record is not answered";
}

// Download --------------------------------------------------------------------------------------------------

namespace {

struct ImageOnFullDisk : ImageTransfer {
    std::shared_ptr<FullDisk> disk = std::make_shared<FullDisk>();

    // The image arrives, and there is no room for it at its place.
    ImageOnFullDisk() {
        disk->isFull = false;
        desktop.crash();
        desktop.world.files = disk;
        desktop.start();
        activateIdle();
        receive({changed("Book!!!X.data"), changed("Book!!!X.image")});
        loaded(client->requests[0], record("T", "2026-01-01 00:00:00 +0000"));
        image = client->requests[1];
        client->forget();
        EXPECT_TRUE(disk->write(image.localPath, "cover"));
        disk->isFull = true;
    }
    void arrive() { engine().restClientLoadedFile(*client, image.localPath, {}, metadata("Book!!!X.image")); }
};

} // namespace

TEST_F(ImageOnFullDisk, It_is_placed_when_there_is_room_and_not_known_before) {
    {
        const QWLogCapture log;
        arrive();
        EXPECT_EQ(log.texts("qwlibrary.sync").size(), 1);
    }
    EXPECT_FALSE(desktop.fileMetadata("Book!!!X.image"));
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    disk->isFull = false;
    pass(10);
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
    EXPECT_EQ(desktop.image(*desktop.find("X")), "cover");
    EXPECT_TRUE(desktop.fileMetadata("Book!!!X.image"));
}

TEST_F(ImageOnFullDisk, Its_bytes_are_on_the_disk_before_it_takes_its_place_and_its_name_after) {
    disk->isFull = false;
    disk->log.clear();
    arrive();
    const QString folder = QFileInfo(desktop.find("X")->imageURL().toLocalFile()).path();
    EXPECT_EQ(disk->log,
              QStringList({"sync " + image.localPath, "move " + image.localPath, "sync " + folder}));
}

TEST_F(ImageOnFullDisk, It_is_downloaded_again_if_the_download_has_gone_meanwhile) {
    const QWLogCapture log;
    arrive();
    ASSERT_TRUE(disk->remove(image.localPath));
    pass(10);
    EXPECT_EQ(client->log(), QStringList{"load " + image.path});
}

TEST_F(ImageOnFullDisk, It_is_left_to_the_next_batch_after_a_deactivation) {
    const QWLogCapture log;
    arrive();
    engine().deactivateSync();
    disk->isFull = false;
    pass(10);
    EXPECT_FALSE(desktop.fileMetadata("Book!!!X.image"));
    EXPECT_EQ(client->log(), QStringList());
}
