/// @file
/// Conditions: trigger value, handler, dispatch, count.

// Replaces: ZYLPlatform_lock
#include "MemoryFixture.hpp"
#include "WaitSetFixture.hpp"

namespace {

/// Counts its runs and remembers the condition.
struct Runs {
    int count = 0;
    DDS_Condition *condition = nullptr;

    static void onTriggered(void *data, DDS_Condition *condition)
    {
        auto *const self = static_cast<Runs *>(data);
        self->count += 1;
        self->condition = condition;
    }
    DDS_ConditionHandler handler() { return {this, onTriggered}; }
};

bool isTriggered(DDS_Condition *condition)
{
    return DDS_Condition_get_trigger_value(condition) != DDS_BOOLEAN_FALSE;
}

class ConditionTest : public MemoryTest {
protected:
    LogCapture log;
};

using Condition = ConditionTest;
using GuardCondition = ConditionTest;
using CountingCondition = ConditionTest;

TEST_F(Condition, null_is_refused_by_name)
{
    const DDS_ConditionHandler handler = {};
    Guard guard;
    EXPECT_EQ(DDS_Condition_get_trigger_value(nullptr), DDS_BOOLEAN_FALSE);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    log.clear();
    EXPECT_EQ(DDS_Condition_set_handler(nullptr, &handler), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    log.clear();
    EXPECT_EQ(DDS_Condition_set_handler(guard, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "handler");
    log.clear();
    EXPECT_EQ(DDS_Condition_get_handler(nullptr).handler_data, nullptr);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    log.clear();
    EXPECT_EQ(DDS_Condition_dispatch(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    EXPECT_LOG_COUNT(log, 1);
}

TEST_F(Condition, the_handler_is_kept_as_a_copy)
{
    Guard guard;
    Runs runs;
    DDS_ConditionHandler handler = runs.handler();
    ASSERT_EQ(DDS_Condition_set_handler(guard, &handler), DDS_RETCODE_OK);
    handler = {};
    EXPECT_EQ(DDS_Condition_get_handler(guard).handler_data, &runs);
    EXPECT_EQ(DDS_Condition_get_handler(guard).on_condition_triggered, &Runs::onTriggered);
    EXPECT_NO_LOG(log);
}

TEST_F(Condition, the_handler_of_an_attached_condition_cannot_be_changed)
{
    Guard guard;
    Runs first;
    Runs second;
    const DDS_ConditionHandler firstHandler = first.handler();
    const DDS_ConditionHandler secondHandler = second.handler();
    ASSERT_EQ(DDS_Condition_set_handler(guard, &firstHandler), DDS_RETCODE_OK);
    TestWaitSet waitSet;
    waitSet.attach(guard);

    EXPECT_EQ(DDS_Condition_set_handler(guard, &secondHandler), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, "the handler of an attached condition cannot be changed");
    EXPECT_LOG_COUNT(log, 1);
    EXPECT_EQ(DDS_Condition_get_handler(guard).handler_data, &first);

    waitSet.detach(guard);
    EXPECT_EQ(DDS_Condition_set_handler(guard, &secondHandler), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_Condition_get_handler(guard).handler_data, &second);
}

TEST_F(Condition, dispatch_runs_the_handler_of_a_triggered_condition_only)
{
    Guard guard;
    Runs runs;
    const DDS_ConditionHandler handler = runs.handler();
    ASSERT_EQ(DDS_Condition_set_handler(guard, &handler), DDS_RETCODE_OK);

    EXPECT_EQ(DDS_Condition_dispatch(guard), DDS_RETCODE_OK);
    EXPECT_EQ(runs.count, 0);
    guard.set(true);
    EXPECT_EQ(DDS_Condition_dispatch(guard), DDS_RETCODE_OK);
    EXPECT_EQ(runs.count, 1);
    EXPECT_EQ(runs.condition, static_cast<DDS_Condition *>(guard));
    EXPECT_EQ(DDS_Condition_dispatch(guard), DDS_RETCODE_OK);
    EXPECT_EQ(runs.count, 2) << "a condition that stays triggered is dispatched again";
    guard.set(false);
    EXPECT_EQ(DDS_Condition_dispatch(guard), DDS_RETCODE_OK);
    EXPECT_EQ(runs.count, 2);
    EXPECT_NO_LOG(log);
}

TEST_F(Condition, dispatch_without_a_handler_does_nothing)
{
    Guard guard;
    guard.set(true);
    EXPECT_EQ(DDS_Condition_dispatch(guard), DDS_RETCODE_OK);
    EXPECT_TRUE(isTriggered(guard));
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s,
               "a triggered condition has no handler: it stays triggered and is dispatched again and again");
    EXPECT_LOG_COUNT(log, 1);
}

TEST_F(Condition, a_handler_may_use_its_condition_and_its_wait_set)
{
    struct Context {
        Guard guard;
        TestWaitSet waitSet;
        bool isDone = false;
    } context;
    const DDS_ConditionHandler handler = {&context, [](void *data, DDS_Condition *condition) {
                                              auto *const self = static_cast<Context *>(data);
                                              self->guard.set(false);
                                              self->waitSet.mask(condition);
                                              self->waitSet.unmask(condition);
                                              self->waitSet.detach(condition);
                                              self->waitSet.attach(condition);
                                              self->isDone = true;
                                          }};
    ASSERT_EQ(DDS_Condition_set_handler(context.guard, &handler), DDS_RETCODE_OK);
    context.waitSet.attach(context.guard);
    context.guard.set(true);
    EXPECT_EQ(DDS_Condition_dispatch(context.guard), DDS_RETCODE_OK);
    EXPECT_TRUE(context.isDone);
    EXPECT_FALSE(isTriggered(context.guard));
    EXPECT_NO_LOG(log);
}

TEST_F(GuardCondition, null_is_refused_by_name)
{
    EXPECT_EQ(DDS_GuardCondition_delete(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    log.clear();
    EXPECT_EQ(DDS_GuardCondition_set_trigger_value(nullptr, DDS_BOOLEAN_TRUE), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    log.clear();
    EXPECT_EQ(DDS_GuardCondition_get_trigger_value(nullptr), DDS_BOOLEAN_FALSE);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    log.clear();
    EXPECT_EQ(DDS_GuardCondition_as_condition(nullptr), nullptr);
    EXPECT_NO_LOG(log);
}

TEST_F(GuardCondition, a_new_one_is_not_triggered_and_has_no_handler)
{
    Guard guard;
    EXPECT_EQ(DDS_GuardCondition_get_trigger_value(guard), DDS_BOOLEAN_FALSE);
    EXPECT_FALSE(isTriggered(guard));
    EXPECT_EQ(DDS_Condition_get_handler(guard).handler_data, nullptr);
    EXPECT_EQ(DDS_Condition_get_handler(guard).on_condition_triggered, nullptr);
}

TEST_F(GuardCondition, the_trigger_value_is_what_was_set)
{
    Guard guard;
    guard.set(true);
    EXPECT_EQ(DDS_GuardCondition_get_trigger_value(guard), DDS_BOOLEAN_TRUE);
    EXPECT_TRUE(isTriggered(guard));
    guard.set(false);
    EXPECT_EQ(DDS_GuardCondition_get_trigger_value(guard), DDS_BOOLEAN_FALSE);
    EXPECT_EQ(DDS_GuardCondition_set_trigger_value(guard, 0x80), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_GuardCondition_get_trigger_value(guard), DDS_BOOLEAN_TRUE) << "every byte but 0 is true";
}

TEST_F(GuardCondition, setting_a_true_value_to_true_takes_no_lock_and_is_no_event)
{
    Guard guard;
    TestWaitSet waitSet({5, forever});
    waitSet.attach(guard);
    guard.set(true);
    ASSERT_EQ(waitSet.freshEvents(), 1);
    doubles.clear();
    guard.set(true);
    EXPECT_EQ(doubles.count("ZYLPlatform_lock"), 0);
    EXPECT_EQ(waitSet.freshEvents(), 1);
}

TEST_F(GuardCondition, an_attached_one_cannot_be_deleted)
{
    Guard guard;
    {
        TestWaitSet waitSet;
        waitSet.attach(guard);
        EXPECT_EQ(DDS_GuardCondition_delete(guard), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, "an attached condition cannot be deleted");
        EXPECT_LOG_COUNT(log, 1);
        guard.set(true);
        EXPECT_TRUE(isTriggered(guard));
    }
    EXPECT_LOG_COUNT(log, 1);
}

TEST_F(GuardCondition, creation_without_memory_fails)
{
    endMemory();
    EXPECT_EQ(DDS_GuardCondition_new(), nullptr);
    EXPECT_LOG(log, 2, DDS_LOG_CREATE_FAILURE_s, "DDS_GuardCondition");
}

TEST_F(CountingCondition, null_is_refused_by_name)
{
    EXPECT_EQ(DDS_CountingCondition_delete(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    log.clear();
    EXPECT_EQ(DDS_CountingCondition_increment(nullptr, 1), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    log.clear();
    EXPECT_EQ(DDS_CountingCondition_decrement(nullptr, 1), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    log.clear();
    EXPECT_EQ(DDS_CountingCondition_get_count(nullptr), 0);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "self");
    log.clear();
    EXPECT_EQ(DDS_CountingCondition_as_condition(nullptr), nullptr);
    EXPECT_NO_LOG(log);
}

TEST_F(CountingCondition, an_amount_that_is_not_positive_is_refused)
{
    Counter counter;
    counter.increment(3);
    for (const DDS_Long amount : {0, -1, INT32_MIN}) {
        log.clear();
        EXPECT_EQ(DDS_CountingCondition_increment(counter, amount), DDS_RETCODE_BAD_PARAMETER);
        EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "amount");
        log.clear();
        EXPECT_EQ(DDS_CountingCondition_decrement(counter, amount), DDS_RETCODE_BAD_PARAMETER);
        EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "amount");
        EXPECT_EQ(DDS_CountingCondition_get_count(counter), 3);
    }
}

TEST_F(CountingCondition, it_is_triggered_exactly_while_its_count_is_above_0)
{
    Counter counter;
    EXPECT_EQ(DDS_CountingCondition_get_count(counter), 0);
    EXPECT_FALSE(isTriggered(counter));
    counter.increment();
    counter.increment(2);
    EXPECT_EQ(DDS_CountingCondition_get_count(counter), 3);
    EXPECT_TRUE(isTriggered(counter));
    counter.decrement(2);
    EXPECT_EQ(DDS_CountingCondition_get_count(counter), 1);
    EXPECT_TRUE(isTriggered(counter));
    counter.decrement();
    EXPECT_EQ(DDS_CountingCondition_get_count(counter), 0);
    EXPECT_FALSE(isTriggered(counter));
    EXPECT_NO_LOG(log);
}

TEST_F(CountingCondition, the_count_never_falls_below_0)
{
    Counter counter;
    counter.decrement();
    EXPECT_EQ(DDS_CountingCondition_get_count(counter), 0);
    counter.increment(2);
    counter.decrement(5);
    EXPECT_EQ(DDS_CountingCondition_get_count(counter), 0);
    EXPECT_FALSE(isTriggered(counter));
    EXPECT_NO_LOG(log);
}

TEST_F(CountingCondition, a_count_beyond_the_range_of_an_int_is_refused)
{
    Counter counter;
    counter.increment(INT32_MAX);
    EXPECT_EQ(DDS_CountingCondition_increment(counter, 1), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, "the count would become too large");
    EXPECT_EQ(DDS_CountingCondition_get_count(counter), INT32_MAX);
    EXPECT_TRUE(isTriggered(counter));
}

TEST_F(CountingCondition, an_attached_one_cannot_be_deleted)
{
    Counter counter;
    TestWaitSet waitSet;
    waitSet.attach(counter);
    EXPECT_EQ(DDS_CountingCondition_delete(counter), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, "an attached condition cannot be deleted");
    counter.increment();
    EXPECT_EQ(DDS_CountingCondition_get_count(counter), 1);
}

TEST_F(CountingCondition, creation_without_memory_fails)
{
    endMemory();
    EXPECT_EQ(DDS_CountingCondition_new(), nullptr);
    EXPECT_LOG(log, 2, DDS_LOG_CREATE_FAILURE_s, "DDS_CountingCondition");
}

}  // namespace
