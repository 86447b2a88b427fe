// What a machine holds.
#include "Machine.h"

#include "core/QWJSON.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"
#include "sync/records/QWTravellingForm.h"
#include "sync/supervisor/QWVersionArchive.h"

using desktop::Record;
using desktop::syncedEntities;

// A reference to a record without a date, which is nobody's and stands here because of it, is as none.
Version Machine::versionOf(QWManagedObjectWithSyncSupport& record) {
    if (!record.dateModified().isValid())
        return {std::numeric_limits<qint64>::min(), {}, {}, {}};
    // As a file, in which numbers are what they are on arrival.
    const auto bytes =
        qw::json::write(engine_->syncDictionaryExporter().dictionaryToInsertOrUpdateObjectToSync(record));
    QVariantMap form = qw::json::read(*bytes)->toMap();
    const QByteArray hash = *qw::sync::travellingHash(form, record);
    Version version{record.dateModified().toSecsSinceEpoch(), hash, hash, hash};
    const QString reference = QStringLiteral("author");
    if (form.take(reference).isNull())
        return version;
    version.bareHash = *qw::sync::travellingHash(form, record);
    const Record author(static_cast<QWManagedObjectWithSyncSupport*>(record.relatedObject(reference).data()));
    if (author->isDeleted() || !author->dateModified().isValid())
        version.hash = version.bareHash;
    return version;
}

// Of a version that travels, without its references.
Version Machine::versionOf(QVariantMap form, const QString& entityName) {
    static const auto model = desktop::model();
    const QDateTime date = qw::sync::dateOfRecord(form);
    const auto travellingHash = *qw::sync::travellingHash(form, *model->entity(entityName));
    form.remove(QStringLiteral("author"));
    const auto hash = *qw::sync::travellingHash(form, *model->entity(entityName));
    return {date.toSecsSinceEpoch(), hash, hash, travellingHash};
}

// Nothing for a file that holds no record.
MaybeVersion Machine::versionInFile(const QString& fileName, const QByteArray& bytes) {
    const QString entityName = fileName.section(QStringLiteral("!!!"), 0, 0);
    if (!syncedEntities.contains(entityName) || !fileName.endsWith(QLatin1String(".data")) || bytes.isEmpty())
        return std::nullopt;
    return versionOf(qw::json::read(bytes)->toMap(), entityName);
}

QString Machine::uuidInFileName(const QString& fileName) {
    return fileName.section(QStringLiteral("!!!"), 1).left(36);
}

void Machine::cloudTook(const QString& path, const QByteArray& bytes) {
    const QString fileName = path.section(QLatin1Char('/'), -1);
    if (const auto version = versionInFile(fileName, bytes))
        model_.cloudTook(uuidInFileName(fileName), *version);
}

void Machine::checkArchive() {
    LostVersions::Archive archive;
    const auto& kept = supervisor_->versionArchive();
    for (const QWArchivedVersion& version : kept.latestVersions(kept.count()))
        if (!version.isImage())
            archive[version.uuid].push_back(versionOf(version.record, version.entityName));
    model_.checkArchive(number_, archive);
}

std::vector<Record> Machine::records(const QString& entityName) {
    std::vector<Record> records;
    for (const auto& each : context_->fetch(QWFetchRequest(entityName)).value_or(QWManagedObjectSet()))
        records.emplace_back(static_cast<QWManagedObjectWithSyncSupport*>(each.data()));
    std::sort(records.begin(), records.end(),
              [](const auto& left, const auto& right) { return left->uuid() < right->uuid(); });
    return records;
}

QHash<QString, Version> Machine::versions() {
    QHash<QString, Version> versions;
    for (const QString& entityName : syncedEntities)
        for (const auto& record : records(entityName)) {
            if (versions.contains(record->uuid()))
                model_.violate(
                    QStringLiteral("machine %1 holds %2 twice").arg(number_ + 1).arg(record->uuid()));
            versions[record->uuid()] = versionOf(*record);
        }
    return versions;
}

Model::Contents Machine::contents() {
    Model::Contents contents;
    contents.records = versions();
    for (const auto& book : records(QStringLiteral("Book")))
        if (const auto image = world.files->read(book->imageURL().toLocalFile()))
            contents.images[book->uuid()] = *image;
    for (const QString& key : sharedPreferences())
        contents.preferences[key] = world.userDefaults->object(key);
    return contents;
}
