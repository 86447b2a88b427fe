#pragma once

#include "core/QWRichTextConvertionManager.h"

// Exports rich text as HTML: the content of the body alone, without document type, "html", "head" and "body".
class QWAttributedStringToHTMLConvertion final : public QWRichTextConvertionManager {
public:
    QString convertedStringFromRichText(const QTextDocument& richText) override;
};
