#pragma once

#include "dropbox/DBRestClient.h"
#include "store/QWManagedObjectContext.h"
#include "sync/QWDeltaQueue.h"
#include "sync/QWDropboxSyncConstants.h"
#include "sync/QWDropboxSyncCoreDataDelegate.h"
#include "sync/QWDropboxSyncJournal.h"
#include "sync/QWResetListing.h"
#include "sync/QWRowsInFlight.h"
#include "sync/cache/QWDropboxCacheModel.h"
#include "sync/cache/QWDropboxFileMetadataManager.h"

#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QUrl>
#include <map>
#include <memory>
#include <set>
#include <unordered_set>

class QWDropboxSyncManagedObjectDictionaryExporter;
class QWDropboxSyncManagedObjectDictionaryImporter;
class QWManagedObjectWithSyncSupport;
class QWTimer;

// Keeps the records of a host's store in step with an application folder in the cloud. The host makes one
// engine for its main context and gives it a client when the user has signed in; from its construction on
// every change of a synced record is queued, also while nobody is signed in.
//
//     QWDropboxSyncCoreData engine(mainContext, {"Author", "Book"}, QUrl::fromLocalFile(cacheFolder));
//     engine.setDelegate(&host, &host);
//     engine.activateSyncWithDropboxRestClient(client);
//
// | Concern | File |
// |---|---|
// | Lifecycle and status | QWDropboxSyncCoreData.cpp |
// | Cache store | QWDropboxSyncCoreData_CacheStore.cpp |
// | Change capture | QWDropboxSyncCoreData_ChangeCapture.cpp |
// | Upload | QWDropboxSyncCoreData_Upload.cpp |
// | Delta download | QWDropboxSyncCoreData_DeltaDownload.cpp |
// | Import of what was downloaded | QWDropboxSyncCoreData_Import.cpp |
// | Merge of a batch into the main context | QWDropboxSyncCoreData_Merge.cpp |
// | Preferences | QWDropboxSyncCoreData_Preferences.cpp |
// | Full re-upload and bulk update | QWDropboxSyncCoreData_FullReupload.cpp |
// | Recovery after a crash or a discard | QWDropboxSyncCoreData_Recovery.cpp |
//
// The client's answers come in by the DBRestClientDelegate operations; each stands in the file of its main
// case and forks from there. Everything runs on the thread of the main context. The run loop, the clock, the
// files, the user defaults, the notification centre and the error presenter are those of the main context's
// coordinator.
class QWDropboxSyncCoreData final : public QObject, public DBRestClientDelegate {
    Q_OBJECT
    Q_MOC_INCLUDE("core/QWManagedObjectWithSyncSupport.h")
    // Their signals come with every set, equal values too, before the setter returns.
    Q_PROPERTY(quint64 status READ status WRITE setStatus NOTIFY statusChanged)
    Q_PROPERTY(qint64 numberOfItemsToProcess READ numberOfItemsToProcess WRITE setNumberOfItemsToProcess
                   NOTIFY numberOfItemsToProcessChanged)

public:
    // Lifecycle and status ----------------------------------------------------------------------------------

    // The engine that user interface elements follow; null until it is set. Held until it is replaced, which
    // posts QWDropboxSyncCoreDataSharedInstanceChangedNotification on the notification centre of the new
    // engine or, when there is none, of the one that goes. Replace it by null before the application object
    // goes.
    static std::shared_ptr<QWDropboxSyncCoreData> sharedInstance();
    static void setSharedInstance(std::shared_ptr<QWDropboxSyncCoreData> instance);

    // `entityNames` are the synced entities in order of dependency: a record may refer to those of its own
    // entity and of the entities before it. `localCacheURL` is a folder of this engine's own, made when
    // missing.
    QWDropboxSyncCoreData(std::shared_ptr<QWManagedObjectContext> mainManagedObjectContext,
                          const QStringList& entityNames, const QUrl& localCacheURL);
    ~QWDropboxSyncCoreData() override;

