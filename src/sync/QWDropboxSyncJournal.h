#pragma once

#include "sync/QWSyncedIdentity.h"
#include "sync/cache/QWDropboxFileMetadataManager.h"

#include <functional>
#include <optional>

// The host's store and the cache store are two files, and no commit spans both. The journal remembers,
// in the cache store, what that store said of a file before it said what the host's store does not
// hold yet: as long as a record is unsaved in a context of the host's store, each file of it that was
// sent, received or deleted has an entry with the file's FileMetadata, the record's waiting row and
// the saved cursor as they were before the first such step. Putting an entry back makes the engine
// take that step again, which is harmless when it was done.
//
// Saves nothing by itself.
class QWDropboxSyncJournal {
public:
    static void addEntity(QWManagedObjectModel& model);

    explicit QWDropboxSyncJournal(std::shared_ptr<QWManagedObjectContext> dropboxCacheManagedObjectContext);

    bool isEmpty() const;
    // Makes the file's entry; false when it has one already.
    bool note(const QString& fileName, const QString& uuid, const QString& entityName);
    // The host's store holds the record as it is now, or as it is not: its entries
    // go. False when it had none.
    bool forget(const QWSyncedIdentity& identity);
    // Puts back, and removes, the entries of the records for which `isToBePutBack` holds. A row made since
    // then stays. Answers the cursor of the oldest of them, which is also that of the later entries left from
    // now on; nothing when there were none. `isRecordHere` says whether the host's store holds the record.
    std::optional<QString> putBack(const std::function<bool(const QWSyncedIdentity&)>& isToBePutBack,
                                   const std::function<bool(const QWSyncedIdentity&)>& isRecordHere);

private:
    void putBack(const QWManagedObject& entry, bool isRecordHere);

    std::shared_ptr<QWManagedObjectContext> context_;
    QWDropboxFileMetadataManager fileMetadata_;
};
