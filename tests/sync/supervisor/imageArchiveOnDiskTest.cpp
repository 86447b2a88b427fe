#include "supervisor/ImageArchive.h"
#include "support/FullDisk.h"
#include "testing/QWLogCapture.h"

// What becomes of images, those that give way above all, when a disk takes no more, no date, or gives nothing back.

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

// It waited to be sent, with an edit that is earlier as well.
TEST_F(ImageArchiveOnDisk, One_that_cannot_be_read_does_not_win_over_a_later_one_that_was_left_out) {
    engine().deactivateSync();
    setImage("mine", dateInCloud().addSecs(1));
    desktop.find("X")->setValueForKey("title", "Mine");
    desktop.save();
    pass(60);
    cloud.put(nameOf("X"), "second");
    cloud.putRecord(file, book("Theirs", hourText(23)));
    disk->unreadable = path();
    const QWLogCapture log;
    desktop.activate();
    pass(70);
    disk->unreadable.clear();
    pass(30);
    receive();
    EXPECT_EQ(image(), "second");
    EXPECT_EQ(cloud.bytes(nameOf("X")), "second");
    EXPECT_EQ(images(), QList<QByteArray>{"mine"});
    EXPECT_TRUE(supervisor().isInStep());
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

// Set by a clock that is behind the cloud's, it seems to be an old one until it has a later date.
TEST_F(ImageArchiveOnDisk, An_image_that_gets_no_date_is_sent_when_it_does) {
    for (const bool dies : {false, true}) {
        const QByteArray mine = dies ? "later" : "mine";
        setImage(mine, dateInCloud().addSecs(-60));
        disk->refusesDates = true;
        const auto before = desktop.client->requests(QWRestRequest::Upload).size();
        desktop.find("X")->setDateModified(desktop.now());
        desktop.save();
        pass(60);
        EXPECT_EQ(desktop.client->requests(QWRestRequest::Upload).size(), before + 1) << "the record";
        EXPECT_EQ(cloud.bytes(nameOf("X")), dies ? "mine" : "first");
        desktop.askForChanges();
        pass(60);
        if (dies) {
            desktop.crash();
            desktop.start();
            begin();
        }
        disk->refusesDates = false;
        desktop.askForChanges();
        pass(60);
        EXPECT_EQ(image(), mine);
        EXPECT_EQ(cloud.bytes(nameOf("X")), mine);
        EXPECT_TRUE(supervisor().isInStep());
    }
}
