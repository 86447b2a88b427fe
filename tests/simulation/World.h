#pragma once

#include "Machine.h"
#include "Scenario.h"
#include "SimulatedVFS.h"

// The user's machines and their cloud, on one virtual time and in one thread. Everything that happens in it
// follows from the script.
class World {
public:
    struct Outcome {
        QStringList violations; // empty: every promise was kept
        QByteArray traceHash;
        qint64 events = 0, requests = 0, requestsAllowed = 0, faultsMet = 0, deaths = 0, questions = 0;
        LeftoverCounts leftovers{};
    };

    // At most one world at a time.
    static Outcome run(const Script& script, unsigned seed, bool printsTrace = false);

private:
    World(const Script& script, unsigned seed, bool printsTrace);

    void live(const Day& day);
    void happen(const Event& event);
    void disturb(Machine& machine, const Event& event);
    void pass(std::chrono::milliseconds time);
    void turn();
    void endStep();
    void keepRecords(const QSet<QString>& uuids);
    qint64 requests() const;
    qint64 requestsAllowed() const;
    void countRequests();
    void startAnew();
    void addMachine();
    void heal();
    bool letRest(Machine& machine);
    bool agree();
    QStringList differences();
    void checkCloud(const Model::Contents& contents, const QSet<QString>& apart = {});
    void endDisturbers();
    void healAlone();
    void letRestAlone(Machine& machine, bool isLast);
    void compareMachines();

    SimulatedVFS vfs_;
    const std::shared_ptr<QWVirtualRunLoop> runLoop_ = std::make_shared<QWVirtualRunLoop>();
    Trace trace_;
    Model model_;
    std::shared_ptr<QWAppFolder> cloud_;
    std::vector<std::unique_ptr<Machine>> machines_;
    std::unique_ptr<Machine> newcomer_;
    qint64 events_ = 0, deaths_ = 0;
};
