#include "core/QWManagedObjectFieldDescription.h"
#include "core/QWManagedObjectVisitor.h"
#include "core/QWManagedObjectWithSyncSupport.h"

namespace {

void letAccept(QWManagedObject* destination, QWManagedObjectVisitor& visitor) {
    auto* synced = dynamic_cast<QWManagedObjectWithSyncSupport*>(destination);
    if (synced && synced->respondsToSelector(QWAcceptVisitorSelector))
        synced->acceptVisitor(visitor);
}

} // namespace

QWManagedObjectFieldDescriptionRelationship::QWManagedObjectFieldDescriptionRelationship(
    const QString& key, const QString& name, const QString& destinationEntityName, bool isToMany)
    : QWManagedObjectFieldDescription(key, name), destinationEntityName_(destinationEntityName),
      isToMany_(isToMany) {}

void QWManagedObjectFieldDescriptionRelationship::performAcceptVisitor(QWManagedObjectVisitor& visitor,
                                                                       QWManagedObject& object) const {
    if (!visitor.respondsToSelector(QWVisitShouldExploreRelationshipSelector))
        return;
    if (!visitor.visitObjectShouldExploreRelationshipForKey(object, key(), nameWithObjectToManage(&object),
                                                            destinationEntityName_, isToMany_))
        return;
    if (isToMany_) {
        for (const auto& destination : object.relatedObjects(key()))
            letAccept(destination.data(), visitor);
    } else {
        letAccept(object.relatedObject(key()).data(), visitor);
    }
    visitor.visitObjectCloseRelationshipForKey(object, key(), nameWithObjectToManage(&object));
}
