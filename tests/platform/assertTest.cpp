#include "platform/QWAssert.h"
#include "support/AssertionProbe.h"

#include <gmock/gmock.h>

namespace {

int evaluations = 0;

bool countedTrue() {
    ++evaluations;
    return true;
}

TEST(Assert, A_failure_names_the_expression_the_operation_and_the_source_file) {
    try {
        QWAssert(1 > 2, "[objects count] == 1", "-[Finder find]");
        FAIL() << "the assertion let a false condition pass";
    } catch (const AssertionFailed& failed) {
        EXPECT_EQ(failed.failure.expression, u"[objects count] == 1");
        EXPECT_EQ(failed.failure.operation, u"-[Finder find]");
        EXPECT_EQ(failed.failure.file, u"assertTest.cpp");
    }
}

TEST(Assert, A_condition_that_holds_is_evaluated_once_and_fails_nothing) {
    evaluations = 0;
    EXPECT_TRUE(failedAssertion([] { QWAssert(countedTrue(), "counted", "op"); }).isNull());
    EXPECT_EQ(evaluations, 1);
}

TEST(Assert, Installing_a_handler_returns_the_one_before_it) {
    QString seen;
    struct Stop {};
    auto previous = QWSetAssertionHandler([&](const QWAssertionFailure& failure) {
        seen = failure.expression;
        throw Stop{};
    });
    EXPECT_THROW(qw::assertionFailed("NO", "op", "file.cpp"), Stop);
    QWSetAssertionHandler(previous);
    EXPECT_EQ(seen, u"NO");
    EXPECT_EQ(failedAssertion([] { qw::assertionFailed("context", "op", "file.cpp"); }), u"context");
}

TEST(AssertDeathTest, Without_a_handler_a_failure_prints_one_line_and_aborts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            QWSetAssertionHandler({});
            qw::assertionFailed("NO", "-[Autosaver init]", "/somewhere/Autosaver.cpp");
        },
        "Assertion failed: \\(NO\\), -\\[Autosaver init\\], Autosaver.cpp");
}

TEST(AssertDeathTest, A_handler_that_returns_does_not_let_the_process_go_on) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            QWSetAssertionHandler([](const QWAssertionFailure&) {});
            qw::assertionFailed("NO", "op", "file.cpp");
        },
        "");
}

} // namespace
