#include "support/Images.h"
#include "util/images/QWImageImporter.h"

#include <QFile>
#include <QImageReader>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;

struct ImageImporter : testing::Test {
    // A destination with bytes in it, so that a failure that touches it is seen.
    ImageImporter() {
        EXPECT_TRUE(files.write(path("kept"), "kept"));
        QImageReader::setAllocationLimit(128); // whatever this Qt begins with
    }
    ~ImageImporter() override { QImageReader::setAllocationLimit(limitBefore); }

    QString path(const QString& name) const { return folder.filePath(name); }
    QUrl url(const QString& name) const { return QUrl::fromLocalFile(path(name)); }
    QStringList names() const { return QDir(folder.path()).entryList(QDir::Files, QDir::Name); }

    bool import(const QByteArray& data) {
        return QWImageImporter::writeImageData(files, data, url("kept"), &error);
    }
    // What stands at the destination; null unless it is a JPEG file.
    QImage imported() const {
        QImageReader reader(path("kept"), "jpeg");
        reader.setDecideFormatFromContent(false);
        return reader.read();
    }
    testing::AssertionResult isRefused(const QByteArray& data) {
        error = {};
        if (import(data))
            return testing::AssertionFailure() << data.size() << " bytes were imported";
        if (error.domain != "images" || error.message.isEmpty())
            return testing::AssertionFailure() << "error: " << error.domain.toStdString();
        if (files.read(path("kept")) != "kept" || names() != QStringList{"kept"})
            return testing::AssertionFailure() << "the destination has changed";
        return testing::AssertionSuccess();
    }

    const int limitBefore = QImageReader::allocationLimit();
    QTemporaryDir folder;
    QWSystemFileManager files;
    QWError error;
};

bool isLike(const QColor& left, const QColor& right) {
    constexpr int lost = 12; // by the encoding
    return std::abs(left.red() - right.red()) <= lost && std::abs(left.green() - right.green()) <= lost
           && std::abs(left.blue() - right.blue()) <= lost;
}

const auto formats = testing::Values("png", "jpeg", "gif", "bmp", "tiff", "webp");

class OfFormat : public ImageImporter, public testing::WithParamInterface<const char*> {
protected:
    QByteArray bytes() const { return images::inFormat(images::twoHalves(), GetParam()); }
};

TEST_P(OfFormat, Becomes_a_JPEG_file_whatever_its_name) {
    EXPECT_TRUE(import(bytes())) << error.message.toStdString();
    const QImage image = imported();
    ASSERT_EQ(image.size(), QSize(40, 30));
    EXPECT_TRUE(isLike(image.pixelColor(5, 15), Qt::red)) << image.pixelColor(5, 15).name().toStdString();
    EXPECT_TRUE(isLike(image.pixelColor(35, 15), Qt::blue)) << image.pixelColor(35, 15).name().toStdString();
    EXPECT_EQ(names(), QStringList{"kept"});
}

TEST_P(OfFormat, Is_copied_from_file_to_file) {
    ASSERT_TRUE(files.write(path("source"), bytes()));
    EXPECT_TRUE(QWImageImporter::copyImageDataFromURL(files, url("source"), url("new.png")));
    EXPECT_EQ(files.read(path("new.png")), QWImageImporter::jpegFromImageData(bytes()));
    EXPECT_EQ(files.read(path("source")), bytes());
}

TEST_P(OfFormat, Is_refused_when_its_end_is_missing) {
    const QByteArray whole = bytes();
    const qsizetype step = qMax(qsizetype(1), whole.size() / 60);
    for (qsizetype length = 0; length < whole.size() * 19 / 20; length += step)
        EXPECT_TRUE(isRefused(whole.left(length))) << length << " of " << whole.size();
}

TEST_P(OfFormat, With_any_byte_damaged_is_imported_whole_or_refused) {
    const QByteArray whole = bytes();
    QRandomGenerator random(1);
    for (int round = 0; round < 150; ++round) {
        QByteArray damaged = whole;
        for (int count = random.bounded(1, 4); count > 0; --count)
            damaged[random.bounded(int(damaged.size()))] = char(random.bounded(256));
        ASSERT_TRUE(files.write(path("kept"), "kept"));
        if (import(damaged))
            EXPECT_FALSE(imported().isNull());
        else
            EXPECT_EQ(files.read(path("kept")), "kept");
    }
}

