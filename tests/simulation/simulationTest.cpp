#include "Event.h"
#include "SimulatedFiles.h"
#include "World.h"

#include "testing/QWVirtualRunLoop.h"

#include <gmock/gmock.h>

// What the simulation itself promises, and the days that have broken a promise once.

namespace {

Script scriptOf(std::vector<int> clockOffsets, const std::vector<const char*>& days) {
    Script script{int(clockOffsets.size()), std::move(clockOffsets), {}};
    for (const char* day : days)
        script.days.push_back(dayFromText(day).value());
    return script;
}

testing::AssertionResult keepsEveryPromise(const Script& script, unsigned seed = 1) {
    const QStringList violations = World::run(script, seed).violations;
    if (violations.isEmpty())
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << qPrintable(violations.join('\n'));
}

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

TEST(Simulation, Goes_the_same_way_each_time) {
    const Script script = makeScript(*Scenario::named("everything"), 11);
    EXPECT_EQ(World::run(script, 11).traceHash, World::run(script, 11).traceHash);
    EXPECT_NE(World::run(script, 11).traceHash,
              World::run(makeScript(*Scenario::named("everything"), 12), 12).traceHash);
}

// Days that have broken a promise once ----------------------------------------------------------------------

TEST(SimulatedDay, An_edit_by_a_clock_that_is_behind_gives_way_also_where_it_is_not_saved) {
    EXPECT_TRUE(
        keepsEveryPromise(scriptOf({-563, -1, 2}, {"2959845 2 add 654 56201", "111630 1 edit 513 13432\n"
                                                                              "1234558 2 save 459 20105"})));
}

TEST(SimulatedDay, An_image_that_is_set_by_a_clock_that_is_behind_is_sent) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf(
        {-2741, 0}, {"56968 2 add 410 24019\n3880 2 set-image 503 85658", "17023 1 set-image 743 70259"})));
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-2741, 0}, {"34028 1 add 675 60224\n"
                                                        "6252 1 set-image 309 79226\n"
                                                        "28159 1 set-image 899 70188"})));
}

TEST(SimulatedDay, A_preference_that_is_set_while_the_disk_is_full_is_sent) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1730, -328}, {"400985 1 set-preference 344 42890\n"
                                                          "3663 1 fill-disk 988 2315\n"
                                                          "2104 2 close 759 66752"})));
}

TEST(SimulatedDay, A_preference_that_is_set_while_the_disk_is_full_and_the_cursor_lost_is_sent) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({0, 0}, {"", "3256 1 fill-disk 284 83123\n"
                                                        "47338 1 set-preference 666 82117\n"
                                                        "2403 2 forget-cursors 85 87708\n"
                                                        "4887 1 sync 889 66892\n"
                                                        "5373 2 set-preference 776 15227\n"
                                                        "21247 1 add 693 31287"})));
}

TEST(SimulatedDay, A_preference_whose_earlier_value_was_sent_without_an_answer_is_the_latest_one) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-1, -1, -2754}, {"", "7957 1 set-preference 520 77270\n"
                                                                 "2996 1 lose-answer 5 94342\n"
                                                                 "19138 2 set-preference 896 85351\n"
                                                                 "527 1 set-preference 175 69028"})));
}

TEST(SimulatedDay, A_record_that_only_one_machine_held_survives_the_deletion_of_the_folder) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({2, -2534}, {"", "393791 2 add 467 72124\n"
                                                            "31117 1 add 32 94508\n"
                                                            "7025 1 delete-folder 582 24622"})));
}

TEST(SimulatedDay, A_row_that_could_not_be_saved_is_saved_with_its_record) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({0, -2}, {"", "274643 2 add 677 6630\n"
                                                         "20847 2 kill 26 78813\n"
                                                         "2891 2 fill-disk 211 32938\n"
                                                         "1712 2 add 679 95437\n"
                                                         "2937 2 free-disk 692 7621\n"
                                                         "3241 2 save 399 91564"})));
}

