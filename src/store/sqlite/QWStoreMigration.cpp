#include "store/sqlite/QWStoreMigration.h"

#include "store/sqlite/QWStoreReferences.h"

#include <QDateTime>
#include <QSet>
#include <algorithm>
#include <cmath>

// A row's values are expressions over the old row, `source`. A relationship's links are a query with the
// columns of a join table, `owner`, `member`, `position`, `inverse_position`, whatever stored them before;
// what stores them now picks its own from it.

namespace {

QByteArray literal(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return "NULL";
    case QMetaType::QString:
        return "CAST(X'" + value.toString().toUtf8().toHex() + "' AS TEXT)";
    case QMetaType::QByteArray:
        return "X'" + value.toByteArray().toHex() + "'";
    case QMetaType::QDateTime:
        return QByteArray::number(value.toDateTime().toMSecsSinceEpoch());
    case QMetaType::Double: {
        const double number = value.toDouble();
        return std::isnan(number)   ? "NULL"
               : std::isinf(number) ? (number > 0 ? "9e999" : "-9e999") // beyond every double
                                    : QByteArray::number(number, 'e', 17);
    }
    default:
        return QByteArray::number(value.toLongLong());
    }
}

QByteArray turned(const QByteArray& links) {
    return "SELECT member AS owner, owner AS member, inverse_position AS position, position AS "
           "inverse_position FROM ("
           + links + ")";
}

} // namespace

QWStoreMigration::QWStoreMigration(QWSQLiteConnection& connection, const QWManagedObjectModel& from,
                                   const QWManagedObjectModel& to, const QWStoreLayout& toLayout)
    : connection_(connection), from_(from), to_(to), fromLayout_(from), toLayout_(toLayout),
      mapping_(from, to) {
    QWSQLiteStatement entities(connection_, "SELECT name, id FROM qw_entities");
    while (entities.step())
        ids_.insert(entities.text(0), entities.integer(1));
}

// Expressions -----------------------------------------------------------------------------------------------

QByteArray QWStoreMigration::oldRows(const QWEntityDescription& entity) const {
    const QWEntityDescription& before = *mapping_.source(entity);
    return " FROM " + fromLayout_.table(before)
           + " AS source WHERE source._entity = " + QByteArray::number(ids_.value(before.name()));
}

QByteArray QWStoreMigration::value(const QWEntityDescription& entity,
                                   const QWPropertyDescription& property) const {
    const QWPropertyDescription* before = mapping_.source(entity, property);
    if (before) {
        const QByteArray column = "source." + fromLayout_.column(*before);
        const bool isFilled =
            !property.isOptional() && property.defaultValue().isValid() && before->isOptional();
        return isFilled ? "coalesce(" + column + ", " + literal(property.defaultValue()) + ")" : column;
    }
    if (property.isAttribute())
        return literal(property.defaultValue());
    const QByteArray all = links(property);
    return all.isEmpty() ? "NULL" : "(SELECT member FROM (" + all + ") WHERE owner = source._key)";
}

QByteArray QWStoreMigration::foldedValue(const QWEntityDescription& entity,
                                         const QWPropertyDescription& property) const {
    const QByteArray text = value(entity, property);
    const QWPropertyDescription* before = mapping_.source(entity, property);
    const bool isStored = before && before->isFolded() && text == "source." + fromLayout_.column(*before);
    return isStored ? "source." + fromLayout_.foldedColumn(*before) : "qw_fold(" + text + ", 1)";
}

// The row's place among the members at the other end of its to-one.
QByteArray QWStoreMigration::orderValue(const QWEntityDescription& entity,
                                        const QWPropertyDescription& toOne) const {
    const QWPropertyDescription* before = mapping_.source(entity, toOne);
    if (!before) {
        const QByteArray all = links(toOne);
        return all.isEmpty() ? "NULL"
                             : "(SELECT inverse_position FROM (" + all + ") WHERE owner = source._key)";
    }
    const bool wasOrdered = before->inverse() && before->inverse()->isOrdered();
    return wasOrdered ? "source." + fromLayout_.orderColumn(*before->inverse()) : "NULL";
}

std::vector<QWStoreMigration::Term> QWStoreMigration::terms(const QWEntityDescription& entity) const {
    std::vector<Term> all;
    for (const QWPropertyDescription* property : entity.properties()) {
        if (property->isToMany())
            continue;
        all.push_back({toLayout_.column(*property), value(entity, *property)});
        if (property->isFolded())
            all.push_back({toLayout_.foldedColumn(*property), foldedValue(entity, *property)});
        if (property->isRelationship() && property->inverse() && property->inverse()->isOrdered())
            all.push_back({toLayout_.orderColumn(*property->inverse()), orderValue(entity, *property)});
    }
    return all;
}

