#include "formatters/QWMinuteSecondsFormatter.h"
#include "support/ScopedLocale.h"

#include <cmath>
#include <gmock/gmock.h>
#include <limits>

namespace {

using testing::Values;

struct MinuteSeconds : testing::Test {
    ScopedLocale english{"en_US"};
    QWMinuteSecondsFormatter formatter;
};

struct Shown {
    QVariant number;
    QString text;
};

struct ShownSeconds : MinuteSeconds, testing::WithParamInterface<Shown> {};

TEST_P(ShownSeconds, Are_minutes_and_two_digits_of_seconds) {
    EXPECT_EQ(formatter.stringFromNumberOfSeconds(GetParam().number), GetParam().text);
    EXPECT_EQ(formatter.stringForObjectValue(GetParam().number), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Numbers, ShownSeconds,
                         Values(Shown{0, "0:00"}, Shown{59, "0:59"}, Shown{60, "1:00"}, Shown{61, "1:01"},
                                Shown{3600, "60:00"}, Shown{90.9, "1:30"}, Shown{true, "0:01"},
                                Shown{std::numeric_limits<quint64>::max(), "307445734561825860:15"},
                                Shown{QVariant::fromValue(std::numeric_limits<unsigned long>::max()),
                                      "307445734561825860:15"},
                                Shown{1e300, "307445734561825860:15"}));

struct Typed {
    QString text;
    std::optional<quint64> seconds;
};

struct TypedSeconds : MinuteSeconds, testing::WithParamInterface<Typed> {};

TEST_P(TypedSeconds, Are_two_numbers_with_one_colon) {
    const QString text = GetParam().text;
    const QVariant expected = GetParam().seconds ? QVariant(*GetParam().seconds) : QVariant();
    const QVariant read = formatter.numberOfSecondsFromString(text);
    EXPECT_EQ(read, expected);
    EXPECT_EQ(read.typeId(), expected.typeId());
    QVariant value = "overwritten in any case";
    QString errorText = "as it was";
    EXPECT_EQ(formatter.getObjectValue(&value, text, &errorText), GetParam().seconds.has_value());
    EXPECT_EQ(value, expected);
    EXPECT_EQ(errorText, u"as it was");
}

INSTANTIATE_TEST_SUITE_P(
    Forms, TypedSeconds,
    Values(Typed{"1:30", 90}, Typed{"0:05", 5}, Typed{"1:75", 135}, Typed{"60:00", 3600},
           Typed{"", std::nullopt}, Typed{"90", std::nullopt}, Typed{"1:30:00", std::nullopt},
           Typed{":30", std::nullopt}, Typed{"1:", std::nullopt}, Typed{":", std::nullopt},
           Typed{"1.5:00", std::nullopt}, Typed{"15E-1:00", std::nullopt}, Typed{"1:3x", std::nullopt},
           Typed{" 1:30", std::nullopt}, Typed{"1: 30", std::nullopt}, Typed{"1:30 ", std::nullopt},
           Typed{"+1:30", std::nullopt}, Typed{"1,000:00", std::nullopt}, Typed{"a:b", std::nullopt},
           Typed{"١:٣٠", 90}, Typed{"-1:30", 18446744073709551586u}, Typed{"0:-5", 18446744073709551611u}));

TEST_F(MinuteSeconds, Shows_no_negative_number) {
    for (const QVariant& negative : {QVariant(-1), QVariant(-0.5), QVariant(-0.0), QVariant(std::nan(""))})
        EXPECT_TRUE(formatter.stringFromNumberOfSeconds(negative).isNull());
}

TEST_F(MinuteSeconds, Shows_null_as_zero_only_where_a_number_is_asked_for) {
    EXPECT_EQ(formatter.stringFromNumberOfSeconds({}), u"0:00");
    EXPECT_TRUE(formatter.stringForObjectValue({}).isNull());
}

TEST_F(MinuteSeconds, Shows_nothing_but_numbers) {
    for (const QVariant& other : {QVariant("61"), QVariant(QVariantList{61})}) {
        EXPECT_TRUE(formatter.stringForObjectValue(other).isNull());
        EXPECT_TRUE(formatter.stringFromNumberOfSeconds(other).isNull());
    }
}

TEST_F(MinuteSeconds, Makes_its_number_formatter_once_and_anew_after_null) {
    const auto first = formatter.supportNumberFormatter();
    EXPECT_FALSE(first->allowsFloats());
    EXPECT_FALSE(first->isLenient());
    EXPECT_EQ(first->numberStyle(), QWNumberFormatterNoStyle);
    EXPECT_EQ(formatter.supportNumberFormatter(), first);
    formatter.setSupportNumberFormatter(nullptr);
    EXPECT_NE(formatter.supportNumberFormatter(), first);
    EXPECT_EQ(formatter.numberOfSecondsFromString("1:30"), 90);
}

TEST_F(MinuteSeconds, Reads_with_the_number_formatter_that_the_host_sets) {
    const auto number = std::make_shared<QWNumberFormatter>();
    number->setLenient(true);
    formatter.setSupportNumberFormatter(number);
    EXPECT_EQ(formatter.supportNumberFormatter(), number);
    EXPECT_EQ(formatter.numberOfSecondsFromString(" +1: 30"), 90);
    EXPECT_EQ(formatter.numberOfSecondsFromString("1.5:00"), 60); // the whole part
    EXPECT_EQ(formatter.numberOfSecondsFromString("-1.5:00"), quint64(-60));
    EXPECT_EQ(formatter.numberOfSecondsFromString("0:-1E30"), quint64(1) << 63); // the nearest of 64 bits
}

TEST_F(MinuteSeconds, Reads_what_it_shows) {
    for (quint64 seconds = 0; seconds < 10000; seconds += 7)
        EXPECT_EQ(formatter.numberOfSecondsFromString(formatter.stringFromNumberOfSeconds(seconds)), seconds);
}

} // namespace
