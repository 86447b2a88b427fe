// Bytes that are said to be an image: refused with a reason, or a JPEG file that can be read whole. The
// decoders are Qt's; the checks before them and the encoders after them are ours.
#include "Fuzzing.h"

#include "util/images/CIImage_ChangeImageRatio.h"
#include "util/images/CIImage_RepresentationWithFileType.h"
#include "util/images/QWImageEnd_p.h"
#include "util/images/QWImageImporter.h"

#include <QBuffer>
#include <QImageReader>

namespace {

constexpr int megabytes = 8; // of pixels; more would only be slow
constexpr qsizetype fewPixels = 64 * 64;

QImage imageIn(const QByteArray& jpeg) {
    QBuffer bytes;
    bytes.setData(jpeg);
    bytes.open(QIODevice::ReadOnly);
    return QImageReader(&bytes, "jpeg").read();
}

void checkRepresentations(const QImage& image) {
    for (const unsigned type : {NSGIFFileType, NSJPEG2000FileType, NSPNGFileType})
        require(!representationUsingType(image, type).isEmpty(), "every image has every representation");
    for (const double ratio : {0.01, 1.0, 100.0}) {
        const QImage cropped = imageByCroppingToRatio(image, ratio);
        require(!cropped.isNull() && cropped.width() <= image.width() && cropped.height() <= image.height(),
                "a part of an image is within it");
    }
}

} // namespace

void runInput(const QByteArray& input) {
    QImageReader::setAllocationLimit(megabytes);
    QWError error;
    const QByteArray jpeg = QWImageImporter::jpegFromImageData(input, &error);
    require(jpeg.isEmpty() != error.message.isEmpty(), "an image that is refused has a reason");
    if (jpeg.isEmpty())
        return;
    require(reachesItsEnd(jpeg), "a file that is made has its end");
    const QImage image = imageIn(jpeg);
    require(!image.isNull(), "what was imported can be read");
    require(qint64(image.width()) * image.height() * 4 <= megabytes * 1024 * 1024, "the limit is kept");
    require(!QWImageImporter::jpegFromImageData(jpeg).isEmpty(), "what was imported can be imported");
    if (qsizetype(image.width()) * image.height() <= fewPixels)
        checkRepresentations(image);
}
