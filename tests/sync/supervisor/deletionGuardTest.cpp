#include "supervisor/DeletionGuard.h"

// A query that would delete very many records waits for the host's answer: which ones do.

using namespace std::chrono_literals;

TEST_F(DeletionGuard, A_host_that_is_not_asked_gets_the_deletions_as_they_are) {
    supervisor().setDeletionQuestion({});
    hold(100);
    remove(60);
    receive();
    EXPECT_EQ(books(), 40);
    EXPECT_TRUE(desktop.isIdle());
}

TEST_F(DeletionGuard, Nothing_of_the_query_is_imported_while_the_question_is_open) {
    hold(100);
    const QString cursor = desktop.savedCursor();
    remove(60);
    cloud.putRecord("Book!!!New.data", book("New"));
    cloud.putRecord(file(99), book("Edited", "2025-02-02 00:00:00 +0000"));
    receive();
    EXPECT_EQ(questions, Questions({{60, 100}}));
    EXPECT_TRUE(supervisor().isDeletionQuestionOpen());
    EXPECT_EQ(books(), 100);
    EXPECT_FALSE(desktop.find("New"));
    EXPECT_EQ(desktop.find("N99")->valueForKey("title"), "Old");
    EXPECT_EQ(desktop.savedCursor(), cursor);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    EXPECT_EQ(engine().deltaEntriesToImport().count(), 0);
    EXPECT_EQ(engine().numberOfItemsToProcess(), 0);
    EXPECT_FALSE(supervisor().isInStep());
    EXPECT_FALSE(supervisor().isAtRest());
}

TEST_F(DeletionGuard, More_than_fifty_and_more_than_a_fifth_are_very_many) {
    hold(120);
    remove(50);
    receive();
    EXPECT_EQ(questions, Questions());
    EXPECT_EQ(books(), 70);
    remove(51, 50);
    receive();
    EXPECT_EQ(questions, Questions({{51, 70}}));
    EXPECT_EQ(books(), 70);
}

TEST_F(DeletionGuard, A_fifth_is_not_more_than_a_fifth) {
    hold(255);
    remove(51);
    receive();
    EXPECT_EQ(questions, Questions());
    EXPECT_EQ(books(), 204);
}

TEST_F(DeletionGuard, Records_of_every_synced_entity_count_and_no_others) {
    hold(150);
    for (int number = 0; number < 200; ++number) {
        desktop.add(number < 105 ? "Author" : "Chapter");
        desktop.context->insertObject("Sticker"); // which is not synced
    }
    desktop.save();
    pass(60);
    remove(70);
    receive();
    EXPECT_EQ(questions, Questions()) << "70 of 350";
    remove(60, 70);
    receive();
    EXPECT_EQ(questions, Questions({{60, 280}}));
}

TEST_F(DeletionGuard, Records_of_a_subentity_count_once_though_its_parent_is_synced_too) {
    hold(100);
    for (int number = 0; number < 150; ++number)
        desktop.add("Badge", {{"text", "T"}}); // which is a label
    desktop.save();
    pass(60);
    remove(60);
    receive();
    EXPECT_EQ(questions, Questions({{60, 250}}));
}

TEST_F(DeletionGuard, Records_that_a_delete_rule_takes_along_count_once_each) {
    for (const bool areDeletedThemselves : {false, true}) {
        questions.clear();
        hold(100);
        const QStringList chapters = addChapters(30, 2);
        remove(30);
        if (areDeletedThemselves)
            for (const QString& chapter : chapters)
                cloud.remove(chapter);
        receive();
        EXPECT_EQ(questions, Questions({{90, 160}}));
        supervisor().answerDeletionQuestion(true);
        pass(60);
        EXPECT_EQ(questions.size(), 1u);
        EXPECT_EQ(books(), 70);
        EXPECT_EQ(desktop.context->count(QWFetchRequest("Chapter")), 0);
        supervisor().setDeletionQuestion({});
        for (const QString& name : cloud.fileNames())
            cloud.remove(name);
        receive();
        ask();
    }
}

