#include "sync/records/QWDropboxSyncManagedObjectDictionaryImporter.h"

#include "core/QWManagedObjectToJSONConverter.h"
#include "store/QWManagedObjectContext.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/QWSyncLog_p.h"
#include "sync/records/QWTravellingForm.h"

#include <algorithm>

namespace {

// The entity that a reference names; null when it is no reference to a synced record of the model.
const QWEntityDescription* referencedEntity(const QVariantMap& reference, const QWManagedObjectModel& model) {
    const QVariant uuid = reference.value(QWDropBoxUUIDKey);
    if (uuid.typeId() != QMetaType::QString || !qw::sync::isPlainUUID(uuid.toString()))
        return nullptr;
    const auto* entity = model.entity(reference.value(QWDropBoxEntityNameKey).toString());
    return entity && entity->property(QWDropBoxUUIDKey) ? entity : nullptr;
}

bool isReference(const QVariant& value, const QWEntityDescription* destination,
                 const QWManagedObjectModel& model) {
    if (value.typeId() != QMetaType::QVariantMap)
        return false;
    const auto* entity = referencedEntity(value.toMap(), model);
    return entity && destination && entity->isKindOf(*destination);
}

// What a received value is, in a few words.
QString kindOf(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::QString:
        return QStringLiteral("text");
    case QMetaType::Bool:
        return QStringLiteral("a boolean");
    case QMetaType::LongLong:
    case QMetaType::Double:
        return QStringLiteral("a number");
    case QMetaType::QVariantList:
        return QStringLiteral("an array");
    case QMetaType::QVariantMap: {
        const auto map = value.toMap();
        const auto entityName = map.value(QWDropBoxEntityNameKey).toString();
        if (entityName.isEmpty() || !map.contains(QWDropBoxUUIDKey))
            return QStringLiteral("a dictionary without uuid or entityName");
        return QStringLiteral("a reference to \"%1\"").arg(entityName.left(100));
    }
    default:
        return QString::fromLatin1(value.typeName());
    }
}

} // namespace

QWDropboxSyncManagedObjectDictionaryImporter::QWDropboxSyncManagedObjectDictionaryImporter(
    const QStringList& entityDependencyNames)
    : entityNames_(entityDependencyNames) {}

bool QWDropboxSyncManagedObjectDictionaryImporter::needsToUpdateObject(
    const QWManagedObjectWithSyncSupport& object, const QVariantMap& dictionary) const {
    if (object.isInserted())
        return true;
    const QDateTime local = object.dateModified();
    if (!local.isValid())
        return true;
    const QDateTime received = qw::sync::dateOfRecord(dictionary);
    if (received.isValid() && local < received)
        return true;
    qCInfo(qwSyncLog, "No...Update Needed");
    return false;
}

void QWDropboxSyncManagedObjectDictionaryImporter::updateObject(QWManagedObjectWithSyncSupport& object,
                                                                const QVariantMap& dictionary,
                                                                const QString& fileName) {
    updateDictionary_ = dictionary;
    fileName_ = fileName;
    object.acceptVisitor(*this);
}

QVariant QWDropboxSyncManagedObjectDictionaryImporter::updatedValueForKey(const QString& key) const {
    const QVariant value = updateDictionary_.value(key);
    return value.isNull() ? QVariant() : value;
}

QWRef<QWManagedObjectWithSyncSupport>
QWDropboxSyncManagedObjectDictionaryImporter::objectReferencedByDictionary(const QVariantMap& reference,
                                                                           QWManagedObjectContext& context) {
    const auto* entity = referencedEntity(reference, context.model());
    if (!entity)
        return {};
    return QWManagedObjectWithSyncSupport::fetchObjectWithUUID(reference.value(QWDropBoxUUIDKey).toString(),
                                                               entity->name(), context, true);
}

// Visit -----------------------------------------------------------------------------------------------------

void QWDropboxSyncManagedObjectDictionaryImporter::beginVisitOfObject(QWManagedObject&) {}

void QWDropboxSyncManagedObjectDictionaryImporter::endVisitOfObject(QWManagedObject&) {
    updateDictionary_.clear();
}

void QWDropboxSyncManagedObjectDictionaryImporter::apply(QWManagedObject& object, const QString& key,
                                                         const QVariant& value) {
    QWError error;
    if (!object.setValueForKey(key, value, &error))
        qCWarning(qwSyncLog).noquote()
            << fileName_ + QStringLiteral(": the local value stays:") << error.message;
}

void QWDropboxSyncManagedObjectDictionaryImporter::visitObjectValueForKey(QWManagedObject& object,
                                                                          const QString& key) {
    apply(object, key, updatedValueForKey(key));
}

void QWDropboxSyncManagedObjectDictionaryImporter::visitObjectDateForKey(
    QWManagedObject& object, const QString& key, const QString&, const QWDateFormatterRef& formatter) {
    QVariant value = updatedValueForKey(key);
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString();
        QDateTime date =
            QWManagedObjectToJSONConverter::dateFormatterToConvertDateInJSON()->dateFromString(text);
        if (!date.isValid() && formatter)
            date = formatter->dateFromString(text);
        value = date.isValid() ? QVariant(date) : QVariant();
    }
    apply(object, key, value);
}

void QWDropboxSyncManagedObjectDictionaryImporter::visitObjectImageURLForKey(QWManagedObject&, const QString&,
                                                                             const QString&) {
    // Images are applied from files of their own.
}

bool QWDropboxSyncManagedObjectDictionaryImporter::visitObjectShouldExploreRelationshipForKey(
    QWManagedObject& object, const QString& key, const QString&, const QString& destinationEntityName,
    bool isToMany) {
    if (!qw::sync::carriesRelationship(entityNames_, object.entity().name(), destinationEntityName))
        return false;

    auto& context = *object.managedObjectContext();
    const QVariant received = updatedValueForKey(key);
    const bool isArray = received.typeId() == QMetaType::QVariantList;
    QVariantList references;
    if (received.isValid())
        references = isToMany && isArray ? received.toList() : QVariantList{received};

    // Checked before any is resolved, so that a list that is not applied leaves no bare records behind.
    const auto* destination = context.model().entity(destinationEntityName);
    const auto misfit =
        std::find_if_not(references.begin(), references.end(), [&](const QVariant& reference) {
            return isToMany == isArray && isReference(reference, destination, context.model());
        });
    if (misfit != references.end()) {
        const auto expected =
            isToMany ? QStringLiteral("an array of references") : QStringLiteral("a reference");
        qCWarning(qwSyncLog).noquote()
            << QStringLiteral("%1: the local value stays: %2.%3 expected %4 to \"%5\", given %6")
                   .arg(fileName_, object.entity().name(), key, expected, destinationEntityName,
                        kindOf(*misfit));
        return false;
    }

    QList<QWRef<QWManagedObject>> referenced;
    for (const auto& reference : references)
        referenced.append(
            QWRef<QWManagedObject>(objectReferencedByDictionary(reference.toMap(), context).data()));
    if (isToMany)
        object.setUnorderedRelatedObjects(key, referenced);
    else
        object.setRelatedObject(key, referenced.isEmpty() ? nullptr : referenced.front().data());
    return false;
}

void QWDropboxSyncManagedObjectDictionaryImporter::visitObjectCloseRelationshipForKey(QWManagedObject&,
                                                                                      const QString&,
                                                                                      const QString&) {
    // No relationship is ever opened.
}
