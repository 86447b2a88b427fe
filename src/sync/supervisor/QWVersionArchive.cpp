#include "sync/supervisor/QWVersionArchive.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "sync/QWDropboxSyncCoreData.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryImporter.h"
#include "sync/records/QWSyncRecordFile_p.h"
#include "sync/records/QWTravellingForm.h"

#include <algorithm>

namespace {

const QString rowEntityName = QStringLiteral("ArchivedVersion");

const QString objectUUIDKey = QStringLiteral("objectUUID");
const QString objectEntityNameKey = QStringLiteral("objectEntityName");
const QString numberKey = QStringLiteral("number");
const QString dateModifiedKey = QStringLiteral("dateModified");
const QString archivedAtKey = QStringLiteral("archivedAt");
const QString originKey = QStringLiteral("origin");
const QString reasonKey = QStringLiteral("reason");
const QString hashKey = QStringLiteral("hash");
const QString recordKey = QStringLiteral("record");

QWManagedObjectSet fetch(QWManagedObjectContext& context, const QWFetchRequest& request) {
    return context.fetch(request).value_or(QWManagedObjectSet());
}

// The latest loss first.
QWManagedObjectSet rowsOf(QWManagedObjectContext& context, const QString& uuid) {
    QWFetchRequest request(rowEntityName, QWPredicate::comparison(objectUUIDKey, QWPredicate::Operator::Equal,
                                                                  uuid, QWPredicate::CaseInsensitive));
    request.sortDescriptors = {{numberKey, false}};
    return fetch(context, request);
}

QWArchivedVersion versionOf(const QWManagedObject& row) {
    QWArchivedVersion version;
    version.entityName = row.valueForKey(objectEntityNameKey).toString();
    version.uuid = row.valueForKey(objectUUIDKey).toString();
    version.number = row.valueForKey(numberKey).toLongLong();
    version.dateModified = row.valueForKey(dateModifiedKey).toDateTime();
    version.archivedAt = row.valueForKey(archivedAtKey).toDateTime();
    version.origin = QWArchivedVersion::Origin(row.valueForKey(originKey).toInt());
    version.reason = QWArchivedVersion::Reason(row.valueForKey(reasonKey).toInt());
    version.record =
        qw::sync::recordFromFileBytes(row.valueForKey(recordKey).toByteArray()).value_or(QVariantMap());
    return version;
}

std::vector<QWArchivedVersion> versionsOf(const QWManagedObjectSet& rows) {
    std::vector<QWArchivedVersion> versions;
    versions.reserve(rows.size());
    for (const auto& row : rows)
        versions.push_back(versionOf(*row));
    return versions;
}

bool isSyncedEntity(const QWEntityDescription* entity) {
    const QWRef<QWManagedObject> sample(entity ? entity->makeRecord() : nullptr);
    return dynamic_cast<const QWManagedObjectWithSyncSupport*>(sample.data());
}

} // namespace

void QWVersionArchive::addEntity(QWManagedObjectModel& model) {
    auto& version = model.addEntity(rowEntityName);
    version.addAttribute(objectUUIDKey, QWAttributeType::String).setIndexedFolded();
    version.addAttribute(objectEntityNameKey, QWAttributeType::String);
    version.addAttribute(numberKey, QWAttributeType::Integer);
    version.addAttribute(dateModifiedKey, QWAttributeType::Date);
    version.addAttribute(archivedAtKey, QWAttributeType::Date).setIndexed();
    version.addAttribute(originKey, QWAttributeType::Integer);
    version.addAttribute(reasonKey, QWAttributeType::Integer);
    version.addAttribute(hashKey, QWAttributeType::Data);
    version.addAttribute(recordKey, QWAttributeType::Data);
}

// Looking ---------------------------------------------------------------------------------------------------

std::vector<QWArchivedVersion> QWVersionArchive::versions(const QString& uuid) const {
    return versionsOf(rowsOf(*engine_.dropboxCacheManagedObjectContext(), uuid));
}

std::vector<QWArchivedVersion> QWVersionArchive::latestVersions(qint64 limit) const {
    if (limit <= 0)
        return {};
    QWFetchRequest request(rowEntityName);
    request.sortDescriptors = {{archivedAtKey, false}, {numberKey, false}};
    request.limit = limit;
    return versionsOf(fetch(*engine_.dropboxCacheManagedObjectContext(), request));
}

qint64 QWVersionArchive::count() const {
    return engine_.dropboxCacheManagedObjectContext()->count(QWFetchRequest(rowEntityName)).value_or(0);
}

// Adding ----------------------------------------------------------------------------------------------------

// A version that loses again, having been brought back, say, is no further version, but the latest loss.
void QWVersionArchive::add(const QWArchivedVersion& version) {
    const auto* entity = engine_.mainManagedObjectContext()->model().entity(version.entityName);
    const auto bytes = qw::sync::recordFileBytes(version.record);
    if (!bytes || !isSyncedEntity(entity))
        return;
    const auto hash = qw::sync::travellingHash(*qw::sync::recordFromFileBytes(*bytes), *entity);
    auto& context = *engine_.dropboxCacheManagedObjectContext();
    QWManagedObjectSet rows = rowsOf(context, version.uuid);
    const qint64 number = rows.empty() ? 1 : rows.front()->valueForKey(numberKey).toLongLong() + 1;
    const auto same = std::find_if(rows.begin(), rows.end(), [&](const auto& row) {
        return row->valueForKey(hashKey).toByteArray() == *hash
               && row->valueForKey(objectEntityNameKey).toString() == version.entityName;
    });
    const bool isNew = same == rows.end();
    const auto row = isNew ? context.insertObject(rowEntityName) : *same;
    row->setValueForKey(objectUUIDKey, version.uuid);
    row->setValueForKey(objectEntityNameKey, version.entityName);
    row->setValueForKey(numberKey, number);
    row->setValueForKey(dateModifiedKey, version.dateModified);
    row->setValueForKey(archivedAtKey, version.archivedAt);
    row->setValueForKey(originKey, static_cast<int>(version.origin));
    row->setValueForKey(reasonKey, static_cast<int>(version.reason));
    row->setValueForKey(hashKey, *hash);
    row->setValueForKey(recordKey, *bytes);
    for (; isNew && qint64(rows.size()) >= bounds_.versionsOfRecord && !rows.empty(); rows.pop_back())
        context.deleteObject(*rows.back());
}

