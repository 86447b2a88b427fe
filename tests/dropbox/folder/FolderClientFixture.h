#pragma once

#include "dropbox/RecordingDelegate.h"
#include "dropbox/folder/QWFolderRestClient.h"
#include "testing/QWVirtualWorld.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

// A client of an app folder in memory, and a directory for local files.
class FolderClientTest : public ::testing::Test {
protected:
    FolderClientTest() { client->setDelegate(&delegate, &delegate); }

    QString localFile(const QString& name, const QByteArray& bytes) {
        const QString path = directory.filePath(name);
        EXPECT_TRUE(world.files->write(path, bytes));
        return path;
    }
    DBMetadata add(const QString& path, const QByteArray& bytes = "content") {
        return folder->upload(path, bytes, QWWriteMode::add()).value_or(DBMetadata());
    }
    // Lets everything that was asked for be answered; says what was answered since the last time.
    QStringList answers() {
        world.runLoop->runUntilIdle();
        return std::exchange(delegate.lines, {});
    }

    QTemporaryDir directory;
    QWVirtualWorld world;
    std::shared_ptr<QWEnvironment> environment = world.environment();
    std::shared_ptr<QWAppFolder> folder = QWAppFolder::inMemory(environment);
    std::unique_ptr<QWFolderRestClient> client = std::make_unique<QWFolderRestClient>(folder, environment);
    RecordingDelegate delegate;
};
