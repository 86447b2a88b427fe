#pragma once

#include <QByteArray>
#include <QImage>

// The image as a GIF file. Up to 256 colours are exact, more are dithered. A pixel is transparent when it is
// more so than not, and opaque otherwise. Its colours are taken as those of sRGB.
// Empty, and `failure` says why, when the image is null, or when a side is longer than the format's 65,535
// pixels.
QByteArray gifFileOfImage(const QImage& image, QString* failure);
