#include "formatters/NSNumberFormatter_PreconfiguredFormatters.h"
#include "support/ScopedLocale.h"

#include <cmath>
#include <gmock/gmock.h>
#include <limits>

namespace {

using testing::Values;

struct Row {
    const char* operation;
    std::unique_ptr<QWNumberFormatter> (*make)();
    bool allowsFloats;
    int maximumFractionDigits;
};

struct PreconfiguredFormatter : testing::TestWithParam<Row> {};

TEST_P(PreconfiguredFormatter, Has_the_settings_of_its_name) {
    const ScopedLocale locale("de_CH");
    const auto formatter = GetParam().make();
    EXPECT_EQ(formatter->formatterBehavior(), 1040);
    EXPECT_EQ(formatter->numberStyle(), 1);
    EXPECT_EQ(formatter->locale(), QLocale("de_CH"));
    EXPECT_EQ(formatter->allowsFloats(), GetParam().allowsFloats);
    EXPECT_EQ(formatter->maximumFractionDigits(), GetParam().maximumFractionDigits);
    EXPECT_FALSE(formatter->isLenient());
}

TEST_P(PreconfiguredFormatter, Is_a_new_one_at_each_call) {
    const auto first = GetParam().make(), second = GetParam().make();
    EXPECT_NE(first, second);
    first->setMaximumFractionDigits(0);
    EXPECT_EQ(second->maximumFractionDigits(), GetParam().maximumFractionDigits);
}

INSTANTIATE_TEST_SUITE_P(Operations, PreconfiguredFormatter,
                         Values(Row{"Integer", localizedIntegerFormatter, false, 3},
                                Row{"Float", localizedFloatFormatter, true, 2}),
                         [](const auto& row) { return std::string(row.param.operation); });

struct Shown {
    const char* locale;
    QVariant number;
    QString text;
};

struct FloatShown : testing::TestWithParam<Shown> {};

TEST_P(FloatShown, With_two_digits_of_a_fraction_at_most) {
    const ScopedLocale locale(GetParam().locale);
    EXPECT_EQ(localizedFloatFormatter()->stringForObjectValue(GetParam().number), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(HalfEvenOnTheShortestForm, FloatShown,
                         Values(Shown{"en_US", 2.345, "2.34"}, Shown{"en_US", 0.125, "0.12"},
                                Shown{"en_US", 1.005, "1"}, Shown{"en_US", 2.5, "2.5"},
                                Shown{"en_US", 2.0, "2"}, Shown{"en_US", 2.675, "2.68"},
                                Shown{"en_US", -0.001, "-0"}, Shown{"en_US", 1.5f, "1.5"},
                                Shown{"en_US", 1234.567, "1,234.57"}));

INSTANTIATE_TEST_SUITE_P(Locales, FloatShown,
                         Values(Shown{"de_DE", 1234.5, "1.234,5"}, Shown{"es_ES", 1234, "1.234"},
                                Shown{"pl_PL", 1234, "1\u00a0234"}, Shown{"pt_PT", 1234, "1\u00a0234"},
                                Shown{"de_CH", 1234.5, "1’234.5"}, Shown{"fr_FR", 1234.5, "1\u202f234,5"},
                                Shown{"en_IN", 1234567, "12,34,567"}, Shown{"ar_EG", 1234.5, "١٬٢٣٤٫٥"},
                                Shown{"C", 1234.5, "1,234.5"}));

INSTANTIATE_TEST_SUITE_P(
    Numbers, FloatShown,
    Values(Shown{"en_US", std::numeric_limits<quint64>::max(), "18,446,744,073,709,551,615"},
           Shown{"en_US", QVariant::fromValue(std::numeric_limits<unsigned long>::max()),
                 "18,446,744,073,709,551,615"},
           Shown{"en_US", std::numeric_limits<qint64>::min(), "-9,223,372,036,854,775,808"},
           Shown{"en_US", true, "1"}, Shown{"en_US", std::nan(""), "NaN"},
           Shown{"en_US", std::numeric_limits<double>::infinity(), "∞"}));

TEST(NumberFormatter, Shows_nothing_but_numbers) {
    for (const QVariant& other : {QVariant(), QVariant("5"), QVariant(QVariantList{5})})
        EXPECT_TRUE(localizedFloatFormatter()->stringForObjectValue(other).isNull());
}

TEST(NumberFormatter, Shows_a_fraction_that_it_would_not_read) {
    const ScopedLocale english("en_US");
    EXPECT_EQ(localizedIntegerFormatter()->stringFromNumber(1.2345), u"1.234");
}

TEST(NumberFormatter, Without_a_style_has_neither_groups_nor_fractions_until_they_are_set) {
    QWNumberFormatter formatter;
    formatter.setLocale(QLocale("en_US"));
    EXPECT_EQ(formatter.formatterBehavior(), QWNumberFormatterBehaviorDefault);
    EXPECT_TRUE(formatter.allowsFloats());
    EXPECT_EQ(formatter.stringFromNumber(1234567), u"1234567");
    EXPECT_EQ(formatter.stringFromNumber(2.5), u"2");
    EXPECT_EQ(formatter.stringFromNumber(0), u"0");
    formatter.setMaximumFractionDigits(1);
    EXPECT_EQ(formatter.stringFromNumber(2.55), u"2.6");
    formatter.setMaximumFractionDigits(-1);
    EXPECT_EQ(formatter.stringFromNumber(2.55), u"3");
}

TEST(NumberFormatter, Keeps_the_digits_that_were_set_when_its_style_changes) {
    QWNumberFormatter formatter;
    formatter.setLocale(QLocale("en_US"));
    formatter.setMaximumFractionDigits(1);
    formatter.setNumberStyle(QWNumberFormatterDecimalStyle);
    EXPECT_EQ(formatter.stringFromNumber(1234.567), u"1,234.6");
    formatter.setLocale(QLocale("de_DE"));
    EXPECT_EQ(formatter.stringFromNumber(1234.567), u"1.234,6");
}

struct Typed {
    QString text;
    std::optional<qint64> strict, lenient;
};

struct WholeNumberTyped : testing::TestWithParam<Typed> {};

TEST_P(WholeNumberTyped, Is_read_where_the_whole_text_is_one) {
    QWNumberFormatter formatter;
    formatter.setLocale(QLocale("en_US"));
    formatter.setAllowsFloats(false);
    for (const auto& expected : {GetParam().strict, GetParam().lenient}) {
        const QVariant number = formatter.numberFromString(GetParam().text);
        EXPECT_EQ(number, expected ? QVariant(*expected) : QVariant());
        EXPECT_EQ(number.isValid(), expected.has_value());
        formatter.setLenient(true);
    }
}

INSTANTIATE_TEST_SUITE_P(Forms, WholeNumberTyped,
                         Values(Typed{"12", 12, 12}, Typed{"05", 5, 5}, Typed{"", std::nullopt, std::nullopt},
                                Typed{"abc", std::nullopt, std::nullopt},
                                Typed{"12abc", std::nullopt, std::nullopt},
                                Typed{"1.5", std::nullopt, std::nullopt}, Typed{"-3", -3, -3},
                                Typed{" 12", std::nullopt, 12}, Typed{"5 ", std::nullopt, std::nullopt},
                                Typed{"+3", std::nullopt, 3}, Typed{"1,234", std::nullopt, std::nullopt},
                                Typed{"١٢", 12, 12}, Typed{"2E1", 20, 20},
                                Typed{"15E-1", std::nullopt, std::nullopt}));

TEST(NumberFormatter, Reads_fractions_and_groups_of_its_locale) {
    const ScopedLocale german("de_DE");
    const auto formatter = localizedFloatFormatter();
    EXPECT_EQ(formatter->numberFromString("1.234,5"), 1234.5);
    EXPECT_EQ(formatter->numberFromString("1,2345"), 1.2345); // reading is not limited to two digits
    EXPECT_EQ(formatter->numberFromString("7").typeId(), QMetaType::LongLong);
    EXPECT_EQ(formatter->numberFromString("20000000000000000000"), 2e19);
    EXPECT_FALSE(localizedIntegerFormatter()->numberFromString("1,5").isValid());
}

TEST(NumberFormatter, Reads_powers_of_ten_and_finite_numbers_only) {
    const ScopedLocale english("en_US");
    const auto formatter = localizedFloatFormatter();
    EXPECT_EQ(formatter->numberFromString("1E3"), 1000);
    EXPECT_EQ(formatter->numberFromString("9E-999999999"), 0.0);
    for (const char* text : {"9E999999999", "∞", "-∞", "NaN"})
        EXPECT_FALSE(formatter->numberFromString(text).isValid()) << text;
}

TEST(NumberFormatter, Reads_no_text_of_more_than_2000_characters) {
    const ScopedLocale english("en_US");
    const auto formatter = localizedIntegerFormatter();
    EXPECT_EQ(formatter->numberFromString(QString(1999, '0') + '7'), 7);
    EXPECT_FALSE(formatter->numberFromString(QString(2000, '0') + '7').isValid());
}

TEST(NumberFormatter, Reads_an_empty_text_as_no_value_and_refuses_what_is_no_number) {
    const auto formatter = localizedFloatFormatter();
    QVariant value = 5;
    EXPECT_TRUE(formatter->getObjectValue(&value, ""));
    EXPECT_FALSE(value.isValid());
    QString errorText = "as it was";
    EXPECT_FALSE(formatter->getObjectValue(&value, "five", &errorText));
    EXPECT_EQ(errorText, u"as it was");
    EXPECT_TRUE(formatter->getObjectValue(&value, "5"));
    EXPECT_EQ(value, 5);
}

} // namespace
