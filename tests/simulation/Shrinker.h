#pragma once

#include "Scenario.h"

// The shortest script that could be found by leaving out events of one that breaks a promise, and that still
// breaks one.
Script shrink(const Script& script, unsigned seed);

// The lines of a test that fails for as long as the script breaks a promise; clang-format lays them out.
QString testOf(const Script& script, unsigned seed);
