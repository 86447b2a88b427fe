#include "Model.h"

#include <algorithm>

namespace {
constexpr int someMachine = -1;
}

void Model::violate(const QString& what) {
    violations_.append(what);
}

void Model::countLeftover(Leftover kind, const QString& what) {
    ++leftovers_[size_t(kind)];
    if (kind == forbidden_)
        violate(nameOf(kind) + QStringLiteral(": ") + what);
}

void Model::violateUnlessAlone(Leftover kind, const QString& what) {
    isSupervised_ ? violate(what) : countLeftover(kind, what);
}

MaybeVersion Model::held(int machine, const QString& uuid) const {
    const auto& records = machines_[size_t(machine)].records;
    const auto found = records.constFind(uuid);
    return found == records.cend() ? std::nullopt : MaybeVersion(*found);
}

bool Model::mayExist(const QString& uuid, const Version& version) const {
    return version.isPlaceholder() || histories_.value(uuid).made.count(version) > 0;
}

// Of two that are made in one second the one that won may have had a reference, which counted then and is lost.
bool Model::isBehind(const QString& uuid, const Version& version, const Version& other) const {
    const auto made = histories_.value(uuid).made;
    return version.isBehind(other) && std::none_of(made.begin(), made.end(), [&](const Version& each) {
               return (each.isSame(version) && !each.isBehind(other))
                      || (each.isSame(other) && !version.isBehind(each));
           });
}

// Users -----------------------------------------------------------------------------------------------------

void Model::edited(int machine, const QString& uuid, const Version& version) {
    auto& at = machines_[size_t(machine)];
    History& history = histories_[uuid];
    changes_ += held(machine, uuid) != version;
    for (const Version& variant : version.variants())
        history.made.insert(variant);
    history.isGone = false;
    history.changed(machine);
    history.edits.insert(version.travellingHash);
    const auto before = held(machine, uuid);
    history.wasEditedBehind |= before && version.second < before->second;
    at.records[uuid] = version;
    at.unsavedEdits[uuid] = version;
    at.unsent.remove(uuid);
    at.unsavedDeletions.remove(uuid);
}

void Model::deleted(int machine, const QString& uuid) {
    auto& at = machines_[size_t(machine)];
    ++changes_;
    deletionsBegun_.remove(uuid);
    histories_[uuid].wasDeleted = true;
    histories_[uuid].deletedBy.insert(machine);
    if (const auto before = held(machine, uuid))
        histories_[uuid].secondDeleted = before->second;
    at.records.remove(uuid);
    at.unsent.remove(uuid);
    at.unsavedEdits.remove(uuid);
    at.unsavedDeletions.insert(uuid);
}

// What was sent of it may come back from the cloud, and a deletion that was sent is undone.
void Model::tookBack(int machine, const QHash<QString, Version>& records) {
    auto& at = machines_[size_t(machine)];
    const QHash<QString, Version> before = std::exchange(at.records, records);
    const auto isAsBefore = [&](const QString& uuid) {
        return before.contains(uuid) == records.contains(uuid) && before.value(uuid) == records.value(uuid);
    };
    const QStringList unsaved = at.unsavedEdits.keys() + at.unsavedDeletions.values();
    for (const QString& uuid : unsaved) {
        if (isAsBefore(uuid))
            continue;
        changes_ += 2;
        at.unsavedEdits.remove(uuid);
        histories_[uuid].editedBy.insert(someMachine);
        if (at.unsavedDeletions.remove(uuid))
            histories_[uuid].changed(machine);
    }
    for (auto record = records.begin(); record != records.end(); ++record)
        if (!mayExist(record.key(), *record))
            violate(QStringLiteral("machine %1 goes back to a version of %2 that nobody made: %3")
                        .arg(machine + 1)
                        .arg(record.key(), record->text()));
}

// Should the process die before it has saved, all of this may be there.
void Model::saveBegins(int machine) {
    auto& at = machines_[size_t(machine)];
    for (const QString& uuid : at.unsavedEdits.keys() + at.unsavedDeletions.values())
        at.candidates[uuid].push_back(held(machine, uuid));
}

void Model::saved(int machine) {
    auto& at = machines_[size_t(machine)];
    for (auto edit = at.unsavedEdits.begin(); edit != at.unsavedEdits.end(); ++edit) {
        if (!at.records.value(edit.key()).isSame(*edit)) // a received one has won
            continue;
        History& history = histories_[edit.key()];
        history.wasSaved = true;
        history.lastSaved[machine] = *edit;
        expectUpload(machine, edit.key(), *edit);
    }
    for (const QString& uuid : at.unsavedDeletions) {
        History& history = histories_[uuid];
        history.wasDeletionSaved = true;
        // Of what was never saved nothing is left to be deleted, should the disk not take the engine's note of that. An
        // edit by a clock that was behind has made a version which is earlier than one that the cloud may hold.
        const bool isLatest =
            std::none_of(history.made.begin(), history.made.end(),
                         [&](const Version& each) { return each.second > history.secondDeleted; });
        history.doesDeletionStand = isLatest && (history.wasSettled || history.wasSaved)
                                    && (history.editedBy - QSet<int>{machine}).isEmpty();
    }
    at.unsavedEdits.clear();
    at.unsavedDeletions.clear();
    at.candidates.clear();
    at.atLastSave = at.records;
}

