// Answers to what has changed the cloud, before the engine has them: a file was sent, or deleted.
#include "sync/supervisor/QWSyncSupervisor.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "platform/text/QWText.h"
#include "sync/QWDeltaSpecialActions_p.h"
#include "sync/QWRequestFailure_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/supervisor/QWDeletionGuard_p.h"
#include "sync/supervisor/QWImageKeeper_p.h"
#include "sync/supervisor/QWPresentVersions_p.h"
#include "sync/supervisor/QWRecordKeeper_p.h"

using qw::sync::hostsObject;
using qw::sync::requestFailure;
using qw::sync::RequestFailure;

namespace {

// One that an import has dropped is in flight until all that was asked for it is answered.
bool isDone(const ObjectWaitingSync& row) {
    const bool isGone = row.isDeleted() || !row.managedObjectContext();
    return isGone && row.numberOfFilesUploadingToDropbox() == 0;
}

} // namespace

// Uploads ----------------------------------------------------------------------------------------------------

// A reference may name a uuid in lower case. The row of one stays in flight when it is done, and takes the place
// of others; only a new start lets it go.
void QWSyncSupervisor::letGoOfRow(const QString& fileName) {
    const auto row = engine_->objectSyncingForFileWithName(fileName);
    isRestartDue_ |= isActive() && row && isDone(*row);
}

void QWSyncSupervisor::restClientUploadedFile(DBRestClient&, const QString& destinationPath,
                                              const QString& sourcePath, const DBMetadata& metadata) {
    const auto asked = take(uploadsOut_, sourcePath);
    if (!asked)
        return;
    if (isLocalPreferences(sourcePath))
        return preferencesUploaded(destinationPath, sourcePath, metadata);
    const QString fileName = qw::text::lastPathComponent(destinationPath);
    ++counts_.sent;
    const auto listed = listedSince(metadata.filename(), asked->revision);
    if (listed && listed->rev != metadata.rev)
        images_->noteListed(metadata.filename(), *listed);
    DBMetadata standing = listed.value_or(metadata);
    if (asked->isDeletedSince && qw::sync::isImageFile(fileName))
        standing.lastModifiedDate = QDateTime(); // any image is later than that, and goes with its row
    if (asked->next)
        finishEarlierUpload(fileName, standing);
    else
        finishUpload(destinationPath, sourcePath, standing);
    if (listed)
        keepImageKnown(*listed);
    if (deletionGuard_->isFolderMissing()) {
        deletionGuard_->setFolderMissing(false);
        isQueryDue_ = isActive();
    }
    if (isActive() && images_->isConflicted(fileName))
        sendConflictedImage(fileName);
    if (asked->next)
        asked->next();
    Q_EMIT fileSent(fileName);
}

void QWSyncSupervisor::finishUpload(const QString& destinationPath, const QString& sourcePath,
                                    const DBMetadata& metadata) {
    const QString fileName = qw::text::lastPathComponent(destinationPath);
    uuidAcknowledged_ = qw::sync::uuidNamedByFile(fileName);
    sendsImageAgain_ = false;
    if (qw::sync::isImageFile(fileName) && !images_->isConflicted(fileName))
        imagesInFlight_.remove(uuidAcknowledged_);
    images_->noteUpload(fileName);
    records_->noteUpload(fileName);
    const SentRecord sent = recordsInFlight_.value(uuidAcknowledged_);
    const bool mayHaveChanged = sent.hostChanges != hostChanges_ || sent.mayHaveImage;
    const bool isImageBehind = mayHaveChanged && qw::sync::isRecordFile(fileName)
                               && !imagesInFlight_.contains(uuidAcknowledged_)
                               && images_->noteBehind(fileName);
    const bool isRecordBehind = mayHaveChanged && records_->noteBehind(fileName, sent.bytes);
    finish([&](auto& to) { to.restClientUploadedFile(*this, destinationPath, sourcePath, metadata); });
    const QString uuid = std::exchange(uuidAcknowledged_, QString());
    const auto row = engine_->objectSyncingForFileWithName(fileName);
    if (isActive() && (!row || isDone(*row))) {
        recordsInFlight_.remove(uuid);
        imagesInFlight_.remove(uuid);
        if (records_->finishUpload(fileName, isRecordBehind || isImageBehind))
            sendWaiting();
    }
    letGoOfRow(fileName);
}

// The file is another one by now, or was asked to be sent again: the record's row waits for that.
void QWSyncSupervisor::finishEarlierUpload(const QString& fileName, const DBMetadata& standing) {
    finish([&](auto&) {
        records_->noteUpload(fileName);
        engine_->fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(standing);
        engine_->saveCacheContext();
    });
}

