#pragma once

#include "core/QWManagedObjectVisitor.h"

// A visitor to which most fields are values under their keys, whatever their type: strings and their sort
// forms, string arrays, long strings, yes or no, numbers, levels and choices all come to
// `visitObjectValueForKey`. Dates, images and relationships are left to the subclass, which may treat other
// types apart by overriding their operations.
class QWManagedObjectValueVisitor : public QWManagedObjectVisitor {
public:
    bool respondsToSelector(const QString& selector) const override;

    // A string that has a sort form is two values.
    void visitObjectStringForKey(QWManagedObject& object, const QString& key, const QString& sortKey,
                                 const QString& name) override;
    void visitObjectStringArrayForKey(QWManagedObject& object, const QString& key, const QString& sortKey,
                                      const QString& name) override;
    void visitObjectLongStringForKey(QWManagedObject& object, const QString& key, bool richText,
                                     const QString& name) override;
    void visitObjectBoolForKey(QWManagedObject& object, const QString& key, const QString& name) override;
    void visitObjectNumberForKey(QWManagedObject& object, const QString& key, bool acceptFloat,
                                 const QString& name) override;
    void visitObjectLevelForKey(QWManagedObject& object, const QString& key, bool isRating, qint64 maximum,
                                const QString& name) override;
    // The value alone; its name is left out.
    void visitObjectEnumForKey(QWManagedObject& object, const QString& key, const QString& nameKey,
                               const QString& name, const QVariantList& choiceValues,
                               const QStringList& choiceNames) override;
    bool visitObjectShouldExploreRelationshipForKey(QWManagedObject& object, const QString& key,
                                                    const QString& name, const QString& destinationEntityName,
                                                    bool isToMany) override = 0;
    void visitObjectCloseRelationshipForKey(QWManagedObject& object, const QString& key,
                                            const QString& name) override = 0;

protected:
    virtual void visitObjectValueForKey(QWManagedObject& object, const QString& key) = 0;
};
