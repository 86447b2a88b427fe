#include "desktop/FlagImages.h"

#include <QFileInfo>
#include <QImageReader>
#include <QPainter>

namespace atlas {

namespace {

constexpr int side = 64; // pixels: sharp in a row of 30, at 200 %

QImage squareFlag(const QString& path) {
    QImageReader reader(path);
    reader.setAutoTransform(true);
    const QImage original = reader.read();
    if (original.isNull())
        return {};
    const QImage flag = original.scaled(side, side, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    QImage square(side, side, QImage::Format_ARGB32_Premultiplied);
    square.fill(Qt::transparent);
    QPainter painter(&square);
    painter.drawImage((side - flag.width()) / 2, (side - flag.height()) / 2, flag);
    // White flags would have no edge on white.
    painter.setPen(QColor(128, 128, 128, 110));
    painter.drawRect(
        QRect((side - flag.width()) / 2, (side - flag.height()) / 2, flag.width() - 1, flag.height() - 1));
    return square;
}

} // namespace

QImage FlagImages::image(const QString& path) {
    const QFileInfo file(path);
    if (path.isEmpty() || !file.exists() || file.size() == 0)
        return {};
    const QDateTime date = file.lastModified();
    if (const Entry* known = entries_.object(path);
        known && known->date == date && known->size == file.size())
        return known->image;
    auto* entry = new Entry{date, file.size(), squareFlag(path)};
    const QImage image = entry->image;
    entries_.insert(path, entry);
    return image;
}

} // namespace atlas
