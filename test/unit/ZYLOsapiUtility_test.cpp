/// @file
/// Strings in a place of limited size, and integers in pointers.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

TEST(StringCopy, takes_at_most_the_given_number_of_characters_and_terminates)
{
    char buffer[10];
    std::memset(buffer, 'z', sizeof buffer);
    EXPECT_EQ(buffer, ZYLOsapiUtility_strncpy(buffer, 8, "a prefix too long", 8));
    EXPECT_STREQ("a prefix", buffer);
    EXPECT_EQ('z', buffer[9]);
    EXPECT_EQ(buffer, ZYLOsapiUtility_strncpy(buffer, 8, "short", 8));
    EXPECT_STREQ("short", buffer);
    EXPECT_EQ(buffer, ZYLOsapiUtility_strncpy(buffer, 8, "", 8));
    EXPECT_STREQ("", buffer);
}

TEST(StringCopy, reads_no_further_than_the_given_number_of_characters)
{
    const char source[4] = {'a', 'b', 'c', 'd'};
    char buffer[8];
    EXPECT_EQ(buffer, ZYLOsapiUtility_strncpy(buffer, 7, source, 4));
    EXPECT_STREQ("abcd", buffer);
}

TEST(StringCopy, a_part_that_does_not_fit_is_refused_and_leaves_an_empty_string)
{
    char buffer[5] = "old";
    EXPECT_EQ(nullptr, ZYLOsapiUtility_strncpy(buffer, 4, "12345", 5));
    EXPECT_STREQ("", buffer);
    EXPECT_EQ(buffer, ZYLOsapiUtility_strncpy(buffer, 4, "12345", 4));
    EXPECT_STREQ("1234", buffer);
    EXPECT_EQ(nullptr, ZYLOsapiUtility_strncpy(buffer, 4, nullptr, 4));
    EXPECT_EQ(nullptr, ZYLOsapiUtility_strncpy(nullptr, 4, "1", 4));
}

TEST(StringAppend, appends_what_fits_exactly)
{
    char buffer[34];
    ASSERT_NE(nullptr, ZYLOsapiUtility_strncpy(buffer, 33, "12345678", 8));
    EXPECT_EQ(buffer, ZYLOsapiUtility_strncat(buffer, 33, "_AWS_CRITICAL_SECTION_EA", 24));
    EXPECT_STREQ("12345678_AWS_CRITICAL_SECTION_EA", buffer);
    EXPECT_EQ(buffer, ZYLOsapiUtility_strncat(buffer, 33, "x", 1));
    EXPECT_EQ(33u, std::strlen(buffer));
}

TEST(StringAppend, what_does_not_fit_changes_nothing)
{
    char buffer[6] = "abc";
    EXPECT_EQ(nullptr, ZYLOsapiUtility_strncat(buffer, 5, "def", 3));
    EXPECT_STREQ("abc", buffer);
    EXPECT_EQ(nullptr, ZYLOsapiUtility_strncat(buffer, 2, "d", 1));
    EXPECT_STREQ("abc", buffer);
    EXPECT_EQ(nullptr, ZYLOsapiUtility_strncat(buffer, 5, nullptr, 0));
    EXPECT_EQ(nullptr, ZYLOsapiUtility_strncat(nullptr, 5, "d", 1));
}

TEST(StringFormat, counts_the_characters_and_cuts_at_the_size)
{
    char buffer[8];
    EXPECT_EQ(7, ZYLOsapiUtility_snprintf(buffer, sizeof buffer, "%.*s_aws", 3, "poolname"));
    EXPECT_STREQ("poo_aws", buffer);
    EXPECT_EQ(10, ZYLOsapiUtility_snprintf(buffer, sizeof buffer, "%d", 1234567890));
    EXPECT_STREQ("1234567", buffer);
}

TEST(IntegerInPointer, comes_out_as_it_went_in)
{
    for (const int value : {0, 1, -1, 42, INT_MAX, INT_MIN})
        EXPECT_EQ(value, ZYLOsapiUtility_pointerToInt(ZYLOsapiUtility_intToPointer(value)));
    EXPECT_EQ(nullptr, ZYLOsapiUtility_intToPointer(0));
}
