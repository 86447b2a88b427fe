#include "sync/QWResetListing.h"

#include "support/EngineTest.h"

namespace {

DBDeltaEntryRef entry(const QString& path, bool isDirectory = false) {
    DBMetadata metadata;
    metadata.path = path;
    metadata.isDirectory = isDirectory;
    return DBMakeDeltaEntry(path.toLower(), metadata);
}

const DBDeltaEntryRef syncFolder = entry("/SyncCache.dbSync", true);

QStringList paths(const QList<DBDeltaEntryRef>& entries) {
    QStringList result;
    for (const auto& each : entries) {
        EXPECT_FALSE(each->metadata);
        result.append(each->lowercasePath);
    }
    return result;
}

} // namespace

TEST(ResetListing, A_page_without_the_flag_completes_no_listing) {
    QWResetListing listing;
    listing.queryBegan();
    EXPECT_FALSE(listing.pageArrived({syncFolder}, false, false));
}

TEST(ResetListing, What_the_listing_lacks_over_all_its_pages_was_deleted) {
    QWResetListing listing;
    listing.queryBegan();
    EXPECT_FALSE(listing.pageArrived({syncFolder, entry("/SyncCache.dbSync/A.data")}, true, true));
    listing.queryBegan();
    EXPECT_TRUE(listing.pageArrived({entry("/SyncCache.dbSync/b.DATA")}, false, false));
    EXPECT_EQ(paths(listing.deletions({"a.data", "B.data", "C.data"})),
              QStringList{"/synccache.dbsync/c.data"});
}

TEST(ResetListing, A_file_written_since_the_query_began_was_not_deleted) {
    QWResetListing listing;
    listing.fileWritten("Before.data");
    listing.queryBegan();
    listing.fileWritten("First.data");
    EXPECT_FALSE(listing.pageArrived({syncFolder}, true, true));
    listing.queryBegan();
    listing.fileWritten("Second.data");
    EXPECT_TRUE(listing.pageArrived({}, false, false));
    EXPECT_EQ(paths(listing.deletions({"Before.data", "First.data", "Second.data"})),
              QStringList{"/synccache.dbsync/before.data"});
}

TEST(ResetListing,
     A_listing_without_the_folder_tells_of_its_deletion_if_a_file_was_known_and_of_nothing_otherwise) {
    QWResetListing listing;
    listing.queryBegan();
    listing.fileWritten("New.data");
    EXPECT_TRUE(listing.pageArrived({entry("/PreferencesSync.data")}, true, false));
    EXPECT_EQ(paths(listing.deletions({"A.data", "B.data"})), QStringList{"/synccache.dbsync"});
    EXPECT_EQ(paths(listing.deletions({"New.data"})), QStringList());
    EXPECT_EQ(paths(listing.deletions({})), QStringList());
}

TEST(ResetListing, The_file_of_the_preferences_is_missed_apart_from_the_folder) {
    const QStringList known = {"A.data", "PreferencesSync.data"};
    for (const bool holdsFolder : {false, true}) {
        QWResetListing listing;
        listing.queryBegan();
        EXPECT_TRUE(listing.pageArrived(holdsFolder ? QList{syncFolder, entry("/SyncCache.dbSync/a.data")}
                                                    : QList<DBDeltaEntryRef>{},
                                        true, false));
        auto deleted = paths(listing.deletions(known));
        deleted.sort();
        EXPECT_EQ(deleted, holdsFolder ? QStringList{"/preferencessync.data"}
                                       : QStringList({"/preferencessync.data", "/synccache.dbsync"}));
    }
    QWResetListing listing;
    listing.queryBegan();
    EXPECT_TRUE(listing.pageArrived({entry("/PREFERENCESSYNC.data")}, true, false));
    EXPECT_EQ(paths(listing.deletions({"PreferencesSync.data"})), QStringList());
}

