#include "supervisor/OneDesktop.h"

// Requests of an activity that has ended, which are answered in the next one; and answers that are later than a listing.

using namespace std::chrono_literals;

namespace {

struct EarlierUpload : OneDesktop {
    EarlierUpload() : OneDesktop(Desktop::Supervised) {
        begin();
        book_ = desktop.add("Book", {{"title", "First"}});
        book_->setUuid("X");
        desktop.client->on(QWRestRequest::Upload).first(1).delaysAnswer(300s);
        desktop.save();
        pass(1);
        engine().deactivateSync();
    }
    void editAndSave(const QString& title) {
        desktop.find("X")->setValueForKey("title", title);
        desktop.save();
    }
    bool isInCloud(const QByteArray& title) {
        return cloud.bytes("Book!!!X.data").contains('"' + title + '"');
    }

    QWRef<QWManagedObjectWithSyncSupport> book_;
};

} // namespace

TEST_F(EarlierUpload, Is_answered_before_the_next_version_is_sent) {
    editAndSave("Second");
    desktop.activate();
    pass(60);
    EXPECT_EQ(count(QWRestRequest::Upload), 1);
    EXPECT_FALSE(supervisor().isInStep());
    EXPECT_TRUE(isInCloud("First"));
    pass(400);
    EXPECT_TRUE(isInCloud("Second"));
    EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(EarlierUpload, That_has_failed_is_followed_by_the_next_version) {
    desktop.activate();
    pass(400);
    desktop.client->on(QWRestRequest::Upload).first(1).delaysAnswer(300s).losesAcknowledgement(500);
    editAndSave("Second");
    pass(1);
    engine().deactivateSync();
    editAndSave("Third");
    desktop.activate();
    pass(400);
    EXPECT_TRUE(isInCloud("Third"));
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(EarlierUpload, Does_not_take_the_place_of_what_was_listed_since) {
    cloud.putRecord("Book!!!X.data", book("Theirs", "2026-01-01 00:00:30 +0000"));
    desktop.activate();
    pass(400);
    ASSERT_EQ(desktop.find("X")->valueForKey("title"), "Theirs");
    editAndSave("Mine");
    pass(10);
    EXPECT_TRUE(isInCloud("Mine"));
    EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
}

// Images ----------------------------------------------------------------------------------------------------

namespace {

struct EarlierImage : OneDesktop {
    EarlierImage() : OneDesktop(Desktop::Supervised) {
        begin();
        desktop.add("Book", {{"title", "T"}})->setUuid("X");
        desktop.save();
        pass(10);
        supervisor().syncNow();
        pass(10);
    }
    // By a clock that is ahead by so much.
    void setImage(std::chrono::seconds ahead = 0s) {
        const auto present = desktop.find("X");
        desktop.setImage(*present, "ours");
        const QString path = present->imageURL().toLocalFile();
        auto& files = *desktop.world.files;
        files.setModificationDate(path, files.modificationDate(path)->addSecs(ahead.count()));
        present->setValueForKey("title", "U");
        desktop.client->on(QWRestRequest::Upload)
            .where([](const QWRestRequest& request) { return request.path.endsWith(".image"); })
            .first(1)
            .delaysAnswer(700s);
        desktop.save();
        pass(1);
    }
    void bringBack() {
        cloud.putRecord("Book!!!X.data", book("Back", "2026-01-02 00:00:00 +0000"));
        pass(1300);
    }
    QByteArray imageHere() { return desktop.find("X") ? desktop.image(*desktop.find("X")) : "no record"; }
};

} // namespace

TEST_F(EarlierImage, Is_not_taken_for_one_that_was_listed_while_it_was_sent) {
    setImage(1h);
    cloud.put("Book!!!X.image", "theirs");
    pass(3000);
    EXPECT_EQ(imageHere(), cloud.bytes("Book!!!X.image"));
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(EarlierImage, That_was_sent_for_a_record_that_goes_is_fetched_when_that_comes_back) {
    setImage();
    cloud.remove("Book!!!X.data");
    pass(800);
    ASSERT_FALSE(desktop.find("X"));
    bringBack();
    EXPECT_EQ(imageHere(), "ours");
}

TEST_F(EarlierImage, That_was_listed_while_its_record_was_being_deleted_is_fetched_when_that_comes_back) {
    desktop.client->on(QWRestRequest::Delete).first(2).delaysAnswer(700s);
    desktop.context->deleteObject(*desktop.find("X"));
    desktop.save();
    pass(1);
    ASSERT_EQ(cloud.fileNames(), QStringList());
    cloud.put("Book!!!X.image", "theirs");
    pass(800);
    bringBack();
    EXPECT_EQ(imageHere(), "theirs");
}

TEST_F(EarlierImage, That_is_as_the_cloud_had_it_gives_way_though_its_date_could_not_be_set) {
    desktop.setImage(*desktop.find("X"), "ours");
    desktop.find("X")->setValueForKey("title", "U");
    desktop.save();
    pass(10);
    const QString path = desktop.find("X")->imageURL().toLocalFile();
    desktop.world.files->setModificationDate(path, desktop.world.files->modificationDate(path)->addDays(1));
    cloud.put("Book!!!X.image", "theirs");
    pass(700);
    EXPECT_EQ(imageHere(), "theirs");
    EXPECT_EQ(cloud.bytes("Book!!!X.image"), "theirs");
}
