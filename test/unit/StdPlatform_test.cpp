/// @file
/// What only the operating system can do or refuse: settings of a thread, threads that were made elsewhere.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <cstdint>
#include <string>

#include "halo_runtime/platform/Platform.hpp"

namespace {

/// What a thread sees of its own settings.
struct Seen {
    std::string name;
    std::size_t stackSize = 0;
    int policy = -1;
    int priority = -1;
    int cpuCount = 0;
    bool isOnFirstCpu = false;
};

/// A CPU that this process may use.
int firstCpu()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    EXPECT_EQ(sched_getaffinity(0, sizeof(set), &set), 0);
    int cpu = 0;
    while (!CPU_ISSET(static_cast<std::size_t>(cpu), &set)) ++cpu;
    return cpu;
}

void *look(void *argument)
{
    auto *seen = static_cast<Seen *>(argument);
    char name[64] = {};
    pthread_getname_np(pthread_self(), name, sizeof(name));
    seen->name = name;
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstacksize(&attributes, &seen->stackSize);
    cpu_set_t set;
    CPU_ZERO(&set);
    pthread_getaffinity_np(pthread_self(), sizeof(set), &set);
    seen->cpuCount = CPU_COUNT(&set);
    seen->isOnFirstCpu = CPU_ISSET(static_cast<std::size_t>(firstCpu()), &set);
    sched_param parameter{};
    pthread_getschedparam(pthread_self(), &seen->policy, &parameter);
    seen->priority = parameter.sched_priority;
    pthread_attr_destroy(&attributes);
    return nullptr;
}

/// Run a thread with the settings. Returns: what was refused.
unsigned runWith(const platform::ThreadSettings &settings, Seen &seenOut)
{
    unsigned refused = ~0U;
    platform::Thread *thread = ZYLPlatform_createThread(settings, look, &seenOut, &refused);
    EXPECT_NE(thread, nullptr);
    if (thread != nullptr) ZYLPlatform_joinThread(thread);
    return refused;
}

Seen seenByDefault()
{
    Seen seen;
    EXPECT_EQ(runWith({}, seen), 0U);
    return seen;
}

std::uint64_t hookedThread = 0;

platform::ThreadKey hookedKey()
{
    static const platform::ThreadKey key = ZYLPlatform_createThreadKey(
        sizeof(void *), [](void * /*block*/) { hookedThread = ZYLPlatform_currentThreadId(); });
    return key;
}

}  // namespace

TEST(StdPlatform, a_name_is_shortened_to_what_the_system_allows)
{
    Seen seen;
    platform::ThreadSettings settings;
    settings.name = "0123456789abcdefghij";
    EXPECT_EQ(runWith(settings, seen), 0U);
    EXPECT_EQ(seen.name, "0123456789abcde");
}

