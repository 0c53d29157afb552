/// @file
/// The default thread factory: real threads, settings handed on, refused settings reported.

// Replaces: ZYLPlatform_createThread
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <string>
#include <vector>

#include "LogCapture.hpp"
#include "MemoryFixture.hpp"
#include "halo_runtime/dds/DDS_DomainParticipantFactory.pkg.h"
#include "halo_runtime/platform/Platform.hpp"

namespace {

constexpr DDS_ThreadSettings_t defaultSettings = {0,
                                                  DDS_THREAD_SETTINGS_PRIORITY_DEFAULT,
                                                  DDS_THREAD_SETTINGS_STACK_SIZE_DEFAULT,
                                                  DDS_SEQUENCE_INITIALIZER,
                                                  DDS_THREAD_SETTINGS_CPU_NO_ROTATION,
                                                  0};

/// What a thread saw of itself.
struct Seen {
    std::atomic<int> runs{0};
    std::uint64_t id = 0;
    char name[32] = {};
    std::size_t stackSize = 0;
    cpu_set_t cpus = {};

    static void *body(void *argument)
    {
        auto *const self = static_cast<Seen *>(argument);
        self->id = ZYLPlatform_currentThreadId();
        pthread_getname_np(pthread_self(), self->name, sizeof(self->name));
        pthread_attr_t attributes;
        pthread_getattr_np(pthread_self(), &attributes);
        pthread_attr_getstacksize(&attributes, &self->stackSize);
        pthread_attr_destroy(&attributes);
        pthread_getaffinity_np(pthread_self(), sizeof(self->cpus), &self->cpus);
        self->runs += 1;
        return nullptr;
    }
};

class ThreadFactory : public MemoryTest {
protected:
    ThreadFactory()
    {
        doubles.on("ZYLPlatform_createThread")
            .before([this](const platform::ThreadSettings &settings, platform::ThreadBody, void *, unsigned *) {
                asked = {settings.name != nullptr ? settings.name : "", settings.stackSize, settings.hasPriority,
                         settings.priority,
                         std::vector<std::int32_t>(settings.cpus, settings.cpus + settings.cpuCount)};
            });
    }

    /// Run a thread with these settings to its end.
    void runWith(const DDS_ThreadSettings_t *settings, const char *name = "worker")
    {
        void *const thread = factory.create_thread(factory.factory_data, name, settings, Seen::body, &seen);
        ASSERT_NE(thread, nullptr);
        factory.delete_thread(factory.factory_data, thread);
        EXPECT_EQ(seen.runs, 1) << "deleting joins";
    }

