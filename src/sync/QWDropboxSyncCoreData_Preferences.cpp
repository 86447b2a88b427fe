// Preferences: a chosen set of the host's user defaults, the same on every machine.
//
// Started by the host, which names the keys; from then on, and for the keys of earlier processes from
// construction on, by each change of a shared default, and by the delta. A change is sent with all the others
// in one file, 5 seconds later; a file that has changed in the cloud is loaded over the local copy and
// written back into the defaults; one that was deleted there is sent again. Ends with the engine.
//
// States of the file: in step; to be sent (`needToUploadSyncedPreferences_`, which outlives the process);
// under way (`syncPreferencesUploadingOrDownloading_`), in which changes only note that another upload must
// follow.
//
// Invariants:
// - A received value is in the dictionary before it is in the defaults, so that the observer finds nothing
//   new: what is received is not sent back.
// - The dictionary holds nothing that JSON cannot carry.
// - A failed upload stays under way. It is sent by the activation that looks the file up, by the first change
//   after a download, or by the next process.
#include "sync/QWDropboxSyncCoreData.h"

#include "dropbox/DBPath.h"
#include "platform/text/QWText.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/QWSyncLog_p.h"
#include "sync/QWSyncedPreferences_p.h"
#include "util/NSTimer_TimerWithBlock.h"

namespace {

constexpr double secondsBeforeUpload = 5.0;

void logRefusal(const QString& key) {
    qCWarning(qwSyncLog).noquote() << "a value that JSON cannot carry is not shared:" << key;
}

} // namespace

// Keys ------------------------------------------------------------------------------------------------------

void QWDropboxSyncCoreData::syncPreferenceWithKeys(const QStringList& keys) {
    for (const QString& key : keys)
        syncPreferenceWithKey(key);
}

// A key whose value is refused is observed, and travels with its first value that can.
void QWDropboxSyncCoreData::syncPreferenceWithKey(const QString& key) {
    if (syncedPreferences_.contains(key))
        return;
    if (const auto value = qw::sync::travellingPreference(environment().userDefaults().object(key)))
        setObjectInSyncedPrefencesForKey(*value, key);
    else
        logRefusal(key);
    observePreference(key);
}

void QWDropboxSyncCoreData::observePreference(const QString& key) {
    preferenceObservations_[key] = environment().userDefaults().observe(
        key, [this, key](const QJsonValue& value) { observeValueForKeyPath(key, value); });
}

void QWDropboxSyncCoreData::removeAllPreferenceObservers() {
    preferenceObservations_.clear();
}

// What counts is the value that the default has now: an observer that was told before this one may have set another
// since.
void QWDropboxSyncCoreData::observeValueForKeyPath(const QString& key, const QJsonValue& newValue) {
    auto value = qw::sync::travellingPreference(newValue);
    if (value)
        value = qw::sync::travellingPreference(environment().userDefaults().object(key));
    if (!value)
        logRefusal(key);
    else if (syncedPreferences_.value(key) != *value)
        setObjectInSyncedPrefencesForKey(*value, key);
}

void QWDropboxSyncCoreData::setObjectInSyncedPrefencesForKey(const QJsonValue& object, const QString& key) {
    syncedPreferences_.insert(key, object);
    uploadSyncedPreferences();
}

// Local copy ------------------------------------------------------------------------------------------------

QUrl QWDropboxSyncCoreData::syncedPreferencesLocalCacheURL() const {
    return QUrl::fromLocalFile(localPath(qw::sync::preferencesFileName()));
}

std::optional<QJsonObject> QWDropboxSyncCoreData::readSyncPreferencesLocalCache() const {
    const auto bytes = environment().files().read(syncedPreferencesLocalCacheURL().toLocalFile());
    return bytes ? qw::sync::preferencesFromFileBytes(*bytes) : std::nullopt;
}

QJsonObject QWDropboxSyncCoreData::loadSyncedPreferences() {
    const QJsonObject preferences = readSyncPreferencesLocalCache().value_or(QJsonObject());
    for (const QString& key : preferences.keys())
        observePreference(key);
    return preferences;
}

// The defaults are in permanent storage before the copy of them is, and with the flag that is about them.
void QWDropboxSyncCoreData::saveSyncPreferencesLocalCache() {
    auto& defaults = environment().userDefaults();
    defaults.synchronize();
    environment().files().write(syncedPreferencesLocalCacheURL().toLocalFile(),
                                qw::sync::preferencesFileBytes(syncedPreferences_));
    defaults.setBoolean(QWDBNeedToUploadSyncedPreferencesPrefKey, needToUploadSyncedPreferences_);
    defaults.synchronize();
}

// Upload ----------------------------------------------------------------------------------------------------

