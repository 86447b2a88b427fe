#include "dropbox/http/QWDeltaQuery.h"

void QWDeltaQuery::add(const qw::http::Page& page) {
    for (const auto& [path, metadata] : page.entries) {
        if (!metadata || !metadata->isDirectory) {
            const QString below = path + QLatin1Char('/');
            for (auto it = states_.lower_bound(below); it != states_.end() && it->first.startsWith(below);
                 ++it)
                it->second.reset();
        }
        states_[path] = metadata;
    }
    cursor_ = page.cursor;
}

void QWDeltaQuery::restart() {
    cursor_.clear();
    isReset_ = true;
    states_.clear();
}

QList<DBDeltaEntryRef> QWDeltaQuery::entries() const {
    QList<DBDeltaEntryRef> result;
    result.reserve(static_cast<qsizetype>(states_.size()));
    for (const auto& [path, metadata] : states_)
        result += DBMakeDeltaEntry(path, metadata);
    return result;
}
