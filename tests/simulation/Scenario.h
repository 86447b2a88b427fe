#pragma once

#include "Event.h"
#include "Leftover.h"

// What a seed makes, and with which disturbers.
struct Scenario {
    QString name;
    QString description;
    std::vector<std::pair<Event::Kind, int>> weights; // how often, compared with the others
    int mostMachines = 5;
    bool isSupervised = true;

    static const std::vector<Scenario>& all();
    static const Scenario* named(const QString& name);
};

struct Script {
    int machines = 0;
    std::vector<int> clockOffsets; // of each machine, in seconds
    std::vector<Day> days;         // after each of them all is well for a while, and everything must agree
    bool isSupervised = true;
    std::optional<Leftover> forbidden{}; // what breaks a promise although it may be left behind
};

// Each script has at least 60 operations and 10 faults.
Script makeScript(const Scenario& scenario, unsigned seed);
