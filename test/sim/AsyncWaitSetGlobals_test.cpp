/// @file
/// The first use of the process-wide globals by several threads at once: each run begins with nothing made yet.
#include <gtest/gtest.h>

#include "AwsFixture.hpp"
#include "sim/SimScenario.hpp"

namespace {

TEST(Globals, threads_that_use_them_first_at_the_same_time_get_the_same_complete_instance)
{
    forEachFirstUse(500, [] {
        const auto use = [] {
            DDS_AsyncWaitSetGlobals *const instance = DDS_AsyncWaitSetGlobals_get_instance();
            ASSERT_NE(instance, nullptr);
            EXPECT_NE(instance->_isAwstTssKeyInitialized, 0);
            EXPECT_NE(instance->_workerPerThread->_workerFactory, nullptr);
            VESKWorker *const worker = DDS_AsyncWaitSetGlobals_getWorker(instance);
            EXPECT_EQ(worker->_heldCount, 0);
            EXPECT_EQ(DDS_AsyncWaitSetGlobals_getThreadSpecific(instance), nullptr);
            EXPECT_EQ(DDS_AsyncWaitSetGlobals_get_instance(), instance);
        };
        SimThread a("first", use);
        SimThread b("second", use);
        SimThread c("third", use);
    });
}

TEST(Globals, threads_that_create_the_first_wait_sets_at_the_same_time_all_get_one)
{
    forEachFirstUse(200, [] {
        const auto use = [] {
            DDS_AsyncWaitSetProperty_t property = propertyOf(2);
            DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_new(&property);
            ASSERT_NE(aws, nullptr);
            EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
            EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
        };
        SimThread a("first", use);
        SimThread b("second", use);
    });
}

}  // namespace
