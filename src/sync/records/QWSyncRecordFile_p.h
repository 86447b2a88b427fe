#pragma once

#include <QByteArray>
#include <QVariantMap>
#include <optional>

// The file in which a sync record travels: one dictionary as compact JSON or, when it holds what JSON lacks
// (dates, bytes), as an XML property list. A property list has no null, so null members are left out; a
// missing member means the same to a reader.
namespace qw::sync {

// Nothing when the dictionary fits neither form.
std::optional<QByteArray> recordFileBytes(const QVariantMap& record);

// Reads JSON (UTF-8, UTF-16 or UTF-32) and property lists (XML or binary). Nothing for anything else, which
// includes an array at the top and nesting deeper than 512; any input is safe.
std::optional<QVariantMap> recordFromFileBytes(const QByteArray& bytes);

// Through the file's form and back, in which numbers and nulls are what they are on arrival. Nothing when the
// dictionary fits neither form.
std::optional<QVariantMap> recordOnArrival(const QVariantMap& record);

} // namespace qw::sync
