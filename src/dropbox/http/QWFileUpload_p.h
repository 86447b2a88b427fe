#pragma once

#include "dropbox/http/QWHTTPRequest_p.h"
#include "platform/QWFileManager.h"

#include <QDateTime>
#include <QFile>
#include <optional>

// One file on its way to the service: in one request where it fits into a piece, else piece by piece in an
// upload session, whose last request makes the file.
//
// The file stays open in between, so that one that is replaced whole is sent as it was; one that changes in
// place is an error.
class QWFileUpload {
public:
    // `commit` says where the file goes and what it may replace. A piece has `pieceSize` bytes, the last one
    // less.
    QWFileUpload(QWFileManager& files, const QJsonObject& commit, const QString& localPath, qint64 pieceSize,
                 quint64 turn)
        : files_(files), commit_(commit), localPath_(localPath), pieceSize_(pieceSize), turn_(turn) {}

    const QString& localPath() const { return localPath_; }
    QString path() const { return commit_["path"].toString(); }
    qint64 size() const { return size_; }
    quint64 turn() const { return turn_; } // of all its requests

    // The next request; the same one until it is answered.
    std::optional<QWHTTPRequest> request(QWError* error);
    // True when there is another request to make; false when the answer is the upload's.
    bool goesOnAfter(const QWHTTPAnswer& answer);

private:
    bool open(QWError* error);
    QJsonObject cursor() const;

    QWFileManager& files_;
    const QJsonObject commit_;
    const QString localPath_;
    const qint64 pieceSize_;
    const quint64 turn_;
    std::unique_ptr<QFile> file_;
    qint64 size_ = 0;
    QDateTime date_;
    QString session_;
    qint64 offset_ = 0; // what the session holds
    qint64 pieceEnd_ = 0;
    int corrections_ = 0;
};
