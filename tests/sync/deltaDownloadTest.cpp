#include "support/EngineTest.h"

namespace {

struct DeltaDownload : EngineTest {
    DeltaDownload() { activateIdle(); }

    QList<DBDeltaEntryRef> changedBooks(int number) {
        QList<DBDeltaEntryRef> entries;
        for (int index = 0; index < number; ++index)
            entries.append(changed(QStringLiteral("Book!!!%1.data").arg(index, 4, 10, QChar('0'))));
        return entries;
    }
    void loadedBook(const QWRestRequest& request) {
        loaded(request, record("T", "2026-01-01 00:00:00 +0000"));
    }
    qint64 books() { return desktop.context->count(QWFetchRequest("Book")).value(); }
};

} // namespace

TEST_F(DeltaDownload, A_query_asks_from_the_cursor_of_the_last_batch) {
    engine().loadDeltaPotentialUpdates();
    EXPECT_EQ(client->requests[0].cursor, "cursor-0");
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
}

TEST_F(DeltaDownload, Pages_are_collected_before_any_entry_is_processed_and_the_cursor_is_saved_at_the_end) {
    const QDateTime lastQuery = engine().lastTimeQueriedDeltaEntries();
    pass(7);
    engine().restClientLoadedDeltaEntries(*client, {changed("Chapter!!!C.data")}, false, "cursor-1", true);
    ASSERT_EQ(client->log(), QStringList{"delta"});
    EXPECT_EQ(client->requests[0].cursor, "cursor-1");
    EXPECT_TRUE(lastQuery.isValid());
    EXPECT_EQ(engine().lastTimeQueriedDeltaEntries(), lastQuery) << "more pages are to come";
    client->forget();
    pass(7);
    engine().restClientLoadedDeltaEntries(*client, {changed("Author!!!A.data")}, false, "cursor-2", false);
    EXPECT_EQ(engine().lastTimeQueriedDeltaEntries(), desktop.now());
    EXPECT_EQ(client->log(),
              QStringList({"load " + remote("Author!!!A.data"), "load " + remote("Chapter!!!C.data")}))
        << "sorted over all pages";

    loaded(client->requests[0], R"({"name":"A"})");
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    loaded(client->requests[1], R"({"heading":"C"})");
    EXPECT_EQ(desktop.savedCursor(), "cursor-2");
    EXPECT_FALSE(engine().dropboxCacheManagedObjectContext()->hasChanges());
}

TEST_F(DeltaDownload, At_most_five_files_are_out_and_each_one_that_arrives_starts_the_next) {
    receive(changedBooks(12));
    EXPECT_EQ(client->count(QWRestRequest::LoadFile), 5);
    EXPECT_EQ(engine().numberOfItemsToProcess(), -12);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    for (int arrived = 1; arrived < 12; ++arrived) {
        loadedBook(client->requests[arrived - 1]);
        EXPECT_EQ(engine().numberOfItemsToProcess(), arrived - 12);
        EXPECT_EQ(client->count(QWRestRequest::LoadFile), std::min(5 + arrived, 12));
        EXPECT_EQ(books(), 0) << "the batch reaches the main context in one step";
    }
    const std::size_t timers = probe().scheduledTimers();
    loadedBook(client->requests[11]);
    EXPECT_EQ(books(), 12);
    EXPECT_FALSE(probe().hasSyncSupportContext());
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    EXPECT_EQ(engine().numberOfItemsToProcess(), 0);
    EXPECT_EQ(probe().scheduledTimers(), timers + 1);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0) << "what was imported is not uploaded";
}

TEST_F(DeltaDownload, The_next_poll_is_600_seconds_after_the_end_of_a_batch) {
    pass(599.9);
    EXPECT_EQ(client->log(), QStringList());
    pass(0.2);
    EXPECT_EQ(client->log(), QStringList{"delta"});
    EXPECT_EQ(probe().scheduledTimers(), 0u);
}

TEST_F(DeltaDownload, Entries_without_a_download_are_all_handled_in_one_pass) {
    QList<DBDeltaEntryRef> entries;
    for (int index = 0; index < 500; ++index) {
        entries.append(deleted(QStringLiteral("Book!!!%1.data").arg(index)));
        entries.append(DBMakeDeltaEntry(QStringLiteral("/notes%1.txt").arg(index), metadata("x")));
    }
    receive(entries);
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
}

TEST_F(DeltaDownload, Records_come_in_dependency_order_and_before_any_image) {
    receive({changed("Book!!!X.image"), changed("Book!!!X.data"), changed("Chapter!!!X.data"),
             changed("Author!!!X.data")});
    EXPECT_EQ(client->log(),
              QStringList({"load " + remote("Author!!!X.data"), "load " + remote("Book!!!X.data"),
                           "load " + remote("Chapter!!!X.data"), "load " + remote("Book!!!X.image")}));
    EXPECT_EQ(client->requests[3].localPath, desktop.path("cache/Download-book!!!x.image"));
}

TEST_F(DeltaDownload, A_known_revision_is_not_downloaded) {
    engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
        metadata("Book!!!X.data"));
    receive({changed("Book!!!X.data", "rev1")});
    EXPECT_EQ(client->log(), QStringList());
}

TEST_F(DeltaDownload, A_failed_query_is_logged_and_repeated_after_10_seconds_from_the_same_cursor) {
    engine().loadDeltaPotentialUpdates();
    client->forget();
    const QWLogCapture log;
    engine().restClientLoadDeltaFailedWithError(*client, failure(500));
    EXPECT_EQ(log.texts("qwlibrary.sync"), QStringList{"restClient:loadDeltaFailedWithError: it failed"});
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    pass(9.9);
    EXPECT_EQ(client->log(), QStringList());
    pass(0.2);
    ASSERT_EQ(client->log(), QStringList{"delta"});
    EXPECT_EQ(client->requests[0].cursor, "cursor-0");
}

