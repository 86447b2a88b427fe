#include "support/Desktop.h"

TEST_F(TwoDesktops, A_new_record_reaches_the_other) {
    const auto book = a.add("Book", {{"title", "The Long Road"}, {"pages", 320}, {"notes", "<b>rich</b>"}});
    book->setRelatedObject("author", a.add("Author", {{"name", "Ann"}}).data());
    sync();
    EXPECT_TRUE(areInStep());
    ASSERT_TRUE(b.find(book->uuid()));
    EXPECT_EQ(b.find(book->uuid())->relatedObject("author")->valueForKey("name"), "Ann");
}

TEST_F(TwoDesktops, An_edit_reaches_the_other) {
    const auto book = a.add("Book", {{"title", "Old"}});
    sync();
    a.advance(std::chrono::seconds(5));
    book->setValueForKey("title", "New");
    sync();
    EXPECT_TRUE(areInStep());
    EXPECT_EQ(b.find(book->uuid())->valueForKey("title"), "New");
}

TEST_F(TwoDesktops, A_deletion_reaches_the_other) {
    const auto book = a.add("Book", {{"title", "Old"}});
    a.setImage(*book, "cover");
    sync();
    EXPECT_TRUE(areInStep());
    a.context->deleteObject(*book);
    sync();
    EXPECT_TRUE(areInStep());
    EXPECT_EQ(cloud.fileNames(), QStringList());
}

TEST_F(TwoDesktops, An_image_reaches_the_other_and_so_does_a_new_one) {
    const auto book = a.add("Book", {{"title", "T"}});
    a.setImage(*book, "first");
    sync();
    EXPECT_TRUE(areInStep());
    a.advance(std::chrono::seconds(5));
    a.setImage(*book, "second");
    sync();
    EXPECT_TRUE(areInStep());
    EXPECT_EQ(b.image(*b.find(book->uuid())), "second");
}

TEST_F(TwoDesktops, Records_made_on_both_sides_meet) {
    a.add("Book", {{"title", "A"}});
    b.add("Book", {{"title", "B"}});
    sync();
    EXPECT_TRUE(areInStep());
    EXPECT_EQ(a.contents().size(), 2);
}

TEST_F(TwoDesktops, Of_two_edits_the_later_wins_whichever_side_syncs_first) {
    const auto book = a.add("Book", {{"title", "Old"}});
    sync();
    a.advance(std::chrono::seconds(5));
    b.find(book->uuid())->setValueForKey("title", "Earlier");
    b.save();
    a.advance(std::chrono::seconds(5));
    book->setValueForKey("title", "Later");
    sync();
    sync();
    EXPECT_TRUE(areInStep());
    EXPECT_EQ(b.find(book->uuid())->valueForKey("title"), "Later");
    EXPECT_EQ(cloud.fileNames().size(), 1);
}

TEST_F(TwoDesktops, An_edit_beats_a_deletion_that_was_made_elsewhere_and_sent_before) {
    const auto book = a.add("Book", {{"title", "Old"}});
    sync();
    a.context->deleteObject(*book);
    a.sync();
    const QString uuid = book->uuid();
    b.find(uuid)->setValueForKey("title", "Edited");
    sync();
    EXPECT_TRUE(areInStep());
    ASSERT_TRUE(a.find(uuid));
    EXPECT_EQ(a.find(uuid)->valueForKey("title"), "Edited");
}

TEST_F(TwoDesktops, A_round_without_edits_changes_nothing) {
    a.setImage(*a.add("Book", {{"title", "T"}}), "cover");
    b.add("Author", {{"name", "Ann"}});
    sync();
    a.client->forgetRequests();
    b.client->forgetRequests();
    sync();
    for (const auto* side : {&a, &b})
        EXPECT_EQ(side->client->requests().size(), side->client->requests(QWRestRequest::LoadDelta).size());
}

TEST_F(TwoDesktops, A_bad_connection_delays_but_loses_nothing) {
    for (Desktop* side : {&a, &b}) {
        side->client->onAny().number(3).answersWith(500);
        side->client->onAny().number(6).losesAcknowledgement();
        side->client->on(QWRestRequest::Upload).number(4).answersWith(0);
        side->client->on(QWRestRequest::LoadFile).number(2).answersWith(503);
    }
    for (int index = 0; index < 10; ++index)
        a.add("Book", {{"title", QString::number(index)}});
    b.add("Author", {{"name", "Ann"}});
    sync();
    EXPECT_TRUE(areInStep());
    EXPECT_EQ(a.contents().size(), 11);
}

TEST_F(TwoDesktops, Polls_alone_keep_them_in_step) {
    sync();
    a.add("Book", {{"title", "T"}});
    a.save();
    a.advance(std::chrono::seconds(1300));
    EXPECT_TRUE(areInStep());
    EXPECT_EQ(b.contents().size(), 1);
}

TEST_F(TwoDesktops, A_desktop_that_joins_gets_everything) {
    for (int index = 0; index < 30; ++index)
        a.setImage(*a.add("Book", {{"title", QString::number(index)}}), QByteArray::number(index));
    sync();
    Desktop c(cloud, 3);
    c.sync();
    EXPECT_EQ(c.contents(), a.contents());
}
