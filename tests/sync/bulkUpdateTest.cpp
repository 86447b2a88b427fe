#include "support/EngineTest.h"

// Which changes of an object are worth sending.

namespace {

struct BulkUpdate : EngineTest {
    Record book; // saved an hour ago; nothing waits for it
    int asked = 0;

    BulkUpdate() {
        desktop.wantsUpdate = [this](QWManagedObjectWithSyncSupport&) {
            ++asked;
            return true;
        };
        book = desktop.add("Book", {{"title", "T"}});
        saveAndTurn();
        forgetQueue();
        pass(3600);
    }
};

} // namespace

TEST_F(BulkUpdate, A_date_alone_is_not_queued_for_an_image_that_the_cloud_has) {
    desktop.setImage(*book, "cover");
    saveAndTurn();
    forgetQueue();
    const QString file = book->imageURL().toLocalFile();
    engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
        metadata(imageFile(*book)), file);
    asked = 0;
    pass(1);
    book->setDateModified(desktop.now());
    saveAndTurn();
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
    EXPECT_EQ(asked, 0);

    desktop.world.files->setModificationDate(file, metadata("x").lastModifiedDate.addSecs(1));
    pass(1);
    book->setDateModified(desktop.now());
    saveAndTurn();
    EXPECT_TRUE(desktop.row(*book)) << "the cloud's image is out of date now";
    EXPECT_EQ(asked, 1);
}

TEST_F(BulkUpdate, A_date_alone_is_not_stamped_for_the_image_of_an_object_that_can_have_no_row) {
    book->setUuid("no/name");
    saveAndTurn();
    asked = 0;
    pass(1);
    desktop.setImage(*book, "cover");
    saveAndTurn();
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(BulkUpdate, A_deletion_together_with_a_date_alone_is_not_queued) {
    book->setDateModified(desktop.now());
    desktop.context->deleteObject(*book);
    saveAndTurn();
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(BulkUpdate, Without_a_delegate_a_refreshed_object_is_neither_stamped_nor_queued) {
    engine().setDelegate(nullptr, nullptr);
    const QDateTime date = book->dateModified();
    desktop.context->refreshObject(*book, true);
    saveAndTurn();
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
    EXPECT_EQ(book->dateModified(), date);

    book->setDateModified(desktop.now());
    ASSERT_TRUE(book->doNotUpdateDateModifiedDuringNextSave());
    desktop.context->refreshObject(*book, false);
    saveAndTurn();
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
    EXPECT_EQ(book->dateModified(), date);
    EXPECT_FALSE(book->doNotUpdateDateModifiedDuringNextSave());
}
