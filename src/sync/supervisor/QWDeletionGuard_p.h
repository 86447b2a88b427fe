#pragma once

#include "sync/QWDropboxSyncCoreData.h"

#include <functional>
#include <map>
#include <optional>
#include <set>

// Holds back the changes of a query that would delete very many records here, until somebody has said whether that
// is wanted. Looks at what a query has listed; what is held is given up and listed again after the answer. Nothing
// of it outlives the process: a question that was not answered is asked again.
class QWDeletionGuard {
public:
    using Question = std::function<void(qint64 count, qint64 total)>;

    explicit QWDeletionGuard(QWDropboxSyncCoreData& engine) : engine_(engine) {}

    // Without a question nothing is held.
    void setQuestion(Question question);

    // All changes of a query are listed and none is applied. True when they are to be given up: the question is
    // open then, and to be asked if it was not before.
    bool holdBackIfVeryMany();
    bool isOpen() const { return !held_.empty(); }
    void ask() const;
    // "Yes": the next query deletes them. "No": the records are sent again, and the files that were deleted are
    // known no more, so that their deletion means nothing to the next query.
    void answer(bool areWanted);
    // The same before a query is applied that tells of changes since an earlier one: if the sync folder was deleted
    // and another desktop has made it again, the deletions that it lists are those of the folder, and are refused.
    void refuseDeletionsOfFolder();
    // The same for each deletion of which that is said, with what it takes along.
    void refuseDeletions(const std::function<bool(const QWManagedObjectSet& records)>& areRefused);
    // Whether the folder was missing when it was last heard of: the next file that is sent makes it. That must be
    // listed before deletions are, or they would seem to be those of a folder.
    bool isFolderMissing();
    void setFolderMissing(bool isMissing);
    // The question is of no more interest.
    void drop() { held_.clear(); }
    // The changes of a query have been applied.
    void forgetAnswer() { wanted_.clear(); }

private:
    // The host's records that are to be deleted, by the names of their files in lower case.
    using Deletions = std::map<QString, QWRef<QWManagedObjectWithSyncSupport>>;
    Deletions deletionsListed() const;
    qint64 countWithWhatTheyTakeAlong(const Deletions& deletions) const;
    void refuse(const std::set<QString>& deletions);
    qint64 recordsHere() const;

    QWDropboxSyncCoreData& engine_;
    Question question_;
    // When the question was opened: records that would be deleted, of so many.
    qint64 count_ = 0, total_ = 0;
    // Names of record files, in lower case.
    std::set<QString> held_;   // what the open question is about
    std::set<QString> wanted_; // by the answers since changes were last applied
    std::optional<bool> isFolderMissing_;
};
