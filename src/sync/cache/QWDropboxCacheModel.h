#pragma once

#include "store/QWManagedObjectContext.h"

#include <QDateTime>
#include <QString>
#include <memory>
#include <optional>
#include <vector>

// The engine's private store: which remote files it knows, what still has to be sent, and a few settings. The
// tables are described in docs/cache-schema.md. Every attribute is optional.

// One file of the app folder as this client last saw or wrote it.
class FileMetadata final : public QWManagedObject {
public:
    // The file's name as the cloud spells it, with its extension.
    QString fileName() const;
    void setFileName(const QString& fileName);
    // Sent as the parent revision with the next upload.
    QString rev() const;
    void setRev(const QString& rev);
    // The cloud's date and content hash of that revision.
    QDateTime lastModifiedDate() const;
    void setLastModifiedDate(const QDateTime& date);
    QString remoteHash() const;
    void setRemoteHash(const QString& hash);
};

// A local object whose latest change has not reached the cloud yet.
class ObjectWaitingSync final : public QWManagedObject {
public:
    QString objectUUID() const;
    void setObjectUUID(const QString& uuid);
    QString objectEntityName() const;
    void setObjectEntityName(const QString& entityName);
    // A QWDropboxSyncAction; 0 in a new row.
    qint16 action() const;
    void setAction(qint16 action);
    // Whether the object had an image when the row was made; nothing when that was not noted.
    std::optional<bool> objectCouldHaveAnImage() const;
    void setObjectCouldHaveAnImage(std::optional<bool> couldHave);
    // The modification date that the object had when its deletion was first queued; invalid when it had none.
    QDateTime deletedVersionDate() const;
    void setDeletedVersionDate(const QDateTime& date);

    // Not stored: they live as long as somebody holds the row.

    // The object has changed again while its files are in flight.
    bool objectModifiedWhileUploading() const { return objectModifiedWhileUploading_; }
    void setObjectModifiedWhileUploading(bool modified) { objectModifiedWhileUploading_ = modified; }
    // Uploads or deletions of this object that the cloud has not answered.
    quint64 numberOfFilesUploadingToDropbox() const { return numberOfFilesUploadingToDropbox_; }
    void setNumberOfFilesUploadingToDropbox(quint64 number) { numberOfFilesUploadingToDropbox_ = number; }

private:
    quint64 numberOfFilesUploadingToDropbox_ = 0;
    bool objectModifiedWhileUploading_ = false;
};

// One setting of the engine by key.
class Metadata final : public QWManagedObject {
public:
    QString key() const;
    void setKey(const QString& key);
    QString value() const; // null when it was never set
    void setValue(const QString& value);
};

// Every entity of the cache file, the journal's included: a file that is opened with fewer loses the others.
std::shared_ptr<QWManagedObjectModel> QWMakeDropboxCacheModel();

// A new record of one of these classes.
template <class Record>
QWRef<Record> QWInsertCacheRecord(QWManagedObjectContext& context, const QString& entityName) {
    return QWRef<Record>(static_cast<Record*>(context.insertObject(entityName).data()));
}

// The records of one of these classes that a request finds; none when it fails.
template <class Record>
std::vector<QWRef<Record>> QWFetchCacheRecords(QWManagedObjectContext& context,
                                               const QWFetchRequest& request) {
    std::vector<QWRef<Record>> records;
    if (const auto found = context.fetch(request))
        for (const auto& record : *found)
            records.emplace_back(static_cast<Record*>(record.data()));
    return records;
}

// The row of an object, and the setting of a key; null when there is none. Two rows of one object are a
// programming error: assertion "[fetchedObjects count] == 1".
QWRef<ObjectWaitingSync> QWFindObjectWaitingSync(QWManagedObjectContext& context, const QString& objectUUID);
QWRef<Metadata> QWFindMetadata(QWManagedObjectContext& context, const QString& key);

// The rows of the objects whose deletion has not reached the cloud yet.
QWFetchRequest QWRequestOfWaitingDeletions();
