#pragma once

#include "dropbox/folder/QWAppFolder.h"
#include "http/Messages.h"
#include "service/Arguments.h"
#include "service/Listing.h"

#include <QHash>
#include <functional>
#include <vector>

namespace standin {

struct ServiceOptions {
    QString token; // the one bearer token that is accepted; empty: any
    QString accountName;
    int pageSize = 2000; // most entries in a page of a listing
};

// The cloud service's HTTP API over an app folder, as strict as the service is.
//
//   routes and checks of every call            Service.cpp
//   metadata, download, delete, create, move   ServiceFiles.cpp
//   upload in one call and by session          ServiceUploads.cpp
//   listing, continuation, long polling        ServiceListing.cpp
//
// Belongs to the environment's thread.
class Service {
public:
    using Answer = std::function<void(const Reply&)>;

    Service(std::shared_ptr<QWAppFolder> folder, std::shared_ptr<QWEnvironment> environment,
            ServiceOptions options);
    ~Service();

    // "files/upload", …
    static QStringList routeNames();
    // The route that a request names, or nothing.
    static QString routeOf(const QUrl& target);

    // Calls `answer` once: later for a long poll, otherwise within the call.
    void handle(const Request& request, const Answer& answer);

    // From here on every cursor given so far is lost.
    void forgetCursors();

private:
    struct Route;
    struct LongPoll {
        Listing listing;
        Answer answer;
        QWRunLoop::Duration deadline;
    };
    struct Commit;
    struct Session {
        std::shared_ptr<Spool> content;
        bool isClosed = false;
    };

    static const std::vector<Route>& routes();
    static const Route* find(const QString& name);
    void checkToken(const Request& request, const Route& route) const;
    Reply carryOut(const Request& request, const Route& route);

    Reply getMetadata(Arguments& arguments, const Request& request);
    Reply download(Arguments& arguments, const Request& request);
    Reply remove(Arguments& arguments, const Request& request);
    Reply createFolder(Arguments& arguments, const Request& request);
    Reply move(Arguments& arguments, const Request& request);
    Reply currentAccount(Arguments& arguments, const Request& request);
    Reply checkUser(Arguments& arguments, const Request& request);

    Reply upload(Arguments& arguments, const Request& request);
    Reply startSession(Arguments& arguments, const Request& request);
    Reply appendToSession(Arguments& arguments, const Request& request);
    Reply finishSession(Arguments& arguments, const Request& request);
    static Commit takeCommit(Arguments& arguments);
    static void checkHash(const std::optional<QString>& hash, Spool& content);
    Session& findSession(const QString& id, qint64 offset, const QStringList& above);
    QString keepSession(std::shared_ptr<Spool> content, bool isClosed);

    Reply listFolder(Arguments& arguments, const Request& request);
    Reply continueListing(Arguments& arguments, const Request& request);
    Reply latestCursor(Arguments& arguments, const Request& request);
    Listing takeListing(Arguments& arguments);
    void checkListed(const Listing& listing);
    Reply page(Listing listing);
    void startLongPoll(Arguments& arguments, const Answer& answer);
    bool hasChanged(const Listing& listing);
    void checkLongPolls();

    std::shared_ptr<QWAppFolder> folder_;
    std::shared_ptr<QWEnvironment> environment_;
    ServiceOptions options_;
    QHash<QString, Session> sessions_; // those of uploads, by id
    std::vector<LongPoll> longPolls_;  // that wait
    QWRunLoop::Handle nextCheck_;      // of the long polls
};

} // namespace standin
