#include "platform/text/QWDateText.h"
#include "support/ScopedTimeZone.h"

#include <QLocale>
#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

namespace {

using namespace qw::text;

QDateTime utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
              int millisecond = 0) {
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second, millisecond), Qt::UTC);
}

struct ZoneRow {
    const char* zone;
    QDateTime date;
    QString text;
};

class DateText : public testing::TestWithParam<ZoneRow> {};

TEST_P(DateText, Is_written_in_the_local_zone_and_read_back) {
    const ScopedTimeZone zone(GetParam().zone);
    EXPECT_EQ(textFromDate(GetParam().date), GetParam().text);
    EXPECT_EQ(dateFromText(GetParam().text), GetParam().date);
}

constexpr const char* rome = "CET-1CEST,M3.5.0,M10.5.0/3";

INSTANTIATE_TEST_SUITE_P(
    Zones, DateText,
    testing::Values(ZoneRow{rome, utc(2013, 5, 4, 16, 22, 10), "2013-05-04 18:22:10 +0200"},
                    ZoneRow{"UTC", utc(2013, 5, 4, 16, 22, 10), "2013-05-04 16:22:10 +0000"},
                    ZoneRow{"IST-5:30", utc(2013, 5, 4, 16, 22, 10), "2013-05-04 21:52:10 +0530"},
                    ZoneRow{"NST3:30NDT,M3.2.0,M11.1.0", utc(2013, 5, 4, 16, 22, 10),
                            "2013-05-04 13:52:10 -0230"},
                    // The hour that comes twice at the end of summer time.
                    ZoneRow{rome, utc(2013, 10, 27, 0, 30), "2013-10-27 02:30:00 +0200"},
                    ZoneRow{rome, utc(2013, 10, 27, 1, 30), "2013-10-27 02:30:00 +0100"}));

TEST(DateTextOfAUser, Ignores_the_locale) {
    for (const QLocale& locale :
         {QLocale(QLocale::Thai, QLocale::Thailand), QLocale(QLocale::Arabic, QLocale::SaudiArabia),
          QLocale(QLocale::English)}) {
        QLocale::setDefault(locale);
        EXPECT_EQ(textFromDate(utc(2013, 5, 4, 16, 22, 10)), u"2013-05-04 16:22:10 +0000");
    }
    QLocale::setDefault(QLocale::system());
}

struct DateRow {
    QDateTime date;
    QString text;
};

class UTCDateText : public testing::TestWithParam<DateRow> {};

