// What must hold of engines that nobody supervises, and what may be left apart.
#include "World.h"

using namespace std::chrono_literals;

namespace {

using Versions = std::vector<MaybeVersion>; // of one record, by machine

// How a record is not the same everywhere.
Leftover kindOf(const Versions& versions) {
    Leftover kind = Leftover::Reference;
    for (const MaybeVersion& left : versions)
        for (const MaybeVersion& right : versions) {
            if (!left || !right)
                return Leftover::Record;
            if (left->second != right->second)
                kind = Leftover::OlderVersion;
            else if (!left->isSame(*right) && kind == Leftover::Reference)
                kind = Leftover::Tie;
        }
    return kind;
}

template <class Value>
bool areAllEqual(const std::vector<Value>& values) {
    return std::all_of(values.begin(), values.end(),
                       [&](const Value& each) { return each == values.front(); });
}

} // namespace

// The user starts sync anew everywhere, a few times. What is left apart then is a leftover.
void World::healAlone() {
    endDisturbers();
    constexpr int mostRounds = 4;
    for (int round = 0; round < mostRounds && model_.violations().isEmpty(); ++round) {
        for (const auto& machine : machines_)
            letRestAlone(*machine, round + 1 == mostRounds);
        if (round > 0 && differences().isEmpty())
            break;
    }
    if (model_.violations().isEmpty())
        compareMachines();
}

void World::letRestAlone(Machine& machine, bool isLast) {
    if (!machine.isRunning())
        machine.start();
    if (!machine.isRunning() || !machine.save())
        return model_.violate(QStringLiteral("a machine does not start, or save, though all is well"));
    machine.deactivate();
    machine.activateOrSync();
    const auto end = runLoop_->now() + 30min;
    pass(20s); // preferences wait for five
    while (!machine.isQuiet() && runLoop_->now() < end) {
        turn();
        if (machine.isSignedOut())
            machine.activateOrSync();
    }
    if (!machine.isQuiet() && isLast)
        model_.violate(QStringLiteral("a machine does not come to rest: ") + machine.stateText());
}

void World::compareMachines() {
    std::vector<Model::Contents> all;
    QSet<QString> uuids;
    for (const auto& machine : machines_) {
        all.push_back(machine->contents());
        model_.checkOwn(int(all.size()) - 1, all.back());
        all.back().leaveOutPlaceholders();
        for (auto record = all.back().records.begin(); record != all.back().records.end(); ++record)
            uuids.insert(record.key());
    }
    Model::Contents agreed = all.front();
    QSet<QString> apart;
    for (const QString& uuid : uuids) {
        Versions versions;
        std::vector<QByteArray> images;
        for (const auto& contents : all) {
            versions.push_back(contents.version(uuid));
            images.push_back(contents.images.value(uuid));
        }
        const bool isSame = areAllEqual(versions);
        if (isSame && areAllEqual(images))
            continue;
        apart.insert(uuid);
        agreed.records.remove(uuid);
        agreed.images.remove(uuid);
        Leftover kind = isSame ? Leftover::Image : kindOf(versions);
        if (kind == Leftover::OlderVersion && model_.wasEditedBehind(uuid))
            kind = Leftover::Clock;
        if (kind == Leftover::Record && !model_.mayBeMissing(uuid))
            model_.violate(uuid + QStringLiteral(" is on some machines only, and nobody has deleted it"));
        model_.countLeftover(kind, uuid + QStringLiteral(" is not the same everywhere"));
        for (const MaybeVersion& version : versions)
            model_.leftApart(uuid, version);
    }
    for (const QString& key : Machine::sharedPreferences())
        for (const auto& contents : all)
            if (contents.preferences.value(key) != all.front().preferences.value(key)) {
                model_.countLeftover(Leftover::Preferences,
                                     key + QStringLiteral(" is not the same everywhere"));
                agreed.preferences[key] = QJsonValue::Undefined; // as what nobody has set
                break;
            }
    model_.settled(agreed, apart);
    checkCloud(agreed, apart);
}
