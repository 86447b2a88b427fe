#pragma once

#include "store/QWManagedObjectContext.h"

#include <QDateTime>
#include <QSet>
#include <vector>

// Two versions of one record, in two contexts: which one wins, and how the other gives way.
namespace qw::sync {

// The later date wins, a tie is the host's. A version without date is earlier than every other.
bool receivedVersionWins(const QDateTime& received, const QDateTime& host);

// Since 1970, cut downwards: the resolution at which dates travel. Of a valid date.
qint64 wholeSeconds(const QDateTime& date);

// Whether the record holds unsaved values of its own. Members of a to-many relationship that they themselves
// hold are none: a country that gained a visit is no other version of the country.
bool holdsOwnChanges(const QWManagedObject& record);

// Drops the record's unsaved changes, and with them its links as the records at their far ends see them. What
// other records hold themselves stays. After the context has processed its pending changes.
void discardChanges(QWManagedObject& record);

// Whether one of the records that the record itself refers to has one of these identities.
bool refersToAny(const QWManagedObject& record, const QSet<QWManagedObjectID>& targets);

// Those of them that the record itself refers to and cannot let go of: the reference is required, or a rule denies their
// deletion for as long as there is one.
QSet<QWManagedObjectID> neededOf(const QSet<QWManagedObjectID>& targets, const QWManagedObject& record);

// What the record says of others that are deleted in its context it says no more, unless that is required. A record
// that another context has saved, and this one has merged, may refer to such: no delete rule has met it.
void dropReferencesToDeleted(QWManagedObject& record);

// Deletes the record and no other: what refers to it, and what its delete rules
// would take along, stays without it.
void deleteWithoutRules(QWManagedObject& record);

// The records, of one context, and what their delete rules would take along, each once.
QWManagedObjectSet deletedTogether(const QWManagedObjectSet& records);

// `to` is what `from`, an unsaved insertion of the same uuid in the same context, was meant to be.
struct RecordReplacement {
    QWRef<QWManagedObject> from;
    QWRef<QWManagedObject> to;
    bool takesValues = false; // `to` takes the values of `from`
};
// Whatever refers to a record that is replaced refers to the other one then, and the
// one that is replaced goes.
void replaceRecords(QWManagedObjectContext& context, const std::vector<RecordReplacement>& replacements);

} // namespace qw::sync
