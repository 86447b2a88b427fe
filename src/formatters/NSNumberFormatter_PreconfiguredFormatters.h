#pragma once

#include "formatters/QWNumberFormatter.h"

// Number formatters for table columns and fields, in the decimal style of the current locale (QLocale()) and
// of QWNumberFormatterBehavior10_4. Each call makes a new one, which the caller may set further.

// Reads whole numbers only. It shows up to three digits of a fraction that a value has nevertheless.
std::unique_ptr<QWNumberFormatter> localizedIntegerFormatter();

// Reads fractions, and shows two digits of them at most.
std::unique_ptr<QWNumberFormatter> localizedFloatFormatter();
