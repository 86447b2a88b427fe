#pragma once

#include <QString>

// Both ignore letter case and accents, and look for whole characters ("s" is no part of "ß").

// Whether the text begins with the prefix: "Élan" with "el". An empty prefix is never found: false.
bool hasDiatricAndCaseInsensitivePrefix(const QString& text, const QString& prefix);
// Whether `string` occurs nowhere in the text. An empty one occurs nowhere: true.
bool doesNotContainsString(const QString& text, const QString& string);
