/// @file
/// Requests from the pool's side: claiming, executing and handing over. Notification has its own file. The calling
/// thread plays the pool threads, one inside the other where they overlap.
// Replaces: DDS_CountingCondition_decrement DDS_WaitSet_attach_condition
#include "AwsQueueFixture.hpp"

namespace {

using testing::ElementsAre;

constexpr auto QUEUED = DDS_AsyncWaitSetCompletionTokenState_QUEUED;
constexpr auto PROCESSED = DDS_AsyncWaitSetCompletionTokenState_PROCESSED;

class Execution : public AwsQueueTest {
protected:
    void createStarted(DDS_UnsignedLong poolSize)
    {
        create(poolSize);
        markStarted(aws);
    }
    /// The calls of leadership and barrier.
    std::vector<std::string> handOver() const { return doubles.callsOf({"lead", "promote", "barrier"}); }
    /// With what `plan` makes fail while thread 0 hands over.
    void expectHandOverFails(const std::function<void()> &plan, const char *message)
    {
        ProbeTask probe;
        createStarted(2);
        EXPECT_EQ(submit(probe), DDS_RETCODE_OK);
        EXPECT_EQ(executeAs(1), DDS_RETCODE_OK);
        plan();
        EXPECT_EQ(executeAs(0), DDS_RETCODE_ERROR);
        EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, message);
        EXPECT_EQ(probe.executions, 2) << "executed and finished all the same";
        EXPECT_EQ(queueLength(), 0);
    }
};

// ---------------------------------------------------------------- execution by one thread

TEST_F(Execution, execution_needs_a_wait_set)
{
    create(1);
    DDS_AWSTaskInfo *pending = nullptr;
    EXPECT_EQ(DDS_AsyncWaitSet_executeInternalTasks(nullptr, &pending, &aws->_threadPool[0]),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"self == ((void *)0)\"");
    EXPECT_LOG_COUNT(log, 1U);
}

TEST_F(Execution, an_empty_queue_costs_no_lock_and_no_meeting)
{
    createStarted(2);
    const PoolThreadGuise guise(aws);
    doubles.clear();
    EXPECT_EQ(DDS_AsyncWaitSet_executeInternalTasks(aws, &pendingStop[0], guise.thread()), DDS_RETCODE_OK);
    EXPECT_TRUE(doubles.calls().empty());
    EXPECT_EQ(guise.thread()->_lastRequestCount, 0);
    EXPECT_EQ(pendingStop[0], nullptr);
}

TEST_F(Execution, requests_are_claimed_together_and_executed_in_order_outside_the_critical_section)
{
    createStarted(2);
    std::vector<int> order;
    DDS_AWSTaskInfo *second = nullptr;
    ProbeTask a([&](const DDS_AWSTaskInfo *) {
        order.push_back(1);
        EXPECT_EQ(criticalSectionDepth(), 0);
        EXPECT_EQ(second->_executionCount, 1U) << "claimed before the first is executed";
        EXPECT_EQ(aws->_threadPool[0]._lastRequestCount, 1);
    });
    ProbeTask b([&](const DDS_AWSTaskInfo *) {
        order.push_back(2);
        EXPECT_EQ(firstRequest()->_notificationCount, 1U) << "each is notified at once";
        EXPECT_EQ(aws->_threadPool[0]._lastRequestCount, 2);
    });
    EXPECT_EQ(submit(a), DDS_RETCODE_OK);
    EXPECT_EQ(submit(b), DDS_RETCODE_OK);
    second = reinterpret_cast<DDS_AWSTaskInfo *>(firstRequest()->_node.next);
    doubles.clear();
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    EXPECT_THAT(order, ElementsAre(1, 2));
    EXPECT_THAT(handOver(), ElementsAre("lead", "promote", "barrier", "barrier", "lead", "promote"))
        << "between the two calls of the test: hand over, meet once for each request, lead again";
    EXPECT_EQ(aws->_threadPool[0]._lastRequestCount, 0);
    EXPECT_EQ(aws->_threadPool[0]._hasFoundWork, 1);
    EXPECT_EQ(queueLength(), 2) << "until every thread has executed them";
    EXPECT_EQ(firstRequest()->_threadNodes[0].node.inlineList, nullptr);
    takeBack();
    takeBack();
    EXPECT_NO_LOG(log);
}

TEST_F(Execution, a_token_is_processed_when_every_thread_has_executed_its_request)
{
    createStarted(3);
    ProbeTask probe;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    EXPECT_EQ(submit(probe, token), DDS_RETCODE_OK);
    EXPECT_EQ(executeAs(1), DDS_RETCODE_OK);
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(token->_state, QUEUED);
    EXPECT_EQ(executeAs(2), DDS_RETCODE_OK);
    EXPECT_EQ(token->_state, PROCESSED);
    EXPECT_EQ(probe.executions, 3);
    EXPECT_EQ(liveRequests(), 0);
}

