#pragma once

#include "editing/QWValueTransformer.h"

#include <QString>

// Between the text of a string attribute ("red; round") and the tokens of a token field. The field splits the
// text itself, so it must be told the same separator.
class QWNSStringNSArrayTransformer final : public QWValueTransformer {
public:
    QMetaType transformedValueClass() const override; // QStringList
    bool allowsReverseTransformation() const override;

    // The stored text as it is.
    QVariant transformedValue(const QVariant& value) const override;
    // The tokens, a QStringList or a list of values with a text, joined by the separator and one blank: "a;
    // b; c". No tokens, or no value: the empty text.
    QVariant reverseTransformedValue(const QVariant& value) const override;

    // One for the process, ";" at first; to be set once, when the program starts. A text that is not exactly
    // one UTF-16 unit is ignored.
    static void setSeparatorSting(const QString& separator);
    static const QString& separatorString();
};
