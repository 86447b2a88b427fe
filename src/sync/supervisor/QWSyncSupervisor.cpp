// What is due, and the calls of the engine that it leads to: a request that the engine makes inside one belongs to what
// is under way, any other comes from a timer of its own.
//
// Invariant:
// - Nothing is repeated, restarted or asked for while the engine is not active, nor what an earlier activity
//   has left.
#include "sync/supervisor/QWSyncSupervisor.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "sync/QWSyncLog_p.h"
#include "sync/supervisor/QWDeletionGuard_p.h"
#include "sync/supervisor/QWImageKeeper_p.h"
#include "sync/supervisor/QWLosingVersions_p.h"
#include "sync/supervisor/QWModelRefusals_p.h"
#include "sync/supervisor/QWPreferencesKeeper_p.h"
#include "sync/supervisor/QWRecordKeeper_p.h"
#include "sync/supervisor/QWVersionArchive.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace {

constexpr auto retryPause = std::chrono::seconds(int(QWDBTimeScheduleErrorRetryInterval));
constexpr auto pollPause = std::chrono::seconds(int(QWDBTimeScheduleDeltaDownloadInterval));
constexpr auto longestFolderLookupPause = 10min;
constexpr auto restartPause = 1min;
// A timer of the real run loop may fire a little early.
constexpr auto timerTolerance = 1s;

} // namespace

std::shared_ptr<QWSyncSupervisor> QWSyncSupervisor::create(QWDropboxSyncCoreData& engine,
                                                           std::shared_ptr<DBRestClient> client) {
    return std::shared_ptr<QWSyncSupervisor>(new QWSyncSupervisor(engine, std::move(client)));
}

QWSyncSupervisor::QWSyncSupervisor(QWDropboxSyncCoreData& engine, std::shared_ptr<DBRestClient> client)
    : engine_(&engine), client_(std::move(client)), deletionGuard_(std::make_unique<QWDeletionGuard>(engine)),
      archive_(std::make_unique<QWVersionArchive>(engine)),
      losingVersions_(std::make_unique<QWLosingVersions>(engine, *archive_)),
      images_(std::make_unique<QWImageKeeper>(engine, *losingVersions_)),
      records_(std::make_unique<QWRecordKeeper>(engine, *images_, *losingVersions_)),
      modelRefusals_(std::make_unique<QWModelRefusals>(engine)),
      preferences_(std::make_unique<QWPreferencesKeeper>(engine)), status_(engine.status()),
      statusBefore_(engine.status()), folderLookupPause_(retryPause) {
    client_->setDelegate(this, this);
    connect(engine_, &QWDropboxSyncCoreData::statusChanged, this, &QWSyncSupervisor::statusChanged);
    connect(engine_, &QWDropboxSyncCoreData::listingLacks, this,
            [this](const QStringList& fileNames, const QStringList& writtenMeanwhile) {
                images_->noteMissing(fileNames);
                preferences_->noteMissing(fileNames);
                sendAgainWhatIsMissing(fileNames, writtenMeanwhile);
            });
    connect(engine_, &QWDropboxSyncCoreData::changesListed, this, &QWSyncSupervisor::holdBackDeletions);
    connect(engine_, &QWDropboxSyncCoreData::versionGivesWay, this,
            [this](QWManagedObjectWithSyncSupport& version, const QWManagedObjectWithSyncSupport* winner) {
                if (!winner && version.managedObjectContext() == engine_->mainManagedObjectContext().get())
                    records_->prepareDeletion(version);
            });
    connect(engine_, &QWDropboxSyncCoreData::deletionTakenBack, this,
            [this](const QWManagedObjectWithSyncSupport& object) { records_->noteMadeAgain(object); });
    connect(engine_, &QObject::destroyed, this, [this] { client_->setDelegate(nullptr, nullptr); });
    queueObservation_ = engine.dropboxCacheManagedObjectContext()->observeObjectsDidChange(
        [this](const QWObjectsDidChangeNotice& notice) {
            for (const auto& record : notice.inserted)
                if (const auto* row = dynamic_cast<const ObjectWaitingSync*>(record.data()))
                    Q_EMIT fileQueued(engine_->fileNameForObjectWaitingToSync(*row, false));
        });
    hostObservation_ = engine.mainManagedObjectContext()->observeObjectsDidChange(
        [this](const QWObjectsDidChangeNotice& notice) { hostDidChange(notice); });
    connect(engine_, &QWDropboxSyncCoreData::batchWillBeSaved, this, [this](bool* mayBeSaved) {
        isBatchUnsaved_ = engine_->syncSupportManagedObjectContextCopy()->hasChanges();
        if (*mayBeSaved && modelRefusals_->holdBackBatch()) {
            *mayBeSaved = false;
            return;
        }
        records_->prepareBatchSave();
    });
    willMergeObservation_ =
        engine.mainManagedObjectContext()->observeWillMerge([this](const QWDidSaveNotice& notice) {
            if (engine_)
                records_->prepareMerge(notice);
        });
    mergeObservation_ =
        engine.mainManagedObjectContext()->observeDidMerge([this](const QWDidSaveNotice& notice) {
            isBatchUnsaved_ = false;
            records_->finishMerge();
            records_->forgetRevisionsOf(notice.deleted);
        });
    // What the engine could not save, for want of space, must not be forgotten when the host's change is saved.
    hostSaveObservation_ = engine.mainManagedObjectContext()->observeWillSave([this] {
        if (records_->prepareHostsSave())
            sendWaitingSoon();
        if (engine_->dropboxCacheManagedObjectContext()->hasChanges())
            engine_->saveCacheContext();
    });
    preferences_->recover();
    records_->recover();
    losingVersions_->giveBatchUp();
}

