#include "sync/QWResetListing.h"

#include "platform/text/QWText.h"
#include "sync/QWDropboxSyncConstants.h"
#include "sync/QWSyncFileNames_p.h"

namespace {

// Directly in it: files further down and folders of a longer name are those of others.
bool isFileOfSyncFolder(const QString& path) {
    return qw::sync::isSyncFolder(path.section(QLatin1Char('/'), 0, -2));
}

} // namespace

void QWResetListing::queryBegan() {
    if (unansweredQueries_++ == 0 && !listing_)
        written_.clear();
}

void QWResetListing::queryFailed() {
    --unansweredQueries_;
}

void QWResetListing::fileWritten(const QString& fileName) {
    if (unansweredQueries_ > 0 || listing_)
        written_.insert(qw::text::foldCase(fileName));
}

bool QWResetListing::pageArrived(const QList<DBDeltaEntryRef>& entries, bool reset, bool hasMore) {
    --unansweredQueries_;
    if (reset)
        listing_.emplace(Listing{{}, false});
    if (!listing_)
        return false;
    for (const auto& entry : entries) {
        if (!entry->metadata)
            continue;
        const bool isFile = isFileOfSyncFolder(entry->lowercasePath);
        listing_->holdsSyncFolder |= isFile || qw::sync::isSyncFolder(entry->lowercasePath);
        if (isFile || qw::sync::isPreferencesFile(entry->lowercasePath))
            listing_->fileNames.insert(qw::text::foldCase(entry->metadata->filename()));
    }
    return !hasMore && unansweredQueries_ == 0;
}

bool QWResetListing::holds(const QString& fileName) const {
    return listing_ && listing_->fileNames.contains(qw::text::foldCase(fileName));
}

bool QWResetListing::lacks(const QString& fileName) const {
    return !holds(fileName) && !written_.contains(qw::text::foldCase(fileName));
}

QList<DBDeltaEntryRef> QWResetListing::deletions(const QStringList& knownFileNames) const {
    QSet<QString> paths;
    for (const QString& fileName : knownFileNames) {
        if (!lacks(fileName))
            continue;
        if (qw::sync::isPreferencesFile(QLatin1Char('/') + fileName))
            paths.insert(QWDBFileSyncedPreferencesInDropboxFolder);
        else if (listing_->holdsSyncFolder)
            paths.insert(qw::sync::remotePath(fileName));
        else
            paths.insert(QWDBFileCacheDirectoryInDropboxFolder);
    }
    QList<DBDeltaEntryRef> deletions;
    for (const QString& path : paths)
        deletions.append(DBMakeDeltaEntry(qw::text::lowercase(path)));
    return deletions;
}

void QWResetListing::end() {
    listing_.reset();
}
