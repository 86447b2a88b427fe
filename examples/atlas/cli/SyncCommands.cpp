// Commands that deal with the cloud.

#include "cli/Commands.h"
#include "cli/SyncSession.h"
#include "platform/text/QWDateText.h"
#include "session/CloudAddress.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <cstdio>

namespace {

QJsonObject statusOf(QWDropboxSyncCoreData& engine, qint64 requests) {
    const QDateTime lastQuery = engine.lastTimeQueriedDeltaEntries();
    const qint64 inFlight = engine.numberOfObjectsSyncing();
    return {
        {"status", static_cast<qint64>(engine.status())},
        {"waiting", qMax(qint64(0), engine.numberOfObjectsWaitingSync() - inFlight)},
        {"inFlight", inFlight},
        {"toDownload", static_cast<qint64>(engine.deltaEntriesToImport().count())},
        {"preferencesWait", engine.isPreferenceWaiting()},
        {"requests", requests},
        {"lastQuery", lastQuery.isNull() ? QJsonValue() : QJsonValue(qw::text::textFromDate(lastQuery))},
    };
}

// As JSON, or one value on each line.
void printStatus(const QJsonObject& status, bool asJSON) {
    if (asJSON)
        return print(QString::fromUtf8(QJsonDocument(status).toJson(QJsonDocument::Compact)));
    for (auto value = status.begin(); value != status.end(); ++value)
        print(value.key() + ": " + value->toVariant().toString());
}

atlas::CloudAddress cloudAddress(const Arguments& arguments) {
    atlas::CloudOptions options{arguments.value("cloud")};
    if (arguments.has("token"))
        options.token = arguments.value("token");
    if (arguments.has("token-file"))
        options.tokenFile = arguments.value("token-file");
    QWError error;
    const auto cloud = atlas::cloudAddress(options, &error);
    if (!cloud)
        throw Failure(error);
    return *cloud;
}

std::unique_ptr<DBRestClient> openCloud(const atlas::CloudAddress& cloud, atlas::AtlasLibrary& library) {
    QWError error;
    auto client = atlas::openCloud(cloud, library.environment(), &error);
    if (!client)
        throw Failure(error);
    return client;
}

std::optional<std::chrono::seconds> timeout(const Arguments& arguments) {
    if (!arguments.has("timeout"))
        return {};
    bool isNumber = false;
    const int seconds = arguments.value("timeout").toInt(&isNumber);
    if (!isNumber || seconds < 0)
        throw Failure(
            QStringLiteral("--timeout: expected seconds, found \"%1\"").arg(arguments.value("timeout")));
    return std::chrono::seconds(seconds);
}

// What the user says to very many deletions, if anything.
std::optional<bool> areDeletionsWanted(const Arguments& arguments) {
    const bool areAllowed = arguments.has("allow-deletions"), areRefused = arguments.has("refuse-deletions");
    if (areAllowed && areRefused)
        throw Failure(QStringLiteral("sync takes one of --allow-deletions and --refuse-deletions"));
    return areAllowed || areRefused ? std::optional(areAllowed) : std::nullopt;
}

QString reason(const SyncSession& session, SyncSession::Outcome outcome, QWDropboxSyncCoreData& engine) {
    const QString lastFailure = session.lastFailure();
    switch (outcome) {
    case SyncSession::Outcome::InStep:
        break;
    case SyncSession::Outcome::TokenRefused:
        return QStringLiteral("the cloud has refused the token: connect again");
    case SyncSession::Outcome::TimedOut:
        return QStringLiteral("not in step yet when the time was over: %1 to send, %2 to receive%3%4")
            .arg(engine.numberOfObjectsWaitingSync())
            .arg(engine.deltaEntriesToImport().count())
            .arg(engine.isPreferenceWaiting() ? QStringLiteral(", preferences to send") : QString())
            .arg(lastFailure.isEmpty() ? QString() : "; the cloud's last failure: " + lastFailure);
    case SyncSession::Outcome::DeletionsHeld:
        return QStringLiteral(
                   "%1 of %2 records were deleted elsewhere, and nothing was deleted or received here: "
                   "sync --allow-deletions deletes them here too, --refuse-deletions sends them again")
            .arg(session.heldDeletions().first)
            .arg(session.heldDeletions().second);
    case SyncSession::Outcome::Interrupted:
        return QStringLiteral("interrupted before the library was in step");
    }
    return {};
}

} // namespace

int runConnect(const Arguments& arguments) {
    const atlas::CloudAddress cloud = cloudAddress(arguments);
    const auto library = openLibrary(arguments, Missing::Make);
    openCloud(cloud, *library); // refuses one that cannot be used
    library->setCloud(cloud.address, cloud.accessToken);
    return 0;
}

int runSync(const Arguments& arguments) {
    if (arguments.has("once") == arguments.has("watch"))
        throw Failure(QStringLiteral("sync needs one of --once and --watch"));
    const auto limit = timeout(arguments);
    const auto deletions = areDeletionsWanted(arguments);
    const auto library = openLibrary(arguments);
    if (library->cloud().isEmpty())
        throw Failure(QStringLiteral("%1 is not connected: atlas --library DIR connect --cloud CLOUD")
                          .arg(arguments.library));
    SyncSession session(*library, openCloud({library->cloud(), library->accessToken()}, *library), deletions);
    if (arguments.has("watch"))
        QObject::connect(&session, &SyncSession::inStep, [] {
            print("in step");
            std::fflush(stdout);
        });
    const auto outcome = arguments.has("watch") ? session.watch() : session.runOnce(limit);
    QWError error;
    if (!library->save(&error))
        throw Failure(error);
    const auto& requests = session.supervisor().requests();
    printStatus(statusOf(library->engine(), requests.total()), arguments.has("json"));
    if (!arguments.has("json"))
        print(QStringLiteral("uploads: %1\ndownloads: %2\ndeletions: %3")
                  .arg(requests.uploads)
                  .arg(requests.downloads)
                  .arg(requests.deletions));
    // An interrupt is how watching ends.
    if (outcome == SyncSession::Outcome::InStep
        || (arguments.has("watch") && outcome == SyncSession::Outcome::Interrupted))
        return 0;
    throw Failure(reason(session, outcome, library->engine()), SyncSession::exitCode(outcome));
}

int runStatus(const Arguments& arguments) {
    const auto library = openLibrary(arguments);
    printStatus(statusOf(library->engine(), 0), arguments.has("json"));
    return 0;
}
