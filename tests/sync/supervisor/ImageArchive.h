#pragma once

#include "supervisor/VersionArchive.h"

#include <QDir>

// The images of the book X, which stands here and in the cloud.
struct ImageArchive : VersionArchive {
    void receiveImage(const QByteArray& bytes, const QString& uuid = "X") {
        cloud.put(nameOf(uuid), bytes);
        receive();
    }
    QByteArray image(const QString& uuid = "X") { return desktop.image(*desktop.find(uuid)); }
    QString path(const QString& uuid = "X") { return desktop.find(uuid)->imageURL().toLocalFile(); }
    // As another program would, while nothing is received.
    void setImage(const QByteArray& bytes, const QDateTime& date) {
        ASSERT_TRUE(desktop.world.files->makeFolder(QFileInfo(path()).path()));
        ASSERT_TRUE(desktop.world.files->write(path(), bytes));
        ASSERT_TRUE(desktop.world.files->setModificationDate(path(), date));
    }
    QDateTime dateInCloud() {
        return cloud.folder->metadata("/SyncCache.dbSync/" + nameOf("X"))->lastModifiedDate;
    }

    QByteArray contentOf(const QWArchivedVersion& version) {
        return desktop.world.files->read(version.imagePath).value_or(QByteArray());
    }
    // Contents of the images in the archive, the latest loss first.
    QList<QByteArray> images(const QString& uuid = "X") {
        QList<QByteArray> contents;
        for (const auto& version : versions(uuid))
            if (version.isImage())
                contents.append(contentOf(version));
        return contents;
    }
    QStringList files() const { return QDir(desktop.path("cache/ArchivedImages")).entryList(QDir::Files); }
    testing::AssertionResult holdsOnlyImage(const QByteArray& bytes, Origin origin, Reason reason,
                                            const QString& uuid = "X") {
        std::vector<QWArchivedVersion> found = versions(uuid);
        std::erase_if(found, [](const auto& version) { return !version.isImage(); });
        if (found.size() != 1)
            return testing::AssertionFailure() << found.size() << " images";
        if (contentOf(found[0]) != bytes || found[0].origin != origin || found[0].reason != reason)
            return testing::AssertionFailure() << contentOf(found[0]).toStdString() << ", "
                                               << int(found[0].origin) << ", " << int(found[0].reason);
        return testing::AssertionSuccess();
    }

    static QString nameOf(const QString& uuid) { return "Book!!!" + uuid + ".image"; }
};
