#include "support/EngineTest.h"

#include "sync/QWResetListing.h"
#include "sync/QWSyncFileNames_p.h"

// Names at the edge: which files are those of the sync folder, and which names no disk takes.

namespace {

struct FileNameLimits : EngineTest {
    FileNameLimits() { activateIdle(); }

    static DBDeltaEntryRef entry(const QString& path, bool isDirectory = false) {
        DBMetadata metadata;
        metadata.path = path;
        metadata.isDirectory = isDirectory;
        return DBMakeDeltaEntry(path.toLower(), metadata);
    }
    void receiveListing(const QList<DBDeltaEntryRef>& entries) {
        engine().loadDeltaPotentialUpdates();
        engine().restClientLoadedDeltaEntries(*client, entries, true, "cursor-1", false);
    }
    // What a listing from scratch with one page tells of the known files.
    static QStringList deletions(const QList<DBDeltaEntryRef>& entries, const QStringList& known) {
        QWResetListing listing;
        listing.queryBegan();
        EXPECT_TRUE(listing.pageArrived(entries, true, false));
        QStringList paths;
        for (const auto& each : listing.deletions(known))
            paths.append(each->lowercasePath);
        return paths;
    }
};

} // namespace

TEST_F(FileNameLimits, A_record_whose_uuid_holds_a_dot_or_a_blank_waits_like_any_other) {
    for (const QString uuid : {"A.B", "C D"}) {
        const auto author = desktop.add("Author");
        author->setUuid(uuid);
        desktop.save();
        engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
            metadata(dataFile(*author)));
        ASSERT_TRUE(desktop.row(*author));
    }
    receiveListing({entry("/SyncCache.dbSync", true)});
    EXPECT_TRUE(desktop.find("A.B", "Author"));
    EXPECT_TRUE(desktop.find("C D", "Author"));
}

TEST_F(FileNameLimits, A_record_whose_uuid_holds_a_dot_is_sent_and_no_other_is_taken_for_it) {
    for (const QString uuid : {"A.B", "A"})
        desktop.add("Author")->setUuid(uuid);
    saveAndTurn();
    ASSERT_EQ(client->log(), QStringList({"upload /SyncCache.dbSync/Author!!!A.B.data",
                                          "upload /SyncCache.dbSync/Author!!!A.data"}));
    uploaded(client->requests[0]);
    EXPECT_FALSE(desktop.row(*desktop.find("A.B", "Author")));
    EXPECT_TRUE(desktop.row(*desktop.find("A", "Author")));
    uploaded(client->requests[1]);
    EXPECT_EQ(engine().numberOfObjectsSyncing(), 0);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(FileNameLimits, A_folder_of_a_longer_name_is_not_the_sync_folder) {
    EXPECT_EQ(deletions({entry("/SyncCache.dbSync-old/x.data")}, {"x.data"}),
              QStringList{"/synccache.dbsync"});
    EXPECT_EQ(
        deletions({entry("/SyncCache.dbSync", true), entry("/SyncCache.dbSync-old/x.data")}, {"x.data"}),
        QStringList{"/synccache.dbsync/x.data"});
}

TEST_F(FileNameLimits, A_file_further_down_stands_for_none_of_the_sync_folder) {
    EXPECT_EQ(
        deletions({entry("/SyncCache.dbSync", true), entry("/SyncCache.dbSync/sub/x.data")}, {"x.data"}),
        QStringList{"/synccache.dbsync/x.data"});
}

TEST_F(FileNameLimits, A_name_with_a_NUL_is_ignored_for_what_it_is) {
    const QWLogCapture log;
    receive({entry(remote(QString("Book!!!X") + QChar(0) + ".data"))});
    ASSERT_EQ(log.texts("qwlibrary.sync").size(), 1);
    EXPECT_THAT(log.texts("qwlibrary.sync")[0].toStdString(), testing::HasSubstr("no local file can bear"));
}

TEST_F(FileNameLimits, A_uuid_whose_image_could_be_downloaded_nowhere_is_logged_and_not_queued) {
    const auto book = desktop.add("Book");
    book->setUuid(QString(222, 'A'));
    const QWLogCapture log;
    saveAndTurn();
    EXPECT_FALSE(desktop.row(*book));
    EXPECT_GE(log.texts("qwlibrary.sync").size(), 1);
    EXPECT_TRUE(qw::sync::canNameFiles(QString(218, 'A'), "Book"));
    EXPECT_FALSE(qw::sync::canNameFiles(QString(219, 'A'), "Book"));
}
