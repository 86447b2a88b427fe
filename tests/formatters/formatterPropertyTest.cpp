#include "formatters/NSNumberFormatter_PreconfiguredFormatters.h"
#include "formatters/QWMinuteSecondsFormatter.h"
#include "formatters/QWMinutesIntervalFormatter.h"
#include "support/ScopedLocale.h"
#include "util/QWDateFormatter.h"

#include <bit>
#include <gmock/gmock.h>
#include <random>

namespace {

// Texts from a seed: any UTF-16 units, lone surrogates included, mixed with what formatters look for.
class Texts {
public:
    explicit Texts(quint32 seed) : random_(seed) {}

    QString next() {
        static const QStringList pieces{"h",
                                        "hours",
                                        "HR",
                                        "minute",
                                        "min.",
                                        "'",
                                        " ",
                                        ":",
                                        ".",
                                        ",",
                                        "-",
                                        "+",
                                        "E",
                                        "∞",
                                        "NaN",
                                        "٣",
                                        "𝟙",
                                        "0",
                                        "9999",
                                        "Stunde",
                                        "ｈ",
                                        "ſ",
                                        "2013-05-04 16:22:10 +0200"};
        QString text;
        for (quint32 count = random_() % 12; count > 0; --count) {
            const quint32 kind = random_() % 4;
            if (kind == 0)
                text += QChar(ushort(random_()));
            else if (kind == 1)
                text += QChar(ushort(random_() % 0x250));
            else if (kind == 2)
                text += QString::number(random_() % 100);
            else
                text += pieces[qsizetype(random_() % quint32(pieces.size()))];
        }
        return text;
    }

    // Also a number of any size, whole or not.
    QVariant number() {
        const quint64 bits = quint64(random_()) << 32 | random_();
        switch (random_() % 4) {
        case 0:
            return qint64(bits);
        case 1:
            return bits;
        case 2:
            return std::bit_cast<double>(bits);
        default:
            return int(bits % 100000);
        }
    }

private:
    std::mt19937 random_;
};

struct Kind {
    const char* name;
    QWFormatterRef (*make)();
};

struct AnyText : testing::TestWithParam<Kind> {};

TEST_P(AnyText, Is_read_or_refused_and_what_is_read_can_be_shown) {
    const ScopedLocale german("de_DE");
    const QWFormatterRef formatter = GetParam().make();
    Texts texts(20130504);
    int read = 0;
    for (int i = 0; i < 100000; ++i) {
        const QString text = texts.next();
        QVariant value;
        if (formatter->getObjectValue(&value, text)) {
            ++read;
            EXPECT_EQ(formatter->stringForObjectValue(value).isNull(), !value.isValid())
                << text.toStdString();
        }
        formatter->stringForObjectValue(text);
    }
    EXPECT_GT(read, 0);
}

TEST_P(AnyText, Is_what_any_number_is_shown_as) {
    const QWFormatterRef formatter = GetParam().make();
    Texts texts(1);
    for (int i = 0; i < 20000; ++i)
        formatter->editingStringForObjectValue(texts.number());
}

INSTANTIATE_TEST_SUITE_P(
    Formatters, AnyText,
    testing::Values(Kind{"MinutesInterval",
                         []() -> QWFormatterRef { return std::make_shared<QWMinutesIntervalFormatter>(); }},
                    Kind{"MinuteSeconds",
                         []() -> QWFormatterRef { return std::make_shared<QWMinuteSecondsFormatter>(); }},
                    Kind{"Integer", []() -> QWFormatterRef { return localizedIntegerFormatter(); }},
                    Kind{"Float", []() -> QWFormatterRef { return localizedFloatFormatter(); }},
                    Kind{"LenientNumber",
                         []() -> QWFormatterRef {
                             auto formatter = std::make_shared<QWNumberFormatter>();
                             formatter->setLenient(true);
                             return formatter;
                         }},
                    Kind{"DateText",
                         []() -> QWFormatterRef { return std::make_shared<QWDateTextFormatter>(); }},
                    Kind{"PatternDate",
                         []() -> QWFormatterRef {
                             return std::make_shared<QWPatternDateFormatter>("yyyy-MM-dd HH:mm");
                         }}),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace
