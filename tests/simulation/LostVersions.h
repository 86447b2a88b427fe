#pragma once

#include "Version.h"

#include <QHash>
#include <QSet>
#include <QStringList>

// Which versions of records must stand in a machine's archive: those that were replaced there, or declined because they
// were behind. A machine whose disk was full or failing may have one in memory still when its process dies.
class LostVersions {
public:
    using Archive = QHash<QString, std::vector<Version>>; // by uuid

    void add(const QString& uuid, const Version& version) { unsaved_.emplace_back(uuid, version); }
    // The archive of the running process has been saved.
    void save();
    void processEnded() { unsaved_.clear(); }
    // In words.
    QStringList missingIn(const Archive& archive) const;

private:
    std::vector<std::pair<QString, Version>> unsaved_;
    Archive saved_;
};
