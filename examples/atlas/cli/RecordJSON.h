#pragma once

#include "core/QWManagedObjectVisitor.h"
#include "core/QWManagedObjectWithSyncSupport.h"

#include <QJsonObject>

// A record as JSON for other programs: "uuid" and every described key in JSON's own types. Dates are text,
// tags an array of texts, relationships a uuid or an array of uuids, rich text plain text, images the SHA-256
// of the file; what has no value is null.
class RecordJSON final : private QWManagedObjectVisitor {
public:
    static QJsonObject of(QWManagedObjectWithSyncSupport& record);

private:
    void put(QWManagedObject& object, const QString& key);

    bool respondsToSelector(const QString& selector) const override;
    void beginVisitOfObject(QWManagedObject& object) override;
    void endVisitOfObject(QWManagedObject&) override {}
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
    bool visitObjectShouldExploreRelationshipForKey(QWManagedObject& object, const QString& key,
                                                    const QString& name, const QString& destinationEntityName,
                                                    bool isToMany) override;

    QJsonObject values_;
};
