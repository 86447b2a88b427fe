// Merge: how a batch that was applied in the sync support context reaches the host's store and main context.
//
// Started at the end of a batch, and when the application closes in the middle of one. The host
// may hold another version of a record that the batch has received: unsaved in the main context,
// or saved since the batch read it. Before the save the batch's version gives way where the
// host's unsaved one wins; during it the merge function decides about saved ones; between save
// and merge the host's unsaved versions that lost give way.
//
// Invariants:
// - One version of a record wins whole: the one with the later date, the host's on a tie unless a client has
//   ranked the received one higher; a deletion wins over any version of the other side. What the host wins is
//   queued, since the import has dropped its row.
// - Other people's changes never fail the save of a batch.
// - What the merge changes in the main context is not seen as an edit of the host's.
// - One uuid stays one record, also when both contexts have inserted it.
#include "sync/QWDropboxSyncCoreData.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "sync/QWRecordVersions_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryImporter.h"

#include <QMetaMethod>

using qw::sync::RecordReplacement;

namespace {

QWManagedObjectWithSyncSupport* synced(const QWRef<QWManagedObject>& record) {
    return dynamic_cast<QWManagedObjectWithSyncSupport*>(record.data());
}

using Insertions = QHash<QWSyncedIdentity, QWRef<QWManagedObject>>;

Insertions insertionsOf(const QWManagedObjectContext& context) {
    Insertions insertions;
    for (const auto& record : context.insertedObjects())
        if (const auto* object = synced(record); object && !object->uuid().isEmpty())
            insertions.insert(QWSyncedIdentity(*object), record);
    return insertions;
}

// Records that another context has saved under uuids which `context` has inserted, and not those that it has deleted
// before.
QWManagedObjectSet savedLike(const Insertions& insertions, QWManagedObjectContext& context) {
    QHash<QString, QStringList> uuids;
    for (auto each = insertions.keyBegin(); each != insertions.keyEnd(); ++each)
        uuids[each->entityName].append(each->uuid);
    QWManagedObjectSet saved;
    for (auto each = uuids.cbegin(); each != uuids.cend(); ++each) {
        QWFetchRequest request(each.key(),
                               QWPredicate::comparison("uuid", QWPredicate::Operator::In, each.value(),
                                                       QWPredicate::CaseInsensitive));
        request.includesPendingChanges = false;
        for (const auto& record : context.fetch(request).value_or(QWManagedObjectSet()))
            if (!record->isDeleted())
                saved.push_back(record);
    }
    return saved;
}

} // namespace

// The context -----------------------------------------------------------------------------------------------

const std::shared_ptr<QWManagedObjectContext>& QWDropboxSyncCoreData::syncSupportManagedObjectContextCopy() {
    if (syncSupportManagedObjectCopy_)
        return syncSupportManagedObjectCopy_;
    syncSupportManagedObjectCopy_ = std::make_shared<QWManagedObjectContext>(
        mainManagedObjectContext_->coordinator(), QWConcurrencyType::MainQueue);
    syncSupportManagedObjectCopy_->setMergeFunction(
        [this](const QWSaveConflict& conflict) { return decideConflict(conflict); });
    return syncSupportManagedObjectCopy_;
}

void QWDropboxSyncCoreData::setSyncSupportManagedObjectContextCopy(
    std::shared_ptr<QWManagedObjectContext> context) {
    syncSupportManagedObjectCopy_ = std::move(context);
    objectsReceived_.clear();
    objectsWinningTies_.clear();
    objectsToSendAfterBatch_.clear();
}

// Saving ----------------------------------------------------------------------------------------------------

