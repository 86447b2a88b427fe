// What must hold of records, images and preferences when all is well again.
#include "Model.h"

#include <algorithm>

MaybeVersion Model::Contents::version(const QString& uuid) const {
    const auto found = records.constFind(uuid);
    return found == records.cend() ? std::nullopt : MaybeVersion(*found);
}

void Model::Contents::leaveOutPlaceholders() {
    for (auto record = records.begin(); record != records.end();) {
        if (record->isPlaceholder()) {
            images.remove(record.key());
            record = records.erase(record);
        } else {
            ++record;
        }
    }
}

// Checks ----------------------------------------------------------------------------------------------------

void Model::settled(const Contents& contents, const QSet<QString>& apart) {
    for (auto record = contents.records.begin(); record != contents.records.end(); ++record)
        if (!histories_.contains(record.key()))
            violate(QStringLiteral("all hold %1, which nobody made").arg(record.key()));
    for (auto each = histories_.begin(); each != histories_.end(); ++each)
        if (!apart.contains(each.key())) {
            checkRecord(each.key(), *each, contents);
            checkImage(each.key(), *each, contents);
        }
    for (auto each = preferences_.begin(); each != preferences_.end(); ++each)
        checkPreference(each.key(), *each, contents.preferences.value(each.key()));
    beginNextPeriod(contents, apart);
}

void Model::checkRecord(const QString& uuid, const History& history, const Contents& contents) {
    const MaybeVersion found = contents.version(uuid);
    if (!found && history.wasSaved && !history.wasDeleted)
        violate(QStringLiteral("%1 was saved and is missing").arg(uuid));
    if (!found && history.isKept)
        violate(QStringLiteral("the deletion of %1 was refused, and it is gone").arg(uuid));
    if (!found)
        return;
    if (!mayExist(uuid, *found))
        violate(QStringLiteral("all hold a version of %1 that nobody made: %2").arg(uuid, found->text()));
    if (!history.wasDeleted)
        for (const Version& saved : history.lastSaved)
            if (isBehind(uuid, *found, saved))
                violate(
                    QStringLiteral("%1 is %2, though %3 was saved").arg(uuid, found->text(), saved.text()));
    const bool isUnchanged = history.wasSettled && history.wasDeletionSaved && !history.wasEditedSince;
    const bool isToStayAway = isUnchanged || (isSupervised_ && hasSettled_ && history.doesDeletionStand);
    if (isToStayAway && !wasFolderDeleted_)
        violate(QStringLiteral("%1 was deleted, and nobody has changed it since").arg(uuid));
    if (history.isGone)
        violate(QStringLiteral("%1 was gone everywhere and is back").arg(uuid));
}

void Model::checkImage(const QString& uuid, const History& history, const Contents& contents) {
    const auto image = contents.images.constFind(uuid);
    const bool hasImage = image != contents.images.cend();
    if (hasImage && history.images.count(*image) == 0)
        violate(QStringLiteral("all hold an image of %1 that nobody made").arg(uuid));
    if (history.wasDeleted || !contents.records.contains(uuid))
        return;
    if (!hasImage && history.wasImageSaved)
        violateUnlessAlone(Leftover::Image, QStringLiteral("%1 has lost its image").arg(uuid));
    if (hasImage && history.wasImageSavedSince && history.imagesSince.count(*image) == 0
        && !wasFolderDeleted_)
        violateUnlessAlone(Leftover::Image,
                           QStringLiteral("%1 has an earlier image than one that was saved since").arg(uuid));
}

void Model::checkPreference(const QString& key, const Preference& preference, const QJsonValue& found) {
    const auto& values = preference.values;
    if (!found.isUndefined() && std::find(values.begin(), values.end(), found) == values.end())
        violate(QStringLiteral("preference %1 has a value that nobody set").arg(key));
    if (hasSettled_ && !werePreferencesDeleted_ && !preference.isLatestInDoubt
        && preference.changedBySince.size() == 1 && found != preference.latest)
        violateUnlessAlone(Leftover::Preferences,
                           QStringLiteral("preference %1 has lost its change").arg(key));
}

// What was noted since all were in step counts for that period only.
void Model::beginNextPeriod(const Contents& contents, const QSet<QString>& apart) {
    for (auto each = histories_.begin(); each != histories_.end(); ++each) {
        if (apart.contains(each.key()))
            continue;
        History& history = *each;
        const MaybeVersion found = contents.version(each.key());
        if (found)
            history.made.insert(*found);
        if (history.wasDeleted)
            history.lastSaved.clear();
        history.wasDeleted = history.isGone = !found;
        history.wasSettled = found.has_value();
        history.wasImageSaved = found && contents.images.contains(each.key());
        history.wasImageSavedSince = false;
        history.imagesSince.clear();
        history.wasEditedSince = history.wasDeletionSaved = history.isKept = false;
        history.doesDeletionStand = false;
        history.editedBy.clear();
        history.edits.clear();
        history.deletedBy.clear();
    }
    for (Preference& preference : preferences_) {
        preference.changedBySince.clear();
        preference.isLatestInDoubt = false;
    }
    wasFolderDeleted_ = werePreferencesDeleted_ = false;
    hasSettled_ = true;
}

// Engines alone ---------------------------------------------------------------------------------------------

// A save is never lost on the machine that made it.
void Model::checkOwn(int machine, const Contents& contents) {
    for (auto each = histories_.begin(); each != histories_.end(); ++each) {
        const auto saved = each->lastSaved.constFind(machine);
        const auto found = contents.version(each.key());
        if (saved != each->lastSaved.cend() && !each->wasDeleted
            && (!found || isBehind(each.key(), *found, *saved)))
            violate(QStringLiteral("machine %1 has lost %2, which was saved there")
                        .arg(machine + 1)
                        .arg(each.key()));
    }
}

void Model::leftApart(const QString& uuid, const MaybeVersion& version) {
    History& history = histories_[uuid];
    history.wasDeleted |= !version;
    if (version)
        history.made.insert(*version);
    history.wasSettled = history.isGone = false;
    history.wasImageSaved = history.wasImageSavedSince = false;
    history.imagesSince.clear();
}
