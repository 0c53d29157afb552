/// @file
/// The plain wait set, as far as one thread sees it: what counts as an event, what a wait reports, the walk.
#include "MemoryFixture.hpp"
#include "WaitSetFixture.hpp"

namespace {

class WaitSetEvents : public MemoryTest {
protected:
    LogCapture log;
};

// ---------------------------------------------------------------- events

TEST_F(WaitSetEvents, each_rise_and_each_increment_is_one_event)
{
    Guard guard;
    Counter counter;
    Guard triggeredBefore;
    triggeredBefore.set(true);
    TestWaitSet waitSet({100, forever});
    waitSet.attach(guard);
    waitSet.attach(counter);
    EXPECT_EQ(waitSet.freshEvents(), 0);
    waitSet.attach(triggeredBefore);
    EXPECT_EQ(waitSet.freshEvents(), 1) << "attached triggered";
    guard.set(true);
    EXPECT_EQ(waitSet.freshEvents(), 2);
    counter.increment(10);
    EXPECT_EQ(waitSet.freshEvents(), 3) << "an increment is one event, whatever its amount";
    counter.increment();
    EXPECT_EQ(waitSet.freshEvents(), 4);
    counter.decrement();
    EXPECT_EQ(waitSet.freshEvents(), 4) << "a decrement that leaves it triggered changes nothing";
    counter.decrement(10);
    EXPECT_EQ(waitSet.freshEvents(), 2) << "falling takes the events along";
    waitSet.mask(guard);
    EXPECT_EQ(waitSet.freshEvents(), 1) << "so does masking";
    waitSet.detach(triggeredBefore);
    EXPECT_EQ(waitSet.freshEvents(), 0) << "and detaching";
}

TEST_F(WaitSetEvents, what_was_reported_or_unmasked_while_triggered_is_due_and_counts_no_events)
{
    Counter counter;
    Guard guard;
    TestWaitSet waitSet({100, forever});
    waitSet.attach(counter);
    waitSet.attach(guard);
    counter.increment();
    EXPECT_REPORTED(waitSet, counter);
    EXPECT_EQ(waitSet.freshEvents(), 0);
    counter.increment();
    EXPECT_EQ(waitSet.freshEvents(), 0);

    waitSet.mask(guard);
    guard.set(true);
    waitSet.unmask(guard);
    EXPECT_EQ(waitSet.freshEvents(), 0);
    // With something due a wait without a time limit ends at once, and reports what is fresh as well.
    guard.set(false);
    guard.set(true);
    EXPECT_EQ(waitSet.freshEvents(), 1);
    Conditions active;
    EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, &forever), DDS_RETCODE_OK);
    EXPECT_THAT(active.list(), areConditions(counter, guard));
    EXPECT_EQ(waitSet.freshEvents(), 0);
}

TEST_F(WaitSetEvents, what_rises_between_a_wait_and_its_end_is_fresh)
{
    Guard first;
    Guard second;
    TestWaitSet waitSet({1, forever});
    waitSet.attach(first);
    waitSet.attach(second);
    first.set(true);
    Conditions active;
    ASSERT_EQ(DDS_WaitSet_waitI(waitSet, &active, &noTime), DDS_RETCODE_OK);
    second.set(true);
    first.set(false);
    first.set(true);
    EXPECT_EQ(waitSet.freshEvents(), 2);
    DDS_WaitSet_end_waitI(waitSet);
    EXPECT_EQ(waitSet.freshEvents(), 2);
    EXPECT_REPORTED(waitSet, first, second);
}

TEST_F(WaitSetEvents, a_condition_that_fell_is_not_reported)
{
    Guard first;
    Guard second;
    TestWaitSet waitSet;
    waitSet.attach(first);
    waitSet.attach(second);
    first.set(true);
    second.set(true);
    first.set(false);
    EXPECT_REPORTED(waitSet, second);
    second.set(false);
    EXPECT_NOTHING_REPORTED(waitSet);
}

TEST_F(WaitSetEvents, due_and_fresh_ones_come_and_go_in_any_order)
{
    Guard guards[6];
    TestWaitSet waitSet({100, forever});
    for (Guard &guard : guards) waitSet.attach(guard);
    guards[0].set(true);
    guards[1].set(true);
    EXPECT_REPORTED(waitSet, guards[0], guards[1]);  // Due from here on.
    guards[2].set(true);
    guards[3].set(true);
    guards[4].set(true);
    waitSet.mask(guards[5]);
    guards[5].set(true);
    waitSet.unmask(guards[5]);
    guards[2].set(false);  // The oldest fresh one.
    waitSet.mask(guards[0]);
    EXPECT_EQ(waitSet.freshEvents(), 2);
    EXPECT_REPORTED(waitSet, guards[1], guards[3], guards[4], guards[5]);
    waitSet.detach(guards[3]);
    guards[5].set(false);
    waitSet.unmask(guards[0]);
    EXPECT_REPORTED(waitSet, guards[0], guards[1], guards[4]);
}

// ---------------------------------------------------------------- waits

