#pragma once

#include <QByteArray>
#include <QVariant>
#include <optional>

// JSON from and to trees of QVariant: QVariantMap, QVariantList (or QStringList), QString, bool, numbers, and
// QVariant::fromValue(nullptr) for null.
namespace qw::json {

// What null is in such a tree.
inline QVariant null() {
    return QVariant::fromValue(nullptr);
}

// Whether the tree can be written without loss: a dictionary or an array at the top, and nothing in it but
// the types above. Dates, bytes, numbers that are not finite and whole numbers beyond 64 bits with sign are
// not JSON.
bool isValid(const QVariant& tree);

enum class Format { Compact, Indented };
// UTF-8, keys in order. Nothing for a tree that is not valid.
std::optional<QByteArray> write(const QVariant& tree, Format format = Format::Compact);

// Reads UTF-8, UTF-16 and UTF-32, with a byte order mark or not. Of equal keys the last counts. Nothing for
// anything but one whole dictionary or array, nested at most 512 deep.
std::optional<QVariant> read(const QByteArray& bytes);

} // namespace qw::json
