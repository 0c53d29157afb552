/// @file
/// Start, stop and restart in every overlap, with and without anybody waiting.
#include "AwsScenario.hpp"

namespace {

class StartStop : public testing::TestWithParam<DDS_UnsignedLong> {};
INSTANTIATE_TEST_SUITE_P(PoolOf, StartStop, testing::Values(1U, 2U, 3U));

}  // namespace

TEST_P(StartStop, every_thread_is_announced_and_retired_once)
{
    forEachSeed(scenarioSeeds, [] {
        RecordingListener listener;
        const DDS_AsyncWaitSetListener callbacks = listener.listener();
        {
            const ScenarioWaitSet aws(GetParam(), 1, &callbacks);
            for (int round = 1; round <= 2; ++round) {
                EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
                EXPECT_EQ(DDS_AsyncWaitSet_is_started(aws), DDS_BOOLEAN_TRUE);
                EXPECT_EQ(listener.count("spawned"), static_cast<int>(GetParam()) * round);
                EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
                EXPECT_EQ(DDS_AsyncWaitSet_is_started(aws), DDS_BOOLEAN_FALSE);
                EXPECT_EQ(listener.count("deleted"), static_cast<int>(GetParam()) * round);
            }
        }
        EXPECT_EQ(listener.count("spawned"), listener.count("deleted"));
    });
}

TEST_P(StartStop, a_start_that_nobody_waits_for_is_stopped_right_away)
{
    forEachSeed(scenarioSeeds, [] {
        const ScenarioWaitSet aws(GetParam());
        EXPECT_EQ(DDS_AsyncWaitSet_start_with_completion_token(aws, ignoreToken()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_is_started(aws), DDS_BOOLEAN_FALSE);
    });
}

TEST_P(StartStop, a_stop_behind_other_requests_lets_every_thread_finish_their_barriers)
{
    forEachSeed(scenarioSeeds, [] {
        HandledGuard guard;
        const ScenarioWaitSet aws(GetParam());
        ScenarioToken attached(aws);
        ScenarioToken suspended(aws);
        ScenarioToken stopped(aws);
        EXPECT_EQ(DDS_AsyncWaitSet_start_with_completion_token(aws, ignoreToken()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition_with_completion_token(aws, guard.condition(), attached),
                  DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_suspend_with_completion_token(aws, suspended), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_stop_with_completion_token(aws, stopped), DDS_RETCODE_OK);
        EXPECT_EQ(stopped.wait(), DDS_RETCODE_OK);
        EXPECT_EQ(suspended.wait(), DDS_RETCODE_OK);
        EXPECT_EQ(attached.wait(), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    });
}

TEST_P(StartStop, a_restart_waits_until_the_old_pool_is_gone)
{
    forEachSeed(scenarioSeeds, [] {
        Signal handled;
        HandledGuard guard([&](HandledGuard &) { handled.give(); });
        const ScenarioWaitSet aws(GetParam());
        ScenarioToken stopped(aws);
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_stop_with_completion_token(aws, stopped), DDS_RETCODE_OK);
        // Until the stop has run this is a start of a started wait set; then it waits for the last thread.
        while (DDS_AsyncWaitSet_is_started(aws) != DDS_BOOLEAN_FALSE) ZYLPlatform_yield();
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        expectDispatched(guard, handled);
        EXPECT_EQ(stopped.wait(), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    });
}

TEST_P(StartStop, two_applications_start_and_stop_as_they_like)
{
    forEachSeed(scenarioSeeds, [] {
        const ScenarioWaitSet aws(GetParam());
        const auto startAndStop = [&] {
            for (int round = 0; round < 2; ++round) {
                EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
                const DDS_ReturnCode_t stopped = DDS_AsyncWaitSet_stop(aws);
                EXPECT_TRUE(stopped == DDS_RETCODE_OK || stopped == DDS_RETCODE_PRECONDITION_NOT_MET) << stopped;
            }
        };
        {
            const Quiet quiet;  // A stop that meets another one is refused, as it should be.
            SimThread first("first", startAndStop);
            SimThread second("second", startAndStop);
        }
        const DDS_ReturnCode_t stopped = DDS_AsyncWaitSet_stop(aws);
        EXPECT_EQ(stopped, DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_is_started(aws), DDS_BOOLEAN_FALSE);
    });
}

TEST_P(StartStop, an_attach_beside_the_stop_of_a_suspended_wait_set_is_not_left_masked)
{
    forEachSeed(scenarioSeeds, [] {
        Signal handled;
        HandledGuard guard([&](HandledGuard &) { handled.give(); });
        const ScenarioWaitSet aws(GetParam());
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_suspend_with_completion_token(aws, implicitToken()), DDS_RETCODE_OK);
        {
            const Quiet quiet;  // Until the stop has run the attach is refused.
            SimThread attacher("attacher", [&] {
                while (DDS_AsyncWaitSet_attach_condition(aws, guard.condition()) != DDS_RETCODE_OK) ZYLPlatform_yield();
            });
            EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        }
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        expectDispatched(guard, handled);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    });
}

TEST_P(StartStop, a_suspend_that_races_with_a_stop_leaves_no_stopped_wait_set_suspended)
{
    forEachSeed(scenarioSeeds, [] {
        Signal handled;
        HandledGuard guard([&](HandledGuard &) { handled.give(); });
        const ScenarioWaitSet aws(GetParam());
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        {
            const Quiet quiet;
            SimThread suspender("suspender", [&] {
                const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_suspend_with_completion_token(aws, implicitToken());
                EXPECT_TRUE(retCode == DDS_RETCODE_OK || retCode == DDS_RETCODE_PRECONDITION_NOT_MET) << retCode;
            });
            EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        }
        EXPECT_EQ(aws->_runningState, DDS_RUNNING_AWS_STARTED_STATE);
        EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        expectDispatched(guard, handled);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, guard.condition()), DDS_RETCODE_OK);
    });
}
