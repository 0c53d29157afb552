/// @file
/// The default thread factory when threads or memory are short: no thread, instead of one without its settings.

// Replaces: pthread_create ZYLOsapiHeap_reallocateMemoryInternal
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include "LogCapture.hpp"
#include "doubles/Doubles.hpp"
#include "halo_runtime/dds/DDS_DomainParticipantFactory.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

namespace {

class ThreadFactoryShortage : public testing::Test {
protected:
    ThreadFactoryShortage()
    {
        cpu_set_t allowed;
        EXPECT_EQ(pthread_getaffinity_np(pthread_self(), sizeof(allowed), &allowed), 0);
        while (!CPU_ISSET(static_cast<std::size_t>(cpu), &allowed)) cpu += 1;
        settings.priority = DDS_THREAD_SETTINGS_PRIORITY_DEFAULT;
        settings.stack_size = 1 << 20;
    }

    void *create()
    {
        const auto body = [](void *) -> void * { return nullptr; };
        return factory.create_thread(factory.factory_data, "worker", &settings, body, nullptr);
    }

    LogCapture log;
    Doubles doubles;
    const DDS_ThreadFactory factory =
        DDS_DomainParticipantFactory_get_default_thread_factory(DDS_DomainParticipantFactory_get_instance());
    DDS_Long cpu = 0;
    DDS_ThreadSettings_t settings = {};
};

TEST_F(ThreadFactoryShortage, a_shortage_of_threads_gives_no_handle_and_blames_no_setting)
{
    ASSERT_TRUE(DDS_LongSeq_loan_contiguous(&settings.cpu_list, &cpu, 1, 1));
    doubles.on("pthread_create").fail();
    EXPECT_EQ(create(), nullptr);
    EXPECT_EQ(doubles.count("pthread_create"), 1);
    EXPECT_LOG(log, 2, DDS_LOG_CREATE_FAILURE_s, "thread");
    EXPECT_LOG_COUNT(log, 1);
}

TEST_F(ThreadFactoryShortage, without_memory_for_its_cpu_list_there_is_no_thread)
{
    DDS_Long *cpus[2] = {&cpu, &cpu};
    ASSERT_TRUE(DDS_LongSeq_loan_discontiguous(&settings.cpu_list, cpus, 2, 2));
    doubles.on("ZYLOsapiHeap_reallocateMemoryInternal").fail();
    EXPECT_EQ(create(), nullptr);
    EXPECT_EQ(doubles.count("pthread_create"), 0);
    EXPECT_LOG(log, 2, DDS_LOG_CREATE_FAILURE_s, "array of CPUs");
    EXPECT_LOG_COUNT(log, 1);
    void *const thread = create();
    ASSERT_NE(thread, nullptr);
    factory.delete_thread(factory.factory_data, thread);
    EXPECT_LOG_COUNT(log, 1);
}

}  // namespace
