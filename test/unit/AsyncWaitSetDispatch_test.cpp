/// @file
/// Dispatch: the two wake-up handlers, called directly on a thread in the guise of a pool thread. Every service that
/// they call is replaced, written down in order, and made to fail.
#include "DispatchFixture.hpp"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Dispatch : public DispatchFixture {};

// ---------------------------------------------------------------- one thread

TEST_F(Dispatch, a_single_thread_ends_the_wait_and_dispatches_everything_in_order)
{
    create(1, 3);
    guards[1].trigger();
    info(2)->isLocked = 1;  // not looked at
    EXPECT_THAT(wakeUpAlone(), ElementsAre("end wait", "dispatch a", "dispatch b", "dispatch c"));
    EXPECT_EQ(guards[0].runs, 0);
    EXPECT_EQ(guards[1].runs, 1);
    EXPECT_EQ(info(0)->isLocked, 0);
    EXPECT_EQ(info(1)->isLocked, 0);
    EXPECT_EQ(info(2)->isLocked, 1);
    EXPECT_EQ(aws->_nextConditionInfo, nullptr);
}

TEST_F(Dispatch, a_single_thread_with_nothing_attached_only_ends_the_wait)
{
    create(1, 0);
    EXPECT_THAT(wakeUpAlone(), ElementsAre("end wait"));
}

TEST_F(Dispatch, a_single_thread_locks_nothing_while_it_dispatches)
{
    create(1, 1);
    guards[0].trigger();
    inHandler = [&](HandledGuard &) {
        EXPECT_EQ(info(0)->isLocked, 0);
        EXPECT_EQ(aws->_threadPool[0]._lockedConditionInfo, nullptr);
    };
    EXPECT_THAT(wakeUpAlone(), ElementsAre("end wait", "dispatch a"));
    EXPECT_EQ(guards[0].runs, 1);
}

TEST_F(Dispatch, both_handlers_refuse_a_null_wait_set)
{
    const LogCapture log(0xff);
    ZYLLog_g_detectPrecondition = 1;
    for (const auto handler : {DDS_AsyncWaitSet_onWakeUpSingleThread, DDS_AsyncWaitSet_onWakeUpThreadPool}) {
        ZYLLog_g_preconditionDetected = 0;
        handler(nullptr, nullptr);
        EXPECT_EQ(ZYLLog_g_preconditionDetected, 1);
    }
    ZYLLog_g_detectPrecondition = ZYLLog_g_preconditionDetected = 0;
    EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s, "\"handlerData == ((void *)0)\"");
    EXPECT_LOG_COUNT(log, 2u);
    EXPECT_EQ(log.entries()[0].function, "DDS_AsyncWaitSet_onWakeUpSingleThread");
    EXPECT_EQ(log.entries()[1].function, "DDS_AsyncWaitSet_onWakeUpThreadPool");
    EXPECT_THAT(doubles.calls(), IsEmpty());
}

// ---------------------------------------------------------------- a pool: what is picked

TEST_F(Dispatch, a_thread_without_a_record_dispatches_nothing_and_leaves_the_wait_open)
{
    create(2, 1);
    guards[0].trigger();
    const LogCapture log(0xff);
    doubles.clear();
    DDS_AsyncWaitSet_onWakeUpThreadPool(aws.get(), nullptr);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_GET_FAILURE_s, "AsyncWaitSet thread");
    EXPECT_LOG_COUNT(log, 1u);
    EXPECT_THAT(doubles.calls(), IsEmpty());
    EXPECT_EQ(guards[0].runs, 0);
}

TEST_F(Dispatch, a_registry_that_counts_conditions_but_has_none_leaves_the_wait_open)
{
    create(2, 0);
    aws->_conditionInfoList._size = 1;
    const LogCapture log(0x3);
    EXPECT_THAT(wakeUp(), IsEmpty());
    EXPECT_TRUE(isLeaderAfterwards);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_PRECONDITION, ZYL_LOG_PRECONDITION_FAILURE_s, "\"conditionInfo == ((void *)0)\"");
    EXPECT_LOG_COUNT(log, 1u);
    aws->_conditionInfoList._size = 0;
}

TEST_F(Dispatch, a_wake_up_without_conditions_ends_the_wait_and_keeps_leadership)
{
    create(2, 0);
    const LogCapture log;
    EXPECT_THAT(wakeUp(), ElementsAre("end wait"));
    EXPECT_TRUE(isLeaderAfterwards);
    EXPECT_NO_LOG(log);
}

TEST_F(Dispatch, a_wake_up_for_a_request_only_looks_at_every_condition_once_and_keeps_leadership)
{
    create(2, 3);
    aws->_nextConditionInfo = info(1);
    EXPECT_THAT(wakeUp(), ElementsAre("look at b", "look at c", "look at a", "end wait"));
    EXPECT_TRUE(isLeaderAfterwards);
    EXPECT_EQ(aws->_nextConditionInfo, info(1));
}

