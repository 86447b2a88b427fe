#include "util/images/CIImage_ChangeImageRatio.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

// Each pixel says where it stood.
QImage coordinates(int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, 0xff000000u | QRgb(x << 12 | y));
    return image;
}

// The rectangle that a crop of such an image came from.
QRect origin(const QImage& crop) {
    const QRgb first = crop.pixel(0, 0) & 0xffffff;
    const QRect rectangle(int(first >> 12), int(first & 0xfff), crop.width(), crop.height());
    EXPECT_EQ(crop.pixel(crop.width() - 1, crop.height() - 1) & 0xffffff,
              QRgb(rectangle.right() << 12 | rectangle.bottom()));
    return rectangle;
}

struct Crop {
    QSize image;
    double ratio;
    QSizeF extent;
    QRect taken;
};

void PrintTo(const Crop& crop, std::ostream* out) {
    *out << crop.image.width() << " x " << crop.image.height() << " to " << crop.ratio;
}

class CropToRatio : public testing::TestWithParam<Crop> {};

TEST_P(CropToRatio, Takes_the_middle_and_keeps_one_full_side) {
    const QImage image = coordinates(GetParam().image.width(), GetParam().image.height());
    EXPECT_EQ(resizedExtentWithRatio(image, GetParam().ratio), GetParam().extent);
    EXPECT_EQ(origin(imageByCroppingToRatio(image, GetParam().ratio)), GetParam().taken);
}

INSTANTIATE_TEST_SUITE_P(
    Table, CropToRatio,
    testing::Values(Crop{{400, 300}, 1, {300, 300}, {50, 0, 300, 300}},
                    Crop{{300, 400}, 1.5, {300, 200}, {0, 100, 300, 200}},
                    Crop{{300, 300}, 1, {300, 300}, {0, 0, 300, 300}},
                    Crop{{400, 200}, 2, {400, 200}, {0, 0, 400, 200}},
                    Crop{{401, 300}, 1, {300, 300}, {50, 0, 300, 300}}, // from x = 50.5
                    Crop{{300, 401}, 1, {300, 300}, {0, 51, 300, 300}}, // from 50.5 above the bottom
                    Crop{{100, 75}, 1.6, {100, 62.5}, {0, 6, 100, 63}}, // from 6.25 above the bottom
                    Crop{{75, 100}, 0.625, {62.5, 100}, {6, 0, 63, 100}},
                    Crop{{400, 300}, 1000, {400, 0.4}, {0, 150, 400, 1}},
                    Crop{{400, 300}, 0.001, {0.3, 300}, {199, 0, 1, 300}},
                    Crop{{1, 1}, 3, {1, 1 / 3.0}, {0, 0, 1, 1}}));

class NoRatio : public testing::TestWithParam<double> {};

TEST_P(NoRatio, Leaves_the_image_untouched) {
    const QImage image = coordinates(40, 30);
    EXPECT_EQ(imageByCroppingToRatio(image, GetParam()).cacheKey(), image.cacheKey());
}

INSTANTIATE_TEST_SUITE_P(Table, NoRatio,
                         testing::Values(0.0, -0.0, -1.5, std::numeric_limits<double>::quiet_NaN()));

TEST(ImageCrop, To_a_size_takes_the_middle_whatever_the_ratio) {
    EXPECT_EQ(origin(imageByCroppingToSize(coordinates(40, 30), {20, 10})), QRect(10, 10, 20, 10));
}

TEST(ImageCrop, To_a_longer_side_takes_all_of_the_side_and_pads_nothing) {
    EXPECT_EQ(origin(imageByCroppingToSize(coordinates(40, 30), {60, 10})), QRect(0, 10, 40, 10));
    EXPECT_EQ(origin(imageByCroppingToSize(coordinates(40, 30), {1e300, 1e300})), QRect(0, 0, 40, 30));
}

TEST(ImageCrop, Is_placed_as_if_the_image_began_at_its_origin) {
    QImage image = coordinates(40, 30);
    image.setOffset({100, 100});
    EXPECT_EQ(origin(imageByCroppingToSize(image, {20, 10})), QRect(10, 10, 20, 10));
}

TEST(ImageCrop, To_no_area_or_of_no_image_is_null) {
    const QImage image = coordinates(40, 30);
    EXPECT_TRUE(imageByCroppingToSize(image, {0, 10}).isNull());
    EXPECT_TRUE(imageByCroppingToSize(image, {10, -1}).isNull());
    EXPECT_TRUE(imageByCroppingToSize(image, {std::numeric_limits<double>::quiet_NaN(), 1}).isNull());
    EXPECT_TRUE(imageByCroppingToRatio(image, std::numeric_limits<double>::infinity()).isNull());
    EXPECT_TRUE(imageByCroppingToSize({}, {10, 10}).isNull());
    EXPECT_TRUE(imageByCroppingToRatio({}, 1).isNull());
}

} // namespace
