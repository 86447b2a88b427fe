#include "sync/cache/QWDropboxFileMetadataManager.h"

#include "platform/QWAssert.h"
#include "platform/text/QWText.h"
#include "sync/QWDeltaSpecialActions_p.h"
#include "sync/QWDropboxSyncConstants.h"
#include "sync/QWSyncFileNames_p.h"

QWDropboxFileMetadataManager::QWDropboxFileMetadataManager(
    std::shared_ptr<QWManagedObjectContext> dropboxCacheManagedObjectContext)
    : dropboxCacheManagedObjectContext_(std::move(dropboxCacheManagedObjectContext)) {}

QWFileManager& QWDropboxFileMetadataManager::files() const {
    return dropboxCacheManagedObjectContext_->environment().files();
}

QWRef<FileMetadata> QWDropboxFileMetadataManager::fileMetadataForFileName(const QString& fileName,
                                                                          bool createIfMissing) const {
    const QWFetchRequest request(QWDBEntityNameFileMetadata,
                                 QWPredicate::comparison("fileName", QWPredicate::Operator::Equal, fileName,
                                                         QWPredicate::CaseInsensitive));
    const auto fetchedItems = QWFetchCacheRecords<FileMetadata>(*dropboxCacheManagedObjectContext_, request);
    if (!fetchedItems.empty()) {
        QWAssert(fetchedItems.size() == 1, "[fetchedItems count] == 1",
                 "-[QWDropboxFileMetadataManager fileMetadataForFileName:createIfMissing:]");
        return fetchedItems.front();
    }
    if (!createIfMissing)
        return {};
    const auto metadata =
        QWInsertCacheRecord<FileMetadata>(*dropboxCacheManagedObjectContext_, QWDBEntityNameFileMetadata);
    metadata->setFileName(fileName);
    return metadata;
}

void QWDropboxFileMetadataManager::updateFileMetadataEquivalentToDropboxFileMetadata(
    const DBMetadata& metadata, const QString& localPath) {
    const auto known = fileMetadataForFileName(metadata.filename(), true);
    known->setRemoteHash(metadata.hash);
    known->setRev(metadata.rev);
    known->setLastModifiedDate(metadata.lastModifiedDate);
    if (qw::sync::isImageFile(metadata.filename()))
        updateAttributesOfImageAtPath(localPath, *known);
}

void QWDropboxFileMetadataManager::deleteDropboxFileMetadataWithName(const QString& fileName) {
    if (const auto known = fileMetadataForFileName(fileName, false))
        dropboxCacheManagedObjectContext_->deleteObject(*known);
}

DBMetadata QWDropboxFileMetadataManager::metadataOf(const FileMetadata& record) {
    DBMetadata metadata;
    metadata.path = qw::sync::remotePath(record.fileName());
    metadata.rev = record.rev();
    metadata.hash = record.remoteHash();
    metadata.lastModifiedDate = record.lastModifiedDate();
    return metadata;
}

bool QWDropboxFileMetadataManager::isUsefullImportOfDropboxDeltaEntry(DBDeltaEntry& entry) const {
    const auto action = possibleSpecialActionForLowerCaseFileName(entry.lowercasePath);
    const bool usefull = isUsefull(entry, action);
    entry.specialAction = usefull ? action : SpecialActionNone;
    return usefull;
}

bool QWDropboxFileMetadataManager::isUsefull(const DBDeltaEntry& entry,
                                             DBDeltaEntrySpecialAction action) const {
    if (!qw::sync::isInSyncFolder(entry.lowercasePath))
        return action == SpecialActionSyncedPreferences;
    switch (action) {
    case SpecialActionSyncCacheFolder:
        return !entry.metadata;
    case SpecialActionConflictedCopy:
        return entry.metadata && !entry.metadata->isDirectory;
    case SpecialActionSyncedPreferences:
        return false;
    case SpecialActionNone:
        break;
    }
    if (entry.metadata) {
        if (entry.metadata->isDirectory)
            return false;
        const auto known = fileMetadataForFileName(entry.metadata->filename(), false);
        return !known || known->rev() != entry.metadata->rev;
    }
    // An image goes with its record, and a file that was never known has nothing to delete.
    const QString name = qw::text::lastPathComponent(entry.lowercasePath);
    return qw::sync::isRecordFile(name) && fileMetadataForFileName(name, false);
}

DBDeltaEntrySpecialAction
QWDropboxFileMetadataManager::possibleSpecialActionForLowerCaseFileName(const QString& lowercasePath) const {
    return qw::sync::specialActionForPath(lowercasePath);
}

bool QWDropboxFileMetadataManager::isFileNameConflicted(const QString& lowercaseName) const {
    return qw::sync::isConflictedName(lowercaseName);
}

bool QWDropboxFileMetadataManager::needsToUploadOfImageAtURL(const QUrl& url,
                                                             const QString& destinationName) const {
    const QString path = url.toLocalFile();
    if (path.isEmpty() || !files().exists(path))
        return false;
    const auto known = fileMetadataForFileName(destinationName, false);
    if (!known)
        return true;
    const auto date = files().modificationDate(path);
    return date && *date > known->lastModifiedDate(); // a missing date is earlier than any
}

bool QWDropboxFileMetadataManager::isOudatedCoverImageAtURL(const QUrl& url, const QDateTime& date) const {
    const auto own = files().modificationDate(url.toLocalFile());
    return own && *own < date;
}

void QWDropboxFileMetadataManager::updateAttributesOfImageAtPath(const QString& path,
                                                                 const FileMetadata& metadata) {
    if (!path.isEmpty() && files().exists(path) && metadata.lastModifiedDate().isValid())
        files().setModificationDate(path, metadata.lastModifiedDate());
}
