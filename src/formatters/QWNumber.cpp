#include "formatters/QWNumber_p.h"

#include <cmath>
#include <limits>

namespace qw::number {

static bool isFloating(const QVariant& number) {
    return number.typeId() == QMetaType::Double || number.typeId() == QMetaType::Float;
}

bool isNumber(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Float:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

bool isBelowZero(const QVariant& number) {
    if (isFloating(number))
        return std::signbit(number.toDouble()) || std::isnan(number.toDouble());
    const bool isUnsigned = number.typeId() == QMetaType::ULongLong || number.typeId() == QMetaType::ULong;
    return !isUnsigned && number.toLongLong() < 0;
}

quint64 unsignedIntegerValue(const QVariant& number) {
    if (!isFloating(number))
        return number.toULongLong();
    const double value = number.toDouble();
    if (value >= 0x1p64)
        return std::numeric_limits<quint64>::max();
    if (value >= 0)
        return quint64(value);
    if (value <= -0x1p63)
        return quint64(std::numeric_limits<qint64>::min());
    return std::isnan(value) ? 0 : quint64(qint64(value));
}

} // namespace qw::number
