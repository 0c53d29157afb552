/// @file
/// A triggered condition that has no handler: dispatching it does nothing, and says so once.
#include "AwsFixture.hpp"
#include "LogCapture.hpp"
#include "Signal.hpp"

namespace {

constexpr const char *missing =
    "a triggered condition has no handler: it stays triggered and is dispatched again and again";

}  // namespace

TEST(ConditionHandler, one_that_is_missing_is_reported_once_for_each_condition)
{
    const LogCapture log;
    for (int i = 1; i <= 2; ++i) {
        DDS_GuardCondition *const guard = DDS_GuardCondition_new();
        DDS_Condition *const condition = DDS_GuardCondition_as_condition(guard);
        EXPECT_EQ(DDS_Condition_dispatch(condition), DDS_RETCODE_OK);
        EXPECT_LOG_COUNT(log, static_cast<std::size_t>(i - 1)) << "not triggered: nothing to say";
        DDS_GuardCondition_set_trigger_value(guard, DDS_BOOLEAN_TRUE);
        for (int times = 0; times < 3; ++times) EXPECT_EQ(DDS_Condition_dispatch(condition), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_Condition_get_trigger_value(condition), DDS_BOOLEAN_TRUE) << "what happens stays as it is";
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_s, missing);
        EXPECT_LOG_COUNT(log, static_cast<std::size_t>(i));
        EXPECT_EQ(DDS_GuardCondition_delete(guard), DDS_RETCODE_OK);
    }
}

TEST(ConditionHandler, a_started_pool_says_that_it_turns_for_nothing)
{
    for (const DDS_UnsignedLong poolSize : {1U, 2U}) {
        const LogCapture log;
        DDS_GuardCondition *const guard = DDS_GuardCondition_new();
        DDS_Condition *const condition = DDS_GuardCondition_as_condition(guard);
        const DDS_AsyncWaitSetProperty_t property = propertyOf(poolSize);
        DDS_AsyncWaitSet *const aws = DDS_AsyncWaitSet_new(&property);
        Signal turned;
        HandledGuard busy([&](HandledGuard &) { turned.give(); }, false);
        ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(aws, condition), DDS_RETCODE_OK);
        ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(aws, busy.condition()), DDS_RETCODE_OK);
        DDS_GuardCondition_set_trigger_value(guard, DDS_BOOLEAN_TRUE);
        busy.trigger();
        ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
        turned.take(20);  // both take turns, so the other one has been dispatched several times
        ASSERT_EQ(DDS_AsyncWaitSet_stop(aws), DDS_RETCODE_OK);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_s, missing);
        EXPECT_LOG_COUNT(log, 1U);
        EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_GuardCondition_delete(guard), DDS_RETCODE_OK);
    }
}
