#pragma once

#include "dropbox/DBDeltaEntry.h"

#include <QString>

namespace qw::sync {

// Whether the cloud named a file so because two machines changed it at once. `name` is in lower case.
bool isConflictedName(const QString& name);

// Whether a path in lower case is the sync folder or stands under it. It is for the beginning of the path alone: that
// of another folder whose name begins like the sync folder's counts as well.
bool isInSyncFolder(const QString& lowercasePath);

// What a path in lower case asks for beyond an ordinary import.
DBDeltaEntrySpecialAction specialActionForPath(const QString& lowercasePath);

} // namespace qw::sync
