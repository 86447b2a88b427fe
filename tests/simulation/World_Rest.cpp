// What must hold when all is well again.
#include "World.h"

using namespace std::chrono_literals;

namespace {

// After which every request that was sent has arrived.
constexpr auto longestDelay = 130s;

} // namespace

// Requests --------------------------------------------------------------------------------------------------

qint64 World::requests() const {
    qint64 requests = 0;
    for (const auto& machine : machines_)
        requests += machine->ledger.requests;
    return requests;
}

// A change is told of by one machine, and each other one asks for it. A sync or an activation is a query and perhaps a
// look-up. What has met a fault is repeated, and may lead to a new start; and some polls come by themselves.
qint64 World::requestsAllowed() const {
    const auto machines = qint64(machines_.size());
    const qint64 polls = machines * (runLoop_->now() / 10min + 1);
    qint64 allowed = machines * model_.changes() + polls;
    for (const auto& machine : machines_)
        allowed += 2 * machine->syncs() + 2 * machine->ledger.faultsMet + machine->ledger.furtherPages
                   + machine->downloadsLost();
    return allowed;
}

void World::checkRequests() {
    if (requests() > requestsAllowed())
        model_.violate(QStringLiteral("%1 requests were made, and %2 are due at most")
                           .arg(requests())
                           .arg(requestsAllowed()));
}

// All are in step: who starts asks whether anything has changed, and for nothing else. (The first start may receive the
// preferences once more, which a deletion of the sync folder has made unknown.)
void World::checkStart() {
    for (const bool isFirst : {true, false}) {
        for (const auto& machine : machines_) {
            const auto& ledger = machine->ledger;
            machine->close();
            const qint64 before = ledger.requests - ledger.furtherPages;
            if (!letRest(*machine))
                return model_.violate(QStringLiteral("a machine does not come to rest: ")
                                      + machine->stateText());
            const qint64 requests = ledger.requests - ledger.furtherPages - before;
            if (!isFirst && requests != 1)
                model_.violate(
                    QStringLiteral("a machine in step makes %1 requests when it starts").arg(requests));
        }
    }
}

// The cloud holds what all do: a machine that comes later gets the same.
void World::checkNewcomer() {
    machines_.push_back(std::move(newcomer_));
    trace_.add(QStringLiteral("machine %1 is new").arg(machines_.size()));
    pass(10min); // for the ten seconds of the last changes, whatever they are
    bool areInStep = true;
    for (int round = 0; round < 2; ++round)
        for (const auto& machine : machines_)
            areInStep = areInStep && letRest(*machine);
    if (!areInStep || !agree())
        model_.violate(QStringLiteral("a new machine does not get what all hold:\n")
                       + differences().join(QLatin1Char('\n')));
}

// Healing ---------------------------------------------------------------------------------------------------

void World::endDisturbers() {
    trace_.add(QStringLiteral("all is well"));
    for (const auto& machine : machines_) {
        machine->ledger.faults.clear();
        machine->ledger.offlineUntil = {};
        machine->disk.setFull(false);
        machine->disk.fail(0, 0);
        machine->disk.dieAfter(-1, SimulatedDisk::Death::Kill, 0);
    }
    pass(longestDelay);
}

// Every disturber ends; the user saves everywhere and lets every machine sync, twice and then until all agree.
void World::heal() {
    endDisturbers();
    constexpr int mostRounds = 6;
    for (int round = 0; round < mostRounds && model_.violations().isEmpty(); ++round) {
        for (const auto& machine : machines_)
            if (!letRest(*machine))
                return model_.violate(QStringLiteral("a machine does not come to rest: ")
                                      + machine->stateText());
        if (round > 0 && agree())
            return;
    }
    if (model_.violations().isEmpty())
        model_.violate(QStringLiteral("the machines do not come to agree:\n")
                       + differences().join(QLatin1Char('\n')));
}

