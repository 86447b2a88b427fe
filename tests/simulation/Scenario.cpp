#include "Scenario.h"

#include <random>

namespace {

using Weights = std::vector<std::pair<Event::Kind, int>>;

const Weights work{{Event::Add, 14},     {Event::Edit, 18},      {Event::Delete, 6},
                   {Event::SetImage, 8}, {Event::Save, 16},      {Event::SetPreference, 6},
                   {Event::Sync, 16},    {Event::Deactivate, 3}, {Event::Close, 3}};
const Weights network{{Event::Offline, 2},      {Event::ServerError, 2}, {Event::TooManyRequests, 1},
                      {Event::Refusal, 1},      {Event::NotFound, 1},    {Event::LoseAnswer, 3},
                      {Event::DelayRequest, 2}, {Event::DelayAnswer, 2}, {Event::Duplicate, 2},
                      {Event::Truncate, 1},     {Event::RefuseToken, 1}};
const Weights deaths{{Event::Kill, 3}, {Event::LosePower, 3}};
const Weights disk{{Event::FillDisk, 1}, {Event::FreeDisk, 2}, {Event::FailDisk, 2}};
const Weights cloud{{Event::ForgetCursors, 2}, {Event::DeleteFolder, 1}, {Event::DeletePreferences, 1}};
const Weights clocks{{Event::JumpClock, 4}};

const Weights hosts{{Event::RollBack, 5}, {Event::Refresh, 3}, {Event::Restore, 5}, {Event::AddAgain, 5}};

// With fewer other events than days have else: many records take their time.
const Weights manyDeletions{{Event::Add, 6},         {Event::Edit, 10},       {Event::Delete, 2},
                            {Event::SetImage, 2},    {Event::Save, 14},       {Event::SetPreference, 2},
                            {Event::Sync, 14},       {Event::Deactivate, 2},  {Event::Close, 3},
                            {Event::AddMany, 4},     {Event::DeleteMany, 5},  {Event::AskAboutDeletions, 4},
                            {Event::Offline, 2},     {Event::ServerError, 1}, {Event::LoseAnswer, 2},
                            {Event::DelayAnswer, 1}, {Event::RefuseToken, 1}, {Event::ForgetCursors, 1},
                            {Event::Kill, 1},        {Event::LosePower, 1},   {Event::JumpClock, 1}};

// With few records: so that most events meet a transfer of the one file that all machines write.
const Weights preferenceWork{
    {Event::Add, 2},        {Event::Edit, 3},  {Event::Save, 4},           {Event::Sync, 16},
    {Event::Deactivate, 4}, {Event::Close, 4}, {Event::SetPreference, 40}, {Event::DeletePreferences, 2}};

Weights together(std::initializer_list<Weights> parts, int faultFactor = 1, Weights all = work) {
    for (const Weights& part : parts)
        for (const auto& [kind, weight] : part)
            all.emplace_back(kind, weight * faultFactor);
    return all;
}

class Dice {
public:
    explicit Dice(unsigned seed) : random_(seed) {}

    // 0 .. count - 1
    int roll(int count) { return int(random_() % unsigned(count)); }
    int between(int least, int most) { return least + roll(most - least + 1); }
    bool once(int in) { return roll(in) == 0; }

