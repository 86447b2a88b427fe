#include "desktop/SignInDialog.h"

#include "dropbox/http/QWHTTPRestClient.h"
#include "session/CloudAddress.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace atlas {

SignInDialog::SignInDialog(const QString& address, QWidget* parent)
    : QDialog(parent), message_(new QLabel), address_(new QLineEdit(address)), token_(new QLineEdit),
      showsToken_(new QCheckBox(tr("&Show the token"))), objection_(new QLabel) {
    setWindowTitle(tr("Sign In"));
    message_->setTextFormat(Qt::PlainText);
    message_->setWordWrap(true);
    message_->hide();
    address_->setPlaceholderText(QStringLiteral("https://api.dropboxapi.com"));
    token_->setEchoMode(QLineEdit::Password);
    connect(showsToken_, &QCheckBox::toggled, token_,
            [this](bool shows) { token_->setEchoMode(shows ? QLineEdit::Normal : QLineEdit::Password); });
    objection_->setTextFormat(Qt::PlainText);
    objection_->setWordWrap(true);
    objection_->setMinimumHeight(2 * fontMetrics().lineSpacing()); // so that nothing moves when it appears
    objection_->setAlignment(Qt::AlignTop | Qt::AlignLeading);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    signIn_ = buttons->addButton(tr("Sign &In"), QDialogButtonBox::AcceptRole);
    buttons->button(QDialogButtonBox::Cancel)->setAutoDefault(false);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* form = new QFormLayout;
    form->addRow(tr("&Cloud:"), address_);
    form->addRow(tr("Access &token:"), token_);
    form->addRow(QString(), showsToken_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(message_);
    layout->addLayout(form);
    layout->addWidget(objection_);
    layout->addWidget(buttons);
    signIn_->setDefault(true); // of this dialog, now that it is in it
    address_->setMinimumWidth(fontMetrics().averageCharWidth() * 36);

    connect(address_, &QLineEdit::textChanged, this, &SignInDialog::check);
    connect(token_, &QLineEdit::textChanged, this, &SignInDialog::check);
    check();
    (this->address().isEmpty() || !token_->isEnabled() ? address_ : token_)->setFocus();
}

QString SignInDialog::address() const {
    return addressFromText(address_->text().trimmed()).value_or(QString());
}

QString SignInDialog::token() const {
    return token_->isEnabled() ? token_->text().trimmed() : QString();
}

void SignInDialog::setMessage(const QString& message) {
    message_->setText(message);
    message_->setVisible(!message.isEmpty());
}

// An empty field is told by the button alone.
void SignInDialog::check() {
    QWError error;
    const auto known = addressFromText(address_->text().trimmed(), &error);
    const bool isTokenWanted = !known || wantsToken(*known);
    token_->setEnabled(isTokenWanted);
    showsToken_->setEnabled(isTokenWanted);

    QString objection;
    if (!known && !address_->text().isEmpty())
        objection = error.message;
    else if (isTokenWanted && !token().isEmpty())
        objection = QWHTTPRestClient::objectionToAccessToken(token());
    objection_->setText(objection.left(1).toUpper() + objection.mid(1));
    signIn_->setEnabled(known && objection.isEmpty() && (!isTokenWanted || !token().isEmpty()));
}

} // namespace atlas
