#include "desktop/Glyphs.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>

namespace atlas {

namespace {

// Two arrows that run after each other around a circle.
QPainterPath syncArrows() {
    QPainterPath path;
    const QRectF circle(3.5, 3.5, 13, 13);
    for (const double begin : {20.0, 200.0}) {
        path.arcMoveTo(circle, begin);
        path.arcTo(circle, begin, 130);
        const QPointF tip = path.currentPosition();
        const double outwards = begin < 180 ? 1 : -1;
        path.moveTo(tip + QPointF(-0.8 * outwards, -3.6 * outwards));
        path.lineTo(tip);
        path.lineTo(tip + QPointF(3.8 * outwards, -0.4 * outwards));
    }
    return path;
}

// An arrow back to the left.
QPainterPath backArrow() {
    QPainterPath path(QPointF(4, 8));
    path.lineTo(12, 8);
    path.arcTo(QRectF(8, 8, 8, 8), 90, -180);
    path.lineTo(7, 16);
    path.moveTo(7.5, 4.5);
    path.lineTo(4, 8);
    path.lineTo(7.5, 11.5);
    return path;
}

// On a square of 20 units.
QPainterPath pathOf(Glyph glyph) {
    QPainterPath path;
    switch (glyph) {
    case Glyph::Add:
        path.moveTo(10, 3.5);
        path.lineTo(10, 16.5);
        path.moveTo(3.5, 10);
        path.lineTo(16.5, 10);
        break;
    case Glyph::Delete:
        path.moveTo(3.5, 5.5);
        path.lineTo(16.5, 5.5);
        path.moveTo(7.5, 5.5);
        path.lineTo(8, 3.5);
        path.lineTo(12, 3.5);
        path.lineTo(12.5, 5.5);
        path.moveTo(5, 5.5);
        path.lineTo(6, 16.5);
        path.lineTo(14, 16.5);
        path.lineTo(15, 5.5);
        path.moveTo(8.5, 8.5);
        path.lineTo(8.7, 13.5);
        path.moveTo(11.5, 8.5);
        path.lineTo(11.3, 13.5);
        break;
    case Glyph::Sync:
        return syncArrows();
    case Glyph::Calendar:
        path.addRoundedRect(QRectF(3.5, 4.5, 13, 12), 1.5, 1.5);
        path.moveTo(3.5, 8.5);
        path.lineTo(16.5, 8.5);
        for (const double x : {7.0, 13.0}) {
            path.moveTo(x, 2.8);
            path.lineTo(x, 6);
        }
        break;
    case Glyph::List:
        for (const double y : {5.0, 10.0, 15.0}) {
            path.addEllipse(QPointF(4.2, y), 0.6, 0.6);
            path.moveTo(8, y);
            path.lineTo(17, y);
        }
        break;
    case Glyph::Undo:
        return backArrow();
    case Glyph::Redo:
        return QTransform(-1, 0, 0, 1, 20, 0).map(backArrow());
    }
    return path;
}

class GlyphEngine final : public QIconEngine {
public:
    explicit GlyphEngine(Glyph glyph) : path_(pathOf(glyph)) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        const double scale = qMin(rect.width(), rect.height()) / 20.0;
        const auto group = mode == QIcon::Disabled ? QPalette::Disabled : QPalette::Active;
        const QColor colour = QGuiApplication::palette().color(group, QPalette::ButtonText);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->translate(QRectF(rect).center());
        painter->scale(scale, scale);
        painter->translate(-10, -10);
        painter->setPen(QPen(colour, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter->drawPath(path_);
        painter->restore();
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return scaledPixmap(size, mode, state, 1);
    }
    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state, qreal) override {
        QPixmap pixmap(size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        paint(&painter, pixmap.rect(), mode, state);
        return pixmap;
    }
    QIconEngine* clone() const override { return new GlyphEngine(*this); }

private:
    QPainterPath path_;
};

} // namespace

QIcon glyphIcon(Glyph glyph) {
    return QIcon(new GlyphEngine(glyph));
}

} // namespace atlas
