#include "sync/QWDropboxSyncJournal.h"

#include "sync/QWDeltaSpecialActions_p.h"
#include "sync/QWDropboxSyncConstants.h"
#include "sync/QWSyncFileNames_p.h"

namespace {

const QString entityName = QStringLiteral("JournalEntry");

const QString fileNameKey = QStringLiteral("fileName");
const QString objectUUIDKey = QStringLiteral("objectUUID");
const QString objectEntityNameKey = QStringLiteral("objectEntityName");
const QString cursorKey = QStringLiteral("cursor");
// Without value where there was no FileMetadata.
const QString metadataFileNameKey = QStringLiteral("metadataFileName");
const QString revKey = QStringLiteral("rev");
const QString remoteHashKey = QStringLiteral("remoteHash");
const QString lastModifiedDateKey = QStringLiteral("lastModifiedDate");
// Without value where there was no row.
const QString rowActionKey = QStringLiteral("rowAction");
const QString rowCouldHaveAnImageKey = QStringLiteral("rowCouldHaveAnImage");
const QString rowDeletedVersionDateKey = QStringLiteral("rowDeletedVersionDate");

QString text(const QWManagedObject& entry, const QString& key) {
    return entry.valueForKey(key).toString();
}

QWFetchRequest entriesWith(const QString& key, const QString& value) {
    return QWFetchRequest(entityName, QWPredicate::comparison(key, QWPredicate::Operator::Equal, value,
                                                              QWPredicate::CaseInsensitive));
}

} // namespace

void QWDropboxSyncJournal::addEntity(QWManagedObjectModel& model) {
    auto& entry = model.addEntity(entityName);
    entry.addAttribute(fileNameKey, QWAttributeType::String).setIndexedFolded();
    entry.addAttribute(objectUUIDKey, QWAttributeType::String).setIndexedFolded();
    for (const auto& key : {objectEntityNameKey, cursorKey, metadataFileNameKey, revKey, remoteHashKey})
        entry.addAttribute(key, QWAttributeType::String);
    entry.addAttribute(lastModifiedDateKey, QWAttributeType::Date);
    entry.addAttribute(rowActionKey, QWAttributeType::Integer);
    entry.addAttribute(rowCouldHaveAnImageKey, QWAttributeType::Boolean);
    entry.addAttribute(rowDeletedVersionDateKey, QWAttributeType::Date);
}

QWDropboxSyncJournal::QWDropboxSyncJournal(
    std::shared_ptr<QWManagedObjectContext> dropboxCacheManagedObjectContext)
    : context_(dropboxCacheManagedObjectContext), fileMetadata_(std::move(dropboxCacheManagedObjectContext)) {
}

bool QWDropboxSyncJournal::isEmpty() const {
    return context_->count(QWFetchRequest(entityName)).value_or(0) == 0;
}

bool QWDropboxSyncJournal::note(const QString& fileName, const QString& uuid,
                                const QString& recordEntityName) {
    if (context_->count(entriesWith(fileNameKey, fileName)).value_or(0) > 0)
        return false;
    const auto entry = context_->insertObject(entityName);
    entry->setValueForKey(fileNameKey, fileName);
    entry->setValueForKey(objectUUIDKey, uuid);
    entry->setValueForKey(objectEntityNameKey, recordEntityName);
    if (const auto cursor = QWFindMetadata(*context_, QWDBMetadataCursorKey))
        entry->setValueForKey(cursorKey, cursor->value());
    if (const auto known = fileMetadata_.fileMetadataForFileName(fileName, false)) {
        entry->setValueForKey(metadataFileNameKey, known->fileName());
        entry->setValueForKey(revKey, known->rev());
        entry->setValueForKey(remoteHashKey, known->remoteHash());
        entry->setValueForKey(lastModifiedDateKey, known->lastModifiedDate());
    }
    if (const auto row = QWFindObjectWaitingSync(*context_, uuid)) {
        entry->setValueForKey(rowActionKey, static_cast<qlonglong>(row->action()));
        if (const auto couldHaveAnImage = row->objectCouldHaveAnImage())
            entry->setValueForKey(rowCouldHaveAnImageKey, *couldHaveAnImage);
        if (const QDateTime date = row->deletedVersionDate(); date.isValid())
            entry->setValueForKey(rowDeletedVersionDateKey, date);
    }
    return true;
}