bool QWDropboxSyncCoreData::saveSyncSupportContext() {
    const auto context = syncSupportManagedObjectContextCopy();
    replaceInsertionsOfBatch(savedLike(insertionsOf(*context), *context));
    tellOfVersionsThatGiveWay(*context);
    giveWayToMainContext(*context);
    reconcileInsertions(*context);
    bool mayBeSaved = true;
    Q_EMIT batchWillBeSaved(&mayBeSaved);
    if (!mayBeSaved)
        return false;
    deleteImagesTakenAlong(*context);
    const auto observation = context->observeDidSave(
        [this](const QWDidSaveNotice& notice) { syncSupportManagedObjectContextDidSave(notice); });
    if (!saveContext(*context, "saveSyncSupportContext"))
        return false;
    forgetReceivedObjects();
    return true;
}

// By date; a version that its client has ranked higher wins also over one of the same second.
bool QWDropboxSyncCoreData::receivedVersionWins(const QWManagedObjectWithSyncSupport& received,
                                                const QDateTime& host) const {
    const QDateTime date = received.dateModified();
    const bool winsTie = host.isValid() && objectsWinningTies_.contains(QWSyncedIdentity(received))
                         && qw::sync::wholeSeconds(date) == qw::sync::wholeSeconds(host);
    return winsTie || qw::sync::receivedVersionWins(date, host);
}

bool QWDropboxSyncCoreData::isDeletedByBatch(const QString& fileName) {
    const auto named = syncSupportManagedObjectCopy_ ? qw::sync::objectNamedByFile(fileName) : std::nullopt;
    if (!named || !objectsReceived_.contains(QWSyncedIdentity(named->entityName, named->uuid)))
        return false;
    const auto object = objectReferencedWithLowerCaseFileName(fileName, false);
    const bool isPlaceholder = object && object->isInserted() && !object->dateModified().isValid();
    return !object || isPlaceholder;
}

QWRef<QWManagedObjectWithSyncSupport>
QWDropboxSyncCoreData::hostsVersion(const QWManagedObjectWithSyncSupport& object) {
    return QWManagedObjectWithSyncSupport::fetchObjectWithUUID(object.uuid(), object.entity().name(),
                                                               *mainManagedObjectContext_);
}

// What the batch deletes (by delete rules, too), changes, and has inserted like the host. A record that the host
// has deleted since the batch read it is not in the main context, unless the host has made it again: that stays.
void QWDropboxSyncCoreData::tellOfVersionsThatGiveWay(QWManagedObjectContext& context) {
    if (!isSignalConnected(QMetaMethod::fromSignal(&QWDropboxSyncCoreData::versionGivesWay)))
        return;
    mainManagedObjectContext_->processPendingChanges();
    context.processPendingChanges();
    for (const auto& record : context.deletedObjects())
        if (const auto* object = synced(record))
            if (const auto host = hostsVersion(*object);
                host
                && (host->objectID() == object->objectID()
                    || objectsReceived_.contains(QWSyncedIdentity(*object))))
                Q_EMIT versionGivesWay(*host, nullptr);
    for (const auto& record : context.updatedObjects()) {
        auto* object = synced(record);
        if (!object || !objectsReceived_.contains(QWSyncedIdentity(*object)))
            continue;
        if (const auto host = hostsVersion(*object))
            tellWhichGivesWay(*object, *host);
        else
            Q_EMIT versionGivesWay(*object, nullptr);
    }
    const Insertions hosts = insertionsOf(*mainManagedObjectContext_);
    if (hosts.isEmpty())
        return;
    for (const auto& record : context.insertedObjects())
        if (auto* object = synced(record))
            if (const auto host = hosts.value(QWSyncedIdentity(*object)))
                tellWhichGivesWay(*object, *synced(host));
}

// A delete rule takes records along whose own deletion was not listed, or comes too late to find them. Nobody may have
// known that they go: an image that is kept nowhere else stays.
void QWDropboxSyncCoreData::deleteImagesTakenAlong(QWManagedObjectContext& context) {
    const Insertions madeAgain = insertionsOf(context);
    for (const auto& record : context.deletedObjects()) {
        const auto* object = synced(record);
        const auto host = object ? hostsVersion(*object) : QWRef<QWManagedObjectWithSyncSupport>();
        const bool isHosts = host && object->objectID() == host->objectID();
        if (isHosts && !madeAgain.contains(QWSyncedIdentity(*object)))
            deleteImageOfObject(*object, false);
    }
}

