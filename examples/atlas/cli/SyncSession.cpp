#include "cli/SyncSession.h"

#include "platform/QWInterrupt.h"

SyncSession::SyncSession(atlas::AtlasLibrary& library, std::shared_ptr<DBRestClient> client,
                         std::optional<bool> areDeletionsWanted)
    : library_(library), engine_(library.engine()),
      supervisor_(QWSyncSupervisor::create(engine_, std::move(client))) {
    connect(supervisor_.get(), &QWSyncSupervisor::progressed, this, &SyncSession::somethingHappened);
    connect(&engine_, &QWDropboxSyncCoreData::statusChanged, this, &SyncSession::somethingHappened);
    connect(&engine_, &QWDropboxSyncCoreData::numberOfItemsToProcessChanged, this,
            &SyncSession::somethingHappened);
    connect(&engine_, &QWDropboxSyncCoreData::numberOfItemsToProcessChanged, this,
            &SyncSession::showProgress);
    connect(supervisor_.get(), &QWSyncSupervisor::queryFailed, this, &SyncSession::noteFailure);
    connect(supervisor_.get(), &QWSyncSupervisor::fileFailed, this,
            [this](const QString& fileName, const QString& reason) {
                noteFailure(reason.contains(fileName) ? reason : fileName + ": " + reason);
            });
    supervisor_->setDeletionQuestion([this, areDeletionsWanted](qint64 count, qint64 total) {
        heldDeletions_ = {count, total};
        if (areDeletionsWanted)
            supervisor_->answerDeletionQuestion(*areDeletionsWanted);
        somethingHappened();
    });
    QWOnInterrupt(this, [this] { finish(Outcome::Interrupted); });
}

SyncSession::Outcome SyncSession::runOnce(std::optional<std::chrono::seconds> timeout,
                                          std::chrono::seconds preferenceTimeout,
                                          std::chrono::seconds troublePause) {
    endsInStep_ = true;
    preferenceTimeout_ = preferenceTimeout;
    troublePause_ = troublePause;
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
    supervisor_->activate();
    loop_.exec();
    preferenceDeadline_.cancel();
    troubleTimer_.cancel();
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
    if (isOnlyAnswerMissing())
        return finish(Outcome::DeletionsHeld);
    limitWaitForPreference();
    const bool before = std::exchange(wasInStep_, supervisor_->isInStep());
    if (!wasInStep_ || before)
        return;
    if (endsInStep_ && library_.takeTrouble())
        return tryAgainLater();
    Q_EMIT inStep();
    if (endsInStep_)
        finish(Outcome::InStep);
}

bool SyncSession::isOnlyAnswerMissing() const {
    return supervisor_->isDeletionQuestionOpen() && heldDeletions_.first > 0
           && engine_.status() == QWDropboxSyncStatusIdle && supervisor_->requestsOut() == 0
           && engine_.numberOfObjectsWaitingSync() == 0;
}

void SyncSession::limitWaitForPreference() {
    const bool waits = endsInStep_ && supervisor_->isPreferenceWaiting()
                       && engine_.status() == QWDropboxSyncStatusIdle
                       && engine_.numberOfObjectsWaitingSync() == 0;
    if (!waits)
        preferenceDeadline_.cancel();
    else if (!preferenceDeadline_.isPending())
        preferenceDeadline_ = library_.environment()->runLoop().after(preferenceTimeout_,
                                                                      [this] { finish(Outcome::TimedOut); });
}

void SyncSession::tryAgainLater() {
    troubleTimer_ = library_.environment()->runLoop().after(troublePause_, [this] {
        wasInStep_ = false;
        engine_.saveCacheContext();
        supervisor_->syncNow();
    });
}

int SyncSession::exitCode(Outcome outcome) {
    switch (outcome) {
    case Outcome::InStep:
        return 0;
    case Outcome::TokenRefused:
        return 3;
    case Outcome::TimedOut:
        return 4;
    case Outcome::DeletionsHeld:
        return 5;
    case Outcome::Interrupted:
        break;
    }
    return 1;
}

void SyncSession::finish(Outcome outcome) {
    outcome_ = outcome;
    loop_.quit();
}

// Each said once, however often it is tried again. A refused token ends the session, which says so itself.
void SyncSession::noteFailure(const QString& what) {
    if (engine_.status() == QWDropboxSyncStatusTokenInvalid)
        return;
    if (std::exchange(lastFailure_, what) == what)
        return;
    progress_.note(QStringLiteral("the cloud fails, trying again: ") + what);
}

void SyncSession::showProgress() {
    const qint64 items = engine_.numberOfItemsToProcess();
    const qint64 left = qAbs(items);
    mostItems_ = left == 0 ? 0 : qMax(mostItems_, left);
    progress_.show(items < 0 ? tr("downloading") : tr("uploading"), mostItems_ - left, mostItems_);
}
