#pragma once

#include <QBuffer>
#include <QImage>
#include <QImageWriter>
#include <QPainter>
#include <gtest/gtest.h>

// Encoded images for tests, made on the spot.
namespace images {

// Its left half has one colour and its right half the other.
inline QImage twoHalves(const QColor& left = Qt::red, const QColor& right = Qt::blue,
                        const QSize& size = {40, 30}) {
    QImage image(size, QImage::Format_ARGB32);
    image.fill(right);
    QPainter painter(&image);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(0, 0, size.width() / 2, size.height(), left);
    return image;
}

inline QByteArray encoded(const QImage& image, const QByteArray& format, int quality = -1) {
    QBuffer bytes;
    QImageWriter writer(&bytes, format);
    writer.setQuality(quality);
    EXPECT_TRUE(writer.write(image)) << format.toStdString() << writer.errorString().toStdString();
    return bytes.data();
}

inline void append16(QByteArray& bytes, int number) {
    bytes.append(char(number)).append(char(number >> 8));
}

// Qt writes no GIF, and tests should not need the library's. This one is not compressed: a code that empties
// the decoder's table comes before the table could grow, so that every code stays one byte.
inline QByteArray gif(const QImage& image) {
    constexpr char emptyTable = char(0x80), end = char(0x81);
    constexpr int codesBeforeGrowth = 120;
    QByteArray bytes("GIF89a");
    append16(bytes, image.width());
    append16(bytes, image.height());
    bytes.append("\xf6\0\0", 3); // 128 colours
    QByteArray colours(3 * 128, '\0'), codes;
    QList<QRgb> known;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            if ((y * image.width() + x) % codesBeforeGrowth == 0)
                codes.append(emptyTable);
            const QRgb colour = image.pixel(x, y);
            if (!known.contains(colour)) {
                const char parts[] = {char(qRed(colour)), char(qGreen(colour)), char(qBlue(colour))};
                colours.replace(3 * known.size(), 3, parts, 3);
                known << colour;
            }
            codes.append(char(known.indexOf(colour)));
        }
    codes.append(end);
    bytes.append(colours).append("\x2c\0\0\0\0", 5);
    append16(bytes, image.width());
    append16(bytes, image.height());
    bytes.append("\0\x07", 2);
    for (; !codes.isEmpty(); codes.remove(0, 255))
        bytes.append(char(qMin(codes.size(), 255))).append(codes.left(255));
    return bytes.append("\0;", 2);
}

inline QByteArray inFormat(const QImage& image, const QByteArray& format) {
    return format == "gif" ? gif(image) : encoded(image, format, 100);
}

inline quint32 crc32(QByteArrayView bytes) {
    quint32 rest = ~0u;
    for (const char byte : bytes) {
        rest ^= uchar(byte);
        for (int bit = 0; bit < 8; ++bit)
            rest = rest >> 1 ^ (rest & 1 ? 0xedb88320u : 0);
    }
    return ~rest;
}

inline void writeBigEndian(QByteArray& bytes, qsizetype position, quint32 number, int length = 4) {
    for (int index = 0; index < length; ++index)
        bytes[position + index] = char(number >> 8 * (length - 1 - index));
}

// The same image with a header that claims another size: a small file that would fill the memory.
inline QByteArray claimingSize(QByteArray bytes, const QByteArray& format, int side) {
    if (format == "png") {
        writeBigEndian(bytes, 16, quint32(side));
        writeBigEndian(bytes, 20, quint32(side));
        writeBigEndian(bytes, 29, crc32(QByteArrayView(bytes).sliced(12, 17)));
    } else if (format == "jpeg") {
        const auto frame = bytes.indexOf("\xff\xc0");
        writeBigEndian(bytes, frame + 5, quint32(side), 2);
        writeBigEndian(bytes, frame + 7, quint32(side), 2);
    } else {
        QByteArray number;
        append16(number, side);
        const int first = format == "gif" ? 6 : 18, distance = format == "gif" ? 2 : 4;
        bytes.replace(first, 2, number).replace(first + distance, 2, number);
    }
    return bytes;
}

// A JPEG with a segment of a camera: `content` after the mark of the segment.
inline QByteArray withCameraSegment(const QByteArray& jpeg, const QByteArray& content) {
    QByteArray segment("\xff\xe1\0\0Exif\0\0", 10);
    segment.append(content);
    writeBigEndian(segment, 2, quint32(segment.size() - 2), 2);
    return jpeg.left(2) + segment + jpeg.mid(2);
}

// A JPEG whose camera was held as `orientation` says (1: upright, 6: turn it by 90° clockwise to see it so).
inline QByteArray withOrientation(const QByteArray& jpeg, int orientation) {
    QByteArray directory("MM\0\x2a\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\0\0\0\0\0\0\0", 26);
    directory[19] = char(orientation);
    return withCameraSegment(jpeg, directory);
}

} // namespace images
