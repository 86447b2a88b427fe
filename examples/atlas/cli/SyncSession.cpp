#include "cli/SyncSession.h"

#include "platform/QWInterrupt.h"

SyncSession::SyncSession(atlas::AtlasLibrary& library, std::shared_ptr<CountingRestClient> client)
    : library_(library), engine_(library.engine()), client_(std::move(client)) {
    connect(client_.get(), &CountingRestClient::answered, this, &SyncSession::somethingHappened);
    connect(&engine_, &QWDropboxSyncCoreData::statusChanged, this, &SyncSession::somethingHappened);
    connect(&engine_, &QWDropboxSyncCoreData::numberOfItemsToProcessChanged, this,
            &SyncSession::somethingHappened);
    connect(&engine_, &QWDropboxSyncCoreData::numberOfItemsToProcessChanged, this,
            &SyncSession::showProgress);
    QWOnInterrupt(this, [this] { finish(Outcome::Interrupted); });
}

SyncSession::Outcome SyncSession::runOnce(std::optional<std::chrono::seconds> timeout) {
    endsInStep_ = true;
    QWRunLoop::Handle deadline;
    if (timeout)
        deadline = library_.environment()->runLoop().after(*timeout, [this] { finish(Outcome::TimedOut); });
    const Outcome outcome = run();
    deadline.cancel();
    return outcome;
}

SyncSession::Outcome SyncSession::watch() {
    return run();
}

SyncSession::Outcome SyncSession::run() {
    engine_.activateSyncWithDropboxRestClient(client_);
    loop_.exec();
    progress_.wipe();
    return outcome_;
}

void SyncSession::somethingHappened() {
    if (std::exchange(willLook_, true))
        return;
    library_.environment()->runLoop().post([this] {
        willLook_ = false;
        look();
    });
}

void SyncSession::look() {
    if (engine_.status() == QWDropboxSyncStatusTokenInvalid)
        return finish(Outcome::TokenRefused);
    // Where the cloud had no sync folder the engine uploads everything and asks for no delta.
    if (isAtRest() && engine_.lastTimeQueriedDeltaEntries().isNull() && !std::exchange(askedForDelta_, true))
        return engine_.loadDeltaPotentialUpdates();
    const bool before = std::exchange(wasInStep_, isInStep());
    if (!wasInStep_ || before)
        return;
    Q_EMIT inStep();
    if (endsInStep_)
        finish(Outcome::InStep);
}

bool SyncSession::isAtRest() const {
    return engine_.status() == QWDropboxSyncStatusIdle && client_->unanswered() == 0;
}

// The engine is idle with an answered delta only after the batch has ended.
bool SyncSession::isInStep() const {
    return isAtRest() && !engine_.lastTimeQueriedDeltaEntries().isNull()
           && engine_.deltaEntriesToImport().isEmpty() && engine_.numberOfObjectsWaitingSync() == 0
           && engine_.numberOfObjectsSyncing() == 0;
}

int SyncSession::exitCode(Outcome outcome) {
    switch (outcome) {
    case Outcome::InStep:
        return 0;
    case Outcome::TokenRefused:
        return 3;
    case Outcome::TimedOut:
        return 4;
    case Outcome::Interrupted:
        break;
    }
    return 1;
}

void SyncSession::finish(Outcome outcome) {
    outcome_ = outcome;
    loop_.quit();
}

void SyncSession::showProgress() {
    const qint64 items = engine_.numberOfItemsToProcess();
    const qint64 left = qAbs(items);
    mostItems_ = left == 0 ? 0 : qMax(mostItems_, left);
    progress_.show(items < 0 ? tr("downloading") : tr("uploading"), mostItems_ - left, mostItems_);
}
