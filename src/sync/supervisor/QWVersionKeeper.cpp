#include "sync/supervisor/QWVersionKeeper_p.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "dropbox/DBContentHash.h"
#include "platform/text/QWText.h"
#include "sync/QWRecordVersions_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryImporter.h"
#include "sync/records/QWSyncRecordFile_p.h"
#include "sync/records/QWTravellingForm.h"

namespace {

QDateTime dateOf(const QVariantMap& record) {
    return QWManagedObjectWithSyncSupport::dateModifiedFormatter()->dateFromString(
        record.value(QStringLiteral("dateModified")).toString());
}

} // namespace

QWVersionKeeper::QWVersionKeeper(QWDropboxSyncCoreData& engine, QWLosingVersions& losingVersions)
    : engine_(engine), losingVersions_(losingVersions),
      filesToCheck_(engine.dropboxCacheManagedObjectContext(), QStringLiteral("to check")),
      imagesDeleted_(engine.dropboxCacheManagedObjectContext(), QStringLiteral("deleted in the cloud")),
      imagesAskedFor_(engine.dropboxCacheManagedObjectContext(), QStringLiteral("asked for")) {}

QWVersionKeeper::Verdict QWVersionKeeper::prepareImport(const QString& localPath,
                                                        const DBMetadata& metadata) {
    const auto named = qw::sync::objectNamedByFile(metadata.filename());
    if (!named || !engine_.mainManagedObjectContext()->model().entity(named->entityName))
        return {QStringLiteral("it belongs to no entity")};
    return qw::text::pathExtension(localPath) == QWDBFileNameDataExtension
               ? Verdict{prepareRecord(localPath, metadata)}
               : prepareImage(metadata);
}

// Records ---------------------------------------------------------------------------------------------------

// A version that is behind the one here would otherwise stay in the cloud, and on other desktops, for good. A
// conflicted copy that is behind belongs to another desktop, which has seen to its own; but of this desktop's
// own upload it is the only place in the cloud, and the engine removes it.
QString QWVersionKeeper::prepareRecord(const QString& localPath, const DBMetadata& metadata) {
    const auto bytes = files().read(localPath);
    if (!bytes)
        return QStringLiteral("it cannot be read");
    const auto received = qw::sync::recordFromFileBytes(*bytes);
    if (!received) {
        const auto dated = presentVersion(metadata.filename());
        return dated && dated->dateModified().isValid() ? QStringLiteral("it holds no record") : QString();
    }
    auto& metadataManager = engine_.fileMetadataManager();
    const bool isCopy = metadataManager.isFileNameConflicted(qw::text::lowercase(metadata.filename()));
    const auto present = presentVersion(metadata.filename());
    if (!present || !present->dateModified().isValid()) {
        if (!present && isCopy && waitingDeletion(metadata.filename()))
            losingVersions_.addDeclined(metadata.filename(), *received, nullptr);
        prepareNewRecord(metadata.filename(), isCopy);
        return {};
    }
    if (const auto earlier = losingVersions_.versionOfBatch(metadata.filename(), *present);
        earlier && order(*received, *earlier) > Order::Same)
        losingVersions_.addOvertaken(*earlier, *received);
    const bool isOwnCopy = isCopy && metadataManager.fileMetadataForFileName(metadata.filename(), false);
    const Order place = order(*received, *present);
    if (place == Order::AheadInSecond)
        engine_.applyReceivedRecord(*engine_.objectReferencedWithLowerCaseFileName(metadata.filename(), true),
                                    *received, metadata);
    if (place == Order::AheadInSecond || place == Order::Ahead) {
        if (files().exists(present->imageURL().toLocalFile())
            || metadataManager.fileMetadataForFileName(imageName(*present), false))
            filesToCheck_.insert(metadata.filename());
        return {};
    }
    const bool isDeleted = isDeletedUnsaved(*present);
    if (place == Order::Behind)
        losingVersions_.addDeclined(metadata.filename(), *received, isDeleted ? nullptr : present.data());
    if (!isCopy && isDeleted) {
        engine_.insertInSyncQueueManagedObject(*present, QWDropboxSyncActionDelete);
        engine_.saveCacheContext();
        return QStringLiteral("the record here was deleted");
    }
    if (place == Order::Same)
        discardBehind(*present, *received, metadata.filename());
    // A process that had merged the copy, and saved it, may have died before it was sent in its own file.
    const bool isMerged = isCopy && place == Order::Same;
    if (isOwnCopy || isMerged || (!isCopy && place == Order::Behind))
        queue(*present);
    return place == Order::Same ? QStringLiteral("the record here is the same")
                                : QStringLiteral("the record here is newer");
}