TEST_F(WaitSetEvents, a_time_out_reports_a_sequence_that_cannot_be_emptied)
{
    DDS_WaitSet *const waitSet = DDS_WaitSet_new();
    DDS_ConditionSeq broken = DDS_SEQUENCE_INITIALIZER;
    broken._length = 1;  // without a buffer
    const DDS_Duration_t none = {0, 0};
    EXPECT_EQ(DDS_WaitSet_waitI(waitSet, &broken, &none), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, 2, ZYL_LOG_ASSERT_FAILURE_s, "invariant: length > maximum");
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "set length of active conditions sequence");
    EXPECT_LOG_COUNT(log, 2);
    log.clear();
    broken._length = 0;
    EXPECT_EQ(DDS_WaitSet_waitI(waitSet, &broken, &none), DDS_RETCODE_TIMEOUT);
    EXPECT_NO_LOG(log);
    EXPECT_EQ(DDS_WaitSet_delete(waitSet), DDS_RETCODE_OK);
}

TEST_F(WaitSetEvents, a_time_out_leaves_the_sequence_empty_and_the_wait_closed)
{
    Counter doorbell;
    TestWaitSet waitSet;
    waitSet.attach(doorbell);
    Conditions active;
    ASSERT_TRUE(DDS_ConditionSeq_ensure_length(&active, 3, 3));
    EXPECT_EQ(DDS_WaitSet_waitI(waitSet, &active, &noTime), DDS_RETCODE_TIMEOUT);
    EXPECT_EQ(DDS_ConditionSeq_get_length(&active), 0);
    EXPECT_EQ(DDS_WaitSet_waitI(waitSet, &active, &noTime), DDS_RETCODE_TIMEOUT);
    EXPECT_NO_LOG(log);
}

TEST_F(WaitSetEvents, nobody_waits_before_a_successful_wait_has_ended)
{
    Guard guard;
    TestWaitSet waitSet;
    waitSet.attach(guard);
    guard.set(true);
    Conditions active;
    ASSERT_EQ(DDS_WaitSet_waitI(waitSet, &active, &noTime), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_WaitSet_waitI(waitSet, &active, &noTime), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, "another wait is in progress on this wait set");
    EXPECT_THAT(active.list(), areConditions(guard)) << "the sequence was left alone";
    DDS_WaitSet_end_waitI(waitSet);
    EXPECT_EQ(DDS_WaitSet_waitI(waitSet, &active, &noTime), DDS_RETCODE_OK);
    DDS_WaitSet_end_waitI(waitSet);
    EXPECT_LOG_COUNT(log, 1);
}

TEST_F(WaitSetEvents, an_end_outside_of_the_woken_state_is_ignored)
{
    Guard guard;
    TestWaitSet waitSet;
    waitSet.attach(guard);
    DDS_WaitSet_end_waitI(waitSet);
    EXPECT_NOTHING_REPORTED(waitSet);
    guard.set(true);
    Conditions active;
    ASSERT_EQ(DDS_WaitSet_waitI(waitSet, &active, &noTime), DDS_RETCODE_OK);
    DDS_WaitSet_end_waitI(waitSet);
    DDS_WaitSet_end_waitI(waitSet);
    EXPECT_REPORTED(waitSet, guard);
    EXPECT_NO_LOG(log);
}

TEST_F(WaitSetEvents, a_wait_set_whose_wait_was_not_ended_can_be_deleted)
{
    Guard guard;
    DDS_WaitSet *const waitSet = DDS_WaitSet_new();
    ASSERT_EQ(DDS_WaitSet_attach_condition(waitSet, guard), DDS_RETCODE_OK);
    guard.set(true);
    Conditions active;
    ASSERT_EQ(DDS_WaitSet_waitI(waitSet, &active, &noTime), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_WaitSet_delete(waitSet), DDS_RETCODE_OK);
}

TEST_F(WaitSetEvents, the_sequence_grows_once_to_the_number_of_attached_conditions)
{
    Guard guards[5];
    TestWaitSet waitSet;
    for (Guard &guard : guards) waitSet.attach(guard);
    Conditions active;
    guards[0].set(true);
    ASSERT_EQ(DDS_WaitSet_wait(waitSet, &active, &noTime), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_ConditionSeq_get_maximum(&active), 5);
    const void *const buffer = active->_contiguous_buffer;

    endMemory();
    for (Guard &guard : guards) guard.set(true);
    EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, &noTime), DDS_RETCODE_OK);
    EXPECT_EQ(active.list().size(), 5U);
    EXPECT_EQ(active->_contiguous_buffer, buffer);
    bringMemoryBack();

    waitSet.detach(guards[0]);
    Conditions fewer;
    EXPECT_EQ(DDS_WaitSet_wait(waitSet, &fewer, &noTime), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_ConditionSeq_get_maximum(&fewer), 4);
    EXPECT_NO_LOG(log);
}

