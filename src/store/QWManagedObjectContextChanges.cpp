#include "store/QWManagedObjectContext.h"

#include "store/QWManagedObjectContext_p.h"
#include "store/QWManagedObject_p.h"
#include "store/QWStoreLog_p.h"

#include <QScopeGuard>

// From a change to its notice. Started by a setter, an insertion, a deletion, a refresh or a merge, which
// list the record for the next notice; ended by a pass: at the end of the run loop's turn, before a save,
// after a merge, or on demand. A pass runs the delete rules, freezes the sets and each record's changed keys,
// and only then calls the observers; what they change is listed anew and makes the next notice. Notices never
// nest.

using Context = QWManagedObjectContext;
using Record = QWManagedObject;

namespace {
// Observers that answer every change with another would keep a pass going for ever.
constexpr int maximumPasses = 1000;
} // namespace

void Context::noteChange(Record& record, const QWPropertyDescription& property) {
    const int index = property.index();
    const QVariant& present = record.slot(index);
    if (record.isDeleted())
        return;
    if (!record.hasChanges()) {
        refile(record);
        setPending(record, Record::Updated);
    } else if (property.isIndexed() || property.isFolded()) {
        refile(record);
    }
    listInEvent(record, Record::UpdatedInEvent);
    if (property.isToMany())
        return;
    if (!record.isInserted())
        Record::Changes::note(record.changes().sinceSave, index, present);
    if (!(record.state_ & Record::InsertedInEvent))
        Record::Changes::note(record.changes().sinceEvent, index, present);
}

// The lookups have read the record, or passed it while it was clean, and are to read it again.
void Context::refile(Record& record) {
    if (record.state_ & Record::Pending)
        for (const auto& lookup : lookups_)
            lookup->changed.push_back(&record);
}

void Context::listInEvent(Record& record, quint16 state) {
    record.state_ |= state;
    if (record.state_ & Record::ListedInEvent)
        return;
    record.state_ |= Record::ListedInEvent;
    event_.push_back(QWRef<Record>(&record));
    if (event_.size() == 1)
        schedulePass();
}

void Context::schedulePass() {
    if (concurrency_ != QWConcurrencyType::MainQueue || scheduledPass_.isPending())
        return;
    scheduledPass_ = environment().runLoop().post([this] { processPendingChanges(); });
}

void Context::processPendingChanges() {
    if (!processAllChanges())
        qCWarning(qwStoreLog) << "observers keep changing records; the rest is reported in the next turn";
}

// False when observers went on changing records after a thousand passes.
bool Context::processAllChanges() {
    if (delivering_) {
        runDeleteRules(); // a save must not wait for them
        return true;
    }
    for (int pass = 0; !event_.empty() || !undeclaredDeletes_.empty(); ++pass) {
        if (pass == maximumPasses) {
            schedulePass();
            return false;
        }
        runDeleteRules();
        deliver(takeEvent());
    }
    if (!hasChanges() && !pending_.empty())
        forgetPending();
    return true;
}

// Delete rules ----------------------------------------------------------------------------------------------

void Context::runDeleteRules() {
    while (!undeclaredDeletes_.empty()) {
        const QWManagedObjectSet deleted = std::exchange(undeclaredDeletes_, {});
        for (const auto& record : deleted)
            if (record->isDeleted() && record->context_)
                applyDeleteRules(*record);
    }
}

// The deleted record keeps its own ends, so that observers can still read them; only the far ends change, and
// those that were given to another record after the deletion do not.
void Context::applyDeleteRules(Record& record) {
    for (const QWPropertyDescription* property : record.entity_->properties()) {
        if (property->isAttribute() || property->deleteRule() == QWDeleteRule::Deny)
            continue;
        QList<QWRef<Record>> destinations;
        if (property->isToMany())
            destinations = record.relatedObjects(property->name());
        else if (const QWRef<Record> destination = record.relatedObject(property->name()))
            destinations = {destination};
        for (const auto& destination : destinations) {
            const QWPropertyDescription* inverse = property->inverse();
            const bool hasMoved =
                inverse && !inverse->isToMany() && destination->slot(inverse->index()) != record.key_;
            if (destination->isDeleted() || hasMoved)
                continue;
            if (property->deleteRule() == QWDeleteRule::Cascade)
                deleteObject(*destination);
            else if (inverse)
                destination->assignEnd(*inverse, record, false);
        }
    }
}

// Notices ---------------------------------------------------------------------------------------------------

