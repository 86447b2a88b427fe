// Import: what a downloaded file, or a deletion, does to the records of the host.
//
// Started by a finished download or by the delta loop at a deletion; ends with the entry finished, the cache
// context saved and, after a download, the delta loop run again.
//
// Invariants:
// - Records change in the sync support context only; they reach the main context when the batch ends. A
//   received deletion of a record that the host has not saved yet, so that no other context can see that, is
//   applied at once, whatever the batch has received of it before.
// - Whatever a file holds or is called, its entry is finished. One that cannot be read or placed here keeps
//   its entry until it can: it is tried again every 10 seconds.
#include "sync/QWDropboxSyncCoreData.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "platform/text/QWText.h"
#include "sync/QWRecordVersions_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/QWSyncLog_p.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryImporter.h"
#include "sync/records/QWSyncRecordFile_p.h"
#include "sync/records/QWTravellingForm.h"

namespace {

bool isSynced(const QWEntityDescription& entity) {
    const QWRef<QWManagedObject> sample(entity.makeRecord());
    return dynamic_cast<const QWManagedObjectWithSyncSupport*>(sample.data());
}

QString folderOf(const QString& path) {
    return path.section(QLatin1Char('/'), 0, -2);
}

// A record that this batch has made may have several files in it: its own, and the copies of a conflict. The
// importer takes any of them, since the record was never saved. It has a date as soon as one was applied, and
// the later one wins.
bool isOvertakenInBatch(const QWManagedObjectWithSyncSupport& object, const QVariantMap& record) {
    const QDateTime present = object.dateModified();
    const QDateTime received = qw::sync::dateOfRecord(record);
    return present.isValid() && !qw::sync::receivedVersionWins(received, present);
}

} // namespace

void QWDropboxSyncCoreData::restClientLoadedFile(DBRestClient&, const QString& localPath, const QString&,
                                                 const DBMetadata& metadata) {
    if (qw::sync::isPreferencesFile(metadata.path)) {
        finishDownloadOfSyncedPreferences(metadata);
        return;
    }
    const bool isRecord = qw::sync::isRecordFile(qw::text::lowercase(localPath));
    if (!(isRecord ? importRecord(localPath, metadata) : importImage(localPath, metadata))) {
        repeatImportOfFile(localPath, metadata, isRecord);
        return;
    }
    deleteDeltaEntryForDownloadedFileNamed(metadata.filename());
    saveCacheContext();
    beginProcessOfNextDeltaEntryWaiting();
}

// This machine's trouble, such as a full disk, is waited out. A batch that was given
// up meanwhile comes again.
void QWDropboxSyncCoreData::repeatImportOfFile(const QString& localPath, const DBMetadata& metadata,
                                               bool isRecord) {
    const auto entry = deltaEntryForFileNamed(metadata.filename());
    scheduleTimer(QWDBTimeScheduleErrorRetryInterval, [=, this] {
        if (!entry || deltaEntryForFileNamed(metadata.filename()) != entry)
            return;
        if (isRecord || !environment().files().exists(localPath))
            dropboxRestClient_->loadFile(metadata.path, localPath);
        else
            restClientLoadedFile(*dropboxRestClient_, localPath, {}, metadata);
    });
}

// Records ---------------------------------------------------------------------------------------------------

bool QWDropboxSyncCoreData::importRecord(const QString& localPath, const DBMetadata& metadata) {
    QWError error;
    const auto bytes = environment().files().read(localPath, &error);
    if (!bytes) {
        qCWarning(qwSyncLog).noquote() << "the download cannot be read:" << localPath << error.message;
        return false;
    }
    const bool isConflictedCopy = isConflictedCopyInProcess(metadata);
    if (isConflictedCopy && rowOfDeletedObject(metadata.filename())) {
        environment().files().remove(localPath);
        dropboxRestClient_->deletePath(qw::sync::remotePath(metadata.filename()));
        return true;
    }
    const auto object = objectReferencedWithLowerCaseFileName(metadata.filename(), true);
    if (!object) {
        ignoreFile(QStringLiteral("it belongs to no entity"), metadata, localPath);
        return true;
    }
    const QVariantMap record = qw::sync::recordFromFileBytes(*bytes).value_or(QVariantMap());

    if (syncDictionaryImporter().needsToUpdateObject(*object, record) && !isOvertakenInBatch(*object, record))
        applyRecord(*object, record, metadata);
    environment().files().remove(localPath);
    if (isConflictedCopy)
        finishConflictedCopy(*object, metadata);
    else
        recordFileMetadata(metadata);
    return true;
}

