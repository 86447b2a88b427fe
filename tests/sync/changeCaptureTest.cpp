#include "support/EngineTest.h"

namespace {

struct ChangeCapture : EngineTest {
    std::vector<QString> asked; // uuids that the delegate was asked about

    ChangeCapture() {
        desktop.wantsUpdate = [this](QWManagedObjectWithSyncSupport& object) {
            asked.push_back(object.uuid());
            return true;
        };
    }
    // A saved book that nothing waits for, an hour ago.
    Record savedBook() {
        const auto book = desktop.add("Book", {{"title", "T"}});
        saveAndTurn();
        forgetQueue();
        asked.clear();
        pass(3600);
        return book;
    }
    void passWithoutTurn(std::chrono::milliseconds time) {
        auto& clock = *desktop.world.clock;
        clock.setOffset(clock.offset() + time);
    }
    qint64 waiting() { return engine().numberOfObjectsWaitingSync(); }
};

} // namespace

TEST_F(ChangeCapture, An_inserted_object_is_stamped_and_queued_without_asking_the_delegate) {
    const auto book = desktop.add("Book");
    saveAndTurn();
    ASSERT_TRUE(desktop.row(*book));
    EXPECT_EQ(desktop.row(*book)->action(), QWDropboxSyncActionInsertOrUpdate);
    EXPECT_EQ(desktop.row(*book)->objectEntityName(), "Book");
    EXPECT_EQ(desktop.row(*book)->objectCouldHaveAnImage(), true);
    EXPECT_EQ(book->dateModified(), desktop.now());
    EXPECT_FALSE(book->doNotUpdateDateModifiedDuringNextSave());
    EXPECT_TRUE(asked.empty());

    const auto author = desktop.add("Author");
    saveAndTurn();
    EXPECT_EQ(desktop.row(*author)->objectCouldHaveAnImage(), false);
}

TEST_F(ChangeCapture, The_queue_is_saved_with_the_edit_while_nobody_is_signed_in) {
    const auto book = desktop.add("Book");
    saveAndTurn();
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusDisabled);
    desktop.crash();
    desktop.start();
    EXPECT_EQ(waiting(), 1);
}

TEST_F(ChangeCapture, An_updated_object_is_stamped_and_queued_when_the_delegate_agrees) {
    const auto book = savedBook();
    book->setValueForKey("title", "New");
    saveAndTurn();
    EXPECT_EQ(asked, std::vector{book->uuid()}) << "the stamp itself is not asked about";
    EXPECT_TRUE(desktop.row(*book));
    EXPECT_EQ(book->dateModified(), desktop.now());
    EXPECT_FALSE(desktop.context->hasChanges()) << "the stamp is saved with the edit";
}

TEST_F(ChangeCapture, An_updated_object_is_neither_stamped_nor_queued_when_the_delegate_refuses) {
    desktop.wantsUpdate = [](auto&) { return false; };
    const auto book = savedBook();
    const auto date = book->dateModified();
    book->setValueForKey("title", "New");
    saveAndTurn();
    EXPECT_FALSE(desktop.row(*book));
    EXPECT_EQ(book->dateModified(), date);
}

TEST_F(ChangeCapture, Without_a_delegate_updates_are_never_queued_but_insertions_and_deletions_are) {
    const auto book = savedBook();
    engine().setDelegate(nullptr, nullptr);
    book->setValueForKey("title", "New");
    saveAndTurn();
    EXPECT_EQ(waiting(), 0);
    desktop.add("Author");
    desktop.context->deleteObject(*book);
    saveAndTurn();
    EXPECT_EQ(waiting(), 2);
}

TEST_F(ChangeCapture, An_equal_value_counts_as_an_update) {
    const auto book = savedBook();
    book->setValueForKey("title", "T");
    saveAndTurn();
    EXPECT_EQ(asked.size(), 1u);
    EXPECT_TRUE(desktop.row(*book));
}

TEST_F(ChangeCapture, A_refreshed_object_without_changed_keys_is_queued_when_the_delegate_agrees) {
    const auto book = savedBook();
    desktop.context->refreshObject(*book, true);
    saveAndTurn();
    EXPECT_EQ(asked, std::vector{book->uuid()});
    EXPECT_TRUE(desktop.row(*book));
    EXPECT_EQ(book->dateModified(), desktop.now());
}

TEST_F(ChangeCapture, A_deleted_object_is_queued_for_deletion_with_its_uuid) {
    const auto book = savedBook();
    const QString uuid = book->uuid();
    desktop.context->deleteObject(*book);
    saveAndTurn();
    const auto rows = QWFetchCacheRecords<ObjectWaitingSync>(*engine().dropboxCacheManagedObjectContext(),
                                                             QWFetchRequest(QWDBEntityNameObjectWaitingSync));
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0]->objectUUID(), uuid);
    EXPECT_EQ(rows[0]->action(), QWDropboxSyncActionDelete);
    EXPECT_EQ(rows[0]->objectCouldHaveAnImage(), true);
    EXPECT_TRUE(asked.empty());
}

