#include "model/AtlasDigest.h"

#include "core/QWJSON.h"
#include "model/AtlasModel.h"
#include "model/AtlasRecords.h"
#include "store/QWManagedObjectContext.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"
#include "sync/records/QWTravellingForm.h"

#include <QCryptographicHash>
#include <QFile>

namespace atlas {

using Record = QWManagedObjectWithSyncSupport;

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
            const QVariantMap values = exporter.dictionaryToInsertOrUpdateObjectToSync(record);
            const QVariantMap line = {{"entity", name},
                                      {"uuid", record.uuid()},
                                      {"record", qw::sync::travellingForm(values, record)},
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
