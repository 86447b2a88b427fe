#include "store/StoreFixture.h"

#include "platform/QWClock.h"

// When changes are reported, in which sets, and with which changed keys.

using ChangeNotice = StoreTest;

TEST_F(ChangeNotice, Changes_of_one_turn_are_reported_once_at_its_end) {
    NoticeLog log(*context);
    insert("Author");
    insert("Author");
    EXPECT_TRUE(log.notices.empty());
    world.runLoop->runDue();
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].inserted.size(), 2u);
}

TEST_F(ChangeNotice, A_private_queue_context_reports_only_when_it_is_asked_or_saved) {
    auto quiet = makeContext(QWConcurrencyType::PrivateQueue);
    NoticeLog log(*quiet);
    insertIn(*quiet, "Author");
    world.runLoop->runDue();
    EXPECT_TRUE(log.notices.empty());
    save(*quiet);
    EXPECT_EQ(log.notices.size(), 1u);
}

TEST_F(ChangeNotice, Fetching_and_counting_report_nothing) {
    insert("Author");
    NoticeLog log(*context);
    fetch("Author");
    context->count(QWFetchRequest("Author"));
    EXPECT_TRUE(log.notices.empty());
}

TEST_F(ChangeNotice, Nothing_is_reported_when_nothing_changed) {
    NoticeLog log(*context);
    context->processPendingChanges();
    EXPECT_TRUE(log.notices.empty());
}

TEST_F(ChangeNotice, An_insertion_that_is_edited_in_the_same_event_is_inserted_only) {
    NoticeLog log(*context);
    Ref author = insert("Author");
    author->setValueForKey("name", "Ana");
    context->processPendingChanges();
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].inserted.size(), 1u);
    EXPECT_TRUE(log.notices[0].updated.empty());
    EXPECT_EQ(log.keys[0], QStringList{"name"});
}

TEST_F(ChangeNotice, An_insertion_that_is_deleted_in_the_same_event_is_reported_nowhere) {
    NoticeLog log(*context);
    Ref author = insert("Author");
    context->deleteObject(*author);
    context->processPendingChanges();
    EXPECT_TRUE(log.notices.empty());
    EXPECT_FALSE(context->hasChanges());
    EXPECT_EQ(author->managedObjectContext(), nullptr);
}

TEST_F(ChangeNotice, Deleting_an_unsaved_insertion_that_was_reported_reports_the_deletion_but_saves_none) {
    Ref author = insert("Author", {{"name", "Ana"}});
    context->processPendingChanges();
    NoticeLog log(*context);
    QWManagedObjectSet saved;
    const QWObservation didSave =
        context->observeDidSave([&](const QWDidSaveNotice& notice) { saved = notice.deleted; });
    context->deleteObject(*author);
    insert("Author");
    save();
    ASSERT_EQ(log.notices.size(), 1u);
    ASSERT_EQ(log.notices[0].deleted.size(), 1u);
    EXPECT_EQ(log.notices[0].deleted[0], author);
    EXPECT_TRUE(saved.empty());
    EXPECT_EQ(author->valueForKey("name"), "Ana");
}

TEST_F(ChangeNotice, An_unsaved_insertion_that_is_edited_in_a_later_event_is_updated) {
    Ref author = insert("Author");
    context->processPendingChanges();
    NoticeLog log(*context);
    author->setValueForKey("name", "Ana");
    context->processPendingChanges();
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].updated.size(), 1u);
    EXPECT_EQ(log.keys[0], QStringList{"name"});
}

TEST_F(ChangeNotice, An_edited_and_deleted_record_is_deleted_and_keeps_the_keys_edited_in_that_event) {
    Ref author = insert("Author");
    save();
    NoticeLog log(*context);
    author->setValueForKey("name", "Ana");
    context->deleteObject(*author);
    context->processPendingChanges();
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_TRUE(log.notices[0].updated.empty());
    EXPECT_EQ(log.notices[0].deleted.size(), 1u);
    EXPECT_EQ(log.keys[0], QStringList{"name"});
}

TEST_F(ChangeNotice, Storing_an_equal_value_reports_the_record_as_updated_without_that_key) {
    Ref author = insert("Author", {{"name", "Ana"}});
    save();
    NoticeLog log(*context);
    author->setValueForKey("name", "Ana");
    context->processPendingChanges();
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].updated.size(), 1u);
    EXPECT_EQ(log.keys[0], QStringList{""});
    EXPECT_TRUE(context->hasChanges());
}

