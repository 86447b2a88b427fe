#include "platform/text/QWDateText.h"

#include <QCalendar>
#include <array>
#include <optional>

namespace qw::text {

namespace {

constexpr qint64 secondsPerDay = 24 * 60 * 60;
constexpr qint64 epochJulianDay = 2440588;          // 1970-01-01
constexpr qint64 firstGregorianJulianDay = 2299161; // 1582-10-15
constexpr qint64 largestOffset = 18 * 60 * 60;
constexpr qsizetype mostYearDigits = 8; // what a QDateTime can count in milliseconds

const QCalendar& julian() {
    static const QCalendar calendar(QCalendar::System::Julian);
    return calendar;
}

qint64 floorDivide(qint64 value, qint64 divisor) {
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

void appendNumber(QString& text, int value, int digits) {
    std::array<char16_t, 12> buffer;
    auto position = buffer.end();
    for (; value > 0 || digits > 0; value /= 10, --digits)
        *--position = char16_t(u'0' + value % 10);
    text.append(QStringView(&*position, buffer.end() - position));
}

// The date as years, months and days: Gregorian from the day it was introduced, Julian before.
QCalendar::YearMonthDay partsOfDay(qint64 julianDay) {
    const QDate date = QDate::fromJulianDay(julianDay);
    return julianDay < firstGregorianJulianDay ? julian().partsFromDate(date)
                                               : QCalendar().partsFromDate(date);
}

std::optional<qint64> dayOfParts(int year, int month, int day) {
    if (const QDate date(year, month, day); date.isValid() && date.toJulianDay() >= firstGregorianJulianDay)
        return date.toJulianDay();
    const QDate date = year > 0 ? julian().dateFromParts(year, month, day) : QDate();
    if (!date.isValid() || date.toJulianDay() >= firstGregorianJulianDay)
        return std::nullopt;
    return date.toJulianDay();
}

QString textWithOffset(const QDateTime& date, qint64 offset) {
    const qint64 local = floorDivide(date.toMSecsSinceEpoch(), 1000) + offset;
    const qint64 day = floorDivide(local, secondsPerDay);
    const int second = int(local - day * secondsPerDay);
    const auto parts = partsOfDay(day + epochJulianDay);
    const int minutes = int(std::abs(offset) / 60);

    QString text;
    text.reserve(25);
    appendNumber(text, std::abs(parts.year), 4);
    text.append(u'-');
    appendNumber(text, parts.month, 2);
    text.append(u'-');
    appendNumber(text, parts.day, 2);
    text.append(u' ');
    appendNumber(text, second / 3600, 2);
    text.append(u':');
    appendNumber(text, second / 60 % 60, 2);
    text.append(u':');
    appendNumber(text, second % 60, 2);
    text.append(u' ');
    text.append(offset < 0 ? u'-' : u'+');
    appendNumber(text, minutes / 60, 2);
    appendNumber(text, minutes % 60, 2);
    return text;
}

// Reads a text from front to back. Once something does not match, nothing matches any more.
class Reader {
public:
    explicit Reader(QStringView text) : rest_(text) {}

    bool accept(char16_t character) {
        if (!rest_.startsWith(character))
            return false;
        rest_ = rest_.mid(1);
        return true;
    }

    void expect(char16_t character) { failed_ |= !accept(character); }

    // ASCII digits; 0 when there are fewer than `least`, the number is above `highest` or more than `most`
    // follow.
    int number(qsizetype least, qsizetype most, int highest) {
        qsizetype digits = 0;
        int value = 0;
        while (digits < most && digits < rest_.size() && rest_[digits] >= u'0' && rest_[digits] <= u'9')
            value = value * 10 + (rest_[digits++].unicode() - u'0');
        rest_ = rest_.mid(digits);
        failed_ |= digits < least || value > highest;
        return value;
    }

    bool isComplete() const { return !failed_ && rest_.isEmpty(); }

private:
    QStringView rest_;
    bool failed_ = false;
};

qint64 readOffset(Reader& reader) {
    if (reader.accept(u'Z'))
        return 0;
    const bool isNegative = reader.accept(u'-');
    if (!isNegative)
        reader.expect(u'+');
    const int hours = reader.number(2, 2, 18);
    reader.accept(u':');
    const int minutes = reader.number(2, 2, 59);
    const qint64 offset = (hours * 60 + minutes) * 60;
    return isNegative ? -offset : offset;
}

} // namespace

QString textFromDate(const QDateTime& date) {
    if (!date.isValid())
        return {};
    // Zones of old times have offsets with seconds, which the text cannot hold.
    const qint64 offset = date.toLocalTime().offsetFromUtc() / 60 * 60;
    return textWithOffset(date, offset);
}

QString utcTextFromDate(const QDateTime& date) {
    return date.isValid() ? textWithOffset(date, 0) : QString();
}

QDateTime dateFromText(const QString& text) {
    Reader reader(text);
    const int year = reader.number(4, mostYearDigits, INT_MAX);
    reader.expect(u'-');
    const int month = reader.number(2, 2, 12);
    reader.expect(u'-');
    const int day = reader.number(2, 2, 31);
    reader.expect(u' ');
    const int hour = reader.number(2, 2, 23);
    reader.expect(u':');
    const int minute = reader.number(2, 2, 59);
    reader.expect(u':');
    const int second = reader.number(2, 2, 59);
    reader.expect(u' ');
    const qint64 offset = readOffset(reader);
    if (!reader.isComplete() || std::abs(offset) > largestOffset)
        return {};
    const auto julianDay = dayOfParts(year, month, day);
    if (!julianDay)
        return {};
    const qint64 seconds = (*julianDay - epochJulianDay) * secondsPerDay + (hour * 60 + minute) * 60 + second;
    return QDateTime::fromMSecsSinceEpoch((seconds - offset) * 1000, Qt::UTC);
}

} // namespace qw::text
