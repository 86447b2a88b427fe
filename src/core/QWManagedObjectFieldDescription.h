#pragma once

#include "util/QWDateFormatter.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <memory>

class QWManagedObject;
class QWManagedObjectVisitor;

// In a field's name: stands for the class of the record whose field is shown.
inline const QString QWMOFDClassNamePrefix = QStringLiteral("*C*");

// One field of a synced entity: its key on the record, its display name and what its type needs to know. It
// does nothing with the field itself but hands it to a visitor, by the one operation that matches its type.
//
// Constant after construction but for the name and a date's formatter; may be shared by all records of an
// entity and by threads.
class QWManagedObjectFieldDescription {
public:
    QWManagedObjectFieldDescription(const QString& key, const QString& name);
    virtual ~QWManagedObjectFieldDescription();

    const QString& key() const { return key_; }
    const QString& name() const { return name_; }
    // Whether the marker "*C*" counts was decided by the name given at construction.
    void setName(const QString& name) { name_ = name; }

    // The name to show. A name made with the marker "*C*" becomes a translation key: the marker is replaced
    // by the record's class name, for which its entity's name stands (by nothing without a record), and the
    // whole is looked up; without a translation it is shown as it is. Other names are returned unchanged.
    QString nameWithObjectToManage(const QWManagedObject* object) const;

    // Calls the visitor's operation for this type of field. The base has none: assertion "NO".
    virtual void performAcceptVisitor(QWManagedObjectVisitor& visitor, QWManagedObject& object) const;

private:
    QString key_;
    QString name_;
    bool nameContainsClassPrefix_;
};

// The fields of an entity, in their declared order.
using QWFieldDescriptions = QList<std::shared_ptr<const QWManagedObjectFieldDescription>>;

class QWManagedObjectFieldDescriptionString : public QWManagedObjectFieldDescription {
public:
    // `sortKey` names a second attribute, which holds the form that the string is sorted by.
    QWManagedObjectFieldDescriptionString(const QString& key, const QString& sortKey, const QString& name);
    QWManagedObjectFieldDescriptionString(const QString& key, const QString& name);

    const QString& sortKey() const { return sortKey_; } // null without one
    void performAcceptVisitor(QWManagedObjectVisitor& visitor, QWManagedObject& object) const override;

private:
    QString sortKey_;
};

// Several strings, in whatever form the attribute keeps them.
class QWManagedObjectFieldDescriptionStringArray final : public QWManagedObjectFieldDescriptionString {
public:
    using QWManagedObjectFieldDescriptionString::QWManagedObjectFieldDescriptionString;
    void performAcceptVisitor(QWManagedObjectVisitor& visitor, QWManagedObject& object) const override;
};

class QWManagedObjectFieldDescriptionLongString final : public QWManagedObjectFieldDescription {
public:
    // Rich text: the attribute holds a document, not a plain string.
    QWManagedObjectFieldDescriptionLongString(const QString& key, const QString& name,
                                              bool isRichText = false);

    bool isRichText() const { return isRichText_; }
    void performAcceptVisitor(QWManagedObjectVisitor& visitor, QWManagedObject& object) const override;

private:
    bool isRichText_;
};

class QWManagedObjectFieldDescriptionBool final : public QWManagedObjectFieldDescription {
public:
    using QWManagedObjectFieldDescription::QWManagedObjectFieldDescription;
    void performAcceptVisitor(QWManagedObjectVisitor& visitor, QWManagedObject& object) const override;
};

class QWManagedObjectFieldDescriptionNumber final : public QWManagedObjectFieldDescription {
public:
    QWManagedObjectFieldDescriptionNumber(const QString& key, bool acceptFloat, const QString& name);
    // Whole numbers only.
    QWManagedObjectFieldDescriptionNumber(const QString& key, const QString& name);

    bool acceptFloat() const { return acceptFloat_; }
    void performAcceptVisitor(QWManagedObjectVisitor& visitor, QWManagedObject& object) const override;

private:
    bool acceptFloat_;
};

class QWManagedObjectFieldDescriptionDate final : public QWManagedObjectFieldDescription {
public:
    // `formatter` is how the date is shown to the user; none is a programming error: assertion "formatter".
    QWManagedObjectFieldDescriptionDate(const QString& key, const QString& name,
                                        QWDateFormatterRef formatter);
    QWManagedObjectFieldDescriptionDate(const QString& key, const QString& name) = delete;

    const QWDateFormatterRef& dateFormatter() const { return dateFormatter_; }
    void setDateFormatter(QWDateFormatterRef formatter) { dateFormatter_ = std::move(formatter); }
    void performAcceptVisitor(QWManagedObjectVisitor& visitor, QWManagedObject& object) const override;

private:
    QWDateFormatterRef dateFormatter_;
};

// One of several values, each with a name to show: the two lists are parallel.
class QWManagedObjectFieldDescriptionEnum final : public QWManagedObjectFieldDescription {
public:
    // `nameKey` names a second key of the record, which gives the display name of its value.
    QWManagedObjectFieldDescriptionEnum(const QString& valueKey, const QString& nameKey,
                                        const QString& fieldName, const QVariantList& choiceValues,
                                        const QStringList& choiceNames);
    QWManagedObjectFieldDescriptionEnum(const QString& key, const QString& name) = delete;

    const QString& nameKey() const { return nameKey_; }
    const QVariantList& choiceValues() const { return choiceValues_; }
    const QStringList& choiceNames() const { return choiceNames_; }
    void performAcceptVisitor(QWManagedObjectVisitor& visitor, QWManagedObject& object) const override;

private:
    QString nameKey_;
    QVariantList choiceValues_;
    QStringList choiceNames_;
};

// A number from 0 to a maximum, shown as a bar, or as stars when it is a rating.
class QWManagedObjectFieldDescriptionLevel final : public QWManagedObjectFieldDescription {
public:
    QWManagedObjectFieldDescriptionLevel(const QString& key, const QString& name, bool isRating,
                                         quint64 maximum);
    QWManagedObjectFieldDescriptionLevel(const QString& key, const QString& name) = delete;

    bool isRating() const { return isRating_; }
    quint64 maximum() const { return maximum_; }
    void performAcceptVisitor(QWManagedObjectVisitor& visitor, QWManagedObject& object) const override;

private:
    bool isRating_;
    quint64 maximum_;
};

class QWManagedObjectFieldDescriptionRelationship final : public QWManagedObjectFieldDescription {
public:
    QWManagedObjectFieldDescriptionRelationship(const QString& key, const QString& name,
                                                const QString& destinationEntityName, bool isToMany);
    QWManagedObjectFieldDescriptionRelationship(const QString& key, const QString& name) = delete;

    const QString& destinationEntityName() const { return destinationEntityName_; }
    bool isToMany() const { return isToMany_; }

    // Asks the visitor whether it wants the records at the other end; if so lets each that accepts visitors
    // accept it, in the relationship's own order, then tells the visitor that the relationship is closed.
    // Does nothing for a visitor that does not answer the question.
    void performAcceptVisitor(QWManagedObjectVisitor& visitor, QWManagedObject& object) const override;

private:
    QString destinationEntityName_;
    bool isToMany_;
};

// The location of a local image file: a URL, or its text.
class QWManagedObjectFieldDescriptionImageURL final : public QWManagedObjectFieldDescription {
public:
    using QWManagedObjectFieldDescription::QWManagedObjectFieldDescription;
    void performAcceptVisitor(QWManagedObjectVisitor& visitor, QWManagedObject& object) const override;
};
