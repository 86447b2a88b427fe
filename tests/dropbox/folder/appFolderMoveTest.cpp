#include "dropbox/folder/AppFolderFixture.h"

using Code = QWAppFolderErrorCode;
using Mode = QWWriteMode;

class AppFolderMoveTest : public AppFolderTest {};

INSTANTIATE_TEST_SUITE_P(InMemory, AppFolderMoveTest, ::testing::Values(FolderStore::Memory));
INSTANTIATE_TEST_SUITE_P(InADirectory, AppFolderMoveTest, ::testing::Values(FolderStore::Directory));

TEST_P(AppFolderMoveTest, A_file_is_moved_with_its_bytes_and_date_and_gets_a_new_revision) {
    const DBMetadata before = add("/A/Old", "bytes");
    world.runLoop->advance(std::chrono::hours(1));
    const auto after = folder->move("/a/old", "/B/New", Mode::Refuse, &error);
    ASSERT_TRUE(after) << error.message.toStdString();
    EXPECT_EQ(after->path, "/B/New");
    EXPECT_EQ(after->hash, before.hash);
    EXPECT_EQ(after->totalBytes, before.totalBytes);
    EXPECT_EQ(after->lastModifiedDate, before.lastModifiedDate);
    EXPECT_NE(after->rev, before.rev);
    EXPECT_EQ(folder->metadata("/b/new"), after);
    EXPECT_EQ(bytesAt("/b/new"), "bytes");
    EXPECT_EQ(bytesAt("/a/old"), "nothing");
    EXPECT_TRUE(folder->metadata("/a")) << "the folder that it was in stays";
}

TEST_P(AppFolderMoveTest, A_folder_is_moved_with_everything_in_it_and_nothing_beside_it) {
    add("/From/Sub/File", "one");
    add("/From/Other", "two");
    add("/From0", "beside");
    add("/From/gone");
    ASSERT_TRUE(folder->remove("/From/gone"));
    const QString cursor = query().cursor;
    EXPECT_EQ(folder->move("/from", "/To")->path, "/To");
    EXPECT_EQ(query().texts(), QStringList({"/from0", "/to", "/to/other", "/to/sub", "/to/sub/file"}));
    EXPECT_EQ(folder->metadata("/to/sub/file")->path, "/To/Sub/File");
    EXPECT_EQ(bytesAt("/to/sub/file"), "one");
    EXPECT_EQ(query(cursor).texts(), QStringList({"/to", "/to/other", "/to/sub", "/to/sub/file", "-/from",
                                                  "-/from/other", "-/from/sub", "-/from/sub/file"}));
}

TEST_P(AppFolderMoveTest, What_was_moved_can_be_moved_back) {
    add("/a/file", "bytes");
    ASSERT_TRUE(folder->move("/a", "/b"));
    ASSERT_TRUE(folder->move("/b", "/a"));
    EXPECT_EQ(query().texts(), QStringList({"/a", "/a/file"}));
    EXPECT_EQ(bytesAt("/a/file"), "bytes");
}

TEST_P(AppFolderMoveTest, A_move_that_cannot_be_changes_nothing) {
    add("/file", "one");
    add("/folder/other", "two");
    const auto refused = [&](const QString& from, const QString& to) {
        EXPECT_FALSE(folder->move(from, to, Mode::Refuse, &error));
        return codeOf(error);
    };
    const QString cursor = query().cursor;
    EXPECT_EQ(refused("/nothing", "/a"), Code::NotFound);
    EXPECT_EQ(refused("/file", "/folder"), Code::FolderInTheWay);
    EXPECT_EQ(refused("/folder", "/file"), Code::FileInTheWay);
    EXPECT_EQ(refused("/folder", "/file/a"), Code::FileAmongParents);
    EXPECT_EQ(refused("/folder", "/Folder/Sub"), Code::IntoItself);
    EXPECT_EQ(refused("/file", "/a/"), Code::MalformedPath);
    EXPECT_EQ(error.userInfo["path"], "/a/");
    EXPECT_EQ(refused("file", "/a"), Code::MalformedPath);
    EXPECT_EQ(error.userInfo["path"], "file");
    EXPECT_TRUE(query(cursor).entries.isEmpty());
}

TEST_P(AppFolderMoveTest, A_taken_place_can_be_avoided_with_a_number) {
    add("/a.txt", "one");
    add("/b.txt", "two");
    EXPECT_EQ(folder->move("/a.txt", "/b.txt", Mode::Rename)->path, "/b (1).txt");
    EXPECT_EQ(bytesAt("/b.txt"), "two");
    EXPECT_EQ(bytesAt("/b (1).txt"), "one");
    EXPECT_EQ(folder->createFolder("/b.txt", Mode::Rename)->path, "/b (2).txt");
}

TEST_P(AppFolderMoveTest, A_change_of_letter_case_is_no_move) {
    const DBMetadata file = add("/File");
    const QString cursor = query().cursor;
    EXPECT_EQ(folder->move("/file", "/FILE"), file);
    EXPECT_TRUE(query(cursor).entries.isEmpty());
}

TEST_P(AppFolderMoveTest, A_move_that_finds_no_space_changes_nothing) {
    folder = makeFolder({.capacity = 200'000});
    add("/a/file", QByteArray(120'000, 'a'));
    EXPECT_FALSE(folder->move("/a", "/b", Mode::Refuse, &error));
    EXPECT_EQ(codeOf(error), Code::InsufficientSpace);
    EXPECT_EQ(query().texts(), QStringList({"/a", "/a/file"}));
    EXPECT_EQ(bytesAt("/a/file"), QByteArray(120'000, 'a'));
}
