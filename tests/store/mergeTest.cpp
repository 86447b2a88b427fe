#include "store/StoreFixture.h"

#include "store/QWStoreError.h"

// Two contexts on one store: conflicts at a save, and taking over each other's saves.

class TwoContexts : public StoreTest {
protected:
    void SetUp() override {
        StoreTest::SetUp();
        ana = insert("Author", {{"name", "Ana"}, {"code", "a"}});
        save();
        other = makeContext();
        merging = other->observeDidSave([this](const QWDidSaveNotice& notice) {
            if (merges)
                context->mergeChangesFromContextDidSave(notice);
        });
        others = fetchIn(*other, "Author").at(0);
    }
    Ref ana, others;
    std::shared_ptr<QWManagedObjectContext> other;
    QWObservation merging;
    bool merges = true;
};

TEST_F(TwoContexts, A_merge_reloads_live_clean_records_and_reports_them_as_refreshed_within_the_call) {
    NoticeLog log(*context);
    others->setValueForKey("name", "Eve");
    save(*other);
    EXPECT_EQ(ana->valueForKey("name"), "Eve");
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].refreshed, QWManagedObjectSet{ana});
    EXPECT_EQ(log.keys[0], QStringList{""});
    EXPECT_FALSE(context->hasChanges());
}

TEST_F(TwoContexts, A_merge_leaves_faults_alone_and_their_next_access_reads_the_new_row) {
    const QWManagedObjectID id = ana->objectID();
    ana.reset();
    Ref fault = context->objectWithID(id);
    NoticeLog log(*context);
    others->setValueForKey("name", "Eve");
    save(*other);
    EXPECT_TRUE(log.notices.empty());
    EXPECT_EQ(fault->valueForKey("name"), "Eve");
}

TEST_F(TwoContexts, A_merged_insertion_is_reported_as_inserted_without_the_insertion_hook) {
    NoticeLog log(*context);
    const QWManagedObjectID id = insertIn(*other, "Hooked")->objectID();
    save(*other);
    ASSERT_EQ(log.notices.size(), 1u);
    ASSERT_EQ(log.notices[0].inserted.size(), 1u);
    const auto& record = log.notices[0].inserted[0];
    EXPECT_EQ(record->objectID(), id);
    EXPECT_EQ(static_cast<const HookedRecord&>(*record).awakenings, 0);
    EXPECT_FALSE(record->isInserted());
    EXPECT_FALSE(context->hasChanges());
}

TEST_F(TwoContexts, A_merge_keeps_keys_changed_here_takes_the_others_and_the_next_save_does_not_conflict) {
    ana->setValueForKey("name", "mine");
    context->processPendingChanges();
    NoticeLog log(*context);
    others->setValueForKey("name", "theirs");
    others->setValueForKey("code", "b");
    save(*other);
    EXPECT_EQ(ana->valueForKey("name"), "mine");
    EXPECT_EQ(ana->valueForKey("code"), "b");
    EXPECT_EQ(ana->committedValueForKey("name"), "theirs");
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].updated, QWManagedObjectSet{ana});
    save();
    merges = false;
    auto third = makeContext();
    EXPECT_EQ(names(fetchIn(*third, "Author"), "name"), QStringList{"mine"});
}

TEST_F(TwoContexts, A_key_that_was_set_here_to_what_it_was_takes_what_somebody_else_has_saved) {
    ana->setValueForKey("name", "Ana");
    others->setValueForKey("name", "Eve");
    save(*other);
    EXPECT_EQ(ana->valueForKey("name"), "Eve");
    save();
    EXPECT_EQ(fetchIn(*makeContext(), "Author").at(0)->valueForKey("name"), "Eve");
}

TEST_F(TwoContexts, A_merged_deletion_deletes_here_loses_edits_here_and_needs_no_save) {
    ana->setValueForKey("name", "mine");
    context->processPendingChanges();
    NoticeLog log(*context);
    QWManagedObjectSet discarded;
    const QWObservation observation =
        context->observeDidDiscard([&](const QWManagedObjectSet& records) { discarded = records; });
    bool readable = false;
    const QWObservation reading =
        context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice& notice) {
            readable = notice.deleted.at(0)->isDeleted() && notice.deleted.at(0)->valueForKey("code") == "a";
        });
    other->deleteObject(*others);
    save(*other);
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].deleted, QWManagedObjectSet{ana});
    EXPECT_TRUE(readable);
    EXPECT_EQ(discarded, QWManagedObjectSet{ana});
    EXPECT_FALSE(context->hasChanges());
    EXPECT_EQ(ana->managedObjectContext(), nullptr);
    EXPECT_TRUE(fetch("Author").empty());
}