    // Starts to synchronise; without a client, with the one given before. Again after `deactivateSync` or a
    // refused token. The first time ever, and after a refused token, the sync folder is looked up before
    // anything else; when that look-up fails otherwise than by a missing folder or a refused token, it is not
    // repeated and the status stays QWDropboxSyncStatusCheckingForUpdates until the host activates again.
    void activateSyncWithDropboxRestClient(std::shared_ptr<DBRestClient> client);
    // Stops. Answers that are still out and timers that are pending arrive all the same.
    void deactivateSync();
    // What a 401 to any request does: stops, notes it for the next activation and tells the delegate.
    void tokenBecameInvalid();
    // Saves what is unsaved in the engine's own contexts, and the local copy of the preferences; called when
    // the application is about to terminate.
    void applicationWillClose();
    // YES in every state: whoever asks checks the status as well.
    bool isSyncEnabled() const;

    // Held weakly: `lifetime` is the QObject with which the delegate lives and dies.
    void setDelegate(QWDropboxSyncCoreDataDelegate* delegate, QObject* lifetime);
    QWDropboxSyncCoreDataDelegate* delegate() const { return delegateLifetime_ ? delegate_ : nullptr; }

    const std::shared_ptr<QWManagedObjectContext>& mainManagedObjectContext() const {
        return mainManagedObjectContext_;
    }

    const QStringList& entityNames() const { return entityNames_; }
    const QUrl& localCacheURL() const { return localCacheURL_; }

    // A QWDropboxSyncStatus.
    quint64 status() const { return _status; }
    void setStatus(quint64 status);
    // Objects still to be uploaded, or minus the delta entries still to be imported.
    qint64 numberOfItemsToProcess() const { return _numberOfItemsToProcess; }
    void setNumberOfItemsToProcess(qint64 number);
    // When the last complete delta arrived; null before.
    QDateTime lastTimeQueriedDeltaEntries() const { return _lastTimeQueriedDeltaEntries; }

    // The engine's own, for its entities: made on first use, gone with the engine.
    QWDropboxSyncManagedObjectDictionaryExporter& syncDictionaryExporter();
    QWDropboxSyncManagedObjectDictionaryImporter& syncDictionaryImporter();

    // Cache store -------------------------------------------------------------------------------------------

    // Made on first use. The coordinator is without a store, and the log says why, when the file cannot be
    // opened.
    const std::shared_ptr<QWManagedObjectModel>& dropboxCacheManagedObjectModel();
    const std::shared_ptr<QWPersistentStoreCoordinator>& dropboxCachePersistentStoreCoordinator();
    const std::shared_ptr<QWManagedObjectContext>& dropboxCacheManagedObjectContext();
    QWDropboxFileMetadataManager& fileMetadataManager();

    // The setting of that key; a new, unsaved row without value when there is none.
    QWRef<Metadata> metadataWithKey(const QString& key);
    // What cannot be saved is shown to the user and stays in the context for the next save.
    void saveCacheContext();
    // The same for the sync support context, if there is one, and then for the cache context.
    void saveManagedObjectContexes();
    // Rows of the queue, those in flight included.
    qint64 numberOfObjectsWaitingSync();

    // Change capture ----------------------------------------------------------------------------------------

    // Queues a change, unsaved. `action`, a QWDropboxSyncAction, overrides that of an earlier change that
    // waits still; an object in flight is marked, so that it is processed again.
    void insertInSyncQueueManagedObject(QWManagedObjectWithSyncSupport& object, qint32 action);
    // The row of an object; null when there is none, unless it is to be made, unsaved. An object without a
    // uuid that can name a file never gets one. Two rows are a programming error: "[fetchedObjects count] ==
    // 1".
    QWRef<ObjectWaitingSync> objectWaitingSyncForObject(const QWManagedObjectWithSyncSupport& object,
                                                        bool createIfNotExisting);

    // Queues an object as it stands, unsaved: no change of it is marked. One that only the running batch has
    // is queued when that has been saved.
    void queueForUpload(const QWManagedObjectWithSyncSupport& object);

