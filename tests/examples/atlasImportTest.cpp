#include "AtlasFixture.h"

#include "model/AtlasDigest.h"
#include "model/ISOImport.h"

#include <gmock/gmock.h>

using namespace testing;

namespace {

class AtlasImport : public AtlasTest {
protected:
    std::optional<atlas::ISOImportResult> import(QWError* error = nullptr) {
        atlas::ISOSource source{iso_.path(), iso_.flagsPath()};
        source.tables = tables_;
        const auto result = atlas::importISO(*context_, source, {}, error);
        return result && context_->save(error) ? result : std::nullopt;
    }
    // The message of the import that must fail, and nothing must have changed.
    std::string failure() {
        QWError error;
        EXPECT_FALSE(import(&error));
        EXPECT_FALSE(context_->hasChanges());
        for (const QString& name : atlas::entityNames())
            EXPECT_EQ(context_->count(QWFetchRequest(name)), 0) << qPrintable(name);
        return error.message.toStdString();
    }
    QWRef<Record> imported(const QString& entity, const QString& code) {
        return find(entity, atlas::importedUUID(entity, code));
    }

    ISOFixture iso_;
    atlas::ISOTableSet tables_ = atlas::ISOSource().tables;
};

} // namespace

TEST_F(AtlasImport, Adds_the_records_of_every_table) {
    const auto result = import();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->added, 11);
    EXPECT_EQ(result->flags, 2);

    const auto yen = imported("Currency", "JPY");
    ASSERT_TRUE(yen);
    EXPECT_EQ(yen->valueForKey("name").toString(), "Yen");
    EXPECT_EQ(yen->valueForKey("number").toInt(), 392);
    EXPECT_EQ(imported("Language", "gsw")->valueForKey("name").toString(), "Swiss German");
    const auto france = imported("Country", "FR");
    EXPECT_EQ(france->valueForKey("officialName").toString(), "French Republic");
    EXPECT_EQ(france->valueForKey("alpha3").toString(), "FRA");
    EXPECT_EQ(france->valueForKey("visited"), QVariant(false));
    EXPECT_EQ(imported("Country", "AX")->valueForKey("sortName").toString(), "aland islands");
    EXPECT_FALSE(imported("Country", "AX")->valueForKey("officialName").isValid());
}

TEST_F(AtlasImport, A_region_knows_its_country_and_the_region_that_it_is_part_of) {
    ASSERT_TRUE(import());
    const auto idf = imported("Region", "FR-IDF");
    EXPECT_EQ(idf->relatedObject("country").data(), imported("Country", "FR").data());
    EXPECT_FALSE(idf->relatedObject("parent"));
    EXPECT_EQ(imported("Region", "FR-75")->relatedObject("parent").data(), idf.data());
    EXPECT_EQ(imported("Region", "FR-77")->relatedObject("parent").data(), idf.data());
}

TEST_F(AtlasImport, Flags_and_records_bear_the_fixed_date) {
    ASSERT_TRUE(import());
    const auto france = imported("Country", "FR");
    EXPECT_EQ(france->dateModified(), atlas::importedDate());
    EXPECT_EQ(contents(imagePath(france->uuid())), "the flag of France");
    EXPECT_EQ(world_.files->modificationDate(imagePath(france->uuid())), atlas::importedDate());
    EXPECT_FALSE(QFile::exists(imagePath(atlas::importedUUID("Country", "AX"))));
}

TEST_F(AtlasImport, Uuids_are_those_of_every_other_desktop) {
    EXPECT_EQ(atlas::importedUUID("Country", "FR"), "F284704B-20B9-5B81-8DF7-581A7AA889DD");
    EXPECT_NE(atlas::importedUUID("Country", "FR"), atlas::importedUUID("Region", "FR"));
}

TEST_F(AtlasImport, A_second_import_changes_nothing) {
    ASSERT_TRUE(import());
    const auto digest = atlas::digest(*context_);
    bool changed = false;
    const auto observation = context_->observeObjectsDidChange([&](const auto&) { changed = true; });
    const auto result = import();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->added, 0);
    EXPECT_EQ(result->present, 11);
    EXPECT_EQ(result->flags, 0);
    EXPECT_FALSE(changed);
    EXPECT_EQ(atlas::digest(*context_), digest);
}

TEST_F(AtlasImport, Never_beats_an_edit) {
    ASSERT_TRUE(import());
    const QWRef<atlas::Country> france(static_cast<atlas::Country*>(imported("Country", "FR").data()));
    france->setValueForKey("name", "Hexagon");
    ASSERT_TRUE(france->writeFlag("my own", world_.clock->now()));
    france->setDateModified({});
    ASSERT_TRUE(context_->save());
    ASSERT_TRUE(import());
    EXPECT_EQ(france->valueForKey("name").toString(), "Hexagon");
    EXPECT_EQ(contents(imagePath(france->uuid())), "my own");
}

