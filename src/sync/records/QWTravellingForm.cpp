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

} // namespace

QVariantMap travellingForm(const QVariantMap& record, const QWManagedObjectWithSyncSupport& object) {
    QVariantMap form;
    for (auto value = record.begin(); value != record.end(); ++value)
        if (!value->isNull())
            form.insert(value.key(), *value);
    const auto* fields = object.fieldDescriptions();
    if (!fields)
        return form;
    for (const auto& field : *fields) {
        const auto value = form.find(field->key());
        const auto* property = object.entity().property(field->key());
        if (value == form.end() || !property)
            continue;
        if (property->isAttribute() && property->type() == QWAttributeType::Date)
            *value = qw::text::utcTextFromDate(qw::text::dateFromText(value->toString()));
        else if (property->isToMany() && !property->isOrdered())
            *value = sortedByUUID(value->toList());
    }
    return form;
}

std::optional<QByteArray> travellingHash(const QVariantMap& record,
                                         const QWManagedObjectWithSyncSupport& object) {
    const auto bytes = recordFileBytes(travellingForm(record, object));
    if (!bytes)
        return {};
    return QCryptographicHash::hash(*bytes, QCryptographicHash::Sha256);
}

} // namespace qw::sync
