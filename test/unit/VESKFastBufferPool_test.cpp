/// @file
/// Buffer pools: growth, reuse, callbacks, and the end of memory.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "LogCapture.hpp"
#include "MemoryFixture.hpp"
#include "dds_c/dds_c_log.h"
#include "halo_runtime/vesk/VESKFastBufferPool.pkg.h"

namespace {

constexpr VESKFastBufferPoolProperty growing = {{2, -1, -1}, 0, 0, 0, 0};

VESKFastBufferPool *newPool(const VESKFastBufferPoolProperty &property, int size = 48, int alignment = 8)
{
    return VESKFastBufferPool_newWithParams(size, alignment, nullptr, nullptr, nullptr, nullptr, &property,
                                            "struct Record", 0);
}
void *take(VESKFastBufferPool *pool)
{
    return VESKFastBufferPool_getBufferWithSize(pool, -1);
}

/// Takes until the pool ends, and gives everything back.
int capacityOf(VESKFastBufferPool *pool, int limit)
{
    std::vector<void *> buffers;
    for (void *buffer = take(pool); buffer != nullptr; buffer = take(pool)) {
        buffers.push_back(buffer);
        if (static_cast<int>(buffers.size()) == limit) break;
    }
    for (void *buffer : buffers) VESKFastBufferPool_returnBuffer(pool, buffer);
    return static_cast<int>(buffers.size());
}

/// Counts what is initialized; the n-th initialization can be made to fail.
struct Counter {
    int live = 0;
    int initializationsLeft = INT_MAX;

    static int initialize(void *parameter, void *buffer)
    {
        auto *self = static_cast<Counter *>(parameter);
        if (self->initializationsLeft == 0) return 0;
        --self->initializationsLeft;
        ++self->live;
        std::memcpy(buffer, "made", 5);
        return 1;
    }
    static void finalize(void *parameter, void *buffer)
    {
        EXPECT_STREQ("made", static_cast<char *>(buffer));
        --static_cast<Counter *>(parameter)->live;
    }
    VESKFastBufferPool *newPool(const VESKFastBufferPoolProperty &property)
    {
        return VESKFastBufferPool_newWithParams(16, 8, initialize, this, finalize, this, &property, "struct Record", 0);
    }
};

class BufferPool : public MemoryTest {
protected:
    int allocationCount() const { return doubles.count("ZYLOsapiHeap_reallocateMemoryInternal"); }
};

}  // namespace

TEST_F(BufferPool, grows_without_limit_and_hands_out_separate_buffers)
{
    VESKFastBufferPool *pool = newPool(growing, 43);
    ASSERT_NE(nullptr, pool);
    std::vector<char *> buffers;
    for (int i = 0; i < 1000; ++i) {
        auto *buffer = static_cast<char *>(take(pool));
        ASSERT_NE(nullptr, buffer);
        EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(buffer) % 16);
        std::memset(buffer, i % 100, 43);
        buffers.push_back(buffer);
    }
    for (int i = 0; i < 1000; ++i)
        for (int byte = 0; byte < 43; ++byte) ASSERT_EQ(i % 100, buffers[static_cast<std::size_t>(i)][byte]);
    VESKFastBufferPool_delete(pool);  // with every buffer still out
}

TEST_F(BufferPool, takes_memory_in_doubling_steps_and_reuses_it)
{
    VESKFastBufferPool *pool = newPool(growing);
    EXPECT_EQ(2, allocationCount());  // the pool and its first chunk
    EXPECT_EQ(2, capacityOf(pool, 2));
    EXPECT_EQ(2, allocationCount());
    EXPECT_EQ(64, capacityOf(pool, 64));
    EXPECT_EQ(2 + 5, allocationCount());  // 2, 4, 8, 16, 32, 64
    EXPECT_EQ(64, capacityOf(pool, 64));
    EXPECT_EQ(2 + 5, allocationCount());
    VESKFastBufferPool_delete(pool);
}

