#pragma once

#include <QString>

// Names and numbers of the sync engine that hosts, their tests and other machines depend on.

// Seconds from one complete batch to the next query, and from a failed request to its repetition.
inline constexpr double QWDBTimeScheduleDeltaDownloadInterval = 600.0;
inline constexpr double QWDBTimeScheduleErrorRetryInterval = 10.0;

// How many requests for different objects, or downloads, are out at one time.
inline constexpr int QWDBMaximumNumberOfObjectsSyncing = 5;
inline constexpr int QWDBMaximumNumberOfDeltaEntriesInDownload = 5;

// The app folder.
inline const QString QWDBFileCacheDirectoryInDropboxFolder = QStringLiteral("/SyncCache.dbSync");
inline const QString QWDBFileSyncedPreferencesInDropboxFolder = QStringLiteral("/PreferencesSync.data");
inline const QString QWDBFileNameSeparator = QStringLiteral("!!!");
inline const QString QWDBFileNameDataExtension = QStringLiteral("data");
inline const QString QWDBFileNameImageExtension = QStringLiteral("image");

// Entities of the cache store.
inline const QString QWDBEntityNameFileMetadata = QStringLiteral("FileMetadata");
inline const QString QWDBEntityNameMetadata = QStringLiteral("Metadata");
inline const QString QWDBEntityNameObjectWaitingSync = QStringLiteral("ObjectWaitingSync");

// Key of a `Metadata` row: the cursor of the last complete batch.
inline const QString QWDBMetadataCursorKey = QStringLiteral("Cursor");

// Keys in the host's user defaults.
inline const QString QWDBNeedToUploadSyncedPreferencesPrefKey = QStringLiteral("NeedToUploadPrefKey");
inline const QString QWDBLastTimeTokenExpiredPrefKey = QStringLiteral("LastTimeTokenExpired");
// For the host's use.
inline const QString QWDBLastTimeLoadedDeltaUpdatesPrefKey = QStringLiteral("LastTimeLoadedDelta");

// Posted when the shared engine was replaced; its object is the new one, or nothing.
inline const QString QWDropboxSyncCoreDataSharedInstanceChangedNotification =
    QStringLiteral("QWDropSybcSharedInstanceChanged");

// What is to be done with an object that waits: the `action` of its row.
enum QWDropboxSyncAction : qint32 {
    QWDropboxSyncActionDelete = 1,
    QWDropboxSyncActionInsertOrUpdate = 2,
};

// State of an engine.
enum QWDropboxSyncStatus : quint64 {
    QWDropboxSyncStatusIdle = 0,               // all items up to date
    QWDropboxSyncStatusCheckingForUpdates = 1, // asking for or downloading remote changes
    QWDropboxSyncStatusUploading = 2,          // sending local changes
    QWDropboxSyncStatusDisabled = 3,           // not activated
    QWDropboxSyncStatusTokenInvalid = 4,       // the access token was refused; the user must sign in again
};
