#include "sync/supervisor/QWVersionArchive.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "dropbox/DBContentHash.h"
#include "platform/text/QWText.h"
#include "sync/QWDropboxSyncCoreData.h"
#include "sync/cache/QWArchivedVersionRow_p.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryImporter.h"
#include "sync/records/QWSyncRecordFile_p.h"
#include "sync/records/QWTravellingForm.h"

#include <algorithm>

using namespace qw::sync::archivedVersionRow;

namespace {

const QString imagesFolderName = QStringLiteral("ArchivedImages");

QWManagedObjectSet fetch(QWManagedObjectContext& context, const QWFetchRequest& request) {
    return context.fetch(request).value_or(QWManagedObjectSet());
}

// The latest loss first.
QWFetchRequest requestOf(const QString& uuid) {
    QWFetchRequest request(rowEntityName, QWPredicate::comparison(objectUUIDKey, QWPredicate::Operator::Equal,
                                                                  uuid, QWPredicate::CaseInsensitive));
    request.sortDescriptors = {{numberKey, false}};
    return request;
}

QWPredicate isOfImage(const QVariant& name, QWPredicate::Operator comparison = QWPredicate::Operator::Equal) {
    return QWPredicate::comparison(imageKey, comparison, name);
}

bool isImage(const QWManagedObject& row) {
    return !row.valueForKey(imageKey).isNull();
}

QString imagesFolder(const QString& cacheFolder) {
    return qw::text::appendingPathComponent(cacheFolder, imagesFolderName);
}

// By the hash, which can be no path.
QString imageName(const QByteArray& hash) {
    return QString::fromLatin1(hash.toHex());
}

QString imagePath(const QString& cacheFolder, const QByteArray& hash) {
    return qw::text::appendingPathComponent(imagesFolder(cacheFolder), imageName(hash));
}

QWArchivedVersion versionOf(const QWManagedObject& row, const QString& cacheFolder) {
    QWArchivedVersion version;
    version.entityName = row.valueForKey(objectEntityNameKey).toString();
    version.uuid = row.valueForKey(objectUUIDKey).toString();
    version.number = row.valueForKey(numberKey).toLongLong();
    version.dateModified = row.valueForKey(dateModifiedKey).toDateTime();
    version.archivedAt = row.valueForKey(archivedAtKey).toDateTime();
    version.origin = QWArchivedVersion::Origin(row.valueForKey(originKey).toInt());
    version.reason = QWArchivedVersion::Reason(row.valueForKey(reasonKey).toInt());
    if (isImage(row)) {
        version.imagePath = imagePath(cacheFolder, row.valueForKey(hashKey).toByteArray());
        version.imageSize = row.valueForKey(imageSizeKey).toLongLong();
    } else {
        version.record =
            qw::sync::recordFromFileBytes(row.valueForKey(recordKey).toByteArray()).value_or(QVariantMap());
    }
    return version;
}

bool isSyncedEntity(const QWEntityDescription* entity) {
    const QWRef<QWManagedObject> sample(entity ? entity->makeRecord() : nullptr);
    return dynamic_cast<const QWManagedObjectWithSyncSupport*>(sample.data());
}

} // namespace

QWManagedObjectContext& QWVersionArchive::cache() const {
    return *engine_.dropboxCacheManagedObjectContext();
}

QWFileManager& QWVersionArchive::files() const {
    return engine_.mainManagedObjectContext()->environment().files();
}

// Looking ---------------------------------------------------------------------------------------------------

std::vector<QWArchivedVersion> QWVersionArchive::versionsFound(const QWFetchRequest& request) const {
    std::vector<QWArchivedVersion> versions;
    for (const auto& row : fetch(cache(), request))
        versions.push_back(versionOf(*row, engine_.localCacheURL().toLocalFile()));
    return versions;
}

std::vector<QWArchivedVersion> QWVersionArchive::versions(const QString& uuid) const {
    return versionsFound(requestOf(uuid));
}

std::vector<QWArchivedVersion> QWVersionArchive::latestVersions(qint64 limit) const {
    if (limit <= 0)
        return {};
    QWFetchRequest request(rowEntityName);
    request.sortDescriptors = {{archivedAtKey, false}, {numberKey, false}};
    request.limit = limit;
    return versionsFound(request);
}

qint64 QWVersionArchive::count() const {
    return cache().count(QWFetchRequest(rowEntityName)).value_or(0);
}

// Adding ----------------------------------------------------------------------------------------------------