TEST(ResetListing, A_listing_that_a_failure_interrupts_goes_on_with_the_next_query) {
    QWResetListing listing;
    listing.queryBegan();
    listing.pageArrived({syncFolder, entry("/SyncCache.dbSync/A.data")}, true, true);
    listing.queryBegan();
    listing.queryFailed();
    listing.fileWritten("C.data");
    listing.queryBegan();
    EXPECT_TRUE(listing.pageArrived({entry("/SyncCache.dbSync/B.data")}, false, false));
    EXPECT_EQ(paths(listing.deletions({"A.data", "B.data", "C.data"})), QStringList());
}

TEST(ResetListing, A_listing_whose_cursor_is_lost_begins_anew) {
    QWResetListing listing;
    listing.queryBegan();
    EXPECT_FALSE(listing.pageArrived({syncFolder, entry("/SyncCache.dbSync/A.data")}, true, true));
    listing.queryBegan();
    listing.fileWritten("B.data");
    EXPECT_FALSE(listing.pageArrived({syncFolder}, true, true));
    listing.queryBegan();
    EXPECT_TRUE(listing.pageArrived({entry("/SyncCache.dbSync/C.data")}, false, false));
    EXPECT_EQ(paths(listing.deletions({"A.data", "B.data", "C.data"})),
              QStringList{"/synccache.dbsync/a.data"});
}

TEST(ResetListing, A_deletion_among_the_entries_holds_neither_its_file_nor_the_folder) {
    QWResetListing listing;
    listing.queryBegan();
    EXPECT_TRUE(listing.pageArrived(
        {DBMakeDeltaEntry("/synccache.dbsync"), DBMakeDeltaEntry("/synccache.dbsync/a.data")}, true, false));
    EXPECT_EQ(paths(listing.deletions({"A.data"})), QStringList{"/synccache.dbsync"});
}

TEST(ResetListing, Two_queries_at_once_complete_one_listing_with_the_last_answer) {
    QWResetListing listing;
    listing.queryBegan();
    listing.queryBegan();
    EXPECT_FALSE(listing.pageArrived({syncFolder}, true, false));
    EXPECT_TRUE(listing.pageArrived({syncFolder, entry("/SyncCache.dbSync/A.data")}, true, false));
    EXPECT_EQ(paths(listing.deletions({"A.data"})), QStringList());
}

TEST(ResetListing, A_listing_that_was_ended_completes_no_more) {
    QWResetListing listing;
    listing.queryBegan();
    listing.pageArrived({syncFolder}, true, true);
    listing.end();
    listing.queryBegan();
    EXPECT_FALSE(listing.pageArrived({}, false, false));
}

// In the engine ---------------------------------------------------------------------------------------------

namespace {

struct LostCursor : TwoDesktops {
    desktop::Record keep, gone;

    // Both desktops hold two authors; then the second one's file is deleted where no change feed tells of it.
    LostCursor() {
        keep = a.add("Author", {{"name", "Keep"}});
        gone = a.add("Author", {{"name", "Gone"}});
        TwoDesktops::sync();
        cloud.remove("Author!!!" + gone->uuid() + ".data");
        cloud.folder->forgetCursors();
    }
    desktop::Record onB(const desktop::Record& record) { return b.find(record->uuid(), "Author"); }
};

} // namespace

TEST_F(LostCursor, A_deletion_that_it_hid_is_applied) {
    b.sync();
    EXPECT_TRUE(onB(keep));
    EXPECT_FALSE(onB(gone));
}

TEST_F(LostCursor, A_deletion_is_applied_when_the_cursor_is_lost_between_two_pages_too) {
    const QString last = "Author!!!" + keep->uuid() + ".data";
    b.cloudClient = std::make_unique<QWFolderRestClient>(
        cloud.folder, b.environment,
        QWFolderRestClientOptions{.latency = std::chrono::seconds(1), .pageSize = 2});
    b.engine->activateSyncWithDropboxRestClient(std::move(b.cloudClient));
    cloud.put("Author!!!OTHER.data", R"({"name":"Other"})");
    b.advance(std::chrono::milliseconds(1500));
    cloud.remove(last);
    cloud.folder->forgetCursors();
    b.advance(std::chrono::seconds(20));
    EXPECT_FALSE(onB(keep));
    EXPECT_FALSE(onB(gone));
}

