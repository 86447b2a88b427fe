#include "editing/QWOrderedSetArrayValueTransformer.h"

#include "editing/QWEditingLog_p.h"
#include "store/QWManagedObject.h"

#include <unordered_set>

using OrderedSet = QList<QWRef<QWManagedObject>>;

QMetaType QWOrderedSetArrayValueTransformer::transformedValueClass() const {
    return QMetaType::fromType<QVariantList>();
}

bool QWOrderedSetArrayValueTransformer::allowsReverseTransformation() const {
    return true;
}

QVariant QWOrderedSetArrayValueTransformer::transformedValue(const QVariant& value) const {
    if (value.isNull())
        return {};
    QVariantList array;
    for (const auto& member : value.value<OrderedSet>())
        array << QVariant::fromValue(member);
    return array;
}

QVariant QWOrderedSetArrayValueTransformer::reverseTransformedValue(const QVariant& value) const {
    if (value.isValid() && !value.canConvert<QVariantList>()) {
        qCWarning(qwEditingLog, "QWOrderedSetArrayValueTransformer: expected an array of records, given %s",
                  value.typeName());
        return {};
    }
    OrderedSet members;
    std::unordered_set<const QWManagedObject*> known;
    for (const QVariant& row : value.toList()) {
        const auto record = row.value<QWRef<QWManagedObject>>();
        if (!record) {
            qCWarning(qwEditingLog, "QWOrderedSetArrayValueTransformer: expected records, given %s",
                      row.isValid() ? row.typeName() : "no value");
            return {};
        }
        if (known.insert(record.data()).second)
            members << record;
    }
    return QVariant::fromValue(members);
}
