#pragma once

#include "dropbox/DBContentHash.h"
#include "dropbox/DBMetadata.h"
#include "platform/QWFileManager.h"

#include <QSaveFile>

// The bytes of one download on their way to the disk. They are written beside their place, and take it when
// they are all there.
class QWFileDownload {
public:
    QWFileDownload(QWFileManager& files, const QString& localPath) : files_(files), localPath_(localPath) {}

    const QString& localPath() const { return localPath_; }
    const DBMetadata& metadata() const { return metadata_; }

    // `result` is what the service says of the file: the text of its header Dropbox-API-Result.
    bool begin(const QByteArray& result, QWError* error);
    bool add(const QByteArray& bytes, QWError* error);
    // Fails when the bytes are not those that the service announced.
    bool commit(QWError* error);

private:
    QWFileManager& files_;
    const QString localPath_;
    DBMetadata metadata_;
    std::unique_ptr<QSaveFile> file_;
    DBContentHasher hasher_;
    qint64 size_ = 0;
};