bool World::letRest(Machine& machine) {
    if (!machine.isRunning())
        machine.start();
    if (!machine.isRunning() || !machine.save())
        return false;
    machine.activateOrSync();
    const auto end = runLoop_->now() + 1h;
    while (!machine.isInStep() && runLoop_->now() < end) {
        turn();
        if (machine.isSignedOut()) // by a refusal that was on its way
            machine.activateOrSync();
        if (machine.isAsked() && machine.hasSentAll())
            machine.answerDeletionQuestion();
    }
    return machine.isInStep();
}

bool World::agree() {
    std::vector<Model::Contents> contents;
    for (const auto& machine : machines_) {
        contents.push_back(machine->contents());
        contents.back().leaveOutPlaceholders();
        if (contents.back() != contents.front())
            return false;
    }
    for (const auto& machine : machines_)
        machine->checkArchive();
    model_.settled(contents.front());
    checkCloud(contents.front());
    return true;
}

// What each machine holds that the first one does not hold alike.
QStringList World::differences() {
    const auto linesOf = [](const Model::Contents& contents) {
        QStringList lines;
        for (auto record = contents.records.begin(); record != contents.records.end(); ++record)
            lines.append(record.key() + QLatin1Char(' ') + record->text());
        for (auto image = contents.images.begin(); image != contents.images.end(); ++image)
            lines.append(image.key() + QLatin1Char(' ') + QString::fromUtf8(*image));
        for (auto value = contents.preferences.begin(); value != contents.preferences.end(); ++value)
            lines.append(QStringLiteral("%1 %2").arg(value.key()).arg(value->toInt(-1)));
        return lines;
    };
    QHash<QString, int> counts;
    std::vector<QStringList> lines;
    for (const auto& machine : machines_) {
        auto contents = machine->contents();
        contents.leaveOutPlaceholders();
        lines.push_back(linesOf(contents));
        for (const QString& line : lines.back())
            ++counts[line];
    }
    QStringList differences;
    for (size_t number = 0; number < machines_.size(); ++number)
        for (const QString& line : lines[number])
            if (counts[line] < int(machines_.size()))
                differences.append(QStringLiteral("  machine %1: %2").arg(number + 1).arg(line));
    differences.sort();
    return differences;
}

// Each record once, each image that somebody holds, and no copy of a conflict of either.
void World::checkCloud(const Model::Contents& contents, const QSet<QString>& apart) {
    QSet<QString> recordFiles, imageFiles;
    QString cursor;
    for (bool hasMore = true; hasMore;) {
        const auto page = cloud_->changes(cursor, 1000);
        for (const auto& entry : page->entries) {
            if (!entry->metadata || entry->metadata->isDirectory)
                continue;
            const QString name = entry->metadata->filename();
            if (name.contains(QStringLiteral("conflicted copy")))
                model_.violateUnlessAlone(Leftover::Copy,
                                          QStringLiteral("a copy of a conflict is left: ") + name);
            const QString uuid = name.section(QStringLiteral("!!!"), 1).section(QLatin1Char('.'), 0, 0);
            if (name.endsWith(QLatin1String(".image")))
                imageFiles.insert(uuid);
            else if (name.contains(QStringLiteral("!!!")))
                recordFiles.insert(uuid);
        }
        cursor = page->cursor;
        hasMore = page->hasMore;
    }
    for (auto record = contents.records.begin(); record != contents.records.end(); ++record)
        if (!recordFiles.remove(record.key()))
            model_.violateUnlessAlone(Leftover::MissingFile,
                                      QStringLiteral("the cloud lacks %1").arg(record.key()));
    for (const QString& uuid : recordFiles - apart)
        model_.violate(QStringLiteral("the cloud holds %1, and nobody else does").arg(uuid));
    for (auto image = contents.images.begin(); image != contents.images.end(); ++image)
        if (!imageFiles.contains(image.key()))
            model_.violateUnlessAlone(Leftover::MissingFile,
                                      QStringLiteral("the cloud lacks the image of %1").arg(image.key()));
}