bool QWVersionArchive::add(const QWArchivedVersion& version, QWError* error) {
    const auto* entity = engine_.mainManagedObjectContext()->model().entity(version.entityName);
    if (!isSyncedEntity(entity))
        return true;
    if (version.isImage())
        return addImage(version, error);
    if (const auto bytes = qw::sync::recordFileBytes(version.record)) {
        const auto hash = qw::sync::travellingHash(*qw::sync::recordFromFileBytes(*bytes), *entity);
        addRow(version, *hash)->setValueForKey(recordKey, *bytes);
    }
    return true;
}

// An empty file stands for no image; one that cannot be read does not. The content comes first: a row that a crash has
// kept from being written is made by the repetition of what the version gave way to.
bool QWVersionArchive::addImage(const QWArchivedVersion& version, QWError* error) {
    QWError readError;
    const auto bytes = files().read(version.imagePath, &readError);
    if (!bytes && files().exists(version.imagePath))
        return qw::fail(error, readError);
    if (!bytes || bytes->isEmpty())
        return true;
    const auto hash = QByteArray::fromHex(dropboxContentHash(*bytes).toLatin1());
    const QString folder = engine_.localCacheURL().toLocalFile(), path = imagePath(folder, hash);
    if (!files().exists(path)
        && (!files().makeFolder(imagesFolder(folder), error) || !files().write(path, *bytes, error)))
        return false;
    const auto row = addRow(version, hash);
    row->setValueForKey(imageSizeKey, static_cast<qlonglong>(bytes->size()));
    imageBytesAdded_ += bytes->size();
    if (imageBytesAdded_ > bounds_.imageBytes / 10 && !areImagesHeld_)
        pruneImages();
    return true;
}

