// The command line and the window are killed at random instants of a day's work. What was saved is there
// afterwards, once, on every desktop. QW_KILLS says at how many instants, with each kind of cloud.

#include "AccidentTest.h"

#include <QElapsedTimer>
#include <random>
#include <sqlite3.h>

using namespace testing;

namespace {

constexpr int countries = 40;
constexpr int killsOfADay = 25;
constexpr int attemptsToKill = 5;

int days() {
    const QByteArray kills = qgetenv("QW_KILLS");
    return ((kills.isEmpty() ? 50 : kills.toInt()) + killsOfADay - 1) / killsOfADay;
}

// One thing that somebody does: a command on one desktop, or the windows of all of them.
struct Step {
    std::vector<const Desktop*> desktops;
    QStringList command = {};              // empty: opens the windows
    std::function<bool()> isDone = {};     // without it the step may always be repeated
    std::function<void()> afterwards = {}; // what time would have brought

    bool isWindow() const { return command.isEmpty(); }
    QString name() const { return isWindow() ? QStringLiteral("windows") : command.first(); }
    std::vector<std::unique_ptr<QProcess>> start() const {
        std::vector<std::unique_ptr<QProcess>> processes;
        for (const Desktop* desktop : desktops)
            processes.push_back(isWindow() ? desktop->startWindow() : desktop->start(command));
        return processes;
    }
};

// Does a step, to its end. Answers how long it took, in microseconds.
qint64 run(const Step& step) {
    QElapsedTimer timer;
    timer.start();
    for (const auto processes = step.start(); const auto& process : processes) {
        if (step.isWindow()) {
            EXPECT_TRUE(waitForLine(*process, "in step"));
            process->terminate(); // its user closes it
        }
        const AtlasRun run = Desktop::finish(*process);
        EXPECT_EQ(run.exitCode, 0) << qPrintable(step.name() + ": " + run.err);
    }
    const qint64 elapsed = timer.nsecsElapsed() / 1000;
    if (step.afterwards)
        step.afterwards();
    return elapsed;
}

// How many instants were chosen, and how many processes were killed at them.
class Tally : public Environment {
public:
    int instants = 0, kills = 0;

