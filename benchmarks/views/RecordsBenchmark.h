#pragma once

#include "support/Harness.h"

// A table of 1,000,000 records: frames while it scrolls, and what the main thread does while a
// synchronisation brings 20,000 more.
std::vector<bench::Measurement> recordsMeasurements();