TEST_F(TwoContexts, A_record_deleted_here_stays_deleted_over_a_merge_and_its_save_does_not_conflict) {
    context->deleteObject(*ana);
    others->setValueForKey("name", "Eve");
    save(*other);
    save();
    merges = false;
    auto third = makeContext();
    EXPECT_TRUE(fetchIn(*third, "Author").empty());
}

TEST_F(TwoContexts, An_unsaved_record_lets_go_of_a_record_whose_deletion_is_merged) {
    Ref book = insert("Book");
    book->setRelatedObject("author", ana.data());
    other->deleteObject(*others);
    save(*other);
    EXPECT_EQ(book->relatedObject("author"), Ref());
    save();
}

TEST_F(TwoContexts, A_reference_to_a_row_that_somebody_else_deleted_is_saved_as_no_value) {
    merges = false;
    Ref book = insert("Book", {{"title", "One"}});
    book->setRelatedObject("author", ana.data());
    other->deleteObject(*others);
    save(*other);
    context->setMergeFunction([](const QWSaveConflict&) { return QWMergeDecision::TakeStored; });
    save();
    auto third = makeContext();
    EXPECT_EQ(fetchIn(*third, "Book").at(0)->relatedObject("author"), Ref());
}

TEST_F(TwoContexts, Links_made_elsewhere_are_seen_after_the_merge) {
    EXPECT_TRUE(ana->relatedObjects("books").isEmpty());
    Ref book = insertIn(*other, "Book", {{"title", "One"}});
    book->setRelatedObject("author", others.data());
    save(*other);
    EXPECT_EQ(names(ana->relatedObjects("books"), "title"), QStringList{"One"});
}

TEST_F(TwoContexts, A_merge_takes_what_was_saved_and_not_what_was_changed_since) {
    merges = false;
    const QWObservation early = other->observeDidSave([&](const QWDidSaveNotice& notice) {
        others->setValueForKey("name", "unsaved");
        context->mergeChangesFromContextDidSave(notice);
    });
    others->setValueForKey("name", "saved");
    save(*other);
    EXPECT_EQ(ana->valueForKey("name"), "saved");
}

TEST_F(TwoContexts, A_merge_runs_no_setters_and_tells_no_key_observers) {
    QStringList told;
    const QWObservation observation = ana->observeKey(
        "name", [&](QWManagedObject&, const QString& key, QWManagedObject::Phase) { told << key; });
    others->setValueForKey("name", "Eve");
    save(*other);
    context->refreshObject(*ana, true);
    context->refreshObject(*ana, false);
    EXPECT_EQ(ana->valueForKey("name"), "Eve");
    EXPECT_TRUE(told.isEmpty());
}

TEST_F(TwoContexts, Nothing_of_a_merge_is_left_for_the_end_of_the_turn) {
    Ref book = insert("Book");
    context->processPendingChanges();
    others->setValueForKey("name", "Eve");
    insertIn(*other, "Author");
    save(*other);
    NoticeLog log(*context);
    world.runLoop->runDue();
    EXPECT_TRUE(log.notices.empty());
}

TEST_F(TwoContexts, A_merge_ignores_rows_that_nobody_holds_here) {
    const QWManagedObjectID id = ana->objectID();
    ana.reset();
    NoticeLog log(*context);
    others->setValueForKey("name", "Eve");
    save(*other);
    other->deleteObject(*others);
    save(*other);
    EXPECT_TRUE(log.notices.empty());
    EXPECT_EQ(context->registeredObject(id), Ref());
}

TEST_F(TwoContexts, A_merged_deletion_of_a_fault_is_reported_with_the_values_that_were_saved) {
    const QWManagedObjectID id = ana->objectID();
    ana.reset();
    Ref fault = context->objectWithID(id);
    other->deleteObject(*others);
    save(*other);
    EXPECT_EQ(fault->managedObjectContext(), nullptr);
    EXPECT_EQ(fault->valueForKey("name"), "Ana");
}

TEST_F(TwoContexts, A_record_with_changes_here_lets_go_of_a_merged_deletion_at_either_end) {
    Ref book = insertIn(*other, "Book"), partner = insertIn(*other, "Author");
    save(*other);
    Ref bookHere = context->objectWithID(book->objectID());
    bookHere->setRelatedObject("author", ana.data());
    ana->setRelatedObject("spouse", context->objectWithID(partner->objectID()).data());
    other->deleteObject(*book);
    other->deleteObject(*partner);
    save(*other);
    EXPECT_TRUE(ana->relatedObjects("books").isEmpty());
    EXPECT_FALSE(ana->valueForKey("spouse").isValid());
    save();
}

