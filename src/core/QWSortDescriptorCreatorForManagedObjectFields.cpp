#include "core/QWSortDescriptorCreatorForManagedObjectFields.h"

#include "core/QWCoreLog_p.h"
#include "platform/QWAssert.h"

using Creator = QWSortDescriptorCreatorForManagedObjectFields;
using Comparison = QWSortDescriptor::Comparison;

bool Creator::respondsToSelector(const QString& selector) const {
    return selector == QWVisitShouldExploreRelationshipSelector
           || selector == QWVisitCloseRelationshipSelector
           || QWManagedObjectVisitor::respondsToSelector(selector);
}

void Creator::saveSortDescriptorWithKey(const QString& key, Comparison selector) {
    sortDescriptor_ = QWSortDescriptor{key, ascending_, selector};
}

void Creator::beginVisitOfObject(QWManagedObject&) {
    qCWarning(qwCoreLog, "%s cmd: %s using the class for an array of keys. Probably programmation error",
              "QWSortDescriptorCreatorForManagedObjectFields", "beginVisitOfObject:");
    QWAssert(false, "NO", "-[QWSortDescriptorCreatorForManagedObjectFields beginVisitOfObject:]");
}

void Creator::endVisitOfObject(QWManagedObject&) {}

void Creator::visitObjectStringForKey(QWManagedObject&, const QString& key, const QString& sortKey,
                                      const QString&) {
    saveSortDescriptorWithKey(sortKey.isEmpty() ? key : sortKey, Comparison::LocalizedCaseInsensitive);
}

void Creator::visitObjectStringArrayForKey(QWManagedObject& object, const QString& key,
                                           const QString& sortKey, const QString& name) {
    visitObjectStringForKey(object, key, sortKey, name);
}

void Creator::visitObjectLongStringForKey(QWManagedObject&, const QString& key, bool, const QString&) {
    saveSortDescriptorWithKey(key, Comparison::LocalizedCaseInsensitive);
}

void Creator::visitObjectBoolForKey(QWManagedObject&, const QString& key, const QString&) {
    saveSortDescriptorWithKey(key, Comparison::Natural);
}

void Creator::visitObjectNumberForKey(QWManagedObject&, const QString& key, bool, const QString&) {
    saveSortDescriptorWithKey(key, Comparison::Natural);
}

void Creator::visitObjectDateForKey(QWManagedObject&, const QString& key, const QString&,
                                    const QWDateFormatterRef&) {
    saveSortDescriptorWithKey(key, Comparison::Natural);
}

void Creator::visitObjectImageURLForKey(QWManagedObject&, const QString& key, const QString&) {
    saveSortDescriptorWithKey(key, Comparison::LocalizedCaseInsensitive);
}

void Creator::visitObjectLevelForKey(QWManagedObject&, const QString& key, bool, qint64, const QString&) {
    saveSortDescriptorWithKey(key, Comparison::Natural);
}

void Creator::visitObjectEnumForKey(QWManagedObject&, const QString& key, const QString&, const QString&,
                                    const QVariantList&, const QStringList&) {
    saveSortDescriptorWithKey(key, Comparison::Natural);
}

bool Creator::visitObjectShouldExploreRelationshipForKey(QWManagedObject&, const QString&, const QString&,
                                                         const QString&, bool) {
    sortDescriptor_.reset();
    return false;
}

void Creator::visitObjectCloseRelationshipForKey(QWManagedObject&, const QString&, const QString&) {}
