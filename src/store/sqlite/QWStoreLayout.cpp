// What a store's file looks like: an SQLite database in WAL mode with
//
//   application_id   "QWLS"; user_version: the number of this format
//   qw_meta          key, value: "model", the description of the model that the file was written with (JSON,
//                    see QWStoreModelText.h), and "fingerprint", its hash
//   qw_entities      id, name, next_key, row_count: one row for each entity. The id stands in `_entity` and
//                    survives renaming. At a root entity `next_key` is the first key that was never leased.
//                    `row_count` counts the rows of exactly this entity and is kept in every transaction.
//   "Book"           one table for each entity without parent, for its whole hierarchy:
//       _key         INTEGER PRIMARY KEY: unique in the hierarchy, never used twice
//       _entity      the row's own entity
//       _version     1 at insertion, one more with each update
//       "title"      String: TEXT. Integer: INTEGER. Double: REAL. Boolean: 0 or 1. Data: BLOB. Document: TEXT
//                    or BLOB, as given. Date: INTEGER, milliseconds since 1970 UTC. No value: NULL.
//       "title_folded"  case-folded text of an attribute that is indexed folded; has the index
//       "author"     to-one: the destination's key, a foreign key that is checked at the commit; indexed
//       "author_order"  the row's place in the ordered to-many that is the inverse of "author"
//   "Book_tags"      owner, member, position, inverse_position: the links of a to-many relationship whose far
//                    end is no to-one (of both relationships, if two to-many ones are each other's inverse;
//                    of both directions, if one is its own). A to-many whose far end is a to-one is stored
//                    there alone.
//
// A child's property whose name a sibling's has already taken is stored as "Novel_title". What is still
// taken, as SQLite compares names, gets a number; entities and properties are gone through by name, so that
// the outcome does not depend on the order of declaration. Required properties are not NOT NULL: contexts
// validate.

#include "store/sqlite/QWStoreLayout.h"

#include <algorithm>

namespace {

template <class Description>
void sortByName(std::vector<const Description*>& list) {
    std::sort(list.begin(), list.end(), [](auto* a, auto* b) { return a->name() < b->name(); });
}

std::vector<const QWPropertyDescription*> ownProperties(const QWEntityDescription& entity) {
    const auto& all = entity.properties();
    const size_t inherited = entity.parent() ? entity.parent()->properties().size() : 0;
    std::vector<const QWPropertyDescription*> own(all.begin() + inherited, all.end());
    sortByName(own);
    return own;
}

// The entity and those below it, each after its parent.
void collectHierarchy(const QWEntityDescription& entity, std::vector<const QWEntityDescription*>& into) {
    into.push_back(&entity);
    auto children = entity.children();
    sortByName(children);
    for (const QWEntityDescription* child : children)
        collectHierarchy(*child, into);
}

QByteArray quoted(const QString& name) {
    return '"' + name.toUtf8().replace('"', "\"\"") + '"';
}

const char* columnType(QWAttributeType type) {
    switch (type) {
    case QWAttributeType::String:
        return " TEXT";
    case QWAttributeType::Double:
        return " REAL";
    case QWAttributeType::Data:
        return " BLOB";
    case QWAttributeType::Document:
        return "";
    case QWAttributeType::Integer:
    case QWAttributeType::Boolean:
    case QWAttributeType::Date:
        return " INTEGER";
    }
    return "";
}

} // namespace

QWStoreLayout::QWStoreLayout(const QWManagedObjectModel& model) : tables_(model.entities().size()) {
    std::vector<const QWEntityDescription*> roots, entities;
    for (const auto& entity : model.entities()) {
        if (!entity->parent())
            roots.push_back(entity.get());
    }
    sortByName(roots);
    for (const QWEntityDescription* root : roots)
        tables_[root->index()].name = quoted(uniqueName(schemaNames_, root->name()));
    for (const QWEntityDescription* root : roots) {
        std::vector<const QWEntityDescription*> members;
        collectHierarchy(*root, members);
        addTable(*root, members);
        entities.insert(entities.end(), members.begin(), members.end());
    }
    for (const QWEntityDescription* entity : entities) {
        for (const QWPropertyDescription* property : ownProperties(*entity)) {
            const bool atFarEnd = property->inverse() && !property->inverse()->isToMany();
            const Place& place = places_[property]; // every property has one
            if (property->isToMany() && !atFarEnd && place.joinTable < 0)
                addJoinTable(*entity, *property);
        }
    }
}

