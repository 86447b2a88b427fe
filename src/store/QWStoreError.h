#pragma once

#include "platform/QWError.h"

// What went wrong in a store, as `QWError::code` with the domain "store". The numbers of the validation and
// conflict codes are those of the platform whose vocabulary the store speaks, because hosts test for them.
enum class QWStoreErrorCode {
    UnknownEntity = 1,    // a fetch or an insertion names an entity that the model lacks
    UnknownKey = 2,       // a key that the entity lacks; userInfo "entity", "key"
    WrongType = 3,        // userInfo "entity", "key", "expected", "given"
    InvalidPredicate = 4, // predicate text that cannot be read; userInfo "column" (from 1), "text"
    InvalidModel = 5,     // a model that contradicts itself; the message lists every reason
    NoStore = 6,          // the coordinator has no open store
    DiskFull = 13,        // userInfo "path", as for the following
    CannotOpen = 14,
    ReadOnly = 8,
    Busy = 55,    // another process holds the file
    Damaged = 11, // not a store, or one whose pages are damaged
    IO = 10,
    NewerFormat = 134020,    // written by a later version of the store
    CannotMigrate = 134190,  // userInfo "reasons": QStringList, one for each change that cannot be inferred
    MissingMandatory = 1570, // a required property without value; userInfo "entity", "key", "object"
    DeniedDelete = 1600,     // a delete rule forbids it; userInfo as before
    SeveralValidationErrors = 1560, // userInfo "errors": QVariantList of QVariantMap, each one of the above
    Conflict = 133020,              // userInfo "conflicts": QVariantList of QWManagedObjectID
};

inline QWError QWMakeStoreError(QWStoreErrorCode code, QString message, QVariantMap userInfo = {}) {
    return {QStringLiteral("store"), static_cast<int>(code), std::move(message), std::move(userInfo)};
}
