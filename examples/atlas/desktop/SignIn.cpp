#include "desktop/SignIn.h"

#include "desktop/MessageBar.h"

namespace atlas {

SignIn::SignIn(AtlasLibrary& library, CloudConnection& connection, MessageBar& messageBar, QWidget& window)
    : library_(library), connection_(connection), messageBar_(messageBar), window_(window) {
    connect(&library_, &AtlasLibrary::signInRequested, this, &SignIn::ask);
    connect(&library_, &AtlasLibrary::accessTokenExpired, this, &SignIn::offerAgain);
}

void SignIn::resume() {
    const QString address = library_.cloud();
    if (address.isEmpty())
        return;
    if (!wantsToken(address) || !library_.accessToken().isEmpty())
        return start({address, library_.accessToken()}, true);
    keychain_.read(address, [this, address](const std::optional<QString>& token, const QString& error) {
        if (connection_.supervisor()) // the user was faster
            return;
        if (token)
            return start({address, *token}, false);
        const QString reason = error.isEmpty() ? QString() : " " + error;
        messageBar_.showMessage(tr("Sign in to sync with %1.").arg(address) + reason, tr("Sign In…"),
                                [this] { ask(); });
    });
}

void SignIn::ask() {
    if (dialog_) {
        dialog_->raise();
        dialog_->activateWindow();
        return;
    }
    dialog_ = new SignInDialog(library_.cloud(), &window_);
    dialog_->setAttribute(Qt::WA_DeleteOnClose);
    if (library_.engine().status() == QWDropboxSyncStatusTokenInvalid)
        dialog_->setMessage(tr("The cloud has refused the access token. Please enter another one."));
    connect(dialog_, &QDialog::accepted, this, [this] {
        const CloudAddress cloud{dialog_->address(), dialog_->token()};
        messageBar_.clear();
        start(cloud, false);
        if (wantsToken(cloud.address))
            keep(cloud);
    });
    dialog_->open();
}

void SignIn::offerAgain() {
    messageBar_.showMessage(
        tr("The cloud has refused the access token. What you edit waits until you sign in "
           "again."),
        tr("Sign In…"), [this] { ask(); });
}

void SignIn::start(const CloudAddress& cloud, bool remembersToken) {
    QWError error;
    if (!connection_.start(cloud, remembersToken, &error))
        messageBar_.showMessage(error.message, tr("Sign In…"), [this] { ask(); });
}

void SignIn::keep(const CloudAddress& cloud) {
    keychain_.write(cloud.address, cloud.accessToken, [this](const QString& error) {
        if (!error.isEmpty())
            messageBar_.showMessage(tr("Signed in until Atlas is closed.") + " " + error);
    });
}

} // namespace atlas
