#pragma once

#include "support/Harness.h"

// Drawing rows with ImageAnd2TextsCell, beside Qt's own delegate with the same texts and icons.
std::vector<bench::Measurement> cellsMeasurements();
