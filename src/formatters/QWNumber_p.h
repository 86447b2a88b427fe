#pragma once

#include <QVariant>

// What formatters ask of a number, by the rules of the platform whose vocabulary the library speaks.
namespace qw::number {

// Booleans, integers and floating-point numbers are; a text of digits is not.
bool isNumber(const QVariant& value);

// Compared with the integer 0: -0.5 and -0.0 are below it, and so is what is no number at all (NaN). False
// for null.
bool isBelowZero(const QVariant& number);

// The whole part. A negative number wraps round 2^64; one that is beyond the 64 bits becomes the nearest end
// of them. NaN is 0.
quint64 unsignedIntegerValue(const QVariant& number);

} // namespace qw::number
