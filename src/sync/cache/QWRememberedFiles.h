#pragma once

#include "sync/cache/QWDropboxCacheModel.h"

#include <map>

// A set of remote file names, in lower case, that outlives the process: rows of the cache store under a topic of the
// set's own. What is inserted or erased is saved with the engine's next save of that store, and so together with
// the effects that it is about. Small: it is held in memory as well.
class QWRememberedFiles {
public:
    // Read when it is first used.
    QWRememberedFiles(std::shared_ptr<QWManagedObjectContext> cacheContext, QString topic)
        : context_(std::move(cacheContext)), topic_(std::move(topic)) {}

    static void addEntity(QWManagedObjectModel& model);

    void insert(const QString& fileName);
    // Whether it was there.
    bool erase(const QString& fileName);
    bool contains(const QString& fileName);
    // In alphabetical order; all, or those that begin so.
    QStringList names(const QString& beginning = {});

private:
    std::map<QString, QWRef<QWManagedObject>>& rows();

    const std::shared_ptr<QWManagedObjectContext> context_;
    const QString topic_;
    std::optional<std::map<QString, QWRef<QWManagedObject>>> rows_; // by file name
};