// The host's unsaved version may be behind the saved one, by a clock that is. Where that has come with the running batch,
// the merge sees to it.
void QWVersionKeeper::discardBehind(QWManagedObjectWithSyncSupport& present, const QVariantMap& received,
                                    const QString& fileName) {
    const auto host = hostsObject(fileName);
    if (present.hasChanges() || !host || !host->hasChanges() || host->isInserted() || host->isDeleted())
        return;
    if (const Order place = order(received, *host); place <= Order::Same)
        return;
    engine_.discardUnsavedVersion(*host, present);
    if (files().exists(host->imageURL().toLocalFile()))
        filesToCheck_.insert(fileName);
}

// It has not come before, though another record's reference may have made it, without a date.
// A file may stand where its image belongs: a version of the record that died unsaved has left it. (The
// engine would make the object in its turn.)
void QWVersionKeeper::prepareNewRecord(const QString& fileName, bool isCopy) {
    const auto object = isCopy ? Object() : engine_.objectReferencedWithLowerCaseFileName(fileName, true);
    const QString image = object ? object->imageURL().toLocalFile() : QString();
    if (isCopy ? !waitingDeletion(fileName) : !image.isEmpty())
        askForKnownImage(fileName);
    if (!image.isEmpty() && files().exists(image))
        filesToCheck_.insert(fileName);
}

// Its deletion may have been sent already, while the host's store still has it: another desktop has sent the
// record since, and the host's save would delete it here alone.
bool QWVersionKeeper::isDeletedUnsaved(const QWManagedObjectWithSyncSupport& present) const {
    const auto host = engine_.mainManagedObjectContext()->registeredObject(present.objectID());
    return host && host->isDeleted();
}

// A deletion that waits, of an object that only the host's store still has, stands.
void QWVersionKeeper::queue(const QWManagedObjectWithSyncSupport& present) {
    const auto row = engine_.objectWaitingSyncForObject(present, false);
    if (row && row->action() == QWDropboxSyncActionDelete)
        return;
    engine_.queueForUpload(present);
    engine_.saveCacheContext();
}

// The later one of what the host and the running batch have. What the host has saved and the batch has not,
// the batch has deleted.
QWVersionKeeper::Object QWVersionKeeper::presentVersion(const QString& fileName) {
    const auto batch = engine_.objectReferencedWithLowerCaseFileName(fileName, false);
    if (!batch && !engine_.mainManagedObjectContext()->hasChanges())
        return {};
    const auto host = hostsObject(fileName);
    if (host && !batch)
        return host->isInserted() ? host : Object();
    if (host && batch)
        return qw::sync::receivedVersionWins(batch->dateModified(), host->dateModified()) ? batch : host;
    return batch;
}

// By the date as it travels and, in one second, by the form that travels.
QWVersionKeeper::Order QWVersionKeeper::order(const QVariantMap& received,
                                              QWManagedObjectWithSyncSupport& present) {
    const QDateTime receivedDate = dateOf(received);
    const QDateTime presentDate = present.dateModified();
    if (!presentDate.isValid())
        return Order::Ahead;
    if (!receivedDate.isValid())
        return Order::Behind;
    const qint64 difference = qw::sync::wholeSeconds(receivedDate) - qw::sync::wholeSeconds(presentDate);
    if (difference != 0)
        return difference < 0 ? Order::Behind : Order::Ahead;
    const auto sent = qw::sync::recordOnArrival(
        engine_.syncDictionaryExporter().dictionaryToInsertOrUpdateObjectToSync(present));
    const auto presentHash = sent ? qw::sync::travellingHash(*sent, present) : std::nullopt;
    const auto receivedHash = qw::sync::travellingHash(received, present);
    if (presentHash == receivedHash)
        return Order::Same;
    return receivedHash < presentHash ? Order::Behind : Order::AheadInSecond;
}

// Another desktop merges the copy that this upload became into the record's file, and somebody may delete
// that before it is seen here: its deletion must not be passed over as that of a file that was never known.
void QWVersionKeeper::noteUpload(const QString& fileName) {
    const auto named = qw::sync::objectNamedByFile(fileName);
    if (named && qw::text::pathExtension(fileName) == QWDBFileNameDataExtension
        && engine_.fileMetadataManager().isFileNameConflicted(qw::text::lowercase(fileName)))
        engine_.fileMetadataManager().fileMetadataForFileName(
            engine_.fileNameWithUUID(named->uuid, named->entityName, false), true);
}