    /// What the platform was asked for.
    struct {
        std::string name;
        std::size_t stackSize = 0;
        bool hasPriority = false;
        int priority = 0;
        std::vector<std::int32_t> cpus;
    } asked;
    LogCapture log;
    const DDS_ThreadFactory factory =
        DDS_DomainParticipantFactory_get_default_thread_factory(DDS_DomainParticipantFactory_get_instance());
    Seen seen;
};

TEST_F(ThreadFactory, the_participant_factory_is_one_object_and_has_a_default_thread_factory)
{
    EXPECT_NE(DDS_DomainParticipantFactory_get_instance(), nullptr);
    EXPECT_EQ(DDS_DomainParticipantFactory_get_instance(), DDS_DomainParticipantFactory_get_instance());
    EXPECT_NE(factory.create_thread, nullptr);
    EXPECT_NE(factory.delete_thread, nullptr);
}

TEST_F(ThreadFactory, default_settings_ask_for_nothing)
{
    runWith(&defaultSettings);
    EXPECT_EQ(asked.name, "worker");
    EXPECT_EQ(asked.stackSize, 0U);
    EXPECT_FALSE(asked.hasPriority);
    EXPECT_TRUE(asked.cpus.empty());
    EXPECT_STREQ(seen.name, "worker");
    EXPECT_NE(seen.id, ZYLPlatform_currentThreadId());
    EXPECT_NO_LOG(log);
}

TEST_F(ThreadFactory, missing_settings_are_default_settings)
{
    runWith(nullptr);
    EXPECT_EQ(asked.stackSize, 0U);
    EXPECT_FALSE(asked.hasPriority);
    EXPECT_NO_LOG(log);
}

TEST_F(ThreadFactory, all_zero_settings_have_no_cpus)
{
    DDS_ThreadSettings_t settings = {};
    settings.priority = DDS_THREAD_SETTINGS_PRIORITY_DEFAULT;
    settings.stack_size = DDS_THREAD_SETTINGS_STACK_SIZE_DEFAULT;
    settings.cpu_list._length = 3;  // Never initialized: its fields mean nothing.
    runWith(&settings);
    EXPECT_TRUE(asked.cpus.empty());
    EXPECT_NO_LOG(log);
}

TEST_F(ThreadFactory, the_stack_size_is_honoured)
{
    DDS_ThreadSettings_t settings = defaultSettings;
    settings.stack_size = 1 << 20;
    runWith(&settings);
    EXPECT_EQ(asked.stackSize, std::size_t{1} << 20);
    EXPECT_GE(seen.stackSize, std::size_t{1} << 20);
    EXPECT_LT(seen.stackSize, std::size_t{1} << 21);
    EXPECT_NO_LOG(log);
}

TEST_F(ThreadFactory, the_cpu_list_is_honoured)
{
    cpu_set_t allowed;
    ASSERT_EQ(pthread_getaffinity_np(pthread_self(), sizeof(allowed), &allowed), 0);
    DDS_Long cpu = 0;
    while (!CPU_ISSET(static_cast<std::size_t>(cpu), &allowed)) cpu += 1;

    DDS_ThreadSettings_t settings = defaultSettings;
    ASSERT_TRUE(DDS_LongSeq_loan_contiguous(&settings.cpu_list, &cpu, 1, 1));
    runWith(&settings);
    EXPECT_THAT(asked.cpus, testing::ElementsAre(cpu));
    EXPECT_EQ(CPU_COUNT(&seen.cpus), 1);
    EXPECT_TRUE(CPU_ISSET(static_cast<std::size_t>(cpu), &seen.cpus));
    EXPECT_NO_LOG(log);
}

TEST_F(ThreadFactory, a_cpu_list_of_pointers_is_gathered)
{
    cpu_set_t allowed;
    ASSERT_EQ(pthread_getaffinity_np(pthread_self(), sizeof(allowed), &allowed), 0);
    DDS_Long cpu = 0;
    while (!CPU_ISSET(static_cast<std::size_t>(cpu), &allowed)) cpu += 1;
    DDS_Long *cpus[2] = {&cpu, &cpu};

    DDS_ThreadSettings_t settings = defaultSettings;
    ASSERT_TRUE(DDS_LongSeq_loan_discontiguous(&settings.cpu_list, cpus, 2, 2));
    runWith(&settings);
    EXPECT_THAT(asked.cpus, testing::ElementsAre(cpu, cpu));
    EXPECT_EQ(CPU_COUNT(&seen.cpus), 1);
    EXPECT_NO_LOG(log);

    endMemory();
    EXPECT_EQ(factory.create_thread(factory.factory_data, "without", &settings, Seen::body, &seen), nullptr);
    bringMemoryBack();
    EXPECT_LOG(log, 2, DDS_LOG_CREATE_FAILURE_s, "array of CPUs");
    EXPECT_LOG_COUNT(log, 1);
}

TEST_F(ThreadFactory, a_priority_is_handed_on)
{
    DDS_ThreadSettings_t settings = defaultSettings;
    settings.priority = 0;
    runWith(&settings);
    EXPECT_TRUE(asked.hasPriority);
    EXPECT_EQ(asked.priority, 0);
}

TEST_F(ThreadFactory, each_refused_setting_is_reported_and_the_thread_runs)
{
    doubles.on("ZYLPlatform_createThread")
        .after([](const platform::ThreadSettings &, platform::ThreadBody, void *, unsigned *refusedOut) {
            *refusedOut =
                platform::refusedName | platform::refusedStackSize | platform::refusedPriority | platform::refusedCpus;
        });
    runWith(&defaultSettings);
    EXPECT_LOG(log, 2, ZYL_OSAPI_THREAD_LOG_SETTING_REFUSED_ss, "worker", "name");
    EXPECT_LOG(log, 2, ZYL_OSAPI_THREAD_LOG_SETTING_REFUSED_ss, "worker", "stack size");
    EXPECT_LOG(log, 2, ZYL_OSAPI_THREAD_LOG_SETTING_REFUSED_ss, "worker", "priority");
    EXPECT_LOG(log, 2, ZYL_OSAPI_THREAD_LOG_SETTING_REFUSED_ss, "worker", "cpu list");
    EXPECT_LOG_COUNT(log, 4);
}

TEST_F(ThreadFactory, settings_that_no_system_has_are_reported_and_the_thread_runs)
{
    DDS_Long cpu = -5;
    DDS_ThreadSettings_t settings = defaultSettings;
    settings.priority = 1'000'000;
    settings.stack_size = -2;
    ASSERT_TRUE(DDS_LongSeq_loan_contiguous(&settings.cpu_list, &cpu, 1, 1));
    runWith(&settings);
    EXPECT_EQ(asked.stackSize, 0U);
    EXPECT_LOG(log, 2, ZYL_OSAPI_THREAD_LOG_SETTING_REFUSED_ss, "worker", "stack size");
    EXPECT_LOG(log, 2, ZYL_OSAPI_THREAD_LOG_SETTING_REFUSED_ss, "worker", "priority");
    EXPECT_LOG(log, 2, ZYL_OSAPI_THREAD_LOG_SETTING_REFUSED_ss, "worker", "cpu list");
    EXPECT_LOG_COUNT(log, 3);
}

TEST_F(ThreadFactory, a_thread_that_cannot_be_made_gives_no_handle)
{
    doubles.on("ZYLPlatform_createThread").fail();
    EXPECT_EQ(factory.create_thread(factory.factory_data, "worker", &defaultSettings, Seen::body, &seen), nullptr);
    EXPECT_LOG(log, 2, DDS_LOG_CREATE_FAILURE_s, "thread");
    EXPECT_LOG_COUNT(log, 1);
    EXPECT_EQ(seen.runs, 0);
}

TEST_F(ThreadFactory, a_thread_without_a_body_is_refused)
{
    EXPECT_EQ(factory.create_thread(factory.factory_data, "worker", &defaultSettings, nullptr, &seen), nullptr);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "on_spawned");
}

TEST_F(ThreadFactory, deleting_no_thread_does_nothing)
{
    factory.delete_thread(factory.factory_data, nullptr);
    EXPECT_NO_LOG(log);
}

}  // namespace
