/// @file
/// The tasks attach, detach and set state, executed directly as pool threads and as submitters, with every service
/// below them failing. Start and stop have their own file.
// Replaces: DDS_WaitSet_attach_condition DDS_WaitSet_detach_condition
// Replaces: VESKFastBufferPool_getBufferWithSize
#include "AwsTaskFixture.hpp"
#include "halo_runtime/dds/DDS_String.pkg.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Task : public AwsTaskTest {};

TEST_F(Task, every_task_needs_a_request)
{
    create(1);
    for (const auto task : {DDS_AsyncWaitSetTask_start, DDS_AsyncWaitSetTask_stop, DDS_AsyncWaitSetTask_attachCondition,
                            DDS_AsyncWaitSetTask_detachCondition, DDS_AsyncWaitSetTask_setState}) {
        log.clear();
        EXPECT_EQ(task(nullptr, nullptr), nullptr);
        EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"taskInfo == ((void *)0)\"");
        EXPECT_LOG_COUNT(log, 1U);
    }
    EXPECT_THAT(heard.events(), IsEmpty());
}

// ---------------------------------------------------------------- attach

TEST_F(Task, an_attach_registers_attaches_unmasks_and_reports)
{
    create(2);
    DDS_Condition *const condition = newCondition();
    heard.onEvent = [&](const RecordingListener::Event &event) {
        EXPECT_EQ(event.condition, condition);
        EXPECT_THAT(registered(), ElementsAre(condition));
        EXPECT_EQ(doubles.count("DDS_WaitSet_attach_condition"), 1);
        EXPECT_EQ(criticalSectionDepth(), 1) << "on the submitter: inside the critical section";
    };
    doubles.clear();
    EXPECT_EQ(attach(condition), DDS_RETCODE_OK);
    EXPECT_EQ(heard.count("attached"), 1) << "by the last of the two executions";
    EXPECT_EQ(doubles.count("VESKFastBufferPool_getBufferWithSize(-1)"), 2)
        << "one for the request, one for the condition";
    EXPECT_THAT(masks(condition), ElementsAre(true));
    EXPECT_TRUE(takesPart(guards.back()));
    EXPECT_NO_LOG(log);
}

TEST_F(Task, a_pool_thread_attaches_outside_the_critical_section)
{
    create(2);
    markStarted(aws);
    DDS_Condition *const condition = newCondition();
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_attachCondition, token, condition), DDS_RETCODE_OK);
    heard.onEvent = [&](const RecordingListener::Event &) { EXPECT_EQ(criticalSectionDepth(), 0); };
    EXPECT_EQ(executeAs(1), DDS_RETCODE_OK);
    EXPECT_THAT(heard.events(), IsEmpty()) << "not the last";
    EXPECT_THAT(registered(), IsEmpty());
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(heard.count("attached"), 1);
    EXPECT_EQ(token->retCode, DDS_RETCODE_OK);
}

TEST_F(Task, attaching_twice_changes_nothing)
{
    create(1);
    DDS_Condition *const condition = newCondition();
    EXPECT_EQ(attach(condition), DDS_RETCODE_OK);
    doubles.clear();
    EXPECT_EQ(attach(condition), DDS_RETCODE_OK);
    EXPECT_EQ(heard.count("attached"), 1);
    EXPECT_THAT(registered(), ElementsAre(condition));
    EXPECT_EQ(doubles.count("DDS_WaitSet_attach_condition"), 0);
    EXPECT_THAT(masks(condition), IsEmpty());
    EXPECT_NO_LOG(log);
}

TEST_F(Task, a_condition_attached_while_suspended_is_masked_until_resume)
{
    create(1);
    EXPECT_EQ(setState(DDS_SUSPENDED_AWS_STARTED_STATE), DDS_RETCODE_OK);
    HandledGuard &guard = newGuard();
    EXPECT_EQ(attach(guard.condition()), DDS_RETCODE_OK);
    EXPECT_THAT(masks(guard.condition()), ElementsAre(false));
    EXPECT_FALSE(takesPart(guard));
    EXPECT_EQ(setState(DDS_RUNNING_AWS_STARTED_STATE), DDS_RETCODE_OK);
    EXPECT_TRUE(takesPart(guard));
    EXPECT_EQ(heard.count("attached"), 1);
}

TEST_F(Task, an_attach_without_a_record_fails)
{
    create(1);
    DDS_Condition *const condition = newCondition();
    doubles.on("VESKFastBufferPool_getBufferWithSize").fail(2);
    EXPECT_EQ(attach(condition), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, 2, ZYL_LOG_GET_FAILURE_s, "event handler info object from pool");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_THAT(registered(), IsEmpty());
    EXPECT_EQ(heard.count("attached"), 0);
    EXPECT_EQ(attach(condition), DDS_RETCODE_OK) << "the next one succeeds";
}

