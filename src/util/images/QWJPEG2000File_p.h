#pragma once

#include <QByteArray>
#include <QImage>

// The image as a JPEG 2000 file (JP2), without loss: RGBA when it has an alpha channel, grey when all of it
// is grey, else RGB; of 16 bits when the image has more than 8. Its colours are taken as those of sRGB.
// Empty, and `failure` says why, when the image is null or the encoder refuses it.
QByteArray jpeg2000FileOfImage(const QImage& image, QString* failure);
