#include "supervisor/OneDesktop.h"

// Images that differ between a desktop and the cloud, and records that lost theirs.

namespace {

using namespace std::chrono_literals;

struct ImageVersionsAlone : TwoDesktops {};
struct ImageVersions : TwoDesktops {
    ImageVersions() : TwoDesktops(Desktop::Supervised) {}
};

QString imageName(const QString& uuid) {
    return "Book!!!" + uuid + ".image";
}

QString imagePath(Desktop& desktop, const QString& uuid) {
    return desktop.find(uuid)->imageURL().toLocalFile();
}

// As another program would: the record does not change.
void replaceImage(Desktop& desktop, const QString& uuid, const QByteArray& bytes, const QDateTime& date) {
    const QString path = imagePath(desktop, uuid);
    desktop.world.files->makeFolder(QFileInfo(path).path());
    ASSERT_TRUE(desktop.world.files->write(path, bytes));
    ASSERT_TRUE(desktop.world.files->setModificationDate(path, date));
}

// A book that both hold, with an image unless that is null.
QString commonBook(TwoDesktops& test, const QByteArray& image = "first") {
    const auto book = test.a.add("Book", {{"title", "T"}});
    if (!image.isNull())
        test.a.setImage(*book, image);
    test.sync();
    test.a.advance(5s);
    return book->uuid();
}

// `b` sends an image; `a`, which is inactive, has another one, dated so many seconds later.
QString meetingImages(TwoDesktops& test, const QByteArray& before, const QByteArray& sent,
                      const QByteArray& kept, int secondsLater) {
    const QString uuid = commonBook(test, before);
    test.a.engine->deactivateSync();
    test.b.setImage(*test.b.find(uuid), sent);
    test.b.sync();
    const QDateTime date = test.b.fileMetadata(imageName(uuid))->lastModifiedDate();
    replaceImage(test.a, uuid, kept, date.addSecs(secondsLater));
    for (int round = 0; round < 2; ++round)
        test.sync();
    return uuid;
}

} // namespace

TEST_F(ImageVersionsAlone, An_image_that_is_newer_here_than_the_one_received_is_never_sent) {
    const QString uuid = meetingImages(*this, "first", "second", "third", 60);
    EXPECT_EQ(a.image(*a.find(uuid)), "third");
    EXPECT_EQ(b.image(*b.find(uuid)), "second");
}

TEST_F(ImageVersions, An_image_that_is_newer_here_than_the_one_received_is_sent) {
    const QString uuid = meetingImages(*this, "first", "second", "third", 60);
    EXPECT_EQ(a.image(*a.find(uuid)), "third");
    EXPECT_TRUE(areInStep());
    EXPECT_EQ(cloud.bytes(imageName(uuid)), "third");
}

TEST_F(ImageVersions, An_image_that_comes_again_as_it_was_makes_no_later_one_give_way) {
    for (const int secondsLater : {-1, 0}) {
        const QString uuid = commonBook(*this);
        a.engine->deactivateSync();
        b.advance(60s);
        // As after a deletion of the sync folder: the same image, with a later date.
        cloud.remove(imageName(uuid));
        cloud.put(imageName(uuid), "first");
        const QDateTime date =
            cloud.folder->metadata("/SyncCache.dbSync/" + imageName(uuid))->lastModifiedDate;
        replaceImage(a, uuid, "second", date.addSecs(secondsLater));
        for (int round = 0; round < 2; ++round)
            sync();
        EXPECT_EQ(a.image(*a.find(uuid)), "second") << secondsLater;
        EXPECT_EQ(cloud.bytes(imageName(uuid)), "second") << secondsLater;
        EXPECT_TRUE(areInStep());
    }
}

TEST_F(ImageVersions, An_image_that_is_newer_here_is_sent_by_the_process_that_follows) {
    const QString uuid = commonBook(*this);
    const QString other = commonBook(*this);
    a.engine->deactivateSync();
    b.setImage(*b.find(uuid), "second");
    b.setImage(*b.find(other), "second");
    b.sync();
    replaceImage(a, uuid, "third", b.fileMetadata(imageName(uuid))->lastModifiedDate().addSecs(60));
    a.client->on(QWRestRequest::LoadFile)
        .where([&](const QWRestRequest& request) { return request.path.endsWith(imageName(other)); })
        .staysUnanswered();
    a.activate();
    a.advance(10s);
    a.engine->applicationWillClose();
    a.crash();
    a.start();
    sync();
    EXPECT_EQ(cloud.bytes(imageName(uuid)), "third");
    EXPECT_TRUE(areInStep());
}

