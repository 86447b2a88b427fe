#pragma once

#include "cli/CommandLine.h"
#include "model/AtlasLibrary.h"

#include <memory>

// RecordCommands.cpp
int runAdd(const Arguments& arguments);
int runSet(const Arguments& arguments);
int runDelete(const Arguments& arguments);
// ListCommands.cpp
int runShow(const Arguments& arguments);
int runList(const Arguments& arguments);
// LibraryCommands.cpp
int runImport(const Arguments& arguments);
int runDigest(const Arguments& arguments);
int runRepair(const Arguments& arguments);
// VersionCommands.cpp
int runHistory(const Arguments& arguments);
int runRestore(const Arguments& arguments);
// PreferenceCommands.cpp
int runPrefs(const Arguments& arguments);
// SyncCommands.cpp
int runConnect(const Arguments& arguments);
int runSync(const Arguments& arguments);
int runStatus(const Arguments& arguments);

// What several commands need, and LibraryCommands.cpp holds; it throws a Failure.

// The library that the arguments name. Only some commands make one that is missing.
enum class Missing { Refuse, Make };
std::unique_ptr<atlas::AtlasLibrary> openLibrary(const Arguments& arguments,
                                                 Missing missing = Missing::Refuse);
// The record of that uuid.
QWRef<QWManagedObjectWithSyncSupport> findRecord(atlas::AtlasLibrary& library, const QString& uuid);
// Refuses a name that no entity has.
void checkEntityName(const QString& name);