std::vector<const QWStoreLayout::Table*> QWStoreLayout::allTables() const {
    std::vector<const Table*> all;
    for (const Table& table : tables_) {
        if (!table.name.isEmpty())
            all.push_back(&table);
    }
    for (const JoinTable& join : joinTables_)
        all.push_back(&join.table);
    return all;
}

std::vector<QByteArray> QWStoreLayout::statements() const {
    std::vector<QByteArray> all;
    for (const Table* table : allTables()) {
        all.push_back(table->create(table->name));
        for (const Index& index : table->indexes)
            all.push_back(table->create(index));
    }
    return all;
}

void QWStoreLayout::addTable(const QWEntityDescription& root,
                             const std::vector<const QWEntityDescription*>& members) {
    Table& made = tables_[root.index()];
    made.columns = "_key INTEGER PRIMARY KEY, _entity INTEGER NOT NULL, _version INTEGER NOT NULL";
    if (members.size() > 1)
        addIndex(made, root.name() + QStringLiteral("_entity"), "_entity");

    Names columns{"_key", "_entity", "_version"};
    for (const QWEntityDescription* entity : members) {
        for (const QWPropertyDescription* property : ownProperties(*entity)) {
            if (property->isToMany())
                continue;
            const bool taken = columns.contains(property->name().toUtf8().toLower());
            const QString name =
                taken ? entity->name() + QLatin1Char('_') + property->name() : property->name();
            const QString indexName = root.name() + QLatin1Char('_') + name;

            const QString suffix = property->isFolded() ? QStringLiteral("_folded") : QString();
            Place& place = places_[property];
            place.name = uniqueName(columns, name, suffix);
            place.table = made.name;
            place.column = quoted(place.name);
            made.columns += ", " + place.column;
            if (property->isAttribute()) {
                made.columns += columnType(property->type());
                if (property->isIndexed())
                    addIndex(made, indexName, place.column);
                if (property->isFolded()) {
                    place.folded = quoted(place.name + suffix);
                    made.columns += ", " + place.folded + " TEXT";
                    addIndex(made, indexName + suffix, place.folded);
                }
                continue;
            }
            made.columns += " INTEGER REFERENCES " + table(*property->destination())
                            + " (_key) ON DELETE SET NULL DEFERRABLE INITIALLY DEFERRED";
            if (property->inverse() && property->inverse()->isOrdered()) {
                Place& far = places_[property->inverse()];
                far.order = quoted(uniqueName(columns, place.name + QStringLiteral("_order")));
                made.columns += ", " + far.order + " INTEGER";
                addIndex(made, indexName, place.column + ", " + far.order);
            } else {
                addIndex(made, indexName, place.column);
            }
        }
    }
}

void QWStoreLayout::addJoinTable(const QWEntityDescription& entity,
                                 const QWPropertyDescription& relationship) {
    const auto reference = [this](const QWEntityDescription& to) {
        return " INTEGER NOT NULL REFERENCES " + table(to)
               + " (_key) ON DELETE CASCADE DEFERRABLE INITIALLY DEFERRED, ";
    };
    const QString name = entity.name() + QLatin1Char('_') + relationship.name();
    Table made;
    made.name = quoted(uniqueName(schemaNames_, name));
    made.columns = "owner" + reference(entity) + "member" + reference(*relationship.destination())
                   + "position INTEGER, inverse_position INTEGER, PRIMARY KEY (owner, member)";
    made.suffix = " WITHOUT ROWID";
    addIndex(made, name + QStringLiteral("_member"), "member");

    places_[&relationship].joinTable = static_cast<int>(joinTables_.size());
    if (relationship.inverse())
        places_[relationship.inverse()].joinTable = static_cast<int>(joinTables_.size());
    joinTables_.push_back({&entity, &relationship, std::move(made)});
}

void QWStoreLayout::addIndex(Table& table, const QString& name, const QByteArray& columns) {
    table.indexes.push_back({quoted(uniqueName(schemaNames_, name)), columns});
}

// A name that is free, with and without the suffix.
QString QWStoreLayout::uniqueName(Names& taken, const QString& wanted, const QString& suffix) {
    const auto isTaken = [&](const QString& name) { return taken.contains(name.toUtf8().toLower()); };
    const QString lower = wanted.toLower();
    const bool reserved =
        lower.startsWith(QStringLiteral("sqlite_")) || lower.startsWith(QStringLiteral("qw_"));
    const QString base = reserved ? QLatin1Char('_') + wanted : wanted;
    QString name = base;
    for (int number = 2; isTaken(name) || isTaken(name + suffix); ++number)
        name = base + QLatin1Char('_') + QString::number(number);
    taken.insert(name.toUtf8().toLower());
    taken.insert((name + suffix).toUtf8().toLower());
    return name;
}
