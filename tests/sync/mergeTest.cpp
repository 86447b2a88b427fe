#include "support/MergeTest.h"

using Merge = MergeTest;

TEST_F(Merge, A_version_that_the_host_saved_later_wins_whole_and_is_queued_again) {
    beginBatch(earlier);
    edit();
    desktop.save();
    forgetQueue();
    endBatch();
    expectBook("Host's", 1);
    EXPECT_TRUE(isQueued());
}

TEST_F(Merge, A_received_version_with_a_later_date_wins_whole_over_a_saved_one) {
    beginBatch(later);
    edit("pages", 7);
    desktop.save();
    endBatch();
    expectBook("Received", 2);
    EXPECT_FALSE(desktop.context->hasChanges());
}

TEST_F(Merge, A_tie_is_the_hosts) {
    beginBatch("2026-01-01 00:01:00 +0000");
    edit();
    EXPECT_EQ(book->dateModified(), desktop.now());
    desktop.save();
    endBatch();
    expectBook("Host's", 1);
}

TEST_F(Merge, An_unsaved_version_counts_and_what_it_beats_is_not_saved) {
    beginBatch(earlier);
    edit();
    endBatch();
    EXPECT_EQ(book->valueForKey("title"), "Host's");
    EXPECT_EQ(book->valueForKey("pages"), 1);
    EXPECT_TRUE(isQueued());
    EXPECT_EQ(stored()->valueForKey("title"), "Old");
    EXPECT_EQ(stored()->valueForKey("pages"), 1);
    desktop.save();
    expectBook("Host's", 1);
}

TEST_F(Merge, An_edit_that_was_not_reported_yet_counts) {
    beginBatch(earlier);
    book->setValueForKey("title", "Host's");
    endBatch();
    EXPECT_EQ(book->valueForKey("title"), "Host's");
    EXPECT_EQ(book->valueForKey("pages"), 1);
    EXPECT_TRUE(isQueued());
}

TEST_F(Merge, An_edit_older_than_the_batch_is_queued_again_although_the_import_dropped_its_row) {
    edit();
    EXPECT_TRUE(isQueued());
    engine().deactivateSync();
    activateIdle();
    forgetQueue();
    beginBatch(earlier);
    EXPECT_FALSE(isQueued());
    endBatch();
    EXPECT_EQ(book->valueForKey("title"), "Host's");
    EXPECT_TRUE(isQueued());
}

TEST_F(Merge, Unsaved_edits_that_lose_are_dropped_unseen_by_change_capture) {
    beginBatch(later);
    edit("pages", 7);
    forgetQueue();
    endBatch();
    turn();
    expectBook("Received", 2);
    EXPECT_FALSE(isQueued());
    EXPECT_EQ(book->dateModified(), QDateTime(QDate(2026, 6, 1), QTime(0, 0), Qt::UTC));
    EXPECT_FALSE(desktop.context->hasChanges());
    book->setValueForKey("title", "After");
    desktop.save();
    expectBook("After", 2);
}

TEST_F(Merge, The_links_of_edits_that_lose_are_dropped_at_both_ends) {
    const auto author = desktop.add("Author");
    desktop.save();
    beginBatch(later);
    book->setRelatedObject("author", author.data());
    desktop.context->processPendingChanges();
    endBatch();
    EXPECT_FALSE(book->relatedObject("author"));
    EXPECT_TRUE(author->relatedObjects("books").isEmpty());
}

TEST_F(Merge, A_received_link_takes_the_place_of_an_unsaved_one_at_both_ends) {
    const auto received = desktop.add("Author"), unsaved = desktop.add("Author");
    desktop.save();
    beginBatch(later, R"(,"author":{"entityName":"Author","uuid":")" + received->uuid().toUtf8() + "\"}");
    book->setRelatedObject("author", unsaved.data());
    desktop.context->processPendingChanges();
    endBatch();
    EXPECT_EQ(book->relatedObject("author").data(), received.data());
    EXPECT_EQ(received->relatedObjects("books").size(), 1);
    EXPECT_TRUE(unsaved->relatedObjects("books").isEmpty());
}

