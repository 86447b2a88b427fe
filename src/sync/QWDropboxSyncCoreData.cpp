// Lifecycle and status.
//
// Started by the host: construction, activation with a client. Ended by
// `deactivateSync`, by a refused token, by destruction.
//
// States (`status`): disabled (3) from construction and after `deactivateSync`; token invalid (4) after a
// 401; in between active: idle (0), looking for or downloading remote changes (1), uploading (2).
//
// Invariants:
// - Changes of the main context are observed, and queued, from construction to destruction; only a merge
//   (Merge) suspends it.
// - Stopping empties what is in flight and what waits to be imported, never the rows of the queue, so nothing
//   is lost by it: the rows wait again, and the next query starts from the cursor of the last complete batch.
#include "sync/QWDropboxSyncCoreData.h"

#include "platform/text/QWText.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryImporter.h"
#include "util/NSTimer_TimerWithBlock.h"

namespace {

std::shared_ptr<QWDropboxSyncCoreData>& sharedEngine() {
    static std::shared_ptr<QWDropboxSyncCoreData> engine;
    return engine;
}

} // namespace

// Shared instance -------------------------------------------------------------------------------------------

std::shared_ptr<QWDropboxSyncCoreData> QWDropboxSyncCoreData::sharedInstance() {
    return sharedEngine();
}

void QWDropboxSyncCoreData::setSharedInstance(std::shared_ptr<QWDropboxSyncCoreData> instance) {
    const auto replaced = std::exchange(sharedEngine(), std::move(instance));
    const auto& present = sharedEngine() ? sharedEngine() : replaced;
    auto& center = present ? present->environment().notificationCenter()
                           : QWEnvironment::standard()->notificationCenter();
    center.post({QWDropboxSyncCoreDataSharedInstanceChangedNotification, sharedEngine().get(), {}});
}

// Construction ----------------------------------------------------------------------------------------------

QWDropboxSyncCoreData::QWDropboxSyncCoreData(std::shared_ptr<QWManagedObjectContext> mainManagedObjectContext,
                                             const QStringList& entityNames, const QUrl& localCacheURL)
    : mainManagedObjectContext_(std::move(mainManagedObjectContext)), localCacheURL_(localCacheURL),
      entityNames_(entityNames) {
    willTerminateObservation_ = environment().notificationCenter().observe(
        NSApplicationWillTerminateNotification, [this](const QWNotification&) { applicationWillClose(); });
    syncedPreferences_ = loadSyncedPreferences();
    needToUploadSyncedPreferences_ =
        environment().userDefaults().boolean(QWDBNeedToUploadSyncedPreferencesPrefKey);
    observeMainContext();
    mainContextDidSaveObservation_ = mainManagedObjectContext_->observeDidSave(
        [this](const QWDidSaveNotice& notice) { mainContextDidSave(notice); });
    mainContextDidMergeObservation_ = mainManagedObjectContext_->observeDidMerge(
        [this](const QWDidSaveNotice& notice) { mainContextDidMerge(notice); });
    mainContextDidDiscardObservation_ = mainManagedObjectContext_->observeDidDiscard(
        [this](const QWManagedObjectSet& records) { mainContextDidDiscard(records); });
    if (const QString folder = localCacheURL_.toLocalFile(); !environment().files().exists(folder))
        environment().files().makeFolder(folder);
}

QWDropboxSyncCoreData::~QWDropboxSyncCoreData() {
    for (const auto& timer : scheduledTimers_)
        timer->invalidate();
    removeAllPreferenceObservers();
}

void QWDropboxSyncCoreData::observeMainContext() {
    mainContextObservation_ = mainManagedObjectContext_->observeObjectsDidChange(
        [this](const QWObjectsDidChangeNotice& notice) { mainManagedObjctContextObjectsChanged(notice); });
}

// Activation ------------------------------------------------------------------------------------------------

