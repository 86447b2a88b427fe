#include "sync/QWDropboxSyncJournal.h"

#include "support/EngineTest.h"

namespace {

struct Journal : EngineTest {
    QWManagedObjectContext& cache() { return *engine().dropboxCacheManagedObjectContext(); }
    QWDropboxSyncJournal journal{engine().dropboxCacheManagedObjectContext()};

    QWRef<ObjectWaitingSync> addRow(const QString& uuid, qint16 action) {
        const auto row = QWInsertCacheRecord<ObjectWaitingSync>(cache(), QWDBEntityNameObjectWaitingSync);
        row->setObjectUUID(uuid);
        row->setObjectEntityName("Book");
        row->setAction(action);
        return row;
    }
    void know(const QString& fileName, const QString& rev) {
        engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
            metadata(fileName, rev));
    }
    void setCursor(const QString& cursor) {
        engine().metadataWithKey(QWDBMetadataCursorKey)->setValue(cursor);
    }
    bool isHere = false; // every record, in the host's store
    std::optional<QString> putAllBack() {
        return journal.putBack([](const QWSyncedIdentity&) { return true; },
                               [this](const auto&) { return isHere; });
    }
};

} // namespace

TEST_F(Journal, An_entry_puts_back_what_was_known_of_the_file_its_row_and_the_cursor) {
    know("Book!!!X.data", "rev1");
    addRow("X", QWDropboxSyncActionInsertOrUpdate)->setObjectCouldHaveAnImage(true);
    setCursor("cursor-1");
    EXPECT_TRUE(journal.isEmpty());
    EXPECT_TRUE(journal.note("Book!!!X.data", "X", "Book"));
    EXPECT_FALSE(journal.isEmpty());

    know("Book!!!X.data", "rev2");
    cache().deleteObject(*QWFindObjectWaitingSync(cache(), "X"));
    setCursor("cursor-2");
    EXPECT_EQ(putAllBack(), "cursor-1");
    const auto known = desktop.fileMetadata("Book!!!X.data");
    EXPECT_EQ(known->rev(), "rev1");
    EXPECT_EQ(known->remoteHash(), "hash-rev1");
    EXPECT_EQ(known->lastModifiedDate(), metadata("x").lastModifiedDate);
    const auto row = QWFindObjectWaitingSync(cache(), "X");
    ASSERT_TRUE(row);
    EXPECT_EQ(row->action(), QWDropboxSyncActionInsertOrUpdate);
    EXPECT_EQ(row->objectEntityName(), "Book");
    EXPECT_EQ(row->objectCouldHaveAnImage(), true);
    EXPECT_TRUE(journal.isEmpty());
}

TEST_F(Journal, An_entry_puts_back_the_date_of_the_version_that_its_row_deletes) {
    const QDateTime date = metadata("x").lastModifiedDate;
    for (const bool isRowHere : {false, true}) {
        const auto row = addRow("X", QWDropboxSyncActionDelete);
        row->setDeletedVersionDate(date);
        journal.note("Book!!!X.data", "X", "Book");
        cache().deleteObject(*row);
        if (isRowHere)
            addRow("X", QWDropboxSyncActionInsertOrUpdate);
        putAllBack();
        const auto present = QWFindObjectWaitingSync(cache(), "X");
        ASSERT_TRUE(present);
        EXPECT_EQ(present->action(), QWDropboxSyncActionDelete);
        EXPECT_EQ(present->deletedVersionDate(), date);
        cache().deleteObject(*present);
    }
}

TEST_F(Journal, A_file_that_was_not_known_is_known_without_a_revision_where_its_record_is_here) {
    isHere = true;
    for (const bool isKnown : {true, false}) {
        for (const char* name : {"Book!!!X.data", "Book!!!X.image"}) {
            journal.note(name, "X", "Book");
            if (isKnown)
                know(name, "rev1");
        }
        putAllBack();
        ASSERT_TRUE(desktop.fileMetadata("Book!!!X.data")) << isKnown;
        EXPECT_EQ(desktop.fileMetadata("Book!!!X.data")->rev(), QString());
        EXPECT_FALSE(desktop.fileMetadata("Book!!!X.image"));
        engine().fileMetadataManager().deleteDropboxFileMetadataWithName("Book!!!X.data");
    }
}

