// Delta download: from the change feed of the cloud to files on this machine.
//
// Started by activation, by a poll timer and by the host. A query collects pages until there are no
// more; the entries are sorted and then worked off by one loop: what is of no use is dropped,
// deletions are applied at once, at most five files are out at a time, and each one that arrives
// (Import) runs the loop again. Ends with the cursor saved, the batch merged into the main context,
// the uploads started and the next poll set for 600 seconds later.
//
// States of an entry: to import; in process as well, while its file is out;
// finished, which takes it out of both.
//
// Invariants:
// - The saved cursor is that of the last batch whose every entry was finished; no entry before it was
//   dropped, but for files that the client leaves out (`leaveOutFile`).
// - What is in process is to import, too. A file that has vanished (404) is never finished, so it
//   holds its batch open until deactivation or a full re-upload.
// - Nothing but a 401 ends the polling: a failed query is repeated after 10 seconds, as is a failed download.
#include "sync/QWDropboxSyncCoreData.h"

#include "platform/text/QWText.h"
#include "sync/QWRequestFailure_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/QWSyncLog_p.h"

#include <QSet>

using qw::sync::requestFailure;
using qw::sync::RequestFailure;

// Query -----------------------------------------------------------------------------------------------------

// A host that is told of the status may deactivate sync.
void QWDropboxSyncCoreData::loadDeltaPotentialUpdates() {
    const int generation = objectsSyncing_.generation();
    setStatus(QWDropboxSyncStatusCheckingForUpdates);
    if (generation != objectsSyncing_.generation())
        return;
    checkForDeltaUpdateImmediatelyAfterCurrentEntriesAnalysis_ = false;
    if (!dropboxRestClient_)
        return;
    if (isDeltaCursorInDoubt_ && resetListing_.unansweredQueries() == 0)
        goBackToSavedCursor();
    resetListing_.queryBegan();
    dropboxRestClient_->loadDelta(deltaNextCursor_);
}

// An answer does not tell which query it is to. While one that a deactivation has given up may still arrive, before or after
// those to newer queries, pages are followed and entries imported, but no cursor is saved and no listing completed. So it is
// with a listing from scratch that comes while another query is out. The first query that is asked with none out starts
// again.
void QWDropboxSyncCoreData::goBackToSavedCursor() {
    isDeltaCursorInDoubt_ = false;
    deltaNextCursor_ = metadataWithKey(QWDBMetadataCursorKey)->value();
    resetListing_.end();
}

void QWDropboxSyncCoreData::takeBackDeltaQuery(quint64 status) {
    resetListing_.queryFailed();
    setStatus(status);
}

// What an earlier batch has applied that did not come to its end goes as well, and is listed again: the journal says
// from where.
void QWDropboxSyncCoreData::giveUpChangesListed() {
    areChangesGivenUp_ = true;
    emptyDeltaEntries();
    deltaNextCursor_ = metadataWithKey(QWDBMetadataCursorKey)->value();
    if (!syncSupportManagedObjectCopy_)
        return;
    const auto received = objectsReceived_;
    setSyncSupportManagedObjectContextCopy(nullptr);
    conflictedCopiesMerged_.clear();
    recover([&](const QWSyncedIdentity& identity) { return received.count(identity) > 0; });
}

void QWDropboxSyncCoreData::restClientLoadedDeltaEntries(DBRestClient&, const QList<DBDeltaEntryRef>& entries,
                                                         bool reset, const QString& cursor, bool hasMore) {
    deltaEntriesToImport_.append(entries);
    deltaNextCursor_ = cursor;
    const bool isListingComplete = resetListing_.pageArrived(entries, reset, hasMore);
    // The listing that is still to come may be the older one, and hold what was deleted before this one.
    isDeltaCursorInDoubt_ |= reset && resetListing_.unansweredQueries() > 0;
    if (isListingComplete && !isDeltaCursorInDoubt_)
        addDeletionsOfResetListing();
    if (hasMore) {
        loadDeltaPotentialUpdates();
        return;
    }
    deltaEntriesToImport_.sort(entityNames_);
    _lastTimeQueriedDeltaEntries = environment().clock().now();
    Q_EMIT changesListed();
    if (std::exchange(areChangesGivenUp_, false)) {
        setStatus(QWDropboxSyncStatusIdle);
        if (canUploadAnotherObject())
            beginSyncOfObjectsWaitingSync();
        return;
    }
    beginProcessOfNextDeltaEntryWaiting();
}

