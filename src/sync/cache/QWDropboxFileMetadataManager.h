#pragma once

#include "dropbox/DBDeltaEntry.h"
#include "dropbox/DBMetadata.h"
#include "store/QWManagedObjectContext.h"
#include "sync/cache/QWDropboxCacheModel.h"

#include <QUrl>

// What this client knows of the files of the app folder, kept as one FileMetadata for each file that it has
// sent, imported or had no use for: which entries of a delta are worth a download, whether an image must be
// uploaded, whether it is older than its remote copy. Names are told apart without regard to letter case.
//
// Never saves; whoever calls it saves the cache context. A fetch that fails reads as
// "no such file". Used on the thread of the context.
class QWDropboxFileMetadataManager {
public:
    explicit QWDropboxFileMetadataManager(
        std::shared_ptr<QWManagedObjectContext> dropboxCacheManagedObjectContext);

    // The record for a file name; null when there is none, unless it is to be made, spelt as given. Two
    // records are a programming error: assertion "[fetchedItems count] == 1".
    QWRef<FileMetadata> fileMetadataForFileName(const QString& fileName, bool createIfMissing) const;
    // Notes what the cloud holds now. `localPath` is where an image stands, which gets the remote date; other
    // files have none.
    void updateFileMetadataEquivalentToDropboxFileMetadata(const DBMetadata& metadata,
                                                           const QString& localPath = {});
    void deleteDropboxFileMetadataWithName(const QString& fileName);
    // What the cloud held by this record: path, revision, content hash and date; the length is not kept.
    static DBMetadata metadataOf(const FileMetadata& record);

    // Whether a delta entry is to be processed. Gives the entry its special action.
    bool isUsefullImportOfDropboxDeltaEntry(DBDeltaEntry& entry) const;
    DBDeltaEntrySpecialAction possibleSpecialActionForLowerCaseFileName(const QString& lowercasePath) const;
    bool isFileNameConflicted(const QString& lowercaseName) const;

    // Whether the image changed since its remote copy was written or received: its date is later than the one
    // recorded, or none is recorded. Never for a missing file.
    bool needsToUploadOfImageAtURL(const QUrl& url, const QString& destinationName) const;
    // Whether the image is older than `date`. Never for a missing file.
    bool isOudatedCoverImageAtURL(const QUrl& url, const QDateTime& date) const;
    void updateAttributesOfImageAtPath(const QString& path, const FileMetadata& metadata);

private:
    bool isUsefull(const DBDeltaEntry& entry, DBDeltaEntrySpecialAction action) const;
    QWFileManager& files() const;

    std::shared_ptr<QWManagedObjectContext> dropboxCacheManagedObjectContext_;
};