// A machine whose user has not saved the deletion sends it again.
void Model::deletionRefused(const QString& uuid, bool isPromised) {
    History& history = histories_[uuid];
    changes_ += 2;
    history.changed(someMachine);
    history.isGone = false;
    history.isKept = isPromised && !history.taken.empty();
}

void Model::expectUpload(int machine, const QString& uuid, const Version& version) {
    const auto& taken = histories_[uuid].taken;
    if (std::none_of(taken.begin(), taken.end(), [&](const Version& each) { return each.isSame(version); }))
        machines_[size_t(machine)].unsent[uuid] = version;
}

void Model::imageMade(const QString& uuid, const QByteArray& bytes) {
    ++changes_;
    histories_[uuid].images.insert(bytes);
    histories_[uuid].imagesSince.insert(bytes);
}

void Model::preferenceSet(int machine, const QString& key, const QJsonValue& value) {
    auto& preference = preferences_[key];
    ++changes_;
    preference.values.push_back(value);
    preference.changedBySince.insert(machine);
    preference.latest = value;
}

// What the user has set and nobody has put into permanent storage; a change that was received is kept there.
void Model::preferenceLost(int machine, const QString& key) {
    if (preferences_.value(key).changedBySince.contains(machine))
        preferences_[key].isLatestInDoubt = true;
}

void Model::folderDeleted() {
    wasFolderDeleted_ = true;
    qsizetype most = 0;
    for (const Machine& machine : machines_)
        most = std::max(most, machine.records.size());
    changes_ += most;
}

void Model::preferencesDeleted() {
    werePreferencesDeleted_ = true;
    ++changes_;
}

// Sync ------------------------------------------------------------------------------------------------------

void Model::received(int machine, const QString& uuid, const Version& version) {
    auto& at = machines_[size_t(machine)];
    const MaybeVersion before = held(machine, uuid);
    if (before == version)
        return;
    History& history = histories_[uuid];
    history.wasPlaceholder |= version.isPlaceholder();
    if (!isSupervised_ && history.wasPlaceholder && !mayExist(uuid, version)) {
        countLeftover(Leftover::Empty, QStringLiteral("machine %1 has dated %2").arg(machine + 1).arg(uuid));
        history.made.insert(version);
        history.isGone = false;
    }
    if (!mayExist(uuid, version))
        violate(QStringLiteral("machine %1 received a version of %2 that nobody made: %3")
                    .arg(machine + 1)
                    .arg(uuid, version.text()));
    if (version.isPlaceholder()) // an image has made it again
        wentWithFolder(machine, uuid);
    if (before && isBehind(uuid, version, *before) && !wasDeleted(uuid))
        violate(QStringLiteral("on machine %1 the version of %2 fell back from %3 to %4")
                    .arg(machine + 1)
                    .arg(uuid, before->text(), version.text()));
    if (histories_[uuid].isGone && !version.isPlaceholder())
        violate(QStringLiteral("%1 is back on machine %2").arg(uuid).arg(machine + 1));
    if (before && !before->isSame(version))
        loses(machine, uuid, *before);
    at.records[uuid] = version;
    at.unsavedDeletions.remove(uuid);
    at.unsent.remove(uuid);
    at.candidates[uuid].push_back(version);
}

void Model::declined(int machine, const QString& uuid, const Version& version) {
    if (const auto present = held(machine, uuid); present && version.isBehind(*present))
        loses(machine, uuid, version);
}

// Of one without a date nothing is lost: nobody has made it.
void Model::loses(int machine, const QString& uuid, const Version& version) {
    if (!version.isPlaceholder())
        machines_[size_t(machine)].lost.add(uuid, version);
}

void Model::checkArchive(int machine, const LostVersions::Archive& archive) {
    for (const QString& missing : machines_[size_t(machine)].lost.missingIn(archive))
        violate(QStringLiteral("the archive of machine %1 lacks %2").arg(machine + 1).arg(missing));
}

void Model::cloudTook(const QString& uuid, const Version& version) {
    // With other references, say, since what it referred to was deleted: where its deletion waits, it comes back.
    History& history = histories_[uuid];
    const bool isOther =
        !history.taken.empty() && history.taken.back().travellingHash != version.travellingHash;
    history.wasEditedSince |= isOther;
    // An upload that the network repeats, say.
    if (history.wasDeleted || (isOther && !history.edits.contains(version.travellingHash)))
        history.editedBy.insert(someMachine);
    history.doesDeletionStand = false;
    history.taken.push_back(version);
    for (Machine& machine : machines_)
        if (const auto unsent = machine.unsent.constFind(uuid);
            unsent != machine.unsent.cend() && unsent->isSame(version))
            machine.unsent.erase(unsent);
}

