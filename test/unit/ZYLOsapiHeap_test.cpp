/// @file
/// The tagged heap: families, sizes, what is no block.

// Replaces: malloc realloc
#include <gtest/gtest.h>

#include <cstring>

#include "LogCapture.hpp"
#include "dds_c/dds_c_log.h"
#include "doubles/Doubles.hpp"
#include "halo_runtime/dds/DDS_String.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

namespace {

int allocate(void **block, std::size_t size, int alignment = ZYL_OSAPI_HEAP_DEFAULT)
{
    return ZYLOsapiHeap_reallocateMemoryInternal(block, size, alignment, 0, 0, "ZYLOsapiHeap_allocateArray",
                                                 ZYL_OSAPI_ARRAY_ALLOC, "char");
}
int resizeString(void **block, std::size_t size)
{
    return ZYLOsapiHeap_reallocateMemoryInternal(block, size, ZYL_OSAPI_HEAP_DEFAULT, 1, 0,
                                                 "ZYLOsapiHeap_reallocateString", ZYL_OSAPI_STRING_ALLOC, "char");
}

/// Nothing is left over at the end of a test, and no precondition is recorded from the last one.
class Heap : public testing::Test {
protected:
    void SetUp() override
    {
        ZYLLog_g_detectPrecondition = 1;
        ZYLLog_g_preconditionDetected = 0;
        _blocksBefore = ZYLOsapiHeap_getBlockCount();
    }
    void TearDown() override
    {
        EXPECT_EQ(_blocksBefore, ZYLOsapiHeap_getBlockCount());
        ZYLLog_g_detectPrecondition = 0;
        ZYLLog_g_preconditionDetected = 0;
    }
    void expectBadBlock(const LogCapture &log, const char *routine)
    {
        EXPECT_LOG_COUNT(log, 1u);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_OSAPI_MEMORY_LOG_BAD_BLOCK_s, routine);
        EXPECT_EQ(1, ZYLLog_g_preconditionDetected);
    }

    /// The system has no memory until the doubles are healed. The compiler may make a malloc of a realloc that has no
    /// old block.
    void endMemory()
    {
        for (const char *service : {"malloc", "realloc"}) doubles.on(service).failFrom(1);
    }

    Doubles doubles;
    std::size_t _blocksBefore = 0;
};

}  // namespace

TEST_F(Heap, a_block_counts_until_it_is_freed)
{
    const LogCapture log;
    void *block = nullptr;
    ASSERT_NE(0, allocate(&block, 100));
    EXPECT_EQ(_blocksBefore + 1, ZYLOsapiHeap_getBlockCount());
    std::memset(block, 0xA5, 100);
    ZYLOsapiHeap_freeArray(block);
    EXPECT_EQ(_blocksBefore, ZYLOsapiHeap_getBlockCount());
    EXPECT_NO_LOG(log);
}

TEST_F(Heap, blocks_of_each_size_and_alignment_lie_at_a_multiple_of_16)
{
    for (const int alignment : {ZYL_OSAPI_HEAP_DEFAULT, 1, 2, 4, 8, 16}) {
        for (std::size_t size = 1; size < 40; ++size) {
            void *block = nullptr;
            ASSERT_NE(0, allocate(&block, size, alignment));
            EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(block) % 16);
            ZYLOsapiHeap_freeArray(block);
        }
    }
}

TEST_F(Heap, an_allocation_that_cannot_be_leaves_the_pointer_alone)
{
    const LogCapture log;
    int mark = 0;
    void *block = &mark;
    EXPECT_EQ(0, allocate(&block, 0));
    EXPECT_EQ(0, allocate(&block, SIZE_MAX));
    EXPECT_EQ(0, allocate(&block, SIZE_MAX - 8));
    EXPECT_EQ(0, allocate(&block, PTRDIFF_MAX));
    EXPECT_EQ(0, allocate(&block, 8, 3));
    EXPECT_EQ(0, allocate(&block, 8, 32));
    EXPECT_EQ(0, allocate(&block, 8, 0));
    endMemory();
    EXPECT_EQ(0, allocate(&block, 8));
    doubles.heal();
    EXPECT_EQ(&mark, block);
    EXPECT_EQ(nullptr, ZYLOsapiHeap_allocateArray<std::uint64_t>(SIZE_MAX / 4, "uint64_t"));
    EXPECT_NO_LOG(log);
}

TEST_F(Heap, a_null_address_is_a_precondition_failure)
{
    const LogCapture log;
    EXPECT_EQ(0, allocate(nullptr, 8));
    EXPECT_LOG_COUNT(log, 1u);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s, "\"blockInOut == ((void *)0)\"");
    EXPECT_EQ(1, ZYLLog_g_preconditionDetected);
}

