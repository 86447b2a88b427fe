#include "supervisor/ImageArchive.h"
#include "dropbox/DBContentHash.h"
#include "support/FullDisk.h"
#include "testing/QWLogCapture.h"

// Which images go into the archive: each one that gives way, and no other.

TEST_F(ImageArchive, An_image_that_a_received_one_replaces_is_kept) {
    receiveImage("first");
    const QDateTime date = dateInCloud();
    receiveImage("second");
    ASSERT_EQ(image(), "second");
    ASSERT_TRUE(holdsOnlyImage("first", Origin::Here, Reason::Earlier));
    const auto version = versions().front();
    EXPECT_EQ(version.entityName, "Book");
    EXPECT_EQ(version.uuid, "X");
    EXPECT_EQ(version.number, 1);
    EXPECT_EQ(version.dateModified, date);
    EXPECT_LT(version.archivedAt.secsTo(desktop.now()), 30);
    EXPECT_EQ(version.imageSize, 5);
    EXPECT_TRUE(version.record.isEmpty());
}

TEST_F(ImageArchive, An_image_that_waits_to_be_sent_and_is_replaced_is_kept) {
    engine().deactivateSync();
    setImage("mine", desktop.now());
    pass(60);
    cloud.put(nameOf("X"), "theirs");
    desktop.activate();
    pass(30);
    ASSERT_EQ(image(), "theirs");
    EXPECT_TRUE(holdsOnlyImage("mine", Origin::Here, Reason::Earlier));
}

TEST_F(ImageArchive, A_received_image_that_is_behind_is_kept) {
    receiveImage("first");
    setImage("mine", desktop.now().addSecs(3600));
    receiveImage("theirs");
    ASSERT_EQ(image(), "mine");
    ASSERT_TRUE(holdsOnlyImage("theirs", Origin::Cloud, Reason::Earlier));
    EXPECT_LT(versions().front().dateModified, desktop.now());
}

TEST_F(ImageArchive, Of_two_images_of_one_date_the_one_that_is_not_kept_is_archived) {
    for (const bool isMineGreater : {false, true}) {
        const QByteArray theirs = isMineGreater ? "theirs" : "also theirs";
        QByteArray mine = "mine";
        while ((dropboxContentHash(mine) > dropboxContentHash(theirs)) != isMineGreater)
            mine.append('!');
        engine().deactivateSync();
        cloud.put(nameOf("X"), theirs);
        setImage(mine, dateInCloud());
        desktop.activate();
        pass(30);
        ASSERT_EQ(image(), isMineGreater ? mine : theirs);
        ASSERT_FALSE(versions().empty());
        const auto version = versions().front();
        EXPECT_EQ(contentOf(version), isMineGreater ? theirs : mine);
        EXPECT_EQ(version.origin, isMineGreater ? Origin::Cloud : Origin::Here);
        EXPECT_EQ(version.reason, Reason::SameSecond);
        pass(60);
    }
}

TEST_F(ImageArchive, The_image_of_a_record_that_another_desktop_has_deleted_is_kept) {
    receiveImage("first");
    const QString path = this->path();
    cloud.remove(file);
    cloud.remove(nameOf("X"));
    receive();
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_TRUE(holdsOnlyImage("first", Origin::Here, Reason::Deletion));
}

TEST_F(ImageArchive, The_image_of_an_unsaved_record_that_another_desktop_has_deleted_is_kept) {
    const auto own = desktop.add("Book", {{"title", "Own"}});
    const QString uuid = own->uuid();
    desktop.setImage(*own, "own");
    pass(5);
    cloud.remove(fileName(*own, "data"));
    receive();
    ASSERT_FALSE(desktop.find(uuid));
    EXPECT_TRUE(holdsOnlyImage("own", Origin::Here, Reason::Deletion, uuid));
}

TEST_F(ImageArchive, A_received_image_is_kept_when_its_record_is_deleted_here_meanwhile) {
    beginBatchThatWaits();
    desktop.context->deleteObject(*desktop.find("X"));
    desktop.save();
    pass(20);
    ASSERT_FALSE(desktop.find("X"));
    EXPECT_TRUE(holdsOnlyImage("1", Origin::Cloud, Reason::Deletion));
}

TEST_F(ImageArchive, A_copy_of_a_conflict_counts_like_any_image) {
    receiveImage("first");
    cloud.put("Book!!!X (Bob's conflicted copy).image", "second");
    receive();
    ASSERT_EQ(image(), "second");
    EXPECT_TRUE(holdsOnlyImage("first", Origin::Here, Reason::Earlier));
}

