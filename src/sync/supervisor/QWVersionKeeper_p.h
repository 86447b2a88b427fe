#pragma once

#include "dropbox/DBDeltaEntry.h"
#include "sync/QWDropboxSyncCoreData.h"
#include "sync/cache/QWRememberedFiles.h"
#include "sync/supervisor/QWLosingVersions_p.h"

// Keeps desktops from holding different versions for good. The engine imports what is newer and leaves the
// rest as it is; this sees each file before that, and queues what the cloud then lacks.
class QWVersionKeeper {
public:
    QWVersionKeeper(QWDropboxSyncCoreData& engine, QWLosingVersions& losingVersions);

    struct Verdict {
        QString reason;          // null when the file will be taken over, else why nothing changes here
        bool isForEngine = true; // false: it is to be declined (QWDropboxSyncCoreData::declineFile)
    };
    // Before the engine imports a downloaded file.
    Verdict prepareImport(const QString& localPath, const DBMetadata& metadata);
    // After the engine has imported or declined it. Answers the path of a conflicted copy that is to be deleted in the
    // cloud, null for any other file.
    QString finishImport(const QString& localPath, const DBMetadata& metadata);
    // Whether the file that the engine asks for is not to be loaded: the engine is done with it then.
    bool passesOver(const QString& fileName);
    // Whether a copy of a conflict, which the engine asks for, is of the image of a record that the batch deletes: the
    // engine would make that again, bare.
    bool isCopyOfDeleted(const QString& fileName);
    // A file that was asked for has gone.
    void noteGone(const QString& fileName);
    // Before the engine is told that a file was sent, by the name that the cloud has given it.
    void noteUpload(const QString& fileName);
    // Before the engine has a page: what it shall have of it. `isLast` says that no more follow.
    // `ownCopies` gets the names of images of this desktop that the cloud has made conflicted copies of.
    QList<DBDeltaEntryRef> preparePage(const QList<DBDeltaEntryRef>& page, bool isLast,
                                       QStringList& ownCopies);
    // Files that a listing from scratch does not hold: whether they were deleted one by one is not known
    // then.
    void noteMissing(const QStringList& fileNames);
    // After a merge, with what it has deleted here.
    void noteDeletions(const QWManagedObjectSet& deleted);
    // After a change of the host's. True when it has queued a record for its image.
    bool noteHostChange(const QWManagedObjectSet& updated);
    bool isConflictedImage(const QString& fileName) const;
    // Where the image belongs that a conflicted copy was made of.
    QString pathOfImage(const QString& copy) const;
    // `standing` is what stands there; nothing when nothing does.
    void queueConflictedImage(const QString& copy, const std::optional<DBMetadata>& standing);
    // When the engine has become idle: if that is the end of a batch, queues the records whose images the cloud
    // lacks, and answers true.
    bool finishBatch();
    // Before the engine is told that a record was sent alone: whether its image should have been.
    bool noteImageBehind(const QString& fileName);
    // When an object's files have been sent: queues it again if `sent`, the record's bytes, is another version by
    // then (an earlier one, too, by a clock that is behind), or its image is behind. True when it did.
    bool finishUpload(const QString& fileName, const QByteArray& sent, bool isImageBehind);
    // The batch was given up and comes again.
    void giveBatchUp();

private:
    using Object = QWRef<QWManagedObjectWithSyncSupport>;
    enum class Order { Behind, Same, AheadInSecond, Ahead };

    QString prepareRecord(const QString& localPath, const DBMetadata& metadata);
    void discardBehind(QWManagedObjectWithSyncSupport& present, const QVariantMap& received,
                       const QString& fileName);
    void prepareNewRecord(const QString& fileName, bool isCopy);
    Verdict prepareImage(const DBMetadata& metadata);
    void queue(const QWManagedObjectWithSyncSupport& present);
    Object presentVersion(const QString& fileName);
    Order order(const QVariantMap& received, QWManagedObjectWithSyncSupport& present);
    Object hostsObject(const QString& fileName);
    void askForKnownImage(const QString& fileName);
    QWRef<ObjectWaitingSync> waitingDeletion(const QString& fileName);
    bool isDeletedUnsaved(const QWManagedObjectWithSyncSupport& present) const;
    bool catchUpImageDate(const QWManagedObjectWithSyncSupport& object, bool isTieBehind = false);
    bool isImagePending(const QWManagedObjectWithSyncSupport& object);
    QString imageName(const QWManagedObjectWithSyncSupport& object);
    QWFileManager& files() const { return engine_.mainManagedObjectContext()->environment().files(); }

    QWDropboxSyncCoreData& engine_;
    QWLosingVersions& losingVersions_;
    bool isListed_ = false; // all pages of the running batch have come
    // Files of objects whose image here may be newer than the cloud's.
    QWRememberedFiles filesToCheck_;
    QWRememberedFiles imagesDeleted_;  // in the cloud
    QWRememberedFiles imagesAskedFor_; // by a batch that was not told of them; they have not arrived
};
