#include "support/Images.h"
#include "util/images/QWImageImporter.h"

#include <QtEndian>

namespace {

// Files of layouts that Qt does not write: left half red, right half blue, 40 × 30 pixels.

QByteArray jpegWithFillingBeforeItsEnd() {
    const QByteArray jpeg = images::inFormat(images::twoHalves(), "jpeg");
    return jpeg.chopped(2) + "\xff\xff\xff\xd9";
}

constexpr int gifHeader = 13, gifColours = 3 * 128;

QByteArray gifWithTwoExtensions() {
    return images::gif(images::twoHalves())
        .insert(gifHeader + gifColours, QByteArray("\x21\xfe\2\x2c;\0"     // a remark
                                                   "\x21\xf9\4\0\0\0\0\0", // the settings of a picture
                                                   14));
}

QByteArray gifWithColoursOfThePicture() {
    QByteArray gif = images::gif(images::twoHalves());
    constexpr int descriptor = 10;
    const QByteArray colours = gif.mid(gifHeader, gifColours);
    gif[10] = '\0'; // none for the whole file
    gif[gifHeader + gifColours + descriptor - 1] = char(0x86);
    return gif.insert(gifHeader + gifColours + descriptor, colours).remove(gifHeader, gifColours);
}

constexpr int bmpHeader = 54, bmpHeight = 22;

QByteArray bmpFromTheTop() {
    QByteArray bmp = images::inFormat(images::twoHalves(), "bmp");
    qToLittleEndian(-30, bmp.data() + bmpHeight);
    return bmp;
}

QByteArray bmpWithOldHeader() {
    QByteArray bmp("BM\0\0\0\0\0\0\0\0\x1a\0\0\0\x0c\0\0\0", 18);
    for (const int number : {40, 30, 1, 24})
        images::append16(bmp, number);
    return bmp + images::inFormat(images::twoHalves(), "bmp").mid(bmpHeader);
}

QByteArray bmpOfRuns() {
    constexpr int runs = 30 * 6 + 2;
    QByteArray bmp("BM\0\0\0\0\0\0\0\0\x3e\0\0\0\x28\0\0\0\x28\0\0\0\x1e\0\0\0\1\0\x08\0\1\0\0\0", 34);
    images::append16(bmp, runs);
    bmp.append(10, '\0').append("\2\0\0\0\0\0\0\0", 8); // two colours, blue first in each
    bmp.append("\0\0\xff\0\xff\0\0\0", 8);
    for (int row = 0; row < 30; ++row)
        bmp.append("\x14\0\x14\1\0\0", 6);
    return bmp.append("\0\1", 2);
}

struct Layout {
    const char* name;
    QByteArray (*file)();
};

void PrintTo(const Layout& layout, std::ostream* out) {
    *out << layout.name;
}

class ImageLayout : public testing::TestWithParam<Layout> {};

TEST_P(ImageLayout, Is_imported_whole_and_refused_without_its_end) {
    const QByteArray file = GetParam().file();
    QWError error;
    const QImage image = QImage::fromData(QWImageImporter::jpegFromImageData(file, &error));
    ASSERT_EQ(image.size(), QSize(40, 30)) << error.message.toStdString();
    EXPECT_GT(image.pixelColor(5, 2).red(), 240);
    EXPECT_GT(image.pixelColor(35, 27).blue(), 240);

    for (qsizetype length = 0; length < file.size() * 19 / 20; ++length)
        EXPECT_TRUE(QWImageImporter::jpegFromImageData(file.left(length)).isEmpty())
            << length << " of " << file.size();
}

INSTANTIATE_TEST_SUITE_P(Table, ImageLayout,
                         testing::Values(Layout{"JPEG, filling before its end", jpegWithFillingBeforeItsEnd},
                                         Layout{"GIF, two extensions", gifWithTwoExtensions},
                                         Layout{"GIF, colours of the picture", gifWithColoursOfThePicture},
                                         Layout{"BMP, first row at the top", bmpFromTheTop},
                                         Layout{"BMP, old header", bmpWithOldHeader},
                                         Layout{"BMP, runs of pixels", bmpOfRuns}));

} // namespace
