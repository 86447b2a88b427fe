#include "support/Desktop.h"
#include "sync/supervisor/QWVersionArchive.h"

// Records that are made again, restored or taken back when their deletion is due, on its way or late.

using namespace std::chrono_literals;

namespace {

struct BroughtBack : TwoDesktops {
    BroughtBack() : TwoDesktops(Desktop::Supervised) {
        a.add("Book", {{"title", "T"}})->setUuid("X");
        synchronise();
    }
    void synchronise() {
        for (int round = 0; round < 2; ++round)
            TwoDesktops::sync();
    }
    void deleteBook() { a.context->deleteObject(*a.find("X")); }
    void addAgain() { a.add("Book", {{"title", "Again"}})->setUuid("X"); }
    // A deletion whose answer takes two seconds is out.
    void beginDeletion() {
        a.client->on(QWRestRequest::Delete).first(2).delaysAnswer(2s);
        deleteBook();
        a.advance(500ms);
    }
    // The deletion takes two minutes to arrive, and the next activity has asked for it once more.
    void beginLateDeletion() {
        a.client->on(QWRestRequest::Delete).first(2).delaysRequest(120s);
        deleteBook();
        a.save();
        a.advance(1s);
        a.engine->deactivateSync();
        a.activate();
        a.advance(10s);
        ASSERT_EQ(cloud.fileNames(), QStringList());
    }
    void expectOnBoth() {
        synchronise();
        EXPECT_TRUE(a.find("X"));
        EXPECT_TRUE(b.find("X"));
        EXPECT_TRUE(cloud.fileNames().contains("Book!!!X.data"));
        EXPECT_TRUE(areInStep());
    }
};

} // namespace

TEST_F(BroughtBack, What_is_deleted_and_made_again_in_one_turn_is_on_both) {
    deleteBook();
    addAgain();
    expectOnBoth();
}

TEST_F(BroughtBack, What_is_deleted_and_made_again_before_a_save_is_on_both) {
    deleteBook();
    a.advance(100ms);
    addAgain();
    expectOnBoth();
}

TEST_F(BroughtBack, What_is_made_again_while_its_deletion_is_on_its_way_is_on_both) {
    beginDeletion();
    a.save();
    addAgain();
    a.save();
    a.advance(10s);
    EXPECT_TRUE(cloud.fileNames().contains("Book!!!X.data")) << "at once";
    expectOnBoth();
}

TEST_F(BroughtBack,
       What_is_taken_back_while_its_deletion_is_on_its_way_is_on_both_whatever_the_host_wants_sent) {
    a.wantsUpdate = [](QWManagedObjectWithSyncSupport&) { return true; };
    beginDeletion();
    a.context->rollback();
    a.advance(30s);
    expectOnBoth();
}

TEST_F(BroughtBack, A_version_that_is_restored_when_the_deletion_is_due_or_on_its_way_is_on_both) {
    for (const bool isOnItsWay : {false, true}) {
        ASSERT_TRUE(b.find("X"));
        b.find("X")->setValueForKey("title", isOnItsWay ? "Second" : "First");
        b.advance(5s);
        synchronise();
        const auto versions = a.supervisor->versionArchive().versions("X");
        ASSERT_FALSE(versions.empty());
        if (isOnItsWay)
            beginDeletion();
        else
            deleteBook();
        ASSERT_TRUE(a.supervisor->versionArchive().restore(versions.front()));
        a.save();
        a.advance(10s);
        expectOnBoth();
    }
}

TEST_F(BroughtBack, What_stays_deleted_is_asked_for_once) {
    deleteBook();
    synchronise();
    EXPECT_EQ(a.client->requests(QWRestRequest::Delete).size(), 2U); // the record and its image
    EXPECT_FALSE(a.find("X"));
    EXPECT_FALSE(b.find("X"));
}

// Of an earlier activity ------------------------------------------------------------------------------------

TEST_F(BroughtBack, What_is_made_again_is_sent_after_the_deletion_of_an_earlier_activity) {
    beginLateDeletion();
    addAgain();
    a.save();
    a.advance(30s);
    EXPECT_FALSE(a.supervisor->isInStep());
    EXPECT_EQ(cloud.fileNames(), QStringList());
    a.advance(100s);
    EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
    EXPECT_TRUE(a.supervisor->isInStep());
    expectOnBoth();
}

TEST_F(BroughtBack, What_is_made_again_is_sent_when_the_deletion_of_an_earlier_activity_has_failed) {
    a.client->on(QWRestRequest::Delete).first(2).delaysRequest(120s).answersWith(503);
    beginLateDeletion();
    addAgain();
    a.save();
    a.advance(300s);
    EXPECT_EQ(a.client->requests(QWRestRequest::Delete).size(), 4U) << "nor is the late one repeated";
    EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
    expectOnBoth();
}

TEST_F(BroughtBack, What_is_made_again_in_a_third_activity_is_on_both) {
    beginLateDeletion();
    addAgain();
    a.save();
    a.advance(1s);
    a.engine->deactivateSync();
    a.advance(200s);
    a.activate();
    a.advance(10s);
    expectOnBoth();
}
