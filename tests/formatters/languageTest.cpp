#include "formatters/NSNumberFormatter_PreconfiguredFormatters.h"
#include "formatters/QWMinuteSecondsFormatter.h"
#include "formatters/QWMinutesIntervalFormatter.h"
#include "platform/QWLocalizedString.h"
#include "support/HostTranslator.h"
#include "support/ScopedLocale.h"

#include <gmock/gmock.h>
#include <limits>

namespace {

// What a formatter shows, it reads as the same number, in every language of the library. The tests of what is
// lost name the exceptions.
struct EveryLanguage : testing::TestWithParam<const char*> {
    ScopedLocale locale{GetParam()};
    const QWMinutesIntervalFormatter minutesInterval;
    const QWMinuteSecondsFormatter minuteSeconds;
};

QVariant readBack(const QWFormatter& formatter, const QVariant& number) {
    const QString shown = formatter.stringForObjectValue(number);
    QVariant value;
    EXPECT_TRUE(formatter.getObjectValue(&value, shown)) << shown.toStdString();
    return value;
}

TEST_P(EveryLanguage, Reads_the_minutes_that_it_shows) {
    for (quint64 minutes = 0; minutes < 300; ++minutes)
        EXPECT_EQ(readBack(minutesInterval, minutes), minutes);
    for (quint64 minutes = 300; minutes < 44640; minutes += 61)
        EXPECT_EQ(readBack(minutesInterval, minutes), minutes);
    EXPECT_EQ(readBack(minutesInterval, 44639), 44639);
}

TEST_P(EveryLanguage, Loses_the_whole_months_and_in_other_styles_36_minutes_of_each_hour) {
    EXPECT_EQ(readBack(minutesInterval, 44640 + 90), 90);
    QWMinutesIntervalFormatter minutesAlone;
    minutesAlone.setStyle(1);
    EXPECT_EQ(readBack(minutesAlone, 59), 59);
    EXPECT_EQ(readBack(minutesAlone, 60), 24);
    EXPECT_EQ(readBack(minutesAlone, 150), 78);
}

TEST_P(EveryLanguage, Reads_each_of_its_words_in_any_case_and_with_no_blanks) {
    for (const char* hour : {"hours", "hour"}) {
        for (const char* minute : {"minutes", "minute"}) {
            const QString typed = "2" + QWLocalizedString(hour) + "05" + QWLocalizedString(minute);
            EXPECT_EQ(minutesInterval.cleanedStringFromString(typed), u"2h05");
            EXPECT_EQ(minutesInterval.numberOfMinutesFromString(typed), 125);
            EXPECT_EQ(minutesInterval.numberOfMinutesFromString(typed.toUpper()), 125);
        }
    }
}

TEST_P(EveryLanguage, Reads_the_words_that_a_host_puts_in_place_of_them) {
    const HostTranslator host({{"hours", "Std."}, {"hour", "Std."}, {"minutes", "Min."}});
    const QWMinutesIntervalFormatter formatter;
    EXPECT_EQ(formatter.stringFromNumberOfMinutes(125), u"2 Std. 5 Min.");
    EXPECT_EQ(readBack(formatter, 125), 125);
    EXPECT_EQ(readBack(formatter, 61), 61);
}

TEST_P(EveryLanguage, Reads_the_seconds_that_it_shows) {
    for (quint64 seconds = 0; seconds < 400000; seconds += 61)
        EXPECT_EQ(readBack(minuteSeconds, seconds), seconds);
}

TEST_P(EveryLanguage, Reads_the_numbers_that_it_shows) {
    const auto integers = localizedIntegerFormatter(), floats = localizedFloatFormatter();
    for (const qint64 number :
         {qint64(0), qint64(7), qint64(-7), qint64(1234), qint64(-98765), qint64(1234567),
          std::numeric_limits<qint64>::max(), std::numeric_limits<qint64>::min()}) {
        EXPECT_EQ(readBack(*integers, number), number);
        EXPECT_EQ(readBack(*floats, number), number);
    }
    for (const double number : {0.5, -0.25, 12.75, 1234.5, -9876543.21})
        EXPECT_EQ(readBack(*floats, number), number);
}

TEST_P(EveryLanguage, Loses_the_digits_of_a_fraction_that_it_does_not_show) {
    EXPECT_EQ(readBack(*localizedFloatFormatter(), 1234.567), 1234.57);
}

// Words, digits and separators may differ within a language, as those of Portuguese, Arabic and Spanish do.
INSTANTIATE_TEST_SUITE_P(Locales, EveryLanguage,
                         testing::Values("en_US", "de_DE", "de_CH", "fr_FR", "fr_CA", "es_ES", "es_MX",
                                         "it_IT", "pt_BR", "pt_PT", "nl_NL", "ja_JP", "zh_CN", "ar_EG",
                                         "ar_AE", "ru_RU", "C"),
                         [](const auto& row) { return std::string(row.param); });

} // namespace
