#include "World.h"

#include "sync/QWDropboxSyncConstants.h"

#include <algorithm>
#include <optional>

using namespace std::chrono_literals;

namespace {

using Fault = SimulatedNetwork::Fault;

// What becomes of a request by an event that disturbs the network; nothing for any other.
std::optional<Fault> faultOf(const Event& event) {
    const auto fault = [&](Fault::Kind kind, int status = 0) {
        return Fault{kind, status, std::chrono::seconds(event.second)};
    };
    switch (event.kind) {
    case Event::Offline:
        return fault(Fault::Status);
    case Event::ServerError:
        return fault(Fault::Status, 500);
    case Event::TooManyRequests:
        return fault(Fault::Status, 429);
    case Event::Refusal:
        return fault(Fault::Status, 409);
    case Event::NotFound:
        return fault(Fault::Status, 404);
    case Event::RefuseToken:
        return fault(Fault::Status, 401);
    case Event::LoseAnswer:
        return fault(Fault::LoseAnswer);
    case Event::DelayRequest:
        return fault(Fault::DelayRequest);
    case Event::DelayAnswer:
        return fault(Fault::DelayAnswer);
    case Event::Duplicate:
        return fault(Fault::Duplicate);
    case Event::Truncate:
        return fault(Fault::Truncate);
    default:
        return std::nullopt;
    }
}

bool asksAboutDeletions(const Script& script) {
    return std::any_of(script.days.begin(), script.days.end(), [](const Day& day) {
        return std::any_of(day.begin(), day.end(),
                           [](const Event& event) { return event.kind == Event::AskAboutDeletions; });
    });
}

} // namespace

World::Outcome World::run(const Script& script, unsigned seed, bool printsTrace) {
    World world(script, seed, printsTrace);
    for (const Day& day : script.days) {
        world.live(day);
        script.isSupervised ? world.heal() : world.healAlone();
        if (!world.model_.violations().isEmpty())
            break;
    }
    if (script.isSupervised)
        for (const auto check : {&World::checkStart, &World::checkRequests, &World::checkNewcomer})
            if (world.model_.violations().isEmpty())
                (world.*check)();
    Outcome outcome{world.model_.violations(), world.trace_.hash(), world.events_};
    outcome.requests = world.requests();
    for (const auto& machine : world.machines_) {
        outcome.faultsMet += machine->ledger.faultsMet;
        outcome.questions += machine->questions();
    }
    outcome.leftovers = world.model_.leftovers();
    outcome.deaths = world.deaths_;
    outcome.requestsAllowed = world.requestsAllowed();
    return outcome;
}

World::World(const Script& script, unsigned seed, bool printsTrace)
    : trace_(printsTrace), model_(script.machines + 1, script.isSupervised, script.forbidden) {
    QWVirtualWorld cloudWorld(seed * 100, runLoop_);
    cloud_ = QWAppFolder::inMemory(cloudWorld.environment());
    for (int number = 0; number <= script.machines; ++number)
        machines_.push_back(std::make_unique<Machine>(number, seed * 100 + 1 + number, runLoop_, cloud_,
                                                      model_, trace_, script.isSupervised));
    newcomer_ = std::move(machines_.back());
    machines_.pop_back();
    for (int number = 0; number < script.machines; ++number) {
        Machine& machine = *machines_[size_t(number)];
        machine.world.clock->setOffset(std::chrono::seconds(script.clockOffsets[size_t(number)]));
        machine.isEverAsked = asksAboutDeletions(script);
        machine.start();
        machine.activateOrSync();
    }
}

// Time ------------------------------------------------------------------------------------------------------

void World::turn() {
    runLoop_->runNext();
    endStep();
}

void World::endStep() {
    for (const auto& machine : machines_) {
        machine->report();
        machine->checkReports();
        keepRecords(machine->takeRecordsKept());
        if (machine->bury())
            ++deaths_;
    }
}

// A user has refused deletions: the records are kept, unless somebody is still about to delete them.
void World::keepRecords(const QHash<QString, bool>& records) {
    for (auto record = records.begin(); record != records.end(); ++record)
        model_.deletionRefused(record.key(),
                               record.value()
                                   && std::none_of(machines_.begin(), machines_.end(), [&](auto& machine) {
                                          return machine->mayDelete(record.key());
                                      }));
}