TEST_F(ImageVersions, An_image_that_is_newer_here_keeps_its_date_while_it_waits) {
    const QString uuid = commonBook(*this);
    a.engine->deactivateSync();
    b.setImage(*b.find(uuid), "second");
    b.sync();
    const QDateTime date = b.fileMetadata(imageName(uuid))->lastModifiedDate().addSecs(60);
    replaceImage(a, uuid, "third", date);
    a.client->on(QWRestRequest::Upload).staysUnanswered();
    a.client->forgetRequests();
    a.activate();
    a.advance(10s);
    EXPECT_EQ(a.world.files->modificationDate(imagePath(a, uuid)), date);
    EXPECT_EQ(a.client->requests(QWRestRequest::Upload).size(), 2u) << "it is on its way";
}

TEST_F(ImageVersions, An_image_that_is_older_here_makes_way) {
    const QString uuid = meetingImages(*this, "first", "second", "third", -2);
    EXPECT_EQ(a.image(*a.find(uuid)), "second");
    EXPECT_TRUE(areInStep());
}

TEST_F(ImageVersions, An_image_by_a_clock_that_is_behind_is_not_sent_against_the_will_of_the_host) {
    const QString uuid = commonBook(*this);
    replaceImage(a, uuid, "mine", a.fileMetadata(imageName(uuid))->lastModifiedDate().addSecs(-60));
    a.wantsUpdate = [](const QWManagedObjectWithSyncSupport&) { return false; };
    a.find(uuid)->setDateModified(a.now());
    a.save();
    a.advance(60s);
    EXPECT_EQ(cloud.bytes(imageName(uuid)), "first");
}

TEST_F(ImageVersionsAlone, Different_images_of_the_same_date_stay_apart) {
    const QString uuid = meetingImages(*this, QByteArray(), "one", "two", 0);
    EXPECT_EQ(b.image(*b.find(uuid)), "one");
    EXPECT_EQ(a.image(*a.find(uuid)), "two");
}

TEST_F(ImageVersions, Of_different_images_of_the_same_date_the_same_one_is_kept_whoever_has_it) {
    const QString uuid = meetingImages(*this, QByteArray(), "one", "two", 0);
    EXPECT_TRUE(areInStep());
    const QByteArray winner = a.image(*a.find(uuid));
    const QString other = meetingImages(*this, QByteArray(), "two", "one", 0);
    EXPECT_TRUE(areInStep());
    EXPECT_EQ(a.image(*a.find(other)), winner);
}

TEST_F(ImageVersions,
       An_image_of_the_same_date_that_has_not_changed_here_makes_way_for_the_one_in_the_cloud) {
    for (const auto& [here, there] : {std::pair("one", "two"), std::pair("two", "one")}) {
        const QString uuid = commonBook(*this, here);
        const QDateTime date = a.fileMetadata(imageName(uuid))->lastModifiedDate();
        // The cloud takes two versions within one second.
        const auto known = a.fileMetadata(imageName(uuid));
        cloud.put(imageName(uuid), there);
        b.askForChanges();
        b.advance(5s);
        const QDateTime later = b.fileMetadata(imageName(uuid))->lastModifiedDate();
        ASSERT_GT(later, date);
        known->setLastModifiedDate(later);
        replaceImage(a, uuid, here, later);
        sync();
        EXPECT_EQ(a.image(*a.find(uuid)), there);
        EXPECT_TRUE(areInStep());
    }
}

// Deleted in the cloud --------------------------------------------------------------------------------------

TEST_F(ImageVersionsAlone, An_image_that_is_deleted_in_the_cloud_while_its_record_lives_stays_away) {
    const QString uuid = commonBook(*this);
    cloud.remove(imageName(uuid));
    sync();
    EXPECT_EQ(a.image(*a.find(uuid)), "first");
    EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!" + uuid + ".data"});
}

