/// @file
/// Requests: their records, and what submission refuses or cannot build. What it does with the others has its own file.
// Replaces: VESKFastBufferPool_getBufferWithSize ZYLOsapiHeap_reallocateMemoryInternal
#include "AwsQueueFixture.hpp"

namespace {

using State = DDS_AsyncWaitSetCompletionTokenState;
constexpr State READY = DDS_AsyncWaitSetCompletionTokenState_READY;
constexpr State QUEUED = DDS_AsyncWaitSetCompletionTokenState_QUEUED;
constexpr State PROCESSED = DDS_AsyncWaitSetCompletionTokenState_PROCESSED;

const char *const stopping = "cannot accept more completion tokens while the thread is stopping";

class Request : public AwsQueueTest {};

// ---------------------------------------------------------------- records

TEST_F(Request, a_record_has_a_node_for_every_pool_thread_and_nothing_else_set)
{
    create(3);
    ProbeTask probe;
    int userData = 0;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    for (int round = 0; round < 2; ++round) {  // the second time in the used buffer
        DDS_AWSTaskInfo *const info = DDS_AsyncWaitSet_getTaskInfo(aws, &probe.task, &userData, token);
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(info->_owner, aws);
        EXPECT_EQ(info->_task.execute, probe.task.execute);
        EXPECT_EQ(info->_task.taskData, &probe);
        EXPECT_EQ(info->_taskUserData, &userData);
        EXPECT_EQ(info->_completionToken, token);
        EXPECT_EQ(info->_executionCount, 0U);
        EXPECT_EQ(info->_notificationCount, 0U);
        EXPECT_EQ(info->_node.inlineList, nullptr);
        EXPECT_EQ(info->_lastClaimant, nullptr);
        EXPECT_EQ(info->_isClaimed + info->_isInline, 0);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(info->_threadNodes[i].userData, info);
            EXPECT_EQ(info->_threadNodes[i].node.inlineList, nullptr);
        }
        info->_executionCount = info->_notificationCount = 7;
        info->_isClaimed = info->_isInline = 1;
        DDS_AsyncWaitSet_returnTaskInfo(aws, info);
    }
    EXPECT_EQ(doubles.count("VESKFastBufferPool_getBufferWithSize(-1)"), 2);
    EXPECT_EQ(probe.executions, 0);
    EXPECT_NO_LOG(log);
}

TEST_F(Request, a_record_needs_a_wait_set_and_a_task)
{
    create(1);
    ProbeTask probe;
    EXPECT_EQ(DDS_AsyncWaitSet_getTaskInfo(nullptr, &probe.task, nullptr, nullptr), nullptr);
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"self == ((void *)0)\"");
    EXPECT_EQ(DDS_AsyncWaitSet_getTaskInfo(aws, nullptr, nullptr, nullptr), nullptr);
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"task == ((void *)0)\"");
    EXPECT_LOG_COUNT(log, 2U);
    EXPECT_EQ(liveRequests(), 0);
}

TEST_F(Request, no_buffer_gives_no_record)
{
    create(1);
    ProbeTask probe;
    doubles.on("VESKFastBufferPool_getBufferWithSize").fail();
    EXPECT_EQ(DDS_AsyncWaitSet_getTaskInfo(aws, &probe.task, nullptr, nullptr), nullptr);
    EXPECT_LOG(log, 2, ZYL_LOG_GET_FAILURE_s, "task info");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(liveRequests(), 0);
}

TEST_F(Request, no_nodes_give_the_buffer_back)
{
    create(3);
    ProbeTask probe;
    DDS_AWSTaskInfo *const former = DDS_AsyncWaitSet_getTaskInfo(aws, &probe.task, nullptr, nullptr);
    DDS_AsyncWaitSet_returnTaskInfo(aws, former);
    const std::size_t blocks = ZYLOsapiHeap_getBlockCount();
    doubles.on("ZYLOsapiHeap_reallocateMemoryInternal").with("struct VESKInlineListUserDataNode").fail();
    EXPECT_EQ(DDS_AsyncWaitSet_getTaskInfo(aws, &probe.task, nullptr, nullptr), nullptr);
    EXPECT_LOG(log, 2, ZYL_OSAPI_MEMORY_LOG_OUT_OF_HEAP_ARRAY_dd, 3, 32);
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(liveRequests(), 0);
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
    DDS_AWSTaskInfo *const next = DDS_AsyncWaitSet_getTaskInfo(aws, &probe.task, nullptr, nullptr);
    EXPECT_EQ(next, former);
    DDS_AsyncWaitSet_returnTaskInfo(aws, next);
}

