#include "platform/QWEnvironment.h"

#include "platform/QWAssert.h"
#include "platform/QWEventLoopRunLoop.h"

#include <QCoreApplication>
#include <QThread>

namespace {

template <class Real, class Part>
void fill(std::shared_ptr<Part>& part) {
    if (!part)
        part = std::make_shared<Real>();
}

std::shared_ptr<QWEnvironment> makeStandard() {
    const QCoreApplication* application = QCoreApplication::instance();
    QWAssert(application && application->thread() == QThread::currentThread(), "[NSThread isMainThread]",
             "+[QWEnvironment standard]");
    const auto environment = std::make_shared<QWEnvironment>(QWEnvironment::Parts{});
    QObject::connect(application, &QCoreApplication::aboutToQuit, [environment] {
        environment->notificationCenter().post({.name = NSApplicationWillTerminateNotification});
    });
    return environment;
}

} // namespace

QWEnvironment::QWEnvironment(Parts parts) : parts_(std::move(parts)) {
    fill<QWEventLoopRunLoop>(parts_.runLoop);
    fill<QWSystemClock>(parts_.clock);
    fill<QWSystemUUIDSource>(parts_.uuids);
    fill<QWSystemFileManager>(parts_.files);
    fill<QWSettingsUserDefaults>(parts_.userDefaults);
    fill<QWNotificationCenter>(parts_.notificationCenter);
    fill<QWLogErrorPresenter>(parts_.errorPresenter);
}

std::shared_ptr<QWEnvironment> QWEnvironment::standard() {
    static const std::shared_ptr<QWEnvironment> environment = makeStandard();
    return environment;
}
