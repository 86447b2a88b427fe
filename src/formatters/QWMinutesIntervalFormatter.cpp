#include "formatters/QWMinutesIntervalFormatter.h"
#include "formatters/QWNumber_p.h"
#include "platform/QWLocalizedString.h"

#include <QCalendar>
#include <QDate>
#include <algorithm>
#include <limits>

namespace {

const quint64 minutesInHour = 60;
const quint64 hoursInDay = 24;

// The day of its month, 1 to 31, of the day that comes `days` after 1 January of year 1, in the calendar that
// people used: Julian until 4 October 1582, Gregorian from the next day, the 15th, on.
quint64 dayOfMonth(quint64 days) {
    const qint64 firstJulianDay = 1'721'424, firstGregorianDay = 2'299'161;
    const quint64 daysInGregorianCycle = 146'097; // 400 years; keeps what QDate is given within its range
    const quint64 gregorianFrom = firstGregorianDay - firstJulianDay;
    if (days < gregorianFrom)
        return QDate::fromJulianDay(firstJulianDay + qint64(days)).day(QCalendar(QCalendar::System::Julian));
    return QDate::fromJulianDay(firstGregorianDay + qint64((days - gregorianFrom) % daysInGregorianCycle))
        .day();
}

// The number that the leading decimal digits make, 2^63 - 1 at most.
quint64 leadingNumber(const QString& text) {
    const quint64 limit = std::numeric_limits<qint64>::max();
    quint64 number = 0;
    for (const QChar character : text) {
        if (!character.isDigit())
            break;
        const quint64 digit = quint64(character.digitValue());
        if (number > (limit - digit) / 10)
            return limit;
        number = number * 10 + digit;
    }
    return number;
}

} // namespace

QWMinutesIntervalFormatter::QWMinutesIntervalFormatter()
    : hourNameSeparators_{QWLocalizedString("hours"), QWLocalizedString("hour"), "hrs", "hr"},
      minuteNameSuffixes_{QWLocalizedString("minutes"), QWLocalizedString("minute"), "'", "min.", "min"} {}

const std::shared_ptr<QWNumberFormatter>& QWMinutesIntervalFormatter::integerNumberFormatter() const {
    if (!integerNumberFormatter_) {
        integerNumberFormatter_ = std::make_shared<QWNumberFormatter>();
        integerNumberFormatter_->setAllowsFloats(false);
        integerNumberFormatter_->setLenient(true);
    }
    return integerNumberFormatter_;
}

QString QWMinutesIntervalFormatter::stringForObjectValue(const QVariant& value) const {
    return stringFromNumberOfMinutes(value);
}

QString QWMinutesIntervalFormatter::stringFromNumberOfMinutes(const QVariant& number) const {
    if (!qw::number::isNumber(number) || qw::number::isBelowZero(number))
        return {};
    const quint64 minutes = qw::number::unsignedIntegerValue(number);
    const quint64 hours = minutes / minutesInHour, days = hours / hoursInDay;
    return localizedStringWithHours((dayOfMonth(days) - 1) * hoursInDay + hours % hoursInDay,
                                    minutes % minutesInHour);
}

QString QWMinutesIntervalFormatter::localizedStringWithHours(quint64 hours, quint64 minutes) const {
    const QString minutesWord = QWLocalizedString("minutes");
    if (style_ == 0 && hours != 0) {
        const QString hoursWord = QWLocalizedString(hours == 1 ? "hour" : "hours");
        return QString::number(hours) + ' ' + hoursWord + ' ' + QString::number(minutes) + ' ' + minutesWord;
    }
    return QString::number(minutes + 24 * hours) + ' ' + minutesWord; // 24: see the header
}

bool QWMinutesIntervalFormatter::getObjectValue(QVariant* value, const QString& string, QString*) const {
    return getNumberOfMinutes(value, string);
}

bool QWMinutesIntervalFormatter::getNumberOfMinutes(QVariant* number, const QString& string) const {
    if (string.isEmpty()) {
        *number = QVariant();
        return true;
    }
    const QStringList parts = cleanedStringFromString(string).split(QWMIFHourShortSeparator);
    quint64 minutesInHours = 0, minutes = 0;
    if (parts.size() > 2 || (parts.size() == 2 && !getMinutesInHours(&minutesInHours, parts.first())))
        return false;
    if (!getMinutes(&minutes, parts.last()))
        return false;
    *number = minutesInHours + minutes;
    return true;
}

QVariant QWMinutesIntervalFormatter::numberOfMinutesFromString(const QString& string) const {
    QVariant number;
    getNumberOfMinutes(&number, string);
    return number;
}

QString QWMinutesIntervalFormatter::cleanedStringFromString(const QString& string) const {
    QString cleaned = string;
    for (const QString& word : hourNameSeparators_)
        cleaned.replace(word, QWMIFHourShortSeparator, Qt::CaseInsensitive);
    for (const QString& word : minuteNameSuffixes_)
        cleaned.remove(word, Qt::CaseInsensitive);
    return cleaned.remove(' ');
}

bool QWMinutesIntervalFormatter::getMinutes(quint64* minutes, const QString& string) const {
    if (!string.isEmpty() && !string.front().isDigit())
        return false;
    *minutes = leadingNumber(string);
    return true;
}

bool QWMinutesIntervalFormatter::getMinutesInHours(quint64* minutes, const QString& string) const {
    if (!getMinutes(minutes, string))
        return false;
    *minutes *= minutesInHour;
    return true;
}