void QWDropboxSyncCoreData::tellWhichGivesWay(QWManagedObjectWithSyncSupport& received,
                                              QWManagedObjectWithSyncSupport& host) {
    if (receivedVersionWins(received, host.dateModified()))
        Q_EMIT versionGivesWay(host, &received);
    else
        Q_EMIT versionGivesWay(received, &host);
}

// The host's pending edits are stamped and queued first, so that their dates count. A record that the batch
// has touched without receiving it (the far end of a link) follows whatever the main context has saved.
void QWDropboxSyncCoreData::giveWayToMainContext(QWManagedObjectContext& context) {
    mainManagedObjectContext_->processPendingChanges();
    context.processPendingChanges();
    for (const auto& record : context.updatedObjects()) {
        auto* object = synced(record);
        if (!object || !objectsReceived_.contains(QWSyncedIdentity(*object))) {
            context.refreshObject(*record, true);
            continue;
        }
        const auto host = mainManagedObjectContext_->registeredObject(record->objectID());
        if (!host || !host->hasChanges() || !qw::sync::holdsOwnChanges(*host))
            continue;
        const bool isDeleted = host->isDeleted();
        if (const auto madeAgain =
                isDeleted ? hostsVersion(*object) : QWRef<QWManagedObjectWithSyncSupport>()) {
            settleWithMadeAgain(*object, *madeAgain);
            continue;
        }
        if (!isDeleted && receivedVersionWins(*object, synced(host)->dateModified()))
            continue;
        insertInSyncQueueManagedObject(*object, isDeleted ? QWDropboxSyncActionDelete
                                                          : QWDropboxSyncActionInsertOrUpdate);
        qw::sync::discardChanges(*record);
    }
}

// The host has deleted the record and made it again, and has saved neither: its save would delete what is received, so
// that goes into the new one.
void QWDropboxSyncCoreData::settleWithMadeAgain(QWManagedObjectWithSyncSupport& received,
                                                QWManagedObjectWithSyncSupport& madeAgain) {
    if (receivedVersionWins(received, madeAgain.dateModified()))
        changeMainContextUnseen([&] { takeOver(received, madeAgain); });
    else
        insertInSyncQueueManagedObject(madeAgain, QWDropboxSyncActionInsertOrUpdate);
    qw::sync::discardChanges(received);
}

void QWDropboxSyncCoreData::takeOver(QWManagedObjectWithSyncSupport& version,
                                     QWManagedObjectWithSyncSupport& madeAgain) {
    const auto record = syncDictionaryExporter().dictionaryToInsertOrUpdateObjectToSync(version);
    syncDictionaryImporter().updateObject(madeAgain, record, QStringLiteral("a received record"));
    madeAgain.resetDoNotUpdateDateModifiedDuringNextSave();
}

// A deletion that waits was made after the batch had received the record, whose import drops what waits: it stands.
// A record without date was made for a reference or an image whose record has not arrived. Its waiting row is
// older: an insertion that died unsaved, which would send an empty record, or again a deletion. (If the host
// holds the insertion still, the two become one in the merge, and that is queued.)
void QWDropboxSyncCoreData::reconcileInsertions(QWManagedObjectContext& context) {
    QSet<QWSyncedIdentity> deleted;
    for (const auto& row : QWFetchCacheRecords<ObjectWaitingSync>(*dropboxCacheManagedObjectContext(),
                                                                  QWRequestOfWaitingDeletions()))
        deleted.insert({row->objectEntityName(), row->objectUUID()});
    for (const auto& record : context.insertedObjects()) {
        auto* object = synced(record);
        if (!object)
            continue;
        if (deleted.contains(QWSyncedIdentity(*object))) {
            Q_EMIT versionGivesWay(*object, nullptr);
            qw::sync::deleteWithoutRules(*object);
        } else if (const auto row = object->dateModified().isValid()
                                        ? QWRef<ObjectWaitingSync>()
                                        : objectWaitingSyncForObject(*object, false)) {
            deleteObjectWaitingSync(*row);
        }
    }
}

