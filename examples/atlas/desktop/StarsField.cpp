#include "desktop/StarsField.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleOptionFocusRect>

namespace atlas {

StarsField::StarsField(QWidget* parent) : QAbstractSlider(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setRange(0, 5);
    setOrientation(Qt::Horizontal);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    cell_.setLevelIndicatorStyle(QWLevelIndicatorCell::Style::Rating);
    cell_.setMaxValue(maximum());
}

QSize StarsField::sizeHint() const {
    const int height = fontMetrics().height() + 6;
    const QRectF frame(0, 0, 1000, height);
    const QRectF last = cell_.starRect(maximum(), frame), first = cell_.starRect(1, frame);
    return {qCeil(qMax(last.right(), first.right()) - qMin(last.left(), first.left())) + 12, height};
}

QRectF StarsField::frame() const {
    return QRectF(rect()).adjusted(2, 0, -2, 0);
}

void StarsField::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    cell_.setValue(value());
    cell_.setEnabled(isEnabled());
    cell_.drawWithFrame(painter, frame(), this);
    if (hasFocus()) {
        QStyleOptionFocusRect option;
        option.initFrom(this);
        option.backgroundColor = palette().color(QPalette::Window);
        style()->drawPrimitive(QStyle::PE_FrameFocusRect, &option, &painter, this);
    }
}

void StarsField::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return event->ignore();
    cell_.setLayoutDirection(layoutDirection());
    for (int star = 1; star <= maximum(); ++star)
        if (cell_.starRect(star, frame()).contains(event->position()))
            return edit(star == value() ? star - 1 : star);
}

void StarsField::keyPressEvent(QKeyEvent* event) {
    const int digit = event->key() - Qt::Key_0;
    const int before = value();
    if (digit >= minimum() && digit <= maximum() && event->modifiers() == Qt::NoModifier)
        setValue(digit);
    else if (event->key() == Qt::Key_Backspace || event->key() == Qt::Key_Delete)
        setValue(minimum());
    else
        QAbstractSlider::keyPressEvent(event);
    if (value() != before) {
        update();
        Q_EMIT edited();
    }
}

void StarsField::focusInEvent(QFocusEvent* event) {
    QAbstractSlider::focusInEvent(event);
    update();
}

void StarsField::focusOutEvent(QFocusEvent* event) {
    QAbstractSlider::focusOutEvent(event);
    update();
}

void StarsField::edit(int stars) {
    setValue(stars);
    update();
    Q_EMIT edited();
}

} // namespace atlas