TEST(StdPlatform, a_stack_size_is_honoured)
{
    Seen seen;
    platform::ThreadSettings settings;
    settings.stackSize = 300'001;
    EXPECT_EQ(runWith(settings, seen), 0U);
    EXPECT_GE(seen.stackSize, 300'001U);
    EXPECT_LT(seen.stackSize, seenByDefault().stackSize);
}

TEST(StdPlatform, a_stack_size_that_the_system_refuses_is_left_out_and_reported)
{
    const std::size_t usual = seenByDefault().stackSize;
    for (const std::size_t size : {std::size_t{1}, SIZE_MAX, SIZE_MAX / 2}) {
        Seen seen;
        platform::ThreadSettings settings;
        settings.name = "named";
        settings.stackSize = size;
        EXPECT_EQ(runWith(settings, seen), platform::refusedStackSize) << size;
        EXPECT_EQ(seen.stackSize, usual);
        EXPECT_EQ(seen.name, "named");
    }
}

TEST(StdPlatform, a_priority_is_honoured_or_reported)
{
    const Seen usual = seenByDefault();
    Seen seen;
    platform::ThreadSettings settings;
    settings.hasPriority = true;
    settings.priority = 3;
    const unsigned refused = runWith(settings, seen);
    if (refused == 0) {
        EXPECT_EQ(seen.policy, SCHED_FIFO);
        EXPECT_EQ(seen.priority, 3);
    } else {
        EXPECT_EQ(refused, platform::refusedPriority);
        EXPECT_EQ(seen.policy, usual.policy);
        EXPECT_EQ(seen.priority, usual.priority);
    }
}

TEST(StdPlatform, a_priority_that_no_system_has_is_left_out_and_reported)
{
    const Seen usual = seenByDefault();
    for (const int priority : {1000, -1000}) {
        Seen seen;
        platform::ThreadSettings settings;
        settings.hasPriority = true;
        settings.priority = priority;
        EXPECT_EQ(runWith(settings, seen), platform::refusedPriority);
        EXPECT_EQ(seen.policy, usual.policy);
        EXPECT_EQ(seen.priority, usual.priority);
    }
}

TEST(StdPlatform, a_list_of_cpus_is_honoured)
{
    Seen seen;
    const std::int32_t cpus[] = {firstCpu()};
    platform::ThreadSettings settings;
    settings.cpus = cpus;
    settings.cpuCount = 1;
    EXPECT_EQ(runWith(settings, seen), 0U);
    EXPECT_EQ(seen.cpuCount, 1);
    EXPECT_TRUE(seen.isOnFirstCpu);
}

TEST(StdPlatform, cpus_that_the_system_refuses_are_left_out_and_reported)
{
    const int usual = seenByDefault().cpuCount;
    for (const std::int32_t cpu : {-1, 1'000'000, CPU_SETSIZE - 1}) {
        Seen seen;
        platform::ThreadSettings settings;
        settings.cpus = &cpu;
        settings.cpuCount = 1;
        EXPECT_EQ(runWith(settings, seen), platform::refusedCpus) << cpu;
        EXPECT_EQ(seen.cpuCount, usual);
    }
}

TEST(StdPlatform, each_refused_setting_is_reported_and_the_others_are_kept)
{
    Seen seen;
    const std::int32_t cpus[] = {firstCpu()};
    platform::ThreadSettings settings;
    settings.name = "kept";
    settings.stackSize = SIZE_MAX / 2;
    settings.hasPriority = true;
    settings.priority = 1000;
    settings.cpus = cpus;
    settings.cpuCount = 1;
    EXPECT_EQ(runWith(settings, seen), platform::refusedStackSize | platform::refusedPriority);
    EXPECT_EQ(seen.name, "kept");
    EXPECT_EQ(seen.cpuCount, 1);

    const std::int32_t none[] = {-1};
    settings.cpus = none;
    EXPECT_EQ(runWith(settings, seen), platform::refusedStackSize | platform::refusedPriority | platform::refusedCpus);
    EXPECT_EQ(seen.name, "kept");
}

TEST(StdPlatform, a_thread_that_was_made_elsewhere_has_storage_with_exit_hooks_and_a_parker)
{
    hookedThread = 0;
    std::uint64_t id = 0;
    const auto body = [](void *argument) -> void * {
        *static_cast<std::uint64_t *>(argument) = ZYLPlatform_currentThreadId();
        *static_cast<std::uintptr_t *>(ZYLPlatform_threadBlock(hookedKey())) = 1;
        ZYLPlatform_unpark(ZYLPlatform_currentParker());
        ZYLPlatform_park(platform::noDeadline_ns, "a wake-up that has come");
        return nullptr;
    };
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, nullptr, body, &id), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    EXPECT_NE(id, 0U);
    EXPECT_EQ(hookedThread, id);
}

TEST(StdPlatform, thousands_of_threads_can_follow_each_other)
{
    for (int turn = 0; turn < 2000; ++turn) {
        Seen seen;
        platform::Thread *thread = ZYLPlatform_createThread(
            {},
            [](void *) -> void * {
                ZYLPlatform_unpark(ZYLPlatform_currentParker());
                return nullptr;
            },
            &seen, nullptr);
        ASSERT_NE(thread, nullptr);
        std::uint64_t id = 0;
        std::int64_t cpuTime_ns = -1;
        ASSERT_TRUE(ZYLPlatform_threadCpuTime(thread, &id, &cpuTime_ns));
        EXPECT_GE(cpuTime_ns, 0);
        ZYLPlatform_joinThread(thread);
    }
}
