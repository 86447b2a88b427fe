#pragma once

#include "platform/QWClock.h"

#include <QByteArray>
#include <QDateTime>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

// The disk of one simulated machine, in memory: files with the bytes that the machine sees, and what of them
// a loss of power leaves. It keeps the promises of a journaling file system and no more:
// - what was written to a file is on the disk after a `sync` of that file. Before, each write of it may be
//   there, missing or torn at a sector, whatever became of the others;
// - names come, change and go in their order; any sync makes all of them last. Before, a loss of power takes
//   back the latest few.
// A process that is killed loses nothing of what it has written; it is on the disk by the time of the next one.
//
// A disk dies in the middle of whatever the process is doing. The objects of that process still live then:
// from that instant on nothing that they write is taken, until `restart`.
class SimulatedDisk {
public:
    enum class Death { Kill, LossOfPower };

    struct File {
        QByteArray bytes;
        QDateTime modified;

    private:
        friend class SimulatedDisk;
        struct Write {
            qsizetype offset = 0;
            QByteArray bytes; // null: the file is cut at `offset`
        };
        QByteArray synced;
        std::vector<Write> unsynced;
    };
    using FileRef = std::shared_ptr<File>;

    explicit SimulatedDisk(std::shared_ptr<const QWClock> clock) : clock_(std::move(clock)) {}

    // Reading works whatever the state. Null when there is no such file.
    FileRef find(const std::string& path) const;
    bool holdsAnythingBelow(const std::string& folder) const;

    // Changing: false when the disk is dead, full or failing.
    FileRef create(const std::string& path); // empty; null when it fails
    bool write(const FileRef& file, qsizetype offset, const QByteArray& bytes);
    bool truncate(const FileRef& file, qsizetype size);
    bool sync(const FileRef& file);
    bool syncNames();
    bool remove(const std::string& path);
    bool rename(const std::string& from, const std::string& to);
    bool setModified(const std::string& path, const QDateTime& date);

    // Trouble.
    void setFull(bool full) { isFull_ = full; }
    bool isFull() const { return isFull_; }
    // So many operations fail, after so many that do not.
    void fail(int operations, int after) {
        failures_ = operations;
        operationsBeforeFailures_ = after;
    }

    // The disk dies after so many more steps; a step is a change of the disk, or what the machine counts.
    // `seed` decides what a loss of power leaves.
    void dieAfter(int steps, Death death, unsigned seed);
    void step();
    bool isDead() const { return isDead_; }
    // The seed of the loss of power by which it is dead.
    std::optional<unsigned> powerLost() const {
        return isDead_ && death_ == Death::LossOfPower ? std::optional(seed_) : std::nullopt;
    }
    // After the objects of the process that died have gone: the disk is what was left of it. A death or a failure that
    // is still to come is one of the next process.
    void restart();
    // Counts the processes: what an earlier one has opened is of no use any more.
    int generation() const { return generation_; }

private:
    using Names = std::map<std::string, FileRef>;

    bool takesChange(bool grows = true);
    void apply(QByteArray& bytes, const File::Write& write) const;
    void change(const FileRef& file, File::Write write);
    void changeNames(std::function<void(Names&)> change);
    void writeNames();
    void die();
    void losePower();

    std::shared_ptr<const QWClock> clock_;
    Names names_, syncedNames_;
    std::vector<std::function<void(Names&)>> unsyncedNames_; // in order
    Names namesLeft_;                                        // by a loss of power, with their bytes
    std::map<std::string, QByteArray> bytesLeft_;
    bool isFull_ = false, isDead_ = false;
    int failures_ = 0, operationsBeforeFailures_ = 0, stepsToLive_ = -1, generation_ = 0;
    Death death_ = Death::Kill;
    unsigned seed_ = 0;
};