QByteArray QWStoreMigration::oldLinks(const QWPropertyDescription& before) const {
    if (const auto* join = fromLayout_.joinTable(before)) {
        const QByteArray rows = "SELECT owner, member, position, inverse_position FROM " + join->table.name;
        return join->relationship == &before ? rows : turned(rows);
    }
    if (before.isToMany())
        return turned(oldLinks(*before.inverse()));
    const bool isOrdered = before.inverse() && before.inverse()->isOrdered();
    const QByteArray column = fromLayout_.column(before);
    return "SELECT _key AS owner, " + column + " AS member, NULL AS position, "
           + (isOrdered ? fromLayout_.orderColumn(*before.inverse()) : QByteArray("NULL"))
           + " AS inverse_position FROM " + fromLayout_.tableOf(before) + " WHERE " + column + " IS NOT NULL";
}

// The links that the relationship had or, where it is new, that its inverse had; empty when there were none.
QByteArray QWStoreMigration::links(const QWPropertyDescription& relationship) const {
    const auto joined = [this](const QWPropertyDescription& one) {
        QByteArrayList queries;
        for (const QWPropertyDescription* before : mapping_.sources(one))
            queries << oldLinks(*before);
        return queries.join(" UNION ALL ");
    };
    const QByteArray own = joined(relationship);
    if (!own.isEmpty() || !relationship.inverse())
        return own;
    const QByteArray inverse = joined(*relationship.inverse());
    return inverse.isEmpty() ? inverse : turned(inverse);
}

// Reasons ---------------------------------------------------------------------------------------------------

QStringList QWStoreMigration::reasonsAgainst() {
    QStringList reasons = mapping_.reasonsAgainst();
    if (!reasons.isEmpty())
        return reasons; // the rows can only be looked at through a mapping that makes sense
    for (const auto& entity : to_.entities()) {
        for (const QWPropertyDescription* property : entity->properties()) {
            if (mapping_.source(*entity) && !property->isToMany())
                explainData(*entity, *property, reasons);
        }
    }
    return reasons;
}

void QWStoreMigration::explainData(const QWEntityDescription& entity, const QWPropertyDescription& property,
                                   QStringList& reasons) {
    const QString name = entity.name() + QLatin1Char('.') + property.name();
    const QWPropertyDescription* before = mapping_.source(entity, property);
    if (!property.isOptional() && !(before && !before->isOptional())
        && connection_.integer("SELECT EXISTS (SELECT 1" + oldRows(entity) + " AND " + value(entity, property)
                               + " IS NULL)"))
        reasons << QStringLiteral("%1 is required, and saved records have no value for it").arg(name);

    if (before || property.isAttribute())
        return;
    const QByteArray all = links(property);
    if (!all.isEmpty()
        && connection_.integer("SELECT EXISTS (SELECT 1 FROM (" + all
                               + ") GROUP BY owner HAVING count(DISTINCT member) > 1)"))
        reasons << QStringLiteral("%1 is to-one, and saved records belong to several").arg(name);
}

// Tables ----------------------------------------------------------------------------------------------------

bool QWStoreMigration::isKept(const QWEntityDescription& root) const {
    const QWEntityDescription* before = mapping_.sourceOfHierarchy(root);
    const auto& table = toLayout_.tables()[root.index()];
    if (!before || fromLayout_.tables()[before->index()].create(table.name) != table.create(table.name)
        || fromLayout_.table(*before) != table.name)
        return false;
    const bool keepsRows =
        std::all_of(from_.entities().begin(), from_.entities().end(), [&](const auto& entity) {
            const QWEntityDescription* now = mapping_.image(*entity);
            return &entity->root() != before || (now && &now->root() == &root);
        });
    return keepsRows && std::all_of(to_.entities().begin(), to_.entities().end(), [&](const auto& entity) {
               if (&entity->root() != &root || !mapping_.source(*entity))
                   return true;
               const auto all = terms(*entity);
               return std::all_of(all.begin(), all.end(),
                                  [](const Term& term) { return term.value == "source." + term.column; });
           });
}

