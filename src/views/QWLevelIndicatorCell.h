#pragma once

#include "views/QWTableCell.h"

class QKeyEvent;

// A number between two bounds, as a bar or as stars; numbers beyond a bound count as the bound, null as the
// least.
//
// A bar only shows. Stars are whole: a number is rounded to the nearest, and there is one star, or a dot in
// its place, for each step between the bounds. A click on a star gives that many, one on the last star that
// is lit takes it away; the keys 0 to 9 give as many, + and - one more or fewer.
// Cell and model must allow it; the model receives a whole number, of the former value's type.
//
// Right-to-left views begin bar and stars at the right.
class QWLevelIndicatorCell final : public QWTableCell {
public:
    enum class Style { Bar, Rating };

    explicit QWLevelIndicatorCell(QObject* parent = nullptr);

    std::unique_ptr<QWTableCell> copy() const override;

    Style levelIndicatorStyle() const { return style_; } // Bar
    void setLevelIndicatorStyle(Style style) { style_ = style; }
    double minValue() const { return minValue_; } // 0
    void setMinValue(double value) { minValue_ = value; }
    double maxValue() const { return maxValue_; } // 5
    void setMaxValue(double value) { maxValue_ = value; }

    // The value within its bounds.
    double level() const;
    // How many stars there are, and how many of them are lit.
    int starCount() const;
    int litStars() const;

    // Where the bar, and the star of that number (from 1 on), are when the cell has that frame.
    QRectF barRect(const QRectF& frame) const;
    QRectF starRect(int star, const QRectF& frame) const;
    void drawWithFrame(QPainter& painter, const QRectF& frame, const QWidget* view) override;
    // Stars follow the mouse where the cell is enabled and editable.
    unsigned hitTestForEvent(const QMouseEvent& event, const QRectF& rect, const QWidget* view) override;
    bool editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override;

protected:
    QSizeF cellSize() const override;

private:
    void drawBar(QPainter& painter, const QRectF& frame) const;
    void drawStars(QPainter& painter, const QRectF& frame) const;
    int starAt(const QPointF& position, const QRectF& frame) const;
    int starsForKey(const QKeyEvent& event) const;

    Style style_ = Style::Bar;
    double minValue_ = 0;
    double maxValue_ = 5;
};
