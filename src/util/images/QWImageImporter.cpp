#include "util/images/QWImageImporter.h"

#include "util/images/CIImage_RepresentationWithFileType.h"
#include "util/images/QWImageEnd_p.h"

#include <QBuffer>
#include <QImageReader>

namespace {

QImage refuse(QWError* error, QImageReader::ImageReaderError code, const QString& why) {
    qw::fail(error,
             {QStringLiteral("images"), code, QStringLiteral("not an image that can be read: ") + why});
    return {};
}

// Whether the image, at four bytes for each pixel, keeps to the limit of the process. The reader's own check
// counts the bits of the file's pixels, of which there may be eight in one byte.
bool fitsMemory(const QSize& size) {
    constexpr qint64 megabyte = 1024 * 1024, bytesPerPixel = 4;
    const qint64 limit = QImageReader::allocationLimit(); // in megabytes; 0: none
    return limit <= 0 || qint64(size.width()) * size.height() <= limit * megabyte / bytesPerPixel;
}

QImage decoded(const QByteArray& data, QWError* error) {
    QBuffer bytes;
    bytes.setData(data);
    bytes.open(QIODevice::ReadOnly);
    QImageReader reader(&bytes);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (size.isValid() && !fitsMemory(size))
        return refuse(error, QImageReader::InvalidDataError,
                      QStringLiteral("%1 × %2 pixels are too many").arg(size.width()).arg(size.height()));
    if (!reachesItsEnd(data))
        return refuse(error, QImageReader::InvalidDataError, QStringLiteral("its end is missing"));
    const QImage image = reader.read();
    return image.isNull() ? refuse(error, reader.error(), reader.errorString()) : image;
}

} // namespace

QByteArray QWImageImporter::jpegFromImageData(const QByteArray& data, QWError* error) {
    const QImage image = decoded(data, error);
    if (image.isNull())
        return {};
    const QByteArray jpeg = representationUsingType(image, NSJPEGFileType);
    if (jpeg.isEmpty())
        refuse(error, QImageReader::UnknownError, QStringLiteral("too large for a JPEG file"));
    return jpeg;
}

bool QWImageImporter::writeImageData(QWFileManager& files, const QByteArray& data, const QUrl& url,
                                     QWError* error) {
    const QByteArray jpeg = jpegFromImageData(data, error);
    return !jpeg.isEmpty() && files.write(url.toLocalFile(), jpeg, error);
}

bool QWImageImporter::copyImageDataFromURL(QWFileManager& files, const QUrl& source, const QUrl& destination,
                                           QWError* error) {
    const auto data = files.read(source.toLocalFile(), error);
    return data && writeImageData(files, *data, destination, error);
}
