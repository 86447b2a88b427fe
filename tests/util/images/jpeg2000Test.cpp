#include "support/Images.h"
#include "support/Noise.h"
#include "util/images/CIImage_RepresentationWithFileType.h"

#include <openjpeg.h>
#include <span>

namespace {

// A JPEG 2000 file as its decoder finds it.
struct Decoded {
    QSize size;
    OPJ_COLOR_SPACE colours = OPJ_CLRSPC_UNKNOWN;
    unsigned bits = 0;
    std::vector<unsigned> alpha;            // of each channel: whether it is the opacity
    std::vector<std::vector<int>> channels; // the samples of each, row by row

    int at(size_t channel, int x, int y) const {
        return channels.at(channel).at(size_t(y) * size_t(size.width()) + size_t(x));
    }
};

Decoded decoded(QByteArray file) {
    QBuffer bytes(&file);
    bytes.open(QIODevice::ReadOnly);
    const std::unique_ptr<opj_stream_t, decltype(&opj_stream_destroy)> stream(
        opj_stream_default_create(OPJ_TRUE), opj_stream_destroy);
    opj_stream_set_user_data(stream.get(), &bytes, nullptr);
    opj_stream_set_user_data_length(stream.get(), quint64(file.size()));
    opj_stream_set_read_function(stream.get(), [](void* to, OPJ_SIZE_T count, void* from) {
        const qint64 got = static_cast<QBuffer*>(from)->read(static_cast<char*>(to), qint64(count));
        return got > 0 ? OPJ_SIZE_T(got) : OPJ_SIZE_T(-1);
    });
    opj_stream_set_skip_function(stream.get(), [](OPJ_OFF_T count, void* user) {
        return OPJ_OFF_T(static_cast<QBuffer*>(user)->skip(count));
    });
    opj_stream_set_seek_function(stream.get(), [](OPJ_OFF_T position, void* user) {
        return OPJ_BOOL(static_cast<QBuffer*>(user)->seek(position));
    });

    const std::unique_ptr<opj_codec_t, decltype(&opj_destroy_codec)> codec(
        opj_create_decompress(OPJ_CODEC_JP2), opj_destroy_codec);
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    opj_image_t* read = nullptr;
    const bool isWhole =
        opj_setup_decoder(codec.get(), &parameters) && opj_decoder_set_strict_mode(codec.get(), OPJ_TRUE)
        && opj_read_header(stream.get(), codec.get(), &read) && opj_decode(codec.get(), stream.get(), read)
        && opj_end_decompress(codec.get(), stream.get());
    const std::unique_ptr<opj_image_t, decltype(&opj_image_destroy)> image(read, opj_image_destroy);
    EXPECT_TRUE(isWhole);
    if (!isWhole)
        return {};
    Decoded result{QSize(int(image->x1), int(image->y1)), image->color_space, image->comps[0].prec, {}, {}};
    for (const opj_image_comp_t& channel : std::span(image->comps, image->numcomps)) {
        EXPECT_EQ(channel.prec, result.bits);
        result.alpha.push_back(channel.alpha);
        result.channels.emplace_back(channel.data, channel.data + size_t(channel.w) * channel.h);
    }
    return result;
}

Decoded throughJPEG2000(const QImage& image) {
    return decoded(representationUsingType(image, NSJPEG2000FileType));
}

using Samples = std::vector<int>;

Samples samplesAt(const Decoded& image, int x, int y) {
    Samples samples;
    for (size_t channel = 0; channel < image.channels.size(); ++channel)
        samples.push_back(image.at(channel, x, y));
    return samples;
}

class JPEG2000 : public testing::TestWithParam<QSize> {};

TEST_P(JPEG2000, Keeps_every_pixel) {
    const QImage image = images::noise(GetParam().width(), GetParam().height(), 1 << 24);
    const Decoded found = throughJPEG2000(image);
    ASSERT_EQ(found.size, image.size());
    EXPECT_EQ(found.colours, OPJ_CLRSPC_SRGB);
    EXPECT_EQ(found.bits, 8u);
    EXPECT_EQ(found.alpha, (std::vector<unsigned>{0, 0, 0}));
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            ASSERT_EQ(samplesAt(found, x, y), (Samples{qRed(pixel), qGreen(pixel), qBlue(pixel)}))
                << x << ", " << y;
        }
}