// What the listing of a file has told since a request was made of it, with the revision that was known then. Where an
// upload was taken later, it has become a copy of a conflict: what was listed stands.
std::optional<DBMetadata> QWSyncSupervisor::listedSince(const QString& fileName,
                                                        const QString& revision) const {
    const auto known = engine_->fileMetadataManager().fileMetadataForFileName(fileName, false);
    if (!known || known->rev().isEmpty() || known->rev() == revision)
        return {};
    return QWDropboxFileMetadataManager::metadataOf(*known);
}

// The engine forgets the image of a record that is not here. It may have been listed, and passed over, since.
void QWSyncSupervisor::keepImageKnown(const DBMetadata& listed) {
    if (!qw::sync::isImageFile(listed.filename())
        || engine_->fileMetadataManager().fileMetadataForFileName(listed.filename(), false))
        return;
    engine_->fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(listed);
    engine_->saveCacheContext();
}

void QWSyncSupervisor::restClientUploadFileFailedWithError(DBRestClient&, const QWError& given) {
    const QString path = given.userInfo.value("destinationPath").toString();
    const QString sourcePath = given.userInfo.value("sourcePath").toString();
    const auto asked = take(uploadsOut_, sourcePath, given);
    if (!asked)
        return;
    const QWError error = failureOf(given, asked->generation);
    const bool isWanted = asked->generation == generation_ || isLocalPreferences(sourcePath);
    finish([&](auto& to) {
        if (requestFailure(error) == RequestFailure::TokenRefused)
            to.restClientUploadFileFailedWithError(*this, error);
        else if (asked->next)
            asked->next();
        else if (!isWanted)
            return;
        else if (!files().exists(sourcePath))
            isRestartDue_ = isActive();
        else
            repeatLater("restClient:uploadFileFailedWithError:", error, [=, this] {
                if (isLocalPreferences(sourcePath))
                    return repeatPreferences();
                const QString fileName = qw::text::lastPathComponent(path);
                sendFile(fileName, path.section(QLatin1Char('/'), 0, -2), knownRevision(fileName),
                         sourcePath);
            });
    });
    if (isLocalPreferences(sourcePath))
        preferencesNotUploaded();
    fail(path, error);
}

// Deletions -------------------------------------------------------------------------------------------------

void QWSyncSupervisor::restClientDeletedPath(DBRestClient&, const QString& path) {
    if (const auto asked = take(deletionsOut_, qw::text::lowercase(path)))
        finishDeletion(path, *asked);
}

// Of what an earlier activity has asked, or whose object has been sent meanwhile, the engine would forget the file, and
// pass over its deletion in the next listing, though the record may have come back meanwhile.
void QWSyncSupervisor::finishDeletion(const QString& path, const FileRequest& asked) {
    ++counts_.sent;
    const QString fileName = qw::text::lastPathComponent(path);
    std::optional<DBMetadata> listed;
    if (qw::sync::isImageFile(fileName))
        listed = listedSince(fileName, asked.revision);
    records_->noteDeletion(fileName);
    finish([&](auto& to) {
        if (asked.generation == generation_ && engine_->objectSyncingForFileWithName(fileName)
            && !recordsInFlight_.contains(qw::sync::uuidNamedByFile(fileName)))
            to.restClientDeletedPath(*this, path);
    });
    if (listed)
        keepImageKnown(*listed);
    sendAgainWhatIsBack(fileName);
    letGoOfRow(fileName);
    if (asked.next)
        asked.next();
    Q_EMIT fileSent(fileName);
}

// The host has made the record again, or taken its deletion back, when that was due or on its way: the row that was to
// stand for it has gone with the deletion.
void QWSyncSupervisor::sendAgainWhatIsBack(const QString& deletedFile) {
    records_->finishDeletion(deletedFile);
    const auto row = engine_->objectSyncingForFileWithName(deletedFile);
    if ((row && !isDone(*row)) || qw::sync::isConflictedName(deletedFile))
        return;
    const auto object = hostsObject(*engine_, deletedFile);
    if (!object || object->isDeleted() || engine_->objectWaitingSyncForObject(*object, false))
        return;
    engine_->queueForUpload(*object);
    engine_->saveCacheContext();
    sendWaitingSoon();
}

void QWSyncSupervisor::restClientDeletePathFailedWithError(DBRestClient&, const QWError& given) {
    const QString path = given.userInfo.value("path").toString();
    const auto asked = take(deletionsOut_, qw::text::lowercase(path), given);
    if (!asked)
        return;
    const QWError error = failureOf(given, asked->generation);
    if (requestFailure(error) == RequestFailure::FileGone)
        return finishDeletion(path, *asked);
    finish([&](auto& to) {
        if (requestFailure(error) == RequestFailure::TokenRefused)
            to.restClientDeletePathFailedWithError(*this, error);
        else if (asked->generation == generation_)
            repeatLater("restClient:deletePathFailedWithError:", error, [=, this] { requestDeletion(path); });
        else if (asked->next)
            asked->next();
    });
    fail(path, error);
}
