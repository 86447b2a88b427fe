#pragma once

#include "core/QWManagedObjectVisitor.h"
#include "views/QWTableCell.h"

#include <QStringList>
#include <memory>

// Makes the table cell that suits a field: let one field description accept the creator, then take `cell` as
// the item delegate of the field's column. The view does not own it, so keep it as long as the view shows it.
//
//   string                  image and two texts for the keys that are set for it, otherwise text
//   string array, enum      text
//   image URL               text
//   long string             none: `cell` stays what it was
//   bool                    a check box that cannot be changed
//   number                  text of a localised number, with a fraction where the field accepts one
//   date                    text of the field's own formatter
//   level                   a bar, or stars for a rating, from 0 to the field's maximum
//   relationship            none
//
// One field at a time: to visit a whole record is a programming error (assertion "NO"). Main thread.
class QWTableCellCreatorForManagedObjectFields final : public QWManagedObjectVisitor {
public:
    // The string fields, by key, whose columns show images and a badge beside the text. For all creators of
    // the process; none until set. Set it once, at start-up.
    static void setStringKeysForImageAnd2TextCell(const QStringList& keys);

    // The cell of the last field that has one; null before the first. Each is a new one.
    const std::shared_ptr<QWTableCell>& cell() const { return cell_; }

    bool respondsToSelector(const QString& selector) const override;
    void beginVisitOfObject(QWManagedObject& object) override;
    void endVisitOfObject(QWManagedObject& object) override;
    void visitObjectStringForKey(QWManagedObject& object, const QString& key, const QString& sortKey,
                                 const QString& name) override;
    void visitObjectStringArrayForKey(QWManagedObject& object, const QString& key, const QString& sortKey,
                                      const QString& name) override;
    void visitObjectLongStringForKey(QWManagedObject& object, const QString& key, bool richText,
                                     const QString& name) override;
    void visitObjectBoolForKey(QWManagedObject& object, const QString& key, const QString& name) override;
    void visitObjectNumberForKey(QWManagedObject& object, const QString& key, bool acceptFloat,
                                 const QString& name) override;
    void visitObjectDateForKey(QWManagedObject& object, const QString& key, const QString& name,
                               const QWDateFormatterRef& formatter) override;
    void visitObjectImageURLForKey(QWManagedObject& object, const QString& key, const QString& name) override;
    void visitObjectLevelForKey(QWManagedObject& object, const QString& key, bool isRating, qint64 maximum,
                                const QString& name) override;
    void visitObjectEnumForKey(QWManagedObject& object, const QString& key, const QString& nameKey,
                               const QString& name, const QVariantList& choiceValues,
                               const QStringList& choiceNames) override;
    // Always NO.
    bool visitObjectShouldExploreRelationshipForKey(QWManagedObject& object, const QString& key,
                                                    const QString& name, const QString& destinationEntityName,
                                                    bool isToMany) override;
    void visitObjectCloseRelationshipForKey(QWManagedObject& object, const QString& key,
                                            const QString& name) override;

private:
    static QStringList keysForImageWith2TextCell;

    std::shared_ptr<QWTableCell> cell_;
};
