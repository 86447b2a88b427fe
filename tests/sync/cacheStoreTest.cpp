#include "support/EngineTest.h"

#include "support/AssertionProbe.h"

#include <QFile>

namespace {

struct CacheStore : EngineTest {
    QWManagedObjectContext& cache() { return *engine().dropboxCacheManagedObjectContext(); }
};

} // namespace

TEST_F(CacheStore, A_setting_that_is_not_there_is_made_once_and_without_value) {
    const auto made = engine().metadataWithKey("Colour");
    EXPECT_EQ(made->key(), "Colour");
    EXPECT_TRUE(made->value().isNull());
    EXPECT_TRUE(made->isInserted());
    EXPECT_EQ(engine().metadataWithKey("Colour"), made);
    EXPECT_EQ(desktop.rows(QWDBEntityNameMetadata), 1);
}

TEST_F(CacheStore, An_empty_store_has_no_waiting_objects) {
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(CacheStore, What_was_saved_is_there_after_a_restart) {
    engine().metadataWithKey("Cursor")->setValue("c");
    engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
        metadata("Book!!!X.data"));
    const auto book = desktop.add("Book");
    engine().objectWaitingSyncForObject(*book, true)->setAction(QWDropboxSyncActionDelete);
    engine().saveCacheContext();
    desktop.crash();
    desktop.start();

    EXPECT_EQ(desktop.savedCursor(), "c");
    EXPECT_EQ(desktop.fileMetadata("Book!!!X.data")->rev(), "rev1");
    const auto rows = QWFetchCacheRecords<ObjectWaitingSync>(cache(), QWFetchRequest("ObjectWaitingSync"));
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0]->action(), QWDropboxSyncActionDelete);
    EXPECT_EQ(rows[0]->objectEntityName(), "Book");
    EXPECT_EQ(rows[0]->objectCouldHaveAnImage(), true);
    EXPECT_EQ(rows[0]->numberOfFilesUploadingToDropbox(), 0u);
    EXPECT_FALSE(rows[0]->objectModifiedWhileUploading());
}

TEST_F(CacheStore, The_fields_that_are_not_stored_live_as_long_as_the_row_is_held) {
    const auto book = desktop.add("Book");
    {
        const auto row = engine().objectWaitingSyncForObject(*book, true);
        row->setNumberOfFilesUploadingToDropbox(2);
        row->setObjectModifiedWhileUploading(true);
        engine().saveCacheContext();
        EXPECT_EQ(desktop.row(*book)->numberOfFilesUploadingToDropbox(), 2u);
    }
    EXPECT_EQ(desktop.row(*book)->numberOfFilesUploadingToDropbox(), 0u);
    EXPECT_FALSE(desktop.row(*book)->objectModifiedWhileUploading());
}

