/// @file
/// Counting finished executions: what the last notification of a request does, and every step of it failing.
// Replaces: DDS_WaitSet_set_property DDS_CountingCondition_decrement
#include "AwsQueueFixture.hpp"

namespace {

constexpr auto READY = DDS_AsyncWaitSetCompletionTokenState_READY;
constexpr auto QUEUED = DDS_AsyncWaitSetCompletionTokenState_QUEUED;
constexpr auto PROCESSED = DDS_AsyncWaitSetCompletionTokenState_PROCESSED;

class Notification : public AwsQueueTest {
protected:
    void createStarted(DDS_UnsignedLong poolSize)
    {
        create(poolSize);
        markStarted(aws);
    }
    DDS_ReturnCode_t notify()
    {
        enter();
        const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_notifyTaskExecutedI(aws, firstRequest());
        leave();
        return retCode;
    }
};

TEST_F(Notification, notification_needs_a_wait_set_and_a_request)
{
    create(1);
    DDS_AWSTaskInfo record = {};
    for (const auto notification : {DDS_AsyncWaitSet_notifyTaskExecutedI, DDS_AsyncWaitSet_notify_task_executed}) {
        log.clear();
        EXPECT_EQ(notification(nullptr, &record), DDS_RETCODE_BAD_PARAMETER);
        EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"self == ((void *)0)\"");
        EXPECT_EQ(notification(aws, nullptr), DDS_RETCODE_BAD_PARAMETER);
        EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"taskInfo == ((void *)0)\"");
        EXPECT_LOG_COUNT(log, 2U);
    }
    EXPECT_EQ(record._notificationCount, 0U);
}

TEST_F(Notification, only_the_last_notification_finishes_a_request)
{
    createStarted(3);
    ProbeTask probe;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    EXPECT_EQ(submit(probe, token), DDS_RETCODE_OK);
    doubles.clear();
    for (std::uint32_t count = 1; count <= 2; ++count) {
        EXPECT_EQ(notify(), DDS_RETCODE_OK);
        EXPECT_EQ(firstRequest()->_notificationCount, count);
        EXPECT_EQ(token->_state, QUEUED);
        EXPECT_EQ(doorbell(), 1);
        EXPECT_EQ(eventCount(), immediate);
    }
    EXPECT_EQ(notify(), DDS_RETCODE_OK);
    EXPECT_EQ(token->_state, PROCESSED);
    EXPECT_EQ(queueLength() + liveRequests() + doorbell() + aws->_queuedRequestCount, 0);
    EXPECT_EQ(eventCount(), configured);
    EXPECT_EQ(doubles.count("DDS_CountingCondition_decrement(1)"), 1);
    EXPECT_NO_LOG(log);
}

TEST_F(Notification, the_configured_property_comes_back_with_the_last_pending_request)
{
    createStarted(1);
    ProbeTask probe;
    EXPECT_EQ(submit(probe), DDS_RETCODE_OK);
    EXPECT_EQ(submit(probe), DDS_RETCODE_OK);
    doubles.clear();
    EXPECT_EQ(notify(), DDS_RETCODE_OK);
    EXPECT_EQ(doorbell(), 1);
    EXPECT_EQ(eventCount(), immediate);
    EXPECT_EQ(doubles.count("DDS_WaitSet_set_property"), 0);
    EXPECT_EQ(notify(), DDS_RETCODE_OK);
    EXPECT_EQ(eventCount(), configured);
}

TEST_F(Notification, a_token_is_told_inside_the_critical_section_after_it_became_processed)
{
    createStarted(1);
    ProbeTask probe;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    EXPECT_EQ(submit(probe, token), DDS_RETCODE_OK);
    TokenInterceptor interceptor(token);
    interceptor.onNotify = [&] {
        EXPECT_EQ(token->_state, PROCESSED);
        EXPECT_EQ(criticalSectionDepth(), 1);
        EXPECT_EQ(doorbell(), 0);
        return DDS_RETCODE_ILLEGAL_OPERATION;
    };
    const PoolThreadGuise guise(aws);
    EXPECT_EQ(DDS_AsyncWaitSet_notify_task_executed(aws, firstRequest()), DDS_RETCODE_ILLEGAL_OPERATION)
        << "the handler's result";
    EXPECT_EQ(token->_state, PROCESSED);
    EXPECT_EQ(liveRequests(), 0);
}

TEST_F(Notification, a_doorbell_that_cannot_be_lowered_leaves_the_token_untold)
{
    createStarted(1);
    ProbeTask probe;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    EXPECT_EQ(submit(probe, token), DDS_RETCODE_OK);
    doubles.clear();
    doubles.on("DDS_CountingCondition_decrement").fail();
    EXPECT_EQ(notify(), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "reset internal request condition");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(token->_state, QUEUED);
    EXPECT_EQ(doubles.count("DDS_WaitSet_set_property"), 0);
    EXPECT_EQ(queueLength() + liveRequests(), 0) << "unlinked and returned before";
    token->_state = READY;
}

TEST_F(Notification, a_property_that_cannot_be_restored_leaves_the_token_untold)
{
    createStarted(1);
    ProbeTask probe;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    EXPECT_EQ(submit(probe, token), DDS_RETCODE_OK);
    doubles.on("DDS_WaitSet_set_property").fail(1, DDS_RETCODE_ILLEGAL_OPERATION);
    EXPECT_EQ(notify(), DDS_RETCODE_ILLEGAL_OPERATION);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "set WaitSet property");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(token->_state, QUEUED);
    EXPECT_EQ(queueLength() + liveRequests() + doorbell(), 0);
    token->_state = READY;
}

TEST_F(Notification, a_token_that_expects_no_notification_stays_as_it_is)
{
    createStarted(1);
    ProbeTask probe;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    for (const auto state : {READY, PROCESSED}) {
        EXPECT_EQ(submit(probe, token), DDS_RETCODE_OK);
        token->_state = state;
        log.clear();
        EXPECT_EQ(notify(), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, "invalid event completion token state");
        EXPECT_LOG_COUNT(log, 1U);
        EXPECT_EQ(token->_state, state);
        EXPECT_EQ(queueLength() + liveRequests() + doorbell(), 0);
    }
}

TEST_F(Notification, a_notification_reports_a_failing_area)
{
    createStarted(1);
    ProbeTask probe;
    EXPECT_EQ(submit(probe), DDS_RETCODE_OK);
    area("enter").fail();
    EXPECT_EQ(DDS_AsyncWaitSet_notify_task_executed(aws, firstRequest()), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, 2, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, "enter");
    EXPECT_EQ(firstRequest()->_notificationCount, 0U);
    area("leave").fail();
    EXPECT_EQ(DDS_AsyncWaitSet_notify_task_executed(aws, firstRequest()), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, 2, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, "leave");
    EXPECT_LOG_COUNT(log, 2U);
    EXPECT_EQ(queueLength(), 0);
}

}  // namespace
