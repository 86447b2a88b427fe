#include "dropbox/folder/AppFolderFixture.h"

#include "dropbox/DBContentHash.h"

#include <QRegularExpression>
#include <QSet>

using Code = QWAppFolderErrorCode;
using Mode = QWWriteMode;

INSTANTIATE_TEST_SUITE_P(InMemory, AppFolderTest, ::testing::Values(FolderStore::Memory));
INSTANTIATE_TEST_SUITE_P(InADirectory, AppFolderTest, ::testing::Values(FolderStore::Directory));

TEST_P(AppFolderTest, An_uploaded_file_can_be_read_with_its_metadata) {
    world.clock->setOffset(std::chrono::milliseconds(1999));
    const DBMetadata written = add("/Folder/Name.data", "some bytes");

    const auto file = folder->read("/Folder/Name.data");
    ASSERT_TRUE(file);
    EXPECT_EQ(file->bytes, "some bytes");
    EXPECT_EQ(file->metadata, written);
    EXPECT_EQ(*folder->metadata("/Folder/Name.data"), written);
    EXPECT_EQ(written.path, "/Folder/Name.data");
    EXPECT_EQ(written.totalBytes, 10);
    EXPECT_EQ(written.hash, dropboxContentHash("some bytes"));
    EXPECT_FALSE(written.isDirectory);
    EXPECT_EQ(written.lastModifiedDate, QWVirtualClock::standardBase().addSecs(1)) << "whole seconds";
}

TEST_P(AppFolderTest, Revisions_are_lower_case_hex_of_9_digits_or_more_and_all_different) {
    static const QRegularExpression pattern("^[0-9a-f]{9,}$");
    QSet<QString> revisions;
    for (int i = 0; i < 100; ++i) {
        const QString rev = add("/file " + QString::number(i)).rev;
        EXPECT_TRUE(pattern.match(rev).hasMatch()) << rev.toStdString();
        revisions.insert(rev);
    }
    EXPECT_EQ(revisions.size(), 100);
}

TEST_P(AppFolderTest, Another_folder_gives_other_revisions) {
    const QString rev = add("/a").rev;
    folder = makeFolder();
    EXPECT_NE(add("/a", "other bytes").rev, rev);
}

TEST_P(AppFolderTest, A_path_is_found_in_any_letter_case_and_keeps_its_first_spelling) {
    const DBMetadata first = add("/Folder/Name.data");
    EXPECT_EQ(folder->metadata("/FOLDER/name.DATA")->path, "/Folder/Name.data");

    const auto second =
        folder->upload("/folder/NAME.data", "changed", QWWriteMode::update(first.rev, Mode::Rename));
    EXPECT_EQ(second->path, "/Folder/Name.data");
    EXPECT_EQ(add("/FOLDER/Other.data").path, "/Folder/Other.data");
}

TEST_P(AppFolderTest, A_file_made_again_takes_the_new_spelling) {
    add("/name.data");
    ASSERT_TRUE(folder->remove("/name.data"));
    EXPECT_EQ(add("/NAME.data").path, "/NAME.data");
}

TEST_P(AppFolderTest, Missing_and_deleted_things_are_not_found) {
    EXPECT_FALSE(folder->metadata("/a", &error));
    EXPECT_EQ(codeOf(error), Code::NotFound);
    EXPECT_EQ(error.userInfo["path"], "/a");
    EXPECT_FALSE(folder->read("/a", &error));
    EXPECT_EQ(codeOf(error), Code::NotFound);
    EXPECT_FALSE(folder->remove("/a", &error));
    EXPECT_EQ(codeOf(error), Code::NotFound);

    add("/a");
    ASSERT_TRUE(folder->remove("/a"));
    error = {};
    EXPECT_FALSE(folder->read("/a", &error));
    EXPECT_EQ(codeOf(error), Code::NotFound);
    EXPECT_FALSE(folder->remove("/a", &error));
    EXPECT_FALSE(folder->metadata("/a", &error));
}

