#pragma once

#include <QIcon>

namespace atlas {

// The pictures of Atlas' buttons: lines in the colour of the text, sharp in every size, in light windows and
// in dark ones.
enum class Glyph { Add, Delete, Sync, Calendar, List, Undo, Redo };

QIcon glyphIcon(Glyph glyph);

} // namespace atlas