QWRef<ObjectWaitingSync> QWVersionKeeper::waitingDeletion(const QString& fileName) {
    const auto row = QWFindObjectWaitingSync(*engine_.dropboxCacheManagedObjectContext(),
                                             qw::sync::uuidNamedByFile(fileName));
    return row && row->action() == QWDropboxSyncActionDelete ? row : QWRef<ObjectWaitingSync>();
}

QWVersionKeeper::Object QWVersionKeeper::hostsObject(const QString& fileName) {
    return engine_.objectReferencedByFile(fileName, *engine_.mainManagedObjectContext(), false);
}

// Images ----------------------------------------------------------------------------------------------------

// The engine keeps a local image that is not older than the cloud's, and would give it the cloud's date. Where
// the dates are equal and the images are not, the one that has not changed here since it was sent or received
// makes way; else the greater content hash decides, on every desktop alike.
QWVersionKeeper::Verdict QWVersionKeeper::prepareImage(const DBMetadata& metadata) {
    const auto present = presentVersion(metadata.filename());
    const QString path = present ? present->imageURL().toLocalFile() : QString();
    if (present && path.isEmpty())
        return {QStringLiteral("its object has no image")};
    const auto date = present ? files().modificationDate(path) : std::nullopt;
    if (date || isConflictedImage(metadata.filename()))
        filesToCheck_.insert(metadata.filename());
    if (!date || *date < metadata.lastModifiedDate)
        return {};
    if (*date == metadata.lastModifiedDate) {
        const QString hash = dropboxContentHash(files().read(path).value_or(QByteArray()));
        if (metadata.hash.isEmpty() || hash == metadata.hash)
            return {QStringLiteral("the image here is the same")};
        const auto known = engine_.fileMetadataManager().fileMetadataForFileName(metadata.filename(), false);
        const bool hasChangedHere = !known || known->lastModifiedDate() != *date;
        if (!hasChangedHere || hash < metadata.hash) {
            files().remove(path);
            return {};
        }
        files().setModificationDate(path, date->addSecs(1));
    }
    return {QStringLiteral("the image here is newer"), false};
}

// The image of a record that is not here may be all that a deletion has left, or come before its record. The
// engine would make an empty record of it, and only on the desktops that have not sent it.
bool QWVersionKeeper::passesOver(const QString& fileName) {
    const auto named = qw::sync::objectNamedByFile(fileName);
    if (!named || qw::text::pathExtension(fileName) != QWDBFileNameImageExtension
        || isConflictedImage(fileName)
        || !engine_.mainManagedObjectContext()->model().entity(named->entityName) || presentVersion(fileName))
        return false;
    if (const auto row = waitingDeletion(fileName))
        row->setObjectCouldHaveAnImage(true);
    imagesAskedFor_.erase(fileName);
    engine_.passOverFile(fileName);
    return true;
}

bool QWVersionKeeper::isCopyOfDeleted(const QString& fileName) {
    return isConflictedImage(fileName) && hostsObject(fileName) && !presentVersion(fileName);
}

// It is not asked for again. An image that the cloud has announced, its next listing settles.
void QWVersionKeeper::noteGone(const QString& fileName) {
    if (!imagesAskedFor_.erase(fileName))
        return;
    engine_.fileMetadataManager().deleteDropboxFileMetadataWithName(fileName);
    engine_.saveCacheContext();
}

// A conflicted copy of an image would make a deleted record again, bare. Where the record lives, or comes in
// the same page, the copy is imported like any image, but for one of this desktop's own image.
QList<DBDeltaEntryRef> QWVersionKeeper::preparePage(const QList<DBDeltaEntryRef>& page, bool isLast,
                                                    QStringList& ownCopies) {
    isListed_ = isLast;
    if (isLast)
        for (const QString& name : imagesAskedFor_.names())
            askForKnownImage(name);
    std::set<QString> uuidsOfRecords;
    for (const auto& entry : page)
        if (entry->metadata && qw::text::pathExtension(entry->lowercasePath) == QWDBFileNameDataExtension)
            uuidsOfRecords.insert(qw::sync::uuidNamedByFile(entry->metadata->filename()));
    QList<DBDeltaEntryRef> kept;
    for (const auto& entry : page) {
        const QString name = qw::text::lastPathComponent(entry->lowercasePath);
        if (qw::text::pathExtension(name) != QWDBFileNameImageExtension) {
            kept.append(entry);
        } else if (isConflictedImage(name)) {
            if (entry->metadata && engine_.fileMetadataManager().fileMetadataForFileName(name, false))
                ownCopies.append(entry->metadata->filename());
            else if (hostsObject(name) || uuidsOfRecords.count(qw::sync::uuidNamedByFile(name)) > 0)
                kept.append(entry);
        } else {
            kept.append(entry);
            if (entry->metadata)
                imagesDeleted_.erase(name);
            else
                imagesDeleted_.insert(name);
        }
    }
    return kept;
}

