#include "SimulatedDays.h"

// Days that have broken a promise once, each shrunk to the events that it took. The seed is that of the world in which it
// did: of when disks tear what is being written, and of how long answers take.

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

TEST(SimulatedDay,
     A_version_of_the_preferences_is_received_whose_download_the_deletion_of_the_folder_forgot) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({687, -1, 0}, {"3048 3 add 207 71467\n"
                                                          "900002 2 set-preference 991 40043\n"
                                                          "38212 3 delay-answer 3 7\n"
                                                          "15042 3 delete-folder 23 72751\n"
                                                          "14207 3 sync 323 60447\n"
                                                          "11432 3 deactivate 261 3883"}),
                                  12455));
}

TEST(SimulatedDay, Preferences_that_are_set_while_they_are_sent_without_an_answer_are_the_same_everywhere) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-1, -3428}, {"11017 2 add 260 44804\n"
                                                         "676998 2 delay-answer 3 15\n"
                                                         "2728 2 edit 489 1114\n"
                                                         "4343 2 lose-answer 1 25379\n"
                                                         "25506 2 add 421 67365\n"
                                                         "2462 2 set-preference 772 26393\n"
                                                         "3218 2 set-preference 271 22806\n"
                                                         "5591 2 set-preference 571 36179"}),
                                  13717));
}

TEST(SimulatedDay, An_image_that_is_set_again_while_the_one_before_is_on_its_way_is_sent) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({0, -1091}, {"22802 2 add 841 54935\n"
                                                        "301 2 set-image 828 6837\n"
                                                        "3324 2 delay-answer 5 11\n"
                                                        "376262 2 set-image 588 76974\n"
                                                        "4747 2 set-image 346 81429"}),
                                  18329));
}

TEST(SimulatedDay, An_edit_by_a_clock_that_is_behind_gives_way_also_while_the_record_is_on_its_way) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({2, -225}, {"27877 1 add 915 81449\n"
                                                       "1674 1 add 974 2930\n"
                                                       "6083 1 add 157 89408\n"
                                                       "24337 1 add 501 58714\n"
                                                       "69 1 add 118 75796"}),
                                  21339));
}

TEST(SimulatedDay, A_copy_of_an_image_makes_no_deleted_record_again) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({0, 1}, {"4676 1 delay-answer 3 15\n"
                                                    "769 2 lose-answer 1 19624\n"
                                                    "3798 1 add 749 63560\n"
                                                    "1005 2 delay-answer 4 8\n"
                                                    "1516 2 sync 609 6132\n"
                                                    "315 1 set-image 182 97067\n"
                                                    "575381 2 set-image 411 34947\n"
                                                    "3911 2 kill 1 35989\n"
                                                    "28127 1 delete 779 22455"}),
                                  21753));
}

TEST(SimulatedDay, A_record_that_a_reference_alone_has_made_is_not_sent) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-3068, -2, -1, -2026}, {"514429 2 add 272 73738\n"
                                                                    "29964 3 delete-folder 525 15314\n"
                                                                    "9858 2 add 340 92637\n"
                                                                    "12772 2 kill 0 57337\n"
                                                                    "6020 2 sync 130 42693",
                                                                    "65873 2 delete-folder 130 53432"}),
                                  11803));
}

TEST(SimulatedDay, A_copy_of_an_image_of_the_same_second_is_sent) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({2080, -382, -2}, {"1472841 1 add 584 4538\n"
                                                              "3628 2 sync 932 45646",
                                                              "7672 2 add 797 75260\n"
                                                              "3637 1 sync 180 87377\n"
                                                              "550 2 add 678 17557\n"
                                                              "8989 1 delay-request 1 3\n"
                                                              "5978 3 sync 708 42841\n"
                                                              "127507 1 refusal 5 9387\n"
                                                              "278 3 lose-answer 5 3181\n"
                                                              "3712 2 add 719 15230\n"
                                                              "2423 3 set-image 955 2362\n"
                                                              "4034 3 refuse-token 4 21087\n"
                                                              "2391 1 sync 578 92927\n"
                                                              "5412 1 set-image 201 68824\n"
                                                              "1882 1 set-preference 574 32119\n"
                                                              "343321 1 sync 348 29891"}),
                                  4324));
}

TEST(SimulatedDay, An_edit_stays_until_the_batch_that_overtakes_it_is_merged) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({0, 1, -1}, {"530528 2 add 902 7891\n"
                                                        "1841 2 add 943 92432",
                                                        "4431 3 add 734 6392\n"
                                                        "3412 2 set-preference 281 76322\n"
                                                        "981 1 edit 864 854\n"
                                                        "5067 2 add 264 89433\n"
                                                        "657 1 delay-request 5 1\n"
                                                        "152 1 not-found 3 35438\n"
                                                        "3657 3 refuse-token 4 36037\n"
                                                        "489 2 add 762 11146\n"
                                                        "764 2 edit 168 33379\n"
                                                        "2345 2 refuse-token 1 94349\n"
                                                        "798130 3 save 800 9731"}),
                                  2060));
}

TEST(SimulatedDay,
     A_preference_that_is_set_back_after_a_failed_upload_gives_way_to_the_next_change_elsewhere) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-2, 1846}, {"72137 1 set-preference 594 51993\n"
                                                        "2277 1 offline 5 38680\n"
                                                        "9653 1 set-preference 636 14448",
                                                        "46540 2 set-preference 729 22073"}),
                                  464));
}

