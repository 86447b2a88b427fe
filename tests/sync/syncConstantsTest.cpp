#include "dropbox/DBDeltaEntry.h"
#include "sync/QWDropboxSyncConstants.h"
#include "sync/records/QWSyncRecord.h"

#include <gtest/gtest.h>

// Hosts, their saved defaults, the files of other machines and cache stores written before know these values,
// which no code of this library compares with anything but themselves.

TEST(SyncConstants, Every_name_has_its_letters) {
    const std::pair<QString, const char*> names[] = {
        {QWDBFileCacheDirectoryInDropboxFolder, "/SyncCache.dbSync"},
        {QWDBFileSyncedPreferencesInDropboxFolder, "/PreferencesSync.data"},
        {QWDBFileNameSeparator, "!!!"},
        {QWDBFileNameDataExtension, "data"},
        {QWDBFileNameImageExtension, "image"},
        {QWDBEntityNameFileMetadata, "FileMetadata"},
        {QWDBEntityNameMetadata, "Metadata"},
        {QWDBEntityNameObjectWaitingSync, "ObjectWaitingSync"},
        {QWDBMetadataCursorKey, "Cursor"},
        {QWDBNeedToUploadSyncedPreferencesPrefKey, "NeedToUploadPrefKey"},
        {QWDBLastTimeTokenExpiredPrefKey, "LastTimeTokenExpired"},
        {QWDBLastTimeLoadedDeltaUpdatesPrefKey, "LastTimeLoadedDelta"},
        {QWDropboxSyncCoreDataSharedInstanceChangedNotification, "QWDropSybcSharedInstanceChanged"},
        {QWDropBoxUUIDKey, "uuid"},
        {QWDropBoxEntityNameKey, "entityName"},
    };
    for (const auto& [constant, letters] : names)
        EXPECT_EQ(constant, letters);
}

TEST(SyncConstants, Every_number_has_its_value) {
    EXPECT_EQ(QWDBTimeScheduleDeltaDownloadInterval, 600.0);
    EXPECT_EQ(QWDBTimeScheduleErrorRetryInterval, 10.0);
    EXPECT_EQ(QWDBMaximumNumberOfObjectsSyncing, 5);
    EXPECT_EQ(QWDBMaximumNumberOfDeltaEntriesInDownload, 5);
    EXPECT_EQ(int(QWDropboxSyncActionDelete), 1);
    EXPECT_EQ(int(QWDropboxSyncActionInsertOrUpdate), 2);
    EXPECT_EQ(int(QWDropboxSyncStatusIdle), 0);
    EXPECT_EQ(int(QWDropboxSyncStatusCheckingForUpdates), 1);
    EXPECT_EQ(int(QWDropboxSyncStatusUploading), 2);
    EXPECT_EQ(int(QWDropboxSyncStatusDisabled), 3);
    EXPECT_EQ(int(QWDropboxSyncStatusTokenInvalid), 4);
    EXPECT_EQ(int(SpecialActionNone), 0);
    EXPECT_EQ(int(SpecialActionConflictedCopy), 1);
    EXPECT_EQ(int(SpecialActionSyncCacheFolder), 2);
    EXPECT_EQ(int(SpecialActionSyncedPreferences), 3);
}
