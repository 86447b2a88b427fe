#include "editing/NSString_QueryAdditions.h"

#include "platform/text/QWText.h"

bool hasDiatricAndCaseInsensitivePrefix(const QString& text, const QString& prefix) {
    return qw::text::SearchedText(prefix).isPrefixOf(text);
}

bool doesNotContainsString(const QString& text, const QString& string) {
    return !qw::text::SearchedText(string).isPartOf(text);
}
