#pragma once

#include <QByteArray>

namespace qw::sync {

// Whether a property list may be handed to the parser, which follows nesting and shared objects without
// limit and ends the process at some keys: at most 512 containers deep, no objects shared so often that the
// list would grow far beyond its file, and keys that are texts without NUL.
bool isSafePropertyList(const QByteArray& bytes);

} // namespace qw::sync
