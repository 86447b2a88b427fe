#include "store/StoreFixture.h"

#include "store/QWStoreError.h"
#include "support/AssertionProbe.h"

// Identity, values and fetching over saved and pending records.

using Context = StoreTest;

TEST_F(Context, One_identity_has_one_live_record) {
    Ref author = insert("Author", {{"name", "Ana"}});
    save();
    EXPECT_EQ(fetch("Author").at(0), author);
    EXPECT_EQ(context->objectWithID(author->objectID()), author);
}

TEST_F(Context, Clean_records_are_held_weakly_and_changed_ones_until_they_are_saved) {
    const QWManagedObjectID id = insert("Author", {{"name", "Ana"}})->objectID();
    EXPECT_NE(context->registeredObject(id), Ref());
    save();
    EXPECT_EQ(context->registeredObject(id), Ref());
    Ref again = context->objectWithID(id);
    EXPECT_TRUE(again->isFault());
    EXPECT_EQ(again->valueForKey("name"), "Ana");
    EXPECT_FALSE(again->isFault());
}

TEST_F(Context, Fields_outside_the_model_live_as_long_as_the_record_is_held) {
    Ref record = insert("Hooked");
    const QWManagedObjectID id = record->objectID();
    static_cast<HookedRecord&>(*record).awakenings = 7;
    save();
    context->refreshObject(*record, false);
    context->processPendingChanges();
    EXPECT_EQ(static_cast<HookedRecord&>(*fetch("Hooked").at(0)).awakenings, 7);
    record.reset();
    EXPECT_EQ(static_cast<HookedRecord&>(*fetch("Hooked").at(0)).awakenings, 0);
    EXPECT_EQ(context->registeredObject(id), Ref());
}

TEST_F(Context, Identities_never_change_from_insertion_on) {
    Ref author = insert("Author");
    const QWManagedObjectID before = author->objectID();
    save();
    EXPECT_EQ(author->objectID(), before);
    EXPECT_LT(before.key, insert("Author")->objectID().key);
}

TEST_F(Context, A_fetch_leaves_realised_values_alone_although_the_store_has_others) {
    Ref author = insert("Author", {{"name", "Ana"}});
    save();
    auto other = makeContext();
    fetchIn(*other, "Author").at(0)->setValueForKey("name", "Eve");
    save(*other);
    EXPECT_EQ(fetch("Author", "name == \"Eve\"").at(0)->valueForKey("name"), "Ana");
    context->refreshObject(*author, true);
    EXPECT_EQ(author->valueForKey("name"), "Eve");
}

TEST_F(Context, Nobody_sees_a_change_before_it_is_saved) {
    insert("Author");
    auto other = makeContext();
    EXPECT_TRUE(fetchIn(*other, "Author").empty());
    EXPECT_EQ(other->count(QWFetchRequest("Author")), 0);
    save();
    EXPECT_EQ(fetchIn(*other, "Author").size(), 1u);
}

TEST_F(Context, A_fetch_judges_changed_records_by_memory) {
    Ref ana = insert("Author", {{"name", "Ana"}}), eve = insert("Author", {{"name", "Eve"}}),
        ida = insert("Author", {{"name", "Ida"}});
    save();
    ana->setValueForKey("name", "Zoe");
    context->deleteObject(*ida);
    Ref uma = insert("Author", {{"name", "Uma"}});
    EXPECT_EQ(names(fetch("Author"), "name"), (QStringList{"Zoe", "Eve", "Uma"}));
    EXPECT_TRUE(fetch("Author", "name == \"Ana\"").empty());
    EXPECT_EQ(fetch("Author", "name == \"Zoe\"").at(0), ana);
    EXPECT_EQ(context->count(QWFetchRequest("Author")), 3);
    EXPECT_EQ(context->count(QWFetchRequest("Author", *QWPredicate::parse("name > \"F\""))), 2);

    QWFetchRequest saved("Author");
    saved.includesPendingChanges = false;
    EXPECT_EQ(context->fetch(saved)->size(), 3u);
    EXPECT_EQ(context->count(saved), 3);
}

TEST_F(Context, The_limit_applies_after_pending_deletions_are_left_out) {
    for (int i = 0; i < 10; ++i)
        insert("Book", {{"pages", i}});
    save();
    const QWManagedObjectSet books = fetch("Book");
    for (size_t i = 0; i < 5; ++i)
        context->deleteObject(*books[i]);
    QWFetchRequest request("Book");
    request.limit = 3;
    EXPECT_EQ(names(*context->fetch(request), "pages"), (QStringList{"5", "6", "7"}));
    request.offset = 4;
    EXPECT_EQ(names(*context->fetch(request), "pages"), QStringList{"9"});
    request.offset = 9;
    EXPECT_TRUE(context->fetch(request)->empty());
}

