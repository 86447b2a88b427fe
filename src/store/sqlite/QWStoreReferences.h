#pragma once

#include "store/sqlite/QWSQLiteConnection.h"
#include "store/sqlite/QWStoreLayout.h"

// Drops every link to a row that does not exist or is of another kind than the relationship's destination: a
// to-one becomes NULL, a link between to-many relationships goes. Costs a pass over all links.
void QWClearDanglingReferences(QWSQLiteConnection& connection, const QWManagedObjectModel& model,
                               const QWStoreLayout& layout);
