#include "supervisor/VersionArchive.h"

// Which versions go into the archive when a file or a deletion is received: each one that gives way, and no other.

// Records that are received ---------------------------------------------------------------------------------

TEST_F(VersionArchive, A_version_that_a_later_one_replaces_is_kept) {
    receiveBook("Later", 11);
    ASSERT_EQ(title(), "Later");
    ASSERT_TRUE(holdsOnly("M", Origin::Here, Reason::Earlier));
    const auto version = versions().front();
    EXPECT_EQ(version.entityName, "Book");
    EXPECT_EQ(version.uuid, "X");
    EXPECT_EQ(version.number, 1);
    EXPECT_EQ(version.dateModified, hourOf(10));
    EXPECT_LT(version.archivedAt.secsTo(desktop.now()), 30);
    EXPECT_EQ(version.record["dateModified"].toString(), hourText(10));
}

TEST_F(VersionArchive, An_unsaved_edit_that_a_later_version_replaces_is_kept) {
    edit("Unsaved", 11);
    receiveBook("Later", 12);
    ASSERT_EQ(title(), "Later");
    EXPECT_TRUE(holdsOnly("Unsaved", Origin::Here, Reason::Earlier));
}

TEST_F(VersionArchive, An_edit_that_waits_to_be_sent_and_is_replaced_is_kept) {
    engine().deactivateSync();
    edit("Waits", 11);
    desktop.save();
    cloud.putRecord(file, book("Later", hourText(12)));
    desktop.activate();
    pass(30);
    ASSERT_EQ(title(), "Later");
    EXPECT_TRUE(holdsOnly("Waits", Origin::Here, Reason::Earlier));
}

TEST_F(VersionArchive, A_received_version_that_is_behind_is_kept) {
    receiveBook("Earlier", 9);
    ASSERT_EQ(title(), "M");
    ASSERT_TRUE(holdsOnly("Earlier", Origin::Cloud, Reason::Earlier));
    EXPECT_EQ(versions().front().dateModified, hourOf(9));
}

TEST_F(VersionArchive, A_received_version_that_is_behind_an_unsaved_edit_is_kept_once) {
    edit("Unsaved", 12);
    receiveBook("Between", 11);
    ASSERT_EQ(title(), "Unsaved");
    EXPECT_TRUE(holdsOnly("Between", Origin::Cloud, Reason::Earlier));
}

TEST_F(VersionArchive, Of_two_versions_of_one_second_the_one_that_is_not_kept_is_archived) {
    const auto greater = versionInSameSecond(true);
    cloud.putRecord(file, greater);
    receive();
    EXPECT_TRUE(holdsOnly("M", Origin::Here, Reason::SameSecond));
    const auto lesser = versionInSameSecond(false);
    cloud.putRecord(file, lesser);
    receive();
    ASSERT_EQ(title(), greater["title"].toString());
    ASSERT_EQ(versions().size(), 2u);
    EXPECT_EQ(versions()[0].record["title"], lesser["title"]);
    EXPECT_EQ(versions()[0].origin, Origin::Cloud);
    EXPECT_EQ(versions()[0].reason, Reason::SameSecond);
}

TEST_F(VersionArchive, A_version_without_a_date_is_kept_and_a_record_without_one_is_no_version) {
    cloud.putRecord(file, {{"title", "Undated"}});
    receive();
    EXPECT_TRUE(holdsOnly("Undated", Origin::Cloud, Reason::Earlier));
    cloud.putRecord("Chapter!!!C.data", {{"heading", "One"},
                                         {"dateModified", hourText(9)},
                                         {"book", QVariantMap{{"uuid", "Y"}, {"entityName", "Book"}}}});
    receive();
    cloud.putRecord("Book!!!Y.data", book("Arrived", hourText(9)));
    receive();
    ASSERT_EQ(desktop.find("Y")->valueForKey("title"), "Arrived");
    EXPECT_TRUE(versions("Y").empty());
}

TEST_F(VersionArchive, Nothing_is_kept_of_what_takes_nobodys_place) {
    for (int number = 0; number < 20; ++number)
        cloud.putRecord(QStringLiteral("Book!!!N%1.data").arg(number), book("New", hourText(9)));
    desktop.add("Book", {{"title", "Own"}});
    desktop.save();
    receive();
    edit("Again", 11);
    desktop.save();
    pass(5);
    cloud.put(file, cloud.bytes(file) + ' '); // the same version in other bytes
    receive();
    cloud.put("Book!!!X.data", "no record");
    receive();
    EXPECT_EQ(supervisor().versionArchive().count(), 0);
}

// Copies of a conflict --------------------------------------------------------------------------------------

TEST_F(VersionArchive, Copies_of_a_conflict_count_like_any_version) {
    cloud.putRecord(copy, book("Behind", hourText(9)));
    receive();
    EXPECT_TRUE(holdsOnly("Behind", Origin::Cloud, Reason::Earlier));
    cloud.putRecord(copy, book("Ahead", hourText(11)));
    receive();
    ASSERT_EQ(title(), "Ahead");
    ASSERT_EQ(versions().size(), 2u);
    EXPECT_EQ(versions()[0].record["title"], "M");
    EXPECT_EQ(versions()[0].origin, Origin::Here);
}