    // Upload ------------------------------------------------------------------------------------------------

    // Whether fewer objects are in flight than may be.
    bool canUploadAnotherObject() const;
    // Sends waiting rows until the pool is full.
    void beginSyncOfObjectsWaitingSync();
    qint64 numberOfObjectsSyncing() const { return objectsSyncing_.count(); }
    // The row in flight that a remote file belongs to; null when there is none.
    QWRef<ObjectWaitingSync> objectSyncingForFileWithName(const QString& fileName) const;
    // The bytes that were last staged for the row in flight; null when there are none.
    QByteArray recordSentInFileWithName(const QString& fileName) const;
    // The object of the row in flight, as it was staged; null when there is none, or it has gone.
    QWRef<QWManagedObjectWithSyncSupport> objectSentInFileWithName(const QString& fileName) const;
    // The modification date that an image had when it was sent; nothing when none is on its way.
    std::optional<QDateTime> dateOfImageSent(const QString& imagePath) const {
        return imageDatesSent_.value(imagePath);
    }

    // The remote files of an object: "Entity!!!UUID.data", and "Entity!!!UUID.image" of its image.
    QString fileNameWithUUID(const QString& uuid, const QString& entityName, bool isImage) const;
    QString fileNameForObjectWaitingToSync(const ObjectWaitingSync& row, bool isImage) const;

    // Delta download ----------------------------------------------------------------------------------------

    // Asks the cloud for changes since the last batch.
    void loadDeltaPotentialUpdates();
    // Answers to several queries have come, or may come, out of order: no cursor is saved, and what a listing from scratch
    // lacks is not looked for. The first query that is asked with none out starts again.
    bool isDeltaCursorInDoubt() const { return isDeltaCursorInDoubt_; }
    // Entries received and not yet finished.
    const QWDeltaQueue& deltaEntriesToImport() const { return deltaEntriesToImport_; }

    // Import ------------------------------------------------------------------------------------------------

    // The object that a remote file belongs to, in the sync support context or in the one given. Null for a
    // name without its second piece and for one whose entity the model lacks or does not sync.
    QWRef<QWManagedObjectWithSyncSupport> objectReferencedWithLowerCaseFileName(const QString& fileName,
                                                                                bool createIfNotExisting);
    static QWRef<QWManagedObjectWithSyncSupport> objectReferencedByFile(const QString& fileName,
                                                                        QWManagedObjectContext& context,
                                                                        bool createIfNotExisting);

    // Merge -------------------------------------------------------------------------------------------------

    // The context on the host's store in which a batch is applied; made on first use, released after the
    // batch.
    const std::shared_ptr<QWManagedObjectContext>& syncSupportManagedObjectContextCopy();
    void setSyncSupportManagedObjectContextCopy(std::shared_ptr<QWManagedObjectContext> context);
    // Saves the batch and merges it into the main context, whatever the host has changed meanwhile. False
    // when the store takes nothing; the user has been told then.
    bool saveSyncSupportContext();

    // For a client between engine and cloud -----------------------------------------------------------------

    // A client that looks at what it passes on, as a supervisor does, tells the engine with these what it has
    // done itself. Hosts have no use for them.