TEST_F(CacheStore, An_older_file_opens_without_loss) {
    desktop.crash();
    auto older = std::make_shared<QWManagedObjectModel>();
    auto& file = older->addEntity("FileMetadata");
    file.addAttribute("fileName", QWAttributeType::String);
    file.addAttribute("rev", QWAttributeType::String);
    older->addEntity("Metadata").addAttribute("key", QWAttributeType::String);
    QFile::remove(desktop.path("cache/DropboxCache.sqlite"));
    {
        auto coordinator = std::make_shared<QWPersistentStoreCoordinator>(older, desktop.environment);
        ASSERT_TRUE(coordinator->addStore(desktop.path("cache/DropboxCache.sqlite")));
        auto context = std::make_shared<QWManagedObjectContext>(coordinator);
        const auto row = context->insertObject("FileMetadata");
        row->setValueForKey("fileName", "Book!!!X.data");
        row->setValueForKey("rev", "old");
        ASSERT_TRUE(context->save());
    }
    desktop.start();
    EXPECT_EQ(desktop.fileMetadata("book!!!x.data")->rev(), "old");
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(CacheStore, A_store_that_cannot_be_opened_is_logged_and_leaves_the_engine_without_one) {
    desktop.crash();
    QFile damaged(desktop.path("cache/DropboxCache.sqlite"));
    ASSERT_TRUE(damaged.open(QIODevice::WriteOnly));
    damaged.write(QByteArray(4096, 'x'));
    damaged.close();
    desktop.start();
    QWLogCapture log;
    EXPECT_FALSE(engine().dropboxCachePersistentStoreCoordinator()->hasStore());
    EXPECT_EQ(log.texts("qwlibrary.sync").size(), 1);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
    EXPECT_FALSE(desktop.fileMetadata("Book!!!X.data"));
}

TEST_F(CacheStore, A_failed_save_is_presented_and_its_changes_stay) {
    desktop.crash();
    ASSERT_TRUE(QDir(desktop.path("cache")).mkdir("DropboxCache.sqlite"));
    desktop.start();
    const QWLogCapture log;
    const auto row = engine().metadataWithKey("Cursor");
    engine().saveCacheContext();
    EXPECT_EQ(desktop.world.errorPresenter->errors().size(), 1u);
    EXPECT_TRUE(row->isInserted());
}

TEST_F(CacheStore, An_editor_that_refuses_is_logged_and_the_save_goes_on) {
    const QWLogCapture log;
    const auto refuse = [] { return false; };
    const auto first = cache().registerEditor(refuse);
    engine().metadataWithKey("Cursor")->setValue("c");
    engine().saveCacheContext();
    const auto second = engine().syncSupportManagedObjectContextCopy()->registerEditor(refuse);
    engine().saveSyncSupportContext();
    EXPECT_EQ(
        log.texts("qwlibrary.sync"),
        QStringList({"QWDropboxSyncCoreData:saveCacheContext unable to commit editing before saving",
                     "QWDropboxSyncCoreData:saveSyncSupportContext unable to commit editing before saving"}));
    EXPECT_FALSE(cache().hasChanges());
}

TEST_F(CacheStore, What_the_sync_support_context_saves_reaches_the_main_context_and_is_not_queued) {
    const auto book = desktop.add("Book", {{"title", "Old"}});
    saveAndTurn();
    forgetQueue();
    const auto date = book->dateModified();

    auto& support = *engine().syncSupportManagedObjectContextCopy();
    QWManagedObjectWithSyncSupport::fetchObjectWithUUID(book->uuid(), "Book", support)
        ->setValueForKey("title", "New");
    const auto other = support.insertObject("Author");
    engine().saveSyncSupportContext();
    turn();

    EXPECT_EQ(book->valueForKey("title"), "New");
    EXPECT_EQ(book->dateModified(), date);
    EXPECT_EQ(desktop.context->count(QWFetchRequest("Author")), 1);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(CacheStore, Edits_pending_in_the_main_context_are_queued_before_a_merge) {
    const auto book = desktop.add("Book");
    engine().syncSupportManagedObjectContextCopy()->insertObject("Author");
    engine().saveSyncSupportContext();
    EXPECT_TRUE(desktop.row(*book));
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 1);

    const auto later = desktop.add("Book");
    saveAndTurn();
    EXPECT_TRUE(desktop.row(*later)) << "the engine listens again after the merge";
}

TEST_F(CacheStore, Closing_saves_the_sync_support_context_only_if_there_is_one) {
    engine().metadataWithKey("Cursor")->setValue("c");
    engine().saveManagedObjectContexes();
    EXPECT_FALSE(cache().hasChanges());
    EXPECT_FALSE(probe().hasSyncSupportContext());

    engine().syncSupportManagedObjectContextCopy()->insertObject("Author");
    engine().saveManagedObjectContexes();
    EXPECT_EQ(desktop.context->count(QWFetchRequest("Author")), 1);
}

TEST_F(CacheStore, Two_rows_for_one_object_are_a_programming_error) {
    const auto book = desktop.add("Book");
    for (int copy = 0; copy < 2; ++copy)
        QWInsertCacheRecord<ObjectWaitingSync>(cache(), QWDBEntityNameObjectWaitingSync)
            ->setObjectUUID(book->uuid());
    const auto failure = assertionFailure([&] { engine().objectWaitingSyncForObject(*book, false); });
    EXPECT_EQ(failure.expression, "[fetchedObjects count] == 1");
    EXPECT_EQ(failure.operation, "-[QWDropboxSyncCoreData objectWaitingSyncForObject:createIfNotExisting:]");
}

TEST_F(CacheStore, Its_contexts_are_of_their_kinds_and_on_their_stores) {
    EXPECT_EQ(cache().concurrencyType(), QWConcurrencyType::PrivateQueue);
    EXPECT_EQ(cache().coordinator()->storePath(), desktop.path("cache/DropboxCache.sqlite"));
    const auto& support = *engine().syncSupportManagedObjectContextCopy();
    EXPECT_EQ(support.concurrencyType(), QWConcurrencyType::MainQueue);
    EXPECT_EQ(support.coordinator(), desktop.coordinator);
    EXPECT_EQ(engine().syncSupportManagedObjectContextCopy().get(), &support);
}

TEST_F(CacheStore, Only_what_the_engine_itself_saves_in_the_sync_support_context_is_merged) {
    const auto book = desktop.add("Book", {{"title", "Old"}});
    saveAndTurn();
    const auto support = engine().syncSupportManagedObjectContextCopy();
    support->insertObject("Author");
    engine().saveSyncSupportContext();
    QWManagedObjectWithSyncSupport::fetchObjectWithUUID(book->uuid(), "Book", *support)
        ->setValueForKey("title", "New");
    ASSERT_TRUE(support->save());
    EXPECT_EQ(book->valueForKey("title"), "Old");
}

TEST_F(CacheStore, Edits_not_reported_yet_are_queued_when_a_received_deletion_is_applied_at_once) {
    const auto book = desktop.add("Book");
    saveAndTurn();
    activateIdle();
    const auto unsaved = desktop.add("Author");
    desktop.context->processPendingChanges();
    forgetQueue();
    engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
        metadata(dataFile(*unsaved)));
    pass(1);
    book->setValueForKey("title", "New");
    receive({deleted(dataFile(*unsaved))});
    EXPECT_EQ(desktop.context->count(QWFetchRequest("Author")), 0);
    EXPECT_TRUE(desktop.row(*book));
}

