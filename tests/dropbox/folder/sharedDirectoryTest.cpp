#include "dropbox/DBContentHash.h"
#include "dropbox/folder/QWAppFolder.h"
#include "testing/QWVirtualWorld.h"

#include <QProcess>
#include <QTemporaryDir>
#include <atomic>
#include <barrier>
#include <gtest/gtest.h>
#include <thread>

class SharedDirectory : public ::testing::Test {
protected:
    std::unique_ptr<QWAppFolder> open() {
        auto folder = QWAppFolder::inDirectory(path, world.environment(), {}, &error);
        EXPECT_TRUE(folder) << error.message.toStdString();
        return folder;
    }
    std::unique_ptr<QProcess> startWriter(const QString& name, int count) {
        auto process = std::make_unique<QProcess>();
        process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process->start(QW_FOLDER_WRITER, {path, name, QString::number(count)});
        EXPECT_TRUE(process->waitForStarted());
        return process;
    }
    // Every file that the feed lists can be read, and is the one that it lists.
    QStringList listWholeFiles(QWAppFolder& folder) {
        QStringList paths;
        const auto page = folder.changes({}, 100'000);
        for (const DBDeltaEntryRef& entry : page->entries) {
            if (entry->metadata->isDirectory)
                continue;
            const auto file = folder.read(entry->lowercasePath);
            EXPECT_TRUE(file && file->metadata == entry->metadata
                        && dropboxContentHash(file->bytes) == entry->metadata->hash)
                << entry->lowercasePath.toStdString();
            paths += entry->metadata->path;
        }
        return paths;
    }

    QTemporaryDir directory;
    QString path = directory.filePath("cloud");
    QWVirtualWorld world;
    QWError error;
};

TEST_F(SharedDirectory, A_folder_that_is_opened_again_holds_what_it_held) {
    DBMetadata written;
    QString cursor;
    {
        const auto folder = open();
        written = *folder->upload("/a/b", "bytes", QWWriteMode::add());
        cursor = folder->changes({}, 10)->cursor;
        folder->upload("/c", "later", QWWriteMode::add());
    }
    const auto folder = open();
    EXPECT_EQ(folder->read("/a/b")->bytes, "bytes");
    EXPECT_EQ(folder->metadata("/a/b"), written);
    const auto page = folder->changes(cursor, 10, &error);
    ASSERT_TRUE(page);
    EXPECT_EQ(page->entries.size(), 1);
}

TEST_F(SharedDirectory, A_folder_made_anew_in_its_place_knows_no_old_cursor) {
    open()->upload("/a", "x", QWWriteMode::add());
    const QString cursor = open()->changes({}, 10)->cursor;
    ASSERT_TRUE(QDir(path).removeRecursively());
    const auto folder = open();
    folder->upload("/a", "x", QWWriteMode::add());
    EXPECT_FALSE(folder->changes(cursor, 10, &error));
    EXPECT_EQ(error.code, int(QWAppFolderErrorCode::CursorLost));
}

TEST_F(SharedDirectory, Two_that_have_it_open_see_each_others_writes_at_once) {
    const auto first = open();
    const auto second = open();
    const QString cursor = second->changes({}, 10)->cursor;
    const DBMetadata written = *first->upload("/a", "one", QWWriteMode::add());
    EXPECT_EQ(second->metadata("/a"), written);
    EXPECT_EQ(second->changes(cursor, 10)->entries.size(), 1);
    EXPECT_TRUE(second->upload("/a", "two", QWWriteMode::update(written.rev)));
    EXPECT_FALSE(first->upload("/a", "three", QWWriteMode::update(written.rev)));
    ASSERT_TRUE(second->forgetCursors());
    EXPECT_FALSE(first->changes(cursor, 10));
}

TEST_F(SharedDirectory, A_file_that_is_no_app_folder_is_refused_and_left_alone) {
    ASSERT_TRUE(world.files->makeFolder(path));
    const QString database = path + "/app-folder.sqlite";
    const QByteArray foreign = QByteArray("not a database ").repeated(100);
    ASSERT_TRUE(world.files->write(database, foreign));
    EXPECT_FALSE(QWAppFolder::inDirectory(path, world.environment(), {}, &error));
    EXPECT_EQ(error.code, int(QWAppFolderErrorCode::Unavailable));
    EXPECT_EQ(world.files->read(database), foreign);
}

TEST_F(SharedDirectory, A_folder_of_another_version_of_the_library_is_refused_and_left_alone) {
    open()->upload("/a", "x", QWWriteMode::add());
    const QString database = path + "/app-folder.sqlite";
    QByteArray newer = *world.files->read(database);
    newer[63] = 2; // where such a file has the number of its form
    ASSERT_TRUE(world.files->write(database, newer));
    EXPECT_FALSE(QWAppFolder::inDirectory(path, world.environment(), {}, &error));
    EXPECT_EQ(error.code, int(QWAppFolderErrorCode::Unavailable));
    EXPECT_TRUE(error.message.contains("(2)")) << error.message.toStdString();
    EXPECT_EQ(world.files->read(database), newer);
}

TEST_F(SharedDirectory, A_directory_that_cannot_be_made_is_an_error) {
    ASSERT_TRUE(world.files->write(path, "a file"));
    EXPECT_FALSE(QWAppFolder::inDirectory(path + "/cloud", world.environment(), {}, &error));
    EXPECT_TRUE(error.isError());
}

TEST_F(SharedDirectory, Many_that_make_it_at_once_all_get_it) {
    for (int round = 0; round < 8; ++round) {
        path = directory.filePath("cloud " + QString::number(round));
        std::barrier start(6);
        std::atomic<int> written = 0;
        std::vector<std::thread> openers;
        for (int opener = 0; opener < 6; ++opener)
            openers.emplace_back([&, opener] {
                const QWVirtualWorld ownWorld(quint64(opener) + 1);
                start.arrive_and_wait();
                const auto folder = QWAppFolder::inDirectory(path, ownWorld.environment());
                if (folder && folder->upload("/" + QString::number(opener), "x", QWWriteMode::add()))
                    ++written;
            });
        for (std::thread& opener : openers)
            opener.join();
        EXPECT_EQ(written, 6);
        EXPECT_EQ(open()->changes({}, 10)->entries.size(), 6);
    }
}

TEST_F(SharedDirectory, Processes_that_write_at_once_lose_no_file_and_no_update) {
    constexpr int count = 50;
    std::vector<std::unique_ptr<QProcess>> writers;
    for (const char* name : {"a", "b", "c", "d"})
        writers.push_back(startWriter(name, count));
    for (const auto& writer : writers) {
        ASSERT_TRUE(writer->waitForFinished(60'000));
        EXPECT_EQ(writer->exitCode(), 0);
    }
    const auto folder = open();
    EXPECT_EQ(folder->read("/shared/counter")->bytes.split(' ').first().toInt(), 4 * count);
    EXPECT_EQ(listWholeFiles(*folder).size(), 4 * count + 1);
}

TEST_F(SharedDirectory, A_process_that_is_killed_leaves_whole_files_and_a_feed_that_is_true) {
    for (int acknowledgements = 0; acknowledgements < 12; ++acknowledgements) {
        const QString name = "killed " + QString::number(acknowledgements);
        const auto writer = startWriter(name, 1'000'000);
        QStringList acknowledged;
        while (acknowledged.size() < acknowledgements * 7 && writer->waitForReadyRead(60'000))
            while (writer->canReadLine())
                acknowledged += QString::fromUtf8(writer->readLine()).trimmed();
        writer->kill();
        ASSERT_TRUE(writer->waitForFinished());

        const auto folder = open();
        ASSERT_TRUE(folder);
        const QStringList standing = listWholeFiles(*folder);
        for (const QString& written : acknowledged)
            EXPECT_TRUE(standing.contains(written)) << written.toStdString();
        EXPECT_TRUE(folder->upload("/afterwards " + name, "x", QWWriteMode::add(), &error));
    }
}
