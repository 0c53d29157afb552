/// @file
/// Submission under the critical section: queued in a started wait set, executed on the caller otherwise, with every
/// service below it failing.
// Replaces: DDS_WaitSet_set_property DDS_CountingCondition_increment DDS_CountingCondition_decrement
#include "AwsQueueFixture.hpp"

namespace {

using State = DDS_AsyncWaitSetCompletionTokenState;
constexpr State READY = DDS_AsyncWaitSetCompletionTokenState_READY;
constexpr State QUEUED = DDS_AsyncWaitSetCompletionTokenState_QUEUED;
constexpr State PROCESSED = DDS_AsyncWaitSetCompletionTokenState_PROCESSED;

class RequestSubmission : public AwsQueueTest {
protected:
    RequestSubmission()
    {
        doubles.on("DDS_WaitSet_set_property").as([](DDS_WaitSet *, const DDS_WaitSetProperty_t *property) {
            return property == &DDS_AWS_g_IMMEDIATE_WAKEUP_WAITSET_PROPERTY ? "set immediate" : "set configured";
        });
    }
    /// Nothing of a failed submission is left but its record, which waits for finalization.
    void expectStranded()
    {
        EXPECT_EQ(queueLength(), 0);
        EXPECT_EQ(aws->_queuedRequestCount, 0);
        EXPECT_EQ(doorbell(), 0);
        EXPECT_EQ(eventCount(), configured);
        EXPECT_EQ(liveRequests(), 1);
        EXPECT_EQ(aws->_isStopInitiated, 0);
    }
};

// ---------------------------------------------------------------- queued

TEST_F(RequestSubmission, a_started_wait_set_queues_in_order_and_rings_once_for_each)
{
    create(2);
    markStarted(aws);
    ProbeTask first;
    ProbeTask second;
    EXPECT_EQ(submitI(first.task, nullptr, &first), DDS_RETCODE_OK);
    EXPECT_EQ(doorbell(), 1);
    EXPECT_EQ(eventCount(), immediate);
    EXPECT_EQ(submitI(second.task, nullptr, &second), DDS_RETCODE_OK);
    EXPECT_EQ(doorbell(), 2);
    EXPECT_EQ(queueLength(), 2);
    EXPECT_EQ(doubles.count("set immediate"), 1) << "by the first only";
    EXPECT_EQ(firstRequest()->_taskUserData, &first);
    EXPECT_EQ(aws->_isStopInitiated, 0);
    EXPECT_EQ(first.executions + second.executions, 0);

    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(executeAs(1), DDS_RETCODE_OK);
    EXPECT_EQ(doubles.count("set configured"), 1) << "when both are finished";
    EXPECT_EQ(eventCount(), configured);
    EXPECT_NO_LOG(log);
}

TEST_F(RequestSubmission, the_immediate_property_stands_before_the_doorbell_rings)
{
    create(1);
    markStarted(aws);
    ProbeTask probe;
    doubles.on("DDS_CountingCondition_increment").before(1, [this] { EXPECT_EQ(eventCount(), immediate); });
    EXPECT_EQ(submitI(probe.task, nullptr), DDS_RETCODE_OK);
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
}

TEST_F(RequestSubmission, a_submission_whose_property_fails_is_taken_back)
{
    create(2);
    markStarted(aws);
    DDS_Task stop = {};
    stop.execute = DDS_AsyncWaitSetTask_stop;
    doubles.on("DDS_WaitSet_set_property")
        .with(&DDS_AWS_g_IMMEDIATE_WAKEUP_WAITSET_PROPERTY)
        .fail(1, DDS_RETCODE_ILLEGAL_OPERATION);
    EXPECT_EQ(submitI(stop, nullptr), DDS_RETCODE_ILLEGAL_OPERATION);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "set WaitSet property");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(doubles.count("DDS_CountingCondition_increment"), 0);
    expectStranded();
}

TEST_F(RequestSubmission, a_submission_that_cannot_ring_is_taken_back)
{
    create(2);
    markStarted(aws);
    DDS_Task stop = {};
    stop.execute = DDS_AsyncWaitSetTask_stop;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    doubles.on("DDS_CountingCondition_increment").fail();
    EXPECT_EQ(submitI(stop, token), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "trigger internal request condition");
    EXPECT_LOG_COUNT(log, 1U);
    expectStranded();
    EXPECT_EQ(token->_state, QUEUED) << "an own token is not told";
    token->_state = READY;
}

