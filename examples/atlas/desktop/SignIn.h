#pragma once

#include "desktop/CloudConnection.h"
#include "desktop/SignInDialog.h"
#include "desktop/TokenKeychain.h"

#include <QPointer>

namespace atlas {

class MessageBar;

// How the user of a window signs in: the dialog, the keychain that keeps the token, and the connection that
// begins with it. What goes wrong is said in the message bar. Nothing waits.
class SignIn final : public QObject {
    Q_OBJECT

public:
    // Those whom it works for must outlive it; the dialog lies over `window`.
    SignIn(AtlasLibrary& library, CloudConnection& connection, MessageBar& messageBar, QWidget& window);

    // Syncs with the cloud that the library remembers, if there is one, with the token of its settings or of
    // the keychain.
    void resume();
    // Opens the dialog, or brings it to the front.
    void ask();
    // Says that the token was refused, and offers to sign in again.
    void offerAgain();

private:
    void start(const CloudAddress& cloud, bool remembersToken);
    void keep(const CloudAddress& cloud);

    AtlasLibrary& library_;
    CloudConnection& connection_;
    MessageBar& messageBar_;
    QWidget& window_;
    TokenKeychain keychain_;
    QPointer<SignInDialog> dialog_;
};

} // namespace atlas
