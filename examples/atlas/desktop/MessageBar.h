#pragma once

#include <QFrame>
#include <functional>

class QLabel;
class QPushButton;

namespace atlas {

// A line above the content that tells the user something and offers one thing to do about it. Hidden until
// there is a message.
class MessageBar final : public QFrame {
    Q_OBJECT

public:
    explicit MessageBar(QWidget* parent = nullptr);

    // `action` is what the button is called; without one there is none.
    void showMessage(const QString& text, const QString& action = {}, std::function<void()> run = {});
    void clear();
    QString text() const;

protected:
    void changeEvent(QEvent* event) override;

private:
    void colour();

    QLabel* text_;
    QPushButton* action_;
    std::function<void()> run_;
};

} // namespace atlas
