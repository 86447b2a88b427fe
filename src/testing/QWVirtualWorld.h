#pragma once

#include "platform/QWEnvironment.h"
#include "testing/QWRecordingErrorPresenter.h"
#include "testing/QWSeededUUIDSource.h"
#include "testing/QWVirtualClock.h"
#include "testing/QWVirtualRunLoop.h"

// The parts of a world in which everything that happens follows from the test: virtual time, uuids from a
// seed, settings in memory, errors recorded. Files are real. Each machine of a test has a world of its own;
// machines that share one time are made with one run loop.
//
// A test that needs another part (files that fail) replaces it before it calls `environment`.
struct QWVirtualWorld {
    explicit QWVirtualWorld(quint64 seed = 1, std::shared_ptr<QWVirtualRunLoop> sharedRunLoop =
                                                  std::make_shared<QWVirtualRunLoop>());

    // An environment of these parts; each call makes a new one that shares them.
    std::shared_ptr<QWEnvironment> environment() const;

    std::shared_ptr<QWVirtualRunLoop> runLoop;
    std::shared_ptr<QWVirtualClock> clock;
    std::shared_ptr<QWUUIDSource> uuids;
    std::shared_ptr<QWFileManager> files;
    std::shared_ptr<QWUserDefaults> userDefaults;
    std::shared_ptr<QWNotificationCenter> notificationCenter;
    std::shared_ptr<QWRecordingErrorPresenter> errorPresenter;
};