void QWVersionKeeper::noteMissing(const QStringList& fileNames) {
    for (const QString& name : fileNames)
        if (qw::text::pathExtension(name) == QWDBFileNameImageExtension)
            imagesDeleted_.insert(name);
}

bool QWVersionKeeper::isConflictedImage(const QString& fileName) const {
    const QString name = qw::text::lowercase(fileName);
    return qw::text::pathExtension(name) == QWDBFileNameImageExtension
           && engine_.fileMetadataManager().isFileNameConflicted(name);
}

QString QWVersionKeeper::pathOfImage(const QString& copy) const {
    const auto named = qw::sync::objectNamedByFile(copy);
    return qw::sync::remotePath(engine_.fileNameWithUUID(named->uuid, named->entityName, true));
}

void QWVersionKeeper::queueConflictedImage(const QString& copy, const std::optional<DBMetadata>& standing) {
    auto& known = engine_.fileMetadataManager();
    known.deleteDropboxFileMetadataWithName(copy);
    if (const auto object = hostsObject(copy)) {
        const QString path = object->imageURL().toLocalFile();
        if (standing) {
            const auto date = files().modificationDate(path);
            if (date && *date <= standing->lastModifiedDate)
                files().setModificationDate(path, standing->lastModifiedDate.addSecs(1));
            known.updateFileMetadataEquivalentToDropboxFileMetadata(*standing);
        } else {
            known.deleteDropboxFileMetadataWithName(imageName(*object));
        }
        engine_.insertInSyncQueueManagedObject(*object, QWDropboxSyncActionInsertOrUpdate);
    }
    engine_.saveCacheContext();
}

QString QWVersionKeeper::finishImport(const QString& localPath, const DBMetadata& metadata) {
    if (!files().exists(localPath)) // else it could not be placed, and is tried again
        imagesAskedFor_.erase(metadata.filename());
    if (!isConflictedImage(metadata.filename()))
        return {};
    engine_.fileMetadataManager().deleteDropboxFileMetadataWithName(metadata.filename());
    engine_.saveCacheContext();
    return metadata.path;
}

// An image that was deleted goes with its record. Where that lives (another desktop has deleted it and this
// one edited it, say) the image is sent again.
bool QWVersionKeeper::finishBatch() {
    if (!std::exchange(isListed_, false))
        return false;
    QStringList names;
    for (const QString& name : filesToCheck_.names()) {
        filesToCheck_.erase(name);
        const auto object = hostsObject(name);
        if (object && isConflictedImage(name))
            catchUpImageDate(*object, true);
        if (object && isImagePending(*object))
            names.append(name);
        else if (object && !object->imageURL().isEmpty() && !files().exists(object->imageURL().toLocalFile()))
            imagesAskedFor_.insert(imageName(*object));
    }
    for (const QString& name : imagesDeleted_.names()) {
        imagesDeleted_.erase(name);
        const auto known = engine_.fileMetadataManager().fileMetadataForFileName(name, false);
        const auto object = known ? hostsObject(name) : Object();
        if (!object || !files().exists(object->imageURL().toLocalFile()))
            continue;
        engine_.fileMetadataManager().deleteDropboxFileMetadataWithName(name);
        names.append(name);
    }
    for (const QString& name : names)
        if (const auto object = hostsObject(name))
            engine_.insertInSyncQueueManagedObject(*object, QWDropboxSyncActionInsertOrUpdate);
    engine_.saveCacheContext();
    return true;
}

// A change of the date and the image alone is not marked while the object is in flight. The note is saved with the end
// of the row, so that a process that dies before the object is queued again leaves it to the next one.
bool QWVersionKeeper::noteImageBehind(const QString& fileName) {
    const auto object = hostsObject(fileName);
    if (!object || !isImagePending(*object))
        return false;
    filesToCheck_.insert(fileName);
    return true;
}

bool QWVersionKeeper::finishUpload(const QString& fileName, const QByteArray& sent, bool isImageBehind) {
    const auto object = hostsObject(fileName);
    if (!object || engine_.objectWaitingSyncForObject(*object, false))
        return false;
    const auto record = qw::sync::recordFromFileBytes(sent);
    const QDateTime date = dateOf(record.value_or(QVariantMap()));
    const bool isAnother = date.isValid() && object->dateModified().isValid()
                           && qw::sync::wholeSeconds(date) != qw::sync::wholeSeconds(object->dateModified());
    if (!isAnother && !isImageBehind)
        return false;
    queue(*object);
    return true;
}

