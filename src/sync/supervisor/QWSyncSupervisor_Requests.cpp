// What the engine asks of the cloud.
//
// Invariant:
// - Each request of the engine is sent once, held until the next restart or the answer to an earlier one, or (a query)
//   taken back.
#include "sync/supervisor/QWSyncSupervisor.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "platform/text/QWText.h"
#include "sync/QWDeltaSpecialActions_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/supervisor/QWImageKeeper_p.h"
#include "sync/supervisor/QWPreferencesKeeper_p.h"

#include <algorithm>

DBRestClient& QWSyncSupervisor::request(qint64& kind) {
    ++kind;
    ++requestsOut_;
    return *client_;
}

// The query of a restart is due as soon as the user has answered; what waits is sent all the same.
void QWSyncSupervisor::loadDelta(const QString& cursor) {
    const bool mustWait = isLookingForFolder_ || isBatchRunning() || (!isQueryDue_ && !isPollDue());
    if (isDeletionQuestionOpen() || (engineCalls_ == 0 && mustWait)) {
        engine_->takeBackDeltaQuery(statusBefore_);
        sendWaitingSoon();
        return;
    }
    isQueryDue_ = false;
    hasLastQueryFailed_ = false;
    asksFromScratch_ = cursor.isEmpty();
    lastQuery_ = runLoop().now();
    queriesOut_.append(generation_);
    request(requests_.queries).loadDelta(cursor);
}

// A page that comes meanwhile would make the engine load one file more than it may at a time.
bool QWSyncSupervisor::isBatchRunning() const {
    return !engine_->deltaEntriesToImport().isEmpty() && !hasLastQueryFailed_;
}

void QWSyncSupervisor::uploadFile(const QString& filename, const QString& folder, const QString& parentRev,
                                  const QString& localPath) {
    if (isLocalPreferences(localPath))
        uploadPreferences();
    else if (noteSentAndCompare(filename))
        isRestartDue_ = true;
    else if (isPlaceholder(filename))
        passOverUpload(filename, localPath);
    else
        sendFile(filename, folder, parentRev, localPath);
}

// One upload of a file is out at a time: of two, the answers would not tell which of them the cloud had taken. What an
// earlier activity has left is waited for, and so is a deletion, which might be carried out later than this.
void QWSyncSupervisor::sendFile(const QString& fileName, const QString& folder, const QString& parentRev,
                                const QString& localPath) {
    const QString path = qw::text::lowercase(qw::sync::remotePath(fileName));
    FileRequest* earlier = earlierUpload(path);
    if (const auto deletion = deletionsOut_.find(path); !earlier && deletion != deletionsOut_.end())
        earlier = &*deletion;
    if (earlier) {
        earlier->next = [=, this] { sendFile(fileName, folder, knownRevision(fileName), localPath); };
        return;
    }
    uploadsOut_.insert(localPath, {generation_, parentRev, nullptr, path});
    request(requests_.uploads).uploadFile(fileName, folder, parentRev, localPath);
}

auto QWSyncSupervisor::earlierUpload(const QString& lowercasePath) -> FileRequest* {
    const auto upload = std::find_if(uploadsOut_.begin(), uploadsOut_.end(), [&](const FileRequest& out) {
        return out.path == lowercasePath && out.generation != generation_;
    });
    return upload == uploadsOut_.end() ? nullptr : &*upload;
}

// An object that was changed while it was in flight is sent again at each of its completions, for as long as
// it is in flight: true for such a repetition. Its image comes before its record, and makes it more than one.
bool QWSyncSupervisor::noteSentAndCompare(const QString& fileName) {
    const QString uuid = qw::sync::uuidNamedByFile(fileName);
    const bool isAcknowledged = !uuid.isEmpty() && uuid == uuidAcknowledged_;
    if (!qw::sync::isRecordFile(fileName)) {
        imagesInFlight_.insert(uuid);
        sendsImageAgain_ |= isAcknowledged;
        return false;
    }
    const QByteArray bytes = engine_->recordSentInFileWithName(fileName);
    const bool isSame = recordsInFlight_.value(uuid).bytes == bytes;
    const auto row = engine_->objectSyncingForFileWithName(fileName);
    recordsInFlight_.insert(uuid, {bytes, hostChanges_, row && row->objectCouldHaveAnImage().value_or(true)});
    return isAcknowledged && isSame && !sendsImageAgain_;
}

