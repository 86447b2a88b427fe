// Upload: from the rows of the queue to the files of the sync folder.
//
// Started by change capture, by the end of a delta batch and by each completion; ends when no row waits. A
// row waits until the pool takes it, is in flight until each of its one or two requests was answered by a
// success (or the 404 of a deletion), and is then retired, or sent again when its object changed meanwhile. A
// failed request is repeated after 10 seconds, without limit and whatever the status.
//
// Invariants:
// - A row is in the store until the cloud holds what it stands for.
// - Of the rows of one object, of which there are two after an import has dropped
//   one in flight, one is in flight.
// - Rows are taken only in the states idle and uploading; at most five are in flight, but for a start that
//   finds five of them there: its limit is then 0, which is none.
// - The revision sent as the parent is the one known when the request is sent.
#include "sync/QWDropboxSyncCoreData.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "platform/text/QWText.h"
#include "sync/QWRequestFailure_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/QWSyncLog_p.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"
#include "sync/records/QWSyncRecordFile_p.h"

#include <algorithm>

using qw::sync::requestFailure;
using qw::sync::RequestFailure;

namespace {
// So many that asking the store costs a row next to nothing, and so few that none is kept long.
constexpr qint64 rowsReadAtOnce = 50;
} // namespace

// The pool --------------------------------------------------------------------------------------------------

bool QWDropboxSyncCoreData::canUploadAnotherObject() const {
    return objectsSyncing_.count() < QWDBMaximumNumberOfObjectsSyncing;
}

// `isSyncEnabled`, YES in every status, is asked on purpose: a rule of its own would count here.
void QWDropboxSyncCoreData::beginSyncOfObjectsWaitingSync() {
    if (status() != QWDropboxSyncStatusIdle && status() != QWDropboxSyncStatusUploading)
        return;
    if (!isSyncEnabled())
        return;
    for (bool isRoomLeft = true; isRoomLeft;) {
        const int generation = objectsSyncing_.generation();
        const auto rows = nextObjectsWaitingSync();
        if (rows.empty()) {
            setNumberOfItemsToProcess(objectsSyncing_.count());
            if (generation != objectsSyncing_.generation())
                return;
            if (objectsSyncing_.count() == 0)
                setStatus(QWDropboxSyncStatusIdle);
            if (recoverWhenQuiet())
                continue;
            return;
        }
        isRoomLeft = false;
        for (const auto& row : rows) {
            isRoomLeft |= !beginSyncOfObjectWaiting(row);
            if (generation != objectsSyncing_.generation())
                return;
        }
        setNumberOfItemsToProcess(numberOfObjectsWaitingSync());
        if (generation != objectsSyncing_.generation())
            return;
    }
}

std::vector<QWRef<ObjectWaitingSync>> QWDropboxSyncCoreData::nextObjectsWaitingSync() {
    const auto room =
        size_t(std::max<qint64>(0, QWDBMaximumNumberOfObjectsSyncing - objectsSyncing_.count()));
    if (auto rows = objectsSyncing_.takeNext(room); room > 0 && rows.size() == room)
        return rows;
    if (numberOfObjectsWaitingSync() == objectsSyncing_.countInStore())
        return {};
    QWFetchRequest request(QWDBEntityNameObjectWaitingSync);
    if (objectsSyncing_.count() > 0)
        request.predicate = QWPredicate::conjunction(
            {QWPredicate::selfIn(objectsSyncing_.objectIDs()).negated(),
             QWPredicate::comparison("objectUUID", QWPredicate::Operator::In, objectsSyncing_.awaitedUUIDs())
                 .negated()});
    request.limit = room > 0 ? rowsReadAtOnce : 0;
    const auto waiting = QWFetchCacheRecords<ObjectWaitingSync>(*dropboxCacheManagedObjectContext(), request);
    if (room == 0)
        return waiting;
    objectsSyncing_.setNext(waiting);
    return objectsSyncing_.takeNext(room);
}

// A host that is told of the status may deactivate sync: nothing is begun then, nor any other row.
bool QWDropboxSyncCoreData::beginSyncOfObjectWaiting(const QWRef<ObjectWaitingSync>& row) {
    const int generation = objectsSyncing_.generation();
    setStatus(QWDropboxSyncStatusUploading);
    if (generation != objectsSyncing_.generation())
        return true;
    const QString key = qw::text::uppercase(row->objectUUID());
    if (row->action() != QWDropboxSyncActionInsertOrUpdate) {
        objectsSyncing_.insert(key, row);
        deleteFilesOfObjectWaiting(*row);
        return true;
    }
    const auto object = objectReferencedByWaitingObject(*row);
    if (!object) {
        deleteObjectWaitingSync(*row);
        objectsSyncing_.remove(key);
        return false;
    }
    objectsSyncing_.insert(key, row);
    uploadFilesOfObjectWaiting(row, *object);
    return true;
}

