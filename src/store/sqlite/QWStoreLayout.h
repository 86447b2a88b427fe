#pragma once

#include "store/QWManagedObjectModel.h"

#include <QByteArray>
#include <QSet>
#include <unordered_map>
#include <vector>

// Which tables, columns and indexes of a store's file hold the parts of a model. Names are quoted, ready to
// stand in SQL, unique in the file, and the same for every equal model. What the file looks like:
// QWStoreLayout.cpp.
//
// Constant; refers to the model, which must outlive it.
class QWStoreLayout {
public:
    explicit QWStoreLayout(const QWManagedObjectModel& model);

    struct Index {
        QByteArray name;
        QByteArray columns;
    };
    struct Table {
        QByteArray name;
        QByteArray columns; // the definitions, with the references to other tables
        QByteArray suffix;  // what follows the definitions
        std::vector<Index> indexes;

        QByteArray create(const QByteArray& asName) const {
            return "CREATE TABLE " + asName + " (" + columns + ")" + suffix;
        }
        QByteArray create(const Index& index) const {
            return "CREATE INDEX " + index.name + " ON " + name + " (" + index.columns + ")";
        }
    };
    // The links of a to-many relationship whose far end is no to-one: columns `owner`, `member`, `position`
    // (of the member among the owner's) and `inverse_position` (of the owner among the member's). Both
    // directions of a many-to-many share one table; it is named after `relationship`.
    struct JoinTable {
        const QWEntityDescription* entity; // that declares `relationship`: the owners
        const QWPropertyDescription* relationship;
        Table table;
    };

    std::vector<const Table*> allTables() const;
    // What makes all tables and indexes, each one as SQLite keeps it in its schema.
    std::vector<QByteArray> statements() const;

    // The tables of the hierarchies, by the index of their root entity; other places hold an unnamed one.
    const std::vector<Table>& tables() const { return tables_; }
    const std::vector<JoinTable>& joinTables() const { return joinTables_; }

    // The table with the rows of the entity's hierarchy; key column `_key`, entity `_entity`, version
    // `_version`.
    const QByteArray& table(const QWEntityDescription& entity) const {
        return tables_[entity.root().index()].name;
    }
    // The table with the column of a property.
    const QByteArray& tableOf(const QWPropertyDescription& property) const {
        return places_.at(&property).table;
    }
    // The column of an attribute or of a to-one relationship (which holds the destination's key).
    const QByteArray& column(const QWPropertyDescription& property) const {
        return places_.at(&property).column;
    }
    // The indexed column with qw::text::foldCase of the value, named "<column>_folded"; null unless
    // `property.isFolded()`.
    const QByteArray& foldedColumn(const QWPropertyDescription& property) const {
        return places_.at(&property).folded;
    }
    // The column, among those of the far end, with a member's place in an ordered to-many relationship whose
    // inverse is a to-one; else null.
    const QByteArray& orderColumn(const QWPropertyDescription& relationship) const {
        return places_.at(&relationship).order;
    }
    // Null unless the relationship has one.
    const JoinTable* joinTable(const QWPropertyDescription& relationship) const {
        const auto place = places_.find(&relationship);
        const int index = place == places_.end() ? -1 : place->second.joinTable;
        return index < 0 ? nullptr : &joinTables_[index];
    }

private:
    struct Place {
        QString name;
        QByteArray table, column, folded, order;
        int joinTable = -1;
    };
    using Names = QSet<QByteArray>; // in lower case: SQLite does not tell names apart by letter case

    void addTable(const QWEntityDescription& root, const std::vector<const QWEntityDescription*>& members);
    void addJoinTable(const QWEntityDescription& entity, const QWPropertyDescription& relationship);
    void addIndex(Table& table, const QString& name, const QByteArray& columns);
    static QString uniqueName(Names& taken, const QString& wanted, const QString& suffix = {});

    Names schemaNames_; // tables and indexes share one name space
    std::vector<Table> tables_;
    std::vector<JoinTable> joinTables_;
    std::unordered_map<const QWPropertyDescription*, Place> places_;
};
