#include "supervisor/OneDesktop.h"

// Images whose records are not here: not yet, or not any longer.

namespace {

using namespace std::chrono_literals;

struct StrayImageAlone : OneDesktop {
    StrayImageAlone() : OneDesktop(Desktop::Alone) { begin(); }
};
struct StrayImage : OneDesktop {
    StrayImage() : OneDesktop(Desktop::Supervised) { begin(); }

    // An image comes, and nothing else yet.
    void receiveImage() {
        cloud.put(imageName, "cover");
        receive();
    }
    void receive() {
        supervisor().syncNow();
        pass(10);
    }
    // The record comes, and its image is on its way.
    void receiveRecordOnly() {
        cloud.putRecord(recordName, book("T"));
        ofImage(desktop.client->on(QWRestRequest::LoadFile)).delaysAnswer(20s);
        receive();
    }
    QByteArray imageHere() {
        const auto book = desktop.find("X");
        return book ? desktop.image(*book) : "no record";
    }
    static QWRestFault& ofImage(QWRestFault& fault) {
        return fault.where([](const QWRestRequest& request) { return request.path.endsWith(".image"); });
    }

    const QString recordName = "Book!!!X.data", imageName = "Book!!!X.image";
};
struct StrayImages : TwoDesktops {
    StrayImages() : TwoDesktops(Desktop::Supervised) {}

    QString commonBook() {
        const QString uuid = a.add("Book", {{"title", "T"}})->uuid();
        sync();
        return uuid;
    }
};

} // namespace

// Not yet ---------------------------------------------------------------------------------------------------

TEST_F(StrayImageAlone, An_image_without_its_record_makes_an_empty_one) {
    cloud.put("Book!!!X.image", "cover");
    desktop.askForChanges();
    pass(10);
    EXPECT_TRUE(desktop.find("X"));
}

TEST_F(StrayImage, An_image_makes_no_record_and_is_fetched_when_its_record_comes) {
    receiveImage();
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_EQ(count(QWRestRequest::LoadFile), 0);
    cloud.putRecord(recordName, book("T"));
    receive();
    EXPECT_EQ(imageHere(), "cover");
    EXPECT_EQ(count(QWRestRequest::LoadFile), 2);
    EXPECT_EQ(count(QWRestRequest::Upload), 0);
}

TEST_F(StrayImage, An_image_is_fetched_when_its_record_comes_after_another_one_that_refers_to_it) {
    receiveImage();
    cloud.putRecord("Chapter!!!C.data", {{"heading", "H"},
                                         {"dateModified", "2025-01-01 00:00:00 +0000"},
                                         {"book", QVariantMap{{"uuid", "X"}, {"entityName", "Book"}}}});
    receive();
    ASSERT_TRUE(desktop.find("X"));
    cloud.putRecord(recordName, book("T"));
    receive();
    EXPECT_EQ(imageHere(), "cover");
}

TEST_F(StrayImage, An_image_is_fetched_when_the_host_makes_its_record_before_that_has_come) {
    cloud.putRecord(recordName, book("Theirs"));
    cloud.put(imageName, "cover");
    desktop.client->on(QWRestRequest::LoadFile).first(1).delaysAnswer(5s);
    supervisor().syncNow();
    pass(2);
    desktop.add("Book", {{"title", "Own"}})->setUuid("X");
    desktop.save();
    pass(60);
    receive();
    EXPECT_EQ(imageHere(), "cover");
}

TEST_F(StrayImage, An_image_that_waited_for_its_record_is_asked_for_again_after_a_crash) {
    receiveImage();
    receiveRecordOnly();
    desktop.crash();
    desktop.start();
    desktop.activate();
    pass(10);
    EXPECT_EQ(imageHere(), "cover");
}

TEST_F(StrayImage, An_image_that_waited_for_its_record_is_asked_for_again_by_the_process_that_follows) {
    receiveImage();
    receiveRecordOnly();
    engine().applicationWillClose();
    desktop.crash();
    desktop.start();
    ASSERT_TRUE(desktop.find("X"));
    desktop.activate();
    pass(10);
    EXPECT_EQ(imageHere(), "cover");
}

TEST_F(StrayImage, An_image_that_waited_for_its_record_is_asked_for_again_when_the_batch_was_given_up) {
    receiveImage();
    receiveRecordOnly();
    engine().deactivateSync();
    pass(30);
    desktop.client->removeFaults();
    desktop.activate();
    pass(10);
    EXPECT_EQ(imageHere(), "cover");
}

TEST_F(StrayImage, An_image_that_the_service_denies_is_asked_for_again) {
    receiveImage();
    cloud.putRecord(recordName, book("T"));
    ofImage(desktop.client->on(QWRestRequest::LoadFile)).first(2).answersWith(404);
    receive();
    pass(1000);
    EXPECT_EQ(imageHere(), "cover");
    EXPECT_EQ(count(QWRestRequest::LoadFile), 4);
}

TEST_F(StrayImage, An_image_that_has_gone_before_its_record_came_is_not_asked_for) {
    receiveImage();
    cloud.remove(imageName);
    cloud.putRecord(recordName, book("T"));
    receive();
    pass(300);
    EXPECT_EQ(imageHere(), "");
    EXPECT_TRUE(desktop.isIdle());
    EXPECT_EQ(count(QWRestRequest::LoadFile), 1);
}

