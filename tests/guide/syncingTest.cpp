// The code of docs/guide/syncing.md.

#include "dropbox/folder/QWFolderRestClient.h"
#include "dropbox/http/QWHTTPRestClient.h"
#include "support/BookLibrary.h"
#include "sync/supervisor/QWSyncSupervisor.h"

#include <algorithm>

namespace {

class Host final : public QObject, public QWDropboxSyncCoreDataDelegate {
public:
    bool shouldUploadUpdateManagedObject(QWManagedObjectWithSyncSupport& record) override {
        const QStringList changed = record.changedKeysForCurrentEvent();
        const auto* fields = record.fieldDescriptions();
        return std::any_of(fields->begin(), fields->end(),
                           [&](const auto& field) { return changed.contains(field->key()); });
    }
    void accessTokenExpiredDropbox(QWDropboxSyncCoreData&) override { signIn(); }
    void authenticateAndEnableCoreDataSync(QWDropboxSyncCoreData&) override { signIn(); }

private:
    void signIn();
};

void Host::signIn() {
    ADD_FAILURE() << "the cloud of this test wants no token";
}

TEST(SyncingGuide, Sends_what_is_inserted_and_what_is_edited) {
    BookLibrary library;
    const auto& coordinator = library.coordinator;
    const auto& context = library.context;
    const QString folder = library.folder.path(), cloud = "folder:" + library.path("cloud");
    QWError error;
    Host host;

    QWDropboxSyncCoreData engine(context, {"Author", "Book"}, QUrl::fromLocalFile(folder + "/cache"));
    engine.setDelegate(&host, &host);
    const std::shared_ptr client = QWFolderRestClient::open(cloud, coordinator->environment(), &error);
    const auto supervisor = QWSyncSupervisor::create(engine, client);
    supervisor->activate();

    const auto book = library.insertBook({{"title", "The Long Road"}});
    library.save();
    library.world.runLoop->advance(std::chrono::seconds(30));
    EXPECT_TRUE(supervisor->isInStep());
    EXPECT_EQ(supervisor->counts().sent, 1);

    book->setValueForKey("title", "The Longer Road");
    library.save();
    library.world.runLoop->advance(std::chrono::seconds(30));
    EXPECT_EQ(supervisor->counts().sent, 2);

    const qint64 queries = supervisor->requests().queries;
    supervisor->syncNow(); // when the user asks, or the window becomes active
    library.world.runLoop->advance(std::chrono::seconds(30));
    EXPECT_EQ(supervisor->requests().queries, queries + 1);
    EXPECT_EQ(engine.status(), QWDropboxSyncStatusIdle);
}

TEST(SyncingGuide, Makes_a_client_of_the_service) {
    BookLibrary library;
    const auto& coordinator = library.coordinator;
    const QString token = "a token";
    const auto client = std::make_shared<QWHTTPRestClient>(QWHTTPRestClientOptions{.accessToken = token},
                                                           coordinator->environment());
    EXPECT_TRUE(client);
}

} // namespace
