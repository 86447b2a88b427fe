#include "dropbox/DBContentHash.h"

#include <QIODevice>
#include <algorithm>

constexpr qsizetype blockSize = 4 * 1024 * 1024;

QString dropboxContentHash(QByteArrayView bytes) {
    DBContentHasher hasher;
    hasher.addData(bytes);
    return hasher.result();
}

QString dropboxContentHash(QIODevice& content) {
    DBContentHasher hasher;
    for (QByteArray block = content.read(blockSize); !block.isEmpty(); block = content.read(blockSize))
        hasher.addData(block);
    return hasher.result();
}

void DBContentHasher::addData(QByteArrayView bytes) {
    while (!bytes.isEmpty()) {
        const qsizetype taken = std::min(blockSize - bytesInBlock_, bytes.size());
        block_.addData(bytes.first(taken));
        bytes = bytes.sliced(taken);
        bytesInBlock_ += taken;
        if (bytesInBlock_ == blockSize)
            closeBlock();
    }
}

QString DBContentHasher::result() {
    if (bytesInBlock_ > 0)
        closeBlock();
    return QString::fromLatin1(whole_.result().toHex());
}

void DBContentHasher::closeBlock() {
    whole_.addData(block_.result());
    block_.reset();
    bytesInBlock_ = 0;
}