// The file that the late listing still holds cannot be loaded any more, which ends that batch.
TEST_F(LostCursor, A_deletion_between_two_listings_is_applied_though_the_first_arrives_last) {
    const QString name = "Author!!!" + keep->uuid() + ".data";
    cloud.put(name, R"({"name":"Edited","dateModified":"2030-01-01 00:00:00 +0000"})");
    b.client->on(QWRestRequest::LoadDelta).number(1).delaysAnswer(std::chrono::seconds(20));
    b.engine->loadDeltaPotentialUpdates();
    b.advance(std::chrono::seconds(1));
    cloud.remove(name);
    b.engine->loadDeltaPotentialUpdates();
    b.advance(std::chrono::seconds(30));
    ASSERT_TRUE(onB(keep));
    b.engine->deactivateSync();
    b.activate();
    b.advance(std::chrono::seconds(30));
    EXPECT_FALSE(onB(keep));
}

TEST_F(LostCursor, A_record_with_a_waiting_row_stays_and_is_uploaded) {
    onB(gone)->setValueForKey("name", "Edited");
    b.sync();
    ASSERT_TRUE(onB(gone));
    EXPECT_EQ(onB(gone)->valueForKey("name"), "Edited");
    EXPECT_EQ(cloud.fileNames().size(), 2);
}

TEST_F(LostCursor, A_record_uploaded_while_the_listing_is_read_stays) {
    b.client->on(QWRestRequest::LoadDelta).delaysAnswer(std::chrono::seconds(5));
    b.engine->loadDeltaPotentialUpdates();
    const auto fresh = b.add("Author", {{"name", "Fresh"}});
    b.save();
    b.engine->setStatus(QWDropboxSyncStatusUploading);
    b.advance(std::chrono::seconds(3));
    EXPECT_EQ(b.rows(QWDBEntityNameObjectWaitingSync), 0);
    b.advance(std::chrono::seconds(10));
    EXPECT_TRUE(onB(fresh));
}

TEST_F(LostCursor, A_missing_folder_is_its_deletion_and_nothing_else) {
    ASSERT_TRUE(cloud.folder->remove("/SyncCache.dbSync"));
    cloud.folder->forgetCursors();
    b.sync();
    EXPECT_TRUE(onB(keep));
    EXPECT_TRUE(onB(gone));
    EXPECT_EQ(cloud.fileNames().size(), 2) << "everything was uploaded again";
}

TEST_F(LostCursor, A_missing_folder_of_which_nothing_was_known_is_nothing) {
    Cloud empty;
    Desktop fresh(empty, 3);
    fresh.world.userDefaults->setBoolean(QWDBLastTimeTokenExpiredPrefKey, false);
    fresh.add("Author");
    fresh.engine->metadataWithKey(QWDBMetadataCursorKey)->setValue("lost");
    fresh.sync();
    EXPECT_EQ(empty.fileNames().size(), 1);
    EXPECT_EQ(fresh.client->requests(QWRestRequest::Upload).size(), 1u);
}

TEST_F(LostCursor, A_deletion_of_the_preferences_that_it_hid_makes_the_engine_send_them_again) {
    const QString path = "/PreferencesSync.data";
    b.engine->syncPreferenceWithKey("theme");
    b.advance(std::chrono::seconds(6));
    const auto uploads = [&] { return b.client->requests(QWRestRequest::Upload).size(); };
    b.sync();
    const auto before = uploads();
    cloud.folder->forgetCursors();
    b.sync();
    b.advance(std::chrono::seconds(6));
    EXPECT_EQ(uploads(), before) << "it stands in the listing";

    ASSERT_TRUE(cloud.folder->remove(path));
    cloud.folder->forgetCursors();
    b.sync();
    b.advance(std::chrono::seconds(6));
    EXPECT_EQ(uploads(), before + 1);
    EXPECT_TRUE(cloud.folder->read(path));
}
