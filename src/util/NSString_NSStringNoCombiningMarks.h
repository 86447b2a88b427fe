#pragma once

#include <QString>

// The text lower-cased, then without nonspacing marks: "Élan" → "elan".
QString lowercaseStringByStrippingCombiningMarks(const QString& text);
