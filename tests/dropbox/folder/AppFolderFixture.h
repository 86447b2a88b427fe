#pragma once

#include "dropbox/folder/QWAppFolder.h"
#include "testing/QWVirtualWorld.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

enum class FolderStore { Memory, Directory };

// A test that holds for an app folder in memory and for one in a directory.
class AppFolderTest : public ::testing::TestWithParam<FolderStore> {
protected:
    std::shared_ptr<QWAppFolder> makeFolder(const QWAppFolderOptions& options = {}) {
        if (GetParam() == FolderStore::Memory)
            return QWAppFolder::inMemory(world.environment(), options);
        const QString path = directory.filePath(QString::number(++foldersMade));
        return QWAppFolder::inDirectory(path, world.environment(), options);
    }

    static QWAppFolderErrorCode codeOf(const QWError& error) {
        EXPECT_EQ(error.domain, QStringLiteral("folder"));
        return QWAppFolderErrorCode(error.code);
    }

    DBMetadata add(const QString& path, const QByteArray& bytes = "content") {
        const auto metadata = folder->upload(path, bytes, QWWriteMode::add(), &error);
        EXPECT_TRUE(metadata) << error.message.toStdString();
        return metadata.value_or(DBMetadata());
    }
    QByteArray bytesAt(const QString& path) {
        const auto file = folder->read(path, &error);
        return file ? file->bytes : QByteArray("nothing");
    }

    // Everything that one query answers, and the cursor for the next one.
    struct Query {
        QList<DBDeltaEntryRef> entries;
        QString cursor;
        int pages = 0;

        // Path by path; a deleted one starts with "-".
        QStringList texts() const {
            QStringList result;
            for (const DBDeltaEntryRef& entry : entries)
                result += (entry->metadata ? QString() : QStringLiteral("-")) + entry->lowercasePath;
            return result;
        }
    };
    Query query(const QString& cursor = {}, int limit = 1000) {
        Query all{{}, cursor, 0};
        for (bool more = true; more; ++all.pages) {
            const auto page = folder->changes(all.cursor, limit, &error);
            if (!page) {
                ADD_FAILURE() << error.message.toStdString();
                break;
            }
            EXPECT_LE(page->entries.size(), limit);
            all.entries += page->entries;
            all.cursor = page->cursor;
            more = page->hasMore;
        }
        return all;
    }

    int foldersMade = 0;
    QTemporaryDir directory;
    QWVirtualWorld world;
    QWError error;
    std::shared_ptr<QWAppFolder> folder = makeFolder();
};
