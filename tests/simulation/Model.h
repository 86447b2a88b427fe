#pragma once

#include <QByteArray>
#include <QHash>
#include <QJsonValue>
#include <QSet>
#include <QString>
#include <QStringList>
#include <limits>
#include <optional>
#include <set>
#include <vector>

// A version of a record: its date as it travels, and of what is dated in one second the hash of its form. The greater
// one wins.
//
// The deletion of a record takes the references to it out of others where it is received, and leaves their dates:
// that is the same version. So is one with a reference to a record that nobody has.
struct Version {
    qint64 second = 0;
    QByteArray hash;           // without references to nobody
    QByteArray bareHash;       // without any
    QByteArray travellingHash; // with all

    bool operator==(const Version& other) const { return second == other.second && hash == other.hash; }
    bool operator<(const Version& other) const {
        return second != other.second ? second < other.second : hash < other.hash;
    }
    bool isBehind(const Version& other) const { return *this < other && !isSame(other); }
    bool isSame(const Version& other) const { return second == other.second && bareHash == other.bareHash; }
    // All that it may be on other machines.
    std::vector<Version> variants() const {
        return {*this,
                {second, bareHash, bareHash, bareHash},
                {second, travellingHash, bareHash, travellingHash}};
    }
    // Made by a reference, before its record has come.
    bool isPlaceholder() const { return second == std::numeric_limits<qint64>::min(); }
    QString text() const {
        return QStringLiteral("%1 %2").arg(second).arg(QString::fromLatin1(hash.toHex().left(8)));
    }
};
using MaybeVersion = std::optional<Version>;

// What the users of all machines did, and so what may become of it. Told of every step; what breaks a promise it
// notes as a violation.
class Model {
public:
    explicit Model(int machines) : machines_(size_t(machines)) {}

    // The user of a machine.
    void edited(int machine, const QString& uuid, const Version& version);
    void deleted(int machine, const QString& uuid);
    void editBegins(const QString& uuid) { histories_[uuid].wasEditedSince = true; }
    void deletionBegins(const QString& uuid) { histories_[uuid].wasDeleted = true; }
    void saved(int machine);
    void imageMade(const QString& uuid, const QByteArray& bytes);
    void imageSaved(const QString& uuid) {
        histories_[uuid].wasImageSaved = histories_[uuid].wasImageSavedSince = true;
    }
    void preferenceSet(int machine, const QString& key, const QJsonValue& value);
    // The cloud lost files that nobody deleted on a machine.
    void folderDeleted();
    void preferencesDeleted();

    // Sync, on a machine.
    void received(int machine, const QString& uuid, const Version& version);
    void receivedDeletion(int machine, const QString& uuid);

    // The cloud has taken a version of a record, whoever sent it.
    void cloudTook(const QString& uuid, const Version& version);
    // Whether the machine's user has saved an edit that the cloud has not taken, and that no other one has replaced.
    bool hasUnsent(int machine) const { return !machines_[size_t(machine)].unsent.isEmpty(); }
    QStringList unsent(int machine) const { return machines_[size_t(machine)].unsent.keys(); }

    // A process has started, with what its store holds.
    void started(int machine, const QHash<QString, Version>& records);

    // Everything is in step: what each machine holds.
    struct Contents {
        QHash<QString, Version> records;
        QHash<QString, QByteArray> images; // of those that have one
        QHash<QString, QJsonValue> preferences;

        bool operator==(const Contents& other) const = default;
        // Records without a date are not compared between machines: each is what a reference to a record that
        // nobody has, or that has not come, makes where it is received. Nor are their images.
        void leaveOutPlaceholders();
    };
    void settled(const Contents& contents);

    // What has had to travel: of records, images and preferences, each change and each deletion. What a process had
    // not saved when it ended counts once more, and what a machine holds when the cloud loses it.
    qint64 changes() const { return changes_; }

    void violate(const QString& what);
    const QStringList& violations() const { return violations_; }

private:
    struct History {
        std::set<Version> made;
        std::vector<Version> taken; // by the cloud
        bool wasSaved = false, wasDeleted = false;
        QHash<int, Version> lastSaved; // by machine, of its own user
        // Since all were in step: that the record was there, and what happened to it.
        bool wasSettled = false, wasEditedSince = false, wasDeletionSaved = false;
        bool isGone = false; // from everywhere
        std::set<QByteArray> images, imagesSince;
        bool wasImageSaved = false, wasImageSavedSince = false;
    };
    struct Machine {
        QHash<QString, Version> records; // as its main context holds them
        // Since the last save: whatever the store may hold after a crash.
        QHash<QString, std::vector<MaybeVersion>> candidates;
        QHash<QString, Version> unsavedEdits;
        QSet<QString> unsavedDeletions;
        QHash<QString, Version> atLastSave;
        QHash<QString, Version> unsent; // saved edits
    };
    struct Preference {
        std::vector<QJsonValue> values;
        QSet<int> changedBySince; // machines, since all were in step
        QJsonValue latest;
    };

    bool wasDeleted(const QString& uuid) const { return histories_.value(uuid).wasDeleted; }
    bool mayExist(const QString& uuid, const Version& version) const;
    void expectUpload(int machine, const QString& uuid, const Version& version);
    MaybeVersion held(int machine, const QString& uuid) const;

    std::vector<Machine> machines_;
    QHash<QString, History> histories_;
    QHash<QString, Preference> preferences_;
    // Since all were in step.
    bool wasFolderDeleted_ = false, werePreferencesDeleted_ = false;
    bool hasSettled_ = false;
    qint64 changes_ = 0;
    QStringList violations_;
};
