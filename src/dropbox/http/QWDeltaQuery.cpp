#include "dropbox/http/QWDeltaQuery_p.h"

bool QWDeltaQuery::add(const qw::http::Page& page) {
    constexpr int mostIdlePages = 1000;
    const auto pathsBefore = states_.size();
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
    idlePages_ = states_.size() > pathsBefore ? 0 : idlePages_ + 1;
    return idlePages_ == 0 || idlePages_ % mostIdlePages != 0;
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