TEST_F(Journal, A_copy_of_a_conflict_that_was_not_known_is_not_known_again) {
    isHere = true;
    journal.note("Book!!!X (Owner's conflicted copy).data", "X", "Book");
    putAllBack();
    EXPECT_FALSE(desktop.fileMetadata("Book!!!X (Owner's conflicted copy).data"));
}

TEST_F(Journal, A_file_that_was_not_known_is_not_known_again) {
    journal.note("Book!!!X.data", "X", "Book");
    know("book!!!x.data", "rev1");
    putAllBack();
    EXPECT_FALSE(desktop.fileMetadata("Book!!!X.data"));
}

TEST_F(Journal, The_first_note_of_a_file_counts) {
    know("Book!!!X.data", "rev1");
    journal.note("Book!!!X.data", "X", "Book");
    know("Book!!!X.data", "rev2");
    EXPECT_FALSE(journal.note("book!!!x.data", "X", "Book"));
    putAllBack();
    EXPECT_EQ(desktop.fileMetadata("Book!!!X.data")->rev(), "rev1");
}

TEST_F(Journal, The_cursor_is_that_of_the_oldest_entry_that_is_put_back) {
    for (const QString uuid : {"X", "Y", "Z"}) {
        setCursor("cursor-" + uuid);
        journal.note("Book!!!" + uuid + ".data", uuid, "Book");
    }
    EXPECT_EQ(journal.putBack([](const QWSyncedIdentity& identity) { return identity.uuid != "x"; },
                              [](const auto&) { return false; }),
              "cursor-Y");
    EXPECT_EQ(putAllBack(), "cursor-X");
    EXPECT_EQ(putAllBack(), std::nullopt);
}

TEST_F(Journal, A_row_made_since_then_stays) {
    journal.note("Book!!!X.data", "X", "Book");
    addRow("X", QWDropboxSyncActionDelete);
    addRow("Y", QWDropboxSyncActionInsertOrUpdate);
    journal.note("Book!!!Y.data", "Y", "Book");
    QWFindObjectWaitingSync(cache(), "Y")->setAction(QWDropboxSyncActionDelete);
    putAllBack();
    EXPECT_EQ(QWFindObjectWaitingSync(cache(), "X")->action(), QWDropboxSyncActionDelete);
    EXPECT_EQ(QWFindObjectWaitingSync(cache(), "Y")->action(), QWDropboxSyncActionDelete);
}

TEST_F(Journal, A_deletion_takes_the_place_of_an_insertion_that_died_and_of_no_record_that_is_here) {
    for (isHere = false; const QString uuid : {"X", "Y"}) {
        addRow(uuid, QWDropboxSyncActionDelete);
        journal.note("Book!!!" + uuid + ".data", uuid, "Book");
        QWFindObjectWaitingSync(cache(), uuid)->setAction(QWDropboxSyncActionInsertOrUpdate);
        putAllBack();
        EXPECT_EQ(QWFindObjectWaitingSync(cache(), uuid)->action(),
                  isHere ? QWDropboxSyncActionInsertOrUpdate : QWDropboxSyncActionDelete);
        isHere = true;
    }
}

TEST_F(Journal, Forgetting_a_record_takes_the_entries_of_all_its_files_and_of_no_other) {
    journal.note("Book!!!X.data", "X", "Book");
    journal.note("Book!!!X.image", "X", "Book");
    journal.note("Author!!!X.data", "X", "Author");
    EXPECT_TRUE(journal.forget({"Book", "x"}));
    EXPECT_FALSE(journal.forget({"Book", "x"}));
    EXPECT_FALSE(journal.isEmpty());
    EXPECT_TRUE(journal.forget({"Author", "X"}));
    EXPECT_TRUE(journal.isEmpty());
}
