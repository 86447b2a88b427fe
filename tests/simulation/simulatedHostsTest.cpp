#include "SimulatedDays.h"

// Days of hosts that take back what was not saved, or make a record again under the uuid of one that was deleted.

TEST(SimulatedHost, A_deletion_stands_where_what_was_made_again_is_not_saved) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({0, 872, -1}, {"", "13938 1 add 820 83475\n"
                                                              "686509 2 close 451 83670\n"
                                                              "80798 2 delete 686 60676\n"
                                                              "5469 2 save 212 34654\n"
                                                              "20461 2 add-again 343 97026\n"
                                                              "356732 2 close 891 83139"}),
                                  1158));
    EXPECT_TRUE(
        keepsEveryPromise(scriptOf({0, 1, -1}, {"956458 1 add 657 60564", "956 3 offline 5 33592\n"
                                                                          "88 3 delete 401 78380\n"
                                                                          "1144 3 truncate 5 94320\n"
                                                                          "19740 3 save 306 69014\n"
                                                                          "14511 3 add-again 79 45585\n"
                                                                          "13192 3 close 84 92504"}),
                          1847));
}

TEST(SimulatedHost, A_record_that_was_never_saved_and_sent_goes_with_what_was_made_again_in_its_place) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-2193, 2}, {"4057 2 add 174 58153\n"
                                                        "16678 2 refuse-token 5 13716\n"
                                                        "19653 2 delete 958 49306\n"
                                                        "12477 2 add-again 153 58314\n"
                                                        "11306 2 close 340 46967",
                                                        ""}),
                                  2746));
    EXPECT_TRUE(keepsEveryPromise(scriptOf({1, 1}, {"255183 2 add 235 79551\n"
                                                    "16014 2 too-many-requests 5 67790\n"
                                                    "626 2 sync 395 22488\n"
                                                    "8538 2 delete 553 98020\n"
                                                    "7167 2 add-again 978 50881\n"
                                                    "26105 2 roll-back 485 31033",
                                                    ""}),
                                  1744));
}

TEST(SimulatedHost, A_record_that_is_made_again_and_not_saved_is_not_sent_to_and_fro) {
    EXPECT_TRUE(
        keepsEveryPromise(scriptOf({-1, 2, -1}, {"1461824 3 add 182 39629", "13086 1 sync 333 54605\n"
                                                                            "6235 1 delete 226 28019\n"
                                                                            "89772 1 add-again 568 2687\n"
                                                                            "5596 3 edit 618 46977\n"
                                                                            "9701172 1 sync 126 53823"}),
                          2141));
}

TEST(SimulatedHost, A_record_that_is_made_again_by_a_clock_that_is_behind_gives_way) {
    EXPECT_TRUE(keepsEveryPromise(
        scriptOf({-1, 0, -706, 0}, {"1048054 1 add 463 99952", "7653 2 edit 244 56473\n"
                                                               "608186 3 delete 854 31492\n"
                                                               "4327 3 add-again 338 85439\n"
                                                               "799899 4 roll-back 990 23581"}),
        3642));
}

TEST(SimulatedHost, A_record_that_is_made_again_has_the_image_that_the_cloud_holds) {
    EXPECT_TRUE(keepsEveryPromise(scriptOf({-1, 0}, {"27167 2 add 362 7898\n"
                                                     "55753 2 set-image 297 76207",
                                                     "335481 2 deactivate 915 64738\n"
                                                     "27907 2 delete 46 88946\n"
                                                     "4765 2 save 518 20846\n"
                                                     "8001 2 add-again 89 87702"}),
                                  4617));
    EXPECT_TRUE(keepsEveryPromise(
        scriptOf({389, -2, 674}, {"1560983 3 add 394 63473", "795887 1 truncate 2 40225\n"
                                                             "345629 1 set-image 414 29782\n"
                                                             "3195 1 duplicate 3 31200\n"
                                                             "5640 3 delete 158 6650\n"
                                                             "382 1 delete 613 35371\n"
                                                             "548505 1 close 223 71470\n"
                                                             "11959 3 save 680 15627\n"
                                                             "1478 3 add-again 571 51027"}),
        4782));
}
