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
        if (isFile)
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
    QList<DBDeltaEntryRef> deletions;
    for (const QString& fileName : knownFileNames) {
        if (!lacks(fileName))
            continue;
        if (!listing_->holdsSyncFolder)
            return {DBMakeDeltaEntry(qw::text::lowercase(QWDBFileCacheDirectoryInDropboxFolder))};
        deletions.append(DBMakeDeltaEntry(qw::text::lowercase(qw::sync::remotePath(fileName))));
    }
    return deletions;
}

void QWResetListing::end() {
    listing_.reset();
}
