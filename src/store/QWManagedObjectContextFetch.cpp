#include "store/QWManagedObjectContext.h"

#include "platform/text/QWText.h"
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

const QWEntityDescription* entityOfRequest(const Context& context, const QWFetchRequest& request,
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

bool belongs(const Record& record, const QWEntityDescription& entity, const QWFetchRequest& request) {
    return request.includesSubentities ? record.entity().isKindOf(entity) : &record.entity() == &entity;
}

// The text under which a lookup files a value; as folded as the attribute's index is.
QString lookupText(const QWPropertyDescription& property, const QVariant& value, bool folded) {
    if (property.type() == QWAttributeType::Date)
        return QString::number(value.toDateTime().toMSecsSinceEpoch());
    const QString text = value.toString();
    return property.isFolded() && !folded ? qw::text::foldCase(text) : text;
}

int compareValues(const QVariant& left, const QVariant& right, const QWSortDescriptor& descriptor) {
    if (!left.isValid() || !right.isValid())
        return int(left.isValid()) - int(right.isValid());
    if (left.typeId() == QMetaType::QString) {
        if (descriptor.comparison == QWSortDescriptor::Comparison::LocalizedCaseInsensitive)
            return qw::text::compareLocalizedCaseInsensitive(left.toString(), right.toString());
        return qw::text::compareCodePoints(left.toString(), right.toString());
    }
    if (left.typeId() == QMetaType::QByteArray)
        return left.toByteArray().compare(right.toByteArray());
    const QPartialOrdering order = QVariant::compare(left, right);
    return order == QPartialOrdering::Less ? -1 : order == QPartialOrdering::Greater ? 1 : 0;
}

} // namespace

std::optional<QWManagedObjectSet> Context::fetch(const QWFetchRequest& request, QWError* error) {
    const QWEntityDescription* entity = entityOfRequest(*this, request, error);
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

    const auto bound = QWBoundPredicate::bind(request.predicate, *entity, error);
    if (!bound)
        return std::nullopt;
    // Pending records may take saved rows out of the result, never more than there are of them.
    QWFetchRequest saved = request;
    saved.offset = 0;
    if (request.limit > 0)
        saved.limit = request.limit + request.offset + pending;
    if (!coordinator_->store_->select(saved, sink, error))
        return std::nullopt;

    bool added = false;
    for (const auto& record : pendingCandidates(*entity, *bound)) {
        if (!belongs(*record, *entity, request) || record->isDeleted()
            || !bound->evaluate(record->unpackedValues(), record->objectID()))
            continue;
        records.push_back(record);
        added = true;
    }
    if (added)
        sortRecords(records, request);
    if (request.offset > 0)
        records.erase(records.begin(), records.begin() + std::min(request.offset, qint64(records.size())));
    if (request.limit > 0 && qint64(records.size()) > request.limit)
        records.resize(size_t(request.limit));
    return records;
}

// Pending records that may match: those that an indexed equality names, else all of them.
QWManagedObjectSet Context::pendingCandidates(const QWEntityDescription& entity,
                                              const QWBoundPredicate& bound) {
    QWManagedObjectSet candidates;
    const auto add = [&](Record* record) {
        if (record->hasChanges() && record->context_ == this)
            candidates.push_back(QWRef<Record>(record));
    };
    const auto equality = bound.indexedLookup();
    if (!equality) {
        for (const auto& record : pending_)
            add(record.data());
        return candidates;
    }
    const QWPropertyDescription* property = entity.properties()[equality->property];
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
void Context::sortRecords(QWManagedObjectSet& records, const QWFetchRequest& request) const {
    std::stable_sort(records.begin(), records.end(), [&](const auto& left, const auto& right) {
        for (const QWSortDescriptor& descriptor : request.sortDescriptors) {
            const int index = left->entity().property(descriptor.key)->index();
            const int order = compareValues(left->slot(index), right->slot(index), descriptor);
            if (order != 0)
                return descriptor.ascending ? order < 0 : order > 0;
        }
        return left->key_ < right->key_;
    });
}

std::optional<qint64> Context::count(const QWFetchRequest& request, QWError* error) {
    const QWEntityDescription* entity = entityOfRequest(*this, request, error);
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
    if (!entityOfRequest(*this, request, error))
        return std::nullopt;
    return coordinator_->store_->distinctValues(request, key, error);
}

std::shared_ptr<const void> Context::keepDistinctValues(const QString& entityName, const QString& key,
                                                        QWError* error) {
    if (!entityOfRequest(*this, QWFetchRequest(entityName), error))
        return nullptr;
    return coordinator_->store_->keepDistinctValues(entityName, key, error);
}