TEST_F(ImageArchive, An_image_that_the_cloud_alone_has_lost_stays_and_has_not_lost) {
    receiveImage("first");
    cloud.remove(nameOf("X"));
    receive();
    EXPECT_EQ(image(), "first");
    EXPECT_EQ(cloud.bytes(nameOf("X")), "first");
    EXPECT_EQ(supervisor().versionArchive().count(), 0);
}

TEST_F(ImageArchive, Nothing_is_kept_of_what_takes_nobodys_place) {
    receiveImage("first");
    pass(60);
    receiveImage("first"); // again, and later
    desktop.setImage(*desktop.find("X"), "own");
    desktop.save();
    receive();
    EXPECT_EQ(cloud.bytes(nameOf("X")), "own");
    EXPECT_EQ(supervisor().versionArchive().count(), 0);
    EXPECT_FALSE(QFile::exists(desktop.path("cache/ArchivedImages")));
}

TEST_F(ImageArchive, An_image_that_differs_by_its_date_alone_has_not_lost) {
    receiveImage("first");
    for (const int secondsLater : {-30, 3600}) {
        const QByteArray bytes = QByteArray::number(secondsLater);
        engine().deactivateSync();
        pass(60);
        cloud.put(nameOf("X"), bytes);
        setImage(bytes, dateInCloud().addSecs(secondsLater));
        desktop.activate();
        pass(30);
        EXPECT_EQ(image(), bytes);
        EXPECT_EQ(supervisor().versionArchive().count(), 0);
    }
}

TEST_F(ImageArchive, An_empty_file_is_no_image) {
    setImage({}, desktop.now());
    pass(60);
    receiveImage("first");
    EXPECT_EQ(image(), "first");
    EXPECT_EQ(supervisor().versionArchive().count(), 0);
    receiveImage({});
    EXPECT_EQ(image(), "");
    EXPECT_TRUE(holdsOnlyImage("first", Origin::Here, Reason::Earlier));
}

TEST_F(ImageArchive, An_image_that_loses_twice_is_one_and_the_latest_loss) {
    for (const char* bytes : {"first", "second", "first", "second"}) {
        receiveImage(bytes);
        pass(60);
    }
    ASSERT_EQ(images(), QList<QByteArray>({"first", "second"}));
    EXPECT_EQ(versions()[0].number, 3);
    EXPECT_EQ(files().size(), 2);
}

TEST_F(ImageArchive, Records_and_images_are_numbered_together) {
    receiveImage("first");
    receiveImage("second");
    receiveBook("Later", 11);
    ASSERT_EQ(versions().size(), 2u);
    EXPECT_FALSE(versions()[0].isImage());
    EXPECT_EQ(versions()[0].number, 2);
    EXPECT_EQ(versions()[1].number, 1);
}

TEST_F(ImageArchive, A_process_that_comes_later_finds_them) {
    receiveImage("first");
    receiveImage("second");
    desktop.crash();
    desktop.start();
    const QWVersionArchive archive(engine());
    ASSERT_EQ(archive.versions("X").size(), 1u);
    EXPECT_EQ(contentOf(archive.versions("X")[0]), "first");
}

// The disk --------------------------------------------------------------------------------------------------

namespace {

struct ImageArchiveOnDisk : ImageArchive {
    ImageArchiveOnDisk() {
        receiveImage("first");
        desktop.crash();
        disk->isFull = false;
        desktop.world.files = disk;
        desktop.start();
        begin();
    }
    // How often the image makes way from now on; each time it is in the archive.
    int& timesReplaced() {
        disk->willReplace = [this, path = path()](const QString& replaced) {
            if (replaced != path || !disk->exists(path))
                return;
            ++timesReplaced_;
            EXPECT_EQ(images(), QList<QByteArray>{disk->read(path).value_or("none")});
            EXPECT_FALSE(engine().dropboxCacheManagedObjectContext()->hasChanges());
        };
        return timesReplaced_;
    }

    const std::shared_ptr<FullDisk> disk = std::make_shared<FullDisk>();

private:
    int timesReplaced_ = 0;
};

// It has no room for them.
struct ImageArchiveOnFullDisk : ImageArchiveOnDisk {
    ImageArchiveOnFullDisk() {
        disk->isFull = true;
        disk->fullBelow = desktop.path("cache/ArchivedImages");
    }
    const QWLogCapture log;
};

} // namespace

TEST_F(ImageArchiveOnDisk, An_image_is_there_before_a_received_one_takes_its_place) {
    const int& times = timesReplaced();
    receiveImage("second");
    ASSERT_EQ(image(), "second");
    EXPECT_EQ(times, 1);
}

