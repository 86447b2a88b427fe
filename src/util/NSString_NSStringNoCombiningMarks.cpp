#include "util/NSString_NSStringNoCombiningMarks.h"

#include "platform/text/QWText.h"

QString lowercaseStringByStrippingCombiningMarks(const QString& text) {
    return qw::text::stripCombiningMarks(qw::text::lowercase(text));
}