TEST_F(Request, a_returned_record_frees_its_nodes_but_leaves_lists_alone)
{
    create(2);
    markStarted(aws);
    ProbeTask probe;
    const std::size_t blocks = ZYLOsapiHeap_getBlockCount();
    EXPECT_EQ(submit(probe), DDS_RETCODE_OK);
    DDS_AWSTaskInfo *const info = firstRequest();
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks + 1);
    DDS_AsyncWaitSet_returnTaskInfo(nullptr, info);
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"self == ((void *)0)\"");
    EXPECT_NE(info->_threadNodes, nullptr);
    DDS_AsyncWaitSet_returnTaskInfo(aws, info);
    EXPECT_EQ(info->_threadNodes, nullptr);
    EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks);
    EXPECT_EQ(firstRequest(), info);
    VESKInlineList_removeNodeEA(&aws->_internalTaskQueue, &info->_node);
    aws->_queuedRequestCount = 0;
    DDS_CountingCondition_decrement(aws->_taskCondition, 1);
    EXPECT_LOG_COUNT(log, 1U);
}

// ---------------------------------------------------------------- refusals

TEST_F(Request, submission_needs_a_wait_set_and_a_task)
{
    create(1);
    ProbeTask probe;
    EXPECT_EQ(DDS_AsyncWaitSet_submitTaskI(nullptr, &probe.task, nullptr, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"self == ((void *)0)\"");
    enter();
    EXPECT_EQ(DDS_AsyncWaitSet_submitTaskI(aws, nullptr, nullptr, nullptr), DDS_RETCODE_ERROR);
    leave();
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"task == ((void *)0)\"");
    EXPECT_LOG(log, 2, ZYL_LOG_GET_FAILURE_s, "internal task information");
    EXPECT_LOG_COUNT(log, 3U);
}

TEST_F(Request, everything_is_refused_while_a_stop_is_pending)
{
    create(1);
    markStarted(aws);
    ProbeTask probe;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_stop), DDS_RETCODE_OK);
    EXPECT_EQ(aws->_isStopInitiated, 1);
    for (DDS_AsyncWaitSetCompletionToken *const given :
         {token, static_cast<DDS_AsyncWaitSetCompletionToken *>(nullptr)}) {
        EXPECT_EQ(submitI(probe.task, given), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, stopping);
        EXPECT_LOG_COUNT(log, 1U);
        log.clear();
    }
    DDS_Task secondStop = {};
    secondStop.execute = DDS_AsyncWaitSetTask_stop;
    EXPECT_EQ(submitI(secondStop, nullptr), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(token->_state, READY);
    EXPECT_EQ(token->_submissionCount, 0U);
    EXPECT_EQ(queueLength(), 1);
    EXPECT_EQ(doorbell(), 1);
    EXPECT_EQ(aws->_isStopInitiated, 1);
    EXPECT_EQ(probe.executions, 0);

    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(acknowledgeStopAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(submitI(probe.task, token), DDS_RETCODE_OK) << "accepted again after the stop";
}

TEST_F(Request, a_pool_thread_submits_to_a_strictly_higher_level_only)
{
    create(1, 5);
    ProbeTask probe;
    for (const DDS_Long callerLevel : {4, 5, 6}) {
        const PoolThreadGuise guise(createOther(1, callerLevel));
        const bool isAllowed = callerLevel < 5;
        EXPECT_EQ(submitI(probe.task, nullptr), isAllowed ? DDS_RETCODE_OK : DDS_RETCODE_PRECONDITION_NOT_MET);
        if (isAllowed) {
            EXPECT_NO_LOG(log);
            continue;
        }
        EXPECT_TRACE(log, 2,
                     LogCapture::format("DDS_AsyncWaitSet_submitTaskI: tid %llu dead lock risk: cannot enter WSCT "
                                        "of level %d from WSCT of level %d\n",
                                        static_cast<unsigned long long>(guise.thread()->_threadId), 5, callerLevel));
        EXPECT_LOG_COUNT(log, 1U);
        log.clear();
    }
    EXPECT_EQ(probe.executions, 1);
    EXPECT_EQ(liveRequests(), 0);
}

TEST_F(Request, a_pool_thread_submits_to_its_own_wait_set)
{
    create(1, 5);
    ProbeTask probe;
    const PoolThreadGuise guise(aws);
    EXPECT_EQ(submitI(probe.task, nullptr), DDS_RETCODE_OK);
    EXPECT_EQ(probe.executions, 1);
    EXPECT_NO_LOG(log);
}

TEST_F(Request, the_token_of_another_wait_set_is_refused)
{
    create(1);
    ProbeTask probe;
    DDS_AsyncWaitSetCompletionToken *const foreign = newToken(createOther(1, 1));
    EXPECT_EQ(submitI(probe.task, foreign), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, "completion token does not belong to this AWS");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(foreign->_state, READY);
    EXPECT_EQ(probe.executions, 0);
}

TEST_F(Request, a_token_serves_one_pending_request_at_a_time)
{
    create(1);
    markStarted(aws);
    ProbeTask probe;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    EXPECT_EQ(submitI(probe.task, token), DDS_RETCODE_OK);
    EXPECT_NO_LOG(log);
    EXPECT_EQ(submitI(probe.task, token), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG_COUNT(log, 2U);
    const auto entries = log.entries();
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].text, "completion token currently in use");
    EXPECT_EQ(entries[1].text, "invalid completion token state");
    EXPECT_EQ(log.count(2, ZYL_LOG_ANY_s), 2);
    EXPECT_EQ(token->_state, QUEUED);
    EXPECT_EQ(token->_submissionCount, 1U);
    EXPECT_EQ(queueLength(), 1);
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(submitI(probe.task, token), DDS_RETCODE_OK) << "a processed token is used again";
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
}

