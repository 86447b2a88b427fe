#include "util/images/CIImage_RepresentationWithFileType.h"

#include "support/Images.h"
#include "support/Noise.h"
#include "testing/QWLogCapture.h"

namespace {

using images::noise;

// What a GIF file of the image shows.
QImage throughGIF(const QImage& image) {
    return QImage::fromData(representationUsingType(image, NSGIFFileType), "gif");
}

struct Noise {
    QSize size;
    int colours;
};

void PrintTo(const Noise& noise, std::ostream* out) {
    *out << noise.colours << " colours, " << noise.size.width() << " x " << noise.size.height();
}

class GIF : public testing::TestWithParam<Noise> {};

// The large ones fill the table of runs several times.
TEST_P(GIF, Keeps_up_to_256_colours_exactly) {
    const QImage image = noise(GetParam().size.width(), GetParam().size.height(), GetParam().colours);
    EXPECT_EQ(throughGIF(image).convertToFormat(QImage::Format_RGB32), image);
}

INSTANTIATE_TEST_SUITE_P(Table, GIF,
                         testing::Values(Noise{{1, 1}, 1}, Noise{{300, 200}, 1}, Noise{{300, 200}, 2},
                                         Noise{{300, 200}, 16}, Noise{{300, 200}, 255},
                                         Noise{{200, 300}, 256}, Noise{{65535, 1}, 256},
                                         Noise{{1, 65535}, 3}));

// Whatever the width of the codes is at the end.
TEST(GIFFile, Is_whole_at_every_length) {
    for (int width = 1; width < 1200; ++width) {
        const QImage image = noise(width, 1, 256);
        ASSERT_EQ(throughGIF(image).convertToFormat(QImage::Format_RGB32), image) << width;
    }
    const QImage large = noise(4200, 1, 256);
    for (int width = 3700; width < 4200; ++width) {
        const QImage image = large.copy(0, 0, width, 1);
        ASSERT_EQ(throughGIF(image).convertToFormat(QImage::Format_RGB32), image) << width;
    }
}

// Qt would do without the last of them.
TEST(GIFFile, Has_the_codes_of_a_pixel_between_those_of_begin_and_end) {
    EXPECT_TRUE(representationUsingType(noise(1, 1, 1), NSGIFFileType)
                    .endsWith(QByteArray("\x02\x02\x44\x01\x00;", 6)));
}

TEST(GIFFile, Is_small_where_pixels_repeat) {
    EXPECT_LT(representationUsingType(noise(1000, 1000, 1), NSGIFFileType).size(), 5000);
}

TEST(GIFFile, Dithers_more_colours) {
    QImage image(256, 256, QImage::Format_RGB32);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x)
            image.setPixel(x, y, qRgb(x, y, 128));
    const QImage shown = throughGIF(image);
    ASSERT_EQ(shown.size(), image.size());
    const auto mean = [](const QImage& of) {
        return of.scaled(4, 4, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    };
    const QImage wanted = mean(image), found = mean(shown.convertToFormat(QImage::Format_RGB32));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            EXPECT_NEAR(qRed(found.pixel(x, y)), qRed(wanted.pixel(x, y)), 8);
            EXPECT_NEAR(qGreen(found.pixel(x, y)), qGreen(wanted.pixel(x, y)), 8);
            EXPECT_NEAR(qBlue(found.pixel(x, y)), qBlue(wanted.pixel(x, y)), 8);
        }
}

class TransparentGIF : public testing::TestWithParam<int> {};

TEST_P(TransparentGIF, Is_transparent_where_the_image_is_more_so_than_not) {
    QImage image = noise(300, 200, GetParam()).convertToFormat(QImage::Format_ARGB32);
    image.setPixel(0, 0, 0);
    image.setPixel(1, 0, qRgba(255, 0, 0, 127));
    image.setPixel(2, 0, qRgba(255, 0, 0, 128));
    const QImage shown = throughGIF(image).convertToFormat(QImage::Format_ARGB32);
    ASSERT_EQ(shown.size(), image.size());
    EXPECT_EQ(qAlpha(shown.pixel(0, 0)), 0);
    EXPECT_EQ(qAlpha(shown.pixel(1, 0)), 0);
    EXPECT_EQ(shown.pixel(2, 0), qRgb(255, 0, 0));
    for (int y = 1; y < 200; ++y)
        for (int x = 0; x < 300; ++x)
            ASSERT_EQ(qAlpha(shown.pixel(x, y)), 255) << x << ", " << y;
}

// Also where the colours leave no room for one that is transparent.
INSTANTIATE_TEST_SUITE_P(Colours, TransparentGIF, testing::Values(2, 253, 254, 255, 256));

TEST(GIFFile, Has_no_room_for_a_longer_side) {
    const QWLogCapture log;
    EXPECT_TRUE(representationUsingType(noise(65536, 1, 2), NSGIFFileType).isEmpty());
    EXPECT_TRUE(representationUsingType(noise(1, 65536, 2), NSGIFFileType).isEmpty());
    EXPECT_EQ(log.texts("qwlibrary.util").size(), 2);
}

} // namespace
