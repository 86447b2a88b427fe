#include "core/QWManagedObjectValueVisitor.h"

bool QWManagedObjectValueVisitor::respondsToSelector(const QString& selector) const {
    return selector == QWVisitShouldExploreRelationshipSelector
           || selector == QWVisitCloseRelationshipSelector
           || QWManagedObjectVisitor::respondsToSelector(selector);
}

void QWManagedObjectValueVisitor::visitObjectStringForKey(QWManagedObject& object, const QString& key,
                                                          const QString& sortKey, const QString&) {
    visitObjectValueForKey(object, key);
    if (!sortKey.isNull())
        visitObjectValueForKey(object, sortKey);
}

void QWManagedObjectValueVisitor::visitObjectStringArrayForKey(QWManagedObject& object, const QString& key,
                                                               const QString& sortKey, const QString& name) {
    QWManagedObjectValueVisitor::visitObjectStringForKey(object, key, sortKey, name);
}

void QWManagedObjectValueVisitor::visitObjectLongStringForKey(QWManagedObject& object, const QString& key,
                                                              bool, const QString&) {
    visitObjectValueForKey(object, key);
}

void QWManagedObjectValueVisitor::visitObjectBoolForKey(QWManagedObject& object, const QString& key,
                                                        const QString&) {
    visitObjectValueForKey(object, key);
}

void QWManagedObjectValueVisitor::visitObjectNumberForKey(QWManagedObject& object, const QString& key, bool,
                                                          const QString&) {
    visitObjectValueForKey(object, key);
}

void QWManagedObjectValueVisitor::visitObjectLevelForKey(QWManagedObject& object, const QString& key, bool,
                                                         qint64, const QString&) {
    visitObjectValueForKey(object, key);
}

void QWManagedObjectValueVisitor::visitObjectEnumForKey(QWManagedObject& object, const QString& key,
                                                        const QString&, const QString&, const QVariantList&,
                                                        const QStringList&) {
    visitObjectValueForKey(object, key);
}
