#pragma once

#include "store/QWPersistentStoreCoordinator.h"
#include "store/sqlite/QWSQLiteConnection.h"
#include "store/sqlite/QWStoreLayout.h"

#include <memory>

// Opens the file of a store, or makes it, and sees to it that its tables are those of `layout`, the layout of
// `model`. Damage shows here as far as the schema and the first page of each table tell. Throws
// QWStoreFailure.
std::unique_ptr<QWSQLiteConnection> QWOpenStoreFile(const QString& path, const QWManagedObjectModel& model,
                                                    const QWStoreLayout& layout,
                                                    const QWStoreOptions& options);
