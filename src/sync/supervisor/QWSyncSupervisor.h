#pragma once

#include "dropbox/DBRestClient.h"
#include "platform/QWRunLoop.h"
#include "sync/QWDropboxSyncCoreData.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <memory>
#include <optional>

class QWDeletionGuard;
class QWImageKeeper;
class QWLosingVersions;
class QWModelRefusals;
class QWPreferencesKeeper;
class QWRecordKeeper;
class QWVersionArchive;

// Stands between an engine and the host's client and sees to it that the engine is never stuck, that desktops do not
// stay apart (but for what docs/guarantees.md names), and that no more is asked of the cloud than is due. A host makes
// one for its engine, and signs in and syncs through it:
//
//     auto supervisor = QWSyncSupervisor::create(engine, std::move(client));
//     supervisor->activate();
//     supervisor->syncNow(); // when the user asks, or the window becomes active
//
// What it does that the engine leaves undone:
// - A look-up of the sync folder that failed (offline, a server's error) is repeated after 10 s, and after
//   pauses that double up to 10 minutes.
// - Every activation asks for changes once, also the first one, which finds no sync folder and uploads.
// - A failed upload, deletion or download is repeated after 10 s, with the revision known by then. The engine
//   is told of refused tokens and missing files only.
// - Of one file one upload, or one download, is out at a time; what an earlier activity has left is waited for, and no
//   file is sent while its deletion is out, nor deleted while its upload is. What was listed of a file after a request
//   was made of it stands over the answer to that. A record that is here when its deletion was answered is sent again.
// - Where only a new start helps (a file vanished between its announcement and its download, the file of an
//   upload has gone, an object is sent again and again without a change), the engine is deactivated and
//   activated: as soon as no request is out, at most once a minute. Until then such a repetition is held.
// - Of the engine's poll timers only the first one that is due since the last query leads to a query.
// - Of two versions of a record that are dated in the same second every desktop keeps the same one, that of
//   the greater SHA-256 of its form (records/QWTravellingForm.h); a version that is behind the one here makes
//   this desktop send its own; the upload of this desktop that the cloud has made a conflicted copy of is not
//   lost.
// - A record that loses a reference to a deletion, received or made here, is sent, so that all desktops hold it with the
//   reference or without: where the host has deleted what it refers to, with the save of that.
// - A listing without a cursor is passed on as one whose cursor was lost, so that files which are known here
//   and missing there are deleted.
// - An image that is newer here than in the cloud keeps its date and is sent; so is one that was deleted in the cloud, if
//   its record outlives the query that is made ten seconds later. An image makes no record: it is fetched when its
//   record has come.
// - Of the shared preferences those are kept that were changed here since the cloud's file was last seen,
//   unless they have changed there as well. A failed look-up or upload of them is repeated, also in the next
//   activity; of a conflict this desktop's copy is deleted, and the merged values are sent. A file that the
//   cloud holds already is neither sent nor received again.
// - Changes of a query that would delete very many records here are held back until the host has answered whether
//   they may (`setDeletionQuestion`).
// - What the host's model refuses, a record or a deletion, does not hold back the rest of its batch: the file is left out
//   until it changes, and what was deleted elsewhere is sent again.
// - A version of a record or an image that loses against another one, or against a deletion, is kept
//   (QWVersionArchive.h).
//
// Threads and time: those of the engine. Ownership: the engine holds the supervisor as its client, the
// supervisor holds the host's client; the engine must outlive it, or go first together with it. The host's
// client must answer each request exactly once and have no other delegate. It may have been another supervisor's, which is
// replaced, once that has no query out; what else it still answers of that one's is passed over.
class QWSyncSupervisor final : public QObject,
                               public DBRestClient,
                               public std::enable_shared_from_this<QWSyncSupervisor>,
                               private DBRestClientDelegate {
    Q_OBJECT

public:
    // Files since the supervisor was made; a record and its image are two.
    struct Counts {
        qint64 sent = 0;     // uploaded, or deleted in the cloud
        qint64 received = 0; // downloaded and taken over
        qint64 declined = 0; // downloaded, and nothing here has changed
        qint64 failed = 0;   // requests that were not answered by a success; most are repeated
    };

    // Requests made of the host's client since the supervisor was made, repetitions included.
    struct Requests {
        qint64 queries = 0; // for changes, and for what stands at a path
        qint64 uploads = 0;
        qint64 downloads = 0;
        qint64 deletions = 0;

        qint64 total() const { return queries + uploads + downloads + deletions; }
    };

    // Never null, and not active yet. `client` must not be null.
    static std::shared_ptr<QWSyncSupervisor> create(QWDropboxSyncCoreData& engine,
                                                    std::shared_ptr<DBRestClient> client);
    ~QWSyncSupervisor() override;

    // Activates the engine with this as its client. To stop, deactivate the engine.
    void activate();
    // Asks for changes: at once when the engine is idle; else as soon as it is, unless a query that is due is
    // sent by then, which serves as well. Does nothing while the engine is not active.
    void syncNow();

    // Held back is a query that would delete more than 50 records and more than a fifth of all that are synced here,
    // those included that delete rules take along; the deletion of the whole sync folder is none, since everything is
    // sent again then. Without a question, the default, nothing is held.
    //
    // While the question is open nothing is imported and no changes are asked for; what is edited here is sent.
    // Answered by "yes", or that it is no longer asked, the records are deleted; by "no" they are sent again, and
    // whatever else has changed is imported. An end of the activity takes the question back: it is asked again
    // after the next query, as it is by a process that has died meanwhile.
    //
    // `ask` is called on a turn of the run loop of its own, once for each time that the question opens: `count` of
    // `total` records would be deleted.
    void setDeletionQuestion(std::function<void(qint64 count, qint64 total)> ask);
    bool isDeletionQuestionOpen() const;
    // Does nothing unless the question is open.
    void answerDeletionQuestion(bool areDeletionsWanted);

    // The one that it fills. Its bounds may be set at any time.
    QWVersionArchive& versionArchive() { return *archive_; }

    const Counts& counts() const { return counts_; }
    const Requests& requests() const { return requests_; }
    // Made of the host's client and not answered.
    qint64 requestsOut() const { return requestsOut_; }
    // Whether the engine is idle and nothing is out, to be repeated or otherwise due. Rows that wait, the
    // engine tells.
    bool isAtRest() const;
    // Whether a shared preference waits to be sent.
    bool isPreferenceWaiting() const;
    // Whether this desktop and the cloud hold the same, as far as anybody here can know: changes have been asked for,
    // and no record and no preference is left to be fetched or sent. Never while the cloud lacks an edit that was saved
    // here, unless another version has replaced it; the engine's count is 0 then.
    bool isInStep() const;

    void loadDelta(const QString& cursor) override;
    void uploadFile(const QString& filename, const QString& folder, const QString& parentRev,
                    const QString& localPath) override;
    void deletePath(const QString& path) override;
    void loadFile(const QString& path, const QString& localPath) override;
    void loadMetadata(const QString& path) override;

Q_SIGNALS:
    // What became of a file, by its name in the sync folder. A record is queued once for all its changes that
    // wait together.
    void fileQueued(const QString& fileName);
    void fileSent(const QString& fileName);
    void fileReceived(const QString& fileName);
    void fileDeclined(const QString& fileName, const QString& reason);
    void fileFailed(const QString& fileName, const QString& reason);
    // The cloud could not be asked for changes or for the sync folder; it is asked again.
    void queryFailed(const QString& reason);
    // The engine has had an answer, or has another status, and what follows from that has been asked for.
    void progressed();

private:
    QWSyncSupervisor(QWDropboxSyncCoreData& engine, std::shared_ptr<DBRestClient> client);

    QWRunLoop& runLoop() const { return engine_->mainManagedObjectContext()->environment().runLoop(); }
    QWFileManager& files() const { return engine_->mainManagedObjectContext()->environment().files(); }
    DBRestClient& request(qint64& kind);
    // A request about a file that is out, of whatever activity.
    struct FileRequest {
        int generation = 0;          // of the activity that has made it
        QString revision;            // that was known then
        std::function<void()> next;  // what waits for its answer; dropped with the activity that wants it
        QString path = {};           // of an upload: in the cloud, in lower case
        bool isDeletedSince = false; // of an upload: its file, by what was last listed of that
    };
    // By path: of an upload the one here, of others the one in the cloud, in lower case. Of one path the latest comes first.
    using FileRequests = QMultiHash<QString, FileRequest>;

    // What was asked. Null: nothing, so that the answer is to another supervisor.
    static std::optional<FileRequest> take(FileRequests& out, const QString& path,
                                           const QWError& failure = {});
    // That an earlier activity has left of a file in the cloud, or null.
    FileRequest* earlierUpload(const QString& lowercasePath);
    std::optional<int> takeQuery();
    std::optional<int> takeLookUp(const QString& path, const QWError& failure = {});
    // Why a request of that activity has failed.
    QWError failureOf(const QWError& error, int generation) const;
    // Gives the engine an answer, or makes it do something: the requests that it makes meanwhile are wanted.
    void callEngine(const std::function<void()>& call);
    void finish(const std::function<void(DBRestClientDelegate&)>& answer);

    bool isActive() const { return engine_ && engine_->status() < QWDropboxSyncStatusDisabled; }
    bool isBatchRunning() const;
    bool isPollDue() const;
    // Counts the refusal of a download.
    bool isRefusedForGood(const QString& fileName, const QWError& error);
    void sendFile(const QString& fileName, const QString& folder, const QString& parentRev,
                  const QString& localPath);
    void requestDeletion(const QString& path);
    void requestDownload(const QString& path, const QString& localPath);
    void lookUp(const QString& path);
    QString knownRevision(const QString& fileName) const; // empty where none is
    bool noteSentAndCompare(const QString& fileName);
    bool isPlaceholder(const QString& fileName) const;
    void passOverUpload(const QString& fileName, const QString& localPath);
    void finishUpload(const QString& destinationPath, const QString& sourcePath, const DBMetadata& metadata);
    void finishEarlierUpload(const QString& fileName, const DBMetadata& standing);
    void finishDeletion(const QString& path, const FileRequest& asked);
    void sendAgainWhatIsBack(const QString& deletedFile);
    std::optional<DBMetadata> listedSince(const QString& fileName, const QString& revision) const;
    void keepImageKnown(const DBMetadata& listed);
    void takeBackQuery();
    void sendAgainWhatIsDeleted(const QList<DBDeltaEntryRef>& page);
    void sendAgainWhatIsMissing(const QStringList& fileNames, const QStringList& writtenMeanwhile);
    void sendAgainWhatIsInFlight(const QString& uuid);
    bool isDeletionDue(const QString& lowercasePath) const; // of a record
    void sendWaiting();
    void sendWaitingSoon(); // on a turn of the run loop of its own
    void hostDidChange(const QWObjectsDidChangeNotice& notice);
    void statusChanged(quint64 status);
    void stop();
    void giveBatchUp(); // the running one, which comes again
    void fail(const QString& path, const QWError& error);
    void sendConflictedImage(const QString& copy);
    void finishConflictedImage(const QString& copy, const std::optional<DBMetadata>& standing);
    void repeatLater(const QString& operation, const QWError& error, std::function<void()> repetition);
    // Unless the activity ends before.
    void doAfterPause(std::function<void()> what);
    void queryAfterPause();
    // Looks whether something is due, on a turn of the run loop of its own.
    void lookSoon();
    void look();
    void restart();
    void letGoOfRow(const QString& fileName);
    void holdBackDeletions();
    void folderFound();
    void lookUpFolderAgain();

    bool isLocalPreferences(const QString& localPath) const;
    // Answers the engine as the cloud would, on a turn of the run loop of its own.
    void answerSoon(std::function<void(DBRestClientDelegate&)> answer);
    void lookUpPreferences();
    void freePreferences();
    void preferencesLookUpFailed(const QWError& error);
    void uploadPreferences();
    void uploadHeldPreferences();
    void repeatPreferences();
    void preferencesUploaded(const QString& destinationPath, const QString& sourcePath,
                             const DBMetadata& metadata);
    void preferencesNotUploaded();
    void loadPreferences();
    void preferencesLoaded(const QString& contentType, const DBMetadata& metadata);
    void preferencesNotLoaded(const QString& path, const QWError& error);

    void restClientLoadedDeltaEntries(DBRestClient&, const QList<DBDeltaEntryRef>& entries, bool reset,
                                      const QString& cursor, bool hasMore) override;
    void restClientLoadDeltaFailedWithError(DBRestClient&, const QWError& error) override;
    void restClientUploadedFile(DBRestClient&, const QString& destinationPath, const QString& sourcePath,
                                const DBMetadata& metadata) override;
    void restClientUploadFileFailedWithError(DBRestClient&, const QWError& error) override;
    void restClientDeletedPath(DBRestClient&, const QString& path) override;
    void restClientDeletePathFailedWithError(DBRestClient&, const QWError& error) override;
    void restClientLoadedFile(DBRestClient&, const QString& localPath, const QString& contentType,
                              const DBMetadata& metadata) override;
    void restClientLoadFileFailedWithError(DBRestClient&, const QWError& error) override;
    void restClientLoadedMetadata(DBRestClient&, const DBMetadata& metadata) override;
    void restClientLoadMetadataFailedWithError(DBRestClient&, const QWError& error) override;

    const QPointer<QWDropboxSyncCoreData> engine_;
    const std::shared_ptr<DBRestClient> client_;
    const std::unique_ptr<QWDeletionGuard> deletionGuard_;
    const std::unique_ptr<QWVersionArchive> archive_;
    const std::unique_ptr<QWLosingVersions> losingVersions_;
    const std::unique_ptr<QWImageKeeper> images_;
    const std::unique_ptr<QWRecordKeeper> records_;
    const std::unique_ptr<QWModelRefusals> modelRefusals_;
    const std::unique_ptr<QWPreferencesKeeper> preferences_;
    QWObservation queueObservation_, hostObservation_, hostSaveObservation_, willMergeObservation_,
        mergeObservation_;
    quint64 hostChanges_ = 0; // notices of the main context so far
    Counts counts_;
    Requests requests_;

    qint64 requestsOut_ = 0;
    int engineCalls_ = 0; // calls of the engine that are under way here, one within the other
    quint64 status_, statusBefore_;
    bool willLook_ = false;

    // Due, but not done yet.
    bool isQueryDue_ = false;
    bool isRestartDue_ = false;
    bool isRestarting_ = false;
    bool isLookingForFolder_ = false;      // asked, or to be asked again after a pause
    bool isLookingForPreferences_ = false; // asked
    // Until the transfer that is out has its answer.
    bool isPreferencesUploadHeld_ = false, isPreferencesDownloadHeld_ = false;
    int repetitionsDue_ = 0;
    int generation_ = 0;    // counts the ends of activity: what an earlier one has left to repeat is dropped
    int refusedBefore_ = 0; // that generation the host was told that the token was refused
    QWRunLoop::Handle restartTimer_, folderLookupTimer_;
    QWRunLoop::Duration folderLookupPause_;

    std::optional<QWRunLoop::Duration> lastQuery_, lastRestart_; // when it was asked or done, by the run loop
    bool hasLastQueryFailed_ = false;
    bool isBatchUnsaved_ = false;     // it could not be
    bool asksFromScratch_ = false;    // the last query
    bool arrivesFromScratch_ = false; // the one whose pages come

    // The object whose upload is being acknowledged to the engine, and whether its image is sent again in
    // this.
    QString uuidAcknowledged_;
    bool sendsImageAgain_ = false;
    struct SentRecord {
        QByteArray bytes;
        quint64 hostChanges = 0;
        bool mayHaveImage = false;
    };
    QHash<QString, SentRecord> recordsInFlight_; // by uuid: what was last sent, and when
    // Uuids of objects in flight whose images are, too, or have become copies of a conflict.
    QSet<QString> imagesInFlight_;
    FileRequests uploadsOut_, downloadsOut_, deletionsOut_;
    QList<int> queriesOut_;               // their generations, in order
    QMultiHash<QString, int> lookUpsOut_; // the same, by path in the cloud, in lower case
    // File names of conflicted copies of images, by the path (lower case) of the image, which is looked up.
    QHash<QString, QString> imageCopies_;
    QHash<QString, int> refusals_; // of downloads, by file name: how often in a row
};
