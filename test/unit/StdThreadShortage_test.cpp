/// @file
/// What the system says when it does not make a thread: a refusal of a setting, without which the thread is made, or a
/// shortage, for which no setting is to blame.

// Replaces: pthread_create
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <cerrno>

#include "doubles/Doubles.hpp"
#include "halo_runtime/platform/Platform.hpp"

namespace {

class StdThreadShortage : public testing::Test {
protected:
    StdThreadShortage()
    {
        cpu_set_t allowed;
        EXPECT_EQ(pthread_getaffinity_np(pthread_self(), sizeof(allowed), &allowed), 0);
        while (!CPU_ISSET(static_cast<std::size_t>(cpu), &allowed)) cpu += 1;
        settings.stackSize = std::size_t{1} << 20;
        settings.hasPriority = true;
        settings.priority = 0;  // Which everybody may have.
        settings.cpus = &cpu;
        settings.cpuCount = 1;
    }

    /// Returns: whether a thread was made; it has ended.
    bool create()
    {
        const auto body = [](void *) -> void * { return nullptr; };
        platform::Thread *const thread = ZYLPlatform_createThread(settings, body, nullptr, &refused);
        if (thread != nullptr) ZYLPlatform_joinThread(thread);
        return thread != nullptr;
    }
    int attempts() const { return doubles.count("pthread_create"); }

    Doubles doubles;
    std::int32_t cpu = 0;
    platform::ThreadSettings settings;
    unsigned refused = 0;
};

TEST_F(StdThreadShortage, a_shortage_fails_the_creation_and_drops_no_setting)
{
    for (const int shortage : {EAGAIN, ENOMEM}) {
        doubles.clear();
        doubles.on("pthread_create").fail(1, shortage);
        EXPECT_FALSE(create());
        EXPECT_EQ(attempts(), 1);
    }
    EXPECT_TRUE(create());
    EXPECT_EQ(refused, 0U);
}

TEST_F(StdThreadShortage, a_refused_setting_is_left_out)
{
    for (const int refusal : {EPERM, EINVAL}) {
        doubles.clear();
        doubles.on("pthread_create").fail(1, refusal);
        EXPECT_TRUE(create());
        EXPECT_EQ(refused, platform::refusedPriority);
        EXPECT_EQ(attempts(), 2);
        doubles.on("pthread_create").fail(1, refusal).fail(2, refusal);
        EXPECT_TRUE(create());
        EXPECT_EQ(refused, platform::refusedCpus);
    }
}

TEST_F(StdThreadShortage, a_shortage_behind_a_refusal_fails_the_creation)
{
    doubles.on("pthread_create").fail(1, EPERM).fail(2, EAGAIN);
    EXPECT_FALSE(create());
    EXPECT_EQ(attempts(), 2);
}

TEST_F(StdThreadShortage, without_settings_to_leave_out_a_refusal_fails_the_creation)
{
    settings = {};
    doubles.on("pthread_create").failFrom(1, EPERM);
    EXPECT_FALSE(create());
    EXPECT_EQ(attempts(), 1);
}

}  // namespace
