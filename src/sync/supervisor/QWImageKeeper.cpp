#include "sync/supervisor/QWImageKeeper_p.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "dropbox/DBContentHash.h"
#include "platform/text/QWText.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/supervisor/QWLosingVersions_p.h"
#include "sync/supervisor/QWPresentVersions_p.h"

using qw::sync::hostsObject;
using qw::sync::presentVersion;
using qw::sync::waitingDeletion;

using Origin = QWArchivedVersion::Origin;
using Reason = QWArchivedVersion::Reason;

namespace {
constexpr int mostTimesNotFound = 3;
constexpr auto longestWaitToRead = std::chrono::seconds(50); // of all of a batch together
} // namespace

QWImageKeeper::QWImageKeeper(QWDropboxSyncCoreData& engine, QWLosingVersions& losingVersions)
    : engine_(engine), losingVersions_(losingVersions),
      filesToCheck_(engine.dropboxCacheManagedObjectContext(), QStringLiteral("to check")),
      imagesDeleted_(engine.dropboxCacheManagedObjectContext(), QStringLiteral("deleted in the cloud")),
      imagesAskedFor_(engine.dropboxCacheManagedObjectContext(), QStringLiteral("asked for")) {}

// Import ----------------------------------------------------------------------------------------------------

// The engine places an image where none stands. One of a record whose deletion waits goes with that; it is known, so
// that it is asked for again should the record come back.
QWImportVerdict QWImageKeeper::prepareImport(const QString& localPath, const DBMetadata& metadata) {
    const auto present = presentVersion(engine_, metadata.filename());
    const QString path = present ? present->imageURL().toLocalFile() : QString();
    if (present && path.isEmpty())
        return {QStringLiteral("its object has no image")};
    const auto date = present ? files().modificationDate(path) : std::nullopt;
    if (date || isConflicted(metadata.filename()))
        filesToCheck_.insert(metadata.filename());
    if (date)
        return decide(*present, *date, localPath, metadata);
    const auto row = present ? QWRef<ObjectWaitingSync>() : waitingDeletion(engine_, metadata.filename());
    if (!row)
        return {};
    QWArchivedVersion received;
    const auto named = qw::sync::objectNamedByFile(metadata.filename());
    received.entityName = named->entityName;
    received.uuid = named->uuid;
    received.imagePath = localPath;
    received.dateModified = metadata.lastModifiedDate;
    received.origin = Origin::Cloud;
    received.reason = Reason::Deletion;
    QWError error;
    if (!losingVersions_.addImage(received, &error))
        return {error.message, QWImportVerdict::Later};
    row->setObjectCouldHaveAnImage(true);
    return {QStringLiteral("its record was deleted"), QWImportVerdict::Declined};
}

