#include "sync/QWDeltaQueue.h"

#include "platform/text/QWText.h"
#include "sync/QWDeltaOrder_p.h"

QString QWDeltaQueue::nameInProcess(const DBDeltaEntry& entry) {
    return entry.metadata ? qw::text::lowercase(entry.metadata->filename())
                          : qw::text::lastPathComponent(entry.lowercasePath);
}

QList<DBDeltaEntryRef> QWDeltaQueue::entries() const {
    QList<DBDeltaEntryRef> present;
    present.reserve(count());
    for (const auto& entry : entries_)
        if (entry)
            present.append(entry);
    return present;
}

void QWDeltaQueue::append(const QList<DBDeltaEntryRef>& entries) {
    for (const auto& entry : entries) {
        places_.insert(entry.get(), entries_.size());
        entries_.push_back(entry);
    }
}

void QWDeltaQueue::sort(const QStringList& entityNames) {
    std::erase(entries_, nullptr);
    qw::sync::sortDeltaEntries(entries_, entityNames);
    for (Place place = 0; place < entries_.size(); ++place)
        places_[entries_[place].get()] = place;
    rewind();
}

void QWDeltaQueue::clear() {
    entries_.clear();
    places_.clear();
    rewind();
}

void QWDeltaQueue::rewind() {
    cursor_ = 0;
    passedOver_.clear();
    released_.clear();
}

DBDeltaEntryRef QWDeltaQueue::next(const InProcess& inProcess) {
    while (!released_.empty() || cursor_ < entries_.size()) {
        const bool again = !released_.empty();
        const Place place = again ? *released_.begin() : cursor_;
        const DBDeltaEntryRef& entry = entries_[place];
        const QString name = entry ? nameInProcess(*entry) : QString();
        if (entry && !inProcess.contains(name))
            return entry;
        if (entry)
            passedOver_[name].push_back(place);
        if (again)
            released_.erase(released_.begin());
        else
            ++cursor_;
    }
    return nullptr;
}

void QWDeltaQueue::release(const QString& name) {
    for (const Place place : passedOver_.take(name))
        released_.insert(place);
}

void QWDeltaQueue::remove(const DBDeltaEntryRef& entry) {
    const auto found = places_.constFind(entry.get());
    if (found == places_.cend())
        return;
    entries_[*found] = nullptr;
    places_.erase(found);
    if (places_.isEmpty())
        clear();
}
