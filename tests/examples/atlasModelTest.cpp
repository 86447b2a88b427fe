#include "AtlasFixture.h"

#include "model/AtlasDigest.h"

#include <gmock/gmock.h>

using namespace testing;

namespace {

QStringList keysOf(const QWFieldDescriptions& fields) {
    QStringList keys;
    for (const auto& field : fields)
        keys << field->key();
    return keys;
}

class AtlasModel : public AtlasTest {};

} // namespace

TEST_F(AtlasModel, Every_entity_describes_the_modification_date) {
    for (const QString& name : atlas::entityNames())
        EXPECT_THAT(keysOf(*insert(name)->fieldDescriptions()), Contains(QString("dateModified")))
            << qPrintable(name);
}

TEST_F(AtlasModel, Every_described_key_but_the_flag_is_in_the_model) {
    for (const QString& name : atlas::entityNames())
        for (const QString& key : keysOf(*insert(name)->fieldDescriptions()))
            EXPECT_TRUE(key == "flag" || context_->model().entity(name)->property(key))
                << qPrintable(name + ' ' + key);
}

TEST_F(AtlasModel, An_entity_refers_to_itself_and_those_before_it_only) {
    for (const QString& name : atlas::entityNames()) {
        for (const auto& field : *insert(name)->fieldDescriptions()) {
            if (const auto* to =
                    dynamic_cast<const QWManagedObjectFieldDescriptionRelationship*>(field.get())) {
                EXPECT_LE(atlas::entityNames().indexOf(to->destinationEntityName()),
                          atlas::entityNames().indexOf(name));
            }
        }
    }
}

TEST_F(AtlasModel, A_name_sets_the_form_that_it_is_sorted_by) {
    const auto country = insert("Country");
    country->setValueForKey("name", "Åland  Islands");
    EXPECT_EQ(country->valueForKey("sortName").toString(), "aland islands");
    country->setValueForKey("name", QVariant());
    EXPECT_FALSE(country->valueForKey("sortName").isValid());

    const auto visit = insert("Visit");
    visit->setValueForKey("title", "Été");
    EXPECT_EQ(visit->valueForKey("sortTitle").toString(), "ete");
}

TEST_F(AtlasModel, A_country_has_an_image_location_before_it_has_an_image_and_others_have_none) {
    const auto country = insert("Country");
    EXPECT_EQ(country->imageURL().toLocalFile(), imagePath(country->uuid()));
    EXPECT_EQ(country->valueForKey("flag"), QVariant(country->imageURL()));
    EXPECT_FALSE(QFile::exists(country->imageURL().toLocalFile()));
    EXPECT_TRUE(insert("Region")->imageURL().isEmpty());
}

TEST_F(AtlasModel, A_flag_is_written_with_its_date) {
    const auto country = insert<atlas::Country>("Country");
    const QDateTime date(QDate(2001, 2, 3), QTime(4, 5, 6), Qt::UTC);
    ASSERT_TRUE(country->writeFlag("blue, white, red", date));
    EXPECT_EQ(contents(imagePath(country->uuid())), "blue, white, red");
    EXPECT_EQ(world_.files->modificationDate(imagePath(country->uuid())), date);
}

TEST_F(AtlasModel, The_flag_of_a_deleted_country_goes_when_the_deletion_is_saved) {
    const auto country = insert<atlas::Country>("Country");
    const QString path = imagePath(country->uuid());
    ASSERT_TRUE(country->writeFlag("flag", world_.clock->now()));
    ASSERT_TRUE(context_->save());

    context_->deleteObject(*country);
    context_->processPendingChanges();
    EXPECT_TRUE(QFile::exists(path));
    ASSERT_TRUE(context_->save());
    EXPECT_FALSE(QFile::exists(path));
}

TEST_F(AtlasModel, The_flag_stays_when_the_deletion_is_taken_back) {
    const auto country = insert<atlas::Country>("Country");
    const QString path = imagePath(country->uuid());
    ASSERT_TRUE(country->writeFlag("flag", world_.clock->now()));
    ASSERT_TRUE(context_->save());

    context_->deleteObject(*country);
    context_->rollback();
    country->setValueForKey("visited", true);
    ASSERT_TRUE(context_->save());
    EXPECT_TRUE(QFile::exists(path));
}

TEST_F(AtlasModel, A_deleted_country_lets_go_of_its_regions_and_visits) {
    const auto country = insert("Country");
    const auto region = insert("Region"), visit = insert("Visit");
    region->setRelatedObject("country", country.data());
    visit->setRelatedObject("country", country.data());
    ASSERT_TRUE(context_->save());
    context_->deleteObject(*country);
    ASSERT_TRUE(context_->save());
    EXPECT_FALSE(region->relatedObject("country"));
    EXPECT_FALSE(visit->relatedObject("country"));
}

