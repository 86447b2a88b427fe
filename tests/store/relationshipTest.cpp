#include "store/StoreFixture.h"

#include "support/AssertionProbe.h"

// Both ends of every relationship move together, are reported together and survive a save.

using Relationship = StoreTest;

TEST_F(Relationship, Setting_a_to_one_end_adds_the_record_to_the_other_end_at_once) {
    Ref author = insert("Author"), book = insert("Book", {{"title", "One"}});
    book->setRelatedObject("author", author.data());
    EXPECT_EQ(names(author->relatedObjects("books"), "title"), QStringList{"One"});
    EXPECT_EQ(book->relatedObject("author"), author);
}

TEST_F(Relationship, Setting_a_to_many_end_sets_the_other_end_and_takes_members_from_their_former_owner) {
    Ref ana = insert("Author"), eve = insert("Author"), book = insert("Book");
    ana->addRelatedObject("books", *book);
    eve->setRelatedObjects("books", {book});
    EXPECT_EQ(book->relatedObject("author"), eve);
    EXPECT_TRUE(ana->relatedObjects("books").isEmpty());
}

TEST_F(Relationship, Both_ends_are_reported_as_updated_each_with_its_own_key) {
    Ref author = insert("Author"), book = insert("Book");
    save();
    NoticeLog log(*context);
    book->setRelatedObject("author", author.data());
    context->processPendingChanges();
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].updated.size(), 2u);
    EXPECT_EQ(log.keys[0], (QStringList{"author", "books"}));
}

TEST_F(Relationship, Key_observers_of_the_far_end_are_told) {
    Ref author = insert("Author"), book = insert("Book");
    QStringList told;
    const auto note = [&](QWManagedObject&, const QString& key, QWManagedObject::Phase) { told << key; };
    const QWObservation one = author->observeKey("books", note), other = book->observeKey("author", note);
    book->setRelatedObject("author", author.data());
    EXPECT_EQ(told.count("books"), 2);
    EXPECT_EQ(told.count("author"), 2);
    author->setRelatedObjects("books", {});
    EXPECT_EQ(told.count("books"), 4);
    EXPECT_EQ(told.count("author"), 4);
}

TEST_F(Relationship, An_equal_set_marks_the_owner_and_touches_no_far_end) {
    Ref author = insert("Author"), book = insert("Book");
    author->setRelatedObjects("books", {book});
    save();
    NoticeLog log(*context);
    author->setRelatedObjects("books", {book});
    context->processPendingChanges();
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].updated, QWManagedObjectSet{author});
    EXPECT_EQ(log.keys[0], QStringList{""});
}

TEST_F(Relationship, A_one_to_one_end_leaves_its_former_partner) {
    Ref ana = insert("Author"), eve = insert("Author"), ida = insert("Author");
    ana->setRelatedObject("spouse", eve.data());
    EXPECT_EQ(eve->relatedObject("spouse"), ana);
    ida->setRelatedObject("spouse", eve.data());
    EXPECT_EQ(eve->relatedObject("spouse"), ida);
    EXPECT_EQ(ana->relatedObject("spouse"), Ref());
}

TEST_F(Relationship, All_three_kinds_survive_a_save) {
    Ref author = insert("Author", {{"name", "Ana"}}), book = insert("Book", {{"title", "One"}});
    Ref a = insert("Chapter", {{"heading", "a"}}), b = insert("Chapter", {{"heading", "b"}});
    Ref red = insert("Tag", {{"name", "red"}}), blue = insert("Tag", {{"name", "blue"}});
    book->setRelatedObject("author", author.data());
    book->setRelatedObjects("chapters", {b, a});
    book->setRelatedObjects("tags", {red, blue});
    save();
    auto other = makeContext();
    Ref again = fetchIn(*other, "Book").at(0);
    EXPECT_EQ(again->relatedObject("author")->valueForKey("name"), "Ana");
    EXPECT_EQ(names(again->relatedObjects("chapters"), "heading"), (QStringList{"b", "a"}));
    QStringList tags = names(again->relatedObjects("tags"), "name");
    tags.sort();
    EXPECT_EQ(tags, (QStringList{"blue", "red"}));
    EXPECT_EQ(names(fetchIn(*other, "Tag", "name == \"red\"").at(0)->relatedObjects("books"), "title"),
              QStringList{"One"});
}

