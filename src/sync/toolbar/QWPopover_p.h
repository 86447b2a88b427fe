#pragma once

#include <QFrame>
#include <QPointer>

// A frame below a button, around a widget of its size, which it follows. A click elsewhere or Escape closes
// it.
class QWPopover final : public QFrame {
    Q_OBJECT
public:
    // A child of the button. The content becomes a child of the popover; null leaves it empty.
    QWPopover(QWidget* button, QWidget* content);

    // Shows it below the button; above, where the screen ends.
    void open();

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    void fit();

    QPointer<QWidget> content_;
};
