// Answers of the cloud, before the engine has them. What the engine is not told of, it waits for: it is
// repeated, or comes again after a restart.
#include "sync/supervisor/QWSyncSupervisor.h"

#include "platform/text/QWText.h"
#include "sync/QWRequestFailure_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/supervisor/QWDeletionGuard_p.h"
#include "sync/supervisor/QWImageKeeper_p.h"
#include "sync/supervisor/QWPreferencesKeeper_p.h"
#include "sync/supervisor/QWPresentVersions_p.h"
#include "sync/supervisor/QWRecordKeeper_p.h"

using qw::sync::isSyncFolder;
using qw::sync::requestFailure;
using qw::sync::RequestFailure;

namespace {

bool isGone(const ObjectWaitingSync& row) {
    return row.isDeleted() || !row.managedObjectContext();
}

} // namespace

void QWSyncSupervisor::finish(const std::function<void(DBRestClientDelegate&)>& answer) {
    --requestsOut_;
    if (auto* to = delegate())
        callEngine([&] { answer(*to); });
    lookSoon();
}

// Queries ---------------------------------------------------------------------------------------------------

// The engine counts its queries, and would work on the page of one that it was deactivated in: that one is
// taken back: true then. Which of several it is does not matter, since all began at the saved cursor.
bool QWSyncSupervisor::endQuery() {
    --queriesOut_;
    if (staleQueries_ == 0)
        return false;
    --staleQueries_;
    return true;
}

// A listing without a cursor tells of no deletion, as one whose cursor was lost; files may be known all the
// same, which were sent before it was asked for or received in a batch that was not finished.
void QWSyncSupervisor::restClientLoadedDeltaEntries(DBRestClient&, const QList<DBDeltaEntryRef>& entries,
                                                    bool reset, const QString& cursor, bool hasMore) {
    if (endQuery())
        return finish([&](auto&) { engine_->takeBackDeltaQuery(engine_->status()); });
    QStringList ownCopies, preferencesCopies;
    const auto kept = images_->preparePage(entries, !hasMore, ownCopies);
    for (const auto& entry : kept) {
        preferences_->prepareEntry(*entry, preferencesCopies);
        records_->prepareEntry(*entry);
    }
    sendAgainWhatIsDeleted(kept);
    const bool isFirstPage = std::exchange(asksFromScratch_, false) || reset;
    arrivesFromScratch_ |= isFirstPage;
    finish([&](auto& to) { to.restClientLoadedDeltaEntries(*this, kept, isFirstPage, cursor, hasMore); });
    for (const QString& copy : ownCopies)
        sendConflictedImage(copy);
    for (const QString& copy : preferencesCopies)
        deletePath(copy);
}

// What is in flight may have been in the cloud before, and deleted with the sync folder. Where the engine knows the file,
// it deletes the record, and the row goes with it.
void QWSyncSupervisor::sendAgainWhatIsDeleted(const QList<DBDeltaEntryRef>& page) {
    for (const QString& uuid : recordsInFlight_.keys()) {
        const auto isDeletion = [&](const DBDeltaEntryRef& entry) {
            if (!qw::sync::isDeletionOfRecordFile(*entry))
                return !entry->metadata && isSyncFolder(entry->lowercasePath);
            const QString name = qw::text::lastPathComponent(entry->lowercasePath);
            return qw::sync::uuidNamedByFile(name).compare(uuid, Qt::CaseInsensitive) == 0;
        };
        if (std::none_of(page.begin(), page.end(), isDeletion))
            continue;
        if (const auto row = QWFindObjectWaitingSync(*engine_->dropboxCacheManagedObjectContext(), uuid))
            row->setObjectModifiedWhileUploading(true);
    }
}

void QWSyncSupervisor::restClientLoadDeltaFailedWithError(DBRestClient&, const QWError& error) {
    if (endQuery() && requestFailure(error) != RequestFailure::TokenRefused)
        return finish([&](auto&) { engine_->takeBackDeltaQuery(engine_->status()); });
    hasLastQueryFailed_ = true;
    finish([&](auto& to) { to.restClientLoadDeltaFailedWithError(*this, error); });
    Q_EMIT queryFailed(error.message);
}

// Uploads and deletions -------------------------------------------------------------------------------------

// A reference may name a uuid in lower case. The row of one stays in flight when it is done, and takes the place
// of others; only a new start lets it go.
void QWSyncSupervisor::letGoOfRow(const QString& fileName) {
    const auto row = engine_->objectSyncingForFileWithName(fileName);
    isRestartDue_ |= isActive() && row && isGone(*row);
}

