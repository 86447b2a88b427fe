#pragma once

#include <QDialog>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace atlas {

// Asks where to sync, and for the access token that the cloud there wants. To be opened, not executed:
// `accepted` says that the user has signed in, and the address and the token are such that can be used.
class SignInDialog final : public QDialog {
    Q_OBJECT
public:
    // `address` stands in its field already; it may be empty.
    explicit SignInDialog(const QString& address, QWidget* parent = nullptr);

    // In the form in which a library remembers it.
    QString address() const;
    // Empty where none is wanted.
    QString token() const;

    // Stands above the fields: why the user is asked. Plain text; empty for none.
    void setMessage(const QString& message);

private:
    void check();

    QLabel* const message_;
    QLineEdit* const address_;
    QLineEdit* const token_;
    QCheckBox* const showsToken_;
    QLabel* const objection_;
    QPushButton* signIn_;
};

} // namespace atlas