TEST_F(Task, a_refused_attach_is_rolled_back)
{
    create(1);
    DDS_Condition *const first = newCondition();
    DDS_Condition *const second = newCondition();
    EXPECT_EQ(attach(first), DDS_RETCODE_OK);
    const std::size_t blocks = ZYLOsapiHeap_getBlockCount();
    for (int round = 0; round < 4; ++round) {  // more often than there are records
        log.clear();
        doubles.on("DDS_WaitSet_attach_condition").fail();
        EXPECT_EQ(attach(second), DDS_RETCODE_OUT_OF_RESOURCES);
        EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "attach condition");
        EXPECT_LOG_COUNT(log, 1U);
        EXPECT_THAT(registered(), ElementsAre(first));
    }
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks) << "the record went back to its pool";
    EXPECT_EQ(doubles.count("DDS_WaitSet_detach_condition"), 0);
    EXPECT_EQ(heard.count("attached"), 1);
    EXPECT_THAT(masks(second), IsEmpty());
}

TEST_F(Task, an_attach_whose_mask_fails_stands_without_a_callback)
{
    create(1);
    HandledGuard &guard = newGuard();
    doubles.on("DDS_WaitSet_mask_condition").fail();
    EXPECT_EQ(attach(guard.condition()), DDS_RETCODE_OK);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "mask condition");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(heard.count("attached"), 0);
    EXPECT_THAT(registered(), ElementsAre(guard.condition()));
    EXPECT_TRUE(takesPart(guard));
}

TEST_F(Task, conditions_come_and_go_without_a_listener)
{
    aws = createOther(1, 1);
    DDS_Condition *const condition = newCondition();
    EXPECT_EQ(attach(condition), DDS_RETCODE_OK);
    EXPECT_EQ(detach(condition), DDS_RETCODE_OK);
    EXPECT_NO_LOG(log);
}

// ---------------------------------------------------------------- detach

TEST_F(Task, a_detach_unmasks_detaches_reports_and_forgets_in_this_order)
{
    create(1);
    HandledGuard &guard = newGuard();
    EXPECT_EQ(attach(guard.condition()), DDS_RETCODE_OK);
    EXPECT_EQ(setState(DDS_SUSPENDED_AWS_STARTED_STATE), DDS_RETCODE_OK);
    doubles.on("DDS_WaitSet_detach_condition").before(1, [&] {
        EXPECT_TRUE(takesPart(guard)) << "it leaves unmasked";
    });
    heard.onEvent = [&](const RecordingListener::Event &event) {
        EXPECT_EQ(event.condition, guard.condition());
        EXPECT_EQ(DDS_AsyncWaitSet_isHandlerAttached(aws, guard.condition()), 1) << "reported before it is forgotten";
        EXPECT_EQ(doubles.count("DDS_WaitSet_detach_condition"), 1) << "and after it was detached";
    };
    EXPECT_EQ(detach(guard.condition()), DDS_RETCODE_OK);
    EXPECT_EQ(heard.count("detached"), 1);
    EXPECT_THAT(registered(), IsEmpty());
    EXPECT_FALSE(takesPart(guard));
    EXPECT_NO_LOG(log);
}

TEST_F(Task, detaching_what_is_not_attached_succeeds_silently)
{
    create(2);
    doubles.clear();
    EXPECT_EQ(detach(newCondition()), DDS_RETCODE_OK);
    EXPECT_EQ(heard.count("detached"), 0);
    EXPECT_EQ(doubles.count("DDS_WaitSet_detach_condition"), 0);
    EXPECT_NO_LOG(log);
}

TEST_F(Task, a_detach_that_cannot_unmask_is_an_error_and_changes_nothing)
{
    create(1);
    DDS_Condition *const condition = newCondition();
    EXPECT_EQ(attach(condition), DDS_RETCODE_OK);
    doubles.on("DDS_WaitSet_mask_condition").fail();
    EXPECT_EQ(detach(condition), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "mask condition");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(doubles.count("DDS_WaitSet_detach_condition"), 0);
    EXPECT_EQ(heard.count("detached"), 0);
    EXPECT_THAT(registered(), ElementsAre(condition));
}

