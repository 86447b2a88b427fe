#pragma once

#include "platform/QWFileManager.h"

#include <QByteArray>
#include <QUrl>

// Stores images of any format as JPEG files, so that every image that a host keeps has one format, whatever
// its name ends in. The formats are those of QImageReader: PNG, JPEG, GIF and BMP of Qt itself, TIFF and WebP
// with its image format plugins (qt6-image-formats-plugins).
//
// - What is transparent becomes white, and the quality is 90 of 100 (see representationUsingType).
// - A photograph is turned the way its camera says (its EXIF orientation): the file shows it as other
//   programs do.
// - Of several pictures (an animation, pages) the first is taken.
// - Bytes that are no image or only the beginning of one are refused, and so is an image that, at four bytes
//   for each pixel, would take more memory than QImageReader::allocationLimit(): 128 MB with Qt 6.4, 33
//   million pixels, unless a host sets another limit for its process. No memory is taken for it.
//
// All or nothing: on failure the destination is as it was. Errors have the domain "images" and a code of
// QImageReader::ImageReaderError, or are the file manager's. Safe on any thread, as far as the file manager
// is; neither a display nor a QGuiApplication is needed.
class QWImageImporter final {
public:
    QWImageImporter() = delete;

    // Replaces the file by the image, in one step. URLs are those of files. A caller who does not want to
    // know ignores the result.
    static bool writeImageData(QWFileManager& files, const QByteArray& data, const QUrl& url,
                               QWError* error = nullptr);
    static bool copyImageDataFromURL(QWFileManager& files, const QUrl& source, const QUrl& destination,
                                     QWError* error = nullptr);

    // What `writeImageData` would write; empty when it would fail.
    static QByteArray jpegFromImageData(const QByteArray& data, QWError* error = nullptr);
};