bool QWDropboxSyncJournal::forget(const QWSyncedIdentity& identity) {
    bool found = false;
    for (const auto& entry :
         context_->fetch(entriesWith(objectUUIDKey, identity.uuid)).value_or(QWManagedObjectSet())) {
        if (text(*entry, objectEntityNameKey) != identity.entityName)
            continue;
        context_->deleteObject(*entry);
        found = true;
    }
    return found;
}

std::optional<QString>
QWDropboxSyncJournal::putBack(const std::function<bool(const QWSyncedIdentity&)>& isToBePutBack,
                              const std::function<bool(const QWSyncedIdentity&)>& isRecordHere) {
    std::optional<QString> cursor;
    // In the order in which they were made.
    for (const auto& entry : context_->fetch(QWFetchRequest(entityName)).value_or(QWManagedObjectSet())) {
        const QWSyncedIdentity identity(text(*entry, objectEntityNameKey), text(*entry, objectUUIDKey));
        if (!isToBePutBack(identity)) {
            if (cursor) // from which the changes are listed again, and which must not be passed by a later put-back
                entry->setValueForKey(cursorKey, *cursor);
            continue;
        }
        if (!cursor)
            cursor = text(*entry, cursorKey);
        putBack(*entry, isRecordHere(identity));
        context_->deleteObject(*entry);
    }
    return cursor;
}

// Where the record is here all the same, its file is known, if nothing of it: else its deletion, should that come
// before the file comes again, would be passed over.
void QWDropboxSyncJournal::putBack(const QWManagedObject& entry, bool isRecordHere) {
    const QString fileName = text(entry, fileNameKey);
    if (entry.valueForKey(metadataFileNameKey).isValid()) {
        const auto known = fileMetadata_.fileMetadataForFileName(fileName, true);
        known->setFileName(text(entry, metadataFileNameKey));
        known->setRev(text(entry, revKey));
        known->setRemoteHash(text(entry, remoteHashKey));
        known->setLastModifiedDate(entry.valueForKey(lastModifiedDateKey).toDateTime());
    } else if (isRecordHere && qw::sync::isRecordFile(fileName) && !qw::sync::isConflictedName(fileName)) {
        fileMetadata_.fileMetadataForFileName(fileName, true)->setRev(QString());
    } else {
        fileMetadata_.deleteDropboxFileMetadataWithName(fileName);
    }

    const QVariant action = entry.valueForKey(rowActionKey);
    const QString uuid = text(entry, objectUUIDKey);
    const QDateTime deletedVersionDate = entry.valueForKey(rowDeletedVersionDateKey).toDateTime();
    if (!action.isValid())
        return;
    if (const auto present = QWFindObjectWaitingSync(*context_, uuid)) {
        if (action.toInt() == QWDropboxSyncActionDelete && !isRecordHere) {
            present->setAction(QWDropboxSyncActionDelete);
            present->setDeletedVersionDate(deletedVersionDate);
        }
        return;
    }
    const auto row = QWInsertCacheRecord<ObjectWaitingSync>(*context_, QWDBEntityNameObjectWaitingSync);
    row->setObjectUUID(uuid);
    row->setObjectEntityName(text(entry, objectEntityNameKey));
    row->setAction(static_cast<qint16>(action.toInt()));
    const QVariant couldHaveAnImage = entry.valueForKey(rowCouldHaveAnImageKey);
    if (couldHaveAnImage.isValid())
        row->setObjectCouldHaveAnImage(couldHaveAnImage.toBool());
    row->setDeletedVersionDate(deletedVersionDate);
}
