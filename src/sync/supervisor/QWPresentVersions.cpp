#include "sync/supervisor/QWPresentVersions_p.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "platform/text/QWText.h"
#include "sync/QWDeltaSpecialActions_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"
#include "sync/records/QWSyncRecordFile_p.h"
#include "sync/records/QWTravellingForm.h"

namespace qw::sync {

bool isDeletionOfRecordFile(const DBDeltaEntry& entry) {
    return !entry.metadata && isInSyncFolder(entry.lowercasePath) && isRecordFile(entry.lowercasePath)
           && !isConflictedName(qw::text::lastPathComponent(entry.lowercasePath));
}

bool belongsToEntity(QWDropboxSyncCoreData& engine, const QString& fileName) {
    const auto named = objectNamedByFile(fileName);
    return named && engine.mainManagedObjectContext()->model().entity(named->entityName);
}

QWRef<QWManagedObjectWithSyncSupport> hostsObject(QWDropboxSyncCoreData& engine, const QString& fileName) {
    return QWDropboxSyncCoreData::objectReferencedByFile(fileName, *engine.mainManagedObjectContext(), false);
}

QWRef<QWManagedObjectWithSyncSupport> presentVersion(QWDropboxSyncCoreData& engine, const QString& fileName) {
    const auto batch = engine.objectReferencedWithLowerCaseFileName(fileName, false);
    if (!batch && !engine.mainManagedObjectContext()->hasChanges())
        return {};
    const auto host = hostsObject(engine, fileName);
    if (host && !batch)
        return host->isInserted() ? host : QWRef<QWManagedObjectWithSyncSupport>();
    if (host && batch)
        return engine.receivedVersionWins(*batch, host->dateModified()) ? batch : host;
    return batch;
}

std::optional<QByteArray> travellingHash(QWDropboxSyncCoreData& engine,
                                         QWManagedObjectWithSyncSupport& object) {
    const auto record =
        recordOnArrival(engine.syncDictionaryExporter().dictionaryToInsertOrUpdateObjectToSync(object));
    return record ? travellingHash(*record, object) : std::nullopt;
}

QWRef<ObjectWaitingSync> waitingDeletion(QWDropboxSyncCoreData& engine, const QString& fileName) {
    const auto named = objectNamedByFile(fileName);
    const auto row =
        QWFindObjectWaitingSync(*engine.dropboxCacheManagedObjectContext(), uuidNamedByFile(fileName));
    const bool isDeletion = row && named && row->action() == QWDropboxSyncActionDelete
                            && row->objectEntityName().compare(named->entityName, Qt::CaseInsensitive) == 0;
    return isDeletion ? row : QWRef<ObjectWaitingSync>();
}

} // namespace qw::sync
