#include "store/StoreFixture.h"

// The changed keys of an event: whose keys they are, and that they stay what they were when the notice was
// made.

using ChangedKeys = StoreTest;

TEST_F(ChangedKeys, Both_ends_of_a_link_between_insertions_have_their_key) {
    NoticeLog log(*context);
    Ref author = insert("Author"), book = insert("Book"), tag = insert("Tag");
    book->setRelatedObject("author", author.data());
    book->addRelatedObject("tags", *tag);
    context->processPendingChanges();
    EXPECT_EQ(log.keys.at(0), (QStringList{"books", "author,tags", "books"}));
}

TEST_F(ChangedKeys, A_link_made_by_an_observer_belongs_to_the_next_notice) {
    Ref book = insert("Book");
    save();
    Ref author = insert("Author");
    author->relatedObjects("books");
    std::vector<QStringList> keys;
    const QWObservation observation = context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice&) {
        if (keys.empty())
            book->setRelatedObject("author", author.data());
        keys.push_back(author->changedKeysForCurrentEvent());
    });
    context->processPendingChanges();
    EXPECT_EQ(keys, (std::vector<QStringList>{{}, {"books"}}));
}

TEST_F(ChangedKeys, A_link_undone_by_an_observer_stays_a_key_of_the_insertion_that_is_reported) {
    Ref author = insert("Author"), book = insert("Book");
    book->setRelatedObject("author", author.data());
    std::vector<QStringList> keys;
    const QWObservation observation = context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice&) {
        if (keys.empty())
            book->setRelatedObject("author", nullptr);
        keys.push_back(author->changedKeysForCurrentEvent());
    });
    context->processPendingChanges();
    EXPECT_EQ(keys, (std::vector<QStringList>{{"books"}, {"books"}}));
}

TEST_F(ChangedKeys, An_observers_edits_of_other_records_leave_the_sets_of_its_notice_alone) {
    Ref author = insert("Author"), other = insert("Author");
    save();
    QList<size_t> sizes;
    const QWObservation editing = context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice&) {
        if (sizes.isEmpty()) {
            other->setValueForKey("name", "Eve");
            insert("Author");
        }
    });
    const QWObservation counting =
        context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice& notice) {
            sizes << notice.updated.size() << notice.inserted.size();
        });
    author->setValueForKey("name", "Ana");
    context->processPendingChanges();
    EXPECT_EQ(sizes, (QList<size_t>{1, 0, 1, 1}));
}

// Primitives ------------------------------------------------------------------------------------------------

namespace {

// Fills itself in ways of its own when it is inserted.
class SelfFilling : public QWManagedObject {
public:
    void awakeFromInsert() override {
        setPrimitiveValueForKey("quiet", "first");
        setPrimitiveValueForKey("quiet", "second");
        willChangeValueForKey("announced");
        setPrimitiveValueForKey("announced", "value");
        didChangeValueForKey("announced");
        setValueForKey("plain", "value");
        setPrimitiveValueForKey("plain", "corrected");
    }
};

} // namespace

TEST_F(ChangedKeys, In_the_insertion_hook_an_announced_primitive_counts_as_a_setter_and_a_plain_one_never) {
    auto model = std::make_shared<QWManagedObjectModel>();
    auto& entity = model->addEntity<SelfFilling>("Self");
    for (const char* key : {"announced", "plain", "quiet"})
        entity.addAttribute(key, QWAttributeType::String);
    coordinator = std::make_shared<QWPersistentStoreCoordinator>(model, world.environment());
    context = makeContext();
    NoticeLog log(*context);
    Ref record = insert("Self");
    EXPECT_EQ(record->changedKeysForCurrentEvent(), (QStringList{"announced", "plain"}));
    context->processPendingChanges();
    EXPECT_EQ(log.keys.at(0), QStringList{"announced,plain"});
}

TEST_F(ChangedKeys, A_primitive_value_is_saved_once_something_else_changes_the_record) {
    Ref author = insert("Author", {{"name", "Ana"}});
    save();
    author->setPrimitiveValueForKey("name", "Eve");
    EXPECT_FALSE(context->hasChanges());
    author->setValueForKey("code", "e");
    EXPECT_EQ(author->changedKeysForCurrentEvent(), QStringList{"code"});
    save();
    auto other = makeContext();
    EXPECT_EQ(names(fetchIn(*other, "Author"), "name"), QStringList{"Eve"});
}
