/// @file
/// What the seam promises about threads and their storage, on the operating system and on the simulated machine alike.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include "PlatformRun.hpp"
#include "PlatformScope.hpp"

namespace {

using platform::noDeadline_ns;

/// What the exit hook has seen. Guarded by nothing: read after the join.
struct HookLog {
    std::vector<std::uintptr_t> values;
    std::vector<std::uint64_t> threadIds;
};

HookLog *hookLog = nullptr;

struct HookedBlock {
    std::uintptr_t value;
    std::uintptr_t again;  ///< What the hook puts into the block of the chain, once.
};

platform::ThreadKey plainKey()
{
    static const platform::ThreadKey key = ZYLPlatform_createThreadKey(3 * sizeof(std::uintptr_t), nullptr);
    return key;
}

void onChainedExit(void *block)
{
    hookLog->values.push_back(1000 + static_cast<HookedBlock *>(block)->value);
}

platform::ThreadKey chainedKey()
{
    static const platform::ThreadKey key = ZYLPlatform_createThreadKey(sizeof(HookedBlock), onChainedExit);
    return key;
}

void onHookedExit(void *block)
{
    const auto *hooked = static_cast<HookedBlock *>(block);
    hookLog->values.push_back(hooked->value);
    hookLog->threadIds.push_back(ZYLPlatform_currentThreadId());
    if (hooked->again != 0) static_cast<HookedBlock *>(ZYLPlatform_threadBlock(chainedKey()))->value = hooked->again;
}

/// Made after the key of the chain, so that its hook is called behind the other's.
platform::ThreadKey hookedKey()
{
    chainedKey();
    static const platform::ThreadKey key = ZYLPlatform_createThreadKey(sizeof(HookedBlock), onHookedExit);
    return key;
}

HookedBlock *hookedBlock()
{
    return static_cast<HookedBlock *>(ZYLPlatform_threadBlock(hookedKey()));
}

}  // namespace

TEST(PlatformStorage, a_block_is_zero_at_first_and_belongs_to_its_thread)
{
    onPlatform([] {
        const auto use = [](std::uintptr_t value) {
            auto *block = static_cast<std::uintptr_t *>(ZYLPlatform_threadBlock(plainKey()));
            EXPECT_THAT(std::vector<std::uintptr_t>(block, block + 3), testing::Each(0U));
            block[0] = value;
            block[2] = value;
            ZYLPlatform_yield();
            EXPECT_EQ(ZYLPlatform_threadBlock(plainKey()), block);
            EXPECT_EQ(block[0], value);
            EXPECT_EQ(block[2], value);
            block[0] = block[2] = 0;
        };
        TestThread a([&] { use(1); });
        TestThread b([&] { use(2); });
        use(3);
    });
}

TEST(PlatformStorage, blocks_do_not_overlap)
{
    onPlatform([] {
        auto *plain = static_cast<char *>(ZYLPlatform_threadBlock(plainKey()));
        auto *hooked = static_cast<char *>(ZYLPlatform_threadBlock(hookedKey()));
        const auto distance = plain < hooked ? hooked - plain : plain - hooked;
        EXPECT_GE(distance, static_cast<std::ptrdiff_t>(plain < hooked ? 3 * sizeof(void *) : sizeof(HookedBlock)));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(plain) % alignof(std::max_align_t), 0U);
    });
}

TEST(PlatformStorage, the_exit_hook_runs_in_the_ending_thread_when_the_block_is_in_use)
{
    onPlatform([] {
        HookLog log;
        hookLog = &log;
        std::uint64_t id = 0;
        TestThread([&] {
            id = ZYLPlatform_currentThreadId();
            hookedBlock()->value = 7;
        }).join();
        EXPECT_THAT(log.values, testing::ElementsAre(7U));
        EXPECT_THAT(log.threadIds, testing::ElementsAre(id));
    });
}

TEST(PlatformStorage, the_exit_hook_does_not_run_for_a_block_that_is_not_in_use)
{
    onPlatform([] {
        HookLog log;
        hookLog = &log;
        TestThread([] {}).join();
        TestThread([] { hookedBlock()->again = 5; }).join();
        TestThread([] {
            hookedBlock()->value = 7;
            hookedBlock()->value = 0;
        }).join();
        EXPECT_THAT(log.values, testing::IsEmpty());
    });
}

TEST(PlatformStorage, a_block_that_an_exit_hook_puts_to_use_has_its_hook_called_too)
{
    onPlatform([] {
        HookLog log;
        hookLog = &log;
        TestThread([] { *hookedBlock() = {7, 8}; }).join();
        EXPECT_THAT(log.values, testing::ElementsAre(7U, 1008U));
    });
}

TEST(PlatformThread, the_id_is_stable_and_unique)
{
    onPlatform([] {
        const std::uint64_t own = ZYLPlatform_currentThreadId();
        Monitor monitor;
        std::set<std::uint64_t> ids{own};
        const auto note = [&] {
            const platform::Lock lock(monitor.mutex);
            const std::uint64_t id = ZYLPlatform_currentThreadId();
            ids.insert(id);
            ZYLPlatform_wakeAll(monitor.condition);
            while (ids.size() != 4) ZYLPlatform_waitCondition(monitor.condition, monitor.mutex, noDeadline_ns);
            EXPECT_EQ(ZYLPlatform_currentThreadId(), id);
        };
        TestThread a(note);
        TestThread b(note);
        TestThread c(note);
        a.join();
        b.join();
        c.join();
        EXPECT_EQ(ids.size(), 4U);
        EXPECT_NE(own, 0U);
        EXPECT_EQ(ZYLPlatform_currentThreadId(), own);
    });
}