    void TearDown() override {
        if (instants > 0)
            std::printf("killed: %d processes at %d instants\n", kills, instants);
    }
};
Tally* const tally = static_cast<Tally*>(AddGlobalTestEnvironment(new Tally));

// Starts a step and kills it so many microseconds later. When it has ended by then, by itself and well, answers
// how long it took.
std::optional<qint64> kill(const Step& step, qint64 instant) {
    QElapsedTimer timer;
    timer.start();
    const auto processes = step.start();
    while (timer.nsecsElapsed() / 1000 < instant && !processes.front()->waitForFinished(0))
        continue;
    const qint64 elapsed = timer.nsecsElapsed() / 1000;
    for (const auto& process : processes)
        process->kill();
    ++tally->instants;
    bool isKilled = false;
    for (const auto& process : processes) {
        process->waitForFinished();
        isKilled |= process->exitCode() == SIGKILL;
        tally->kills += process->exitCode() == SIGKILL;
        EXPECT_TRUE(process->exitCode() == 0 || process->exitCode() == SIGKILL) << "it failed by itself";
    }
    return isKilled ? std::nullopt : std::optional(elapsed);
}

// What SQLite itself finds wrong with a file, "ok" when there is nothing.
std::string integrity(const QString& file) {
    sqlite3* database = nullptr;
    std::string found;
    EXPECT_EQ(sqlite3_open_v2(qPrintable(file), &database, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
    for (const char* check : {"PRAGMA foreign_key_check", "PRAGMA integrity_check"})
        sqlite3_exec(
            database, check,
            [](void* text, int, char** values, char**) {
                *static_cast<std::string*>(text) += values[0];
                return 0;
            },
            &found, nullptr);
    sqlite3_close(database);
    return found;
}

// Two desktops, a cloud, and a day: an import, edits on both (of one record too), additions, deletions, and
// syncs up and down, by the command line and by the window.
class Day {
public:
    explicit Day(const std::string& cloud) : cloud_(folder_.filePath("cloud"), cloud) {
        writeTables();
        const QStringList import = {"import", "iso", "--tables", iso_.path(), "--flags", iso_.flagsPath()};
        const auto ageFlags = [this] {
            a_.ageFlags();
            b_.ageFlags();
        };
        steps_ = {
            {{&a_}, import},
            {{&a_}, cloud_.connecting()},
            {{&b_}, cloud_.connecting()},
            {.desktops = {&a_, &b_}, .afterwards = ageFlags},
            {.desktops = {&b_}, .command = syncOnce, .afterwards = ageFlags},
            set(a_, country(0), 10, {"name=A", "number=7"}),
            set(a_, country(1), 11, {"flag=@" + iso_.path() + "/flag"}),
            remove(a_, region(2)),
            add(a_, "Rome"),
            {{&a_}, syncOnce},
            set(b_, country(0), 20, {"name=B"}),
            set(b_, country(3), 21, {"visited=true"}),
            remove(b_, region(4)),
            {{&b_}, import},
            remove(b_, region(4)),
            add(b_, "Oslo"),
            {.desktops = {&b_}},
            set(a_, country(3), 30, {"name=C"}),
            add(a_, "Bergen"),
            {.desktops = {&a_, &b_}},
            {{&b_}, syncOnce},
        };
    }

    const std::vector<Step>& steps() const { return steps_; }

    // Syncs in turn until a round changes nothing, and with a new desktop at last. Answers what all of them
    // hold.
    QStringList settle() {
        QString before, now = digests();
        for (int round = 0; now != before && round < 8; ++round) {
            before = now;
            a_.tell(syncOnce);
            b_.tell(syncOnce);
            now = digests();
        }
        c_.tell(cloud_.connecting());
        c_.tell(syncOnce);
        EXPECT_EQ(a_.digest(), b_.digest());
        EXPECT_EQ(a_.digest(), c_.digest()) << "the cloud holds something else";
        for (const Desktop* desktop : {&a_, &b_, &c_}) {
            EXPECT_EQ(desktop->waiting(), 0);
            EXPECT_EQ(integrity(desktop->file("Atlas.sqlite")), "ok");
            EXPECT_EQ(integrity(desktop->file("cache/DropboxCache.sqlite")), "ok");
        }
        return contents(a_);
    }

private:
    void writeTables() {
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
    }
    static QString codeOf(int i) { return QString(QChar('A' + i / 26)) + QChar('A' + i % 26); }
    // One that nothing refers to: deleting it changes no other record.
    static QString region(int i) { return atlas::importedUUID("Region", codeOf(i) + "-2"); }
    static QString country(int i) { return atlas::importedUUID("Country", codeOf(i)); }

    static Step set(const Desktop& desktop, const QString& uuid, int second, const QStringList& values) {
        const auto date = QStringLiteral("dateModified=2026-01-01 00:00:%1 +0000").arg(second);
        return {{&desktop}, QStringList{"set", uuid, date} + values};
    }
    static Step remove(const Desktop& desktop, const QString& uuid) {
        return {.desktops = {&desktop}, .command = {"delete", uuid}, .isDone = [&desktop, uuid] {
                    return desktop.run({"show", uuid}).exitCode == 1;
                }};
    }
    static Step add(const Desktop& desktop, const QString& title) {
        const auto isThere = [&desktop, title] {
            return !desktop.tell({"list", "Visit", "--where", "title == \"" + title + '"'}).isEmpty();
        };
        return {.desktops = {&desktop}, .command = {"add", "Visit", "title=" + title}, .isDone = isThere};
    }

    QString digests() const { return a_.digest() + ' ' + b_.digest(); }
    // All records, but for what is another one in each run of the day.
    static QStringList contents(const Desktop& desktop) {
        QStringList lines;
        for (const QString entity : {"Country", "Region", "Visit"}) {
            const auto list = desktop.tell({"list", entity, "--json"});
            for (const QJsonValue& value : QJsonDocument::fromJson(list.toUtf8()).array()) {
                QJsonObject record = value.toObject();
                if (entity == "Visit") {
                    record.remove("uuid");
                    record.remove("dateModified");
                }
                lines << QJsonDocument(record).toJson(QJsonDocument::Compact);
            }
        }
        lines.sort();
        return lines;
    }

    QTemporaryDir folder_;
    ISOFixture iso_;
    TestCloud cloud_;
    Desktop a_{folder_.filePath("A")}, b_{folder_.filePath("B")}, c_{folder_.filePath("C")};
    std::vector<Step> steps_;
};

// A day on which nobody is killed, of each kind of cloud: how long its steps take, and how it ends.
struct QuietDay {
    explicit QuietDay(const std::string& cloud) {
        Day day(cloud);
        for (const Step& step : day.steps())
            durations.push_back(run(step));
        contents = day.settle();
    }

    std::vector<qint64> durations;
    QStringList contents;
};

const QuietDay& quietDay(const std::string& cloud) {
    static std::map<std::string, QuietDay> days;
    return days.try_emplace(cloud, cloud).first->second;
}

class KilledDay : public TestWithParam<std::tuple<std::string, int>> {
protected:
    // A random instant of a step that takes so long.
    qint64 instantOf(const Step& step, qint64 duration) {
        double share = static_cast<double>(random_()) / std::mt19937::max();
        if (step.isWindow()) // at the end of its time it only waits, to send preferences together
            share = share * share * share;
        return static_cast<qint64>(share * static_cast<double>(duration));
    }
    // Kills a step in the middle; false when it was faster. One that may be repeated is tried again then, at an
    // instant of the time that it has just taken, so that there are kills however much the machine has to do.
    bool killInTheMiddle(const Step& step, qint64 duration) {
        for (int attempt = 0; attempt < attemptsToKill; ++attempt) {
            const qint64 instant = instantOf(step, duration);
            kills_ += QStringLiteral("%1 after %2 us\n").arg(step.name()).arg(instant);
            const auto took = kill(step, instant);
            if (!took)
                return true;
            duration = *took;
            if (step.isDone) {
                EXPECT_TRUE(step.isDone()) << "what it has acknowledged is lost\n" << qPrintable(kills_);
                return false;
            }
        }
        return false;
    }

    std::mt19937 random_{static_cast<unsigned>(std::get<1>(GetParam()))};
    QString kills_;
};

} // namespace

TEST_P(KilledDay, Ends_like_one_without_a_kill) {
    const std::string& cloud = std::get<0>(GetParam());
    const QuietDay& quiet = quietDay(cloud);

    Day day(cloud);
    std::vector<int> killsOf(day.steps().size());
    for (int i = 0; i < killsOfADay; ++i) {
        std::size_t place = 0;
        do
            place = random_() % killsOf.size();
        while (killsOf[place] > 0 && day.steps()[place].isDone); // it may have been done before it was killed
        ++killsOf[place];
    }
    int killed = 0;
    for (std::size_t i = 0; i < day.steps().size(); ++i) {
        const Step& step = day.steps()[i];
        for (int number = 0; number < killsOf[i]; ++number)
            killed += killInTheMiddle(step, quiet.durations[i]);
        if (killsOf[i] == 0 || !step.isDone || !step.isDone())
            run(step);
    }
    EXPECT_GT(2 * killed, killsOfADay) << "most processes have ended before their instant";
    EXPECT_EQ(day.settle(), quiet.contents) << qPrintable(kills_);
}

INSTANTIATE_TEST_SUITE_P(CloudAndSeed, KilledDay, Combine(everyCloud, Range(1, days() + 1)));
