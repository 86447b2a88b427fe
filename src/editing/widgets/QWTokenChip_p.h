#pragma once

#include <QAbstractButton>

// One token of a token field: its text in a rounded frame, and a cross that removes it. The field moves the
// focus among its chips and hears their keys.
class QWTokenChip final : public QAbstractButton {
    Q_OBJECT
public:
    QWTokenChip(const QString& token, QWidget* parent);

    const QString& token() const { return token_; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

Q_SIGNALS:
    void removeRequested();
    void editRequested();

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    int padding() const;
    QRect crossPlace() const; // at the end of the text, which is the left one in right-to-left windows
    bool isOnCross(const QMouseEvent& event) const;
    void setCrossUnderMouse(bool isUnderMouse);

    const QString token_; // not the button's text, in which "&" means something
    bool isCrossUnderMouse_ = false;
};
