#pragma once

#include <QByteArray>

namespace qw::sync {

// Whether a property list may be handed to the parser, which follows nesting and shared objects without
// limit: at most 512 containers deep, and no objects shared so often that the list would grow far beyond its
// file.
bool isSafePropertyList(const QByteArray& bytes);

} // namespace qw::sync
