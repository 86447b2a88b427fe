#include "store/sqlite/QWStoreReferences.h"

namespace {

void collectNames(const QWEntityDescription& entity, QByteArrayList& names) {
    names << '\'' + entity.name().toUtf8().replace('\'', "''") + '\'';
    for (const QWEntityDescription* child : entity.children())
        collectNames(*child, names);
}

// " NOT IN (…)": true for keys of no row of the entity or of those below it.
QByteArray isNoKeyOf(const QWEntityDescription& entity, const QWStoreLayout& layout) {
    QByteArray keys = " NOT IN (SELECT _key FROM " + layout.table(entity);
    if (entity.parent()) {
        QByteArrayList names;
        collectNames(entity, names);
        keys += " WHERE _entity IN (SELECT id FROM qw_entities WHERE name IN (" + names.join(", ") + "))";
    }
    return keys + ")";
}

} // namespace

void QWClearDanglingReferences(QWSQLiteConnection& connection, const QWManagedObjectModel& model,
                               const QWStoreLayout& layout) {
    for (const auto& entity : model.entities()) {
        for (const QWPropertyDescription* property : entity->properties()) {
            const bool inherited = entity->parent() && entity->parent()->property(property->name());
            if (inherited || property->isAttribute() || property->isToMany())
                continue;
            const QByteArray& column = layout.column(*property);
            connection.execute("UPDATE " + layout.table(*entity) + " SET " + column + " = NULL WHERE "
                               + column + isNoKeyOf(*property->destination(), layout));
        }
    }
    for (const auto& join : layout.joinTables()) {
        connection.execute("DELETE FROM " + join.table.name + " WHERE owner" + isNoKeyOf(*join.entity, layout)
                           + " OR member" + isNoKeyOf(*join.relationship->destination(), layout));
    }
}
