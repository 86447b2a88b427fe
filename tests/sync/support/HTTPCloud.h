#pragma once

#include "dropbox/http/QWHTTPRestClient.h"
#include "support/Desktop.h"
#include "support/EventLoopWait.h"
#include "support/StandIn.h"

// The cloud behind a server of the service's API: the stand-in, a process of its own, over a directory that
// the test looks into.
struct HTTPCloud : Cloud {
    HTTPCloud() {
        folder = QWAppFolder::inDirectory(directory.path(), world.environment());
        start();
    }

    // Starts the server, in its old place when it was there before; every request meets with that failure.
    void start(const QString& failure = {}) {
        const QString port = standIn ? QString::number(standIn->url().port()) : QString("0");
        standIn.reset();
        QStringList options{"--port", port, "--dir", directory.path()};
        if (!failure.isEmpty())
            options << "--fail" << failure;
        standIn = std::make_unique<StandIn>(options);
        if (url.isEmpty())
            url = standIn->url();
    }
    void stop() { standIn->stop(); }

    std::unique_ptr<DBRestClient> makeClient(const std::shared_ptr<QWEnvironment>& environment) override {
        QWHTTPRestClientOptions options{.accessToken = token};
        options.apiHost = options.contentHost = url;
        options.certificates = certificates;
        return std::make_unique<QWHTTPRestClient>(options, environment);
    }

    QTemporaryDir directory;
    std::unique_ptr<StandIn> standIn;
    // Of desktops that start from now on.
    QUrl url;
    QByteArray certificates;
    QString token = "sl.token-of-this-test";
};
