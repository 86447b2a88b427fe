#pragma once

#include <QByteArray>
#include <QImage>

// The platform's numbers of bitmap file types.
enum NSBitmapImageFileType : unsigned {
    NSTIFFFileType = 0,
    NSBMPFileType = 1,
    NSGIFFileType = 2,
    NSJPEGFileType = 3,
    NSPNGFileType = 4,
    NSJPEG2000FileType = 5,
};

// The image encoded as one of them, with the default properties: JPEG in quality 90 of 100, which is close to
// what the platform writes and shows no blocks. JPEG and BMP have no transparency, so what is transparent is
// laid on white. GIF keeps up to 256 colours exactly and dithers more; its pixels are transparent or opaque.
// JPEG 2000 is a JP2 file without loss: grey, RGB or RGBA, of 8 bits, or of 16 for an image that has more.
// A GIF or JPEG 2000 file has no colour profile: the colours are converted to sRGB.
//
// Empty, with a log line (`qwlibrary.util`), for a null image, for another number, for a side that the type
// has no room for, and where this system has no writer: Qt writes TIFF only with its image format plugins
// (qt6-image-formats-plugins). Safe on any thread; neither a display nor a QGuiApplication is needed.
QByteArray representationUsingType(const QImage& image, unsigned fileType);
