#pragma once

#include "platform/QWError.h"

#include <QExplicitlySharedDataPointer>
#include <QHash>
#include <QString>
#include <QVariant>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QWManagedObject;
class QWEntityDescription;
class QWManagedObjectModel;

// Owning reference to a record (or to any other intrusively counted object of the library).
template <class T>
using QWRef = QExplicitlySharedDataPointer<T>;

// What an attribute holds. The QVariant type of its values is given in brackets; no value is an invalid
// QVariant.
enum class QWAttributeType {
    String,   // [QString]
    Integer,  // [qlonglong]
    Double,   // [double], infinite ones included, but not NaN
    Boolean,  // [bool]
    Date,     // [QDateTime, UTC], to the millisecond
    Data,     // [QByteArray]
    Document, // rich text: document data [QByteArray] or plain text [QString], kept as given
};

QString QWAttributeTypeName(QWAttributeType type);

enum class QWRelationshipKind { ToOne, ToMany, OrderedToMany };

// What happens to the records at the other end when a record is deleted.
enum class QWDeleteRule {
    Nullify, // their end of the relationship lets go
    Cascade, // they are deleted too
    Deny,    // as long as there is one, the deletion fails at the save
};

// One attribute or relationship of an entity. Declared with the chainable setters before the model is opened;
// constant from then on.
class QWPropertyDescription {
public:
    const QString& name() const { return name_; }
    // Position among the entity's properties, inherited ones first: the record's slot for the value.
    int index() const { return index_; }
    bool isAttribute() const { return attribute_; }
    bool isRelationship() const { return !attribute_; }
    bool isOptional() const { return optional_; }
    const QString& renamedFrom() const { return renamedFrom_; }

    // Attributes.
    QWAttributeType type() const { return type_; }
    const QVariant& defaultValue() const { return default_; }
    bool isIndexed() const { return indexed_; }
    bool isFolded() const { return folded_; }
    // `value` in the attribute's own QVariant type, or nothing when it cannot become that. No value stays no
    // value. Numbers convert when they do so exactly (1, 1.0 and true are one number); nothing else converts.
    std::optional<QVariant> converted(QVariant value) const;

    // Relationships.
    QWRelationshipKind kind() const { return kind_; }
    bool isToMany() const { return !attribute_ && kind_ != QWRelationshipKind::ToOne; }
    bool isOrdered() const { return kind_ == QWRelationshipKind::OrderedToMany; }
    QWDeleteRule deleteRule() const { return deleteRule_; }
    const QString& destinationName() const { return destinationName_; }
    const QString& inverseName() const { return inverseName_; }
    // Resolved when the model is completed; the inverse may be null.
    const QWEntityDescription* destination() const { return destination_; }
    const QWPropertyDescription* inverse() const { return inverse_; }

    // Declaration. Attributes and relationships are optional unless said otherwise.
    QWPropertyDescription& setOptional(bool optional);
    QWPropertyDescription& setDefault(const QVariant& value);
    // Lookups by equality are logarithmic over saved rows and constant over pending ones.
    QWPropertyDescription& setIndexed();
    // Indexed by the case-folded value (strings only): serves "==[c]", and nothing is scanned.
    QWPropertyDescription& setIndexedFolded();
    QWPropertyDescription& setInverse(const QString& name);
    QWPropertyDescription& setDeleteRule(QWDeleteRule rule);
    // The name under which an earlier model knew this property.
    QWPropertyDescription& setRenamedFrom(const QString& name);

private:
    friend class QWEntityDescription;
    friend class QWManagedObjectModel;

    QString name_, renamedFrom_, destinationName_, inverseName_;
    int index_ = -1;
    bool attribute_ = true, optional_ = true, indexed_ = false, folded_ = false;
    QWAttributeType type_ = QWAttributeType::String;
    QWRelationshipKind kind_ = QWRelationshipKind::ToOne;
    QWDeleteRule deleteRule_ = QWDeleteRule::Nullify;
    QVariant default_;
    const QWEntityDescription* destination_ = nullptr;
    const QWPropertyDescription* inverse_ = nullptr;
};

