#include "util/images/CIImage_ChangeImageRatio.h"

#include <algorithm>
#include <cmath>

namespace {

// Where the middle part of a side lies.
struct Span {
    int start = 0;
    int length = 0;
};

Span middle(int side, double wanted) {
    const double length = std::min(wanted, double(side));
    return {int(std::floor((side - length) * 0.5)), std::max(1, int(std::lround(length)))};
}

} // namespace

QSizeF resizedExtentWithRatio(const QImage& image, double ratio) {
    const double width = image.width(), height = image.height();
    if (width / height > ratio)
        return {ratio * height, height};
    return {width, width / ratio};
}

QImage imageByCroppingToRatio(const QImage& image, double ratio) {
    if (!(ratio > 0))
        return image;
    return imageByCroppingToSize(image, resizedExtentWithRatio(image, ratio));
}

QImage imageByCroppingToSize(const QImage& image, const QSizeF& size) {
    if (image.isNull() || !(size.width() > 0 && size.height() > 0))
        return {};
    const Span across = middle(image.width(), size.width());
    const Span upwards =
        middle(image.height(), size.height()); // the origin is at the bottom, as in the ratio's
    const int top = image.height() - upwards.start - upwards.length;
    return image.copy(across.start, top, across.length, upwards.length);
}