void QWDropboxSyncCoreData::deleteFilesOfObjectWaiting(ObjectWaitingSync& row) {
    using qw::sync::remotePath;
    noteBeforeDeletion(row);
    dropboxRestClient_->deletePath(remotePath(fileNameForObjectWaitingToSync(row, false)));
    const bool mayHaveImage = row.objectCouldHaveAnImage().value_or(true);
    if (mayHaveImage)
        dropboxRestClient_->deletePath(remotePath(fileNameForObjectWaitingToSync(row, true)));
    row.setNumberOfFilesUploadingToDropbox(mayHaveImage ? 2 : 1);
}

void QWDropboxSyncCoreData::uploadFilesOfObjectWaiting(const QWRef<ObjectWaitingSync>& row,
                                                       QWManagedObjectWithSyncSupport& object) {
    quint64 files = 1;
    if (const QUrl imageURL = object.imageURL(); !imageURL.isEmpty()) {
        const QString imageName = fileNameForObjectWaitingToSync(*row, true);
        if (fileMetadataManager().needsToUploadOfImageAtURL(imageURL, imageName)) {
            noteBeforeUpload(imageName, object);
            uploadFileWithName(imageName, imageURL);
            ++files;
        }
    }
    row->setNumberOfFilesUploadingToDropbox(files);
    uploadRecordOfObjectWaiting(row, object);
}

// A record that cannot be staged is not sent, since an older version may stand
// there; it is tried again like a failed request.
void QWDropboxSyncCoreData::uploadRecordOfObjectWaiting(const QWRef<ObjectWaitingSync>& row,
                                                        QWManagedObjectWithSyncSupport& object) {
    noteBeforeUpload(fileNameForObjectWaitingToSync(*row, false), object);
    const QString stagingPath = localPath(qw::sync::stagingFileName(object.uuid()));
    const auto bytes =
        qw::sync::recordFileBytes(syncDictionaryExporter().dictionaryToInsertOrUpdateObjectToSync(object));
    QWError error;
    if (bytes && environment().files().writeInPlace(stagingPath, *bytes, &error)) {
        objectsSyncing_.noteSent(qw::text::uppercase(row->objectUUID()),
                                 QWRef<QWManagedObjectWithSyncSupport>(&object), *bytes);
        uploadFileWithName(fileNameForObjectWaitingToSync(*row, false), QUrl::fromLocalFile(stagingPath));
        return;
    }
    qCWarning(qwSyncLog).noquote() << "the record cannot be staged:" << stagingPath << error.message;
    scheduleTimer(QWDBTimeScheduleErrorRetryInterval, [this, row, generation = objectsSyncing_.generation()] {
        if (generation == objectsSyncing_.generation())
            uploadRecordAgain(row);
    });
}

void QWDropboxSyncCoreData::uploadRecordAgain(const QWRef<ObjectWaitingSync>& row) {
    if (objectsSyncing_.value(qw::text::uppercase(row->objectUUID())) != row)
        return;
    if (const auto object = objectReferencedByWaitingObject(*row))
        uploadRecordOfObjectWaiting(row, *object);
    else
        finishUploadOfObjectWaiting(row);
}

void QWDropboxSyncCoreData::uploadFileWithName(const QString& fileName, const QUrl& localURL) {
    if (qw::sync::isImageFile(fileName))
        imageDatesSent_.insert(localURL.toLocalFile(),
                               environment().files().modificationDate(localURL.toLocalFile()));
    const auto known = fileMetadataManager().fileMetadataForFileName(fileName, false);
    dropboxRestClient_->uploadFile(fileName, QWDBFileCacheDirectoryInDropboxFolder,
                                   known ? known->rev() : QString(), localURL.toLocalFile());
}

// Completions -----------------------------------------------------------------------------------------------

void QWDropboxSyncCoreData::restClientUploadedFile(DBRestClient&, const QString& destinationPath,
                                                   const QString& sourcePath, const DBMetadata& metadata) {
    if (qw::sync::isPreferencesFile(destinationPath)) {
        finishUploadOfSyncedPreferences(metadata);
        return;
    }
    const QString fileName = qw::text::lastPathComponent(destinationPath);
    const auto row = objectSyncingForFileWithName(fileName);
    const bool hasChanged = hasImageChangedSinceItWasSent(sourcePath);
    recordFileMetadata(metadata, hasChanged ? QString() : sourcePath);
    if (!existsObjectOfUpload(fileName, row))
        fileMetadataManager().deleteDropboxFileMetadataWithName(metadata.filename());
    if (hasChanged) {
        dateImageAfterItsRemoteCopy(sourcePath, metadata);
        if (row && row->action() == QWDropboxSyncActionInsertOrUpdate) {
            uploadFileWithName(fileNameForObjectWaitingToSync(*row, true), QUrl::fromLocalFile(sourcePath));
            return;
        }
    }
    if (qw::sync::isRecordFile(qw::text::lowercase(sourcePath))
        && sourcePath != syncedPreferencesLocalCacheURL().toLocalFile()
        && !qw::sync::isImageFile(qw::text::lowercase(destinationPath)))
        environment().files().remove(sourcePath);
    finishUploadOfObjectWaiting(row);
}