bool QWStoreMigration::isKept(const QWStoreLayout::JoinTable& join) const {
    const auto sources = mapping_.sources(*join.relationship);
    const auto* before = sources.size() == 1 ? fromLayout_.joinTable(*sources.front()) : nullptr;
    return before && before->relationship == sources.front() && before->table.name == join.table.name
           && before->table.create(join.table.name) == join.table.create(join.table.name);
}

void QWStoreMigration::fill(const QWEntityDescription& root, const QByteArray& table) {
    for (const auto& entity : to_.entities()) {
        if (&entity->root() != &root || !mapping_.source(*entity))
            continue;
        QByteArray columns = "_key, _entity, _version",
                   values = "source._key, source._entity, source._version";
        for (const Term& term : terms(*entity)) {
            columns += ", " + term.column;
            values += ", " + term.value;
        }
        connection_.execute("INSERT INTO " + table + " (" + columns + ") SELECT " + values
                            + oldRows(*entity));
    }
}

void QWStoreMigration::fill(const QWStoreLayout::JoinTable& join, const QByteArray& table) {
    const QByteArray all = links(*join.relationship);
    if (!all.isEmpty()) {
        connection_.execute("INSERT OR IGNORE INTO " + table + " (owner, member, position, inverse_position) "
                            + all);
    }
}

void QWStoreMigration::run() {
    replaceTables();
    replaceEntities();
    QWClearDanglingReferences(connection_, to_, toLayout_);
}

void QWStoreMigration::replaceTables() {
    QByteArrayList made; // new tables, under the names that they will get
    QSet<QByteArray> kept;
    const auto temporaryName = [](qsizetype index) { return "qw_new_" + QByteArray::number(index); };
    const auto replace = [&](const auto& part, const QWStoreLayout::Table& table) {
        if (isKept(part)) {
            kept.insert(table.name);
            return;
        }
        const QByteArray temporary = temporaryName(made.size());
        connection_.execute(table.create(temporary));
        fill(part, temporary);
        made << table.name;
    };
    for (const auto& entity : to_.entities()) {
        if (!entity->parent())
            replace(*entity, toLayout_.tables()[entity->index()]);
    }
    for (const auto& join : toLayout_.joinTables())
        replace(join, join.table);

    // Of the old statements, those of tables and indexes that the new layout has too stay in force.
    const auto wanted = toLayout_.statements();
    for (const QWStoreLayout::Table* table : fromLayout_.allTables()) {
        if (!kept.contains(table->name)) {
            connection_.execute("DROP TABLE " + table->name);
            continue;
        }
        for (const auto& index : table->indexes) {
            if (std::find(wanted.begin(), wanted.end(), table->create(index)) == wanted.end())
                connection_.execute("DROP INDEX " + index.name);
        }
    }
    for (qsizetype index = 0; index < made.size(); ++index)
        connection_.execute("ALTER TABLE " + temporaryName(index) + " RENAME TO " + made[index]);
    for (const QWStoreLayout::Table* table : toLayout_.allTables()) {
        for (const auto& index : table->indexes) {
            const QByteArray sql = table->create(index);
            QWSQLiteStatement present(connection_, "SELECT 1 FROM sqlite_schema WHERE sql = ?");
            present.bindText(1, QString::fromUtf8(sql));
            if (!present.step())
                connection_.execute(sql);
        }
    }
}

// Ids stay with what an entity becomes; a hierarchy goes on with the keys of the one that its rows come from.
void QWStoreMigration::replaceEntities() {
    QHash<QString, qint64> nextKeys;
    qint64 newId = 0;
    QWSQLiteStatement old(connection_, "SELECT id, name, next_key FROM qw_entities");
    while (old.step()) {
        newId = std::max(newId, old.integer(0));
        nextKeys.insert(old.text(1), old.integer(2));
    }
    connection_.execute("DELETE FROM qw_entities");
    for (const auto& entity : to_.entities()) {
        const QWEntityDescription* before = mapping_.source(*entity);
        const QWEntityDescription* rows = mapping_.sourceOfHierarchy(entity->root());
        QWSQLiteStatement add(connection_,
                              "INSERT INTO qw_entities (id, name, next_key, row_count) VALUES (?1, ?2, ?3, "
                              "(SELECT count(*) FROM "
                                  + toLayout_.table(*entity) + " WHERE _entity = ?1))");
        add.bind(1, before ? ids_.value(before->name()) : ++newId);
        add.bindText(2, entity->name());
        add.bind(3, rows ? nextKeys.value(rows->name()) : 1);
        add.run();
    }
}
