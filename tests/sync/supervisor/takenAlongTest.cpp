#include "support/Desktop.h"
#include "sync/supervisor/QWVersionArchive.h"

// What a delete rule takes along with a record whose deletion arrives, and the deleting desktop did not know so.

using namespace std::chrono_literals;

namespace {

// `a` deletes the book X while `b` adds the chapter C to it; both are sent before either hears of the other.
struct TakenAlong : TwoDesktops {
    TakenAlong() : TwoDesktops(Desktop::Supervised) {
        a.add("Book", {{"title", "T"}})->setUuid("X");
        sync();
    }
    void addChapter(Desktop& desktop) {
        const auto chapter = desktop.add("Chapter", {{"heading", "New"}});
        chapter->setUuid("C");
        chapter->setRelatedObject("book", desktop.find("X").data());
    }
    void deleteBook() {
        a.context->deleteObject(*a.find("X"));
        a.save();
    }
    void deleteAndAdd() {
        deleteBook();
        addChapter(b);
        b.save();
        b.advance(5s);
        ASSERT_EQ(cloud.fileNames(), QStringList{file});
    }
    void rest() {
        sync();
        b.advance(700s);
        sync();
    }
    testing::AssertionResult isThereOnBoth(bool isThere) {
        const bool isHere = bool(a.find("C", "Chapter")), isOther = bool(b.find("C", "Chapter")),
                   isInCloud = cloud.fileNames().contains(file);
        if (isHere == isThere && isOther == isThere && isInCloud == isThere)
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << isHere << isOther << isInCloud;
    }
    const QString file = "Chapter!!!C.data";
};

} // namespace

TEST_F(TakenAlong, A_chapter_that_was_sent_before_the_deletion_of_its_book_arrives_goes_everywhere) {
    deleteAndAdd();
    b.sync();
    EXPECT_FALSE(b.find("C", "Chapter"));
    EXPECT_EQ(b.supervisor->versionArchive().versions("C").size(), 1u);
    rest();
    EXPECT_TRUE(isThereOnBoth(false));
}

TEST_F(TakenAlong, A_chapter_that_has_come_to_the_deleting_desktop_meanwhile_goes_there_and_is_kept) {
    deleteAndAdd();
    a.sync();
    ASSERT_TRUE(a.find("C", "Chapter"));
    rest();
    EXPECT_TRUE(isThereOnBoth(false));
    EXPECT_EQ(a.supervisor->versionArchive().versions("C").size(), 1u);
}

TEST_F(TakenAlong, A_chapter_that_is_edited_elsewhere_before_its_deletion_is_heard_of_stays_everywhere) {
    deleteAndAdd();
    a.sync();
    b.sync();
    ASSERT_FALSE(cloud.fileNames().contains(file));
    a.find("C", "Chapter")->setValueForKey("heading", "Later");
    a.save();
    a.advance(5s);
    rest();
    EXPECT_TRUE(isThereOnBoth(true));
    EXPECT_EQ(b.find("C", "Chapter")->valueForKey("heading"), "Later");
}

TEST_F(TakenAlong, A_chapter_that_is_being_sent_goes_when_it_was_sent) {
    deleteAndAdd();
    b.client->on(QWRestRequest::Upload).first(1).delaysRequest(700s);
    b.find("C", "Chapter")->setValueForKey("heading", "Edited");
    b.save();
    b.advance(1400s);
    rest();
    EXPECT_TRUE(isThereOnBoth(false));
}

TEST_F(TakenAlong, A_chapter_that_was_moved_to_another_book_comes_back_with_that) {
    a.add("Book", {{"title", "Other"}})->setUuid("Y");
    addChapter(a);
    sync();
    a.client->on(QWRestRequest::Upload).first(1).answersWith(503);
    a.advance(2s);
    a.find("C", "Chapter")->setRelatedObject("book", a.find("Y").data());
    deleteBook();
    b.advance(1s);
    ASSERT_FALSE(cloud.fileNames().contains("Book!!!X.data"));
    b.supervisor->syncNow();
    b.advance(1s);
    rest();
    EXPECT_TRUE(isThereOnBoth(true));
    ASSERT_TRUE(b.find("C", "Chapter"));
    EXPECT_EQ(b.find("C", "Chapter")->relatedObject("book")->valueForKey("uuid"), "Y");
}

TEST_F(TakenAlong, A_chapter_that_was_deleted_with_its_book_is_not_deleted_once_more) {
    addChapter(a);
    sync();
    deleteBook();
    a.advance(5s);
    rest();
    EXPECT_TRUE(isThereOnBoth(false));
    EXPECT_TRUE(b.client->requests(QWRestRequest::Delete).empty());
}

TEST_F(TakenAlong, A_process_that_dies_before_the_deletion_is_sent_sends_it_later) {
    deleteAndAdd();
    b.client->on(QWRestRequest::Delete).answersWith(503);
    b.supervisor->syncNow();
    b.advance(5s);
    ASSERT_FALSE(b.find("C", "Chapter"));
    b.crash();
    b.start();
    rest();
    EXPECT_TRUE(isThereOnBoth(false));
}

// The book Y is sent before the host saves it, and deleted elsewhere while the chapter's move to it waits to be sent.
TEST_F(TakenAlong, What_a_book_that_was_never_saved_has_taken_along_is_the_same_on_both_after_a_death) {
    addChapter(a);
    sync();
    a.client->on(QWRestRequest::Upload)
        .where([](const QWRestRequest& request) { return request.path.contains("SLOW"); })
        .delaysAnswer(2000s);
    const auto addSlow = [this](int number) { a.add("Book")->setUuid(QStringLiteral("SLOW%1").arg(number)); };
    for (int number = 0; number < 4; ++number)
        addSlow(number);
    a.advance(5s);
    a.add("Book", {{"title", "Y"}})->setUuid("Y");
    addSlow(4);
    a.find("C", "Chapter")->setRelatedObject("book", a.find("Y").data());
    a.advance(5s);
    ASSERT_TRUE(cloud.fileNames().contains("Book!!!Y.data"));
    b.sync();
    ASSERT_EQ(b.find("C", "Chapter")->relatedObject("book")->valueForKey("uuid"), "X");
    b.context->deleteObject(*b.find("Y"));
    b.sync();
    a.advance(700s); // until changes are asked for
    ASSERT_FALSE(a.find("C", "Chapter"));
    a.advance(2000s);
    ASSERT_FALSE(cloud.fileNames().contains(file));
    a.crash();
    a.start();
    rest();
    EXPECT_TRUE(isThereOnBoth(false));
    EXPECT_TRUE(areInStep());
    EXPECT_FALSE(a.supervisor->versionArchive().versions("C").empty());
}
