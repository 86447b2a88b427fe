// qw-simulate: lets simulated machines live through days of accidents, seed by seed, and says which promise was
// broken, if one was.
#include "Shrinker.h"
#include "World.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QHashFunctions>
#include <QLoggingCategory>
#include <cstdio>
#include <cstring>
#include <new>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr unsigned twiceEvery = 100; // seeds
constexpr unsigned mostJobs = 64;    // so that no slip of the finger takes all processes of the machine

struct Sum {
    qint64 seeds = 0, events = 0, requests = 0, faultsMet = 0, deaths = 0, questions = 0;
    LeftoverCounts leftovers{};
    double requestShare = 0; // the greatest, of those that are allowed

    void add(const World::Outcome& outcome) {
        add({1, outcome.events, outcome.requests, outcome.faultsMet, outcome.deaths, outcome.questions,
             outcome.leftovers, double(outcome.requests) / double(outcome.requestsAllowed)});
    }
    void add(const Sum& other) {
        seeds += other.seeds;
        events += other.events;
        requests += other.requests;
        faultsMet += other.faultsMet;
        deaths += other.deaths;
        questions += other.questions;
        for (size_t kind = 0; kind < leftoverCount; ++kind)
            leftovers[kind] += other.leftovers[kind];
        requestShare = std::max(requestShare, other.requestShare);
    }
};

void say(const QString& text) {
    std::fputs(qPrintable(text + QLatin1Char('\n')), stdout);
    std::fflush(stdout);
}

[[noreturn]] void refuse(const QString& text) {
    std::fputs(qPrintable(QStringLiteral("qw-simulate: ") + text + QLatin1Char('\n')), stderr);
    std::exit(2);
}

struct Options {
    const Scenario* scenario = nullptr;
    unsigned first = 0, last = 0, jobs = 1;
    bool printsTrace = false, printsHashes = false;
    std::optional<Leftover> forbidden;
};

// What a process tells of itself, also when it crashes: it stands in memory that the processes share.
struct Job {
    quint64 seed = 0; // at which it is; behind the last one, of which there may be no greater
    int failures = 0;
    Sum sum;
};

// True when every promise was kept.
bool runSeed(const Options& options, unsigned seed, Sum& sum) {
    const Scenario& scenario = *options.scenario;
    Script script = makeScript(scenario, seed);
    script.forbidden = options.forbidden;
    const auto outcome = World::run(script, seed);
    sum.add(outcome);
    if (options.printsHashes)
        say(QStringLiteral("seed %1: %2").arg(seed).arg(QString::fromLatin1(outcome.traceHash)));
    if (!outcome.violations.isEmpty()) {
        say(QStringLiteral("seed %1 of %2: %3").arg(seed).arg(scenario.name, outcome.violations.first()));
        const Script shortest = shrink(script, seed);
        say(QStringLiteral("the shortest days found that break a promise, as a test:\n")
            + testOf(shortest, seed));
        say(QStringLiteral("which says: %1")
                .arg(World::run(shortest, seed, options.printsTrace).violations.value(0)));
        return false;
    }
    if (seed % twiceEvery == 0 && World::run(script, seed).traceHash != outcome.traceHash) {
        say(QStringLiteral("seed %1 of %2: it went otherwise the second time").arg(seed).arg(scenario.name));
        return false;
    }
    return true;
}

// The seeds of one process, from that of its job on.
void runSeeds(const Options& options, Job& job) {
    for (; job.seed <= options.last; job.seed += options.jobs)
        job.failures += !runSeed(options, unsigned(job.seed), job.sum);
}

