#include "store/QWManagedObjectContext.h"

#include "store/QWManagedObjectContext_p.h"
#include "store/QWManagedObject_p.h"
#include "store/QWStoreError.h"
#include "store/sqlite/QWSQLiteStore.h"

// Saving. States: changes are processed until nothing is left; records are validated; one transaction writes
// them; only when it is committed do records and context change. A row whose version is not the one that a
// record is based on is a conflict, which the merge function decides; undecided ones fail the save as a
// whole.

using Context = QWManagedObjectContext;
using Record = QWManagedObject;

namespace {

QVariantMap validationError(QWStoreErrorCode code, const Record& record,
                            const QWPropertyDescription& property) {
    return {{"code", int(code)},
            {"entity", record.entity().name()},
            {"key", property.name()},
            {"object", QVariant::fromValue(record.objectID())}};
}

QString describe(const QVariantMap& error) {
    const bool missing = error["code"].toInt() == int(QWStoreErrorCode::MissingMandatory);
    return QStringLiteral("%1.%2 %3")
        .arg(error["entity"].toString(), error["key"].toString(),
             missing ? QStringLiteral("is required and has no value")
                     : QStringLiteral("still has records that forbid the deletion"));
}

} // namespace

bool Context::save(QWError* error) {
    if (!hasChanges() && event_.empty() && undeclaredDeletes_.empty())
        return true;
    if (!prepareSave(error))
        return false;
    if (!hasChanges())
        return true;
    if (!coordinator_->hasStore())
        return qw::fail(error, QWMakeStoreError(QWStoreErrorCode::NoStore,
                                                QStringLiteral("no store is open to save into")));
    if (!validate(error))
        return false;
    SaveOutcome outcome;
    if (!coordinator_->store_->begin(error))
        return false;
    if (!writeChanges(outcome, error)) {
        coordinator_->store_->rollback();
        return false;
    }
    if (!coordinator_->store_->commit(error))
        return false;
    finishSave(outcome);
    return true;
}

// After the commit: nothing is pending any more, and only then are hooks and observers told.
void Context::finishSave(const SaveOutcome& outcome) {
    QWDidSaveNotice notice;
    notice.context = this;
    QWManagedObjectSet discarded;
    const bool observed = !didSave_.isEmpty();
    QWManagedObjectSet records = forgetPending();
    for (const auto& record : records) {
        if (!record->hasChanges())
            continue;
        if (outcome.takeStored.contains(record.data())) {
            discarded.push_back(record);
            continue;
        }
        if (observed)
            (record->isInserted()  ? notice.inserted
             : record->isDeleted() ? notice.deleted
                                   : notice.updated)
                .push_back(record);
        const auto base = outcome.baseVersions.constFind(record.data());
        record->version_ = (base == outcome.baseVersions.cend() ? record->version_ : *base) + 1;
        if (record->isDeleted()) {
            clearPending(*record);
            record->state_ |= Record::Gone;
        } else {
            forgetChanges(*record);
        }
    }
    for (const auto& record : discarded)
        takeStored(*record, outcome.takeStored.value(record.data()));
    for (const auto& record : records)
        if (!outcome.takeStored.contains(record.data()))
            record->didSave();
    didSave_.notify(notice);
    for (const auto& record : records)
        if (record->state_ & Record::Gone && !(record->state_ & Record::ListedInEvent))
            abandon(*record);
    if (!discarded.empty())
        didDiscard_.notify(discarded);
    release(std::move(records));
}

// Those that nobody else holds end here, in a big insertion nearly all, and what takes time then is waiting
// for the counts of holders that their texts have: those of the records that come next are asked for ahead.
// The last record goes first, because the caches may still have it.
void Context::release(QWManagedObjectSet records) {
    constexpr size_t ahead = 4;
    for (; !records.empty(); records.pop_back())
        if (records.size() > ahead)
            records[records.size() - 1 - ahead]->prefetchTexts();
}

// The record gives way to what is stored: it becomes a fault of it, or leaves when the row has gone.
void Context::takeStored(Record& record, bool gone) {
    if (gone) {
        forgetChanges(record);
        record.state_ |= Record::Gone;
        listInEvent(record, Record::DeletedInEvent);
    } else {
        makeFault(record);
        listInEvent(record, Record::RefreshedInEvent);
    }
}

bool Context::prepareSave(QWError* error) {
    willSave_.notify();
    if (processAllChanges()) {
        const size_t count = pending_.size(); // what a hook changes besides is pending when the hooks end
        for (size_t i = 0; i < count && i < pending_.size(); ++i)
            if (pending_[i]->hasChanges())
                QWRef<Record>(pending_[i])->willSave();
        if (processAllChanges())
            return true;
    }
    return qw::fail(error, QWMakeStoreError(QWStoreErrorCode::SeveralValidationErrors,
                                            QStringLiteral("observers change records without end")));
}

