#pragma once

#include "platform/QWEnvironment.h"
#include "store/QWManagedObjectModel.h"

#include <memory>

class QWSQLiteStore;

// How safe a save is when it returns.
enum class QWSynchronous {
    Full,   // survives the loss of power
    Normal, // survives the death of the process; the last saves may be missing after a loss of power
};

struct QWStoreOptions {
    QWSynchronous synchronous = QWSynchronous::Full;
    bool migrateAutomatically = true; // else a file of another model is an error
    int busyTimeoutMilliseconds = 5000;
};

// One SQLite file of records and the model that describes them, shared by any number of contexts. The file
// keeps the model it was written with; when the model has changed, opening migrates it in one transaction
// where the change can be inferred (attributes, relationships and entities added, removed or renamed by
// `setRenamedFrom`; optional to required with a default, and back; to-one to to-many; ordered or not; moved
// within a hierarchy). Anything else is an error that lists the reasons and leaves the file as it was.
class QWPersistentStoreCoordinator {
public:
    // Completes the model if the host has not. Without an environment: QWEnvironment::standard().
    explicit QWPersistentStoreCoordinator(std::shared_ptr<QWManagedObjectModel> model,
                                          std::shared_ptr<QWEnvironment> environment = nullptr);
    ~QWPersistentStoreCoordinator();

    // Opens the file at `path`, made when missing; its folder must exist. False, with the file untouched,
    // when it is damaged, no store, newer, locked by another process or cannot be migrated. Without an open
    // store, contexts fetch nothing and cannot save.
    bool addStore(const QString& path, const QWStoreOptions& options = {}, QWError* error = nullptr);
    bool hasStore() const { return static_cast<bool>(store_); }
    QString storePath() const { return path_; }

    const QWManagedObjectModel& model() const { return *model_; }
    const std::shared_ptr<QWEnvironment>& environment() const { return environment_; }

private:
    friend class QWManagedObjectContext;

    std::shared_ptr<QWManagedObjectModel> model_;
    std::shared_ptr<QWEnvironment> environment_;
    std::unique_ptr<QWSQLiteStore> store_;
    QString path_;
};