// The image was passed over; or the record was deleted here, with its image, and another desktop has sent it
// since. The image still stands in the cloud as it did, and is not announced again. It stays known, so that
// it can be asked for once more if it does not arrive; the loop takes an entry of any revision but the known
// one.
void QWVersionKeeper::askForKnownImage(const QString& fileName) {
    const auto named = qw::sync::objectNamedByFile(fileName);
    const QString name = engine_.fileNameWithUUID(named->uuid, named->entityName, true);
    const auto known = engine_.fileMetadataManager().fileMetadataForFileName(name, false);
    if (!known) {
        imagesAskedFor_.erase(name);
        return;
    }
    DBMetadata image;
    image.path = qw::sync::remotePath(known->fileName());
    image.rev = QStringLiteral("any but ") + known->rev();
    image.hash = known->remoteHash();
    image.lastModifiedDate = known->lastModifiedDate();
    engine_.addDeltaEntry(DBMakeDeltaEntry(qw::text::lowercase(image.path), image));
    imagesAskedFor_.insert(name);
}

bool QWVersionKeeper::isImagePending(const QWManagedObjectWithSyncSupport& object) {
    const QUrl url = object.imageURL();
    if (url.isEmpty())
        return false;
    catchUpImageDate(object);
    return engine_.fileMetadataManager().needsToUploadOfImageAtURL(url, imageName(object));
}

// An image that was set here since the known one came is newer, though this machine's clock may be behind the
// cloud's; a copy of a conflict that has taken its place, though of the same second. True when its date was to be mended.
bool QWVersionKeeper::catchUpImageDate(const QWManagedObjectWithSyncSupport& object, bool isTieBehind) {
    const QString path = object.imageURL().toLocalFile();
    const auto date = path.isEmpty() ? std::nullopt : files().modificationDate(path);
    const auto known = date ? engine_.fileMetadataManager().fileMetadataForFileName(imageName(object), false)
                            : QWRef<FileMetadata>();
    if (!known || !known->lastModifiedDate().isValid() || known->remoteHash().isEmpty()
        || *date > known->lastModifiedDate() || (*date == known->lastModifiedDate() && !isTieBehind)
        || dropboxContentHash(files().read(path).value_or(QByteArray())) == known->remoteHash())
        return false;
    // One that is on its way was dated in this manner, too.
    const auto sent = engine_.dateOfImageSent(path);
    const QDateTime latest = sent ? std::max(*sent, known->lastModifiedDate()) : known->lastModifiedDate();
    return files().setModificationDate(path, latest.addSecs(1));
}

// A version that was sent after the deletion had been listed is in the cloud again, and its revision is known here:
// the next query must bring it.
void QWVersionKeeper::noteDeletions(const QWManagedObjectSet& deleted) {
    for (const auto& record : deleted) {
        const auto* object = dynamic_cast<const QWManagedObjectWithSyncSupport*>(record.data());
        const auto known =
            object ? engine_.fileMetadataManager().fileMetadataForFileName(
                engine_.fileNameWithUUID(object->uuid(), object->entity().name(), false), false)
                   : QWRef<FileMetadata>();
        if (known)
            known->setRev(QString());
    }
}

// The engine passes over a change of the date alone while the image seems to be an old one.
bool QWVersionKeeper::noteHostChange(const QWManagedObjectSet& updated) {
    bool hasQueued = false;
    for (const auto& record : updated) {
        const auto* object = dynamic_cast<const QWManagedObjectWithSyncSupport*>(record.data());
        if (!object || object->isDeleted() || !catchUpImageDate(*object)
            || engine_.objectWaitingSyncForObject(*object, false))
            continue;
        engine_.updateObjects({record}, object->dateModified(), QWDropboxSyncActionInsertOrUpdate, true);
        hasQueued = true;
    }
    if (hasQueued)
        engine_.saveCacheContext();
    return hasQueued;
}

QString QWVersionKeeper::imageName(const QWManagedObjectWithSyncSupport& object) {
    return engine_.fileNameWithUUID(object.uuid(), object.entity().name(), true);
}

// Kept images are known by then, and do not come again. Nor do records that have arrived: what is remembered of
// them is seen to at the end of the next batch.
void QWVersionKeeper::giveBatchUp() {
    isListed_ = false;
}
