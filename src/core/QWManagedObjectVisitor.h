#pragma once

#include "util/QWDateFormatter.h"

#include <QString>
#include <QStringList>
#include <QVariantList>

class QWManagedObject;

// Treats the fields of a record one by one without knowing its entity: a record's `acceptVisitor` announces
// the record, then each field description calls the operation of its type, then the visit ends. Every
// operation is handed the record, the field's key and its display name, and the settings that its type has.
//
// The two relationship operations are optional. A visitor that answers them overrides both, and
// `respondsToSelector` to say so; relationships are passed over for a visitor that does not.
class QWManagedObjectVisitor {
public:
    virtual ~QWManagedObjectVisitor();

    // Whether the visitor answers the operation of that selector. By default: the required ones.
    virtual bool respondsToSelector(const QString& selector) const;

    virtual void beginVisitOfObject(QWManagedObject& object) = 0;
    virtual void endVisitOfObject(QWManagedObject& object) = 0;

    // `sortKey` is null for a field without one.
    virtual void visitObjectStringForKey(QWManagedObject& object, const QString& key, const QString& sortKey,
                                         const QString& name) = 0;
    virtual void visitObjectStringArrayForKey(QWManagedObject& object, const QString& key,
                                              const QString& sortKey, const QString& name) = 0;
    virtual void visitObjectLongStringForKey(QWManagedObject& object, const QString& key, bool richText,
                                             const QString& name) = 0;
    virtual void visitObjectBoolForKey(QWManagedObject& object, const QString& key, const QString& name) = 0;
    virtual void visitObjectNumberForKey(QWManagedObject& object, const QString& key, bool acceptFloat,
                                         const QString& name) = 0;
    virtual void visitObjectDateForKey(QWManagedObject& object, const QString& key, const QString& name,
                                       const QWDateFormatterRef& formatter) = 0;
    virtual void visitObjectImageURLForKey(QWManagedObject& object, const QString& key,
                                           const QString& name) = 0;
    virtual void visitObjectLevelForKey(QWManagedObject& object, const QString& key, bool isRating,
                                        qint64 maximum, const QString& name) = 0;
    virtual void visitObjectEnumForKey(QWManagedObject& object, const QString& key, const QString& nameKey,
                                       const QString& name, const QVariantList& choiceValues,
                                       const QStringList& choiceNames) = 0;

    // Optional. Whether the records at the other end are to be visited, between this call and the next.
    virtual bool visitObjectShouldExploreRelationshipForKey(QWManagedObject& object, const QString& key,
                                                            const QString& name,
                                                            const QString& destinationEntityName,
                                                            bool isToMany);
    virtual void visitObjectCloseRelationshipForKey(QWManagedObject& object, const QString& key,
                                                    const QString& name);
};

// Selectors of the optional operations, for `respondsToSelector`.
inline const QString QWVisitShouldExploreRelationshipSelector =
    QStringLiteral("visitObject:shouldExploreRelationshipForKey:name:destinationEntityName:isToMany:");
inline const QString QWVisitCloseRelationshipSelector =
    QStringLiteral("visitObject:closeRelationshipForKey:name:");