    Event::Kind pick(const Weights& weights) {
        int sum = 0;
        for (const auto& each : weights)
            sum += each.second;
        int rolled = roll(sum);
        for (const auto& [kind, weight] : weights)
            if ((rolled -= weight) < 0)
                return kind;
        return Event::Save;
    }

private:
    std::mt19937 random_;
};

constexpr int mostPause = 900'000; // in ms

// With a lost cursor nobody can tell the deletion of the folder from that of single files: not both in one script.
Event makeEvent(Dice& dice, Event::Kind kind, int machines, bool deletesFolder) {
    Event event;
    event.kind = kind;
    if (kind == Event::DeleteFolder && !deletesFolder)
        event.kind = Event::DeletePreferences;
    if (kind == Event::ForgetCursors && deletesFolder)
        event.kind = Event::Offline;
    event.machine = dice.roll(machines);
    event.pause = std::chrono::milliseconds(dice.once(20) ? dice.roll(mostPause) : dice.roll(4000));
    if (event.pause.count() > mostPause - mostPause / 8)
        event.pause *= 12; // some hours
    event.first = dice.roll(1000);
    event.second = dice.roll(100'000);
    if (event.kind == Event::Edit && event.second % 6 == 0)
        event.kind = Event::EditAuthor;
    if (event.kind == Event::Delete && event.second % 3 == 0)
        event.kind = Event::DeleteAuthor;
    if (event.kind == Event::Offline && event.second % 3 == 0)
        event.kind = Event::StayOffline;
    kind = event.kind;
    if (kind == Event::StayOffline)
        event.first = 10 + event.second % 240;
    if (kind == Event::Kill || kind == Event::LosePower)
        event.first = dice.roll(dice.once(3) ? 4 : 120);
    else if (event.disturbsRequests())
        event.first = dice.between(1, 5);
    else if (kind == Event::FailDisk)
        event.first = dice.between(1, Event::mostDiskFailures)
                      + Event::mostDiskFailures * (event.second % 2 == 0 ? event.second % 24 / 2 : 0);
    if (kind == Event::AddMany)
        event.first = dice.between(51, 90);
    if (kind == Event::DeleteMany)
        event.first = dice.between(51, 120);
    if (kind == Event::AskAboutDeletions)
        event.second = dice.once(3) ? 0 : dice.between(1, dice.once(2) ? 60 : 3600);
    if (kind == Event::DelayRequest || kind == Event::DelayAnswer)
        event.second = dice.between(1, dice.once(4) ? 120 : 15);
    if (kind == Event::JumpClock)
        event.first = dice.once(3) ? dice.between(-86'400, 86'400) : dice.between(-30, 30);
    return event;
}

constexpr int leastOperations = 60;
constexpr int leastFaults = 10;

} // namespace

const std::vector<Scenario>& Scenario::all() {
    static const std::vector<Scenario> scenarios{
        {"everything", "every disturber", together({network, deaths, disk, cloud, clocks}), 5},
        {"network", "requests that fail, are lost, delayed or doubled", together({network}), 5},
        {"crashes", "processes that are killed, machines that lose power", together({deaths}, 3), 3},
        {"disks", "disks that are full or fail, and deaths", together({disk, deaths}, 2), 3},
        {"cloud", "lost cursors, a folder or a file that somebody deletes", together({cloud, network}), 4},
        {"clocks", "clocks that jump", together({clocks, deaths}, 2), 4},
        {"deletions", "very many deletions, which wait for an answer", manyDeletions, 3},
        {"preferences", "shared preferences, and every disturber",
         together({network, deaths, disk, cloud, clocks}, 1, preferenceWork), 4},
        {"hosts", "what is taken back, brought back or made again, requests that fail, and deaths",
         together({hosts, network, deaths}), 4},
        {"alone", "every disturber, and engines without a supervisor",
         together({network, deaths, disk, cloud, clocks}), 5, false},
    };
    return scenarios;
}

const Scenario* Scenario::named(const QString& name) {
    for (const Scenario& scenario : all())
        if (scenario.name == name)
            return &scenario;
    return nullptr;
}

Script makeScript(const Scenario& scenario, unsigned seed) {
    Dice dice(seed * 2654435761U + 1);
    Script script;
    script.isSupervised = scenario.isSupervised;
    script.machines = dice.between(2, dice.once(4) ? scenario.mostMachines : 3);
    for (int machine = 0; machine < script.machines; ++machine)
        script.clockOffsets.push_back(dice.once(3) ? dice.between(-3600, 3600) : dice.between(-2, 2));
    const bool deletesFolder = dice.once(2);
    int operations = 0, faults = 0;
    const int dayCount = 2;
    for (int number = 1; number <= dayCount; ++number) {
        Day day;
        const auto hasEnough = [&] {
            return operations >= leastOperations * number / dayCount
                   && faults >= leastFaults * number / dayCount;
        };
        while (!hasEnough()) {
            day.push_back(makeEvent(dice, dice.pick(scenario.weights), script.machines, deletesFolder));
            ++(day.back().isFault() ? faults : operations);
        }
        script.days.push_back(day);
    }
    return script;
}
