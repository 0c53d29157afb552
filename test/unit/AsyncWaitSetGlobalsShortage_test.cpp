/// @file
/// The process-wide globals when something is short: a failed first use is tried again.

// Replaces: ZYLOsapiTss_createKey ZYLPlatform_createThreadKey VESKWorkerPerThread_initialize
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "doubles/Doubles.hpp"

namespace {

DDS_AsyncWaitSetGlobals *globals()
{
    return DDS_AsyncWaitSetGlobals_get_instance();
}

/// The first use in a process fails, so it needs a process of its own.
void exitWithFirstUse(const char *failingService)
{
    Doubles doubles;
    doubles.on(failingService).fail(1).fail(2);
    const bool isNullTwice = globals() == nullptr && globals() == nullptr;
    DDS_AsyncWaitSetGlobals *const instance = globals();
    const bool isMade = instance != nullptr && instance->_isAwstTssKeyInitialized != 0 && globals() == instance &&
                        DDS_AsyncWaitSetGlobals_getWorker(instance) != nullptr &&
                        instance->_workerPerThread->_workerFactory != nullptr;
    std::_Exit(isNullTwice && isMade && doubles.failedCount() == 2 ? 0 : 1);
}

class GlobalsShortageDeathTest : public testing::TestWithParam<const char *> {};

TEST_P(GlobalsShortageDeathTest, a_failed_first_use_is_tried_again_by_the_next_one)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(exitWithFirstUse(GetParam()), testing::ExitedWithCode(0), "");
}

INSTANTIATE_TEST_SUITE_P(Without, GlobalsShortageDeathTest,
                         testing::Values("ZYLOsapiTss_createKey", "ZYLPlatform_createThreadKey",
                                         "VESKWorkerPerThread_initialize"),
                         [](const auto &service) { return std::string(service.param); });

}  // namespace
