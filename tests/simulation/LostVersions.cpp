#include "LostVersions.h"

#include <algorithm>

namespace {

bool holds(const std::vector<Version>& versions, const Version& version) {
    return std::any_of(versions.begin(), versions.end(),
                       [&](const Version& each) { return each.isSame(version); });
}

} // namespace

void LostVersions::save() {
    for (const auto& [uuid, version] : std::exchange(unsaved_, {}))
        if (!holds(saved_[uuid], version))
            saved_[uuid].push_back(version);
}

QStringList LostVersions::missingIn(const Archive& archive) const {
    QStringList missing;
    for (auto lost = saved_.begin(); lost != saved_.end(); ++lost)
        for (const Version& version : *lost)
            if (!holds(archive.value(lost.key()), version))
                missing.append(lost.key() + QLatin1Char(' ') + version.text());
    return missing;
}
