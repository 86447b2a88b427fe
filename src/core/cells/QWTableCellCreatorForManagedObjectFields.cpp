#include "core/cells/QWTableCellCreatorForManagedObjectFields.h"

#include "core/QWCoreLog_p.h"
#include "formatters/NSNumberFormatter_PreconfiguredFormatters.h"
#include "platform/QWAssert.h"
#include "views/ImageAnd2TextsCell.h"
#include "views/QWCheckBoxCell.h"
#include "views/QWLevelIndicatorCell.h"
#include "views/QWTextFieldCell.h"

QStringList QWTableCellCreatorForManagedObjectFields::keysForImageWith2TextCell;

void QWTableCellCreatorForManagedObjectFields::setStringKeysForImageAnd2TextCell(const QStringList& keys) {
    keysForImageWith2TextCell = keys;
}

bool QWTableCellCreatorForManagedObjectFields::respondsToSelector(const QString& selector) const {
    return selector == QWVisitShouldExploreRelationshipSelector
           || selector == QWVisitCloseRelationshipSelector
           || QWManagedObjectVisitor::respondsToSelector(selector);
}

void QWTableCellCreatorForManagedObjectFields::beginVisitOfObject(QWManagedObject&) {
    qCWarning(qwCoreLog, "QWTableCellCreatorForManagedObjectFields cmd: beginVisitOfObject: using the class "
                         "for an array of keys. Probably programmation error");
    QWAssert(false, "NO", "-[QWTableCellCreatorForManagedObjectFields beginVisitOfObject:]");
}

void QWTableCellCreatorForManagedObjectFields::endVisitOfObject(QWManagedObject&) {}

void QWTableCellCreatorForManagedObjectFields::visitObjectStringForKey(QWManagedObject&, const QString& key,
                                                                       const QString&, const QString&) {
    if (keysForImageWith2TextCell.contains(key))
        cell_ = std::make_shared<ImageAnd2TextsCell>();
    else
        cell_ = std::make_shared<QWTextFieldCell>();
}

void QWTableCellCreatorForManagedObjectFields::visitObjectStringArrayForKey(QWManagedObject&, const QString&,
                                                                            const QString&, const QString&) {
    cell_ = std::make_shared<QWTextFieldCell>();
}

void QWTableCellCreatorForManagedObjectFields::visitObjectLongStringForKey(QWManagedObject&, const QString&,
                                                                           bool, const QString&) {}

void QWTableCellCreatorForManagedObjectFields::visitObjectBoolForKey(QWManagedObject&, const QString&,
                                                                     const QString&) {
    cell_ = std::make_shared<QWCheckBoxCell>();
    cell_->setEnabled(false);
    cell_->setEditable(false);
}

void QWTableCellCreatorForManagedObjectFields::visitObjectNumberForKey(QWManagedObject&, const QString&,
                                                                       bool acceptFloat, const QString&) {
    cell_ = std::make_shared<QWTextFieldCell>(acceptFloat ? localizedFloatFormatter()
                                                          : localizedIntegerFormatter());
}

void QWTableCellCreatorForManagedObjectFields::visitObjectDateForKey(QWManagedObject&, const QString&,
                                                                     const QString&,
                                                                     const QWDateFormatterRef& formatter) {
    cell_ = std::make_shared<QWTextFieldCell>(formatter);
}

void QWTableCellCreatorForManagedObjectFields::visitObjectImageURLForKey(QWManagedObject&, const QString&,
                                                                         const QString&) {
    cell_ = std::make_shared<QWTextFieldCell>();
}

void QWTableCellCreatorForManagedObjectFields::visitObjectLevelForKey(QWManagedObject&, const QString&,
                                                                      bool isRating, qint64 maximum,
                                                                      const QString&) {
    const auto level = std::make_shared<QWLevelIndicatorCell>();
    if (isRating)
        level->setLevelIndicatorStyle(QWLevelIndicatorCell::Style::Rating);
    level->setMinValue(0);
    level->setMaxValue(double(maximum));
    cell_ = level;
}

void QWTableCellCreatorForManagedObjectFields::visitObjectEnumForKey(QWManagedObject&, const QString&,
                                                                     const QString&, const QString&,
                                                                     const QVariantList&,
                                                                     const QStringList&) {
    cell_ = std::make_shared<QWTextFieldCell>();
}

bool QWTableCellCreatorForManagedObjectFields::visitObjectShouldExploreRelationshipForKey(
    QWManagedObject&, const QString&, const QString&, const QString&, bool) {
    return false;
}

void QWTableCellCreatorForManagedObjectFields::visitObjectCloseRelationshipForKey(QWManagedObject&,
                                                                                  const QString&,
                                                                                  const QString&) {}
