#pragma once

#include "platform/QWObservation.h"
#include "store/QWFetchRequest.h"
#include "store/QWManagedObject.h"
#include "store/QWPersistentStoreCoordinator.h"

#include <memory>
#include <optional>
#include <vector>

class QWManagedObjectContext;

class QWFetchCriteria;
class QWRecordTable;

// Records in the order of their first change, each once.
using QWManagedObjectSet = std::vector<QWRef<QWManagedObject>>;

// What changed in one event. A record is in at most one set: inserted wins over updated, deleted over both,
// and what was inserted and deleted within the event is in none. The sets are frozen: what an observer
// changes is reported by a notice of its own, later. Deleted records are still readable.
struct QWObjectsDidChangeNotice {
    QWManagedObjectContext* context = nullptr;
    QWManagedObjectSet inserted;
    QWManagedObjectSet updated;   // changed by setters, equal values included
    QWManagedObjectSet refreshed; // values reloaded without a change of this context's own
    QWManagedObjectSet deleted;
};

// What a save has written: the saving context's records.
struct QWDidSaveNotice {
    QWManagedObjectContext* context = nullptr;
    QWManagedObjectSet inserted;
    QWManagedObjectSet updated;
    QWManagedObjectSet deleted;
};

// A record whose stored row is not the one that its changes were based on: somebody else saved it meanwhile.
struct QWSaveConflict {
    QWRef<QWManagedObject> record; // with this context's values
    bool deletedHere = false;      // this save deletes the record
    bool deletedInStore = false;   // the row is gone
    QVariantMap storedValues;      // attributes of the stored row; empty when it is gone
};

enum class QWMergeDecision {
    Fail,       // the whole save fails with the list of conflicts
    KeepLocal,  // this context's version replaces the stored one, every key of it
    TakeStored, // the record takes the stored version (or its deletion) and its changes here are dropped
};

enum class QWConcurrencyType {
    PrivateQueue = 1, // changes are processed at a save or on demand only
    MainQueue = 2,    // and at the end of each turn of the run loop
};

// A working copy of the store's records: one live object for each identity, changes kept in memory until a
// save. Nobody else sees a change before it is saved. Made with std::make_shared; used from one thread.
//
// Change notices are synchronous. Edits are gathered and reported once for each turn of the run loop, before
// a save, and by `processPendingChanges`; a merge reports within the call. Fetching and counting never
// report.
class QWManagedObjectContext final : public std::enable_shared_from_this<QWManagedObjectContext> {
public:
    explicit QWManagedObjectContext(std::shared_ptr<QWPersistentStoreCoordinator> coordinator,
                                    QWConcurrencyType concurrency = QWConcurrencyType::MainQueue);
    ~QWManagedObjectContext();
    QWManagedObjectContext(const QWManagedObjectContext&) = delete;
    QWManagedObjectContext& operator=(const QWManagedObjectContext&) = delete;

    const std::shared_ptr<QWPersistentStoreCoordinator>& coordinator() const { return coordinator_; }
    QWEnvironment& environment() const { return *coordinator_->environment(); }
    const QWManagedObjectModel& model() const { return coordinator_->model(); }
    QWConcurrencyType concurrencyType() const { return concurrency_; }

    // Records -----------------------------------------------------------------------------------------------

    // A new record with the entity's default values, after its `awakeFromInsert`. An unknown entity is a
    // programming error: assertion "entity".
    QWRef<QWManagedObject> insertObject(const QString& entityName);
    // Deletes a record; delete rules run when changes are processed. An unsaved insertion is forgotten.
    void deleteObject(QWManagedObject& record);

