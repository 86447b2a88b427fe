#include "platform/text/QWText.h"

#include <QStringList>
#include <random>
#include <rapidcheck/gtest.h>

using qw::text::SearchedText;

namespace {

bool begins(const QString& text, const QString& prefix) {
    return SearchedText(prefix).isPrefixOf(text);
}
bool contains(const QString& text, const QString& part) {
    return SearchedText(part).isPartOf(text);
}

// Texts of characters that fold, decompose or expand in ways of their own.
QString anyText(std::mt19937& random) {
    static const QStringList pieces{"a",      "A",  "e",      "é",        "E\u0301", "s",
                                    "ß",      "ss", "ﬁ",      "İ",        "ı",       "Σ",
                                    "ς",      "か", "が",     "か\u3099", "한",      "\u1112\u1161\u11AB",
                                    "\u1112", "й",  "\u0301", "🙂",     "e\u20DD", ",",
                                    " ",      "1",  "ᾳ",      "\u0345",   "\u093F",  "क"};
    QString text;
    for (auto count = random() % 5; count > 0; --count)
        text += pieces[int(random() % size_t(pieces.size()))];
    return text;
}

} // namespace

TEST(SearchedText, Case_and_accents_do_not_count) {
    EXPECT_TRUE(begins("Élan", "el"));
    EXPECT_TRUE(begins("elan", "ÉL"));
    EXPECT_TRUE(begins("E\u0301lan", "é"));
    EXPECT_TRUE(begins("Banana", "BA"));
    EXPECT_FALSE(begins("bread", "re"));
    EXPECT_TRUE(contains("crème brûlée", "BRULE"));
    EXPECT_FALSE(contains("crème", "x"));
}

TEST(SearchedText, An_empty_text_is_found_nowhere_and_neither_is_one_of_marks_alone) {
    for (const char* nothing : {"", "\u0301"}) {
        EXPECT_FALSE(begins("a", nothing));
        EXPECT_FALSE(begins("", nothing));
        EXPECT_FALSE(contains("a", nothing));
        EXPECT_FALSE(contains("", nothing));
    }
    EXPECT_FALSE(begins("", "a"));
    EXPECT_FALSE(contains("", "a"));
}

TEST(SearchedText, Only_whole_characters_are_found) {
    EXPECT_FALSE(begins("ßa", "s"));
    EXPECT_TRUE(begins("ßa", "ss"));
    EXPECT_TRUE(begins("ssa", "ß"));
    EXPECT_FALSE(contains("aß", "s"));
    EXPECT_TRUE(contains("aß", "SS"));
    EXPECT_FALSE(begins("が", "か"));
    EXPECT_FALSE(begins("e\u20DDa", "e"));
    EXPECT_FALSE(begins("한", "\u1112"));
    EXPECT_TRUE(begins("한국", "\u1112\u1161\u11AB"));
    EXPECT_FALSE(contains("aがb", "か"));
}

TEST(SearchedText, Letters_that_only_look_like_others_with_marks_stay_themselves) {
    EXPECT_FALSE(begins("øl", "o"));
    EXPECT_FALSE(begins("łan", "l"));
}

TEST(SearchedText, The_length_of_a_prefix_counts_the_units_of_the_text_that_was_searched) {
    EXPECT_EQ(SearchedText("BA").lengthAsPrefixOf(u"banana"), 2);
    EXPECT_EQ(SearchedText("e").lengthAsPrefixOf(u"E\u0301lan"), 2);
    EXPECT_EQ(SearchedText("ss").lengthAsPrefixOf(u"ßa"), 1);
    EXPECT_EQ(SearchedText("ß").lengthAsPrefixOf(u"ssa"), 2);
    EXPECT_EQ(SearchedText("x").lengthAsPrefixOf(u"banana"), 0);
}

RC_GTEST_PROP(SearchedText, Prefix_part_and_length_agree_with_each_other, ()) {
    std::mt19937 random(*rc::gen::noShrink(rc::gen::resize(rc::kNominalSize, rc::gen::arbitrary<quint32>())));
    for (int round = 0; round < 200; ++round) {
        const QString text = anyText(random), searched = anyText(random);
        const SearchedText search(searched);
        const qsizetype length = search.lengthAsPrefixOf(text);
        RC_ASSERT(search.isPrefixOf(text) == (length > 0));
        RC_ASSERT(length <= text.size());
        if (length > 0) {
            RC_ASSERT(search.isPartOf(text));
            // What was found and what was searched are each other's whole.
            RC_ASSERT(search.lengthAsPrefixOf(text.left(length)) == length);
            RC_ASSERT(begins(searched, text.left(length)));
        }
        if (!search.isPartOf(text))
            RC_ASSERT(!begins(text, searched));
        if (qw::text::foldCaseAndMarks(searched).size() > 0)
            RC_ASSERT(begins(searched + ", " + text, searched));
    }
}

// Whether a reader sees a character end here: neither a mark nor the rest of a Hangul syllable follows.
bool isBetweenCharacters(const QString& text, qsizetype place) {
    if (place == text.size())
        return true;
    const QChar next = text[place];
    const bool isRestOfSyllable = next >= QChar(0x1160) && next <= QChar(0x11ff);
    return !next.isLowSurrogate() && !next.isMark() && !isRestOfSyllable;
}

RC_GTEST_PROP(SearchedText, Is_a_prefix_exactly_when_the_first_characters_fold_to_the_same, ()) {
    std::mt19937 random(*rc::gen::noShrink(rc::gen::resize(rc::kNominalSize, rc::gen::arbitrary<quint32>())));
    for (int round = 0; round < 200; ++round) {
        const QString searched = anyText(random);
        const QString text = random() % 2 ? anyText(random) : searched.toUpper() + anyText(random);
        const QString folded = qw::text::foldCaseAndMarks(searched);
        bool expected = false;
        for (qsizetype length = 1; length <= text.size() && !folded.isEmpty(); ++length)
            expected = expected
                       || (isBetweenCharacters(text, length)
                           && qw::text::foldCaseAndMarks(text.left(length)) == folded);
        RC_ASSERT(begins(text, searched) == expected);
    }
}