void QWDropboxSyncCoreData::restClientLoadDeltaFailedWithError(DBRestClient&, const QWError& error) {
    resetListing_.queryFailed();
    if (requestFailure(error) == RequestFailure::TokenRefused) {
        tokenBecameInvalid();
        return;
    }
    qCWarning(qwSyncLog).noquote() << "restClient:loadDeltaFailedWithError:" << error.message;
    scheduleNextDeltaEntryCheckWithLastSucceded(false);
}

void QWDropboxSyncCoreData::scheduleNextDeltaEntryCheckWithLastSucceded(bool succeeded) {
    scheduleTimer(succeeded ? QWDBTimeScheduleDeltaDownloadInterval : QWDBTimeScheduleErrorRetryInterval,
                  [this] { loadDeltaPotentialUpdates(); });
}

// A file that waits to be sent, or whose deletion does, is not deleted here: its upload settles what becomes
// of it. Nor is a record file that was never seen: its record was made for an image, and stands as long as
// that does.
void QWDropboxSyncCoreData::addDeletionsOfResetListing() {
    auto& context = *dropboxCacheManagedObjectContext();
    const auto uuidOf = [](const QString& fileName) {
        const auto named = qw::sync::objectNamedByFile(fileName);
        return named ? named->uuid : QString();
    };
    const auto imageNameOf = [](const QString& fileName) {
        return qw::text::deletingPathExtension(fileName) + QLatin1Char('.') + QWDBFileNameImageExtension;
    };
    QStringList known, lacking, written;
    const auto look = [&](const QString& name) {
        if (!resetListing_.holds(name))
            (resetListing_.lacks(name) ? lacking : written).append(name);
    };
    QSet<QString> waiting;
    for (const auto& row :
         QWFetchCacheRecords<ObjectWaitingSync>(context, QWFetchRequest(QWDBEntityNameObjectWaitingSync))) {
        waiting.insert(uuidOf(fileNameForObjectWaitingToSync(*row, false)));
        for (const bool isImage : {false, true})
            look(fileNameForObjectWaitingToSync(*row, isImage));
    }
    for (const auto& file :
         QWFetchCacheRecords<FileMetadata>(context, QWFetchRequest(QWDBEntityNameFileMetadata))) {
        const QString name = file->fileName();
        const bool standsForImage = file->rev().isEmpty() && resetListing_.holds(imageNameOf(name));
        if (!standsForImage && !waiting.contains(uuidOf(name)))
            known.append(name);
        look(name);
    }
    Q_EMIT listingLacks(lacking, written);
    deltaEntriesToImport_.append(resetListing_.deletions(known));
    resetListing_.end();
}

// The loop --------------------------------------------------------------------------------------------------

DBDeltaEntryRef QWDropboxSyncCoreData::extractNextDeltaEntryToProcess() {
    return deltaEntriesToImport_.next(deltaEntriesInProcess_);
}

void QWDropboxSyncCoreData::beginProcessOfNextDeltaEntryWaiting() {
    while (const auto entry = extractNextDeltaEntryToProcess()) {
        const bool startsRequest = fileMetadataManager().isUsefullImportOfDropboxDeltaEntry(*entry)
                                   && beginProcessOfDeltaEntry(entry);
        if (!startsRequest)
            removeDeltaEntry(entry);
        else if (deltaEntriesInProcess_.size() >= QWDBMaximumNumberOfDeltaEntriesInDownload)
            break;
    }
    if (!deltaEntriesToImport_.isEmpty() || !deltaEntriesInProcess_.isEmpty())
        setNumberOfItemsToProcess(-deltaEntriesToImport_.count());
    else
        finishDeltaBatch();
}

