#include "sync/supervisor/QWDeletionGuard_p.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "platform/text/QWText.h"
#include "sync/QWDeltaSpecialActions_p.h"
#include "sync/QWRecordVersions_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/supervisor/QWPresentVersions_p.h"

#include <algorithm>

using qw::sync::hostsObject;
using qw::sync::isDeletionOfRecordFile;

namespace {

// More than either is very many: fewer are looked through by a person soon, and of a small library each deletion
// is a large part.
constexpr qint64 fewRecords = 50;
constexpr qint64 smallPart = 5; // a fifth

bool isVeryMany(qint64 count, qint64 total) {
    return count > fewRecords && count * smallPart > total;
}

// Key of a `Metadata` row.
const QString folderKey = QStringLiteral("SyncFolder");

template <class ByName>
std::set<QString> namesOf(const ByName& records) {
    std::set<QString> names;
    for (const auto& [name, record] : records)
        names.insert(name);
    return names;
}

} // namespace

void QWDeletionGuard::setQuestion(Question question) {
    question_ = std::move(question);
    if (!question_)
        drop();
}

bool QWDeletionGuard::holdBackIfVeryMany() {
    if (!question_)
        return false;
    held_.clear();
    Deletions deletions = deletionsListed();
    for (const QString& fileName : wanted_)
        deletions.erase(fileName);
    if (deletions.empty())
        return false;
    total_ = recordsHere();
    if (total_ <= fewRecords)
        return false;
    count_ = countWithWhatTheyTakeAlong(deletions);
    if (isVeryMany(count_, total_))
        held_ = namesOf(deletions);
    return isOpen();
}

qint64 QWDeletionGuard::countWithWhatTheyTakeAlong(const Deletions& deletions) const {
    QWManagedObjectSet records;
    for (const auto& [fileName, record] : deletions)
        records.push_back(record);
    const auto deleted = qw::sync::deletedTogether(records);
    return std::count_if(deleted.begin(), deleted.end(), [this](const auto& record) {
        return engine_.entityNames().contains(record->entity().name());
    });
}

// The deletion of the sync folder makes none of records: everything is sent again.
QWDeletionGuard::Deletions QWDeletionGuard::deletionsListed() const {
    const auto& known = engine_.fileMetadataManager();
    Deletions deletions;
    for (const auto& entry : engine_.deltaEntriesToImport().entries()) {
        if (!entry->metadata && qw::sync::isSyncFolder(entry->lowercasePath))
            return {};
        if (!isDeletionOfRecordFile(*entry))
            continue;
        const QString fileName = qw::text::lastPathComponent(entry->lowercasePath);
        const bool isMeant =
            known.fileMetadataForFileName(fileName, false) || engine_.isDeletedByBatch(fileName);
        const auto record = isMeant ? hostsObject(engine_, fileName) : Deletions::mapped_type();
        if (record)
            deletions.emplace(fileName, record);
    }
    return deletions;
}

// An entity and a subentity of it may both be synced.
qint64 QWDeletionGuard::recordsHere() const {
    qint64 total = 0;
    for (const QString& entityName : engine_.entityNames()) {
        QWFetchRequest request(entityName);
        request.includesSubentities = false;
        total += engine_.mainManagedObjectContext()->count(request).value_or(0);
    }
    return total;
}

void QWDeletionGuard::ask() const {
    const Question question = question_; // may be replaced by who is asked
    if (isOpen())
        question(count_, total_);
}

void QWDeletionGuard::answer(bool areWanted) {
    const std::set<QString> deletions = std::exchange(held_, {});
    if (areWanted)
        wanted_.insert(deletions.begin(), deletions.end());
    else
        refuse(deletions);
}

// What this desktop alone held would be lost otherwise: the others send what they have.
void QWDeletionGuard::refuseDeletionsOfFolder() {
    const auto entries = engine_.deltaEntriesToImport().entries();
    const auto isAbout = [](const auto& entry) { return qw::sync::isSyncFolder(entry->lowercasePath); };
    const auto folder = std::find_if(entries.begin(), entries.end(), isAbout);
    if (folder == entries.end())
        return;
    setFolderMissing(!(*folder)->metadata);
    if (!isFolderMissing())
        refuse(namesOf(deletionsListed()));
}

void QWDeletionGuard::refuseDeletions(
    const std::function<bool(const QWManagedObjectSet& records)>& areRefused) {
    std::set<QString> refused;
    for (const auto& [fileName, record] : deletionsListed())
        if (areRefused(qw::sync::deletedTogether({record})))
            refused.insert(fileName);
    refuse(refused);
}

// Whoever sends the first file makes it.
void QWDeletionGuard::setFolderMissing(bool isMissing) {
    if (isMissing == isFolderMissing())
        return;
    isFolderMissing_ = isMissing;
    engine_.metadataWithKey(folderKey)->setValue(isMissing ? QStringLiteral("missing") : QString());
}

bool QWDeletionGuard::isFolderMissing() {
    if (!isFolderMissing_) {
        const auto row = QWFindMetadata(*engine_.dropboxCacheManagedObjectContext(), folderKey);
        isFolderMissing_ = row && !row->value().isEmpty();
    }
    return *isFolderMissing_;
}

// Their images are sent again like those of any record that lives on.
void QWDeletionGuard::refuse(const std::set<QString>& deletions) {
    for (const QString& fileName : deletions) {
        engine_.fileMetadataManager().deleteDropboxFileMetadataWithName(fileName);
        if (const auto record = hostsObject(engine_, fileName))
            engine_.queueForUpload(*record);
    }
    if (!deletions.empty())
        engine_.saveCacheContext();
}
