#include "supervisor/DeletionGuard.h"
#include "support/FullDisk.h"
#include "sync/supervisor/QWVersionArchive.h"
#include "testing/QWLogCapture.h"

// A batch that did not come to its end has deleted records already, as far as it alone knows, when a query is held back.

namespace {

using namespace std::chrono_literals;

struct DeletionGuardBatch : DeletionGuard {
    // 40 of 100 records are deleted elsewhere, and a file has gone by the time that it is loaded. Before the batch is
    // begun anew 20 more follow.
    void openQuestionInBatch() {
        beginBatch();
        remove(20, 40);
        pass(61);
        ASSERT_EQ(questions, Questions({{60, 100}}));
        ASSERT_EQ(books(), 100);
    }
    void beginBatch() {
        cloud.put(cover, "cover");
        hold(100);
        ASSERT_EQ(desktop.image(*desktop.find("N0")), "cover");
        remove(40);
        cloud.remove(cover);
        cloud.putRecord("Book!!!Gone.data", book("Gone"));
        desktop.client->on(QWRestRequest::LoadFile).first(1).answersWith(404).delaysAnswer(10s);
        desktop.askForChanges();
        pass(1);
        ASSERT_EQ(questions, Questions());
    }
    // The next batch deletes a book that has a cover, and makes it again.
    void receiveMadeAgain() {
        cloud.put(cover, "cover");
        hold(100);
        cloud.remove(file(0));
        cloud.remove(cover);
        cloud.putRecord("Book!!!N0 (Ann's conflicted copy).data", book("Again", "2025-02-02 00:00:00 +0000"));
    }
    const QString cover = "Book!!!N0.image";
};

// When the question opens the disk does not take back the image that the batch has taken, and the cloud has it no longer.
struct DeletionGuardBatchOnFullDisk : DeletionGuardBatch {
    DeletionGuardBatchOnFullDisk() {
        disk->isFull = false;
        desktop.world.files = disk;
        startAnew();
        beginBatch();
        disk->fullBelow = QFileInfo(desktop.find("N0")->imageURL().toLocalFile()).path();
        disk->isFull = true;
        remove(20, 40);
        pass(61);
    }
    void refuse() {
        ASSERT_EQ(questions.back(), std::pair(60LL, 100LL));
        ASSERT_EQ(desktop.image(*desktop.find("N0")), "");
        supervisor().answerDeletionQuestion(false);
        pass(120);
    }
    void expectImage() {
        EXPECT_EQ(desktop.image(*desktop.find("N0")), "cover");
        EXPECT_EQ(cloud.bytes(cover), "cover");
        EXPECT_TRUE(supervisor().isInStep());
    }
    const std::shared_ptr<FullDisk> disk = std::make_shared<FullDisk>();
    const QWLogCapture log;
};

} // namespace

TEST_F(DeletionGuardBatchOnFullDisk, A_no_keeps_also_an_image_that_is_put_back_later) {
    disk->isFull = false;
    refuse();
    expectImage();
}

TEST_F(DeletionGuardBatchOnFullDisk, A_no_keeps_also_an_image_that_another_process_puts_back) {
    startAnew();
    disk->isFull = false;
    refuse();
    expectImage();
}

TEST_F(DeletionGuardBatchOnFullDisk, A_no_keeps_also_an_image_that_is_put_back_after_its_record_was_sent) {
    refuse();
    ASSERT_EQ(cloud.bytes(cover), "");
    disk->isFull = false;
    receive();
    expectImage();
}

TEST_F(DeletionGuardBatch, A_no_keeps_what_it_has_deleted) {
    openQuestionInBatch();
    supervisor().answerDeletionQuestion(false);
    pass(120);
    EXPECT_EQ(books(), 101);
    EXPECT_EQ(cloud.fileNames().size(), 102);
    EXPECT_EQ(cloud.bytes(cover), "cover");
    EXPECT_EQ(desktop.image(*desktop.find("N0")), "cover");
    EXPECT_TRUE(desktop.isIdle());
    receive();
    EXPECT_EQ(books(), 101);
    EXPECT_EQ(questions.size(), 1u);
}

