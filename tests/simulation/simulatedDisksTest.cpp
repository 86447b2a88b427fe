#include "SimulatedDays.h"

// Days on which a disk that failed, or a process that died, has broken a promise once, each shrunk to the events that
// it took.

TEST(SimulatedDisk, A_preference_that_is_set_while_the_disk_is_full_is_sent) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1730, -328}, {"400985 1 set-preference 344 42890\n"
                                                          "3663 1 fill-disk 988 2315\n"
                                                          "2104 2 close 759 66752"})));
}

TEST(SimulatedDisk, A_preference_that_is_set_while_the_disk_is_full_and_the_cursor_lost_is_sent) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({0, 0}, {"", "3256 1 fill-disk 284 83123\n"
                                                        "47338 1 set-preference 666 82117\n"
                                                        "2403 2 forget-cursors 85 87708\n"
                                                        "4887 1 sync 889 66892\n"
                                                        "5373 2 set-preference 776 15227\n"
                                                        "21247 1 add 693 31287"})));
}

TEST(SimulatedDisk, A_preference_that_is_set_again_on_a_full_disk_is_the_latest_one) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-2, -492}, {"", "2082 2 deactivate 395 36832\n"
                                                            "5508 2 set-preference 789 99930\n"
                                                            "576217 2 fill-disk 556 40195\n"
                                                            "26985 2 sync 209 24215\n"
                                                            "147987 2 set-preference 567 64209\n"
                                                            "13015 2 close 648 79575"}),
                                  24111));
}

TEST(SimulatedDisk, A_record_that_is_sent_while_a_full_disk_holds_up_its_deletion_comes_back_everywhere) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-2, -2}, {"56354 2 add 915 32492\n"
                                                      "903509 2 save 303 90853\n"
                                                      "11693 2 fill-disk 344 95563\n"
                                                      "7956 2 edit 566 23021\n"
                                                      "3917 1 delete 170 36250\n"
                                                      "26177 2 edit 889 13613\n"
                                                      "445386 1 edit 196 95780"}),
                                  18236));
}

TEST(SimulatedDisk, An_image_that_a_process_had_not_queued_when_it_died_is_sent) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-1, 2841}, {"1089641 1 offline 1 28277\n"
                                                        "7398 1 offline 3 37066\n"
                                                        "7279 1 add 706 89658\n"
                                                        "355 1 set-image 121 39182\n"
                                                        "11948 1 kill 76 17081\n"
                                                        "2639 1 set-preference 691 19694\n"
                                                        "2903 1 save 898 86477"}),
                                  21303));
}

TEST(SimulatedDisk, What_a_process_that_died_had_merged_of_a_conflict_is_sent) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-2, -1, 1}, {"158114 2 add 333 2245\n"
                                                         "5115 3 kill 65 88716\n"
                                                         "15279 3 sync 736 31453\n"
                                                         "2124 1 delete 865 4757",
                                                         "11828 3 edit 351 59200\n"
                                                         "1315 2 edit 303 1461\n"
                                                         "6917 3 set-preference 679 46005\n"
                                                         "264955 3 delete 494 34261\n"
                                                         "829 3 kill 84 66284\n"
                                                         "1078 3 save 675 65353\n"
                                                         "6794 3 sync 513 26850\n"
                                                         "5825 3 sync 225 2678"}),
                                  4188));
}

TEST(SimulatedDisk, An_image_that_was_placed_by_a_process_that_died_is_sent_when_the_cloud_has_lost_it) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-2, 2699, 2070, -816}, {"634452 4 add 589 17250\n"
                                                                    "17307 2 add 124 78543\n"
                                                                    "5650 1 add 292 64446\n"
                                                                    "9286 3 add 382 50846\n"
                                                                    "341 3 add 431 34418\n"
                                                                    "13757 1 add 666 54273",
                                                                    "8772 4 delete 672 74982\n"
                                                                    "3248 3 set-image 148 12909\n"
                                                                    "597404 2 set-image 104 30709\n"
                                                                    "9985 2 edit 703 13876\n"
                                                                    "3012 2 edit 732 84041\n"
                                                                    "14648 3 kill 108 38779\n"
                                                                    "10012 3 sync 840 23174\n"
                                                                    "4372 4 delete-folder 930 52903\n"
                                                                    "4405 2 delete 694 77521"}),
                                  31487));
}

TEST(SimulatedDisk, A_batch_that_could_not_be_saved_comes_again_though_the_host_holds_the_record_unsaved) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-1794, -1, -1, 2}, {"9581 4 add 961 43731\n"
                                                                "8394 4 server-error 2 14046\n"
                                                                "9853 2 sync 293 43698\n"
                                                                "747 4 fail-disk 48 52102\n"
                                                                "820 4 sync 542 46378\n"
                                                                "14389 2 edit 248 23708\n"
                                                                "5903 3 save 777 85110"}),
                                  600287));
}