bool Context::validate(QWError* error) const {
    QVariantList errors;
    for (const auto& record : pending_) {
        if (!record->hasChanges())
            continue;
        for (const QWPropertyDescription* property : record->entity_->properties()) {
            if (record->isDeleted()) {
                if (property->isAttribute() || property->deleteRule() != QWDeleteRule::Deny)
                    continue;
                const QVariant value = record->valueForKey(property->name());
                const auto* inverse = property->inverse();
                const auto blocks = [&](const QWRef<Record>& one) {
                    if (!one || one->isDeleted())
                        return false;
                    // A deleted record keeps its own ends, also of what was given to another one since.
                    return !inverse || inverse->isToMany() || one->relatedObject(inverse->name()) == record;
                };
                const auto members = property->isToMany() ? value.value<QList<QWRef<Record>>>()
                                                          : QList{value.value<QWRef<Record>>()};
                if (std::any_of(members.begin(), members.end(), blocks))
                    errors << validationError(QWStoreErrorCode::DeniedDelete, *record, *property);
            } else if (!property->isOptional()) {
                const bool missing = property->isToMany() ? record->members(*property).list.isEmpty()
                                                          : !record->slot(property->index()).isValid();
                if (missing)
                    errors << validationError(QWStoreErrorCode::MissingMandatory, *record, *property);
            }
        }
    }
    if (errors.isEmpty())
        return true;
    if (errors.size() == 1) {
        const QVariantMap one = errors.first().toMap();
        return qw::fail(error, QWMakeStoreError(QWStoreErrorCode(one["code"].toInt()), describe(one), one));
    }
    QStringList lines;
    for (const QVariant& one : std::as_const(errors))
        lines << describe(one.toMap());
    return qw::fail(error, QWMakeStoreError(QWStoreErrorCode::SeveralValidationErrors,
                                            lines.join(QStringLiteral("; ")), {{"errors", errors}}));
}

bool Context::writeChanges(SaveOutcome& outcome, QWError* error) {
    for (const auto& record : pending_)
        if (record->hasChanges() && !writeRecord(*record, outcome, error))
            return false;
    if (!outcome.conflicts.isEmpty())
        return qw::fail(error, QWMakeStoreError(QWStoreErrorCode::Conflict,
                                                QStringLiteral("%n record(s) were saved by another context "
                                                               "meanwhile")
                                                    .replace(QStringLiteral("%n"),
                                                             QString::number(outcome.conflicts.size())),
                                                {{"conflicts", outcome.conflicts}}));
    for (const auto& record : pending_)
        if (record->members_ && record->state_ & (Record::Inserted | Record::Updated)
            && !outcome.takeStored.contains(record.data())
            && !writeMembers(*record, outcome.baseVersions.contains(record.data()), error))
            return false;
    return true;
}

bool Context::writeRecord(Record& record, SaveOutcome& outcome, QWError* error) {
    QWSQLiteStore& store = *coordinator_->store_;
    const QWManagedObjectID id = record.objectID();
    if (record.isInserted())
        return store.insert(id, record.unpackedValues(), error);
    QWSQLiteStore::Write result;
    if (record.isDeleted()) {
        result = store.remove(id, record.version_, error);
    } else {
        std::vector<int> slots;
        if (record.changes_)
            for (const auto& before : record.changes_->sinceSave)
                slots.push_back(before.index);
        std::sort(slots.begin(), slots.end());
        result = store.update(id, record.version_, record.unpackedValues(), slots, error);
    }
    if (result == QWSQLiteStore::Write::Conflict)
        return resolveConflict(record, outcome, error);
    return result == QWSQLiteStore::Write::Done;
}

// Asks the merge function which version wins, and writes it whole: a mixture of the two never reaches the
// store.
bool Context::resolveConflict(Record& record, SaveOutcome& outcome, QWError* error) {
    QWSQLiteStore& store = *coordinator_->store_;
    Record stored;
    stored.entity_ = record.entity_;
    stored.key_ = record.key_;
    if (!realise(stored, error))
        return false;
    const bool gone = stored.version_ == 0;
    if (gone && record.isDeleted())
        return true;

    QWSaveConflict conflict{QWRef<Record>(&record), record.isDeleted(), gone, {}};
    if (!gone)
        for (const QWPropertyDescription* property : record.entity_->properties())
            if (property->isAttribute())
                conflict.storedValues.insert(property->name(), stored.value(*property));
    const QWMergeDecision decision = merge_ ? merge_(conflict) : QWMergeDecision::Fail;
    if (decision == QWMergeDecision::Fail) {
        outcome.conflicts << QVariant::fromValue(record.objectID());
        return true;
    }
    if (decision == QWMergeDecision::TakeStored) {
        outcome.takeStored.insert(&record, gone);
        return true;
    }
    outcome.baseVersions.insert(&record, stored.version_);
    if (gone)
        return store.insert(record.objectID(), record.unpackedValues(), error);
    if (record.isDeleted())
        return store.remove(record.objectID(), stored.version_, error) == QWSQLiteStore::Write::Done;
    std::vector<int> slots;
    for (const QWPropertyDescription* property : record.entity_->properties())
        if (!property->isToMany())
            slots.push_back(property->index());
    return store.update(record.objectID(), stored.version_, record.unpackedValues(), slots, error)
           == QWSQLiteStore::Write::Done;
}

// A record that replaces another's version writes all the members that it knows, any other what it has
// changed.
bool Context::writeMembers(Record& record, bool replaces, QWError* error) {
    for (const QWPropertyDescription* property : record.entity_->properties()) {
        if (!property->isToMany())
            continue;
        const Record::Members& own = record.members_[property->index()];
        if (own.sinceSave.isEmpty() && !(replaces && own.loaded))
            continue;
        const bool heldByFarEnd = property->inverse() && !property->inverse()->isToMany();
        if (heldByFarEnd && !property->isOrdered())
            continue;
        const auto members = record.members(*property).list.ids();
        if (!coordinator_->store_->writeMembers(*property, record.objectID(), members, error))
            return false;
    }
    return true;
}
