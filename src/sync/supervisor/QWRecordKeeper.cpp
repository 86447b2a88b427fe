#include "sync/supervisor/QWRecordKeeper_p.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "platform/text/QWText.h"
#include "sync/QWDeltaSpecialActions_p.h"
#include "sync/QWRecordVersions_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"
#include "sync/records/QWSyncRecordFile_p.h"
#include "sync/records/QWTravellingForm.h"
#include "sync/supervisor/QWImageKeeper_p.h"
#include "sync/supervisor/QWLosingVersions_p.h"
#include "sync/supervisor/QWPresentVersions_p.h"

#include <algorithm>

using qw::sync::hostsObject;
using qw::sync::presentVersion;
using qw::sync::waitingDeletion;

// Before an import ------------------------------------------------------------------------------------------

// Another desktop has merged a conflicted copy that this one's upload had become: the engine passes over its deletion.
// Or the host has made a record again, and what is listed is the end of the file that it had before; a version that is
// listed while the deletion is due may come before that end. Or a file has come back whose record the batch has deleted, and
// whose revision an upload has made known.
void QWRecordKeeper::prepareEntry(const DBDeltaEntry& entry, bool isDeletionDue) {
    const QString fileName = qw::text::lastPathComponent(entry.lowercasePath);
    filesLacking_.erase(fileName);
    auto& known = engine_.fileMetadataManager();
    if (!entry.metadata && known.isFileNameConflicted(fileName))
        known.deleteDropboxFileMetadataWithName(fileName);
    const bool isOfBefore = entry.metadata && isDeletionDue;
    const auto object = !isOfBefore && filesMadeAgain_.erase(fileName) && !entry.metadata
                            ? hostsObject(engine_, fileName)
                            : Object();
    if (object) {
        known.deleteDropboxFileMetadataWithName(fileName);
        if (!engine_.objectWaitingSyncForObject(*object, false)) // a received version has dropped its row
            queue(*object);
    }
    if (entry.metadata && qw::sync::isRecordFile(fileName)
        && engine_.isDeletedByBatch(entry.metadata->filename()))
        forgetRevision(fileName);
}

void QWRecordKeeper::noteMissing(const QStringList& fileNames) {
    for (const QString& name : fileNames)
        if (qw::sync::isRecordFile(name) && !qw::sync::isConflictedName(qw::text::lowercase(name)))
            filesLacking_.insert(name);
}

bool QWRecordKeeper::finishBatch() {
    forgetReferencesLost();
    referringFiles_.clear();
    deletionsListed_.clear();
    const auto missedBefore = std::exchange(filesMissed_, {});
    for (const QString& name : filesLacking_.names()) {
        if (!missedBefore.contains(name)) {
            filesMissed_.insert(name);
            continue;
        }
        filesLacking_.erase(name);
        if (const auto object = hostsObject(engine_, name))
            queue(*object);
    }
    if (!missedBefore.isEmpty())
        engine_.saveCacheContext();
    return !filesMissed_.isEmpty();
}

void QWRecordKeeper::noteDeletionsListed() {
    for (const auto& entry : engine_.deltaEntriesToImport().entries())
        if (qw::sync::isDeletionOfRecordFile(*entry))
            deletionsListed_.insert(qw::text::lastPathComponent(entry->lowercasePath));
}

void QWRecordKeeper::forgetRevision(const QString& fileName) {
    if (const auto known = engine_.fileMetadataManager().fileMetadataForFileName(fileName, false))
        known->setRev(QString());
}

