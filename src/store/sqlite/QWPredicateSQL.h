#pragma once

#include "platform/QWError.h"
#include "store/QWPredicate.h"

#include <QByteArray>
#include <QVariantList>
#include <functional>
#include <optional>

struct sqlite3;
class QWPropertyDescription;

// A predicate as an SQL expression for a WHERE clause, in brackets where it needs them, to be joined to
// others with AND. It may be NULL where the predicate is false. Predicates of one shape have equal texts, so
// that prepared statements can be kept by their text.
struct QWSQLCondition {
    QByteArray text;       // never empty; "1" when it holds for every row
    QVariantList bindings; // for each "?" in order: qlonglong, double, QString (TEXT) or QByteArray (BLOB)
};

// The column of a property, quoted. Columns are expected to hold: strings TEXT, integers, booleans (0 or 1),
// dates (milliseconds since 1970 in UTC) and the key of a to-one's destination INTEGER, doubles REAL, data
// BLOB, documents TEXT or BLOB as given, no value NULL. With `folded`, which is asked of folded attributes
// only, the column with foldCase of the value. The row's own key is in the column "_key".
using QWSQLColumns = std::function<const QByteArray&(const QWPropertyDescription& property, bool folded)>;

// Nothing, with an error, when the predicate does not fit the entity (QWPredicate::check) or needs more
// bindings than a statement can take.
std::optional<QWSQLCondition> QWCompilePredicate(const QWPredicate& predicate,
                                                 const QWEntityDescription& entity,
                                                 const QWSQLColumns& columns, QWError* error);

// Gives a connection the functions that compiled conditions call. False when SQLite refuses.
bool QWRegisterPredicateFunctions(sqlite3* connection);
