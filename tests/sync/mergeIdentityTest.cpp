#include "support/MergeTest.h"

// Deletions on one side, and one uuid inserted on both.

using MergeDeletion = MergeTest;

TEST_F(MergeDeletion, A_received_deletion_wins_over_an_unsaved_version) {
    beginDeletion();
    edit();
    endBatch();
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_FALSE(stored());
    desktop.save();
    EXPECT_FALSE(stored());
}

TEST_F(MergeDeletion, A_received_deletion_wins_over_a_saved_version) {
    beginDeletion();
    edit();
    desktop.save();
    endBatch();
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_FALSE(stored());
}

TEST_F(MergeDeletion, A_received_deletion_of_a_record_that_the_host_deleted_too_is_fine) {
    beginDeletion();
    desktop.context->deleteObject(*book);
    desktop.save();
    endBatch();
    EXPECT_FALSE(stored());
}

TEST_F(MergeDeletion, A_received_deletion_of_a_record_whose_deletion_the_host_has_not_saved_is_fine) {
    beginDeletion();
    desktop.context->deleteObject(*book);
    desktop.context->processPendingChanges();
    endBatch();
    desktop.save();
    EXPECT_TRUE(desktop.world.errorPresenter->errors().empty());
    EXPECT_FALSE(stored());
}

TEST_F(MergeDeletion, A_received_deletion_leaves_what_the_host_has_just_linked_to_the_record) {
    beginDeletion();
    const auto chapter = desktop.add("Chapter", {{"heading", "New"}});
    chapter->setRelatedObject("book", book.data());
    const auto author = desktop.add("Author");
    book->setRelatedObject("author", author.data());
    desktop.context->processPendingChanges();
    endBatch();
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_TRUE(author->relatedObjects("books").isEmpty());
    EXPECT_FALSE(chapter->relatedObject("book"));
    desktop.save();
    EXPECT_TRUE(stored(chapter->uuid(), "Chapter"));
    EXPECT_FALSE(stored());
}

TEST_F(MergeDeletion, A_version_uploaded_after_a_deletion_makes_the_record_again) {
    beginDeletion();
    edit();
    endBatch();
    client->forget();
    receive({changed("Book!!!X.data", "rev3")});
    loaded(client->requests[0], record("Again", earlier), "rev3");
    ASSERT_TRUE(desktop.find("X"));
    EXPECT_EQ(desktop.find("X")->valueForKey("title"), "Again");
}

TEST_F(MergeDeletion, A_deletion_that_the_host_has_not_saved_wins_and_is_queued_again) {
    beginBatch(later);
    desktop.context->deleteObject(*book);
    desktop.context->processPendingChanges();
    forgetQueue();
    endBatch();
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 1);
    EXPECT_EQ(client->requests.back().kind, QWRestRequest::Delete);
    desktop.save();
    EXPECT_TRUE(desktop.world.errorPresenter->errors().empty());
    EXPECT_FALSE(stored());
}

TEST_F(MergeDeletion, A_deletion_that_the_host_has_saved_wins_and_is_queued_again) {
    beginBatch(later);
    desktop.context->deleteObject(*book);
    desktop.save();
    forgetQueue();
    endBatch();
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_FALSE(stored());
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 1);
}

TEST_F(MergeDeletion, A_record_that_the_batch_only_links_to_can_be_deleted_by_the_host) {
    for (const bool saved : {true, false}) {
        const auto author = desktop.add("Author");
        author->setUuid(saved ? "A" : "B");
        desktop.save();
        const QByteArray link =
            R"(,"author":{"uuid":")" + author->uuid().toUtf8() + R"(","entityName":"Author"})";
        client->forget();
        const QString rev = author->uuid(), date = saved ? later : QString("2026-07-01 00:00:00 +0000");
        receive({changed("Book!!!X.data", rev), changed("Chapter!!!LAST.data", rev)});
        loaded(client->requests[0], R"({"title":"T","dateModified":")" + date.toUtf8() + '"' + link + "}",
               rev);
        desktop.context->deleteObject(*author);
        if (saved)
            desktop.save();
        loaded(client->requests[1], R"({"heading":"H","dateModified":"2026-01-01 00:00:00 +0000"})", rev);
        EXPECT_TRUE(desktop.world.errorPresenter->errors().empty());
        desktop.save();
        EXPECT_FALSE(stored(author->uuid(), "Author"));
        EXPECT_FALSE(stored()->relatedObject("author"));
    }
}

// One uuid, two insertions ----------------------------------------------------------------------------------

namespace {

struct MergeInsertion : MergeTest {
    // An author that the host inserts while the batch has one of the same uuid, and a book of its own.
    Record host, hostsBook;

    // The batch has received the author "N", and a book that it wrote.
    void beginBatchWithAuthor(const QString& dateModified) {
        receive({changed("Author!!!N.data"), changed("Book!!!Y.data"), changed("Chapter!!!LAST.data")});
        loaded(client->requests[0], R"({"name":"Received","dateModified":")" + dateModified.toUtf8() + "\"}");
        loaded(
            client->requests[1],
            R"({"title":"Y","dateModified":"2026-01-01 00:00:30 +0000","author":{"uuid":"n","entityName":"Author"}})");
    }
    void insert() {
        host = desktop.add("Author", {{"name", "Host's"}});
        host->setUuid("n");
        hostsBook = desktop.add("Book", {{"title", "Host's"}});
        hostsBook->setUuid("HB");
        hostsBook->setRelatedObject("author", host.data());
        desktop.context->processPendingChanges();
    }
    void expectOneAuthor(const QString& name, int authors = 1) {
        EXPECT_EQ(desktop.context->count(QWFetchRequest("Author")), authors);
        const auto author = desktop.find("N", "Author");
        ASSERT_TRUE(author);
        EXPECT_EQ(author->valueForKey("name"), name);
        EXPECT_EQ(hostsBook->relatedObject("author").data(), author.data());
        EXPECT_EQ(desktop.find("Y")->relatedObject("author").data(), author.data());
        EXPECT_EQ(author->relatedObjects("books").size(), 2);
        desktop.save();
        EXPECT_EQ(stored("N", "Author")->valueForKey("name"), name);
        EXPECT_EQ(stored("HB")->relatedObject("author")->valueForKey("name"), name);
        EXPECT_EQ(stored("Y")->relatedObject("author")->valueForKey("name"), name);
    }
};

} // namespace