TEST_F(ImageArchiveOnDisk, An_image_is_there_before_one_of_the_same_date_takes_its_place) {
    engine().deactivateSync();
    cloud.put(nameOf("X"), "second");
    setImage("first", dateInCloud());
    desktop.fileMetadata(nameOf("X"))->setLastModifiedDate(dateInCloud());
    const int& times = timesReplaced();
    desktop.activate();
    pass(30);
    ASSERT_EQ(image(), "second");
    EXPECT_EQ(times, 1);
}

TEST_F(ImageArchiveOnDisk, An_image_is_there_before_it_is_deleted_with_its_record) {
    const int& times = timesReplaced();
    cloud.remove(file);
    cloud.remove(nameOf("X"));
    receive();
    ASSERT_FALSE(desktop.find("X"));
    EXPECT_EQ(times, 1);
}

TEST_F(ImageArchiveOnFullDisk, A_received_image_waits_until_the_one_here_can_be_kept) {
    cloud.put(nameOf("X"), "second");
    desktop.askForChanges();
    pass(60);
    EXPECT_EQ(image(), "first");
    EXPECT_FALSE(supervisor().isInStep());
    disk->isFull = false;
    pass(11);
    EXPECT_EQ(image(), "second");
    EXPECT_TRUE(supervisor().isInStep());
    EXPECT_TRUE(holdsOnlyImage("first", Origin::Here, Reason::Earlier));
}

TEST_F(ImageArchiveOnFullDisk, An_image_that_is_behind_waits_until_it_can_be_kept) {
    setImage("mine", desktop.now().addSecs(3600));
    cloud.put(nameOf("X"), "theirs");
    desktop.askForChanges();
    pass(60);
    EXPECT_TRUE(versions().empty());
    EXPECT_FALSE(supervisor().isInStep());
    disk->isFull = false;
    pass(30);
    EXPECT_EQ(image(), "mine");
    EXPECT_TRUE(supervisor().isInStep());
    EXPECT_EQ(cloud.bytes(nameOf("X")), "mine");
    EXPECT_TRUE(holdsOnlyImage("theirs", Origin::Cloud, Reason::Earlier));
}

TEST_F(ImageArchiveOnFullDisk, What_waits_does_not_outlive_the_activity) {
    cloud.put(nameOf("X"), "second");
    desktop.askForChanges();
    pass(5);
    engine().deactivateSync();
    disk->isFull = false;
    pass(60);
    EXPECT_EQ(image(), "first");
    desktop.activate();
    pass(30);
    EXPECT_EQ(image(), "second");
    EXPECT_TRUE(supervisor().isInStep());
    EXPECT_EQ(supervisor().requestsOut(), 0);
}

TEST_F(ImageArchiveOnFullDisk, The_image_of_a_deleted_record_stays_where_it_is) {
    const QString path = this->path();
    cloud.remove(file);
    cloud.remove(nameOf("X"));
    receive();
    ASSERT_FALSE(desktop.find("X"));
    EXPECT_EQ(disk->read(path), "first");
    EXPECT_EQ(images(), QList<QByteArray>());
}

TEST_F(ImageArchiveOnDisk, An_image_that_cannot_be_read_keeps_its_place_until_it_can_be_kept_elsewhere) {
    disk->unreadable = path();
    const QWLogCapture log;
    receiveImage("second");
    disk->unreadable.clear();
    EXPECT_EQ(image(), "first");
    EXPECT_EQ(images(), QList<QByteArray>());
    pass(30);
    EXPECT_EQ(image(), "second");
    EXPECT_EQ(images(), QList<QByteArray>{"first"});
}

TEST_F(ImageArchiveOnDisk, An_image_that_can_never_be_read_holds_up_nothing_else_for_more_than_a_minute) {
    disk->unreadable = path();
    const QWLogCapture log;
    cloud.put(nameOf("X"), "second");
    cloud.putRecord("Book!!!Z.data", book("Behind it"));
    desktop.askForChanges();
    pass(30);
    ASSERT_FALSE(desktop.find("Z"));
    pass(40);
    ASSERT_TRUE(desktop.find("Z"));
    EXPECT_TRUE(supervisor().isInStep());
    EXPECT_EQ(QDir(desktop.path("cache")).entryList({"*.image"}, QDir::Files), QStringList());
    EXPECT_EQ(images(), QList<QByteArray>());

    cloud.putRecord("Book!!!Z.data", book("Later", hourText(12)));
    desktop.client->forgetRequests();
    desktop.askForChanges();
    pass(5);
    EXPECT_EQ(desktop.find("Z")->valueForKey("title"), "Later") << "at once";
    EXPECT_EQ(desktop.client->requests(QWRestRequest::LoadFile).size(), 1u);

    disk->unreadable.clear();
    ASSERT_EQ(image(), "first");
    receive();
    EXPECT_EQ(image(), "second") << "though nobody has announced it again";
    EXPECT_EQ(images(), QList<QByteArray>{"first"});
    EXPECT_EQ(cloud.bytes(nameOf("X")), "second");
}

