#include "store/QWManagedObjectContext.h"

#include "platform/QWAssert.h"
#include "store/QWManagedObjectContext_p.h"
#include "store/QWManagedObject_p.h"
#include "store/QWRecordTable_p.h"
#include "store/QWStoreLog_p.h"
#include "store/sqlite/QWSQLiteStore.h"

// Identity and lifetime: which live object stands for which row. The register holds no references; a clean
// record leaves it when its last holder lets go, a changed one is held by `pending_` until it is saved or
// discarded.

using Context = QWManagedObjectContext;
using Record = QWManagedObject;

Context::QWManagedObjectContext(std::shared_ptr<QWPersistentStoreCoordinator> coordinator,
                                QWConcurrencyType concurrency)
    : coordinator_(std::move(coordinator)), concurrency_(concurrency) {
    QWAssert(coordinator_, "coordinator", "-[QWManagedObjectContext initWithCoordinator:]");
    const size_t entities = model().entities().size();
    registered_.resize(entities);
    for (auto* counts : {&pendingByRoot_, &insertedByEntity_, &deletedByEntity_})
        counts->resize(entities);
}

Context::~QWManagedObjectContext() {
    scheduledPass_.cancel();
    for (const QWRecordTable& records : registered_)
        records.forEach([](Record& record) { record.context_ = nullptr; });
}

QWRef<Record> Context::registerRecord(const QWEntityDescription& entity, qint64 key) {
    QWRef<Record> record(entity.makeRecord());
    record->entity_ = &entity;
    record->key_ = key;
    record->context_ = this;
    registered_[size_t(entity.root().index())].insert(*record);
    return record;
}

void Context::unregister(Record& record) {
    registered_[size_t(record.entity_->root().index())].remove(record);
    if (record.state_ & Record::Observed)
        keyObservers_.remove(&record);
}

void Context::abandon(Record& record) {
    unregister(record);
    record.context_ = nullptr;
    record.state_ = 0;
    record.changes_.reset();
}

QWRef<Record> Context::registeredObject(const QWManagedObjectID& id) const {
    if (id.isNull())
        return {};
    return QWRef<Record>(registered_[size_t(id.entity->root().index())].find(id.key));
}

QWRef<Record> Context::objectWithID(const QWManagedObjectID& id) {
    QWAssert(!id.isNull(), "objectID", "-[QWManagedObjectContext objectWithID:]");
    QWRef<Record> record = registeredObject(id);
    return record ? record : registerRecord(*id.entity, id.key);
}

// The record at the far end of a to-one relationship. A row that has gone is noticed here in a hierarchy,
// where the row tells the entity; otherwise when the record is read.
QWRef<Record> Context::recordForKey(const QWEntityDescription& destination, qint64 key) {
    const QWEntityDescription* entity = &destination;
    if (QWRef<Record> record = registeredObject({entity, key}))
        return record;
    if (!destination.children().empty() && coordinator_->hasStore())
        entity = coordinator_->store_->entityOf(destination.root(), key);
    return entity ? registerRecord(*entity, key) : QWRef<Record>();
}

// Reads a fault. A row that has gone leaves every value empty: readers need no special case for it. False
// when the store failed; the record stays a fault then, lest an empty one is taken for what is saved.
bool Context::realise(Record& record, QWError* error) {
    class Sink final : public QWSQLiteStore::RowSink {
    public:
        explicit Sink(Record& target) : record(target) {}
        QWPackedRow* row(const QWSQLiteStore::Row& row) override {
            record.version_ = row.version;
            return &record.packed_;
        }
        Record& record;
    } sink(record);
    QWError failure;
    if (coordinator_->hasStore())
        coordinator_->store_->readRow(record.entity_->root(), record.key_, sink, &failure);
    if (failure.isError()) {
        qCWarning(qwStoreLog) << "a record of" << record.entity_->name()
                              << "cannot be read:" << failure.message;
        return qw::fail(error, failure);
    }
    if (record.packed_.isEmpty())
        record.values_ = std::make_unique<QVariant[]>(record.entity_->properties().size());
    return true;
}

std::vector<QWManagedObjectID> Context::savedMembers(const QWPropertyDescription& property,
                                                     const Record& owner) {
    if (!coordinator_->hasStore())
        return {};
    return coordinator_->store_->members(property, owner.key_);
}