bool QWDropboxSyncCoreData::hasImageChangedSinceItWasSent(const QString& path) {
    const auto sent = imageDatesSent_.take(path);
    const auto present = sent ? environment().files().modificationDate(path) : std::nullopt;
    return present && *present != *sent;
}

// So that the change counts as one that the cloud lacks, also when this row is given up.
void QWDropboxSyncCoreData::dateImageAfterItsRemoteCopy(const QString& path, const DBMetadata& metadata) {
    auto& files = environment().files();
    const QDateTime remote = metadata.lastModifiedDate;
    if (remote.isValid() && files.modificationDate(path) <= remote)
        files.setModificationDate(path, remote.addSecs(1));
}

// An object that has gone meanwhile, or goes with the batch that has received its deletion, is made again by its
// file, if nobody deletes that: its revision must not be known.
bool QWDropboxSyncCoreData::existsObjectOfUpload(const QString& fileName,
                                                 const QWRef<ObjectWaitingSync>& row) {
    if (isDeletedByBatch(fileName))
        return false;
    const auto named = qw::sync::objectNamedByFile(fileName);
    if (named && objectsReceived_.contains({named->entityName, named->uuid}))
        return true;
    if (row) {
        const auto sent = objectsSyncing_.object(qw::text::uppercase(row->objectUUID()));
        const bool lives = sent && sent->managedObjectContext() && !sent->isDeleted();
        return lives || objectReferencedByWaitingObject(*row);
    }
    return !named || !mainManagedObjectContext_->model().entity(named->entityName)
           || QWManagedObjectWithSyncSupport::fetchObjectWithUUID(named->uuid, named->entityName,
                                                                  *mainManagedObjectContext_);
}

void QWDropboxSyncCoreData::finishUploadOfObjectWaiting(const QWRef<ObjectWaitingSync>& row) {
    if (!finishRequestOfRow(row))
        return;
    if (!row || !row->objectModifiedWhileUploading() || isReplaced(*row))
        removeFromSyncingAndDeleteFromContextObject(row);
    else if (beginSyncOfObjectWaiting(row))
        return;
    beginSyncOfObjectsWaitingSync();
}

// Dropped while it was in flight, and a later change of the object has made another
// row, which waits for this one.
bool QWDropboxSyncCoreData::isReplaced(const ObjectWaitingSync& row) {
    const QWFetchRequest request(
        QWDBEntityNameObjectWaitingSync,
        QWPredicate::comparison("objectUUID", QWPredicate::Operator::Equal, row.objectUUID()));
    const auto present = QWFetchCacheRecords<ObjectWaitingSync>(*dropboxCacheManagedObjectContext(), request);
    return !present.empty() && present.front().data() != &row;
}

void QWDropboxSyncCoreData::restClientUploadFileFailedWithError(DBRestClient&, const QWError& error) {
    if (requestFailure(error) == RequestFailure::TokenRefused) {
        tokenBecameInvalid();
        return;
    }
    const QString path = error.userInfo.value("destinationPath").toString();
    const QUrl localURL = QUrl::fromLocalFile(error.userInfo.value("sourcePath").toString());
    scheduleTimer(QWDBTimeScheduleErrorRetryInterval, [=, this, generation = objectsSyncing_.generation()] {
        if (qw::sync::isPreferencesFile(path))
            uploadSyncedPreferences();
        else
            uploadFileAgain(qw::text::lastPathComponent(path), localURL, generation);
    });
    qCWarning(qwSyncLog).noquote() << "restClient:uploadFileFailedWithError:" << error.message;
}

// A file that has gone can only fail again: an image without its file is not waited for any longer, a record
// is staged anew. After a deactivation the row's next start has seen to it.
void QWDropboxSyncCoreData::uploadFileAgain(const QString& fileName, const QUrl& localURL, int generation) {
    if (environment().files().exists(localURL.toLocalFile())) {
        uploadFileWithName(fileName, localURL);
        return;
    }
    const auto row = objectSyncingForFileWithName(fileName);
    if (!row || generation != objectsSyncing_.generation())
        return;
    if (qw::sync::isImageFile(fileName))
        finishUploadOfObjectWaiting(row);
    else
        uploadRecordAgain(row);
}

