#pragma once

#include "platform/QWAssert.h"

#include <gtest/gtest.h>
#include <stdexcept>

// Thrown instead of stopping the process while tests run.
struct AssertionFailed : std::logic_error {
    explicit AssertionFailed(QWAssertionFailure what)
        : std::logic_error(what.expression.toStdString()), failure(std::move(what)) {}
    QWAssertionFailure failure;
};

// The assertion that `action` fails; all its texts are null when it fails none.
template <class Action>
QWAssertionFailure assertionFailure(Action action) {
    try {
        action();
    } catch (const AssertionFailed& failed) {
        return failed.failure;
    }
    return {};
}

// Its expression alone.
template <class Action>
QString failedAssertion(Action action) {
    return assertionFailure(action).expression;
}
