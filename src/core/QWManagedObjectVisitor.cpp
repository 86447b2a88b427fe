#include "core/QWManagedObjectVisitor.h"

#include "platform/QWAssert.h"

QWManagedObjectVisitor::~QWManagedObjectVisitor() = default;

bool QWManagedObjectVisitor::respondsToSelector(const QString& selector) const {
    static const QStringList required = {
        QStringLiteral("beginVisitOfObject:"),
        QStringLiteral("endVisitOfObject:"),
        QStringLiteral("visitObject:stringForKey:sortKey:name:"),
        QStringLiteral("visitObject:stringArrayForKey:sortKey:name:"),
        QStringLiteral("visitObject:longStringForKey:richText:name:"),
        QStringLiteral("visitObject:boolForKey:name:"),
        QStringLiteral("visitObject:numberForKey:acceptFloat:name:"),
        QStringLiteral("visitObject:dateForKey:name:formatter:"),
        QStringLiteral("visitObject:imageURLForKey:name:"),
        QStringLiteral("visitObject:levelForKey:isRating:maximum:name:"),
        QStringLiteral("visitObject:enumForKey:nameKey:name:choiceValues:choiceNames:"),
    };
    return required.contains(selector);
}

bool QWManagedObjectVisitor::visitObjectShouldExploreRelationshipForKey(QWManagedObject&, const QString&,
                                                                        const QString&, const QString&,
                                                                        bool) {
    QWAssert(false, "unknown operation",
             "visitObject:shouldExploreRelationshipForKey:name:destinationEntityName:isToMany:");
}

void QWManagedObjectVisitor::visitObjectCloseRelationshipForKey(QWManagedObject&, const QString&,
                                                                const QString&) {
    QWAssert(false, "unknown operation", "visitObject:closeRelationshipForKey:name:");
}