TEST_F(BufferPool, a_buffer_that_was_given_back_is_handed_out_again)
{
    VESKFastBufferPool *pool = newPool(growing);
    void *buffer = take(pool);
    VESKFastBufferPool_returnBuffer(pool, buffer);
    EXPECT_EQ(buffer, take(pool));
    VESKFastBufferPool_delete(pool);
}

TEST_F(BufferPool, stops_at_its_maximum_unless_told_to_ignore_it)
{
    VESKFastBufferPoolProperty property = {{1, 5, 3}, 0, 0, 0, 0};
    VESKFastBufferPool *pool = newPool(property);
    EXPECT_EQ(5, capacityOf(pool, 100));
    VESKFastBufferPool_delete(pool);
    property.ignoreMaximal = 1;
    pool = newPool(property);
    EXPECT_EQ(100, capacityOf(pool, 100));
    VESKFastBufferPool_delete(pool);
    pool = newPool({{3, -1, 0}, 0, 0, 0, 0});
    EXPECT_EQ(3, capacityOf(pool, 100));
    VESKFastBufferPool_delete(pool);
}

TEST_F(BufferPool, hands_out_zeroed_buffers_when_asked_to)
{
    VESKFastBufferPool *pool = newPool({{1, 1, -1}, 0, 1, 0, 0}, 16);
    void *buffer = take(pool);
    std::memset(buffer, 0xFF, 16);
    VESKFastBufferPool_returnBuffer(pool, buffer);
    const unsigned char zeros[16] = {};
    ASSERT_EQ(buffer, take(pool));
    EXPECT_EQ(0, std::memcmp(buffer, zeros, 16));
    VESKFastBufferPool_delete(pool);
}

TEST_F(BufferPool, serves_sizes_up_to_its_own)
{
    VESKFastBufferPool *pool = newPool(growing, 48);
    EXPECT_NE(nullptr, VESKFastBufferPool_getBufferWithSize(pool, 48));
    EXPECT_NE(nullptr, VESKFastBufferPool_getBufferWithSize(pool, 1));
    EXPECT_EQ(nullptr, VESKFastBufferPool_getBufferWithSize(pool, 49));
    EXPECT_EQ(nullptr, VESKFastBufferPool_getBufferWithSize(pool, 0));
    EXPECT_EQ(nullptr, VESKFastBufferPool_getBufferWithSize(pool, -2));
    VESKFastBufferPool_delete(pool);
}

TEST_F(BufferPool, refuses_bad_arguments)
{
    EXPECT_EQ(nullptr, newPool(growing, 0));
    EXPECT_EQ(nullptr, newPool(growing, -1));
    EXPECT_EQ(nullptr, newPool(growing, 8, 3));
    EXPECT_EQ(nullptr, newPool(growing, 8, 0));
    EXPECT_EQ(nullptr, newPool(growing, 8, 32));
    EXPECT_EQ(nullptr, newPool({{-1, -1, -1}, 0, 0, 0, 0}));
    EXPECT_EQ(nullptr, newPool({{3, 2, -1}, 0, 0, 0, 0}));
    EXPECT_EQ(nullptr, newPool({{1, -1, -2}, 0, 0, 0, 0}));
    EXPECT_EQ(nullptr, VESKFastBufferPool_newWithParams(8, 8, nullptr, nullptr, nullptr, nullptr, nullptr, "T", 0));
    EXPECT_EQ(nullptr, VESKFastBufferPool_getBufferWithSize(nullptr, -1));
    VESKFastBufferPool_returnBuffer(nullptr, nullptr);
    VESKFastBufferPool_delete(nullptr);
}

TEST_F(BufferPool, creation_fails_when_memory_ends_at_either_step)
{
    for (const int allowed : {0, 1}) {
        endMemory(allowed);
        EXPECT_EQ(nullptr, newPool(growing));
        EXPECT_EQ(blocksBefore, ZYLOsapiHeap_getBlockCount());
    }
}

