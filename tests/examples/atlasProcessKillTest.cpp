// The program is killed at random instants of what it does. Running it again loses nothing and doubles
// nothing.

#include "AtlasProcess.h"

#include <QElapsedTimer>
#include <random>

using namespace testing;

namespace {

constexpr int countries = 40;
constexpr int killsOfEachSeed = 5;

struct Step {
    const Desktop* desktop;
    QStringList command;
    bool agesFlags = false; // afterwards
};

// Two desktops, a cloud and a script: import, edits on both (of one record too), deletions, and syncs up and
// down.
class World {
public:
    explicit World(const std::string& cloud) : cloud_(folder_.filePath("cloud"), cloud) {
        QString table, regions;
        for (int i = 0; i < countries; ++i) {
            const QString code = codeOf(i), name = "Country " + code;
            table += QStringLiteral(R"({"alpha_2": "%1", "alpha_3": "X%1", "name": "%2", "numeric": "%3"},)")
                         .arg(code, name, QString::number(i));
            regions += QStringLiteral(R"({"code": "%1-1", "name": "a", "type": "b"},)").arg(code);
            regions +=
                QStringLiteral(R"({"code": "%1-2", "name": "c", "type": "d", "parent": "1"},)").arg(code);
            iso_.write("flags/" + code.toLower() + ".png", "the flag of " + name.toUtf8());
        }
        iso_.write("iso_3166-1.json", ("{\"3166-1\": [" + table.chopped(1) + "]}").toUtf8());
        iso_.write("iso_3166-2.json", ("{\"3166-2\": [" + regions.chopped(1) + "]}").toUtf8());
        iso_.write("flag", images::encoded(images::twoHalves(), "png"));

        const QStringList import = {"import", "iso", "--tables", iso_.path(), "--flags", iso_.flagsPath()};
        const QStringList sync = {"sync", "--once", "--timeout", "60"};
        const auto set = [&](const QString& uuid, int second, const QStringList& values) {
            return QStringList{"set", uuid,
                               QStringLiteral("dateModified=2026-01-01 00:00:%1 +0000").arg(second)}
                   + values;
        };
        const QStringList connect = cloud_.connecting();
        steps_ = {
            {&a_, import},
            {&a_, connect},
            {&b_, connect},
            {&a_, sync, true},
            {&b_, sync, true},
            {&a_, set(country(0), 10, {"name=A", "number=7"})},
            {&a_, set(country(1), 11, {"flag=@" + iso_.path() + "/flag"})},
            {&a_, {"delete", region(2)}},
            {&b_, set(country(0), 20, {"name=B"})},
            {&b_, set(country(3), 21, {"visited=true"})},
            {&b_, {"delete", region(4)}},
            {&b_, import},
            {&b_, {"delete", region(4)}},
            {&a_, sync},
            {&b_, sync},
            {&a_, sync},
            {&b_, sync},
        };
    }

    const std::vector<Step>& steps() const { return steps_; }

    // Answers how long it took, in microseconds.
    static qint64 run(const Step& step) {
        QElapsedTimer timer;
        timer.start();
        const AtlasRun run = step.desktop->run(step.command);
        const qint64 elapsed = timer.nsecsElapsed() / 1000;
        EXPECT_EQ(run.exitCode, 0) << qPrintable(step.command.join(' ') + ": " + run.err);
        if (step.agesFlags)
            step.desktop->ageFlags();
        return elapsed;
    }
    // Starts the step and kills it so many microseconds later, unless it has ended by then.
    static void kill(const Step& step, qint64 instant) {
        QElapsedTimer timer;
        timer.start();
        const auto process = step.desktop->start(step.command);
        while (timer.nsecsElapsed() / 1000 < instant && !process->waitForFinished(0))
            continue;
        process->kill();
        process->waitForFinished();
    }
    // After a kill, which may have come after a deletion was done.
    static void runAgain(const Step& step) {
        if (step.command.first() == "delete" && step.desktop->run({"show", step.command[1]}).exitCode == 1)
            return;
        run(step);
    }

    // Syncs in turn until a round changes nothing; what both hold then, or what each holds when they differ.
    QString settle() const {
        QString before, now = a_.digest() + ' ' + b_.digest();
        for (int round = 0; now != before && round < 8; ++round) {
            before = now;
            run({&a_, {"sync", "--once", "--timeout", "60"}});
            run({&b_, {"sync", "--once", "--timeout", "60"}});
            now = a_.digest() + ' ' + b_.digest();
        }
        EXPECT_EQ(a_.waiting() + b_.waiting(), 0);
        return a_.digest() == b_.digest() ? a_.digest() : now;
    }

private:
    static QString codeOf(int i) { return QString(QChar('A' + i / 26)) + QChar('A' + i % 26); }
    // One that nothing refers to: deleting it changes no other record.
    static QString region(int i) { return atlas::importedUUID("Region", codeOf(i) + "-2"); }
    static QString country(int i) { return atlas::importedUUID("Country", codeOf(i)); }

    QTemporaryDir folder_;
    ISOFixture iso_;
    TestCloud cloud_;
    Desktop a_{folder_.filePath("A")}, b_{folder_.filePath("B")};
    std::vector<Step> steps_;
};

class AtlasProcessKill : public ::testing::TestWithParam<std::tuple<std::string, int>> {};

} // namespace

TEST_P(AtlasProcessKill, What_is_killed_and_run_again_ends_like_what_was_never_killed) {
    const auto& [cloud, seed] = GetParam();
    World undisturbed(cloud);
    std::vector<qint64> durations;
    for (const Step& step : undisturbed.steps())
        durations.push_back(World::run(step));
    const QString expected = undisturbed.settle();

    std::mt19937 random(static_cast<unsigned>(seed));
    World world(cloud);
    std::vector<int> killsOf(world.steps().size());
    for (int i = 0; i < killsOfEachSeed; ++i)
        ++killsOf[random() % killsOf.size()];
    QString kills;
    for (std::size_t i = 0; i < world.steps().size(); ++i) {
        const Step& step = world.steps()[i];
        for (int kill = 0; kill < killsOf[i]; ++kill) {
            const auto instant = static_cast<qint64>(random() % static_cast<quint64>(durations[i] + 1));
            World::kill(step, instant);
            kills += QStringLiteral("step %1 (%2) after %3 us\n").arg(i).arg(step.command[0]).arg(instant);
        }
        if (killsOf[i] > 0)
            World::runAgain(step);
        else
            World::run(step);
    }
    EXPECT_EQ(world.settle(), expected) << qPrintable(kills);
}

INSTANTIATE_TEST_SUITE_P(CloudAndSeed, AtlasProcessKill, Combine(everyCloud, Range(1, 11)));
