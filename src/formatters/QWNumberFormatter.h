#pragma once

#include "util/QWFormatter.h"

#include <QLocale>
#include <memory>
#include <optional>

enum QWNumberFormatterStyle { QWNumberFormatterNoStyle = 0, QWNumberFormatterDecimalStyle = 1 };

// Both stand for the rules that QWNumberFormatter describes: there are no older ones here.
enum QWNumberFormatterBehavior {
    QWNumberFormatterBehaviorDefault = 0,
    QWNumberFormatterBehavior10_4 = 1040,
};

// Numbers as a locale writes them: its digits, decimal separator and groups, over ICU. Half-way cases are
// rounded to the even neighbour, judged by the shortest decimal form of the number (2.345 with two digits is
// "2.34"), and no zeros are appended. A number is read only when the whole text is one.
//
// A new formatter has no style, the current locale (QLocale()) and the settings given beside each accessor.
// Settings concern both directions unless their comment names one.
class QWNumberFormatter final : public QWFormatter {
public:
    QWNumberFormatter();
    ~QWNumberFormatter() override;

    QWNumberFormatterBehavior formatterBehavior() const { return formatterBehavior_; }
    void setFormatterBehavior(QWNumberFormatterBehavior behavior) { formatterBehavior_ = behavior; }

    // Decimal: grouped as the locale does ("1,234.5"). None: bare digits ("1234").
    QWNumberFormatterStyle numberStyle() const { return numberStyle_; }
    void setNumberStyle(QWNumberFormatterStyle style);

    const QLocale& locale() const { return locale_; }
    void setLocale(const QLocale& locale);

    // Reading: whether a fraction is accepted. YES.
    bool allowsFloats() const { return allowsFloats_; }
    void setAllowsFloats(bool allows);

    // Reading: whether white space before the number, a plus sign and the like are passed over. NO.
    bool isLenient() const { return lenient_; }
    void setLenient(bool lenient);

    // Writing: more digits are rounded away. Until set, 3 for the decimal style and 0 for none. A negative
    // maximum counts as 0.
    int maximumFractionDigits() const;
    void setMaximumFractionDigits(int digits);

    // Null for null and for what is no number: strings are not, booleans are 0 and 1.
    QString stringFromNumber(const QVariant& number) const;
    // A qint64 where the text is a whole number within its range, else a finite double; null where the text
    // is no number. "1E3" is 1000. A text of more than 2,000 characters is none: no double needs as many.
    QVariant numberFromString(const QString& string) const;

    QString stringForObjectValue(const QVariant& value) const override { return stringFromNumber(value); }
    // An empty text means no value.
    bool getObjectValue(QVariant* value, const QString& string,
                        QString* errorDescription = nullptr) const override;

private:
    struct Engine;
    const Engine& engine() const;

    QWNumberFormatterBehavior formatterBehavior_ = QWNumberFormatterBehaviorDefault;
    QWNumberFormatterStyle numberStyle_ = QWNumberFormatterNoStyle;
    QLocale locale_;
    bool allowsFloats_ = true;
    bool lenient_ = false;
    std::optional<int> maximumFractionDigits_;
    mutable std::unique_ptr<Engine> engine_; // made from the settings when needed; null after one has changed
};
