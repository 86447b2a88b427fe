#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QVariantMap>
#include <optional>

class QWEntityDescription;
class QWManagedObjectWithSyncSupport;

namespace qw::sync {

// When the version of a sync record was edited; null where it does not say.
QDateTime dateOfRecord(const QVariantMap& record);

// A sync record of `object`'s entity, exported here or received, in the one form that is the same on every
// desktop: dates in UTC to the second, members of relationships by uuid, null members left out. Two versions of
// a record are one exactly when their forms are equal, whatever bytes they travelled in.
QVariantMap travellingForm(const QVariantMap& record, const QWManagedObjectWithSyncSupport& object);

// SHA-256 over the form. Nothing for a record that no file can carry.
std::optional<QByteArray> travellingHash(const QVariantMap& record,
                                         const QWManagedObjectWithSyncSupport& object);
// The same without an object at hand.
std::optional<QByteArray> travellingHash(const QVariantMap& record, const QWEntityDescription& entity);

} // namespace qw::sync
