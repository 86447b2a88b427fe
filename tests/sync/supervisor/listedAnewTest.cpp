#include "supervisor/OneDesktop.h"

// Listings from scratch that lack what is sent, or answered, while they are asked for.

using namespace std::chrono_literals;

namespace {

bool isImage(const QWRestRequest& request) {
    return request.path.endsWith(".image");
}
bool isRecord(const QWRestRequest& request) {
    return request.path.endsWith(".data");
}

// The book X is in step.
struct ListedAnew : OneDesktop {
    ListedAnew() : OneDesktop(Desktop::Supervised) {
        begin();
        desktop.add("Book", {{"title", "T"}})->setUuid("X");
        desktop.save();
        pass(1);
        supervisor().syncNow();
        pass(1);
    }
    // Its image is sent, with the record, and the answers come in the middle of the listing.
    void
    sendImage(std::initializer_list<std::pair<bool (*)(const QWRestRequest&), std::chrono::seconds>> late) {
        for (const auto& [isFile, delay] : late)
            desktop.client->on(QWRestRequest::Upload).where(isFile).first(1).delaysAnswer(delay);
        desktop.setImage(*desktop.find("X"), "ours");
        desktop.save();
        pass(1);
    }
    // Somebody deletes a file, and the next poll lists all others.
    void loseInListing(const QString& fileName) {
        ASSERT_TRUE(cloud.fileNames().contains(fileName));
        cloud.remove(fileName);
        cloud.folder->forgetCursors();
        desktop.client->on(QWRestRequest::LoadDelta).first(1).delaysAnswer(200s);
        pass(5000);
    }
    void expectBothFiles() {
        EXPECT_TRUE(supervisor().isInStep());
        EXPECT_TRUE(desktop.find("X"));
        EXPECT_EQ(cloud.fileNames(), (QStringList{"Book!!!X.data", "Book!!!X.image"}));
    }
};

// The book O is in step on both.
struct TwoListedAnew : TwoDesktops {
    TwoListedAnew() : TwoDesktops(Desktop::Supervised) {
        a.add("Book", {{"title", "Other"}})->setUuid("O");
        synchronise();
    }
    void synchronise() {
        for (int round = 0; round < 3; ++round) {
            TwoDesktops::sync();
            a.advance(30s);
        }
    }
    void listAnew(std::chrono::seconds delay) {
        cloud.folder->forgetCursors();
        a.client->on(QWRestRequest::LoadDelta).first(1).delaysAnswer(delay);
    }
    void receiveAndDelete() {
        b.sync();
        ASSERT_TRUE(b.find("X"));
        b.context->deleteObject(*b.find("X"));
        b.save();
        b.sync();
        ASSERT_EQ(cloud.fileNames(), QStringList{"Book!!!O.data"});
    }
    const std::chrono::seconds nearlyPollPause = 540s;
};

} // namespace

// Of one desktop --------------------------------------------------------------------------------------------

TEST_F(ListedAnew, An_image_that_was_lost_before_its_answer_came_is_sent_again) {
    sendImage({{isImage, 700s}});
    loseInListing("Book!!!X.image");
    expectBothFiles();
}

TEST_F(ListedAnew, A_record_that_was_lost_before_its_answer_came_is_sent_again_while_its_image_is_in_flight) {
    sendImage({{isImage, 900s}, {isRecord, 700s}});
    loseInListing("Book!!!X.data");
    expectBothFiles();
}

TEST_F(ListedAnew, A_file_of_preferences_that_was_lost_before_its_answer_came_is_sent_again) {
    const QString preferences = "/PreferencesSync.data";
    desktop.world.userDefaults->setObject("theme", "dark");
    engine().syncPreferenceWithKeys({"theme"});
    pass(20);
    ASSERT_TRUE(cloud.folder->metadata(preferences));
    supervisor().syncNow();
    pass(540);
    desktop.client->on(QWRestRequest::Upload).first(1).delaysAnswer(100s);
    desktop.world.userDefaults->setObject("theme", "light");
    pass(10);
    ASSERT_TRUE(cloud.folder->remove(preferences));
    cloud.folder->forgetCursors();
    desktop.client->on(QWRestRequest::LoadDelta).first(1).delaysAnswer(200s);
    pass(5000);
    EXPECT_TRUE(supervisor().isInStep());
    EXPECT_TRUE(cloud.folder->metadata(preferences));
}

// Of two ----------------------------------------------------------------------------------------------------

TEST_F(TwoListedAnew, A_record_that_was_added_while_it_was_asked_for_is_on_both) {
    listAnew(200s);
    a.askForChanges();
    a.advance(1s);
    a.add("Book", {{"title", "X"}})->setUuid("X");
    a.save();
    a.advance(5s);
    EXPECT_FALSE(cloud.fileNames().contains("Book!!!X.data")) << "sent when the batch has ended";
    a.advance(300s);
    synchronise();
    EXPECT_TRUE(b.find("X"));
    EXPECT_TRUE(areInStep());
}

// An upload is on its way when the poll lists from scratch, and arrives after that.
TEST_F(TwoListedAnew, A_deletion_of_what_arrived_after_it_stands) {
    a.advance(nearlyPollPause);
    a.client->on(QWRestRequest::Upload).first(1).delaysRequest(100s);
    a.add("Book", {{"title", "X"}})->setUuid("X");
    a.save();
    a.advance(1s);
    ASSERT_FALSE(cloud.fileNames().contains("Book!!!X.data"));
    listAnew(400s);
    a.advance(150s);
    receiveAndDelete();
    a.advance(500s);
    synchronise();
    EXPECT_FALSE(a.find("X"));
    EXPECT_FALSE(b.find("X"));
    EXPECT_FALSE(cloud.fileNames().contains("Book!!!X.data"));
    EXPECT_TRUE(areInStep());
}

// Both uploads were there before the deletion, and are answered after it was listed.
TEST_F(TwoListedAnew, An_image_that_was_deleted_with_its_record_before_it_comes_back_with_it) {
    a.add("Book", {{"title", "X"}})->setUuid("X");
    synchronise();
    a.advance(nearlyPollPause);
    a.client->on(QWRestRequest::Upload).first(2).delaysAnswer(100s);
    a.setImage(*a.find("X"), "cover");
    a.save();
    a.advance(1s);
    receiveAndDelete();
    listAnew(400s);
    a.advance(1000s);
    synchronise();
    EXPECT_TRUE(areInStep());
    EXPECT_EQ(cloud.fileNames().contains("Book!!!X.data"), cloud.fileNames().contains("Book!!!X.image"));
}

// Two are out, since sync was started again, and the earlier one, which has the book still, comes last. Neither tells what
// has gone.
TEST_F(ListedAnew, A_listing_that_has_overtaken_another_one_is_made_again_before_all_is_in_step) {
    cloud.folder->forgetCursors();
    cloud.putRecord("Book!!!Y.data", book("Other"));
    desktop.client->on(QWRestRequest::LoadDelta).first(1).delaysAnswer(5s);
    supervisor().syncNow();
    pass(1);
    cloud.remove("Book!!!X.data");
    supervisor().activate();
    pass(1);
    EXPECT_FALSE(supervisor().isInStep());
    pass(20);
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_TRUE(desktop.find("Y"));
    EXPECT_TRUE(supervisor().isInStep());
    const int queries = count(QWRestRequest::LoadDelta);
    pass(300);
    EXPECT_EQ(count(QWRestRequest::LoadDelta), queries);
}