    // It neither sends nor answers the query that it was just asked for: all is as if it had not been asked.
    // `status` is what it was before.
    void takeBackDeltaQuery(quint64 status);
    // It will not have the changes imported that a query has just listed (`changesListed`): all is as if that
    // had not been made, and the engine is idle until the next one.
    void giveUpChangesListed();
    // A further file for the batch that is running.
    void addDeltaEntry(const DBDeltaEntryRef& entry) { deltaEntriesToImport_.append({entry}); }
    // It neither loads nor answers the file that it was just asked for: its entry is finished, and the file is
    // known from now on, though not received.
    void passOverFile(const QString& fileName);
    // It has loaded a file that changes nothing here: its entry is finished, and the file is known from now on.
    void declineFile(const QString& localPath, const DBMetadata& metadata);
    // It is refused the file for good, or cannot keep what the file replaces: the batch goes on without it. The file is as
    // unknown as it was, and comes when it changes.
    void leaveOutFile(const QString& fileName);
    // It has ranked a received record higher than the version here, though their dates tie: applies it to its
    // object in the sync support context, drops what waited of the record (that of a conflicted copy is queued
    // instead), and lets it win the ties of the batch's merge as well.
    void applyReceivedRecord(QWManagedObjectWithSyncSupport& object, const QVariantMap& record,
                             const DBMetadata& metadata);
    // Whether what the running batch has received of a record wins over the host's version of that date: the
    // later one, at a tie the host's unless the received one was ranked higher.
    bool receivedVersionWins(const QWManagedObjectWithSyncSupport& received, const QDateTime& host) const;
    // The host's unsaved version of a record gives way to the saved one, which is what the cloud holds. It is
    // dropped, with what waited of it; a record that the host has deleted and made again takes the saved one over.
    void discardUnsavedVersion(QWManagedObjectWithSyncSupport& object,
                               QWManagedObjectWithSyncSupport& winner);
    // Whether the running batch has deleted the record that a file belongs to, also when the batch was given
    // up and goes on with the next query.
    bool isDeletedByBatch(const QString& fileName);
    // Whether what a context saves is a batch.
    bool isSyncSupportContext(const QWManagedObjectContext* context) const {
        return context && context == syncSupportManagedObjectCopy_.get();
    }

    // Preferences -------------------------------------------------------------------------------------------

    // Shares user defaults with the user's other machines, from now on and in later processes: a change here
    // is sent after 5 seconds, in one file with the others, and a received one is set here. A value that JSON
    // cannot carry (numbers that are not finite, nesting deeper than 511) stays here, with a line in the log.
    // A key that is shared already is left alone; of a new one its value, or that it has none, is sent. Keys
    // that only other machines share are set here too.
    void syncPreferenceWithKeys(const QStringList& keys);
    void syncPreferenceWithKey(const QString& key);
    // The last known value of each shared key; null for one that has none.
    const QJsonObject& syncedPreferences() const { return syncedPreferences_; }
    // Whether they have changed since they were sent last.
    bool needToUploadSyncedPreferences() const { return needToUploadSyncedPreferences_; }
    // The same, and that there is any to be sent.
    bool isPreferenceWaiting() const {
        return needToUploadSyncedPreferences_ && !syncedPreferences_.isEmpty();
    }
    // Whether a request about their file has been made and not answered, or has failed. Nothing is sent
    // meanwhile.
    bool isSyncedPreferencesRequestOut() const { return syncPreferencesUploadingOrDownloading_; }
    // Their local copy, in the form in which they travel.
    QUrl syncedPreferencesLocalCacheURL() const;
    // Sends them after 5 seconds, or when the transfer that is under way has succeeded.
    void uploadSyncedPreferences();
    // Looks their file up, and sends them where that is missing or they have changed.
    void checkIfPreferencesNeedsToBeUploaded();

    // Full re-upload and bulk update ------------------------------------------------------------------------

    // Queues the objects that are synced records, as one edit made at `date`: stamps those whose date was not
    // set explicitly; skips those whose change does not matter or, with `askDelegateConfirmation`, those that
    // the delegate does not want sent.
    void updateObjects(const QWManagedObjectSet& objects, const QDateTime& date, qint32 action,
                       bool askDelegateConfirmation);
    bool isUsefullToUpdateDateModifiedOfObject(const QWManagedObjectWithSyncSupport& object);
    // Looks the sync folder up; where it is missing, everything is uploaded again.
    void checkIsSyncNeedToBeResetted();
    // Forgets every remote revision and queues every object. Dates stay as they are.
    void resetSyncAndUploadAllItems();

    // DBRestClientDelegate ----------------------------------------------------------------------------------