// Closes the present event: sorts its records into the four sets and freezes their changed keys.
QWObjectsDidChangeNotice Context::takeEvent() {
    QWObjectsDidChangeNotice notice;
    notice.context = this;
    QWManagedObjectSet event = std::exchange(event_, {});
    for (QWRef<Record>& record : event) {
        const quint16 state = record->state_;
        QWManagedObjectSet* role = &notice.updated;
        if (state & Record::DeletedInEvent)
            role = state & Record::InsertedInEvent ? nullptr : &notice.deleted;
        else if (state & Record::InsertedInEvent)
            role = &notice.inserted;
        else if (state & Record::RefreshedInEvent && !record->hasChanges())
            role = &notice.refreshed;

        std::vector<int> keys;
        const bool unsavedInsertion = state & Record::InsertedInEvent && record->isInserted();
        if (!unsavedInsertion && (record->changes_ || record->members_))
            for (const QWPropertyDescription* property : record->entity_->properties())
                if (!(state & Record::InsertedInEvent) && record->differsInEvent(property->index()))
                    keys.push_back(property->index());
        if (!keys.empty())
            record->changes().reported = std::move(keys);
        if (record->changes_)
            record->changes_->sinceEvent.clear();
        if (record->members_)
            for (const QWPropertyDescription* property : record->entity_->properties())
                record->members_[property->index()].sinceEvent.clear();

        record->state_ &= ~Record::EventStates;
        if (role) {
            record->state_ |= Record::Reported | (unsavedInsertion ? Record::ReportedInserted : 0);
            role->push_back(std::move(record));
        } else if (record->state_ & (Record::Forgotten | Record::Gone)) {
            abandon(*record);
        }
    }
    return notice;
}

void Context::deliver(const QWObjectsDidChangeNotice& notice) {
    const auto sets = {&notice.inserted, &notice.updated, &notice.refreshed, &notice.deleted};
    delivering_ = true;
    const auto close = qScopeGuard([this, &sets] {
        delivering_ = false;
        for (const QWManagedObjectSet* set : sets)
            for (const auto& record : *set) {
                record->state_ &= ~(Record::Reported | Record::ReportedInserted);
                if (record->changes_)
                    record->changes_->reported.clear();
                if (record->state_ & (Record::Forgotten | Record::Gone))
                    abandon(*record);
            }
    });
    if (std::any_of(sets.begin(), sets.end(), [](const auto* set) { return !set->empty(); }))
        objectsDidChange_.notify(notice);
}

// Lets go of the records with unsaved changes, which the caller has written, discarded or found to have none.
QWManagedObjectSet Context::forgetPending() {
    lookups_.clear();
    QWManagedObjectSet records = std::exchange(pending_, {});
    for (const auto& record : records)
        record->state_ &= ~Record::Pending;
    return records;
}

// Discarding ------------------------------------------------------------------------------------------------

// Forgets what the record remembers of its changes, without touching its values.
void Context::forgetChanges(Record& record) {
    clearPending(record);
    record.changes_.reset();
    if (record.members_)
        for (const QWPropertyDescription* property : record.entity_->properties()) {
            auto& members = record.members_[property->index()];
            members.sinceSave.clear();
            members.sinceEvent.clear();
        }
}

void Context::makeFault(Record& record) {
    forgetChanges(record);
    record.values_.reset();
    record.packed_.clear();
    record.members_.reset();
    record.version_ = 0;
}

void Context::rollback() {
    if (!hasChanges() && undeclaredDeletes_.empty())
        return;
    undeclaredDeletes_.clear();
    QWManagedObjectSet discarded = forgetPending();
    std::erase_if(discarded, [](const auto& record) {
        return !record->hasChanges() && !(record->state_ & Record::Forgotten);
    });
    // What is discarded has nothing to report any more; the clean records of the event have.
    for (const auto& record : discarded)
        record->state_ &= ~Record::EventStates;
    std::erase_if(event_, [](const auto& record) { return !(record->state_ & Record::ListedInEvent); });
    for (const auto& record : discarded) {
        if (record->isInserted() || record->state_ & Record::Forgotten) {
            clearPending(*record);
            abandon(*record);
        } else {
            makeFault(*record);
            listInEvent(*record, Record::RefreshedInEvent);
        }
    }
    didDiscard_.notify(discarded);
}

void Context::refreshObject(Record& record, bool mergeChanges) {
    const bool hasNoRow = record.state_ & (Record::Inserted | Record::Gone | Record::Forgotten);
    if (record.context_ != this || record.isFault() || hasNoRow)
        return;
    const QWRef<Record> keepAlive(&record);
    if (mergeChanges) {
        Record stored;
        stored.entity_ = record.entity_;
        stored.key_ = record.key_;
        realise(stored);
        if (stored.version_ != 0)
            reload(record, stored.unpackedValues(), stored.version_);
        listInEvent(record, Record::RefreshedInEvent);
        return;
    }
    const bool changed = record.hasChanges();
    record.state_ &= ~(Record::UpdatedInEvent | Record::DeletedInEvent);
    makeFault(record);
    listInEvent(record, Record::RefreshedInEvent);
    if (changed)
        didDiscard_.notify({keepAlive});
}

// Takes the stored values but for the slots that hold another value here than before; those keep their value and are now a change of what
// is stored, so that the next save does not conflict.
void Context::reload(Record& record, const QVariant* values, qint64 version) {
    QVariant* const own = record.unpackedValues();
    for (const QWPropertyDescription* property : record.entity_->properties()) {
        const int index = property->index();
        if (property->isToMany()) {
            if (record.members_)
                record.members_[index].loaded = false;
            continue;
        }
        bool changedHere = false;
        if (record.changes_)
            for (auto& before : record.changes_->sinceSave)
                if (before.index == index) {
                    changedHere = before.value != own[index];
                    before.value = values[index];
                }
        if (!changedHere)
            own[index] = values[index];
    }
    record.version_ = version;
    refile(record);
}
