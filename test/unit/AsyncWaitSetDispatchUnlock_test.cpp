/// @file
/// The early unlock: who may call it, what it does, and what the dispatcher then leaves out.
#include "DispatchFixture.hpp"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Unlock : public DispatchFixture {
protected:
    DDS_ReturnCode_t unlock(std::size_t i)
    {
        return DDS_AsyncWaitSet_unlock_condition(aws.get(), guards[i].condition());
    }
};

TEST_F(Unlock, a_null_wait_set_is_reported_before_a_null_condition)
{
    create(2, 1);
    const LogCapture log(0xff);
    EXPECT_EQ(DDS_AsyncWaitSet_unlock_condition(nullptr, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "self");
    EXPECT_LOG_COUNT(log, 1u);
    EXPECT_EQ(DDS_AsyncWaitSet_unlock_condition(aws.get(), nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "condition");
    EXPECT_LOG_COUNT(log, 2u);
}

TEST_F(Unlock, an_application_thread_is_refused)
{
    create(2, 1);
    const LogCapture log(0xff);
    doubles.clear();
    EXPECT_EQ(unlock(0), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_s, "a condition can be unlocked only from a dispatching thread");
    EXPECT_LOG_COUNT(log, 1u);
    EXPECT_THAT(doubles.calls(), IsEmpty());
}

TEST_F(Unlock, a_pool_thread_that_dispatches_nothing_has_nothing_to_unlock)
{
    create(2, 1);
    const PoolThreadGuise guise(aws.get());
    const LogCapture log(0xff);
    doubles.clear();
    EXPECT_EQ(unlock(0), DDS_RETCODE_OK);
    EXPECT_NO_LOG(log);
    EXPECT_THAT(doubles.calls(), IsEmpty());
}

TEST_F(Unlock, another_condition_than_the_dispatched_one_is_refused)
{
    create(2, 2);
    guards[0].trigger();
    const LogCapture log;
    inHandler = [&](HandledGuard &) {
        EXPECT_EQ(unlock(1), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_EQ(info(0)->isLocked, 1);
        EXPECT_EQ(aws->_threadPool[0]._lockedConditionInfo, info(0));
    };
    EXPECT_THAT(wakeUp(), ElementsAre("look at a", "mask a", "end wait", "leave", "dispatch a", "unmask a", "enter"));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_s, "specified condition is not being dispatched");
    EXPECT_LOG_COUNT(log, 1u);
}

TEST_F(Unlock, unlocking_twice_is_ok_and_unmasks_once_in_the_whole_dispatch)
{
    create(2, 1);
    guards[0].trigger();
    const LogCapture log;
    inHandler = [&](HandledGuard &) {
        EXPECT_EQ(unlock(0), DDS_RETCODE_OK);
        EXPECT_EQ(info(0)->isLocked, 0);
        EXPECT_EQ(aws->_threadPool[0]._lockedConditionInfo, nullptr);
        EXPECT_EQ(unlock(0), DDS_RETCODE_OK);
        EXPECT_THAT(doubles.calls(), ElementsAre("look at a", "mask a", "end wait", "leave", "dispatch a", "unmask a"));
    };
    EXPECT_THAT(wakeUp(), ElementsAre("look at a", "mask a", "end wait", "leave", "dispatch a", "unmask a", "enter"));
    EXPECT_NO_LOG(log);
}

TEST_F(Unlock, the_next_leader_may_dispatch_an_unlocked_condition_while_its_handler_goes_on)
{
    create(2, 1);
    guards[0].trigger();
    bool isOuter = true;
    inHandler = [&](HandledGuard &guard) {
        if (!isOuter) return;
        isOuter = false;
        guard.trigger();
        const PoolThreadGuise second(aws.get(), 1);
        ASSERT_EQ(DDS_AsyncWaitSet_becomeNewLeader(aws.get(), second.thread()), 1);
        DDS_AsyncWaitSet_onWakeUpThreadPool(aws.get(), nullptr);
        EXPECT_EQ(guard.mostInside, 1);  // still locked
        DDS_AsyncWaitSetGlobals_setThreadSpecific(aws->_globals, &aws->_threadPool[0]);
        EXPECT_EQ(unlock(0), DDS_RETCODE_OK);
        DDS_AsyncWaitSetGlobals_setThreadSpecific(aws->_globals, &aws->_threadPool[1]);
        DDS_AsyncWaitSet_onWakeUpThreadPool(aws.get(), nullptr);
        EXPECT_EQ(guard.mostInside, 2);
        EXPECT_EQ(DDS_AsyncWaitSet_promoteNewLeader(aws.get(), second.thread()), 1);
    };
    wakeUp();
    EXPECT_EQ(guards[0].runs, 2);
    EXPECT_EQ(info(0)->isLocked, 0);
}

TEST_F(Unlock, a_condition_that_cannot_be_unmasked_stays_locked_until_its_handler_ends)
{
    create(2, 1);
    guards[0].trigger();
    const LogCapture log;
    doubles.on(mask).with(DDS_BOOLEAN_TRUE).fail(1, DDS_RETCODE_OUT_OF_RESOURCES);
    inHandler = [&](HandledGuard &) {
        EXPECT_EQ(unlock(0), DDS_RETCODE_OUT_OF_RESOURCES);
        EXPECT_EQ(info(0)->isLocked, 1);
        EXPECT_EQ(aws->_threadPool[0]._lockedConditionInfo, info(0));
    };
    EXPECT_THAT(wakeUp(),
                ElementsAre("look at a", "mask a", "end wait", "leave", "dispatch a", "unmask a", "unmask a", "enter"));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "mask condition");
    EXPECT_LOG_COUNT(log, 1u);
    EXPECT_EQ(info(0)->isLocked, 0);
}

TEST_F(Unlock, a_single_thread_locks_nothing_so_unlocking_is_ok_and_does_nothing)
{
    create(1, 1);
    guards[0].trigger();
    const LogCapture log;
    inHandler = [&](HandledGuard &) { EXPECT_EQ(unlock(0), DDS_RETCODE_OK); };
    EXPECT_THAT(wakeUpAlone(), ElementsAre("end wait", "dispatch a"));
    EXPECT_EQ(guards[0].runs, 1);
    EXPECT_NO_LOG(log);
}

TEST_F(Unlock, another_wait_set_of_the_same_condition_refuses_and_nothing_is_unmasked_there)
{
    create(2, 1);
    const DDS_AsyncWaitSetProperty_t property = propertyOf(2);
    const std::unique_ptr<DDS_AsyncWaitSet, Deleter> other(DDS_AsyncWaitSet_new(&property));
    ASSERT_EQ(DDS_AsyncWaitSet_attach_condition(other.get(), guards[0].condition()), DDS_RETCODE_OK);
    const LogCapture log;
    const auto unlockOther = [&] { return DDS_AsyncWaitSet_unlock_condition(other.get(), guards[0].condition()); };
    guards[0].trigger();
    inHandler = [&](HandledGuard &) {
        EXPECT_EQ(unlockOther(), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_EQ(info(0)->isLocked, 1);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_s, "specified condition is not being dispatched");
        EXPECT_EQ(unlock(0), DDS_RETCODE_OK);
        EXPECT_EQ(unlockOther(), DDS_RETCODE_OK);  // nothing is locked any more
    };
    EXPECT_THAT(wakeUp(), ElementsAre("look at a", "mask a", "end wait", "leave", "dispatch a", "unmask a", "enter"));
    EXPECT_LOG_COUNT(log, 1u);
}

}  // namespace