TEST_F(ChangeNotice, A_value_set_back_within_the_event_drops_out_of_the_changed_keys) {
    Ref author = insert("Author", {{"name", "Ana"}, {"code", "a"}});
    save();
    NoticeLog log(*context);
    author->setValueForKey("name", "Eve");
    author->setValueForKey("code", "b");
    author->setValueForKey("name", "Ana");
    context->processPendingChanges();
    EXPECT_EQ(log.keys.at(0), QStringList{"code"});
}

TEST_F(ChangeNotice, Each_event_starts_with_no_changed_keys_while_changed_values_last_until_the_save) {
    Ref author = insert("Author");
    save();
    author->setValueForKey("name", "Ana");
    context->processPendingChanges();
    EXPECT_TRUE(author->changedKeysForCurrentEvent().isEmpty());
    author->setValueForKey("code", "a");
    EXPECT_EQ(author->changedKeysForCurrentEvent(), QStringList{"code"});
    EXPECT_EQ(author->changedValues().keys(), (QStringList{"code", "name"}));
    EXPECT_FALSE(author->committedValueForKey("name").isValid());
    save();
    EXPECT_TRUE(author->changedValues().isEmpty());
}

TEST_F(ChangeNotice, What_an_observer_changes_is_reported_by_a_notice_of_its_own) {
    Ref author = insert("Author");
    save();
    std::vector<QStringList> keys;
    const QWObservation observation =
        context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice& notice) {
            ASSERT_EQ(notice.updated.size(), 1u);
            if (keys.empty())
                notice.updated[0]->setValueForKey("code", "stamped");
            keys.push_back(notice.updated[0]->changedKeysForCurrentEvent());
        });
    author->setValueForKey("name", "Ana");
    context->processPendingChanges();
    ASSERT_EQ(keys.size(), 2u);
    EXPECT_EQ(keys[0], QStringList{"name"}) << "the key set during the notice belongs to the next one";
    EXPECT_EQ(keys[1], QStringList{"code"});
}

TEST_F(ChangeNotice, What_an_observer_sets_on_an_insertion_is_not_a_key_of_the_insertion) {
    std::vector<QStringList> keys;
    const QWObservation observation =
        context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice& notice) {
            for (const auto* set : {&notice.inserted, &notice.updated})
                for (const auto& record : *set) {
                    if (keys.empty())
                        record->setValueForKey("code", "stamped");
                    keys.push_back(record->changedKeysForCurrentEvent());
                }
        });
    insert("Author", {{"name", "Ana"}});
    context->processPendingChanges();
    ASSERT_EQ(keys.size(), 2u);
    EXPECT_EQ(keys[0], QStringList{"name"});
    EXPECT_EQ(keys[1], QStringList{"code"});
}

TEST_F(ChangeNotice, Notices_never_nest) {
    Ref author = insert("Author");
    int depth = 0, deepest = 0, count = 0;
    const QWObservation observation = context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice&) {
        deepest = std::max(deepest, ++depth);
        if (++count == 1) {
            author->setValueForKey("name", "Ana");
            context->processPendingChanges();
        }
        --depth;
    });
    context->processPendingChanges();
    EXPECT_EQ(deepest, 1);
    EXPECT_EQ(count, 2);
}

TEST_F(ChangeNotice, A_stamp_set_by_an_observer_is_saved_with_the_edit_that_caused_it) {
    Ref author = insert("Author");
    save();
    const QWObservation observation =
        context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice& notice) {
            for (const auto& record : notice.updated)
                if (record->changedKeysForCurrentEvent() != QStringList{"code"})
                    record->setValueForKey("code", "stamped");
        });
    author->setValueForKey("name", "Ana");
    save();
    auto other = makeContext();
    EXPECT_EQ(names(fetchIn(*other, "Author"), "code"), QStringList{"stamped"});
}

TEST_F(ChangeNotice, A_save_gives_up_when_observers_change_records_for_ever) {
    Ref author = insert("Author");
    const QWObservation observation = context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice&) {
        author->setValueForKey("code", author->valueForKey("code").toString() + "x");
    });
    QWError error;
    EXPECT_FALSE(context->save(&error));
    EXPECT_TRUE(error.isError());
    EXPECT_TRUE(context->hasChanges());
}

