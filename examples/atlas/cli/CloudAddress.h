#pragma once

#include "cli/CommandLine.h"
#include "dropbox/DBRestClient.h"
#include "platform/QWEnvironment.h"

#include <memory>

// Where a library syncs: "folder:/path", an app folder on this machine; or the URL of a server that speaks
// the service's API, with the token that it wants.
struct CloudAddress {
    QString address;
    QString accessToken;
};

// What the options --cloud, --token and --token-file say, in the form in which it is remembered: a path is
// absolute, every name of the service is that of its API, a token can be sent.
CloudAddress cloudAddress(const Arguments& arguments);

std::unique_ptr<DBRestClient> openCloud(const CloudAddress& cloud,
                                        const std::shared_ptr<QWEnvironment>& environment);
