#include "support/AssertionProbe.h"
#include "support/BookLibrary.h"
#include "support/RecordingVisitor.h"

#include <atomic>
#include <thread>

namespace {

using Synced = QWManagedObjectWithSyncSupport;

class Undated final : public Synced {};

// Notes whether two threads are in its insertion at once.
class Guest final : public Synced {
public:
    void awakeFromInsert() override {
        Synced::awakeFromInsert();
        if (++inside > 1)
            haveMet = true;
        for (int turn = 0; turn < 10; ++turn)
            std::this_thread::yield();
        --inside;
    }
    static inline std::atomic<int> inside = 0;
    static inline std::atomic<bool> haveMet = false;
};

// Brings the one guest of honour along.
class Party final : public Synced {
public:
    void awakeFromInsert() override {
        Synced::awakeFromInsert();
        fetchObjectWithUUID(QStringLiteral("HONOUR"), QStringLiteral("Guest"), *managedObjectContext(), true);
    }
};

// Entities that differ from books in one thing each.
std::shared_ptr<QWPersistentStoreCoordinator> oddities(const QWVirtualWorld& world, const QString& path) {
    auto model = std::make_shared<QWManagedObjectModel>();
    addSyncAttributes(model->addEntity<Guest>("Guest"));
    addSyncAttributes(model->addEntity<Party>("Party"));
    model->addEntity<Undated>("Undated").addAttribute("uuid", QWAttributeType::String);
    auto coordinator = std::make_shared<QWPersistentStoreCoordinator>(model, world.environment());
    EXPECT_TRUE(coordinator->addStore(path));
    return coordinator;
}

struct SyncSupport : testing::Test {
    BookLibrary library;
    QWManagedObjectContext& context = *library.context;
};

} // namespace

TEST_F(SyncSupport, An_inserted_record_gets_a_uuid_of_its_own_that_later_fetches_do_not_change) {
    const auto first = library.insertBook(), second = library.insertBook();
    EXPECT_THAT(first->uuid().toStdString(),
                testing::MatchesRegex("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"));
    EXPECT_NE(first->uuid(), second->uuid());
    library.save();

    QWManagedObjectContext other(library.coordinator);
    const auto fetched = Synced::fetchObjectWithUUID(first->uuid(), "Book", other);
    ASSERT_TRUE(fetched);
    EXPECT_EQ(fetched->uuid(), first->uuid());
}

TEST_F(SyncSupport, The_uuid_counts_as_a_change_of_the_insertion) {
    EXPECT_EQ(library.insertBook()->changedKeysForCurrentEvent(), QStringList{"uuid"});
}

TEST_F(SyncSupport, A_new_record_has_no_date_no_flag_and_no_image) {
    const auto author = library.insertAuthor();
    EXPECT_FALSE(author->dateModified().isValid());
    EXPECT_FALSE(author->doNotUpdateDateModifiedDuringNextSave());
    EXPECT_TRUE(author->imageURL().isEmpty());
    EXPECT_FALSE(author->valueForKey("imageURL").isValid());
}

TEST_F(SyncSupport, Setting_the_date_stores_it_and_raises_the_flag) {
    const auto book = library.insertBook();
    book->setDateModified(utc("2013-05-04 18:22:10 +0200"));
    EXPECT_EQ(book->dateModified(), utc("2013-05-04 16:22:10 +0000"));
    EXPECT_TRUE(book->doNotUpdateDateModifiedDuringNextSave());
    EXPECT_EQ(book->valueForKey("doNotUpdateDateModifiedDuringNextSave"), QVariant(true));

    book->resetDoNotUpdateDateModifiedDuringNextSave();
    EXPECT_FALSE(book->doNotUpdateDateModifiedDuringNextSave());
}

TEST_F(SyncSupport, Setting_no_date_stores_the_current_time_and_raises_the_flag) {
    const auto book = library.insertBook();
    library.world.runLoop->advance(std::chrono::milliseconds(1500));
    book->setDateModified({});
    EXPECT_EQ(book->dateModified(), library.world.clock->now());
    EXPECT_TRUE(book->doNotUpdateDateModifiedDuringNextSave());
}

