#pragma once

#include <QKeySequence>
#include <QVariant>
#include <QWidget>
#include <functional>

class QHBoxLayout;
class QTextEdit;
class QTextCharFormat;

namespace atlas {

// Rich text with bold, italic, underlined and lists. Its value is document data, HTML in UTF-8, or none for
// an empty text.
class NotesField final : public QWidget {
    Q_OBJECT

public:
    explicit NotesField(QWidget* parent = nullptr);

    QVariant value() const;
    // Document data or plain text.
    void setValue(const QVariant& value);
    QTextEdit& edit() { return *edit_; }

Q_SIGNALS:
    // By the user.
    void edited();

private:
    void addToggle(const QString& letter, const QString& name, const QKeySequence& keys,
                   const std::function<void(QTextCharFormat&, bool)>& apply,
                   const std::function<bool(const QTextCharFormat&)>& isOn);
    void addListButton();

    QTextEdit* edit_;
    QHBoxLayout* buttons_;
    bool isShowing_ = false;
};

} // namespace atlas
