#include "dropbox/DBContentHash.h"

#include <QBuffer>
#include <QCryptographicHash>

QString dropboxContentHash(QByteArrayView bytes) {
    QByteArray shared = QByteArray::fromRawData(bytes.data(), bytes.size());
    QBuffer content(&shared);
    content.open(QIODevice::ReadOnly);
    return dropboxContentHash(content);
}

QString dropboxContentHash(QIODevice& content) {
    constexpr qint64 blockSize = 4 * 1024 * 1024;
    QCryptographicHash whole(QCryptographicHash::Sha256);
    for (QByteArray block = content.read(blockSize); !block.isEmpty(); block = content.read(blockSize))
        whole.addData(QCryptographicHash::hash(block, QCryptographicHash::Sha256));
    return QString::fromLatin1(whole.result().toHex());
}
