#include "platform/text/QWText.h"

#include <QUuid>
#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

namespace {

using namespace qw::text;

struct Pair {
    QString left;
    QString right;
};

class SameButForCase : public testing::TestWithParam<Pair> {};

TEST_P(SameButForCase, Folds_to_the_same_text) {
    EXPECT_EQ(foldCase(GetParam().left), foldCase(GetParam().right));
    EXPECT_EQ(foldCaseAndMarks(GetParam().left), foldCaseAndMarks(GetParam().right));
}

INSTANTIATE_TEST_SUITE_P(Table, SameButForCase,
                         testing::Values(Pair{"straße", "STRASSE"}, Pair{"é", "e\u0301"},
                                         Pair{"É", "e\u0301"}, Pair{"ẞ", "ss"}, Pair{"ΟΔΟΣ", "οδοσ"},
                                         Pair{"οδος", "οδοσ"}, Pair{"\u212B", "å"}, Pair{"ﬁ", "FI"},
                                         Pair{"\u0390", "\u03AA\u0301"}, Pair{"한", "\u1112\u1161\u11AB"},
                                         Pair{"Abc", "aBC"}, Pair{"", ""}));

class OtherLetters : public testing::TestWithParam<Pair> {};

TEST_P(OtherLetters, Stay_apart_even_without_marks) {
    EXPECT_NE(foldCase(GetParam().left), foldCase(GetParam().right));
    EXPECT_NE(foldCaseAndMarks(GetParam().left), foldCaseAndMarks(GetParam().right));
}

INSTANTIATE_TEST_SUITE_P(Table, OtherLetters,
                         testing::Values(Pair{"ø", "o"}, Pair{"ł", "l"}, Pair{"か", "が"}, Pair{"ı", "i"},
                                         Pair{"हिन्दी", "हनद"}, Pair{"a", "b"}));

class OtherMarks : public testing::TestWithParam<Pair> {};

TEST_P(OtherMarks, Count_for_foldCase_only) {
    EXPECT_NE(foldCase(GetParam().left), foldCase(GetParam().right));
    EXPECT_EQ(foldCaseAndMarks(GetParam().left), foldCaseAndMarks(GetParam().right));
}

INSTANTIATE_TEST_SUITE_P(Table, OtherMarks,
                         testing::Values(Pair{"É", "e"}, Pair{"e\u0301\u0323", "E"}, Pair{"й", "И"},
                                         Pair{"ά", "Α"}, Pair{"İ", "i"}, Pair{"\u212B", "a"},
                                         Pair{"Côte d’Ivoire", "COTE D’IVOIRE"}));

TEST(FoldMarks, Keeps_the_case) {
    EXPECT_EQ(foldMarks("Élan ÉTÉ"), u"Elan ETE");
    EXPECT_EQ(foldMarks("が 한국 plain"), u"が 한국 plain");
}

TEST(FoldMarks, Keeps_a_mark_without_a_base_out_of_accents) {
    EXPECT_EQ(foldMarks("\u0301x"), u"x");
}

TEST(FoldedOrder, Is_by_code_units_after_folding) {
    const QStringList sorted{"10", "3", "a!b", "a_b", "aab", "f", "É"};
    for (int index = 1; index < sorted.size(); ++index)
        EXPECT_LT(foldCase(sorted[index - 1]), foldCase(sorted[index])) << sorted[index].toStdString();
}

TEST(FoldCase, Keeps_what_looks_like_a_byte_order_mark) {
    EXPECT_EQ(foldCase("\uFEFFÉ"), QString("\uFEFFé"));
    EXPECT_EQ(foldCase("\uFFFEÉ"), QString("\uFFFEé"));
}

TEST(FoldCase, Of_text_that_is_folded_already_shares_its_characters) {
    const QString text = QStringLiteral("already folded").repeated(2);
    EXPECT_EQ(foldCase(text).constData(), text.constData());
}

rc::Gen<QString> anyText() {
    const auto character =
        rc::gen::oneOf(rc::gen::inRange<char32_t>(1, 0x600), rc::gen::inRange<char32_t>(1, 0xD800),
                       rc::gen::inRange<char32_t>(0xE000, 0x20000));
    return rc::gen::map(rc::gen::container<std::u32string>(character), [](const std::u32string& text) {
        return QString::fromUcs4(text.data(), qsizetype(text.size()));
    });
}

RC_GTEST_PROP(FoldedText, Is_idempotent_and_blind_to_normal_form_and_case, ()) {
    const QString text = *anyText();
    RC_ASSERT(foldCase(foldCase(text)) == foldCase(text));
    RC_ASSERT(foldCase(text.normalized(QString::NormalizationForm_D)) == foldCase(text));
    RC_ASSERT(foldCase(uppercase(text)) == foldCase(lowercase(uppercase(text))));
}

struct Stripped {
    QString in;
    QString out;
};

class StripCombiningMarks : public testing::TestWithParam<Stripped> {};

TEST_P(StripCombiningMarks, Removes_nonspacing_marks_and_recomposes) {
    EXPECT_EQ(stripCombiningMarks(GetParam().in), GetParam().out);
}

INSTANTIATE_TEST_SUITE_P(Table, StripCombiningMarks,
                         testing::Values(Stripped{"", ""}, Stripped{"é", "e"}, Stripped{"e\u0301", "e"},
                                         Stripped{"Élan", "Elan"}, Stripped{"øłﬁ", "øłﬁ"},
                                         Stripped{"한국", "한국"}, Stripped{"हिन्दी", "हिनदी"},
                                         Stripped{"مُحَمَّد", "محمد"}, Stripped{"أ", "ا"}, Stripped{"が", "か"},
                                         Stripped{"й", "и"}, Stripped{"\u212B", "A"},
                                         Stripped{"a\u20DD", "a\u20DD"}));

} // namespace