// A version that loses again, having been brought back, say, is no further version, but the latest loss.
QWRef<QWManagedObject> QWVersionArchive::addRow(const QWArchivedVersion& version, const QByteArray& hash) {
    QWManagedObjectSet rows = fetch(cache(), requestOf(version.uuid));
    const qint64 number = rows.empty() ? 1 : rows.front()->valueForKey(numberKey).toLongLong() + 1;
    const auto same = std::find_if(rows.begin(), rows.end(), [&](const auto& row) {
        return row->valueForKey(hashKey).toByteArray() == hash
               && row->valueForKey(objectEntityNameKey).toString() == version.entityName;
    });
    const bool isNew = same == rows.end();
    const auto row = isNew ? cache().insertObject(rowEntityName) : *same;
    row->setValueForKey(objectUUIDKey, version.uuid);
    row->setValueForKey(objectEntityNameKey, version.entityName);
    row->setValueForKey(numberKey, number);
    row->setValueForKey(dateModifiedKey, version.dateModified);
    row->setValueForKey(archivedAtKey, version.archivedAt);
    row->setValueForKey(originKey, static_cast<int>(version.origin));
    row->setValueForKey(reasonKey, static_cast<int>(version.reason));
    row->setValueForKey(hashKey, hash);
    if (version.isImage())
        row->setValueForKey(imageKey, imageName(hash));
    std::erase_if(rows, [&](const auto& other) { return isImage(*other) != version.isImage(); });
    for (; isNew && qint64(rows.size()) >= bounds_.versionsOfRecord && !rows.empty(); rows.pop_back())
        drop(*rows.back());
    return row;
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

// The content goes first: a row that a crash leaves without it is dropped again. Records may have the same image.
void QWVersionArchive::drop(QWManagedObject& row) {
    if (isImage(row)) {
        const QByteArray hash = row.valueForKey(hashKey).toByteArray();
        if (cache().count(QWFetchRequest(rowEntityName, isOfImage(imageName(hash)))).value_or(2) == 1)
            files().remove(imagePath(engine_.localCacheURL().toLocalFile(), hash));
    }
    cache().deleteObject(row);
}

void QWVersionArchive::prune() {
    const QDateTime oldest = cache().environment().clock().now().addSecs(
        -std::chrono::duration_cast<std::chrono::seconds>(bounds_.age).count());
    const QWFetchRequest tooOld(rowEntityName,
                                QWPredicate::comparison(archivedAtKey, QWPredicate::Operator::Less, oldest));
    for (const auto& row : fetch(cache(), tooOld))
        drop(*row);
    if (imageBytesAdded_ > 0)
        pruneImages();
    const qint64 surplus = count() - bounds_.versions;
    if (surplus <= 0)
        return;
    QWFetchRequest oldestFirst(rowEntityName);
    oldestFirst.sortDescriptors = {{archivedAtKey, true}};
    oldestFirst.limit = surplus;
    for (const auto& row : fetch(cache(), oldestFirst))
        drop(*row);
}

void QWVersionArchive::pruneImages() {
    imageBytesAdded_ = 0;
    QWFetchRequest latestFirst(rowEntityName, isOfImage({}, QWPredicate::Operator::NotEqual));
    latestFirst.sortDescriptors = {{archivedAtKey, false}, {numberKey, false}};
    qint64 bytes = 0;
    for (const auto& row : fetch(cache(), latestFirst)) {
        bytes += row->valueForKey(imageSizeKey).toLongLong();
        if (bytes > bounds_.imageBytes)
            drop(*row);
    }
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
        add(versionOf(*row, cacheStorePath.section(QLatin1Char('/'), 0, -2)));
    engine_.saveCacheContext();
    return true;
}

// Restoring -------------------------------------------------------------------------------------------------

namespace {

void fail(QWError* error, const QString& message) {
    qw::fail(error, {QStringLiteral("sync"), 1, message});
}

// Now, or a second after what is to be overtaken.
QDateTime laterThan(const QDateTime& overtaken, const QDateTime& now) {
    return overtaken.isValid() ? std::max(now, overtaken.addSecs(1)) : now;
}

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
    if (isSyncedEntity(engine_.mainManagedObjectContext()->model().entity(version.entityName)))
        return version.isImage() ? restoreImage(version, error) : restoreRecord(version);
    fail(error, QStringLiteral("The entity \"%1\" is not synced.").arg(version.entityName));
    return {};
}

QWRef<QWManagedObjectWithSyncSupport> QWVersionArchive::restoreRecord(const QWArchivedVersion& version) {
    auto& context = *engine_.mainManagedObjectContext();
    QDateTime date = context.environment().clock().now();
    const auto present =
        QWManagedObjectWithSyncSupport::fetchObjectWithUUID(version.uuid, version.entityName, context);
    if (present) {
        add(*present, QWArchivedVersion::Origin::Here, QWArchivedVersion::Reason::Restoration);
        engine_.saveCacheContext();
        date = laterThan(present->dateModified(), date);
    }
    const auto object = present ? present
                                : QWManagedObjectWithSyncSupport::fetchObjectWithUUID(
                                    version.uuid, version.entityName, context, true);
    QVariantMap record = withoutStrangers(version.record);
    record.insert(dateModifiedKey,
                  QWManagedObjectWithSyncSupport::dateModifiedFormatter()->stringFromDate(date));
    engine_.syncDictionaryImporter().updateObject(*object, record, QStringLiteral("an archived version"));
    // It travels also where it is as the present one, but for its date.
    engine_.insertInSyncQueueManagedObject(*object, QWDropboxSyncActionInsertOrUpdate);
    engine_.saveCacheContext();
    return object;
}

// It is sent when it is later than the cloud's.
QWRef<QWManagedObjectWithSyncSupport> QWVersionArchive::restoreImage(const QWArchivedVersion& version,
                                                                     QWError* error) {
    auto& context = *engine_.mainManagedObjectContext();
    const auto object =
        QWManagedObjectWithSyncSupport::fetchObjectWithUUID(version.uuid, version.entityName, context);
    const QString path = object ? object->imageURL().toLocalFile() : QString();
    if (path.isEmpty()) {
        fail(error, object ? QStringLiteral("The record has no image.")
                           : QStringLiteral("The record of the image is not here: bring it back first."));
        return {};
    }
    const auto bytes = files().read(version.imagePath, error); // before the archive drops it for what it gets
    if (!bytes)
        return {};
    QWArchivedVersion replaced = version;
    replaced.imagePath = path;
    replaced.dateModified = files().modificationDate(path).value_or(QDateTime());
    replaced.archivedAt = context.environment().clock().now();
    replaced.origin = QWArchivedVersion::Origin::Here;
    replaced.reason = QWArchivedVersion::Reason::Restoration;
    if (!add(replaced, error))
        return {};
    engine_.saveCacheContext();
    const auto known = engine_.fileMetadataManager().fileMetadataForFileName(
        engine_.fileNameWithUUID(object->uuid(), object->entity().name(), true), false);
    QDateTime date = laterThan(replaced.dateModified, replaced.archivedAt);
    date = laterThan(known ? known->lastModifiedDate() : QDateTime(), date);
    date = laterThan(object->dateModified(), date);
    if (!writeImage(*bytes, path, date, error))
        return {};
    object->setDateModified(date);
    return object;
}

bool QWVersionArchive::writeImage(const QByteArray& bytes, const QString& path, const QDateTime& date,
                                  QWError* error) {
    return files().makeFolder(path.section(QLatin1Char('/'), 0, -2), error)
           && files().write(path, bytes, error) && files().setModificationDate(path, date, error);
}

bool QWVersionArchive::putBackImage(const QWArchivedVersion& version, const QString& path, QWError* error) {
    const auto bytes = files().read(version.imagePath, error);
    return bytes && writeImage(*bytes, path, version.dateModified, error);
}
