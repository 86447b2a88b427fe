#pragma once

#include "core/QWManagedObjectToJSONConverter.h"
#include "core/QWManagedObjectWithSyncSupport.h"
#include "sync/records/QWSyncRecord.h"

#include <QStringList>

// Writes the sync record of a record: the dictionary of its field values that travels as one file. Values are
// those of QWManagedObjectToJSONConverter, but for relationships: those that travel (QWSyncRecord.h) become a
// reference {"uuid", "entityName"} or null, and for a to-many an array of them in the relationship's order;
// the others are left out. Reusable; one thread at a time.
class QWDropboxSyncManagedObjectDictionaryExporter final : public QWManagedObjectToJSONConverter {
public:
    explicit QWDropboxSyncManagedObjectDictionaryExporter(const QStringList& entityDependencyNames);

    QVariantMap dictionaryToInsertOrUpdateObjectToSync(QWManagedObjectWithSyncSupport& object);

    // The reference to a record; null for none.
    static QVariant dictionaryToSaveRelationshipOfObject(const QWManagedObjectWithSyncSupport* object);

    // Always NO: no destination is visited. A destination that is no synced record is a programming error.
    bool visitObjectShouldExploreRelationshipForKey(QWManagedObject& object, const QString& key,
                                                    const QString& name, const QString& destinationEntityName,
                                                    bool isToMany) override;

private:
    QStringList entityNames_;
};
