#pragma once

#include "core/QWManagedObjectWithSyncSupport.h"
#include "sync/cache/QWDropboxCacheModel.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QSet>
#include <QStringList>
#include <deque>
#include <vector>

// The rows of the queue whose requests the cloud has not answered, by upper-cased uuid. Holding them keeps
// their counts and marks alive. A row may be deleted from the store while it is in flight (an import drops
// it, a full re-upload gives it up); it stays here until its requests are answered.
class QWRowsInFlight {
public:
    // A row that is sent again after its deletion from the store stays deleted.
    void insert(const QString& key, const QWRef<ObjectWaitingSync>& row);
    QWRef<ObjectWaitingSync> value(const QString& key) const { return rows_.value(key).row; }
    bool contains(const QString& key) const { return rows_.contains(key); }
    void remove(const QString& key);
    void clear();

    // What was last sent for the row: the object, and its record file's bytes. Both are null before.
    void noteSent(const QString& key, const QWRef<QWManagedObjectWithSyncSupport>& object,
                  const QByteArray& record);
    QWRef<QWManagedObjectWithSyncSupport> object(const QString& key) const { return rows_.value(key).object; }
    QByteArray record(const QString& key) const { return rows_.value(key).record; }

    qsizetype count() const { return rows_.size(); }
    // Without those that are no longer in the store.
    qsizetype countInStore() const { return rows_.size() - deleted_.size(); }
    QList<QWManagedObjectID> objectIDs() const;
    // Of the objects with requests that are not answered.
    QStringList awaitedUUIDs() const;
    // How often the rows were given up: answers to the requests before count for none of those since.
    int generation() const { return generation_; }

    // Rows read from the queue beforehand, so that not every completion asks the store. `takeNext` hands out
    // the first `count` of them that are still to be sent and whose objects await no answer; fewer when there
    // are no more.
    void setNext(const std::vector<QWRef<ObjectWaitingSync>>& rows) { next_ = {rows.begin(), rows.end()}; }
    std::vector<QWRef<ObjectWaitingSync>> takeNext(size_t count);

    // The row is about to be deleted from the store, whether it is in flight or not.
    void rowWillBeDeleted(const ObjectWaitingSync& row);

private:
    struct Flight {
        QWRef<ObjectWaitingSync> row;
        QWRef<QWManagedObjectWithSyncSupport> object;
        QByteArray record;
    };
    QHash<QString, Flight> rows_;
    std::deque<QWRef<ObjectWaitingSync>> next_;
    QSet<QString> deleted_; // keys of rows that are no longer in the store
    int generation_ = 0;
};
