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

TEST(SimulatedDeletion,
     A_batch_that_receives_a_record_and_misses_the_one_it_refers_to_sends_it_without_the_reference) {
    EXPECT_TRUE(
        keepsEveryPromise(scriptOf({-3224, -2911, 1052, 2, -1714}, {"784572 3 add 148 57849\n"
                                                                    "3122 2 add 744 32385",
                                                                    "2767 2 edit 982 94329\n"
                                                                    "25329 1 delete-author 427 10332\n"
                                                                    "16342 4 add 916 86604\n"
                                                                    "1432 3 set-image 487 57802\n"
                                                                    "1581 1 lose-power 0 79206\n"
                                                                    "5992 3 lose-answer 3 87040\n"
                                                                    "1019 1 save 803 11357\n"
                                                                    "3492 4 forget-cursors 280 33803\n"
                                                                    "7203 3 sync 934 62710\n"
                                                                    "4533 5 delete 964 21500"}),
                          600732));
}

TEST(SimulatedDeletion, An_upload_whose_answer_comes_after_the_deletion_of_the_folder_is_made_again) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-1, 3018}, {"", "24522 2 delay-answer 3 103\n"
                                                            "543807 2 add 256 88258\n"
                                                            "1216 2 delete-folder 963 48865"}),
                                  601302));
}

TEST(SimulatedDeletion, A_deletion_that_is_sent_while_the_record_comes_back_leaves_it_to_all) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-2, 2499, 1, 2}, {"27683 2 add 827 18256\n"
                                                              "2709 2 add 825 52615\n"
                                                              "2083 3 sync 434 89030\n"
                                                              "579609 3 delay-request 3 10\n"
                                                              "10083 3 add 939 98077\n"
                                                              "4873 3 delete 454 61654\n"
                                                              "14999 3 deactivate 961 34520"}),
                                  600521));
}

TEST(SimulatedDeletion, A_reference_to_what_a_user_has_deleted_and_never_saves_is_not_sent_to_and_fro) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-2, -2158, 2808}, {"6624 1 add 384 61786\n"
                                                               "8034 1 add 976 73352\n"
                                                               "53307 1 delete-author 919 67314\n"
                                                               "3551 2 save 289 2037",
                                                               "789227 3 refusal 2 82700\n"
                                                               "1420 3 sync 299 46950\n"
                                                               "1426 2 delete-author 483 61758\n"
                                                               "7715 1 add 50 97030\n"
                                                               "10410114 1 deactivate 766 75663"}),
                                  801165));
}

TEST(SimulatedDeletion, A_listing_that_is_answered_late_does_not_delete_what_was_sent_since) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-1731, 3363, -1, -2220}, {"310627 4 add 712 32425\n"
                                                                      "33466 4 set-preference 79 54034",
                                                                      "2908 4 server-error 4 48129\n"
                                                                      "6206 4 sync 63 95704\n"
                                                                      "13433 1 add 438 78114\n"
                                                                      "2449 4 delay-answer 3 77\n"
                                                                      "334 1 delete-author 558 95904\n"
                                                                      "38354 4 sync 834 68620\n"
                                                                      "6716 4 delete-folder 49 13372"}),
                                  801144));
}

TEST(SimulatedDeletion, An_unsaved_edit_by_a_clock_that_is_behind_is_not_sent_to_and_fro) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-1, -2559}, {"57496 1 add 552 52155\n"
                                                         "205810 1 add 346 96249",
                                                         "10651 2 delete-author 286 93135\n"
                                                         "9920836 1 edit 716 73654"}),
                                  611070));
}

TEST(SimulatedDeletion, A_reference_that_is_in_flight_while_its_record_is_deleted_is_lost_everywhere) {
    EXPECT_TRUE(
        keepsEveryPromise(scriptOf({2997, -2825, 1944, 2000, -2}, {"638218 1 sync 185 84620\n"
                                                                   "313 5 add 984 4488\n"
                                                                   "726211 2 delay-request 3 14",
                                                                   "288003 2 delete-author 288 59988\n"
                                                                   "25211 1 delay-request 1 28\n"
                                                                   "7914 1 add 346 66023\n"
                                                                   "19126 1 sync 573 31702\n"
                                                                   "8624 1 delete-folder 1 98201"}),
                          1003964));
}

TEST(SimulatedDeletion, A_received_record_that_a_death_leaves_unknown_is_deleted_with_its_file) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({2, -2, -1}, {"9798 3 add 257 51180\n"
                                                         "2029 2 offline 5 28787\n"
                                                         "3442 2 sync 556 92793\n"
                                                         "622051 3 edit 439 96315\n"
                                                         "1339 3 add 741 80093\n"
                                                         "14470 2 fail-disk 12 61180\n"
                                                         "9309 1 add 416 65307\n"
                                                         "7851 1 lose-answer 4 66359\n"
                                                         "3602 2 server-error 2 43801\n"
                                                         "5711 1 delete-author 921 20286\n"
                                                         "6379 1 set-image 510 35094\n"
                                                         "3456 2 kill 70 93965\n"
                                                         "4453 3 delete-folder 575 83004\n"
                                                         "2221 2 sync 872 3982"}),
                                  1005618));
}

