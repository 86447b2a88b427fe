#include "core/QWManagedObjectWithSyncSupport.h"

#include "core/QWManagedObjectVisitor.h"
#include "platform/QWAssert.h"
#include "store/QWManagedObjectContext.h"

#include <mutex>

namespace {

const QString uuidKey = QStringLiteral("uuid");
const QString dateModifiedKey = QStringLiteral("dateModified");
const QString flagKey = QStringLiteral("doNotUpdateDateModifiedDuringNextSave");

using SyncedRef = QWRef<QWManagedObjectWithSyncSupport>;

SyncedRef synced(const QWRef<QWManagedObject>& object, const char* operation) {
    auto* record = dynamic_cast<QWManagedObjectWithSyncSupport*>(object.data());
    QWAssert(record, "[object isKindOfClass:[QWManagedObjectWithSyncSupport class]]", operation);
    return SyncedRef(record);
}

} // namespace

QString QWManagedObjectWithSyncSupport::uuid() const {
    return valueForKey(uuidKey).toString();
}

void QWManagedObjectWithSyncSupport::setUuid(const QString& uuid) {
    setValueForKey(uuidKey, uuid);
}

QDateTime QWManagedObjectWithSyncSupport::dateModified() const {
    return valueForKey(dateModifiedKey).toDateTime();
}

void QWManagedObjectWithSyncSupport::setDateModified(const QDateTime& date) {
    const auto* context = managedObjectContext();
    if (!context)
        return;
    willChangeValueForKey(dateModifiedKey);
    willChangeValueForKey(flagKey);
    setPrimitiveValueForKey(dateModifiedKey,
                            date.isValid() ? date.toUTC() : context->environment().clock().now());
    doNotUpdateDateModifiedDuringNextSave_ = true;
    didChangeValueForKey(flagKey);
    didChangeValueForKey(dateModifiedKey);
}

QUrl QWManagedObjectWithSyncSupport::imageURL() const {
    return {};
}

const QWFieldDescriptions* QWManagedObjectWithSyncSupport::fieldDescriptions() const {
    return nullptr;
}

void QWManagedObjectWithSyncSupport::acceptVisitor(QWManagedObjectVisitor& visitor) {
    const auto* fields = fieldDescriptions();
    QWAssert(fields, "unknown operation", "acceptVisitor:");
    visitor.beginVisitOfObject(*this);
    for (const auto& field : *fields)
        field->performAcceptVisitor(visitor, *this);
    visitor.endVisitOfObject(*this);
}

bool QWManagedObjectWithSyncSupport::respondsToSelector(const QString& selector) const {
    return selector == QWAcceptVisitorSelector && fieldDescriptions();
}

SyncedRef QWManagedObjectWithSyncSupport::fetchObjectWithUUID(const QString& uuid, const QString& entityName,
                                                              QWManagedObjectContext& context,
                                                              bool createIfNotExisting) {
    static constexpr auto operation =
        "+[QWManagedObjectWithSyncSupport "
        "fetchObjectWithUUID:entityName:managedObjectContext:createIfNotExisting:]";
    const QWFetchRequest request(entityName, QWPredicate::comparison(uuidKey, QWPredicate::Operator::Equal,
                                                                     uuid, QWPredicate::CaseInsensitive));
    const auto find = [&]() -> SyncedRef {
        const auto objects = context.fetch(request);
        if (!objects || objects->empty())
            return {};
        QWAssert(objects->size() == 1, "[objects count] == 1", operation);
        return synced(objects->front(), operation);
    };

    if (auto found = find(); found || !createIfNotExisting)
        return found;

    // Recursive, because a record's insertion hook may look records up itself.
    static std::recursive_mutex creation;
    const std::lock_guard lock(creation);
    if (auto found = find())
        return found;
    auto created = synced(context.insertObject(entityName), operation);
    created->setUuid(uuid);
    return created;
}

const QWDateFormatterRef& QWManagedObjectWithSyncSupport::dateModifiedFormatter() {
    static const QWDateFormatterRef formatter = std::make_shared<QWDateTextFormatter>();
    return formatter;
}

void QWManagedObjectWithSyncSupport::awakeFromInsert() {
    QWManagedObject::awakeFromInsert();
    setUuid(managedObjectContext()->environment().uuids().next());
}

bool QWManagedObjectWithSyncSupport::setValueForKey(const QString& key, QVariant value, QWError* error) {
    if (const auto* property = key == dateModifiedKey ? entity().property(key) : nullptr) {
        if (const auto date = property->converted(value)) {
            setDateModified(date->toDateTime());
            return true;
        }
    }
    return QWManagedObject::setValueForKey(key, std::move(value), error);
}

QVariant QWManagedObjectWithSyncSupport::valueForUndefinedKey(const QString& key) const {
    if (key == flagKey)
        return doNotUpdateDateModifiedDuringNextSave_;
    if (key == QLatin1String("imageURL")) {
        const auto url = imageURL();
        return url.isEmpty() ? QVariant() : QVariant(url);
    }
    return QWManagedObject::valueForUndefinedKey(key);
}

void addSyncAttributes(QWEntityDescription& entity) {
    entity.addAttribute(uuidKey, QWAttributeType::String).setIndexedFolded();
    entity.addAttribute(dateModifiedKey, QWAttributeType::Date);
}