// Not the date of the deletion, with which the object is stamped, and not that of a version that a batch has found.
TEST_F(ChangeCapture, The_row_of_a_deletion_bears_the_date_of_the_version_that_was_deleted) {
    const auto book = savedBook();
    const QDateTime date = book->dateModified();
    desktop.context->deleteObject(*book);
    saveAndTurn();
    EXPECT_EQ(desktop.row(*book)->deletedVersionDate(), date);
    const auto received = QWManagedObjectWithSyncSupport::fetchObjectWithUUID(
        book->uuid(), "Book", *engine().syncSupportManagedObjectContextCopy(), true);
    received->setDateModified(date.addSecs(-5));
    ASSERT_NE(received->dateModified(), date);
    engine().insertInSyncQueueManagedObject(*received, QWDropboxSyncActionDelete);
    EXPECT_EQ(desktop.row(*book)->deletedVersionDate(), date);
}

TEST_F(ChangeCapture, A_later_change_overrides_the_action_of_an_earlier_one) {
    const auto book = savedBook();
    book->setValueForKey("title", "New");
    desktop.context->processPendingChanges();
    const auto row = desktop.row(*book);
    EXPECT_EQ(row->action(), QWDropboxSyncActionInsertOrUpdate);
    desktop.context->deleteObject(*book);
    saveAndTurn();
    EXPECT_EQ(row->action(), QWDropboxSyncActionDelete);
    EXPECT_EQ(waiting(), 1);
}

TEST_F(ChangeCapture, An_object_without_a_uuid_is_never_queued) {
    const auto book = desktop.add("Book");
    book->setUuid("");
    saveAndTurn();
    EXPECT_EQ(waiting(), 0);
}

TEST_F(ChangeCapture, An_object_whose_uuid_can_name_no_file_is_logged_and_not_queued) {
    const auto book = desktop.add("Book");
    book->setUuid("../../x");
    const QWLogCapture log;
    saveAndTurn();
    EXPECT_EQ(waiting(), 0);
    EXPECT_EQ(log.texts("qwlibrary.sync").size(), 1);
}

TEST_F(ChangeCapture, A_date_set_explicitly_survives_exactly_one_pass) {
    const auto book = savedBook();
    const QDateTime date(QDate(2000, 1, 1), QTime(0, 0), Qt::UTC);
    book->setValueForKey("title", "New");
    book->setDateModified(date);
    saveAndTurn();
    EXPECT_EQ(book->dateModified(), date);
    EXPECT_FALSE(book->doNotUpdateDateModifiedDuringNextSave());
    EXPECT_TRUE(desktop.row(*book));

    book->setValueForKey("title", "Newer");
    saveAndTurn();
    EXPECT_EQ(book->dateModified(), desktop.now());
}

TEST_F(ChangeCapture, The_flag_is_lowered_when_the_object_is_not_queued_too) {
    desktop.wantsUpdate = [](auto&) { return false; };
    const auto book = savedBook();
    book->setValueForKey("title", "New");
    book->setDateModified(desktop.now());
    saveAndTurn();
    EXPECT_FALSE(desktop.row(*book));
    EXPECT_FALSE(book->doNotUpdateDateModifiedDuringNextSave());
}

TEST_F(ChangeCapture, A_date_alone_is_not_queued) {
    const auto author = desktop.add("Author");
    saveAndTurn();
    forgetQueue();
    pass(1);
    author->setDateModified(desktop.now());
    saveAndTurn();
    EXPECT_EQ(waiting(), 0);
    EXPECT_TRUE(asked.empty());
}

TEST_F(ChangeCapture, A_date_alone_is_queued_for_a_new_image_unless_the_object_waits_already) {
    const auto book = savedBook();
    desktop.setImage(*book, "cover");
    saveAndTurn();
    EXPECT_TRUE(desktop.row(*book));
    EXPECT_EQ(asked.size(), 1u);

    asked.clear();
    pass(1);
    desktop.setImage(*book, "cover again");
    saveAndTurn();
    EXPECT_TRUE(asked.empty()) << "its row sends the image that stands there then";
}

TEST_F(ChangeCapture, Objects_that_are_no_synced_records_are_ignored) {
    desktop.context->insertObject("Sticker");
    saveAndTurn();
    EXPECT_EQ(waiting(), 0);
}

TEST_F(ChangeCapture, A_synced_record_of_an_entity_that_is_not_listed_is_queued) {
    desktop.add("BookAuthor");
    saveAndTurn();
    EXPECT_EQ(waiting(), 1);
}

