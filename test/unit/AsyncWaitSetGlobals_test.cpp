/// @file
/// The process-wide globals: one instance, one worker for each thread, and the record that a pool thread finds itself
/// by.

// Replaces: ZYLOsapiHeap_reallocateMemoryInternal ZYLOsapiTss_createKey VESKWorkerPerThread_initialize
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <latch>
#include <string>
#include <thread>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "doubles/Doubles.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiTss.pkg.h"

namespace {

DDS_AsyncWaitSetGlobals *globals()
{
    return DDS_AsyncWaitSetGlobals_get_instance();
}

TEST(Globals, there_is_one_complete_instance)
{
    DDS_AsyncWaitSetGlobals *const instance = globals();
    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(globals(), instance);
    EXPECT_EQ(instance->_factory, DDS_DomainParticipantFactory_get_instance());
    ASSERT_NE(instance->_workerPerThread, nullptr);
    EXPECT_NE(instance->_workerPerThread->_workerFactory, nullptr);
    EXPECT_NE(instance->_isAwstTssKeyInitialized, 0);
}

TEST(Globals, threads_that_ask_at_the_same_time_get_the_same_instance)
{
    constexpr int count = 8;
    DDS_AsyncWaitSetGlobals *seen[count] = {};
    std::latch go(count);
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&, i] {
            go.arrive_and_wait();
            seen[i] = globals();
        });
    for (std::thread &thread : threads) thread.join();
    for (const DDS_AsyncWaitSetGlobals *instance : seen) EXPECT_EQ(instance, globals());
}

TEST(Globals, every_thread_has_one_worker_of_its_own)
{
    VESKWorker *const own = DDS_AsyncWaitSetGlobals_getWorker(globals());
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(DDS_AsyncWaitSetGlobals_getWorker(globals()), own);
    VESKWorker *other = nullptr;
    bool isStable = false;
    std::thread([&] {
        other = DDS_AsyncWaitSetGlobals_getWorker(globals());
        isStable = DDS_AsyncWaitSetGlobals_getWorker(globals()) == other;
    }).join();
    EXPECT_NE(other, nullptr);
    EXPECT_NE(other, own);
    EXPECT_TRUE(isStable);
}

TEST(Globals, a_pool_threads_worker_is_the_calling_threads_worker_with_a_name)
{
    const size_t blocks = ZYLOsapiHeap_getBlockCount();
    std::thread([] {
        VESKWorker *const worker = DDS_AsyncWaitSetGlobals_createWorker(globals(), "mTe#####AWs00_aws");
        ASSERT_EQ(worker, DDS_AsyncWaitSetGlobals_getWorker(globals()));
        EXPECT_STREQ(worker->_name, "mTe#####AWs00_aws");
        DDS_AsyncWaitSetGlobals_deleteWorkerI(globals(), worker);
        EXPECT_EQ(worker, DDS_AsyncWaitSetGlobals_getWorker(globals())) << "the thread's own memory stays";
    }).join();
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
}

TEST(Globals, a_long_worker_name_is_shortened)
{
    const std::string name(100, 'w');
    std::thread([&] {
        const VESKWorker *const worker = DDS_AsyncWaitSetGlobals_createWorker(globals(), name.c_str());
        EXPECT_EQ(worker->_name, name.substr(0, VESK_WORKER_NAME_SIZE - 1));
    }).join();
}

TEST(Globals, the_second_worker_is_another_one_and_is_freed_by_its_deletion)
{
    const size_t blocks = ZYLOsapiHeap_getBlockCount();
    VESKWorker *const worker = DDS_AsyncWaitSetGlobals_createDdsWorker(globals(), "mTe#####AWs01");
    ASSERT_NE(worker, nullptr);
    EXPECT_NE(worker, DDS_AsyncWaitSetGlobals_getWorker(globals()));
    EXPECT_STREQ(worker->_name, "mTe#####AWs01");
    EXPECT_EQ(worker->_activityContext, nullptr);
    DDS_AsyncWaitSetGlobals_deleteDdsWorkerI(globals(), worker);
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
}

TEST(Globals, a_second_worker_without_memory_is_null)
{
    ASSERT_NE(globals(), nullptr);
    Doubles doubles;
    doubles.on("ZYLOsapiHeap_reallocateMemoryInternal").fail();
    EXPECT_EQ(DDS_AsyncWaitSetGlobals_createDdsWorker(globals(), "worker"), nullptr);
    EXPECT_EQ(doubles.failedCount(), 1);
}

TEST(Globals, a_thread_finds_the_record_it_stored_and_no_other_thread_does)
{
    DDS_AsyncWaitSetThread record = {};
    EXPECT_EQ(DDS_AsyncWaitSetGlobals_getThreadSpecific(globals()), nullptr);
    EXPECT_NE(DDS_AsyncWaitSetGlobals_setThreadSpecific(globals(), &record), 0);
    EXPECT_EQ(DDS_AsyncWaitSetGlobals_getThreadSpecific(globals()), &record);

    DDS_AsyncWaitSetThread otherRecord = {};
    DDS_AsyncWaitSetThread *first = &record;
    DDS_AsyncWaitSetThread *second = nullptr;
    std::thread([&] {
        first = DDS_AsyncWaitSetGlobals_getThreadSpecific(globals());
        DDS_AsyncWaitSetGlobals_setThreadSpecific(globals(), &otherRecord);
        second = DDS_AsyncWaitSetGlobals_getThreadSpecific(globals());
    }).join();
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(second, &otherRecord);
    EXPECT_EQ(DDS_AsyncWaitSetGlobals_getThreadSpecific(globals()), &record);

    EXPECT_NE(DDS_AsyncWaitSetGlobals_setThreadSpecific(globals(), nullptr), 0);
    EXPECT_EQ(DDS_AsyncWaitSetGlobals_getThreadSpecific(globals()), nullptr);
}

/// The first use in a process fails, so each of these needs a process of its own.
void exitWithFirstUse(const char *failingService)
{
    Doubles doubles;
    doubles.on(failingService).fail();
    const bool isNull = globals() == nullptr;
    std::_Exit(isNull && doubles.failedCount() == 1 ? 0 : 1);
}

TEST(GlobalsDeathTest, without_a_key_for_the_pool_threads_there_is_no_instance)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(exitWithFirstUse("ZYLOsapiTss_createKey"), testing::ExitedWithCode(0), "");
}

TEST(GlobalsDeathTest, without_workers_there_is_no_instance)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(exitWithFirstUse("VESKWorkerPerThread_initialize"), testing::ExitedWithCode(0), "");
}

}  // namespace