TEST_F(TwoContexts, A_merge_keeps_an_order_that_was_changed_here) {
    Ref book = insert("Book");
    QList<Ref> chapters;
    for (const char* heading : {"a", "b", "c"})
        chapters << insert("Chapter", {{"heading", heading}});
    book->setRelatedObjects("chapters", chapters);
    save();
    Ref theirs = fetchIn(*other, "Book").at(0);
    book->setRelatedObjects("chapters", {chapters[2], chapters[0], chapters[1]});
    theirs->addRelatedObject("chapters", *insertIn(*other, "Chapter", {{"heading", "d"}}));
    theirs->removeRelatedObject("chapters", *theirs->relatedObjects("chapters").at(1));
    save(*other);
    EXPECT_EQ(names(book->relatedObjects("chapters"), "heading"), (QStringList{"c", "a", "d"}));
    save();
    merges = false;
    auto third = makeContext();
    EXPECT_EQ(names(fetchIn(*third, "Book").at(0)->relatedObjects("chapters"), "heading"),
              (QStringList{"c", "a", "d"}));
}

// Conflicts -------------------------------------------------------------------------------------------------

TEST_F(TwoContexts, Without_a_merge_function_a_conflict_fails_the_whole_save_and_lists_the_records) {
    merges = false;
    others->setValueForKey("name", "theirs");
    save(*other);
    ana->setValueForKey("name", "mine");
    insert("Book");
    QWError error;
    EXPECT_FALSE(context->save(&error));
    EXPECT_EQ(error.code, 133020);
    ASSERT_EQ(error.userInfo["conflicts"].toList().size(), 1);
    EXPECT_EQ(error.userInfo["conflicts"].toList()[0].value<QWManagedObjectID>(), ana->objectID());
    EXPECT_TRUE(ana->isUpdated());
    auto third = makeContext();
    EXPECT_EQ(names(fetchIn(*third, "Author"), "name"), QStringList{"theirs"});
    EXPECT_TRUE(fetchIn(*third, "Book").empty());
}

TEST_F(TwoContexts, A_version_that_is_kept_replaces_the_stored_one_with_every_key) {
    merges = false;
    others->setValueForKey("code", "theirs");
    save(*other);
    ana->setValueForKey("name", "mine");
    QWSaveConflict seen;
    context->setMergeFunction([&](const QWSaveConflict& conflict) {
        seen = conflict;
        return QWMergeDecision::KeepLocal;
    });
    save();
    EXPECT_EQ(seen.record, ana);
    EXPECT_EQ(seen.storedValues["code"], "theirs");
    EXPECT_FALSE(seen.deletedInStore || seen.deletedHere);
    auto third = makeContext();
    Ref stored = fetchIn(*third, "Author").at(0);
    EXPECT_EQ(stored->valueForKey("name"), "mine");
    EXPECT_EQ(stored->valueForKey("code"), "a") << "never a mixture of the two versions";
    ana->setValueForKey("name", "again");
    context->setMergeFunction({});
    save();
}

TEST_F(TwoContexts, A_version_that_is_kept_replaces_the_links_that_it_knows) {
    merges = false;
    Ref book = insert("Book"), red = insert("Tag", {{"name", "red"}}),
        blue = insert("Tag", {{"name", "blue"}});
    book->setRelatedObjects("tags", {red});
    save();
    Ref theirs = fetchIn(*other, "Book").at(0);
    theirs->setRelatedObjects("tags", {other->objectWithID(blue->objectID())});
    save(*other);
    book->setValueForKey("title", "mine");
    context->setMergeFunction([](const QWSaveConflict&) { return QWMergeDecision::KeepLocal; });
    save();
    auto third = makeContext();
    EXPECT_EQ(names(fetchIn(*third, "Book").at(0)->relatedObjects("tags"), "name"), QStringList{"red"});
    other->deleteObject(*theirs);
    other->setMergeFunction([](const QWSaveConflict&) { return QWMergeDecision::KeepLocal; });
    save(*other);
    book->setValueForKey("title", "mine again");
    save();
    auto fourth = makeContext();
    EXPECT_EQ(names(fetchIn(*fourth, "Book").at(0)->relatedObjects("tags"), "name"), QStringList{"red"});
}

