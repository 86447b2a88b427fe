#include "store/sqlite/QWSQLiteStore.h"

#include "store/QWStoreLog_p.h"
#include "store/sqlite/QWStoreFile.h"

#include <algorithm>

Q_LOGGING_CATEGORY(qwStoreLog, "qwlibrary.store")

namespace {

// A lease is a transaction of its own, which waits for the disk; keys are plenty.
constexpr qint64 KeysPerLease = 10000;

} // namespace

std::unique_ptr<QWSQLiteStore> QWSQLiteStore::open(const QString& path, const QWManagedObjectModel& model,
                                                   const QWStoreOptions& options, QWError* error) {
    try {
        std::unique_ptr<QWSQLiteStore> store(new QWSQLiteStore(model));
        store->connection_ = QWOpenStoreFile(path, model, store->layout_, options);
        store->prepare();
        return store;
    } catch (const QWStoreFailure& failure) {
        qw::fail(error, failure.error);
        return nullptr;
    }
}

QWSQLiteStore::QWSQLiteStore(const QWManagedObjectModel& model)
    : model_(model), layout_(model), accesses_(model.entities().size()), ids_(model.entities().size()),
      leases_(model.entities().size()), newRows_(model.entities().size()) {}

QWSQLiteStore::~QWSQLiteStore() = default;

void QWSQLiteStore::prepare() {
    QWSQLiteStatement entities(*connection_, "SELECT name, id, next_key FROM qw_entities");
    while (entities.step()) {
        if (const QWEntityDescription* entity = model_.entity(entities.text(0))) {
            ids_[entity->index()] = entities.integer(1);
            leases_[entity->index()].next = leases_[entity->index()].end = entities.integer(2);
        }
    }
    for (const auto& entity : model_.entities())
        describe(*entity, accesses_[entity->index()]);
}

void QWSQLiteStore::describe(const QWEntityDescription& entity, EntityAccess& access) const {
    access.table = layout_.table(entity);
    QHash<const QWPropertyDescription*, int> positions; // kinds share the columns of what they inherit
    access.select = "SELECT _entity, _key, _version";
    const std::function<void(const QWEntityDescription&)> addKinds = [&](const QWEntityDescription& kind) {
        std::vector<Column> columns;
        for (const QWPropertyDescription* property : kind.properties()) {
            if (property->isToMany())
                continue;
            if (!positions.contains(property)) {
                positions.insert(property, static_cast<int>(positions.size()) + 3);
                access.select += ", " + layout_.column(*property);
            }
            columns.push_back({property->index(), positions[property],
                               property->isAttribute() ? property->type() : QWAttributeType::Integer});
        }
        access.kinds.push_back({&kind, id(kind), std::move(columns)});
        for (const QWEntityDescription* child : kind.children())
            addKinds(*child);
    };
    addKinds(entity);
    access.select += " FROM " + access.table;
    access.selectByKey = access.select + " WHERE _key = ?";

    if (entity.parent() || !entity.children().empty())
        access.isOfEntity = "_entity = " + QByteArray::number(id(entity));
    if (entity.parent()) {
        access.isOfKind = "_entity IN (";
        for (const Kind& kind : access.kinds)
            access.isOfKind += QByteArray::number(kind.id) + ',';
        access.isOfKind.back() = ')';
    }

    QByteArray names = "_key, _entity, _version", marks = "?, ?, 1";
    for (const QWPropertyDescription* property : entity.properties()) {
        if (property->isToMany())
            continue;
        names += ", " + layout_.column(*property);
        marks += ", ?";
        if (property->isFolded()) {
            names += ", " + layout_.foldedColumn(*property);
            marks += ", ?";
        }
    }
    access.insert = "INSERT INTO " + access.table + " (" + names + ") VALUES (" + marks + ")";
}

qint64 QWSQLiteStore::reserveKeys(const QWEntityDescription& root, qint64 count) {
    const std::lock_guard lock(mutex_);
    Lease& lease = leases_[root.index()];
    if (lease.end - lease.next < count)
        extend(lease, root, std::max(count, KeysPerLease));
    const qint64 first = lease.next;
    lease.next += count;
    return first;
}

void QWSQLiteStore::extend(Lease& lease, const QWEntityDescription& root, qint64 count) {
    try {
        QWSQLiteStatement statement(*connection_,
                                    "UPDATE qw_entities SET next_key = next_key + ?1 WHERE id = ?2 "
                                    "RETURNING next_key");
        statement.bind(1, count);
        statement.bind(2, id(root));
        qint64 end = 0;
        while (statement.step())
            end = statement.integer(0);
        lease = {end - count, end, true};
    } catch (const QWStoreFailure& failure) {
        qCWarning(qwStoreLog).noquote() << "No keys could be leased:" << failure.error.message;
        lease.end = lease.next + count;
        lease.written = false;
    }
}