TEST_F(ImageArchiveOnDisk, Many_images_that_can_never_be_read_hold_it_up_no_longer) {
    QStringList uuids;
    for (int number = 0; number < 12; ++number)
        uuids.append(QStringLiteral("N%1").arg(number));
    for (const QByteArray image : {"first", "second"}) {
        for (const QString& uuid : uuids) {
            cloud.putRecord("Book!!!" + uuid + ".data", book("B", hourText(image == "first" ? 11 : 12)));
            cloud.put(nameOf(uuid), image);
        }
        if (image == "first")
            receive();
    }
    ASSERT_EQ(this->image("N11"), "first");
    disk->unreadable = QFileInfo(path()).path();
    const QWLogCapture log;
    desktop.askForChanges();
    pass(70);
    EXPECT_TRUE(supervisor().isInStep());
    EXPECT_EQ(desktop.find("N11")->dateModified(), hourOf(12));
    disk->unreadable.clear();
    receive();
    for (const QString& uuid : uuids)
        EXPECT_EQ(this->image(uuid), "second");
}

// The first activity with a library that was copied here, say.
TEST_F(ImageArchiveOnDisk, One_that_cannot_be_read_is_not_sent_for_a_later_one_that_was_left_out) {
    engine().fileMetadataManager().deleteDropboxFileMetadataWithName(nameOf("X"));
    disk->unreadable = path();
    const QWLogCapture log;
    cloud.put(nameOf("X"), "second");
    desktop.askForChanges();
    pass(70);
    disk->unreadable.clear();
    desktop.find("X")->setValueForKey("title", "Edited");
    desktop.save();
    pass(5);
    ASSERT_EQ(desktop.client->requests(QWRestRequest::Upload).size(), 1u);
    EXPECT_EQ(cloud.bytes(nameOf("X")), "second");
    receive();
    EXPECT_EQ(image(), "second");
    EXPECT_EQ(images(), QList<QByteArray>{"first"});
    EXPECT_EQ(cloud.bytes(nameOf("X")), "second");
}

TEST_F(ImageArchiveOnDisk, A_copy_of_a_conflict_that_would_replace_it_stays_in_the_cloud) {
    disk->unreadable = path();
    const QWLogCapture log;
    const QString theirs = "Book!!!X (Ann's conflicted copy).image";
    cloud.put(theirs, "second");
    desktop.askForChanges();
    pass(70);
    EXPECT_TRUE(supervisor().isInStep());
    disk->unreadable.clear();
    desktop.client->forgetRequests();
    receive();
    EXPECT_EQ(image(), "first");
    EXPECT_EQ(cloud.bytes(nameOf("X")), "first");
    EXPECT_EQ(cloud.bytes(theirs), "second");
    EXPECT_TRUE(desktop.client->requests(QWRestRequest::LoadFile).empty());
    EXPECT_TRUE(desktop.client->requests(QWRestRequest::Upload).empty());
}

TEST_F(ImageArchiveOnDisk, An_image_of_a_deleted_record_that_cannot_be_read_stays_where_it_is) {
    const QString path = disk->unreadable = this->path();
    const QWLogCapture log;
    cloud.remove(file);
    cloud.remove(nameOf("X"));
    receive();
    ASSERT_FALSE(desktop.find("X"));
    disk->unreadable.clear();
    EXPECT_EQ(disk->read(path), "first");
}

TEST_F(ImageArchiveOnDisk, An_image_that_cannot_be_read_is_not_replaced_by_an_earlier_one) {
    receiveImage("second");
    disk->unreadable = path();
    QWError error;
    EXPECT_FALSE(supervisor().versionArchive().restore(versions().front(), &error));
    EXPECT_TRUE(error.message.contains(path())) << qPrintable(error.message);
    disk->unreadable.clear();
    EXPECT_EQ(image(), "second");
}

// Taken along -----------------------------------------------------------------------------------------------

