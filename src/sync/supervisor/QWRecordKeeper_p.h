#pragma once

#include "sync/QWDropboxSyncCoreData.h"
#include "sync/cache/QWRememberedFiles.h"
#include "sync/supervisor/QWImportVerdict_p.h"

class QWImageKeeper;
class QWLosingVersions;

// Keeps desktops from holding different versions of a record for good. The engine imports what is newer and leaves the
// rest as it is; this sees each record before that, and queues what the cloud then lacks.
class QWRecordKeeper {
public:
    QWRecordKeeper(QWDropboxSyncCoreData& engine, QWImageKeeper& images, QWLosingVersions& losingVersions)
        : engine_(engine), images_(images), losingVersions_(losingVersions),
          filesBehind_(engine.dropboxCacheManagedObjectContext(), QStringLiteral("behind")),
          filesMadeAgain_(engine.dropboxCacheManagedObjectContext(), QStringLiteral("made again")),
          filesLacking_(engine.dropboxCacheManagedObjectContext(), QStringLiteral("lacking")),
          filesUnlinked_(engine.dropboxCacheManagedObjectContext(), QStringLiteral("unlinked")) {}

    // Queues what a process that died has noted and not queued.
    void recover();

    // Before the engine has a page of changes. `isDeletionDue` says that a deletion of that file by this desktop is to be
    // sent, or has no answer yet.
    void prepareEntry(const DBDeltaEntry& entry, bool isDeletionDue);
    // When all pages have come, before the engine works on them.
    void noteDeletionsListed();
    // Before the engine imports a downloaded record, of an entity that there is.
    QWImportVerdict prepareImport(const QString& localPath, const DBMetadata& metadata);
    // The path of a file whose deletion is to be asked for once more, on behalf of its row, which is in flight; null when
    // there is none.
    QString takeDeletionDue() { return std::exchange(deletionDue_, QString()); }
    // Before the engine is told that a file was sent, by the name that the cloud has given it.
    void noteUpload(const QString& fileName);
    // Likewise. Whether `sent`, the bytes of the object's record, is another version by now (an earlier one, too, by a
    // clock that is behind); that is noted, to be saved with the end of its row.
    bool noteBehind(const QString& fileName, const QByteArray& sent);
    // When an object's files have been sent: queues it again if it is behind. True when it did.
    bool finishUpload(const QString& fileName, bool isBehind);
    // Before the engine is told that a file was deleted in the cloud: a record that is here all the same, having been made
    // again, is noted, to be saved with the end of its row. After it was queued.
    void noteDeletion(const QString& fileName);
    void finishDeletion(const QString& fileName);
    // The host has made a record again, and its deletion waits or is out: if its file is known, the next that is heard of
    // that may be the end which it has come to.
    void noteMadeAgain(const QWManagedObjectWithSyncSupport& object);
    // Before the host's version gives way to a received deletion, its own or that of a record whose delete rules take
    // it along.
    void prepareDeletion(QWManagedObjectWithSyncSupport& version);
    // Before the batch is saved, and before the host saves, which answers true when it has queued a record.
    void prepareBatchSave();
    bool prepareHostsSave();
    // Around the notices of a merge: those of what a context of the host's own has saved tell of all its records.
    void prepareMerge(const QWDidSaveNotice& notice);
    void finishMerge() { recordsMerged_.clear(); }
    // After a merge, with what it has deleted here.
    void forgetRevisionsOf(const QWManagedObjectSet& deleted);
    // Files that a listing from scratch lacks, and that were sent while it was asked for: before it, and deleted since, or
    // after it. The next query tells.
    void noteMissing(const QStringList& fileNames);
    // The batch is saved. True when another query is to tell what the cloud lacks.
    bool finishBatch();

private:
    using Object = QWRef<QWManagedObjectWithSyncSupport>;
    enum class Order { Behind, Same, AheadInSecond, Ahead };

    bool discardBehind(QWManagedObjectWithSyncSupport& present, const QVariantMap& received,
                       const QString& fileName);
    static bool isReceived(const QWManagedObjectWithSyncSupport& batch);
    void prepareNewRecord(const QString& fileName, bool isCopy);
    void queue(const QWManagedObjectWithSyncSupport& present);
    void settleMembers(QVariantMap received, const DBMetadata& metadata, bool isToBeApplied);
    Object holderOf(const QVariant& member, const QWPropertyDescription& reference);
    void sendWhatRefersTo(const QWManagedObjectWithSyncSupport& version);
    void sendWhatRefersOneWay();
    void deleteWhatIsTakenAlong(QWManagedObjectWithSyncSupport& version);
    bool keepsReference(const QWManagedObjectWithSyncSupport& object, const QWPropertyDescription& reference);
    Order order(const QVariantMap& received, QWManagedObjectWithSyncSupport& present);
    bool deleteAgainIfInFlight(const DBMetadata& metadata);
    bool isBehindDeletion(const QVariantMap& received, const QString& fileName);
    bool isDeletedUnsaved(const QWManagedObjectWithSyncSupport& present) const;
    void forgetRevision(const QString& fileName);
    void noteReferencesToDeleted();
    void noteReferencesLost();
    void noteReferencesLost(const QWManagedObject& record, const QSet<QWManagedObjectID>& deleted);
    void sendWhatReferredTo(const QString& fileName);
    void forgetReferencesLost();
    QString fileNameOf(const QWManagedObjectWithSyncSupport& object) const; // in lower case
    QString fileReferredTo(const QVariant& value) const;
    QStringList filesReferredTo(const QVariantMap& record) const;
    QWFileManager& files() const { return engine_.mainManagedObjectContext()->environment().files(); }

    QWDropboxSyncCoreData& engine_;
    QWImageKeeper& images_;
    QWLosingVersions& losingVersions_;
    QWRememberedFiles filesBehind_;       // in the cloud, of rows that end
    QWRememberedFiles filesMadeAgain_;    // and neither sent nor listed since
    QWRememberedFiles filesLacking_;      // in the latest listing from scratch
    QWRememberedFiles filesUnlinked_;     // "A/B": with A, B has lost its reference to it, undated
    QSet<QString> filesMissed_;           // of these, those that no query since has told of
    QString deletionDue_;                 // of the record that is being imported
    QSet<QString> filesToSendOnSave_;     // of records that refer to what the host has deleted
    QWManagedObjectSet recordsMerged_;    // that are live for the time of a merge
    QSet<QString> deletionsListed_;       // the record files of the batch's, in lower case
    QSet<QWManagedObjectID> deletedHere_; // by the batch, in the host's context
    // Of the batch: the files of received records by those, in lower case, of the records that they refer to.
    QHash<QString, QSet<QString>> referringFiles_;
};