    void restClientLoadedDeltaEntries(DBRestClient& client, const QList<DBDeltaEntryRef>& entries, bool reset,
                                      const QString& cursor, bool hasMore) override;
    void restClientLoadDeltaFailedWithError(DBRestClient& client, const QWError& error) override;
    void restClientUploadedFile(DBRestClient& client, const QString& destinationPath,
                                const QString& sourcePath, const DBMetadata& metadata) override;
    void restClientUploadFileFailedWithError(DBRestClient& client, const QWError& error) override;
    void restClientDeletedPath(DBRestClient& client, const QString& path) override;
    void restClientDeletePathFailedWithError(DBRestClient& client, const QWError& error) override;
    void restClientLoadedFile(DBRestClient& client, const QString& localPath, const QString& contentType,
                              const DBMetadata& metadata) override;
    void restClientLoadFileFailedWithError(DBRestClient& client, const QWError& error) override;
    void restClientLoadedMetadata(DBRestClient& client, const DBMetadata& metadata) override;
    void restClientLoadMetadataFailedWithError(DBRestClient& client, const QWError& error) override;

Q_SIGNALS:
    void statusChanged(quint64 status);
    void numberOfItemsToProcessChanged(qint64 number);
    // A listing from scratch is complete, and these files that are known here, or of objects that wait to be sent, are not
    // in it, that of the preferences included; those in `writtenMeanwhile` were sent, or came, while it was asked for. In no
    // order, and some twice.
    void listingLacks(const QStringList& fileNames, const QStringList& writtenMeanwhile);
    // `deltaEntriesToImport` holds all changes of a query, the deletions of a listing from scratch included;
    // none is imported yet.
    void changesListed();
    // A version of a record is about to give way to `winner` or, where that is null, to a deletion. It is the
    // host's in the main context, or one that only the running batch has received.
    void versionGivesWay(QWManagedObjectWithSyncSupport& version, QWManagedObjectWithSyncSupport* winner);
    // A record is here again whose deletion waits to be sent, or to be answered: it is sent after that.
    void deletionTakenBack(const QWManagedObjectWithSyncSupport& object);
    // The image of a record is about to be deleted, since the record was elsewhere: `mayGo` is true, and who sets it to
    // false keeps it. Or the record is taken along by a delete rule: the image stays unless somebody sets `mayGo` to true.
    void imageGivesWay(const QWManagedObjectWithSyncSupport& object, bool* mayGo);
    // Every version that the running batch takes the place of has been told of; its save is next. Who sets
    // `mayBeSaved` to false makes that fail: the batch comes again.
    void batchWillBeSaved(bool* mayBeSaved);

private:
    friend struct QWDropboxSyncCoreDataProbe; // tests/sync: the one door to what follows

    // Lifecycle ---------------------------------------------------------------------------------------------

    QWEnvironment& environment() const { return mainManagedObjectContext_->environment(); }
    QString localPath(const QString& fileName) const; // in the cache folder
    void replaceClient(std::shared_ptr<DBRestClient> client);
    void observeMainContext();
    // Runs `block` once; pending until then in `scheduledTimers_`, whatever the status.
    void scheduleTimer(double seconds, std::function<void()> block);

    // Cache store -------------------------------------------------------------------------------------------

    // False when the save failed. `operation` is who saves, for the log.
    bool saveContext(QWManagedObjectContext& context, const char* operation);
    void deleteAllResultOfFetchRequest(const QWFetchRequest& request);
    void deleteObjectWaitingSync(ObjectWaitingSync& row);
    void recordFileMetadata(const DBMetadata& metadata, const QString& localPath = {});

    // Change capture ----------------------------------------------------------------------------------------

    void mainManagedObjctContextObjectsChanged(const QWObjectsDidChangeNotice& notice);

    // Upload ------------------------------------------------------------------------------------------------