TEST_F(ImageVersions, An_image_that_is_deleted_in_the_cloud_while_its_record_lives_is_sent_again) {
    const QString uuid = commonBook(*this);
    cloud.remove(imageName(uuid));
    sync();
    EXPECT_TRUE(areInStep());
    EXPECT_EQ(cloud.bytes(imageName(uuid)), "first");
}

// The two are deleted by two requests, of which one may have to be repeated.
TEST_F(ImageVersions, An_image_that_is_deleted_is_not_sent_before_the_deletion_of_its_record_may_have_come) {
    const QString uuid = commonBook(*this);
    cloud.remove(imageName(uuid));
    a.supervisor->syncNow();
    a.advance(9s);
    EXPECT_FALSE(a.supervisor->isInStep());
    cloud.remove("Book!!!" + uuid + ".data");
    sync();
    EXPECT_FALSE(a.find(uuid));
    EXPECT_EQ(cloud.fileNames(), QStringList());
}

TEST_F(ImageVersions, An_image_that_is_deleted_once_more_has_its_time_anew) {
    const QString uuid = commonBook(*this);
    cloud.remove(imageName(uuid));
    a.supervisor->syncNow();
    a.advance(5s);
    b.engine->deactivateSync();
    cloud.put(imageName(uuid), "first");
    cloud.remove(imageName(uuid));
    a.supervisor->syncNow(); // which finds the second deletion
    a.advance(1s);
    EXPECT_FALSE(cloud.fileNames().contains(imageName(uuid)));
    a.advance(20s);
    EXPECT_EQ(cloud.bytes(imageName(uuid)), "first");
}

TEST_F(ImageVersions, An_image_that_is_deleted_makes_no_query_after_the_end_of_the_activity) {
    const QString uuid = commonBook(*this);
    cloud.remove(imageName(uuid));
    a.supervisor->syncNow();
    a.advance(5s);
    a.engine->deactivateSync();
    const qint64 queries = a.supervisor->requests().queries;
    a.advance(60s);
    EXPECT_EQ(a.supervisor->requests().queries, queries);
    sync();
    EXPECT_TRUE(a.supervisor->isAtRest());
    EXPECT_EQ(cloud.bytes(imageName(uuid)), "first");
}

// A listing from scratch names no deletion, and what waits to be sent is not deleted for it.
TEST_F(ImageVersions, An_image_that_a_listing_from_scratch_lacks_is_sent_with_its_record_that_waits) {
    for (const bool waits : {true, false}) {
        const QString uuid = commonBook(*this);
        a.engine->deactivateSync();
        cloud.remove(imageName(uuid));
        cloud.folder->forgetCursors();
        if (waits)
            a.find(uuid)->setValueForKey("title", "changed while offline");
        sync();
        sync();
        EXPECT_TRUE(areInStep());
        EXPECT_EQ(cloud.bytes(imageName(uuid)), "first") << waits;
    }
}

TEST_F(ImageVersions, An_image_that_is_deleted_with_its_record_is_not_sent_again) {
    const QString uuid = commonBook(*this);
    cloud.remove(imageName(uuid));
    cloud.remove("Book!!!" + uuid + ".data");
    sync();
    EXPECT_TRUE(areInStep());
    EXPECT_FALSE(a.find(uuid));
    EXPECT_EQ(cloud.fileNames(), QStringList());
}

// Deleted here ----------------------------------------------------------------------------------------------

namespace {

// The left desktop deletes the book and, before that is sent, receives a new version of it.
QString revivedBook(TwoDesktops& test) {
    const QString uuid = commonBook(test);
    test.a.engine->deactivateSync();
    const QString image = imagePath(test.a, uuid);
    test.a.context->deleteObject(*test.a.find(uuid));
    test.a.save();
    test.a.world.files->remove(image);
    test.b.find(uuid)->setValueForKey("title", "Edited");
    test.b.sync();
    test.sync();
    test.sync();
    return uuid;
}

} // namespace

TEST_F(ImageVersionsAlone, A_record_that_comes_back_after_its_deletion_comes_without_its_image) {
    const QString uuid = revivedBook(*this);
    ASSERT_TRUE(a.find(uuid));
    EXPECT_EQ(a.image(*a.find(uuid)), "");
    EXPECT_EQ(b.image(*b.find(uuid)), "first");
}