TEST_F(BufferPool, a_pool_that_cannot_grow_keeps_working)
{
    VESKFastBufferPool *pool = newPool(growing);
    endMemory();
    EXPECT_EQ(2, capacityOf(pool, 100));
    EXPECT_EQ(2, capacityOf(pool, 100));
    bringMemoryBack();
    EXPECT_EQ(100, capacityOf(pool, 100));
    VESKFastBufferPool_delete(pool);
}

TEST_F(BufferPool, each_buffer_is_initialized_once_and_finalized_once)
{
    Counter counter;
    VESKFastBufferPool *pool = counter.newPool(growing);
    EXPECT_EQ(2, counter.live);
    EXPECT_EQ(3, capacityOf(pool, 3));
    EXPECT_EQ(4, counter.live);
    void *buffer = take(pool);
    EXPECT_STREQ("made", static_cast<char *>(buffer));
    VESKFastBufferPool_delete(pool);
    EXPECT_EQ(0, counter.live);
}

TEST_F(BufferPool, an_initialization_that_fails_undoes_its_step)
{
    Counter counter;
    counter.initializationsLeft = 1;
    EXPECT_EQ(nullptr, counter.newPool(growing));
    EXPECT_EQ(0, counter.live);
    counter.initializationsLeft = 3;
    VESKFastBufferPool *pool = counter.newPool(growing);
    EXPECT_EQ(2, capacityOf(pool, 100));
    EXPECT_EQ(2, counter.live);
    VESKFastBufferPool_delete(pool);
    EXPECT_EQ(0, counter.live);
}

TEST_F(BufferPool, dynamic_buffers_come_and_go_one_by_one)
{
    Counter counter;
    VESKFastBufferPool *pool = counter.newPool({{2, 3, -1}, 0, 0, 0, 1});
    EXPECT_EQ(0, counter.live);
    void *buffers[3];
    for (void *&buffer : buffers) buffer = take(pool);
    EXPECT_EQ(nullptr, take(pool));
    EXPECT_EQ(3, counter.live);
    VESKFastBufferPool_returnBuffer(pool, buffers[1]);
    EXPECT_EQ(2, counter.live);
    EXPECT_EQ(blocksBefore + 3, ZYLOsapiHeap_getBlockCount());
    VESKFastBufferPool_returnBuffer(pool, buffers[2]);
    EXPECT_EQ(1, counter.live);
    VESKFastBufferPool_delete(pool);
    EXPECT_EQ(0, counter.live);
}

TEST_F(BufferPool, a_buffer_that_is_not_out_is_reported_and_left_alone)
{
    LogCapture log;
    VESKFastBufferPool *pool = newPool(growing);
    VESKFastBufferPool *other = newPool(growing);
    void *buffer = take(pool);
    VESKFastBufferPool_returnBuffer(other, buffer);
    EXPECT_LOG_COUNT(log, 1u);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s, "\"buffer of another pool\"");
    VESKFastBufferPool_returnBuffer(pool, buffer);
    EXPECT_LOG_COUNT(log, 1u);
    VESKFastBufferPool_returnBuffer(pool, buffer);
    EXPECT_LOG_COUNT(log, 2u);
    EXPECT_NE(take(pool), take(pool));
    VESKFastBufferPool_delete(pool);
    VESKFastBufferPool_delete(other);
}

TEST_F(BufferPool, that_locks_by_itself_serves_several_threads)
{
    VESKFastBufferPool *pool = newPool({{2, -1, -1}, 1, 0, 0, 0}, 8);
    const auto body = [pool] {
        for (int i = 0; i < 2000; ++i) {
            auto *buffer = static_cast<int *>(take(pool));
            *buffer = i;
            auto *other = static_cast<int *>(take(pool));
            *other = -i;
            EXPECT_EQ(i, *buffer);
            VESKFastBufferPool_returnBuffer(pool, buffer);
            VESKFastBufferPool_returnBuffer(pool, other);
        }
    };
    std::thread threads[3];
    for (std::thread &thread : threads) thread = std::thread(body);
    for (std::thread &thread : threads) thread.join();
    VESKFastBufferPool_delete(pool);
}