QWRef<Record> Context::insertObject(const QString& entityName) {
    const QWEntityDescription* entity = model().entity(entityName);
    QWAssert(entity, "entity", "-[QWManagedObjectContext insertObject:]");
    const qint64 key =
        coordinator_->hasStore() ? coordinator_->store_->reserveKeys(entity->root()) : nextUnstoredKey_--;
    QWRef<Record> record = registerRecord(*entity, key);
    const auto& properties = entity->properties();
    record->values_ = std::make_unique<QVariant[]>(properties.size());
    for (const QWPropertyDescription* property : properties)
        if (property->defaultValue().isValid())
            record->values_[property->index()] = property->defaultValue();
    setPending(*record, Record::Inserted);
    listInEvent(*record, Record::InsertedInEvent);
    record->state_ |= Record::Awakening;
    record->awakeFromInsert();
    record->state_ &= ~Record::Awakening;
    return record;
}

void Context::deleteObject(Record& record) {
    if (record.context_ != this || record.isDeleted())
        return;
    const QWRef<Record> keepAlive(&record);
    record.unpackedValues(); // its values stay readable after the row has gone
    listInEvent(record, Record::DeletedInEvent);
    setPending(record, Record::Deleted);
    undeclaredDeletes_.push_back(keepAlive);
}

// Unsaved changes -------------------------------------------------------------------------------------------

// Enters the record as inserted, updated or deleted. A record counts in one of the three roles: deleting an
// unsaved insertion leaves nothing to save.
void Context::setPending(Record& record, quint16 role) {
    const bool wasPending = record.hasChanges();
    const size_t entity = size_t(record.entity_->index());
    const size_t root = size_t(record.entity_->root().index());
    if (role == Record::Inserted)
        ++insertedByEntity_[entity];
    if (role == Record::Deleted) {
        if (record.isInserted()) {
            --insertedByEntity_[entity];
            --pendingCount_;
            --pendingByRoot_[root];
            record.state_ = (record.state_ & ~(Record::Inserted | Record::Updated)) | Record::Forgotten;
            return;
        }
        ++deletedByEntity_[entity];
        record.state_ &= ~Record::Updated;
    }
    record.state_ |= role;
    if (!wasPending) {
        ++pendingCount_;
        ++pendingByRoot_[root];
    }
    if (!(record.state_ & Record::Pending)) {
        record.state_ |= Record::Pending;
        pending_.push_back(QWRef<Record>(&record));
    }
}

// The record has no unsaved changes any more; it stays in `pending_` until that is cleared or compacted.
void Context::clearPending(Record& record) {
    if (!record.hasChanges())
        return;
    const size_t entity = size_t(record.entity_->index());
    const size_t root = size_t(record.entity_->root().index());
    if (record.isInserted())
        --insertedByEntity_[entity];
    if (record.isDeleted())
        --deletedByEntity_[entity];
    --pendingCount_;
    --pendingByRoot_[root];
    record.state_ &= ~(Record::Inserted | Record::Updated | Record::Deleted);
}

bool Context::hasChanges() const {
    return pendingCount_ > 0;
}

namespace {
QWManagedObjectSet withRole(const QWManagedObjectSet& records, bool (Record::*role)() const) {
    QWManagedObjectSet result;
    for (const auto& record : records)
        if ((record.data()->*role)())
            result.push_back(record);
    return result;
}
} // namespace

QWManagedObjectSet Context::insertedObjects() const {
    return withRole(pending_, &Record::isInserted);
}

QWManagedObjectSet Context::updatedObjects() const {
    return withRole(pending_, &Record::isUpdated);
}

QWManagedObjectSet Context::deletedObjects() const {
    return withRole(pending_, &Record::isDeleted);
}

// Editors and observers -------------------------------------------------------------------------------------

QWObservation Context::registerEditor(std::function<bool()> commit) {
    auto editor = std::make_shared<std::function<bool()>>(std::move(commit));
    editors_->push_back(editor);
    return QWObservation([editors = std::weak_ptr(editors_), editor] {
        if (const auto list = editors.lock())
            std::erase(*list, editor);
    });
}

bool Context::commitEditing() {
    const auto editors = *editors_;
    return std::all_of(editors.begin(), editors.end(), [](const auto& editor) { return (*editor)(); });
}

QWObservation Context::observeObjectsDidChange(ObjectsDidChange::Callback callback) {
    return objectsDidChange_.add(std::move(callback));
}

QWObservation Context::observeDidSave(DidSave::Callback callback) {
    return didSave_.add(std::move(callback));
}

QWObservation Context::observeWillMerge(DidSave::Callback callback) {
    return willMerge_.add(std::move(callback));
}

QWObservation Context::observeDidMerge(DidSave::Callback callback) {
    return didMerge_.add(std::move(callback));
}

QWObservation Context::observeWillSave(std::function<void()> callback) {
    return willSave_.add(std::move(callback));
}

QWObservation Context::observeDidDiscard(DidDiscard::Callback callback) {
    return didDiscard_.add(std::move(callback));
}
