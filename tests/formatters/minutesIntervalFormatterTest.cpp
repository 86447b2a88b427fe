#include "formatters/QWMinutesIntervalFormatter.h"
#include "support/ScopedLocale.h"
#include "support/ScopedTimeZone.h"

#include <QDateTime>
#include <cmath>
#include <gmock/gmock.h>
#include <limits>

namespace {

using testing::Values;

struct MinutesInterval : testing::Test {
    ScopedLocale english{"en_US"};
    QWMinutesIntervalFormatter formatter;

    QString shown(const QVariant& number) const { return formatter.stringForObjectValue(number); }
};

// What is typed, what remains of it, and what is read: no value (nullopt) from a text that is refused, a null
// number from one that means none.
struct Typed {
    QString text;
    QString cleaned;
    std::optional<QVariant> minutes;
};
const QVariant none;

QVariant number(quint64 value) {
    return value;
}

struct TypedMinutes : MinutesInterval, testing::WithParamInterface<Typed> {};

TEST_P(TypedMinutes, Are_cleaned_and_read) {
    const QString text = GetParam().text;
    EXPECT_EQ(formatter.cleanedStringFromString(text), GetParam().cleaned);
    const QVariant before = "as it was";
    QVariant value = before, sameValue = before;
    QString errorText = "as it was";
    const bool isRead = formatter.getNumberOfMinutes(&value, text);
    EXPECT_EQ(isRead, GetParam().minutes.has_value());
    EXPECT_EQ(value, GetParam().minutes.value_or(before));
    const int type = GetParam().minutes.value_or(before).typeId();
    EXPECT_EQ(value.typeId(), type);
    EXPECT_EQ(formatter.getObjectValue(&sameValue, text, &errorText), isRead);
    EXPECT_EQ(sameValue, value);
    EXPECT_EQ(errorText, u"as it was");
    EXPECT_EQ(formatter.numberOfMinutesFromString(text), GetParam().minutes.value_or(none));
}

INSTANTIATE_TEST_SUITE_P(Forms, TypedMinutes,
                         Values(Typed{"90", "90", number(90)}, Typed{"1h30", "1h30", number(90)},
                                Typed{"1 h 30", "1h30", number(90)},
                                Typed{"1 hour 30 minutes", "1h30", number(90)},
                                Typed{"2 hrs", "2h", number(120)}, Typed{"2hr15'", "2h15", number(135)},
                                Typed{"h45", "h45", number(45)}, Typed{"3h", "3h", number(180)},
                                Typed{"1.5 hours", "1.5h", number(60)}, Typed{"1:30", "1:30", number(1)},
                                Typed{"1H30", "1H30", number(1)}, Typed{"   ", "", number(0)},
                                Typed{"", "", none}, Typed{"abc", "abc", std::nullopt},
                                Typed{"-5", "-5", std::nullopt}, Typed{"x1", "x1", std::nullopt},
                                Typed{"1hx", "1hx", std::nullopt}, Typed{"1h2h3", "1h2h3", std::nullopt}));

INSTANTIATE_TEST_SUITE_P(
    Further, TypedMinutes,
    Values(Typed{"1 HOUR 30 MIN", "1h30", number(90)}, Typed{"h", "h", number(0)},
           Typed{"xh5", "xh5", std::nullopt}, Typed{"hh", "hh", std::nullopt}, Typed{"5min.", "5", number(5)},
           Typed{"1 Hours 2 Minute", "1h2", number(62)}, Typed{"\t5", "\t5", std::nullopt},
           Typed{"5\t", "5\t", number(5)}, Typed{"\u00a05", "\u00a05", std::nullopt},
           Typed{"١h٣٠", "١h٣٠", number(90)}, Typed{"²", "²", std::nullopt}, Typed{"𝟙", "𝟙", std::nullopt},
           Typed{"2 h rs", "2hrs", std::nullopt}, Typed{"1 ho urs 5 m in", "1hours5min", std::nullopt},
           Typed{"2 h'r", "2hr", std::nullopt}, Typed{"5 miminn", "5min", number(5)},
           Typed{"1h-5", "1h-5", std::nullopt}, Typed{"12abc", "12abc", number(12)},
           Typed{"9223372036854775807", "9223372036854775807", number(9223372036854775807u)},
           Typed{"9223372036854775808", "9223372036854775808", number(9223372036854775807u)},
           Typed{"99999999999999999999h", "99999999999999999999h", number(18446744073709551556u)}));

TEST_F(MinutesInterval, Begins_in_style_0) {
    EXPECT_EQ(formatter.style(), 0);
}

TEST_F(MinutesInterval, The_separator_of_hours_is_an_h) {
    EXPECT_EQ(QWMIFHourShortSeparator, u"h");
}

TEST_F(MinutesInterval, Shows_hours_and_minutes) {
    EXPECT_EQ(shown(1), u"1 minutes");
    EXPECT_EQ(shown(45), u"45 minutes");
    EXPECT_EQ(shown(60), u"1 hour 0 minutes");
    EXPECT_EQ(shown(61), u"1 hour 1 minutes");
    EXPECT_EQ(shown(90), u"1 hour 30 minutes");
    EXPECT_EQ(shown(120), u"2 hours 0 minutes");
    EXPECT_EQ(shown(1440), u"24 hours 0 minutes");
    EXPECT_EQ(shown(12345), u"205 hours 45 minutes");
}

TEST_F(MinutesInterval, Shows_no_negative_number_and_zero_in_both_styles) {
    for (const qint32 style : {0, 1}) {
        formatter.setStyle(style);
        EXPECT_EQ(shown(0), u"0 minutes");
        for (const QVariant& negative :
             {QVariant(-1), QVariant(-0.5), QVariant(-0.0), QVariant(std::nan(""))})
            EXPECT_TRUE(shown(negative).isNull());
    }
}

TEST_F(MinutesInterval, Shows_numbers_of_every_type_and_nothing_else) {
    EXPECT_EQ(shown(quint64(90)), u"1 hour 30 minutes");
    EXPECT_EQ(shown(90.9), u"1 hour 30 minutes"); // cut, not rounded
    EXPECT_EQ(shown(90.0f), u"1 hour 30 minutes");
    EXPECT_EQ(shown(true), u"1 minutes");
    for (const QVariant& other : {QVariant(), QVariant("90"), QVariant(QVariantList{90}),
                                  QVariant(QDateTime::currentDateTime()), QVariant::fromValue(nullptr)})
        EXPECT_TRUE(shown(other).isNull());
    EXPECT_TRUE(formatter.stringFromNumberOfMinutes({}).isNull());
}

TEST_F(MinutesInterval, Shows_minutes_and_24_times_the_hours_in_any_other_style) {
    for (const qint32 style : {1, 2, -1}) {
        formatter.setStyle(style);
        EXPECT_EQ(shown(1), u"1 minutes");
        EXPECT_EQ(shown(45), u"45 minutes");
        EXPECT_EQ(shown(59), u"59 minutes");
        EXPECT_EQ(shown(60), u"24 minutes");
        EXPECT_EQ(shown(90), u"54 minutes");
        EXPECT_EQ(shown(120), u"48 minutes");
    }
}

TEST_F(MinutesInterval, Puts_given_hours_and_minutes_into_words) {
    EXPECT_EQ(formatter.localizedStringWithHours(1, 30), u"1 hour 30 minutes");
    EXPECT_EQ(formatter.localizedStringWithHours(2, 0), u"2 hours 0 minutes");
    EXPECT_EQ(formatter.localizedStringWithHours(1, 1), u"1 hour 1 minutes");
    EXPECT_EQ(formatter.localizedStringWithHours(0, 75), u"75 minutes");
    const quint64 most = std::numeric_limits<quint64>::max();
    EXPECT_EQ(formatter.localizedStringWithHours(1000, most), u"1000 hours 18446744073709551615 minutes");
    formatter.setStyle(1);
    EXPECT_EQ(formatter.localizedStringWithHours(1, 30), u"54 minutes");
    EXPECT_EQ(formatter.localizedStringWithHours(1, most), u"23 minutes"); // wraps
}

struct OfTheCalendar {
    quint64 minutes;
    QString shown;
};

struct MinutesByTheCalendar : MinutesInterval, testing::WithParamInterface<OfTheCalendar> {};

TEST_P(MinutesByTheCalendar, Count_hours_within_a_month) {
    EXPECT_EQ(shown(GetParam().minutes), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    MonthsOfYear1, MinutesByTheCalendar,
    Values(OfTheCalendar{44639, "743 hours 59 minutes"}, OfTheCalendar{44640, "0 minutes"},
           OfTheCalendar{44701, "1 hour 1 minutes"}, OfTheCalendar{84959, "671 hours 59 minutes"},
           OfTheCalendar{84960, "0 minutes"}, OfTheCalendar{129599, "743 hours 59 minutes"},
           OfTheCalendar{129600, "0 minutes"}, OfTheCalendar{172799, "719 hours 59 minutes"},
           OfTheCalendar{172800, "0 minutes"}, OfTheCalendar{217440, "0 minutes"},
           OfTheCalendar{260640, "0 minutes"}, OfTheCalendar{305280, "0 minutes"},
           OfTheCalendar{349920, "0 minutes"}, OfTheCalendar{393120, "0 minutes"},
           OfTheCalendar{437760, "0 minutes"}, OfTheCalendar{480960, "0 minutes"},
           OfTheCalendar{525599, "743 hours 59 minutes"}, OfTheCalendar{525600, "0 minutes"}));

// Leap days of the Julian calendar until 1582, when ten days were passed over, and of the Gregorian after it.
INSTANTIATE_TEST_SUITE_P(LaterYears, MinutesByTheCalendar,
                         Values(OfTheCalendar{1051200, "0 minutes"}, OfTheCalendar{1576800, "0 minutes"},
                                OfTheCalendar{1661760, "672 hours 0 minutes"},
                                OfTheCalendar{2103840, "0 minutes"},
                                OfTheCalendar{52153920, "672 hours 0 minutes"},
                                OfTheCalendar{831941279, "95 hours 59 minutes"},
                                OfTheCalendar{831941280, "336 hours 0 minutes"},
                                OfTheCalendar{2147483647, "506 hours 7 minutes"}));

TEST_F(MinutesInterval, Shows_the_largest_numbers_by_the_same_calendar) {
    const quint64 cycle = 146097 * 24 * 60; // 400 years: the Gregorian calendar begins anew
    EXPECT_EQ(shown(2147483647 + 1000000 * cycle), u"506 hours 7 minutes");
    const quint64 most = std::numeric_limits<quint64>::max();
    EXPECT_TRUE(shown(most).endsWith(" hours 15 minutes")); // its remainder by 60
    EXPECT_EQ(shown(1e300), shown(most));
    EXPECT_EQ(shown(std::numeric_limits<double>::infinity()), shown(most));
}

TEST_F(MinutesInterval, The_time_zone_leaves_no_trace) {
    for (const char* zone : {"IST-5:30", "NST3:30NDT,M3.2.0,M11.1.0", "<+13>-13"}) {
        const ScopedTimeZone elsewhere(zone);
        EXPECT_EQ(shown(90), u"1 hour 30 minutes");
        EXPECT_EQ(shown(44639), u"743 hours 59 minutes");
        EXPECT_EQ(shown(831941280), u"336 hours 0 minutes");
    }
}

TEST_F(MinutesInterval, Reads_one_piece_by_its_leading_digits) {
    quint64 minutes = 7;
    EXPECT_TRUE(formatter.getMinutes(&minutes, "12abc"));
    EXPECT_EQ(minutes, 12u);
    EXPECT_TRUE(formatter.getMinutesInHours(&minutes, "2x"));
    EXPECT_EQ(minutes, 120u);
    EXPECT_TRUE(formatter.getMinutes(&minutes, ""));
    EXPECT_EQ(minutes, 0u);
    minutes = 7;
    EXPECT_FALSE(formatter.getMinutes(&minutes, "abc"));
    EXPECT_FALSE(formatter.getMinutesInHours(&minutes, " 5"));
    EXPECT_EQ(minutes, 7u);
}

TEST_F(MinutesInterval, Offers_one_lenient_number_formatter_for_whole_numbers) {
    const auto number = formatter.integerNumberFormatter();
    EXPECT_FALSE(number->allowsFloats());
    EXPECT_TRUE(number->isLenient());
    EXPECT_EQ(number->numberStyle(), QWNumberFormatterNoStyle);
    EXPECT_EQ(formatter.integerNumberFormatter(), number);
}

TEST_F(MinutesInterval, Speaks_the_language_of_the_locale) {
    const ScopedLocale locale("de_DE");
    const QWMinutesIntervalFormatter german;
    EXPECT_EQ(german.stringFromNumberOfMinutes(90), u"1 Stunde 30 Minuten");
    EXPECT_EQ(german.stringFromNumberOfMinutes(120), u"2 Stunden 0 Minuten");
    EXPECT_EQ(german.numberOfMinutesFromString("2 STUNDEN 1 minute"), 121);
    EXPECT_EQ(german.numberOfMinutesFromString("2 hrs 5 min."), 125);
}

TEST_F(MinutesInterval, Shows_the_words_of_the_moment_and_reads_those_of_its_making) {
    const ScopedLocale locale("de_DE");
    EXPECT_EQ(shown(90), u"1 Stunde 30 Minuten");
    EXPECT_EQ(formatter.cleanedStringFromString("1 hour 30 minutes"), u"1h30");
    EXPECT_EQ(formatter.cleanedStringFromString("1 Stunde 30 Minuten"), u"1Stunde30n");
}

} // namespace
