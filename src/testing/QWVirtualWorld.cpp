#include "testing/QWVirtualWorld.h"

QWVirtualWorld::QWVirtualWorld(quint64 seed, std::shared_ptr<QWVirtualRunLoop> sharedRunLoop)
    : runLoop(std::move(sharedRunLoop)), clock(std::make_shared<QWVirtualClock>(runLoop)),
      uuids(std::make_shared<QWSeededUUIDSource>(seed)), files(std::make_shared<QWSystemFileManager>()),
      userDefaults(std::make_shared<QWMemoryUserDefaults>()),
      notificationCenter(std::make_shared<QWNotificationCenter>()),
      errorPresenter(std::make_shared<QWRecordingErrorPresenter>()) {}

std::shared_ptr<QWEnvironment> QWVirtualWorld::environment() const {
    return std::make_shared<QWEnvironment>(
        QWEnvironment::Parts{runLoop, clock, uuids, files, userDefaults, notificationCenter, errorPresenter});
}