TEST(SimulatedDisk, A_batch_that_could_not_be_saved_comes_again_though_the_host_has_edited_the_record) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-1, -1, 2845}, {"1295 1 add 936 75855\n"
                                                            "7819 1 add 364 25157\n"
                                                            "1615 3 add 755 8061\n"
                                                            "196058 1 add 387 75150\n"
                                                            "8600 3 edit-author 510 6204\n"
                                                            "12691 1 sync 503 6336\n"
                                                            "490031 2 edit-author 573 78450\n"
                                                            "94990 3 add 149 88219\n"
                                                            "6640 3 delete 842 7232\n"
                                                            "1582611 3 edit 994 34480"}),
                                  601244));
}

TEST(SimulatedDisk, What_a_killed_process_has_saved_is_synced_by_the_next_one) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-2, -3584, 1}, {"1972 2 kill 112 49594\n"
                                                            "647020 2 sync 810 72766\n"
                                                            "2315 3 add 984 72626\n"
                                                            "8556 2 sync 332 72270\n"
                                                            "15905 2 set-preference 283 7054\n"
                                                            "1347 2 lose-power 76 86190\n"
                                                            "15435 2 sync 222 17441\n"
                                                            "34734 2 edit-author 270 62082\n"
                                                            "5404 1 close 141 27965"}),
                                  601534));
}

TEST(SimulatedDisk, A_query_that_a_user_asks_for_waits_for_the_batch_that_a_full_disk_holds_up) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({3364, -2}, {"9004 1 add 116 77707\n"
                                                        "4600 1 add 843 57357\n"
                                                        "2109 1 add 14 93185\n"
                                                        "2850 1 add 920 17370\n"
                                                        "3411 1 add 851 69228\n"
                                                        "14057 2 add 737 39906\n"
                                                        "1019586 2 save 973 77234",
                                                        "9620 1 add 872 65135\n"
                                                        "3251 2 edit 973 32529\n"
                                                        "6019 2 fill-disk 441 50260\n"
                                                        "2715 1 set-image 105 66717\n"
                                                        "2177 2 add 296 13810\n"
                                                        "1764 1 sync 205 32723\n"
                                                        "7133 2 sync 341 52848\n"
                                                        "6253 1 add 129 32550\n"
                                                        "3145 1 add 149 80755\n"
                                                        "169230 2 sync 820 11148\n"
                                                        "724869 2 delay-answer 4 42\n"
                                                        "16501 2 set-preference 519 10766"}),
                                  801297));
}

TEST(SimulatedDisk, A_batch_is_not_saved_while_the_archive_cannot_be) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1, 1447, -2069}, {"878330 2 add 722 99658\n"
                                                              "6697 3 add 996 11379\n"
                                                              "4199 2 set-image 713 95593\n"
                                                              "10605 1 add 126 27994\n"
                                                              "2586 3 set-image 299 45978",
                                                              "7536 3 delete 597 4204\n"
                                                              "9514 2 delay-answer 3 12\n"
                                                              "6130 1 set-preference 41 83787\n"
                                                              "20602 2 fail-disk 3 56721\n"
                                                              "3719 2 sync 824 83058\n"
                                                              "9777 2 stay-offline 79 67269\n"
                                                              "5711 2 lose-power 17 94770\n"
                                                              "14257 2 close 988 86792"}),
                                  820204));
}

TEST(SimulatedDisk, What_a_full_disk_keeps_two_processes_from_writing_down_is_sent_by_the_third) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({2087, 2}, {"11286 2 fill-disk 982 20362\n"
                                                       "700664 2 add 707 6692\n"
                                                       "7088 2 fail-disk 11 88132\n"
                                                       "188150 2 save 556 20198\n"
                                                       "1087 2 close 425 15796\n"
                                                       "4326 2 lose-power 28 76925"}),
                                  1010457));
}

TEST(SimulatedDisk, What_a_process_could_not_write_down_is_sent_though_the_next_one_loses_its_power) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({0, 2, -2}, {"", "12304 2 fill-disk 423 35547\n"
                                                            "5555 2 add 854 98868\n"
                                                            "3522 2 save 408 65910\n"
                                                            "153056 2 close 104 26628\n"
                                                            "3734 2 lose-power 8 32483\n"
                                                            "37228 2 free-disk 438 10392"}),
                                  1013796));
}

