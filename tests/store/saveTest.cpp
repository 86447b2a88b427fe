#include "store/StoreFixture.h"

#include "store/FaultyDisk.h"
#include "store/QWStoreError.h"

#include <QFile>
#include <functional>
#include <optional>

// The steps of a save, and what a failed one leaves.

using Save = StoreTest;

namespace {

// Writes down what happens to it.
class Diary : public QWManagedObject {
public:
    void willSave() override {
        entries << "willSave";
        setValueForKey("length", entries.size());
    }
    void didSave() override { entries << "didSave"; }
    static inline QStringList entries;
};

std::shared_ptr<QWManagedObjectModel> diaryModel() {
    auto model = std::make_shared<QWManagedObjectModel>();
    auto& diary = model->addEntity<Diary>("Diary");
    diary.addAttribute("text", QWAttributeType::String);
    diary.addAttribute("length", QWAttributeType::Integer);
    return model;
}

} // namespace

TEST_F(Save, Notices_and_hooks_come_in_one_order_and_what_willSave_changes_is_reported_and_written) {
    coordinator = std::make_shared<QWPersistentStoreCoordinator>(diaryModel(), world.environment());
    ASSERT_TRUE(coordinator->addStore(folder.filePath("diary.sqlite")));
    context = makeContext();
    Diary::entries.clear();
    const QWObservation willSave = context->observeWillSave([] { Diary::entries << "will-save notice"; });
    const QWObservation didChange =
        context->observeObjectsDidChange([](const QWObjectsDidChangeNotice& notice) {
            Diary::entries << (notice.inserted.empty() ? "updated" : "inserted");
        });
    const QWObservation didSave = context->observeDidSave([this](const QWDidSaveNotice&) {
        EXPECT_FALSE(context->hasChanges());
        Diary::entries << "did-save notice";
    });
    insert("Diary", {{"text", "Dear diary"}});
    save();
    EXPECT_EQ(Diary::entries, (QStringList{"will-save notice", "inserted", "willSave", "updated", "didSave",
                                           "did-save notice"}));
    auto other = makeContext();
    EXPECT_EQ(names(fetchIn(*other, "Diary"), "length"), QStringList{"3"});
}

TEST_F(Save, After_the_commit_only_the_did_save_notice_comes) {
    Ref author = insert("Author", {{"name", "Ana"}});
    bool committed = false;
    const QWObservation didSave = context->observeDidSave([&](const QWDidSaveNotice&) { committed = true; });
    const QWObservation didChange =
        context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice&) { EXPECT_FALSE(committed); });
    save();
    world.runLoop->runDue();
    EXPECT_TRUE(committed);
}

TEST_F(Save, An_equal_value_is_saved_as_an_update) {
    Ref author = insert("Author", {{"name", "Ana"}});
    save();
    QWManagedObjectSet updated;
    const QWObservation observation =
        context->observeDidSave([&](const QWDidSaveNotice& notice) { updated = notice.updated; });
    author->setValueForKey("name", "Ana");
    save();
    EXPECT_EQ(updated, QWManagedObjectSet{author});
}

TEST_F(Save, A_link_raises_the_version_of_both_ends) {
    Ref author = insert("Author"), book = insert("Book");
    save();
    auto other = makeContext();
    fetchIn(*other, "Book").at(0)->setRelatedObject("author", fetchIn(*other, "Author").at(0).data());
    save(*other);
    author->setValueForKey("name", "Ana");
    QWError error;
    EXPECT_FALSE(context->save(&error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::Conflict));
}

TEST_F(Save, Required_relationships_are_checked_like_required_attributes) {
    auto model = std::make_shared<QWManagedObjectModel>();
    model->addEntity("Page").addToOne("book", "Bound").setInverse("pages").setOptional(false);
    model->addEntity("Bound").addToMany("pages", "Page").setInverse("book").setOptional(false);
    coordinator = std::make_shared<QWPersistentStoreCoordinator>(model, world.environment());
    ASSERT_TRUE(coordinator->addStore(folder.filePath("pages.sqlite")));
    context = makeContext();
    Ref page = insert("Page"), book = insert("Bound");
    QWError error;
    EXPECT_FALSE(context->save(&error));
    QStringList keys;
    for (const QVariant& one : error.userInfo["errors"].toList()) {
        EXPECT_EQ(one.toMap()["code"], 1570);
        keys << one.toMap()["key"].toString();
    }
    EXPECT_EQ(keys, (QStringList{"book", "pages"}));
    page->setRelatedObject("book", book.data());
    save();
    context->deleteObject(*book);
    EXPECT_FALSE(context->save(&error));
    EXPECT_EQ(error.code, 1570);
    EXPECT_EQ(error.userInfo["key"], "book") << "nullified by the deletion";
}

TEST_F(Save, A_save_within_a_notice_runs_the_delete_rules_first) {
    Ref author = insert("Author"), book = insert("Book");
    book->setRelatedObject("author", author.data());
    save();
    bool deleted = false;
    const QWObservation observation = context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice&) {
        if (std::exchange(deleted, true))
            return;
        context->deleteObject(*author);
        save();
    });
    book->setValueForKey("title", "One");
    context->processPendingChanges();
    EXPECT_EQ(book->relatedObject("author"), Ref());
    EXPECT_FALSE(book->valueForKey("author").isValid());
}