TEST_F(Context, Sorting_joins_saved_and_pending_records_with_missing_values_first) {
    insert("Book", {{"title", "b"}, {"pages", 2}});
    insert("Book", {{"title", "d"}, {"pages", 2}});
    save();
    insert("Book", {{"title", "c"}, {"pages", 1}});
    insert("Book", {{"pages", QVariant()}});
    QWFetchRequest request("Book");
    request.sortDescriptors = {{"pages", true}, {"title", false}};
    EXPECT_EQ(names(*context->fetch(request), "title"), (QStringList{"", "c", "d", "b"}));
    request.sortDescriptors = {{"title", false}};
    EXPECT_EQ(names(*context->fetch(request), "title"), (QStringList{"d", "c", "b", ""}));
}

TEST_F(Context, The_users_own_order_is_the_same_for_saved_and_pending_texts) {
    const QStringList expected{"_a", "-a", "1", "item 10", "item 2", "resume", "Résumé", "Zebra"};
    for (const char* title : {"Zebra", "item 2", "resume", "_a"})
        insert("Book", {{"title", title}});
    save();
    for (const char* title : {"Résumé", "item 10", "-a", "1"})
        insert("Book", {{"title", title}});
    QWFetchRequest request("Book");
    request.sortDescriptors = {{"title", true, QWSortDescriptor::Comparison::LocalizedCaseInsensitive}};
    EXPECT_EQ(names(*context->fetch(request), "title"), expected);
    save();
    auto other = makeContext();
    EXPECT_EQ(names(*other->fetch(request), "title"), expected);
}

TEST_F(Context, A_parents_name_fetches_and_counts_its_children_unless_told_otherwise) {
    insert("Book", {{"title", "plain"}});
    Ref novel = insert("Novel", {{"title", "novel"}, {"genre", "crime"}});
    save();
    insert("Novel", {{"title", "second"}});
    EXPECT_EQ(names(fetch("Book"), "title"), (QStringList{"plain", "novel", "second"}));
    EXPECT_EQ(names(fetch("Novel"), "title"), (QStringList{"novel", "second"}));
    EXPECT_EQ(context->count(QWFetchRequest("Book")), 3);
    QWFetchRequest strict("Book");
    strict.includesSubentities = false;
    EXPECT_EQ(names(*context->fetch(strict), "title"), QStringList{"plain"});
    EXPECT_EQ(context->count(strict), 1);
    EXPECT_EQ(novel->entity().name(), "Novel");

    auto other = makeContext();
    Ref chapter = insertIn(*other, "Chapter");
    chapter->setRelatedObject("book", fetchIn(*other, "Novel").at(0).data());
    save(*other);
    auto third = makeContext();
    EXPECT_EQ(fetchIn(*third, "Chapter").at(0)->relatedObject("book")->entity().name(), "Novel");
}

TEST_F(Context, Pending_records_are_found_by_an_indexed_value_while_it_changes) {
    Ref author = insert("Author", {{"code", "ABC"}});
    EXPECT_EQ(fetch("Author", "code ==[c] \"abc\"").at(0), author);
    author->setValueForKey("code", "Xyz");
    EXPECT_TRUE(fetch("Author", "code ==[c] \"abc\"").empty());
    EXPECT_EQ(fetch("Author", "code ==[c] \"XYZ\"").at(0), author);
    EXPECT_TRUE(fetch("Author", "code == \"xyz\"").empty());
    EXPECT_EQ(fetch("Author", "code == \"Xyz\"").size(), 1u);
    context->deleteObject(*author);
    EXPECT_TRUE(fetch("Author", "code ==[c] \"xyz\"").empty());
    insert("Author", {{"code", "xyZ"}});
    EXPECT_EQ(fetch("Author", "code ==[c] \"xyz\"").size(), 1u);
}

TEST_F(Context, A_record_that_was_refreshed_and_changed_again_is_found_by_its_indexed_value) {
    Ref author = insert("Author", {{"code", "ABC"}});
    save();
    insert("Author");
    author->setValueForKey("name", "Ana");
    context->refreshObject(*author, false);
    EXPECT_EQ(fetch("Author", "code ==[c] \"abc\"").size(), 1u);
    author->setValueForKey("name", "Eve");
    EXPECT_EQ(fetch("Author", "code ==[c] \"abc\""), QWManagedObjectSet{author});
}

