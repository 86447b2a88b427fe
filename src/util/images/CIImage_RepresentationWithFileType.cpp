#include "util/images/CIImage_RepresentationWithFileType.h"

#include "util/images/QWGIFFile_p.h"
#include "util/images/QWJPEG2000File_p.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImageWriter>
#include <QLoggingCategory>
#include <QPainter>
#include <array>

namespace {

Q_LOGGING_CATEGORY(qwUtilLog, "qwlibrary.util")

constexpr int jpegQuality = 90;

struct FileType {
    const char* format; // Qt's name of it
    bool hasTransparency;
    int quality = -1; // Qt's default
};

// By NSBitmapImageFileType.
constexpr std::array<FileType, 6> fileTypes = {{
    {"tiff", true},
    {"bmp", false},
    {"gif", true},
    {"jpeg", false, jpegQuality},
    {"png", true},
    {"jp2", true},
}};

QImage onWhite(const QImage& image) {
    QImage ground(image.size(), QImage::Format_RGB32);
    ground.fill(Qt::white);
    QPainter(&ground).drawImage(0, 0, image);
    ground.setColorSpace(image.colorSpace());
    ground.setDotsPerMeterX(image.dotsPerMeterX());
    ground.setDotsPerMeterY(image.dotsPerMeterY());
    return ground;
}

// The files of the encoders below have no colour profile.
QImage inSRGB(const QImage& image) {
    return image.colorSpace().isValid() ? image.convertedToColorSpace(QColorSpace::SRgb) : image;
}

QByteArray fileByQt(const QImage& image, const FileType& type, QString* failure) {
    QBuffer bytes;
    QImageWriter writer(&bytes, type.format);
    writer.setQuality(type.quality);
    if (writer.write(image.hasAlphaChannel() && !type.hasTransparency ? onWhite(image) : image))
        return bytes.data();
    *failure = writer.errorString();
    return {};
}

} // namespace

QByteArray representationUsingType(const QImage& image, unsigned fileType) {
    if (fileType >= fileTypes.size()) {
        qCWarning(qwUtilLog, "representationUsingType: there is no file type %u", fileType);
        return {};
    }
    const FileType& type = fileTypes[fileType];
    QString failure;
    const QByteArray bytes = fileType == NSGIFFileType        ? gifFileOfImage(inSRGB(image), &failure)
                             : fileType == NSJPEG2000FileType ? jpeg2000FileOfImage(inSRGB(image), &failure)
                                                              : fileByQt(image, type, &failure);
    if (bytes.isEmpty())
        qCWarning(qwUtilLog, "representationUsingType: %s: %ls", type.format, qUtf16Printable(failure));
    return bytes;
}
