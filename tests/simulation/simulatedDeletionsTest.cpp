#include "SimulatedDays.h"

// Days on which a deletion has broken a promise once, each shrunk to the events that it took.

TEST(SimulatedDeletion,
     A_record_that_refers_to_what_the_user_deletes_and_does_not_save_is_sent_without_the_reference) {
    EXPECT_TRUE(keepsEveryPromise(
        scriptOf({-2, 2, 2149, 2}, {"1103974 1 add 944 22649", "3704 3 delete-folder 37 79409\n"
                                                               "12848 1 add 508 59859\n"
                                                               "29352 4 lose-answer 4 8168\n"
                                                               "1464 4 sync 258 92299\n"
                                                               "24072 4 delete-author 779 70548"}),
        200536));
}

TEST(SimulatedDeletion,
     Two_records_of_one_batch_that_refer_to_a_deleted_one_are_both_sent_without_the_reference) {
    EXPECT_TRUE(
        keepsEveryPromise(scriptOf({77, -1}, {"3062165 1 add 960 45805", "1272135 2 add 30 36675\n"
                                                                         "11422 1 add 485 22792\n"
                                                                         "210 2 delay-answer 3 15\n"
                                                                         "356 2 sync 910 95345\n"
                                                                         "3668 2 edit-author 172 21042\n"
                                                                         "10050 1 close 53 49718\n"
                                                                         "2021 2 deactivate 33 44773\n"
                                                                         "1759 2 forget-cursors 540 5378\n"
                                                                         "2767 1 delete-author 144 77514"}),
                          300660));
}

TEST(SimulatedDeletion, A_record_that_comes_back_in_the_batch_after_its_deletion_is_known) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1, 0, 423}, {"98416 2 add 681 25115\n"
                                                         "9410 1 add 471 47792\n"
                                                         "13437 2 add 395 91417\n"
                                                         "4165 2 save 460 50213\n"
                                                         "1916 2 delay-answer 3 30\n"
                                                         "5675 3 add 728 5768\n"
                                                         "91250 1 delete 101 94643\n"
                                                         "204614 1 delay-request 3 15\n"
                                                         "2350 1 close 815 37694\n"
                                                         "8169 1 sync 597 72259\n"
                                                         "2436 2 sync 113 41281"}),
                                  301715));
}

TEST(SimulatedDeletion, An_image_that_is_deleted_before_its_record_does_not_bring_the_record_back) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({672, -951, -1076}, {"910431 2 add 333 85497\n"
                                                                "628366 1 set-image 793 22988\n"
                                                                "3936 2 add 967 28969",
                                                                "39169 1 truncate 4 99676\n"
                                                                "12163 1 delete 157 59191\n"
                                                                "4006 1 edit 948 77005\n"
                                                                "11215 3 delay-answer 1 9\n"
                                                                "2853 3 sync 304 39348"}),
                                  501532));
}

TEST(SimulatedDeletion, An_edit_by_a_clock_that_is_behind_gives_way_to_what_has_lost_a_reference) {
    EXPECT_TRUE(keepsEveryPromise(
        scriptOf({2, -2, -2526, 2}, {"446931 1 add 272 62774", "18303 4 add 114 528\n"
                                                               "8570 3 sync 842 28638\n"
                                                               "1982 1 delete-author 439 64122\n"
                                                               "2936 3 set-image 363 51837\n"
                                                               "1215510 1 sync 643 3889"}),
        600845));
}