TEST_F(ImageVersions, A_record_that_comes_back_after_its_deletion_brings_its_image) {
    const QString uuid = revivedBook(*this);
    ASSERT_TRUE(a.find(uuid));
    EXPECT_EQ(a.image(*a.find(uuid)), "first");
    EXPECT_TRUE(areInStep());
}

// Copies of a conflict, and images that change on their way -------------------------------------------------

namespace {

struct OneImageAlone : OneDesktop {
    OneImageAlone() : OneDesktop(Desktop::Alone) { begin(); }
};
struct OneImage : OneDesktop {
    OneImage() : OneDesktop(Desktop::Supervised) { begin(); }
};

const QString copy = "Book!!!X (Bob's conflicted copy).image";

// The book's record is in flight when it gets an image, of which only a file tells.
desktop::Record imageSetInFlight(OneDesktop& test) {
    test.desktop.client->on(QWRestRequest::Upload).first(1).delaysAnswer(5s);
    const auto book = test.desktop.add("Book", {{"title", "T"}});
    test.desktop.save();
    test.pass(1);
    replaceImage(test.desktop, book->uuid(), "cover", test.desktop.now());
    test.pass(60);
    return book;
}

} // namespace

TEST_F(OneImageAlone, A_copy_of_an_image_makes_a_record_that_nobody_has_again) {
    cloud.put(copy, "cover");
    desktop.askForChanges();
    pass(10);
    EXPECT_TRUE(desktop.find("X"));
}

TEST_F(OneImage, A_copy_of_an_image_does_not_make_a_record_that_nobody_has) {
    cloud.put(copy, "cover");
    desktop.askForChanges();
    pass(10);
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_TRUE(desktop.isIdle());
}

TEST_F(OneImage, A_copy_of_an_image_whose_record_lives_is_taken_like_any_image_and_deleted) {
    cloud.putRecord("Book!!!X.data", book("T"));
    desktop.askForChanges();
    pass(10);
    cloud.put(copy, "cover");
    desktop.askForChanges();
    pass(30);
    EXPECT_EQ(desktop.image(*desktop.find("X")), "cover");
    EXPECT_EQ(cloud.fileNames().filter("conflicted").size(), 0);
    EXPECT_EQ(cloud.bytes("Book!!!X.image"), "cover") << "it is sent as the record's image";
    EXPECT_FALSE(desktop.fileMetadata(copy));
}

TEST_F(OneImage, A_copy_of_an_image_that_comes_with_its_record_is_taken_and_deleted) {
    cloud.putRecord("Book!!!X.data", book("T"));
    cloud.put(copy, "cover");
    supervisor().syncNow();
    pass(30);
    EXPECT_EQ(desktop.image(*desktop.find("X")), "cover");
    EXPECT_EQ(cloud.fileNames(), (QStringList{"Book!!!X.data", "Book!!!X.image"}));
}

TEST_F(OneImageAlone, An_image_that_is_set_while_its_record_is_in_flight_is_not_sent) {
    const auto book = imageSetInFlight(*this);
    EXPECT_EQ(cloud.fileNames(), QStringList{fileName(*book, "data")});
}

TEST_F(OneImage, An_image_that_is_set_while_its_record_is_in_flight_is_sent) {
    const auto book = imageSetInFlight(*this);
    EXPECT_EQ(cloud.fileNames(), (QStringList{fileName(*book, "data"), fileName(*book, "image")}));
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
    EXPECT_TRUE(desktop.isIdle());
}

// As when the record could not be staged at first, for want of space, and bears the date of the second image then.
TEST_F(OneImage, An_image_that_is_set_after_the_one_before_was_sent_and_before_its_record_was_is_sent) {
    desktop.client->on(QWRestRequest::Upload)
        .where([](const QWRestRequest& request) { return request.path.endsWith(".data"); })
        .first(1)
        .delaysAnswer(5s);
    const auto book = desktop.add("Book", {{"title", "T"}});
    desktop.setImage(*book, "first");
    desktop.save();
    pass(2);
    ASSERT_EQ(cloud.bytes(fileName(*book, "image")), "first");
    replaceImage(desktop, book->uuid(), "second", desktop.now());
    pass(60);
    EXPECT_EQ(cloud.bytes(fileName(*book, "image")), "second");
    EXPECT_EQ(count(QWRestRequest::Upload), 4);
    EXPECT_TRUE(desktop.isIdle());
}