// A record without a date was made by a reference to one that has not come. A full re-upload queues it; whoever received
// it would date it, and the record itself, should it come, would be the earlier version.
bool QWSyncSupervisor::isPlaceholder(const QString& fileName) const {
    if (!qw::sync::isRecordFile(fileName))
        return false;
    const auto object = engine_->objectSentInFileWithName(fileName);
    return object && !object->dateModified().isValid();
}

void QWSyncSupervisor::passOverUpload(const QString& fileName, const QString& localPath) {
    ++requestsOut_;
    runLoop().post([weak = weak_from_this(), fileName, localPath] {
        const auto self = weak.lock();
        if (!self || !self->engine_)
            return;
        DBMetadata nothing;
        nothing.path = qw::sync::remotePath(fileName);
        self->finishUpload(nothing.path, localPath, nothing);
        self->engine_->fileMetadataManager().deleteDropboxFileMetadataWithName(fileName);
        self->engine_->saveCacheContext();
    });
}

void QWSyncSupervisor::deletePath(const QString& path) {
    const QString fileName = qw::text::lastPathComponent(path);
    if (qw::sync::isRecordFile(fileName) && !qw::sync::isConflictedName(fileName)) {
        recordsInFlight_.remove(qw::sync::uuidNamedByFile(fileName));
        // It may have been deleted here while its upload was in flight. That change is seen to with this.
        if (const auto row = engine_->objectSyncingForFileWithName(fileName))
            row->setObjectModifiedWhileUploading(false);
    }
    requestDeletion(path);
}

// An earlier activity's upload would make the file again, if it came later.
void QWSyncSupervisor::requestDeletion(const QString& path) {
    const QString key = qw::text::lowercase(path);
    if (FileRequest* const upload = earlierUpload(key)) {
        upload->next = [=, this] { requestDeletion(path); };
        return;
    }
    const QString fileName = qw::text::lastPathComponent(path);
    const QString revision = qw::sync::isImageFile(fileName) ? knownRevision(fileName) : QString();
    deletionsOut_.insert(key, {generation_, revision, nullptr});
    request(requests_.deletions).deletePath(path);
}

void QWSyncSupervisor::loadFile(const QString& path, const QString& localPath) {
    const QString fileName = qw::text::lastPathComponent(path);
    if (qw::sync::isPreferencesFile(path) && !preferences_->isFileDue())
        engine_->passOverFile(fileName);
    else if (qw::sync::isPreferencesFile(path))
        loadPreferences();
    else if (images_->isCopyOfDeleted(fileName)) {
        engine_->passOverFile(fileName);
        deletePath(path);
    } else if (!images_->passOverStray(fileName)) {
        requestDownload(path, localPath);
    }
}

// What an earlier activity has asked for may be an earlier version, and is written to the same place. The engine repeats
// what it could not import for each answer that it had.
void QWSyncSupervisor::requestDownload(const QString& path, const QString& localPath) {
    const QString key = qw::text::lowercase(path);
    if (const auto out = downloadsOut_.find(key); out == downloadsOut_.end()) {
        downloadsOut_.insert(key, {generation_, {}, nullptr});
        request(requests_.downloads).loadFile(path, localPath);
    } else if (out->generation != generation_) {
        out->next = [=, this] { requestDownload(path, localPath); };
    }
}

void QWSyncSupervisor::loadMetadata(const QString& path) {
    if (qw::sync::isPreferencesFile(path))
        return lookUpPreferences();
    if (qw::sync::isSyncFolder(path)) {
        isLookingForFolder_ = true;
        folderLookupTimer_.cancel();
    }
    lookUp(path);
}

void QWSyncSupervisor::lookUp(const QString& path) {
    lookUpsOut_.insert(qw::text::lowercase(path), generation_);
    request(requests_.queries).loadMetadata(path);
}

QString QWSyncSupervisor::knownRevision(const QString& fileName) const {
    const auto known = engine_->fileMetadataManager().fileMetadataForFileName(fileName, false);
    return known ? known->rev() : QString();
}
