#include "views/ImageAnd2TextsCell.h"

#include "views/NSColor_ImageAnd2TextsColors.h"
#include "views/NSString_NSStringToNSBezierPath.h"
#include "views/QWCellImages_p.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRawFont>
#include <QVarLengthArray>
#include <cmath>

namespace {

constexpr qreal imagePadding = 6; // of an image's slice, half of it before the image
constexpr qreal imageMargin = 4;  // by which an image is smaller than the row is high
constexpr qreal badgeMargin = 2;  // above and below the capsule
constexpr qreal disabledOpacity = 0.5;
constexpr int keptBadges = 512;

QRectF cutFromLeft(QRectF& rest, qreal width) {
    QRectF slice = rest;
    slice.setWidth(qMin(width, rest.width()));
    rest.setLeft(slice.right());
    return slice;
}

QRectF cutFromRight(QRectF& rest, qreal width) {
    QRectF slice = rest;
    slice.setLeft(rest.right() - qMin(width, rest.width()));
    rest.setRight(slice.left());
    return slice;
}

// Pixels for a unit of what is really drawn on: a view that is drawn into an image still calls itself the
// painter's device.
qreal pixelRatio(const QPainter& painter) {
    const QTransform toPixels = painter.deviceTransform();
    return std::hypot(toPixels.m11(), toPixels.m12());
}

} // namespace

// The places of the parts in a frame.
struct ImageAnd2TextsCell::Division {
    QVarLengthArray<QRectF, 4> images;
    QRectF badge;
    QRectF text;
};

// What would cost more to make anew for each row than all of its drawing.
struct ImageAnd2TextsCell::Caches {
    struct Key {
        QString text;
        QRgb color;
        bool operator==(const Key&) const = default;
        friend size_t qHash(const Key& key, size_t seed) { return qHashMulti(seed, key.text, key.color); }
    };

    // The badge's fonts and texts are those of a cell in this font.
    void use(const QFont& font) {
        if (font == cellFont && pointSize > 0)
            return;
        cellFont = font;
        pointSize = QRawFont::fromFont(font).pixelSize();
        badgeFont = ImageAnd2TextsCell::badgeFont(font);
        widths.clear();
        texts.clear();
    }

    QFont cellFont, badgeFont;
    qreal pointSize = 0; // of the cell's font, in the view's units
    QCache<QString, qreal> widths{keptBadges};
    QCache<Key, QTextLayout> texts{keptBadges};
    QWCellImages images;
};

ImageAnd2TextsCell::ImageAnd2TextsCell(QWFormatterRef formatter, QObject* parent)
    : QWTextFieldCell(std::move(formatter), parent), caches_(std::make_unique<Caches>()) {}

ImageAnd2TextsCell::~ImageAnd2TextsCell() = default;

std::unique_ptr<QWTableCell> ImageAnd2TextsCell::copy() const {
    auto cell = std::make_unique<ImageAnd2TextsCell>();
    cell->copyFieldsFrom(*this);
    cell->templateImages_ = templateImages_;
    cell->secondaryText_ = secondaryText_;
    cell->needToResizeImages_ = needToResizeImages_;
    return cell;
}

// Images ----------------------------------------------------------------------------------------------------

QIcon ImageAnd2TextsCell::templateImage() const {
    return templateImages_.isEmpty() ? QIcon() : QWCellImages::icon(templateImages_.first().picture);
}

void ImageAnd2TextsCell::setTemplateImage(const QIcon& image) {
    if (templateImage().cacheKey() == image.cacheKey())
        return;
    removeAllTemplateImages();
    addTemplateImage(image);
}

void ImageAnd2TextsCell::addTemplateImage(const QIcon& image) {
    if (image.isNull())
        return;
    QSize size; // the largest that it has
    for (const QSize& available : image.availableSizes())
        if (available.width() > size.width())
            size = available;
    if (size.isEmpty()) { // drawn in any size
        const int side = style().pixelMetric(QStyle::PM_SmallIconSize, nullptr, controlView());
        size = {side, side};
    }
    needToResizeImages_ = true;
    templateImages_.append({image, size});
}

void ImageAnd2TextsCell::removeAllTemplateImages() {
    templateImages_.clear();
}

