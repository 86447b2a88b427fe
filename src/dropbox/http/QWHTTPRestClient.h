#pragma once

#include "dropbox/DBRestClient.h"
#include "platform/QWEnvironment.h"

#include <QUrl>

class QWDeltaQuery;
class QWFileUpload;
class QWHTTPTransport;
struct QWHTTPAnswer;

struct QWHTTPRestClientOptions {
    // OAuth 2 bearer token. It goes to the two hosts, in a header, and nowhere else.
    QString accessToken = {};
    // Where the two halves of the service are: any server that speaks its API. "http:" carries the token in
    // the clear and is for servers on this machine, "localhost" or a loopback address: no other one is asked
    // anything that way.
    QUrl apiHost{QStringLiteral("https://api.dropboxapi.com")};
    QUrl contentHost{QStringLiteral("https://content.dropboxapi.com")};
    // PEM of the certificates that vouch for the two hosts; empty for those that this machine trusts.
    QByteArray certificates = {};
    // A request is given up when less than 1 KiB of it or of its answer has moved for so long.
    QWRunLoop::Duration stallLimit = std::chrono::minutes(1);
    // The longest that the service is left alone at its word; it is asked again then.
    QWRunLoop::Duration longestPause = std::chrono::hours(1);
    // Bytes. A larger file is sent in pieces of this size, and no more of it is in memory. The service takes
    // up to 150 MiB.
    qint64 pieceSize = 8 * 1024 * 1024;
    // Entries that one request for changes is answered with; the service takes 1 to 2000.
    int pageSize = 2000;
};

// The client of the cloud service, over its HTTP API (version 2).
//
// A delta query is answered once, when its last page is there: each path once, with its present state,
// folders before what is in them. A query that fails between two pages goes on from there when the same
// cursor is asked for again; so does one whose pages have long brought nothing new. A cursor that the service
// has lost is answered with a listing from scratch and the reset flag.
//
// An upload without a parent revision, or with one that is no revision of the service, is an update of a
// revision that no file has. The local file is read when the request is sent. A download is checked for its
// length and hash before it takes its place.
//
// When the service asks to wait (Retry-After), the client waits with what it asked for and sends the request
// again, up to five times in all; requests that the wait is not about go on. Redirections are not followed;
// TLS errors are never ignored. Each request goes through the proxy that Qt names for it
// (QNetworkProxyFactory::proxyForQuery).
//
// Codes of errors: 401 refused token, or one that a header cannot carry and that was therefore not sent; 404
// nothing there; 409 conflict and other refusals that the message names; 507 no space; 0 the local file
// cannot be read or written, or the host is none to send a token to, or no answer, or one that is not the
// service's (which never says 404 itself); any other is the HTTP status. The message says what was asked of which host and what it answered, never the
// token.
//
// Threads: that of the environment's run loop, which needs a Qt event loop to go with it. A request that is
// out when the client is destroyed is broken off and never answered. The delegate may destroy the client.
class QWHTTPRestClient final : public DBRestClient {
public:
    QWHTTPRestClient(const QWHTTPRestClientOptions& options, std::shared_ptr<QWEnvironment> environment);
    ~QWHTTPRestClient() override;

    // Why a token cannot be sent, in words that do not show it; empty when it can. Says nothing of whether
    // the service takes it.
    static QString objectionToAccessToken(const QString& accessToken);
    // Why nothing is sent to a server, be it that the token could be read on the way; empty when it is.
    static QString objectionToHost(const QUrl& host);
    // For every request that is sent from now on.
    void setAccessToken(const QString& accessToken);

    void loadDelta(const QString& cursor) override;
    void uploadFile(const QString& filename, const QString& folder, const QString& parentRev,
                    const QString& localPath) override;
    void deletePath(const QString& path) override;
    void loadFile(const QString& path, const QString& localPath) override;
    void loadMetadata(const QString& path) override;

private:
    void loadPage(const std::shared_ptr<QWDeltaQuery>& query);
    void pageLoaded(const std::shared_ptr<QWDeltaQuery>& query, const QWHTTPAnswer& answer);
    void uploadPiece(const std::shared_ptr<QWFileUpload>& upload);
    void uploadAnswered(const QWFileUpload& upload, const QWHTTPAnswer& answer);

    std::shared_ptr<QWEnvironment> environment_;
    const qint64 pieceSize_;
    const int pageSize_;
    std::shared_ptr<QWDeltaQuery> interrupted_; // the query that failed last, with the pages it had
    std::unique_ptr<QWHTTPTransport> transport_;
};
