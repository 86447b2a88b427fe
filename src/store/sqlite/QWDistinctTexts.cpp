#include "store/sqlite/QWDistinctTexts.h"

#include "platform/text/QWText.h"

#include <algorithm>

void QWDistinctTexts::fill(const QStringList& texts, qint64 version) {
    entries_.clear();
    entries_.reserve(size_t(texts.size()));
    for (const QString& text : texts)
        entries_.push_back({text, qw::text::foldCaseAndMarks(text)});
    touched_.clear();
    version_ = version;
}

void QWDistinctTexts::giveUp() {
    gaveUp_ = true;
    entries_ = {};
    touched_ = {};
}

void QWDistinctTexts::touch(const QVariant& value) {
    if (gaveUp_ || version_ == Unknown || !value.isValid())
        return;
    if (attribute_.isIndexed() && touched_.size() < MostTouched)
        touched_.append(value.toString());
    else
        forget();
}

void QWDistinctTexts::set(const QString& text, bool exists) {
    const auto place = std::lower_bound(entries_.begin(), entries_.end(), text,
                                        [](const Entry& entry, const QString& wanted) {
                                            return qw::text::compareCodePoints(entry.text, wanted) < 0;
                                        });
    const bool isKept = place != entries_.end() && place->text == text;
    if (exists && !isKept)
        entries_.insert(place, {text, qw::text::foldCaseAndMarks(text)});
    else if (!exists && isKept)
        entries_.erase(place);
}

QVariantList QWDistinctTexts::containing(const QString& text) const {
    const QString wanted = qw::text::foldCaseAndMarks(text);
    QVariantList found;
    for (const Entry& entry : entries_) {
        if (entry.folded.contains(wanted))
            found.append(entry.text);
    }
    return found;
}