TEST_F(Execution, one_pool_thread_meets_nobody)
{
    createStarted(1);
    ProbeTask probe;
    EXPECT_EQ(submit(probe), DDS_RETCODE_OK);
    doubles.clear();
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    EXPECT_TRUE(handOver().empty());
    EXPECT_EQ(probe.executions, 1);
    EXPECT_EQ(aws->_threadPool[0]._lastRequestCount, 0);
}

TEST_F(Execution, a_request_that_arrives_meanwhile_waits_for_the_next_claim)
{
    createStarted(1);
    ProbeTask late;
    ProbeTask probe([&](const DDS_AWSTaskInfo *) { EXPECT_EQ(submit(late), DDS_RETCODE_OK); });
    EXPECT_EQ(submit(probe), DDS_RETCODE_OK);
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(late.executions, 0);
    EXPECT_EQ(eventCount(), immediate) << "still pending";
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(late.executions, 1);
    EXPECT_EQ(eventCount(), configured);
}

TEST_F(Execution, a_claim_reports_a_failing_area_and_executes_nothing)
{
    createStarted(2);
    ProbeTask probe;
    EXPECT_EQ(submit(probe), DDS_RETCODE_OK);
    for (const char *const step : {"enter", "leave"}) {
        log.clear();
        doubles.clear();
        area(step).fail();
        EXPECT_EQ(executeAs(0), DDS_RETCODE_ERROR);
        EXPECT_LOG(log, 2, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, step);
        EXPECT_LOG_COUNT(log, 1U);
        EXPECT_EQ(probe.executions, 0);
        EXPECT_EQ(doubles.count("barrier"), 0);
    }
    EXPECT_EQ(queueLength(), 1);
    takeBack();
}

TEST_F(Execution, a_notification_that_fails_ends_the_execution)
{
    createStarted(1);
    ProbeTask first;
    ProbeTask second;
    EXPECT_EQ(submit(first), DDS_RETCODE_OK);
    EXPECT_EQ(submit(second), DDS_RETCODE_OK);
    doubles.on("DDS_CountingCondition_decrement").fail();
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "notify request processed");
    EXPECT_EQ(first.executions, 1);
    EXPECT_EQ(second.executions, 0);
    takeBack();
}

TEST_F(Execution, leadership_that_cannot_be_given_up_ends_the_execution)
{
    expectHandOverFails([this] { area("promote").fail(); }, "promote new leader");
    EXPECT_EQ(doubles.count("barrier"), 1) << "only that of the other thread";
}

TEST_F(Execution, a_broken_barrier_ends_the_execution)
{
    expectHandOverFails([this] { doubles.on("ZYLOsapiBarrier_wait").fail(); }, "wait for threads");
}

TEST_F(Execution, leadership_that_cannot_be_had_back_ends_the_execution)
{
    constexpr int second = 2;  // the first one is the test's
    expectHandOverFails([this] { area("lead").fail(second); }, "become leader");
}

TEST_F(Execution, a_stop_is_left_to_be_acknowledged_and_nothing_is_handed_over)
{
    createStarted(2);
    ProbeTask probe;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    EXPECT_EQ(submit(probe), DDS_RETCODE_OK);
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_stop, token), DDS_RETCODE_OK);
    doubles.clear();
    for (const int i : {0, 1}) EXPECT_EQ(executeAs(i), DDS_RETCODE_OK);
    EXPECT_THAT(handOver(), ElementsAre("lead", "promote", "lead", "promote")) << "given up by the stop, no barrier";
    EXPECT_EQ(aws->_threadPool[0]._lastRequestCount, 2) << "the thread still owes one barrier";
    EXPECT_EQ(queueLength(), 1);
    EXPECT_EQ(pendingStop[0], firstRequest());
    EXPECT_EQ(pendingStop[1], firstRequest());
    EXPECT_EQ(firstRequest()->_notificationCount, 0U);
    EXPECT_EQ(heard.count("deleted"), 2);
    EXPECT_EQ(aws->_isStarted, 0);
    EXPECT_EQ(acknowledgeStopAs(1), DDS_RETCODE_OK);
    EXPECT_EQ(token->_state, QUEUED);
    EXPECT_EQ(acknowledgeStopAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(token->_state, PROCESSED);
    EXPECT_NO_LOG(log);
}

