// The file of the shared preferences, from the engine's requests to its answers.
//
// What the engine leaves stuck, its own flag of a transfer that never ended, is freed by looking the file up:
// at an activation, and after a conflict by receiving the other version.
#include "sync/supervisor/QWSyncSupervisor.h"

#include "platform/text/QWText.h"
#include "sync/QWRequestFailure_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/supervisor/QWPreferencesKeeper_p.h"

using qw::sync::requestFailure;
using qw::sync::RequestFailure;

bool QWSyncSupervisor::isPreferenceWaiting() const {
    return engine_ && engine_->isPreferenceWaiting();
}

bool QWSyncSupervisor::isLocalPreferences(const QString& localPath) const {
    return engine_ && localPath == engine_->syncedPreferencesLocalCacheURL().toLocalFile();
}

void QWSyncSupervisor::answerSoon(std::function<void(DBRestClientDelegate&)> answer) {
    ++requestsOut_;
    runLoop().post([weak = weak_from_this(), answer = std::move(answer)] {
        if (const auto self = weak.lock(); self && self->engine_)
            self->finish(answer);
    });
}

// Look-up ---------------------------------------------------------------------------------------------------

// Where nothing is shared there is nothing to be sent, whatever stands there.
void QWSyncSupervisor::lookUpPreferences() {
    const QString path = QWDBFileSyncedPreferencesInDropboxFolder;
    if (engine_->syncedPreferences().isEmpty())
        return answerSoon(
            [this](auto& to) { to.restClientLoadedMetadata(*this, preferences_->knownFile()); });
    if (!std::exchange(isLookingForPreferences_, true))
        lookUp(path);
}

void QWSyncSupervisor::freePreferences() {
    if (isActive() && engine_->isSyncedPreferencesRequestOut() && !isLookingForPreferences_)
        callEngine([&] { engine_->checkIfPreferencesNeedsToBeUploaded(); });
}

// While the folder is looked for, an activation may come that looks both up.
void QWSyncSupervisor::preferencesLookUpFailed(const QWError& error) {
    isLookingForPreferences_ = false;
    if (requestFailure(error) == RequestFailure::FileGone)
        preferences_->fileIsMissing();
    if (requestFailure(error) == RequestFailure::Transient)
        repeatLater("restClient:loadMetadataFailedWithError:", error, [=, this] {
            if (isLookingForFolder_)
                preferencesLookUpFailed(error);
            else
                freePreferences();
        });
}

// Upload ----------------------------------------------------------------------------------------------------

// The engine's timers outlive its activity. What they would send, the next one does.
void QWSyncSupervisor::uploadPreferences() {
    if (!isActive())
        return;
    if (preferences_->isTransferring()) {
        isPreferencesUploadHeld_ = true;
        return;
    }
    const QString localPath = engine_->syncedPreferencesLocalCacheURL().toLocalFile();
    const DBMetadata known = preferences_->knownFile();
    const auto tryAgain = [this](const QWError& error) {
        repeatLater("uploadSyncedPreferences", error, [this] { repeatPreferences(); });
    };
    QWError error;
    if (!preferences_->stage(&error))
        return tryAgain(error);
    if (!preferences_->isUploadDue())
        return answerSoon(
            [=, this](auto& to) { to.restClientUploadedFile(*this, known.path, localPath, known); });
    if (!preferences_->uploadBegins(&error))
        return tryAgain(error);
    uploadsOut_.insert(localPath, {generation_, known.rev, nullptr});
    request(requests_.uploads).uploadFile(known.filename(), QStringLiteral("/"), known.rev, localPath);
}

// An engine that waits for no answer any longer has had that of a later upload: one more would count for a change
// made since.
void QWSyncSupervisor::repeatPreferences() {
    if (engine_->isSyncedPreferencesRequestOut())
        uploadPreferences();
}

// An engine that has had another answer since takes this upload for done, and would not wait for it to be repeated: it
// asks again.
void QWSyncSupervisor::uploadHeldPreferences() {
    if (!std::exchange(isPreferencesUploadHeld_, false) || !isActive())
        return;
    if (engine_->isSyncedPreferencesRequestOut())
        uploadPreferences();
    else
        engine_->uploadSyncedPreferences();
}

// What is sent in its place is what is here then.
void QWSyncSupervisor::preferencesNotUploaded() {
    preferences_->uploadEnds({});
    isPreferencesUploadHeld_ = false;
    if (std::exchange(isPreferencesDownloadHeld_, false))
        loadPreferences();
}

