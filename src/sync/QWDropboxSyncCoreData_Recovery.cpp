// Recovery: the cache store never claims what the host's store does not hold.
//
// Upload, import and deletion note in the journal what the cache store said before, where they touch a record
// that is unsaved in the main or the sync support context. Started by a save of either context, which forgets
// the entries of what it has committed; by a discard (rollback, a refresh without merging, a batch that could
// not be saved), after which the entries left are put back as soon as no batch runs and nothing is in flight, of a
// batch that could not be saved also those of records that the host holds unsaved;
// and by the first use of the cache store, when all that the last process has left is put back.
//
// Invariants:
// - A record that is clean in both contexts has no entry, but between a discard and
//   the recovery that follows it.
// - An entry is saved before its request is sent, or with the effects of its import;
//   it goes after the commit.
// - What is put back only makes the engine do again what it has done:
//   `docs/guarantees.md` goes through the cases.
#include "sync/QWDropboxSyncCoreData.h"

#include "sync/QWSyncFileNames_p.h"
#include "util/QWOperationQueue.h"

#include <algorithm>

QWDropboxSyncJournal& QWDropboxSyncCoreData::journal() {
    if (!journal_)
        journal_ = std::make_unique<QWDropboxSyncJournal>(dropboxCacheManagedObjectContext());
    return *journal_;
}

// Noting ----------------------------------------------------------------------------------------------------

// An insertion that was never saved leaves nothing to be saved by its deletion.
void QWDropboxSyncCoreData::noteDeletions(const QWManagedObjectSet& records) {
    for (const auto& record : records) {
        const auto* object = dynamic_cast<QWManagedObjectWithSyncSupport*>(record.data());
        if (object && object->hasChanges())
            objectsDeletedUnsaved_.insert(QWSyncedIdentity(*object));
        else if (object)
            journal().forget(QWSyncedIdentity(*object));
    }
}

void QWDropboxSyncCoreData::noteBeforeUpload(const QString& fileName,
                                             const QWManagedObjectWithSyncSupport& object) {
    if (object.hasChanges() && journal().note(fileName, object.uuid(), object.entity().name()))
        saveCacheContext();
}

void QWDropboxSyncCoreData::noteBeforeDeletion(const ObjectWaitingSync& row) {
    if (noteUnsavedDeletion(row))
        saveCacheContext();
}

bool QWDropboxSyncCoreData::noteUnsavedDeletion(const ObjectWaitingSync& row) {
    if (!objectsDeletedUnsaved_.contains({row.objectEntityName(), row.objectUUID()}))
        return false;
    noteRow(row);
    return true;
}

// Where the host makes a deleted record again, and does not save that, the deletion stands.
void QWDropboxSyncCoreData::noteBeforeInsertion(const ObjectWaitingSync& row,
                                                const QWManagedObjectWithSyncSupport& object) {
    if (object.isInserted())
        noteRow(row);
}

void QWDropboxSyncCoreData::noteRow(const ObjectWaitingSync& row) {
    for (const bool isImage : {false, true})
        journal().note(fileNameForObjectWaitingToSync(row, isImage), row.objectUUID(),
                       row.objectEntityName());
}

// The caller saves the entry together with what the import changes in the cache store.
void QWDropboxSyncCoreData::noteBeforeImport(const QString& fileName,
                                             const QWManagedObjectWithSyncSupport& object) {
    objectsReceived_.insert(QWSyncedIdentity(object));
    journal().note(fileName, object.uuid(), object.entity().name());
}

// Forgetting ------------------------------------------------------------------------------------------------

bool QWDropboxSyncCoreData::isUnsavedInMainContext(const QWSyncedIdentity& identity) {
    if (objectsDeletedUnsaved_.contains(identity))
        return true;
    if (!mainManagedObjectContext_->hasChanges())
        return false;
    const QWFetchRequest request(identity.entityName,
                                 QWPredicate::comparison("uuid", QWPredicate::Operator::Equal, identity.uuid,
                                                         QWPredicate::CaseInsensitive));
    const auto found = mainManagedObjectContext_->fetch(request).value_or(QWManagedObjectSet());
    return std::any_of(found.begin(), found.end(), [](const auto& record) { return record->hasChanges(); });
}

