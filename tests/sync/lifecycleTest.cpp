#include "support/EngineTest.h"

#include "support/AssertionProbe.h"

#include <QDir>

namespace {

// What would be there after the process has died is in `permanent`.
class Defaults final : public QWUserDefaults {
public:
    QHash<QString, QJsonValue> permanent;

    QJsonValue object(const QString& key) const override {
        return values_.value(key, QJsonValue(QJsonValue::Undefined));
    }
    void synchronize() override { permanent = values_; }

private:
    void storeObject(const QString& key, const QJsonValue& value) override { values_.insert(key, value); }
    void removeObject(const QString& key) override { values_.remove(key); }

    QHash<QString, QJsonValue> values_;
};

struct Lifecycle : EngineTest {
    std::vector<quint64> statuses;

    void watchStatus() {
        QObject::connect(&engine(), &QWDropboxSyncCoreData::statusChanged, &engine(),
                         [this](quint64 status) { statuses.push_back(status); });
    }
    const QStringList lookUps{"metadata /SyncCache.dbSync", "metadata /PreferencesSync.data"};
    bool tokenExpiredFlag() { return defaults().boolean(QWDBLastTimeTokenExpiredPrefKey); }
};

} // namespace

TEST_F(Lifecycle, A_new_engine_is_disabled_and_has_made_its_cache_folder) {
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusDisabled);
    EXPECT_EQ(engine().numberOfItemsToProcess(), 0);
    EXPECT_TRUE(engine().lastTimeQueriedDeltaEntries().isNull());
    EXPECT_TRUE(QDir(desktop.path("cache")).exists());
    QWDropboxSyncCoreData other(desktop.context, {}, QUrl::fromLocalFile(desktop.path("a/b/c")));
    EXPECT_TRUE(QDir(desktop.path("a/b/c")).exists());
}

TEST_F(Lifecycle, A_cache_folder_that_cannot_be_made_stops_no_construction) {
    ASSERT_TRUE(desktop.world.files->write(desktop.path("file"), "bytes"));
    const QWLogCapture log;
    QWDropboxSyncCoreData other(desktop.context, {}, QUrl::fromLocalFile(desktop.path("file/cache")));
    EXPECT_EQ(other.status(), QWDropboxSyncStatusDisabled);
    EXPECT_FALSE(other.dropboxCachePersistentStoreCoordinator()->hasStore());
}

TEST_F(Lifecycle, The_first_activation_ever_looks_the_folder_up_before_any_delta) {
    watchStatus();
    engine().activateSyncWithDropboxRestClient(client);
    EXPECT_EQ(client->log(), lookUps);
    EXPECT_EQ(client->delegate(), &engine());
    EXPECT_EQ(statuses, (std::vector<quint64>{0, 1}));

    DBMetadata folder;
    folder.path = "/synccache.dbsync";
    folder.isDirectory = true;
    engine().restClientLoadedMetadata(*client, folder);
    EXPECT_EQ(client->log(), lookUps + QStringList{"delta"});
    EXPECT_FALSE(tokenExpiredFlag());
    EXPECT_FALSE(defaults().object(QWDBLastTimeTokenExpiredPrefKey).isUndefined());
}

TEST_F(Lifecycle, An_activation_after_a_refused_token_is_like_the_first) {
    activateIdle();
    engine().tokenBecameInvalid();
    engine().activateSyncWithDropboxRestClient(client);
    EXPECT_EQ(client->log(), lookUps);
}

TEST_F(Lifecycle, An_activation_after_the_folder_was_found_loads_the_delta_from_the_saved_cursor) {
    defaults().setBoolean(QWDBLastTimeTokenExpiredPrefKey, false);
    engine().metadataWithKey(QWDBMetadataCursorKey)->setValue("saved");
    engine().activateSyncWithDropboxRestClient(client);
    ASSERT_EQ(client->log(), QStringList{"delta"});
    EXPECT_EQ(client->requests[0].cursor, "saved");
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
}

TEST_F(Lifecycle, An_activation_without_a_client_uses_the_one_given_before) {
    activateIdle();
    engine().deactivateSync();
    engine().activateSyncWithDropboxRestClient(nullptr);
    EXPECT_EQ(client->log(), QStringList{"delta"});
}

TEST_F(Lifecycle, An_activation_that_never_had_a_client_asks_nothing_and_breaks_nothing) {
    engine().activateSyncWithDropboxRestClient(nullptr);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    desktop.add("Book");
    saveAndTurn();
    engine().loadDeltaPotentialUpdates();
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 1);
}

