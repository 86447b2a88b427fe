// Answers of the cloud, before the engine has them. What the engine is not told of, it waits for: it is
// repeated, or comes again after a restart.
#include "sync/supervisor/QWSyncSupervisor.h"

#include "platform/text/QWText.h"
#include "sync/QWDeltaSpecialActions_p.h"
#include "sync/QWRequestFailure_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/supervisor/QWDeletionGuard_p.h"
#include "sync/supervisor/QWImageKeeper_p.h"
#include "sync/supervisor/QWModelRefusals_p.h"
#include "sync/supervisor/QWPreferencesKeeper_p.h"
#include "sync/supervisor/QWPresentVersions_p.h"
#include "sync/supervisor/QWRecordKeeper_p.h"

using qw::sync::isSyncFolder;
using qw::sync::requestFailure;
using qw::sync::RequestFailure;

void QWSyncSupervisor::finish(const std::function<void(DBRestClientDelegate&)>& answer) {
    --requestsOut_;
    if (auto* to = delegate())
        callEngine([&] { answer(*to); });
    lookSoon();
}

// What was asked --------------------------------------------------------------------------------------------

namespace {

// Of several about one path. An answer does not tell which of them it is to, but a token that is refused is the oldest:
// the host has another one since, which is not to be blamed for it. Of other answers those to late requests come last.
template <typename Request>
std::optional<Request> takeOne(QMultiHash<QString, Request>& out, const QString& path,
                               const QWError& failure) {
    auto found = out.find(path); // the latest
    if (found == out.end())
        return {};
    if (requestFailure(failure) == RequestFailure::TokenRefused)
        for (auto older = std::next(found); older != out.end() && older.key() == path; ++older)
            found = older;
    const Request request = *found;
    out.erase(found);
    return request;
}

} // namespace

auto QWSyncSupervisor::take(FileRequests& out, const QString& path, const QWError& failure)
    -> std::optional<FileRequest> {
    return takeOne(out, path, failure);
}

std::optional<int> QWSyncSupervisor::takeQuery() {
    return queriesOut_.isEmpty() ? std::nullopt : std::optional(queriesOut_.takeFirst());
}

std::optional<int> QWSyncSupervisor::takeLookUp(const QString& path, const QWError& failure) {
    return takeOne(lookUpsOut_, qw::text::lowercase(path), failure);
}

// The host is asked to sign in once, whatever was out then: with the next token these have failed as others do.
QWError QWSyncSupervisor::failureOf(const QWError& error, int generation) const {
    QWError failure = error;
    if (generation < refusedBefore_ && requestFailure(error) == RequestFailure::TokenRefused)
        failure.code = 0;
    return failure;
}

// Queries ---------------------------------------------------------------------------------------------------

// The engine counts its queries, and would work on the page of one that it was deactivated in. Which of several it is does
// not matter, since all began at the saved cursor.
void QWSyncSupervisor::takeBackQuery() {
    finish([&](auto&) { engine_->takeBackDeltaQuery(engine_->status()); });
}

// A listing without a cursor tells of no deletion, as one whose cursor was lost; files may be known all the
// same, which were sent before it was asked for or received in a batch that was not finished.
void QWSyncSupervisor::restClientLoadedDeltaEntries(DBRestClient&, const QList<DBDeltaEntryRef>& entries,
                                                    bool reset, const QString& cursor, bool hasMore) {
    const auto asked = takeQuery();
    if (!asked)
        return;
    if (*asked != generation_)
        return takeBackQuery();
    QStringList ownCopies, preferencesCopies;
    const auto kept = images_->preparePage(entries, !hasMore, ownCopies);
    for (const auto& entry : kept) {
        preferences_->prepareEntry(*entry, preferencesCopies);
        records_->prepareEntry(*entry, isDeletionDue(entry->lowercasePath));
    }
    sendAgainWhatIsDeleted(kept);
    const bool isFirstPage = std::exchange(asksFromScratch_, false) || reset;
    arrivesFromScratch_ |= isFirstPage;
    finish([&](auto& to) { to.restClientLoadedDeltaEntries(*this, kept, isFirstPage, cursor, hasMore); });
    for (const QString& copy : ownCopies)
        sendConflictedImage(copy);
    for (const QString& copy : preferencesCopies)
        deletePath(copy);
}

