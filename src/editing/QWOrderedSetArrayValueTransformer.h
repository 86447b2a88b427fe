#pragma once

#include "editing/QWValueTransformer.h"

// Between the members of an ordered to-many relationship and the array of a control that shows a list. The
// ordered set is what `valueForKey` gives and `setValueForKey` takes, a QList<QWRef<QWManagedObject>>; the
// array is a QVariantList with one QWRef<QWManagedObject> for each row.
class QWOrderedSetArrayValueTransformer final : public QWValueTransformer {
public:
    QMetaType transformedValueClass() const override; // QVariantList
    bool allowsReverseTransformation() const override;

    // The members in their order.
    QVariant transformedValue(const QVariant& value) const override;
    // The records of the array in its order, each once, at its first place. No value: no members.
    QVariant reverseTransformedValue(const QVariant& value) const override;
};