TEST_F(Task, a_refused_detach_leaves_the_condition_registered)
{
    create(1);
    HandledGuard &guard = newGuard();
    EXPECT_EQ(attach(guard.condition()), DDS_RETCODE_OK);
    doubles.on("DDS_WaitSet_detach_condition").fail();
    EXPECT_EQ(detach(guard.condition()), DDS_RETCODE_ILLEGAL_OPERATION);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "detach condition");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(heard.count("detached"), 0);
    EXPECT_THAT(registered(), ElementsAre(guard.condition()));
    EXPECT_TRUE(takesPart(guard));
}

// ---------------------------------------------------------------- set state

TEST_F(Task, a_state_that_does_not_exist_is_refused_and_leaves_the_token_alone)
{
    create(1);
    DDS_Condition *const condition = newCondition();
    EXPECT_EQ(attach(condition), DDS_RETCODE_OK);
    doubles.clear();
    for (const int state : {2, -1, 7}) {
        log.clear();
        EXPECT_EQ(setState(state), DDS_RETCODE_ERROR);
        EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s,
                   "\"startedState < 0 || startedState >= DDS_AsyncWaitSetStartedStateKind_count\"");
        EXPECT_LOG_COUNT(log, 1U);
        EXPECT_EQ(aws->_runningState, DDS_RUNNING_AWS_STARTED_STATE);
    }
    EXPECT_THAT(masks(condition), IsEmpty());
}

TEST_F(Task, a_state_is_applied_to_all_conditions_in_registry_order_each_time)
{
    create(2);
    DDS_Condition *const first = newCondition();
    DDS_Condition *const second = newCondition();
    EXPECT_EQ(attach(first), DDS_RETCODE_OK);
    EXPECT_EQ(attach(second), DDS_RETCODE_OK);
    const std::pair<int, bool> states[] = {{DDS_SUSPENDED_AWS_STARTED_STATE, false},
                                           {DDS_SUSPENDED_AWS_STARTED_STATE, false},
                                           {DDS_RUNNING_AWS_STARTED_STATE, true},
                                           {DDS_RUNNING_AWS_STARTED_STATE, true}};
    for (const auto &[state, isRunning] : states) {
        doubles.clear();
        EXPECT_EQ(setState(state), DDS_RETCODE_OK);
        EXPECT_EQ(static_cast<int>(aws->_runningState), state);
        EXPECT_THAT(maskCalls(), ElementsAre(maskCall(first, isRunning), maskCall(second, isRunning)));
        EXPECT_EQ(takesPart(guards[0]), isRunning);
        EXPECT_EQ(takesPart(guards[1]), isRunning);
    }
    EXPECT_NO_LOG(log);
}

TEST_F(Task, a_state_that_cannot_be_applied_to_one_condition_is_applied_to_the_others)
{
    create(1);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(attach(newCondition()), DDS_RETCODE_OK);
    doubles.on("DDS_WaitSet_mask_condition").fail(2);
    EXPECT_EQ(setState(DDS_SUSPENDED_AWS_STARTED_STATE), DDS_RETCODE_OK);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "mask condition");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_FALSE(takesPart(guards[0]));
    EXPECT_TRUE(takesPart(guards[1]));
    EXPECT_FALSE(takesPart(guards[2]));
    EXPECT_EQ(aws->_runningState, DDS_SUSPENDED_AWS_STARTED_STATE);
}

// ---------------------------------------------------------------- which execution is the last

TEST_F(Task, without_a_claim_any_full_count_is_the_last)
{
    create(2);
    HandledGuard &guard = newGuard();
    for (const std::uint32_t count : {1U, 2U, 5U}) {
        DDS_AWSTaskInfo info = requestOf(guard.condition(), count);
        EXPECT_EQ(DDS_AsyncWaitSetTask_attachCondition(nullptr, &info), nullptr);
        EXPECT_EQ(DDS_AsyncWaitSet_isHandlerAttached(aws, guard.condition()), count < 2 ? 0 : 1);
        info = requestOf(guard.condition(), count);
        EXPECT_EQ(DDS_AsyncWaitSetTask_detachCondition(nullptr, &info), nullptr);
        EXPECT_EQ(DDS_AsyncWaitSet_isHandlerAttached(aws, guard.condition()), 0);
    }
    EXPECT_EQ(heard.count("attached"), 2);
    EXPECT_EQ(heard.count("detached"), 2);
}

