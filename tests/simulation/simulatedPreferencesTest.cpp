#include "SimulatedDays.h"

// Days on which the shared preferences have broken a promise once, each shrunk to the events that it took.

TEST(SimulatedPreferences, A_download_that_is_answered_late_takes_nothing_back_that_was_sent_meanwhile) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({3022, -1}, {"23638 2 add 485 96657\n"
                                                        "790419 2 delete-folder 121 91197",
                                                        "10012 1 set-preference 268 19661\n"
                                                        "170966 2 delay-answer 3 60\n"
                                                        "5776 2 sync 606 111\n"
                                                        "9003 2 sync 726 25668\n"
                                                        "61044 2 set-preference 63 91201"}),
                                  601646));
    EXPECT_TRUE(keepsEveryPromise(scriptOf({0, 2, -175}, {"", "1374 1 fill-disk 534 98219\n"
                                                              "8556 1 offline 2 4742\n"
                                                              "11120 2 set-preference 961 76455\n"
                                                              "1736 1 sync 828 61283\n"
                                                              "486569 1 add 56 70981\n"
                                                              "1856 1 delay-answer 2 101\n"
                                                              "18722 1 set-preference 45 85690"}),
                                  610571));
}

TEST(SimulatedPreferences, What_a_process_received_that_then_died_is_no_change_of_its_machine) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1, -1}, {"", "17179 2 add 792 64287\n"
                                                         "1725 1 lose-power 28 70660\n"
                                                         "4157 2 set-preference 214 9958\n"
                                                         "5640 1 sync 875 23045\n"
                                                         "1050 2 set-preference 667 7204"}),
                                  600522));
}

TEST(SimulatedPreferences, The_second_of_two_uploads_that_were_due_together_is_repeated_when_it_fails) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({0, -1}, {"5749 1 set-preference 0 60725\n"
                                                     "13383 1 delay-request 4 14\n"
                                                     "238066 1 set-preference 0 56991\n"
                                                     "2581 1 set-preference 0 8304\n"
                                                     "3016 1 set-preference 0 35259\n"
                                                     "9157 1 stay-offline 16 52806\n"
                                                     "7292 1 sync 250 96796"}),
                                  57));
}

TEST(SimulatedPreferences,
     A_change_that_an_activity_could_not_send_survives_a_late_answer_to_the_upload_before) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({2, 0}, {"18370 2 set-preference 1 48835\n"
                                                    "200814 2 delay-answer 3 84\n"
                                                    "5798 2 set-preference 105 9634\n"
                                                    "450870 2 set-preference 1 37780\n"
                                                    "7099 2 set-preference 1 49322\n"
                                                    "1226 2 deactivate 527 24234\n"
                                                    "20046 2 sync 408 18678\n"
                                                    "2852 2 deactivate 163 59447"}),
                                  11642));
}
