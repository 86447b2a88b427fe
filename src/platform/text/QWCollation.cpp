#include "platform/text/QWText.h"
#include "platform/text/QWUnicode_p.h"

#include <unicode/coll.h>

namespace qw::text {

int compareLocalizedCaseInsensitive(const QString& left, const QString& right) {
    // One for each thread: a collator keeps state while it compares.
    thread_local const std::unique_ptr<icu::Collator> collator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::Collator> made(icu::Collator::createInstance(status));
        made->setStrength(icu::Collator::SECONDARY);
        return made;
    }();
    UErrorCode status = U_ZERO_ERROR;
    return int(collator->compare(viewOf(left), viewOf(right), status));
}

} // namespace qw::text
