#include "support/EngineTest.h"

#include "support/AssertionProbe.h"

namespace {

struct FileMetadataManager : EngineTest {
    QWDropboxFileMetadataManager& manager() { return engine().fileMetadataManager(); }
    void know(const QString& fileName, const QString& rev = "rev1") {
        manager().updateFileMetadataEquivalentToDropboxFileMetadata(metadata(fileName, rev));
    }
    // The special action where the entry is useful, −1 where it is not; then the action is none.
    int judge(const DBDeltaEntryRef& entry) {
        entry->specialAction = SpecialActionSyncedPreferences;
        if (manager().isUsefullImportOfDropboxDeltaEntry(*entry))
            return entry->specialAction;
        EXPECT_EQ(entry->specialAction, SpecialActionNone);
        return -1;
    }
    QUrl image(const QDateTime& date) {
        const QString file = desktop.path("cover");
        desktop.world.files->write(file, "image");
        desktop.world.files->setModificationDate(file, date);
        return QUrl::fromLocalFile(file);
    }
    const QDateTime remoteDate = metadata("x").lastModifiedDate;
};

DBDeltaEntryRef folder(const QString& path) {
    DBMetadata metadata;
    metadata.path = path;
    metadata.isDirectory = true;
    return DBMakeDeltaEntry(path.toLower(), metadata);
}

} // namespace

TEST_F(FileMetadataManager, A_changed_file_is_useful_unless_its_revision_is_known) {
    EXPECT_EQ(judge(changed("Book!!!X.data", "rev1")), SpecialActionNone);
    know("Book!!!X.data", "rev1");
    EXPECT_EQ(judge(changed("Book!!!X.data", "rev1")), -1);
    EXPECT_EQ(judge(changed("Book!!!X.data", "rev2")), SpecialActionNone);
    EXPECT_EQ(judge(changed("Book!!!X.data", "REV1")), SpecialActionNone);
}

TEST_F(FileMetadataManager, Names_are_told_apart_without_regard_to_letter_case) {
    know("Book!!!ÉX.data");
    EXPECT_TRUE(manager().fileMetadataForFileName("book!!!éx.data", false));
    EXPECT_EQ(judge(deleted("Book!!!ÉX.data")), SpecialActionNone);
    know("BOOK!!!éx.DATA", "rev2");
    EXPECT_EQ(desktop.rows(QWDBEntityNameFileMetadata), 1);
    EXPECT_EQ(manager().fileMetadataForFileName("book!!!éx.data", false)->fileName(), "Book!!!ÉX.data");
}

TEST_F(FileMetadataManager, The_sync_folder_is_useful_only_when_it_was_deleted) {
    EXPECT_EQ(judge(folder("/SyncCache.dbSync")), -1);
    EXPECT_EQ(judge(DBMakeDeltaEntry("/synccache.dbsync")), SpecialActionSyncCacheFolder);
}

TEST_F(FileMetadataManager, A_conflicted_copy_is_useful_unless_it_was_deleted) {
    EXPECT_EQ(judge(changed("Book!!!X conflicted copy.data")), SpecialActionConflictedCopy);
    EXPECT_EQ(judge(deleted("Book!!!X conflicted copy.data")), -1);
    know("Book!!!X conflicted copy.data");
    EXPECT_EQ(judge(changed("Book!!!X conflicted copy.data")), SpecialActionConflictedCopy);
}

TEST_F(FileMetadataManager,
       The_preferences_file_is_useful_changed_and_deleted_and_nothing_else_outside_the_folder_is) {
    DBMetadata preferences;
    preferences.path = "/PreferencesSync.data";
    EXPECT_EQ(judge(DBMakeDeltaEntry("/preferencessync.data", preferences)), SpecialActionSyncedPreferences);
    EXPECT_EQ(judge(DBMakeDeltaEntry("/preferencessync.data")), SpecialActionSyncedPreferences);
    preferences.path = "/notes.txt";
    EXPECT_EQ(judge(DBMakeDeltaEntry("/notes.txt", preferences)), -1);
    EXPECT_EQ(judge(DBMakeDeltaEntry("/notes.txt")), -1);
    EXPECT_EQ(judge(DBMakeDeltaEntry("/notes conflicted copy.txt", preferences)), -1);
}

TEST_F(FileMetadataManager, A_folder_under_the_sync_folder_is_never_useful) {
    EXPECT_EQ(judge(folder("/SyncCache.dbSync/Sub")), -1);
    EXPECT_EQ(judge(folder("/SyncCache.dbSync/Sub (conflicted copy)")), -1);
}

TEST_F(FileMetadataManager, A_deletion_is_useful_for_a_record_file_that_is_known) {
    EXPECT_EQ(judge(deleted("Book!!!X.data")), -1);
    know("Book!!!X.data");
    know("Book!!!X.image");
    EXPECT_EQ(judge(deleted("Book!!!X.data")), SpecialActionNone);
    EXPECT_EQ(judge(deleted("Book!!!X.image")), -1);
}

