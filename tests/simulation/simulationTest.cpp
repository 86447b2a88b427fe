#include "Shrinker.h"
#include "SimulatedDays.h"
#include "SimulatedFiles.h"

#include "testing/QWVirtualRunLoop.h"

#include <QFile>
#include <gmock/gmock.h>

// What the simulation itself promises.

namespace {

// As in qw-simulate, so that a day goes as it did there.
struct DeterministicHashes : testing::Environment {
    void SetUp() override { QHashSeed::setDeterministicGlobalSeed(); }
};
[[maybe_unused]] auto* const hashes = testing::AddGlobalTestEnvironment(new DeterministicHashes);

} // namespace

namespace {

struct SimulatedDiskTest : testing::Test {
    std::shared_ptr<QWVirtualRunLoop> runLoop = std::make_shared<QWVirtualRunLoop>();
    SimulatedDisk disk{std::make_shared<QWVirtualClock>(runLoop)};
    SimulatedFiles files{disk};

    void die(SimulatedDisk::Death death, unsigned seed) {
        disk.dieAfter(0, death, seed);
        disk.step();
        disk.restart();
    }
};

} // namespace

// The disk --------------------------------------------------------------------------------------------------

TEST_F(SimulatedDiskTest, A_process_that_is_killed_leaves_what_it_has_written) {
    files.writeInPlace("/a", "bytes");
    die(SimulatedDisk::Death::Kill, 1);
    EXPECT_EQ(files.read("/a"), "bytes");
}

TEST_F(SimulatedDiskTest, A_loss_of_power_leaves_what_was_synced_and_perhaps_the_rest) {
    QSet<QByteArray> left;
    for (unsigned seed = 0; seed < 100; ++seed) {
        files.write("/a", "synced");
        files.write("/b", "makes the name of a last");
        files.writeInPlace("/a", "unsynced");
        die(SimulatedDisk::Death::LossOfPower, seed);
        left.insert(files.read("/a").value());
    }
    EXPECT_TRUE(left.contains("synced"));
    EXPECT_TRUE(left.contains("unsynced"));
    EXPECT_GT(left.size(), 2) << "a part of it";
}

TEST_F(SimulatedDiskTest, A_file_that_is_written_whole_is_the_old_one_or_the_new_one_after_a_loss_of_power) {
    QSet<QByteArray> left;
    for (unsigned seed = 0; seed < 100; ++seed) {
        files.write("/a", "old");
        files.write("/b", "makes the name of a last");
        disk.dieAfter(int(seed % 8), SimulatedDisk::Death::LossOfPower, seed);
        files.write("/a", "new");
        for (int step = 0; step < 8; ++step)
            disk.step();
        disk.restart();
        left.insert(files.read("/a").value());
    }
    EXPECT_EQ(left, (QSet<QByteArray>{"old", "new"}));
}

TEST_F(SimulatedDiskTest, A_dead_disk_takes_nothing_until_it_is_started_again) {
    disk.dieAfter(0, SimulatedDisk::Death::Kill, 1);
    EXPECT_FALSE(files.write("/a", "bytes"));
    EXPECT_FALSE(files.write("/a", "bytes"));
    disk.restart();
    EXPECT_FALSE(files.exists("/a"));
    EXPECT_TRUE(files.write("/a", "bytes"));
}

TEST_F(SimulatedDiskTest, A_full_disk_takes_nothing_new_and_lets_go) {
    files.write("/a", "bytes");
    disk.setFull(true);
    EXPECT_FALSE(files.write("/b", "bytes"));
    EXPECT_TRUE(files.remove("/a"));
}

// Scripts ---------------------------------------------------------------------------------------------------

TEST(SimulationScript, Has_at_least_60_operations_and_10_faults) {
    for (const Scenario& scenario : Scenario::all()) {
        const Script script = makeScript(scenario, 7);
        int faults = 0, operations = 0;
        for (const Day& day : script.days)
            for (const Event& event : day)
                ++(event.isFault() ? faults : operations);
        EXPECT_GE(operations, 60) << qPrintable(scenario.name);
        EXPECT_GE(faults, 10) << qPrintable(scenario.name);
    }
}

TEST(SimulationScript, Is_read_back_from_its_text) {
    const Day day = makeScript(*Scenario::named("everything"), 3).days.front();
    EXPECT_EQ(dayText(dayFromText(dayText(day)).value()), dayText(day));
}

TEST(SimulationScript, Is_refused_with_the_line_that_holds_no_event) {
    for (const char* line : {"5 1 edit 1", "5 1 edits 1 1", "x 1 edit 1 1", "5 0 edit 1 1"}) {
        QString badLine;
        EXPECT_FALSE(dayFromText(QString("0 1 save 0 0\n") + line, &badLine));
        EXPECT_EQ(badLine, line);
    }
}

