#include "editing/NSString_QueryAdditions.h"

#include <gtest/gtest.h>

TEST(QueryAdditions, A_prefix_is_found_whatever_its_case_and_accents) {
    EXPECT_TRUE(hasDiatricAndCaseInsensitivePrefix("Réading", "re"));
    EXPECT_TRUE(hasDiatricAndCaseInsensitivePrefix("reading", "RÉ"));
    EXPECT_FALSE(hasDiatricAndCaseInsensitivePrefix("bread", "re"));
    EXPECT_FALSE(hasDiatricAndCaseInsensitivePrefix("re", "rea"));
    EXPECT_FALSE(hasDiatricAndCaseInsensitivePrefix("øre", "o")) << "another letter";
    EXPECT_FALSE(hasDiatricAndCaseInsensitivePrefix("ße", "s")) << "half a letter";
}

TEST(QueryAdditions, An_empty_prefix_is_never_found_and_an_empty_string_never_contained) {
    EXPECT_FALSE(hasDiatricAndCaseInsensitivePrefix("red", ""));
    EXPECT_FALSE(hasDiatricAndCaseInsensitivePrefix("", ""));
    EXPECT_TRUE(doesNotContainsString("red", ""));
}

TEST(QueryAdditions, A_string_is_missing_when_no_spelling_of_it_occurs) {
    EXPECT_FALSE(doesNotContainsString("Crème brûlée", "BRULE"));
    EXPECT_TRUE(doesNotContainsString("Crème brûlée", "burle"));
    EXPECT_FALSE(doesNotContainsString("abc", "abc"));
    EXPECT_TRUE(doesNotContainsString("", "a"));
}
