#pragma once

#include <QHashFunctions>
#include <QMetaType>

class QWEntityDescription;

// Identifies one record across the contexts of a coordinator, from its insertion on; it never changes. Keys
// are unique among the entities under one root and grow with insertion.
struct QWManagedObjectID {
    const QWEntityDescription* entity = nullptr; // the record's own entity
    qint64 key = 0;

    bool isNull() const { return key == 0; }
    // Keys are unique under a root, and an id always carries the record's own entity.
    friend bool operator==(const QWManagedObjectID&, const QWManagedObjectID&) = default;
};

inline size_t qHash(const QWManagedObjectID& id, size_t seed = 0) {
    return qHashMulti(seed, reinterpret_cast<quintptr>(id.entity), id.key);
}

Q_DECLARE_METATYPE(QWManagedObjectID)
