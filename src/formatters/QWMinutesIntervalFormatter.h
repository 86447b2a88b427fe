#pragma once

#include "formatters/QWNumberFormatter.h"

#include <QStringList>

// What stands between hours and minutes in a cleaned text.
inline const QString QWMIFHourShortSeparator = QStringLiteral("h");

// A duration in whole minutes, shown in words ("1 hour 30 minutes") and read from what people type: "1h30",
// "2 hrs", "90", "1 hour 30 minutes". Words are those of the user's language (QWLocalizedString with the keys
// "hours", "hour", "minutes" and "minute") and the English abbreviations; those that are read are looked up
// when the formatter is made, those that are shown at each use.
//
// Two ways of showing are kept as hosts know them, and differ from plain arithmetic:
// - Hours are counted within a month of the calendar, from the first day of year 1 on: 44,639 minutes are
//   "743 hours 59 minutes", 44,640 (31 days) are "0 minutes", and so on by the lengths of the months.
// - In a style other than 0 each hour counts as 24 minutes: 90 minutes are "54 minutes".
class QWMinutesIntervalFormatter : public QWFormatter {
public:
    QWMinutesIntervalFormatter();

    // 0, the first one: hours and minutes. Any other: minutes alone.
    qint32 style() const { return style_; }
    void setStyle(qint32 style) { style_ = style; }

    // For the host: lenient, whole numbers only, made when first asked for. This formatter does not use it.
    const std::shared_ptr<QWNumberFormatter>& integerNumberFormatter() const;

    // A fraction of a minute is cut off. Null below 0, for null and for what is no number.
    QString stringFromNumberOfMinutes(const QVariant& number) const;
    // By style; the hours are left out when they are 0. "1 hour 1 minutes": minutes have one form.
    QString localizedStringWithHours(quint64 hours, quint64 minutes) const;

    // False: the text cannot be read, and `*number` is left as it was. Else the minutes, a quint64 that
    // wraps; null for an empty text, 0 for blanks.
    bool getNumberOfMinutes(QVariant* number, const QString& string) const;
    // The same number; null where the text is empty or cannot be read.
    QVariant numberOfMinutesFromString(const QString& string) const;

    // Hour words become "h", minute words and blanks (U+0020) go, in any letter case: "1 Hour 30 min" →
    // "1h30". An "H" that is typed stays one.
    QString cleanedStringFromString(const QString& string) const;
    // The digits that the text begins with (in any script; 2^63 - 1 at most), whatever follows; 0 for an
    // empty text. False, and `*minutes` left as it was, where it begins with anything else.
    bool getMinutes(quint64* minutes, const QString& string) const;
    // The same times 60, wrapping.
    bool getMinutesInHours(quint64* minutes, const QString& string) const;

    QString stringForObjectValue(const QVariant& value) const override;
    bool getObjectValue(QVariant* value, const QString& string,
                        QString* errorDescription = nullptr) const override;

private:
    QStringList hourNameSeparators_; // in the order in which they are replaced, longer ones first
    QStringList minuteNameSuffixes_;
    qint32 style_ = 0;
    mutable std::shared_ptr<QWNumberFormatter> integerNumberFormatter_;
};