    std::vector<QWRef<ObjectWaitingSync>> nextObjectsWaitingSync();
    // False when the object does not exist any more: the row is dropped.
    bool beginSyncOfObjectWaiting(const QWRef<ObjectWaitingSync>& row);
    void deleteFilesOfObjectWaiting(ObjectWaitingSync& row);
    void uploadFilesOfObjectWaiting(const QWRef<ObjectWaitingSync>& row,
                                    QWManagedObjectWithSyncSupport& object);
    void uploadRecordOfObjectWaiting(const QWRef<ObjectWaitingSync>& row,
                                     QWManagedObjectWithSyncSupport& object);
    void uploadRecordAgain(const QWRef<ObjectWaitingSync>& row);
    void uploadFileAgain(const QString& fileName, const QUrl& localURL, int generation);
    void uploadFileWithName(const QString& fileName, const QUrl& localURL);
    QString uuidInFlight(const QString& fileName) const;
    QWRef<QWManagedObjectWithSyncSupport> objectReferencedByWaitingObject(const ObjectWaitingSync& row);
    bool existsObjectOfUpload(const QString& fileName, const QWRef<ObjectWaitingSync>& row);
    void finishUploadOfObjectWaiting(const QWRef<ObjectWaitingSync>& row);
    bool hasImageChangedSinceItWasSent(const QString& path);
    void dateImageAfterItsRemoteCopy(const QString& path, const DBMetadata& metadata);
    bool isReplaced(const ObjectWaitingSync& row);
    // One request of the row was answered; whether it was the last. A row that is not known counts as
    // finished.
    bool finishRequestOfRow(const QWRef<ObjectWaitingSync>& row);
    void sendObjectWhoseFilesAreGone(const ObjectWaitingSync& row);
    void removeFromSyncingAndDeleteFromContextObject(const QWRef<ObjectWaitingSync>& row);

    // Delta download ----------------------------------------------------------------------------------------

    void goBackToSavedCursor();
    void addDeletionsOfResetListing();
    void scheduleNextDeltaEntryCheckWithLastSucceded(bool succeeded);
    DBDeltaEntryRef extractNextDeltaEntryToProcess();
    void beginProcessOfNextDeltaEntryWaiting();
    bool beginProcessOfDeltaEntry(const DBDeltaEntryRef& entry);
    bool beginDownloadOfDeltaEntry(const DBDeltaEntryRef& entry);
    void finishDeltaBatch();
    DBDeltaEntryRef deltaEntryForFileNamed(const QString& fileName) const;
    void deleteDeltaEntryForDownloadedFileNamed(const QString& fileName);
    void removeDeltaEntry(const DBDeltaEntryRef& entry);
    void emptyDeltaEntries();
    void downloadDataWithDropboxMetadata(const DBMetadata& metadata);

    // Import ------------------------------------------------------------------------------------------------

    void processDeleteFromDeltaEntry(const DBDeltaEntry& entry);
    // `mayGo`: unless somebody who is told that it gives way says otherwise.
    void deleteImageOfObject(const QWManagedObjectWithSyncSupport& object, bool mayGo = true);
    QWRef<ObjectWaitingSync> rowOfDeletedObject(const QString& fileName);
    // False when the file cannot be read, or placed, for now.
    bool importRecord(const QString& localPath, const DBMetadata& metadata);
    void finishConflictedCopy(QWManagedObjectWithSyncSupport& object, const DBMetadata& metadata);
    void finishConflictedCopiesOfBatch(bool isSaved);
    void applyRecord(QWManagedObjectWithSyncSupport& object, const QVariantMap& record,
                     const DBMetadata& metadata);
    bool isConflictedCopyInProcess(const DBMetadata& metadata) const;
    bool importImage(const QString& localPath, const DBMetadata& metadata);
    void repeatImportOfFile(const QString& localPath, const DBMetadata& metadata, bool isRecord);
    // Notes a file that this library can do nothing with; `localPath` is where it was downloaded.
    void ignoreFile(const QString& reason, const DBMetadata& metadata, const QString& localPath = {});

    // Merge -------------------------------------------------------------------------------------------------