// One of an earlier activity has no row any more; one that is to be repeated is not out.
bool QWSyncSupervisor::isDeletionDue(const QString& lowercasePath) const {
    const QString fileName = qw::text::lastPathComponent(lowercasePath);
    return deletionsOut_.contains(lowercasePath)
           || (engine_->objectSyncingForFileWithName(fileName)
               && !recordsInFlight_.contains(qw::sync::uuidNamedByFile(fileName)));
}

// What is in flight may have been in the cloud before, and deleted with the sync folder. Where the engine knows the file,
// it deletes the record, and the row goes with it. An image counts as not sent then, whatever the answer to it says.
void QWSyncSupervisor::sendAgainWhatIsDeleted(const QList<DBDeltaEntryRef>& page) {
    for (const auto& entry : page) {
        const bool isFolderDeleted = !entry->metadata && isSyncFolder(entry->lowercasePath);
        bool isDeletion = qw::sync::isDeletionOfRecordFile(*entry);
        for (FileRequest& upload : uploadsOut_) {
            if (!isFolderDeleted && upload.path != entry->lowercasePath)
                continue;
            upload.isDeletedSince = !entry->metadata;
            isDeletion |= upload.isDeletedSince;
        }
        if (isFolderDeleted)
            for (const QString& uuid : recordsInFlight_.keys())
                sendAgainWhatIsInFlight(uuid);
        else if (isDeletion)
            sendAgainWhatIsInFlight(
                qw::sync::uuidNamedByFile(qw::text::lastPathComponent(entry->lowercasePath)));
    }
}

// A listing from scratch tells of no deletion. What it lacks may have been sent before it was made, and deleted since, or
// have come too late for it: of what is in flight the same bytes change nothing where the cloud holds the file. A record
// is in flight for as long as its image is, its own file may have been answered for.
void QWSyncSupervisor::sendAgainWhatIsMissing(const QStringList& fileNames,
                                              const QStringList& writtenMeanwhile) {
    for (const QString& name : fileNames) {
        const QString path = qw::text::lowercase(qw::sync::remotePath(name));
        bool isToBeSent =
            qw::sync::isRecordFile(name) && !qw::sync::isConflictedName(qw::text::lowercase(name));
        for (FileRequest& upload : uploadsOut_)
            if (upload.path == path)
                isToBeSent = upload.isDeletedSince = true;
        if (isToBeSent)
            sendAgainWhatIsInFlight(qw::sync::uuidNamedByFile(name));
    }
    images_->noteMissing(writtenMeanwhile);
    records_->noteMissing(writtenMeanwhile);
    if (preferences_->noteMissing(writtenMeanwhile))
        engine_->uploadSyncedPreferences();
}

void QWSyncSupervisor::sendAgainWhatIsInFlight(const QString& uuid) {
    const auto row = recordsInFlight_.contains(uuid)
                         ? QWFindObjectWaitingSync(*engine_->dropboxCacheManagedObjectContext(), uuid)
                         : QWRef<ObjectWaitingSync>();
    if (row)
        row->setObjectModifiedWhileUploading(true);
}

void QWSyncSupervisor::restClientLoadDeltaFailedWithError(DBRestClient&, const QWError& given) {
    const auto asked = takeQuery();
    if (!asked)
        return;
    const QWError error = failureOf(given, *asked);
    if (*asked != generation_ && requestFailure(error) != RequestFailure::TokenRefused)
        return takeBackQuery();
    hasLastQueryFailed_ = true;
    finish([&](auto& to) { to.restClientLoadDeltaFailedWithError(*this, error); });
    Q_EMIT queryFailed(error.message);
}