TEST(SimulatedDisk, An_image_that_is_set_while_a_failing_disk_holds_up_its_record_is_sent) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1, 2, 0}, {"7043 3 add 538 38680\n"
                                                       "462 3 kill 39 3639\n"
                                                       "4620 3 save 285 68739\n"
                                                       "17924 3 server-error 3 38168\n"
                                                       "2231 3 set-preference 105 54905\n"
                                                       "550588 3 delete 572 22501\n"
                                                       "14651 3 add 862 4046\n"
                                                       "7566 3 set-image 720 16383\n"
                                                       "238732 3 fail-disk 28 11772\n"
                                                       "12715 3 sync 554 88145\n"
                                                       "16879 3 set-image 419 38784"}),
                                  1003402));
}

TEST(SimulatedDisk, A_save_that_has_failed_does_not_come_true_after_a_death) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({2, -3575}, {"6239 2 add 974 36049\n"
                                                        "4827 2 fail-disk 11 48436\n"
                                                        "4207 2 save 799 86436\n"
                                                        "13854 2 delete 78 99320",
                                                        "5180 2 kill 56 7931\n"
                                                        "4054 2 add 153 2728\n"
                                                        "7320 2 delete 372 44480"}),
                                  759));
}

TEST(SimulatedDisk, An_image_whose_date_a_failing_disk_has_kept_in_the_future_gives_way) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-1, -43, -2}, {"677193 3 jump-clock 57855 80553\n"
                                                           "19205 3 add 359 24733\n"
                                                           "402789 3 server-error 1 45460\n"
                                                           "5764 3 set-image 140 90382\n"
                                                           "4553 3 fail-disk 1 74183\n"
                                                           "8475 1 add 772 17562",
                                                           "25247 2 set-image 431 7454"}),
                                  2047105));
}

TEST(SimulatedDisk, What_a_full_disk_keeps_from_being_imported_is_asked_for_once_at_a_time) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1, 2}, {"", "4733 1 add 894 44749\n"
                                                        "337212 1 delay-request 4 13\n"
                                                        "1837 1 kill 2 88447\n"
                                                        "6007 1 set-image 435 22199\n"
                                                        "3247 1 fill-disk 373 43440\n"
                                                        "3285 1 sync 151 34\n"
                                                        "2941 2 add 15 39048\n"
                                                        "3975 2 add 296 86267\n"
                                                        "10030 1 deactivate 902 3648\n"
                                                        "3484 1 sync 814 38837\n"
                                                        "15433 1 delay-answer 5 11\n"
                                                        "835 2 add 445 43456"}),
                                  2034620));
}

// Else the earlier one, which stands there again after the loss of power, would be sent as if it had been set since.
TEST(SimulatedDisk, An_image_that_has_taken_the_place_of_another_one_is_not_known_before_its_name_lasts) {
    for (int steps = 80; steps < 100; ++steps)
        for (const int luck : {1, 2, 78591}) {
            const QByteArray day =
                "2110 1 jump-clock -79610 94533\n3254 1 edit 876 56153\n"
                "1428 1 set-image 258 57560\n8258 2 delete-preferences 921 95077\n11168 2 lose-power "
                + QByteArray::number(steps) + ' ' + QByteArray::number(luck)
                + "\n3430 2 sync 218 31855\n3076 2 edit 24 58256";
            EXPECT_TRUE(keepsEveryPromise(scriptOf({1333, 18}, {"3585 1 server-error 5 63697\n"
                                                                "243 1 add 334 27241\n"
                                                                "9147 2 add 193 96945\n"
                                                                "7170 1 set-image 511 89630\n"
                                                                "18180 2 add 738 18729\n"
                                                                "366715 1 edit 680 70523\n"
                                                                "2062 2 add 308 38669",
                                                                day.constData()}),
                                          50089864))
                << steps << ' ' << luck;
        }
}

TEST(SimulatedDisk, An_image_by_a_clock_that_was_behind_is_sent_though_the_disk_did_not_take_its_date) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1019, -698}, {"6908 2 lose-answer 1 71125\n"
                                                          "2285 1 add 699 84587\n"
                                                          "6190 1 add 32 394\n"
                                                          "65 2 add 742 33106\n"
                                                          "7642 2 add 292 36071\n"
                                                          "502662 2 edit 593 64766\n"
                                                          "13648 1 add 204 24766\n"
                                                          "3912 1 set-image 275 9628\n"
                                                          "357798 1 add 35 97223\n"
                                                          "25384 1 add 247 99918",
                                                          "8514 1 jump-clock -6522 22560\n"
                                                          "2492 1 fail-disk 44 4892\n"
                                                          "12493 1 close 747 47153\n"
                                                          "13268 1 set-image 40 72264"}),
                                  50252872));
}