TEST_F(ChangeCapture, Both_ends_of_a_new_relationship_are_queued) {
    const auto author = desktop.add("Author");
    const auto book = savedBook();
    forgetQueue();
    book->setRelatedObject("author", author.data());
    saveAndTurn();
    EXPECT_TRUE(desktop.row(*book));
    EXPECT_TRUE(desktop.row(*author));
}

TEST_F(ChangeCapture, The_sets_of_one_notice_are_stamped_with_one_date) {
    const auto refreshed = savedBook(), updated = savedBook();
    const QDateTime date = desktop.now();
    desktop.wantsUpdate = [this](auto&) {
        passWithoutTurn(std::chrono::seconds(1));
        return true;
    };
    desktop.context->refreshObject(*refreshed, true);
    updated->setValueForKey("title", "New");
    desktop.context->processPendingChanges();
    EXPECT_EQ(refreshed->dateModified(), date);
    EXPECT_EQ(updated->dateModified(), date);
}

TEST_F(ChangeCapture, The_sets_are_queued_in_the_order_inserted_refreshed_updated_deleted) {
    const auto deleted = savedBook(), updated = savedBook(), refreshed = savedBook();
    const QString deletedUuid = deleted->uuid();
    desktop.context->deleteObject(*deleted);
    updated->setValueForKey("title", "New");
    desktop.context->refreshObject(*refreshed, true);
    const auto inserted = desktop.add("Book");
    desktop.context->processPendingChanges();

    QStringList queued;
    for (const auto& row : QWFetchCacheRecords<ObjectWaitingSync>(
             *engine().dropboxCacheManagedObjectContext(), QWFetchRequest(QWDBEntityNameObjectWaitingSync)))
        queued.append(row->objectUUID());
    EXPECT_EQ(queued, QStringList({inserted->uuid(), refreshed->uuid(), updated->uuid(), deletedUuid}));
}

TEST_F(ChangeCapture, Uploads_start_on_a_later_turn_than_the_edit) {
    activateIdle();
    desktop.add("Author");
    desktop.save();
    EXPECT_EQ(client->log(), QStringList());
    turn();
    EXPECT_EQ(client->count(QWRestRequest::Upload), 1);
}

TEST_F(ChangeCapture, An_update_after_a_deletion_overrides_it) {
    const auto book = savedBook();
    engine().insertInSyncQueueManagedObject(*book, QWDropboxSyncActionDelete);
    engine().insertInSyncQueueManagedObject(*book, QWDropboxSyncActionInsertOrUpdate);
    EXPECT_EQ(desktop.row(*book)->action(), QWDropboxSyncActionInsertOrUpdate);
    EXPECT_EQ(waiting(), 1);
}

TEST_F(ChangeCapture, A_row_belongs_to_the_object_of_exactly_its_uuid) {
    const auto book = desktop.add("Book");
    book->setUuid("lower");
    saveAndTurn();
    ASSERT_TRUE(desktop.row(*book));
    book->setUuid("LOWER");
    EXPECT_FALSE(desktop.row(*book));
}

// What the stamp brings about -------------------------------------------------------------------------------

TEST_F(ChangeCapture, A_second_edit_at_the_same_instant_is_captured_once) {
    const auto book = savedBook();
    for (const char* title : {"New", "Newer"}) {
        asked.clear();
        book->setValueForKey("title", title);
        desktop.context->processPendingChanges();
        ASSERT_EQ(asked.size(), 1u);
    }
    EXPECT_EQ(book->dateModified(), desktop.now());
    saveAndTurn();
    EXPECT_EQ(asked.size(), 1u);
}

TEST_F(ChangeCapture, A_refreshed_object_that_bears_the_date_already_stays_clean) {
    const auto book = savedBook();
    desktop.context->refreshObject(*book, true);
    saveAndTurn();
    asked.clear();
    desktop.context->refreshObject(*book, true);
    desktop.context->processPendingChanges();
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_FALSE(book->hasChanges());
}

TEST_F(ChangeCapture, An_object_that_can_have_no_row_is_not_stamped_for_its_image_again_and_again) {
    desktop.wantsUpdate = [this](QWManagedObjectWithSyncSupport& object) {
        asked.push_back(object.uuid());
        passWithoutTurn(std::chrono::milliseconds(1));
        return true;
    };
    const auto book = savedBook();
    book->setUuid("");
    desktop.setImage(*book, "cover");
    book->setValueForKey("title", "New");
    desktop.context->processPendingChanges();
    asked.clear();
    book->setValueForKey("title", "Newer");
    desktop.context->processPendingChanges();
    EXPECT_EQ(asked.size(), 1u);
    EXPECT_EQ(waiting(), 0);
}