INSTANTIATE_TEST_SUITE_P(Format, OfFormat, formats);

class Bomb : public ImageImporter, public testing::WithParamInterface<const char*> {};

TEST_P(Bomb, Is_refused_by_the_size_that_it_claims) {
    const QByteArray bytes = images::inFormat(images::twoHalves(), GetParam());
    EXPECT_TRUE(isRefused(images::claimingSize(bytes, GetParam(), 60000)));
}

INSTANTIATE_TEST_SUITE_P(Format, Bomb, testing::Values("png", "jpeg", "gif", "bmp"));

TEST_F(ImageImporter, Counts_four_bytes_for_each_pixel_even_where_the_file_has_a_bit) {
    const QByteArray bytes = images::encoded(images::twoHalves().convertToFormat(QImage::Format_Mono), "png");
    EXPECT_TRUE(isRefused(images::claimingSize(bytes, "png", 6000))); // 4.5 MB of bits, 144 of pixels
    EXPECT_THAT(error.message.toStdString(), HasSubstr("6000 × 6000"));
}

TEST_F(ImageImporter, Keeps_to_the_limit_that_the_process_has) {
    const QByteArray bytes = images::encoded(images::twoHalves(Qt::red, Qt::blue, {600, 600}), "png");
    QImageReader::setAllocationLimit(1);
    EXPECT_TRUE(isRefused(bytes));
    QImageReader::setAllocationLimit(2);
    EXPECT_TRUE(import(bytes)) << error.message.toStdString();
    QImageReader::setAllocationLimit(0);
    EXPECT_TRUE(import(bytes)) << error.message.toStdString();
}

class NoImage : public ImageImporter, public testing::WithParamInterface<QByteArray> {};

