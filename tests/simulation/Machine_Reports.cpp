// What a machine tells of itself, and what the model is told of it.
#include "Machine.h"

#include <algorithm>

// A deactivation counts nothing any more, and then empties its lists.
void Machine::countDidChange(qint64 number) {
    if (disk.isDead())
        return;
    const bool isRight = number < 0 ? number == -engine_->deltaEntriesToImport().count()
                                    : number == engine_->numberOfObjectsWaitingSync()
                                          || number == engine_->numberOfObjectsSyncing();
    if (!isRight && number != 0)
        model_.violate(
            QStringLiteral("machine %1 counts %2: %3").arg(number_ + 1).arg(number).arg(stateText()));
    isZeroDoubtful_ = !isRight && number == 0;
    // A batch that ends while five wait to be repeated starts whatever waits.
    const qint64 inFlight = engine_->numberOfObjectsSyncing();
    const bool mayBeMore = hasBatchEnded_ && inFlightBefore_ >= QWDBMaximumNumberOfObjectsSyncing;
    if (inFlight > QWDBMaximumNumberOfObjectsSyncing && inFlight > inFlightBefore_ && !mayBeMore)
        model_.violate(QStringLiteral("machine %1 has %2 objects in flight").arg(number_ + 1).arg(inFlight));
    inFlightBefore_ = inFlight;
}

void Machine::statusDidChange(quint64 status) {
    if (disk.isDead())
        return;
    trace_.add(QStringLiteral("%1 status %2").arg(number_ + 1).arg(status));
    hasBatchEnded_ |= status == QWDropboxSyncStatusIdle;
    if (status >= QWDropboxSyncStatusDisabled)
        network_->forgetDownloadsOut();
    if (status == QWDropboxSyncStatusTokenInvalid)
        checkThat(ledger.tokensRefused > tokensRefusedBefore_,
                  QStringLiteral("says that its token was refused, which it was not"));
    isActive_ &= status != QWDropboxSyncStatusTokenInvalid;
    const bool isBatchDone = status == QWDropboxSyncStatusIdle && engine_->deltaEntriesToImport().isEmpty();
    if (isBatchDone)
        downloadsOfBatch_ = 0;
    hasCursor_ |= isBatchDone && !engine_->lastTimeQueriedDeltaEntries().isNull();
    if (std::exchange(isZeroDoubtful_, false) && status < QWDropboxSyncStatusDisabled)
        model_.violate(QStringLiteral("machine %1 counts 0: %2").arg(number_ + 1).arg(stateText()));
}

void Machine::checkThat(bool isKept, const QString& what) {
    if (!isKept)
        model_.violate(QStringLiteral("machine %1 %2: %3").arg(number_ + 1).arg(what, stateText()));
}

void Machine::checkReports() {
    if (!isRunning() || disk.isDead())
        return;
    hasBatchEnded_ = false;
    const int downloads = network_->downloadsOut();
    if (downloads > QWDBMaximumNumberOfDeltaEntriesInDownload && downloads > downloadsBefore_)
        model_.violateUnlessAlone(
            Leftover::Activity,
            QStringLiteral("machine %1 has %2 downloads in flight: ").arg(number_ + 1).arg(downloads)
                + stateText());
    downloadsBefore_ = downloads;
    if (isActive_ == isSignedOut())
        model_.violateUnlessAlone(
            Leftover::Activity, (isActive_ ? QStringLiteral("machine %1 is active and says that it is not: ")
                                           : QStringLiteral("machine %1 is not active and says that it is: "))
                                        .arg(number_ + 1)
                                    + stateText());
    isActive_ = !isSignedOut();
    checkThat(engine_->status() != QWDropboxSyncStatusUploading || engine_->numberOfObjectsSyncing() > 0,
              QStringLiteral("is uploading nothing"));
    supervisor_ ? checkSupervisor() : endEndlessUpload();
}

// A record that was edited while it was in flight is sent again for as long as its row is: the user starts sync anew.
void Machine::endEndlessUpload() {
    constexpr int mostUploads = 50;
    if (isSignedOut() || !network_->takeManyUploads(mostUploads))
        return;
    model_.countLeftover(Leftover::SentAgain, stateText());
    engine_->deactivateSync();
    engine_->activateSyncWithDropboxRestClient(network_);
}