TEST_F(DeletionGuardBatch, A_yes_deletes_all) {
    openQuestionInBatch();
    supervisor().answerDeletionQuestion(true);
    pass(120);
    EXPECT_EQ(books(), 41);
    EXPECT_EQ(cloud.fileNames().size(), 41);
    EXPECT_TRUE(desktop.isIdle());
}

TEST_F(DeletionGuardBatch, A_yes_counts_until_a_batch_that_could_not_be_saved_has_come_again) {
    hold(100);
    remove(60);
    cloud.putRecord("Label!!!L.data",
                    {{"dateModified", "2025-01-01 00:00:00 +0000"}}); // the model wants a text
    receive();
    ASSERT_EQ(questions, Questions({{60, 100}}));
    supervisor().answerDeletionQuestion(true);
    pass(3);
    ASSERT_EQ(books(), 100);
    desktop.add("Book", {{"title", "Sent meanwhile"}});
    desktop.save();
    pass(60);
    EXPECT_EQ(questions.size(), 1u);
    EXPECT_EQ(books(), 41);
}

TEST_F(DeletionGuardBatch, The_end_of_the_process_deletes_nothing) {
    openQuestionInBatch();
    engine().applicationWillClose();
    EXPECT_EQ(books(), 100);
    desktop.crash();
    desktop.start();
    EXPECT_EQ(books(), 100);
}

TEST_F(DeletionGuardBatch, The_end_of_the_process_in_it_puts_back_the_images_that_it_has_taken) {
    beginBatch();
    const QString path = desktop.find("N0")->imageURL().toLocalFile();
    ASSERT_FALSE(desktop.world.files->exists(path));
    const auto version = supervisor().versionArchive().versions("N0").at(0);
    desktop.crash();
    desktop.start();
    EXPECT_EQ(desktop.image(*desktop.find("N0")), "cover");
    EXPECT_EQ(desktop.world.files->modificationDate(path), version.dateModified);
    desktop.activate();
    pass(60);
    EXPECT_FALSE(desktop.find("N0"));
    EXPECT_FALSE(desktop.world.files->exists(path)) << "the batch has come again";
}

TEST_F(DeletionGuardBatch, What_it_has_made_again_has_lost_the_image_that_it_has_taken) {
    receiveMadeAgain();
    cloud.put(cover, "another");
    receive();
    ASSERT_FALSE(supervisor().versionArchive().versions("N0").empty());
    ASSERT_TRUE(desktop.find("N0"));
    EXPECT_EQ(desktop.image(*desktop.find("N0")), "another");
}

TEST_F(DeletionGuardBatch,
       A_process_that_dies_when_it_is_saved_leaves_what_it_has_made_again_without_that_image) {
    receiveMadeAgain();
    struct Death {};
    const auto observation = desktop.context->observeWillMerge([](const QWDidSaveNotice&) { throw Death(); });
    ASSERT_THROW(receive(), Death);
    desktop.crash();
    desktop.start();
    ASSERT_EQ(desktop.find("N0")->valueForKey("title"), "Again");
    ASSERT_FALSE(supervisor().versionArchive().versions("N0").empty());
    EXPECT_EQ(desktop.image(*desktop.find("N0")), "");
}

TEST_F(DeletionGuardBatch, What_it_has_made_again_gets_that_image_back_when_it_comes_as_another_batch) {
    receiveMadeAgain();
    cloud.putRecord("Label!!!L.data",
                    {{"dateModified", "2025-01-01 00:00:00 +0000"}}); // the model wants a text
    desktop.askForChanges();
    pass(3);
    ASSERT_NE(desktop.find("N0")->valueForKey("title"), "Again");
    EXPECT_EQ(desktop.image(*desktop.find("N0")), "cover");
}

TEST_F(DeletionGuardBatch, The_image_is_put_back_though_the_host_has_deleted_the_record_and_not_saved) {
    beginBatch();
    const QString path = desktop.find("N0")->imageURL().toLocalFile();
    desktop.context->deleteObject(*desktop.find("N0"));
    engine().deactivateSync();
    EXPECT_TRUE(desktop.world.files->exists(path));
    desktop.context->rollback();
    EXPECT_EQ(desktop.image(*desktop.find("N0")), "cover");
}