TEST_F(CacheStore, Names_and_numbers_that_files_settings_and_hosts_depend_on_are_these) {
    EXPECT_EQ(QWDBEntityNameFileMetadata, "FileMetadata");
    EXPECT_EQ(QWDBEntityNameMetadata, "Metadata");
    EXPECT_EQ(QWDBEntityNameObjectWaitingSync, "ObjectWaitingSync");
    EXPECT_EQ(QWDBMetadataCursorKey, "Cursor");
    EXPECT_EQ(QWDBNeedToUploadSyncedPreferencesPrefKey, "NeedToUploadPrefKey");
    EXPECT_EQ(QWDBLastTimeTokenExpiredPrefKey, "LastTimeTokenExpired");
    EXPECT_EQ(QWDBLastTimeLoadedDeltaUpdatesPrefKey, "LastTimeLoadedDelta");
    EXPECT_EQ(QWDropboxSyncActionDelete, 1);
    EXPECT_EQ(QWDropboxSyncActionInsertOrUpdate, 2);
    EXPECT_EQ(QWDropboxSyncStatusIdle, 0u);
    EXPECT_EQ(QWDropboxSyncStatusCheckingForUpdates, 1u);
    EXPECT_EQ(QWDropboxSyncStatusUploading, 2u);
    EXPECT_EQ(QWDropboxSyncStatusDisabled, 3u);
    EXPECT_EQ(QWDropboxSyncStatusTokenInvalid, 4u);
}
