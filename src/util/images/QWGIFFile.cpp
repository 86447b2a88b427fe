#include "util/images/QWGIFFile_p.h"

#include <QHash>
#include <algorithm>

namespace {

constexpr int colourCount = 256;
constexpr uchar transparentColour = colourCount - 1;

void append16(QByteArray& bytes, int number) {
    bytes.append(char(number)).append(char(number >> 8));
}

// Pixels as indices of colours; those of `alpha` that are transparent get the last index.
QImage withFewColours(const QImage& image, const QImage& alpha) {
    const QImage opaque = image.convertToFormat(QImage::Format_RGB32);
    QImage pixels = opaque.convertToFormat(QImage::Format_Indexed8);
    if (alpha.isNull())
        return pixels;
    if (pixels.colorCount() == colourCount) // dithering takes 216 of them
        pixels = opaque.convertToFormat(QImage::Format_Indexed8, Qt::PreferDither);
    for (int y = 0; y < pixels.height(); ++y)
        std::transform(pixels.constScanLine(y), pixels.constScanLine(y) + pixels.width(),
                       alpha.constScanLine(y), pixels.scanLine(y),
                       [](uchar pixel, uchar opacity) { return opacity < 128 ? transparentColour : pixel; });
    return pixels;
}

// Codes of a growing width, the lowest bit first.
class CodeWriter {
public:
    void write(int code, int width) {
        rest_ |= quint32(code) << restBits_;
        for (restBits_ += width; restBits_ >= 8; restBits_ -= 8, rest_ >>= 8)
            bytes_.append(char(rest_));
    }
    QByteArray finished() { return restBits_ > 0 ? bytes_ + char(rest_) : bytes_; }

private:
    QByteArray bytes_;
    quint32 rest_ = 0;
    int restBits_ = 0;
};

// Lempel, Ziv and Welch's compression: a code stands for a run of pixels that was met before. The reader
// builds the same table, always one code behind.
QByteArray compressed(const QImage& pixels) {
    constexpr int emptyTable = colourCount, end = colourCount + 1, firstRun = colourCount + 2;
    constexpr int narrowest = 9, widest = 12;
    QHash<int, int> runs; // from the code of a run and the pixel after it to the code of both
    CodeWriter codes;
    int width = narrowest, nextRun = firstRun;
    const auto write = [&](int code) {
        codes.write(code, width);
        if (nextRun == 1 << width && width < widest)
            ++width;
    };
    write(emptyTable);
    int run = -1;
    for (int y = 0; y < pixels.height(); ++y)
        for (const uchar pixel : QByteArrayView(pixels.constScanLine(y), pixels.width())) {
            const int longer = run << 8 | pixel;
            if (run < 0 || runs.contains(longer)) {
                run = run < 0 ? pixel : runs[longer];
                continue;
            }
            write(run);
            run = pixel;
            if (nextRun < 1 << widest) {
                runs.insert(longer, nextRun++);
            } else {
                write(emptyTable);
                runs.clear();
                width = narrowest;
                nextRun = firstRun;
            }
        }
    write(run);
    write(end);
    return codes.finished();
}

} // namespace

QByteArray gifFileOfImage(const QImage& image) {
    constexpr int longestSide = 0xffff, longestBlock = 255;
    if (image.isNull() || std::max(image.width(), image.height()) > longestSide)
        return {};
    const QImage alpha = image.hasAlphaChannel() ? image.convertToFormat(QImage::Format_Alpha8) : QImage();
    const QImage pixels = withFewColours(image, alpha);

    QByteArray bytes("GIF89a");
    append16(bytes, image.width());
    append16(bytes, image.height());
    bytes.append("\xf7\0\0", 3); // 256 colours, of eight bits each
    for (int index = 0; index < colourCount; ++index) {
        const QRgb colour = index < pixels.colorCount() ? pixels.color(index) : 0;
        bytes.append(char(qRed(colour))).append(char(qGreen(colour))).append(char(qBlue(colour)));
    }
    if (!alpha.isNull())
        bytes.append("\x21\xf9\4\1\0\0", 6).append(char(transparentColour)).append('\0');
    bytes.append("\x2c\0\0\0\0", 5); // the picture, at the left and at the top
    append16(bytes, image.width());
    append16(bytes, image.height());
    bytes.append("\0\x08", 2); // no colours of its own; codes begin above eight bits
    const QByteArray data = compressed(pixels);
    for (qsizetype start = 0; start < data.size(); start += longestBlock) {
        const QByteArray block = data.mid(start, longestBlock);
        bytes.append(char(block.size())).append(block);
    }
    return bytes.append("\0;", 2);
}
