#include "store/QWManagedObjectContext.h"

#include "platform/text/QWText.h"
#include "store/QWFetchCriteria.h"
#include "store/QWManagedObjectContext_p.h"
#include "store/QWManagedObject_p.h"
#include "store/QWRecordTable_p.h"
#include "store/QWStoreError.h"
#include "store/predicate/QWBoundPredicate_p.h"
#include "store/sqlite/QWSQLiteStore.h"

#include <QSet>

// Fetching: the store answers for what is saved, the pending records are judged in memory, and the two are
// joined before offset and limit apply. A row whose record is live and realised is not read again: the
// record's own values stay.

using Context = QWManagedObjectContext;
using Record = QWManagedObject;

// Turns rows into live records, leaving out those that are judged in memory.
class Context::FetchSink final : public QWSQLiteStore::RowSink {
public:
    FetchSink(Context& context, bool skipPending, QWManagedObjectSet& records)
        : context_(context), skipPending_(skipPending), records_(records) {}

    QWPackedRow* row(const QWSQLiteStore::Row& row) override {
        Record* record = context_.registered_[size_t(row.entity->root().index())].find(row.key);
        if (record && skipPending_ && record->hasChanges())
            return nullptr;
        records_.push_back(record ? QWRef<Record>(record) : context_.registerRecord(*row.entity, row.key));
        record = records_.back().data();
        if (!record->isFault())
            return nullptr;
        record->version_ = row.version;
        return &record->packed_;
    }

private:
    Context& context_;
    bool skipPending_;
    QWManagedObjectSet& records_;
};

namespace {

// The text under which a lookup files a value; as folded as the attribute's index is.
QString lookupText(const QWPropertyDescription& property, const QVariant& value, bool folded) {
    if (property.type() == QWAttributeType::Date)
        return QString::number(value.toDateTime().toMSecsSinceEpoch());
    const QString text = value.toString();
    return property.isFolded() && !folded ? qw::text::foldCase(text) : text;
}

} // namespace

const QWEntityDescription* QWEntityOfRequest(const Context& context, const QWFetchRequest& request,
                                             QWError* error) {
    const QWEntityDescription* entity = context.model().entity(request.entityName);
    if (!entity)
        qw::fail(error,
                 QWMakeStoreError(QWStoreErrorCode::UnknownEntity,
                                  QStringLiteral("the model has no entity \"%1\"").arg(request.entityName),
                                  {{"entity", request.entityName}}));
    else if (!context.coordinator()->hasStore())
        qw::fail(error, QWMakeStoreError(QWStoreErrorCode::NoStore, QStringLiteral("no store is open")));
    else
        return entity;
    return nullptr;
}

namespace {

// Cuts what a request's offset and limit leave out.
template <class List>
void cut(List& list, const QWFetchRequest& request) {
    if (request.offset > 0)
        list.erase(list.begin(), list.begin() + std::min(request.offset, qint64(list.size())));
    if (request.limit > 0 && qint64(list.size()) > request.limit)
        list.resize(size_t(request.limit));
}

// The saved rows that it takes to answer a request when `pending` records are judged in memory, which may
// take saved rows out of the result, never more than there are of them.
QWFetchRequest savedPart(const QWFetchRequest& request, qint64 pending) {
    QWFetchRequest saved = request;
    saved.offset = 0;
    if (request.limit > 0)
        saved.limit = request.limit + request.offset + pending;
    return saved;
}

} // namespace

std::optional<QWManagedObjectSet> Context::fetch(const QWFetchRequest& request, QWError* error) {
    const QWEntityDescription* entity = QWEntityOfRequest(*this, request, error);
    if (!entity)
        return std::nullopt;
    const qint64 pending = request.includesPendingChanges ? pendingCount(entity->root()) : 0;
    QWManagedObjectSet records;
    FetchSink sink(*this, pending > 0, records);
    if (pending == 0) {
        if (!coordinator_->store_->select(request, sink, error))
            return std::nullopt;
        return records;
    }

    const auto criteria = QWFetchCriteria::create(*this, request, error);
    if (!criteria || !coordinator_->store_->select(savedPart(request, pending), sink, error))
        return std::nullopt;
    const size_t saved = records.size();
    for (const auto& record : pendingCandidates(*criteria))
        if (criteria->includes(*record))
            records.push_back(record);
    if (records.size() > std::max<size_t>(saved, 1))
        sortRecords(records, *criteria);
    cut(records, request);
    return records;
}

std::optional<std::vector<QWManagedObjectID>> Context::fetchIDs(const QWFetchRequest& request,
                                                                QWError* error) {
    const QWEntityDescription* entity = QWEntityOfRequest(*this, request, error);
    if (!entity)
        return std::nullopt;
    const qint64 pending = request.includesPendingChanges ? pendingCount(entity->root()) : 0;
    if (pending == 0)
        return coordinator_->store_->selectIDs(request, error);

    const auto criteria = QWFetchCriteria::create(*this, request, error);
    if (!criteria)
        return std::nullopt;
    auto saved = coordinator_->store_->selectIDs(savedPart(request, pending), error);
    if (!saved)
        return std::nullopt;
    std::erase_if(*saved, [this](const QWManagedObjectID& id) {
        const Record* record = registered_[size_t(id.entity->root().index())].find(id.key);
        return record && record->hasChanges();
    });
    QWManagedObjectSet added = pendingCandidates(*criteria);
    std::erase_if(added, [&](const auto& record) { return !criteria->includes(*record); });
    sortRecords(added, *criteria);

    // The saved rows are many: only those at which an added record looks are read.
    std::vector<QWManagedObjectID> ids;
    ids.reserve(saved->size() + added.size());
    auto next = saved->begin();
    for (const auto& record : added) {
        const auto place = std::lower_bound(
            next, saved->end(), criteria->place(*record),
            [&](const auto& id, const QByteArray& sought) { return criteria->place(id) < sought; });
        ids.insert(ids.end(), next, place);
        ids.push_back(record->objectID());
        next = place;
    }
    ids.insert(ids.end(), next, saved->end());
    cut(ids, request);
    return ids;
}

