#include "editing/widgets/QWTokenChip_p.h"

#include "platform/QWLocalizedString.h"

#include <QEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>

namespace {

QColor mixed(const QColor& ground, const QColor& colour, float share) {
    const auto mix = [share](float from, float to) { return from + (to - from) * share; };
    return QColor::fromRgbF(mix(ground.redF(), colour.redF()), mix(ground.greenF(), colour.greenF()),
                            mix(ground.blueF(), colour.blueF()));
}

} // namespace

QWTokenChip::QWTokenChip(const QString& token, QWidget* parent) : QAbstractButton(parent), token_(token) {
    setFocusPolicy(Qt::ClickFocus); // keys come from the line edit, so that Tab leaves the field
    connect(this, &QAbstractButton::clicked, this, [this] { setFocus(); }); // a screen reader's press, too
    setMouseTracking(true);
    setCursor(Qt::ArrowCursor);
    setAccessibleName(token);
    setAccessibleDescription(QWLocalizedString("TokenCanBeDeleted"));
}

int QWTokenChip::padding() const {
    return fontMetrics().height() / 3;
}

QSize QWTokenChip::sizeHint() const {
    const QFontMetrics metrics = fontMetrics();
    return {metrics.horizontalAdvance(token_) + 3 * padding() + metrics.height() / 2 + 1,
            metrics.height() + 4};
}

QRect QWTokenChip::crossPlace() const {
    const int size = fontMetrics().height() / 2;
    const QRect place(width() - padding() - size, (height() - size) / 2, size, size);
    return QStyle::visualRect(layoutDirection(), rect(), place);
}

bool QWTokenChip::isOnCross(const QMouseEvent& event) const {
    return crossPlace().adjusted(-3, -3, 3, 3).contains(event.position().toPoint());
}

bool QWTokenChip::event(QEvent* event) {
    switch (event->type()) {
    case QEvent::Leave:
        setCrossUnderMouse(false);
        break;
    case QEvent::ToolTip: // only for what does not fit
        setToolTip(width() < sizeHint().width() ? token_ : QString());
        break;
    default:
        break;
    }
    return QAbstractButton::event(event);
}

void QWTokenChip::paintEvent(QPaintEvent*) {
    const QPalette& colours = palette();
    const bool isCurrent = hasFocus();
    const QColor base = colours.color(QPalette::Base), accent = colours.color(QPalette::Highlight);
    const QColor fill = isCurrent ? accent : mixed(base, accent, 0.18F);
    const QColor text = colours.color(isCurrent ? QPalette::HighlightedText : QPalette::Text);

    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(isCurrent ? accent : mixed(base, accent, 0.5F));
    painter.setBrush(fill);
    const QRectF outline = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    painter.drawRoundedRect(outline, outline.height() / 4, outline.height() / 4);

    const QRect cross = crossPlace();
    const QRect words(padding(), 0, width() - 3 * padding() - cross.width(), height());
    painter.setPen(text);
    painter.drawText(QStyle::visualRect(layoutDirection(), rect(), words),
                     int(QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft) | Qt::AlignVCenter),
                     fontMetrics().elidedText(token_, Qt::ElideRight, words.width()));

    if (isCrossUnderMouse_) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(mixed(fill, text, 0.25F));
        painter.drawEllipse(QRectF(cross).adjusted(-2, -2, 2, 2));
    }
    painter.setPen(QPen(isCrossUnderMouse_ ? text : mixed(fill, text, 0.65F), fontMetrics().height() / 12.0,
                        Qt::SolidLine, Qt::RoundCap));
    const QRectF arms = QRectF(cross).adjusted(1.5, 1.5, -1.5, -1.5);
    painter.drawLine(arms.topLeft(), arms.bottomRight());
    painter.drawLine(arms.topRight(), arms.bottomLeft());
}

void QWTokenChip::mouseMoveEvent(QMouseEvent* event) {
    setCrossUnderMouse(isOnCross(*event));
    QAbstractButton::mouseMoveEvent(event);
}

void QWTokenChip::mouseReleaseEvent(QMouseEvent* event) {
    const bool removes = event->button() == Qt::LeftButton && isDown() && isOnCross(*event);
    QAbstractButton::mouseReleaseEvent(event);
    if (removes)
        Q_EMIT removeRequested();
}

void QWTokenChip::mouseDoubleClickEvent(QMouseEvent* event) {
    if (isOnCross(*event)) // one chip after the other is removed by clicks in the same place
        QAbstractButton::mouseDoubleClickEvent(event);
    else if (event->button() == Qt::LeftButton)
        Q_EMIT editRequested();
}

void QWTokenChip::setCrossUnderMouse(bool isUnderMouse) {
    if (isCrossUnderMouse_ == isUnderMouse)
        return;
    isCrossUnderMouse_ = isUnderMouse;
    update();
}
