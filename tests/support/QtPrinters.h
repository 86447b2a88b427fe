#pragma once

#include <QDateTime>
#include <QString>
#include <ostream>

// How googletest prints Qt's types: as text, not as the bytes of their characters.
inline void PrintTo(const QString& text, std::ostream* out) {
    if (text.isNull())
        *out << "(null)";
    else
        *out << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QByteArray& bytes, std::ostream* out) {
    *out << '"' << bytes.toStdString() << '"';
}

inline void PrintTo(const QDateTime& date, std::ostream* out) {
    *out << date.toString(Qt::ISODateWithMs).toStdString();
}

// How rapidcheck shows a counterexample.
inline void showValue(const QString& text, std::ostream& out) {
    PrintTo(text, &out);
}
