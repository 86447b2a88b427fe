#pragma once

#include "dropbox/DBDeltaEntry.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <set>
#include <vector>

// The delta entries that were received and not yet finished, in processing order. Finding the next entry,
// finishing one and counting cost the same however many wait.
class QWDeltaQueue {
public:
    // Entries whose file is being downloaded, by lower-case file name.
    using InProcess = QHash<QString, DBDeltaEntryRef>;
    // The name under which an entry is in process.
    static QString nameInProcess(const DBDeltaEntry& entry);

    qsizetype count() const { return static_cast<qsizetype>(places_.size()); }
    bool isEmpty() const { return places_.isEmpty(); }
    QList<DBDeltaEntryRef> entries() const;

    void append(const QList<DBDeltaEntryRef>& entries);
    void sort(const QStringList& entityNames);
    void clear();

    // The first entry whose file name is not in process; null when there is none. It stays where it is: the
    // caller puts it in process or removes it. Entries of one file so come one after the other.
    DBDeltaEntryRef next(const InProcess& inProcess);
    // The name has left the process: its entries may be found again.
    void release(const QString& name);
    void remove(const DBDeltaEntryRef& entry);

private:
    using Place = std::size_t;

    void rewind();

    std::vector<DBDeltaEntryRef> entries_; // null where an entry was removed
    QHash<const DBDeltaEntry*, Place> places_;
    Place cursor_ = 0;                              // every entry from here on is still to be looked at
    QHash<QString, std::vector<Place>> passedOver_; // before the cursor, by the name that was in process
    std::set<Place> released_;                      // before the cursor, to be looked at again
};