void QWSyncSupervisor::restClientUploadedFile(DBRestClient&, const QString& destinationPath,
                                              const QString& sourcePath, const DBMetadata& metadata) {
    if (isLocalPreferences(sourcePath))
        return preferencesUploaded(destinationPath, sourcePath, metadata);
    const QString fileName = qw::text::lastPathComponent(destinationPath);
    ++counts_.sent;
    const Upload upload = uploadsOut_.take(sourcePath);
    const auto listed = listedSince(metadata.filename(), upload.parentRev);
    if (listed && listed->rev != metadata.rev)
        images_->noteListed(metadata.filename(), *listed);
    if (upload.next)
        finishEarlierUpload(fileName, listed.value_or(metadata));
    else
        finishUpload(destinationPath, sourcePath, listed.value_or(metadata));
    if (listed)
        keepImageKnown(*listed);
    if (deletionGuard_->isFolderMissing()) {
        deletionGuard_->setFolderMissing(false);
        isQueryDue_ = isActive();
    }
    if (isActive() && images_->isConflicted(fileName))
        sendConflictedImage(fileName);
    if (upload.next)
        upload.next();
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
    finish([&](auto& to) { to.restClientUploadedFile(*this, destinationPath, sourcePath, metadata); });
    const QString uuid = std::exchange(uuidAcknowledged_, QString());
    const auto row = engine_->objectSyncingForFileWithName(fileName);
    if (isActive() && (!row || isGone(*row))) {
        recordsInFlight_.remove(uuid);
        imagesInFlight_.remove(uuid);
        if (mayHaveChanged && records_->finishUpload(fileName, sent.bytes, isImageBehind))
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

void QWSyncSupervisor::restClientUploadFileFailedWithError(DBRestClient&, const QWError& error) {
    const QString path = error.userInfo.value("destinationPath").toString();
    const QString sourcePath = error.userInfo.value("sourcePath").toString();
    const Upload upload = uploadsOut_.take(sourcePath);
    finish([&](auto& to) {
        if (requestFailure(error) == RequestFailure::TokenRefused)
            to.restClientUploadFileFailedWithError(*this, error);
        else if (upload.next)
            upload.next();
        else if (!files().exists(sourcePath))
            isRestartDue_ = isActive();
        else
            repeatLater("restClient:uploadFileFailedWithError:", error, [=, this] {
                if (isLocalPreferences(sourcePath))
                    return repeatPreferences();
                const QString fileName = qw::text::lastPathComponent(path);
                const auto known = engine_->fileMetadataManager().fileMetadataForFileName(fileName, false);
                sendFile(fileName, path.section(QLatin1Char('/'), 0, -2), known ? known->rev() : QString(),
                         sourcePath);
            });
    });
    if (isLocalPreferences(sourcePath))
        preferencesNotUploaded();
    fail(path, error);
}

// Where no row waits for the answer, or its object has been sent meanwhile, an earlier activity has asked. The engine
// would forget the file, and pass over its deletion in the next listing, though the record may have come back meanwhile.
void QWSyncSupervisor::restClientDeletedPath(DBRestClient&, const QString& path) {
    ++counts_.sent;
    const QString fileName = qw::text::lastPathComponent(path);
    std::optional<DBMetadata> listed;
    if (qw::sync::isImageFile(fileName))
        listed = listedSince(fileName, revisionsOfImagesBeingDeleted_.take(path));
    finish([&](auto& to) {
        if (engine_->objectSyncingForFileWithName(fileName)
            && !recordsInFlight_.contains(qw::sync::uuidNamedByFile(fileName)))
            to.restClientDeletedPath(*this, path);
    });
    if (listed)
        keepImageKnown(*listed);
    letGoOfRow(fileName);
    Q_EMIT fileSent(fileName);
}

void QWSyncSupervisor::restClientDeletePathFailedWithError(DBRestClient&, const QWError& error) {
    const QString path = error.userInfo.value("path").toString();
    if (requestFailure(error) == RequestFailure::FileGone)
        return restClientDeletedPath(*this, path);
    const bool isTransient = requestFailure(error) == RequestFailure::Transient;
    finish([&](auto& to) {
        if (isTransient)
            repeatLater("restClient:deletePathFailedWithError:", error, [=, this] { requestDeletion(path); });
        else
            to.restClientDeletePathFailedWithError(*this, error);
    });
    fail(path, error);
}

// Downloads -------------------------------------------------------------------------------------------------

// A download that the engine does not wait for any longer comes again.
void QWSyncSupervisor::restClientLoadedFile(DBRestClient&, const QString& localPath,
                                            const QString& contentType, const DBMetadata& metadata) {
    if (qw::sync::isPreferencesFile(metadata.path))
        return preferencesLoaded(contentType, metadata);
    downloadsOut_.remove(metadata.path);
    if (!isActive())
        return finish([](auto&) {});
    refusals_.remove(metadata.filename());
    QWImageKeeper::Verdict verdict;
    if (!qw::sync::belongsToEntity(*engine_, metadata.filename()))
        verdict.reason = QStringLiteral("it belongs to no entity");
    else if (qw::sync::isRecordFile(localPath))
        verdict.reason = records_->prepareImport(localPath, metadata);
    else
        verdict = images_->prepareImport(localPath, metadata);
    const QString reason = verdict.reason;
    if (verdict.what == QWImageKeeper::Verdict::Later)
        return finish([&](auto&) {
            repeatLater("restClient:loadedFile:", {QStringLiteral("sync"), 1, reason}, [=, this] {
                ++requestsOut_;
                restClientLoadedFile(*this, localPath, contentType, metadata);
            });
        });
    finish([&](auto& to) {
        if (verdict.what == QWImageKeeper::Verdict::ForEngine)
            to.restClientLoadedFile(*this, localPath, contentType, metadata);
        else
            engine_->declineFile(localPath, metadata);
    });
    for (const QString& path : {images_->finishImport(localPath, metadata), records_->takeDeletionDue()})
        if (!path.isEmpty())
            deletePath(path);
    ++(reason.isEmpty() ? counts_.received : counts_.declined);
    if (reason.isEmpty())
        Q_EMIT fileReceived(metadata.filename());
    else
        Q_EMIT fileDeclined(metadata.filename(), reason);
}

// A file that the service gives nobody (its tag is then restricted_content or unsupported_file) would hold its
// batch, and whatever comes behind, for ever. It is left out when it has been refused so often in a row.
constexpr int mostRefusals = 3;

void QWSyncSupervisor::restClientLoadFileFailedWithError(DBRestClient&, const QWError& error) {
    const QString path = error.userInfo.value("path").toString();
    if (qw::sync::isPreferencesFile(path))
        return preferencesNotLoaded(path, error);
    downloadsOut_.remove(path);
    const QString destinationPath = error.userInfo.value("destinationPath").toString();
    const QString fileName = qw::text::lastPathComponent(path);
    const RequestFailure failure = requestFailure(error);
    const bool isRefused = error.code == 409 && ++refusals_[fileName] >= mostRefusals;
    if (isRefused)
        refusals_.remove(fileName);
    isRestartDue_ |= failure == RequestFailure::FileGone && isActive();
    if (failure == RequestFailure::FileGone || isRefused)
        images_->noteGone(fileName);
    finish([&](auto& to) {
        if (isRefused && isActive())
            engine_->leaveOutFile(fileName);
        else if (failure == RequestFailure::Transient)
            repeatLater("restClient:loadFileFailedWithError:", error,
                        [=, this] { requestDownload(path, destinationPath); });
        else if (isActive() || failure == RequestFailure::TokenRefused)
            to.restClientLoadFileFailedWithError(*this, error);
    });
    fail(path, error);
}

// Metadata --------------------------------------------------------------------------------------------------

// The cloud has made a conflicted copy of this desktop's image, which is the later one: it is sent again, as
// the next version of what stands in its place.
void QWSyncSupervisor::sendConflictedImage(const QString& copy) {
    const QString path = images_->pathOf(copy);
    imageCopies_.insert(qw::text::lowercase(path), copy);
    request(requests_.queries).loadMetadata(path);
}

void QWSyncSupervisor::finishConflictedImage(const QString& copy, const std::optional<DBMetadata>& standing) {
    finish([&](auto&) {
        images_->queueConflicted(copy, standing);
        sendWaiting();
    });
    deletePath(qw::sync::remotePath(copy));
}

void QWSyncSupervisor::restClientLoadedMetadata(DBRestClient&, const DBMetadata& metadata) {
    if (const QString copy = imageCopies_.take(qw::text::lowercase(metadata.path)); !copy.isEmpty())
        return finishConflictedImage(copy, metadata);
    if (isSyncFolder(metadata.path))
        folderFound();
    if (qw::sync::isPreferencesFile(metadata.path))
        isLookingForPreferences_ = false;
    finish([&](auto& to) {
        if (isActive())
            to.restClientLoadedMetadata(*this, metadata);
    });
}

void QWSyncSupervisor::restClientLoadMetadataFailedWithError(DBRestClient&, const QWError& error) {
    const RequestFailure failure = requestFailure(error);
    const QString path = error.userInfo.value("path").toString();
    const QString copy = imageCopies_.take(qw::text::lowercase(path));
    if (!copy.isEmpty() && failure == RequestFailure::FileGone)
        return finishConflictedImage(copy, {});
    if (!copy.isEmpty() && failure == RequestFailure::Transient)
        return finish([&](auto&) {
            repeatLater("restClient:loadMetadataFailedWithError:", error,
                        [=, this] { sendConflictedImage(copy); });
        });
    if (isSyncFolder(path) && failure == RequestFailure::FileGone)
        deletionGuard_->setFolderMissing(true);
    if (isSyncFolder(path) && failure != RequestFailure::Transient)
        folderFound();
    else if (isSyncFolder(path) && isActive())
        lookUpFolderAgain();
    if (qw::sync::isPreferencesFile(path))
        preferencesLookUpFailed(error);
    // Two look-ups are out at once; the host is asked to sign in once.
    const bool isRefused =
        failure == RequestFailure::TokenRefused && engine_->status() != QWDropboxSyncStatusTokenInvalid;
    finish([&](auto& to) {
        if (isActive() || isRefused)
            to.restClientLoadMetadataFailedWithError(*this, error);
    });
    if (failure != RequestFailure::FileGone)
        Q_EMIT queryFailed(error.message);
}

void QWSyncSupervisor::fail(const QString& path, const QWError& error) {
    ++counts_.failed;
    Q_EMIT fileFailed(qw::text::lastPathComponent(path), error.message);
}