TEST(PlatformThread, id_and_cpu_time_of_a_running_thread_can_be_read_without_waiting_for_it)
{
    onPlatform([] {
        std::atomic<bool> mayEnd = false;
        std::atomic<std::uint64_t> ownId = 0;
        TestThread thread([&] {
            ownId = ZYLPlatform_currentThreadId();
            while (!mayEnd) ZYLPlatform_yield();
        });
        std::uint64_t id = 0;
        std::int64_t first_ns = -1;
        ASSERT_TRUE(ZYLPlatform_threadCpuTime(thread.handle(), &id, &first_ns));
        EXPECT_NE(id, 0U);
        EXPECT_NE(id, ZYLPlatform_currentThreadId());
        EXPECT_GE(first_ns, 0);
        std::int64_t later_ns = first_ns;
        while (later_ns <= first_ns) {
            ASSERT_TRUE(ZYLPlatform_threadCpuTime(thread.handle(), &id, &later_ns));
            ZYLPlatform_yield();
        }
        while (ownId == 0) ZYLPlatform_yield();
        EXPECT_EQ(ownId, id);
        mayEnd = true;
    });
}

TEST(PlatformThread, the_cpu_time_of_an_ended_thread_stays_until_it_is_joined)
{
    onPlatform([] {
        platform::Thread *handle = ZYLPlatform_createThread(
            {}, [](void *) -> void * { return nullptr; }, nullptr, nullptr);
        ASSERT_NE(handle, nullptr);
        std::uint64_t id = 0;
        std::int64_t before_ns = 0;
        ASSERT_TRUE(ZYLPlatform_threadCpuTime(handle, &id, &before_ns));
        for (int turn = 0; turn < 200; ++turn) ZYLPlatform_yield();
        std::uint64_t idAfter = 0;
        std::int64_t after_ns = 0;
        ASSERT_TRUE(ZYLPlatform_threadCpuTime(handle, &idAfter, &after_ns));
        EXPECT_EQ(idAfter, id);
        EXPECT_GE(after_ns, before_ns);
        ZYLPlatform_joinThread(handle);
        EXPECT_FALSE(ZYLPlatform_threadCpuTime(handle, &id, &after_ns));
    });
}

TEST(PlatformThread, the_cpu_time_of_an_unknown_handle_is_refused_and_nothing_written)
{
    onPlatform([] {
        TestThread known([] {});
        char foreign[16] = {};
        std::uint64_t id = 11;
        std::int64_t cpuTime_ns = 12;
        EXPECT_FALSE(ZYLPlatform_threadCpuTime(nullptr, &id, &cpuTime_ns));
        EXPECT_FALSE(ZYLPlatform_threadCpuTime(foreign, &id, &cpuTime_ns));
        EXPECT_FALSE(ZYLPlatform_threadCpuTime(reinterpret_cast<const void *>(std::uintptr_t{8}), &id, &cpuTime_ns));
        EXPECT_EQ(id, 11U);
        EXPECT_EQ(cpuTime_ns, 12);
    });
}

TEST(PlatformThread, what_came_before_its_end_is_seen_after_the_join)
{
    onPlatform([] {
        int value = 1;
        TestThread thread([&] { value += 1; });
        thread.join();
        EXPECT_EQ(value, 2);
    });
}

TEST(PlatformThread, the_argument_reaches_the_body_and_nothing_is_refused)
{
    onPlatform([] {
        int value = 0;
        unsigned refused = ~0U;
        platform::ThreadSettings settings;
        settings.name = "a name that is longer than any system allows";
        settings.stackSize = 512 * 1024 + 1;
        platform::Thread *thread = ZYLPlatform_createThread(
            settings,
            [](void *argument) -> void * {
                *static_cast<int *>(argument) = 5;
                return argument;
            },
            &value, &refused);
        ASSERT_NE(thread, nullptr);
        ZYLPlatform_joinThread(thread);
        EXPECT_EQ(value, 5);
        EXPECT_EQ(refused, 0U);
    });
}

// The last one of its kind in this program: it leaves no storage to anybody.
TEST(PlatformStorageEnd, keys_run_out_without_harm)
{
    ZYLPlatform_createThreadKey(1, nullptr);
    EXPECT_EQ(ZYLPlatform_createThreadKey(1U << 20U, nullptr), platform::noThreadKey);
    EXPECT_EQ(ZYLPlatform_createThreadKey(SIZE_MAX, nullptr), platform::noThreadKey);
    plainKey();
    hookedKey();
    platform::ThreadKey last = 0;
    int made = 0;
    for (platform::ThreadKey key = 0; (key = ZYLPlatform_createThreadKey(1, nullptr)) != platform::noThreadKey;
         ++made) {
        last = key;
    }
    EXPECT_GT(made, 10);
    EXPECT_LT(made, 10'000);
    onPlatform([last] {
        auto *block = static_cast<unsigned char *>(ZYLPlatform_threadBlock(last));
        EXPECT_EQ(*block, 0);
        *block = 1;
        EXPECT_EQ(*static_cast<unsigned char *>(ZYLPlatform_threadBlock(last)), 1);
        *block = 0;
    });
}
