#pragma once

#include <QImage>
#include <QSizeF>

// Crops around the middle of an image. Sizes are in pixels, a ratio is width divided by height. Safe on any
// thread; neither a display nor a QGuiApplication is needed.

// The largest size of that ratio that fits inside the image: it keeps one full side. It may have fractions.
QSizeF resizedExtentWithRatio(const QImage& image, double ratio);

// The image cropped to `resizedExtentWithRatio`; untouched when the ratio is 0, less, or no number.
QImage imageByCroppingToRatio(const QImage& image, double ratio);

// The middle of the image in that size, as if it began at (0, 0): `QImage::offset` is not consulted. A side
// longer than the image's takes all of it, so nothing is padded. A null image when the size has no area.
//
// Pixels are whole: each side is rounded, to one pixel at least, and what is odd is left over at the right
// and at the top. So 300 × 300 out of 401 × 300 begin at x = 50, and out of 300 × 401 at y = 51 from the top.
QImage imageByCroppingToSize(const QImage& image, const QSizeF& size);
