#pragma once

#include <QImage>
#include <QRandomGenerator>

namespace images {

// Each pixel one of `colours` at random, so that few runs of pixels come twice.
inline QImage noise(int width, int height, int colours) {
    QRandomGenerator random(1);
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, 0xff000000u | (QRgb(random.bounded(colours)) * 0x010305u & 0xffffffu));
    return image;
}

} // namespace images
