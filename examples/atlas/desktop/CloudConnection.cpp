#include "desktop/CloudConnection.h"

#include <QLoggingCategory>

using namespace std::chrono_literals;

namespace atlas {

namespace {

// For those who watch the program from outside: QT_LOGGING_RULES=atlas.cloud.info=true.
Q_LOGGING_CATEGORY(cloudLog, "atlas.cloud", QtWarningMsg)

constexpr auto leastPause = 1min; // between two times that nobody has asked for

} // namespace

CloudConnection::CloudConnection(AtlasLibrary& library, QObject* parent)
    : QObject(parent), library_(library) {
    connect(&library_.engine(), &QWDropboxSyncCoreData::statusChanged, this, [this] {
        // It has answered.
        if (library_.engine().lastTimeQueriedDeltaEntries() != lastQuery_)
            setTrouble({});
    });
}

CloudConnection::~CloudConnection() {
    stop();
}

bool CloudConnection::start(const CloudAddress& cloud, bool remembersToken, QWError* error) {
    std::shared_ptr<DBRestClient> client = openCloud(cloud, library_.environment(), error);
    if (!client)
        return false;
    stop();
    library_.setCloud(cloud.address, remembersToken ? cloud.accessToken : QString());
    start(std::move(client));
    return true;
}

void CloudConnection::start(std::shared_ptr<DBRestClient> client) {
    stop();
    supervisor_ = QWSyncSupervisor::create(library_.engine(), std::move(client));
    connect(supervisor_.get(), &QWSyncSupervisor::queryFailed, this, [this](const QString& reason) {
        if (isActive()) // a refused token has a message of its own
            setTrouble(reason);
    });
    connect(supervisor_.get(), &QWSyncSupervisor::progressed, this, [this] {
        if (!std::exchange(isInStep_, supervisor_->isInStep()) && isInStep_)
            qCInfo(cloudLog, "in step");
    });
    isInStep_ = false;
    supervisor_->setDeletionQuestion(
        [this](qint64 count, qint64 total) { Q_EMIT deletionsHeld(count, total); });
    lastAsked_ = library_.environment()->runLoop().now(); // an activation asks
    supervisor_->activate();
    Q_EMIT supervisorChanged();
}

void CloudConnection::stop() {
    if (!supervisor_)
        return;
    if (isActive())
        library_.engine().deactivateSync();
    supervisor_->disconnect(this); // the engine holds it until there is another one
    supervisor_.reset();
    setTrouble({});
    Q_EMIT supervisorChanged();
}

bool CloudConnection::isActive() const {
    return supervisor_ && library_.engine().status() < QWDropboxSyncStatusDisabled;
}

void CloudConnection::syncNow() {
    if (!isActive())
        return;
    lastAsked_ = library_.environment()->runLoop().now();
    supervisor_->syncNow();
}

void CloudConnection::syncNowUnlessJustDone() {
    if (!lastAsked_ || library_.environment()->runLoop().now() - *lastAsked_ >= leastPause)
        syncNow();
}

void CloudConnection::setTrouble(const QString& trouble) {
    lastQuery_ = library_.engine().lastTimeQueriedDeltaEntries();
    if (std::exchange(trouble_, trouble) != trouble)
        Q_EMIT troubleChanged();
}

} // namespace atlas
