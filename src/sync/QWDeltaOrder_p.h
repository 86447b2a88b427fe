#pragma once

#include "dropbox/DBDeltaEntry.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <vector>

namespace qw::sync {

// What the entries of a batch are ordered by, compared without regard to letter case: the
// number of path components; then, for files of a folder, records before images and the
// entity's place in `entityNames` (an entity that is not found there stands last); then
// the file name. So what others refer to arrives before them.
QString deltaOrderKey(const QString& lowercasePath, const QStringList& entityNames);

// Entries with equal keys stay in the order in which they were received.
void sortDeltaEntries(std::vector<DBDeltaEntryRef>& entries, const QStringList& entityNames);

} // namespace qw::sync