// A conflicted copy is nobody's to read. What stands in its place is received first, and the merged values
// are sent. An engine that has begun a further upload since, which was held or not sent, takes this for its answer: what
// was changed meanwhile it asks for once more.
void QWSyncSupervisor::preferencesUploaded(const QString& destinationPath, const QString& sourcePath,
                                           const DBMetadata& metadata) {
    const bool isStored = qw::sync::isPreferencesFile(destinationPath);
    const bool isBaseKnown = preferences_->uploadEnds(metadata);
    ++counts_.sent;
    finish([&](auto& to) {
        if (!isStored)
            return;
        to.restClientUploadedFile(*this, destinationPath, sourcePath, metadata);
        if (preferences_->isBehindHere() && !engine_->needToUploadSyncedPreferences())
            engine_->uploadSyncedPreferences();
    });
    if (!isStored)
        deletePath(destinationPath);
    if (std::exchange(isPreferencesDownloadHeld_, false) || !isBaseKnown)
        loadPreferences();
    else
        isPreferencesUploadHeld_ = false;
    Q_EMIT fileSent(qw::text::lastPathComponent(destinationPath));
}

// Download --------------------------------------------------------------------------------------------------

void QWSyncSupervisor::loadPreferences() {
    if (!isActive())
        return;
    if (preferences_->isTransferring()) {
        isPreferencesDownloadHeld_ = true;
        return;
    }
    const QString path = QWDBFileSyncedPreferencesInDropboxFolder;
    preferences_->downloadBegins();
    downloadsOut_.insert(qw::text::lowercase(path), {generation_, {}, nullptr});
    request(requests_.downloads).loadFile(path, preferences_->downloadPath());
}

// An upload that was held meanwhile is one of those that the engine asks for then; another download has the same answer,
// unless a version was listed since this one was asked for.
void QWSyncSupervisor::preferencesLoaded(const QString& contentType, const DBMetadata& metadata) {
    const bool isOfUse = preferences_->downloadEnds();
    const bool isAnotherHeld = std::exchange(isPreferencesDownloadHeld_, false);
    if (!isActive() || !isOfUse) {
        finish([](auto&) {});
        return loadPreferences();
    }
    const QJsonObject before = engine_->syncedPreferences();
    QWError error;
    if (!preferences_->prepareImport(&error))
        return finish([&](auto&) {
            repeatLater("restClient:loadedFile:contentType:metadata:", error, [this] { loadPreferences(); });
        });
    isPreferencesUploadHeld_ = false;
    finish([&](auto& to) {
        to.restClientLoadedFile(*this, engine_->syncedPreferencesLocalCacheURL().toLocalFile(), contentType,
                                metadata);
        preferences_->finishImport(metadata);
        if (engine_->needToUploadSyncedPreferences() || preferences_->isBehindHere())
            engine_->uploadSyncedPreferences();
    });
    if (isAnotherHeld && isActive() && preferences_->isFileDue())
        loadPreferences();
    const bool isChanged = engine_->syncedPreferences() != before;
    ++(isChanged ? counts_.received : counts_.declined);
    if (isChanged)
        Q_EMIT fileReceived(metadata.filename());
    else
        Q_EMIT fileDeclined(metadata.filename(), QStringLiteral("the preferences here are the same"));
}

void QWSyncSupervisor::preferencesNotLoaded(const QString& path, const QWError& error) {
    const RequestFailure failure = requestFailure(error);
    const QString fileName = qw::text::lastPathComponent(path);
    const bool isRefused = isRefusedForGood(fileName, error);
    preferences_->downloadEnds();
    isPreferencesDownloadHeld_ = false;
    if (failure == RequestFailure::FileGone) {
        preferences_->fileIsMissing();
        isRestartDue_ |= isActive();
    }
    finish([&](auto& to) {
        if (failure == RequestFailure::TokenRefused)
            to.restClientLoadFileFailedWithError(*this, error);
        else if (failure == RequestFailure::FileGone)
            engine_->uploadSyncedPreferences();
        else if (isRefused)
            engine_->leaveOutFile(fileName);
        else
            repeatLater("restClient:loadFileFailedWithError:", error, [this] { loadPreferences(); });
    });
    uploadHeldPreferences();
    fail(path, error);
}