void QWDropboxSyncCoreData::activateSyncWithDropboxRestClient(std::shared_ptr<DBRestClient> client) {
    if (client && client != dropboxRestClient_)
        replaceClient(std::move(client));
    deltaNextCursor_ = metadataWithKey(QWDBMetadataCursorKey)->value();
    setStatus(QWDropboxSyncStatusIdle);
    if (dropboxRestClient_)
        dropboxRestClient_->setDelegate(this, this);

    auto& defaults = environment().userDefaults();
    const bool knowsFolder = !defaults.object(QWDBLastTimeTokenExpiredPrefKey).isUndefined()
                             && !defaults.boolean(QWDBLastTimeTokenExpiredPrefKey);
    if (knowsFolder) {
        loadDeltaPotentialUpdates();
        if (needToUploadSyncedPreferences_)
            uploadSyncedPreferences();
    } else {
        checkIsSyncNeedToBeResetted();
        checkIfPreferencesNeedsToBeUploaded();
    }
}

// What the client before was asked is given up: it may be gone before it answers.
void QWDropboxSyncCoreData::replaceClient(std::shared_ptr<DBRestClient> client) {
    if (dropboxRestClient_ && dropboxRestClient_->delegate() == this)
        dropboxRestClient_->setDelegate(nullptr, nullptr);
    dropboxRestClient_ = std::move(client);
    emptyDeltaEntries();
    objectsSyncing_.clear();
    resetListing_ = {};
    syncPreferencesUploadingOrDownloading_ = false;
}

void QWDropboxSyncCoreData::deactivateSync() {
    setNumberOfItemsToProcess(0);
    emptyDeltaEntries();
    objectsSyncing_.clear();
    setStatus(QWDropboxSyncStatusDisabled);
    // The entries given up must come again: what still arrives of their batch may not save its cursor.
    deltaNextCursor_ = metadataWithKey(QWDBMetadataCursorKey)->value();
    isDeltaCursorInDoubt_ = resetListing_.unansweredQueries() > 0;
}

void QWDropboxSyncCoreData::tokenBecameInvalid() {
    deactivateSync();
    setStatus(QWDropboxSyncStatusTokenInvalid);
    auto& defaults = environment().userDefaults();
    defaults.setBoolean(QWDBLastTimeTokenExpiredPrefKey, true);
    defaults.synchronize();
    if (auto* host = delegate())
        host->accessTokenExpiredDropbox(*this);
}

void QWDropboxSyncCoreData::applicationWillClose() {
    saveManagedObjectContexes();
    saveSyncPreferencesLocalCache();
}

// Status ----------------------------------------------------------------------------------------------------

bool QWDropboxSyncCoreData::isSyncEnabled() const {
    return status() != QWDropboxSyncStatusTokenInvalid || status() != QWDropboxSyncStatusDisabled;
}

void QWDropboxSyncCoreData::setStatus(quint64 status) {
    _status = status;
    Q_EMIT statusChanged(status);
}

void QWDropboxSyncCoreData::setNumberOfItemsToProcess(qint64 number) {
    _numberOfItemsToProcess = number;
    Q_EMIT numberOfItemsToProcessChanged(number);
}

void QWDropboxSyncCoreData::setDelegate(QWDropboxSyncCoreDataDelegate* delegate, QObject* lifetime) {
    delegate_ = delegate;
    delegateLifetime_ = lifetime;
}

// Companions ------------------------------------------------------------------------------------------------

QWDropboxSyncManagedObjectDictionaryExporter& QWDropboxSyncCoreData::syncDictionaryExporter() {
    if (!syncDictionaryExporter_)
        syncDictionaryExporter_ =
            std::make_unique<QWDropboxSyncManagedObjectDictionaryExporter>(entityNames_);
    return *syncDictionaryExporter_;
}

QWDropboxSyncManagedObjectDictionaryImporter& QWDropboxSyncCoreData::syncDictionaryImporter() {
    if (!syncDictionaryImporter_)
        syncDictionaryImporter_ =
            std::make_unique<QWDropboxSyncManagedObjectDictionaryImporter>(entityNames_);
    return *syncDictionaryImporter_;
}

QString QWDropboxSyncCoreData::localPath(const QString& fileName) const {
    return qw::text::appendingPathComponent(localCacheURL_.toLocalFile(), fileName);
}

void QWDropboxSyncCoreData::scheduleTimer(double seconds, std::function<void()> block) {
    scheduledTimers_.insert(scheduledTimerWithTimeInterval(
        environment().runLoop(), seconds,
        [this, block = std::move(block)](QWTimer& timer) {
            scheduledTimers_.erase(timer.shared_from_this());
            block();
        },
        false));
}
