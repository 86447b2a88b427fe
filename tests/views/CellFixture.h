#pragma once

#include "views/QWTableCell.h"

#include <QApplication>
#include <QHeaderView>
#include <QImage>
#include <QMouseEvent>
#include <QPainter>
#include <QStandardItemModel>
#include <QTableView>
#include <QTest>
#include <QVBoxLayout>
#include <gmock/gmock.h>

// What tests of cells draw on, look at and click.
namespace cells {

// A face that every machine that runs the tests has, in a size that does not depend on the screen.
inline QFont textFont() {
    QFont font("DejaVu Sans");
    font.setPixelSize(12);
    return font;
}

inline QPalette darkPalette() {
    QPalette palette;
    for (const auto role : {QPalette::Base, QPalette::AlternateBase, QPalette::Window, QPalette::Button})
        palette.setColor(role, QColor(30, 30, 30));
    for (const auto role :
         {QPalette::Text, QPalette::WindowText, QPalette::ButtonText, QPalette::HighlightedText})
        palette.setColor(role, Qt::white);
    palette.setColor(QPalette::Highlight, QColor(20, 60, 120));
    palette.setColor(QPalette::Disabled, QPalette::Text, Qt::gray);
    return palette;
}

// The cell by itself in a frame, on a canvas of that size, at so many pixels for a unit.
inline QImage drawn(QWTableCell& cell, const QRectF& frame, const QSize& canvas = {240, 40}, qreal ratio = 1,
                    const QColor& background = Qt::white) {
    QImage image(canvas * ratio, QImage::Format_RGB32);
    image.setDevicePixelRatio(ratio);
    image.fill(background);
    QPainter painter(&image);
    cell.drawWithFrame(painter, frame, nullptr);
    return image;
}

// As a pixel of an image has it.
inline QColor inPixel(const QColor& color) {
    return QColor(color.rgb());
}

// The pixels that differ from the background; a null rectangle when there are none.
inline QRect inked(const QImage& image, const QRect& within = {}, const QColor& background = Qt::white) {
    QRect ink;
    const QRect area = within.isNull() ? image.rect() : within;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            if (image.pixelColor(x, y) != background)
                ink |= QRect(x, y, 1, 1);
    return ink;
}

inline bool shows(const QImage& image, const QColor& color, const QRect& within = {}) {
    const QRect area = within.isNull() ? image.rect() : within;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            if (image.pixel(x, y) == color.rgb())
                return true;
    return false;
}

inline QIcon square(const QColor& color, int side = 32) {
    QPixmap pixmap(side, side);
    pixmap.fill(color);
    return QIcon(pixmap);
}

inline QMouseEvent click(const QPointF& position) {
    return {QEvent::MouseButtonPress, position, position, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier};
}

// All four events of it; QTest's own is the third alone.
inline void doubleClick(QWidget& widget, const QPoint& position) {
    QTest::mouseClick(&widget, Qt::LeftButton, {}, position);
    QTest::mouseDClick(&widget, Qt::LeftButton, {}, position);
    QTest::mouseRelease(&widget, Qt::LeftButton, {}, position);
}

} // namespace cells

// A table in a window with something else that can have the focus, beside another window that can be active.
class CellView : public testing::Test {
protected:
    CellView() {
        view.setModel(&model);
        view.setFont(cells::textFont());
        view.setShowGrid(false);
        view.horizontalHeader()->hide();
        view.verticalHeader()->hide();
        view.verticalHeader()->setMinimumSectionSize(8);
        view.verticalHeader()->setDefaultSectionSize(20);
        view.setFrameShape(QFrame::NoFrame);
        auto* layout = new QVBoxLayout(&window);
        layout->addWidget(&view);
        layout->addWidget(&elsewhere);
        window.resize(300, 400);
        elsewhere.setFocusPolicy(Qt::StrongFocus);
        otherWindow.show();
        window.show();
        activate();
        view.selectionModel()->setCurrentIndex(at(3), QItemSelectionModel::NoUpdate); // out of the way
    }
    ~CellView() override {
        view.setParent(nullptr);
        elsewhere.setParent(nullptr);
    }

    void activate() {
        QApplication::setActiveWindow(&window);
        view.setFocus();
    }
    void deactivate() { QApplication::setActiveWindow(&otherWindow); }
    QModelIndex at(int row, int column = 0) const { return model.index(row, column); }
    void set(int row, const QVariant& value, int role = Qt::EditRole) { model.setData(at(row), value, role); }
    void use(QWTableCell& cell) { view.setItemDelegate(&cell); }

    QRect rect(int row) const { return view.visualRect(at(row)); }
    // A row as the view shows it.
    QImage shown(int row) {
        QImage image(view.viewport()->size(), QImage::Format_RGB32);
        view.viewport()->render(&image);
        return image.copy(rect(row));
    }
    // At a point of a row, from its top left.
    void clickAt(int row, const QPoint& point) {
        QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, rect(row).topLeft() + point);
    }
    void doubleClickAt(int row, const QPoint& point) {
        cells::doubleClick(*view.viewport(), rect(row).topLeft() + point);
    }
    void press(Qt::Key key) { QTest::keyClick(&view, key); }
    QWidget* editor(int row = 0) const { return view.indexWidget(at(row)); }

    QStandardItemModel model{4, 1};
    QTableView view;
    QWidget window, elsewhere, otherWindow;
};