// The main context has saved a version since the batch read the record.
QWMergeDecision QWDropboxSyncCoreData::decideConflict(const QWSaveConflict& conflict) {
    if (conflict.deletedHere)
        return QWMergeDecision::KeepLocal;
    auto* object = synced(conflict.record);
    if (!object || !objectsReceived_.contains(QWSyncedIdentity(*object)))
        return QWMergeDecision::TakeStored;
    if (!conflict.deletedInStore
        && receivedVersionWins(*object,
                               conflict.storedValues.value(QStringLiteral("dateModified")).toDateTime()))
        return QWMergeDecision::KeepLocal;
    insertInSyncQueueManagedObject(*object, conflict.deletedInStore ? QWDropboxSyncActionDelete
                                                                    : QWDropboxSyncActionInsertOrUpdate);
    return QWMergeDecision::TakeStored;
}

void QWDropboxSyncCoreData::discardUnsavedVersion(QWManagedObjectWithSyncSupport& object,
                                                  QWManagedObjectWithSyncSupport& winner) {
    Q_EMIT versionGivesWay(object, &winner);
    if (const auto row = objectWaitingSyncForObject(object, false))
        deleteObjectWaitingSync(*row);
    changeMainContextUnseen([&] {
        if (object.isInserted())
            takeOver(winner, object);
        else
            qw::sync::discardChanges(object);
    });
}

// Merging ---------------------------------------------------------------------------------------------------

// A record that has given way to the host's is among the updated ones as well when the batch has linked another to
// it.
void QWDropboxSyncCoreData::syncSupportManagedObjectContextDidSave(const QWDidSaveNotice& notice) {
    changeMainContextUnseen([&] {
        for (const auto& record : notice.updated) {
            const auto* object = synced(record);
            if (!object || !objectsReceived_.contains(QWSyncedIdentity(*object)))
                continue;
            const auto host = mainManagedObjectContext_->registeredObject(record->objectID());
            if (host && !host->isDeleted() && host->hasChanges() && qw::sync::holdsOwnChanges(*host)
                && receivedVersionWins(*object, synced(host)->dateModified()))
                qw::sync::discardChanges(*host);
        }
        mainManagedObjectContext_->mergeChangesFromContextDidSave(notice);
        replaceInsertionsOfMainContext(notice);
        dropReferencesToHostsDeletions(notice);
    });
}

void QWDropboxSyncCoreData::dropReferencesToHostsDeletions(const QWDidSaveNotice& notice) {
    QSet<QWManagedObjectID> deleted;
    for (const auto& record : mainManagedObjectContext_->deletedObjects())
        deleted.insert(record->objectID());
    if (deleted.isEmpty())
        return;
    for (const auto* saved : {&notice.inserted, &notice.updated})
        for (const auto& record : *saved)
            if (!deleted.contains(record->objectID()) && qw::sync::refersToAny(*record, deleted))
                qw::sync::dropReferencesToDeleted(
                    *mainManagedObjectContext_->objectWithID(record->objectID()));
}

// What the host did before is seen by change capture, what `change` does is not.
void QWDropboxSyncCoreData::changeMainContextUnseen(const std::function<void()>& change) {
    mainManagedObjectContext_->processPendingChanges();
    mainContextObservation_.stop();
    change();
    mainManagedObjectContext_->processPendingChanges();
    observeMainContext();
}

