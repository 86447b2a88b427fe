#pragma once

#include "store/sqlite/QWModelMapping.h"
#include "store/sqlite/QWSQLiteConnection.h"
#include "store/sqlite/QWStoreLayout.h"

// Turns the tables of one model into those of another. Tables that stay as they are are left alone; the
// others are made anew, filled from the old ones, and take their names. Runs inside a transaction of the
// caller's, with foreign keys off. Throws QWStoreFailure.
class QWStoreMigration {
public:
    QWStoreMigration(QWSQLiteConnection& connection, const QWManagedObjectModel& from,
                     const QWManagedObjectModel& to, const QWStoreLayout& toLayout);

    // Why it cannot be done, one sentence each. Reads only.
    QStringList reasonsAgainst();
    void run();

private:
    // A column of a new table and the expression, over a row of the old one, for its value.
    struct Term {
        QByteArray column;
        QByteArray value;
    };

    std::vector<Term> terms(const QWEntityDescription& entity) const;
    QByteArray value(const QWEntityDescription& entity, const QWPropertyDescription& property) const;
    QByteArray foldedValue(const QWEntityDescription& entity, const QWPropertyDescription& property) const;
    QByteArray orderValue(const QWEntityDescription& entity, const QWPropertyDescription& toOne) const;
    QByteArray links(const QWPropertyDescription& relationship) const;
    QByteArray oldLinks(const QWPropertyDescription& before) const;
    QByteArray oldRows(const QWEntityDescription& entity) const;
    void explainData(const QWEntityDescription& entity, const QWPropertyDescription& property,
                     QStringList& reasons);

    bool isKept(const QWEntityDescription& root) const;
    bool isKept(const QWStoreLayout::JoinTable& join) const;
    void fill(const QWEntityDescription& root, const QByteArray& table);
    void fill(const QWStoreLayout::JoinTable& join, const QByteArray& table);
    void replaceTables();
    void replaceEntities();

    QWSQLiteConnection& connection_;
    const QWManagedObjectModel& from_;
    const QWManagedObjectModel& to_;
    const QWStoreLayout fromLayout_;
    const QWStoreLayout& toLayout_;
    const QWModelMapping mapping_;
    QHash<QString, qint64> ids_; // of the old entities in the file
};
