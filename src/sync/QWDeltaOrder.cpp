#include "sync/QWDeltaOrder_p.h"

#include "platform/text/QWText.h"
#include "sync/QWDropboxSyncConstants.h"
#include "sync/QWSyncFileNames_p.h"

#include <algorithm>

namespace qw::sync {

QString deltaOrderKey(const QString& lowercasePath, const QStringList& entityNames) {
    const QStringList components = text::pathComponents(lowercasePath);
    const QString file = text::lastPathComponent(lowercasePath);
    QString key = QString::number(components.size());
    if (components.size() >= 3) {
        key += QLatin1Char(isRecordFile(file) ? '0' : '1');
        const QString entity = text::capitalized(text::components(file, QWDBFileNameSeparator).first());
        if (const auto place = entityNames.indexOf(entity); place >= 0)
            key += QString::number(place).rightJustified(2, QLatin1Char('0'));
    }
    return key + file;
}

void sortDeltaEntries(std::vector<DBDeltaEntryRef>& entries, const QStringList& entityNames) {
    struct Keyed {
        QString key;
        DBDeltaEntryRef entry;
    };
    std::vector<Keyed> keyed;
    keyed.reserve(entries.size());
    for (auto& entry : entries)
        keyed.push_back({text::foldCase(deltaOrderKey(entry->lowercasePath, entityNames)), std::move(entry)});
    std::stable_sort(keyed.begin(), keyed.end(),
                     [](const Keyed& left, const Keyed& right) { return left.key < right.key; });
    std::transform(keyed.begin(), keyed.end(), entries.begin(),
                   [](Keyed& each) { return std::move(each.entry); });
}

} // namespace qw::sync