// One kind of record: its name, its properties and the C++ class of its records.
class QWEntityDescription {
public:
    using Factory = std::function<QWManagedObject*()>;

    const QString& name() const { return name_; }
    const QString& renamedFrom() const { return renamedFrom_; }
    // Position in the model, in the order of declaration.
    int index() const { return index_; }
    const QWEntityDescription* parent() const { return parent_; }
    // The topmost ancestor (itself without a parent): all entities under one root share a table and its keys.
    const QWEntityDescription& root() const { return *root_; }
    const std::vector<const QWEntityDescription*>& children() const { return children_; }
    // Whether this entity is `other` or stands below it.
    bool isKindOf(const QWEntityDescription& other) const;

    // Own and inherited properties by index.
    const std::vector<const QWPropertyDescription*>& properties() const { return properties_; }
    // Looked up for every access to a value: comparing a handful of names costs less than hashing one.
    const QWPropertyDescription* property(const QString& name) const {
        for (const QWPropertyDescription* candidate : properties_)
            if (candidate->name_ == name)
                return candidate;
        return nullptr;
    }
    // A record object without values or context, for the context to fill.
    QWManagedObject* makeRecord() const { return factory_(); }

    QWPropertyDescription& addAttribute(const QString& name, QWAttributeType type);
    QWPropertyDescription& addToOne(const QString& name, const QString& destination);
    QWPropertyDescription& addToMany(const QString& name, const QString& destination);
    QWPropertyDescription& addOrderedToMany(const QString& name, const QString& destination);
    QWEntityDescription& setParent(const QString& name);
    QWEntityDescription& setRenamedFrom(const QString& name);

private:
    friend class QWManagedObjectModel;
    QWPropertyDescription& add(const QString& name, bool attribute);

    QString name_, parentName_, renamedFrom_;
    int index_ = -1;
    Factory factory_;
    const QWEntityDescription* parent_ = nullptr;
    const QWEntityDescription* root_ = nullptr;
    std::vector<const QWEntityDescription*> children_;
    std::vector<std::unique_ptr<QWPropertyDescription>> own_;
    std::vector<const QWPropertyDescription*> properties_;
};

// The entities of a store, declared in C++:
//
//     auto model = std::make_shared<QWManagedObjectModel>();
//     auto& book = model->addEntity<Book>("Book");
//     book.addAttribute("title", QWAttributeType::String).setOptional(false).setDefault("");
//     book.addToOne("author", "Author").setInverse("books");
//
// `complete` checks and freezes it (the coordinator calls it). Constant and safe to share between threads
// then.
class QWManagedObjectModel {
public:
    QWManagedObjectModel();
    ~QWManagedObjectModel();

    // Records of the entity are objects of class `Record`, which needs a default constructor.
    template <class Record>
    QWEntityDescription& addEntity(const QString& name) {
        return addEntity(name, [] { return static_cast<QWManagedObject*>(new Record); });
    }
    QWEntityDescription& addEntity(const QString& name); // records are plain QWManagedObjects
    QWEntityDescription& addEntity(const QString& name, QWEntityDescription::Factory factory);

    // Resolves parents, destinations and inverses and lays out the properties. False with an error that lists
    // every contradiction: names used twice, unknown destinations or parents, inverses that do not match,
    // defaults of another type, "…IndexedFolded" on something other than a string.
    bool complete(QWError* error = nullptr);
    bool isComplete() const { return complete_; }

    const std::vector<std::unique_ptr<QWEntityDescription>>& entities() const { return entities_; }
    // Null when there is none of that name.
    const QWEntityDescription* entity(const QString& name) const {
        for (const auto& candidate : entities_)
            if (candidate->name() == name)
                return candidate.get();
        return nullptr;
    }

private:
    void nameEntities(QStringList& reasons);
    bool resolveParents(QStringList& reasons);
    void layOut(QWEntityDescription& entity, QStringList& reasons);
    void resolveRelationships(QStringList& reasons);
    bool resolveInverse(const QWEntityDescription& entity, QWPropertyDescription& property);

    std::vector<std::unique_ptr<QWEntityDescription>> entities_;
    bool complete_ = false;
};