TEST(SimulatedDeletion, An_edit_that_a_deleted_folder_has_taken_with_it_in_flight_is_sent_again) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1, 2, 2592}, {"298575 2 add 650 59799\n"
                                                          "793362 3 sync 865 62995",
                                                          "385414 3 delay-answer 2 92\n"
                                                          "42462 3 edit 669 62345\n"
                                                          "19224 1 delete-folder 432 34715\n"
                                                          "908 3 sync 679 87692\n"
                                                          "1812 2 sync 846 56932"}),
                                  1011750));
}

TEST(SimulatedDeletion, An_image_that_comes_before_the_record_that_takes_back_a_deletion_is_there_with_it) {
    EXPECT_TRUE(
        keepsEveryPromise(scriptOf({2274, 1}, {"208753 2 add 556 4402", "3851 2 add 598 70568\n"
                                                                        "11127 1 delay-request 3 10\n"
                                                                        "3142 1 set-preference 691 71053\n"
                                                                        "3794 1 lose-answer 5 73765\n"
                                                                        "1164 1 delay-answer 5 51\n"
                                                                        "3867 2 set-image 563 51933\n"
                                                                        "299223 1 sync 114 42552\n"
                                                                        "23325 1 delete 227 79805\n"
                                                                        "10484 1 save 388 15984\n"
                                                                        "9458355 2 save 798 47340"}),
                          1014445));
}

TEST(SimulatedDeletion, An_image_whose_record_goes_and_comes_back_while_it_is_sent_is_fetched) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1, 1, -2383}, {"", "1641 1 add 524 32810\n"
                                                               "208 1 delay-answer 5 8\n"
                                                               "408841 3 deactivate 362 49018\n"
                                                               "23646 1 edit 807 59163\n"
                                                               "3428 1 edit 381 8069\n"
                                                               "2968 2 sync 474 39790\n"
                                                               "1525 2 delay-request 5 76\n"
                                                               "6274 2 edit 519 33938\n"
                                                               "580363 2 set-image 579 34770\n"
                                                               "1864 1 delete 649 28868"}),
                                  20856));
}

TEST(SimulatedDeletion, An_image_of_a_record_that_an_open_batch_deletes_is_not_sent_for_ever) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({2, -3310}, {"48533 2 add 319 40169\n"
                                                        "2891 2 add 506 20376\n"
                                                        "212 2 add 358 91390",
                                                        "10119455 1 delete 731 99194\n"
                                                        "3438 1 delay-answer 4 14\n"
                                                        "14339 1 set-image 684 19071\n"
                                                        "7795 1 close 767 8957\n"
                                                        "2776 1 refuse-token 5 25548\n"
                                                        "1805 1 sync 274 19769\n"
                                                        "7679 1 delete 759 19778\n"
                                                        "569051 2 deactivate 589 58623\n"
                                                        "3493 1 set-image 489 2095\n"
                                                        "2807 2 delete-folder 442 61159"}),
                                  2011521));
}

TEST(SimulatedDeletion,
     An_image_whose_upload_is_answered_long_after_the_deletion_of_the_folder_is_sent_again) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-2907, 2219, 186}, {"", "7516 1 add 725 89363\n"
                                                                    "517460 1 delay-answer 1 115\n"
                                                                    "21515 1 set-image 528 57584\n"
                                                                    "31939 3 delete-folder 873 22953"}),
                                  71013));
}

TEST(SimulatedDeletion, A_record_whose_image_could_not_be_fetched_before_both_were_deleted_is_deleted) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1304, -1}, {"2215159 1 add 805 51512\n"
                                                        "10201190 2 set-image 28 32450\n"
                                                        "17450 1 duplicate 2 12283\n"
                                                        "7648 1 offline 1 3430\n"
                                                        "3950 1 sync 253 85917\n"
                                                        "5623 2 delete 482 62527",
                                                        ""}),
                                  72713));
}

TEST(SimulatedDeletion, A_record_that_is_deleted_while_it_is_sent_and_received_stays_deleted) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-3236, 1782}, {"8910 1 too-many-requests 4 81769\n"
                                                           "2516 1 set-preference 464 26943\n"
                                                           "23047 2 add 639 41814\n"
                                                           "8702 1 refuse-token 5 69223\n"
                                                           "7477 2 add 780 49963\n"
                                                           "27594 2 sync 972 38878\n"
                                                           "968820 1 close 512 44845",
                                                           "2096 2 delay-answer 2 119\n"
                                                           "3831 1 add 767 42601\n"
                                                           "4996 2 add 474 80136\n"
                                                           "8492 2 add 339 53999\n"
                                                           "2573 2 delay-request 5 13\n"
                                                           "1060 2 server-error 5 3213\n"
                                                           "1215 2 set-preference 611 86235\n"
                                                           "3195 2 delete 849 46283\n"
                                                           "2291 2 set-image 342 85723\n"
                                                           "12059 2 sync 318 47307\n"
                                                           "4003 2 lose-answer 3 48992\n"
                                                           "505634 1 edit 707 36927"}),
                                  9008558));
}

