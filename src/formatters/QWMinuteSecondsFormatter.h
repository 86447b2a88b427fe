#pragma once

#include "formatters/QWNumberFormatter.h"

// A duration in whole seconds, shown and typed as minutes and seconds: 61 is "1:01". Minutes are not carried
// into hours: 3600 is "60:00".
class QWMinuteSecondsFormatter : public QWFormatter {
public:
    // Reads the digits on either side of the colon. Made when first asked for: without a style, whole numbers
    // only. A host may set another one; after null, the next use makes a new default.
    const std::shared_ptr<QWNumberFormatter>& supportNumberFormatter() const;
    void setSupportNumberFormatter(std::shared_ptr<QWNumberFormatter> formatter);

    // A fraction of a second is cut off. Null below 0, and for what is no number; null itself is "0:00".
    QString stringFromNumberOfSeconds(const QVariant& number) const;

    // Minutes × 60 + seconds, a quint64 that wraps: "1:30" is 90, and seconds may be more than 59: "1:75" is
    // 135. Null unless there is exactly one colon, with a number that supportNumberFormatter() reads on
    // either side.
    QVariant numberOfSecondsFromString(const QString& string) const;

    // Null for null as well.
    QString stringForObjectValue(const QVariant& value) const override;
    // An empty text is refused; the value is null when any is.
    bool getObjectValue(QVariant* value, const QString& string,
                        QString* errorDescription = nullptr) const override;

private:
    mutable std::shared_ptr<QWNumberFormatter> _supportNumberFormatter;
};
