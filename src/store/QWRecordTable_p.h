#pragma once

#include <QtGlobal>
#include <functional>
#include <memory>

class QWManagedObject;

// The live records of one root entity by key; owns none. Records are chained through a field of their own, so
// that registering one allocates nothing, and keys, which are given out in sequence, fall into neighbouring
// chains.
class QWRecordTable {
public:
    QWManagedObject* find(qint64 key) const;
    void insert(QWManagedObject& record); // whose key is not in the table
    void remove(QWManagedObject& record); // which is in the table

    void forEach(const std::function<void(QWManagedObject&)>& visit) const;

private:
    size_t chainOf(qint64 key) const { return size_t(key) & (chainCount_ - 1); }
    void grow();

    std::unique_ptr<QWManagedObject*[]> chains_;
    size_t chainCount_ = 0; // a power of two
    size_t count_ = 0;
};
