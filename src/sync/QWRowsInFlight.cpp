#include "sync/QWRowsInFlight.h"

#include "platform/text/QWText.h"

void QWRowsInFlight::insert(const QString& key, const QWRef<ObjectWaitingSync>& row) {
    if (value(key) != row)
        deleted_.remove(key);
    rows_[key].row = row;
}

void QWRowsInFlight::noteSent(const QString& key, const QWRef<QWManagedObjectWithSyncSupport>& object,
                              const QByteArray& record) {
    if (const auto flight = rows_.find(key); flight != rows_.end()) {
        flight->object = object;
        flight->record = record;
    }
}

std::vector<QWRef<ObjectWaitingSync>> QWRowsInFlight::takeNext(size_t count) {
    std::vector<QWRef<ObjectWaitingSync>> taken;
    const QStringList awaited = awaitedUUIDs();
    for (; taken.size() < count && !next_.empty(); next_.pop_front()) {
        const auto& row = next_.front();
        const bool isWaiting = row->managedObjectContext() && !row->isDeleted()
                               && value(qw::text::uppercase(row->objectUUID())) != row;
        if (isWaiting && !awaited.contains(row->objectUUID()))
            taken.push_back(row);
    }
    return taken;
}

void QWRowsInFlight::remove(const QString& key) {
    rows_.remove(key);
    deleted_.remove(key);
}

void QWRowsInFlight::clear() {
    rows_.clear();
    deleted_.clear();
    next_.clear();
    ++generation_;
}

QList<QWManagedObjectID> QWRowsInFlight::objectIDs() const {
    QList<QWManagedObjectID> ids;
    ids.reserve(rows_.size());
    for (const Flight& flight : rows_)
        ids.append(flight.row->objectID());
    return ids;
}

QStringList QWRowsInFlight::awaitedUUIDs() const {
    QStringList uuids;
    for (const Flight& flight : rows_)
        if (flight.row->numberOfFilesUploadingToDropbox() > 0)
            uuids.append(flight.row->objectUUID());
    return uuids;
}

void QWRowsInFlight::rowWillBeDeleted(const ObjectWaitingSync& row) {
    const QString key = qw::text::uppercase(row.objectUUID());
    if (value(key).data() == &row)
        deleted_.insert(key);
}