TEST_F(WaitSetEvents, a_sequence_that_cannot_grow_fails_the_wait_and_changes_nothing)
{
    Guard first;
    Guard second;
    TestWaitSet waitSet({1, forever});
    waitSet.attach(first);
    waitSet.attach(second);
    first.set(true);
    second.set(true);

    Conditions empty;
    endMemory();
    EXPECT_EQ(DDS_WaitSet_waitI(waitSet, &empty, &noTime), DDS_RETCODE_OUT_OF_RESOURCES);
    bringMemoryBack();
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "ensure length of active conditions sequence");
    EXPECT_EQ(waitSet.freshEvents(), 2) << "nothing became due";

    DDS_Condition_ptr room[1] = {};
    Conditions small;
    ASSERT_TRUE(DDS_ConditionSeq_loan_contiguous(&small, room, 0, 1));
    EXPECT_EQ(DDS_WaitSet_waitI(waitSet, &small, &noTime), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_EQ(waitSet.freshEvents(), 2);
    second.set(false);
    EXPECT_EQ(DDS_WaitSet_waitI(waitSet, &small, &noTime), DDS_RETCODE_OK) << "the failed waits were closed";
    EXPECT_EQ(room[0], static_cast<DDS_Condition *>(first));
    DDS_WaitSet_end_waitI(waitSet);
    ASSERT_TRUE(DDS_ConditionSeq_unloan(&small));
}

TEST_F(WaitSetEvents, a_lent_sequence_is_filled_whatever_its_layout)
{
    Guard guard;
    TestWaitSet waitSet;
    waitSet.attach(guard);
    guard.set(true);
    DDS_Condition_ptr room = nullptr;
    DDS_Condition_ptr *places[1] = {&room};
    Conditions active;
    ASSERT_TRUE(DDS_ConditionSeq_loan_discontiguous(&active, places, 0, 1));
    EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, &noTime), DDS_RETCODE_OK);
    EXPECT_EQ(room, static_cast<DDS_Condition *>(guard));
    room = nullptr;
    EXPECT_EQ(DDS_WaitSet_get_conditions(waitSet, &active), DDS_RETCODE_OK);
    EXPECT_EQ(room, static_cast<DDS_Condition *>(guard));
    ASSERT_TRUE(DDS_ConditionSeq_unloan(&active));
}

// ---------------------------------------------------------------- the walk

TEST_F(WaitSetEvents, a_walk_yields_each_attached_condition_once)
{
    Guard guard;
    Counter counter;
    TestWaitSet waitSet;
    EXPECT_EQ(DDS_WaitSet_start_conditions_iteratorI(waitSet, 0), 0);
    EXPECT_EQ(DDS_WaitSet_get_next_conditionI(waitSet, 0), nullptr);
    DDS_WaitSet_end_conditions_iteratorI(waitSet);

    waitSet.attach(counter);
    EXPECT_EQ(DDS_WaitSet_start_conditions_iteratorI(waitSet, 0), 1);
    EXPECT_EQ(DDS_WaitSet_get_next_conditionI(waitSet, 0), static_cast<DDS_Condition *>(counter));
    EXPECT_EQ(DDS_WaitSet_get_next_conditionI(waitSet, 0), nullptr);
    EXPECT_EQ(DDS_WaitSet_get_next_conditionI(waitSet, 0), nullptr);
    DDS_WaitSet_end_conditions_iteratorI(waitSet);

    waitSet.attach(guard);
    Conditions attached;
    EXPECT_EQ(DDS_WaitSet_get_conditions(waitSet, &attached), DDS_RETCODE_OK);
    EXPECT_THAT(attached.list(), areConditions(counter, guard));
    waitSet.detach(counter);
    EXPECT_EQ(DDS_WaitSet_get_conditions(waitSet, &attached), DDS_RETCODE_OK);
    EXPECT_THAT(attached.list(), areConditions(guard));
}

TEST_F(WaitSetEvents, triggers_masks_and_waits_go_on_during_a_walk)
{
    Guard guard;
    TestWaitSet waitSet;
    waitSet.attach(guard);
    ASSERT_EQ(DDS_WaitSet_start_conditions_iteratorI(waitSet, 0), 1);
    guard.set(true);
    waitSet.mask(guard);
    waitSet.unmask(guard);
    waitSet.setProperty(3, forever);
    EXPECT_REPORTED(waitSet, guard);
    EXPECT_EQ(DDS_WaitSet_get_next_conditionI(waitSet, 0), static_cast<DDS_Condition *>(guard));
    DDS_WaitSet_end_conditions_iteratorI(waitSet);
}

TEST_F(WaitSetEvents, a_query_without_memory_fails_and_ends_its_walk)
{
    Guard guard;
    TestWaitSet waitSet;
    waitSet.attach(guard);
    Conditions attached;
    endMemory();
    EXPECT_EQ(DDS_WaitSet_get_conditions(waitSet, &attached), DDS_RETCODE_OUT_OF_RESOURCES);
    bringMemoryBack();
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "ensure length of attached conditions sequence");
    waitSet.detach(guard);  // Would block for ever if the walk went on.
}

}  // namespace