// Whoever finds the folder made again finds its files deleted, and takes that for the deletion of the records.
void Model::wentWithFolder(int machine, const QString& uuid) {
    if (isSupervised_ || wasDeleted(uuid) || !wasFolderDeleted_ || !held(machine, uuid))
        return;
    countLeftover(Leftover::Folder, QStringLiteral("machine %1 deleted %2").arg(machine + 1).arg(uuid));
    deletionBegins(uuid);
}

void Model::receivedDeletion(int machine, const QString& uuid) {
    auto& at = machines_[size_t(machine)];
    if (!held(machine, uuid))
        return;
    wentWithFolder(machine, uuid);
    if (!wasDeleted(uuid) && !(held(machine, uuid) && held(machine, uuid)->isPlaceholder()))
        violate(QStringLiteral("machine %1 deleted %2, which nobody had").arg(machine + 1).arg(uuid));
    loses(machine, uuid, *held(machine, uuid));
    at.records.remove(uuid);
    at.unsent.remove(uuid);
    at.candidates[uuid].push_back(std::nullopt);
}

// A crash ---------------------------------------------------------------------------------------------------

void Model::started(int machine, const QHash<QString, Version>& records) {
    auto& at = machines_[size_t(machine)];
    at.lost.processEnded();
    // What it was replaced by is on the disk, and so is the version that the archive has of it.
    const auto wasReplaced = [&](const QString& uuid, const MaybeVersion& version) {
        const auto before = held(machine, uuid);
        const bool isUsers = at.unsavedEdits.contains(uuid) || at.unsavedDeletions.contains(uuid);
        if (before && !isUsers && !(version && version->isSame(*before)))
            loses(machine, uuid, *before);
    };
    const auto mayHold = [&](const QString& uuid, const MaybeVersion& version) {
        const auto before = at.atLastSave.constFind(uuid);
        if (version == (before == at.atLastSave.cend() ? std::nullopt : MaybeVersion(*before)))
            return true;
        const auto& since = at.candidates.value(uuid);
        if (std::find(since.begin(), since.end(), version) != since.end())
            return true;
        // A batch may have been saved in the last moment.
        wasReplaced(uuid, version);
        if (!version || version->isPlaceholder())
            wentWithFolder(machine, uuid);
        const History history = histories_.value(uuid);
        if (!version || version->isPlaceholder())
            return version || wasDeleted(uuid);
        return history.made.count(*version) > 0
               && (before == at.atLastSave.cend() || !isBehind(uuid, *version, *before) || wasDeleted(uuid));
    };
    for (auto record = records.begin(); record != records.end(); ++record)
        if (!mayHold(record.key(), *record))
            violate(QStringLiteral("machine %1 starts with a version of %2 that it never held: %3")
                        .arg(machine + 1)
                        .arg(record.key(), record->text()));
    for (auto before = at.atLastSave.begin(); before != at.atLastSave.end(); ++before)
        if (!records.contains(before.key()) && !mayHold(before.key(), std::nullopt))
            violate(
                QStringLiteral("machine %1 has lost %2, which was saved").arg(machine + 1).arg(before.key()));
    // What was being saved when the process died is there, and saved with the next save: till then a loss of power may
    // take it back.
    QHash<QString, Version> unsavedEdits;
    for (auto edit = at.unsavedEdits.begin(); edit != at.unsavedEdits.end(); ++edit)
        if (records.contains(edit.key()) && records[edit.key()] == *edit) {
            unsavedEdits[edit.key()] = *edit;
            // By a clock that is behind it may have replaced a version of a later date.
            auto& lastSaved = histories_[edit.key()].lastSaved;
            if (lastSaved.contains(machine) && edit->isBehind(lastSaved[machine]))
                lastSaved[machine] = *edit;
        }
    auto candidates = at.candidates;
    for (auto before = at.atLastSave.begin(); before != at.atLastSave.end(); ++before)
        candidates[before.key()].push_back(*before);
    for (auto record = records.begin(); record != records.end(); ++record)
        if (!at.atLastSave.contains(record.key()))
            candidates[record.key()].push_back(std::nullopt);
    for (const QString& uuid : at.unsavedEdits.keys()) // it may have been sent
        histories_[uuid].editedBy.insert(someMachine);
    // A deletion that was not saved is one that the user has taken back, also where the process died in its midst.
    for (const QString& uuid : at.unsavedDeletions + deletionsBegun_)
        if (records.contains(uuid))
            histories_[uuid].changed(machine);
    const QStringList unsaved = at.candidates.keys() + at.unsavedEdits.keys() + at.unsavedDeletions.values();
    changes_ += QSet<QString>(unsaved.begin(), unsaved.end()).size() + deletionsBegun_.size();
    deletionsBegun_.clear();
    at.lost.save();
    const LostVersions lost = at.lost;
    at = Machine();
    at.lost = lost;
    at.records = at.atLastSave = records;
    at.unsavedEdits = unsavedEdits;
    at.candidates = candidates;
    for (auto record = records.begin(); record != records.end(); ++record)
        if (histories_.value(record.key()).lastSaved.value(machine) == *record)
            expectUpload(machine, record.key(), *record);
}
