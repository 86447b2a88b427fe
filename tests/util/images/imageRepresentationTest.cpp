#include "support/Images.h"
#include "testing/QWLogCapture.h"
#include "util/images/CIImage_RepresentationWithFileType.h"

#include <QColorSpace>
#include <QImageReader>

namespace {

struct Type {
    unsigned number;
    const char* format; // as Qt names it
};

void PrintTo(const Type& type, std::ostream* out) {
    *out << type.number << ' ' << type.format;
}

QByteArray formatOf(QByteArray bytes) {
    QBuffer device(&bytes);
    device.open(QIODevice::ReadOnly);
    return QImageReader::imageFormat(&device);
}

class FileType : public testing::TestWithParam<Type> {};

TEST_P(FileType, Is_what_the_image_is_encoded_as) {
    const QByteArray bytes = representationUsingType(images::twoHalves(), GetParam().number);
    EXPECT_EQ(formatOf(bytes), GetParam().format);
    EXPECT_EQ(QImage::fromData(bytes).size(), QSize(40, 30));
}

INSTANTIATE_TEST_SUITE_P(Written, FileType,
                         testing::Values(Type{NSTIFFFileType, "tiff"}, Type{NSBMPFileType, "bmp"},
                                         Type{NSGIFFileType, "gif"}, Type{NSJPEGFileType, "jpeg"},
                                         Type{NSPNGFileType, "png"}));

TEST(FileTypes, Have_the_platforms_numbers) {
    EXPECT_EQ((std::vector<unsigned>{NSTIFFFileType, NSBMPFileType, NSGIFFileType, NSJPEGFileType,
                                     NSPNGFileType, NSJPEG2000FileType}),
              (std::vector<unsigned>{0, 1, 2, 3, 4, 5}));
}

TEST(Representation, Of_a_type_that_there_is_not_is_logged_and_empty) {
    const QWLogCapture log;
    EXPECT_TRUE(representationUsingType(images::twoHalves(), 6).isEmpty());
    EXPECT_EQ(log.texts("qwlibrary.util"), QStringList{"representationUsingType: there is no file type 6"});
}

TEST(Representation, Of_no_image_is_logged_and_empty) {
    for (unsigned type = NSTIFFFileType; type <= NSJPEG2000FileType; ++type) {
        const QWLogCapture log;
        EXPECT_TRUE(representationUsingType({}, type).isEmpty()) << type;
        EXPECT_EQ(log.texts("qwlibrary.util").size(), 1) << type;
    }
}

TEST(Representation, As_JPEG_has_quality_90) {
    const QImage image = images::twoHalves().convertToFormat(QImage::Format_RGB32);
    EXPECT_EQ(representationUsingType(image, NSJPEGFileType), images::encoded(image, "jpeg", 90));
}

TEST(Representation, Lays_transparency_on_white_where_the_type_has_none) {
    const QImage image = images::twoHalves(Qt::transparent, QColor(255, 0, 0, 128));
    for (const unsigned type : {NSBMPFileType, NSJPEGFileType}) {
        const QImage written = QImage::fromData(representationUsingType(image, type));
        EXPECT_GT(qGray(written.pixel(5, 15)), 250) << type;
        EXPECT_NEAR(qGreen(written.pixel(35, 15)), 127, 6) << type;
        EXPECT_GT(qRed(written.pixel(35, 15)), 250) << type;
    }
    for (const unsigned type : {NSTIFFFileType, NSPNGFileType})
        EXPECT_EQ(QImage::fromData(representationUsingType(image, type)).pixelColor(5, 15).alpha(), 0)
            << type;
}

TEST(Representation, Has_the_colours_of_sRGB_where_the_type_has_no_profile) {
    const QImage plain = images::twoHalves(qRgb(200, 100, 50), Qt::blue);
    QImage image = plain;
    image.setColorSpace(QColorSpace::AdobeRgb);
    const QImage converted = image.convertedToColorSpace(QColorSpace::SRgb);
    for (const unsigned type : {NSGIFFileType, NSJPEG2000FileType}) {
        EXPECT_EQ(representationUsingType(image, type), representationUsingType(converted, type));
        EXPECT_NE(representationUsingType(image, type), representationUsingType(plain, type));
    }
}

TEST(Representation, Keeps_colour_space_and_resolution_when_it_lays_on_white) {
    QImage image = images::twoHalves(Qt::transparent, Qt::red);
    image.setColorSpace(QColorSpace::DisplayP3);
    image.setDotsPerMeterX(3937);
    image.setDotsPerMeterY(7874);
    const QImage written = QImage::fromData(representationUsingType(image, NSJPEGFileType));
    EXPECT_EQ(written.colorSpace().primaries(), QColorSpace::Primaries::DciP3D65);
    EXPECT_EQ(written.dotsPerMeterX(), 3937);
    EXPECT_EQ(written.dotsPerMeterY(), 7874);
}

} // namespace
