#pragma once

#include "dropbox/DBRestClient.h"
#include "platform/QWEnvironment.h"

#include <memory>
#include <optional>

namespace atlas {

// Where a library syncs: "folder:/path", an app folder on this machine; or the URL of a server that speaks
// the service's API, with the token that it wants.
struct CloudAddress {
    QString address;
    QString accessToken;
};

// What the options --cloud, --token and --token-file say; null for one that was not given.
struct CloudOptions {
    QString cloud;
    std::optional<QString> token = {}, tokenFile = {};
};

// The address in the form in which it is remembered: a path is absolute, every name of the service is that of
// its API. Nothing, with an error that never shows a password, for text that is none.
std::optional<QString> addressFromText(const QString& text, QWError* error = nullptr);
// Whether the cloud of that address wants a token.
bool wantsToken(const QString& address);

// The address and a token that can be sent; nothing, with an error that names the option, when the options
// do not say both.
std::optional<CloudAddress> cloudAddress(const CloudOptions& options, QWError* error = nullptr);

// Null, with an error, when the folder cannot be used. Nobody is asked over the network yet.
std::unique_ptr<DBRestClient> openCloud(const CloudAddress& cloud,
                                        const std::shared_ptr<QWEnvironment>& environment,
                                        QWError* error = nullptr);

} // namespace atlas
