#include "SimulatedDisk.h"

namespace {

constexpr qsizetype sectorSize = 512;

} // namespace

SimulatedDisk::FileRef SimulatedDisk::find(const std::string& path) const {
    const auto found = names_.find(path);
    return found == names_.end() ? nullptr : found->second;
}

bool SimulatedDisk::holdsAnythingBelow(const std::string& folder) const {
    const std::string prefix = folder + '/';
    const auto found = names_.lower_bound(prefix);
    return found != names_.end() && found->first.compare(0, prefix.size(), prefix) == 0;
}

// Changes ---------------------------------------------------------------------------------------------------

bool SimulatedDisk::takesChange(bool grows) {
    step();
    if (isDead_ || (isFull_ && grows))
        return false;
    if (operationsBeforeFailures_ > 0)
        --operationsBeforeFailures_;
    else if (failures_ > 0) {
        --failures_;
        return false;
    }
    return true;
}

SimulatedDisk::FileRef SimulatedDisk::create(const std::string& path) {
    if (!takesChange())
        return nullptr;
    const auto file = std::make_shared<File>();
    file->modified = clock_->now();
    changeNames([path, file](Names& names) { names[path] = file; });
    return file;
}

bool SimulatedDisk::write(const FileRef& file, qsizetype offset, const QByteArray& bytes) {
    if (!takesChange(offset + bytes.size() > file->bytes.size()))
        return false;
    change(file, {offset, bytes.isNull() ? QByteArray("") : bytes});
    return true;
}

bool SimulatedDisk::truncate(const FileRef& file, qsizetype size) {
    if (!takesChange(false))
        return false;
    change(file, {size, QByteArray()});
    return true;
}

void SimulatedDisk::change(const FileRef& file, File::Write write) {
    apply(file->bytes, write);
    file->unsynced.push_back(std::move(write));
    file->modified = clock_->now();
}

void SimulatedDisk::apply(QByteArray& bytes, const File::Write& write) const {
    if (write.bytes.isNull()) {
        bytes.resize(std::min(bytes.size(), write.offset));
        return;
    }
    if (bytes.size() < write.offset + write.bytes.size())
        bytes.append(write.offset + write.bytes.size() - bytes.size(), '\0');
    std::copy(write.bytes.begin(), write.bytes.end(), bytes.begin() + write.offset);
}

bool SimulatedDisk::sync(const FileRef& file) {
    if (!takesChange(false))
        return false;
    for (const auto& write : std::exchange(file->unsynced, {}))
        apply(file->synced, write);
    writeNames();
    return true;
}

bool SimulatedDisk::syncNames() {
    if (!takesChange(false))
        return false;
    writeNames();
    return true;
}

void SimulatedDisk::writeNames() {
    for (const auto& change : std::exchange(unsyncedNames_, {}))
        change(syncedNames_);
}

bool SimulatedDisk::remove(const std::string& path) {
    if (!find(path) || !takesChange(false))
        return false;
    changeNames([path](Names& names) { names.erase(path); });
    return true;
}

bool SimulatedDisk::rename(const std::string& from, const std::string& to) {
    const auto file = find(from);
    if (!file || !takesChange(false))
        return false;
    changeNames([=](Names& names) {
        names.erase(from);
        names[to] = file;
    });
    return true;
}

// As with a write, the date that a machine sees is that of the file.
bool SimulatedDisk::setModified(const std::string& path, const QDateTime& date) {
    const auto file = find(path);
    if (!file || !takesChange(false))
        return false;
    file->modified = date;
    return true;
}

void SimulatedDisk::changeNames(std::function<void(Names&)> change) {
    change(names_);
    unsyncedNames_.push_back(std::move(change));
}

// Death -----------------------------------------------------------------------------------------------------

void SimulatedDisk::dieAfter(int steps, Death death, unsigned seed) {
    if (isDead_)
        return;
    stepsToLive_ = steps;
    death_ = death;
    seed_ = seed;
}

void SimulatedDisk::step() {
    if (isDead_ || stepsToLive_ < 0)
        return;
    if (stepsToLive_-- == 0)
        die();
}

void SimulatedDisk::die() {
    isDead_ = true;
    stepsToLive_ = -1;
    fail(0, 0);
    if (death_ == Death::LossOfPower)
        losePower();
}

void SimulatedDisk::losePower() {
    std::mt19937 random(seed_);
    bytesLeft_.clear();
    namesLeft_ = syncedNames_;
    const auto kept = random() % (unsyncedNames_.size() + 1);
    for (std::size_t index = 0; index < kept; ++index)
        unsyncedNames_[index](namesLeft_);
    for (const auto& [path, file] : namesLeft_) {
        QByteArray bytes = file->synced;
        for (File::Write write : file->unsynced) {
            const auto luck = random() % 3;
            if (luck == 1 && write.bytes.size() > sectorSize)
                write.bytes.truncate(sectorSize
                                     * qsizetype(1 + random() % (write.bytes.size() / sectorSize)));
            if (luck > 0)
                apply(bytes, write);
        }
        bytesLeft_[path] = bytes;
    }
}

// What a process that was killed has written stands in the memory of the machine, and may yet be lost with its power.
void SimulatedDisk::restart() {
    ++generation_;
    if (!std::exchange(isDead_, false) || death_ == Death::Kill)
        return;
    Names names;
    for (const auto& [path, file] : namesLeft_) {
        const auto left = std::make_shared<File>();
        left->bytes = left->synced = bytesLeft_[path];
        left->modified = file->modified;
        names[path] = left;
    }
    names_ = syncedNames_ = names;
    unsyncedNames_.clear();
    namesLeft_.clear();
    bytesLeft_.clear();
}
