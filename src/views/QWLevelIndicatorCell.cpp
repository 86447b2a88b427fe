#include "views/QWLevelIndicatorCell.h"

#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QStyle>
#include <cmath>

namespace {

constexpr qreal padding = 2;       // around bar and stars
constexpr qreal barThickness = 10; // at most
constexpr qreal barLength = 60;    // wanted
constexpr int none = -1;           // no star

// A five-pointed star within a circle of radius 1, its uppermost point at the top.
QPainterPath star() {
    constexpr double inner = 0.4; // of the outer radius: a little fuller than the pentagram's 0.38
    QPainterPath path;
    for (int corner = 0; corner < 10; ++corner) {
        const double radius = corner % 2 ? inner : 1, angle = corner * M_PI / 5;
        const QPointF point(radius * std::sin(angle), -radius * std::cos(angle));
        corner ? path.lineTo(point) : path.moveTo(point);
    }
    path.closeSubpath();
    return path;
}

} // namespace

QWLevelIndicatorCell::QWLevelIndicatorCell(QObject* parent) : QWTableCell(parent) {}

std::unique_ptr<QWTableCell> QWLevelIndicatorCell::copy() const {
    auto cell = std::make_unique<QWLevelIndicatorCell>();
    cell->copyFieldsFrom(*this);
    cell->style_ = style_;
    cell->minValue_ = minValue_;
    cell->maxValue_ = maxValue_;
    return cell;
}

double QWLevelIndicatorCell::level() const {
    const double number = value().toDouble(); // 0 for what is none
    return value().isValid() && number > minValue_ ? qMin(number, maxValue_) : minValue_;
}

int QWLevelIndicatorCell::starCount() const {
    return int(std::lround(qBound(0.0, maxValue_ - minValue_, 1000.0)));
}

int QWLevelIndicatorCell::litStars() const {
    return qMin(starCount(), int(std::lround(level() - minValue_)));
}

// Geometry and drawing --------------------------------------------------------------------------------------

QRectF QWLevelIndicatorCell::barRect(const QRectF& frame) const {
    const qreal height = qMin(barThickness, frame.height() - 2 * padding);
    return {frame.left() + padding, frame.center().y() - height / 2, frame.width() - 2 * padding, height};
}

// Stars are as high as the text beside them, and smaller where they would not fit otherwise.
QRectF QWLevelIndicatorCell::starRect(int star, const QRectF& frame) const {
    const qreal side = qMin(qMin(qreal(option().fontMetrics.height()), frame.height() - 2 * padding),
                            (frame.width() - 2 * padding) / qMax(1, starCount()));
    const QRectF rect(frame.left() + padding + (star - 1) * side, frame.center().y() - side / 2, side, side);
    return layoutDirection() == Qt::RightToLeft ? mirrored(rect, frame) : rect;
}

QSizeF QWLevelIndicatorCell::cellSize() const {
    const qreal height = option().fontMetrics.height();
    const qreal width = style_ == Style::Bar ? barLength : starCount() * height;
    return {width + 2 * padding, height + 2 * padding};
}

void QWLevelIndicatorCell::drawWithFrame(QPainter& painter, const QRectF& frame, const QWidget* view) {
    setControlView(view);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    style_ == Style::Bar ? drawBar(painter, frame) : drawStars(painter, frame);
}

void QWLevelIndicatorCell::drawBar(QPainter& painter, const QRectF& frame) const {
    const QRectF bar = barRect(frame);
    if (bar.width() <= 0 || bar.height() <= 0)
        return;
    const qreal radius = bar.height() / 2;
    QPainterPath outline;
    outline.addRoundedRect(bar, radius, radius);
    QColor track = textColor();
    track.setAlphaF(0.2F);
    painter.fillPath(outline, track);

    const double range = maxValue_ - minValue_;
    QRectF filled = bar;
    filled.setWidth(range > 0 ? bar.width() * (level() - minValue_) / range : 0);
    if (layoutDirection() == Qt::RightToLeft)
        filled = mirrored(filled, bar);
    const bool isColored = isDrawnEnabled() && !isHighlighted();
    QPainterPath part;
    part.addRect(filled);
    painter.fillPath(outline & part,
                     isColored ? option().palette.color(colorGroup(), QPalette::Highlight) : textColor());
}

void QWLevelIndicatorCell::drawStars(QPainter& painter, const QRectF& frame) const {
    static const QPainterPath shape = star();
    QColor place = textColor();
    place.setAlphaF(0.35F);
    for (int number = 1; number <= starCount(); ++number) {
        const QRectF rect = starRect(number, frame);
        const qreal radius = rect.width() / 2;
        if (number <= litStars()) {
            const QTransform placed(radius, 0, 0, radius, rect.center().x(), rect.center().y());
            painter.fillPath(placed.map(shape), textColor());
        } else {
            painter.setBrush(place);
            painter.drawEllipse(rect.center(), radius / 5, radius / 5);
        }
    }
}

// Editing ---------------------------------------------------------------------------------------------------

int QWLevelIndicatorCell::starAt(const QPointF& position, const QRectF& frame) const {
    for (int number = 1; number <= starCount(); ++number)
        if (starRect(number, frame).contains(position))
            return number;
    return none;
}

unsigned QWLevelIndicatorCell::hitTestForEvent(const QMouseEvent& event, const QRectF& rect,
                                               const QWidget* view) {
    const unsigned hit = QWTableCell::hitTestForEvent(event, rect, view);
    const bool follows = style_ == Style::Rating && isEnabled() && isEditable();
    return follows && starAt(event.position(), rect) != none ? hit | HitTrackableArea : hit;
}

int QWLevelIndicatorCell::starsForKey(const QKeyEvent& event) const {
    const QString text = event.text();
    if (text == u"+")
        return qMin(litStars() + 1, starCount());
    if (text == u"-")
        return qMax(litStars() - 1, 0);
    const int digit = text.size() == 1 ? text[0].digitValue() : none;
    return digit <= starCount() ? digit : none;
}

bool QWLevelIndicatorCell::editorEvent(QEvent* event, QAbstractItemModel* model,
                                       const QStyleOptionViewItem& option, const QModelIndex& index) {
    if (style_ != Style::Rating || !mayEdit(index))
        return false;
    prepare(option, index);
    int stars = none;
    if (event->type() == QEvent::KeyPress) {
        stars = starsForKey(*static_cast<QKeyEvent*>(event));
    } else if (event->type() == QEvent::MouseButtonRelease
               && static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
        stars = starAt(static_cast<QMouseEvent*>(event)->position(), option.rect);
        if (stars != none && stars == litStars())
            --stars;
    }
    if (stars == none)
        return false;
    QVariant number = qint64(std::llround(minValue_)) + stars;
    if (value().isValid() && QMetaType::canConvert(number.metaType(), value().metaType()))
        number.convert(value().metaType());
    return model->setData(index, number, Qt::EditRole);
}