TEST_P(UTCDateText, Is_written_without_the_local_zone) {
    const ScopedTimeZone zone(rome);
    EXPECT_EQ(utcTextFromDate(GetParam().date), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Dates, UTCDateText,
    testing::Values(DateRow{utc(1970, 1, 1), "1970-01-01 00:00:00 +0000"},
                    DateRow{utc(1970, 1, 1, 0, 0, 10, 999), "1970-01-01 00:00:10 +0000"},
                    DateRow{utc(1969, 12, 31, 23, 59, 59, 500), "1969-12-31 23:59:59 +0000"},
                    DateRow{utc(1583, 1, 1), "1583-01-01 00:00:00 +0000"},
                    DateRow{utc(10000, 1, 1), "10000-01-01 00:00:00 +0000"},
                    DateRow{QDateTime(QDate(2013, 5, 4), QTime(18, 22, 10), Qt::OffsetFromUTC, 7200),
                            "2013-05-04 16:22:10 +0000"},
                    DateRow{QDateTime(), {}}));

TEST(DateText, Of_no_date_is_null) {
    EXPECT_TRUE(textFromDate({}).isNull());
    EXPECT_TRUE(utcTextFromDate({}).isNull());
}

TEST(DateText, Before_1582_10_15_follows_the_Julian_calendar) {
    const QDateTime lastJulianDay = utc(1582, 10, 15).addDays(-1);
    EXPECT_EQ(utcTextFromDate(utc(1582, 10, 15)), u"1582-10-15 00:00:00 +0000");
    EXPECT_EQ(utcTextFromDate(lastJulianDay), u"1582-10-04 00:00:00 +0000");
    EXPECT_EQ(dateFromText("1582-10-04 00:00:00 +0000"), lastJulianDay);
    // The earliest date of the platform, two days before the proleptic Gregorian year 1.
    EXPECT_EQ(dateFromText("0001-01-01 00:00:00 +0000").toSecsSinceEpoch(), -62135769600);
    EXPECT_EQ(utcTextFromDate(dateFromText("0001-01-01 00:00:00 +0000")), u"0001-01-01 00:00:00 +0000");
}

TEST(DateText, Loses_the_era) {
    EXPECT_EQ(utcTextFromDate(dateFromText("0001-01-01 00:00:00 +0000").addDays(-3 * 365)),
              u"0003-01-02 00:00:00 +0000"); // 4 BC was a leap year, 3 BC to 1 BC were not
}

TEST(DateText, Of_a_zone_offset_with_seconds_still_names_the_same_instant) {
    const ScopedTimeZone zone("LMT-0:49:56");
    const QDateTime date = utc(1860, 1, 1, 12);
    EXPECT_EQ(textFromDate(date), u"1860-01-01 12:49:00 +0049");
    EXPECT_EQ(dateFromText(textFromDate(date)), date);
}

struct ReadRow {
    QString text;
    QDateTime date;
};

class ReadableDateText : public testing::TestWithParam<ReadRow> {};

TEST_P(ReadableDateText, Is_read_as_UTC) {
    const QDateTime date = dateFromText(GetParam().text);
    EXPECT_EQ(date, GetParam().date);
    EXPECT_EQ(date.timeSpec(), Qt::UTC);
}

INSTANTIATE_TEST_SUITE_P(Table, ReadableDateText,
                         testing::Values(ReadRow{"2013-05-04 18:22:10 +0200", utc(2013, 5, 4, 16, 22, 10)},
                                         ReadRow{"2013-05-04 18:22:10 +02:00", utc(2013, 5, 4, 16, 22, 10)},
                                         ReadRow{"2013-05-04 16:22:10 Z", utc(2013, 5, 4, 16, 22, 10)},
                                         ReadRow{"2013-05-04 16:22:10 -0000", utc(2013, 5, 4, 16, 22, 10)},
                                         ReadRow{"2013-05-04 00:00:00 +1800", utc(2013, 5, 3, 6)},
                                         ReadRow{"2013-05-04 00:00:00 -1800", utc(2013, 5, 4, 18)},
                                         ReadRow{"2012-02-29 00:00:00 Z", utc(2012, 2, 29)},
                                         ReadRow{"123456-01-01 00:00:00 Z", utc(123456, 1, 1)}));

class UnreadableDateText : public testing::TestWithParam<const char*> {};

TEST_P(UnreadableDateText, Is_no_date) {
    EXPECT_TRUE(dateFromText(QString::fromUtf8(GetParam())).isNull());
}

INSTANTIATE_TEST_SUITE_P(
    Table, UnreadableDateText,
    testing::Values("", "2013-13-04 18:22:10 +0200", "2013-00-04 18:22:10 +0200", "2013-02-30 18:22:10 +0200",
                    "2013-02-29 18:22:10 +0200", "2013-05-00 18:22:10 +0200", "2013-05-04 24:00:00 +0200",
                    "2013-05-04 18:60:10 +0200", "2013-05-04 18:22:60 +0200", "2013-05-04 18:22:10",
                    "2013-05-04 18:22:10 ", "2013-05-04 18:22:10 PST", "2013-05-04 18:22:10 CET",
                    "2013-05-04T18:22:10 +0200", "2013-05-04 18:22:10.5 +0200", "2013-05-04 6:22:10 PM +0200",
                    "2013-5-4 18:22:10 +0200", "١٣-05-04 18:22:10 +0200", "2013-05-04 ١٨:22:10 +0200",
                    "2013-05-04 18:22:10 +0200 ", "2013-05-04 18:22:10 +0200x", "2013-05-04 18:22:10 +02000",
                    " 2013-05-04 18:22:10 +0200", "2013-05-04  18:22:10 +0200", "13-05-04 18:22:10 +0200",
                    "2013-05-04 18:22:10 +2500", "2013-05-04 18:22:10 +1801", "2013-05-04 18:22:10 +0260",
                    "2013-05-04 18:22:10 +2", "2013-05-04 18:22:10 GMT+1", "2013-05-04 18:22:10 UTC",
                    "2013-05-04 18:22:10 0200", "2013-05-04 18:22:10 z", "-2013-05-04 18:22:10 Z",
                    "1582-10-10 00:00:00 Z", "0000-01-01 00:00:00 Z", "123456789-01-01 00:00:00 Z"));

RC_GTEST_PROP(DateTextProperty, Of_any_second_reads_back_as_that_second, ()) {
    // From 1 AD to the year 20000.
    const auto seconds = *rc::gen::inRange<qint64>(-62135769600, 568971820800);
    const QDateTime date = QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC);
    RC_ASSERT(dateFromText(textFromDate(date)) == date);
    RC_ASSERT(dateFromText(utcTextFromDate(date)) == date);
}

} // namespace