    void tellOfVersionsThatGiveWay(QWManagedObjectContext& context);
    void deleteImagesTakenAlong(QWManagedObjectContext& context);
    void tellWhichGivesWay(QWManagedObjectWithSyncSupport& received, QWManagedObjectWithSyncSupport& host);
    QWRef<QWManagedObjectWithSyncSupport> hostsVersion(const QWManagedObjectWithSyncSupport& object);
    void giveWayToMainContext(QWManagedObjectContext& context);
    void settleWithMadeAgain(QWManagedObjectWithSyncSupport& received,
                             QWManagedObjectWithSyncSupport& madeAgain);
    void takeOver(QWManagedObjectWithSyncSupport& version, QWManagedObjectWithSyncSupport& madeAgain);
    void reconcileInsertions(QWManagedObjectContext& context);
    QWMergeDecision decideConflict(const QWSaveConflict& conflict);
    void syncSupportManagedObjectContextDidSave(const QWDidSaveNotice& notice);
    void changeMainContextUnseen(const std::function<void()>& change);
    void dropReferencesToHostsDeletions(const QWDidSaveNotice& notice);
    void replaceInsertionsOfMainContext(const QWDidSaveNotice& notice);
    void mainContextDidMerge(const QWDidSaveNotice& notice);
    void replaceInsertionsOfBatch(const QWManagedObjectSet& saved);
    void refreshBatch(const QWDidSaveNotice& notice);

    // Preferences -------------------------------------------------------------------------------------------

    // What the local copy holds; nothing for one that is missing or unreadable.
    std::optional<QJsonObject> readSyncPreferencesLocalCache() const;
    QJsonObject loadSyncedPreferences();
    void saveSyncPreferencesLocalCache();
    void observePreference(const QString& key);
    void removeAllPreferenceObservers();
    void observeValueForKeyPath(const QString& key, const QJsonValue& newValue);
    void setObjectInSyncedPrefencesForKey(const QJsonValue& object, const QString& key);
    void beginUploadOfSyncedPreferences();
    void finishUploadOfSyncedPreferences(const DBMetadata& metadata);
    void finishCheckOfSyncedPreferences(bool isMissing);
    // False when the entry needs no request and is finished.
    bool beginProcessOfSyncedPreferences(const DBDeltaEntryRef& entry);
    void finishDownloadOfSyncedPreferences(const DBMetadata& metadata);
    void finishMissingSyncedPreferences(const QString& destinationPath);
    void processUpdatedSyncedPreferences();

    // Full re-upload ----------------------------------------------------------------------------------------

    void fetchAllItemsForUpload();
    void fetchAllItemsForUploadWithEntityName(const QString& entityName);
    void deleteAllFileMetadata();
    void deleteObjectWaitingSyncWithActionDelete();

    // Recovery ----------------------------------------------------------------------------------------------

    QWDropboxSyncJournal& journal();
    void noteDeletions(const QWManagedObjectSet& records);
    void noteBeforeUpload(const QString& fileName, const QWManagedObjectWithSyncSupport& object);
    void noteBeforeDeletion(const ObjectWaitingSync& row);
    // The caller saves the entry. False when there is nothing to be noted.
    bool noteUnsavedDeletion(const ObjectWaitingSync& row);
    void noteBeforeInsertion(const ObjectWaitingSync& row, const QWManagedObjectWithSyncSupport& object);
    void noteRow(const ObjectWaitingSync& row);
    void noteBeforeImport(const QString& fileName, const QWManagedObjectWithSyncSupport& object);
    bool isUnsavedInMainContext(const QWSyncedIdentity& identity);
    void mainContextDidSave(const QWDidSaveNotice& notice);
    void forgetReceivedObjects();
    void mainContextDidDiscard(const QWManagedObjectSet& records);
    // True when something may have been put back.
    bool recoverWhenQuiet();
    void recoverFromLastProcess();
    void recover(const std::function<bool(const QWSyncedIdentity&)>& isLost);
    void sendObjectsWhoseDeletionWasLost();

    // Fields ------------------------------------------------------------------------------------------------

