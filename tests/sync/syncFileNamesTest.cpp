#include "sync/QWSyncFileNames_p.h"

#include <gtest/gtest.h>

using namespace qw::sync;

TEST(SyncFileNames, A_record_file_is_named_after_entity_and_uuid) {
    EXPECT_EQ(fileName("5C1D", "Book", false), "Book!!!5C1D.data");
    EXPECT_EQ(fileName("5C1D", "Book", true), "Book!!!5C1D.image");
    EXPECT_EQ(remotePath("Book!!!5C1D.data"), "/SyncCache.dbSync/Book!!!5C1D.data");
}

TEST(SyncFileNames, A_remote_name_gives_back_entity_and_uuid) {
    struct Row {
        const char *name, *entity, *uuid;
    };
    for (const Row& row : {
             Row{"book!!!5c1d.data", "Book", "5C1D"},
             Row{"book!!!5c1d", "Book", "5C1D"},
             Row{"Book!!!5c1d.image", "Book", "5C1D"},
             Row{"book!!!5c1d (bob's conflicted copy 2013-05-04).data", "Book", "5C1D"},
             Row{"book_author!!!5c1d.data", "Book_Author", "5C1D"},
             Row{"bookauthor!!!5c1d.data", "Bookauthor", "5C1D"},
             Row{"a!!!b!!!c.data", "A", "B"},
             Row{"!!!b.data", "", "B"},
         }) {
        const auto named = objectNamedByFile(row.name);
        ASSERT_TRUE(named) << row.name;
        EXPECT_EQ(named->entityName, row.entity) << row.name;
        EXPECT_EQ(named->uuid, row.uuid) << row.name;
        EXPECT_EQ(uuidNamedByFile(row.name), row.uuid) << row.name;
    }
}

TEST(SyncFileNames, An_entity_name_with_an_inner_capital_does_not_come_back) {
    EXPECT_EQ(objectNamedByFile(fileName("U", "BookAuthor", false).toLower())->entityName, "Bookauthor");
}

TEST(SyncFileNames, A_name_without_a_second_piece_or_with_an_empty_one_belongs_to_no_object) {
    for (const char* name : {"notes.txt", "", ".data", "book!!!.data", "book!!! copy.data", "book!!.data"}) {
        EXPECT_FALSE(objectNamedByFile(name)) << name;
        EXPECT_TRUE(uuidNamedByFile(name).isNull()) << name;
    }
}

TEST(SyncFileNames, A_uuid_that_is_a_path_or_that_no_file_can_hold_belongs_to_no_object) {
    for (const QString& uuid : {QString("."), QString(".."), QString("../x"), QString("..\\x"), QString("/"),
                                QString("x") + QChar(0), QString("x") + QChar(0xD800)}) {
        EXPECT_FALSE(isPlainUUID(uuid)) << uuid.toStdString();
        EXPECT_FALSE(objectNamedByFile("Book!!!" + uuid + ".data")) << uuid.toStdString();
        EXPECT_TRUE(uuidNamedByFile("Book!!!" + uuid + ".data").isNull()) << uuid.toStdString();
        EXPECT_FALSE(canNameFiles(uuid, "Book")) << uuid.toStdString();
    }
}

TEST(SyncFileNames, The_row_in_flight_is_found_with_the_extension_taken_off_twice) {
    EXPECT_EQ(uuidNamedByFile("Book!!!A.B.data"), "A");
    EXPECT_EQ(objectNamedByFile("Book!!!A.B.data")->uuid, "A.B");
}

TEST(SyncFileNames, A_download_never_leaves_its_folder) {
    EXPECT_EQ(downloadFileName("Book!!!X.data"), "Download-book!!!x.data");
    EXPECT_EQ(downloadFileName("../../Book!!!X.data"), "Download-book!!!x.data");
    EXPECT_EQ(downloadFileName("..\\Book!!!X.data"), "Download-book!!!x.data");
    EXPECT_EQ(downloadFileName(".."), "Download-..");
}

TEST(SyncFileNames, A_name_that_a_disk_cannot_take_has_no_download) {
    EXPECT_TRUE(downloadFileName(QString(200, 'a') + ".data"));
    EXPECT_FALSE(downloadFileName(QString(250, 'a') + ".data"));
    EXPECT_FALSE(downloadFileName(QString(100, QChar(0x3042)) + ".data")); // three bytes each
    EXPECT_FALSE(downloadFileName(QString("a") + QChar(0) + "b.data"));
}

TEST(SyncFileNames, A_uuid_that_no_file_name_can_hold_is_recognised) {
    EXPECT_TRUE(canNameFiles("5C1D9F2E-3A47-4B8E-9E0B-1F2A3B4C5D6E", "Book"));
    for (const QString& uuid : {QString(), QString("../../X"), QString("a\\b"), QString(300, 'a')})
        EXPECT_FALSE(canNameFiles(uuid, "Book")) << uuid.toStdString();
}

TEST(SyncFileNames, A_record_is_staged_under_its_uuid) {
    EXPECT_EQ(stagingFileName("5C1D"), "Uploading-5C1D.data");
}
