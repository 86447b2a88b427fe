#include "dropbox/DBContentHash.h"

#include <QCryptographicHash>

QString dropboxContentHash(QByteArrayView bytes) {
    constexpr qsizetype blockSize = 4 * 1024 * 1024;
    QCryptographicHash block(QCryptographicHash::Sha256);
    QCryptographicHash whole(QCryptographicHash::Sha256);
    for (qsizetype start = 0; start < bytes.size(); start += blockSize) {
        block.reset();
        block.addData(bytes.sliced(start, std::min(blockSize, bytes.size() - start)));
        whole.addData(block.result());
    }
    return QString::fromLatin1(whole.result().toHex());
}
