#include "util/images/QWImageEnd_p.h"

#include <QtEndian>
#include <cstdlib>

namespace {

// Reads numbers of a file; what lies behind its end is 0, and so leads nowhere.
struct Bytes {
    QByteArrayView all;

    bool has(qint64 position) const { return position >= 0 && position < all.size(); }
    uchar at(qint64 position) const { return has(position) ? uchar(all[position]) : 0; }
    qint64 bigEndian16(qint64 position) const { return at(position) << 8 | at(position + 1); }
    qint64 littleEndian16(qint64 position) const { return at(position + 1) << 8 | at(position); }
    quint32 littleEndian32(qint64 position) const {
        return quint32(littleEndian16(position + 2) << 16 | littleEndian16(position));
    }
};

// Segments, each with its length, and after the head of a scan its data, in which a marker is told from a
// value by the byte after it. The thumbnail of a photograph has an end of its own, inside a segment.
bool jpegReachesItsEnd(Bytes bytes) {
    constexpr uchar endOfImage = 0xd9, firstRestart = 0xd0, lastRestart = 0xd7;
    qint64 position = 2;
    while (bytes.has(position)) {
        if (bytes.at(position++) != 0xff)
            continue;
        const uchar marker = bytes.at(position);
        if (marker == 0xff) // filling
            continue;
        ++position;
        if (marker == endOfImage)
            return true;
        const bool hasLength = marker > 0x01 && !(marker >= firstRestart && marker <= lastRestart);
        if (hasLength)
            position += bytes.bigEndian16(position);
    }
    return false;
}

// A chain of blocks of at most 255 bytes, each behind its length; where it ends.
qint64 afterGIFBlocks(Bytes bytes, qint64 position) {
    while (bytes.at(position) != 0)
        position += 1 + bytes.at(position);
    return position + 1;
}

bool gifReachesItsEnd(Bytes bytes) {
    constexpr uchar extension = 0x21, picture = 0x2c;
    const auto colours = [](uchar flags) { return flags & 0x80 ? 3 << ((flags & 7) + 1) : 0; };
    qint64 position = 13 + colours(bytes.at(10));
    while (bytes.at(position) == extension)
        position = afterGIFBlocks(bytes, position + 2);
    if (bytes.at(position) != picture)
        return false;
    const qint64 end = afterGIFBlocks(bytes, position + 11 + colours(bytes.at(position + 9)));
    return bytes.has(end - 1);
}

bool bmpReachesItsEnd(Bytes bytes) {
    constexpr quint32 runLength8 = 1, runLength4 = 2;
    const bool isOld = bytes.littleEndian32(14) == 12; // a header with narrow fields
    const qint64 width = isOld ? bytes.littleEndian16(18) : qint32(bytes.littleEndian32(18));
    const qint64 height = isOld ? bytes.littleEndian16(20) : qint32(bytes.littleEndian32(22));
    const qint64 depth = bytes.littleEndian16(isOld ? 24 : 28);
    const quint32 compression = isOld ? 0 : bytes.littleEndian32(30);
    const bool isPacked = compression == runLength8 || compression == runLength4;
    const qint64 there = bytes.all.size() - bytes.littleEndian32(10);
    if (isPacked)
        return there >= bytes.littleEndian32(34);
    const qint64 row = (width * depth + 31) / 32 * 4;
    return row <= 0 || there / row >= std::abs(height); // from the top when negative
}

} // namespace

bool reachesItsEnd(QByteArrayView bytes) {
    if (bytes.startsWith("\xff\xd8"))
        return jpegReachesItsEnd({bytes});
    if (bytes.startsWith("GIF8"))
        return gifReachesItsEnd({bytes});
    if (bytes.startsWith("BM"))
        return bmpReachesItsEnd({bytes});
    return true;
}