TEST_F(TwoContexts, A_deletion_that_a_save_gives_way_to_is_reported_although_the_rest_is_rolled_back) {
    merges = false;
    other->deleteObject(*others);
    save(*other);
    ana->setValueForKey("name", "mine");
    context->setMergeFunction([](const QWSaveConflict&) { return QWMergeDecision::TakeStored; });
    save();
    insert("Book");
    NoticeLog log(*context);
    context->rollback();
    context->processPendingChanges();
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].deleted, QWManagedObjectSet{ana});
    EXPECT_EQ(ana->managedObjectContext(), nullptr);
}

TEST_F(TwoContexts, A_version_that_gives_way_takes_the_stored_one_and_drops_its_own_changes) {
    merges = false;
    others->setValueForKey("name", "theirs");
    save(*other);
    ana->setValueForKey("name", "mine");
    Ref book = insert("Book");
    context->setMergeFunction([](const QWSaveConflict&) { return QWMergeDecision::TakeStored; });
    QWManagedObjectSet discarded;
    const QWObservation observation =
        context->observeDidDiscard([&](const QWManagedObjectSet& records) { discarded = records; });
    QWDidSaveNotice saved;
    const QWObservation saving =
        context->observeDidSave([&](const QWDidSaveNotice& notice) { saved = notice; });
    save();
    EXPECT_EQ(ana->valueForKey("name"), "theirs");
    EXPECT_EQ(discarded, QWManagedObjectSet{ana});
    EXPECT_TRUE(saved.updated.empty());
    EXPECT_EQ(saved.inserted, QWManagedObjectSet{book});
    EXPECT_FALSE(context->hasChanges());
}

TEST_F(TwoContexts, A_record_deleted_elsewhere_is_written_again_or_given_up_as_the_merge_function_says) {
    merges = false;
    other->deleteObject(*others);
    save(*other);
    ana->setValueForKey("name", "mine");
    context->setMergeFunction([](const QWSaveConflict& conflict) {
        EXPECT_TRUE(conflict.deletedInStore);
        EXPECT_TRUE(conflict.storedValues.isEmpty());
        return QWMergeDecision::KeepLocal;
    });
    save();
    auto third = makeContext();
    Ref stored = fetchIn(*third, "Author").at(0);
    EXPECT_EQ(stored->valueForKey("code"), "a");
    third->deleteObject(*stored);
    save(*third);

    ana->setValueForKey("name", "mine again");
    context->setMergeFunction([](const QWSaveConflict&) { return QWMergeDecision::TakeStored; });
    save();
    context->processPendingChanges();
    EXPECT_EQ(ana->managedObjectContext(), nullptr);
    EXPECT_TRUE(fetch("Author").empty());
}

TEST_F(TwoContexts, A_deletion_of_a_record_saved_elsewhere_conflicts_too) {
    merges = false;
    others->setValueForKey("name", "theirs");
    save(*other);
    context->deleteObject(*ana);
    EXPECT_FALSE(context->save());
    context->setMergeFunction([](const QWSaveConflict& conflict) {
        EXPECT_TRUE(conflict.deletedHere);
        return QWMergeDecision::TakeStored;
    });
    save();
    EXPECT_FALSE(ana->isDeleted());
    EXPECT_EQ(ana->valueForKey("name"), "theirs");
    others->setValueForKey("name", "more");
    save(*other);
    context->deleteObject(*ana);
    context->setMergeFunction([](const QWSaveConflict&) { return QWMergeDecision::KeepLocal; });
    save();
    EXPECT_TRUE(fetch("Author").empty());
}

TEST_F(TwoContexts, Deleting_a_record_that_is_gone_already_is_no_conflict) {
    merges = false;
    other->deleteObject(*others);
    save(*other);
    context->deleteObject(*ana);
    save();
    EXPECT_EQ(context->count(QWFetchRequest("Author")), 0);
}

TEST_F(TwoContexts, A_failed_save_leaves_a_conflict_a_conflict) {
    merges = false;
    others->setValueForKey("name", "theirs");
    save(*other);
    ana->setValueForKey("name", "mine");
    Ref tag = insert("Tag");
    context->setMergeFunction([](const QWSaveConflict&) { return QWMergeDecision::KeepLocal; });
    EXPECT_FALSE(context->save());
    tag->setValueForKey("name", "red");
    context->setMergeFunction({});
    QWError error;
    EXPECT_FALSE(context->save(&error));
    EXPECT_EQ(error.code, 133020);
}