TEST_F(VersionArchive, A_copy_of_a_conflict_is_kept_when_the_deletion_of_its_record_stands) {
    engine().deactivateSync();
    desktop.context->deleteObject(*desktop.find("X"));
    desktop.save();
    cloud.putRecord(copy, book("Copy", hourText(11)));
    desktop.activate();
    pass(30);
    ASSERT_FALSE(desktop.find("X"));
    EXPECT_TRUE(holdsOnly("Copy", Origin::Cloud, Reason::Deletion));
}

TEST_F(VersionArchive, Of_a_file_and_its_copies_in_one_batch_all_but_the_latest_are_kept) {
    for (const bool isCopyLater : {false, true}) {
        const int noon = isCopyLater ? 15 : 12;
        cloud.putRecord(file, book("File", hourText(noon)));
        cloud.putRecord(copy, book("Copy", hourText(isCopyLater ? noon + 1 : noon - 1)));
        receive();
        ASSERT_EQ(title(), isCopyLater ? "Copy" : "File");
        ASSERT_GE(versions().size(), 2u);
        QStringList titles{versions()[0].record["title"].toString(),
                           versions()[1].record["title"].toString()};
        titles.sort();
        EXPECT_EQ(titles, isCopyLater ? QStringList({"File", "File"}) : QStringList({"Copy", "M"}));
    }
}

// Deletions that are received -------------------------------------------------------------------------------

TEST_F(VersionArchive, A_record_that_another_desktop_has_deleted_is_kept) {
    cloud.remove(file);
    receive();
    ASSERT_FALSE(desktop.find("X"));
    EXPECT_TRUE(holdsOnly("M", Origin::Here, Reason::Deletion));
}

TEST_F(VersionArchive, An_unsaved_edit_that_is_deleted_with_its_record_is_kept) {
    edit("Unsaved", 11);
    cloud.remove(file);
    receive();
    ASSERT_FALSE(desktop.find("X"));
    EXPECT_TRUE(holdsOnly("Unsaved", Origin::Here, Reason::Deletion));
}

TEST_F(VersionArchive, A_record_that_the_host_has_not_saved_is_kept_when_it_is_deleted_elsewhere) {
    const auto own = desktop.add("Book", {{"title", "Own"}});
    const QString uuid = own->uuid();
    pass(5);
    ASSERT_TRUE(cloud.fileNames().contains(fileName(*own, "data")));
    cloud.remove(fileName(*own, "data"));
    receive();
    ASSERT_FALSE(desktop.find(uuid));
    ASSERT_EQ(versions(uuid).size(), 1u);
    EXPECT_EQ(versions(uuid)[0].record["title"], "Own");
}

TEST_F(VersionArchive, A_record_that_is_missing_in_a_listing_from_scratch_is_kept) {
    cloud.remove(file);
    cloud.folder->forgetCursors();
    receive();
    ASSERT_FALSE(desktop.find("X"));
    EXPECT_TRUE(holdsOnly("M", Origin::Here, Reason::Deletion));
}

TEST_F(VersionArchive, What_is_deleted_along_with_a_deleted_record_is_kept) {
    const auto chapter = desktop.add("Chapter", {{"heading", "One"}});
    chapter->setRelatedObject("book", desktop.find("X").data());
    const QString uuid = chapter->uuid();
    desktop.save();
    pass(5);
    cloud.remove(file);
    receive();
    ASSERT_FALSE(desktop.find(uuid, "Chapter"));
    ASSERT_TRUE(holdsOnly("One", Origin::Here, Reason::Deletion, uuid));
    EXPECT_EQ(versions(uuid)[0].record["book"].toMap()["uuid"], "X");
}

TEST_F(VersionArchive, What_is_deleted_along_with_a_record_that_the_host_has_not_saved_is_kept) {
    const auto own = desktop.add("Book", {{"title", "Own"}});
    const auto chapter = desktop.add("Chapter", {{"heading", "One"}});
    chapter->setRelatedObject("book", own.data());
    const QString uuid = chapter->uuid();
    pass(5);
    cloud.remove(fileName(*own, "data"));
    receive();
    ASSERT_FALSE(desktop.find(uuid, "Chapter"));
    EXPECT_TRUE(holdsOnly("One", Origin::Here, Reason::Deletion, uuid));
}

TEST_F(VersionArchive, An_unsaved_record_stays_when_the_saved_one_that_it_belongs_to_is_deleted) {
    const auto chapter = desktop.add("Chapter", {{"heading", "One"}});
    chapter->setRelatedObject("book", desktop.find("X").data());
    pass(5);
    cloud.remove(file);
    receive();
    ASSERT_FALSE(desktop.find("X"));
    EXPECT_TRUE(desktop.find(chapter->uuid(), "Chapter"));
}
