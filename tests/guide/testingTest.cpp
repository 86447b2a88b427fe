// The code of docs/guide/testing.md.

#include "dropbox/folder/QWFolderRestClient.h"
#include "support/BookLibrary.h"
#include "sync/supervisor/QWSyncSupervisor.h"
#include "testing/QWFaultyRestClient.h"

#include <QDir>

namespace {

std::shared_ptr<QWManagedObjectModel> makeModel() {
    return BookLibrary::model();
}

struct Desktop {
    Desktop(quint64 seed, const QString& folder, const QString& cloud,
            const std::shared_ptr<QWVirtualRunLoop>& time)
        : world(seed, time), environment(world.environment()),
          coordinator(std::make_shared<QWPersistentStoreCoordinator>(makeModel(), environment)) {
        coordinator->addStore(folder + "/books.sqlite");
        context = std::make_shared<QWManagedObjectContext>(coordinator);
        directory = QWFolderRestClient::open("folder:" + cloud, environment);
        client = std::make_shared<QWFaultyRestClient>(*directory, environment);
        engine = std::make_unique<QWDropboxSyncCoreData>(context, QStringList{"Author", "Book"},
                                                         QUrl::fromLocalFile(folder + "/cache"));
        supervisor = QWSyncSupervisor::create(*engine, client);
        supervisor->activate();
    }

    QWVirtualWorld world;
    std::shared_ptr<QWEnvironment> environment;
    std::shared_ptr<QWPersistentStoreCoordinator> coordinator;
    std::shared_ptr<QWManagedObjectContext> context;
    std::unique_ptr<QWFolderRestClient> directory;
    std::shared_ptr<QWFaultyRestClient> client;
    std::unique_ptr<QWDropboxSyncCoreData> engine;
    std::shared_ptr<QWSyncSupervisor> supervisor;
};

TEST(TestingGuide, Two_desktops_come_to_hold_the_same_although_answers_are_lost) {
    const QTemporaryDir directory;
    const QString folder = directory.path();
    for (const char* name : {"desk", "lap"})
        ASSERT_TRUE(QDir(folder).mkdir(name));
    const auto time = std::make_shared<QWVirtualRunLoop>();
    Desktop desk(1, folder + "/desk", folder + "/cloud", time),
        lap(2, folder + "/lap", folder + "/cloud", time);
    desk.client->on(QWRestRequest::Upload).first(2).losesAcknowledgement();

    desk.context->insertObject("Book")->setValueForKey("title", "The Long Road");
    desk.context->save();
    time->advance(std::chrono::minutes(15)); // takes no time

    EXPECT_EQ(lap.context->count(QWFetchRequest("Book")), 1);
    EXPECT_EQ(desk.client->requests(QWRestRequest::Upload).size(), 3u);
    EXPECT_TRUE(desk.world.errorPresenter->errors().empty());
}

} // namespace
