#pragma once

#include <QMetaType>
#include <QVariant>
#include <memory>

// Converts between a record's stored value and the form that a control shows. Stateless; one object may serve
// any number of controls.
//
// A view names its transformer by a text. The library's own are known from the start by the names of their
// classes, "QWNSStringNSArrayTransformer" and "QWOrderedSetArrayValueTransformer". Thread: the main thread.
class QWValueTransformer {
public:
    virtual ~QWValueTransformer();

    // The type of what `transformedValue` is meant for.
    virtual QMetaType transformedValueClass() const = 0;
    virtual bool allowsReverseTransformation() const = 0;

    // From the record to the control. A null value stays null.
    virtual QVariant transformedValue(const QVariant& value) const = 0;
    // From the control to the record. What is no value of the control's type is logged, and answered by an
    // invalid QVariant, which nobody should store.
    virtual QVariant reverseTransformedValue(const QVariant& value) const = 0;

    // Replaces what was known by the name; null: the name is forgotten.
    static void setValueTransformer(const std::shared_ptr<const QWValueTransformer>& transformer,
                                    const QString& name);
    // Null when nothing is known by the name.
    static std::shared_ptr<const QWValueTransformer> valueTransformerForName(const QString& name);
};