// Down to sides that cannot be halved.
INSTANTIATE_TEST_SUITE_P(Sizes, JPEG2000,
                         testing::Values(QSize(1, 1), QSize(2, 1), QSize(3, 5), QSize(1, 300),
                                         QSize(70000, 1), QSize(31, 32), QSize(33, 300), QSize(700, 500)));

TEST(JPEG2000File, Is_a_JP2_file) {
    EXPECT_TRUE(representationUsingType(images::twoHalves(), NSJPEG2000FileType)
                    .startsWith(QByteArray("\0\0\0\x0cjP  \r\n\x87\n", 12)));
}

TEST(JPEG2000File, Keeps_transparency) {
    QImage image = images::noise(50, 40, 1 << 24).convertToFormat(QImage::Format_ARGB32);
    image.setPixel(1, 0, qRgba(200, 100, 50, 0));
    image.setPixel(2, 0, qRgba(200, 100, 50, 127));
    const Decoded found = throughJPEG2000(image);
    EXPECT_EQ(found.alpha, (std::vector<unsigned>{0, 0, 0, 1}));
    EXPECT_EQ(samplesAt(found, 1, 0), (Samples{200, 100, 50, 0}));
    EXPECT_EQ(samplesAt(found, 2, 0), (Samples{200, 100, 50, 127}));
    EXPECT_EQ(found.at(3, 3, 0), 255);
}

TEST(JPEG2000File, Has_one_channel_where_the_image_is_grey) {
    QImage image(256, 2, QImage::Format_Grayscale8);
    for (int x = 0; x < 256; ++x)
        image.scanLine(0)[x] = image.scanLine(1)[255 - x] = uchar(x);
    for (const QImage& same : {image, image.convertToFormat(QImage::Format_RGB32)}) {
        const Decoded found = throughJPEG2000(same);
        EXPECT_EQ(found.colours, OPJ_CLRSPC_GRAY);
        EXPECT_EQ(found.alpha, (std::vector<unsigned>{0}));
        EXPECT_EQ(found.at(0, 77, 0), 77);
        EXPECT_EQ(found.at(0, 77, 1), 178);
    }
}

TEST(JPEG2000File, Has_16_bits_where_the_image_has_more_than_8) {
    QImage image(64, 64, QImage::Format_RGBA64);
    QRandomGenerator random(1);
    random.fillRange(reinterpret_cast<quint32*>(image.bits()), image.sizeInBytes() / 4);
    const Decoded found = throughJPEG2000(image);
    EXPECT_EQ(found.bits, 16u);
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x) {
            const QRgba64 pixel = reinterpret_cast<const QRgba64*>(image.constScanLine(y))[x];
            ASSERT_EQ(samplesAt(found, x, y),
                      (Samples{pixel.red(), pixel.green(), pixel.blue(), pixel.alpha()}));
        }

    QImage grey(2, 1, QImage::Format_Grayscale16);
    grey.fill(Qt::black);
    reinterpret_cast<quint16*>(grey.bits())[1] = 12345;
    const Decoded foundGrey = throughJPEG2000(grey);
    EXPECT_EQ(foundGrey.bits, 16u);
    EXPECT_EQ(foundGrey.channels, (std::vector<Samples>{{0, 12345}}));
}

TEST(JPEG2000File, Is_small_where_pixels_repeat) {
    EXPECT_LT(representationUsingType(images::noise(1000, 1000, 1), NSJPEG2000FileType).size(), 5000);
}

} // namespace
