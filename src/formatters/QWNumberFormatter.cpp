#include "formatters/QWNumberFormatter.h"
#include "formatters/QWNumber_p.h"

#include <algorithm>
#include <cmath>
#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>

struct QWNumberFormatter::Engine {
    std::unique_ptr<icu::DecimalFormat> format;
};

// The format of the style, before any setting.
static std::unique_ptr<icu::DecimalFormat> makeFormat(QWNumberFormatterStyle style, const QLocale& locale) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale icuLocale = icu::Locale::forLanguageTag(locale.bcp47Name().toStdString(), status);
    if (style == QWNumberFormatterDecimalStyle) {
        std::unique_ptr<icu::NumberFormat> made(
            icu::NumberFormat::createInstance(icuLocale, UNUM_DECIMAL, status));
        if (dynamic_cast<icu::DecimalFormat*>(made.get()))
            return std::unique_ptr<icu::DecimalFormat>(static_cast<icu::DecimalFormat*>(made.release()));
    }
    auto symbols = std::make_unique<icu::DecimalFormatSymbols>(icuLocale, status);
    return std::make_unique<icu::DecimalFormat>("#", symbols.release(), status);
}

QWNumberFormatter::QWNumberFormatter() = default;
QWNumberFormatter::~QWNumberFormatter() = default;

const QWNumberFormatter::Engine& QWNumberFormatter::engine() const {
    if (!engine_) {
        engine_ = std::make_unique<Engine>();
        engine_->format = makeFormat(numberStyle_, locale_);
        engine_->format->setMaximumFractionDigits(maximumFractionDigits());
        engine_->format->setParseIntegerOnly(!allowsFloats_);
        engine_->format->setLenient(lenient_);
    }
    return *engine_;
}

void QWNumberFormatter::setNumberStyle(QWNumberFormatterStyle style) {
    numberStyle_ = style;
    engine_.reset();
}

void QWNumberFormatter::setLocale(const QLocale& locale) {
    locale_ = locale;
    engine_.reset();
}

void QWNumberFormatter::setAllowsFloats(bool allows) {
    allowsFloats_ = allows;
    engine_.reset();
}

void QWNumberFormatter::setLenient(bool lenient) {
    lenient_ = lenient;
    engine_.reset();
}

int QWNumberFormatter::maximumFractionDigits() const {
    return maximumFractionDigits_.value_or(numberStyle_ == QWNumberFormatterDecimalStyle ? 3 : 0);
}

void QWNumberFormatter::setMaximumFractionDigits(int digits) {
    maximumFractionDigits_ = std::max(0, digits);
    engine_.reset();
}

QString QWNumberFormatter::stringFromNumber(const QVariant& number) const {
    if (!qw::number::isNumber(number))
        return {};
    const icu::DecimalFormat& format = *engine().format;
    icu::UnicodeString text;
    UErrorCode status = U_ZERO_ERROR;
    switch (number.typeId()) {
    case QMetaType::Float:
    case QMetaType::Double:
        format.format(number.toDouble(), text);
        break;
    case QMetaType::ULong:
    case QMetaType::ULongLong: // in full, above what a signed number holds as well
        format.format(icu::StringPiece(QByteArray::number(number.toULongLong()).constData()), text, nullptr,
                      status);
        break;
    default:
        format.format(int64_t(number.toLongLong()), text);
    }
    return QString(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
}

QVariant QWNumberFormatter::numberFromString(const QString& string) const {
    if (string.size() > 2000) // ICU's time grows with the square of the digits
        return {};
    // The text is only looked at: the QString outlives the view.
    const icu::UnicodeString text(false, reinterpret_cast<const char16_t*>(string.utf16()),
                                  int32_t(string.size()));
    icu::Formattable number;
    icu::ParsePosition end(0);
    engine().format->parse(text, number, end);
    if (end.getIndex() == 0 || end.getIndex() < text.length())
        return {};
    if (number.getType() != icu::Formattable::kDouble)
        return qlonglong(number.getInt64());
    const double value = number.getDouble();
    // "∞" and "NaN" as well as what is too large: no record could carry them.
    if (!std::isfinite(value))
        return {};
    // A power of ten makes a fraction without a separator: "15E-1".
    if (!allowsFloats_ && value != std::trunc(value))
        return {};
    return value;
}

bool QWNumberFormatter::getObjectValue(QVariant* value, const QString& string, QString*) const {
    *value = numberFromString(string);
    return value->isValid() || string.isEmpty();
}