// Failing disks ---------------------------------------------------------------------------------------------

class SaveOnFaultyDisk : public StoreTest {
protected:
    void SetUp() override {
        disk.emplace();
        StoreTest::SetUp();
    }
    void TearDown() override {
        disk->mend();
        context.reset();
        coordinator.reset();
        disk.reset();
    }
    // A context of its own connection, which has read no row yet.
    void reopen() {
        context.reset();
        coordinator.reset();
        coordinator = openStore();
        context = makeContext();
    }
    // The authors that another process would find if this one died now.
    QStringList authorsLeft() {
        const QString path = folder.filePath("library.sqlite"), left = folder.filePath("left.sqlite");
        for (const char* part : {"", "-wal"}) {
            QFile::remove(left + part);
            EXPECT_TRUE(QFile::copy(path + part, left + part));
        }
        const auto opened =
            std::make_shared<QWPersistentStoreCoordinator>(libraryModel(), world.environment());
        EXPECT_TRUE(opened->addStore(left, {}));
        QWManagedObjectContext reading(opened, QWConcurrencyType::MainQueue);
        return names(fetchIn(reading, "Author"), "name");
    }
    // Makes each step of a save fail in turn, so many in a row, and then takes the changes back.
    void failAtEachStep(int failuresInARow, const std::function<void()>& afterwards) {
        int failedSaves = 0;
        for (int after = 0;; ++after) {
            insert("Author", {{"name", "Eve"}});
            disk->fail(SQLITE_IOERR_FSYNC, after, failuresInARow);
            const bool isSaved = context->save();
            disk->mend();
            if (isSaved)
                break;
            ++failedSaves;
            context->rollback();
            afterwards();
        }
        EXPECT_GT(failedSaves, 1);
    }
    std::optional<FaultyDisk> disk;
};

TEST_F(SaveOnFaultyDisk, A_commit_that_fails_leaves_everything_pending_and_the_next_save_writes_it) {
    Ref updated = insert("Author", {{"name", "Ana"}}), deleted = insert("Author", {{"name", "Eve"}});
    save();
    updated->setValueForKey("name", "Zoe");
    context->deleteObject(*deleted);
    Ref inserted = insert("Author", {{"name", "Ida"}});
    int saves = 0;
    const QWObservation observation = context->observeDidSave([&](const QWDidSaveNotice&) { ++saves; });
    disk->fail(SQLITE_FULL);
    QWError error;
    EXPECT_FALSE(context->save(&error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::DiskFull));
    EXPECT_EQ(saves, 0);
    EXPECT_TRUE(inserted->isInserted() && updated->isUpdated() && deleted->isDeleted());
    EXPECT_EQ(updated->changedValues().keys(), QStringList{"name"});
    EXPECT_EQ(updated->committedValueForKey("name"), "Ana");
    disk->mend();
    save();
    EXPECT_EQ(saves, 1);
    auto other = makeContext();
    EXPECT_EQ(names(fetchIn(*other, "Author"), "name"), (QStringList{"Zoe", "Ida"}));
}

TEST_F(SaveOnFaultyDisk, A_row_that_cannot_be_read_now_is_no_empty_record_and_cannot_be_edited) {
    // Keys only: the entity that an identity names goes with the model when the store is opened again.
    const auto authorKey = insert("Author", {{"name", "Ana"}})->objectID().key;
    const auto bookKey = insert("Book", {{"title", "One"}})->objectID().key;
    save();
    reopen();
    const auto here = [this](const char* entityName, qint64 key) {
        return context->objectWithID({context->model().entity(entityName), key});
    };
    Ref book = here("Book", bookKey), author = here("Author", authorKey);
    disk->failReads(true);
    EXPECT_FALSE(book->valueForKey("title").isValid());
    EXPECT_TRUE(book->isFault());
    QWError error;
    EXPECT_FALSE(book->setValueForKey("title", "Two", &error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::IO));
    book->setRelatedObject("author", author.data());
    book->setPrimitiveValueForKey("title", "Two");
    EXPECT_FALSE(context->hasChanges());
    disk->failReads(false);
    EXPECT_EQ(book->valueForKey("title"), "One");
    EXPECT_EQ(book->relatedObject("author"), Ref());
    EXPECT_TRUE(book->setValueForKey("title", "Two"));
    save();
}

// The journal may hold all of it when the last step fails.
TEST_F(SaveOnFaultyDisk, A_save_that_failed_does_not_come_true_when_the_process_dies) {
    insert("Author", {{"name", "Ana"}});
    save();
    failAtEachStep(1, [&] { EXPECT_EQ(authorsLeft(), QStringList{"Ana"}); });
}

TEST_F(SaveOnFaultyDisk, A_save_that_failed_does_not_come_true_once_the_store_was_used_on_a_disk_that_works) {
    insert("Author", {{"name", "Ana"}});
    save();
    failAtEachStep(100, [&] {
        EXPECT_EQ(fetch("Author").size(), 1u);
        EXPECT_EQ(authorsLeft(), QStringList{"Ana"});
    });
}
