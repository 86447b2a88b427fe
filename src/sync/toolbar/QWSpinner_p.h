#pragma once

#include "platform/QWRunLoop.h"

#include <QWidget>

// A ring of twelve spokes that goes round: work is under way. 16 by 16, small enough to stand on an icon,
// whose colour it inverts to be seen there. While it is not seen it takes no time.
class QWSpinner final : public QWidget {
    Q_OBJECT
    // 1: drawn as it is; 0: not at all.
    Q_PROPERTY(double opacity READ opacity WRITE setOpacity)

public:
    static constexpr int side = 16;
    static constexpr int spokes = 12; // and steps of one turn
    static constexpr QWRunLoop::Duration turn = std::chrono::seconds(1);

    // `runLoop` must outlive it.
    QWSpinner(QWRunLoop& runLoop, QWidget* parent);
    ~QWSpinner() override;

    double opacity() const { return opacity_; }
    void setOpacity(double opacity);
    void startAnimation();
    bool isAnimating() const { return isAnimating_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void run();
    void step();
    QImage inverted() const;

    QWRunLoop& runLoop_;
    QWRunLoop::Handle next_;
    double opacity_ = 1;
    bool isAnimating_ = false;
    int leading_ = 0; // the spoke that is drawn darkest
};