TEST_P(AppFolderTest, Paths_that_the_service_does_not_accept_are_malformed) {
    const QStringList paths = {"",
                               "/",
                               "a",
                               "a/b",
                               "/a/",
                               "//a",
                               "/a//b",
                               "/.",
                               "/../a",
                               "/a/..",
                               "/a ",
                               "/a /b",
                               "/a\tb",
                               "/a\\b",
                               "/a\x7f",
                               "/" + QString(256, 'n'),
                               "/a" + QString(QChar(0xd800)),
                               QString("/a").repeated(2049)};
    for (const QString& path : paths) {
        for (const bool succeeded :
             {folder->upload(path, "x", Mode::add(), &error).has_value(),
              folder->createFolder(path, &error).has_value(), folder->remove(path, &error).has_value(),
              folder->read(path, &error).has_value(), folder->metadata(path, &error).has_value()}) {
            EXPECT_FALSE(succeeded) << path.toStdString();
            EXPECT_EQ(codeOf(error), Code::MalformedPath) << path.toStdString();
        }
    }
    EXPECT_TRUE(query().entries.isEmpty());
}

TEST_P(AppFolderTest, Names_may_have_255_characters_of_any_script) {
    const QString path = "/" + QString(QChar(0x65e5)).repeated(250) + ".data";
    add(path, "x");
    EXPECT_EQ(bytesAt(path), "x");
}

TEST_P(AppFolderTest, Identical_bytes_are_no_conflict_and_give_no_new_revision) {
    const DBMetadata first = add("/a", "same");
    const QString cursor = query().cursor;
    world.runLoop->advance(std::chrono::hours(1));
    for (const Mode& mode : {Mode::add(), Mode::add(Mode::Rename), Mode::update(first.rev),
                             Mode::update("000000000"), Mode::update("000000000", Mode::Rename)})
        EXPECT_EQ(folder->upload("/a", "same", mode, &error), first);
    EXPECT_TRUE(query(cursor).entries.isEmpty());
}

TEST_P(AppFolderTest, An_update_of_the_current_revision_replaces_the_file) {
    const DBMetadata first = add("/a", "one");
    const auto second = folder->upload("/a", "two", Mode::update(first.rev), &error);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->path, "/a");
    EXPECT_NE(second->rev, first.rev);
    EXPECT_EQ(bytesAt("/a"), "two");
}

TEST_P(AppFolderTest, Adding_other_bytes_or_updating_another_revision_is_a_conflict) {
    const DBMetadata first = add("/a", "one");
    for (const Mode& mode : {Mode::add(), Mode::update("000000000"), Mode::update({})}) {
        EXPECT_FALSE(folder->upload("/a", "two", mode, &error));
        EXPECT_EQ(codeOf(error), Code::FileInTheWay);
        EXPECT_EQ(error.userInfo["path"], "/a");
    }
    EXPECT_EQ(bytesAt("/a"), "one");
    EXPECT_EQ(folder->metadata("/a"), first);
}

TEST_P(AppFolderTest, A_conflicting_addition_that_may_be_renamed_gets_a_number) {
    add("/Folder/Name.tar.gz", "one");
    EXPECT_EQ(folder->upload("/folder/name.tar.gz", "two", Mode::add(Mode::Rename))->path,
              "/Folder/name.tar (1).gz");
    EXPECT_EQ(folder->upload("/folder/name.tar.gz", "three", Mode::add(Mode::Rename))->path,
              "/Folder/name.tar (2).gz");
    EXPECT_EQ(bytesAt("/Folder/Name.tar.gz"), "one");
    EXPECT_EQ(bytesAt("/Folder/Name.tar (1).gz"), "two");
}

