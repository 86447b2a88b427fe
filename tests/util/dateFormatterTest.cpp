#include "util/QWDateFormatter.h"

#include "support/QtPrinters.h"
#include "support/ScopedTimeZone.h"

namespace {

const QDateTime date(QDate(2013, 5, 4), QTime(16, 22, 10), Qt::UTC);

} // namespace

TEST(DateFormatter, The_travelling_form_is_written_in_the_local_zone_and_read_in_any) {
    const ScopedTimeZone rome("CET-1CEST,M3.5.0,M10.5.0/3");
    const QWDateTextFormatter formatter;
    EXPECT_EQ(formatter.stringFromDate(date), "2013-05-04 18:22:10 +0200");
    EXPECT_EQ(formatter.dateFromString("2013-05-04 21:52:10 +0530"), date);
    EXPECT_TRUE(formatter.dateFromString("4 May 2013").isNull());
}

TEST(DateFormatter, A_pattern_is_written_and_read_in_the_local_zone) {
    const ScopedTimeZone rome("CET-1CEST,M3.5.0,M10.5.0/3");
    const QWPatternDateFormatter formatter("d MMMM yyyy hh:mm:ss", QLocale(QLocale::French));
    EXPECT_EQ(formatter.stringFromDate(date), "4 mai 2013 18:22:10");
    EXPECT_EQ(formatter.dateFromString("4 mai 2013 18:22:10"), date);
    EXPECT_EQ(formatter.dateFromString("4 mai 2013 18:22:10").timeSpec(), Qt::UTC);
    EXPECT_FALSE(formatter.dateFromString("4 May 2013 18:22:10").isValid());
}

TEST(DateFormatter, No_date_is_no_text) {
    EXPECT_TRUE(QWDateTextFormatter().stringFromDate({}).isNull());
    EXPECT_TRUE(QWPatternDateFormatter("yyyy").stringFromDate({}).isNull());
}

TEST(DateFormatter, As_a_formatter_shows_dates_alone) {
    const QWDateTextFormatter formatter;
    EXPECT_EQ(formatter.stringForObjectValue(date), "2013-05-04 16:22:10 +0000");
    for (const QVariant& other : {QVariant(), QVariant("2013-05-04 16:22:10 +0000"), QVariant(5)})
        EXPECT_TRUE(formatter.stringForObjectValue(other).isNull());
}

TEST(DateFormatter, As_a_formatter_reads_a_date_or_from_an_empty_text_none) {
    const QWDateTextFormatter formatter;
    QVariant value;
    EXPECT_TRUE(formatter.getObjectValue(&value, "2013-05-04 16:22:10 +0000"));
    EXPECT_EQ(value, date);
    EXPECT_FALSE(formatter.getObjectValue(&value, "4 May 2013"));
    EXPECT_TRUE(formatter.getObjectValue(&value, ""));
    EXPECT_FALSE(value.isValid());
}
