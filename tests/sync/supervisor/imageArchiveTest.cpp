#include "supervisor/ImageArchive.h"
#include "dropbox/DBContentHash.h"

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
