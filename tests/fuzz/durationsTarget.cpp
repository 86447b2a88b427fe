// Durations as people type them: what is read can be shown, and what is shown is read as what it was.
#include "Fuzzing.h"

#include "formatters/QWMinuteSecondsFormatter.h"
#include "formatters/QWMinutesIntervalFormatter.h"

namespace {

void checkFormatter(const QWFormatter& formatter, const QString& text) {
    QVariant value;
    if (!formatter.getObjectValue(&value, text))
        return;
    const QString shown = formatter.stringForObjectValue(value);
    require(shown.isNull() == !value.isValid(), "what is read can be shown");
    QVariant again;
    require(!value.isValid() || formatter.getObjectValue(&again, shown), "what is shown can be read");
    require(!value.isValid() || formatter.stringForObjectValue(again) == shown,
            "what is shown is read as what it was");
}

} // namespace

void runInput(const QByteArray& input) {
    if (input.isEmpty())
        return;
    // The first byte chooses the language of the digits.
    static const QLocale locales[] = {QLocale::c(), QLocale("de_DE"), QLocale("ar_EG"), QLocale("fr_CH")};
    QLocale::setDefault(locales[uchar(input[0]) % std::size(locales)]);
    const QString text = QString::fromUtf8(QByteArrayView(input).sliced(1));

    QWMinutesIntervalFormatter minutes;
    checkFormatter(minutes, text);
    require(!minutes.cleanedStringFromString(text).contains(' '), "a clean text has no blanks");
    minutes.setStyle(1);
    QVariant value;
    if (minutes.getObjectValue(&value, text) && value.isValid())
        require(!minutes.stringForObjectValue(value).isNull(), "what is read can be shown in minutes");

    checkFormatter(QWMinuteSecondsFormatter(), text);
}
