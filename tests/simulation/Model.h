#pragma once

#include "Leftover.h"
#include "LostVersions.h"

#include <QJsonValue>
#include <set>

// What the users of all machines did, and so what may become of it. Told of every step; what breaks a promise it
// notes as a violation.
class Model {
public:
    Model(int machines, bool isSupervised, std::optional<Leftover> forbidden)
        : isSupervised_(isSupervised), forbidden_(forbidden), machines_(size_t(machines)) {}

    // The user of a machine.
    void edited(int machine, const QString& uuid, const Version& version);
    void deleted(int machine, const QString& uuid);
    void editBegins(int machine, const QString& uuid) { histories_[uuid].changed(machine); }
    void deletionBegins(const QString& uuid) {
        histories_[uuid].wasDeleted = true;
        histories_[uuid].isKept = false;
        deletionsBegun_.insert(uuid);
    }
    // What was not saved, or some of it; and what its main context holds now.
    void tookBack(int machine, const QHash<QString, Version>& records);
    void saveBegins(int machine);
    void saved(int machine);
    bool isUnsaved(int machine, const QString& uuid) const {
        const Machine& at = machines_[size_t(machine)];
        return at.unsavedEdits.contains(uuid) || at.unsavedDeletions.contains(uuid);
    }
    bool holds(int machine, const QString& uuid) const { return held(machine, uuid).has_value(); }
    bool hasDeleted(int machine, const QString& uuid) const { // since all were in step
        return histories_.value(uuid).deletedBy.contains(machine);
    }
    // A user wants no deletion of it that has come. Promised: nobody is about to delete it.
    void deletionRefused(const QString& uuid, bool isPromised);
    void imageMade(const QString& uuid, const QByteArray& bytes);
    void imageSaved(const QString& uuid) {
        histories_[uuid].wasImageSaved = histories_[uuid].wasImageSavedSince = true;
    }
    void preferenceSet(int machine, const QString& key, const QJsonValue& value);
    void preferenceLost(int machine, const QString& key); // with the machine's power
    // The cloud lost files that nobody deleted on a machine.
    void folderDeleted();
    void preferencesDeleted();

    // Sync, on a machine.
    void received(int machine, const QString& uuid, const Version& version);
    void receivedDeletion(int machine, const QString& uuid);
    // A version has come and was not taken over.
    void declined(int machine, const QString& uuid, const Version& version);
    // The machine has saved whatever it keeps of versions that lost; and what it keeps.
    void archiveSaved(int machine) { machines_[size_t(machine)].lost.save(); }
    void checkArchive(int machine, const LostVersions::Archive& archive);

    // The cloud has taken a version of a record, whoever sent it.
    void cloudTook(const QString& uuid, const Version& version);
    // Whether the machine's user has saved an edit that the cloud has not taken, and that no other one has replaced.
    bool hasUnsent(int machine) const { return !machines_[size_t(machine)].unsent.isEmpty(); }
    QStringList unsent(int machine) const { return machines_[size_t(machine)].unsent.keys(); }

    // A process has started, with what its store holds.
    void started(int machine, const QHash<QString, Version>& records);

    // What a machine holds.
    struct Contents {
        QHash<QString, Version> records;
        QHash<QString, QByteArray> images; // of those that have one
        QHash<QString, QJsonValue> preferences;

        bool operator==(const Contents& other) const = default;
        MaybeVersion version(const QString& uuid) const; // nothing where there is no such record
        // Records without a date are not compared between machines: each is what a reference to a record that
        // nobody has, or that has not come, makes where it is received. Nor are their images.
        void leaveOutPlaceholders();
    };
    // Everything is in step, and each machine holds this, but for the records that are apart, of which nothing is said.
    void settled(const Contents& contents, const QSet<QString>& apart = {});
    // Of engines alone: what one machine holds, and a version, or none, of a record that is not the same everywhere.
    void checkOwn(int machine, const Contents& contents);
    bool wasEditedBehind(const QString& uuid) const { return histories_.value(uuid).wasEditedBehind; }
    bool mayBeMissing(const QString& uuid) const { return wasDeleted(uuid) || wasFolderDeleted_; }
    void leftApart(const QString& uuid, const MaybeVersion& version);

    // What has had to travel: of records, images and preferences, each change and each deletion. What a process had
    // not saved when it ended counts once more, and what a machine holds when the cloud loses it.
    qint64 changes() const { return changes_; }

    void violate(const QString& what);
    // Counts what an engine alone may leave behind.
    void countLeftover(Leftover kind, const QString& what);
    const LeftoverCounts& leftovers() const { return leftovers_; }
    // A violation under a supervisor, else such a leftover.
    void violateUnlessAlone(Leftover kind, const QString& what);
    const QStringList& violations() const { return violations_; }

private:
    struct History {
        std::set<Version> made;
        std::vector<Version> taken; // by the cloud
        bool wasSaved = false, wasDeleted = false;
        QHash<int, Version> lastSaved; // by machine, of its own user
        // Since all were in step: that the record was there, and what happened to it.
        bool wasSettled = false, wasEditedSince = false, wasDeletionSaved = false;
        QSet<int> editedBy, deletedBy;  // machines
        QSet<QByteArray> edits;         // their travelling hashes
        bool doesDeletionStand = false; // nobody else has changed it before, and nobody since
        qint64 secondDeleted = 0;       // the date of the version that was deleted last
        bool isKept = false;            // a user has refused its deletion
        bool wasEditedBehind = false;   // by a clock that was
        bool wasPlaceholder = false;    // somewhere
        bool isGone = false;            // from everywhere
        std::set<QByteArray> images, imagesSince;
        bool wasImageSaved = false, wasImageSavedSince = false;

        void changed(int machine) {
            wasEditedSince = true;
            doesDeletionStand = false;
            editedBy.insert(machine);
        }
    };
    struct Machine {
        QHash<QString, Version> records; // as its main context holds them
        // Since the last save: whatever the store may hold after a crash.
        QHash<QString, std::vector<MaybeVersion>> candidates;
        QHash<QString, Version> unsavedEdits;
        QSet<QString> unsavedDeletions;
        QHash<QString, Version> atLastSave;
        QHash<QString, Version> unsent; // saved edits
        LostVersions lost;
    };
    struct Preference {
        std::vector<QJsonValue> values;
        QSet<int> changedBySince; // machines, since all were in step
        bool isLatestInDoubt = false;
        QJsonValue latest;
    };

    bool wasDeleted(const QString& uuid) const { return histories_.value(uuid).wasDeleted; }
    bool mayExist(const QString& uuid, const Version& version) const;
    bool isBehind(const QString& uuid, const Version& version, const Version& other) const;
    void expectUpload(int machine, const QString& uuid, const Version& version);
    MaybeVersion held(int machine, const QString& uuid) const;
    void wentWithFolder(int machine, const QString& uuid);
    void loses(int machine, const QString& uuid, const Version& version);
    void checkRecord(const QString& uuid, const History& history, const Contents& contents);
    void checkImage(const QString& uuid, const History& history, const Contents& contents);
    void checkPreference(const QString& key, const Preference& preference, const QJsonValue& found);
    void beginNextPeriod(const Contents& contents, const QSet<QString>& apart);

    const bool isSupervised_;
    const std::optional<Leftover> forbidden_;
    std::vector<Machine> machines_;
    QHash<QString, History> histories_;
    QHash<QString, Preference> preferences_;
    // Since all were in step.
    bool wasFolderDeleted_ = false, werePreferencesDeleted_ = false;
    bool hasSettled_ = false;
    qint64 changes_ = 0;
    QSet<QString> deletionsBegun_; // and not told of: the process may die in the midst of them
    QStringList violations_;
    LeftoverCounts leftovers_{};
};
