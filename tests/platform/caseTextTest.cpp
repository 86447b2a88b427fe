#include "platform/text/QWText.h"

#include <gmock/gmock.h>

namespace {

using namespace qw::text;

struct Mapping {
    QString in;
    QString out;
};

class CapitalizedText : public testing::TestWithParam<Mapping> {};

TEST_P(CapitalizedText, Starts_each_word_with_a_title_case_letter) {
    EXPECT_EQ(capitalized(GetParam().in), GetParam().out);
}

INSTANTIATE_TEST_SUITE_P(Table, CapitalizedText,
                         testing::Values(Mapping{"", ""}, Mapping{"book", "Book"}, Mapping{"BOOK", "Book"},
                                         Mapping{"o'brien", "O'brien"}, Mapping{"o’brien", "O’brien"},
                                         Mapping{"u.s.a", "U.s.a"}, Mapping{"book-author", "Book-Author"},
                                         Mapping{"book_author", "Book_Author"}, Mapping{"3com", "3Com"},
                                         Mapping{"map2d", "Map2D"}, Mapping{"ßtraße", "Sstraße"},
                                         Mapping{"ǆ", "ǅ"}, Mapping{"red  book ", "Red  Book "},
                                         Mapping{"élan ÉLAN", "Élan Élan"},
                                         Mapping{"E\u0301LAN", "E\u0301lan"}, Mapping{"ΟΔΟΣ", "Οδος"},
                                         Mapping{"ΑΣ ΣΑ", "Ας Σα"}, Mapping{"İSTANBUL", "İstanbul"},
                                         Mapping{"日本 japan", "日本 Japan"}, Mapping{"𐐨𐐨", "𐐀𐐨"}));

TEST(CapitalizedName, Of_an_entity_with_an_inner_capital_does_not_survive_lower_case) {
    EXPECT_EQ(capitalized(lowercase("Book_Author")), u"Book_Author");
    EXPECT_EQ(capitalized(lowercase("Map2D")), u"Map2D");
    EXPECT_EQ(capitalized(lowercase("BookAuthor")), u"Bookauthor");
    EXPECT_EQ(capitalized(lowercase("Map2d")), u"Map2D");
}

class LowercaseText : public testing::TestWithParam<Mapping> {};

TEST_P(LowercaseText, Uses_the_full_mapping_without_a_locale) {
    EXPECT_EQ(lowercase(GetParam().in), GetParam().out);
}

INSTANTIATE_TEST_SUITE_P(Table, LowercaseText,
                         testing::Values(Mapping{"", ""}, Mapping{"AZaz[`{@09", "azaz[`{@09"},
                                         Mapping{"İ", "i\u0307"}, Mapping{"ΟΔΟΣ", "οδος"},
                                         Mapping{"ÉLAN", "élan"}, Mapping{"I", "i"}, Mapping{"ẞ", "ß"}));

class UppercaseText : public testing::TestWithParam<Mapping> {};

TEST_P(UppercaseText, Uses_the_full_mapping_without_a_locale) {
    EXPECT_EQ(uppercase(GetParam().in), GetParam().out);
}

INSTANTIATE_TEST_SUITE_P(Table, UppercaseText,
                         testing::Values(Mapping{"", ""}, Mapping{"AZaz[`{@09", "AZAZ[`{@09"},
                                         Mapping{"straße", "STRASSE"}, Mapping{"ﬁn", "FIN"},
                                         Mapping{"i", "I"}, Mapping{"élan", "ÉLAN"}));

TEST(CodePointOrder, Puts_characters_beyond_the_basic_plane_last) {
    EXPECT_LT(compareCodePoints(u"\uFF5E", u"\U0001D7D9"), 0); // their first units compare the other way
    EXPECT_GT(compareCodePoints(u"\U0001D7D9", u"\uFF5E"), 0);
    EXPECT_LT(compareCodePoints(u"a", u"b"), 0);
    EXPECT_LT(compareCodePoints(u"a", u"ab"), 0);
    EXPECT_EQ(compareCodePoints(u"ab", u"ab"), 0);
    EXPECT_EQ(compareCodePoints(u"", {}), 0);
    EXPECT_GT(compareCodePoints(u"a", {}), 0);
    EXPECT_LT(compareCodePoints({}, u"a"), 0);
}

} // namespace
