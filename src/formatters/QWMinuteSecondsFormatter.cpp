#include "formatters/QWMinuteSecondsFormatter.h"
#include "formatters/QWNumber_p.h"

#include <QStringList>

const std::shared_ptr<QWNumberFormatter>& QWMinuteSecondsFormatter::supportNumberFormatter() const {
    if (!_supportNumberFormatter) {
        _supportNumberFormatter = std::make_shared<QWNumberFormatter>();
        _supportNumberFormatter->setAllowsFloats(false);
    }
    return _supportNumberFormatter;
}

void QWMinuteSecondsFormatter::setSupportNumberFormatter(std::shared_ptr<QWNumberFormatter> formatter) {
    _supportNumberFormatter = std::move(formatter);
}

QString QWMinuteSecondsFormatter::stringFromNumberOfSeconds(const QVariant& number) const {
    const bool isAbsent = !number.isValid();
    if (!isAbsent && (!qw::number::isNumber(number) || qw::number::isBelowZero(number)))
        return {};
    const quint64 seconds = isAbsent ? 0 : qw::number::unsignedIntegerValue(number);
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

QVariant QWMinuteSecondsFormatter::numberOfSecondsFromString(const QString& string) const {
    const QStringList parts = string.split(':');
    if (parts.size() != 2)
        return {};
    const QVariant minutes = supportNumberFormatter()->numberFromString(parts[0]);
    const QVariant seconds = supportNumberFormatter()->numberFromString(parts[1]);
    if (!minutes.isValid() || !seconds.isValid())
        return {};
    return qw::number::unsignedIntegerValue(minutes) * 60 + qw::number::unsignedIntegerValue(seconds);
}

QString QWMinuteSecondsFormatter::stringForObjectValue(const QVariant& value) const {
    return qw::number::isNumber(value) ? stringFromNumberOfSeconds(value) : QString();
}

bool QWMinuteSecondsFormatter::getObjectValue(QVariant* value, const QString& string, QString*) const {
    *value = numberOfSecondsFromString(string);
    return value->isValid();
}
