#pragma once

#include <QVariant>
#include <memory>

class QTextDocument;

namespace qw {

// The rich text that an attribute holds: document data [QByteArray, UTF-8], which is HTML when it begins with
// a tag and plain text otherwise, or plain text [QString]. Null for no value and for data that is not UTF-8.
std::unique_ptr<QTextDocument> richTextFromStoredValue(const QVariant& value);

// Its characters, all formatting dropped; paragraphs, lines and the cells of tables end in "\n".
QString plainText(const QTextDocument& richText);

} // namespace qw