TEST_P(AppFolderTest, A_conflicting_update_that_may_be_renamed_becomes_a_conflicted_copy) {
    const QString stale = add("/Folder/Book!!!X.data", "one").rev;
    folder->upload("/Folder/Book!!!X.data", "two", Mode::update(stale));

    const auto update = [&](const QByteArray& bytes) {
        return folder->upload("/Folder/Book!!!X.data", bytes, Mode::update(stale, Mode::Rename))->path;
    };
    EXPECT_EQ(update("three"), "/Folder/Book!!!X (Owner's conflicted copy).data");
    EXPECT_EQ(update("four"), "/Folder/Book!!!X (Owner's conflicted copy) (1).data");
    EXPECT_EQ(update("five"), "/Folder/Book!!!X (Owner's conflicted copy) (2).data");
    EXPECT_EQ(bytesAt("/Folder/Book!!!X.data"), "two");
    EXPECT_EQ(bytesAt("/Folder/Book!!!X (Owner's conflicted copy) (1).data"), "four");
}

TEST_P(AppFolderTest, Conflicted_copies_bear_the_name_of_the_account) {
    folder = makeFolder({.accountName = "Ada"});
    add("/.data", "one");
    EXPECT_EQ(folder->upload("/.data", "two", Mode::update("000000000", Mode::Rename))->path,
              "/.data (Ada's conflicted copy)");
}

TEST_P(AppFolderTest, A_conflicting_upload_that_is_repeated_finds_its_own_copy) {
    add("/a.data", "one");
    const Mode mode = Mode::update("000000000", Mode::Rename);
    const auto first = folder->upload("/a.data", "two", mode);
    EXPECT_EQ(folder->upload("/a.data", "two", mode), first);
    EXPECT_EQ(query().entries.size(), 2);
}

TEST_P(AppFolderTest, The_revision_of_a_conflicted_copy_does_not_replace_the_copy) {
    add("/a.data", "one");
    const auto copy = folder->upload("/a.data", "two", Mode::update("000000000", Mode::Rename));
    EXPECT_EQ(folder->upload("/a.data", "three", Mode::update(copy->rev, Mode::Rename))->path,
              "/a (Owner's conflicted copy) (1).data");
    EXPECT_EQ(bytesAt(copy->path), "two");
}

TEST_P(AppFolderTest, A_conflict_whose_new_name_would_be_too_long_changes_nothing) {
    const QString path = "/" + QString(250, 'n') + ".data";
    add(path, "one");
    for (const Mode& mode : {Mode::add(Mode::Rename), Mode::update("000000000", Mode::Rename)}) {
        EXPECT_FALSE(folder->upload(path, "two", mode, &error));
        EXPECT_EQ(codeOf(error), Code::MalformedPath);
    }
    EXPECT_EQ(query().texts(), QStringList(path));
    EXPECT_EQ(bytesAt(path), "one");
}

TEST_P(AppFolderTest, A_folder_is_in_the_way_of_a_file) {
    add("/folder/child");
    EXPECT_FALSE(folder->upload("/Folder", "x", Mode::add(), &error));
    EXPECT_EQ(codeOf(error), Code::FolderInTheWay);
    EXPECT_FALSE(folder->upload("/Folder", "x", Mode::update({}), &error)) << "a folder has no revision";
    EXPECT_EQ(folder->upload("/Folder", "x", Mode::update("000000000", Mode::Rename))->path,
              "/Folder (Owner's conflicted copy)");
}

TEST_P(AppFolderTest, A_file_cannot_be_a_folder_for_others) {
    add("/file");
    EXPECT_FALSE(folder->upload("/file/a/b", "x", Mode::add(Mode::Rename), &error));
    EXPECT_EQ(codeOf(error), Code::FileAmongParents);
    EXPECT_FALSE(folder->createFolder("/file/a", &error));
    EXPECT_EQ(codeOf(error), Code::FileAmongParents);
}