TEST_F(ChangeNotice, Deleted_records_can_be_read_during_the_notice_and_after_the_save) {
    Ref author = insert("Author", {{"name", "Ana"}});
    save();
    QString seen;
    const QWObservation observation =
        context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice& notice) {
            seen = notice.deleted.at(0)->valueForKey("name").toString();
        });
    context->deleteObject(*author);
    EXPECT_TRUE(author->isDeleted());
    save();
    EXPECT_EQ(seen, "Ana");
    EXPECT_FALSE(author->isDeleted());
    EXPECT_EQ(author->managedObjectContext(), nullptr);
    EXPECT_EQ(author->valueForKey("name"), "Ana");
    EXPECT_TRUE(author->setValueForKey("name", "Eve")) << "a setter on a record that has gone does nothing";
    EXPECT_EQ(author->valueForKey("name"), "Ana");
}

TEST_F(ChangeNotice, An_edit_of_a_deleted_record_is_not_reported) {
    Ref author = insert("Author");
    save();
    context->deleteObject(*author);
    context->processPendingChanges();
    NoticeLog log(*context);
    author->setValueForKey("name", "Ana");
    context->processPendingChanges();
    EXPECT_TRUE(log.notices.empty());
    EXPECT_EQ(author->valueForKey("name"), "Ana");
}

TEST_F(ChangeNotice, Primitive_setters_are_no_change) {
    Ref author = insert("Author");
    save();
    NoticeLog log(*context);
    author->setPrimitiveValueForKey("name", "Ana");
    context->processPendingChanges();
    EXPECT_TRUE(log.notices.empty());
    EXPECT_FALSE(context->hasChanges());
    EXPECT_EQ(author->valueForKey("name"), "Ana");
}

TEST_F(ChangeNotice, A_primitive_change_that_is_announced_counts) {
    Ref author = insert("Author");
    save();
    author->willChangeValueForKey("name");
    author->setPrimitiveValueForKey("name", "Ana");
    author->didChangeValueForKey("name");
    EXPECT_EQ(author->changedKeysForCurrentEvent(), QStringList{"name"});
    EXPECT_TRUE(context->hasChanges());
}

TEST_F(ChangeNotice, Announcing_a_key_outside_the_model_neither_marks_the_record_nor_enters_its_keys) {
    Ref author = insert("Author");
    save();
    int told = 0;
    const QWObservation observation = author->observeKey(
        "shownName", [&](QWManagedObject&, const QString&, QWManagedObject::Phase) { ++told; });
    author->willChangeValueForKey("shownName");
    author->didChangeValueForKey("shownName");
    EXPECT_EQ(told, 2);
    EXPECT_FALSE(context->hasChanges());
    EXPECT_TRUE(author->changedKeysForCurrentEvent().isEmpty());
}

TEST_F(ChangeNotice, Key_observers_are_told_before_and_after_each_set_with_the_values_of_that_moment) {
    Ref author = insert("Author", {{"name", "Ana"}});
    QStringList seen;
    {
        const QWObservation observation = author->observeKey(
            "name", [&](QWManagedObject& record, const QString& key, QWManagedObject::Phase phase) {
                seen << (phase == QWManagedObject::Phase::WillChange ? "will " : "did ")
                            + record.valueForKey(key).toString();
            });
        author->setValueForKey("name", "Eve");
        author->setValueForKey("name", "Eve");
        author->setValueForKey("code", "x");
    }
    author->setValueForKey("name", "Ida");
    EXPECT_EQ(seen, (QStringList{"will Ana", "did Eve", "will Eve", "did Eve"}));
}

TEST_F(ChangeNotice, The_insertion_hook_runs_once_and_its_ordinary_setters_are_changed_keys) {
    NoticeLog log(*context);
    Ref record = insert("Hooked");
    context->processPendingChanges();
    EXPECT_EQ(log.keys.at(0), QStringList{"name"}) << "what primitives set is the insertion's baseline";
    save();
    const QWManagedObjectID id = record->objectID();
    record.reset();
    auto other = makeContext();
    Ref fetched = fetchIn(*other, "Hooked").at(0);
    EXPECT_EQ(fetched->objectID(), id);
    EXPECT_EQ(static_cast<HookedRecord&>(*fetched).awakenings, 0);
    EXPECT_EQ(fetched->valueForKey("note"), "primitive");
}