// The engine keeps a local image that is not older than the cloud's, and would give it the cloud's date. Where
// the dates are equal and the images are not, the one that has not changed here since it was sent or received
// makes way; else the greater content hash decides, on every desktop alike. One that is sent again as it was, since the
// cloud had lost it, is dated then, and is no later than what was made of it here. One that is as the cloud had it is
// dated like that, though the disk may have kept the date from being written.
QWImportVerdict QWImageKeeper::decide(const QWManagedObjectWithSyncSupport& present,
                                      const QDateTime& dateHere, const QString& localPath,
                                      const DBMetadata& metadata) {
    const QString path = present.imageURL().toLocalFile(), hash = contentHash(path);
    const QString receivedHash = metadata.hash.isEmpty() ? contentHash(localPath) : metadata.hash;
    const auto known = engine_.fileMetadataManager().fileMetadataForFileName(metadata.filename(), false);
    const bool isAsKnown = known && known->remoteHash() == hash && known->lastModifiedDate().isValid();
    const QDateTime date = isAsKnown ? known->lastModifiedDate() : dateHere;
    const bool isTie = date == metadata.lastModifiedDate;
    if (isTie && hash == receivedHash)
        return {QStringLiteral("the image here is the same")};
    const bool hasChangedHere = !known || known->lastModifiedDate() != date;
    const bool isKnownAgain =
        hasChangedHere && hash != receivedHash && known && known->remoteHash() == receivedHash;
    const bool receivedWins =
        !isKnownAgain && (isTie ? !hasChangedHere || hash < receivedHash : date < metadata.lastModifiedDate);
    if (receivedWins)
        if (const auto verdict = verdictOnUnreadable(path, localPath, metadata))
            return *verdict;

    QWArchivedVersion loser;
    loser.entityName = present.entity().name();
    loser.uuid = present.uuid();
    loser.imagePath = receivedWins ? path : localPath;
    loser.dateModified = receivedWins ? date : metadata.lastModifiedDate;
    loser.origin = receivedWins ? Origin::Here : Origin::Cloud;
    loser.reason = isTie ? Reason::SameSecond : Reason::Earlier;
    QWError error;
    if (hash != receivedHash && !losingVersions_.addImage(loser, &error))
        return {error.message, QWImportVerdict::Later};

    if (receivedWins && dateHere >= metadata.lastModifiedDate)
        files().remove(path);
    else if (!receivedWins && date <= metadata.lastModifiedDate)
        files().setModificationDate(path, metadata.lastModifiedDate.addSecs(1));
    return receivedWins
               ? QWImportVerdict()
               : QWImportVerdict{QStringLiteral("the image here is newer"), QWImportVerdict::Declined};
}

// Another program may have it open: it is waited for. One that can never be read must not hold up all that comes behind; it
// is not sent by mistake for what is left out, and a later batch asks for that. (A copy of a conflict stays in the cloud, for
// another desktop.)
std::optional<QWImportVerdict> QWImageKeeper::verdictOnUnreadable(const QString& path,
                                                                  const QString& localPath,
                                                                  const DBMetadata& metadata) {
    QWError error;
    if (files().read(path, &error))
        return std::nullopt;
    const auto now = engine_.mainManagedObjectContext()->environment().runLoop().now();
    if (!unreadableSince_)
        unreadableSince_ = now;
    if (now - *unreadableSince_ < longestWaitToRead)
        return QWImportVerdict{error.message, QWImportVerdict::Later};
    files().remove(localPath);
    filesToCheck_.erase(metadata.filename());
    auto& known = engine_.fileMetadataManager();
    if (!isConflicted(metadata.filename())) {
        imagesAskedFor_.insert(metadata.filename());
        known.updateFileMetadataEquivalentToDropboxFileMetadata(metadata);
        known.fileMetadataForFileName(metadata.filename(), false)->setRemoteHash(QString());
    }
    return QWImportVerdict{error.message, QWImportVerdict::LeftOut};
}

bool QWImageKeeper::isUnreadable(const QString& fileName) const {
    const auto object = hostsObject(engine_, fileName);
    const QString path = object ? object->imageURL().toLocalFile() : QString();
    return !path.isEmpty() && files().exists(path) && !files().read(path);
}

QString QWImageKeeper::contentHash(const QString& path) const {
    return dropboxContentHash(files().read(path).value_or(QByteArray()));
}

// The image of a record that is not here may be all that a deletion has left, or come before its record. The
// engine would make an empty record of it, and only on the desktops that have not sent it.
bool QWImageKeeper::passOverStray(const QString& fileName) {
    if (!qw::sync::isImageFile(fileName) || isConflicted(fileName)
        || !qw::sync::belongsToEntity(engine_, fileName) || presentVersion(engine_, fileName))
        return false;
    if (const auto row = waitingDeletion(engine_, fileName))
        row->setObjectCouldHaveAnImage(true);
    imagesAskedFor_.erase(fileName);
    engine_.passOverFile(fileName);
    return true;
}

bool QWImageKeeper::isCopyOfDeleted(const QString& fileName) {
    return isConflicted(fileName) && hostsObject(engine_, fileName) && !presentVersion(engine_, fileName);
}