TEST_P(AppFolderTest, An_update_of_a_deleted_file_makes_it_again_whatever_the_revision) {
    const DBMetadata first = add("/a", "one");
    ASSERT_TRUE(folder->remove("/a"));
    const auto again = folder->upload("/a", "one", Mode::update("123456789"), &error);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->path, "/a");
    EXPECT_NE(again->rev, first.rev);
    EXPECT_EQ(bytesAt("/a"), "one");
}

TEST_P(AppFolderTest, Folders_above_a_file_make_themselves) {
    add("/A/B/c.data");
    const auto above = folder->metadata("/a/b", &error);
    ASSERT_TRUE(above);
    EXPECT_TRUE(above->isDirectory);
    EXPECT_EQ(above->path, "/A/B");
}

TEST_P(AppFolderTest, A_folder_has_neither_revision_nor_date_nor_bytes) {
    const auto made = folder->createFolder("/A/B", &error);
    ASSERT_TRUE(made);
    EXPECT_TRUE(made->isDirectory);
    EXPECT_TRUE(made->rev.isEmpty());
    EXPECT_TRUE(made->hash.isEmpty());
    EXPECT_TRUE(made->lastModifiedDate.isNull());
    EXPECT_EQ(folder->metadata("/a/b"), made);
    EXPECT_FALSE(folder->read("/A/B", &error));
    EXPECT_EQ(codeOf(error), Code::NotAFile);
}

TEST_P(AppFolderTest, A_folder_is_not_made_over_what_stands_there) {
    folder->createFolder("/folder");
    add("/file");
    EXPECT_FALSE(folder->createFolder("/Folder", &error));
    EXPECT_EQ(codeOf(error), Code::FolderInTheWay);
    EXPECT_FALSE(folder->createFolder("/File", &error));
    EXPECT_EQ(codeOf(error), Code::FileInTheWay);
}

TEST_P(AppFolderTest, A_deletion_answers_what_stood_there) {
    const DBMetadata file = add("/Folder/File");
    EXPECT_EQ(folder->remove("/FOLDER/FILE"), file);
    const auto above = folder->metadata("/Folder");
    EXPECT_EQ(folder->remove("/folder"), above);
}

TEST_P(AppFolderTest, A_deleted_folder_takes_everything_under_it_along_and_nothing_beside_it) {
    add("/a/b/c");
    add("/a/d");
    add("/a-");
    add("/a0");
    add("/a b");
    ASSERT_TRUE(folder->remove("/A"));
    EXPECT_EQ(query().texts(), QStringList({"/a-", "/a0", "/a b"}));
    EXPECT_EQ(bytesAt("/a/b/c"), "nothing");
    EXPECT_FALSE(folder->metadata("/a/b"));
}

TEST_P(AppFolderTest, An_upload_that_finds_no_space_changes_nothing) {
    folder = makeFolder({.capacity = 200'000});
    add("/a", QByteArray(50'000, 'a'));
    EXPECT_FALSE(folder->upload("/new/b", QByteArray(200'000, 'b'), Mode::add(), &error));
    EXPECT_EQ(codeOf(error), Code::InsufficientSpace);
    EXPECT_EQ(query().texts(), QStringList("/a"));
    EXPECT_EQ(bytesAt("/a"), QByteArray(50'000, 'a'));

    ASSERT_TRUE(folder->remove("/a"));
    add("/c", QByteArray(100'000, 'c'));
}

TEST_P(AppFolderTest, Large_and_empty_files_keep_every_byte) {
    QByteArray large(5 * 1024 * 1024 + 1, '\0');
    for (qsizetype i = 0; i < large.size(); i += 1000)
        large[i] = char(i / 1000);
    EXPECT_EQ(add("/large", large).totalBytes, large.size());
    EXPECT_EQ(add("/empty", {}).totalBytes, 0);
    EXPECT_EQ(bytesAt("/large"), large);
    EXPECT_EQ(bytesAt("/empty"), "");
}