// A version that is behind the one here would otherwise stay in the cloud, and on other desktops, for good. A
// conflicted copy that is behind belongs to another desktop, which has seen to its own; but of this desktop's
// own upload it is the only place in the cloud, and the engine removes it.
QWImportVerdict QWRecordKeeper::prepareImport(const QString& localPath, const DBMetadata& metadata) {
    const auto bytes = files().read(localPath);
    if (!bytes)
        return {QStringLiteral("it cannot be read")};
    const auto received = qw::sync::recordFromFileBytes(*bytes);
    if (!received) {
        const auto dated = presentVersion(engine_, metadata.filename());
        return {dated && dated->dateModified().isValid() ? QStringLiteral("it holds no record") : QString()};
    }
    for (const QString& target : filesReferredTo(*received))
        referringFiles_[target].insert(metadata.filename());
    auto& metadataManager = engine_.fileMetadataManager();
    const bool isCopy = metadataManager.isFileNameConflicted(qw::text::lowercase(metadata.filename()));
    const auto present = presentVersion(engine_, metadata.filename());
    const bool isBare = !present || !present->dateModified().isValid();
    if (isBare && !isCopy && isBehindDeletion(*received, metadata.filename())) {
        losingVersions_.addDeclined(metadata.filename(), *received, nullptr);
        deleteAgainIfInFlight(metadata);
        return {QStringLiteral("the record here was deleted"), QWImportVerdict::Declined};
    }
    if (isBare) {
        if (!present && isCopy && waitingDeletion(engine_, metadata.filename()))
            losingVersions_.addDeclined(metadata.filename(), *received, nullptr);
        prepareNewRecord(metadata.filename(), isCopy);
        if (!isCopy)
            sendWhatReferredTo(metadata.filename());
        if (!isCopy)
            settleMembers(*received, metadata, false);
        return {};
    }
    if (const auto earlier = losingVersions_.versionOfBatch(metadata.filename(), *present);
        earlier && order(*received, *earlier) > Order::Same)
        losingVersions_.addOvertaken(*earlier, *received);
    const bool isOwnCopy = isCopy && metadataManager.fileMetadataForFileName(metadata.filename(), false);
    const Order place = order(*received, *present);
    if (place == Order::AheadInSecond || place == Order::Ahead) {
        settleMembers(*received, metadata, place == Order::AheadInSecond);
        if (files().exists(present->imageURL().toLocalFile())
            || metadataManager.fileMetadataForFileName(images_.nameOf(*present), false))
            images_.checkLater(metadata.filename());
        return {};
    }
    const bool isDeleted = isDeletedUnsaved(*present);
    if (place == Order::Behind)
        losingVersions_.addDeclined(metadata.filename(), *received, isDeleted ? nullptr : present.data());
    if (!isCopy && isDeleted) {
        if (!deleteAgainIfInFlight(metadata)) {
            engine_.insertInSyncQueueManagedObject(*present, QWDropboxSyncActionDelete);
            engine_.saveCacheContext();
        }
        return {QStringLiteral("the record here was deleted")};
    }
    // A process that died has placed the image, and did not come to know it; or the image was passed over, and the
    // host has made the record since.
    const bool hasImage = files().exists(present->imageURL().toLocalFile());
    const bool isImageKnown =
        static_cast<bool>(metadataManager.fileMetadataForFileName(images_.nameOf(*present), false));
    if (hasImage ? place == Order::Same && !isImageKnown : isImageKnown)
        images_.checkLater(metadata.filename());
    // What waited to be sent may have been about more than the version that is discarded.
    const bool isHostsDiscarded = discardBehind(*present, *received, metadata.filename());
    // A process that had merged the copy, and saved it, may have died before it was sent in its own file.
    const bool isMerged = isCopy && place == Order::Same;
    if (isOwnCopy || isMerged || (place == Order::Behind && (!isCopy || isHostsDiscarded)))
        queue(*present);
    return {place == Order::Same ? QStringLiteral("the record here is the same")
                                 : QStringLiteral("the record here is newer")};
}

// A deletion that is in flight may have been carried out before the file came there again, and the end of its row would
// be taken for that of both.
bool QWRecordKeeper::deleteAgainIfInFlight(const DBMetadata& metadata) {
    const auto row = engine_.objectSyncingForFileWithName(metadata.filename());
    if (!row || row->action() != QWDropboxSyncActionDelete || row->objectModifiedWhileUploading())
        return false;
    row->setNumberOfFilesUploadingToDropbox(row->numberOfFilesUploadingToDropbox() + 1);
    deletionDue_ = metadata.path;
    return true;
}

// What the cloud holds may be an upload of this desktop that was not answered before the host deleted the record: to the
// version that was deleted, or one before it, the waiting deletion does not give way. A reference may have made the record
// anew, bare, in the same batch.
bool QWRecordKeeper::isBehindDeletion(const QVariantMap& received, const QString& fileName) {
    const auto row = waitingDeletion(engine_, fileName);
    const QDateTime date = qw::sync::dateOfRecord(received);
    return row && row->deletedVersionDate().isValid() && date.isValid() && !hostsObject(engine_, fileName)
           && qw::sync::wholeSeconds(date) <= qw::sync::wholeSeconds(row->deletedVersionDate());
}

