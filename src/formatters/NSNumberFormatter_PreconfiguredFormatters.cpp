#include "formatters/NSNumberFormatter_PreconfiguredFormatters.h"

std::unique_ptr<QWNumberFormatter> localizedIntegerFormatter() {
    auto formatter = std::make_unique<QWNumberFormatter>();
    formatter->setFormatterBehavior(QWNumberFormatterBehavior10_4);
    formatter->setNumberStyle(QWNumberFormatterDecimalStyle);
    formatter->setAllowsFloats(false);
    return formatter;
}

std::unique_ptr<QWNumberFormatter> localizedFloatFormatter() {
    auto formatter = localizedIntegerFormatter();
    formatter->setAllowsFloats(true);
    formatter->setMaximumFractionDigits(2);
    return formatter;
}