TEST(SimulationScript, Is_shrunk_to_events_without_any_of_which_it_breaks_no_promise) {
    Script script = makeScript(*Scenario::named("alone"), 1);
    script.forbidden = Leftover::Copy;
    Script shortest = shrink(script, 1);
    EXPECT_FALSE(keepsEveryPromise(shortest));
    for (Day& day : shortest.days)
        for (size_t index = 0; index < day.size(); ++index) {
            const Day whole = day;
            if (index + 1 < day.size())
                day[index + 1].pause += day[index].pause;
            day.erase(day.begin() + std::ptrdiff_t(index));
            EXPECT_TRUE(keepsEveryPromise(shortest)) << qPrintable(whole[index].text());
            day = whole;
        }
}

TEST(SimulationScript, Is_printed_as_a_test) {
    Script script = scriptOf({0, -5}, {"", "1 2 add 3 4\n5 1 save 0 0"});
    const QString literal = "scriptOf({0, -5}, {\"\", \"1 2 add 3 4\\n\"\n\"5 1 save 0 0\"})";
    EXPECT_EQ(testOf(script, 7), "EXPECT_TRUE(keepsEveryPromise(" + literal + ", 7));");
    script.isSupervised = false;
    script.forbidden = Leftover::OlderVersion;
    EXPECT_EQ(testOf(script, 7), "Script script = " + literal
                                     + ";\n"
                                       "script.isSupervised = false;\n"
                                       "script.forbidden = leftoverNamed(\"older-version\");\n"
                                       "EXPECT_TRUE(keepsEveryPromise(script, 7));");
}

TEST(Simulation, Goes_the_same_way_each_time) {
    const Script script = makeScript(*Scenario::named("everything"), 11);
    EXPECT_EQ(World::run(script, 11).traceHash, World::run(script, 11).traceHash);
    EXPECT_NE(World::run(script, 11).traceHash,
              World::run(makeScript(*Scenario::named("everything"), 12), 12).traceHash);
}

TEST(SimulatedDay, A_save_that_finds_nothing_to_save_makes_nothing_last) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({3020, 1, -1}, {"", "22037 1 add 746 30440\n"
                                                               "61228 1 add 680 99475\n"
                                                               "112 1 truncate 4 22144\n"
                                                               "2622 1 kill 100 72566\n"
                                                               "8001 1 save 899 21042\n"
                                                               "9166 1 edit 466 88765\n"
                                                               "6581 1 save 522 67466\n"
                                                               "639 1 edit-author 67 61032\n"
                                                               "621 1 save 7 12586\n"
                                                               "12791 1 too-many-requests 4 50134\n"
                                                               "1864 1 lose-power 2 59151\n"
                                                               "3491 1 save 99 29548\n"
                                                               "6654 1 edit 789 27325"}),
                                  566));
}

TEST(SimulatedDay, Has_a_user_who_is_asked_about_very_many_deletions) {
    for (const char* day : {"0 1 ask-about-deletions 0 30\n1000 2 add-many 60 1\n1000 2 save 0 0",
                            "0 1 ask-about-deletions 1 0\n1000 2 add-many 60 1\n1000 2 save 0 0"}) {
        const auto outcome =
            World::run(scriptOf({0, 0}, {day, "0 2 delete-many 60 1\n1000 2 save 0 0\n60000 1 sync 0 0"}), 1);
        EXPECT_EQ(outcome.violations, QStringList());
        EXPECT_EQ(outcome.questions, 1);
    }
}

// docs/guarantees.md says of each what a user sees.
TEST(SimulatedEngineAlone, Leaves_nothing_behind_that_the_guarantees_do_not_name) {
    QFile document(QW_SOURCE_DIR "/docs/guarantees.md");
    ASSERT_TRUE(document.open(QIODevice::ReadOnly));
    const QByteArray text = document.readAll();
    for (size_t kind = 0; kind < leftoverCount; ++kind)
        EXPECT_TRUE(text.contains('[' + nameOf(Leftover(kind)).toUtf8() + ']'))
            << qPrintable(nameOf(Leftover(kind)));
}

TEST(SimulatedEngineAlone, Is_counted_for_what_it_leaves_behind) {
    Script script = scriptOf({0, 0}, {"0 1 add 1 1\n1000 1 save 0 0", "0 1 edit 0 2\n0 2 edit 0 3"});
    EXPECT_TRUE(keepsEveryPromise(script)) << "under a supervisor";
    script.isSupervised = false;
    const auto outcome = World::run(script, 1);
    EXPECT_EQ(outcome.violations, QStringList());
    EXPECT_EQ(outcome.leftovers[size_t(Leftover::Tie)], 1);
    script.forbidden = Leftover::Tie;
    EXPECT_FALSE(keepsEveryPromise(script));
}

// Each scenario lives through some days in every run of the tests; `qw-simulate` is for the many.
TEST(SimulatedDays, Keep_every_promise_whatever_the_scenario) {
    for (const Scenario& scenario : Scenario::all())
        for (unsigned seed = 100'001; seed <= 100'010; ++seed)
            EXPECT_TRUE(keepsEveryPromise(makeScript(scenario, seed), seed))
                << qPrintable(scenario.name) << ' ' << seed;
}