// False when the entry needs no request and is finished.
bool QWDropboxSyncCoreData::beginProcessOfDeltaEntry(const DBDeltaEntryRef& entry) {
    switch (entry->specialAction) {
    case SpecialActionSyncCacheFolder:
        resetSyncAndUploadAllItems();
        return true;
    case SpecialActionSyncedPreferences:
        return beginProcessOfSyncedPreferences(entry);
    default:
        if (entry->metadata)
            return beginDownloadOfDeltaEntry(entry);
        processDeleteFromDeltaEntry(*entry);
        return false;
    }
}

bool QWDropboxSyncCoreData::beginDownloadOfDeltaEntry(const DBDeltaEntryRef& entry) {
    if (!qw::sync::downloadFileName(entry->metadata->filename())) {
        ignoreFile(QStringLiteral("no local file can bear its name"), *entry->metadata);
        return false;
    }
    deltaEntriesInProcess_.insert(QWDeltaQueue::nameInProcess(*entry), entry);
    downloadDataWithDropboxMetadata(*entry->metadata);
    return true;
}

// The cursor is saved before the batch's records are; the journal keeps them from being lost in between. Records
// that were saved alone would be those of files that nobody knows.
void QWDropboxSyncCoreData::finishDeltaBatch() {
    if (!isDeltaCursorInDoubt_)
        metadataWithKey(QWDBMetadataCursorKey)->setValue(deltaNextCursor_);
    if (!saveContext(*dropboxCacheManagedObjectContext(), "saveCacheContext")) {
        scheduleTimer(QWDBTimeScheduleErrorRetryInterval, [this, generation = objectsSyncing_.generation()] {
            if (generation == objectsSyncing_.generation())
                beginProcessOfNextDeltaEntryWaiting();
        });
        return;
    }
    if (checkForDeltaUpdateImmediatelyAfterCurrentEntriesAnalysis_) {
        loadDeltaPotentialUpdates();
        return;
    }
    const int generation = objectsSyncing_.generation();
    if (syncSupportManagedObjectCopy_) {
        const bool isSaved = saveSyncSupportContext();
        if (!isSaved) {
            objectsOfLostBatches_.merge(objectsReceived_);
            isRecoveryDue_ = true;
        }
        setSyncSupportManagedObjectContextCopy(nullptr);
        saveCacheContext();
        finishConflictedCopiesOfBatch(isSaved);
    }
    if (generation != objectsSyncing_.generation()) // a host that is told of the merge may deactivate sync
        return;
    setStatus(QWDropboxSyncStatusIdle);
    recoverWhenQuiet();
    beginSyncOfObjectsWaitingSync();
    scheduleNextDeltaEntryCheckWithLastSucceded(true);
}

// Entries ---------------------------------------------------------------------------------------------------

DBDeltaEntryRef QWDropboxSyncCoreData::deltaEntryForFileNamed(const QString& fileName) const {
    return deltaEntriesInProcess_.value(qw::text::lowercase(fileName));
}

void QWDropboxSyncCoreData::deleteDeltaEntryForDownloadedFileNamed(const QString& fileName) {
    const QString name = qw::text::lowercase(fileName);
    const auto entry = deltaEntriesInProcess_.take(name);
    deltaEntriesToImport_.release(name);
    if (entry)
        removeDeltaEntry(entry);
}

void QWDropboxSyncCoreData::passOverFile(const QString& fileName) {
    const auto entry = deltaEntryForFileNamed(fileName);
    if (entry && !fileMetadataManager().fileMetadataForFileName(fileName, false))
        recordFileMetadata(*entry->metadata);
    deleteDeltaEntryForDownloadedFileNamed(fileName);
    saveCacheContext();
}