TEST_F(Dispatch, the_target_is_masked_before_the_wait_ends_and_dispatched_after_leadership_is_given_up)
{
    create(2, 2);
    guards[0].trigger();
    inHandler = [&](HandledGuard &) {
        EXPECT_EQ(depth(), 0);
        EXPECT_EQ(info(0)->isLocked, 1);
        EXPECT_EQ(aws->_threadPool[0]._lockedConditionInfo, info(0));
        EXPECT_EQ(aws->_nextConditionInfo, info(1));
        VESKWorker *const worker = DDS_AsyncWaitSetGlobals_getWorker(aws->_globals);
        EXPECT_EQ(VESKWorker_getExclusiveAreaDepth(worker, aws->_criticalSectionEA), 0);
    };
    EXPECT_THAT(wakeUp(), ElementsAre("look at a", "mask a", "end wait", "leave", "dispatch a", "unmask a", "enter"));
    EXPECT_TRUE(isLeaderAfterwards);
    EXPECT_EQ(guards[0].runs, 1);
    EXPECT_EQ(info(0)->isLocked, 0);
    EXPECT_EQ(aws->_threadPool[0]._lockedConditionInfo, nullptr);
}

TEST_F(Dispatch, the_pick_begins_at_the_cursor_and_goes_around)
{
    create(2, 3);
    aws->_nextConditionInfo = info(2);
    guards[1].trigger();
    guards[0].trigger();
    const LogCapture log(ZYL_LOG_LEVEL_DISPATCH);
    EXPECT_THAT(wakeUp(), ElementsAre("look at c", "look at a", "mask a", "end wait", "leave", "dispatch a", "unmask a",
                                      "enter"));
    EXPECT_EQ(aws->_nextConditionInfo, info(1));
    // The distance from the cursor, not the place in the list; and the prefix belongs to another level.
    EXPECT_TRACE(log, ZYL_LOG_LEVEL_DISPATCH, "notifying condition handler at index 1\n");
    EXPECT_LOG_COUNT(log, 1u);
}

TEST_F(Dispatch, the_cursor_returns_to_the_head_after_the_tail)
{
    create(2, 2);
    for (HandledGuard &guard : guards) guard.trigger();
    wakeUp();
    EXPECT_EQ(aws->_nextConditionInfo, info(1));
    wakeUp();
    EXPECT_EQ(aws->_nextConditionInfo, nullptr);
    EXPECT_EQ(guards[0].runs, 1);
    EXPECT_EQ(guards[1].runs, 1);

    for (HandledGuard &guard : guards) guard.trigger();
    wakeUp();
    EXPECT_EQ(guards[0].runs, 2);
    EXPECT_EQ(guards[1].runs, 1);
}

TEST_F(Dispatch, a_locked_condition_is_skipped_by_the_next_leader)
{
    create(2, 2);
    for (HandledGuard &guard : guards) guard.trigger();
    info(0)->isLocked = 1;
    EXPECT_THAT(wakeUp(), ElementsAre("look at b", "mask b", "end wait", "leave", "dispatch b", "unmask b", "enter"));
    EXPECT_THAT(wakeUp(), ElementsAre("look at b", "end wait"));
    EXPECT_EQ(guards[0].runs, 0);
    EXPECT_EQ(info(0)->isLocked, 1);
}

TEST_F(Dispatch, while_one_thread_dispatches_the_next_leader_picks_the_other_condition)
{
    create(2, 2);
    guards[0].trigger();
    guards[1].trigger();
    inHandler = [&](HandledGuard &guard) {
        if (&guard != &guards[0]) return;
        const PoolThreadGuise second(aws.get(), 1);
        ASSERT_EQ(DDS_AsyncWaitSet_becomeNewLeader(aws.get(), second.thread()), 1);
        guards[0].trigger();  // triggered again while locked: not its turn
        DDS_AsyncWaitSet_onWakeUpThreadPool(aws.get(), nullptr);
        DDS_AsyncWaitSet_onWakeUpThreadPool(aws.get(), nullptr);
        EXPECT_EQ(DDS_AsyncWaitSet_promoteNewLeader(aws.get(), second.thread()), 1);
    };
    wakeUp();
    EXPECT_EQ(guards[0].runs, 1);
    EXPECT_EQ(guards[0].mostInside, 1);
    EXPECT_EQ(guards[1].runs, 1);
    EXPECT_TRUE(guards[0].isTriggered());
}

TEST_F(Dispatch, a_condition_that_its_handler_leaves_triggered_is_dispatched_again)
{
    create(2, 1);
    guards[0].trigger();
    inHandler = [](HandledGuard &guard) {
        if (guard.runs < 2) guard.trigger();
    };
    for (int i = 0; i < 4; ++i) wakeUp();
    EXPECT_EQ(guards[0].runs, 3);
}

