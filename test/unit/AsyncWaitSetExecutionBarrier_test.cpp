/// @file
/// The barrier that keeps the pool threads in step after requests.

// Replaces: ZYLOsapiBarrier_wait
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "dds_c/dds_c_log.h"
#include "doubles/Doubles.hpp"
#include "halo_runtime/dds/DDS_String.pkg.h"

namespace {

const char *const barrierWait = "ZYLOsapiBarrier_wait";

class Barrier : public testing::Test {
protected:
    Barrier()
    {
        // There is one thread only, so nobody waits.
        doubles.on(barrierWait).instead([]() -> int { return ZYL_OSAPI_SEMAPHORE_STATUS_OK; });
    }
    void build(DDS_UnsignedLong poolSize)
    {
        const DDS_AsyncWaitSetProperty_t property = propertyOf(poolSize);
        aws = DDS_AsyncWaitSet_new(&property);
        ASSERT_NE(aws, nullptr);
        aws->_threadPool[0]._threadName = DDS_String_dup("worker00");
        doubles.on(barrierWait).with(aws->_barrier).as("wait at the pool's barrier");
    }
    void TearDown() override
    {
        ASSERT_NE(aws, nullptr);
        EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
    }

    DDS_AsyncWaitSet *aws = nullptr;
    LogCapture log{0xff};
    Doubles doubles;
};

TEST_F(Barrier, a_thread_passes_it_once_for_each_request)
{
    build(3);
    for (const int count : {0, 1, 5}) {
        doubles.clear();
        EXPECT_EQ(DDS_AsyncWaitSet_waitForThreads(aws, count), 1);
        EXPECT_THAT(doubles.calls(),
                    std::vector<std::string>(static_cast<std::size_t>(count), "wait at the pool's barrier"));
    }
    EXPECT_NO_LOG(log) << "this is no pool thread";
}

TEST_F(Barrier, a_pool_threads_wait_is_traced_once)
{
    build(2);
    const PoolThreadGuise guise(aws);
    EXPECT_EQ(DDS_AsyncWaitSet_waitForThreads(aws, 3), 1);
    const std::vector<LogCapture::Entry> entries = log.entries();
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].text, "[AWS|worker00]: ");
    EXPECT_EQ(entries[1].text, "waiting for thread pool\n");
    for (const LogCapture::Entry &entry : entries) EXPECT_EQ(entry.level, ZYL_LOG_LEVEL_TRACE);
}

TEST_F(Barrier, a_thread_that_is_alone_goes_on_at_once)
{
    build(1);
    const PoolThreadGuise guise(aws);
    EXPECT_EQ(DDS_AsyncWaitSet_waitForThreads(aws, 1000000), 1);
    EXPECT_EQ(doubles.count(barrierWait), 0);
    EXPECT_NO_LOG(log);
}

TEST_F(Barrier, every_status_but_success_is_a_failure_and_ends_the_wait)
{
    build(2);
    for (const int status : {ZYL_OSAPI_SEMAPHORE_STATUS_ERROR, ZYL_OSAPI_SEMAPHORE_STATUS_TIMEOUT, 0, 1}) {
        log.clear();
        doubles.clear();
        doubles.on(barrierWait).fail(2, status);
        EXPECT_EQ(DDS_AsyncWaitSet_waitForThreads(aws, 4), 0);
        EXPECT_EQ(doubles.count(barrierWait), 2);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "barrier wait");
        EXPECT_LOG_COUNT(log, 1U);
    }
    EXPECT_EQ(ZYL_OSAPI_SEMAPHORE_STATUS_OK, 0x020200F8);
}

TEST_F(Barrier, the_wait_needs_a_wait_set)
{
    build(2);
    EXPECT_EQ(DDS_AsyncWaitSet_waitForThreads(nullptr, 1), 0);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s, "\"self == ((void *)0)\"");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(doubles.count(barrierWait), 0);
}

}  // namespace
