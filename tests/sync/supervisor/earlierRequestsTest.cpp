#include "supervisor/OneDesktop.h"
#include "testing/QWLogCapture.h"

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

// The deletion that is asked for in the next activity would come before it otherwise.
TEST_F(EarlierUpload, Does_not_bring_back_what_was_deleted_since) {
    desktop.activate();
    pass(400);
    const auto present = desktop.find("X");
    desktop.setImage(*present, "image");
    present->setValueForKey("title", "Second");
    desktop.client->on(QWRestRequest::Upload).first(2).delaysRequest(300s);
    desktop.save();
    pass(1);
    engine().deactivateSync();
    desktop.context->deleteObject(*present);
    desktop.save();
    desktop.activate();
    pass(2000);
    EXPECT_EQ(cloud.fileNames(), QStringList());
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_TRUE(supervisor().isInStep());
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

// Downloads -------------------------------------------------------------------------------------------------

namespace {

struct EarlierDownload : OneDesktop {
    EarlierDownload() : OneDesktop(Desktop::Supervised) {
        begin();
        cloud.putRecord("Book!!!X.data", book("First"));
        desktop.client->on(QWRestRequest::LoadFile).first(1).delaysAnswer(20s);
        supervisor().syncNow();
        pass(2);
        engine().deactivateSync();
    }
};

} // namespace

TEST_F(EarlierDownload, Brings_nothing_that_was_deleted_since) {
    cloud.remove("Book!!!X.data");
    desktop.activate();
    pass(60);
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(EarlierDownload, Is_answered_before_the_file_is_fetched_again) {
    cloud.putRecord("Book!!!X.data", book("Second", "2025-01-02 00:00:00 +0000"));
    desktop.activate();
    pass(10);
    EXPECT_EQ(count(QWRestRequest::LoadFile), 1);
    EXPECT_FALSE(supervisor().isInStep());
    pass(60);
    EXPECT_EQ(count(QWRestRequest::LoadFile), 2);
    EXPECT_EQ(desktop.find("X")->valueForKey("title"), "Second");
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(EarlierDownload, That_has_failed_is_followed_by_another) {
    const QWLogCapture log;
    desktop.activate();
    pass(60);
    desktop.client->on(QWRestRequest::LoadFile).first(1).answersWith(503).delaysAnswer(20s);
    cloud.putRecord("Book!!!X.data", book("Second", "2025-01-02 00:00:00 +0000"));
    supervisor().syncNow();
    pass(2);
    engine().deactivateSync();
    desktop.activate();
    pass(60);
    EXPECT_EQ(desktop.find("X")->valueForKey("title"), "Second");
    EXPECT_TRUE(supervisor().isInStep());
}

// Tokens ----------------------------------------------------------------------------------------------------

namespace {

// Requests that are out when the token is refused are refused, too, one after the other; the host has signed in by then.
struct RefusedToken : OneDesktop, QWDropboxSyncCoreDataDelegate {
    RefusedToken() : OneDesktop(Desktop::Supervised) {
        begin();
        engine().setDelegate(this, &desktop);
    }
    bool shouldUploadUpdateManagedObject(QWManagedObjectWithSyncSupport&) override { return true; }
    void accessTokenExpiredDropbox(QWDropboxSyncCoreData&) override {
        ++refusals;
        supervisor().activate();
    }
    void refuse(QWRestRequest::Kind kind, int requests) {
        for (int number = 1; number <= requests; ++number)
            desktop.client->on(kind).number(number).answersWith(401).delaysAnswer(number * 300ms);
    }
    void expectAskedOnce() {
        pass(120);
        EXPECT_EQ(refusals, 1);
        EXPECT_TRUE(supervisor().isInStep());
    }
    void addBooks() {
        for (int number = 0; number < 4; ++number)
            desktop.add("Book", {{"title", "T"}})->setUuid(QString::number(number));
        desktop.save();
    }

    int refusals = 0;
    const QWLogCapture log;
};

} // namespace

TEST_F(RefusedToken, Of_uploads_asks_for_one_sign_in) {
    refuse(QWRestRequest::Upload, 4);
    addBooks();
    expectAskedOnce();
    EXPECT_EQ(cloud.fileNames().size(), 4);
}

TEST_F(RefusedToken, Of_deletions_asks_for_one_sign_in) {
    addBooks();
    pass(10);
    refuse(QWRestRequest::Delete, 8);
    for (int number = 0; number < 4; ++number)
        desktop.context->deleteObject(*desktop.find(QString::number(number)));
    desktop.save();
    expectAskedOnce();
    EXPECT_EQ(cloud.fileNames(), QStringList());
}

TEST_F(RefusedToken, Of_downloads_asks_for_one_sign_in) {
    refuse(QWRestRequest::LoadFile, 4);
    for (int number = 0; number < 4; ++number)
        cloud.putRecord(QStringLiteral("Book!!!%1.data").arg(number), book("T"));
    supervisor().syncNow();
    expectAskedOnce();
    EXPECT_EQ(desktop.contents().size(), 4);
}

TEST_F(RefusedToken, Of_a_query_and_a_look_up_asks_for_one_sign_in) {
    desktop.world.userDefaults->setObject("a", "dark");
    engine().syncPreferenceWithKeys({"a"});
    pass(30);
    engine().deactivateSync();
    desktop.world.userDefaults->setBoolean(QWDBLastTimeTokenExpiredPrefKey, true);
    refuse(QWRestRequest::LoadMetadata, 2);
    desktop.activate();
    expectAskedOnce();
}

TEST_F(RefusedToken, That_is_given_once_more_asks_again) {
    refuse(QWRestRequest::Upload, 1);
    addBooks();
    pass(120);
    refuse(QWRestRequest::Upload, 1);
    desktop.find("0")->setValueForKey("title", "U");
    desktop.save();
    pass(120);
    EXPECT_EQ(refusals, 2);
    EXPECT_TRUE(supervisor().isInStep());
}