TEST_F(ChangeNotice, Refreshing_reports_clean_records_as_refreshed_without_keys) {
    Ref author = insert("Author", {{"name", "Ana"}});
    save();
    NoticeLog log(*context);
    author->setValueForKey("name", "Eve");
    context->refreshObject(*author, false);
    context->processPendingChanges();
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].refreshed.size(), 1u);
    EXPECT_EQ(log.keys[0], QStringList{""});
    EXPECT_FALSE(context->hasChanges());
    EXPECT_EQ(author->valueForKey("name"), "Ana");
}

TEST_F(ChangeNotice, Refreshing_a_fault_does_nothing) {
    const QWManagedObjectID id = insert("Author")->objectID();
    save();
    Ref fault = context->objectWithID(id);
    NoticeLog log(*context);
    context->refreshObject(*fault, true);
    context->refreshObject(*fault, false);
    context->processPendingChanges();
    EXPECT_TRUE(log.notices.empty());
    EXPECT_TRUE(fault->isFault());
}

TEST_F(ChangeNotice, Refreshing_a_record_whose_deletion_is_reported_leaves_it_readable) {
    Ref unsaved = insert("Author", {{"name", "Ana"}});
    context->processPendingChanges();
    const QWObservation observation =
        context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice& notice) {
            for (bool merging : {false, true})
                context->refreshObject(const_cast<QWManagedObject&>(*notice.deleted.at(0)), merging);
            EXPECT_EQ(notice.deleted.at(0)->valueForKey("name"), "Ana");
        });
    context->deleteObject(*unsaved);
    context->processPendingChanges();
    EXPECT_EQ(unsaved->valueForKey("name"), "Ana");
}

TEST_F(ChangeNotice, Rolling_back_keeps_the_report_of_clean_records_that_were_refreshed) {
    Ref refreshed = insert("Author"), changed = insert("Author");
    save();
    NoticeLog log(*context);
    context->refreshObject(*refreshed, true);
    changed->setValueForKey("name", "Ana");
    context->rollback();
    context->processPendingChanges();
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].refreshed, (QWManagedObjectSet{refreshed, changed}));
}

TEST_F(ChangeNotice, Refreshing_with_merging_keeps_own_changes_and_stays_updated) {
    Ref author = insert("Author", {{"name", "Ana"}, {"code", "a"}});
    save();
    auto other = makeContext();
    fetchIn(*other, "Author").at(0)->setValueForKey("code", "b");
    save(*other);
    author->setValueForKey("name", "Eve");
    context->processPendingChanges();
    NoticeLog log(*context);
    context->refreshObject(*author, true);
    context->processPendingChanges();
    EXPECT_EQ(author->valueForKey("name"), "Eve");
    EXPECT_EQ(author->valueForKey("code"), "b");
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].updated.size(), 1u);
    EXPECT_TRUE(context->save());
}

TEST_F(ChangeNotice, Rolling_back_restores_saved_values_forgets_insertions_and_names_what_was_discarded) {
    Ref kept = insert("Author", {{"name", "Ana"}});
    Ref doomed = insert("Author", {{"name", "Eve"}});
    save();
    kept->setValueForKey("name", "changed");
    context->deleteObject(*doomed);
    Ref fresh = insert("Author", {{"name", "new"}});
    QWManagedObjectSet discarded;
    const QWObservation observation =
        context->observeDidDiscard([&](const QWManagedObjectSet& records) { discarded = records; });
    context->rollback();
    EXPECT_EQ(discarded, (QWManagedObjectSet{kept, doomed, fresh}));
    EXPECT_FALSE(context->hasChanges());
    EXPECT_EQ(kept->valueForKey("name"), "Ana");
    EXPECT_FALSE(doomed->isDeleted());
    EXPECT_EQ(fresh->managedObjectContext(), nullptr);
    EXPECT_EQ(names(fetch("Author"), "name"), (QStringList{"Ana", "Eve"}));
    NoticeLog log(*context);
    context->processPendingChanges();
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].refreshed.size(), 2u);
    EXPECT_TRUE(log.notices[0].inserted.empty());
}