TEST_F(Heap, a_fresh_allocation_ignores_what_the_pointer_held)
{
    const LogCapture log;
    int mark = 0;
    void *block = &mark;
    ASSERT_NE(0, allocate(&block, 8));
    EXPECT_NE(&mark, block);
    ZYLOsapiHeap_freeArray(block);
    EXPECT_NO_LOG(log);
}

TEST_F(Heap, resizing_keeps_the_contents_and_the_family)
{
    const LogCapture log;
    void *block = nullptr;
    ASSERT_NE(0, resizeString(&block, 6));
    std::memcpy(block, "hello", 6);
    ASSERT_NE(0, resizeString(&block, 100000));
    EXPECT_STREQ("hello", static_cast<char *>(block));
    ASSERT_NE(0, resizeString(&block, 3));
    EXPECT_EQ(0, std::memcmp(block, "hel", 3));
    EXPECT_EQ(_blocksBefore + 1, ZYLOsapiHeap_getBlockCount());
    DDS_String_free(static_cast<char *>(block));
    EXPECT_NO_LOG(log);
}

TEST_F(Heap, a_resize_that_fails_keeps_the_block)
{
    const LogCapture log;
    void *block = nullptr;
    ASSERT_NE(0, resizeString(&block, 6));
    std::memcpy(block, "hello", 6);
    void *const before = block;
    endMemory();
    EXPECT_EQ(0, resizeString(&block, 100));
    doubles.heal();
    EXPECT_EQ(0, resizeString(&block, PTRDIFF_MAX));
    EXPECT_EQ(0, resizeString(&block, 0));
    EXPECT_EQ(before, block);
    EXPECT_STREQ("hello", static_cast<char *>(block));
    DDS_String_free(static_cast<char *>(block));
    EXPECT_NO_LOG(log);
}

TEST_F(Heap, a_block_of_another_family_is_reported_and_left_alone)
{
    void *block = nullptr;
    ASSERT_NE(0, allocate(&block, 8));
    {
        const LogCapture log;
        ZYLOsapiHeap_freeStructure(block);
        expectBadBlock(log, "ZYLOsapiHeap_freeStructure");
    }
    EXPECT_EQ(_blocksBefore + 1, ZYLOsapiHeap_getBlockCount());
    {
        const LogCapture log;
        ZYLLog_g_preconditionDetected = 0;
        void *const before = block;
        EXPECT_EQ(0, resizeString(&block, 16));
        EXPECT_EQ(before, block);
        expectBadBlock(log, "ZYLOsapiHeap_reallocateString");
    }
    ZYLOsapiHeap_freeArray(block);
}

TEST_F(Heap, what_is_no_block_is_reported_and_left_alone)
{
    alignas(16) unsigned char memory[256] = {};
    for (const int offset : {64, 65}) {
        const LogCapture log;
        ZYLLog_g_preconditionDetected = 0;
        ZYLOsapiHeap_freeArray(memory + offset);
        expectBadBlock(log, "ZYLOsapiHeap_freeArray");
    }
}

TEST_F(Heap, a_copy_of_a_block_is_no_block)
{
    void *block = nullptr;
    ASSERT_NE(0, allocate(&block, 16));
    alignas(16) unsigned char copy[64];
    std::memcpy(copy, static_cast<unsigned char *>(block) - 32, 48);
    const LogCapture log;
    ZYLOsapiHeap_freeArray(copy + 32);
    expectBadBlock(log, "ZYLOsapiHeap_freeArray");
    ZYLOsapiHeap_freeArray(block);
}

#if defined(__SANITIZE_THREAD__)
#define IS_THREAD_SANITIZER true
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define IS_THREAD_SANITIZER true
#endif
#endif
#ifndef IS_THREAD_SANITIZER
#define IS_THREAD_SANITIZER false
#endif

TEST_F(Heap, a_second_free_is_reported)
{
    if (IS_THREAD_SANITIZER) GTEST_SKIP() << "the thread sanitizer reports a second free by itself";
    void *block = nullptr;
    ASSERT_NE(0, allocate(&block, 64));
    ZYLOsapiHeap_freeArray(block);
    const LogCapture log;
    ZYLOsapiHeap_freeArray(block);
    expectBadBlock(log, "ZYLOsapiHeap_freeArray");
}

TEST_F(Heap, freeing_null_does_nothing)
{
    const LogCapture log;
    ZYLOsapiHeap_freeArray(nullptr);
    ZYLOsapiHeap_freeStructure(nullptr);
    DDS_String_free(nullptr);
    EXPECT_NO_LOG(log);
    EXPECT_EQ(0, ZYLLog_g_preconditionDetected);
}