TEST_F(RequestSubmission, a_failed_submission_leaves_the_requests_before_it_alone)
{
    create(1);
    markStarted(aws);
    ProbeTask first;
    ProbeTask second;
    EXPECT_EQ(submitI(first.task, nullptr), DDS_RETCODE_OK);
    doubles.on("DDS_CountingCondition_increment").fail();
    EXPECT_EQ(submitI(second.task, nullptr), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_EQ(queueLength(), 1);
    EXPECT_EQ(doorbell(), 1);
    EXPECT_EQ(eventCount(), immediate);
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(first.executions, 1);
    EXPECT_EQ(second.executions, 0);
    EXPECT_EQ(liveRequests(), 1) << "kept until finalization";
}

// ---------------------------------------------------------------- inline

TEST_F(RequestSubmission, a_wait_set_that_is_not_started_executes_for_every_pool_thread_on_the_caller)
{
    create(3);
    std::vector<std::uint32_t> executionCounts;
    std::vector<std::uint32_t> notificationCounts;
    ProbeTask probe([&](const DDS_AWSTaskInfo *info) {
        executionCounts.push_back(info->_executionCount);
        notificationCounts.push_back(info->_notificationCount);
        EXPECT_EQ(info->_isInline, 1);
        EXPECT_EQ(info->_completionToken->_state, QUEUED);
        EXPECT_EQ(criticalSectionDepth(), 1);
        EXPECT_EQ(queueLength(), 0);
    });
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    EXPECT_EQ(submitI(probe.task, token), DDS_RETCODE_OK);
    EXPECT_THAT(executionCounts, testing::ElementsAre(1, 2, 3));
    EXPECT_THAT(notificationCounts, testing::ElementsAre(0, 1, 2));
    EXPECT_EQ(token->_state, PROCESSED);
    EXPECT_EQ(liveRequests() + doorbell(), 0);
    EXPECT_EQ(doubles.count("DDS_CountingCondition_increment") + doubles.count("set immediate"), 0);
    EXPECT_NO_LOG(log);
}

TEST_F(RequestSubmission, an_inline_request_whose_last_notification_fails_is_not_told)
{
    create(2);
    struct Fault {
        const char *service;
        const char *message;
        DDS_ReturnCode_t retCode;
    };
    constexpr Fault faults[] = {
        {"DDS_CountingCondition_decrement", "reset internal request condition", DDS_RETCODE_OUT_OF_RESOURCES},
        {"DDS_WaitSet_set_property", "set WaitSet property", DDS_RETCODE_ILLEGAL_OPERATION}};
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    for (const auto &[service, message, retCode] : faults) {
        ProbeTask probe;
        doubles.on(service).fail(1, retCode);
        log.clear();
        EXPECT_EQ(submitI(probe.task, token), retCode);
        EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, message);
        EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "notify request processed");
        EXPECT_LOG_COUNT(log, 2U);
        EXPECT_EQ(probe.executions, 2);
        EXPECT_EQ(token->_state, QUEUED);
        EXPECT_EQ(liveRequests(), 0) << "its record was returned before";
        token->_state = READY;
    }
}

TEST_F(RequestSubmission, inline_requests_leave_the_doorbell_of_queued_ones_alone)
{
    create(1);
    markStarted(aws);
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_stop), DDS_RETCODE_OK);
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    ASSERT_EQ(aws->_isStarted, 0) << "stopped, and the stop not yet acknowledged";
    ASSERT_EQ(queueLength(), 1);
    ProbeTask probe;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    EXPECT_EQ(submitI(probe.task, token), DDS_RETCODE_OK);
    EXPECT_EQ(probe.executions, 1);
    EXPECT_EQ(token->_state, PROCESSED);
    EXPECT_EQ(doorbell(), 1);
    EXPECT_EQ(eventCount(), immediate);
    EXPECT_EQ(acknowledgeStopAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(doorbell(), 0);
    EXPECT_EQ(eventCount(), configured);
}

}  // namespace