TEST_F(Context, A_pending_record_is_found_by_the_indexed_value_that_a_refresh_or_a_primitive_gave_it) {
    Ref author = insert("Author", {{"code", "ABC"}});
    save();
    author->setValueForKey("name", "Ana");
    EXPECT_EQ(fetch("Author", "code ==[c] \"abc\"").size(), 1u);
    auto other = makeContext();
    fetchIn(*other, "Author").at(0)->setValueForKey("code", "DEF");
    save(*other);
    context->refreshObject(*author, true);
    EXPECT_EQ(fetch("Author", "code ==[c] \"def\""), QWManagedObjectSet{author});
    author->setPrimitiveValueForKey("code", "GHI");
    EXPECT_EQ(fetch("Author", "code ==[c] \"ghi\""), QWManagedObjectSet{author});
}

TEST_F(Context, A_record_can_be_excluded_by_identity_saved_or_not) {
    Ref saved = insert("Author");
    save();
    Ref pending = insert("Author");
    const auto without = [&](const Ref& record) {
        return *context->fetch(QWFetchRequest("Author", QWPredicate::selfIn({record->objectID()}).negated()));
    };
    EXPECT_EQ(without(saved), QWManagedObjectSet{pending});
    EXPECT_EQ(without(pending), QWManagedObjectSet{saved});
}

TEST_F(Context, Distinct_values_are_exact_ordered_and_saved_ones_only) {
    for (const char* code : {"b", "a", "A", "b"})
        insert("Author", {{"code", code}});
    insert("Author");
    save();
    insert("Author", {{"code", "pending"}});
    EXPECT_EQ(context->distinctValues(QWFetchRequest("Author"), "code"), (QVariantList{"A", "a", "b"}));
}

// Errors ----------------------------------------------------------------------------------------------------

TEST_F(Context, A_value_of_the_wrong_type_is_refused_with_entity_key_expected_and_given_and_the_value_stays) {
    Ref book = insert("Book", {{"pages", 12}});
    QWError error;
    EXPECT_FALSE(book->setValueForKey("pages", "many", &error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::WrongType));
    EXPECT_EQ(error.userInfo["entity"], "Book");
    EXPECT_EQ(error.userInfo["key"], "pages");
    EXPECT_TRUE(error.message.contains("Book.pages"));
    EXPECT_EQ(book->valueForKey("pages"), 12);
    EXPECT_FALSE(book->setValueForKey("pages", 1.5));
    EXPECT_TRUE(book->setValueForKey("pages", 13.0)) << "a number that fits exactly is the same number";
    EXPECT_EQ(book->valueForKey("pages").typeId(), QMetaType::LongLong);
}

TEST_F(Context, Unknown_entities_and_keys_are_errors_that_name_them) {
    QWError error;
    EXPECT_FALSE(context->fetch(QWFetchRequest("Bookauthor"), &error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::UnknownEntity));
    EXPECT_TRUE(error.message.contains("Bookauthor"));
    EXPECT_FALSE(context->count(QWFetchRequest("Bookauthor"), &error));
    EXPECT_FALSE(context->fetch(QWFetchRequest("Book", *QWPredicate::parse("weight > 1")), &error));
    EXPECT_EQ(error.userInfo["key"], "weight");
    QWFetchRequest sorted("Book");
    sorted.sortDescriptors = {{"weight", true}};
    EXPECT_FALSE(context->fetch(sorted, &error));
    insert("Book");
    EXPECT_FALSE(context->fetch(sorted, &error)) << "with pending records just the same";
    EXPECT_EQ(failedAssertion([&] { context->insertObject("Bookauthor"); }), "entity");
    EXPECT_FALSE(insert("Book")->setValueForKey("weight", 1, &error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::UnknownKey));
}

TEST_F(Context, A_missing_required_value_fails_the_save_and_everything_stays_pending) {
    Ref tag = insert("Tag");
    insert("Author");
    QWError error;
    EXPECT_FALSE(context->save(&error));
    EXPECT_EQ(error.code, 1570);
    EXPECT_EQ(error.userInfo["key"], "name");
    EXPECT_TRUE(context->hasChanges());
    EXPECT_EQ(context->insertedObjects().size(), 2u);
    auto other = makeContext();
    EXPECT_TRUE(fetchIn(*other, "Author").empty());
    insert("Tag");
    EXPECT_FALSE(context->save(&error));
    EXPECT_EQ(error.code, 1560);
    EXPECT_EQ(error.userInfo["errors"].toList().size(), 2);
    for (const auto& record : fetch("Tag"))
        record->setValueForKey("name", "red");
    save();
    EXPECT_EQ(tag->valueForKey("name"), "red");
}