TEST_F(Request, a_token_is_reset_before_it_is_queued)
{
    create(1);
    markStarted(aws);
    ProbeTask probe;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    token->_taskResult = &probe;
    token->_state = PROCESSED;
    token->retCode = DDS_RETCODE_OK;
    TokenInterceptor interceptor(token);
    interceptor.onReset = [&] {
        EXPECT_EQ(token->_state, READY);
        EXPECT_EQ(token->retCode, DDS_RETCODE_ERROR);
        EXPECT_EQ(token->_taskResult, nullptr);
        EXPECT_EQ(criticalSectionDepth(), 1);
        return DDS_RETCODE_OK;
    };
    EXPECT_EQ(submitI(probe.task, token), DDS_RETCODE_OK);
    EXPECT_EQ(token->_state, QUEUED);
    takeBack();
}

TEST_F(Request, a_failed_reset_ends_the_submission)
{
    create(1);
    markStarted(aws);
    ProbeTask probe;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    TokenInterceptor interceptor(token);
    interceptor.onReset = [] { return DDS_RETCODE_ILLEGAL_OPERATION; };
    EXPECT_EQ(submitI(probe.task, token), DDS_RETCODE_ILLEGAL_OPERATION);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "reset event completion token handler");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(token->_state, READY);
    EXPECT_EQ(token->retCode, DDS_RETCODE_ERROR);
    EXPECT_EQ(queueLength() + liveRequests() + doorbell(), 0);
}

TEST_F(Request, a_request_that_cannot_be_built_reports_ok_to_its_own_token)
{
    create(2);
    ProbeTask probe;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    for (const bool isBufferMissing : {true, false}) {
        if (isBufferMissing)
            doubles.on("VESKFastBufferPool_getBufferWithSize").fail();
        else
            doubles.on("ZYLOsapiHeap_reallocateMemoryInternal").with("struct VESKInlineListUserDataNode").fail();
        log.clear();
        EXPECT_EQ(submitI(probe.task, token), DDS_RETCODE_OK);
        EXPECT_LOG(log, 2, ZYL_LOG_GET_FAILURE_s, "internal task information");
        EXPECT_LOG_COUNT(log, 2U);
        EXPECT_EQ(token->_state, QUEUED) << "with nothing behind it";
        EXPECT_EQ(token->retCode, DDS_RETCODE_ERROR);
        EXPECT_EQ(token->_isRequestMissing, 1);
        EXPECT_EQ(liveRequests() + queueLength() + probe.executions, 0);
        token->_state = READY;
    }
}

TEST_F(Request, a_request_that_cannot_be_built_is_an_error_without_a_token)
{
    create(2);
    ProbeTask probe;
    doubles.on("VESKFastBufferPool_getBufferWithSize").fail();
    EXPECT_EQ(submitI(probe.task, nullptr), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, 2, ZYL_LOG_GET_FAILURE_s, "task info");
    EXPECT_LOG(log, 2, ZYL_LOG_GET_FAILURE_s, "internal task information");
    EXPECT_LOG_COUNT(log, 2U);
    EXPECT_EQ(probe.executions, 0);
}

}  // namespace
