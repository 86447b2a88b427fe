#include "cli/RecordJSON.h"

#include "core/QWRichText.h"
#include "model/AtlasDigest.h"
#include "platform/text/QWDateText.h"

#include <QJsonArray>
#include <QTextDocument>

namespace {

QJsonValue textOrNull(const QString& text) {
    return text.isNull() ? QJsonValue() : QJsonValue(text);
}

QString uuidOf(const QWManagedObject* record) {
    const auto* synced = dynamic_cast<const QWManagedObjectWithSyncSupport*>(record);
    return synced ? synced->uuid() : QString();
}

} // namespace

QJsonObject RecordJSON::of(QWManagedObjectWithSyncSupport& record) {
    RecordJSON visitor;
    record.acceptVisitor(visitor);
    return visitor.values_;
}

void RecordJSON::put(QWManagedObject& object, const QString& key) {
    values_[key] = QJsonValue::fromVariant(object.valueForKey(key));
}

bool RecordJSON::respondsToSelector(const QString& selector) const {
    return selector == QWVisitShouldExploreRelationshipSelector
           || QWManagedObjectVisitor::respondsToSelector(selector);
}

void RecordJSON::beginVisitOfObject(QWManagedObject& object) {
    values_["uuid"] = uuidOf(&object);
}

void RecordJSON::visitObjectStringForKey(QWManagedObject& object, const QString& key, const QString&,
                                         const QString&) {
    put(object, key);
}

void RecordJSON::visitObjectStringArrayForKey(QWManagedObject& object, const QString& key, const QString&,
                                              const QString&) {
    values_[key] =
        QJsonArray::fromStringList(object.valueForKey(key).toString().split(", ", Qt::SkipEmptyParts));
}

void RecordJSON::visitObjectLongStringForKey(QWManagedObject& object, const QString& key, bool richText,
                                             const QString&) {
    if (!richText)
        return put(object, key);
    const auto document = qw::richTextFromStoredValue(object.valueForKey(key));
    values_[key] = document ? QJsonValue(qw::plainText(*document)) : QJsonValue();
}

void RecordJSON::visitObjectBoolForKey(QWManagedObject& object, const QString& key, const QString&) {
    put(object, key);
}

void RecordJSON::visitObjectNumberForKey(QWManagedObject& object, const QString& key, bool, const QString&) {
    put(object, key);
}

void RecordJSON::visitObjectDateForKey(QWManagedObject& object, const QString& key, const QString&,
                                       const QWDateFormatterRef&) {
    values_[key] = textOrNull(qw::text::textFromDate(object.valueForKey(key).toDateTime()));
}

void RecordJSON::visitObjectImageURLForKey(QWManagedObject& object, const QString& key, const QString&) {
    values_[key] = textOrNull(atlas::imageDigest(object.valueForKey(key).toUrl().toLocalFile()));
}

void RecordJSON::visitObjectLevelForKey(QWManagedObject& object, const QString& key, bool, qint64,
                                        const QString&) {
    put(object, key);
}

void RecordJSON::visitObjectEnumForKey(QWManagedObject& object, const QString& key, const QString&,
                                       const QString&, const QVariantList&, const QStringList&) {
    put(object, key);
}

bool RecordJSON::visitObjectShouldExploreRelationshipForKey(QWManagedObject& object, const QString& key,
                                                            const QString&, const QString&, bool isToMany) {
    if (isToMany) {
        QJsonArray uuids;
        for (const auto& member : object.relatedObjects(key))
            uuids.append(uuidOf(member.data()));
        values_[key] = uuids;
    } else {
        values_[key] = textOrNull(uuidOf(object.relatedObject(key).data()));
    }
    return false;
}
