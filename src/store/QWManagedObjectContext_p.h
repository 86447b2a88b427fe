#pragma once

#include "store/QWManagedObjectContext.h"

// Pending records of one root entity by the value of one indexed attribute, so that looking one up does not
// walk all pending changes. It may list a record under values that it had before: whoever finds it tests the
// record. Filled on demand: `seen` is how far it has read `pending_`, `changed` who has changed since.
struct QWManagedObjectContext::Lookup {
    const QWPropertyDescription* property;
    QHash<QString, std::vector<QWManagedObject*>> records;
    size_t seen = 0;
    std::vector<QWManagedObject*> changed;
};

// What a save in progress has decided about records that somebody else has saved meanwhile.
struct QWManagedObjectContext::SaveOutcome {
    QHash<const QWManagedObject*, bool> takeStored; // these give way; true: their row has gone
    QHash<const QWManagedObject*, qint64>
        baseVersions;       // these replace a row of this version (0: it had gone)
    QVariantList conflicts; // QWManagedObjectID of those that nobody wanted to decide
};

// The entity that a request names; null, with the error, when there is none of that name or no store is open.
const QWEntityDescription* QWEntityOfRequest(const QWManagedObjectContext& context,
                                             const QWFetchRequest& request, QWError* error);