TEST_F(MergeInsertion, An_unsaved_insertion_with_the_later_date_wins_and_one_record_is_left) {
    beginBatchWithAuthor(earlier);
    insert();
    forgetQueue();
    endBatch();
    EXPECT_TRUE(desktop.row(*desktop.find("N", "Author")));
    EXPECT_FALSE(desktop.find("N", "Author")->doNotUpdateDateModifiedDuringNextSave());
    expectOneAuthor("Host's");
}

TEST_F(MergeInsertion, A_received_insertion_with_the_later_date_wins_and_one_record_is_left) {
    beginBatchWithAuthor(later);
    insert();
    endBatch();
    expectOneAuthor("Received");
}

TEST_F(MergeInsertion, A_saved_insertion_with_the_later_date_wins_and_one_record_is_left) {
    beginBatchWithAuthor(earlier);
    insert();
    forgetQueue();
    desktop.save();
    endBatch();
    EXPECT_TRUE(desktop.row(*desktop.find("N", "Author")));
    expectOneAuthor("Host's");
}

TEST_F(MergeInsertion, A_received_insertion_wins_over_a_saved_one_too) {
    beginBatchWithAuthor(later);
    insert();
    desktop.save();
    endBatch();
    expectOneAuthor("Received");
}

TEST_F(MergeInsertion, A_saved_insertion_is_found_by_the_files_that_come_after_it) {
    receive({changed("Author!!!N.data"), changed("Book!!!Y.data"), changed("Chapter!!!LAST.data")});
    loaded(client->requests[0], R"({"name":"Received","dateModified":"2026-06-01 00:00:00 +0000"})");
    insert();
    desktop.save();
    loaded(
        client->requests[1],
        R"({"title":"Y","dateModified":"2026-01-01 00:00:30 +0000","author":{"uuid":"n","entityName":"Author"}})");
    endBatch();
    expectOneAuthor("Received");
}

TEST_F(MergeInsertion, Links_that_have_no_other_end_lead_to_the_record_that_is_left) {
    const auto other = desktop.add("Author", {{"name", "Another"}});
    const QWRef<QWManagedObject> saved = desktop.context->insertObject("Sticker");
    desktop.save();
    beginBatchWithAuthor(later);
    insert();
    const QWRef<QWManagedObject> unsaved = desktop.context->insertObject("Sticker");
    const QWRef<QWManagedObject> elsewhere = desktop.context->insertObject("Sticker");
    for (const auto& sticker : {saved, unsaved}) {
        sticker->setRelatedObject("author", host.data());
        sticker->setRelatedObjects("authors", {other, host});
    }
    elsewhere->setRelatedObject("author", other.data());
    endBatch();
    const QWRef<QWManagedObject> author(desktop.find("N", "Author").data());
    for (const auto& sticker : {saved, unsaved}) {
        EXPECT_EQ(sticker->relatedObject("author"), author);
        const auto authors = sticker->relatedObjects("authors");
        EXPECT_EQ(authors.size(), 2);
        EXPECT_TRUE(authors.contains(author));
    }
    EXPECT_EQ(elsewhere->relatedObject("author")->valueForKey("name"), "Another");
    expectOneAuthor("Received", 2);
}

TEST_F(MergeInsertion, A_received_deletion_wins_over_an_insertion_that_was_sent_and_not_saved) {
    insert();
    for (const QString fileName : {"Author!!!n.data", "Book!!!HB.data"})
        engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(metadata(fileName));
    forgetQueue();
    receive({deleted("Author!!!n.data"), changed("Chapter!!!LAST.data")});
    endBatch();
    turn();
    EXPECT_FALSE(desktop.find("n", "Author"));
    EXPECT_FALSE(hostsBook->relatedObject("author"));
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0) << "unseen by change capture";
    desktop.save();
    EXPECT_FALSE(stored("n", "Author"));
    EXPECT_TRUE(stored("HB"));
}

TEST_F(MergeInsertion, A_record_that_was_only_referred_to_gives_way_to_an_insertion) {
    receive({changed("Book!!!Y.data"), changed("Chapter!!!LAST.data")});
    loaded(
        client->requests[0],
        R"({"title":"Y","dateModified":"2026-01-01 00:00:30 +0000","author":{"uuid":"n","entityName":"Author"}})");
    insert();
    endBatch();
    expectOneAuthor("Host's");
}

TEST_F(MergeInsertion, A_deletion_of_a_sent_and_unsaved_insertion_wins_over_the_version_received_before) {
    insert();
    forgetQueue();
    receive({changed("Author!!!n.data"), changed("Chapter!!!LAST.data")});
    loaded(client->requests[0], R"({"name":"Received","dateModified":"2026-06-01 00:00:00 +0000"})");
    desktop.context->deleteObject(*host);
    desktop.context->processPendingChanges();
    endBatch();
    EXPECT_FALSE(desktop.find("n", "Author"));
    EXPECT_EQ(client->requests.back().kind, QWRestRequest::Delete);
    desktop.save();
    EXPECT_FALSE(stored("n", "Author"));
    EXPECT_TRUE(stored("HB"));
}
