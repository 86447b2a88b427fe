// Cache store: the engine's own books.
//
// Made on first use; lives as long as the engine. Ends with the last save, at the
// latest when the application closes.
//
// Invariants:
// - One context reads and writes the cache store.
// - Rows leave by `deleteObjectWaitingSync` only, so that those in flight are told.
#include "sync/QWDropboxSyncCoreData.h"

#include "sync/QWSyncLog_p.h"

namespace {
const QString cacheStoreFileName = QStringLiteral("DropboxCache.sqlite");
} // namespace

const std::shared_ptr<QWManagedObjectModel>& QWDropboxSyncCoreData::dropboxCacheManagedObjectModel() {
    if (!dropboxCacheManagedObjectModel_)
        dropboxCacheManagedObjectModel_ = QWMakeDropboxCacheModel();
    return dropboxCacheManagedObjectModel_;
}

const std::shared_ptr<QWPersistentStoreCoordinator>&
QWDropboxSyncCoreData::dropboxCachePersistentStoreCoordinator() {
    if (!dropboxCachePersistentStoreCoordinator_) {
        dropboxCachePersistentStoreCoordinator_ = std::make_shared<QWPersistentStoreCoordinator>(
            dropboxCacheManagedObjectModel(), mainManagedObjectContext_->coordinator()->environment());
        QWError error;
        if (!dropboxCachePersistentStoreCoordinator_->addStore(localPath(cacheStoreFileName), {}, &error))
            qCWarning(qwSyncLog).noquote() << "the cache store cannot be opened:" << error.message;
    }
    return dropboxCachePersistentStoreCoordinator_;
}

const std::shared_ptr<QWManagedObjectContext>& QWDropboxSyncCoreData::dropboxCacheManagedObjectContext() {
    if (!dropboxCacheManagedObjectContext_) {
        dropboxCacheManagedObjectContext_ = std::make_shared<QWManagedObjectContext>(
            dropboxCachePersistentStoreCoordinator(), QWConcurrencyType::PrivateQueue);
        recoverFromLastProcess();
    }
    return dropboxCacheManagedObjectContext_;
}

QWDropboxFileMetadataManager& QWDropboxSyncCoreData::fileMetadataManager() {
    if (!fileMetadataManager_)
        fileMetadataManager_ =
            std::make_unique<QWDropboxFileMetadataManager>(dropboxCacheManagedObjectContext());
    return *fileMetadataManager_;
}

QWRef<Metadata> QWDropboxSyncCoreData::metadataWithKey(const QString& key) {
    auto& context = *dropboxCacheManagedObjectContext();
    if (const auto found = QWFindMetadata(context, key))
        return found;
    const auto metadata = QWInsertCacheRecord<Metadata>(context, QWDBEntityNameMetadata);
    metadata->setKey(key);
    return metadata;
}

qint64 QWDropboxSyncCoreData::numberOfObjectsWaitingSync() {
    return dropboxCacheManagedObjectContext()
        ->count(QWFetchRequest(QWDBEntityNameObjectWaitingSync))
        .value_or(0);
}

// Saving ----------------------------------------------------------------------------------------------------

bool QWDropboxSyncCoreData::saveContext(QWManagedObjectContext& context, const char* operation) {
    if (!context.commitEditing())
        qCWarning(qwSyncLog).noquote()
            << QStringLiteral("%1:%2 unable to commit editing before saving")
                   .arg(QLatin1String("QWDropboxSyncCoreData"), QLatin1String(operation));
    QWError error;
    if (context.save(&error))
        return true;
    environment().errorPresenter().presentError(error);
    return false;
}

void QWDropboxSyncCoreData::saveCacheContext() {
    saveContext(*dropboxCacheManagedObjectContext(), "saveCacheContext");
}

void QWDropboxSyncCoreData::saveManagedObjectContexes() {
    if (syncSupportManagedObjectCopy_)
        saveSyncSupportContext();
    saveCacheContext();
}

// Rows ------------------------------------------------------------------------------------------------------

void QWDropboxSyncCoreData::deleteAllResultOfFetchRequest(const QWFetchRequest& request) {
    const auto found = dropboxCacheManagedObjectContext()->fetch(request);
    if (!found)
        return;
    for (const auto& record : *found) {
        if (auto* row = dynamic_cast<ObjectWaitingSync*>(record.data()))
            deleteObjectWaitingSync(*row);
        else
            dropboxCacheManagedObjectContext()->deleteObject(*record);
    }
}

void QWDropboxSyncCoreData::deleteObjectWaitingSync(ObjectWaitingSync& row) {
    objectsSyncing_.rowWillBeDeleted(row);
    dropboxCacheManagedObjectContext()->deleteObject(row);
}

void QWDropboxSyncCoreData::recordFileMetadata(const DBMetadata& metadata, const QString& localPath) {
    resetListing_.fileWritten(metadata.filename());
    fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(metadata, localPath);
}