void ImageAnd2TextsCell::resizeImages(qreal rowHeight) {
    const qreal side = qMax(0.0, rowHeight - imageMargin);
    for (Image& image : templateImages_)
        image.size = {side, side};
    needToResizeImages_ = false;
}

void ImageAnd2TextsCell::prepare(const QStyleOptionViewItem& option, const QModelIndex& index) {
    QWTextFieldCell::prepare(option, index);
    templateImages_.clear();
    const QVariant decoration = index.data(Qt::DecorationRole);
    const bool isList = decoration.typeId() == QMetaType::QVariantList;
    for (const QVariant& picture : isList ? decoration.toList() : QVariantList{decoration})
        if (!QWCellImages::isNull(picture))
            templateImages_.append({picture, {}});
    resizeImages(option.rect.height());
    secondaryText_ = index.data(SecondaryTextRole).toString();
}

// Geometry --------------------------------------------------------------------------------------------------

QFont ImageAnd2TextsCell::badgeFont(const QFont& font) {
    QFont heavy(QStringLiteral("Arial Black"));
    heavy.setStyleHint(QFont::SansSerif);
    heavy.setWeight(QFont::Black);
    if (font.pixelSize() > 0)
        heavy.setPixelSize(font.pixelSize());
    else
        heavy.setPointSizeF(font.pointSizeF());
    return heavy;
}

QSizeF ImageAnd2TextsCell::sizeForSecondaryTextWithFont(const QFont& font) const {
    const QFontMetricsF metrics(font);
    return {metrics.horizontalAdvance(secondaryText_), metrics.height()};
}

qreal ImageAnd2TextsCell::badgeTextWidth() const {
    caches_->use(font());
    if (const qreal* known = caches_->widths.object(secondaryText_))
        return *known;
    const qreal width = sizeForSecondaryTextWithFont(caches_->badgeFont).width();
    caches_->widths.insert(secondaryText_, new qreal(width));
    return width;
}

ImageAnd2TextsCell::Division ImageAnd2TextsCell::divide(const QRectF& frame) const {
    Division parts;
    parts.text = frame;
    for (const Image& image : templateImages_) {
        const QRectF slice = cutFromLeft(parts.text, image.size.width() + imagePadding);
        parts.images.append(
            {slice.left() + imagePadding / 2, slice.top(), image.size.width(), slice.height()});
    }
    if (!secondaryText_.isEmpty())
        parts.badge = cutFromRight(parts.text, frame.height() + badgeTextWidth());
    if (layoutDirection() == Qt::RightToLeft) {
        for (QRectF& image : parts.images)
            image = mirrored(image, frame);
        parts.badge = mirrored(parts.badge, frame);
        parts.text = mirrored(parts.text, frame);
    }
    return parts;
}

QRectF ImageAnd2TextsCell::dividedCellFrame(const QRectF& frame) const {
    return divide(frame).text;
}

QSizeF ImageAnd2TextsCell::cellSize() const {
    QSizeF size = QWTextFieldCell::cellSize();
    const qreal height = size.height();
    size.rwidth() += qreal(templateImages_.size()) * (height - imageMargin + imagePadding);
    if (!secondaryText_.isEmpty())
        size.rwidth() += height + badgeTextWidth();
    return size;
}

unsigned ImageAnd2TextsCell::hitTestForEvent(const QMouseEvent& event, const QRectF& rect,
                                             const QWidget* view) {
    return QWTextFieldCell::hitTestForEvent(event, dividedCellFrame(rect), view);
}

void ImageAnd2TextsCell::selectWithFrame(const QRectF& frame, const QWidget* view, QWidget& editor, int start,
                                         int length) {
    QWTextFieldCell::selectWithFrame(dividedCellFrame(frame), view, editor, start, length);
}

void ImageAnd2TextsCell::editWithFrame(const QRectF& frame, const QWidget* view, QWidget& editor) {
    QWTextFieldCell::editWithFrame(dividedCellFrame(frame), view, editor);
}

// Drawing ---------------------------------------------------------------------------------------------------