void World::pass(std::chrono::milliseconds time) {
    bool isOver = false;
    runLoop_->after(time, [&] { isOver = true; });
    while (!isOver)
        turn();
}

// Events ----------------------------------------------------------------------------------------------------

void World::live(const Day& day) {
    for (const Event& event : day) {
        pass(event.pause);
        happen(event);
        endStep();
        if (!model_.violations().isEmpty())
            return;
    }
}

void World::happen(const Event& event) {
    ++events_;
    Machine& machine = *machines_[size_t(event.machine) % machines_.size()];
    trace_.add(QStringLiteral("%1 s: %2").arg(runLoop_->now().count() / 1e6).arg(event.text()));
    disturb(machine, event);
    if (event.kind == Event::AskAboutDeletions)
        return machine.askAboutDeletions(event.first % 2 == 1, std::chrono::seconds(event.second));
    if (!machine.isRunning())
        machine.start();
    if (!machine.isRunning() || machine.disk.isDead())
        return;
    switch (event.kind) {
    case Event::Add:
        return machine.add(event.first, event.second);
    case Event::Edit:
        return machine.edit(QStringLiteral("Book"), event.first, event.second);
    case Event::EditAuthor:
        return machine.edit(QStringLiteral("Author"), event.first, event.second);
    case Event::Delete:
        return machine.remove(QStringLiteral("Book"), event.first);
    case Event::DeleteAuthor:
        return machine.remove(QStringLiteral("Author"), event.first);
    case Event::AddMany:
        return machine.addMany(event.first, event.second);
    case Event::DeleteMany:
        return machine.removeMany(event.first, event.second);
    case Event::RollBack:
        return machine.rollBack();
    case Event::Refresh:
        return machine.refresh(event.first);
    case Event::Restore:
        return machine.restore(event.first);
    case Event::AddAgain:
        return machine.addAgain(event.first, event.second);
    case Event::SetImage:
        return machine.setImage(event.first, event.second);
    case Event::Save:
        machine.save();
        return;
    case Event::SetPreference:
        return machine.setPreference(event.first, event.second);
    case Event::Sync:
        return machine.activateOrSync();
    case Event::Deactivate:
        return machine.deactivate();
    case Event::Close:
        return machine.close();
    default:
        return;
    }
}

void World::disturb(Machine& machine, const Event& event) {
    if (const auto fault = faultOf(event)) {
        machine.ledger.faults.insert(machine.ledger.faults.end(), size_t(event.first), *fault);
        return;
    }
    const auto remove = [&](const QString& path) {
        if (cloud_->metadata(path))
            cloud_->remove(path);
    };
    switch (event.kind) {
    case Event::StayOffline:
        machine.ledger.offlineUntil = runLoop_->now() + std::chrono::minutes(event.first);
        return;
    case Event::Kill:
    case Event::LosePower:
        return machine.disk.dieAfter(event.first,
                                     event.kind == Event::Kill ? SimulatedDisk::Death::Kill
                                                               : SimulatedDisk::Death::LossOfPower,
                                     unsigned(event.second));
    case Event::JumpClock:
        return machine.world.clock->setOffset(machine.world.clock->offset()
                                              + std::chrono::seconds(event.first));
    case Event::FillDisk:
        return machine.disk.setFull(true);
    case Event::FreeDisk:
        return machine.disk.setFull(false);
    case Event::FailDisk:
        return machine.disk.fail(event.diskFailures(), event.operationsBeforeDiskFailures());
    case Event::ForgetCursors:
        cloud_->forgetCursors();
        return;
    case Event::DeleteFolder:
        if (!std::all_of(machines_.begin(), machines_.end(),
                         [](const auto& each) { return each->hasCursor(); }))
            return;
        model_.folderDeleted();
        return remove(QWDBFileCacheDirectoryInDropboxFolder);
    case Event::DeletePreferences:
        model_.preferencesDeleted();
        return remove(QWDBFileSyncedPreferencesInDropboxFolder);
    default:
        return;
    }
}
