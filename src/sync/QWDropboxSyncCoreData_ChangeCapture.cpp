// Change capture: from the main context's change notices to rows of the queue.
//
// Started by every change notice of the main context, whatever the status. Ends with the cache context saved
// and the upload pool started on a later turn of the run loop.
//
// Invariants:
// - At most one row for each object; its action is that of the latest change.
// - A change of an object in flight marks its row, so that its present state is sent again.
#include "sync/QWDropboxSyncCoreData.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/QWSyncLog_p.h"
#include "util/QWOperationQueue.h"

void QWDropboxSyncCoreData::mainManagedObjctContextObjectsChanged(const QWObjectsDidChangeNotice& notice) {
    noteDeletions(notice.deleted);
    const QDateTime now = environment().clock().now();
    updateObjects(notice.inserted, now, QWDropboxSyncActionInsertOrUpdate, false);
    updateObjects(notice.refreshed, now, QWDropboxSyncActionInsertOrUpdate, true);
    updateObjects(notice.updated, now, QWDropboxSyncActionInsertOrUpdate, true);
    updateObjects(notice.deleted, now, QWDropboxSyncActionDelete, false);
    saveCacheContext();
    QWOperationQueue::performBlockOnMainQueue(environment().runLoop(), [engine = QPointer(this)] {
        if (engine && engine->canUploadAnotherObject())
            engine->beginSyncOfObjectsWaitingSync();
    });
}

void QWDropboxSyncCoreData::insertInSyncQueueManagedObject(QWManagedObjectWithSyncSupport& object,
                                                           qint32 action) {
    const auto row = objectWaitingSyncForObject(object, true);
    if (!row)
        return;
    const bool wasDeletion = row->action() == QWDropboxSyncActionDelete;
    if (wasDeletion && action != QWDropboxSyncActionDelete) {
        noteBeforeInsertion(*row, object);
        Q_EMIT deletionTakenBack(object);
    }
    row->setAction(static_cast<qint16>(action));
    // It may be queued once more: stamped by then, or by a merge with another version.
    if (action == QWDropboxSyncActionDelete && !wasDeletion)
        row->setDeletedVersionDate(object.dateModified());
    if (objectsSyncing_.contains(object.uuid()))
        row->setObjectModifiedWhileUploading(true);
}

QWRef<ObjectWaitingSync>
QWDropboxSyncCoreData::objectWaitingSyncForObject(const QWManagedObjectWithSyncSupport& object,
                                                  bool createIfNotExisting) {
    auto& context = *dropboxCacheManagedObjectContext();
    const QString uuid = object.uuid();
    if (const auto row = QWFindObjectWaitingSync(context, uuid))
        return row;
    if (!createIfNotExisting || uuid.isEmpty())
        return {};
    if (!qw::sync::canNameFiles(uuid, object.entity().name())) {
        qCWarning(qwSyncLog).noquote()
            << "not queued, because no file can bear its uuid:" << object.entity().name() << uuid.left(100);
        return {};
    }
    const auto row = QWInsertCacheRecord<ObjectWaitingSync>(context, QWDBEntityNameObjectWaitingSync);
    row->setObjectEntityName(object.entity().name());
    row->setObjectUUID(uuid);
    row->setObjectCouldHaveAnImage(!object.imageURL().isEmpty());
    return row;
}