TEST_F(Task, of_claimed_requests_only_the_last_claimant_is_the_last)
{
    create(2);
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    struct Case {
        DDS_Task_ExecuteFcn task;
        void *userData;
    };
    const Case cases[] = {{DDS_AsyncWaitSetTask_attachCondition, newCondition()},
                          {DDS_AsyncWaitSetTask_detachCondition, newCondition()},
                          {DDS_AsyncWaitSetTask_setState, nullptr}};
    EXPECT_EQ(attach(static_cast<DDS_Condition *>(cases[1].userData)), DDS_RETCODE_OK);
    const auto before = heard.events().size();
    for (const Case &one : cases) {
        DDS_AWSTaskInfo info = requestOf(one.userData, 2, token);
        info._isClaimed = 1;
        info._lastClaimant = &aws->_threadPool[1];
        token->retCode = DDS_RETCODE_TIMEOUT;
        const PoolThreadGuise guise(aws, 0);
        EXPECT_EQ(one.task(nullptr, &info), nullptr);
        EXPECT_EQ(token->retCode, DDS_RETCODE_TIMEOUT) << "the last one may have written it already";
    }
    EXPECT_EQ(heard.events().size(), before);
    EXPECT_EQ(aws->_runningState, DDS_RUNNING_AWS_STARTED_STATE);
    for (const Case &one : cases) {
        DDS_AWSTaskInfo info = requestOf(one.userData, 2, token);
        info._isClaimed = 1;
        info._lastClaimant = &aws->_threadPool[1];
        const PoolThreadGuise guise(aws, 1);
        EXPECT_EQ(one.task(nullptr, &info), nullptr);
        EXPECT_EQ(token->retCode, DDS_RETCODE_OK);
        token->retCode = DDS_RETCODE_TIMEOUT;
    }
    EXPECT_EQ(heard.events().size(), before + 2);
    EXPECT_EQ(aws->_runningState, DDS_SUSPENDED_AWS_STARTED_STATE);
}

TEST_F(Task, an_early_execution_reports_ok_under_the_critical_section)
{
    create(2);
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    for (const auto task :
         {DDS_AsyncWaitSetTask_attachCondition, DDS_AsyncWaitSetTask_detachCondition, DDS_AsyncWaitSetTask_setState}) {
        DDS_AWSTaskInfo info = requestOf(nullptr, 1, token);
        token->retCode = DDS_RETCODE_ERROR;
        area("leave").before(1, [&] { EXPECT_EQ(token->retCode, DDS_RETCODE_OK); });
        area("enter").before(1, [&] { EXPECT_EQ(token->retCode, DDS_RETCODE_ERROR); });
        doubles.clear();
        EXPECT_EQ(task(nullptr, &info), nullptr);
        EXPECT_THAT(doubles.calls(), ElementsAre("enter", "leave"));
        EXPECT_EQ(token->retCode, DDS_RETCODE_OK);

        info._completionToken = nullptr;
        doubles.clear();
        EXPECT_EQ(task(nullptr, &info), nullptr);
        EXPECT_THAT(doubles.calls(), IsEmpty()) << "there is nobody to report to";

        for (const char *const step : {"enter", "leave"}) {
            info._completionToken = token;
            token->retCode = DDS_RETCODE_ERROR;
            area(step).fail();
            log.clear();
            EXPECT_EQ(task(nullptr, &info), nullptr);
            EXPECT_LOG(log, 2, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, step);
            EXPECT_LOG_COUNT(log, 1U);
        }
    }
    EXPECT_THAT(heard.events(), IsEmpty());
}

TEST_F(Task, a_last_execution_on_a_pool_thread_leaves_a_trace)
{
    create(1);
    DDSLog_g_instrumentationMask |= ZYL_LOG_LEVEL_TRACE;
    aws->_threadPool[0]._threadName = DDS_String_dup("first");
    DDS_Condition *const condition = newCondition();
    const std::pair<DDS_Task_ExecuteFcn, const char *> traces[] = {
        {DDS_AsyncWaitSetTask_attachCondition, "processing attach condition request\n"},
        {DDS_AsyncWaitSetTask_setState, "processing set state request\n"},
        {DDS_AsyncWaitSetTask_detachCondition, "processing detach condition request\n"}};
    for (const auto &[task, text] : traces) {
        void *const userData = task == DDS_AsyncWaitSetTask_setState ? nullptr : condition;
        DDS_AWSTaskInfo info = requestOf(userData, 1);
        log.clear();
        {
            const PoolThreadGuise guise(aws);
            EXPECT_EQ(task(nullptr, &info), nullptr);
        }
        EXPECT_TRACE(log, 8, "[AWS|first]: ");
        EXPECT_TRACE(log, 8, text);
        EXPECT_LOG_COUNT(log, 2U);
        log.clear();
        EXPECT_EQ(task(nullptr, &info), nullptr);
        EXPECT_NO_LOG(log);
    }
    EXPECT_EQ(DDS_AsyncWaitSet_isHandlerAttached(aws, condition), 0);
}

}  // namespace
