#pragma once

#include <QString>

class QTextDocument;

// Decides how rich text becomes text when records are exported.
class QWRichTextConvertionManager {
public:
    virtual ~QWRichTextConvertionManager() = default;
    // Null text is exported as no value.
    virtual QString convertedStringFromRichText(const QTextDocument& richText) = 0;
};
