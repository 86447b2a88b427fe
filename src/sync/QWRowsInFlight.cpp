#include "sync/QWRowsInFlight.h"

#include "platform/text/QWText.h"

void QWRowsInFlight::insert(const QString& key, const QWRef<ObjectWaitingSync>& row) {
    rows_.insert(key, row);
    deleted_.remove(key);
}

void QWRowsInFlight::remove(const QString& key) {
    rows_.remove(key);
    deleted_.remove(key);
}

void QWRowsInFlight::clear() {
    rows_.clear();
    deleted_.clear();
}

QList<QWManagedObjectID> QWRowsInFlight::objectIDs() const {
    QList<QWManagedObjectID> ids;
    ids.reserve(rows_.size());
    for (const auto& row : rows_)
        ids.append(row->objectID());
    return ids;
}

void QWRowsInFlight::rowWillBeDeleted(const ObjectWaitingSync& row) {
    const QString key = qw::text::uppercase(row.objectUUID());
    if (rows_.value(key).data() == &row)
        deleted_.insert(key);
}
