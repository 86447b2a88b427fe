#pragma once

#include "dropbox/DBMetadata.h"

#include <QString>
#include <memory>
#include <optional>

// How the download side treats an entry that is not an ordinary file of the sync folder.
enum DBDeltaEntrySpecialAction : qint32 {
    SpecialActionNone = 0,
    SpecialActionConflictedCopy = 1,    // a copy that the cloud made of a concurrent change
    SpecialActionSyncCacheFolder = 2,   // the sync folder itself
    SpecialActionSyncedPreferences = 3, // the preferences file
};

// One change of the app folder: a path and its present state. Shared by reference, so that the special action
// given to it is seen wherever the entry waits; equality is identity.
struct DBDeltaEntry {
    QString lowercasePath;
    std::optional<DBMetadata> metadata; // none: the file or folder was deleted
    qint32 specialAction = SpecialActionNone;

    void removeSpecialAction() { specialAction = SpecialActionNone; }
};

using DBDeltaEntryRef = std::shared_ptr<DBDeltaEntry>;

inline DBDeltaEntryRef DBMakeDeltaEntry(const QString& lowercasePath,
                                        std::optional<DBMetadata> metadata = {}) {
    return std::make_shared<DBDeltaEntry>(DBDeltaEntry{lowercasePath, std::move(metadata)});
}