TEST_F(DeletionGuard, After_a_no_what_a_delete_rule_would_have_taken_along_stays_and_is_not_sent) {
    hold(100);
    const QStringList chapters = addChapters(30, 2);
    const QString revision = desktop.fileMetadata(chapters[0])->rev();
    remove(30);
    receive();
    ASSERT_EQ(questions, Questions({{90, 160}}));
    supervisor().answerDeletionQuestion(false);
    pass(120);
    EXPECT_EQ(books(), 100);
    EXPECT_EQ(desktop.context->count(QWFetchRequest("Chapter")), 60);
    EXPECT_EQ(desktop.fileMetadata(chapters[0])->rev(), revision);
    EXPECT_EQ(cloud.fileNames().size(), 160);
    EXPECT_TRUE(desktop.isIdle());
}

TEST_F(DeletionGuard, Files_that_stand_for_no_record_here_do_not_count) {
    hold(100);
    for (int number = 0; number < 100; ++number) {
        cloud.put(QStringLiteral("Book!!!N%1.image").arg(number), "image");
        cloud.put(QStringLiteral("N%1.data").arg(number), "noise");
    }
    receive();
    for (const QString& name : cloud.fileNames())
        if (!name.startsWith("Book") || name.endsWith(".image"))
            cloud.remove(name);
    for (int number = 0; number < 60; ++number)
        desktop.context->deleteObject(*desktop.find(QStringLiteral("N%1").arg(number)));
    engine().deactivateSync();
    desktop.save();
    remove(60);
    desktop.activate();
    pass(60);
    EXPECT_EQ(questions, Questions());
    EXPECT_EQ(books(), 40);
}

TEST(DeletionGuardOfPages, Deletions_of_all_pages_of_a_query_count_together) {
    struct ShortPages : Cloud {
        std::unique_ptr<DBRestClient> makeClient(const std::shared_ptr<QWEnvironment>& environment) override {
            return std::make_unique<QWFolderRestClient>(
                folder, environment, QWFolderRestClientOptions{.latency = {}, .pageSize = 7});
        }
    } cloud;
    Desktop desktop(cloud, 1, Desktop::Supervised);
    const auto books = [&] { return desktop.context->count(QWFetchRequest("Book")); };
    for (int number = 0; number < 100; ++number)
        cloud.putRecord(DeletionGuard::file(number), OneDesktop::book("Old"));
    desktop.sync();
    ASSERT_EQ(books(), 100);
    int questions = 0;
    desktop.supervisor->setDeletionQuestion([&](qint64 count, qint64) {
        ++questions;
        EXPECT_EQ(count, 60);
    });
    for (int number = 0; number < 60; ++number)
        cloud.remove(DeletionGuard::file(number));
    desktop.askForChanges();
    desktop.advance(60s);
    EXPECT_EQ(questions, 1);
    EXPECT_EQ(books(), 100);
    desktop.supervisor->answerDeletionQuestion(true);
    desktop.advance(60s);
    EXPECT_EQ(questions, 1);
    EXPECT_EQ(books(), 40);
}

TEST_F(DeletionGuard, Files_that_a_listing_from_scratch_lacks_count) {
    for (const bool isWanted : {false, true}) {
        questions.clear();
        hold(100);
        remove(60);
        cloud.folder->forgetCursors();
        receive();
        EXPECT_EQ(questions, Questions({{60, 100}}));
        EXPECT_EQ(books(), 100);
        supervisor().answerDeletionQuestion(isWanted);
        pass(120);
        EXPECT_EQ(books(), isWanted ? 40 : 100);
        EXPECT_EQ(cloud.fileNames().size(), books());
        EXPECT_TRUE(desktop.isIdle());
    }
}

TEST_F(DeletionGuard, The_deletion_of_the_sync_folder_makes_everything_be_sent_again_without_a_question) {
    for (const bool isCursorLost : {false, true}) {
        hold(100);
        ASSERT_TRUE(cloud.folder->remove("/SyncCache.dbSync"));
        if (isCursorLost)
            cloud.folder->forgetCursors();
        receive();
        pass(120);
        EXPECT_EQ(questions, Questions());
        EXPECT_EQ(books(), 100);
        EXPECT_EQ(cloud.fileNames().size(), 100);
    }
}

TEST_F(DeletionGuard, A_sync_folder_that_was_deleted_and_made_again_makes_everything_be_sent_again) {
    hold(100);
    ASSERT_TRUE(cloud.folder->remove("/SyncCache.dbSync"));
    cloud.putRecord("Book!!!New.data", book("New"));
    receive();
    pass(120);
    EXPECT_EQ(questions, Questions());
    EXPECT_EQ(books(), 101);
    EXPECT_EQ(cloud.fileNames().size(), 101);
}
