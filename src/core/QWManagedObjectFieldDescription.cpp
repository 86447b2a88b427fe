#include "core/QWManagedObjectFieldDescription.h"

#include "core/QWManagedObjectVisitor.h"
#include "platform/QWAssert.h"
#include "platform/QWLocalizedString.h"
#include "store/QWManagedObject.h"

QWManagedObjectFieldDescription::QWManagedObjectFieldDescription(const QString& key, const QString& name)
    : key_(key), name_(name), nameContainsClassPrefix_(name.contains(QWMOFDClassNamePrefix)) {}

QWManagedObjectFieldDescription::~QWManagedObjectFieldDescription() = default;

QString QWManagedObjectFieldDescription::nameWithObjectToManage(const QWManagedObject* object) const {
    if (!nameContainsClassPrefix_)
        return name_;
    QString key = name_;
    key.replace(QWMOFDClassNamePrefix, object ? object->entity().name() : QString());
    return QWLocalizedString(key);
}

void QWManagedObjectFieldDescription::performAcceptVisitor(QWManagedObjectVisitor&, QWManagedObject&) const {
    QWAssert(false, "NO", "-[QWManagedObjectFieldDescription performAcceptVisitor:onObject:]");
}

QWManagedObjectFieldDescriptionString::QWManagedObjectFieldDescriptionString(const QString& key,
                                                                             const QString& sortKey,
                                                                             const QString& name)
    : QWManagedObjectFieldDescription(key, name), sortKey_(sortKey) {}

QWManagedObjectFieldDescriptionString::QWManagedObjectFieldDescriptionString(const QString& key,
                                                                             const QString& name)
    : QWManagedObjectFieldDescriptionString(key, {}, name) {}

void QWManagedObjectFieldDescriptionString::performAcceptVisitor(QWManagedObjectVisitor& visitor,
                                                                 QWManagedObject& object) const {
    visitor.visitObjectStringForKey(object, key(), sortKey(), nameWithObjectToManage(&object));
}

void QWManagedObjectFieldDescriptionStringArray::performAcceptVisitor(QWManagedObjectVisitor& visitor,
                                                                      QWManagedObject& object) const {
    visitor.visitObjectStringArrayForKey(object, key(), sortKey(), nameWithObjectToManage(&object));
}

QWManagedObjectFieldDescriptionLongString::QWManagedObjectFieldDescriptionLongString(const QString& key,
                                                                                     const QString& name,
                                                                                     bool isRichText)
    : QWManagedObjectFieldDescription(key, name), isRichText_(isRichText) {}

void QWManagedObjectFieldDescriptionLongString::performAcceptVisitor(QWManagedObjectVisitor& visitor,
                                                                     QWManagedObject& object) const {
    visitor.visitObjectLongStringForKey(object, key(), isRichText_, nameWithObjectToManage(&object));
}

void QWManagedObjectFieldDescriptionBool::performAcceptVisitor(QWManagedObjectVisitor& visitor,
                                                               QWManagedObject& object) const {
    visitor.visitObjectBoolForKey(object, key(), nameWithObjectToManage(&object));
}

QWManagedObjectFieldDescriptionNumber::QWManagedObjectFieldDescriptionNumber(const QString& key,
                                                                             bool acceptFloat,
                                                                             const QString& name)
    : QWManagedObjectFieldDescription(key, name), acceptFloat_(acceptFloat) {}

QWManagedObjectFieldDescriptionNumber::QWManagedObjectFieldDescriptionNumber(const QString& key,
                                                                             const QString& name)
    : QWManagedObjectFieldDescriptionNumber(key, false, name) {}

void QWManagedObjectFieldDescriptionNumber::performAcceptVisitor(QWManagedObjectVisitor& visitor,
                                                                 QWManagedObject& object) const {
    visitor.visitObjectNumberForKey(object, key(), acceptFloat_, nameWithObjectToManage(&object));
}

QWManagedObjectFieldDescriptionEnum::QWManagedObjectFieldDescriptionEnum(const QString& valueKey,
                                                                         const QString& nameKey,
                                                                         const QString& fieldName,
                                                                         const QVariantList& choiceValues,
                                                                         const QStringList& choiceNames)
    : QWManagedObjectFieldDescription(valueKey, fieldName), nameKey_(nameKey), choiceValues_(choiceValues),
      choiceNames_(choiceNames) {}

void QWManagedObjectFieldDescriptionEnum::performAcceptVisitor(QWManagedObjectVisitor& visitor,
                                                               QWManagedObject& object) const {
    visitor.visitObjectEnumForKey(object, key(), nameKey_, nameWithObjectToManage(&object), choiceValues_,
                                  choiceNames_);
}

QWManagedObjectFieldDescriptionLevel::QWManagedObjectFieldDescriptionLevel(const QString& key,
                                                                           const QString& name, bool isRating,
                                                                           quint64 maximum)
    : QWManagedObjectFieldDescription(key, name), isRating_(isRating), maximum_(maximum) {}

void QWManagedObjectFieldDescriptionLevel::performAcceptVisitor(QWManagedObjectVisitor& visitor,
                                                                QWManagedObject& object) const {
    visitor.visitObjectLevelForKey(object, key(), isRating_, static_cast<qint64>(maximum_),
                                   nameWithObjectToManage(&object));
}

void QWManagedObjectFieldDescriptionImageURL::performAcceptVisitor(QWManagedObjectVisitor& visitor,
                                                                   QWManagedObject& object) const {
    visitor.visitObjectImageURLForKey(object, key(), nameWithObjectToManage(&object));
}
