#pragma once

#include "Event.h"
#include "Model.h"
#include "SimulatedDefaults.h"
#include "SimulatedFiles.h"
#include "SimulatedNetwork.h"
#include "support/BookModel.h"
#include "sync/QWDropboxSyncCoreData.h"
#include "sync/supervisor/QWSyncSupervisor.h"
#include "testing/QWVirtualWorld.h"

// One of the user's machines: its disk, clock and settings, which last, and the process of the host application
// with its engine, under a supervisor or alone, which comes and goes. Tells the model of everything that its user does and
// that sync does to the records.
class Machine final : public QObject, public QWDropboxSyncCoreDataDelegate {
public:
    Machine(int number, quint64 seed, std::shared_ptr<QWVirtualRunLoop> runLoop,
            std::shared_ptr<QWAppFolder> cloud, Model& model, Trace& trace, bool isSupervised);
    ~Machine() override;

    static const QStringList& sharedPreferences();

    // The process.
    bool isRunning() const { return network_ != nullptr; }
    void start(); // does nothing where the disk does not let it
    void end();   // without a word
    void close(); // as a user does
    // Ends the process if the machine has died meanwhile. True when it had.
    bool bury();
    // Tells the model what has become of the records.
    void report();
    // Tells it what is more than may be, and what is reported otherwise than it is.
    void checkReports();
    void activateOrSync();
    qint64 syncs() const { return syncs_; } // that were asked for, activations included
    // Downloads of batches that died with their processes, which the next ones ask for again.
    qint64 downloadsLost() const { return downloadsLost_; }
    void deactivate();
    bool isSignedOut() const { return isRunning() && engine_->status() >= QWDropboxSyncStatusDisabled; }
    bool isInStep() const { return supervisor_ && supervisor_->isInStep(); }
    bool isQuiet() const; // nothing waits or is under way
    QString stateText() const;

    // The user. `which` picks one of the records, `text` is what is written.
    void add(int which, int text);
    void edit(const QString& entityName, int which, int text);
    void remove(const QString& entityName, int which);
    void addMany(int count, int text);
    void removeMany(int count, int from);
    void setImage(int which, int text);
    void setPreference(int which, int value);
    void rollBack();         // of all that is not saved
    void refresh(int which); // a book, of which what is not saved goes
    void restore(int which); // a version from the archive; the latest one is 0
    void addAgain(int which, int text);
    bool save();

    // The user is asked, from now on, whether very many deletions may come, and answers after that time; 0: never.
    void askAboutDeletions(bool saysYes, std::chrono::seconds delay);
    bool isAsked() const { return supervisor_ && supervisor_->isDeletionQuestionOpen(); }
    void answerDeletionQuestion();
    qint64 questions() const { return questions_; } // so far
    // Records that an answer since the last call keeps, and whether the user was asked about them.
    QHash<QString, bool> takeRecordsKept() { return std::exchange(recordsKept_, {}); }
    // Whether the machine is about to, may be, since it does not run, or has a version or a deletion that is not saved.
    bool mayDelete(const QString& uuid);
    bool hasSentAll() const { return engine_->numberOfObjectsWaitingSync() == 0; }

    Model::Contents contents();
    // Tells the model of the versions that the machine has kept.
    void checkArchive();

    SimulatedDisk disk;
    SimulatedNetwork::Ledger ledger;
    QWVirtualWorld world;
    // Whether it has seen a listing to its end. Before, it cannot tell the deletion of the folder from that of files.
    bool hasCursor() const { return hasCursor_; }
    bool isEverAsked = false; // its user, about very many deletions

private:
    class HostAction; // while it lives, what changes is the user's doing