TEST_F(Execution, a_stop_that_is_not_the_last_of_its_batch_is_an_error)
{
    createStarted(1);
    ProbeTask late;
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_stop), DDS_RETCODE_OK);
    aws->_isStopInitiated = 0;
    EXPECT_EQ(submit(late), DDS_RETCODE_OK);
    ASSERT_EQ(executeAs(0), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s,
               "\"VESKInlineListNode_getNext(&userNode->node) != ((void *)0)\"");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(late.executions, 0);
    EXPECT_EQ(pendingStop[0], firstRequest());
    EXPECT_EQ(acknowledgeStopAs(0), DDS_RETCODE_OK);
    takeBack();
}

TEST_F(Execution, the_first_claim_of_a_thread_takes_nothing_without_a_start_request)
{
    createStarted(1);
    ProbeTask probe;
    EXPECT_EQ(submit(probe), DDS_RETCODE_OK);
    aws->_threadPool[0]._mustClaimStart = 1;
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    ASSERT_EQ(probe.executions, 0);
    EXPECT_EQ(firstRequest()->_executionCount, 0U);
    EXPECT_EQ(aws->_threadPool[0]._mustClaimStart, 1);

    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_start), DDS_RETCODE_OK);
    EXPECT_EQ(executeAs(0, false), DDS_RETCODE_OK);
    EXPECT_EQ(probe.executions, 1) << "with the start it takes everything";
    EXPECT_EQ(heard.count("spawned"), 1);
    EXPECT_EQ(aws->_threadPool[0]._mustClaimStart, 0);
}

// ---------------------------------------------------------------- threads that overlap

TEST_F(Execution, the_thread_that_claims_last_is_the_last_to_execute_whoever_finishes_last)
{
    createStarted(2);
    bool isOuter = true;
    ProbeTask overlap([&](const DDS_AWSTaskInfo *) {
        if (!std::exchange(isOuter, false)) return;
        EXPECT_EQ(executeAs(1), DDS_RETCODE_OK);  // claims and executes all of it before thread 0 goes on
    });
    DDS_Condition *const condition = newCondition();
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    EXPECT_EQ(submit(overlap), DDS_RETCODE_OK);
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_attachCondition, token, condition), DDS_RETCODE_OK);
    doubles.clear();
    doubles.on("DDS_WaitSet_attach_condition").fail();
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(doubles.count("DDS_WaitSet_attach_condition"), 1) << "thread 0 sees a full count, but is not the last";
    EXPECT_EQ(DDS_AsyncWaitSet_isHandlerAttached(aws, condition), 0);
    EXPECT_EQ(heard.count("attached"), 0);
    EXPECT_EQ(token->_state, PROCESSED);
    EXPECT_EQ(token->retCode, DDS_RETCODE_OUT_OF_RESOURCES) << "the late OK of thread 0 does not hide the error";
}

TEST_F(Execution, an_early_execution_reports_ok_until_the_last_one_fails)
{
    createStarted(2);
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_attachCondition, token, newCondition()), DDS_RETCODE_OK);
    EXPECT_EQ(token->retCode, DDS_RETCODE_ERROR);
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(token->retCode, DDS_RETCODE_OK);
    doubles.on("DDS_WaitSet_attach_condition").fail();
    EXPECT_EQ(executeAs(1), DDS_RETCODE_OK);
    EXPECT_EQ(token->retCode, DDS_RETCODE_OUT_OF_RESOURCES);
}

TEST_F(Execution, a_stop_is_finished_once_by_the_thread_that_claimed_it_last)
{
    createStarted(3);
    int depth = 0;
    ProbeTask overlap([&](const DDS_AWSTaskInfo *info) {
        if (depth == 2) return;
        depth += 1;
        EXPECT_EQ(executeAs(depth), DDS_RETCODE_OK);
        if (depth == 2 && info->_lastClaimant != nullptr) {
            EXPECT_EQ(info->_lastClaimant, &aws->_threadPool[2]);
            EXPECT_EQ(aws->_isStarted, 0);
            aws->_isStopInitiated = 1;  // whoever finished the stop again would clear this
            aws->_runningState = DDS_SUSPENDED_AWS_STARTED_STATE;
        }
    });
    EXPECT_EQ(submit(overlap), DDS_RETCODE_OK);
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_stop), DDS_RETCODE_OK);
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(depth, 2);
    EXPECT_EQ(heard.count("deleted"), 3);
    EXPECT_EQ(aws->_isStopInitiated, 1);
    EXPECT_EQ(aws->_runningState, DDS_SUSPENDED_AWS_STARTED_STATE);
    aws->_isStopInitiated = 0;
    aws->_runningState = DDS_RUNNING_AWS_STARTED_STATE;
    for (const int i : {0, 1, 2}) EXPECT_EQ(acknowledgeStopAs(i), DDS_RETCODE_OK);
}

}  // namespace
