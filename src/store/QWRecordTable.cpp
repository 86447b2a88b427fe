#include "store/QWRecordTable_p.h"

#include "store/QWManagedObject.h"

QWManagedObject* QWRecordTable::find(qint64 key) const {
    if (chainCount_ == 0)
        return nullptr;
    QWManagedObject* record = chains_[chainOf(key)];
    while (record && record->key_ != key)
        record = record->next_;
    return record;
}

void QWRecordTable::insert(QWManagedObject& record) {
    if (count_ == chainCount_)
        grow();
    QWManagedObject*& chain = chains_[chainOf(record.key_)];
    record.next_ = chain;
    chain = &record;
    ++count_;
}

void QWRecordTable::remove(QWManagedObject& record) {
    QWManagedObject** place = &chains_[chainOf(record.key_)];
    while (*place != &record)
        place = &(*place)->next_;
    *place = record.next_;
    record.next_ = nullptr;
    --count_;
}

void QWRecordTable::grow() {
    const size_t oldCount = chainCount_;
    const auto old = std::move(chains_);
    chainCount_ = oldCount == 0 ? 16 : 2 * oldCount;
    chains_ = std::make_unique<QWManagedObject*[]>(chainCount_);
    for (size_t chain = 0; chain < oldCount; ++chain)
        for (QWManagedObject* record = old[chain]; record;) {
            QWManagedObject* const next = record->next_;
            QWManagedObject*& place = chains_[chainOf(record->key_)];
            record->next_ = place;
            place = record;
            record = next;
        }
}

void QWRecordTable::forEach(const std::function<void(QWManagedObject&)>& visit) const {
    for (size_t chain = 0; chain < chainCount_; ++chain)
        for (QWManagedObject* record = chains_[chain]; record; record = record->next_)
            visit(*record);
}
