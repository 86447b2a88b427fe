// A user who is asked whether very many deletions may reach the records of the machine.
#include "Machine.h"

void Machine::askAboutDeletions(bool saysYes, std::chrono::seconds delay) {
    deletionUser_ = {saysYes, delay};
    if (supervisor_)
        setDeletionQuestion();
}

void Machine::setDeletionQuestion() {
    if (!deletionUser_)
        return;
    supervisor_->setDeletionQuestion([this](qint64 count, qint64 total) {
        trace_.add(QStringLiteral("%1 asks its user about %2 of %3").arg(number_ + 1).arg(count).arg(total));
        if (count <= 50 || count * 5 <= total)
            model_.violate(QStringLiteral("machine %1 asks about few deletions").arg(number_ + 1));
        recordsAskedAbout_ = recordsWithoutFile_;
        hasHeardQuestion_ = true;
        ++questions_;
        if (deletionUser_->delay.count() > 0)
            world.runLoop->after(deletionUser_->delay, [this, weak = std::weak_ptr(supervisor_)] {
                if (!weak.expired())
                    answerDeletionQuestion();
            });
    });
}

void Machine::answerDeletionQuestion() {
    if (!isAsked() || !hasHeardQuestion_ || disk.isDead())
        return;
    trace_.add(QStringLiteral("%1 says %2").arg(number_ + 1).arg(deletionUser_->saysYes));
    // Others than the user was asked about may have been deleted during the query.
    QHash<QString, bool> kept;
    for (const QString& entityName : desktop::syncedEntities)
        for (const auto& record : records(entityName))
            if (const bool wasAskedAbout = recordsAskedAbout_.contains(record->uuid());
                wasAskedAbout || lacksFile(*record, false))
                kept[record->uuid()] = wasAskedAbout;
    hasHeardQuestion_ = false;
    supervisor_->answerDeletionQuestion(deletionUser_->saysYes);
    if (!deletionUser_->saysYes && !disk.isDead()) // before the answer was saved, perhaps
        recordsKept_.insert(kept);
}

// What a query that is being carried out in the cloud finds: what was sent from here, or received, and has had no file
// there since its first page.
void Machine::noteRecordsWithoutFile(bool isFirstPage, bool isFromScratch) {
    const auto before = std::exchange(recordsWithoutFile_, {});
    if (!isEverAsked || !isRunning())
        return;
    for (const QString& entityName : desktop::syncedEntities)
        for (const auto& record : records(entityName))
            if ((isFirstPage || before.contains(record->uuid())) && lacksFile(*record, isFromScratch))
                recordsWithoutFile_.insert(record->uuid());
}

// What a listing from scratch lacks and waits here is sent.
bool Machine::lacksFile(const QWManagedObjectWithSyncSupport& record, bool isFromScratch) {
    const QString fileName = engine_->fileNameWithUUID(record.uuid(), record.entity().name(), false);
    return !cloud_->metadata(QWDBFileCacheDirectoryInDropboxFolder + QLatin1Char('/') + fileName)
           && engine_->fileMetadataManager().fileMetadataForFileName(fileName, false)
           && !(isFromScratch && engine_->objectWaitingSyncForObject(record, false));
}

bool Machine::mayDelete(const QString& uuid) {
    if (!isRunning())
        return model_.hasDeleted(number_, uuid);
    if (model_.isUnsaved(number_, uuid))
        return true;
    for (const auto& row : engine_->dropboxCacheManagedObjectContext()
                               ->fetch(QWFetchRequest(QWDBEntityNameObjectWaitingSync))
                               .value_or(QWManagedObjectSet())) {
        const auto& waiting = static_cast<const ObjectWaitingSync&>(*row);
        if (waiting.action() == QWDropboxSyncActionDelete && waiting.objectUUID() == uuid)
            return true;
    }
    return false;
}

void Machine::checkQuestion() {
    const bool wasAsked = std::exchange(wasAsked_, isAsked());
    hasHeardQuestion_ &= wasAsked_;
    const qint64 queries = network_->queriesSent();
    if (wasAsked && wasAsked_ && queries != queriesBefore_)
        model_.violate(
            QStringLiteral("machine %1 asks for changes while its user is asked").arg(number_ + 1));
    queriesBefore_ = queries;
}
