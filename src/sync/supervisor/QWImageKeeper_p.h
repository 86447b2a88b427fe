#pragma once

#include "dropbox/DBDeltaEntry.h"
#include "sync/QWDropboxSyncCoreData.h"
#include "sync/cache/QWRememberedFiles.h"
#include "sync/supervisor/QWImportVerdict_p.h"

class QWLosingVersions;

// Keeps desktops from holding different images for good, and images from being lost. The engine takes a received one
// for newer by its date alone, and for the beginning of a record; this sees each of them before that, and queues the
// records whose images the cloud then lacks.
class QWImageKeeper {
public:
    QWImageKeeper(QWDropboxSyncCoreData& engine, QWLosingVersions& losingVersions);

    // Before the engine imports a downloaded image, of an entity that there is.
    QWImportVerdict prepareImport(const QString& localPath, const DBMetadata& metadata);
    // After the engine has imported or declined a file. Answers the path of a conflicted copy that is to be deleted in
    // the cloud, null for any other file.
    QString finishImport(const QString& localPath, const DBMetadata& metadata);
    // Of a file that the engine asks for: passes over an image whose record is not here, and answers true when it was one.
    bool passOverStray(const QString& fileName);
    // Whether a copy of a conflict, which the engine asks for, is of the image of a record that the batch deletes: the
    // engine would make that again, bare.
    bool isCopyOfDeleted(const QString& fileName);
    // A file that was asked for has gone.
    void noteNotFound(const QString& fileName);
    void noteGone(const QString& fileName);

    // Before the engine has a page: what it shall have of it. `isLast` says that no more follow.
    // `ownCopies` gets the names of images of this desktop that the cloud has made conflicted copies of.
    QList<DBDeltaEntryRef> preparePage(const QList<DBDeltaEntryRef>& page, bool isLast,
                                       QStringList& ownCopies);
    // Files that a listing from scratch does not hold: whether they were deleted one by one is not known
    // then.
    void noteMissing(const QStringList& fileNames);
    // The image of the object that a file belongs to may be newer here than the cloud's: the end of the batch tells.
    void checkLater(const QString& fileName);
    // Adds the image of the object that a file belongs to to the batch, if it is known.
    void askForKnown(const QString& fileName);
    // When the engine has become idle: if that is the end of a batch, queues the records whose images the cloud
    // lacks, those that were deleted there only when they have outlived two batches, and answers true.
    bool finishBatch();
    // Whether the batch has left images whose records may be deleted any moment: the next query tells.
    bool takeQueryDue() { return std::exchange(isQueryDue_, false); }
    // The batch was given up and comes again.
    void giveBatchUp();

    // After a change of the host's.
    void noteHostInsertions(const QWManagedObjectSet& inserted);
    // True when it has queued a record for its image.
    bool noteHostChange(const QWManagedObjectSet& updated);
    // Before the engine is told that a file was sent: an image that has gone here meanwhile is asked for by the next batch.
    void noteUpload(const QString& fileName);
    // Before the engine is told that an image was sent while another one was listed, which stands: it is sent again.
    void noteListed(const QString& fileName, const DBMetadata& listed);
    // Before the engine is told that a record was sent alone: whether its image should have been.
    bool noteBehind(const QString& fileName);

    QString nameOf(const QWManagedObjectWithSyncSupport& object) const;
    bool isConflicted(const QString& fileName) const;
    // Where the image belongs that a conflicted copy was made of.
    QString pathOf(const QString& copy) const;
    // `standing` is what stands there; nothing when nothing does.
    void queueConflicted(const QString& copy, const std::optional<DBMetadata>& standing);

private:
    using Object = QWRef<QWManagedObjectWithSyncSupport>;

    std::optional<QWImportVerdict> verdictOnUnreadable(const QString& path, const QString& localPath,
                                                       const DBMetadata& metadata);
    bool isUnreadable(const QString& fileName) const;
    QWImportVerdict decide(const QWManagedObjectWithSyncSupport& present, const QDateTime& date,
                           const QString& localPath, const DBMetadata& metadata);
    QString contentHash(const QString& path) const;
    bool catchUpDate(const QWManagedObjectWithSyncSupport& object, bool isTieBehind = false);
    bool isPending(const QWManagedObjectWithSyncSupport& object) const;
    QWFileManager& files() const { return engine_.mainManagedObjectContext()->environment().files(); }

    QWDropboxSyncCoreData& engine_;
    QWLosingVersions& losingVersions_;
    bool isListed_ = false; // all pages of the running batch have come
    // Files of objects whose image here may be newer than the cloud's.
    QWRememberedFiles filesToCheck_;
    QWRememberedFiles imagesDeleted_; // in the cloud
    QSet<QString> imagesMissed_;      // of those, the ones whose records have outlived a batch
    bool isQueryDue_ = false;
    QHash<QString, int> timesNotFound_;                  // in a row
    std::optional<QWRunLoop::Duration> unreadableSince_; // in this batch, an image here that is to make way
    QWRememberedFiles imagesAskedFor_; // by a batch that was not told of them; they have not arrived
};
