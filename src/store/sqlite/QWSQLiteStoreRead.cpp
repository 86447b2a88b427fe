#include "store/QWStoreError.h"
#include "store/QWStoreLog_p.h"
#include "store/sqlite/QWPredicateSQL.h"
#include "store/sqlite/QWSQLiteStore.h"

#include <QDateTime>
#include <algorithm>

namespace {

QByteArray limitAndOffset(const QWFetchRequest& request) {
    if (request.limit <= 0 && request.offset <= 0)
        return {};
    return " LIMIT " + QByteArray::number(request.limit > 0 ? request.limit : -1) + " OFFSET "
           + QByteArray::number(request.offset);
}

} // namespace

void QWSQLiteStore::pack(const QWSQLiteStatement& row, int column, int slot, QWPackedRow::Writer& writer) {
    switch (row.type(column)) {
    case SQLITE_INTEGER:
        writer.setInteger(slot, row.integer(column));
        break;
    case SQLITE_FLOAT:
        writer.setReal(slot, row.real(column));
        break;
    case SQLITE_TEXT:
        writer.setText(slot, row.utf8(column));
        break;
    case SQLITE_BLOB:
        writer.setBytes(slot, row.blob(column));
        break;
    default:
        break; // no value
    }
}

void QWSQLiteStore::bindAll(QWSQLiteStatement& statement, const QVariantList& bindings) {
    int parameter = 1;
    for (const QVariant& value : bindings)
        statement.bind(parameter++, value);
}

const QWEntityDescription& QWSQLiteStore::entityOf(const QWFetchRequest& request) const {
    if (const QWEntityDescription* entity = model_.entity(request.entityName))
        return *entity;
    throw QWStoreFailure{
        QWMakeStoreError(QWStoreErrorCode::UnknownEntity,
                         QStringLiteral("The model has no entity %1.").arg(request.entityName),
                         {{QStringLiteral("entity"), request.entityName}})};
}

QWSQLiteStore::Selection QWSQLiteStore::selection(const QWFetchRequest& request) const {
    const QWEntityDescription& entity = entityOf(request);
    const EntityAccess& access = accesses_[entity.index()];
    QByteArray where = request.includesSubentities ? access.isOfKind : access.isOfEntity;
    QVariantList bindings;
    const bool isWhole = request.predicate.isAlwaysTrue();
    if (!isWhole) {
        QWError error;
        auto condition = QWCompilePredicate(
            request.predicate, entity,
            [this](const QWPropertyDescription& property, bool folded) -> const QByteArray& {
                return folded ? layout_.foldedColumn(property) : layout_.column(property);
            },
            &error);
        if (!condition)
            throw QWStoreFailure{error};
        if (!where.isEmpty()) {
            // "+" keeps the few entities' index out: what the predicate asks for selects better.
            where.prepend('+');
            where += " AND ";
        }
        where += condition->text;
        bindings = std::move(condition->bindings);
    }
    if (!where.isEmpty())
        where.prepend(" WHERE ");
    return {access, std::move(where), std::move(bindings), isWhole};
}

const QWPropertyDescription& QWSQLiteStore::attribute(const QWEntityDescription& entity,
                                                      const QString& key) const {
    const QWPropertyDescription* property = entity.property(key);
    if (!property || !property->isAttribute()) {
        throw QWStoreFailure{QWMakeStoreError(
            QWStoreErrorCode::UnknownKey, QStringLiteral("%1 has no attribute %2.").arg(entity.name(), key),
            {{QStringLiteral("entity"), entity.name()}, {QStringLiteral("key"), key}})};
    }
    return *property;
}

QByteArray QWSQLiteStore::orderBy(const QWFetchRequest& request) const {
    QByteArray terms;
    for (const QWSortDescriptor& descriptor : request.sortDescriptors) {
        const QWPropertyDescription& property = attribute(*model_.entity(request.entityName), descriptor.key);
        const QByteArray& column = layout_.column(property);
        if (descriptor.comparison == QWSortDescriptor::Comparison::LocalizedCaseInsensitive)
            terms += "qw_sort_key(" + column + ")";
        else
            terms += column;
        terms += descriptor.ascending ? ", " : " DESC, ";
    }
    return " ORDER BY " + terms + "_key";
}

bool QWSQLiteStore::select(const QWFetchRequest& request, RowSink& sink, QWError* error) {
    return guarded(error, [&] {
        const Selection wanted = selection(request);
        QWSQLiteStatement statement(*connection_, wanted.access.select + wanted.where + orderBy(request)
                                                      + limitAndOffset(request));
        bindAll(statement, wanted.bindings);
        readRows(wanted.access, statement, sink);
    });
}

std::optional<std::vector<QWManagedObjectID>> QWSQLiteStore::selectIDs(const QWFetchRequest& request,
                                                                       QWError* error) {
    std::vector<QWManagedObjectID> ids;
    const bool done = guarded(error, [&] {
        const Selection wanted = selection(request);
        QWSQLiteStatement statement(*connection_, "SELECT _entity, _key FROM " + wanted.access.table
                                                      + wanted.where + orderBy(request)
                                                      + limitAndOffset(request));
        bindAll(statement, wanted.bindings);
        const Kind* kind = &wanted.access.kinds.front();
        while (statement.step()) {
            if (const qint64 id = statement.integer(0); id != kind->id)
                kind = &kindWithId(wanted.access, id);
            ids.push_back({kind->entity, statement.integer(1)});
        }
    });
    return done ? std::optional(std::move(ids)) : std::nullopt;
}