void Machine::checkSupervisor() {
    checkThat(supervisor_->requests().total() == network_->requestsSent(),
              QStringLiteral("has made %1 requests and tells another number").arg(network_->requestsSent()));
    checkThat(network_->requestsOut() <= supervisor_->requestsOut(),
              QStringLiteral("waits for %1 answers and tells of fewer").arg(network_->requestsOut()));
    checkQuestion();
    const bool hasUnsent = model_.hasUnsent(number_);
    checkThat(!hasUnsent || engine_->numberOfObjectsWaitingSync() > 0 || isReplacementReceived(),
              QStringLiteral("has nothing to send, and the cloud lacks ") + model_.unsent(number_).value(0));
    if (!isInStep())
        return;
    checkThat(engine_->numberOfItemsToProcess() == 0, QStringLiteral("is in step and counts something"));
    checkThat(!hasUnsent,
              QStringLiteral("is in step, and the cloud lacks ") + model_.unsent(number_).value(0));
}

// What waited gives way to what a batch has brought, which is saved at its end; until then the journal has it.
bool Machine::isReplacementReceived() const {
    const auto entries =
        engine_->dropboxCacheManagedObjectContext()->fetch(QWFetchRequest(QStringLiteral("JournalEntry")));
    QSet<QString> noted;
    for (const auto& entry : entries.value_or(QWManagedObjectSet()))
        noted.insert(entry->valueForKey(QStringLiteral("objectUUID")).toString());
    const QStringList unsent = model_.unsent(number_);
    return std::all_of(unsent.begin(), unsent.end(),
                       [&](const QString& uuid) { return noted.contains(uuid); });
}

void Machine::recordsDidChange(const QWObjectsDidChangeNotice& notice) {
    if (disk.isDead())
        return;
    for (const auto* set : {&notice.inserted, &notice.updated, &notice.refreshed})
        for (const auto& record : *set)
            touch(*record);
    for (const auto& record : notice.deleted)
        touch(*record);
}

// Records that are not live in the main context are in no notice of its own.
void Machine::recordsDidMerge(const QWDidSaveNotice& notice) {
    if (disk.isDead())
        return;
    for (const auto* set : {&notice.inserted, &notice.updated})
        for (const auto& record : *set)
            touch(*record);
    for (const auto& record : notice.deleted)
        touch(*record);
}

// The disk has failed the engine and may yet take the save. Should the process end before the engine can write, what
// is saved is not sent until it is changed again.
void Machine::noteWhatIsNotNoted() {
    if (!engine_->dropboxCacheManagedObjectContext()->hasChanges())
        return;
    for (const auto& records : {context_->insertedObjects(), context_->updatedObjects()})
        for (const auto& record : records)
            if (const auto* object = dynamic_cast<const QWManagedObjectWithSyncSupport*>(record.data()))
                unnoted_.insert(object->uuid());
}

void Machine::touch(const QWManagedObject& record) {
    if (const auto* object = dynamic_cast<const QWManagedObjectWithSyncSupport*>(&record))
        if (!object->uuid().isEmpty())
            touched_[object->uuid()] = object->entity().name();
}

// A merge has steps in between, which nobody sees: what counts is what stands at its end.
void Machine::report() {
    if (!isRunning() || disk.isDead())
        return;
    const auto touched = std::exchange(touched_, {});
    for (auto each = touched.begin(); each != touched.end(); ++each) {
        const QString& uuid = each.key();
        const auto record = QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, *each, *context_);
        const Version version = record ? versionOf(*record) : Version();
        trace_.add(QStringLiteral("%1 %2 %3 %4")
                       .arg(number_ + 1)
                       .arg(hostActions_ > 0 ? QStringLiteral("makes") : QStringLiteral("takes"), uuid,
                            record ? version.text() : QStringLiteral("deleted")));
        if (wasAsked_ && isAsked() && hostActions_ == 0)
            model_.violate(
                QStringLiteral("machine %1 takes %2 while its user is asked").arg(number_ + 1).arg(uuid));
        // A link to a placeholder changes it, and does not make it the user's.
        if (record && hostActions_ > 0 && !version.isPlaceholder())
            model_.edited(number_, uuid, version);
        else if (record)
            model_.received(number_, uuid, version);
        else if (hostActions_ > 0)
            model_.deleted(number_, uuid);
        else
            model_.receivedDeletion(number_, uuid);
    }
    if (!engine_->dropboxCacheManagedObjectContext()->hasChanges()) {
        unnoted_.clear();
        model_.archiveSaved(number_);
    }
}

void Machine::declined(const QString& fileName, const QString& reason) {
    trace_.add(QStringLiteral("%1 declines %2: %3").arg(number_ + 1).arg(fileName, reason));
    if (const auto received = versionInFile(fileName, downloaded_.value(fileName));
        received && !disk.isDead())
        model_.declined(number_, uuidInFileName(fileName), *received);
}