TEST_F(Context, Saving_without_changes_is_a_success_that_reports_nothing) {
    int saves = 0;
    const QWObservation observation = context->observeDidSave([&](const QWDidSaveNotice&) { ++saves; });
    EXPECT_TRUE(context->save());
    EXPECT_EQ(saves, 0);
}

TEST_F(Context, A_save_reports_what_it_wrote_after_the_commit_and_clears_every_mark) {
    Ref updated = insert("Author"), deleted = insert("Author");
    save();
    updated->setValueForKey("name", "Ana");
    context->deleteObject(*deleted);
    Ref inserted = insert("Author");
    auto other = makeContext();
    QWDidSaveNotice seen;
    size_t visible = 0;
    const QWObservation observation = context->observeDidSave([&](const QWDidSaveNotice& notice) {
        seen = notice;
        visible = fetchIn(*other, "Author").size();
    });
    save();
    EXPECT_EQ(seen.inserted, QWManagedObjectSet{inserted});
    EXPECT_EQ(seen.updated, QWManagedObjectSet{updated});
    EXPECT_EQ(seen.deleted, QWManagedObjectSet{deleted});
    EXPECT_EQ(visible, 2u);
    EXPECT_FALSE(context->hasChanges() || inserted->isInserted() || updated->isUpdated()
                 || deleted->isDeleted());
}

TEST_F(Context, A_context_without_a_store_fetches_nothing_and_cannot_save) {
    coordinator = std::make_shared<QWPersistentStoreCoordinator>(libraryModel(), world.environment());
    auto homeless = makeContext();
    QWError error;
    EXPECT_FALSE(homeless->fetch(QWFetchRequest("Author"), &error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::NoStore));
    insertIn(*homeless, "Author");
    EXPECT_FALSE(homeless->save(&error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::NoStore));
    EXPECT_TRUE(homeless->hasChanges());
}

TEST_F(Context, Records_outlive_their_context_with_their_values) {
    Ref author = insert("Author", {{"name", "Ana"}});
    save();
    context.reset();
    EXPECT_EQ(author->managedObjectContext(), nullptr);
    EXPECT_EQ(author->valueForKey("name"), "Ana");
    author->setValueForKey("name", "Eve");
    EXPECT_EQ(author->valueForKey("name"), "Ana");
}

TEST_F(Context, A_fault_that_outlives_its_context_has_no_values_and_fits_no_comparison) {
    const QWManagedObjectID id = insert("Author", {{"name", "Ana"}})->objectID();
    save();
    Ref fault = context->objectWithID(id);
    context.reset();
    EXPECT_FALSE(fault->valueForKey("name").isValid());
    EXPECT_FALSE(QWPredicate::parse("name == \"Ana\"")->evaluate(*fault));
    EXPECT_TRUE(QWPredicate::parse("name == nil")->evaluate(*fault));
}

TEST_F(Context, Editors_are_asked_to_commit_until_one_refuses) {
    EXPECT_TRUE(context->commitEditing());
    int asked = 0;
    const QWObservation willing = context->registerEditor([&] { return ++asked > 0; });
    EXPECT_TRUE(context->commitEditing());
    {
        const QWObservation refusing = context->registerEditor([] { return false; });
        EXPECT_FALSE(context->commitEditing());
    }
    EXPECT_TRUE(context->commitEditing());
    EXPECT_EQ(asked, 3);
}

TEST_F(Context, Every_type_of_value_comes_back_as_it_was) {
    const QDateTime date(QDate(2013, 5, 4), QTime(16, 22, 10, 123), Qt::UTC);
    const QVariantMap values{{"title", QString::fromUtf8("Ein Stück \xF0\x9F\x8C\x8D")},
                             {"pages", qlonglong(9007199254740993)},
                             {"price", 0.1},
                             {"read", true},
                             {"added", date},
                             {"cover", QByteArray("\0\xFF", 2)}};
    insert("Book", values);
    save();
    auto other = makeContext();
    Ref book = fetchIn(*other, "Book").at(0);
    for (auto value = values.begin(); value != values.end(); ++value)
        EXPECT_EQ(book->valueForKey(value.key()), value.value()) << value.key().toStdString();
    Ref bare = insertIn(*other, "Book");
    EXPECT_EQ(bare->valueForKey("pages"), 0) << "the declared default";
    EXPECT_FALSE(bare->valueForKey("title").isValid());
}
