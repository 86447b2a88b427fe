#pragma once

#include "sync/QWDropboxSyncCoreData.h"

#include <QSet>

// Keeps what the host's model refuses (a record without a value that it requires, a deletion that a rule denies) from
// holding back all others: a batch is saved whole or not at all. One that is refused is given up, and comes again without
// it: the file of such a record is declined until it changes, and the record stays as it is here; a deletion is refused,
// and its record sent again. So is one that would take from a record, which the host has changed and not saved, what that
// must not lose: the host could save nothing any more. Not where that record goes, or gives way, with the same batch.
// What this knows of a batch does not outlive the process, whose next one finds it anew.
class QWModelRefusals {
public:
    explicit QWModelRefusals(QWDropboxSyncCoreData& engine) : engine_(engine) {}

    // The changes of a query are listed. What was refused in the one before counts until this one is saved.
    void beginBatch() { isGivenUp_ = false; }
    // Before a batch is saved. A record that only a reference has made gets empty values where the model requires some; if
    // that does not help, it is not made, and the reference is left out. True when the batch is to be given up: it will be
    // another one when it comes again.
    bool holdBackBatch();
    // Whether a downloaded record is to be declined: that version of it, and no other.
    bool refusesFile(const DBMetadata& file) const;
    // The batch has one that is not.
    void noteImport(const DBMetadata& file);
    // Whether these records of the main context may not be deleted together.
    bool refusesDeletion(const QWManagedObjectSet& records) const;
    bool refusesDeletions() const { return !recordsToKeep_.isEmpty(); }
    // The engine is idle: the batch is saved or given up.
    void finishBatch();

private:
    void completeBareRecords(const QWError& error);
    bool note(const QWError& error);
    bool noteWhatTheHostNeeds();
    // Whether the version that the host has changed is about to give way to one of the batch.
    bool isReplaced(const QWManagedObject& hosts) const;

    using Revisions = QHash<QWSyncedIdentity, QSet<QString>>; // of files
    QWDropboxSyncCoreData& engine_;
    Revisions imported_; // by this batch
    Revisions refused_;  // by the model; none where nothing was received of a record
    // What a deletion must not take along, and must not take a reference from.
    QSet<QWManagedObjectID> recordsToKeep_;
    bool isGivenUp_ = false; // the batch, and comes again
};