TEST_F(FileMetadataManager, Recording_a_file_keeps_what_the_cloud_says_of_it) {
    know("Book!!!X.data", "rev2");
    const auto known = manager().fileMetadataForFileName("Book!!!X.data", false);
    EXPECT_EQ(known->rev(), "rev2");
    EXPECT_EQ(known->remoteHash(), "hash-rev2");
    EXPECT_EQ(known->lastModifiedDate(), remoteDate);
}

TEST_F(FileMetadataManager, A_deleted_record_is_gone_and_deleting_none_does_nothing) {
    know("Book!!!X.data");
    manager().deleteDropboxFileMetadataWithName("book!!!x");
    EXPECT_EQ(desktop.rows(QWDBEntityNameFileMetadata), 1);
    manager().deleteDropboxFileMetadataWithName("book!!!x.data");
    EXPECT_EQ(desktop.rows(QWDBEntityNameFileMetadata), 0);
}

TEST_F(FileMetadataManager, Two_records_for_one_name_are_a_programming_error) {
    for (int copy = 0; copy < 2; ++copy)
        QWInsertCacheRecord<FileMetadata>(*engine().dropboxCacheManagedObjectContext(),
                                          QWDBEntityNameFileMetadata)
            ->setFileName("Book!!!X.data");
    EXPECT_EQ(failedAssertion([&] { manager().fileMetadataForFileName("book!!!x.data", false); }),
              "[fetchedItems count] == 1");
}

TEST_F(FileMetadataManager, An_image_must_be_uploaded_when_it_is_later_than_its_record_or_has_none) {
    EXPECT_TRUE(manager().needsToUploadOfImageAtURL(image(remoteDate), "Book!!!X.image"));
    know("Book!!!X.image");
    EXPECT_FALSE(manager().needsToUploadOfImageAtURL(image(remoteDate), "Book!!!X.image"));
    EXPECT_FALSE(manager().needsToUploadOfImageAtURL(image(remoteDate.addSecs(-1)), "Book!!!X.image"));
    EXPECT_TRUE(manager().needsToUploadOfImageAtURL(image(remoteDate.addSecs(1)), "book!!!x.IMAGE"));
    EXPECT_TRUE(manager().needsToUploadOfImageAtURL(image(remoteDate.addMSecs(1)), "Book!!!X.image"));
    EXPECT_FALSE(
        manager().needsToUploadOfImageAtURL(QUrl::fromLocalFile(desktop.path("none")), "Other.image"));
    EXPECT_FALSE(manager().needsToUploadOfImageAtURL(QUrl(), "Other.image"));
}

TEST_F(FileMetadataManager, An_image_is_outdated_when_it_is_earlier_than_the_date) {
    EXPECT_TRUE(manager().isOudatedCoverImageAtURL(image(remoteDate.addSecs(-1)), remoteDate));
    EXPECT_TRUE(manager().isOudatedCoverImageAtURL(image(remoteDate.addMSecs(-1)), remoteDate));
    EXPECT_FALSE(manager().isOudatedCoverImageAtURL(image(remoteDate), remoteDate));
    EXPECT_FALSE(manager().isOudatedCoverImageAtURL(image(remoteDate.addSecs(1)), remoteDate));
    EXPECT_FALSE(manager().isOudatedCoverImageAtURL(QUrl::fromLocalFile(desktop.path("none")), remoteDate));
}

TEST_F(FileMetadataManager, An_image_whose_remote_date_is_not_known_keeps_its_date_and_is_to_be_uploaded) {
    const QUrl url = image(remoteDate);
    DBMetadata undated = metadata("Book!!!X.image");
    undated.lastModifiedDate = {};
    manager().updateFileMetadataEquivalentToDropboxFileMetadata(undated, url.toLocalFile());
    EXPECT_EQ(desktop.world.files->modificationDate(url.toLocalFile()), remoteDate);
    EXPECT_TRUE(manager().needsToUploadOfImageAtURL(url, "Book!!!X.image"));
    EXPECT_FALSE(manager().isOudatedCoverImageAtURL(url, {}));
}

TEST_F(FileMetadataManager, Recording_an_image_gives_the_local_file_the_remote_date) {
    const QUrl url = image(remoteDate.addDays(3));
    manager().updateFileMetadataEquivalentToDropboxFileMetadata(metadata("Book!!!X.data"), url.toLocalFile());
    manager().updateFileMetadataEquivalentToDropboxFileMetadata(metadata("Book!!!X.IMAGE"),
                                                                url.toLocalFile());
    EXPECT_EQ(desktop.world.files->modificationDate(url.toLocalFile()), remoteDate.addDays(3));
    manager().updateFileMetadataEquivalentToDropboxFileMetadata(metadata("Book!!!X.image"),
                                                                url.toLocalFile());
    EXPECT_EQ(desktop.world.files->modificationDate(url.toLocalFile()), remoteDate);
    manager().updateFileMetadataEquivalentToDropboxFileMetadata(metadata("Book!!!Y.image"),
                                                                desktop.path("none"));
    EXPECT_FALSE(desktop.world.files->exists(desktop.path("none")));
}
