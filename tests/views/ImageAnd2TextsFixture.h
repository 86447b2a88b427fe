#pragma once

#include "views/CellFixture.h"
#include "views/ImageAnd2TextsCell.h"

// The cell by itself, in a frame of 200 by 20.
struct ImageAnd2Texts : testing::Test {
    static constexpr QRectF frame{10, 5, 200, 20};

    ImageAnd2Texts() {
        cell.setFont(cells::textFont());
        cell.setValue("Weather");
    }
    // The width of the badge's text.
    qreal textWidth() const {
        return cell.sizeForSecondaryTextWithFont(ImageAnd2TextsCell::badgeFont(cell.font())).width();
    }
    QRectF badge() const { return {frame.right() - 20 - textWidth(), frame.top(), 20 + textWidth(), 20}; }
    void drawImages(const QRectF& rect = frame) { cells::drawn(cell, rect); }

    ImageAnd2TextsCell cell;
    const QIcon red = cells::square(Qt::red), blue = cells::square(Qt::blue, 24);
};