// Downloads -------------------------------------------------------------------------------------------------

// What an earlier activity has asked for comes again, unless it was deleted since.
void QWSyncSupervisor::restClientLoadedFile(DBRestClient&, const QString& localPath,
                                            const QString& contentType, const DBMetadata& metadata) {
    const auto asked = take(downloadsOut_, qw::text::lowercase(metadata.path));
    if (!asked)
        return;
    refusals_.remove(metadata.filename());
    if (qw::sync::isPreferencesFile(metadata.path))
        return preferencesLoaded(contentType, metadata);
    if (!isActive() || asked->generation != generation_)
        return finish([&](auto&) {
            if (asked->next)
                asked->next();
        });
    QWImportVerdict verdict;
    if (!qw::sync::belongsToEntity(*engine_, metadata.filename()))
        verdict.reason = QStringLiteral("it belongs to no entity");
    else if (qw::sync::isRecordFile(localPath) && modelRefusals_->refusesFile(metadata))
        verdict = {QStringLiteral("the model refuses it"), QWImportVerdict::Declined};
    else if (qw::sync::isRecordFile(localPath))
        verdict = records_->prepareImport(localPath, metadata);
    else
        verdict = images_->prepareImport(localPath, metadata);
    const QString reason = verdict.reason;
    if (verdict.what == QWImportVerdict::Later)
        return finish([&](auto&) {
            repeatLater("restClient:loadedFile:", {QStringLiteral("sync"), 1, reason}, [=, this] {
                ++requestsOut_;
                downloadsOut_.insert(qw::text::lowercase(metadata.path), {generation_, {}, nullptr});
                restClientLoadedFile(*this, localPath, contentType, metadata);
            });
        });
    if (verdict.what == QWImportVerdict::ForEngine && qw::sync::isRecordFile(localPath))
        modelRefusals_->noteImport(metadata);
    finish([&](auto& to) {
        if (verdict.what == QWImportVerdict::ForEngine)
            to.restClientLoadedFile(*this, localPath, contentType, metadata);
        else if (verdict.what == QWImportVerdict::Declined)
            engine_->declineFile(localPath, metadata);
        else
            engine_->leaveOutFile(metadata.filename());
    });
    if (verdict.what != QWImportVerdict::LeftOut)
        for (const QString& path : {images_->finishImport(localPath, metadata), records_->takeDeletionDue()})
            if (!path.isEmpty())
                deletePath(path);
    ++(reason.isEmpty() ? counts_.received : counts_.declined);
    if (reason.isEmpty())
        Q_EMIT fileReceived(metadata.filename());
    else
        Q_EMIT fileDeclined(metadata.filename(), reason);
}

// A file that the service gives nobody (its tag is then restricted_content or unsupported_file) would hold its
// batch, and whatever comes behind, for ever. It is left out when it has been refused so often in a row.
bool QWSyncSupervisor::isRefusedForGood(const QString& fileName, const QWError& error) {
    constexpr int mostRefusals = 3;
    if (error.code != 409 || ++refusals_[fileName] < mostRefusals)
        return false;
    refusals_.remove(fileName);
    return true;
}