bool QWSQLiteStore::readRow(const QWEntityDescription& root, qint64 key, RowSink& sink, QWError* error) {
    qint64 found = 0;
    guarded(error, [&] {
        const EntityAccess& access = accesses_[root.index()];
        QWSQLiteStatement statement(*connection_, access.selectByKey);
        statement.bind(1, key);
        found = readRows(access, statement, sink);
    });
    return found > 0;
}

qint64 QWSQLiteStore::readRows(const EntityAccess& access, QWSQLiteStatement& statement, RowSink& sink) {
    const Kind* kind = &access.kinds.front();
    qint64 count = 0;
    for (; statement.step(); ++count) {
        if (const qint64 id = statement.integer(0); id != kind->id)
            kind = &kindWithId(access, id);
        QWPackedRow* packed = sink.row({kind->entity, statement.integer(1), statement.integer(2)});
        if (!packed)
            continue;
        QWPackedRow::Writer writer(kind->entity->properties().size());
        for (const Column& column : kind->columns)
            pack(statement, column.position, column.slot, writer);
        *packed = writer.finish();
    }
    return count;
}

const QWSQLiteStore::Kind& QWSQLiteStore::kindWithId(const EntityAccess& access, qint64 id) const {
    for (const Kind& kind : access.kinds) {
        if (kind.id == id)
            return kind;
    }
    connection_->fail(SQLITE_CORRUPT);
}

std::optional<qint64> QWSQLiteStore::count(const QWFetchRequest& request, QWError* error) {
    qint64 rows = 0;
    const bool done = guarded(error, [&] {
        const Selection wanted = selection(request);
        if (wanted.isWhole) {
            rows = rowCount(wanted.access, request.includesSubentities);
        } else {
            QWSQLiteStatement statement(*connection_,
                                        "SELECT count(*) FROM " + wanted.access.table + wanted.where);
            bindAll(statement, wanted.bindings);
            rows = statement.step() ? statement.integer(0) : 0;
        }
        rows = std::max<qint64>(0, rows - std::max<qint64>(0, request.offset));
        if (request.limit > 0)
            rows = std::min(rows, request.limit);
    });
    return done ? std::optional(rows) : std::nullopt;
}

// The file's counts, which hold what was committed, and what this transaction has added to them.
qint64 QWSQLiteStore::rowCount(const EntityAccess& access, bool withSubentities) {
    qint64 rows = 0;
    for (const Kind& kind : access.kinds) {
        QWSQLiteStatement statement(*connection_, "SELECT row_count FROM qw_entities WHERE id = ?");
        statement.bind(1, kind.id);
        if (statement.step())
            rows += statement.integer(0) + newRows_[kind.entity->index()];
        if (!withSubentities)
            break;
    }
    return rows;
}

std::vector<QWManagedObjectID> QWSQLiteStore::members(const QWPropertyDescription& relationship,
                                                      qint64 owner) {
    std::vector<QWManagedObjectID> found;
    QWError error;
    const bool done = guarded(&error, [&] {
        const EntityAccess& far = accesses_[relationship.destination()->root().index()];
        QByteArray sql = "SELECT _entity, _key FROM " + far.table;
        if (const auto* join = layout_.joinTable(relationship)) {
            const bool forward = join->relationship == &relationship;
            sql += " JOIN " + join->table.name + (forward ? " ON member" : " ON owner") + " = _key WHERE "
                   + (forward ? "owner" : "member") + " = ? ORDER BY ";
            if (relationship.isOrdered())
                sql += forward ? "position, " : "inverse_position, ";
        } else {
            sql += " WHERE " + layout_.column(*relationship.inverse()) + " = ? ORDER BY ";
            if (relationship.isOrdered())
                sql += layout_.orderColumn(relationship) + ", ";
        }
        QWSQLiteStatement statement(*connection_, sql + "_key");
        statement.bind(1, owner);
        while (statement.step())
            found.push_back({kindWithId(far, statement.integer(0)).entity, statement.integer(1)});
    });
    if (!done)
        qCWarning(qwStoreLog).noquote()
            << "The members of" << relationship.name() << "cannot be read:" << error.message;
    return found;
}

const QWEntityDescription* QWSQLiteStore::entityOf(const QWEntityDescription& root, qint64 key) {
    const QWEntityDescription* entity = nullptr;
    guarded(nullptr, [&] {
        const EntityAccess& access = accesses_[root.index()];
        QWSQLiteStatement statement(*connection_, "SELECT _entity FROM " + access.table + " WHERE _key = ?");
        statement.bind(1, key);
        if (statement.step())
            entity = kindWithId(access, statement.integer(0)).entity;
    });
    return entity;
}