void QWDropboxSyncCoreData::mainContextDidSave(const QWDidSaveNotice& notice) {
    replaceInsertionsOfBatch(notice.inserted);
    refreshBatch(notice);
    bool isChanged = false;
    for (const auto* set : {&notice.inserted, &notice.updated, &notice.deleted}) {
        for (const auto& record : *set) {
            const auto* object = dynamic_cast<QWManagedObjectWithSyncSupport*>(record.data());
            if (!object)
                continue;
            const QWSyncedIdentity identity(*object);
            objectsDeletedUnsaved_.erase(identity);
            const bool comesAgain = objectsOfLostBatches_.contains(identity);
            if (!comesAgain && !objectsReceived_.contains(identity) && journal().forget(identity))
                isChanged = true;
        }
    }
    if (isChanged)
        saveCacheContext();
}

// The batch's versions are in the host's store, or gave way to the host's.
void QWDropboxSyncCoreData::forgetReceivedObjects() {
    for (const auto& identity : std::exchange(objectsReceived_, {}))
        if (!isUnsavedInMainContext(identity))
            journal().forget(identity);
    for (const auto& identity : std::exchange(objectsToSendAfterBatch_, {}))
        if (const auto object = QWManagedObjectWithSyncSupport::fetchObjectWithUUID(
                identity.uuid, identity.entityName, *mainManagedObjectContext_))
            queueForUpload(*object);
}

// Putting back ----------------------------------------------------------------------------------------------

void QWDropboxSyncCoreData::mainContextDidDiscard(const QWManagedObjectSet& records) {
    for (const auto& record : records)
        if (const auto* object = dynamic_cast<QWManagedObjectWithSyncSupport*>(record.data()))
            objectsDeletedUnsaved_.erase(QWSyncedIdentity(*object));
    isRecoveryDue_ = true;
    QWOperationQueue::performBlockOnMainQueue(environment().runLoop(), [engine = QPointer(this)] {
        if (engine && engine->recoverWhenQuiet())
            engine->beginSyncOfObjectsWaitingSync();
    });
}

bool QWDropboxSyncCoreData::recoverWhenQuiet() {
    const bool isBatchRunning = syncSupportManagedObjectCopy_ || !deltaEntriesToImport_.isEmpty()
                                || resetListing_.unansweredQueries() > 0;
    if (!isRecoveryDue_ || isBatchRunning || objectsSyncing_.count() > 0)
        return false;
    isRecoveryDue_ = false;
    const auto lost =
        std::exchange(objectsOfLostBatches_, {}); // and is to come again, whatever the host holds unsaved
    recover([&](const QWSyncedIdentity& identity) {
        return lost.count(identity) > 0 || !isUnsavedInMainContext(identity);
    });
    return true;
}

void QWDropboxSyncCoreData::recoverFromLastProcess() {
    recover([](const QWSyncedIdentity&) { return true; });
}

void QWDropboxSyncCoreData::recover(const std::function<bool(const QWSyncedIdentity&)>& isLost) {
    const auto isRecordHere = [this](const QWSyncedIdentity& identity) {
        return static_cast<bool>(QWManagedObjectWithSyncSupport::fetchObjectWithUUID(
            identity.uuid, identity.entityName, *mainManagedObjectContext_));
    };
    if (const auto cursor = journal().putBack(isLost, isRecordHere)) {
        metadataWithKey(QWDBMetadataCursorKey)->setValue(*cursor);
        deltaNextCursor_ = *cursor;
    }
    sendObjectsWhoseDeletionWasLost();
    saveCacheContext();
}

// Their record files may be in the cloud or not, which the revision put back allows for. Their images are
// sent again, since they are newer than no date: where they still are in the cloud, the same bytes change nothing.
void QWDropboxSyncCoreData::sendObjectsWhoseDeletionWasLost() {
    for (const auto& row : QWFetchCacheRecords<ObjectWaitingSync>(*dropboxCacheManagedObjectContext(),
                                                                  QWRequestOfWaitingDeletions())) {
        if (!objectReferencedByWaitingObject(*row))
            continue;
        row->setAction(QWDropboxSyncActionInsertOrUpdate);
        if (const auto image = fileMetadataManager().fileMetadataForFileName(
                fileNameForObjectWaitingToSync(*row, true), false))
            image->setLastModifiedDate(QDateTime());
    }
}
