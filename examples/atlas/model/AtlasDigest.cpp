#include "model/AtlasDigest.h"

#include "core/QWJSON.h"
#include "model/AtlasModel.h"
#include "model/AtlasRecords.h"
#include "platform/text/QWDateText.h"
#include "store/QWManagedObjectContext.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"

#include <QCryptographicHash>
#include <QFile>
#include <algorithm>

namespace atlas {

namespace {

using Record = QWManagedObjectWithSyncSupport;

// Text that depends on the machine (a date's zone) or on chance (the order of a set) in the one form for all.
void normalise(QVariantMap& values, const Record& record) {
    for (const auto& field : *record.fieldDescriptions()) {
        const auto value = values.find(field->key());
        if (value == values.end())
            continue;
        const auto* property = record.entity().property(field->key());
        if (!property)
            continue;
        if (property->isAttribute() && property->type() == QWAttributeType::Date && !value->isNull())
            *value = qw::text::utcTextFromDate(qw::text::dateFromText(value->toString()));
        if (property->isToMany() && !property->isOrdered()) {
            QVariantList members = value->toList();
            std::sort(members.begin(), members.end(), [](const QVariant& left, const QVariant& right) {
                return left.toMap()[QWDropBoxUUIDKey].toString() < right.toMap()[QWDropBoxUUIDKey].toString();
            });
            *value = members;
        }
    }
}

} // namespace

std::optional<QString> digest(QWManagedObjectContext& context, QWError* error) {
    QWDropboxSyncManagedObjectDictionaryExporter exporter(entityNames());
    QCryptographicHash hash(QCryptographicHash::Sha256);
    for (const QString& name : entityNames()) {
        QWFetchRequest request(name);
        request.sortDescriptors = {{"uuid"}};
        const auto records = context.fetch(request, error);
        if (!records)
            return {};
        for (const auto& object : *records) {
            auto& record = static_cast<Record&>(*object);
            QVariantMap values = exporter.dictionaryToInsertOrUpdateObjectToSync(record);
            normalise(values, record);
            const QVariantMap line = {{"entity", name},
                                      {"uuid", record.uuid()},
                                      {"record", values},
                                      {"image", imageDigest(record.imageURL().toLocalFile())}};
            const auto bytes = qw::json::write(line);
            if (!bytes) {
                qw::fail(
                    error,
                    {"atlas", 1,
                     QStringLiteral("%1 %2 holds a number that is not finite").arg(name, record.uuid())});
                return {};
            }
            hash.addData(*bytes);
        }
    }
    return QString::fromLatin1(hash.result().toHex());
}

QString imageDigest(const QString& path) {
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly) || file.size() == 0)
        return {};
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(&file);
    return QString::fromLatin1(hash.result().toHex());
}

} // namespace atlas