    // Nothing, with an error, for an unknown entity or key, a value of the wrong type, no store, a failed
    // read.
    std::optional<QWManagedObjectSet> fetch(const QWFetchRequest& request, QWError* error = nullptr);
    // The identities of what `fetch` would give, in its order, read by one query that makes no records.
    std::optional<std::vector<QWManagedObjectID>> fetchIDs(const QWFetchRequest& request,
                                                           QWError* error = nullptr);
    // How many records `fetch` would give. Constant for an entity without predicate.
    std::optional<qint64> count(const QWFetchRequest& request, QWError* error = nullptr);
    // The distinct saved values of an attribute among the records that match, no value left out; pending
    // changes are not seen. Strings are distinct by code points. In the order of the request's sort
    // descriptor for `key`, without one in natural order; other descriptors do not count.
    std::optional<QVariantList> distinctValues(const QWFetchRequest& request, const QString& key,
                                               QWError* error = nullptr);
    // Reads the distinct saved values of a string attribute, and keeps them in memory for as long as the
    // answer lives: `distinctValues` of that key for all records whose value contains a text ([cd],
    // subentities included, nothing else asked) then reads no rows, so that a list can follow each keystroke.
    // The answers are the same, whoever saves meanwhile. Saves through this coordinator are followed value by
    // value (of an attribute without index all are read again), and after a save by another process all are
    // read again. Takes about 100 bytes for a value and four for each of its characters; above 64 MB nothing
    // is kept. Null, with an error, for an unknown entity or key, another type, no store or a failed read.
    std::shared_ptr<const void> keepDistinctValues(const QString& entityName, const QString& key,
                                                   QWError* error = nullptr);

    // The live object of an identity; a fault when it was not registered. Never null for a non-null id.
    QWRef<QWManagedObject> objectWithID(const QWManagedObjectID& id);
    // The live objects of identities of one root entity, in that order; the faults among them are read by one
    // query. What cannot be read stays a fault.
    QWManagedObjectSet objectsWithIDs(const std::vector<QWManagedObjectID>& ids);
    // The live object if there is one.
    QWRef<QWManagedObject> registeredObject(const QWManagedObjectID& id) const;

    // Changes -----------------------------------------------------------------------------------------------

    bool hasChanges() const;
    // Pending changes since the last save, in the order of their first change; a record is in one of the
    // three.
    QWManagedObjectSet insertedObjects() const;
    QWManagedObjectSet updatedObjects() const;
    QWManagedObjectSet deletedObjects() const;

    // Runs delete rules and reports what changed, in as many notices as it takes until nothing is left.
    void processPendingChanges();
    // Writes all changes in one transaction. On failure nothing is written, everything stays pending and the
    // error says why (QWStoreErrorCode). Without changes: true, no I/O.
    bool save(QWError* error = nullptr);
    // What a save asks first: whether the model takes the changes that are processed. The error names each record that
    // it refuses (MissingMandatory, DeniedDelete, SeveralValidationErrors).
    bool validate(QWError* error = nullptr) const;
    // Drops all changes: insertions are forgotten, the others become faults of what is saved and are reported
    // as refreshed.
    void rollback();
    // Without `mergeChanges` the record's changes are dropped and it becomes a fault; with it the saved
    // values are reloaded and its own changes laid over them. Reported as refreshed unless it stays changed.
    void refreshObject(QWManagedObject& record, bool mergeChanges);

    // Takes over what another context has saved: insertions become faults here and are reported as inserted;
    // live clean records are reloaded and reported as refreshed; records with changes here keep the keys
    // changed here, take the others and no longer conflict; deletions delete here, changes or not, and need
    // no further save. Reported within the call. `hasChanges` afterwards is what it was before, but for
    // deletions of changed records.
    void mergeChangesFromContextDidSave(const QWDidSaveNotice& notice);
    // Decides, record by record, what a save does about conflicts. Without one every conflict fails the save.
    using MergeFunction = std::function<QWMergeDecision(const QWSaveConflict&)>;
    void setMergeFunction(MergeFunction merge) { merge_ = std::move(merge); }

    // Editors -----------------------------------------------------------------------------------------------

    // An editor holds text that is not yet in its record. `commit` writes it; false: it refuses.
    QWObservation registerEditor(std::function<bool()> commit);
    // Asks every registered editor; true when there is none, false as soon as one refuses.
    bool commitEditing();

    // Observers ---------------------------------------------------------------------------------------------

    using ObjectsDidChange = QWObserverList<const QWObjectsDidChangeNotice&>;
    using DidSave = QWObserverList<const QWDidSaveNotice&>;
    QWObservation observeObjectsDidChange(ObjectsDidChange::Callback callback);
    // After the commit: observers read committed data from the store.
    QWObservation observeDidSave(DidSave::Callback callback);
    QWObservation observeWillSave(std::function<void()> callback);
    // Around a merge and its notices, with what the other context has saved: of the records that are not live
    // here, which the notices pass over, this tells as well.
    QWObservation observeWillMerge(DidSave::Callback callback);
    QWObservation observeDidMerge(DidSave::Callback callback);
    // Unsaved changes of these records were dropped (rollback, refresh without merging, a lost save
    // conflict).
    using DidDiscard = QWObserverList<const QWManagedObjectSet&>;
    QWObservation observeDidDiscard(DidDiscard::Callback callback);

private:
    friend class QWManagedObject;
    friend class QWFetchCriteria;
    class FetchSink;
    struct Lookup;      // a hash over the pending values of one indexed attribute
    struct SaveOutcome; // what a save in progress has decided about conflicting records
    using Editors = std::vector<std::shared_ptr<std::function<bool()>>>;
    using KeyObservers =
        QHash<QString, QWObserverList<QWManagedObject&, const QString&, QWManagedObject::Phase>>;

