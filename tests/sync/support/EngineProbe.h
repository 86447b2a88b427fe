#pragma once

#include "sync/QWDropboxSyncCoreData.h"

// What tests may see and call of an engine beyond its public interface.
struct QWDropboxSyncCoreDataProbe {
    QWDropboxSyncCoreData& engine;

    QWRef<ObjectWaitingSync> rowInFlight(const QString& key) const {
        return engine.objectsSyncing_.value(key);
    }
    QWRef<ObjectWaitingSync> rowForFile(const QString& name) const {
        return engine.objectSyncingForFileWithName(name);
    }
    qsizetype entriesInProcess() const { return engine.deltaEntriesInProcess_.size(); }
    std::size_t scheduledTimers() const { return engine.scheduledTimers_.size(); }
    QString deltaNextCursor() const { return engine.deltaNextCursor_; }
    bool preferencesChangedWhileUploading() const { return engine.preferencesChangedWhileUploading_; }
    bool hasSyncSupportContext() const { return engine.syncSupportManagedObjectCopy_ != nullptr; }

    QWRef<QWManagedObjectWithSyncSupport> objectForFile(const QString& name, bool createIfNotExisting) const {
        return engine.objectReferencedWithLowerCaseFileName(name, createIfNotExisting);
    }
    void begin(const QWRef<ObjectWaitingSync>& row) const { engine.beginSyncOfObjectWaiting(row); }
};