void QWSyncSupervisor::restClientLoadFileFailedWithError(DBRestClient&, const QWError& given) {
    const QString path = given.userInfo.value("path").toString();
    const auto asked = take(downloadsOut_, qw::text::lowercase(path), given);
    if (!asked)
        return;
    const QWError error = failureOf(given, asked->generation);
    if (qw::sync::isPreferencesFile(path))
        return preferencesNotLoaded(path, error);
    const QString destinationPath = error.userInfo.value("destinationPath").toString();
    const QString fileName = qw::text::lastPathComponent(path);
    const RequestFailure failure = requestFailure(error);
    const bool isRefused = isRefusedForGood(fileName, error);
    isRestartDue_ |= failure == RequestFailure::FileGone && isActive();
    if (failure == RequestFailure::FileGone)
        images_->noteNotFound(fileName);
    else if (isRefused)
        images_->noteGone(fileName);
    finish([&](auto& to) {
        const bool isGone = failure == RequestFailure::FileGone && isActive() && !asked->next && !isRefused;
        if (failure == RequestFailure::TokenRefused || isGone)
            to.restClientLoadFileFailedWithError(*this, error);
        else if (asked->next)
            asked->next();
        else if (isRefused && isActive())
            engine_->leaveOutFile(fileName);
        else if (failure == RequestFailure::Transient && asked->generation == generation_)
            repeatLater("restClient:loadFileFailedWithError:", error,
                        [=, this] { requestDownload(path, destinationPath); });
    });
    fail(path, error);
}

// Metadata --------------------------------------------------------------------------------------------------

// The cloud has made a conflicted copy of this desktop's image, which is the later one: it is sent again, as
// the next version of what stands in its place.
void QWSyncSupervisor::sendConflictedImage(const QString& copy) {
    const QString path = images_->pathOf(copy);
    imageCopies_.insert(qw::text::lowercase(path), copy);
    lookUp(path);
}

void QWSyncSupervisor::finishConflictedImage(const QString& copy, const std::optional<DBMetadata>& standing) {
    finish([&](auto&) {
        images_->queueConflicted(copy, standing);
        sendWaiting();
    });
    deletePath(qw::sync::remotePath(copy));
}

void QWSyncSupervisor::restClientLoadedMetadata(DBRestClient&, const DBMetadata& metadata) {
    if (!takeLookUp(metadata.path))
        return;
    if (const QString copy = imageCopies_.take(qw::text::lowercase(metadata.path)); !copy.isEmpty())
        return finishConflictedImage(copy, metadata);
    if (isSyncFolder(metadata.path))
        folderFound();
    if (qw::sync::isPreferencesFile(metadata.path))
        isLookingForPreferences_ = false;
    finish([&](auto& to) {
        if (isActive())
            to.restClientLoadedMetadata(*this, metadata);
    });
}

void QWSyncSupervisor::restClientLoadMetadataFailedWithError(DBRestClient&, const QWError& given) {
    const QString path = given.userInfo.value("path").toString();
    const auto asked = takeLookUp(path, given);
    if (!asked)
        return;
    const QWError error = failureOf(given, *asked);
    const RequestFailure failure = requestFailure(error);
    const QString copy = imageCopies_.take(qw::text::lowercase(path));
    if (!copy.isEmpty() && failure == RequestFailure::FileGone)
        return finishConflictedImage(copy, {});
    if (!copy.isEmpty() && failure == RequestFailure::Transient)
        return finish([&](auto&) {
            repeatLater("restClient:loadMetadataFailedWithError:", error,
                        [=, this] { sendConflictedImage(copy); });
        });
    if (isSyncFolder(path) && failure == RequestFailure::FileGone)
        deletionGuard_->setFolderMissing(true);
    if (isSyncFolder(path) && failure != RequestFailure::Transient)
        folderFound();
    else if (isSyncFolder(path) && *asked == generation_)
        lookUpFolderAgain();
    if (qw::sync::isPreferencesFile(path))
        preferencesLookUpFailed(error);
    finish([&](auto& to) {
        if (isActive() || failure == RequestFailure::TokenRefused)
            to.restClientLoadMetadataFailedWithError(*this, error);
    });
    if (failure != RequestFailure::FileGone)
        Q_EMIT queryFailed(error.message);
}

void QWSyncSupervisor::fail(const QString& path, const QWError& error) {
    ++counts_.failed;
    Q_EMIT fileFailed(qw::text::lastPathComponent(path), error.message);
}