    // Given by the host.
    std::shared_ptr<DBRestClient> dropboxRestClient_; // at activation
    const std::shared_ptr<QWManagedObjectContext> mainManagedObjectContext_;
    const QUrl localCacheURL_; // cache store, staging files and downloads
    const QStringList entityNames_;
    QWDropboxSyncCoreDataDelegate* delegate_ = nullptr;
    QPointer<QObject> delegateLifetime_;

    // Made on first use.
    std::unique_ptr<QWDropboxSyncManagedObjectDictionaryExporter> syncDictionaryExporter_;
    std::unique_ptr<QWDropboxSyncManagedObjectDictionaryImporter> syncDictionaryImporter_;
    std::shared_ptr<QWManagedObjectModel> dropboxCacheManagedObjectModel_;
    std::shared_ptr<QWPersistentStoreCoordinator> dropboxCachePersistentStoreCoordinator_;
    std::shared_ptr<QWManagedObjectContext> dropboxCacheManagedObjectContext_;
    std::unique_ptr<QWDropboxFileMetadataManager> fileMetadataManager_;

    // Import and merge: what the running batch has applied. Released when it has ended.
    std::shared_ptr<QWManagedObjectContext> syncSupportManagedObjectCopy_;
    std::set<QWSyncedIdentity> objectsReceived_;    // with a received version or deletion in that context
    std::set<QWSyncedIdentity> objectsWinningTies_; // received, whose client has ranked the versions
    std::set<QWSyncedIdentity> objectsToSendAfterBatch_; // received, to be queued once they are saved
    QStringList conflictedCopiesMerged_;                 // to be deleted in the cloud once the batch is saved

    // Upload: rows in flight by upper-cased uuid. Written by upload; emptied by `deactivateSync`.
    QWRowsInFlight objectsSyncing_;
    // Upload: by local path the dates of the images that were sent and not answered.
    QHash<QString, std::optional<QDateTime>> imageDatesSent_;

    // Delta download. Written there; emptied by `deactivateSync` and a full re-upload.
    QWDeltaQueue deltaEntriesToImport_;
    QWDeltaQueue::InProcess deltaEntriesInProcess_; // always some of those to import
    bool checkForDeltaUpdateImmediatelyAfterCurrentEntriesAnalysis_ = false;
    QString deltaNextCursor_; // of the last page; what is saved when the batch ends. Read back at activation.
    // What arrives may be older than what has arrived, or pass over entries given up by a deactivation.
    bool isDeltaCursorInDoubt_ = false;
    QWResetListing resetListing_;
    bool areChangesGivenUp_ = false; // while `changesListed` tells of them

    // Preferences. Written there, and read at construction.
    QJsonObject syncedPreferences_;              // null: no value
    bool needToUploadSyncedPreferences_ = false; // they have changed since they were sent; a user default
    bool syncPreferencesUploadingOrDownloading_ = false;      // also after a failed upload
    bool preferencesChangedWhileUploading_ = false;           // another upload must follow
    std::map<QString, QWObservation> preferenceObservations_; // by key

    // Recovery.
    std::unique_ptr<QWDropboxSyncJournal> journal_; // made on first use
    // In the main context. Written by change capture and recovery.
    std::set<QWSyncedIdentity> objectsDeletedUnsaved_;
    // Received in batches that could not be saved, and not put back yet.
    std::set<QWSyncedIdentity> objectsOfLostBatches_;
    bool isRecoveryDue_ = false; // something was discarded, or a batch was lost

    // Every concern.
    std::unordered_set<std::shared_ptr<QWTimer>> scheduledTimers_; // retries and polls that have not fired
    quint64 _status = QWDropboxSyncStatusDisabled;
    qint64 _numberOfItemsToProcess = 0;
    QDateTime _lastTimeQueriedDeltaEntries;

    QWObservation willTerminateObservation_;
    QWObservation mainContextObservation_; // inactive while a batch is merged
    QWObservation mainContextDidSaveObservation_, mainContextDidDiscardObservation_;
    QWObservation mainContextDidMergeObservation_;
};