    // Identity
    QWRef<QWManagedObject> registerRecord(const QWEntityDescription& entity, qint64 key);
    QWRef<QWManagedObject> recordForKey(const QWEntityDescription& destination, qint64 key);
    void unregister(QWManagedObject& record);
    void abandon(QWManagedObject& record); // unregisters a live record: it keeps its values and nothing else
    bool realise(QWManagedObject& record, QWError* error = nullptr);
    std::vector<QWManagedObjectID> savedMembers(const QWPropertyDescription& property,
                                                const QWManagedObject& owner);

    // Change tracking
    void noteChange(QWManagedObject& record, const QWPropertyDescription& property);
    void refile(QWManagedObject& record);
    void listInEvent(QWManagedObject& record, quint16 state);
    void setPending(QWManagedObject& record, quint16 state);
    void clearPending(QWManagedObject& record);
    QWManagedObjectSet forgetPending();
    void forgetChanges(QWManagedObject& record);
    void makeFault(QWManagedObject& record);
    void reload(QWManagedObject& record, const QVariant* values, qint64 version);
    void runDeleteRules();
    void applyDeleteRules(QWManagedObject& record);
    QWObjectsDidChangeNotice takeEvent();
    void deliver(const QWObjectsDidChangeNotice& notice);
    bool processAllChanges();
    void schedulePass();

    // Fetching over pending changes
    QWManagedObjectSet pendingCandidates(const QWFetchCriteria& criteria);
    void sortRecords(QWManagedObjectSet& records, const QWFetchCriteria& criteria) const;
    void indexPending(Lookup& lookup);
    qint64 pendingCount(const QWEntityDescription& root) const {
        return pendingByRoot_[size_t(root.index())];
    }

    // Saving
    bool prepareSave(QWError* error);
    bool writeChanges(SaveOutcome& outcome, QWError* error);
    bool writeRecord(QWManagedObject& record, SaveOutcome& outcome, QWError* error);
    bool resolveConflict(QWManagedObject& record, SaveOutcome& outcome, QWError* error);
    bool writeMembers(QWManagedObject& record, bool replaces, QWError* error);
    void finishSave(const SaveOutcome& outcome);
    static void release(QWManagedObjectSet records);
    void takeStored(QWManagedObject& record, bool gone);

    // Merging
    void mergeInserted(const QWManagedObject& saved);
    void mergeUpdated(const QWManagedObject& saved);
    void mergeDeleted(const QWManagedObject& saved);

    std::shared_ptr<QWPersistentStoreCoordinator> coordinator_;
    QWConcurrencyType concurrency_;
    std::vector<QWRecordTable> registered_; // by index of the root entity; a record leaves when it dies
    QWManagedObjectSet pending_; // records with unsaved changes by first change; may hold some without
    // Counted by index of the entity: records with changes (of the root entity), unsaved insertions, unsaved
    // deletions of saved rows.
    std::vector<qint64> pendingByRoot_, insertedByEntity_, deletedByEntity_;
    qint64 pendingCount_ = 0;
    QWManagedObjectSet event_;             // changed since the last notice, by first change
    QWManagedObjectSet undeclaredDeletes_; // deleted, and their delete rules have not run
    std::vector<std::unique_ptr<Lookup>> lookups_;
    QHash<const QWManagedObject*, KeyObservers> keyObservers_;
    std::shared_ptr<Editors> editors_ = std::make_shared<Editors>();
    ObjectsDidChange objectsDidChange_;
    DidSave didSave_, willMerge_, didMerge_;
    DidDiscard didDiscard_;
    QWObserverList<> willSave_;
    MergeFunction merge_;
    QWRunLoop::Handle scheduledPass_;
    qint64 nextUnstoredKey_ = -1; // keys of records inserted while there is no store
    bool delivering_ = false;
};
