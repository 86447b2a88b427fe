#pragma once

#include "platform/QWClock.h"
#include "platform/QWErrorPresenter.h"
#include "platform/QWFileManager.h"
#include "platform/QWNotificationCenter.h"
#include "platform/QWRunLoop.h"
#include "platform/QWUUIDSource.h"
#include "platform/QWUserDefaults.h"

#include <memory>

// Everything of the outside world that the library uses. It belongs to a persistent store coordinator;
// contexts, records and the engine reach it through their context. Nothing else in the library reads the
// clock, makes a uuid, schedules or touches files, so a test that supplies its own parts decides everything
// that happens.
//
// Threads: contexts use the clock, the uuids and the files on their own threads, and the real ones bear that.
// The other parts belong to one thread, that of the run loop.
class QWEnvironment {
public:
    // A part left empty is the real one.
    struct Parts {
        std::shared_ptr<QWRunLoop> runLoop = {};
        std::shared_ptr<QWClock> clock = {};
        std::shared_ptr<QWUUIDSource> uuids = {};
        std::shared_ptr<QWFileManager> files = {};
        std::shared_ptr<QWUserDefaults> userDefaults = {};
        std::shared_ptr<QWNotificationCenter> notificationCenter = {};
        std::shared_ptr<QWErrorPresenter> errorPresenter = {};
    };

    explicit QWEnvironment(Parts parts);

    // The real world, shared by the process: made on first use, which must be on the main thread and after
    // the QCoreApplication. Posts NSApplicationWillTerminateNotification from `aboutToQuit`.
    static std::shared_ptr<QWEnvironment> standard();

    QWRunLoop& runLoop() const { return *parts_.runLoop; }
    QWClock& clock() const { return *parts_.clock; }
    QWUUIDSource& uuids() const { return *parts_.uuids; }
    QWFileManager& files() const { return *parts_.files; }
    QWUserDefaults& userDefaults() const { return *parts_.userDefaults; }
    QWNotificationCenter& notificationCenter() const { return *parts_.notificationCenter; }
    QWErrorPresenter& errorPresenter() const { return *parts_.errorPresenter; }

private:
    Parts parts_;
};
