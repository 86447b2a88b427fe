#include "util/NSString_URLSupport.h"

#include "platform/text/QWText.h"

QString stringByAddingStandardPercentEscapesUsingEncoding(const QString& text) {
    if (!text.isValidUtf16())
        return {};
    return QString::fromLatin1(text.toUtf8().toPercentEncoding());
}

QString stringByStrippingAccentAndDiatricMarks(const QString& text) {
    return qw::text::stripCombiningMarks(text);
}
