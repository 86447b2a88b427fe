#include "views/QWCellImages_p.h"

#include <QImage>
#include <QPainter>

namespace {

constexpr qsizetype cacheKilobytes = 16 * 1024; // some 4,000 images for rows of 32 pixels

// A number for the picture, equal for all copies of it, unique among pictures of its type; 0 for none.
qint64 keyOf(const QVariant& picture) {
    switch (picture.typeId()) {
    case QMetaType::QImage:
        return qvariant_cast<QImage>(picture).cacheKey();
    case QMetaType::QPixmap:
        return qvariant_cast<QPixmap>(picture).cacheKey();
    case QMetaType::QIcon:
        return qvariant_cast<QIcon>(picture).cacheKey();
    default:
        return 0;
    }
}

// The picture in a size from which it scales well to that one: an icon chooses among those that it has.
QImage imageFor(const QVariant& picture, const QSize& pixels) {
    switch (picture.typeId()) {
    case QMetaType::QImage:
        return qvariant_cast<QImage>(picture);
    case QMetaType::QPixmap:
        return qvariant_cast<QPixmap>(picture).toImage();
    case QMetaType::QIcon: {
        const QIcon icon = qvariant_cast<QIcon>(picture);
        QSize chosen = pixels;
        for (const QSize& size : icon.availableSizes())
            if (size.width() >= pixels.width() && size.height() >= pixels.height()
                && (chosen == pixels || size.width() < chosen.width()))
                chosen = size;
        return icon.pixmap(chosen, 1).toImage();
    }
    default:
        return {};
    }
}

} // namespace

QWCellImages::QWCellImages() : scaled_(cacheKilobytes) {}

bool QWCellImages::isNull(const QVariant& picture) {
    if (picture.typeId() == QMetaType::QIcon)
        return qvariant_cast<QIcon>(picture).isNull(); // of a theme's icon that is missing too
    return keyOf(picture) == 0;
}

QIcon QWCellImages::icon(const QVariant& picture) {
    if (picture.typeId() == QMetaType::QImage)
        return QIcon(QPixmap::fromImage(qvariant_cast<QImage>(picture)));
    if (picture.typeId() == QMetaType::QPixmap)
        return QIcon(qvariant_cast<QPixmap>(picture));
    return qvariant_cast<QIcon>(picture);
}

QPixmap QWCellImages::pixmap(const QVariant& picture, const QSizeF& size, qreal devicePixelRatio,
                             const QColor& templateColor) {
    const QSize pixels = (size * devicePixelRatio).toSize();
    if (pixels.isEmpty())
        return {};
    const bool isTemplate = picture.typeId() == QMetaType::QIcon && qvariant_cast<QIcon>(picture).isMask();
    const Key key{picture.typeId(), keyOf(picture), pixels, isTemplate ? templateColor.rgba() : 0};
    if (const QPixmap* known = scaled_.object(key))
        return *known;

    QImage image = imageFor(picture, pixels);
    if (image.isNull())
        return {};
    image = image.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                .convertToFormat(QImage::Format_ARGB32_Premultiplied);
    if (isTemplate) {
        QPainter painter(&image);
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(image.rect(), templateColor);
    }
    image.setDevicePixelRatio(devicePixelRatio);
    const QPixmap pixmap = QPixmap::fromImage(std::move(image));
    scaled_.insert(key, new QPixmap(pixmap), qsizetype(pixels.width()) * pixels.height() * 4 / 1024 + 1);
    return pixmap;
}