// The host's unsaved version may be behind the saved one, by a clock that is. Where that has come with the running batch,
// the merge sees to it.
bool QWRecordKeeper::discardBehind(QWManagedObjectWithSyncSupport& present, const QVariantMap& received,
                                   const QString& fileName) {
    const auto host = hostsObject(engine_, fileName);
    const bool isMadeAgain = host && host->isInserted() && !present.isInserted();
    if (isReceived(present) || !host || !host->hasChanges() || (host->isInserted() && !isMadeAgain))
        return false;
    if (const Order place = order(received, *host); place <= Order::Same)
        return false;
    engine_.discardUnsavedVersion(*host, present);
    if (files().exists(host->imageURL().toLocalFile()))
        images_.checkLater(fileName);
    return true;
}

// Whether the running batch has received a version of its object. What a deletion in it has taken from that is none.
bool QWRecordKeeper::isReceived(const QWManagedObjectWithSyncSupport& batch) {
    const QStringList changed = batch.changedValues().keys();
    return batch.isInserted() || std::any_of(changed.begin(), changed.end(), [&](const QString& key) {
               return batch.entity().property(key)->isAttribute();
           });
}

// It has not come before, though another record's reference may have made it, without a date.
// A file may stand where its image belongs: a version of the record that died unsaved has left it. (The
// engine would make the object in its turn.)
void QWRecordKeeper::prepareNewRecord(const QString& fileName, bool isCopy) {
    const auto object = isCopy ? Object() : engine_.objectReferencedWithLowerCaseFileName(fileName, true);
    const QString image = object ? object->imageURL().toLocalFile() : QString();
    if (isCopy ? !waitingDeletion(engine_, fileName) : !image.isEmpty())
        images_.askForKnown(fileName);
    if (!image.isEmpty() && files().exists(image))
        images_.checkLater(fileName);
}

// Its deletion may have been sent already, while the host's store still has it: another desktop has sent the
// record since, and the host's save would delete it here alone. Not one that the host has made again.
bool QWRecordKeeper::isDeletedUnsaved(const QWManagedObjectWithSyncSupport& present) const {
    const auto host = engine_.mainManagedObjectContext()->registeredObject(present.objectID());
    return host && host->isDeleted() && !hostsObject(engine_, fileNameOf(present));
}

// A deletion that waits, of an object that only the host's store still has, stands. What is in flight may differ by now, or
// have been in the cloud and be gone: it is sent once more.
void QWRecordKeeper::queue(const QWManagedObjectWithSyncSupport& present) {
    const auto row = engine_.objectWaitingSyncForObject(present, false);
    if (row && row->action() == QWDropboxSyncActionDelete)
        return;
    engine_.queueForUpload(present);
    if (row && row == engine_.objectSyncingForFileWithName(fileNameOf(present)))
        row->setObjectModifiedWhileUploading(true);
}

// By the date as it travels and, in one second, by the form that travels.
QWRecordKeeper::Order QWRecordKeeper::order(const QVariantMap& received,
                                            QWManagedObjectWithSyncSupport& present) {
    const QDateTime receivedDate = qw::sync::dateOfRecord(received);
    const QDateTime presentDate = present.dateModified();
    if (!presentDate.isValid())
        return Order::Ahead;
    if (!receivedDate.isValid())
        return Order::Behind;
    const qint64 difference = qw::sync::wholeSeconds(receivedDate) - qw::sync::wholeSeconds(presentDate);
    if (difference != 0)
        return difference < 0 ? Order::Behind : Order::Ahead;
    const auto presentHash = qw::sync::travellingHash(engine_, present);
    const auto receivedHash = qw::sync::travellingHash(received, present);
    if (presentHash == receivedHash)
        return Order::Same;
    return receivedHash < presentHash ? Order::Behind : Order::AheadInSecond;
}

// After an upload ------------------------------------------------------------------------------------------

// Another desktop merges the copy that this upload became into the record's file, and somebody may delete
// that before it is seen here: its deletion must not be passed over as that of a file that was never known.
void QWRecordKeeper::noteUpload(const QString& fileName) {
    filesMadeAgain_.erase(fileName);
    const auto named = qw::sync::objectNamedByFile(fileName);
    if (named && qw::sync::isRecordFile(fileName)
        && engine_.fileMetadataManager().isFileNameConflicted(qw::text::lowercase(fileName)))
        engine_.fileMetadataManager().fileMetadataForFileName(
            engine_.fileNameWithUUID(named->uuid, named->entityName, false), true);
}

