#pragma once

#include "store/QWManagedObjectModel.h"
#include "store/QWPredicate.h"

#include <QVariant>
#include <compare>
#include <optional>
#include <variant>

namespace qw {

// A value in the one form in which memory and SQL compare it: integers, booleans, dates (milliseconds since
// 1970 in UTC) and the keys of records as qint64, documents as the text or the data that they are, strings
// folded as the comparison's options say.
using PredicateValue = std::variant<qint64, double, QString, QByteArray>;

QString foldForOptions(const QString& text, int options);

// The form of a constant (see PredicateNode::value) to be compared with the property; nothing when a value of
// its type cannot be. Numbers take the property's own type where they exist in it, otherwise they stay as
// they are.
std::optional<PredicateValue> constantForProperty(const QWPropertyDescription& property,
                                                  const QVariant& constant, int options);
// Whether the property could have this value: a fraction is no integer.
bool isValueOfProperty(const QWPropertyDescription& property, const PredicateValue& value);

// The form of a record's slot; nothing when it has no value.
std::optional<PredicateValue> valueOfSlot(const QVariant& slot, int options);

// Numbers exactly, strings by code points, data by bytes; unordered when the kinds differ.
std::partial_ordering compareValues(const PredicateValue& left, const PredicateValue& right);

} // namespace qw