void QWDropboxSyncCoreData::applyRecord(QWManagedObjectWithSyncSupport& object, const QVariantMap& record,
                                        const DBMetadata& metadata) {
    noteBeforeImport(metadata.filename(), object);
    syncDictionaryImporter().updateObject(object, record, metadata.filename());
    if (isConflictedCopyInProcess(metadata))
        queueForUpload(object);
    else if (const auto row = objectWaitingSyncForObject(object, false))
        deleteObjectWaitingSync(*row);
}

void QWDropboxSyncCoreData::applyReceivedRecord(QWManagedObjectWithSyncSupport& object,
                                                const QVariantMap& record, const DBMetadata& metadata) {
    objectsWinningTies_.insert(QWSyncedIdentity(object));
    applyRecord(object, record, metadata);
}

bool QWDropboxSyncCoreData::isConflictedCopyInProcess(const DBMetadata& metadata) const {
    const auto entry = deltaEntryForFileNamed(metadata.filename());
    return entry && entry->specialAction != SpecialActionNone;
}

// What was merged must be saved before the copy goes. Its revision is known to the client whose
// upload the cloud made it of.
void QWDropboxSyncCoreData::finishConflictedCopy(QWManagedObjectWithSyncSupport& object,
                                                 const DBMetadata& metadata) {
    const QString path = qw::sync::remotePath(metadata.filename());
    fileMetadataManager().deleteDropboxFileMetadataWithName(metadata.filename());
    if (object.hasChanges())
        conflictedCopiesMerged_.append(path);
    else
        dropboxRestClient_->deletePath(path);
}

void QWDropboxSyncCoreData::finishConflictedCopiesOfBatch(bool isSaved) {
    const QStringList paths = std::exchange(conflictedCopiesMerged_, {});
    if (!isSaved)
        return;
    for (const QString& path : paths)
        dropboxRestClient_->deletePath(path);
}

// An object that only the running batch has is queued when it has been saved: until
// then its row would seem to stand for nothing.
void QWDropboxSyncCoreData::queueForUpload(const QWManagedObjectWithSyncSupport& object) {
    if (object.isInserted() && object.managedObjectContext() == syncSupportManagedObjectCopy_.get())
        objectsToSendAfterBatch_.insert(QWSyncedIdentity(object));
    else if (const auto row = objectWaitingSyncForObject(object, true))
        row->setAction(QWDropboxSyncActionInsertOrUpdate);
}

// The waiting deletion of the object that a file belongs to, when the object has gone.
// A copy of a conflict, or an image, does not bring it back.
QWRef<ObjectWaitingSync> QWDropboxSyncCoreData::rowOfDeletedObject(const QString& fileName) {
    const auto named = qw::sync::objectNamedByFile(fileName);
    const auto row = named && !objectReferencedWithLowerCaseFileName(fileName, false)
                         ? QWFindObjectWaitingSync(*dropboxCacheManagedObjectContext(), named->uuid)
                         : QWRef<ObjectWaitingSync>();
    return row && row->action() == QWDropboxSyncActionDelete ? row : QWRef<ObjectWaitingSync>();
}

// Images ----------------------------------------------------------------------------------------------------