TEST_P(NoImage, Is_refused) {
    EXPECT_TRUE(isRefused(GetParam()));
    EXPECT_TRUE(QWImageImporter::jpegFromImageData(GetParam()).isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Table, NoImage,
                         testing::Values(QByteArray(), QByteArray("hello"), QByteArray(1000, '\0'),
                                         QByteArray(1000, '\xff'), QByteArray("\xff\xd8"),
                                         QByteArray("GIF89a"), QByteArray("BM"),
                                         QByteArray("\x89PNG\r\n\x1a\n"),
                                         QByteArray("RIFF\x10\0\0\0WEBP", 12), QByteArray("II*\0", 4)));

TEST_F(ImageImporter, Refuses_noise) {
    QRandomGenerator random(1);
    for (int round = 0; round < 500; ++round) {
        QByteArray noise(random.bounded(2000), '\0');
        for (char& byte : noise)
            byte = char(random.bounded(256));
        EXPECT_TRUE(isRefused(noise));
    }
}

class Transparent : public ImageImporter, public testing::WithParamInterface<const char*> {};

TEST_P(Transparent, Becomes_white) {
    EXPECT_TRUE(import(images::inFormat(images::twoHalves(Qt::transparent, Qt::blue), GetParam())));
    EXPECT_TRUE(isLike(imported().pixelColor(5, 15), Qt::white));
    EXPECT_TRUE(isLike(imported().pixelColor(35, 15), Qt::blue));
}

INSTANTIATE_TEST_SUITE_P(Format, Transparent, testing::Values("png", "tiff", "webp"));

// Other programs write the directory of a TIFF file before its pixels, so that what is cut off are pixels
// alone.
TEST_F(ImageImporter, Misses_the_pixels_of_a_TIFF_file_that_begins_with_its_directory) {
    constexpr int side = 64, pixels = 8 + 2 + 9 * 12 + 4;
    QByteArray tiff("II\x2a\0\x08\0\0\0\x09\0", 10);
    for (const auto& [tag, value] : {std::pair(256, side),
                                     {257, side},
                                     {258, 8},
                                     {259, 1},
                                     {262, 1},
                                     {273, pixels},
                                     {277, 1},
                                     {278, side},
                                     {279, side * side}}) {
        images::append16(tiff, tag);
        tiff.append("\x04\0\x01\0\0\0", 6);
        images::append16(tiff, value);
        tiff.append("\0\0", 2);
    }
    tiff.append(4, '\0').append(side * side, '\x80');
    EXPECT_TRUE(isRefused(tiff.left(pixels + side)));
    EXPECT_TRUE(isRefused(tiff.chopped(1)));
    EXPECT_TRUE(import(tiff)) << error.message.toStdString();
    EXPECT_TRUE(isLike(imported().pixelColor(63, 63), QColor(128, 128, 128)));
}

TEST_F(ImageImporter, Turns_a_photograph_the_way_its_camera_says) {
    const QByteArray jpeg = images::inFormat(images::twoHalves(), "jpeg");
    EXPECT_TRUE(import(images::withOrientation(jpeg, 6)));
    QImage image = imported();
    ASSERT_EQ(image.size(), QSize(30, 40));
    EXPECT_TRUE(isLike(image.pixelColor(15, 5), Qt::red));
    EXPECT_TRUE(isLike(image.pixelColor(15, 35), Qt::blue));
    // Once: the file says nothing of an orientation any more.
    EXPECT_TRUE(import(*files.read(path("kept"))));
    EXPECT_EQ(imported().size(), QSize(30, 40));

    EXPECT_TRUE(import(images::withOrientation(jpeg, 1)));
    EXPECT_EQ(imported().size(), QSize(40, 30));
}

TEST_F(ImageImporter, Does_not_take_the_end_of_a_thumbnail_for_that_of_the_photograph) {
    const QByteArray jpeg =
        images::withCameraSegment(images::inFormat(images::twoHalves(), "jpeg"), "thumbnail\xff\xd9");
    EXPECT_TRUE(isRefused(jpeg.left(jpeg.size() - 2)));
    EXPECT_EQ(error.message, "not an image that can be read: its end is missing");
    EXPECT_TRUE(import(jpeg)) << error.message.toStdString();
}

TEST_F(ImageImporter, Takes_the_first_picture_of_an_animation_even_when_the_second_is_missing) {
    const QByteArray gif = images::gif(images::twoHalves());
    EXPECT_TRUE(import(gif.left(gif.size() - 1) + "\x2c and no more"));
    EXPECT_EQ(imported().size(), QSize(40, 30));
}

TEST_F(ImageImporter, Reads_a_missing_source_as_no_image_and_makes_no_file) {
    EXPECT_FALSE(QWImageImporter::copyImageDataFromURL(files, url("missing"), url("new"), &error));
    EXPECT_EQ(error.domain, "files");
    EXPECT_EQ(names(), QStringList{"kept"});
    EXPECT_FALSE(QWImageImporter::copyImageDataFromURL(files, url("missing"), url("kept")));
    EXPECT_EQ(files.read(path("kept")), "kept");
}

TEST_F(ImageImporter, Leaves_a_refused_source_and_the_destination_as_they_were) {
    ASSERT_TRUE(files.write(path("notes.txt"), "no image"));
    EXPECT_FALSE(QWImageImporter::copyImageDataFromURL(files, url("notes.txt"), url("kept"), &error));
    EXPECT_FALSE(QWImageImporter::copyImageDataFromURL(files, url("notes.txt"), url("new")));
    EXPECT_EQ(files.read(path("kept")), "kept");
    EXPECT_EQ(names(), (QStringList{"kept", "notes.txt"}));
}

TEST_F(ImageImporter, Puts_a_new_file_in_the_place_of_the_old_one) {
    QFile reader(path("kept"));
    ASSERT_TRUE(reader.open(QIODevice::ReadOnly));
    EXPECT_TRUE(import(images::inFormat(images::twoHalves(), "png")));
    EXPECT_EQ(reader.readAll(), "kept"); // who reads the old file reads on in it
    EXPECT_EQ(imported().size(), QSize(40, 30));
}

TEST_F(ImageImporter, Reports_a_write_that_fails) {
    const QByteArray png = images::inFormat(images::twoHalves(), "png");
    EXPECT_FALSE(QWImageImporter::writeImageData(files, png, url("no folder/flag"), &error));
    EXPECT_EQ(error.domain, "files");
    EXPECT_EQ(names(), QStringList{"kept"});
}

TEST_F(ImageImporter, Refuses_an_image_that_JPEG_has_no_room_for) {
    EXPECT_TRUE(isRefused(images::encoded(images::twoHalves(Qt::red, Qt::blue, {70000, 1}), "png")));
}

} // namespace
