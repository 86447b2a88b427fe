#pragma once

#include "core/QWManagedObjectFieldDescription.h"
#include "store/QWManagedObject.h"
#include "util/QWFormatter.h"

// What a table needs to know of one field: its title, and its values as they are and as text.
struct QWFieldColumn {
    enum class Kind { Value, Check, RichText, Relationship };

    // `prototype` is any record of the entity that is shown; it is not read.
    QWFieldColumn(std::shared_ptr<const QWManagedObjectFieldDescription> field, QWManagedObject& prototype);

    // As it is stored; none of what cannot be shown or edited as a value (rich text, relationships).
    QVariant value(const QWManagedObject& record) const;
    QString text(const QWManagedObject& record) const;
    // What a text that was typed means. False when it means nothing.
    bool read(const QString& text, QVariant* value, QString* reason) const;

    std::shared_ptr<const QWManagedObjectFieldDescription> field;
    QString title;
    Kind kind = Kind::Value;
    QWFormatterRef formatter; // null: values are shown as they are
    bool isEditable = false;  // an attribute that a table can change
    // Of a to-one relationship: the texts are names of this entity's records, and change with them.
    const QWEntityDescription* named = nullptr;
};
