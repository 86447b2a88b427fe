#pragma once

#include "Machine.h"
#include "Scenario.h"
#include "SimulatedVFS.h"

// The user's machines and their cloud, on one virtual time and in one thread. Everything that happens in it
// follows from the script.
//
// | What is promised (docs/guarantees.md) | is checked by |
// |---|---|
// | all hold the same in the end, and so does the cloud | World::heal, agree, checkCloud |
// | and a machine that is new | World::checkNewcomer |
// | nothing that was saved is lost, falls back or returns | Model::received, receivedDeletion, checkRecord, checkImage |
// | no preference is lost | Model::checkPreference |
// | a store holds what was saved, or was being saved, after a death | Model::started |
// | whatever loses is in the archive | Machine::checkArchive, Model::checkArchive |
// | nothing comes, or is asked for, while a user is asked about deletions | Machine::report, checkQuestion |
// | counts are right, and no more than five are in flight | Machine::countDidChange, statusDidChange, checkReports |
// | what a machine says of itself is so, "in step" above all | Machine::checkReports, checkSupervisor |
// | a machine comes to rest | World::letRest, letRestAlone |
// | no more requests are made than are due | World::checkRequests, checkStart |
// | what engines alone leave behind is of a kind that has a name | World::compareMachines |
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
    void keepRecords(const QHash<QString, bool>& records);
    qint64 requests() const;
    qint64 requestsAllowed() const;
    void checkStart();
    void checkRequests();
    void checkNewcomer();
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