QWSyncSupervisor::~QWSyncSupervisor() {
    restartTimer_.cancel();
    folderLookupTimer_.cancel();
    if (client_->delegate() == this)
        client_->setDelegate(nullptr, nullptr);
}

void QWSyncSupervisor::hostDidChange(const QWObjectsDidChangeNotice& notice) {
    ++hostChanges_;
    images_->noteHostInsertions(notice.inserted);
    if (images_->noteHostChange(notice.updated))
        sendWaitingSoon();
}

void QWSyncSupervisor::sendWaitingSoon() {
    runLoop().post([weak = weak_from_this()] {
        if (const auto self = weak.lock(); self && self->engine_)
            self->sendWaiting();
    });
}

// An engine that has no room left would take that for having no limit.
void QWSyncSupervisor::sendWaiting() {
    if (engine_->canUploadAnotherObject())
        callEngine([&] { engine_->beginSyncOfObjectsWaitingSync(); });
}

void QWSyncSupervisor::activate() {
    if (!engine_)
        return;
    callEngine([&] { engine_->activateSyncWithDropboxRestClient(shared_from_this()); });
    freePreferences();
    if (isActive() && preferences_->isFileDue())
        loadPreferences();
}

void QWSyncSupervisor::syncNow() {
    isQueryDue_ = isActive();
    look();
}

bool QWSyncSupervisor::isAtRest() const {
    return engine_ && engine_->status() == QWDropboxSyncStatusIdle && requestsOut_ == 0
           && repetitionsDue_ == 0 && !isQueryDue_ && !isRestartDue_ && !isLookingForFolder_;
}

bool QWSyncSupervisor::isInStep() const {
    return isAtRest() && !engine_->lastTimeQueriedDeltaEntries().isNull()
           && engine_->deltaEntriesToImport().isEmpty() && engine_->numberOfObjectsWaitingSync() == 0
           && engine_->numberOfObjectsSyncing() == 0 && !isPreferenceWaiting();
}

// The host may give the engine another client meanwhile, and let go of this one: who has called this goes on.
void QWSyncSupervisor::callEngine(const std::function<void()>& call) {
    const auto self = shared_from_this();
    ++engineCalls_;
    call();
    --engineCalls_;
    if (self.use_count() == 1 && engine_)
        runLoop().post([self] {});
}

// What is due -----------------------------------------------------------------------------------------------

// Idle comes at the end of a batch, before the engine starts to upload: what the batch has left for the cloud
// is queued by then. An activation begins with it as well, and makes a query due. Of a status that the host has ended
// when it was told of it, this may hear last.
void QWSyncSupervisor::statusChanged(quint64 status) {
    if (status != engine_->status())
        return;
    statusBefore_ = std::exchange(status_, status);
    if (status >= QWDropboxSyncStatusDisabled) {
        stop();
        if (status == QWDropboxSyncStatusTokenInvalid)
            refusedBefore_ = generation_;
    } else if (status == QWDropboxSyncStatusIdle) {
        isQueryDue_ |= statusBefore_ >= QWDropboxSyncStatusDisabled;
        if (std::exchange(isBatchUnsaved_, false)) { // it comes again, and is not finished before
            giveBatchUp();
            queryAfterPause();
        }
        if (engine_->deltaEntriesToImport().isEmpty() && images_->finishBatch()) {
            deletionGuard_->forgetAnswer();
            losingVersions_->finishBatch();
            const bool areRecordsMissed = records_->finishBatch();
            modelRefusals_->finishBatch();
            if (images_->takeQueryDue() || areRecordsMissed || engine_->isDeltaCursorInDoubt())
                queryAfterPause();
        }
    }
    lookSoon();
}

void QWSyncSupervisor::giveBatchUp() {
    images_->giveBatchUp();
    losingVersions_->giveBatchUp();
}

