#include "sync/records/QWTravellingForm.h"

#include "core/QWManagedObjectFieldDescription.h"
#include "core/QWManagedObjectWithSyncSupport.h"
#include "platform/text/QWDateText.h"
#include "sync/records/QWSyncRecord.h"
#include "sync/records/QWSyncRecordFile_p.h"

#include <QCryptographicHash>
#include <algorithm>

namespace qw::sync {

namespace {

QVariantList sortedByUUID(QVariantList members) {
    const auto uuidOf = [](const QVariant& member) {
        return member.toMap().value(QWDropBoxUUIDKey).toString();
    };
    std::sort(members.begin(), members.end(),
              [&](const QVariant& left, const QVariant& right) { return uuidOf(left) < uuidOf(right); });
    return members;
}

// Members are sorted in an ordered relationship as well: their order is not imported, so two desktops that hold one
// version may hold it in two orders.
QVariantMap travellingForm(const QVariantMap& record, const QWEntityDescription& entity,
                           const QWFieldDescriptions* fields) {
    QVariantMap form;
    for (auto value = record.begin(); value != record.end(); ++value)
        if (!value->isNull())
            form.insert(value.key(), *value);
    if (!fields)
        return form;
    for (const auto& field : *fields) {
        const auto value = form.find(field->key());
        const auto* property = entity.property(field->key());
        if (value == form.end() || !property)
            continue;
        if (property->isAttribute() && property->type() == QWAttributeType::Date)
            *value = qw::text::utcTextFromDate(qw::text::dateFromText(value->toString()));
        else if (property->isToMany())
            *value = sortedByUUID(value->toList());
    }
    return form;
}

std::optional<QByteArray> hashOf(const QVariantMap& form) {
    const auto bytes = recordFileBytes(form);
    if (!bytes)
        return {};
    return QCryptographicHash::hash(*bytes, QCryptographicHash::Sha256);
}

} // namespace

QDateTime dateOfRecord(const QVariantMap& record) {
    return QWManagedObjectWithSyncSupport::dateModifiedFormatter()->dateFromString(
        record.value(QStringLiteral("dateModified")).toString());
}

QVariantMap travellingForm(const QVariantMap& record, const QWManagedObjectWithSyncSupport& object) {
    return travellingForm(record, object.entity(), object.fieldDescriptions());
}

std::optional<QByteArray> travellingHash(const QVariantMap& record,
                                         const QWManagedObjectWithSyncSupport& object) {
    return hashOf(travellingForm(record, object));
}

std::optional<QByteArray> travellingHash(const QVariantMap& record, const QWEntityDescription& entity) {
    const QWRef<QWManagedObject> sample(entity.makeRecord());
    const auto* object = dynamic_cast<const QWManagedObjectWithSyncSupport*>(sample.data());
    return hashOf(travellingForm(record, entity, object ? object->fieldDescriptions() : nullptr));
}

} // namespace qw::sync
