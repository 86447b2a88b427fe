#include "sync/cache/QWDropboxCacheModel.h"

#include "platform/QWAssert.h"
#include "sync/QWDropboxSyncConstants.h"
#include "sync/QWDropboxSyncJournal.h"
#include "sync/cache/QWArchivedVersionRow_p.h"
#include "sync/cache/QWRememberedFiles.h"

namespace {

const QString fileNameKey = QStringLiteral("fileName");
const QString revKey = QStringLiteral("rev");
const QString lastModifiedDateKey = QStringLiteral("lastModifiedDate");
const QString remoteHashKey = QStringLiteral("remoteHash");
const QString objectUUIDKey = QStringLiteral("objectUUID");
const QString objectEntityNameKey = QStringLiteral("objectEntityName");
const QString actionKey = QStringLiteral("action");
const QString objectCouldHaveAnImageKey = QStringLiteral("objectCouldHaveAnImage");
const QString deletedVersionDateKey = QStringLiteral("deletedVersionDate");
const QString keyKey = QStringLiteral("key");
const QString valueKey = QStringLiteral("value");

} // namespace

std::shared_ptr<QWManagedObjectModel> QWMakeDropboxCacheModel() {
    auto model = std::make_shared<QWManagedObjectModel>();

    auto& file = model->addEntity<FileMetadata>(QWDBEntityNameFileMetadata);
    file.addAttribute(fileNameKey, QWAttributeType::String).setIndexedFolded();
    file.addAttribute(revKey, QWAttributeType::String);
    file.addAttribute(lastModifiedDateKey, QWAttributeType::Date);
    file.addAttribute(remoteHashKey, QWAttributeType::String);

    auto& waiting = model->addEntity<ObjectWaitingSync>(QWDBEntityNameObjectWaitingSync);
    waiting.addAttribute(objectUUIDKey, QWAttributeType::String).setIndexed();
    waiting.addAttribute(objectEntityNameKey, QWAttributeType::String);
    waiting.addAttribute(actionKey, QWAttributeType::Integer).setDefault(0);
    waiting.addAttribute(objectCouldHaveAnImageKey, QWAttributeType::Boolean);
    waiting.addAttribute(deletedVersionDateKey, QWAttributeType::Date);

    auto& setting = model->addEntity<Metadata>(QWDBEntityNameMetadata);
    setting.addAttribute(keyKey, QWAttributeType::String).setIndexed();
    setting.addAttribute(valueKey, QWAttributeType::String);

    QWDropboxSyncJournal::addEntity(*model);
    QWRememberedFiles::addEntity(*model);
    qw::sync::archivedVersionRow::addEntity(*model);
    return model;
}

QString FileMetadata::fileName() const {
    return valueForKey(fileNameKey).toString();
}
void FileMetadata::setFileName(const QString& fileName) {
    setValueForKey(fileNameKey, fileName);
}
QString FileMetadata::rev() const {
    return valueForKey(revKey).toString();
}
void FileMetadata::setRev(const QString& rev) {
    setValueForKey(revKey, rev);
}
QDateTime FileMetadata::lastModifiedDate() const {
    return valueForKey(lastModifiedDateKey).toDateTime();
}
void FileMetadata::setLastModifiedDate(const QDateTime& date) {
    setValueForKey(lastModifiedDateKey, date.isValid() ? QVariant(date) : QVariant());
}
QString FileMetadata::remoteHash() const {
    return valueForKey(remoteHashKey).toString();
}
void FileMetadata::setRemoteHash(const QString& hash) {
    setValueForKey(remoteHashKey, hash);
}

QString ObjectWaitingSync::objectUUID() const {
    return valueForKey(objectUUIDKey).toString();
}
void ObjectWaitingSync::setObjectUUID(const QString& uuid) {
    setValueForKey(objectUUIDKey, uuid);
}
QString ObjectWaitingSync::objectEntityName() const {
    return valueForKey(objectEntityNameKey).toString();
}
void ObjectWaitingSync::setObjectEntityName(const QString& entityName) {
    setValueForKey(objectEntityNameKey, entityName);
}
qint16 ObjectWaitingSync::action() const {
    return static_cast<qint16>(valueForKey(actionKey).toInt());
}
void ObjectWaitingSync::setAction(qint16 action) {
    setValueForKey(actionKey, static_cast<qlonglong>(action));
}
std::optional<bool> ObjectWaitingSync::objectCouldHaveAnImage() const {
    const QVariant value = valueForKey(objectCouldHaveAnImageKey);
    return value.isValid() ? std::optional(value.toBool()) : std::nullopt;
}
void ObjectWaitingSync::setObjectCouldHaveAnImage(std::optional<bool> couldHave) {
    setValueForKey(objectCouldHaveAnImageKey, couldHave ? QVariant(*couldHave) : QVariant());
}
QDateTime ObjectWaitingSync::deletedVersionDate() const {
    return valueForKey(deletedVersionDateKey).toDateTime();
}
void ObjectWaitingSync::setDeletedVersionDate(const QDateTime& date) {
    setValueForKey(deletedVersionDateKey, date.isValid() ? QVariant(date) : QVariant());
}

QString Metadata::key() const {
    return valueForKey(keyKey).toString();
}
void Metadata::setKey(const QString& key) {
    setValueForKey(keyKey, key);
}
QString Metadata::value() const {
    return valueForKey(valueKey).toString();
}
void Metadata::setValue(const QString& value) {
    setValueForKey(valueKey, value);
}

QWRef<ObjectWaitingSync> QWFindObjectWaitingSync(QWManagedObjectContext& context, const QString& objectUUID) {
    const QWFetchRequest request(
        QWDBEntityNameObjectWaitingSync,
        QWPredicate::comparison(objectUUIDKey, QWPredicate::Operator::Equal, objectUUID));
    const auto fetchedObjects = QWFetchCacheRecords<ObjectWaitingSync>(context, request);
    QWAssert(fetchedObjects.size() <= 1, "[fetchedObjects count] == 1",
             "-[QWDropboxSyncCoreData objectWaitingSyncForObject:createIfNotExisting:]");
    return fetchedObjects.empty() ? QWRef<ObjectWaitingSync>() : fetchedObjects.front();
}

QWRef<Metadata> QWFindMetadata(QWManagedObjectContext& context, const QString& key) {
    const QWFetchRequest request(QWDBEntityNameMetadata,
                                 QWPredicate::comparison(keyKey, QWPredicate::Operator::Equal, key));
    const auto found = QWFetchCacheRecords<Metadata>(context, request);
    return found.empty() ? QWRef<Metadata>() : found.front();
}

QWFetchRequest QWRequestOfWaitingDeletions() {
    return QWFetchRequest(
        QWDBEntityNameObjectWaitingSync,
        QWPredicate::comparison(actionKey, QWPredicate::Operator::Equal, QWDropboxSyncActionDelete));
}
