#include "formatters/QWFormatterValidator.h"
#include "formatters/QWMinuteSecondsFormatter.h"
#include "formatters/QWMinutesIntervalFormatter.h"

#include <gmock/gmock.h>

namespace {

QValidator::State stateOf(const QWFormatterRef& formatter, QString text) {
    int position = 0;
    return QWFormatterValidator(formatter).validate(text, position);
}

TEST(FormatterValidator, Accepts_what_the_formatter_reads) {
    EXPECT_EQ(stateOf(std::make_shared<QWMinuteSecondsFormatter>(), "1:30"), QValidator::Acceptable);
    EXPECT_EQ(stateOf(std::make_shared<QWMinutesIntervalFormatter>(), ""), QValidator::Acceptable);
}

TEST(FormatterValidator, Lets_anything_else_be_typed_on) {
    EXPECT_EQ(stateOf(std::make_shared<QWMinuteSecondsFormatter>(), ""), QValidator::Intermediate);
    EXPECT_EQ(stateOf(std::make_shared<QWMinuteSecondsFormatter>(), "1:"), QValidator::Intermediate);
    EXPECT_EQ(stateOf(std::make_shared<QWMinutesIntervalFormatter>(), "abc"), QValidator::Intermediate);
}

} // namespace
