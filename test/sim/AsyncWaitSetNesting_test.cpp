/// @file
/// Wait sets that hand requests to one another.
#include "AwsScenario.hpp"

namespace {

class Nesting : public testing::TestWithParam<std::pair<DDS_UnsignedLong, DDS_UnsignedLong>> {
protected:
    static DDS_UnsignedLong lowerPool() { return GetParam().first; }
    static DDS_UnsignedLong upperPool() { return GetParam().second; }
};
INSTANTIATE_TEST_SUITE_P(PoolsOf, Nesting, testing::Values(std::pair{1U, 1U}, std::pair{2U, 1U}, std::pair{2U, 2U}));

}  // namespace

TEST_P(Nesting, a_handler_drives_a_wait_set_of_a_higher_level)
{
    forEachSeed(scenarioSeeds, [] {
        Signal handled;
        Signal driven;
        HandledGuard inner([&](HandledGuard &) { handled.give(); });
        const ScenarioWaitSet upper(upperPool(), 2);
        HandledGuard outer([&](HandledGuard &) {
            EXPECT_EQ(DDS_AsyncWaitSet_start(upper), DDS_RETCODE_OK);
            EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(upper, inner.condition()), DDS_RETCODE_OK);
            expectDispatched(inner, handled);
            EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(upper, inner.condition()), DDS_RETCODE_OK);
            EXPECT_EQ(DDS_AsyncWaitSet_stop(upper), DDS_RETCODE_OK);
            driven.give();
        });
        {
            const ScenarioWaitSet lower(lowerPool(), 1);
            EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(lower, outer.condition()), DDS_RETCODE_OK);
            EXPECT_EQ(DDS_AsyncWaitSet_start(lower), DDS_RETCODE_OK);
            outer.trigger();
            driven.take();
            outer.trigger();
            driven.take();
            EXPECT_EQ(DDS_AsyncWaitSet_stop(lower), DDS_RETCODE_OK);
        }
    });
}

TEST_P(Nesting, an_equal_level_is_refused_and_nothing_hangs)
{
    forEachSeed(scenarioSeeds, [] {
        const Quiet quiet;
        Signal asked;
        HandledGuard other;
        const ScenarioWaitSet second(upperPool(), 1);
        HandledGuard guard([&](HandledGuard &) {
            EXPECT_EQ(DDS_AsyncWaitSet_start_with_completion_token(second, ignoreToken()),
                      DDS_RETCODE_PRECONDITION_NOT_MET);
            EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(second, other.condition()), DDS_RETCODE_PRECONDITION_NOT_MET);
            asked.give();
        });
        ScenarioWaitSet first(lowerPool(), 1);
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(first, guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(first), DDS_RETCODE_OK);
        guard.trigger();
        asked.take();
        EXPECT_EQ(DDS_AsyncWaitSet_stop(first), DDS_RETCODE_OK);
    });
}

TEST_P(Nesting, a_stop_of_an_idle_wait_set_retires_no_thread_of_the_caller_s_pool)
{
    forEachSeed(scenarioSeeds, [] {
        Signal asked;
        RecordingListener listener;
        const DDS_AsyncWaitSetListener callbacks = listener.listener();
        const ScenarioWaitSet idle(upperPool(), 2, &callbacks);
        HandledGuard guard([&](HandledGuard &) {
            EXPECT_EQ(DDS_AsyncWaitSet_stop(idle), DDS_RETCODE_OK);
            asked.give();
        });
        RecordingListener lowerListener;
        const DDS_AsyncWaitSetListener lowerCallbacks = lowerListener.listener();
        const ScenarioWaitSet lower(lowerPool(), 1, &lowerCallbacks);
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(lower, guard.condition()), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_AsyncWaitSet_start(lower), DDS_RETCODE_OK);
        for (int i = 0; i < 2; ++i) {
            guard.trigger();
            asked.take();
        }
        EXPECT_EQ(lowerListener.count("deleted") + listener.count("deleted"), 0);
        EXPECT_EQ(DDS_AsyncWaitSet_stop(lower), DDS_RETCODE_OK);
        EXPECT_EQ(lowerListener.count("deleted"), static_cast<int>(lowerPool()));
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(lower, guard.condition()), DDS_RETCODE_OK);
    });
}
