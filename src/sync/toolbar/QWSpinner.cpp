#include "sync/toolbar/QWSpinner_p.h"

#include <QPainter>

QWSpinner::QWSpinner(QWRunLoop& runLoop, QWidget* parent) : QWidget(parent), runLoop_(runLoop) {
    setFixedSize(side, side);
    setAttribute(Qt::WA_TransparentForMouseEvents); // a click is for what it stands on
}

QWSpinner::~QWSpinner() {
    next_.cancel();
}

void QWSpinner::setOpacity(double opacity) {
    opacity_ = opacity;
    update();
    run();
}

void QWSpinner::startAnimation() {
    isAnimating_ = true;
    run();
}

void QWSpinner::showEvent(QShowEvent*) {
    run();
}

void QWSpinner::hideEvent(QHideEvent*) {
    run();
}

void QWSpinner::run() {
    const bool isSeen = isVisible() && opacity_ > 0;
    if (!isAnimating_ || !isSeen)
        next_.cancel();
    else if (!next_.isPending())
        next_ = runLoop_.after(turn / spokes, [this] { step(); });
}

void QWSpinner::step() {
    leading_ = (leading_ + 1) % spokes;
    update();
    run();
}

void QWSpinner::paintEvent(QPaintEvent*) {
    if (opacity_ <= 0)
        return;
    QPainter painter(this);
    painter.setOpacity(opacity_);
    painter.drawImage(QPoint(), inverted());
}

// The spokes, of which those behind the leading one fade.
QImage QWSpinner::inverted() const {
    QImage image(size() * devicePixelRatioF(), QImage::Format_ARGB32);
    image.setDevicePixelRatio(devicePixelRatioF());
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(side / 2.0, side / 2.0);
    QColor colour = palette().color(QPalette::ButtonText);
    for (int spoke = 0; spoke < spokes; ++spoke) {
        const int age = (leading_ - spoke + spokes) % spokes;
        colour.setAlphaF(1 - 0.85F * float(age) / (spokes - 1));
        painter.setPen(QPen(colour, 1.5, Qt::SolidLine, Qt::RoundCap));
        painter.save();
        painter.rotate(spoke * 360.0 / spokes);
        painter.drawLine(QPointF(0, -4.9), QPointF(0, -7));
        painter.restore();
    }
    painter.end();
    image.invertPixels(QImage::InvertRgb);
    return image;
}
