#include "sync/QWRowsInFlight.h"

#include "platform/text/QWText.h"

void QWRowsInFlight::insert(const QString& key, const QWRef<ObjectWaitingSync>& row) {
    if (rows_.value(key) != row)
        deleted_.remove(key);
    rows_.insert(key, row);
}

void QWRowsInFlight::remove(const QString& key) {
    rows_.remove(key);
    deleted_.remove(key);
}

void QWRowsInFlight::clear() {
    rows_.clear();
    deleted_.clear();
    ++generation_;
}

QList<QWManagedObjectID> QWRowsInFlight::objectIDs() const {
    QList<QWManagedObjectID> ids;
    ids.reserve(rows_.size());
    for (const auto& row : rows_)
        ids.append(row->objectID());
    return ids;
}

QStringList QWRowsInFlight::awaitedUUIDs() const {
    QStringList uuids;
    for (const auto& row : rows_)
        if (row->numberOfFilesUploadingToDropbox() > 0)
            uuids.append(row->objectUUID());
    return uuids;
}

void QWRowsInFlight::rowWillBeDeleted(const ObjectWaitingSync& row) {
    const QString key = qw::text::uppercase(row.objectUUID());
    if (rows_.value(key).data() == &row)
        deleted_.insert(key);
}