bool QWDropboxSyncCoreData::importImage(const QString& localPath, const DBMetadata& metadata) {
    const auto known = objectReferencedWithLowerCaseFileName(metadata.filename(), false);
    if (const auto row = rowOfDeletedObject(metadata.filename())) {
        row->setObjectCouldHaveAnImage(true);
        environment().files().remove(localPath);
        return true;
    }
    const auto object = known ? known : objectReferencedWithLowerCaseFileName(metadata.filename(), true);
    if (!object) {
        ignoreFile(QStringLiteral("it belongs to no entity"), metadata, localPath);
        return true;
    }
    const QUrl imageURL = object->imageURL();
    if (imageURL.isEmpty()) {
        if (!known)
            syncSupportManagedObjectContextCopy()->deleteObject(*object);
        ignoreFile(QStringLiteral("its object has no image"), metadata, localPath);
        return true;
    }
    // The record's file counts as known from now on, so that its deletion, should it
    // never arrive, is not passed over.
    if (!known)
        fileMetadataManager().fileMetadataForFileName(
            fileNameWithUUID(object->uuid(), object->entity().name(), false), true);
    if (object->isInserted() || objectsReceived_.contains(QWSyncedIdentity(*object)))
        noteBeforeImport(metadata.filename(), *object);
    auto& files = environment().files();
    const QString imagePath = imageURL.toLocalFile();
    if (files.exists(imagePath)
        && !fileMetadataManager().isOudatedCoverImageAtURL(imageURL, metadata.lastModifiedDate)) {
        files.remove(localPath);
    } else {
        QWError error;
        // Its revision will be known for good, so its bytes must be there for good before.
        if (!files.makeFolder(folderOf(imagePath), &error) || !files.sync(localPath, &error)
            || !files.move(localPath, imagePath, &error)) {
            qCWarning(qwSyncLog).noquote() << "the image cannot be placed:" << imagePath << error.message;
            return false;
        }
        // Else an earlier image might stand there after a loss of power, and be taken for one that was set here since.
        if (!files.syncFolder(folderOf(imagePath), &error))
            qCWarning(qwSyncLog).noquote() << "the image may not last:" << imagePath << error.message;
    }
    recordFileMetadata(metadata, imagePath);
    return true;
}

// Deletions -------------------------------------------------------------------------------------------------

void QWDropboxSyncCoreData::processDeleteFromDeltaEntry(const DBDeltaEntry& entry) {
    const QString name = qw::text::deletingPathExtension(qw::text::lastPathComponent(entry.lowercasePath));
    if (const auto object = objectReferencedWithLowerCaseFileName(name, false)) {
        noteBeforeImport(qw::text::lastPathComponent(entry.lowercasePath), *object);
        deleteImageOfObject(*object);
        syncSupportManagedObjectContextCopy()->deleteObject(*object);
    }
    if (const auto unsaved = objectReferencedByFile(name, *mainManagedObjectContext_, false);
        unsaved && unsaved->isInserted()) {
        const auto deleted = qw::sync::deletedTogether({unsaved});
        for (const auto& record : deleted)
            if (auto* version = dynamic_cast<QWManagedObjectWithSyncSupport*>(record.data())) {
                Q_EMIT versionGivesWay(*version, nullptr);
                deleteImageOfObject(*version, version == unsaved.data());
            }
        changeMainContextUnseen([&] { mainManagedObjectContext_->deleteObject(*unsaved); });
        noteDeletions(deleted);
    }
    fileMetadataManager().deleteDropboxFileMetadataWithName(name);
    saveCacheContext();
}

void QWDropboxSyncCoreData::deleteImageOfObject(const QWManagedObjectWithSyncSupport& object, bool mayGo) {
    const QString imagePath = object.imageURL().toLocalFile();
    if (imagePath.isEmpty() || !environment().files().exists(imagePath))
        return;
    Q_EMIT imageGivesWay(object, &mayGo);
    if (mayGo)
        environment().files().remove(imagePath);
}

// Objects ---------------------------------------------------------------------------------------------------

QWRef<QWManagedObjectWithSyncSupport>
QWDropboxSyncCoreData::objectReferencedWithLowerCaseFileName(const QString& fileName,
                                                             bool createIfNotExisting) {
    return objectReferencedByFile(fileName, *syncSupportManagedObjectContextCopy(), createIfNotExisting);
}

QWRef<QWManagedObjectWithSyncSupport>
QWDropboxSyncCoreData::objectReferencedByFile(const QString& fileName, QWManagedObjectContext& context,
                                              bool createIfNotExisting) {
    const auto named = qw::sync::objectNamedByFile(fileName);
    const auto* entity = named ? context.model().entity(named->entityName) : nullptr;
    if (!entity || !isSynced(*entity))
        return {};
    return QWManagedObjectWithSyncSupport::fetchObjectWithUUID(named->uuid, named->entityName, context,
                                                               createIfNotExisting);
}

// Other programs' files and damaged names: noted once, so that they are not downloaded again.
void QWDropboxSyncCoreData::ignoreFile(const QString& reason, const DBMetadata& metadata,
                                       const QString& localPath) {
    qCWarning(qwSyncLog).noquote() << "ignored, because" << reason + QLatin1Char(':') << metadata.path;
    if (!localPath.isEmpty())
        environment().files().remove(localPath);
    recordFileMetadata(metadata);
}
