#pragma once

#include "core/QWManagedObjectWithSyncSupport.h"
#include "platform/text/QWText.h"

#include <QHashFunctions>
#include <QString>
#include <tuple>

// By what every context, store and machine knows a synced record: its entity, and
// its uuid without letter case.
struct QWSyncedIdentity {
    QString entityName;
    QString uuid; // folded

    QWSyncedIdentity() = default;
    QWSyncedIdentity(QString entity, const QString& anyUuid)
        : entityName(std::move(entity)), uuid(qw::text::foldCase(anyUuid)) {}
    explicit QWSyncedIdentity(const QWManagedObjectWithSyncSupport& object)
        : QWSyncedIdentity(object.entity().name(), object.uuid()) {}

    friend bool operator==(const QWSyncedIdentity&, const QWSyncedIdentity&) = default;
    friend bool operator<(const QWSyncedIdentity& left, const QWSyncedIdentity& right) {
        return std::tie(left.entityName, left.uuid) < std::tie(right.entityName, right.uuid);
    }
};

inline size_t qHash(const QWSyncedIdentity& identity, size_t seed = 0) {
    return qHashMulti(seed, identity.entityName, identity.uuid);
}