TEST_F(DeltaDownload, A_query_that_fails_after_its_first_page_goes_on_from_there) {
    engine().loadDeltaPotentialUpdates();
    engine().restClientLoadedDeltaEntries(*client, {changed("Book!!!X.data")}, false, "cursor-1", true);
    client->forget();
    const QWLogCapture log;
    engine().restClientLoadDeltaFailedWithError(*client, failure(500));
    EXPECT_EQ(engine().deltaEntriesToImport().count(), 1);
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    pass(10);
    ASSERT_EQ(client->log(), QStringList{"delta"});
    EXPECT_EQ(client->requests[0].cursor, "cursor-1");
    engine().restClientLoadedDeltaEntries(*client, {}, false, "cursor-2", false);
    loadedBook(client->requests[1]);
    EXPECT_EQ(books(), 1);
    EXPECT_EQ(desktop.savedCursor(), "cursor-2");
}

TEST_F(DeltaDownload, What_stands_behind_five_files_waits_until_one_has_arrived) {
    engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
        metadata("Chapter!!!C.data"));
    receive(changedBooks(5) << deleted("Chapter!!!C.data"));
    EXPECT_EQ(engine().numberOfItemsToProcess(), -6);
    loadedBook(client->requests[4]);
    EXPECT_EQ(engine().numberOfItemsToProcess(), -4) << "the deletion went with it";
}

TEST_F(DeltaDownload, A_query_refused_with_401_arms_no_timer) {
    const std::size_t timers = probe().scheduledTimers();
    engine().restClientLoadDeltaFailedWithError(*client, failure(401));
    EXPECT_EQ(probe().scheduledTimers(), timers);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusTokenInvalid);
}

TEST_F(DeltaDownload, A_failed_download_is_logged_whole_and_repeated_every_10_seconds) {
    receive({changed("Book!!!X.data")});
    const auto request = client->requests[0];
    for (int attempt = 0; attempt < 3; ++attempt) {
        client->forget();
        const QWLogCapture log;
        engine().restClientLoadFileFailedWithError(*client, failure(500, info(request)));
        EXPECT_EQ(
            log.texts("qwlibrary.sync"),
            QStringList{R"(restClient:loadFileFailedWithError: Error Domain=dropbox Code=500 "it failed")"});
        pass(9.9);
        EXPECT_EQ(client->log(), QStringList());
        pass(0.1);
        ASSERT_EQ(client->log(), QStringList{"load " + remote("Book!!!X.data")});
        EXPECT_EQ(client->requests[0].localPath, request.localPath);
    }
    loadedBook(request);
    EXPECT_EQ(books(), 1);
}

TEST_F(DeltaDownload, A_download_refused_with_401_stops_the_engine) {
    receive({changed("Book!!!X.data")});
    engine().restClientLoadFileFailedWithError(*client, failure(401, info(client->requests[0])));
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusTokenInvalid);
    EXPECT_TRUE(engine().deltaEntriesToImport().isEmpty());
}

TEST_F(DeltaDownload, A_file_that_vanished_holds_its_batch_open_while_the_others_are_applied) {
    receive(changedBooks(7));
    const auto requests = client->requests;
    engine().restClientLoadFileFailedWithError(*client, failure(404, info(requests[0])));
    EXPECT_EQ(client->count(QWRestRequest::LoadFile), 6) << "the loop starts one more";
    for (std::size_t index = 1; index < client->requests.size(); ++index)
        loadedBook(client->requests[index]);
    EXPECT_EQ(engine().numberOfItemsToProcess(), -1);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    client->forget();
    pass(590);
    EXPECT_EQ(client->log(), QStringList());

    engine().deactivateSync();
    engine().activateSyncWithDropboxRestClient(client);
    EXPECT_EQ(client->requests[0].cursor, "cursor-0");
    receive(changedBooks(7));
    EXPECT_EQ(client->count(QWRestRequest::LoadFile), 1) << "only the one that vanished is still useful";
}

TEST_F(DeltaDownload, A_second_entry_of_a_file_waits_until_the_first_is_finished) {
    receive({changed("Book!!!X.data", "rev1")});
    receive({changed("Book!!!X.data", "rev2"), deleted("Book!!!X.data")});
    EXPECT_EQ(client->count(QWRestRequest::LoadFile), 1);
    EXPECT_EQ(engine().numberOfItemsToProcess(), -3);
    loaded(client->requests[0], record("T", "2026-01-01 00:00:00 +0000"), "rev1");
    ASSERT_EQ(client->count(QWRestRequest::LoadFile), 2);
    loaded(client->requests[1], record("U", "2026-01-02 00:00:00 +0000"), "rev2");
    EXPECT_EQ(books(), 0) << "its deletion came last";
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(DeltaDownload, Uploads_that_waited_start_after_the_batch) {
    engine().loadDeltaPotentialUpdates();
    client->forget();
    const auto author = desktop.add("Author");
    saveAndTurn();
    EXPECT_EQ(client->log(), QStringList());
    engine().restClientLoadedDeltaEntries(*client, {}, false, "cursor-1", false);
    EXPECT_EQ(client->log(), QStringList{"upload " + remote(dataFile(*author))});
    EXPECT_EQ(engine().numberOfItemsToProcess(), 1);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusUploading);
}
