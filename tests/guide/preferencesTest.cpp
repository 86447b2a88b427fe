// The code of docs/guide/preferences.md.

#include "core/QWManagedObjectWithSyncSupport.h"
#include "dropbox/folder/QWFolderRestClient.h"
#include "sync/supervisor/QWSyncSupervisor.h"
#include "testing/QWVirtualWorld.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>
#include <QTimer>
#include <gtest/gtest.h>

namespace {

// A desktop without records.
struct GuideDesktop {
    explicit GuideDesktop(const std::shared_ptr<QWEnvironment>& environment, const QString& folder,
                          const QString& cloud)
        : coordinator(std::make_shared<QWPersistentStoreCoordinator>(std::make_shared<QWManagedObjectModel>(),
                                                                     environment)),
          isOpen(coordinator->addStore(folder + "/records.sqlite")),
          context(std::make_shared<QWManagedObjectContext>(coordinator)),
          engine(context, {}, QUrl::fromLocalFile(folder + "/cache")),
          supervisor(QWSyncSupervisor::create(engine, QWFolderRestClient::open(cloud, environment))) {}

    std::shared_ptr<QWPersistentStoreCoordinator> coordinator;
    bool isOpen;
    std::shared_ptr<QWManagedObjectContext> context;
    QWDropboxSyncCoreData engine;
    std::shared_ptr<QWSyncSupervisor> supervisor;
};

// Settings are in a file; time is virtual, and passes as long as the application's event loop runs.
std::shared_ptr<QWEnvironment> environmentIn(const QString& folder, const QWVirtualWorld& world) {
    QWEnvironment::Parts parts;
    parts.userDefaults = std::make_shared<QWSettingsUserDefaults>(folder + "/preferences.ini");
    parts.runLoop = world.runLoop;
    parts.clock = world.clock;
    const auto environment = std::make_shared<QWEnvironment>(parts);
    return environment;
}

QStringList themes;
void applyTheme(const QString& theme) {
    themes.append(theme);
}

} // namespace

TEST(PreferencesGuide, What_one_desktop_sets_another_one_shows) {
    QTemporaryDir folder;
    auto& application = *QCoreApplication::instance();
    const QWVirtualWorld world;
    QTimer time;
    time.callOnTimeout([&] { world.runLoop->advance(std::chrono::milliseconds(10)); });
    time.start(0);
    for (const char* name : {"a", "b"}) {
        const QString own = folder.filePath(name);
        ASSERT_TRUE(QDir().mkpath(own));
        const auto environment = environmentIn(own, world);
        GuideDesktop desktop(environment, own, "folder:" + folder.filePath("cloud"));
        ASSERT_TRUE(desktop.isOpen);
        auto& engine = desktop.engine;
        auto& defaults = environment->userDefaults();
        const auto& supervisor = desktop.supervisor;
        engine.syncPreferenceWithKeys({"homeCountry", "distanceUnit", "theme"});
        if (name == std::string("a")) {
            const QWObservation observation = defaults.observe("theme", [&](const QJsonValue& theme) {
                applyTheme(theme.toString("light")); // Undefined, and so the default, when it was removed
            });
            defaults.setObject("theme", "dark");
            defaults.remove("distanceUnit");
        }
        QObject::connect(supervisor.get(), &QWSyncSupervisor::progressed, &application, [&] {
            if (supervisor->isInStep())
                application.quit();
        });
        supervisor->activate();
        application.exec();
        EXPECT_EQ(defaults.object("theme"), "dark") << name;
    }
    EXPECT_EQ(themes, QStringList{"dark"});
}
