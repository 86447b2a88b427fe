#pragma once

#include "sync/cache/QWDropboxCacheModel.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QStringList>

// The rows of the queue whose requests the cloud has not answered, by upper-cased uuid. Holding them keeps
// their counts and marks alive. A row may be deleted from the store while it is in flight (an import drops
// it, a full re-upload gives it up); it stays here until its requests are answered.
class QWRowsInFlight {
public:
    // A row that is sent again after its deletion from the store stays deleted.
    void insert(const QString& key, const QWRef<ObjectWaitingSync>& row);
    QWRef<ObjectWaitingSync> value(const QString& key) const { return rows_.value(key); }
    bool contains(const QString& key) const { return rows_.contains(key); }
    void remove(const QString& key);
    void clear();

    qsizetype count() const { return rows_.size(); }
    // Without those that are no longer in the store.
    qsizetype countInStore() const { return rows_.size() - deleted_.size(); }
    QList<QWManagedObjectID> objectIDs() const;
    // Of the objects with requests that are not answered.
    QStringList awaitedUUIDs() const;
    // How often the rows were given up: answers to the requests before count for none of those since.
    int generation() const { return generation_; }

    // The row is about to be deleted from the store, whether it is in flight or not.
    void rowWillBeDeleted(const ObjectWaitingSync& row);

private:
    QHash<QString, QWRef<ObjectWaitingSync>> rows_;
    QSet<QString> deleted_; // keys of rows that are no longer in the store
    int generation_ = 0;
};
