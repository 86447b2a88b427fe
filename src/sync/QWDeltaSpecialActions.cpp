#include "sync/QWDeltaSpecialActions_p.h"

#include "dropbox/DBPath.h"
#include "platform/text/QWText.h"
#include "sync/QWDropboxSyncConstants.h"
#include "sync/QWSyncFileNames_p.h"

namespace qw::sync {

bool isConflictedName(const QString& name) {
    return name.contains(QLatin1String("conflicted copy"));
}

bool isInSyncFolder(const QString& lowercasePath) {
    static const QString folder = text::lowercase(QWDBFileCacheDirectoryInDropboxFolder);
    return lowercasePath.startsWith(folder);
}

DBDeltaEntrySpecialAction specialActionForPath(const QString& lowercasePath) {
    if (isSyncFolder(lowercasePath))
        return SpecialActionSyncCacheFolder;
    if (isEqualToDropboxPath(lowercasePath, QWDBFileSyncedPreferencesInDropboxFolder))
        return SpecialActionSyncedPreferences;
    return isConflictedName(lowercasePath) ? SpecialActionConflictedCopy : SpecialActionNone;
}

} // namespace qw::sync
