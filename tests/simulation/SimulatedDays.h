#pragma once

#include "Scenario.h"
#include "World.h"

#include <gtest/gtest.h>

// Days of simulated machines as tests.

inline Script scriptOf(std::vector<int> clockOffsets, const std::vector<const char*>& days) {
    Script script{int(clockOffsets.size()), std::move(clockOffsets), {}};
    for (const char* day : days)
        script.days.push_back(dayFromText(day).value());
    return script;
}

inline testing::AssertionResult keepsEveryPromise(const Script& script, unsigned seed = 1) {
    const QStringList violations = World::run(script, seed).violations;
    if (violations.isEmpty())
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << qPrintable(violations.join('\n'));
}