Options optionsOf(const QCoreApplication& application) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Simulates machines that sync through days of accidents. Ends with 0 when all promises\n"
        "were kept, with 1 when one was broken or a process has crashed, and with 2 when an\n"
        "option makes no sense."));
    const QCommandLineOption help = parser.addHelpOption();
    parser.addOption({QStringLiteral("seeds"),
                      QStringLiteral("Which seeds: a range such as 1..1000, or one; 1..100 without it."),
                      QStringLiteral("FROM..TO"), QStringLiteral("1..100")});
    parser.addOption({QStringLiteral("jobs"),
                      QStringLiteral("Processes at once, 1 to %1; 1 without it.").arg(mostJobs),
                      QStringLiteral("N"), QStringLiteral("1")});
    QStringList names, descriptions, kinds;
    for (const Scenario& scenario : Scenario::all()) {
        names.append(scenario.name);
        descriptions.append(QStringLiteral("%1 (%2)").arg(scenario.name, scenario.description));
    }
    for (size_t kind = 0; kind < leftoverCount; ++kind)
        kinds.append(nameOf(Leftover(kind)));
    parser.addOption(
        {QStringLiteral("scenario"),
         QStringLiteral("One of %1; everything without it.").arg(descriptions.join(QStringLiteral(", "))),
         QStringLiteral("NAME"), QStringLiteral("everything")});
    parser.addOption(
        {QStringLiteral("forbid"),
         QStringLiteral("Let what is counted in the scenario \"alone\" as one of %1 break a promise "
                        "(docs/guarantees.md).")
             .arg(kinds.join(QStringLiteral(", "))),
         QStringLiteral("KIND")});
    parser.addOption({QStringLiteral("hashes"), QStringLiteral("Print of each seed the hash of its trace.")});
    parser.addOption(
        {QStringLiteral("trace"),
         QStringLiteral("Of a seed that breaks a promise, print each step of the shortest list of "
                        "events that does.")});
    if (!parser.parse(application.arguments()))
        refuse(parser.errorText());
    if (parser.isSet(help) || parser.isSet(QStringLiteral("help-all")))
        parser.showHelp();
    if (!parser.positionalArguments().isEmpty())
        refuse(QStringLiteral("%1: not understood").arg(parser.positionalArguments().first()));

    Options options;
    const QStringList range = parser.value(QStringLiteral("seeds")).split(QStringLiteral(".."));
    bool isFirst = false, isLast = false, isNumber = false;
    options.first = range.value(0).toUInt(&isFirst);
    options.last = range.value(range.size() - 1).toUInt(&isLast);
    options.jobs = parser.value(QStringLiteral("jobs")).toUInt(&isNumber);
    if (!isFirst || !isLast || range.size() > 2 || options.last < options.first)
        refuse(QStringLiteral("--seeds %1 is no range such as 1..1000")
                   .arg(parser.value(QStringLiteral("seeds"))));
    if (!isNumber || options.jobs < 1 || options.jobs > mostJobs)
        refuse(QStringLiteral("--jobs %1 is no number from 1 to %2")
                   .arg(parser.value(QStringLiteral("jobs")))
                   .arg(mostJobs));
    options.scenario = Scenario::named(parser.value(QStringLiteral("scenario")));
    if (!options.scenario)
        refuse(QStringLiteral("--scenario %1 is none of %2")
                   .arg(parser.value(QStringLiteral("scenario")), names.join(QStringLiteral(", "))));
    options.printsTrace = parser.isSet(QStringLiteral("trace"));
    const QString forbidden = parser.value(QStringLiteral("forbid"));
    options.forbidden = leftoverNamed(forbidden);
    if (parser.isSet(QStringLiteral("forbid")) && !options.forbidden)
        refuse(QStringLiteral("--forbid %1 is none of %2").arg(forbidden, kinds.join(QStringLiteral(", "))));
    options.printsHashes = parser.isSet(QStringLiteral("hashes"));
    return options;
}

pid_t begin(const Options& options, Job& job) {
    const pid_t process = ::fork();
    if (process < 0)
        refuse(QStringLiteral("no process"));
    if (process == 0) {
        runSeeds(options, job);
        ::_exit(0);
    }
    return process;
}

// Each job in a process of its own, since there is one world in a process. One that crashes is named with its seed, and
// another one goes on behind that. Answers how many seeds failed.
int runJobs(const Options& options, Sum& sum) {
    const size_t size = options.jobs * sizeof(Job);
    void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        refuse(QStringLiteral("no memory"));
    auto* const jobs = static_cast<Job*>(memory);
    std::vector<pid_t> processes;
    for (unsigned number = 0; number < options.jobs; ++number) {
        new (&jobs[number]) Job{quint64(options.first) + number, 0, {}};
        processes.push_back(begin(options, jobs[number]));
    }
    int failures = 0;
    for (unsigned number = 0; number < options.jobs; ++number) {
        Job& job = jobs[number];
        int status = 0;
        while (::waitpid(processes[number], &status, 0) > 0 && status != 0) {
            say(QStringLiteral("seed %1 of %2: the process has crashed (%3)")
                    .arg(job.seed)
                    .arg(options.scenario->name, QString::fromLocal8Bit(::strsignal(WTERMSIG(status)))));
            ++job.failures;
            job.seed += options.jobs;
            processes[number] = begin(options, job);
        }
        failures += job.failures;
        sum.add(job.sum);
    }
    ::munmap(memory, size);
    return failures;
}

void printSum(const Scenario& scenario, const Sum& sum, int failures, double seconds) {
    say(QStringLiteral(
            "%1: %2 seeds in %3 s (%4 a second), %5 failed; %6 events, %7 requests, %8 of them disturbed, "
            "at most %9 of those allowed in a seed, %10 deaths, %11 questions")
            .arg(scenario.name)
            .arg(sum.seeds)
            .arg(seconds, 0, 'f', 1)
            .arg(double(sum.seeds) / seconds, 0, 'f', 1)
            .arg(failures)
            .arg(sum.events)
            .arg(sum.requests)
            .arg(sum.faultsMet)
            .arg(sum.requestShare, 0, 'f', 2)
            .arg(sum.deaths)
            .arg(sum.questions));
    for (size_t kind = 0; kind < leftoverCount; ++kind)
        if (sum.leftovers[kind] > 0)
            say(QStringLiteral("  %1: %2").arg(nameOf(Leftover(kind))).arg(sum.leftovers[kind]));
}

} // namespace

int main(int argc, char** argv) {
    QHashSeed::setDeterministicGlobalSeed();
    QCoreApplication application(argc, argv);
    const Options options = optionsOf(application);
    if (!options.printsTrace)
        QLoggingCategory::setFilterRules(QStringLiteral("qwlibrary.*=false"));

    QElapsedTimer timer;
    timer.start();
    Sum sum;
    const int failures = runJobs(options, sum);
    printSum(*options.scenario, sum, failures, double(timer.elapsed()) / 1000);
    return failures == 0 ? 0 : 1;
}
