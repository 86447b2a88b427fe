#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"

#include "platform/QWAssert.h"

namespace {

constexpr auto operation =
    "-[QWDropboxSyncManagedObjectDictionaryExporter "
    "visitObject:shouldExploreRelationshipForKey:name:destinationEntityName:isToMany:]";

} // namespace

QWDropboxSyncManagedObjectDictionaryExporter::QWDropboxSyncManagedObjectDictionaryExporter(
    const QStringList& entityDependencyNames)
    : entityNames_(entityDependencyNames) {}

QVariantMap QWDropboxSyncManagedObjectDictionaryExporter::dictionaryToInsertOrUpdateObjectToSync(
    QWManagedObjectWithSyncSupport& object) {
    object.acceptVisitor(*this);
    return rootDictionaryToExport();
}

QVariant QWDropboxSyncManagedObjectDictionaryExporter::dictionaryToSaveRelationshipOfObject(
    const QWManagedObjectWithSyncSupport* object) {
    if (!object)
        return {};
    return QVariantMap{{QWDropBoxUUIDKey, object->uuid()}, {QWDropBoxEntityNameKey, object->entity().name()}};
}

bool QWDropboxSyncManagedObjectDictionaryExporter::visitObjectShouldExploreRelationshipForKey(
    QWManagedObject& object, const QString& key, const QString&, const QString& destinationEntityName,
    bool isToMany) {
    if (rootObject() != &object)
        return false;
    if (!qw::sync::carriesRelationship(entityNames_, object.entity().name(), destinationEntityName))
        return false;

    if (isToMany) {
        QVariantList references;
        for (const auto& member : object.relatedObjects(key)) {
            const auto* referencedObject = dynamic_cast<QWManagedObjectWithSyncSupport*>(member.data());
            QWAssert(referencedObject,
                     "[referencedObject isKindOfClass:[QWManagedObjectWithSyncSupport class]]", operation);
            references.append(dictionaryToSaveRelationshipOfObject(referencedObject));
        }
        saveValue(references, object, key);
    } else {
        const auto destination = object.relatedObject(key);
        const auto* referencedObject = dynamic_cast<QWManagedObjectWithSyncSupport*>(destination.data());
        QWAssert(
            !destination || referencedObject,
            "!referencedObject || [referencedObject isKindOfClass:[QWManagedObjectWithSyncSupport class]]",
            operation);
        saveValue(dictionaryToSaveRelationshipOfObject(referencedObject), object, key);
    }
    return false;
}