TEST_F(Dispatch, a_dispatch_is_traced_behind_the_thread_name)
{
    create(2, 1);
    guards[0].trigger();
    const LogCapture log(ZYL_LOG_LEVEL_TRACE | ZYL_LOG_LEVEL_DISPATCH);
    wakeUp(1);
    std::vector<std::string> texts;
    for (const LogCapture::Entry &entry : log.entries()) texts.push_back(entry.text);
    EXPECT_THAT(texts, ElementsAre("[AWS|second]: ", "became new leader\n", "[AWS|second]: ", "promoting new leader\n",
                                   "[AWS|second]: ", "notifying condition handler at index 0\n", "[AWS|second]: ",
                                   "became new leader\n", "[AWS|second]: ", "promoting new leader\n"));
    EXPECT_TRACE(log, ZYL_LOG_LEVEL_DISPATCH, "notifying condition handler at index 0\n");
}

TEST_F(Dispatch, without_the_dispatch_level_only_the_thread_name_is_traced)
{
    create(2, 1);
    guards[0].trigger();
    const LogCapture log(ZYL_LOG_LEVEL_TRACE);
    wakeUp();
    EXPECT_EQ(log.entries().size(), 9u) << log.print();
    for (const LogCapture::Entry &entry : log.entries()) EXPECT_EQ(entry.level, ZYL_LOG_LEVEL_TRACE);
}

// ---------------------------------------------------------------- a pool: what fails

TEST_F(Dispatch, a_condition_that_cannot_be_masked_is_dispatched_regardless)
{
    create(2, 1);
    guards[0].trigger();
    doubles.on(mask).with(DDS_BOOLEAN_FALSE).failFrom(1, DDS_RETCODE_ERROR);
    const LogCapture log;
    EXPECT_THAT(wakeUp(), ElementsAre("look at a", "mask a", "end wait", "leave", "dispatch a", "unmask a", "enter"));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "lock condition");
    EXPECT_LOG_COUNT(log, 1u);
    EXPECT_EQ(guards[0].runs, 1);
    EXPECT_EQ(info(0)->isLocked, 0);
}

TEST_F(Dispatch, a_condition_that_cannot_be_unmasked_is_unlocked_all_the_same)
{
    create(2, 1);
    guards[0].trigger();
    doubles.on(mask).with(DDS_BOOLEAN_TRUE).failFrom(1, DDS_RETCODE_OUT_OF_RESOURCES);
    const LogCapture log;
    wakeUp();
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "unlock condition");
    EXPECT_LOG_COUNT(log, 1u);
    EXPECT_TRUE(isLeaderAfterwards);
    EXPECT_EQ(info(0)->isLocked, 0);
    EXPECT_EQ(aws->_threadPool[0]._lockedConditionInfo, nullptr);
}

TEST_F(Dispatch, a_leader_that_cannot_hand_over_does_not_dispatch_and_leaves_the_condition_locked)
{
    create(2, 1);
    guards[0].trigger();
    failToLeave();
    const LogCapture log;
    EXPECT_THAT(wakeUp(), ElementsAre("look at a", "mask a", "end wait", "leave"));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_FAILED_TO_UNLOCK_TEMPLATE, "Pool synchronizer EA.");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "promote new leader");
    EXPECT_LOG_COUNT(log, 2u);
    EXPECT_EQ(guards[0].runs, 0);
    EXPECT_EQ(info(0)->isLocked, 1);
    EXPECT_EQ(aws->_threadPool[0]._lockedConditionInfo, info(0));
}

TEST_F(Dispatch, a_dispatcher_that_cannot_lead_again_reports_it_and_has_unlocked_its_condition)
{
    create(2, 1);
    guards[0].trigger();
    inHandler = [&](HandledGuard &) { synchronizer(enter).failFrom(1); };
    const LogCapture log;
    EXPECT_THAT(wakeUp(), ElementsAre("look at a", "mask a", "end wait", "leave", "dispatch a", "unmask a", "enter"));
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_FAILED_TO_LOCK_TEMPLATE, "Pool synchronizer EA.");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "become leader");
    EXPECT_LOG_COUNT(log, 2u);
    EXPECT_FALSE(isLeaderAfterwards);
    EXPECT_EQ(guards[0].runs, 1);
    EXPECT_EQ(info(0)->isLocked, 0);
}

TEST_F(Dispatch, the_lock_mark_is_cleared_after_an_early_unlock_too)
{
    create(2, 1);
    guards[0].trigger();
    inHandler = [&](HandledGuard &guard) {
        EXPECT_EQ(DDS_AsyncWaitSet_unlock_condition(aws.get(), guard.condition()), DDS_RETCODE_OK);
        info(0)->isLocked = 1;  // as the next leader marks it
        aws->_threadPool[1]._lockedConditionInfo = info(0);
    };
    EXPECT_THAT(wakeUp(), ElementsAre("look at a", "mask a", "end wait", "leave", "dispatch a", "unmask a", "enter"));
    EXPECT_EQ(info(0)->isLocked, 0);
    EXPECT_EQ(aws->_threadPool[1]._lockedConditionInfo, info(0));
    aws->_threadPool[1]._lockedConditionInfo = nullptr;
}

}  // namespace