TEST_F(Lifecycle, Deactivation_empties_what_is_under_way_and_keeps_the_queue) {
    activateIdle();
    const auto book = desktop.add("Book");
    saveAndTurn();
    receive({changed("Book!!!X.data")});
    EXPECT_EQ(engine().numberOfItemsToProcess(), -1);

    engine().deactivateSync();
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusDisabled);
    EXPECT_EQ(engine().numberOfItemsToProcess(), 0);
    EXPECT_EQ(engine().numberOfObjectsSyncing(), 0);
    EXPECT_TRUE(engine().deltaEntriesToImport().isEmpty());
    EXPECT_EQ(probe().entriesInProcess(), 0);
    EXPECT_TRUE(desktop.row(*book));
}

TEST_F(Lifecycle, A_timer_pending_at_a_deactivation_fires_all_the_same) {
    activateIdle();
    EXPECT_EQ(probe().scheduledTimers(), 1u);
    engine().deactivateSync();
    pass(599);
    EXPECT_EQ(client->log(), QStringList());
    pass(2);
    EXPECT_EQ(client->log(), QStringList{"delta"});
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
}

TEST_F(Lifecycle, Entries_given_up_by_a_deactivation_come_again) {
    activateIdle();
    receive({changed("Author!!!A.data"), changed("Author!!!B.data")}, "cursor-1");
    const auto request = client->requests[0];
    engine().deactivateSync();
    loaded(request, R"({"name":"A","dateModified":"2026-01-01 00:00:00 +0000"})");
    EXPECT_EQ(desktop.savedCursor(), "cursor-0") << "a late download ends no batch that was given up";
    EXPECT_TRUE(desktop.find("A", "Author"));
}

TEST_F(Lifecycle, A_page_that_arrives_after_a_deactivation_does_not_save_its_cursor) {
    activateIdle();
    engine().loadDeltaPotentialUpdates();
    engine().restClientLoadedDeltaEntries(*client, {changed("Author!!!A.data")}, false, "cursor-1", true);
    engine().deactivateSync();
    engine().restClientLoadedDeltaEntries(*client, {}, false, "cursor-2", false);
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    engine().loadDeltaPotentialUpdates();
    EXPECT_EQ(client->requests.back().cursor, "cursor-0");
    engine().restClientLoadDeltaFailedWithError(*client, failure(500));
    receive({}, "cursor-3");
    EXPECT_EQ(desktop.savedCursor(), "cursor-3");
}

TEST_F(Lifecycle, A_refused_token_stops_the_engine_and_tells_the_delegate_afterwards) {
    activateIdle();
    watchStatus();
    engine().restClientLoadDeltaFailedWithError(*client, failure(401));
    EXPECT_EQ(statuses, (std::vector<quint64>{3, 4}));
    EXPECT_TRUE(tokenExpiredFlag());
    EXPECT_EQ(desktop.refusedTokens, 1);
}

TEST_F(Lifecycle, The_delegate_hears_of_a_refused_token_when_the_engine_has_stopped_and_noted_it_for_good) {
    struct Host : QObject, QWDropboxSyncCoreDataDelegate {
        std::shared_ptr<Defaults> defaults = std::make_shared<Defaults>();
        std::optional<quint64> status;
        bool isNoted = false;

        void accessTokenExpiredDropbox(QWDropboxSyncCoreData& engine) override {
            status = engine.status();
            isNoted = defaults->permanent.value("LastTimeTokenExpired") == QJsonValue(true);
        }
    } host;
    desktop.crash();
    desktop.world.userDefaults = host.defaults;
    desktop.start();
    engine().setDelegate(&host, &host);
    activateIdle();
    desktop.add("Author");
    saveAndTurn();
    engine().restClientUploadFileFailedWithError(*client, failure(401, info(client->requests[0])));
    EXPECT_EQ(host.status, QWDropboxSyncStatusTokenInvalid);
    EXPECT_TRUE(host.isNoted);
    EXPECT_EQ(engine().numberOfObjectsSyncing(), 0);
}

TEST_F(Lifecycle, A_refused_token_without_a_delegate_stops_the_engine) {
    engine().setDelegate(nullptr, nullptr);
    engine().tokenBecameInvalid();
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusTokenInvalid);
}

TEST_F(Lifecycle, A_delegate_that_has_gone_is_absent) {
    struct Host : QObject, QWDropboxSyncCoreDataDelegate {};
    auto host = std::make_unique<Host>();
    engine().setDelegate(host.get(), host.get());
    EXPECT_EQ(engine().delegate(), host.get());
    host.reset();
    EXPECT_EQ(engine().delegate(), nullptr);
    engine().tokenBecameInvalid();
}

