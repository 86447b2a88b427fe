#pragma once

#include <QByteArray>
#include <QString>

// Each byte as two lower-case hexadecimal digits, without separators: { 0x0A, 0xFF } → "0aff". A null buffer
// gives a null text; an empty one may give either.
QString hexadecimalString(const QByteArray& data);
