#include "platform/text/QWText.h"
#include "store/PredicateGenerator.h"
#include "store/QWManagedObjectContext.h"
#include "store/QWStoreError.h"
#include "store/StoreRows.h"
#include "testing/QWVirtualWorld.h"

#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

namespace {

constexpr int anyLetters = QWPredicate::CaseInsensitive | QWPredicate::DiacriticInsensitive;

std::shared_ptr<QWManagedObjectModel> tripModel() {
    auto model = std::make_shared<QWManagedObjectModel>();
    auto& trip = model->addEntity("Trip");
    trip.addAttribute("city", QWAttributeType::String).setIndexed();
    trip.addAttribute("tags", QWAttributeType::String);
    trip.addAttribute("days", QWAttributeType::Integer);
    model->addEntity("Cruise").setParent("Trip");
    return model;
}

// A file of trips, and any number of openings of it.
struct TripFile {
    struct Opening {
        std::shared_ptr<QWPersistentStoreCoordinator> coordinator;
        std::shared_ptr<QWManagedObjectContext> context;
    };
    Opening open() {
        Opening opening;
        opening.coordinator =
            std::make_shared<QWPersistentStoreCoordinator>(tripModel(), world.environment());
        QWError error;
        if (!opening.coordinator->addStore(folder.filePath("trips.sqlite"), {QWSynchronous::Normal}, &error))
            throw std::runtime_error(error.message.toStdString());
        opening.context = std::make_shared<QWManagedObjectContext>(opening.coordinator);
        return opening;
    }
    QTemporaryDir folder;
    QWVirtualWorld world;
};

QWFetchRequest containing(const QString& key, const QString& text, const QString& entity = "Trip") {
    return QWFetchRequest(entity,
                          QWPredicate::comparison(key, QWPredicate::Operator::Contains, text, anyLetters));
}

class KeptValues : public ::testing::Test {
protected:
    QWRef<QWManagedObject> insert(const QVariant& city, const QString& entity = "Trip") {
        auto trip = context->insertObject(entity);
        EXPECT_TRUE(trip->setValueForKey("city", city));
        EXPECT_TRUE(trip->setValueForKey("tags", city));
        return trip;
    }
    void save() {
        QWError error;
        ASSERT_TRUE(context->save(&error)) << error.message.toStdString();
    }
    QVariantList cities(const QString& text = "") {
        return context->distinctValues(containing("city", text), "city").value();
    }
    QVariantList tags(const QString& text = "") {
        return context->distinctValues(containing("tags", text), "tags").value();
    }

