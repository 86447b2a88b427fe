#include "support/Desktop.h"
#include "sync/supervisor/QWVersionArchive.h"
#include "testing/QWLogCapture.h"

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
    // Desktop a does not know of the edit.
    void makeAgainAfterEdit() {
        b.find("X")->setValueForKey("title", "Earlier");
        b.advance(5s);
        ASSERT_EQ(a.find("X")->valueForKey("title"), "T");
        deleteBook();
        a.save();
        a.advance(1s);
        addAgain();
        a.save();
    }
    void dieAfterDeletion(const QString& title = "Again") {
        ASSERT_EQ(cloud.fileNames(), QStringList());
        a.crash();
        a.start();
        expectOnBoth();
        if (!HasFatalFailure()) {
            EXPECT_EQ(b.find("X")->valueForKey("title"), title);
        }
    }
    void expectOnBoth() {
        synchronise();
        ASSERT_TRUE(a.find("X"));
        ASSERT_TRUE(b.find("X"));
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

// Not saved -------------------------------------------------------------------------------------------------

TEST_F(BroughtBack, What_was_deleted_stays_so_where_what_was_made_again_is_not_saved) {
    a.engine->deactivateSync();
    deleteBook();
    a.save();
    for (const bool dies : {false, true}) {
        addAgain();
        a.advance(1s);
        if (dies) {
            a.crash();
            a.start();
        } else {
            a.context->rollback();
            a.advance(1s);
            EXPECT_EQ(QWFindObjectWaitingSync(*a.engine->dropboxCacheManagedObjectContext(), "X")->action(),
                      QWDropboxSyncActionDelete);
        }
    }
    synchronise();
    EXPECT_EQ(cloud.fileNames(), QStringList());
    EXPECT_FALSE(b.find("X"));
}

TEST_F(BroughtBack, A_later_version_is_taken_over_by_what_was_made_again_and_not_saved) {
    deleteBook();
    a.advance(10s);
    addAgain();
    a.advance(10s);
    b.find("X")->setValueForKey("title", "Later");
    b.find("X")->setDateModified(b.now().addSecs(600));
    b.save();
    b.advance(10s);
    for (int hour = 0; hour < 3; ++hour) {
        a.advance(1h);
        b.advance(10s);
    }
    EXPECT_EQ(a.find("X")->valueForKey("title"), "Later");
    EXPECT_LT(a.client->requests(QWRestRequest::Upload).size(), 4U);
    EXPECT_EQ(a.supervisor->versionArchive().versions("X").size(), 1U);
    a.save();
    expectOnBoth();
    EXPECT_EQ(b.find("X")->valueForKey("title"), "Later");
}

// The clock was set back since. The saved version is the later one, and the other desktop sends it again.
TEST_F(BroughtBack, The_saved_version_is_taken_over_by_one_that_was_made_again_and_is_earlier) {
    a.world.clock->setOffset(-1h);
    deleteBook();
    a.advance(10s);
    addAgain();
    a.advance(10s);
    b.supervisor->syncNow();
    b.advance(10s);
    a.supervisor->syncNow();
    a.advance(10s);
    EXPECT_EQ(a.find("X")->valueForKey("title"), "T");
    expectOnBoth();
    EXPECT_EQ(a.find("X")->valueForKey("title"), "T");
}

TEST_F(BroughtBack, What_is_made_again_has_the_image_that_the_cloud_holds) {
    a.setImage(*a.find("X"), "cover");
    synchronise();
    a.engine->deactivateSync();
    const QString image = a.find("X")->imageURL().toLocalFile();
    deleteBook();
    a.save();
    a.world.files->remove(image);
    addAgain();
    expectOnBoth();
    EXPECT_EQ(a.image(*a.find("X")), "cover");
}

// It was asked for when the record was made, which had none then.
TEST_F(BroughtBack, What_is_made_again_has_the_image_that_was_set_since_though_the_cloud_has_lost_it) {
    a.setImage(*a.find("X"), "cover");
    synchronise();
    a.client->on(QWRestRequest::Delete).answersWith(503);
    const QString image = a.find("X")->imageURL().toLocalFile();
    deleteBook();
    a.save();
    a.world.files->remove(image);
    addAgain();
    a.advance(1s);
    a.setImage(*a.find("X"), "another");
    a.save();
    a.advance(30s);
    ASSERT_EQ(cloud.bytes("Book!!!X.image"), "another");
    cloud.remove("Book!!!X.image");
    a.supervisor->syncNow();
    a.advance(60s);
    EXPECT_EQ(cloud.bytes("Book!!!X.image"), "another");
}

// One that comes after all that means the present record, whether this desktop has heard of its own upload or not.
TEST_F(BroughtBack, What_is_made_again_goes_with_the_next_deletion) {
    for (const bool hasHeard : {false, true}) {
        beginDeletion();
        addAgain();
        a.save();
        a.advance(10s);
        ASSERT_TRUE(cloud.fileNames().contains("Book!!!X.data"));
        if (hasHeard)
            a.sync();
        b.sync();
        b.context->deleteObject(*b.find("X"));
        b.sync();
        synchronise();
        EXPECT_FALSE(a.find("X"));
        EXPECT_TRUE(areInStep());
        addAgain();
        synchronise();
    }
}

// Its own version is not sent: another desktop's is later.
TEST_F(BroughtBack, What_is_made_again_and_received_since_goes_with_the_next_deletion) {
    beginLateDeletion();
    addAgain();
    a.save();
    cloud.putRecord("Book!!!X.data", {{"title", "Theirs"}, {"dateModified", "2030-01-01 00:00:00 +0000"}});
    a.advance(700s);
    ASSERT_TRUE(a.find("X"));
    synchronise();
    b.context->deleteObject(*b.find("X"));
    b.sync();
    synchronise();
    EXPECT_FALSE(a.find("X"));
    EXPECT_TRUE(areInStep());
}

// The end that its file came to is listed to the next process, which must not take it for that of the present record.
TEST_F(BroughtBack, What_is_made_again_outlives_a_death_though_an_earlier_version_was_listed_meanwhile) {
    a.client->on(QWRestRequest::Delete).first(2).delaysRequest(20s).delaysAnswer(60s);
    makeAgainAfterEdit();
    a.engine->deactivateSync();
    a.activate();
    a.advance(10s);
    ASSERT_FALSE(a.supervisor->versionArchive().versions("X").empty()) << "it was listed";
    ASSERT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
    a.advance(15s);
    dieAfterDeletion();
}

// That has taken the place of what waited to be sent.
TEST_F(BroughtBack, It_outlives_a_death_in_a_later_version_that_was_received_meanwhile) {
    a.client->on(QWRestRequest::Delete).first(2).delaysRequest(20s).delaysAnswer(60s);
    deleteBook();
    a.save();
    a.advance(1s);
    addAgain();
    a.save();
    a.engine->deactivateSync();
    a.advance(2s);
    b.find("X")->setValueForKey("title", "Later");
    b.advance(5s);
    a.activate();
    a.advance(5s);
    ASSERT_EQ(a.find("X")->valueForKey("title"), "Later");
    a.advance(15s);
    dieAfterDeletion("Later");
}

TEST_F(BroughtBack, So_it_does_where_that_was_listed_before_the_deletion_was_tried_again) {
    const QWLogCapture log;
    const auto isOfRecord = [](const QWRestRequest& request) { return request.path.endsWith(".data"); };
    a.client->on(QWRestRequest::Delete).where(isOfRecord).first(70).answersWith(503);
    a.client->on(QWRestRequest::Delete).where(isOfRecord).number(71).delaysAnswer(60s);
    makeAgainAfterEdit();
    const auto queries = a.client->requests(QWRestRequest::LoadDelta).size();
    a.advance(670s);
    ASSERT_EQ(a.client->requests(QWRestRequest::LoadDelta).size(), queries + 1) << "it was listed";
    ASSERT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
    a.advance(40s);
    dieAfterDeletion();
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
