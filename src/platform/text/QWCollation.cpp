#include "platform/text/QWText.h"
#include "platform/text/QWUnicode_p.h"

#include <algorithm>
#include <unicode/coll.h>
#include <vector>

namespace qw::text {

// One for each thread: a collator keeps state while it compares.
static const icu::Collator& userCollator() {
    thread_local const std::unique_ptr<icu::Collator> collator = [] {
        // Without a language ("C", "POSIX") ICU would sort by code points: capitals before all small letters.
        const icu::Locale& user = icu::Locale::getDefault();
        const bool isPosix = qstrcmp(user.getVariant(), "POSIX") == 0;
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::Collator> made(
            icu::Collator::createInstance(isPosix ? icu::Locale::getRoot() : user, status));
        made->setStrength(icu::Collator::SECONDARY);
        return made;
    }();
    return *collator;
}

int compareLocalizedCaseInsensitive(const QString& left, const QString& right) {
    UErrorCode status = U_ZERO_ERROR;
    return int(userCollator().compare(viewOf(left), viewOf(right), status));
}

QByteArray localizedCaseInsensitiveSortKey(const QString& text) {
    const auto fill = [&text](QByteArray& key) {
        return userCollator().getSortKey(viewOf(text), reinterpret_cast<uint8_t*>(key.data()),
                                         int32_t(key.size()));
    };
    QByteArray key(3 * text.size() + 16, Qt::Uninitialized); // enough for most texts
    const int32_t size = fill(key);
    const bool complete = size <= key.size();
    key.resize(size);
    if (!complete)
        fill(key);
    return key;
}

void sortLocalizedCaseInsensitive(QStringList& texts) {
    struct Keyed {
        QByteArray key;
        QString text;
    };
    std::vector<Keyed> keyed;
    keyed.reserve(size_t(texts.size()));
    for (const QString& text : std::as_const(texts))
        keyed.push_back({localizedCaseInsensitiveSortKey(text), text});
    std::sort(keyed.begin(), keyed.end(), [](const Keyed& left, const Keyed& right) {
        const int order = left.key.compare(right.key);
        return order != 0 ? order < 0 : compareCodePoints(left.text, right.text) < 0;
    });
    std::transform(keyed.begin(), keyed.end(), texts.begin(),
                   [](Keyed& each) { return std::move(each.text); });
}

} // namespace qw::text
