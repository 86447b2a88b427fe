#pragma once

#include "dropbox/DBContentHash.h"
#include "dropbox/DBMetadata.h"
#include "platform/QWFileManager.h"

#include <QFile>

// The bytes of one download on their way to the disk. They are written beside their place ("PATH.3.part",
// with a number of this download alone), and take it when they are all there; what is not committed goes with
// the object. They are not synced: who counts on the file after a power failure does that, and most are read
// once and removed.
class QWFileDownload {
public:
    QWFileDownload(QWFileManager& files, const QString& localPath);
    ~QWFileDownload();
    QWFileDownload(const QWFileDownload&) = delete;
    QWFileDownload& operator=(const QWFileDownload&) = delete;

    const QString& localPath() const { return localPath_; }
    const DBMetadata& metadata() const { return metadata_; }

    // `result` is what the service says of the file: the text of its header Dropbox-API-Result.
    bool begin(const QByteArray& result, QWError* error);
    bool add(const QByteArray& bytes, QWError* error);
    // Fails when the bytes are not those that the service announced.
    bool commit(QWError* error);

private:
    QWFileManager& files_;
    const QString localPath_, partPath_;
    DBMetadata metadata_;
    std::unique_ptr<QFile> file_; // null before the beginning and after the end
    DBContentHasher hasher_;
    qint64 size_ = 0;
};
