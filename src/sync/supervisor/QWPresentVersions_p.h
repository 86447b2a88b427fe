#pragma once

#include "sync/QWDropboxSyncCoreData.h"

// Which version of a record stands here, and who has it: asked by the name of one of its files in the cloud.
namespace qw::sync {

// Whether an entry tells of the deletion of a record's own file. That of a conflicted copy deletes no record.
bool isDeletionOfRecordFile(const DBDeltaEntry& entry);
// Whether the name is that of a file of some entity.
bool belongsToEntity(QWDropboxSyncCoreData& engine, const QString& fileName);
// The host's, saved or not; null when it has none.
QWRef<QWManagedObjectWithSyncSupport> hostsObject(QWDropboxSyncCoreData& engine, const QString& fileName);
// The one that wins of what the host and the running batch have. What the host has saved and the batch has not,
// the batch has deleted.
QWRef<QWManagedObjectWithSyncSupport> presentVersion(QWDropboxSyncCoreData& engine, const QString& fileName);
// SHA-256 of the form in which the object would travel now; nothing when it would not be readable on arrival.
std::optional<QByteArray> travellingHash(QWDropboxSyncCoreData& engine,
                                         QWManagedObjectWithSyncSupport& object);
// The row of a deletion that is still to be sent; null when there is none.
QWRef<ObjectWaitingSync> waitingDeletion(QWDropboxSyncCoreData& engine, const QString& fileName);

} // namespace qw::sync
