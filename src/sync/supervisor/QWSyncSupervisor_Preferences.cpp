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
        request(requests_.queries).loadMetadata(path);
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

// The engine's timers outlive its activity. What they would send, the next one does. Of two uploads at once nobody
// could tell which one the cloud had last.
void QWSyncSupervisor::uploadPreferences() {
    if (!isActive())
        return;
    if (preferences_->isUploading()) {
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
    request(requests_.uploads).uploadFile(known.filename(), QStringLiteral("/"), known.rev, localPath);
}

// An engine that waits for no answer any longer has had that of a later upload: one more would count for a change
// made since.
void QWSyncSupervisor::repeatPreferences() {
    if (engine_->isSyncedPreferencesRequestOut())
        uploadPreferences();
}

// A conflicted copy is nobody's to read. What stands in its place is received first, and the merged values
// are sent.
void QWSyncSupervisor::preferencesUploaded(const QString& destinationPath, const QString& sourcePath,
                                           const DBMetadata& metadata) {
    const bool isStored = qw::sync::isPreferencesFile(destinationPath);
    const bool isBaseKnown = preferences_->uploadEnds(metadata);
    ++counts_.sent;
    finish([&](auto& to) {
        if (isStored)
            to.restClientUploadedFile(*this, destinationPath, sourcePath, metadata);
    });
    if (!isStored)
        deletePath(destinationPath);
    const bool isHeld = std::exchange(isPreferencesUploadHeld_, false);
    if (!isBaseKnown && isActive())
        loadPreferences();
    else if (isHeld)
        uploadPreferences();
    Q_EMIT fileSent(qw::text::lastPathComponent(destinationPath));
}

// Download --------------------------------------------------------------------------------------------------

void QWSyncSupervisor::loadPreferences() {
    request(requests_.downloads)
        .loadFile(QWDBFileSyncedPreferencesInDropboxFolder, preferences_->downloadPath());
}

void QWSyncSupervisor::preferencesLoaded(const QString& contentType, const DBMetadata& metadata) {
    const QJsonObject before = engine_->syncedPreferences();
    QWError error;
    if (!preferences_->prepareImport(&error))
        return finish([&](auto&) {
            repeatLater("restClient:loadedFile:contentType:metadata:", error, [this] { loadPreferences(); });
        });
    finish([&](auto& to) {
        to.restClientLoadedFile(*this, engine_->syncedPreferencesLocalCacheURL().toLocalFile(), contentType,
                                metadata);
        preferences_->finishImport();
        if (engine_->needToUploadSyncedPreferences() || preferences_->isBehindHere())
            engine_->uploadSyncedPreferences();
    });
    const bool isChanged = engine_->syncedPreferences() != before;
    ++(isChanged ? counts_.received : counts_.declined);
    if (isChanged)
        Q_EMIT fileReceived(metadata.filename());
    else
        Q_EMIT fileDeclined(metadata.filename(), QStringLiteral("the preferences here are the same"));
}