TEST_F(Lifecycle, Sync_counts_as_enabled_in_every_status) {
    for (quint64 status = 0; status <= 4; ++status) {
        engine().setStatus(status);
        EXPECT_TRUE(engine().isSyncEnabled()) << status;
    }
}

TEST_F(Lifecycle, Every_set_of_a_property_is_told_before_it_returns_equal_values_too) {
    watchStatus();
    std::vector<qint64> numbers;
    QObject::connect(&engine(), &QWDropboxSyncCoreData::numberOfItemsToProcessChanged, &engine(),
                     [&](qint64 number) { numbers.push_back(number); });
    engine().setStatus(2);
    engine().setStatus(2);
    engine().setProperty("numberOfItemsToProcess", -7);
    engine().setProperty("numberOfItemsToProcess", -7);
    EXPECT_EQ(statuses, (std::vector<quint64>{2, 2}));
    EXPECT_EQ(numbers, (std::vector<qint64>{-7, -7}));
    EXPECT_EQ(engine().property("status").toULongLong(), 2u);
}

TEST_F(Lifecycle, The_end_of_the_application_saves_the_contexts) {
    engine().syncSupportManagedObjectContextCopy()->insertObject("Author");
    engine().metadataWithKey("Cursor")->setValue("c");
    desktop.world.notificationCenter->post({NSApplicationWillTerminateNotification, nullptr, {}});
    EXPECT_FALSE(engine().dropboxCacheManagedObjectContext()->hasChanges());
    EXPECT_EQ(desktop.context->count(QWFetchRequest("Author")), 1);
}

TEST_F(Lifecycle, The_end_of_the_application_in_the_middle_of_a_batch_keeps_what_has_arrived) {
    activateIdle();
    receive({changed("Author!!!A.data"), changed("Chapter!!!C.data")});
    loaded(client->requests[0], R"({"name":"Received"})");
    desktop.world.notificationCenter->post({NSApplicationWillTerminateNotification, nullptr, {}});
    desktop.crash();
    desktop.start();
    ASSERT_TRUE(desktop.find("A", "Author"));
    EXPECT_TRUE(desktop.fileMetadata("Author!!!A.data"))
        << "it is known to be here: the journal was saved last";
}

TEST_F(Lifecycle, Nothing_is_called_after_the_engine_has_gone) {
    activateIdle();
    desktop.add("Book");
    desktop.save();
    client->forget();
    desktop.engine.reset();
    pass(1000);
    desktop.world.notificationCenter->post({NSApplicationWillTerminateNotification, nullptr, {}});
    desktop.add("Book");
    desktop.save();
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_EQ(client->delegate(), nullptr);
}

TEST_F(Lifecycle, Replacing_the_shared_instance_posts_the_new_one_and_nothing_for_none) {
    std::vector<const void*> posted;
    const auto observation = desktop.world.notificationCenter->observe(
        "QWDropSybcSharedInstanceChanged",
        [&](const QWNotification& notification) { posted.push_back(notification.object); });
    auto shared = std::make_shared<QWDropboxSyncCoreData>(desktop.context, QStringList(),
                                                          QUrl::fromLocalFile(desktop.path("cache2")));
    EXPECT_EQ(QWDropboxSyncCoreData::sharedInstance(), nullptr);
    QWDropboxSyncCoreData::setSharedInstance(shared);
    EXPECT_EQ(QWDropboxSyncCoreData::sharedInstance(), shared);
    QWDropboxSyncCoreData::setSharedInstance(nullptr);
    EXPECT_EQ(QWDropboxSyncCoreData::sharedInstance(), nullptr);
    EXPECT_EQ(posted, (std::vector<const void*>{shared.get(), nullptr}));
}

TEST_F(Lifecycle, An_operation_that_the_delegate_does_not_answer_is_a_programming_error) {
    struct Host : QObject, QWDropboxSyncCoreDataDelegate {};
    Host host;
    EXPECT_EQ(failedAssertion([&] { host.accessTokenExpiredDropbox(engine()); }), "unknown operation");
    EXPECT_EQ(failedAssertion([&] { host.authenticateAndEnableCoreDataSync(engine()); }),
              "unknown operation");
    EXPECT_EQ(failedAssertion([&] { host.shouldUploadUpdateManagedObject(*desktop.add("Book")); }),
              "unknown operation");
}
