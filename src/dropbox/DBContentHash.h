#pragma once

#include <QByteArrayView>
#include <QCryptographicHash>
#include <QString>

class QIODevice;

// The service's hash of a file's content: SHA-256 over the SHA-256 digests of its blocks of 4 MiB (the last
// one may be shorter), in lower-case hex.
QString dropboxContentHash(QByteArrayView bytes);
// The same of what an open device holds from its present position to its end, without holding it in memory.
QString dropboxContentHash(QIODevice& content);

// The same of content that comes in pieces of any size.
class DBContentHasher {
public:
    void addData(QByteArrayView bytes);
    // Of everything that was added; the hasher takes no more afterwards.
    QString result();

private:
    void closeBlock();

    QCryptographicHash block_{QCryptographicHash::Sha256};
    QCryptographicHash whole_{QCryptographicHash::Sha256};
    qsizetype bytesInBlock_ = 0;
};
