#pragma once

#include "sync/QWDropboxSyncCoreData.h"
#include "sync/cache/QWRememberedFiles.h"
#include "sync/supervisor/QWVersionArchive.h"

#include <QObject>

// Sees to it that each version that gives way is in the archive before: hears from the engine which ones the
// running batch replaces, and from the keepers of records and of images which received ones
// are declined.
class QWLosingVersions final : public QObject {
public:
    QWLosingVersions(QWDropboxSyncCoreData& engine, QWVersionArchive& archive);

    // Before the engine imports a received record that changes nothing here, and saves the cache store. `present`
    // is what it is behind of; null where that is a deletion.
    void addDeclined(const QString& fileName, const QVariantMap& received,
                     const QWManagedObjectWithSyncSupport* present);
    // What the running batch has received of the record before, as its file and as copies of a conflict; null when
    // nothing. `present` is the version here, of whatever context.
    QWRef<QWManagedObjectWithSyncSupport> versionOfBatch(const QString& fileName,
                                                         QWManagedObjectWithSyncSupport& present);
    // Such a version makes way for `received`.
    void addOvertaken(QWManagedObjectWithSyncSupport& version, const QVariantMap& received);
    // Before an image is replaced or declined: it is on the disk then. False, with an error, when it cannot be written
    // for now.
    bool addImage(QWArchivedVersion image, QWError* error);

    // The batch is saved: what is beyond the bounds of the archive goes, and what could not be put back is tried again.
    void finishBatch();
    // The batch was given up, here or by the end of a process, and may come again as another one: what it has taken of
    // images is put back.
    void giveBatchUp();

private:
    void versionGivesWay(QWManagedObjectWithSyncSupport& version, QWManagedObjectWithSyncSupport* winner);
    bool addDeletedImage(const QWManagedObjectWithSyncSupport& object);
    bool takeImage(QWArchivedVersion image);
    void hostDidSave(const QWDidSaveNotice& notice);
    QString noteOf(const QWManagedObjectWithSyncSupport& object) const;
    QWRef<QWManagedObjectWithSyncSupport> ownerOf(const QString& note);
    bool putBackImageOf(const QWManagedObjectWithSyncSupport& object);
    void holdImagesTaken();
    bool save(); // false when the versions are in memory still

    QWEnvironment& environment() const { return engine_.mainManagedObjectContext()->environment(); }

    QWDropboxSyncCoreData& engine_;
    QWVersionArchive& archive_;
    // By a batch that is not saved, or that was given up and has not put them back: "A/K", of the record of file A that has the key K in the host's store. It may have made
    // way, in the same batch, for another one of that name.
    QWRememberedFiles imagesTaken_;
    // Of saved records that are deleted in the main context along with one that the host had not saved. A rollback brings
    // them back.
    QHash<QWManagedObjectID, QWArchivedVersion> imagesToTakeOnSave_;
    QWObservation hostSaveObservation_;
    int unsaved_ = 0; // added since the last save here
    bool isPruneDue_ = false;
};