void QWSyncSupervisor::stop() {
    ++generation_;
    repetitionsDue_ = 0;
    isQueryDue_ = isRestartDue_ = isLookingForFolder_ = arrivesFromScratch_ = false;
    isPreferencesUploadHeld_ = isPreferencesDownloadHeld_ = false;
    restartTimer_.cancel();
    folderLookupTimer_.cancel();
    recordsInFlight_.clear();
    imagesInFlight_.clear();
    for (FileRequests* out : {&uploadsOut_, &downloadsOut_, &deletionsOut_})
        for (FileRequest& request : *out)
            request.next = nullptr;
    imageCopies_.clear();
    refusals_.clear();
    isBatchUnsaved_ = false;
    giveBatchUp();
    if (!isRestarting_)
        deletionGuard_->drop();
}

void QWSyncSupervisor::repeatLater(const QString& operation, const QWError& error,
                                   std::function<void()> repetition) {
    qCWarning(qwSyncLog).noquote() << operation << error.message;
    if (isActive())
        doAfterPause(std::move(repetition));
}

void QWSyncSupervisor::doAfterPause(std::function<void()> what) {
    ++repetitionsDue_;
    runLoop().after(retryPause, [weak = weak_from_this(), generation = generation_, what = std::move(what)] {
        const auto self = weak.lock();
        if (!self || !self->engine_ || self->generation_ != generation)
            return;
        --self->repetitionsDue_;
        what();
    });
}

void QWSyncSupervisor::queryAfterPause() {
    doAfterPause([this] {
        isQueryDue_ = true;
        look();
    });
}

// Or found missing: the cloud has answered.
void QWSyncSupervisor::folderFound() {
    isLookingForFolder_ = false;
    folderLookupPause_ = retryPause;
}

void QWSyncSupervisor::lookUpFolderAgain() {
    folderLookupTimer_.cancel();
    const auto pause = std::exchange(
        folderLookupPause_, std::min<QWRunLoop::Duration>(2 * folderLookupPause_, longestFolderLookupPause));
    folderLookupTimer_ = runLoop().after(pause, [this] { activate(); });
}

void QWSyncSupervisor::lookSoon() {
    if (!engine_ || std::exchange(willLook_, true))
        return;
    runLoop().post([weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->willLook_ = false;
            self->look();
            Q_EMIT self->progressed();
        }
    });
}

void QWSyncSupervisor::look() {
    if (!isActive() || requestsOut_ > 0)
        return;
    if (isRestartDue_)
        restart();
    else if (isQueryDue_ && !isDeletionQuestionOpen() && engine_->status() == QWDropboxSyncStatusIdle
             && engine_->numberOfObjectsSyncing() == 0)
        callEngine([&] { engine_->loadDeltaPotentialUpdates(); });
}

void QWSyncSupervisor::restart() {
    const auto now = runLoop().now();
    if (lastRestart_ && now - *lastRestart_ < restartPause) {
        if (!restartTimer_.isPending())
            restartTimer_ = runLoop().after(*lastRestart_ + restartPause - now, [this] { look(); });
        return;
    }
    lastRestart_ = now;
    isRestarting_ = true; // a question that is open stays so
    callEngine([&] {
        engine_->deactivateSync();
        activate();
    });
    isRestarting_ = false;
}

// Timers of the engine that an earlier activity, or another query since, has left behind are not due.
bool QWSyncSupervisor::isPollDue() const {
    if (statusBefore_ >= QWDropboxSyncStatusDisabled || !queriesOut_.isEmpty())
        return false;
    const auto pause = hasLastQueryFailed_ ? retryPause : pollPause;
    return !lastQuery_ || runLoop().now() - *lastQuery_ >= pause - timerTolerance;
}

// Deletions that are held back ------------------------------------------------------------------------------

void QWSyncSupervisor::setDeletionQuestion(std::function<void(qint64, qint64)> ask) {
    deletionGuard_->setQuestion(std::move(ask));
    lookSoon();
}

bool QWSyncSupervisor::isDeletionQuestionOpen() const {
    return deletionGuard_->isOpen();
}

void QWSyncSupervisor::answerDeletionQuestion(bool areDeletionsWanted) {
    if (!engine_ || !isDeletionQuestionOpen())
        return;
    deletionGuard_->answer(areDeletionsWanted);
    lookSoon();
}

// The query is due again, and waits for the answer.
void QWSyncSupervisor::holdBackDeletions() {
    const bool wasOpen = isDeletionQuestionOpen();
    if (!std::exchange(arrivesFromScratch_, false))
        deletionGuard_->refuseDeletionsOfFolder();
    records_->noteDeletionsListed();
    modelRefusals_->beginBatch();
    if (modelRefusals_->refusesDeletions())
        deletionGuard_->refuseDeletions(
            [this](const QWManagedObjectSet& records) { return modelRefusals_->refusesDeletion(records); });
    if (!deletionGuard_->holdBackIfVeryMany())
        return;
    giveBatchUp();
    engine_->giveUpChangesListed();
    isQueryDue_ = true;
    if (!wasOpen)
        runLoop().post([weak = weak_from_this()] {
            if (const auto self = weak.lock())
                self->deletionGuard_->ask();
        });
}
