#include "sync/records/QWTravellingForm.h"

#include "core/QWJSON.h"
#include "support/BookLibrary.h"
#include "sync/records/QWSyncRecordFile_p.h"

using qw::json::null;
using qw::sync::travellingForm;
using qw::sync::travellingHash;

namespace {

struct TravellingForm : testing::Test {
    BookLibrary library;
    QWRef<Book> book = library.insertBook();

    QVariantMap form(const QVariantMap& record) { return travellingForm(record, *book); }
    bool isOneVersion(const QVariantMap& left, const QVariantMap& right) {
        return travellingHash(left, *book) == travellingHash(right, *book);
    }
    static QVariantMap reference(const QString& uuid) { return {{"uuid", uuid}, {"entityName", "Book"}}; }
};

} // namespace

TEST_F(TravellingForm, Dates_are_in_universal_time_to_the_second) {
    EXPECT_EQ(form({{"added", "2013-05-04 18:22:10 +0200"}}),
              (QVariantMap{{"added", "2013-05-04 16:22:10 +0000"}}));
    EXPECT_TRUE(isOneVersion({{"dateModified", "2013-05-04 23:30:00 -0230"}},
                             {{"dateModified", "2013-05-05 02:00:00 +0000"}}));
    EXPECT_FALSE(isOneVersion({{"dateModified", "2013-05-05 02:00:00 +0000"}},
                              {{"dateModified", "2013-05-05 02:00:01 +0000"}}));
}

TEST_F(TravellingForm, Text_that_looks_like_a_date_stays_as_it_is) {
    const QVariantMap record{{"title", "2013-05-04 18:22:10 +0200"}};
    EXPECT_EQ(form(record), record);
}

TEST_F(TravellingForm, Members_of_a_relationship_are_sorted_by_uuid_though_it_be_ordered) {
    const QVariantList members{reference("B"), reference("C"), reference("A")};
    const QVariantList sorted{reference("A"), reference("B"), reference("C")};
    for (const QString key : {"related", "chapters"}) {
        EXPECT_EQ(book->entity().property(key)->isOrdered(), key == "chapters");
        EXPECT_EQ(form({{key, members}}), (QVariantMap{{key, sorted}}));
        EXPECT_TRUE(isOneVersion({{key, members}}, {{key, sorted}}));
    }
}

TEST_F(TravellingForm, A_null_member_is_the_same_as_none) {
    EXPECT_EQ(form({{"title", "T"}, {"pages", null()}, {"author", QVariant()}}),
              (QVariantMap{{"title", "T"}}));
    EXPECT_TRUE(isOneVersion({{"title", "T"}, {"author", null()}}, {{"title", "T"}}));
    EXPECT_FALSE(isOneVersion({{"title", ""}}, {{"title", null()}}));
}

TEST_F(TravellingForm, Members_that_nobody_describes_count) {
    const QVariantMap record{{"title", "T"}, {"future", QVariantList{2, 1}}};
    EXPECT_EQ(form(record), record);
    EXPECT_FALSE(isOneVersion(record, {{"title", "T"}}));
}

TEST_F(TravellingForm, The_bytes_in_which_a_record_has_travelled_do_not_count) {
    const auto left = qw::sync::recordFromFileBytes(R"({"title":"T","pages":1})");
    const auto right = qw::sync::recordFromFileBytes("{ \"pages\" : 1,\n  \"title\" : \"\\u0054\" }\n");
    ASSERT_TRUE(left && right);
    EXPECT_TRUE(isOneVersion(*left, *right));
}

// Desktops with another release of the library compare it, too.
TEST_F(TravellingForm, Its_hash_is_the_same_in_every_release) {
    // SHA-256 of {"dateModified":"2013-05-04 16:22:10 +0000","title":"T"}
    EXPECT_EQ(travellingHash({{"title", "T"}, {"dateModified", "2013-05-04 18:22:10 +0200"}}, *book)->toHex(),
              "e7dd710d7c8c1e7a6aa2f3f186bf9540316b48e9381f47a3e083eaaf09471ee6");
}

TEST_F(TravellingForm, A_form_is_its_own_form) {
    const QVariantMap once = form({{"added", "2013-05-04 18:22:10 +0200"},
                                   {"related", QVariantList{reference("B"), reference("A")}},
                                   {"pages", null()}});
    EXPECT_EQ(form(once), once);
}

TEST_F(TravellingForm, A_value_of_another_type_than_described_does_no_harm) {
    EXPECT_NO_THROW(form({{"added", 7}, {"related", "none"}, {"author", QVariantList{1}}}));
    EXPECT_NO_THROW(form({{"related", QVariantList{"A", QVariantMap(), 7}}}));
    EXPECT_TRUE(travellingHash({{"added", "soon"}}, *book));
}

TEST_F(TravellingForm, A_hash_needs_no_record_of_the_entity) {
    const QVariantMap record{{"added", "2013-05-04 18:22:10 +0200"},
                             {"related", QVariantList{reference("B"), reference("A")}},
                             {"pages", null()}};
    EXPECT_EQ(travellingHash(record, book->entity()), travellingHash(record, *book));
}

TEST_F(TravellingForm, A_record_that_no_file_can_carry_has_no_hash) {
    EXPECT_FALSE(travellingHash({{"huge", std::numeric_limits<qulonglong>::max()}}, *book));
}
