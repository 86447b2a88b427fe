#include "platform/QWFileManager.h"

#include <QDir>
#include <QFileInfo>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <gmock/gmock.h>

namespace {

// A folder that a plain rename from `folder` does not reach, if the system has one.
QString onAnotherFileSystem(const QString& folder) {
    const QByteArray device = QStorageInfo(folder).device();
    for (const QString& other :
         {QString("/dev/shm"), QString("/var/tmp"), QDir::currentPath(), QDir::homePath()})
        if (QFileInfo(other).isWritable() && QStorageInfo(other).device() != device)
            return other;
    return folder;
}

struct SystemFileManager : testing::Test {
    QString at(const QString& name) const { return folder.filePath(name); }

    // The file's bytes; "(none)" for a file that cannot be read.
    QByteArray bytes(const QString& name) const { return files.read(at(name)).value_or("(none)"); }

    QStringList names() const {
        return QDir(folder.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    }

    QTemporaryDir folder;
    QWSystemFileManager files;
    QWError error;
};

TEST_F(SystemFileManager, Reads_what_it_wrote) {
    const QByteArray content("a\0b\r\n\xFF", 6);
    EXPECT_TRUE(files.write(at("file"), content, &error));
    EXPECT_EQ(bytes("file"), content);
    EXPECT_FALSE(error.isError());
}

TEST_F(SystemFileManager, Writing_replaces_the_whole_file_and_leaves_nothing_beside_it) {
    files.write(at("file"), QByteArray(100, 'a'));
    EXPECT_TRUE(files.write(at("file"), "b"));
    EXPECT_EQ(bytes("file"), "b");
    EXPECT_EQ(names(), QStringList{"file"});
}

TEST_F(SystemFileManager, Writing_in_place_replaces_the_bytes_and_keeps_the_file) {
    ASSERT_TRUE(files.write(at("a"), "a longer text"));
    QFile open(at("a"));
    ASSERT_TRUE(open.open(QIODevice::ReadOnly));
    EXPECT_TRUE(files.writeInPlace(at("a"), "short"));
    EXPECT_EQ(files.read(at("a")), QByteArray("short"));
    EXPECT_EQ(open.readAll(), "short") << "who has it open sees the new bytes";
    EXPECT_FALSE(files.writeInPlace(at("no/such/folder"), "x", &error));
    EXPECT_EQ(error.userInfo.value("path"), at("no/such/folder"));
}

TEST_F(SystemFileManager, Reads_an_empty_file_as_no_bytes) {
    EXPECT_TRUE(files.write(at("file"), {}));
    EXPECT_EQ(files.read(at("file")), QByteArray());
}

TEST_F(SystemFileManager, Writes_and_reads_piece_by_piece) {
    files.write(at("file"), "older and longer");
    const auto written = files.openToWrite(at("file"), &error);
    ASSERT_TRUE(written) << error.message.toStdString();
    written->write("one ");
    EXPECT_EQ(bytes("file"), "one ");
    written->write("two");
    const auto read = files.openToRead(at("file"), &error);
    ASSERT_TRUE(read) << error.message.toStdString();
    EXPECT_EQ(read->read(4), "one ");
    EXPECT_EQ(read->read(100), "two");
}

TEST_F(SystemFileManager, Syncs_a_file_and_leaves_its_bytes_alone) {
    files.writeInPlace(at("file"), "bytes");
    EXPECT_TRUE(files.sync(at("file"), &error)) << error.message.toStdString();
    EXPECT_EQ(bytes("file"), "bytes");
}

TEST_F(SystemFileManager, Says_which_file_cannot_be_synced) {
    EXPECT_FALSE(files.sync(at("missing"), &error));
    EXPECT_EQ(error.userInfo["path"], at("missing"));
    EXPECT_FALSE(files.exists(at("missing")));
}

TEST_F(SystemFileManager, Syncs_a_folder_and_says_which_one_cannot_be_synced) {
    EXPECT_TRUE(files.syncFolder(at("."), &error)) << error.message.toStdString();
    files.write(at("file"), "bytes");
    for (const char* name : {"missing", "file"}) {
        EXPECT_FALSE(files.syncFolder(at(name), &error)) << name;
        EXPECT_EQ(error.userInfo["path"], at(name));
    }
}

TEST_F(SystemFileManager, A_file_that_cannot_be_opened_is_named) {
    EXPECT_FALSE(files.openToRead(at("missing"), &error));
    EXPECT_EQ(error.userInfo["path"], at("missing"));
    EXPECT_FALSE(files.openToWrite(at("no/such/folder"), &error));
    EXPECT_EQ(error.userInfo["path"], at("no/such/folder"));
}

TEST_F(SystemFileManager, Handles_names_in_other_scripts) {
    EXPECT_TRUE(files.write(at("Österreich 日本 👍"), "x"));
    EXPECT_TRUE(files.move(at("Österreich 日本 👍"), at("नाम")));
    EXPECT_EQ(names(), QStringList{"नाम"});
}

TEST_F(SystemFileManager, Existence_is_of_files_and_of_folders) {
    files.write(at("file"), "x");
    EXPECT_TRUE(files.exists(at("file")));
    EXPECT_TRUE(files.exists(folder.path()));
    EXPECT_FALSE(files.exists(at("missing")));
    EXPECT_FALSE(files.exists(""));
}

TEST_F(SystemFileManager, Reading_a_missing_file_names_it) {
    EXPECT_FALSE(files.read(at("missing"), &error));
    EXPECT_EQ(error.domain, u"files");
    EXPECT_EQ(error.userInfo.value("path"), at("missing"));
    EXPECT_TRUE(error.message.contains(at("missing")));
}

TEST_F(SystemFileManager, Reading_a_folder_fails) {
    EXPECT_FALSE(files.read(folder.path(), &error));
}

TEST_F(SystemFileManager, Writing_into_a_missing_folder_fails_and_names_the_file) {
    EXPECT_FALSE(files.write(at("missing/file"), "x", &error));
    EXPECT_EQ(error.domain, u"files");
    EXPECT_EQ(error.userInfo.value("path"), at("missing/file"));
}

TEST_F(SystemFileManager, A_failed_write_keeps_the_old_bytes) {
    files.makeFolder(at("taken/inside"));
    EXPECT_FALSE(files.write(at("taken"), "x", &error));
    EXPECT_TRUE(files.exists(at("taken/inside")));
}

TEST_F(SystemFileManager, Moving_replaces_the_file_at_the_target) {
    files.write(at("from"), "new");
    files.write(at("to"), "old");
    EXPECT_TRUE(files.move(at("from"), at("to"), &error));
    EXPECT_EQ(bytes("to"), "new");
    EXPECT_EQ(names(), QStringList{"to"});
}

TEST_F(SystemFileManager, Moving_a_missing_file_fails_and_keeps_the_target) {
    files.write(at("to"), "old");
    EXPECT_FALSE(files.move(at("missing"), at("to"), &error));
    EXPECT_EQ(error.userInfo.value("path"), at("missing"));
    EXPECT_EQ(bytes("to"), "old");
}

TEST_F(SystemFileManager, Moving_across_file_systems_replaces_the_target_and_keeps_the_date) {
    const QTemporaryDir elsewhere(onAnotherFileSystem(folder.path()) + "/qw-XXXXXX");
    ASSERT_NE(QStorageInfo(elsewhere.path()).device(), QStorageInfo(folder.path()).device())
        << "no second file system to write to";
    const QString from = elsewhere.filePath("from");
    const QDateTime date = QDateTime(QDate(2000, 1, 1), QTime(0, 0), Qt::UTC);
    const QByteArray large(3'000'000, 'x');
    files.write(from, large);
    files.setModificationDate(from, date);
    files.write(at("to"), "old");
    EXPECT_TRUE(files.move(from, at("to"), &error)) << error.message.toStdString();
    EXPECT_EQ(bytes("to"), large);
    EXPECT_EQ(files.modificationDate(at("to")), date);
    EXPECT_FALSE(files.exists(from));
    EXPECT_EQ(names(), QStringList{"to"});
}

TEST_F(SystemFileManager, Removes_a_file_and_reports_a_missing_one) {
    files.write(at("file"), "x");
    EXPECT_TRUE(files.remove(at("file"), &error));
    EXPECT_FALSE(files.exists(at("file")));
    EXPECT_FALSE(files.remove(at("file"), &error));
    EXPECT_EQ(error.userInfo.value("path"), at("file"));
}

TEST_F(SystemFileManager, Makes_a_folder_with_those_above_it_and_accepts_an_existing_one) {
    EXPECT_TRUE(files.makeFolder(at("a/b/c")));
    EXPECT_TRUE(files.makeFolder(at("a/b/c"), &error));
    EXPECT_TRUE(files.exists(at("a/b/c")));
}

TEST_F(SystemFileManager, Making_a_folder_where_a_file_stands_fails) {
    files.write(at("file"), "x");
    EXPECT_FALSE(files.makeFolder(at("file/inside"), &error));
    EXPECT_EQ(error.domain, u"files");
}

TEST_F(SystemFileManager, Sets_and_reads_modification_dates_in_UTC_to_the_millisecond) {
    files.write(at("file"), "x");
    const QDateTime date(QDate(2013, 5, 4), QTime(16, 22, 10, 123), Qt::UTC);
    EXPECT_TRUE(files.setModificationDate(at("file"), date, &error));
    EXPECT_EQ(files.modificationDate(at("file")), date);
    EXPECT_EQ(files.modificationDate(at("file"))->timeSpec(), Qt::UTC);
    EXPECT_EQ(bytes("file"), "x");
}

TEST_F(SystemFileManager, A_missing_file_has_no_date_and_takes_none) {
    EXPECT_FALSE(files.modificationDate(at("missing")));
    EXPECT_FALSE(files.setModificationDate(at("missing"), QDateTime::currentDateTimeUtc(), &error));
    EXPECT_EQ(error.userInfo.value("path"), at("missing"));
    EXPECT_FALSE(files.exists(at("missing")));
}

} // namespace