bool QWRecordKeeper::noteBehind(const QString& fileName, const QByteArray& sent) {
    const auto object = hostsObject(engine_, fileName);
    const auto record = qw::sync::recordFromFileBytes(sent);
    const QDateTime date = qw::sync::dateOfRecord(record.value_or(QVariantMap()));
    if (!object || !date.isValid() || !object->dateModified().isValid()
        || (qw::sync::wholeSeconds(date) == qw::sync::wholeSeconds(object->dateModified())
            && qw::sync::travellingHash(*record, *object) == qw::sync::travellingHash(engine_, *object)))
        return false;
    filesBehind_.insert(fileNameOf(*object));
    return true;
}

// It may have been noted by an answer before, when it was sent again in the same row.
bool QWRecordKeeper::finishUpload(const QString& fileName, bool isBehind) {
    if (!isBehind && filesBehind_.names().isEmpty())
        return false;
    const auto object = hostsObject(engine_, fileName);
    const bool isToBeQueued = isBehind && object && !engine_.objectWaitingSyncForObject(*object, false);
    if (isToBeQueued)
        queue(*object);
    const bool wasNoted = object && filesBehind_.erase(fileNameOf(*object));
    if (isToBeQueued || wasNoted)
        engine_.saveCacheContext();
    return isToBeQueued;
}

void QWRecordKeeper::noteDeletion(const QString& fileName) {
    const auto object = hostsObject(engine_, fileName);
    if (object && !qw::sync::isConflictedName(fileName))
        filesBehind_.insert(fileNameOf(*object));
}

void QWRecordKeeper::finishDeletion(const QString& fileName) {
    if (const auto object = hostsObject(engine_, fileName))
        filesBehind_.erase(fileNameOf(*object));
}

void QWRecordKeeper::noteMadeAgain(const QWManagedObjectWithSyncSupport& object) {
    if (engine_.fileMetadataManager().fileMetadataForFileName(fileNameOf(object), false))
        filesMadeAgain_.insert(fileNameOf(object));
}

void QWRecordKeeper::recover() {
    for (const QString& fileName : filesBehind_.names()) {
        if (const auto object = hostsObject(engine_, fileName))
            queue(*object);
        filesBehind_.erase(fileName);
    }
    engine_.saveCacheContext();
}

// Around a merge --------------------------------------------------------------------------------------------

// The notices of a merge, by which the engine comes to know of an edit or a deletion, pass over records that are not live.
void QWRecordKeeper::prepareMerge(const QWDidSaveNotice& notice) {
    if (engine_.isSyncSupportContext(notice.context))
        return;
    auto& context = *engine_.mainManagedObjectContext();
    const auto isPassedOver = [&](const QWRef<QWManagedObject>& saved) {
        const auto live = context.registeredObject(saved->objectID());
        return (!live || live->isFault())
               && dynamic_cast<const QWManagedObjectWithSyncSupport*>(saved.data());
    };
    std::map<QString, std::vector<QWManagedObjectID>> updated; // by entity
    for (const auto& saved : notice.updated)
        if (isPassedOver(saved))
            updated[saved->entity().name()].push_back(saved->objectID());
    for (const auto& [entityName, ids] : updated) {
        const auto records = context.objectsWithIDs(ids);
        recordsMerged_.insert(recordsMerged_.end(), records.begin(), records.end());
    }
    for (const auto& saved : notice.deleted)
        if (isPassedOver(saved))
            recordsMerged_.push_back(context.objectWithID(saved->objectID()));
}

// The deletion leaves the revision known of a version that was sent after it had been listed, and is in the cloud again:
// the next query must bring it. Not so one whose deletion waits to be sent: it would come back.
void QWRecordKeeper::forgetRevisionsOf(const QWManagedObjectSet& deleted) {
    for (const auto& record : deleted) {
        const auto* object = dynamic_cast<const QWManagedObjectWithSyncSupport*>(record.data());
        const QString fileName = object ? fileNameOf(*object) : QString();
        if (object && !hostsObject(engine_, fileName) && !waitingDeletion(engine_, fileName))
            forgetRevision(fileName);
    }
}

QString QWRecordKeeper::fileNameOf(const QWManagedObjectWithSyncSupport& object) const {
    return qw::text::lowercase(engine_.fileNameWithUUID(object.uuid(), object.entity().name(), false));
}