void QWDropboxSyncCoreData::restClientDeletedPath(DBRestClient&, const QString& path) {
    const QString fileName = qw::text::lastPathComponent(path);
    if (fileMetadataManager().isFileNameConflicted(fileName))
        return;
    fileMetadataManager().deleteDropboxFileMetadataWithName(fileName);
    const auto row = objectSyncingForFileWithName(fileName);
    if (!finishRequestOfRow(row))
        return;
    if (row && !row->managedObjectContext())
        sendObjectWhoseFilesAreGone(*row);
    else
        removeFromSyncingAndDeleteFromContextObject(row);
    beginSyncOfObjectsWaitingSync();
}

// An import has made the object again, and dropped the row, when the deletion was on
// its way: the cloud has lost what was imported. That the files are gone is saved together with what follows from it.
void QWDropboxSyncCoreData::sendObjectWhoseFilesAreGone(const ObjectWaitingSync& row) {
    objectsSyncing_.remove(row.objectUUID());
    const QWSyncedIdentity identity(row.objectEntityName(), row.objectUUID());
    if (const auto object = objectReferencedByWaitingObject(row))
        queueForUpload(*object);
    else if (objectsReceived_.contains(identity))
        objectsToSendAfterBatch_.insert(identity);
    saveCacheContext();
}

void QWDropboxSyncCoreData::restClientDeletePathFailedWithError(DBRestClient& client, const QWError& error) {
    const QString path = error.userInfo.value("path").toString();
    switch (requestFailure(error)) {
    case RequestFailure::TokenRefused:
        tokenBecameInvalid();
        return;
    case RequestFailure::FileGone:
        restClientDeletedPath(client, path);
        return;
    case RequestFailure::Transient:
        scheduleTimer(QWDBTimeScheduleErrorRetryInterval,
                      [path, client = dropboxRestClient_] { client->deletePath(path); });
        qCWarning(qwSyncLog).noquote()
            << "restClient:deletePathFailedWithError:" << qw::sync::errorDescription(error);
    }
}

bool QWDropboxSyncCoreData::finishRequestOfRow(const QWRef<ObjectWaitingSync>& row) {
    if (!row)
        return true;
    const quint64 left = std::max<quint64>(row->numberOfFilesUploadingToDropbox(), 1) - 1;
    row->setNumberOfFilesUploadingToDropbox(left);
    return left == 0;
}

void QWDropboxSyncCoreData::removeFromSyncingAndDeleteFromContextObject(const QWRef<ObjectWaitingSync>& row) {
    if (!row) {
        qCWarning(qwSyncLog, "Theorically impossible");
        return;
    }
    objectsSyncing_.remove(row->objectUUID());
    deleteObjectWaitingSync(*row);
    saveCacheContext();
}

// Names and objects -----------------------------------------------------------------------------------------

QString QWDropboxSyncCoreData::fileNameWithUUID(const QString& uuid, const QString& entityName,
                                                bool isImage) const {
    return qw::sync::fileName(uuid, entityName, isImage);
}

QString QWDropboxSyncCoreData::fileNameForObjectWaitingToSync(const ObjectWaitingSync& row,
                                                              bool isImage) const {
    return fileNameWithUUID(row.objectUUID(), row.objectEntityName(), isImage);
}

QWRef<QWManagedObjectWithSyncSupport>
QWDropboxSyncCoreData::objectReferencedByWaitingObject(const ObjectWaitingSync& row) {
    return QWManagedObjectWithSyncSupport::fetchObjectWithUUID(row.objectUUID(), row.objectEntityName(),
                                                               *mainManagedObjectContext_);
}

QWRef<ObjectWaitingSync> QWDropboxSyncCoreData::objectSyncingForFileWithName(const QString& fileName) const {
    return objectsSyncing_.value(uuidInFlight(fileName));
}

QByteArray QWDropboxSyncCoreData::recordSentInFileWithName(const QString& fileName) const {
    return objectsSyncing_.record(uuidInFlight(fileName));
}

QWRef<QWManagedObjectWithSyncSupport>
QWDropboxSyncCoreData::objectSentInFileWithName(const QString& fileName) const {
    return objectsSyncing_.object(uuidInFlight(fileName));
}

// A uuid with a full stop in it, which only a damaged record or another program's file has, is found whole: else
// its row would stay in flight for ever.
QString QWDropboxSyncCoreData::uuidInFlight(const QString& fileName) const {
    const auto named = qw::sync::objectNamedByFile(fileName);
    return named && objectsSyncing_.value(named->uuid) ? named->uuid : qw::sync::uuidNamedByFile(fileName);
}
