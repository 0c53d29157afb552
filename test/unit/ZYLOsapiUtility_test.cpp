// Replaces: ZYLOsapiHeap_reallocateMemoryInternal
/// @file
/// Bounded strings and integer-pointer conversions.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "LogCapture.hpp"
#include "halo_runtime/dds/DDS_String.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

namespace {
bool isMemoryEnded = false;
}

extern "C" {
int __real_ZYLOsapiHeap_reallocateMemoryInternal(void **, size_t, int, int, int, const char *, ZYLOsapiAllocKind,
                                                 const char *);
int __wrap_ZYLOsapiHeap_reallocateMemoryInternal(void **blockInOut, size_t size, int alignment, int reallocate,
                                                 int flag, const char *routine, ZYLOsapiAllocKind kind,
                                                 const char *typeName)
{
    if (isMemoryEnded) return 0;
    return __real_ZYLOsapiHeap_reallocateMemoryInternal(blockInOut, size, alignment, reallocate, flag, routine, kind,
                                                        typeName);
}
}

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

TEST(StringOnTheHeap, is_a_copy_of_its_own)
{
    const std::size_t blocksBefore = ZYLOsapiHeap_getBlockCount();
    char source[] = "prefix";
    char *copy = DDS_String_dup(source);
    ASSERT_NE(nullptr, copy);
    source[0] = 'x';
    EXPECT_STREQ("prefix", copy);
    EXPECT_EQ(blocksBefore + 1, ZYLOsapiHeap_getBlockCount());
    DDS_String_free(copy);
    EXPECT_EQ(blocksBefore, ZYLOsapiHeap_getBlockCount());
    EXPECT_EQ(nullptr, DDS_String_dup(nullptr));
}

TEST(StringOnTheHeap, is_null_when_memory_ended)
{
    const LogCapture log;
    isMemoryEnded = true;
    EXPECT_EQ(nullptr, DDS_String_dup("prefix"));
    isMemoryEnded = false;
    EXPECT_NO_LOG(log);
}
