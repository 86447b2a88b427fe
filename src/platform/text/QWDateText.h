#pragma once

#include <QDateTime>
#include <QString>

// The one form in which the library writes dates as text: "yyyy-MM-dd HH:mm:ss Z", 24-hour clock, whole
// seconds (fractions are cut downwards), numeric zone offset as in +0200. Gregorian calendar and ASCII digits
// whatever the user's settings are, because the text is read on other machines.
namespace qw::text {

// In the system's current time zone; a null QDateTime gives a null QString.
QString textFromDate(const QDateTime& date);
// The same in UTC ("+0000").
QString utcTextFromDate(const QDateTime& date);

// UTC. Accepts exactly \d{4,}-\d\d-\d\d \d\d:\d\d:\d\d ([+-]\d\d:?\d\d|Z) with every field in range (the
// offset up to 18 hours); anything else is a null QDateTime.
QDateTime dateFromText(const QString& text);

} // namespace qw::text