QWManagedObjectSet Context::objectsWithIDs(const std::vector<QWManagedObjectID>& ids) {
    QWManagedObjectSet records;
    QList<QWManagedObjectID> faults;
    for (const QWManagedObjectID& id : ids) {
        records.push_back(objectWithID(id));
        if (records.back()->isFault())
            faults.append(id);
    }
    if (!faults.isEmpty() && coordinator_->hasStore()) {
        QWManagedObjectSet read;
        FetchSink sink(*this, false, read);
        // What cannot be read now stays a fault, and is tried again, with a word in the log, when it is used.
        coordinator_->store_->select(
            QWFetchRequest(faults.first().entity->root().name(), QWPredicate::selfIn(faults)), sink, nullptr);
    }
    return records;
}

// Pending records that may match: those that an indexed equality names, else all of them.
QWManagedObjectSet Context::pendingCandidates(const QWFetchCriteria& criteria) {
    QWManagedObjectSet candidates;
    const auto add = [&](Record* record) {
        if (record->hasChanges() && record->context_ == this)
            candidates.push_back(QWRef<Record>(record));
    };
    const auto equality = criteria.predicate().indexedLookup();
    if (!equality) {
        for (const auto& record : pending_)
            add(record.data());
        return candidates;
    }
    const QWPropertyDescription* property = criteria.entity().properties()[equality->property];
    auto found = std::find_if(lookups_.begin(), lookups_.end(),
                              [&](const auto& lookup) { return lookup->property == property; });
    if (found == lookups_.end()) {
        lookups_.push_back(std::make_unique<Lookup>());
        found = std::prev(lookups_.end());
        (*found)->property = property;
    }
    Lookup& lookup = **found;
    indexPending(lookup);
    QSet<const Record*> added; // a record that changed several times may be filed several times
    const auto filed = lookup.records.value(lookupText(*property, equality->value, equality->folded));
    for (Record* record : filed) {
        if (added.contains(record))
            continue;
        added.insert(record);
        add(record);
    }
    return candidates;
}

void Context::indexPending(Lookup& lookup) {
    const auto file = [&](Record* record) {
        const auto& properties = record->entity_->properties();
        const size_t index = size_t(lookup.property->index());
        if (index >= properties.size() || properties[index] != lookup.property || !record->hasChanges())
            return;
        const QVariant& value = record->slot(int(index));
        if (value.isValid())
            lookup.records[lookupText(*lookup.property, value, false)].push_back(record);
    };
    for (; lookup.seen < pending_.size(); ++lookup.seen)
        file(pending_[lookup.seen].data());
    for (Record* record : std::exchange(lookup.changed, {}))
        file(record);
}

// The order that the store gives to saved rows.
void Context::sortRecords(QWManagedObjectSet& records, const QWFetchCriteria& criteria) const {
    std::vector<std::pair<QByteArray, QWRef<Record>>> placed;
    placed.reserve(records.size());
    for (QWRef<Record>& record : records)
        placed.emplace_back(criteria.place(*record), std::move(record));
    std::sort(placed.begin(), placed.end(),
              [](const auto& left, const auto& right) { return left.first < right.first; });
    std::transform(placed.begin(), placed.end(), records.begin(),
                   [](auto& each) { return std::move(each.second); });
}

std::optional<qint64> Context::count(const QWFetchRequest& request, QWError* error) {
    const QWEntityDescription* entity = QWEntityOfRequest(*this, request, error);
    if (!entity)
        return std::nullopt;
    if (!request.includesPendingChanges || pendingCount(entity->root()) == 0)
        return coordinator_->store_->count(request, error);
    if (request.limit > 0 || request.offset > 0 || !request.predicate.isAlwaysTrue()) {
        const auto records = fetch(request, error);
        return records ? std::optional<qint64>(qint64(records->size())) : std::nullopt;
    }
    std::optional<qint64> total = coordinator_->store_->count(request, error);
    for (const auto& described : model().entities()) {
        const bool counts =
            request.includesSubentities ? described->isKindOf(*entity) : described.get() == entity;
        if (total && counts)
            *total +=
                insertedByEntity_[size_t(described->index())] - deletedByEntity_[size_t(described->index())];
    }
    return total;
}

std::optional<QVariantList> Context::distinctValues(const QWFetchRequest& request, const QString& key,
                                                    QWError* error) {
    if (!QWEntityOfRequest(*this, request, error))
        return std::nullopt;
    return coordinator_->store_->distinctValues(request, key, error);
}

std::shared_ptr<const void> Context::keepDistinctValues(const QString& entityName, const QString& key,
                                                        QWError* error) {
    if (!QWEntityOfRequest(*this, QWFetchRequest(entityName), error))
        return nullptr;
    return coordinator_->store_->keepDistinctValues(entityName, key, error);
}