// What was deleted is listed as such, and a service may be wrong: an image that is not found is asked for with the next
// query, three times in all. One that the cloud has announced, its next listing settles. One that was set here since it was
// asked for counts as deleted in the cloud.
void QWImageKeeper::noteNotFound(const QString& fileName) {
    if (++timesNotFound_[fileName] >= mostTimesNotFound)
        noteGone(fileName);
}

void QWImageKeeper::noteGone(const QString& fileName) {
    timesNotFound_.remove(fileName);
    if (!imagesAskedFor_.erase(fileName))
        return;
    const auto object = hostsObject(engine_, fileName);
    if (object && files().exists(object->imageURL().toLocalFile()))
        imagesDeleted_.insert(fileName);
    else
        engine_.fileMetadataManager().deleteDropboxFileMetadataWithName(fileName);
    engine_.saveCacheContext();
}

// Batches ---------------------------------------------------------------------------------------------------

// A conflicted copy of an image would make a deleted record again, bare. Where the record lives, or comes in
// the same page, the copy is imported like any image, but for one of this desktop's own image.
QList<DBDeltaEntryRef> QWImageKeeper::preparePage(const QList<DBDeltaEntryRef>& page, bool isLast,
                                                  QStringList& ownCopies) {
    isListed_ = isLast;
    if (isLast)
        for (const QString& name : imagesAskedFor_.names())
            if (!isUnreadable(name))
                askForKnown(name);
    std::set<QString> uuidsOfRecords;
    for (const auto& entry : page)
        if (entry->metadata && qw::sync::isRecordFile(entry->lowercasePath))
            uuidsOfRecords.insert(qw::sync::uuidNamedByFile(entry->metadata->filename()));
    QList<DBDeltaEntryRef> kept;
    for (const auto& entry : page) {
        const QString name = qw::text::lastPathComponent(entry->lowercasePath);
        if (!qw::sync::isImageFile(name)) {
            kept.append(entry);
        } else if (isConflicted(name)) {
            if (entry->metadata && engine_.fileMetadataManager().fileMetadataForFileName(name, false))
                ownCopies.append(entry->metadata->filename());
            else if (hostsObject(engine_, name) || uuidsOfRecords.count(qw::sync::uuidNamedByFile(name)) > 0)
                kept.append(entry);
        } else {
            kept.append(entry);
            imagesMissed_.remove(name);
            if (entry->metadata)
                imagesDeleted_.erase(name);
            else
                imagesDeleted_.insert(name);
        }
    }
    return kept;
}

void QWImageKeeper::noteMissing(const QStringList& fileNames) {
    for (const QString& name : fileNames)
        if (qw::sync::isImageFile(name))
            imagesDeleted_.insert(name);
}

void QWImageKeeper::checkLater(const QString& fileName) {
    filesToCheck_.insert(fileName);
}

bool QWImageKeeper::isConflicted(const QString& fileName) const {
    const QString name = qw::text::lowercase(fileName);
    return qw::sync::isImageFile(name) && engine_.fileMetadataManager().isFileNameConflicted(name);
}

QString QWImageKeeper::pathOf(const QString& copy) const {
    const auto named = qw::sync::objectNamedByFile(copy);
    return qw::sync::remotePath(engine_.fileNameWithUUID(named->uuid, named->entityName, true));
}

void QWImageKeeper::queueConflicted(const QString& copy, const std::optional<DBMetadata>& standing) {
    auto& known = engine_.fileMetadataManager();
    known.deleteDropboxFileMetadataWithName(copy);
    if (const auto object = hostsObject(engine_, copy)) {
        const QString path = object->imageURL().toLocalFile();
        if (standing) {
            const auto date = files().modificationDate(path);
            if (date && *date <= standing->lastModifiedDate)
                files().setModificationDate(path, standing->lastModifiedDate.addSecs(1));
            known.updateFileMetadataEquivalentToDropboxFileMetadata(*standing);
        } else {
            known.deleteDropboxFileMetadataWithName(nameOf(*object));
        }
        engine_.insertInSyncQueueManagedObject(*object, QWDropboxSyncActionInsertOrUpdate);
    }
    engine_.saveCacheContext();
}

