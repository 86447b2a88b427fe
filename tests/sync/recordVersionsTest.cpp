#include "sync/QWRecordVersions_p.h"

#include "testing/QWVirtualWorld.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

// Two versions of a record: which one wins, and how the other one gives way.

namespace {

using namespace qw::sync;
using Ref = QWRef<QWManagedObject>;

QDateTime date(qint64 milliseconds) {
    return QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC);
}

// Authors write books, books bear tags, which they take along when they are deleted.
struct RecordVersions : testing::Test {
    RecordVersions() {
        const auto model = std::make_shared<QWManagedObjectModel>();
        auto& author = model->addEntity("Author");
        author.addAttribute("name", QWAttributeType::String);
        author.addToMany("books", "Book").setInverse("author");
        auto& book = model->addEntity("Book");
        book.addAttribute("title", QWAttributeType::String);
        book.addToOne("author", "Author").setInverse("books");
        book.addToMany("tags", "Tag").setInverse("books").setDeleteRule(QWDeleteRule::Cascade);
        model->addEntity("Tag").addToMany("books", "Book").setInverse("tags");
        model->addEntity("Note").addToOne("subject", "Author").setOptional(false);
        coordinator = std::make_shared<QWPersistentStoreCoordinator>(model, world.environment());
        EXPECT_TRUE(coordinator->addStore(folder.filePath("store.sqlite")));
        context = std::make_shared<QWManagedObjectContext>(coordinator);
    }

    Ref add(const QString& entity) { return context->insertObject(entity); }
    void save() { EXPECT_TRUE(context->save()); }
    // As another process does.
    void elsewhere(const std::function<void(QWManagedObjectContext&)>& change) {
        QWManagedObjectContext other(coordinator);
        change(other);
        EXPECT_TRUE(other.save());
    }

    QWVirtualWorld world;
    QTemporaryDir folder;
    std::shared_ptr<QWPersistentStoreCoordinator> coordinator;
    std::shared_ptr<QWManagedObjectContext> context;
};

} // namespace

TEST_F(RecordVersions, The_later_date_wins_a_tie_is_the_hosts_and_none_is_the_earliest) {
    EXPECT_TRUE(receivedVersionWins(date(2000), date(1999)));
    EXPECT_FALSE(receivedVersionWins(date(1999), date(2000)));
    EXPECT_FALSE(receivedVersionWins(date(2000), date(2000)));
    EXPECT_TRUE(receivedVersionWins(date(-5000), {}));
    EXPECT_FALSE(receivedVersionWins({}, date(-5000)));
    EXPECT_FALSE(receivedVersionWins({}, {}));
}

TEST_F(RecordVersions, Seconds_are_cut_downwards_before_1970_as_well) {
    EXPECT_EQ(wholeSeconds(date(1999)), 1);
    EXPECT_EQ(wholeSeconds(date(1000)), 1);
    EXPECT_EQ(wholeSeconds(date(-1)), -1);
    EXPECT_EQ(wholeSeconds(date(-1000)), -1);
    EXPECT_EQ(wholeSeconds(date(-1001)), -2);
}

TEST_F(RecordVersions, What_a_record_holds_itself_are_its_insertion_its_deletion_its_values_and_its_links) {
    const Ref author = add("Author"), book = add("Book"), tag = add("Tag"), other = add("Tag");
    EXPECT_TRUE(holdsOwnChanges(*tag)) << "inserted";
    save();
    EXPECT_FALSE(holdsOwnChanges(*author));
    book->setRelatedObject("author", author.data());
    EXPECT_TRUE(holdsOwnChanges(*book));
    EXPECT_FALSE(holdsOwnChanges(*author)) << "only the book says so";
    save();
    book->setRelatedObjects("tags", {tag});
    EXPECT_TRUE(holdsOwnChanges(*book));
    EXPECT_TRUE(holdsOwnChanges(*tag)) << "both say so";
    save();
    context->deleteObject(*other);
    EXPECT_TRUE(holdsOwnChanges(*other));
}

TEST_F(RecordVersions, A_record_that_is_discarded_follows_the_store_in_what_nobody_here_has_changed) {
    const Ref author = add("Author"), moved = add("Book"), gained = add("Book");
    moved->setRelatedObject("author", author.data());
    save();
    ASSERT_EQ(author->relatedObjects("books").size(), 1);
    elsewhere([&](QWManagedObjectContext& other) {
        other.objectWithID(moved->objectID())->setRelatedObject("author", nullptr);
        other.objectWithID(gained->objectID())
            ->setRelatedObject("author", other.objectWithID(author->objectID()).data());
    });
    context->refreshObject(*moved, false);
    context->refreshObject(*gained, false);
    author->setValueForKey("name", "loses");
    discardChanges(*author);
    EXPECT_TRUE(author->valueForKey("name").isNull());
    EXPECT_EQ(author->relatedObjects("books"), QList<Ref>{gained});
}