TEST(SimulatedDay, A_host_can_save_an_edit_of_what_referred_to_a_record_that_was_deleted_elsewhere) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-2, 1, -2}, {"17120 2 add 898 10250\n"
                                                         "7168 2 add 624 49461\n"
                                                         "47430 3 sync 298 13385\n"
                                                         "1289 3 add 676 34021",
                                                         "15461 3 delete-author 302 61794\n"
                                                         "5474 3 delete 639 71482\n"
                                                         "8726 3 set-image 401 78458\n"
                                                         "5685 3 lose-power 3 88550\n"
                                                         "4875 3 save 691 51565\n"
                                                         "138619 3 sync 548 52449\n"
                                                         "3468 3 delete 111 44225"}),
                                  310));
}

TEST(SimulatedDay, A_record_out_of_which_a_deletion_has_taken_a_reference_is_the_same_everywhere) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-2, -3071, -2}, {"278833 3 add 568 96552\n"
                                                             "1080928 1 add 154 10452\n"
                                                             "3997 2 delete-author 274 14754",
                                                             "121049 3 edit-author 314 93738"}),
                                  134));
}

TEST(SimulatedDay, A_reference_to_what_is_deleted_and_not_saved_is_the_same_everywhere) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({0, 1, 0}, {"746546 2 server-error 1 67923\n"
                                                       "3006 2 add 473 31372\n"
                                                       "4711 2 sync 11 84895\n"
                                                       "2581 3 add 224 55962\n"
                                                       "3724 2 add 262 57313",
                                                       "121638 1 lose-power 0 58621\n"
                                                       "15008 3 jump-clock -50966 68020\n"
                                                       "28109 3 delete-folder 71 98979\n"
                                                       "6376 3 delete-author 647 77682\n"
                                                       "1055363 1 sync 281 59062"}),
                                  332));
}

TEST(SimulatedDay, A_record_that_comes_again_while_its_deletion_is_in_flight_is_deleted_again) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1, -1, -1, 1474}, {"788188 2 add 958 53234\n"
                                                               "12271 4 add 603 90423",
                                                               "11821 2 edit 63 69923\n"
                                                               "1062 1 sync 534 95922\n"
                                                               "10806 3 delete 798 86923\n"
                                                               "902 1 delay-answer 3 76\n"
                                                               "524614 3 edit 428 63632\n"
                                                               "22194 1 delete 697 32171\n"
                                                               "4044 2 save 150 7835"}),
                                  758));
}

TEST(SimulatedDay, A_preference_survives_the_cloud_saying_that_the_file_has_gone) {
    EXPECT_TRUE(keepsEveryPromise(
        scriptOf({-1, 0, 0}, {"1089708 1 add 625 67310", "2197 2 delay-request 3 12\n"
                                                         "2837 2 delete 582 30975\n"
                                                         "434637 2 set-preference 500 59069\n"
                                                         "2001 2 deactivate 980 39174\n"
                                                         "4478 2 server-error 1 8746\n"
                                                         "6632 2 duplicate 3 95171\n"
                                                         "18538 2 not-found 5 94649\n"
                                                         "13814 2 sync 3 32902\n"
                                                         "8068 3 delete-folder 392 88834\n"
                                                         "11783 2 sync 161 29986"}),
        34282));
}

TEST(SimulatedDay, An_edit_that_a_batch_has_replaced_is_not_sent_where_the_batch_was_given_up) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-3242, 0}, {"9810876 2 add 594 37856\n"
                                                        "552513 2 add 244 39327\n"
                                                        "1464 1 lose-answer 3 23826\n"
                                                        "1622 1 deactivate 205 63653\n"
                                                        "451047 1 duplicate 3 77484\n"
                                                        "809 2 add 416 80313\n"
                                                        "305 2 edit 838 43263\n"
                                                        "7802 1 edit 546 18429\n"
                                                        "401 1 lose-answer 3 72099\n"
                                                        "2100 1 sync 339 45637\n"
                                                        "32804 1 save 372 52867\n"
                                                        "6421 1 deactivate 622 3301",
                                                        ""}),
                                  9005243));
}

TEST(SimulatedDay, An_edit_in_flight_that_a_batch_has_replaced_is_not_sent_for_ever) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-1, -854, -3232}, {"5708 1 add 10 44849\n"
                                                               "10561 2 sync 871 25400\n"
                                                               "551853 2 set-image 33 22608\n"
                                                               "5661 2 delay-request 5 95\n"
                                                               "4540 2 edit 779 75266\n"
                                                               "12972 2 set-image 989 15513\n"
                                                               "1917 2 save 103 92391\n"
                                                               "258333 3 add 896 85673",
                                                               ""}),
                                  9019915));
}

TEST(SimulatedDay, An_image_that_is_set_again_while_it_is_sent_is_sent_by_the_next_process_with_its_record) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({2, -2}, {"3267 2 add 262 57594\n"
                                                     "30545 1 add 383 87817\n"
                                                     "54232 2 add 271 53594",
                                                     "66366 1 server-error 5 90793\n"
                                                     "913 1 set-image 5 21576\n"
                                                     "1762 1 lose-answer 4 76756\n"
                                                     "4958 1 set-image 587 67006\n"
                                                     "19511 1 save 937 93050\n"
                                                     "3412 1 set-image 969 7094\n"
                                                     "8188 1 kill 38 48021\n"
                                                     "3166 1 save 325 13159"}),
                                  40000553));
}