// The host has not saved the record, and both its uploads are answered after the image was listed.
TEST_F(StrayImage, An_own_image_that_is_listed_before_its_unsaved_record_is_answered_stays_with_it) {
    const auto slowUpload = [&](const QString& name, std::chrono::seconds delay) {
        desktop.client->on(QWRestRequest::Upload)
            .where([name](const QWRestRequest& request) { return request.path.endsWith(name); })
            .first(1)
            .delaysAnswer(delay);
    };
    slowUpload(imageName, 700s);
    slowUpload(recordName, 640s);
    const auto added = desktop.add("Book", {{"title", "T"}});
    added->setUuid("X");
    desktop.setImage(*added, "cover");
    pass(1);
    cloud.putRecord("Chapter!!!C.data", {{"heading", "C"}});
    desktop.client->on(QWRestRequest::LoadFile)
        .where([](const QWRestRequest& request) { return request.path.endsWith("C.data"); })
        .first(1)
        .delaysAnswer(200s);
    pass(610);
    added->setValueForKey("title", "Second");
    pass(2000);
    desktop.save();
    pass(100);
    EXPECT_TRUE(supervisor().isInStep());
    EXPECT_EQ(cloud.fileNames(), (QStringList{recordName, imageName, "Chapter!!!C.data"}));
    EXPECT_TRUE(cloud.bytes(recordName).contains("Second"));
    EXPECT_LE(count(QWRestRequest::Upload), 6);
    cloud.remove(recordName);
    cloud.remove(imageName);
    pass(1300);
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_EQ(cloud.fileNames(), QStringList{"Chapter!!!C.data"});
}

// Not any longer --------------------------------------------------------------------------------------------

TEST_F(StrayImages, An_image_that_is_sent_after_its_record_was_deleted_makes_no_record_again) {
    const QString uuid = commonBook();
    StrayImage::ofImage(b.client->on(QWRestRequest::Upload)).first(1).answersWith(500);
    b.setImage(*b.find(uuid), "cover");
    b.save();
    b.advance(1s);
    a.context->deleteObject(*a.find(uuid));
    a.save();
    b.advance(30s);
    ASSERT_EQ(cloud.fileNames(), QStringList{"Book!!!" + uuid + ".image"});
    sync();
    EXPECT_TRUE(areInStep());
    EXPECT_FALSE(a.find(uuid));
}

TEST_F(StrayImages, A_record_that_comes_back_after_its_new_image_brings_that) {
    const QString uuid = commonBook();
    a.engine->deactivateSync();
    a.context->deleteObject(*a.find(uuid));
    a.save();
    b.setImage(*b.find(uuid), "cover");
    b.sync();
    a.client->on(QWRestRequest::LoadFile)
        .where([](const QWRestRequest& request) { return request.path.endsWith(".data"); })
        .first(1)
        .delaysAnswer(5s);
    sync();
    ASSERT_TRUE(a.find(uuid));
    EXPECT_EQ(a.image(*a.find(uuid)), "cover");
    EXPECT_TRUE(areInStep());
}

TEST_F(StrayImages, An_image_that_comes_while_the_deletion_of_its_record_waits_is_deleted_with_it) {
    const QString uuid = commonBook();
    a.engine->deactivateSync();
    const auto book = a.find(uuid);
    a.context->deleteObject(*book);
    a.save();
    a.row(*book)->setObjectCouldHaveAnImage(false);
    cloud.put("Book!!!" + uuid + ".image", "cover");
    sync();
    EXPECT_FALSE(a.find(uuid));
    EXPECT_EQ(cloud.fileNames(), QStringList());
}

TEST_F(StrayImages, An_image_that_was_on_its_way_when_its_record_was_deleted_is_deleted_with_it) {
    const QString uuid = commonBook();
    a.engine->deactivateSync();
    StrayImage::ofImage(a.client->on(QWRestRequest::LoadFile)).first(1).delaysAnswer(5s);
    cloud.put("Book!!!" + uuid + ".image", "cover");
    a.activate();
    a.advance(2s);
    const auto book = a.find(uuid);
    a.context->deleteObject(*book);
    a.save();
    a.row(*book)->setObjectCouldHaveAnImage(false);
    a.advance(5s);
    EXPECT_EQ(a.supervisor->counts().declined, 1);
    sync();
    EXPECT_EQ(cloud.fileNames(), QStringList());
}

// The image arrives while the deletion waits, the record later.
TEST_F(StrayImages, A_record_that_comes_back_after_its_image_was_declined_brings_that) {
    const QString uuid = commonBook();
    a.engine->deactivateSync();
    b.setImage(*b.find(uuid), "cover");
    b.sync();
    StrayImage::ofImage(a.client->on(QWRestRequest::LoadFile)).first(1).delaysAnswer(5s);
    a.client->on(QWRestRequest::LoadFile)
        .where([](const QWRestRequest& request) { return request.path.endsWith(".data"); })
        .first(1)
        .delaysAnswer(10s);
    a.activate();
    a.advance(2s);
    a.context->deleteObject(*a.find(uuid));
    a.save();
    a.advance(5s);
    EXPECT_EQ(a.supervisor->counts().declined, 1);
    sync();
    ASSERT_TRUE(a.find(uuid));
    EXPECT_EQ(a.image(*a.find(uuid)), "cover");
    EXPECT_TRUE(areInStep());
}
