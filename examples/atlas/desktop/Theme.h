#pragma once

#include <QString>

namespace atlas {

// The colours of all windows: "light", "dark", or those that the system had when the program began, for any
// other name.
void applyTheme(const QString& name);

} // namespace atlas
