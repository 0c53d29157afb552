/// @file
/// Strings on the tagged heap.
#include "LogCapture.hpp"
#include "MemoryFixture.hpp"
#include "halo_runtime/dds/DDS_String.pkg.h"

namespace {

using StringOnTheHeap = MemoryTest;

TEST_F(StringOnTheHeap, is_a_copy_of_its_own)
{
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

TEST_F(StringOnTheHeap, is_null_when_memory_ended)
{
    const LogCapture log;
    endMemory();
    EXPECT_EQ(nullptr, DDS_String_dup("prefix"));
    EXPECT_NO_LOG(log);
}

}  // namespace
