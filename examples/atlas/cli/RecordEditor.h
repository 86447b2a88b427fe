#pragma once

#include "core/QWManagedObjectVisitor.h"
#include "core/QWManagedObjectWithSyncSupport.h"

#include <QMap>
#include <optional>

// Sets fields of a record from the texts of a command line, "key=value": text as it is, true and false,
// numbers with a point, dates "yyyy-MM-dd HH:mm:ss Z", tags separated by commas, relationships by uuid;
// "key=" clears and "key=@FILE" takes the value from a file (of rich text the file itself, of an image what
// the importer makes of it).
//
// All texts are read before anything is changed; what is wrong with them is thrown as a Failure that names
// key and value.
class RecordEditor final : private QWManagedObjectVisitor {
public:
    explicit RecordEditor(const QStringList& assignments);

    void edit(QWManagedObjectWithSyncSupport& record);

private:
    struct Given {
        QString key;
        QString value;    // as it was given
        QByteArray bytes; // of the file that it names, if it does
        bool isFile = false;

        bool clears() const { return !isFile && bytes.isEmpty(); }
        QString text() const;
        [[noreturn]] void fail(const QString& expected) const;
    };
    // Takes what was given for the field out of those still to be read.
    std::optional<Given> take(const QString& key);
    void read(const QString& key, const std::function<QVariant(const Given&)>& value);

    bool respondsToSelector(const QString& selector) const override;
    void beginVisitOfObject(QWManagedObject&) override {}
    void endVisitOfObject(QWManagedObject&) override {}
    void visitObjectStringForKey(QWManagedObject&, const QString& key, const QString& sortKey,
                                 const QString& name) override;
    void visitObjectStringArrayForKey(QWManagedObject&, const QString& key, const QString& sortKey,
                                      const QString& name) override;
    void visitObjectLongStringForKey(QWManagedObject&, const QString& key, bool richText,
                                     const QString& name) override;
    void visitObjectBoolForKey(QWManagedObject&, const QString& key, const QString& name) override;
    void visitObjectNumberForKey(QWManagedObject&, const QString& key, bool acceptFloat,
                                 const QString& name) override;
    void visitObjectDateForKey(QWManagedObject&, const QString& key, const QString& name,
                               const QWDateFormatterRef& formatter) override;
    void visitObjectImageURLForKey(QWManagedObject&, const QString& key, const QString& name) override;
    void visitObjectLevelForKey(QWManagedObject&, const QString& key, bool isRating, qint64 maximum,
                                const QString& name) override;
    void visitObjectEnumForKey(QWManagedObject&, const QString& key, const QString& nameKey,
                               const QString& name, const QVariantList& choiceValues,
                               const QStringList& choiceNames) override;
    bool visitObjectShouldExploreRelationshipForKey(QWManagedObject& object, const QString& key,
                                                    const QString& name, const QString& destinationEntityName,
                                                    bool isToMany) override;

    QMap<QString, Given> given_;
    QList<std::pair<QString, QVariant>> values_; // in the entity's order
    std::optional<QByteArray> image_;
};