TEST_F(AtlasImport, Fills_a_bare_record_and_leaves_it_the_flag_that_it_has) {
    const auto bare = insert<atlas::Country>("Country");
    bare->setUuid(atlas::importedUUID("Country", "FR"));
    ASSERT_TRUE(context_->save());
    ASSERT_TRUE(bare->writeFlag("from elsewhere", world_.clock->now()));
    ASSERT_TRUE(import());
    EXPECT_EQ(bare->valueForKey("name").toString(), "France");
    EXPECT_EQ(bare->dateModified(), atlas::importedDate());
    EXPECT_EQ(contents(imagePath(bare->uuid())), "from elsewhere");
}

TEST_F(AtlasImport, Regions_bring_their_countries_and_nothing_else) {
    tables_ = atlas::ISOTable::Regions;
    ASSERT_TRUE(import());
    EXPECT_EQ(context_->count(QWFetchRequest("Country")), 3);
    EXPECT_EQ(context_->count(QWFetchRequest("Region")), 4);
    EXPECT_EQ(context_->count(QWFetchRequest("Language")), 0);
}

TEST_F(AtlasImport, A_missing_table_is_named) {
    iso_.remove("iso_639-2.json");
    EXPECT_THAT(failure(), AllOf(HasSubstr("iso_639-2.json"), HasSubstr("No such file")));
}

TEST_F(AtlasImport, A_table_that_is_no_JSON_is_named_with_the_place) {
    iso_.write("iso_4217.json", R"({"4217": [)");
    EXPECT_THAT(failure(), AllOf(HasSubstr("iso_4217.json"), HasSubstr("at byte")));
}

TEST_F(AtlasImport, A_table_without_its_array_is_named_with_key_and_value) {
    iso_.write("iso_4217.json", R"({"4217": "many"})");
    EXPECT_THAT(failure(), HasSubstr(R"(iso_4217.json: key "4217": expected an array, found "many")"));
}

TEST_F(AtlasImport, A_missing_key_is_named_with_file_and_entry) {
    iso_.write("iso_639-2.json", R"({"639-2": [{"alpha_3": "fra", "name": "French"}, {"name": "x"}]})");
    EXPECT_THAT(failure(),
                HasSubstr(R"(iso_639-2.json: entry 2: key "alpha_3": expected a text, found nothing)"));
}

TEST_F(AtlasImport, A_value_of_the_wrong_type_is_named_with_file_entry_and_key) {
    iso_.write("iso_4217.json", R"({"4217": [{"alpha_3": "EUR", "name": {"a": [1]}, "numeric": "978"}]})");
    EXPECT_THAT(failure(),
                HasSubstr(R"(iso_4217.json: entry 1: key "name": expected a text, found {"a":[1]})"));
    iso_.write("iso_4217.json", R"({"4217": [{"alpha_3": "EUR", "name": "Euro", "numeric": "9x"}]})");
    EXPECT_THAT(failure(), HasSubstr(R"(key "numeric": expected digits, found "9x")"));
    iso_.write("iso_4217.json", R"({"4217": [7]})");
    EXPECT_THAT(failure(), HasSubstr("entry 1: expected an object, found 7"));
}

TEST_F(AtlasImport, A_code_that_is_used_twice_is_named) {
    iso_.write("iso_639-2.json",
               R"({"639-2": [{"alpha_3": "fra", "name": "a"}, {"alpha_3": "fra", "name": "b"}]})");
    EXPECT_THAT(failure(), HasSubstr(R"(entry 2: key "alpha_3": expected a code of its own, found "fra")"));
}

TEST_F(AtlasImport, A_region_without_its_country_or_parent_is_named) {
    iso_.write("iso_3166-2.json", R"({"3166-2": [{"code": "XX-1", "name": "a", "type": "b"}]})");
    EXPECT_THAT(failure(),
                HasSubstr(R"(iso_3166-2.json: entry 1: key "code": expected a code that begins with a)"));
    iso_.write("iso_3166-2.json",
               R"({"3166-2": [{"code": "FR-1", "name": "a", "type": "b", "parent": "Q"}]})");
    EXPECT_THAT(failure(), HasSubstr(R"(key "parent": expected the code of an entry, found "Q")"));
}

TEST_F(AtlasImport, A_missing_folder_of_flags_is_named) {
    QDir(iso_.flagsPath()).removeRecursively();
    EXPECT_THAT(failure(), HasSubstr(iso_.flagsPath().toStdString()));
}
