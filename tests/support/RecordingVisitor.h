#pragma once

#include "core/QWManagedObjectVisitor.h"
#include "store/QWManagedObject.h"

#include <QStringList>

// Writes down what it is told, one line for each call: the operation's keywords with the arguments in their
// order.
class RecordingVisitor : public QWManagedObjectVisitor {
public:
    QStringList calls;
    bool exploresRelationships = true;
    bool answersRelationships = true;

    bool respondsToSelector(const QString& selector) const override {
        return (answersRelationships
                && (selector == QWVisitShouldExploreRelationshipSelector
                    || selector == QWVisitCloseRelationshipSelector))
               || QWManagedObjectVisitor::respondsToSelector(selector);
    }
    void beginVisitOfObject(QWManagedObject& object) override { note("begin", object, {}); }
    void endVisitOfObject(QWManagedObject& object) override { note("end", object, {}); }
    void visitObjectStringForKey(QWManagedObject& object, const QString& key, const QString& sortKey,
                                 const QString& name) override {
        note("string", object, {key, sortKey.isNull() ? "null" : sortKey, name});
    }
    void visitObjectStringArrayForKey(QWManagedObject& object, const QString& key, const QString& sortKey,
                                      const QString& name) override {
        note("stringArray", object, {key, sortKey.isNull() ? "null" : sortKey, name});
    }
    void visitObjectLongStringForKey(QWManagedObject& object, const QString& key, bool richText,
                                     const QString& name) override {
        note("longString", object, {key, flag(richText), name});
    }
    void visitObjectBoolForKey(QWManagedObject& object, const QString& key, const QString& name) override {
        note("bool", object, {key, name});
    }
    void visitObjectNumberForKey(QWManagedObject& object, const QString& key, bool acceptFloat,
                                 const QString& name) override {
        note("number", object, {key, flag(acceptFloat), name});
    }
    void visitObjectDateForKey(QWManagedObject& object, const QString& key, const QString& name,
                               const QWDateFormatterRef& formatter) override {
        note("date", object, {key, name, formatter->stringFromDate(QDateTime::fromSecsSinceEpoch(0))});
    }
    void visitObjectImageURLForKey(QWManagedObject& object, const QString& key,
                                   const QString& name) override {
        note("image", object, {key, name});
    }
    void visitObjectLevelForKey(QWManagedObject& object, const QString& key, bool isRating, qint64 maximum,
                                const QString& name) override {
        note("level", object, {key, flag(isRating), QString::number(maximum), name});
    }
    void visitObjectEnumForKey(QWManagedObject& object, const QString& key, const QString& nameKey,
                               const QString& name, const QVariantList& choiceValues,
                               const QStringList& choiceNames) override {
        note("enum", object,
             {key, nameKey, name, QVariant(choiceValues).toStringList().join('|'), choiceNames.join('|')});
    }
    bool visitObjectShouldExploreRelationshipForKey(QWManagedObject& object, const QString& key,
                                                    const QString& name, const QString& destinationEntityName,
                                                    bool isToMany) override {
        note("explore", object, {key, name, destinationEntityName, flag(isToMany)});
        return exploresRelationships;
    }
    void visitObjectCloseRelationshipForKey(QWManagedObject& object, const QString& key,
                                            const QString& name) override {
        note("close", object, {key, name});
    }

private:
    static QString flag(bool value) { return value ? "YES" : "NO"; }
    void note(const QString& operation, const QWManagedObject& object, const QStringList& arguments) {
        calls << QString("%1 %2(%3)").arg(operation, object.entity().name(), arguments.join(", "));
    }
};
