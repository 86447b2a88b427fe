#include "util/images/QWGIFFile_p.h"

#include <algorithm>
#include <gif_lib.h>
#include <memory>

namespace {

constexpr int mostColours = 256;

struct FreeColours {
    void operator()(ColorMapObject* colours) const { GifFreeMapObject(colours); }
};
using Colours = std::unique_ptr<ColorMapObject, FreeColours>;

struct CloseFile {
    void operator()(GifFileType* file) const { EGifCloseFile(file, nullptr); }
};
using File = std::unique_ptr<GifFileType, CloseFile>;

// Pixels as indices of colours. When the image has transparency, the last colour is the transparent one.
QImage withFewColours(const QImage& image) {
    const QImage opaque = image.convertToFormat(QImage::Format_RGB32);
    QImage pixels = opaque.convertToFormat(QImage::Format_Indexed8);
    if (!image.hasAlphaChannel())
        return pixels;
    if (pixels.colorCount() == mostColours) {
        pixels = opaque.convertToFormat(QImage::Format_Indexed8, Qt::PreferDither);
        pixels.setColorCount(mostColours - 1); // dithering takes 216 of them
    }
    const auto transparent = uchar(pixels.colorCount());
    pixels.setColor(transparent, qRgba(0, 0, 0, 0));
    const QImage alpha = image.convertToFormat(QImage::Format_Alpha8);
    for (int y = 0; y < pixels.height(); ++y)
        std::transform(pixels.constScanLine(y), pixels.constScanLine(y) + pixels.width(),
                       alpha.constScanLine(y), pixels.scanLine(y),
                       [&](uchar pixel, uchar opacity) { return opacity < 128 ? transparent : pixel; });
    return pixels;
}

Colours coloursOf(const QImage& pixels) {
    Colours colours(GifMakeMapObject(1 << GifBitSize(pixels.colorCount()), nullptr));
    for (int index = 0; colours && index < pixels.colorCount(); ++index) {
        const QRgb colour = pixels.color(index);
        colours->Colors[index] = {GifByteType(qRed(colour)), GifByteType(qGreen(colour)),
                                  GifByteType(qBlue(colour))};
    }
    return colours;
}

int appendBytes(GifFileType* file, const GifByteType* bytes, int count) {
    static_cast<QByteArray*>(file->UserData)->append(reinterpret_cast<const char*>(bytes), count);
    return count;
}

bool putTransparentColour(GifFileType* file, int index) {
    const GraphicsControlBlock control = {DISPOSAL_UNSPECIFIED, false, 0, index};
    GifByteType extension[4];
    const auto size = int(EGifGCBToExtension(&control, extension));
    return EGifPutExtension(file, GRAPHICS_EXT_FUNC_CODE, size, extension) == GIF_OK;
}

bool putPicture(GifFileType* file, QImage pixels, bool hasTransparency) {
    const Colours colours = coloursOf(pixels);
    const int width = pixels.width(), height = pixels.height();
    EGifSetGifVersion(file, true); // the one that knows transparency
    if (!colours || EGifPutScreenDesc(file, width, height, colours->BitsPerPixel, 0, colours.get()) != GIF_OK
        || (hasTransparency && !putTransparentColour(file, pixels.colorCount() - 1))
        || EGifPutImageDesc(file, 0, 0, width, height, false, nullptr) != GIF_OK)
        return false;
    for (int y = 0; y < height; ++y)
        if (EGifPutLine(file, pixels.scanLine(y), width) != GIF_OK)
            return false;
    return true;
}

} // namespace

QByteArray gifFileOfImage(const QImage& image, QString* failure) {
    constexpr int longestSide = 0xffff;
    if (image.isNull() || std::max(image.width(), image.height()) > longestSide) {
        *failure = QStringLiteral("no image, or a side is too long");
        return {};
    }
    QByteArray bytes;
    int error = E_GIF_ERR_NOT_ENOUGH_MEM;
    File file(EGifOpen(&bytes, appendBytes, &error));
    if (file && putPicture(file.get(), withFewColours(image), image.hasAlphaChannel())
        && EGifCloseFile(file.release(), &error) == GIF_OK)
        return bytes;
    *failure = QString::fromUtf8(GifErrorString(file && file->Error != 0 ? file->Error : error));
    return {};
}