TEST(SimulatedDeletion,
     A_record_that_is_sent_while_another_machine_deletes_it_comes_back_when_the_cursors_are_lost) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({0, 2, 2}, {"169021 1 add 276 97951\n"
                                                       "675147 3 add 754 13266\n"
                                                       "15111 3 add 701 54428\n"
                                                       "583863 2 add 905 86937",
                                                       "2745 1 sync 689 21026\n"
                                                       "9579701 1 delay-answer 5 85\n"
                                                       "4204 1 offline 2 35510\n"
                                                       "5015 1 delete 217 25007\n"
                                                       "7594 1 set-image 961 77998\n"
                                                       "68 2 delete 706 62531\n"
                                                       "1145 1 set-image 170 72554\n"
                                                       "9594 1 lose-answer 4 60839\n"
                                                       "8013 3 forget-cursors 529 71175"}),
                                  9008955));
}

// It was edited while it was sent, and sent again: the next process must not send it once more.
TEST(SimulatedDeletion,
     A_record_that_was_sent_twice_stays_deleted_when_its_machine_dies_and_the_cursors_are_lost) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1, 1, -2}, {"1538 3 delay-request 5 82\n"
                                                        "8861 2 add 960 4298\n"
                                                        "2934 1 add 768 52618\n"
                                                        "20351 3 add 703 8485\n"
                                                        "25606 3 add 480 34682\n"
                                                        "3343 3 edit-author 955 2532",
                                                        "793065 2 delete-author 368 91452\n"
                                                        "227 3 forget-cursors 163 19178\n"
                                                        "227318 2 delete 603 15347\n"
                                                        "6103 3 lose-power 66 37423\n"
                                                        "731874 3 duplicate 5 68288"}),
                                  50133441));
}

TEST(SimulatedDeletion, A_record_goes_that_was_deleted_between_two_listings_which_arrive_in_the_other_order) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({0, -2}, {"5710 1 add 69 68580\n"
                                                     "3912 1 add 973 86172\n"
                                                     "3998 1 add 230 21547\n"
                                                     "15986 1 add 975 47995\n"
                                                     "91613 1 add 314 97764\n"
                                                     "10544 1 add 532 87044",
                                                     "7142 2 add 958 84033\n"
                                                     "10468020 1 add 591 54737\n"
                                                     "4687 2 forget-cursors 660 49403\n"
                                                     "3890 1 add 165 91810\n"
                                                     "640 1 set-image 13 57176\n"
                                                     "437 1 add 167 38253\n"
                                                     "214494 2 delay-answer 1 101\n"
                                                     "7450 2 sync 258 48550\n"
                                                     "19652 2 sync 878 9227\n"
                                                     "3686 1 add 44 26113\n"
                                                     "2140 1 delete 830 56114"}),
                                  50143194));
}

TEST(SimulatedDeletion, An_author_whose_edit_is_sent_in_the_batch_that_deletes_it_comes_back_everywhere) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-1, -1, 0}, {"13795 1 add 912 75600\n"
                                                         "26056 2 kill 98 319\n"
                                                         "3703 2 add 373 97025\n"
                                                         "6931 2 add 793 57387\n"
                                                         "559142 3 add 763 20873",
                                                         "6092 2 add 566 82385\n"
                                                         "9354 2 lose-answer 5 41865\n"
                                                         "9391 1 delete-author 706 51258\n"
                                                         "444699 2 add 884 85206\n"
                                                         "2842 2 sync 557 71815\n"
                                                         "5889 2 fill-disk 346 18482\n"
                                                         "1673 3 sync 941 83318\n"
                                                         "5083 2 edit-author 880 46758\n"
                                                         "2408 3 set-image 781 92719\n"
                                                         "2379 1 close 108 96663\n"
                                                         "512413 2 delay-request 2 4\n"
                                                         "5988 1 set-image 845 84869"}),
                                  9010411));
}

TEST(SimulatedDeletion, One_of_a_version_by_a_clock_that_was_behind_gives_way_to_the_later_version) {
    EXPECT_TRUE(
        keepsEveryPromise(scriptOf({-1, 3067}, {"1043407 2 add 0 830", "139284 1 add 354 64257\n"
                                                                       "14541 1 edit-author 827 43944\n"
                                                                       "379 2 sync 524 45181\n"
                                                                       "2588 1 deactivate 675 78634\n"
                                                                       "22542 1 delete-author 750 38349"}),
                          50076549));
}

TEST(SimulatedDeletion,
     One_that_is_taken_back_leaves_no_reference_behind_of_an_edit_by_a_clock_that_was_behind) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({3022, -1, 2}, {"3884 1 add 256 14885\n"
                                                           "9909454 3 delay-request 3 5\n"
                                                           "1604 1 kill 83 45530\n"
                                                           "1888 1 add 710 63487\n"
                                                           "6128 3 delete-author 23 5250\n"
                                                           "1074 2 sync 180 17231\n"
                                                           "5210 3 lose-power 0 9039\n"
                                                           "15032 2 set-image 43 90457\n"
                                                           "9654212 3 forget-cursors 562 32742",
                                                           ""}),
                                  50200349));
}
