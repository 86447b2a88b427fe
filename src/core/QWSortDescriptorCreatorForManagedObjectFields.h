#pragma once

#include "core/QWManagedObjectVisitor.h"
#include "store/QWFetchRequest.h"

#include <optional>

// Turns one field description into the order in which a list of records is sorted by that field, for a header
// that was clicked, say:
//
//     QWSortDescriptorCreatorForManagedObjectFields creator;
//     field.performAcceptVisitor(creator, record);
//     if (creator.sortDescriptor())
//         request.sortDescriptors = {*creator.sortDescriptor()};
//
// Strings, string arrays, long strings and image locations sort in the user's order, letter case ignored, a
// string by its sort form where the field names one; dates, numbers, yes or no, levels and choices (by the
// stored value, not by its name) by value. One field at a time: a whole record that accepts the creator is a
// programming error, assertion "NO". The record handed over is not read.
class QWSortDescriptorCreatorForManagedObjectFields final : public QWManagedObjectVisitor {
public:
    bool respondsToSelector(const QString& selector) const override;

    // Of the field visited last; none after a relationship, and before the first field.
    const std::optional<QWSortDescriptor>& sortDescriptor() const { return sortDescriptor_; }
    // The direction of the descriptors made from now on; ascending at first.
    bool ascending() const { return ascending_; }
    void setAscending(bool ascending) { ascending_ = ascending; }

    // Replaces the descriptor by one in the present direction.
    void saveSortDescriptorWithKey(const QString& key, QWSortDescriptor::Comparison selector);

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
    // Clears the descriptor and answers no: relationships give no order.
    bool visitObjectShouldExploreRelationshipForKey(QWManagedObject& object, const QString& key,
                                                    const QString& name, const QString& destinationEntityName,
                                                    bool isToMany) override;
    void visitObjectCloseRelationshipForKey(QWManagedObject& object, const QString& key,
                                            const QString& name) override;

private:
    std::optional<QWSortDescriptor> sortDescriptor_;
    bool ascending_ = true;
};
