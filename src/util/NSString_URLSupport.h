#pragma once

#include <QString>

// The text in UTF-8 with every character escaped as %XX except A–Z, a–z, 0–9, "-", ".", "_" and "~": "a b&c"
// → "a%20b%26c", also "%" itself. Null for text with half a surrogate pair, which has no UTF-8 form. (The
// name promises an encoding argument that it does not take.)
QString stringByAddingStandardPercentEscapesUsingEncoding(const QString& text);

// The text without nonspacing marks, recomposed; case is kept: "é" → "e".
QString stringByStrippingAccentAndDiatricMarks(const QString& text);
