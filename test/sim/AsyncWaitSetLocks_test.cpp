/// @file
/// Claims of the lock protocol, which the simulation build checks: each of them holds where the library makes it (every
/// other scenario shows that), and ends the run where it does not.
#include <gmock/gmock.h>

#include "AwsScenario.hpp"
#include "halo_runtime/platform/sim/Simulation.hpp"

namespace {

/// What a run of the body ends with; empty when nothing failed.
std::string failureOf(const std::function<void()> &body)
{
    static_cast<void>(DDS_AsyncWaitSetGlobals_get_instance());  // made only once in a program
    return sim::run({}, body).failure;
}

constexpr const char *outside = "the critical section is claimed by a thread that is outside";
constexpr const char *noTurn = "the registry is used by a thread that has no turn";

TEST(Claims, the_critical_section_is_claimed_by_those_who_are_inside)
{
    EXPECT_EQ(failureOf([] {
                  ScenarioWaitSet aws(1);
                  EXPECT_TRUE(AWS_enterCriticalSection(aws));
                  AWS_claimCriticalSection(aws);
                  EXPECT_TRUE(AWS_leaveCriticalSection(aws));
              }),
              "");
    EXPECT_THAT(failureOf([] {
                    ScenarioWaitSet aws(1);
                    AWS_claimCriticalSection(aws);
                }),
                testing::HasSubstr(outside));
}

TEST(Claims, the_section_of_another_thread_is_not_one_s_own)
{
    EXPECT_THAT(failureOf([] {
                    ScenarioWaitSet aws(1);
                    EXPECT_TRUE(AWS_enterCriticalSection(aws));
                    SimThread("stranger", [&] { AWS_claimCriticalSection(aws); }).join();
                    EXPECT_TRUE(AWS_leaveCriticalSection(aws));
                }),
                testing::HasSubstr(outside));
}

TEST(Claims, the_registry_of_an_idle_wait_set_belongs_to_those_inside)
{
    EXPECT_EQ(failureOf([] {
                  ScenarioWaitSet aws(2);
                  EXPECT_TRUE(AWS_enterCriticalSection(aws));
                  AWS_claimRegistryTurn(aws);
                  EXPECT_TRUE(AWS_leaveCriticalSection(aws));
              }),
              "");
    EXPECT_THAT(failureOf([] {
                    ScenarioWaitSet aws(2);
                    AWS_claimRegistryTurn(aws);
                }),
                testing::HasSubstr(noTurn));
}

TEST(Claims, the_registry_of_a_started_wait_set_belongs_to_no_application_thread)
{
    for (const DDS_UnsignedLong poolSize : {1U, 2U})
        EXPECT_THAT(failureOf([&] {
                        ScenarioWaitSet aws(poolSize);
                        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
                        EXPECT_TRUE(AWS_enterCriticalSection(aws));
                        AWS_claimRegistryTurn(aws);
                        EXPECT_TRUE(AWS_leaveCriticalSection(aws));
                    }),
                    testing::HasSubstr(noTurn));
}

TEST(Claims, a_handler_of_a_pool_with_followers_has_no_turn)
{
    EXPECT_THAT(failureOf([] {
                    ScenarioWaitSet aws(2);
                    HandledGuard guard([&](HandledGuard &) { AWS_claimRegistryTurn(aws); });
                    EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
                    EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
                    guard.trigger();
                    EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
                }),
                testing::HasSubstr(noTurn));
}

/// A request that every pool thread executes by claiming the turn, whether it is the last or not.
void *claimTurn(void *onlyLast, DDS_AsyncWaitSetTaskInfo *taskInfo)
{
    if (onlyLast == nullptr || AWS_isLastExecution(taskInfo)) AWS_claimRegistryTurn(taskInfo->_owner);
    return nullptr;
}

TEST(Claims, only_the_last_execution_of_a_request_has_the_turn)
{
    for (const bool isOnlyLast : {true, false}) {
        const std::string failure = failureOf([&] {
            ScenarioWaitSet aws(2);
            DDS_Task task = {isOnlyLast ? &task : nullptr, claimTurn};
            EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
            EXPECT_EQ(DDS_AsyncWaitSet_submit_task(aws, &task, nullptr, ignoreToken()), DDS_RETCODE_OK);
            EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        });
        EXPECT_THAT(failure, isOnlyLast ? testing::HasSubstr("") : testing::HasSubstr(noTurn));
        EXPECT_EQ(failure.empty(), isOnlyLast);
    }
}

}  // namespace
