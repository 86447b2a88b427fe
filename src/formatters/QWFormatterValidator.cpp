#include "formatters/QWFormatterValidator.h"

QWFormatterValidator::QWFormatterValidator(QWFormatterRef formatter, QObject* parent)
    : QValidator(parent), formatter_(std::move(formatter)) {}

QValidator::State QWFormatterValidator::validate(QString& text, int&) const {
    QVariant value;
    return formatter_->getObjectValue(&value, text) ? Acceptable : Intermediate;
}