QString QWImageKeeper::finishImport(const QString& localPath, const DBMetadata& metadata) {
    if (!files().exists(localPath)) { // else it could not be placed, and is tried again
        imagesAskedFor_.erase(metadata.filename());
        timesNotFound_.remove(metadata.filename());
    }
    if (!isConflicted(metadata.filename()))
        return {};
    engine_.fileMetadataManager().deleteDropboxFileMetadataWithName(metadata.filename());
    engine_.saveCacheContext();
    return metadata.path;
}

// An image that was deleted goes with its record, whose own deletion may follow: another request makes it. Where the
// record still lives after the next query (another desktop has deleted it and this one edited it, say) the image is
// sent again, and the record with it.
bool QWImageKeeper::finishBatch() {
    if (!std::exchange(isListed_, false))
        return false;
    unreadableSince_.reset();
    QStringList names;
    for (const QString& name : filesToCheck_.names()) {
        filesToCheck_.erase(name);
        const auto object = hostsObject(engine_, name);
        const bool isBehind = object && catchUpDate(*object, isConflicted(name));
        if (object && isPending(*object))
            names.append(name);
        else if (isBehind)
            filesToCheck_.insert(name);
        else if (object && !object->imageURL().isEmpty() && !files().exists(object->imageURL().toLocalFile()))
            imagesAskedFor_.insert(nameOf(*object));
    }
    for (const QString& name : imagesDeleted_.names()) {
        const auto known = engine_.fileMetadataManager().fileMetadataForFileName(name, false);
        const auto object = known ? hostsObject(engine_, name) : Object();
        const bool isLacking = object && files().exists(object->imageURL().toLocalFile());
        if (isLacking && !imagesMissed_.contains(name)) {
            imagesMissed_.insert(name);
            isQueryDue_ = true;
            continue;
        }
        imagesDeleted_.erase(name);
        imagesMissed_.remove(name);
        if (!isLacking)
            continue;
        engine_.fileMetadataManager().deleteDropboxFileMetadataWithName(name);
        names.append(name);
    }
    for (const QString& name : names)
        if (const auto object = hostsObject(engine_, name))
            engine_.insertInSyncQueueManagedObject(*object, QWDropboxSyncActionInsertOrUpdate);
    engine_.saveCacheContext();
    return true;
}

// Its record may have been deleted, and have come back, while the image was on its way.
void QWImageKeeper::noteUpload(const QString& fileName) {
    const auto object = qw::sync::isImageFile(fileName) ? hostsObject(engine_, fileName) : Object();
    if (object && !object->imageURL().isEmpty() && !files().exists(object->imageURL().toLocalFile()))
        imagesAskedFor_.insert(nameOf(*object));
}

// The engine would take the image for the one that was listed, and date it like that.
void QWImageKeeper::noteListed(const QString& fileName, const DBMetadata& listed) {
    const auto object = qw::sync::isImageFile(fileName) ? hostsObject(engine_, fileName) : Object();
    const QString path = object ? object->imageURL().toLocalFile() : QString();
    const auto date = path.isEmpty() ? std::nullopt : files().modificationDate(path);
    if (date && contentHash(path) != listed.hash)
        files().setModificationDate(path, std::max(*date, listed.lastModifiedDate).addSecs(1));
}

// A change of the date and the image alone is not marked while the object is in flight. The note is saved with the end
// of the row, so that a process that dies before the object is queued again leaves it to the next one. What a batch deletes
// that was given up, and goes on with the next query, is not known, however often it was sent.
bool QWImageKeeper::noteBehind(const QString& fileName) {
    const auto object = hostsObject(engine_, fileName);
    if (!object || engine_.isDeletedByBatch(fileName))
        return false;
    const bool isBehind = catchUpDate(*object), isToBeSent = isPending(*object);
    if (isBehind || isToBeSent)
        filesToCheck_.insert(fileName);
    return isToBeSent;
}