TEST_F(SyncSupport, Setting_the_date_by_key_is_setting_the_date) {
    const auto book = library.insertBook();
    EXPECT_TRUE(book->setValueForKey("dateModified", QVariant()));
    EXPECT_EQ(book->dateModified(), library.world.clock->now());
    EXPECT_TRUE(book->doNotUpdateDateModifiedDuringNextSave());

    QWError error;
    EXPECT_FALSE(book->setValueForKey("dateModified", "soon", &error));
    EXPECT_EQ(error.userInfo.value("key"), "dateModified");
    EXPECT_EQ(book->dateModified(), library.world.clock->now());
}

TEST_F(SyncSupport, Setting_the_date_by_key_on_an_entity_without_one_is_an_error) {
    QWManagedObjectContext undated(oddities(library.world, library.path("oddities")));
    QWError error;
    EXPECT_FALSE(undated.insertObject("Undated")->setValueForKey("dateModified", QVariant(), &error));
    EXPECT_EQ(error.userInfo.value("key"), "dateModified");
}

TEST_F(SyncSupport, Date_and_flag_are_announced_one_inside_the_other_with_both_values_in_place) {
    const auto book = library.insertBook();
    const auto date = utc("2013-05-04 16:22:10 +0000");
    QStringList notices;
    const auto record = [&](QWManagedObject& object, const QString& key, QWManagedObject::Phase phase) {
        const bool after = phase == QWManagedObject::Phase::DidChange;
        notices << (after ? "did " : "will ") + key;
        EXPECT_EQ(object.valueForKey("dateModified").toDateTime() == date, after);
        EXPECT_EQ(static_cast<Book&>(object).doNotUpdateDateModifiedDuringNextSave(), after);
    };
    const auto dates = book->observeKey("dateModified", record);
    const auto flags = book->observeKey("doNotUpdateDateModifiedDuringNextSave", record);
    book->setDateModified(date);
    EXPECT_EQ(notices, (QStringList{"will dateModified", "will doNotUpdateDateModifiedDuringNextSave",
                                    "did doNotUpdateDateModifiedDuringNextSave", "did dateModified"}));

    notices.clear();
    book->resetDoNotUpdateDateModifiedDuringNextSave();
    EXPECT_TRUE(notices.isEmpty());
}

TEST_F(SyncSupport, Setting_the_date_changes_that_key_alone) {
    const auto book = library.insertBook();
    library.save();
    book->setDateModified({});
    EXPECT_EQ(book->changedKeysForCurrentEvent(), QStringList{"dateModified"});
    library.save();
    QWManagedObjectContext other(library.coordinator);
    const auto fetched = Synced::fetchObjectWithUUID(book->uuid(), "Book", other);
    EXPECT_EQ(fetched->dateModified(), book->dateModified());
    EXPECT_FALSE(fetched->doNotUpdateDateModifiedDuringNextSave());
}

TEST_F(SyncSupport, A_record_whose_deletion_was_saved_takes_no_date) {
    const auto book = library.insertBook();
    library.save();
    context.deleteObject(*book);
    library.save();
    book->setDateModified({});
    EXPECT_FALSE(book->dateModified().isValid());
}

TEST_F(SyncSupport, A_lookup_finds_saved_and_unsaved_records_whatever_the_letter_case) {
    const auto book = library.insertBook();
    const auto lowercase = book->uuid().toLower();
    EXPECT_EQ(Synced::fetchObjectWithUUID(lowercase, "Book", context).data(), book.data());
    library.save();
    EXPECT_EQ(Synced::fetchObjectWithUUID(lowercase, "Book", context).data(), book.data());
    EXPECT_EQ(Synced::fetchObjectWithUUID(lowercase, "Book", context, true).data(), book.data());
    EXPECT_EQ(library.count("Book"), 1);
}

TEST_F(SyncSupport, A_lookup_has_an_index) {
    const auto author = library.insertAuthor();
    EXPECT_TRUE(author->entity().property("uuid")->isFolded());
}

