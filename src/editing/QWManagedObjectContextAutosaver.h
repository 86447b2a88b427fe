#pragma once

#include <memory>

class QWManagedObjectContext;
class QWTimer;

inline constexpr double QWAutoSaveTimeInterval = 10.0; // seconds

// Saves a context every ten seconds while it has unsaved changes, so that a person's edits reach the store
// without being asked for. A host makes one beside its main context and keeps it: the saves go on until it is
// destroyed.
//
// Ticks come on the run loop of the context's environment, the first one ten seconds after the construction.
// Ownership: keeps the context. Thread: the context's, which must be that of the run loop.
class QWManagedObjectContextAutosaver final {
public:
    QWManagedObjectContextAutosaver() = delete;
    // Without a context: assertion "context".
    explicit QWManagedObjectContextAutosaver(std::shared_ptr<QWManagedObjectContext> context);
    ~QWManagedObjectContextAutosaver();
    QWManagedObjectContextAutosaver(const QWManagedObjectContextAutosaver&) = delete;
    QWManagedObjectContextAutosaver& operator=(const QWManagedObjectContextAutosaver&) = delete;

    // One tick; a host may make one of its own, when its window closes for instance. Nothing without changes
    // in the context or while disabled: text that an editor still holds is no change. Otherwise the editors
    // commit (one that refuses is logged, and the rest is saved all the same), then the context saves. A
    // failed save is given to the environment's error presenter, the changes stay, and the next tick tries
    // again; while the presenter has not returned there is no further tick.
    void autosave();

    // While true, ticks do nothing. False at first.
    bool disableAutosave() const { return disableAutosave_; }
    void setDisableAutosave(bool disable) { disableAutosave_ = disable; }

private:
    std::shared_ptr<QWTimer> autoSaveTimer_;
    std::shared_ptr<QWManagedObjectContext> mainManagedObjectContext_;
    bool disableAutosave_ = false;
};