void ImageAnd2TextsCell::drawWithFrame(QPainter& painter, const QRectF& frame, const QWidget* view) {
    setControlView(view);
    if (needToResizeImages_)
        resizeImages(frame.height());
    const Division parts = divide(frame);
    const qreal opacity = painter.opacity();
    if (!isDrawnEnabled())
        painter.setOpacity(opacity * disabledOpacity);
    for (qsizetype i = 0; i < templateImages_.size(); ++i)
        drawImage(painter, templateImages_[i], parts.images[i]);
    if (!secondaryText_.isEmpty())
        isDrawnEnabled() ? drawBadge(painter, parts.badge) : drawBadgeAsPicture(painter, parts.badge);
    painter.setOpacity(opacity);
    QWTextFieldCell::drawWithFrame(painter, parts.text, view);
}

// In the middle of its place, and smaller where that is not high enough, as an image cell draws.
void ImageAnd2TextsCell::drawImage(QPainter& painter, const Image& image, const QRectF& rect) const {
    QSizeF size = image.size;
    if (size.height() > rect.height())
        size.scale(rect.size(), Qt::KeepAspectRatio);
    const QColor templateColor = backgroundStyle() == BackgroundStyle::Dark ? Qt::white : Qt::black;
    const QPixmap pixmap = caches_->images.pixmap(image.picture, size, pixelRatio(painter), templateColor);
    painter.drawPixmap(rect.center() - QPointF(size.width() / 2, size.height() / 2), pixmap);
}

void ImageAnd2TextsCell::getTextColor(QColor* textColor, QColor* backgroundColor) const {
    if (!isHighlighted()) {
        *textColor = Qt::white;
        *backgroundColor = isWindowActive() ? blueGrayColor() : ironGrayColor();
        return;
    }
    *backgroundColor = Qt::white;
    if (!isWindowActive())
        *textColor = ironGrayColor();
    else
        *textColor = isViewFocused() ? darkCyanColor() : blueGrayColor();
}

// The badge's text as far as that width goes.
QTextLayout& ImageAnd2TextsCell::badgeText(qreal width, const QColor& color) const {
    QString text = secondaryText_;
    if (width < badgeTextWidth())
        text = QFontMetricsF(caches_->badgeFont).elidedText(text, Qt::ElideRight, width);
    const Caches::Key key{text, color.rgba()};
    if (QTextLayout* known = caches_->texts.object(key))
        return *known;
    QTextLayout* layout = newLayoutManagerWithFont(text, caches_->badgeFont, color).release();
    caches_->texts.insert(key, layout);
    return *layout;
}

void ImageAnd2TextsCell::drawBadge(QPainter& painter, const QRectF& badge) const {
    QColor textColor, backgroundColor;
    getTextColor(&textColor, &backgroundColor);
    const qreal height = badge.height(), half = height * 0.5, radius = half - badgeMargin;
    if (radius <= 0 || badge.width() < height)
        return; // no room
    const auto arcAround = [&](qreal x) {
        return QRectF(x - radius, badge.top() + half - radius, 2 * radius, 2 * radius);
    };
    QPainterPath capsule;
    capsule.arcMoveTo(arcAround(badge.left() + half), 90);
    capsule.arcTo(arcAround(badge.left() + half), 90, 180);
    capsule.arcTo(arcAround(badge.right() - half), 270, 180);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(capsule, backgroundColor);

    QPointF origin(badge.left() + height * 0.25, badge.top() + (height - 1.5 * caches_->pointSize) * 0.5);
    const qreal room = badge.width() - height;
    QTextLayout& layout = badgeText(room, textColor);
    if (layoutDirection() == Qt::RightToLeft)
        origin.setX(badge.right() - height * 0.25 - 2 * NSTextContainerLineFragmentPadding
                    - qMin(room, badgeTextWidth()));
    layout.draw(&painter, origin);
}

// Half transparent as a whole: a text that is so by itself is hardly seen on a capsule that is so too.
void ImageAnd2TextsCell::drawBadgeAsPicture(QPainter& painter, const QRectF& badge) const {
    const QRect place = badge.toAlignedRect();
    const qreal ratio = pixelRatio(painter);
    QImage picture((QSizeF(place.size()) * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    if (picture.isNull())
        return; // no room
    picture.setDevicePixelRatio(ratio);
    picture.fill(Qt::transparent);
    QPainter inPicture(&picture);
    inPicture.translate(-place.topLeft());
    drawBadge(inPicture, badge);
    inPicture.end();
    painter.drawImage(place.topLeft(), picture);
}