TEST_F(SyncSupport, A_lookup_looks_in_one_entity) {
    const auto book = library.insertBook();
    EXPECT_FALSE(Synced::fetchObjectWithUUID(book->uuid(), "Author", context));
}

TEST_F(SyncSupport, A_missing_record_is_null_and_nothing_is_inserted) {
    EXPECT_FALSE(Synced::fetchObjectWithUUID("ABC", "Book", context));
    EXPECT_EQ(library.count("Book"), 0);
}

TEST_F(SyncSupport, A_missing_record_is_created_once_with_the_uuid_as_it_was_spelt) {
    const auto book = Synced::fetchObjectWithUUID("aBc", "Book", context, true);
    ASSERT_TRUE(book);
    EXPECT_EQ(book->uuid(), "aBc");
    EXPECT_TRUE(book->isInserted());
    EXPECT_EQ(Synced::fetchObjectWithUUID("ABC", "Book", context, true).data(), book.data());
    EXPECT_EQ(library.count("Book"), 1);
}

TEST_F(SyncSupport, Two_records_with_one_uuid_are_a_programming_error) {
    library.insertBook({{"uuid", "ABC"}});
    library.insertBook({{"uuid", "abc"}});
    const auto failure = assertionFailure([&] { Synced::fetchObjectWithUUID("ABC", "Book", context); });
    EXPECT_EQ(failure.expression, "[objects count] == 1");
    EXPECT_EQ(failure.file, "QWManagedObjectWithSyncSupport.cpp");
    EXPECT_EQ(failedAssertion([&] { Synced::fetchObjectWithUUID("ABC", "Book", context, true); }),
              "[objects count] == 1");
}

TEST_F(SyncSupport, An_insertion_may_create_other_records_by_their_uuid) {
    QWManagedObjectContext parties(oddities(library.world, library.path("oddities")));
    for (const auto* uuid : {"ONE", "TWO"})
        EXPECT_TRUE(Synced::fetchObjectWithUUID(uuid, "Party", parties, true));
    EXPECT_EQ(parties.count(QWFetchRequest("Party")), 2);
    EXPECT_EQ(parties.count(QWFetchRequest("Guest")), 1);
}

TEST_F(SyncSupport, Missing_records_are_created_by_one_thread_at_a_time) {
    const auto createGuests = [this](const char* store) {
        const QWVirtualWorld world;
        QWManagedObjectContext guests(oddities(world, library.path(store)));
        for (int number = 0; number < 500; ++number)
            Synced::fetchObjectWithUUID(QString::number(number), "Guest", guests, true);
    };
    std::thread other(createGuests, "one");
    createGuests("other");
    other.join();
    EXPECT_FALSE(Guest::haveMet);
}

TEST_F(SyncSupport, A_failed_fetch_counts_as_none_found) {
    QWManagedObjectContext storeless(
        std::make_shared<QWPersistentStoreCoordinator>(BookLibrary::model(), library.world.environment()));
    EXPECT_FALSE(Synced::fetchObjectWithUUID("ABC", "Book", storeless));
}

TEST_F(SyncSupport, Dates_are_written_to_the_second_in_the_local_zone_and_read_in_any) {
    const auto& formatter = Synced::dateModifiedFormatter();
    EXPECT_EQ(formatter->stringFromDate(utc("2013-05-04 16:22:10 +0000").addMSecs(999)),
              "2013-05-04 16:22:10 +0000");
    EXPECT_EQ(formatter->dateFromString("2013-05-04 18:22:10 +0200"), utc("2013-05-04 16:22:10 +0000"));
    EXPECT_EQ(&formatter, &Synced::dateModifiedFormatter());
}

TEST_F(SyncSupport, A_record_without_field_descriptions_does_not_accept_visitors) {
    RecordingVisitor visitor;
    const auto pen = library.insert<Pen>("Pen");
    EXPECT_FALSE(pen->respondsToSelector("acceptVisitor:"));
    EXPECT_EQ(failedAssertion([&] { pen->acceptVisitor(visitor); }), "unknown operation");
    EXPECT_TRUE(library.insertBook()->respondsToSelector("acceptVisitor:"));
}