TEST_F(Relationship, Members_that_are_not_loaded_yet_join_saved_and_pending_links) {
    Ref author = insert("Author");
    Ref kept = insert("Book", {{"title", "kept"}}), gone = insert("Book", {{"title", "gone"}});
    author->setRelatedObjects("books", {kept, gone});
    save();
    auto other = makeContext();
    QWManagedObjectSet books = fetchIn(*other, "Book");
    Ref fresh = insertIn(*other, "Book", {{"title", "fresh"}});
    Ref owner = fetchIn(*other, "Author").at(0);
    fresh->setRelatedObject("author", owner.data());
    books.at(1)->setRelatedObject("author", nullptr);
    EXPECT_EQ(names(owner->relatedObjects("books"), "title"), (QStringList{"kept", "fresh"}));
    save(*other);
    auto third = makeContext();
    EXPECT_EQ(names(fetchIn(*third, "Author").at(0)->relatedObjects("books"), "title"),
              (QStringList{"kept", "fresh"}));
}

TEST_F(Relationship, An_unordered_set_given_to_an_ordered_relationship_keeps_survivors_in_place) {
    Ref book = insert("Book");
    Ref a = insert("Chapter", {{"heading", "a"}}), b = insert("Chapter", {{"heading", "b"}}),
        c = insert("Chapter", {{"heading", "c"}});
    book->setRelatedObjects("chapters", {c, a});
    book->setUnorderedRelatedObjects("chapters", {a, b, c});
    EXPECT_EQ(names(book->relatedObjects("chapters"), "heading"), (QStringList{"c", "a", "b"}));
}

TEST_F(Relationship, A_new_order_alone_is_a_change_and_is_saved) {
    Ref book = insert("Book");
    Ref a = insert("Chapter", {{"heading", "a"}}), b = insert("Chapter", {{"heading", "b"}});
    book->setRelatedObjects("chapters", {a, b});
    save();
    book->setRelatedObjects("chapters", {b, a});
    EXPECT_EQ(book->changedKeysForCurrentEvent(), QStringList{"chapters"});
    save();
    auto other = makeContext();
    EXPECT_EQ(names(fetchIn(*other, "Book").at(0)->relatedObjects("chapters"), "heading"),
              (QStringList{"b", "a"}));
}

TEST_F(Relationship, Values_by_key_are_records_and_lists_of_records) {
    Ref author = insert("Author"), book = insert("Book");
    EXPECT_TRUE(book->setValueForKey("author", QVariant::fromValue(author)));
    EXPECT_EQ(book->valueForKey("author").value<Ref>(), author);
    EXPECT_EQ(author->valueForKey("books").value<QList<Ref>>(), QList<Ref>{book});
    EXPECT_TRUE(author->setValueForKey("books", QVariant::fromValue(QList<Ref>())));
    EXPECT_FALSE(book->valueForKey("author").isValid());
}

TEST_F(Relationship, A_record_of_another_entity_or_context_is_refused_and_the_value_stays) {
    Ref author = insert("Author"), book = insert("Book"), tag = insert("Tag", {{"name", "red"}});
    book->setRelatedObject("author", author.data());
    save();
    auto other = makeContext();
    Ref stranger = fetchIn(*other, "Author").at(0);
    QWError error;
    EXPECT_FALSE(book->setValueForKey("author", QVariant::fromValue(tag), &error));
    EXPECT_EQ(error.userInfo["key"], "author");
    EXPECT_FALSE(book->setValueForKey("author", QVariant::fromValue(stranger)));
    EXPECT_FALSE(book->setValueForKey("author", "Ana"));
    EXPECT_EQ(book->relatedObject("author"), author);
}

TEST_F(Relationship, Linking_a_record_of_another_entity_or_context_is_a_programming_error) {
    Ref author = insert("Author"), book = insert("Book"), tag = insert("Tag", {{"name", "red"}});
    save();
    auto other = makeContext();
    Ref stranger = fetchIn(*other, "Book").at(0), owner = fetchIn(*other, "Author").at(0);
    const auto refuses = [](const std::function<void()>& link) {
        EXPECT_EQ(failedAssertion(link), "destination of the relationship's entity in the same context");
    };
    refuses([&] { author->addRelatedObject("books", *stranger); });
    refuses([&] { author->setRelatedObjects("books", {stranger}); });
    refuses([&] { author->setUnorderedRelatedObjects("books", {tag}); });
    refuses([&] { book->setRelatedObject("author", owner.data()); });
    refuses([&] { book->setRelatedObject("author", tag.data()); });
    EXPECT_TRUE(author->relatedObjects("books").isEmpty());
    EXPECT_FALSE(context->hasChanges());
}

// Delete rules ----------------------------------------------------------------------------------------------

TEST_F(Relationship, Nullified_neighbours_join_the_updated_records_of_the_deletions_notice) {
    Ref author = insert("Author"), book = insert("Book");
    book->setRelatedObject("author", author.data());
    save();
    NoticeLog log(*context);
    context->deleteObject(*author);
    context->processPendingChanges();
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].deleted, QWManagedObjectSet{author});
    EXPECT_EQ(log.notices[0].updated, QWManagedObjectSet{book});
    EXPECT_EQ(log.keys[0], (QStringList{"author", ""}));
    EXPECT_EQ(book->relatedObject("author"), Ref());
    save();
    EXPECT_TRUE(fetch("Author").empty());
}