TEST_F(Merge, What_another_record_says_of_its_parting_from_one_that_loses_stays) {
    const auto author = desktop.add("Author", {{"name", "Old"}});
    author->setUuid("A");
    book->setRelatedObject("author", author.data());
    desktop.save();
    receive({changed("Author!!!A.data", "rev2"), changed("Chapter!!!LAST.data")});
    loaded(client->requests[0], R"({"name":"Received","dateModified":")" + later.toUtf8() + "\"}", "rev2");
    author->setValueForKey("name", "Host's");
    book->setRelatedObject("author", nullptr);
    desktop.context->processPendingChanges();
    endBatch();
    EXPECT_EQ(author->valueForKey("name"), "Received");
    EXPECT_FALSE(book->relatedObject("author"));
    EXPECT_TRUE(author->relatedObjects("books").isEmpty());
    desktop.save();
    EXPECT_TRUE(stored("A", "Author")->relatedObjects("books").isEmpty());
}

TEST_F(Merge, What_another_record_says_of_its_link_to_one_that_loses_stays) {
    beginBatch(later);
    edit("pages", 7);
    const auto chapter = desktop.add("Chapter");
    chapter->setRelatedObject("book", book.data());
    desktop.context->processPendingChanges();
    endBatch();
    EXPECT_EQ(book->valueForKey("title"), "Received");
    EXPECT_EQ(chapter->relatedObject("book").data(), book.data());
    EXPECT_EQ(book->relatedObjects("chapters").size(), 1);
    desktop.save();
    EXPECT_EQ(stored("X")->relatedObjects("chapters").size(), 1);
}

TEST_F(Merge, A_record_that_only_gained_a_member_is_no_other_version) {
    desktop.wantsUpdate = [](auto&) { return false; };
    beginBatch(earlier);
    const auto chapter = desktop.add("Chapter");
    chapter->setRelatedObject("book", book.data());
    desktop.context->processPendingChanges();
    endBatch();
    EXPECT_EQ(book->valueForKey("title"), "Received");
    EXPECT_EQ(book->relatedObjects("chapters").size(), 1);
    EXPECT_FALSE(isQueued());
    desktop.save();
    EXPECT_EQ(stored()->relatedObjects("chapters").size(), 1);
}

TEST_F(Merge, A_record_that_the_batch_only_links_to_keeps_what_the_host_saved_of_it) {
    const auto author = desktop.add("Author", {{"name", "Old"}});
    author->setUuid("A");
    desktop.save();
    beginBatch(later, R"(,"author":{"uuid":"A","entityName":"Author"})");
    author->setValueForKey("name", "Host's");
    desktop.save();
    endBatch();
    EXPECT_EQ(book->relatedObject("author").data(), author.data());
    EXPECT_EQ(stored("A", "Author")->valueForKey("name"), "Host's");
    EXPECT_EQ(stored()->relatedObject("author")->valueForKey("name"), "Host's");
    author->setValueForKey("name", "After");
    desktop.save();
    EXPECT_EQ(stored("A", "Author")->valueForKey("name"), "After");
}

TEST_F(Merge, A_record_that_the_batch_only_links_to_keeps_the_hosts_unsaved_edits) {
    const auto author = desktop.add("Author", {{"name", "Old"}});
    author->setUuid("A");
    desktop.save();
    beginBatch(later, R"(,"author":{"uuid":"A","entityName":"Author"})");
    author->setValueForKey("name", "Host's");
    endBatch();
    EXPECT_EQ(author->valueForKey("name"), "Host's");
    desktop.save();
    EXPECT_EQ(stored("A", "Author")->valueForKey("name"), "Host's");
}