// `isSyncEnabled`, YES in every status, is asked on purpose: a rule of its own would count here.
void QWDropboxSyncCoreData::uploadSyncedPreferences() {
    if (isSyncEnabled() && dropboxRestClient_) {
        if (syncPreferencesUploadingOrDownloading_)
            preferencesChangedWhileUploading_ = true;
        else
            scheduledTimerWithTimeInterval(
                environment().runLoop(), secondsBeforeUpload,
                [engine = QPointer(this)](QWTimer&) {
                    if (engine)
                        engine->beginUploadOfSyncedPreferences();
                },
                false);
    }
    needToUploadSyncedPreferences_ = true;
}

void QWDropboxSyncCoreData::beginUploadOfSyncedPreferences() {
    preferencesChangedWhileUploading_ = false;
    syncPreferencesUploadingOrDownloading_ = true;
    saveSyncPreferencesLocalCache();
    const auto known = fileMetadataManager().fileMetadataForFileName(qw::sync::preferencesFileName(), false);
    dropboxRestClient_->uploadFile(qw::sync::preferencesFileName(), QStringLiteral("/"),
                                   known ? known->rev() : QString(),
                                   syncedPreferencesLocalCacheURL().toLocalFile());
}

void QWDropboxSyncCoreData::finishUploadOfSyncedPreferences(const DBMetadata& metadata) {
    recordFileMetadata(metadata);
    saveCacheContext();
    syncPreferencesUploadingOrDownloading_ = false;
    if (preferencesChangedWhileUploading_)
        uploadSyncedPreferences();
    else
        needToUploadSyncedPreferences_ = false;
}

void QWDropboxSyncCoreData::checkIfPreferencesNeedsToBeUploaded() {
    if (!dropboxRestClient_)
        return;
    syncPreferencesUploadingOrDownloading_ = true;
    dropboxRestClient_->loadMetadata(QWDBFileSyncedPreferencesInDropboxFolder);
}

void QWDropboxSyncCoreData::finishCheckOfSyncedPreferences(bool isMissing) {
    syncPreferencesUploadingOrDownloading_ = false;
    if (isMissing || needToUploadSyncedPreferences_)
        uploadSyncedPreferences();
}

// Download --------------------------------------------------------------------------------------------------

bool QWDropboxSyncCoreData::beginProcessOfSyncedPreferences(const DBDeltaEntryRef& entry) {
    if (!entry->metadata) {
        uploadSyncedPreferences();
        return false;
    }
    if (entry->metadata->isDirectory)
        return false;
    deltaEntriesInProcess_.insert(QWDeltaQueue::nameInProcess(*entry), entry);
    dropboxRestClient_->loadFile(entry->metadata->path, syncedPreferencesLocalCacheURL().toLocalFile());
    return true;
}

// One whose batch was given up meanwhile is applied as well: it stands in the local copy's place already.
void QWDropboxSyncCoreData::finishDownloadOfSyncedPreferences(const DBMetadata& metadata) {
    syncPreferencesUploadingOrDownloading_ = false;
    recordFileMetadata(metadata);
    processUpdatedSyncedPreferences();
    const bool isInProcess = deltaEntryForFileNamed(metadata.filename()) != nullptr;
    deleteDeltaEntryForDownloadedFileNamed(metadata.filename());
    saveCacheContext();
    if (isInProcess)
        beginProcessOfNextDeltaEntryWaiting();
}

void QWDropboxSyncCoreData::finishMissingSyncedPreferences(const QString& destinationPath) {
    syncPreferencesUploadingOrDownloading_ = false;
    const QString name = qw::text::lastPathComponent(qw::text::lowercase(destinationPath));
    deltaEntriesInProcess_.remove(name);
    deltaEntriesToImport_.release(name);
    uploadSyncedPreferences();
}

// What the host sets when it is told of a received value is a change of its own, whichever key is received next. What
// was set is in permanent storage before the file's revision is.
void QWDropboxSyncCoreData::processUpdatedSyncedPreferences() {
    auto& defaults = environment().userDefaults();
    const QJsonObject received = readSyncPreferencesLocalCache().value_or(QJsonObject());
    QStringList changed;
    for (auto preference = received.begin(); preference != received.end(); ++preference) {
        const QString key = preference.key();
        if (syncedPreferences_.value(key) == *preference)
            continue;
        syncedPreferences_.insert(key, *preference);
        changed.append(key);
    }
    for (const QString& key : std::as_const(changed)) {
        const QJsonValue value = received.value(key);
        if (syncedPreferences_.value(key) != value)
            continue;
        if (value.isNull())
            defaults.remove(key);
        else
            defaults.setObject(key, value);
    }
    defaults.synchronize();
}
