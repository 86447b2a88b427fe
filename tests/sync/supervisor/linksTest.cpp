#include "support/Desktop.h"

// Links that two desktops change at once, and whose other end does not say so.

using namespace std::chrono_literals;

namespace {

// The chapter PART is made a part of two others at once.
struct Parts : TwoDesktops {
    Parts() : TwoDesktops(Desktop::Supervised) {
        for (const char* uuid : {"ONE", "TWO", "PART"})
            a.add("Chapter", {{"heading", uuid}})->setUuid(uuid);
        rest();
    }
    void rest() {
        for (int round = 0; round < 3; ++round)
            sync();
    }
    static void give(Desktop& desktop, const QString& whole) {
        desktop.find(whole, "Chapter")->addRelatedObject("parts", *desktop.find("PART", "Chapter"));
        desktop.save();
    }
    static QString whole(Desktop& desktop) {
        const auto present = desktop.find("PART", "Chapter")->relatedObject("whole");
        return present ? present->valueForKey("uuid").toString() : QString();
    }
};

// The label L refers to N, of which nobody knows which labels come before it.
struct OneWay : TwoDesktops {
    OneWay() : TwoDesktops(Desktop::Supervised) {
        for (const char* uuid : {"L", "N", "OTHER"})
            a.add("Label", {{"text", uuid}})->setUuid(uuid);
        refer("N");
        sync();
    }
    void refer(const QString& next) { label(a)->setRelatedObject("next", a.find(next, "Label").data()); }
    static desktop::Record label(Desktop& desktop) { return desktop.find("L", "Label"); }
    static bool hasNext(Desktop& desktop) { return bool(label(desktop)->relatedObject("next")); }
    void deleteNext() {
        a.context->deleteObject(*a.find("N", "Label"));
        a.save();
    }
};

} // namespace

TEST_F(Parts, Are_those_of_the_later_one_on_all_desktops) {
    for (const bool isOneLater : {false, true}) {
        give(isOneLater ? b : a, "ONE");
        a.advance(5s);
        give(isOneLater ? a : b, "TWO");
        rest();
        EXPECT_TRUE(areInStep());
        EXPECT_EQ(whole(a), "TWO");
        a.advance(5s);
        give(a, "ONE");
        rest();
        EXPECT_EQ(whole(b), "ONE") << "moved";
        EXPECT_TRUE(areInStep());
        a.advance(5s);
    }
}

TEST_F(Parts, Are_those_of_the_greater_uuid_where_both_are_of_one_second) {
    give(a, "TWO");
    give(b, "ONE");
    rest();
    EXPECT_TRUE(areInStep());
    EXPECT_EQ(whole(b), "TWO");
}

TEST_F(Parts, Are_the_same_on_a_desktop_that_comes_later) {
    for (const QString later : {"ONE", "TWO"}) {
        a.advance(5s);
        give(a, later == "ONE" ? "TWO" : "ONE");
        a.advance(5s);
        give(b, later);
        rest();
        Desktop c(cloud, 3, Desktop::Supervised);
        c.sync();
        rest();
        EXPECT_EQ(c.contents(), a.contents());
        EXPECT_EQ(whole(c), later);
    }
}

TEST_F(OneWay, A_reference_to_what_was_deleted_while_the_record_was_edited_is_the_same_on_both) {
    deleteNext();
    b.advance(2s);
    label(b)->setValueForKey("text", "Edited");
    b.save();
    b.advance(2s);
    for (int round = 0; round < 3; ++round)
        sync();
    EXPECT_EQ(label(a)->valueForKey("text"), "Edited");
    EXPECT_EQ(hasNext(a), hasNext(b));
    EXPECT_EQ(hasNext(a), cloud.bytes("Label!!!L.data").contains("next\":{"));
}

TEST_F(OneWay, A_reference_that_is_another_one_by_then_is_not_sent_again) {
    refer("OTHER");
    sync();
    deleteNext();
    sync();
    EXPECT_TRUE(hasNext(b));
    EXPECT_TRUE(b.client->requests(QWRestRequest::Upload).empty());
}

// The cloud has the edit with the reference; it is dated before the saved version, which the batch leaves as it is.
TEST_F(OneWay, Of_an_unsaved_edit_by_a_clock_that_is_behind_is_sent_without_what_was_deleted) {
    label(b)->setValueForKey("text", "Edited");
    label(b)->setDateModified(label(b)->dateModified().addSecs(-60));
    b.advance(2s);
    ASSERT_TRUE(cloud.bytes("Label!!!L.data").contains("Edited"));
    ASSERT_TRUE(label(b)->hasChanges());
    cloud.remove("Label!!!N.data");
    b.askForChanges();
    b.advance(5s);
    EXPECT_FALSE(hasNext(b));
    EXPECT_FALSE(cloud.bytes("Label!!!L.data").contains("next\":{"));
    EXPECT_TRUE(cloud.bytes("Label!!!L.data").contains("Edited"));
    for (int round = 0; round < 3; ++round)
        sync();
    EXPECT_TRUE(areInStep());
}

// The deletion does not date the record that referred to N.
TEST_F(OneWay, A_reference_to_what_was_deleted_and_came_back_by_an_edit_elsewhere_is_the_same_on_both) {
    for (const bool dies : {false, true}) {
        b.engine->deactivateSync();
        b.context->deleteObject(*b.find("N", "Label"));
        b.save();
        if (dies) {
            b.crash();
            b.start();
        }
        a.find("N", "Label")->setValueForKey("text", dies ? "Again" : "Edited");
        a.save();
        a.advance(5s);
        for (int round = 0; round < 3; ++round)
            sync();
        EXPECT_TRUE(b.find("N", "Label"));
        EXPECT_EQ(hasNext(a), hasNext(b));
        EXPECT_EQ(hasNext(a), cloud.bytes("Label!!!L.data").contains("next\":{"));
        EXPECT_TRUE(areInStep());
        refer("N");
        sync();
    }
}

TEST_F(OneWay, A_record_that_referred_to_what_stays_deleted_is_not_sent) {
    deleteNext();
    const auto before = a.client->requests(QWRestRequest::Upload).size();
    sync();
    a.advance(5s);
    sync();
    EXPECT_FALSE(b.find("N", "Label"));
    EXPECT_EQ(a.client->requests(QWRestRequest::Upload).size(), before);
    EXPECT_TRUE(areInStep());
}

// The refreshed book does not know of the chapter, which the host has not saved, and does not take it along.
TEST_F(Parts, Of_a_book_that_was_refreshed_and_deleted_and_came_back_are_the_same_on_both) {
    a.add("Book", {{"title", "T"}})->setUuid("X");
    rest();
    b.find("PART", "Chapter")->setRelatedObject("book", b.find("X").data());
    b.advance(2s);
    a.askForChanges();
    a.advance(2s);
    b.engine->deactivateSync();
    b.context->refreshObject(*b.find("X"), false);
    b.context->deleteObject(*b.find("X"));
    b.save();
    a.find("X")->setValueForKey("title", "Edited");
    a.save();
    a.advance(2s);
    rest();
    EXPECT_TRUE(areInStep());
}
