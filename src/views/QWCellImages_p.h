#pragma once

#include <QCache>
#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QVariant>

// Pictures (QImage, QPixmap or QIcon, in a QVariant) in the sizes in which a cell draws them. A picture that
// was drawn lately is not scaled again.
class QWCellImages {
public:
    QWCellImages();

    // The picture stretched to that size, in pixels for a device of that ratio. A template (QIcon::isMask)
    // keeps only its shape, filled with the colour.
    QPixmap pixmap(const QVariant& picture, const QSizeF& size, qreal devicePixelRatio,
                   const QColor& templateColor);

    // Whether there is nothing to draw: a picture without pixels, or what is no picture.
    static bool isNull(const QVariant& picture);
    // The picture as an icon; a null one for what is no picture.
    static QIcon icon(const QVariant& picture);

private:
    struct Key {
        int type;
        qint64 picture;
        QSize pixels;
        QRgb fill;
        bool operator==(const Key&) const = default;
        friend size_t qHash(const Key& key, size_t seed) {
            return qHashMulti(seed, key.type, key.picture, key.pixels.width(), key.pixels.height(), key.fill);
        }
    };

    QCache<Key, QPixmap> scaled_;
};