void QWDropboxSyncCoreData::declineFile(const QString& localPath, const DBMetadata& metadata) {
    environment().files().remove(localPath);
    recordFileMetadata(metadata);
    deleteDeltaEntryForDownloadedFileNamed(metadata.filename());
    saveCacheContext();
    beginProcessOfNextDeltaEntryWaiting();
}

void QWDropboxSyncCoreData::leaveOutFile(const QString& fileName) {
    if (!deltaEntryForFileNamed(fileName))
        return;
    deleteDeltaEntryForDownloadedFileNamed(fileName);
    beginProcessOfNextDeltaEntryWaiting();
}

void QWDropboxSyncCoreData::removeDeltaEntry(const DBDeltaEntryRef& entry) {
    deltaEntriesToImport_.remove(entry);
    entry->removeSpecialAction();
}

void QWDropboxSyncCoreData::emptyDeltaEntries() {
    deltaEntriesToImport_.clear();
    deltaEntriesInProcess_.clear();
    checkForDeltaUpdateImmediatelyAfterCurrentEntriesAnalysis_ = false;
    resetListing_.end();
}

// Downloads -------------------------------------------------------------------------------------------------

void QWDropboxSyncCoreData::downloadDataWithDropboxMetadata(const DBMetadata& metadata) {
    dropboxRestClient_->loadFile(metadata.path, localPath(*qw::sync::downloadFileName(metadata.filename())));
}

void QWDropboxSyncCoreData::restClientLoadFileFailedWithError(DBRestClient&, const QWError& error) {
    const QString path = error.userInfo.value("path").toString();
    const QString destinationPath = error.userInfo.value("destinationPath").toString();
    switch (requestFailure(error)) {
    case RequestFailure::TokenRefused:
        tokenBecameInvalid();
        return;
    case RequestFailure::FileGone:
        if (qw::sync::isPreferencesFile(destinationPath)) {
            finishMissingSyncedPreferences(destinationPath);
            return;
        }
        checkForDeltaUpdateImmediatelyAfterCurrentEntriesAnalysis_ = true;
        beginProcessOfNextDeltaEntryWaiting();
        return;
    case RequestFailure::Transient:
        qCWarning(qwSyncLog).noquote()
            << "restClient:loadFileFailedWithError:" << qw::sync::errorDescription(error);
        scheduleTimer(QWDBTimeScheduleErrorRetryInterval,
                      [=, this] { dropboxRestClient_->loadFile(path, destinationPath); });
    }
}

// Metadata of the sync folder and the preferences file ------------------------------------------------------

void QWDropboxSyncCoreData::restClientLoadedMetadata(DBRestClient&, const DBMetadata& metadata) {
    if (qw::sync::isPreferencesFile(metadata.path))
        finishCheckOfSyncedPreferences(false);
    if (!qw::sync::isSyncFolder(metadata.path))
        return;
    environment().userDefaults().setBoolean(QWDBLastTimeTokenExpiredPrefKey, false);
    loadDeltaPotentialUpdates();
}

void QWDropboxSyncCoreData::restClientLoadMetadataFailedWithError(DBRestClient&, const QWError& error) {
    const QString path = error.userInfo.value("path").toString();
    switch (requestFailure(error)) {
    case RequestFailure::TokenRefused:
        tokenBecameInvalid();
        return;
    case RequestFailure::FileGone:
        if (qw::sync::isPreferencesFile(path))
            finishCheckOfSyncedPreferences(true);
        if (!qw::sync::isSyncFolder(path))
            return;
        environment().userDefaults().setBoolean(QWDBLastTimeTokenExpiredPrefKey, false);
        resetSyncAndUploadAllItems();
        setStatus(QWDropboxSyncStatusIdle);
        beginSyncOfObjectsWaitingSync();
        return;
    case RequestFailure::Transient:
        return;
    }
}