    QString path(const QString& name) const;
    void watch();
    void beginSupervision();
    void statusDidChange(quint64 status);
    void recordsDidChange(const QWObjectsDidChangeNotice& notice);
    void recordsDidMerge(const QWDidSaveNotice& notice);
    void noteWhatIsNotNoted();
    void setDeletionQuestion();
    void noteRecordsWithoutFile(bool isFirstPage, bool isFromScratch);
    bool lacksFile(const QWManagedObjectWithSyncSupport& record, bool isFromScratch);
    void checkQuestion();
    void checkSupervisor();
    bool isReplacementReceived() const;
    void endEndlessUpload();
    void checkThat(bool isKept, const QString& what);
    void remove(QWManagedObjectWithSyncSupport& record);
    void tookBack();
    void touch(const QWManagedObject& record);
    void countDidChange(qint64 number);
    void cloudTook(const QString& path, const QByteArray& bytes);
    void declined(const QString& fileName, const QString& reason);
    Version versionOf(QWManagedObjectWithSyncSupport& record);
    static Version versionOf(QVariantMap form, const QString& entityName);
    static MaybeVersion versionInFile(const QString& fileName, const QByteArray& bytes);
    static QString uuidInFileName(const QString& fileName);
    QHash<QString, Version> versions();
    std::vector<desktop::Record> records(const QString& entityName);
    desktop::Record any(const QString& entityName, int which);

    bool shouldUploadUpdateManagedObject(QWManagedObjectWithSyncSupport& object) override;
    void accessTokenExpiredDropbox(QWDropboxSyncCoreData&) override {}

    const int number_;
    const bool isSupervised_;
    const std::shared_ptr<QWAppFolder> cloud_;
    const std::shared_ptr<SimulatedDefaults> defaults_;
    Model& model_;
    Trace& trace_;
    bool isActive_ = false; // the user has activated sync, and has not been signed out since
    int hostActions_ = 0, covers_ = 0;
    qint64 syncs_ = 0;
    qint64 downloadsOfBatch_ = 0, downloadsLost_ = 0;
    qint64 inFlightBefore_ = 0;       // when it was counted last
    bool hasBatchEnded_ = false;      // in this step
    qint64 tokensRefusedBefore_ = 0;  // when it was activated last
    int downloadsBefore_ = 0;         // a step ago
    QHash<QString, QString> touched_; // since the last report: uuids of records, with their entities
    bool hasCursor_ = false;
    bool isZeroDoubtful_ = false; // it was counted while there was something to count
    QSet<QString> imagesUnsaved_; // uuids of records whose images a user has begun to set, in any process
    QSet<QString> imagesToSave_;  // and has set in this one
    QSet<QString> unnoted_;       // uuids of records that were saved and the engine could not write down
    std::vector<std::pair<QString, QString>> imagesDropped_; // uuid and path, of deleted records
    QStringList deletedHere_;               // uuids of books, of all processes; the latest last
    QHash<QString, QByteArray> downloaded_; // by file name, the latest

    struct DeletionUser {
        bool saysYes = false;
        std::chrono::seconds delay{0};
    };
    std::optional<DeletionUser> deletionUser_;
    QSet<QString> recordsWithoutFile_; // in the cloud, by the latest query
    QSet<QString> recordsAskedAbout_;
    QHash<QString, bool> recordsKept_; // whether the user was asked about it
    bool hasHeardQuestion_ = false;    // which is posed a turn after it has opened
    bool wasAsked_ = false;            // a step ago
    qint64 queriesBefore_ = 0, questions_ = 0;

    std::shared_ptr<QWManagedObjectContext> context_;
    std::unique_ptr<QWDropboxSyncCoreData> engine_;
    std::shared_ptr<SimulatedNetwork> network_;
    std::shared_ptr<QWSyncSupervisor> supervisor_; // null where the engine is alone
    std::vector<QWObservation> observations_;
};

class Machine::HostAction {
public:
    explicit HostAction(Machine& machine) : machine_(machine) {
        machine_.context_->processPendingChanges();
        machine_.report();
        ++machine_.hostActions_;
    }
    ~HostAction() {
        machine_.context_->processPendingChanges();
        machine_.report();
        --machine_.hostActions_;
    }

private:
    Machine& machine_;
};