TEST_F(Relationship, Cascaded_records_are_deleted_in_the_same_notice_and_fetched_until_then) {
    Ref book = insert("Book"), chapter = insert("Chapter");
    chapter->setRelatedObject("book", book.data());
    save();
    NoticeLog log(*context);
    context->deleteObject(*book);
    EXPECT_EQ(fetch("Chapter").size(), 1u);
    context->processPendingChanges();
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0].deleted, (QWManagedObjectSet{book, chapter}));
    EXPECT_TRUE(fetch("Chapter").empty());
}

TEST_F(Relationship, What_moved_to_another_record_after_the_deletion_is_spared_by_its_rules) {
    Ref author = insert("Author"), heir = insert("Author"), book = insert("Book"), sequel = insert("Book"),
        chapter = insert("Chapter");
    book->setRelatedObject("author", author.data());
    chapter->setRelatedObject("book", book.data());
    save();
    context->deleteObject(*author);
    book->setRelatedObject("author", heir.data());
    context->processPendingChanges();
    EXPECT_EQ(book->relatedObject("author"), heir);
    context->deleteObject(*book);
    chapter->setRelatedObject("book", sequel.data());
    save();
    EXPECT_FALSE(chapter->isDeleted());
    EXPECT_EQ(fetch("Chapter"), QWManagedObjectSet{chapter});
    EXPECT_EQ(sequel->relatedObjects("chapters"), QList<Ref>{chapter});
}

TEST_F(Relationship, A_denied_deletion_fails_the_save_with_the_platforms_code_until_the_last_member_goes) {
    Ref shelf = insert("Shelf"), book = insert("Book");
    book->setRelatedObject("shelf", shelf.data());
    save();
    context->deleteObject(*shelf);
    QWError error;
    EXPECT_FALSE(context->save(&error));
    EXPECT_EQ(error.code, 1600);
    EXPECT_EQ(error.userInfo["key"], "books");
    EXPECT_TRUE(context->hasChanges());
    context->deleteObject(*book);
    save();
    EXPECT_TRUE(fetch("Shelf").empty());
}

TEST_F(Relationship, A_denied_deletion_is_saved_when_the_members_have_moved_since) {
    Ref shelf = insert("Shelf"), other = insert("Shelf"), book = insert("Book"), loose = insert("Book");
    shelf->setRelatedObjects("books", {book, loose});
    save();
    context->deleteObject(*shelf);
    context->processPendingChanges();
    book->setRelatedObject("shelf", other.data());
    EXPECT_FALSE(context->save());
    loose->setRelatedObject("shelf", nullptr);
    save();
    EXPECT_EQ(fetch("Shelf"), QWManagedObjectSet{other});
    EXPECT_EQ(other->relatedObjects("books"), QList<Ref>{book});
}

TEST_F(Relationship, Removing_one_record_breaks_its_many_to_many_links_only) {
    Ref one = insert("Book", {{"title", "One"}}), two = insert("Book", {{"title", "Two"}});
    Ref tag = insert("Tag", {{"name", "red"}});
    tag->setRelatedObjects("books", {one, two});
    save();
    context->deleteObject(*one);
    save();
    auto other = makeContext();
    EXPECT_EQ(names(fetchIn(*other, "Tag").at(0)->relatedObjects("books"), "title"), QStringList{"Two"});
}

TEST_F(Relationship, Records_that_point_at_each_other_are_freed_when_nobody_holds_them) {
    Ref author = insert("Author"), book = insert("Book");
    book->setRelatedObject("author", author.data());
    author->relatedObjects("books");
    save();
    const QWManagedObjectID authorID = author->objectID(), bookID = book->objectID();
    author.reset();
    book.reset();
    EXPECT_EQ(context->registeredObject(authorID), Ref());
    EXPECT_EQ(context->registeredObject(bookID), Ref());
}

TEST_F(Relationship, Twenty_thousand_members_come_and_go_one_by_one) {
    Ref author = insert("Author");
    QWManagedObjectSet books;
    author->relatedObjects("books");
    for (int i = 0; i < 20000; ++i) {
        books.push_back(context->insertObject("Book"));
        books.back()->setRelatedObject("author", author.data());
    }
    EXPECT_EQ(author->relatedObjects("books").size(), 20000);
    for (const auto& book : books)
        book->setRelatedObject("author", nullptr);
    EXPECT_TRUE(author->relatedObjects("books").isEmpty());
}