void QWVersionArchive::add(QWManagedObjectWithSyncSupport& object, QWArchivedVersion::Origin origin,
                           QWArchivedVersion::Reason reason) {
    const QDateTime date = object.dateModified();
    if (!date.isValid())
        return;
    QWArchivedVersion version;
    version.entityName = object.entity().name();
    version.uuid = object.uuid();
    version.dateModified = date;
    version.archivedAt = engine_.mainManagedObjectContext()->environment().clock().now();
    version.origin = origin;
    version.reason = reason;
    version.record = engine_.syncDictionaryExporter().dictionaryToInsertOrUpdateObjectToSync(object);
    add(version);
}

void QWVersionArchive::prune() {
    auto& context = *engine_.dropboxCacheManagedObjectContext();
    const QDateTime oldest = context.environment().clock().now().addSecs(
        -std::chrono::duration_cast<std::chrono::seconds>(bounds_.age).count());
    const QWFetchRequest tooOld(rowEntityName,
                                QWPredicate::comparison(archivedAtKey, QWPredicate::Operator::Less, oldest));
    for (const auto& row : fetch(context, tooOld))
        context.deleteObject(*row);
    const qint64 surplus = count() - bounds_.versions;
    if (surplus <= 0)
        return;
    QWFetchRequest oldestFirst(rowEntityName);
    oldestFirst.sortDescriptors = {{archivedAtKey, true}};
    oldestFirst.limit = surplus;
    for (const auto& row : fetch(context, oldestFirst))
        context.deleteObject(*row);
}

bool QWVersionArchive::takeOver(const QString& cacheStorePath, QWError* error) {
    const auto coordinator = std::make_shared<QWPersistentStoreCoordinator>(
        QWMakeDropboxCacheModel(), engine_.mainManagedObjectContext()->coordinator()->environment());
    if (!coordinator->addStore(cacheStorePath, {}, error))
        return false;
    const auto context =
        std::make_shared<QWManagedObjectContext>(coordinator, QWConcurrencyType::PrivateQueue);
    QWFetchRequest request(rowEntityName);
    request.sortDescriptors = {{archivedAtKey, true}, {numberKey, true}};
    const auto rows = context->fetch(request, error);
    if (!rows)
        return false;
    for (const auto& row : *rows)
        add(versionOf(*row));
    engine_.saveCacheContext();
    return true;
}

// Restoring -------------------------------------------------------------------------------------------------

namespace {

bool isReference(const QVariant& value) {
    return value.typeId() == QMetaType::QVariantMap && value.toMap().contains(QWDropBoxEntityNameKey);
}

} // namespace

// The importer would make what is referred to, bare, and that would travel as an edit.
QVariantMap QWVersionArchive::withoutStrangers(const QVariantMap& record) const {
    auto& context = *engine_.mainManagedObjectContext();
    const auto isStranger = [&](const QVariant& value) {
        const QVariantMap reference = value.toMap();
        const QString entityName = reference.value(QWDropBoxEntityNameKey).toString();
        return isReference(value)
               && (!isSyncedEntity(context.model().entity(entityName))
                   || !QWManagedObjectWithSyncSupport::fetchObjectWithUUID(
                       reference.value(QWDropBoxUUIDKey).toString(), entityName, context));
    };
    QVariantMap kept;
    for (auto value = record.begin(); value != record.end(); ++value) {
        if (value->typeId() == QMetaType::QVariantList) {
            QVariantList members = value->toList();
            members.removeIf(isStranger);
            kept.insert(value.key(), members);
        } else if (!isStranger(*value)) {
            kept.insert(value.key(), *value);
        }
    }
    return kept;
}

QWRef<QWManagedObjectWithSyncSupport> QWVersionArchive::restore(const QWArchivedVersion& version,
                                                                QWError* error) {
    auto& context = *engine_.mainManagedObjectContext();
    if (!isSyncedEntity(context.model().entity(version.entityName))) {
        qw::fail(error, {QStringLiteral("sync"), 1,
                         QStringLiteral("The entity \"%1\" is not synced.").arg(version.entityName)});
        return {};
    }
    QDateTime date = context.environment().clock().now();
    const auto present =
        QWManagedObjectWithSyncSupport::fetchObjectWithUUID(version.uuid, version.entityName, context);
    if (present) {
        add(*present, QWArchivedVersion::Origin::Here, QWArchivedVersion::Reason::Restoration);
        engine_.saveCacheContext();
        if (present->dateModified().isValid())
            date = std::max(date, present->dateModified().addSecs(1));
    }
    const auto object = present ? present
                                : QWManagedObjectWithSyncSupport::fetchObjectWithUUID(
                                    version.uuid, version.entityName, context, true);
    QVariantMap record = withoutStrangers(version.record);
    record.insert(dateModifiedKey,
                  QWManagedObjectWithSyncSupport::dateModifiedFormatter()->stringFromDate(date));
    engine_.syncDictionaryImporter().updateObject(*object, record, QStringLiteral("an archived version"));
    return object;
}