TEST_F(RecordVersions, A_record_that_is_discarded_keeps_what_unsaved_records_say_of_it) {
    const Ref author = add("Author"), parted = add("Book"), deleted = add("Book");
    parted->setRelatedObject("author", author.data());
    deleted->setRelatedObject("author", author.data());
    save();
    const Ref joined = add("Book");
    joined->setRelatedObject("author", author.data());
    parted->setRelatedObject("author", nullptr);
    context->deleteObject(*deleted);
    author->setValueForKey("name", "loses");
    context->processPendingChanges();
    discardChanges(*author);
    EXPECT_EQ(author->relatedObjects("books"), QList<Ref>{joined});
    EXPECT_FALSE(parted->relatedObject("author"));
    save();
    EXPECT_EQ(author->relatedObjects("books"), QList<Ref>{joined});
}

TEST_F(RecordVersions, A_record_that_is_discarded_has_the_links_again_that_it_was_saved_with) {
    const Ref first = add("Author"), second = add("Author"), book = add("Book"), tag = add("Tag"),
              other = add("Tag");
    book->setRelatedObject("author", first.data());
    book->setRelatedObjects("tags", {tag});
    save();
    book->setRelatedObject("author", second.data());
    book->setRelatedObjects("tags", {other});
    discardChanges(*book);
    EXPECT_EQ(book->relatedObject("author"), first);
    EXPECT_EQ(book->relatedObjects("tags"), QList<Ref>{tag});
    EXPECT_TRUE(second->relatedObjects("books").isEmpty());
    EXPECT_TRUE(other->relatedObjects("books").isEmpty());
    EXPECT_FALSE(book->hasChanges());
}

TEST_F(RecordVersions, A_record_that_is_replaced_leaves_its_values_and_links_when_it_wins) {
    for (const bool takesValues : {true, false}) {
        const Ref author = add("Author"), tag = add("Tag"), from = add("Book"), to = add("Book");
        from->setValueForKey("title", "from");
        to->setValueForKey("title", "to");
        from->setRelatedObject("author", author.data());
        from->setRelatedObjects("tags", {tag});
        replaceRecords(*context, {{from, to, takesValues}});
        EXPECT_EQ(to->valueForKey("title"), takesValues ? "from" : "to");
        EXPECT_EQ(to->relatedObject("author"), takesValues ? author : Ref());
        EXPECT_EQ(to->relatedObjects("tags"), takesValues ? QList<Ref>{tag} : QList<Ref>());
        save();
        EXPECT_FALSE(tag->isDeleted()) << "it goes alone";
        EXPECT_EQ(context->count(QWFetchRequest("Tag")), takesValues ? 1 : 2);
    }
}

TEST_F(RecordVersions, Whatever_refers_to_a_record_that_is_replaced_refers_to_the_other_one) {
    const Ref from = add("Author"), to = add("Author"), book = add("Book");
    book->setRelatedObject("author", from.data());
    replaceRecords(*context, {{from, to, false}});
    EXPECT_EQ(book->relatedObject("author"), to);
    EXPECT_EQ(to->relatedObjects("books"), QList<Ref>{book});
}

TEST_F(RecordVersions, A_record_that_is_deleted_without_rules_takes_nothing_along) {
    const Ref book = add("Book"), tag = add("Tag");
    book->setRelatedObjects("tags", {tag});
    save();
    deleteWithoutRules(*book);
    save();
    EXPECT_EQ(context->count(QWFetchRequest("Book")), 0);
    EXPECT_EQ(context->count(QWFetchRequest("Tag")), 1);
    EXPECT_TRUE(tag->relatedObjects("books").isEmpty());
}

TEST_F(RecordVersions, References_to_what_is_deleted_are_dropped_unless_they_are_required) {
    const auto author = add("Author"), book = add("Book"), note = add("Note"), tag = add("Tag"),
               kept = add("Tag");
    note->setRelatedObject("subject", author.data());
    save();
    context->deleteObject(*author);
    context->deleteObject(*tag);
    elsewhere([&](QWManagedObjectContext& other) {
        const auto there = [&](const Ref& record) { return other.objectWithID(record->objectID()); };
        there(book)->setRelatedObject("author", there(author).data());
        there(book)->setRelatedObjects("tags", {there(tag), there(kept)});
        EXPECT_TRUE(refersToAny(*there(book), {author->objectID()}));
        EXPECT_TRUE(refersToAny(*there(book), {tag->objectID()}));
        EXPECT_FALSE(refersToAny(*there(note), {tag->objectID()}));
    });
    for (const auto& record : {book, note}) {
        context->refreshObject(*record, false);
        dropReferencesToDeleted(*record);
    }
    EXPECT_FALSE(book->relatedObject("author"));
    EXPECT_EQ(book->relatedObjects("tags"), QList{kept});
    EXPECT_TRUE(note->relatedObject("subject"));
}
