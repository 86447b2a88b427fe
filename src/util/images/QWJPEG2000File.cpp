#include "util/images/QWJPEG2000File_p.h"

#include <QBuffer>
#include <QRgba64>
#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <openjpeg.h>

namespace {

template <auto destroy>
struct DestroyBy {
    void operator()(auto* object) const { destroy(object); }
};
using Codec = std::unique_ptr<opj_codec_t, DestroyBy<opj_destroy_codec>>;
using Picture = std::unique_ptr<opj_image_t, DestroyBy<opj_image_destroy>>;
using Stream = std::unique_ptr<opj_stream_t, DestroyBy<opj_stream_destroy>>;

bool isDeep(const QImage& image) {
    return image.format() == QImage::Format_Grayscale16 || image.pixelFormat().redSize() > 8;
}

Picture pictureOf(const QImage& image) {
    const auto width = unsigned(image.width()), height = unsigned(image.height());
    const bool isGrey = !image.hasAlphaChannel() && image.isGrayscale();
    const unsigned channels = isGrey ? 1 : image.hasAlphaChannel() ? 4 : 3, bits = isDeep(image) ? 16 : 8;

    opj_image_cmptparm_t layout = {};
    layout.dx = layout.dy = 1;
    layout.w = width;
    layout.h = height;
    layout.prec = bits;
    std::array<opj_image_cmptparm_t, 4> layouts;
    layouts.fill(layout);
    Picture picture(opj_image_create(channels, layouts.data(), isGrey ? OPJ_CLRSPC_GRAY : OPJ_CLRSPC_SRGB));
    if (!picture)
        return picture;
    picture->x1 = width;
    picture->y1 = height;
    if (image.hasAlphaChannel())
        picture->comps[3].alpha = 1; // not multiplied into the colours

    for (unsigned y = 0; y < height; ++y) {
        const QImage row = image.copy(0, int(y), int(width), 1).convertToFormat(QImage::Format_RGBA64);
        const auto* pixels = reinterpret_cast<const QRgba64*>(row.constScanLine(0));
        for (unsigned x = 0; x < width; ++x) {
            const QRgba64 pixel = pixels[x];
            const quint16 samples[] = {pixel.red(), pixel.green(), pixel.blue(), pixel.alpha()};
            for (unsigned channel = 0; channel < channels; ++channel)
                picture->comps[channel].data[size_t(y) * width + x] = samples[channel] >> (16 - bits);
        }
    }
    return picture;
}

opj_cparameters_t withoutLoss(const opj_image_t& picture) {
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.tcp_numlayers = 1;
    parameters.tcp_rates[0] = 0; // without loss
    parameters.cp_disto_alloc = 1;
    parameters.tcp_mct = picture.numcomps >= 3; // colours as brightness and differences, which are smaller
    // Each resolution halves the sides of the one before, down to a pixel.
    const int halvings = std::bit_width(std::min(picture.x1, picture.y1));
    parameters.numresolution = std::min(parameters.numresolution, halvings);
    return parameters;
}

Stream streamInto(QBuffer& bytes) {
    Stream stream(opj_stream_default_create(OPJ_FALSE));
    if (!stream)
        return stream;
    opj_stream_set_user_data(stream.get(), &bytes, nullptr);
    opj_stream_set_write_function(stream.get(), [](void* from, OPJ_SIZE_T count, void* to) {
        return OPJ_SIZE_T(static_cast<QBuffer*>(to)->write(static_cast<const char*>(from), qint64(count)));
    });
    opj_stream_set_skip_function(stream.get(), [](OPJ_OFF_T count, void* user) {
        auto* device = static_cast<QBuffer*>(user);
        return device->seek(device->pos() + count) ? count : OPJ_OFF_T(-1);
    });
    opj_stream_set_seek_function(stream.get(), [](OPJ_OFF_T position, void* user) {
        return OPJ_BOOL(static_cast<QBuffer*>(user)->seek(position));
    });
    return stream;
}

// The first of several messages names the cause.
void keepFirst(const char* message, void* failure) {
    if (auto* kept = static_cast<QString*>(failure); kept->isEmpty())
        *kept = QString::fromUtf8(message).trimmed();
}

} // namespace

QByteArray jpeg2000FileOfImage(const QImage& image, QString* failure) {
    if (image.isNull()) {
        *failure = QStringLiteral("no image");
        return {};
    }
    QBuffer bytes;
    bytes.open(QIODevice::WriteOnly);
    const Codec codec(opj_create_compress(OPJ_CODEC_JP2));
    const Picture picture = pictureOf(image);
    const Stream stream = streamInto(bytes);
    if (!codec || !picture || !stream) {
        *failure = QStringLiteral("not enough memory");
        return {};
    }
    opj_set_error_handler(codec.get(), keepFirst, failure);
    opj_cparameters_t parameters = withoutLoss(*picture);
    if (opj_setup_encoder(codec.get(), &parameters, picture.get())
        && opj_start_compress(codec.get(), picture.get(), stream.get())
        && opj_encode(codec.get(), stream.get()) && opj_end_compress(codec.get(), stream.get()))
        return bytes.data();
    keepFirst("the encoder refuses the image", failure);
    return {};
}
