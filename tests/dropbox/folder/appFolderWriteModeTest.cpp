#include "dropbox/folder/AppFolderFixture.h"

#include "dropbox/DBContentHash.h"

#include <QBuffer>
#include <QTemporaryFile>

using Code = QWAppFolderErrorCode;
using Mode = QWWriteMode;

class AppFolderWriteModeTest : public AppFolderTest {
protected:
    static Mode strict(Mode mode) {
        mode.isStrict = true;
        return mode;
    }
    static Mode overwrite() { return {Mode::Overwrite, {}, Mode::Refuse}; }
};

INSTANTIATE_TEST_SUITE_P(InMemory, AppFolderWriteModeTest, ::testing::Values(FolderStore::Memory));
INSTANTIATE_TEST_SUITE_P(InADirectory, AppFolderWriteModeTest, ::testing::Values(FolderStore::Directory));

TEST_P(AppFolderWriteModeTest, Overwriting_replaces_any_file_and_no_folder) {
    const DBMetadata first = add("/folder/file", "one");
    const auto second = folder->upload("/folder/file", "two", overwrite(), &error);
    ASSERT_TRUE(second);
    EXPECT_NE(second->rev, first.rev);
    EXPECT_EQ(bytesAt("/folder/file"), "two");
    EXPECT_EQ(folder->upload("/folder/file", "two", overwrite()), second) << "identical bytes";
    EXPECT_FALSE(folder->upload("/folder", "x", overwrite(), &error));
    EXPECT_EQ(codeOf(error), Code::FolderInTheWay);
}

TEST_P(AppFolderWriteModeTest, Identical_bytes_are_a_conflict_of_a_strict_upload) {
    const DBMetadata first = add("/a", "same");
    for (const Mode& mode : {Mode::add(), Mode::update("123456789")}) {
        EXPECT_FALSE(folder->upload("/a", "same", strict(mode), &error));
        EXPECT_EQ(codeOf(error), Code::FileInTheWay);
    }
    EXPECT_TRUE(folder->upload("/a", "same", strict(Mode::update(first.rev))));
    EXPECT_EQ(folder->upload("/a", "same", strict(Mode::add(Mode::Rename)))->path, "/a (1)");
}

TEST_P(AppFolderWriteModeTest, A_strict_update_of_a_deleted_file_is_a_conflict) {
    const DBMetadata first = add("/a", "one");
    ASSERT_TRUE(folder->remove("/a"));
    EXPECT_FALSE(folder->upload("/a", "two", strict(Mode::update(first.rev)), &error));
    EXPECT_EQ(codeOf(error), Code::FileInTheWay);
    EXPECT_EQ(folder->upload("/a", "two", strict(Mode::update(first.rev, Mode::Rename)))->path,
              "/a (Owner's conflicted copy)");
    EXPECT_TRUE(folder->upload("/new", "x", strict(Mode::update("123456789")))) << "nothing ever stood there";
}

TEST_P(AppFolderWriteModeTest, Content_can_come_from_a_device_and_go_to_one) {
    QByteArray bytes(3'000'001, '\0');
    for (qsizetype i = 0; i < bytes.size(); i += 1000)
        bytes[i] = char(i / 1000);
    QTemporaryFile from;
    ASSERT_TRUE(from.open());
    from.write("skipped" + bytes);
    from.seek(7);
    const auto written = folder->upload("/large", from, Mode::add(), &error);
    ASSERT_TRUE(written) << error.message.toStdString();
    EXPECT_EQ(written->totalBytes, bytes.size());
    EXPECT_EQ(written->hash, dropboxContentHash(bytes));

    QBuffer to;
    to.open(QIODevice::WriteOnly);
    EXPECT_EQ(folder->read("/large", to, &error), written);
    EXPECT_EQ(to.data(), bytes);
    EXPECT_FALSE(folder->read("/nothing", to, &error));
    EXPECT_EQ(codeOf(error), Code::NotFound);
}

TEST_P(AppFolderWriteModeTest, A_device_that_takes_nothing_is_an_error) {
    add("/a", "bytes");
    QBuffer closed;
    EXPECT_FALSE(folder->read("/a", closed, &error));
    EXPECT_EQ(codeOf(error), Code::Unavailable);
    EXPECT_EQ(bytesAt("/a"), "bytes");
}

TEST_P(AppFolderWriteModeTest, A_deleted_thing_is_remembered_as_one) {
    add("/a");
    EXPECT_FALSE(folder->wasDeleted("/a"));
    ASSERT_TRUE(folder->remove("/a"));
    EXPECT_TRUE(folder->wasDeleted("/A"));
    EXPECT_FALSE(folder->wasDeleted("/never"));
    add("/a");
    EXPECT_FALSE(folder->wasDeleted("/a"));
}

TEST_P(AppFolderWriteModeTest, The_latest_cursor_starts_after_everything_that_stands) {
    add("/old");
    const auto cursor = folder->latestCursor(&error);
    ASSERT_TRUE(cursor);
    EXPECT_TRUE(query(*cursor).entries.isEmpty());
    add("/new");
    EXPECT_EQ(query(*cursor).texts(), QStringList("/new"));
    ASSERT_TRUE(folder->forgetCursors());
    EXPECT_FALSE(folder->changes(*cursor, 10));
}