// Records that the host has inserted, and not saved, become the ones that the batch has saved.
void QWDropboxSyncCoreData::replaceInsertionsOfMainContext(const QWDidSaveNotice& notice) {
    if (notice.inserted.empty())
        return;
    const Insertions hosts = insertionsOf(*mainManagedObjectContext_);
    std::vector<RecordReplacement> replacements;
    for (const auto& record : notice.inserted) {
        const auto* received = synced(record);
        const auto host = received ? hosts.value(QWSyncedIdentity(*received)) : QWRef<QWManagedObject>();
        if (!host)
            continue;
        const bool hostWins = !receivedVersionWins(*received, synced(host)->dateModified());
        replacements.push_back({host, mainManagedObjectContext_->objectWithID(record->objectID()), hostWins});
    }
    qw::sync::replaceRecords(*mainManagedObjectContext_, replacements);
    for (const auto& [from, to, hostWins] : replacements) {
        synced(to)->resetDoNotUpdateDateModifiedDuringNextSave();
        if (hostWins)
            insertInSyncQueueManagedObject(*synced(to), QWDropboxSyncActionInsertOrUpdate);
    }
}

// A context of the host's own has saved.
void QWDropboxSyncCoreData::mainContextDidMerge(const QWDidSaveNotice& notice) {
    if (!syncSupportManagedObjectCopy_ || notice.context == syncSupportManagedObjectCopy_.get())
        return;
    QWManagedObjectSet saved;
    for (const auto& record : notice.inserted)
        saved.push_back(mainManagedObjectContext_->objectWithID(record->objectID()));
    replaceInsertionsOfBatch(saved);
    refreshBatch(notice);
}

// The host has saved records that the batch has inserted as well: the batch goes on with the host's. With two, each
// look-up would fail, also in the processes that follow.
void QWDropboxSyncCoreData::replaceInsertionsOfBatch(const QWManagedObjectSet& saved) {
    if (!syncSupportManagedObjectCopy_ || saved.empty())
        return;
    auto& context = *syncSupportManagedObjectCopy_;
    const Insertions received = insertionsOf(context);
    std::vector<RecordReplacement> replacements;
    for (const auto& record : saved) {
        const auto* host = synced(record);
        const auto insertion = host ? received.value(QWSyncedIdentity(*host)) : QWRef<QWManagedObject>();
        if (!insertion)
            continue;
        const bool receivedWins = receivedVersionWins(*synced(insertion), host->dateModified());
        if (!receivedWins)
            Q_EMIT versionGivesWay(*synced(insertion), synced(record));
        replacements.push_back({insertion, context.objectWithID(record->objectID()), receivedWins});
    }
    qw::sync::replaceRecords(context, replacements);
    for (const auto& [from, to, receivedWins] : replacements)
        if (!receivedWins)
            insertInSyncQueueManagedObject(*synced(to), QWDropboxSyncActionInsertOrUpdate);
}

// What the batch has read, and not received, is as the host has saved it since: what is received of it next is compared
// with that. (A record that the batch has linked another to is found there also when the store has it no more.)
void QWDropboxSyncCoreData::refreshBatch(const QWDidSaveNotice& notice) {
    if (!syncSupportManagedObjectCopy_)
        return;
    auto& context = *syncSupportManagedObjectCopy_;
    const auto readByBatch = [&](const QWRef<QWManagedObject>& saved) {
        const auto record = context.registeredObject(saved->objectID());
        const auto* object = synced(record);
        const bool isReceived = object && objectsReceived_.contains(QWSyncedIdentity(*object));
        return !record || record->isDeleted() || isReceived ? QWRef<QWManagedObject>() : record;
    };
    for (const auto& saved : notice.updated)
        if (const auto read = readByBatch(saved))
            context.refreshObject(*read, true);
    for (const auto& saved : notice.deleted)
        if (const auto read = readByBatch(saved))
            qw::sync::deleteWithoutRules(*read);
}