TEST(SimulatedDay, A_version_that_is_sent_while_its_deletion_is_being_received_comes_back_everywhere) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1, -1, -1745}, {"7650 3 add 350 73630\n"
                                                            "14312 1 add 733 87405\n"
                                                            "1652 2 add 150 99165\n"
                                                            "2250 1 add 782 79514\n"
                                                            "583719 1 fill-disk 935 69468\n"
                                                            "1441 2 edit 381 77687\n"
                                                            "7210 1 edit 138 73773\n"
                                                            "3081 3 delete 502 36577\n"
                                                            "806400 3 sync 943 91607"}),
                                  922));
}

TEST(SimulatedDay, Preferences_are_sent_whose_look_up_failed_while_the_folder_was_looked_for) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1, 0, -1}, {"1843 1 add 368 94379\n"
                                                        "20241 1 set-preference 179 43522\n"
                                                        "306 1 refuse-token 2 31684\n"
                                                        "755748 1 delay-answer 2 11\n"
                                                        "29628 1 sync 85 53022\n"
                                                        "17920 1 offline 3 23602\n"
                                                        "4547 1 sync 681 45855"}),
                                  3130));
}

TEST(SimulatedDay, The_image_of_a_record_that_comes_back_after_a_deletion_that_was_lost_once_is_fetched) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-730, 1}, {"55987 2 add 381 60191\n"
                                                       "472694 2 set-image 353 41700",
                                                       "1885 2 kill 2 88851\n"
                                                       "159 2 add 328 19819\n"
                                                       "8751 2 delete 159 9590\n"
                                                       "12943 1 edit 109 57263\n"
                                                       "2094 2 kill 2 50437\n"
                                                       "44 2 save 783 86759\n"
                                                       "1241568 2 delete 177 29901"}),
                                  2221));
}

TEST(SimulatedDay, A_record_that_was_saved_in_the_moment_of_death_is_deleted_with_its_file) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1123, 2}, {"318151 2 add 305 43328\n"
                                                       "9553 1 add 397 63619\n"
                                                       "234346 2 sync 218 65383\n"
                                                       "18896 2 add 906 36093\n"
                                                       "12339 2 add 866 75267",
                                                       "1949 2 add 933 50597\n"
                                                       "4495 1 fail-disk 4 20792\n"
                                                       "850 2 save 653 31701\n"
                                                       "2525 2 add 340 1755\n"
                                                       "139 2 close 665 39849\n"
                                                       "14261 2 delete 761 75441\n"
                                                       "8135 1 lose-power 62 86838\n"
                                                       "845886 1 edit 837 87388\n"
                                                       "1212 1 kill 85 73899\n"
                                                       "764 1 sync 357 41279\n"
                                                       "19875 2 sync 265 10607"}),
                                  100'002));
}

TEST(SimulatedDay, A_record_that_another_ones_reference_has_made_keeps_the_unsaved_version_of_the_host) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1, 1}, {"", "7773 1 add 680 86330\n"
                                                        "11836 1 add 510 89972\n"
                                                        "761855 1 delay-request 5 13\n"
                                                        "3523 2 set-image 867 8640\n"
                                                        "1417 2 sync 118 31804\n"
                                                        "7533 2 lose-answer 4 58119\n"
                                                        "474454 2 set-image 454 91227\n"
                                                        "3941 1 sync 441 47600\n"
                                                        "1498 1 delete-folder 425 50936\n"
                                                        "3310 2 set-image 525 24297"}),
                                  680));
}

TEST(SimulatedDay, Of_two_images_that_are_set_by_a_clock_that_is_behind_the_second_one_is_sent) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({2075, -2677}, {"33326 2 add 104 23139\n"
                                                           "11139 2 add 348 52108\n"
                                                           "7778 2 add 385 71989",
                                                           "40394 2 set-image 115 55674\n"
                                                           "27571 2 delay-request 3 87\n"
                                                           "2370 2 add 113 70723\n"
                                                           "2263 2 set-image 926 82776\n"
                                                           "1545 2 set-image 977 75958"}),
                                  905));
}

// Each scenario lives through some days in every run of the tests; `qw-simulate` is for the many.
TEST(SimulatedDays, Keep_every_promise_whatever_the_scenario) {
    for (const Scenario& scenario : Scenario::all())
        for (unsigned seed = 100'001; seed <= 100'010; ++seed)
            EXPECT_TRUE(keepsEveryPromise(makeScript(scenario, seed), seed))
                << qPrintable(scenario.name) << ' ' << seed;
}
