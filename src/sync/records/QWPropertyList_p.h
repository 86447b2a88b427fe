#pragma once

#include <QByteArray>
#include <QVariantMap>
#include <optional>

// Property lists from and to trees of QVariant: QVariantMap, QVariantList (or QStringList), QString, bool,
// whole numbers of 64 bits with sign, double, QDateTime (UTC, whole seconds) and QByteArray.
namespace qw::sync {

// XML. Null members of dictionaries and arrays are left out, because property lists have none; characters
// that XML cannot carry are replaced. Nothing for a tree that holds anything else, and for dates outside 1933
// to 2068.
std::optional<QByteArray> writePropertyList(const QVariantMap& dictionary);

// Reads XML and binary lists. Nothing for anything else and for nesting deeper than 512.
std::optional<QVariant> readPropertyList(const QByteArray& bytes);

} // namespace qw::sync