namespace {

// The book Y is an edition of X, by what this desktop alone knows, and has an image.
struct ImageTakenAlong : ImageArchive {
    ImageTakenAlong() {
        cloud.putRecord("Book!!!Y.data", book("Edition"));
        receiveImage("cover", "Y");
    }
    void makeEdition() {
        desktop.find("Y")->setRelatedObject("original", desktop.find("X").data());
        desktop.save();
        pass(30);
    }
    // Y is an edition of a book that this desktop has made, and not saved, and another one has deleted.
    void deleteUnsavedOriginal() {
        const auto own = desktop.add("Book", {{"title", "Own"}});
        own->setUuid("OWN");
        pass(5);
        desktop.find("Y")->setRelatedObject("original", own.data());
        pass(30);
        cloud.remove("Book!!!OWN.data");
        receive();
        ASSERT_FALSE(desktop.find("Y"));
    }
};

} // namespace

TEST_F(ImageTakenAlong, The_image_of_a_record_that_a_delete_rule_takes_along_is_kept_and_goes_with_it) {
    makeEdition();
    const QString path = this->path("Y");
    cloud.remove(file);
    receive();
    ASSERT_FALSE(desktop.find("Y"));
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_TRUE(holdsOnlyImage("cover", Origin::Here, Reason::Deletion, "Y"));
    pass(60);
    EXPECT_EQ(cloud.fileNames(), QStringList());
}

TEST_F(ImageTakenAlong, A_batch_that_comes_as_another_one_has_taken_no_image) {
    makeEdition();
    cloud.remove(file);
    cloud.putRecord("Label!!!L.data", {{"dateModified", hourText(10)}}); // the model wants a text
    desktop.askForChanges();
    pass(3);
    ASSERT_TRUE(desktop.find("Y"));
    EXPECT_EQ(image("Y"), "cover");
    EXPECT_TRUE(images("Y").isEmpty());
}

// What has been put back cannot have been dropped meanwhile.
TEST_F(ImageTakenAlong, A_batch_that_has_taken_more_than_the_archive_may_hold_has_taken_no_image) {
    receiveImage(QByteArray(1000, 'x'));
    QWVersionArchive::Bounds bounds;
    bounds.imageBytes = 100;
    supervisor().versionArchive().setBounds(bounds);
    cloud.remove(file);
    cloud.remove("Book!!!Y.data");
    cloud.putRecord("Label!!!L.data", {{"dateModified", hourText(10)}}); // the model wants a text
    desktop.askForChanges();
    pass(3);
    EXPECT_EQ(image("X"), QByteArray(1000, 'x'));
    EXPECT_EQ(image("Y"), "cover");
    pass(60);
    ASSERT_FALSE(desktop.find("X"));
    EXPECT_LT(files().size(), 2) << "within the bounds again";
}

TEST_F(ImageTakenAlong, So_it_is_where_the_record_that_is_deleted_was_not_saved_once_the_host_saves_that) {
    const QString path = this->path("Y");
    deleteUnsavedOriginal();
    EXPECT_TRUE(QFile::exists(path));
    EXPECT_TRUE(images("Y").isEmpty());
    desktop.save();
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_TRUE(holdsOnlyImage("cover", Origin::Here, Reason::Deletion, "Y"));
    pass(60);
    EXPECT_EQ(cloud.fileNames(), QStringList{file});
}

TEST_F(ImageTakenAlong, What_the_host_makes_again_before_it_saves_keeps_its_image) {
    deleteUnsavedOriginal();
    desktop.add("Book", {{"title", "Again"}})->setUuid("Y");
    desktop.save();
    pass(60);
    ASSERT_TRUE(desktop.find("Y"));
    EXPECT_EQ(image("Y"), "cover");
    EXPECT_EQ(cloud.bytes(nameOf("Y")), "cover");
}

TEST_F(ImageTakenAlong, What_the_host_rolls_back_keeps_its_image) {
    deleteUnsavedOriginal();
    desktop.context->rollback();
    desktop.find("X")->setValueForKey("title", "Another change");
    desktop.save();
    pass(60);
    ASSERT_TRUE(desktop.find("Y"));
    EXPECT_EQ(image("Y"), "cover");
    EXPECT_EQ(cloud.bytes(nameOf("Y")), "cover");
    EXPECT_TRUE(images("Y").isEmpty());
}

TEST_F(ImageTakenAlong, What_a_death_brings_back_before_it_is_deleted_elsewhere_keeps_its_image) {
    desktop.client->on(QWRestRequest::Delete).answersWith(503);
    deleteUnsavedOriginal();
    desktop.crash();
    desktop.start();
    ASSERT_TRUE(desktop.find("Y"));
    EXPECT_EQ(image("Y"), "cover");
    desktop.activate();
    pass(60);
    ASSERT_TRUE(desktop.find("Y"));
    EXPECT_EQ(image("Y"), "cover");
    EXPECT_EQ(cloud.bytes(nameOf("Y")), "cover");
}