// The image was passed over; or the record was deleted here, with its image, and another desktop has sent it
// since. The image still stands in the cloud as it did, and is not announced again. It stays known, so that
// it can be asked for once more if it does not arrive; the loop takes an entry of any revision but the known
// one.
void QWImageKeeper::askForKnown(const QString& fileName) {
    const auto named = qw::sync::objectNamedByFile(fileName);
    const QString name = engine_.fileNameWithUUID(named->uuid, named->entityName, true);
    const auto known = engine_.fileMetadataManager().fileMetadataForFileName(name, false);
    if (!known || imagesDeleted_.contains(name)) {
        imagesAskedFor_.erase(name);
        return;
    }
    DBMetadata image = QWDropboxFileMetadataManager::metadataOf(*known);
    image.rev.prepend(QStringLiteral("any but "));
    engine_.addDeltaEntry(DBMakeDeltaEntry(qw::text::lowercase(image.path), image));
    imagesAskedFor_.insert(name);
}

bool QWImageKeeper::isPending(const QWManagedObjectWithSyncSupport& object) const {
    const QUrl url = object.imageURL();
    return !url.isEmpty() && engine_.fileMetadataManager().needsToUploadOfImageAtURL(url, nameOf(object));
}

// An image that was set here since the known one came is newer, though this machine's clock may be behind the
// cloud's; a copy of a conflict that has taken its place, though of the same second. True when its date was to be mended, though
// the disk may not have taken that.
bool QWImageKeeper::catchUpDate(const QWManagedObjectWithSyncSupport& object, bool isTieBehind) {
    const QString path = object.imageURL().toLocalFile();
    const auto date = path.isEmpty() ? std::nullopt : files().modificationDate(path);
    const auto known = date ? engine_.fileMetadataManager().fileMetadataForFileName(nameOf(object), false)
                            : QWRef<FileMetadata>();
    if (!known || !known->lastModifiedDate().isValid() || known->remoteHash().isEmpty()
        || *date > known->lastModifiedDate() || (*date == known->lastModifiedDate() && !isTieBehind)
        || contentHash(path) == known->remoteHash())
        return false;
    // One that is on its way was dated in this manner, too.
    const auto sent = engine_.dateOfImageSent(path);
    const QDateTime latest = sent ? std::max(*sent, known->lastModifiedDate()) : known->lastModifiedDate();
    files().setModificationDate(path, latest.addSecs(1));
    return true;
}

// The image of a record that was deleted and is made again may have gone with it, and stand in the cloud still.
void QWImageKeeper::noteHostInsertions(const QWManagedObjectSet& inserted) {
    for (const auto& record : inserted) {
        const auto* object = dynamic_cast<const QWManagedObjectWithSyncSupport*>(record.data());
        const QString path = object && object->isInserted() ? object->imageURL().toLocalFile() : QString();
        if (!path.isEmpty() && !files().exists(path)
            && engine_.fileMetadataManager().fileMetadataForFileName(nameOf(*object), false))
            imagesAskedFor_.insert(nameOf(*object));
    }
}

// The engine passes over a change of the date alone while the image seems to be an old one. Where the disk does not take
// another date, the record is sent without it, and the image when it does.
bool QWImageKeeper::noteHostChange(const QWManagedObjectSet& updated) {
    bool hasQueued = false;
    for (const auto& record : updated) {
        auto* object = dynamic_cast<QWManagedObjectWithSyncSupport*>(record.data());
        if (!object || object->isDeleted() || !catchUpDate(*object)
            || engine_.objectWaitingSyncForObject(*object, false) || !engine_.delegate()
            || !engine_.delegate()->shouldUploadUpdateManagedObject(*object))
            continue;
        engine_.queueForUpload(*object);
        hasQueued = true;
    }
    if (hasQueued)
        engine_.saveCacheContext();
    return hasQueued;
}

QString QWImageKeeper::nameOf(const QWManagedObjectWithSyncSupport& object) const {
    return engine_.fileNameWithUUID(object.uuid(), object.entity().name(), true);
}

// Kept images are known by then, and do not come again. Nor do records that have arrived: what is remembered of
// them is seen to at the end of the next batch.
void QWImageKeeper::giveBatchUp() {
    isListed_ = false;
    unreadableSince_.reset();
}
