#pragma once

#include "views/QWLevelIndicatorCell.h"

#include <QAbstractSlider>

namespace atlas {

// A rating: a slider of stars. A click on a star gives that many, one on the last star that is lit takes it
// away; so do the digits and the arrow keys. To assistive technology it is a slider.
class StarsField final : public QAbstractSlider {
    Q_OBJECT

public:
    explicit StarsField(QWidget* parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

Q_SIGNALS:
    // By the user.
    void edited();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void edit(int stars);
    QRectF frame() const;

    QWLevelIndicatorCell cell_;
};

} // namespace atlas