TEST_F(AtlasModel, A_country_that_only_gained_a_visit_did_not_change_and_the_visit_did) {
    const auto country = insert("Country"), visit = insert("Visit");
    ASSERT_TRUE(context_->save());
    QHash<QString, bool> changed;
    const auto observation = context_->observeObjectsDidChange([&](const QWObjectsDidChangeNotice& notice) {
        for (const auto& record : notice.updated)
            changed[record->entity().name()] = atlas::changedDescribedKey(*record);
    });
    visit->setRelatedObject("country", country.data());
    context_->processPendingChanges();
    EXPECT_EQ(changed, (QHash<QString, bool>{{"Country", false}, {"Visit", true}}));
}

TEST_F(AtlasModel, A_sort_form_and_a_modification_date_are_changes_that_travel) {
    const auto country = insert("Country");
    ASSERT_TRUE(context_->save());
    int changes = 0;
    const auto observation = context_->observeObjectsDidChange([&](const QWObjectsDidChangeNotice& notice) {
        changes += atlas::changedDescribedKey(*notice.updated.front());
    });
    country->setValueForKey("sortName", "x");
    context_->processPendingChanges();
    country->setDateModified({});
    context_->processPendingChanges();
    EXPECT_EQ(changes, 2);
}

TEST_F(AtlasModel, The_status_of_a_visit_has_a_name) {
    const auto visit = insert("Visit");
    EXPECT_EQ(visit->valueForKey("statusName").toString(), "");
    visit->setValueForKey("status", "booked");
    EXPECT_EQ(visit->valueForKey("statusName").toString(), "Booked");
}

// Digest
// ----------------------------------------------------------------------------------------------------

namespace {

class AtlasDigest : public AtlasTest {
protected:
    AtlasDigest() : visit_(insert("Visit")), country_(insert<atlas::Country>("Country")) {
        visit_->setUuid("11111111-1111-4111-8111-111111111111");
        country_->setUuid("22222222-2222-4222-8222-222222222222");
        visit_->setValueForKey("start", QDateTime(QDate(2024, 5, 4), QTime(18, 22, 10, 400), Qt::UTC));
        visit_->setValueForKey("notes", "plain");
    }
    QString digest() { return atlas::digest(*context_).value_or("failed"); }

    QWRef<Record> visit_;
    QWRef<atlas::Country> country_;
};

} // namespace

TEST_F(AtlasDigest, Changes_with_every_value_that_travels) {
    QSet<QString> digests = {digest()};
    visit_->setValueForKey("title", "Trip");
    digests << digest();
    visit_->setRelatedObject("country", country_.data());
    digests << digest();
    country_->setValueForKey("visited", true);
    digests << digest();
    country_->setDateModified(world_.clock->now());
    digests << digest();
    ASSERT_TRUE(country_->writeFlag("flag", world_.clock->now()));
    digests << digest();
    insert("Visit");
    digests << digest();
    EXPECT_EQ(digests.size(), 7);
}

TEST_F(AtlasDigest, Does_not_change_with_what_stays_here) {
    const QString before = digest();
    ASSERT_TRUE(country_->writeFlag("", world_.clock->now())); // no image
    EXPECT_EQ(digest(), before);
    visit_->setValueForKey("start", QDateTime(QDate(2024, 5, 4), QTime(18, 22, 10), Qt::UTC)); // fractions
    EXPECT_EQ(digest(), before);
    visit_->setValueForKey("notes", QByteArray("<p>plain</p>")); // formatting
    EXPECT_EQ(digest(), before);
    ASSERT_TRUE(context_->save());
    EXPECT_EQ(digest(), before);
}

TEST_F(AtlasDigest, Is_the_same_in_every_time_zone) {
    const QString before = digest();
    qputenv("TZ", "Asia/Tokyo");
    tzset();
    EXPECT_EQ(digest(), before);
    qputenv("TZ", "UTC");
    tzset();
}

TEST_F(AtlasDigest, Does_not_depend_on_the_order_of_insertion) {
    const QString before = digest();
    const auto second = insert("Visit");
    second->setUuid("00000000-0000-4000-8000-000000000000");
    const QString with = digest();
    EXPECT_NE(with, before);
    context_->deleteObject(*visit_);
    context_->processPendingChanges();
    const auto again = insert("Visit");
    again->setUuid("11111111-1111-4111-8111-111111111111");
    again->setValueForKey("start", QDateTime(QDate(2024, 5, 4), QTime(18, 22, 10), Qt::UTC));
    again->setValueForKey("notes", "plain");
    EXPECT_EQ(digest(), with);
}
