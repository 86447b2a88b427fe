// Full re-upload and bulk update: what acts on many objects at once.
//
// The bulk update is the filter between the main context's change notices and the queue; it is
// started by change capture, or by the host, and has no state. The full re-upload is started
// when the sync folder is found missing (at activation, or by its deletion in a delta) and ends
// with every object queued; whoever started it sets the status.
//
// Invariants:
// - The bulk update leaves the one-pass flag of every synced record that it was given down.
// - A full re-upload leaves no known revision, no deletion in the queue and one row for each object.
#include "sync/QWDropboxSyncCoreData.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "sync/QWSyncFileNames_p.h"

// Bulk update -----------------------------------------------------------------------------------------------

void QWDropboxSyncCoreData::updateObjects(const QWManagedObjectSet& objects, const QDateTime& date,
                                          qint32 action, bool askDelegateConfirmation) {
    const auto isToBeSent = [&](QWManagedObjectWithSyncSupport& object) {
        if (!isUsefullToUpdateDateModifiedOfObject(object))
            return false;
        return !askDelegateConfirmation
               || (delegate() && delegate()->shouldUploadUpdateManagedObject(object));
    };
    for (const auto& each : objects) {
        auto* object = dynamic_cast<QWManagedObjectWithSyncSupport*>(each.data());
        if (!object)
            continue;
        if (isToBeSent(*object)) {
            // Before it is dated: the row of a deletion notes the version that goes.
            insertInSyncQueueManagedObject(*object, action);
            // A date that stays the same would come back as a change without keys, which is one to be sent.
            if (!object->doNotUpdateDateModifiedDuringNextSave() && object->dateModified() != date)
                object->setDateModified(date);
        }
        object->resetDoNotUpdateDateModifiedDuringNextSave();
    }
}

// A date on its own is no change worth sending (the stamp of the pass before comes back as one),
// unless it stands for a new image, which the store does not see. An object that can have no row is not
// stamped for its image again and again.
bool QWDropboxSyncCoreData::isUsefullToUpdateDateModifiedOfObject(
    const QWManagedObjectWithSyncSupport& object) {
    const QStringList keys = object.changedKeysForCurrentEvent();
    if (keys.size() >= 2 || !keys.contains(QLatin1String("dateModified")))
        return true;
    const QString uuid = object.uuid(), entityName = object.entity().name();
    const QUrl imageURL = object.imageURL();
    const bool isImagePending = !imageURL.isEmpty() && qw::sync::canNameFiles(uuid, entityName)
                                && fileMetadataManager().needsToUploadOfImageAtURL(
                                    imageURL, fileNameWithUUID(uuid, entityName, true));
    return isImagePending && !objectWaitingSyncForObject(object, false);
}

// Full re-upload --------------------------------------------------------------------------------------------

void QWDropboxSyncCoreData::checkIsSyncNeedToBeResetted() {
    setStatus(QWDropboxSyncStatusCheckingForUpdates);
    if (dropboxRestClient_)
        dropboxRestClient_->loadMetadata(QWDBFileCacheDirectoryInDropboxFolder);
}

// What a running batch has received is in no main context yet and is queued when it is saved.
void QWDropboxSyncCoreData::resetSyncAndUploadAllItems() {
    emptyDeltaEntries();
    deleteAllFileMetadata();
    fetchAllItemsForUpload();
    objectsToSendAfterBatch_.insert(objectsReceived_.begin(), objectsReceived_.end());
    deleteObjectWaitingSyncWithActionDelete();
    saveCacheContext();
}

void QWDropboxSyncCoreData::deleteAllFileMetadata() {
    deleteAllResultOfFetchRequest(QWFetchRequest(QWDBEntityNameFileMetadata));
}

void QWDropboxSyncCoreData::fetchAllItemsForUpload() {
    for (const QString& entityName : entityNames_)
        fetchAllItemsForUploadWithEntityName(entityName);
}

void QWDropboxSyncCoreData::fetchAllItemsForUploadWithEntityName(const QString& entityName) {
    const auto objects = mainManagedObjectContext_->fetch(QWFetchRequest(entityName));
    if (!objects)
        return;
    for (const auto& each : *objects) {
        if (const auto* object = dynamic_cast<const QWManagedObjectWithSyncSupport*>(each.data()))
            queueForUpload(*object);
    }
}

// An object whose deletion dies unsaved comes back, and must be sent then.
void QWDropboxSyncCoreData::deleteObjectWaitingSyncWithActionDelete() {
    const QWFetchRequest deletions = QWRequestOfWaitingDeletions();
    for (const auto& row :
         QWFetchCacheRecords<ObjectWaitingSync>(*dropboxCacheManagedObjectContext(), deletions))
        noteUnsavedDeletion(*row);
    deleteAllResultOfFetchRequest(deletions);
}