TEST_F(DeletionGuardBatch, What_the_host_has_put_in_the_place_of_such_an_image_stays) {
    beginBatch();
    desktop.setImage(*desktop.find("N0"), "mine");
    desktop.crash();
    desktop.start();
    EXPECT_EQ(desktop.image(*desktop.find("N0")), "mine");
}

TEST_F(DeletionGuardBatch,
       An_image_that_a_saved_batch_has_taken_is_not_put_back_to_a_record_of_the_same_uuid) {
    beginBatch();
    pass(120);
    ASSERT_FALSE(desktop.find("N0"));
    desktop.add("Book", {{"title", "Another"}})->setUuid("N0");
    desktop.save();
    desktop.crash();
    desktop.start();
    EXPECT_EQ(desktop.image(*desktop.find("N0")), "");
}

struct DeletionGuardBatchAnswer : DeletionGuardBatch, testing::WithParamInterface<bool> {};

TEST_P(DeletionGuardBatchAnswer, Leaves_a_record_that_is_edited_while_the_question_is_open) {
    openQuestionInBatch();
    desktop.find("N0")->setValueForKey("title", "Edited");
    desktop.save();
    pass(30);
    ASSERT_EQ(titleInCloud(file(0)), "Edited");
    supervisor().answerDeletionQuestion(GetParam());
    pass(120);
    ASSERT_TRUE(desktop.find("N0"));
    EXPECT_EQ(desktop.find("N0")->valueForKey("title"), "Edited");
    EXPECT_EQ(titleInCloud(file(0)), "Edited");
}

INSTANTIATE_TEST_SUITE_P(Each, DeletionGuardBatchAnswer, testing::Bool());

TEST_F(DeletionGuard, What_is_edited_while_it_is_sent_is_sent_again_while_the_question_is_open) {
    openQuestion();
    for (int number = 60; number < 70; ++number) {
        const auto record = desktop.find(QStringLiteral("N%1").arg(number));
        desktop.client->on(QWRestRequest::Upload).first(1).delaysAnswer(10s);
        record->setValueForKey("title", "First");
        desktop.save();
        pass(5);
        record->setValueForKey("title", "Second");
        desktop.save();
        pass(70);
        EXPECT_EQ(titleInCloud(file(number)), "Second");
        EXPECT_EQ(engine().numberOfObjectsSyncing(), 0) << number;
    }
    EXPECT_EQ(questions.size(), 1u);
    EXPECT_EQ(queries(), 0);
    EXPECT_TRUE(supervisor().isDeletionQuestionOpen());
    EXPECT_EQ(books(), 100);
}

TEST_F(DeletionGuard, Deletions_of_conflicted_copies_do_not_count) {
    hold(100);
    for (int number = 0; number < 60; ++number) {
        const QString copy = QStringLiteral("Book!!!N%1 (Ann's conflicted copy).data").arg(number);
        engine().fileMetadataManager().fileMetadataForFileName(copy, true)->setRev("1");
        cloud.putRecord(copy, book("Copy"));
        cloud.remove(copy);
    }
    receive();
    EXPECT_EQ(questions, Questions());
    EXPECT_FALSE(engine().fileMetadataManager().fileMetadataForFileName(
        "Book!!!N0 (Ann's conflicted copy).data", false));
}

TEST(SyncFolder, That_a_desktop_makes_is_listed_before_other_desktops_delete_in_it) {
    Cloud cloud;
    Desktop desktop(cloud, 1, Desktop::Supervised);
    desktop.sync(); // there is nothing yet
    desktop.crash();
    desktop.start();
    desktop.activate();
    desktop.add("Book", {{"uuid", "X"}});
    desktop.save();
    desktop.advance(5s);
    ASSERT_EQ(cloud.fileNames(), QStringList("Book!!!X.data"));
    cloud.remove("Book!!!X.data");
    desktop.sync();
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_EQ(cloud.fileNames(), QStringList());
}
