// In a file of its own, because the assertion's text names the class's file.
#include "core/QWManagedObjectFieldDescription.h"
#include "core/QWManagedObjectVisitor.h"
#include "platform/QWAssert.h"

QWManagedObjectFieldDescriptionDate::QWManagedObjectFieldDescriptionDate(const QString& key,
                                                                         const QString& name,
                                                                         QWDateFormatterRef formatter)
    : QWManagedObjectFieldDescription(key, name), dateFormatter_(std::move(formatter)) {
    QWAssert(dateFormatter_, "formatter",
             "-[QWManagedObjectFieldDescriptionDate initWithKey:name:formatter:]");
}

void QWManagedObjectFieldDescriptionDate::performAcceptVisitor(QWManagedObjectVisitor& visitor,
                                                               QWManagedObject& object) const {
    visitor.visitObjectDateForKey(object, key(), nameWithObjectToManage(&object), dateFormatter_);
}
