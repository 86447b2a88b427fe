#include "sync/supervisor/QWDeletionGuard_p.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "platform/text/QWText.h"
#include "sync/QWDeltaSpecialActions_p.h"
#include "sync/QWRecordVersions_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/supervisor/QWPresentVersions_p.h"

#include <algorithm>

using qw::sync::hostsObject;

namespace {

// More than either is very many: fewer are looked through by a person soon, and of a small library each deletion
// is a large part.
constexpr qint64 fewRecords = 50;
constexpr qint64 smallPart = 5; // a fifth

bool isVeryMany(qint64 count, qint64 total) {
    return count > fewRecords && count * smallPart > total;
}

bool isDeletionOfRecordFile(const DBDeltaEntry& entry) {
    return !entry.metadata && qw::sync::isInSyncFolder(entry.lowercasePath)
           && qw::text::pathExtension(entry.lowercasePath) == QWDBFileNameDataExtension;
}

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

bool QWDeletionGuard::holdsBack() {
    if (!question_)
        return false;
    held_.clear();
    Deletions deletions = deletionsListed();
    for (const QString& fileName : wanted_)
        deletions.erase(fileName);
    total_ = recordsHere();
    if (deletions.empty() || total_ <= fewRecords)
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
        const auto record = known.fileMetadataForFileName(fileName, false) ? hostsObject(engine_, fileName)
                                                                           : Deletions::mapped_type();
        if (record)
            deletions.emplace(fileName, record);
    }
    return deletions;
}

qint64 QWDeletionGuard::recordsHere() const {
    qint64 total = 0;
    for (const QString& entityName : engine_.entityNames())
        total += engine_.mainManagedObjectContext()->count(QWFetchRequest(entityName)).value_or(0);
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
    if (std::any_of(entries.begin(), entries.end(), [](const auto& entry) {
            return entry->metadata && qw::sync::isSyncFolder(entry->lowercasePath);
        }))
        refuse(namesOf(deletionsListed()));
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
