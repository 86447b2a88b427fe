#pragma once

#include "dropbox/folder/QWFolderRestClient.h"
#include "store/QWManagedObjectContext.h"
#include "support/BookModel.h"
#include "sync/QWDropboxSyncCoreData.h"
#include "sync/supervisor/QWSyncSupervisor.h"
#include "testing/QWFaultyRestClient.h"
#include "testing/QWVirtualWorld.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <unordered_set>

// Desktops of one user, each a world of its own with a host application, and the
// cloud between them, all on one virtual time.

struct Cloud {
    Cloud() : folder(QWAppFolder::inMemory(world.environment())) {}
    virtual ~Cloud() = default;

    // What a desktop of that environment asks it by.
    virtual std::unique_ptr<DBRestClient> makeClient(const std::shared_ptr<QWEnvironment>& environment);

    QStringList fileNames(); // of the sync folder, sorted
    QByteArray bytes(const QString& fileName);
    // What another machine might do.
    void put(const QString& fileName, const QByteArray& bytes);
    void putRecord(const QString& fileName, const QVariantMap& record);
    void remove(const QString& fileName);

    QWVirtualWorld world{1000};
    std::shared_ptr<QWAppFolder> folder;
};

// What stands in /tmp of one desktop, its host and its engine. Its host wants every
// change of a described key sent.
class Desktop : public QObject, public QWDropboxSyncCoreDataDelegate {
public:
    enum Supervision { Alone, Supervised };

    explicit Desktop(Cloud& cloud, quint64 seed = 1, Supervision supervision = Alone);
    ~Desktop() override;

    // Opens the host's store and makes the engine, inactive. Done once by the constructor.
    void start();
    // Ends without any save, as a process that is killed does.
    void crash();

    desktop::Record add(const QString& entityName, const QVariantMap& values = {});
    desktop::Record find(const QString& uuid, const QString& entityName = "Book");
    void save();
    // Writes the book's image file, dated now, and stamps the book.
    void setImage(QWManagedObjectWithSyncSupport& book, const QByteArray& bytes);
    QByteArray image(const QWManagedObjectWithSyncSupport& book);
    // Everything that travels, one line for each record, sorted.
    QStringList contents();

    void activate();
    // Makes a query, whatever the status.
    void askForChanges();
    // Saves, synchronises until nothing is left to do and lets half a second pass.
    void sync();
    bool isIdle();
    void advance(std::chrono::milliseconds time) { world.runLoop->advance(time); }
    QDateTime now() const { return world.clock->now(); }

    qint64 rows(const QString& cacheEntity);
    QWRef<ObjectWaitingSync> row(const QWManagedObjectWithSyncSupport& record);
    QWRef<FileMetadata> fileMetadata(const QString& fileName);
    QString savedCursor();
    QString path(const QString& name) const { return folder.filePath(name); }

    bool shouldUploadUpdateManagedObject(QWManagedObjectWithSyncSupport& object) override;
    void accessTokenExpiredDropbox(QWDropboxSyncCoreData&) override { ++refusedTokens; }

    QWVirtualWorld world;
    QTemporaryDir folder;
    std::shared_ptr<QWEnvironment> environment;
    std::shared_ptr<QWPersistentStoreCoordinator> coordinator;
    std::shared_ptr<QWManagedObjectContext> context;
    std::unique_ptr<DBRestClient> cloudClient;
    std::shared_ptr<QWFaultyRestClient> client;
    std::unique_ptr<QWDropboxSyncCoreData> engine;
    std::shared_ptr<QWSyncSupervisor> supervisor; // null where the engine is alone

    std::function<bool(QWManagedObjectWithSyncSupport&)> wantsUpdate; // in place of the rule above
    int refusedTokens = 0;

    std::function<void()> didStart; // called when `start` has made the context and the engine

private:
    Cloud& cloud_;
    const Supervision supervision_;
};

// Two desktops and the cloud: change one side, sync, compare.
struct TwoDesktops : testing::Test {
    explicit TwoDesktops(Desktop::Supervision supervision = Desktop::Alone) : supervision_(supervision) {}

    const Desktop::Supervision supervision_;
    Cloud cloud;
    Desktop a{cloud, 1, supervision_}, b{cloud, 2, supervision_};

    // Each in turn until both have seen what the other sent.
    void sync();
    testing::AssertionResult areInStep();
};