    TripFile file;
    TripFile::Opening opening = file.open();
    std::shared_ptr<QWManagedObjectContext> context = opening.context;
};

// Distinct values of texts ----------------------------------------------------------------------------------

TEST_F(KeptValues, Values_that_repeat_often_or_not_at_all_are_each_found_once) {
    for (int i = 0; i < 200; ++i) {
        insert("Rome");
        insert(QStringLiteral("Oslo %1").arg(i % 20));
        insert(QStringLiteral("Ürümqi %1").arg(i));
        insert(QVariant());
        insert("");
    }
    insert("Zürich", "Cruise");
    save();
    QStringList expected{"", "Rome", "Zürich"};
    for (int i = 0; i < 200; ++i)
        expected << QStringLiteral("Ürümqi %1").arg(i);
    for (int i = 0; i < 20; ++i)
        expected << QStringLiteral("Oslo %1").arg(i);
    std::sort(expected.begin(), expected.end());
    for (const char* key : {"city", "tags"}) {
        EXPECT_EQ(context->distinctValues(QWFetchRequest("Trip"), key),
                  QVariantList(expected.begin(), expected.end()));
        EXPECT_EQ(context->distinctValues(QWFetchRequest("Cruise"), key), QVariantList({"Zürich"}));
    }
    QWFetchRequest withoutCruises("Trip");
    withoutCruises.includesSubentities = false;
    EXPECT_FALSE(context->distinctValues(withoutCruises, "city")->contains("Zürich"));
}

TEST_F(KeptValues, Distinct_values_come_in_the_order_that_is_asked_for) {
    for (const char* city : {"apple", "Banana", "apple", "Apple", "Éclair", "eclair"})
        insert(city)->setValueForKey("days", qlonglong(strlen(city)));
    insert(QVariant());
    save();
    QWFetchRequest request("Trip",
                           QWPredicate::comparison("city", QWPredicate::Operator::NotEqual, QVariant()));
    request.sortDescriptors = {{"city", true, QWSortDescriptor::Comparison::LocalizedCaseInsensitive}};
    const QVariantList ascending{"Apple", "apple", "Banana", "eclair", "Éclair"};
    EXPECT_EQ(context->distinctValues(request, "city"), ascending);
    EXPECT_EQ(context->distinctValues(request, "tags"),
              QVariantList({"Apple", "Banana", "apple", "eclair", "Éclair"}))
        << "the order of another key does not count";
    request.offset = 1, request.limit = 2;
    EXPECT_EQ(context->distinctValues(request, "city"), ascending.mid(1, 2));
    request.offset = request.limit = 0;
    request.sortDescriptors.first().ascending = false;
    EXPECT_EQ(context->distinctValues(request, "city"), QVariantList(ascending.rbegin(), ascending.rend()));
    request.sortDescriptors = {{"days", false}};
    EXPECT_EQ(context->distinctValues(request, "days"), QVariantList({7, 6, 5}));
}

// Kept values -----------------------------------------------------------------------------------------------

TEST_F(KeptValues, What_is_saved_or_removed_a_moment_ago_is_seen_or_gone_and_what_is_pending_is_not) {
    auto rome = insert("Rome");
    save();
    const auto kept = context->keepDistinctValues("Trip", "city"),
               keptTags = context->keepDistinctValues("Trip", "tags");
    ASSERT_TRUE(kept && keptTags);
    EXPECT_EQ(cities("RÖ"), QVariantList({"Rome"}));

    auto oslo = insert("Oslo");
    EXPECT_EQ(cities(), QVariantList({"Rome"}));
    save();
    EXPECT_EQ(cities(), QVariantList({"Oslo", "Rome"}));
    EXPECT_EQ(tags(), QVariantList({"Oslo", "Rome"}));

    rome->setValueForKey("city", "Roma");
    save();
    EXPECT_EQ(cities(), QVariantList({"Oslo", "Roma"}));
    EXPECT_EQ(tags(), QVariantList({"Oslo", "Rome"}));

    insert("Oslo");
    context->deleteObject(*oslo);
    save();
    EXPECT_EQ(cities("oslo"), QVariantList({"Oslo"})) << "another record has it";
    const QWManagedObjectSet trips = context->fetch(QWFetchRequest("Trip")).value();
    for (const auto& trip : trips)
        context->deleteObject(*trip);
    save();
    EXPECT_EQ(cities(), QVariantList());
    EXPECT_EQ(tags(), QVariantList());
}

TEST_F(KeptValues, What_another_process_saves_is_seen) {
    insert("Rome");
    save();
    const auto kept = context->keepDistinctValues("Trip", "city");
    EXPECT_EQ(cities(), QVariantList({"Rome"}));
    const auto other = file.open(); // its own connection, as another process has
    other.context->insertObject("Trip")->setValueForKey("city", "Lima");
    ASSERT_TRUE(other.context->save());
    EXPECT_EQ(cities(), QVariantList({"Lima", "Rome"}));
}

TEST_F(KeptValues, A_save_that_fails_leaves_the_values_as_they_were) {
    insert("Rome");
    save();
    const auto kept = context->keepDistinctValues("Trip", "city");
    const auto other = file.open();
    auto stale = context->fetch(QWFetchRequest("Trip"))->front();
    other.context->fetch(QWFetchRequest("Trip"))->front()->setValueForKey("city", "Roma");
    ASSERT_TRUE(other.context->save());
    EXPECT_EQ(cities(), QVariantList({"Roma"}));
    insert("Oslo");
    stale->setValueForKey("city", "Rom");
    EXPECT_FALSE(context->save()) << "somebody else has saved it meanwhile";
    EXPECT_EQ(cities(), QVariantList({"Roma"}));
}

TEST_F(KeptValues, What_a_transaction_has_written_is_seen_within_it_and_gone_when_it_is_taken_back) {
    context.reset();
    opening = {};
    const auto model = tripModel();
    ASSERT_TRUE(model->complete());
    OpenStore store(file.folder.filePath("rows.sqlite"), *model, {QWSynchronous::Normal});
    ASSERT_TRUE(store) << store.message();
    const auto kept = store->keepDistinctValues("Trip", "city", nullptr);
    const QWEntityDescription& trip = store.entity("Trip");
    std::vector<QVariant> values(trip.properties().size());
    values[size_t(trip.property("city")->index())] = "Rome";
    ASSERT_TRUE(store->begin(nullptr));
    ASSERT_TRUE(store->insert({&trip, store->reserveKeys(trip)}, values.data(), nullptr));
    EXPECT_EQ(store->distinctValues(containing("city", ""), "city", nullptr), QVariantList({"Rome"}));
    store->rollback();
    EXPECT_EQ(store->distinctValues(containing("city", ""), "city", nullptr), QVariantList());
}

TEST_F(KeptValues, Values_of_a_child_entity_are_kept_for_themselves) {
    insert("Rome");
    insert("Oslo", "Cruise");
    save();
    const auto trips = context->keepDistinctValues("Trip", "city"),
               cruises = context->keepDistinctValues("Cruise", "city");
    insert("Lima");
    insert("Nice", "Cruise");
    save();
    EXPECT_EQ(cities(), QVariantList({"Lima", "Nice", "Oslo", "Rome"}));
    EXPECT_EQ(context->distinctValues(containing("city", "", "Cruise"), "city"),
              QVariantList({"Nice", "Oslo"}));
    auto withoutCruises = containing("city", "");
    withoutCruises.includesSubentities = false;
    EXPECT_EQ(context->distinctValues(withoutCruises, "city"), QVariantList({"Lima", "Rome"}));
}

TEST_F(KeptValues, Saving_many_records_at_once_is_followed_too) {
    insert("Rome");
    save();
    const auto kept = context->keepDistinctValues("Trip", "city");
    for (int i = 0; i < 1000; ++i)
        insert(QStringLiteral("City %1").arg(i));
    save();
    EXPECT_EQ(cities().size(), 1001);
    EXPECT_EQ(cities("city 99").size(), 11);
}

TEST_F(KeptValues, Answers_stay_right_when_there_is_too_much_to_keep) {
    for (int i = 0; i < 20; ++i)
        insert(QString::number(i) + QString(1'000'000, u'x'));
    save();
    const auto kept = context->keepDistinctValues("Trip", "city");
    EXPECT_EQ(cities("7X").size(), 2);
    insert("7x");
    save();
    EXPECT_EQ(cities("7X").size(), 3);
}

TEST_F(KeptValues, Only_texts_of_known_entities_in_an_open_store_are_kept) {
    QWError error;
    EXPECT_FALSE(context->keepDistinctValues("Voyage", "city", &error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::UnknownEntity));
    EXPECT_FALSE(context->keepDistinctValues("Trip", "country", &error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::UnknownKey));
    EXPECT_FALSE(context->keepDistinctValues("Trip", "days", &error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::WrongType));
    const auto closed = std::make_shared<QWPersistentStoreCoordinator>(tripModel());
    EXPECT_FALSE(
        std::make_shared<QWManagedObjectContext>(closed)->keepDistinctValues("Trip", "city", &error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::NoStore));
}

TEST_F(KeptValues, The_answer_may_outlive_the_store) {
    const auto kept = context->keepDistinctValues("Trip", "city");
    context.reset();
    opening = {};
    EXPECT_TRUE(kept);
}

// Any saves by two openings of one file: what is kept answers as the predicate, evaluated value by value,
// does.
RC_GTEST_PROP(KeptValuesProperty, Answer_as_the_records_do_whoever_saves, ()) {
    TripFile file;
    TripFile::Opening here = file.open(), there = file.open();
    PredicateGenerator any(anySeed());
    const auto keptCities = here.context->keepDistinctValues("Trip", "city");
    const auto keptTags = here.context->keepDistinctValues("Trip", "tags");
    for (int step = 0; step < 30; ++step) {
        TripFile::Opening& writer = any.oneIn(4) ? there : here;
        auto& context = *writer.context;
        for (int count = any.below(4); count > 0; --count) {
            const QWManagedObjectSet trips = context.fetch(QWFetchRequest("Trip")).value();
            QWRef<QWManagedObject> trip;
            if (trips.empty() || any.oneIn(2))
                trip = context.insertObject(any.oneIn(4) ? "Cruise" : "Trip");
            else
                trip = trips[size_t(any.below(int(trips.size())))];
            if (any.oneIn(4))
                context.deleteObject(*trip);
            else
                for (const char* key : {"city", "tags"})
                    if (any.oneIn(2))
                        trip->setValueForKey(key, any.oneIn(6) ? QVariant() : any.text());
        }
        if (any.oneIn(6) || !context.save())
            context.rollback();
        if (&writer == &there)
            here.context = std::make_shared<QWManagedObjectContext>(here.coordinator); // reads what is saved
        else
            there.context = std::make_shared<QWManagedObjectContext>(there.coordinator);

        const QString entity = any.oneIn(4) ? "Cruise" : "Trip", key = any.oneIn(2) ? "city" : "tags";
        const QString text = any.text();
        const QString typed = text.mid(0, any.below(int(text.size()) + 1));
        const auto request = containing(key, typed, entity);
        if (!typed.isValidUtf16())
            continue;
        QStringList expected;
        const auto fresh = std::make_shared<QWManagedObjectContext>(here.coordinator);
        const QWManagedObjectSet matches = fresh->fetch(request).value();
        for (const auto& trip : matches)
            expected << trip->valueForKey(key).toString();
        expected.removeDuplicates();
        std::sort(expected.begin(), expected.end(), [](const QString& left, const QString& right) {
            return qw::text::compareCodePoints(left, right) < 0;
        });
        RC_ASSERT(here.context->distinctValues(request, key)
                  == QVariantList(expected.begin(), expected.end()));
    }
}

} // namespace
