/// @file
/// Submission with a token of the caller's, a lent one or none: what is waited for, which tokens are given back, and
/// every step failing.
// Replaces: DDS_AsyncWaitSetCompletionToken_wait DDS_AsyncWaitSet_loanCompletionToken
// Replaces: DDS_AsyncWaitSet_returnLoanedCompletionToken
// Replaces: VESKFastBufferPool_getBufferWithSize DDS_WaitSet_attach_condition
#include "AwsQueueFixture.hpp"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

namespace {

constexpr auto READY = DDS_AsyncWaitSetCompletionTokenState_READY;
constexpr auto QUEUED = DDS_AsyncWaitSetCompletionTokenState_QUEUED;
constexpr auto PROCESSED = DDS_AsyncWaitSetCompletionTokenState_PROCESSED;

class SubmitTask : public AwsQueueTest {
protected:
    SubmitTask()
    {
        doubles.on("DDS_AsyncWaitSetCompletionToken_wait")
            .as([](DDS_AsyncWaitSetCompletionToken *, const DDS_Duration_t *timeout) {
                return timeout == &DDS_DURATION_INFINITE ? "wait(infinite)" : "wait(other)";
            });
    }
    /// Make a wait set with one idle token, which every later loan lends.
    void createWithIdleToken(DDS_UnsignedLong poolSize)
    {
        create(poolSize);
        lent = DDS_AsyncWaitSet_loanCompletionToken(aws);
        ASSERT_EQ(DDS_AsyncWaitSet_returnLoanedCompletionToken(aws, lent), DDS_RETCODE_OK);
        doubles.clear();
    }
    /// The lent token was given back, ready for the next loan.
    void expectGivenBack()
    {
        EXPECT_EQ(lentTokens(), 0);
        EXPECT_EQ(idleTokens(), 1);
        EXPECT_NE(lent->_state, QUEUED);
    }
    /// It was not, so the wait set refuses to be deleted; give it back in its place.
    void expectKept()
    {
        EXPECT_EQ(lentTokens(), 1);
        EXPECT_EQ(idleTokens(), 0);
        doubles.heal();
        log.clear();
        EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_LOG(log, 2, ZYL_LOG_DELETE_s,
                   "AsyncWaitSet. There are alive completion tokens created from this object.");
        lent->_state = READY;
        EXPECT_EQ(DDS_AsyncWaitSet_returnLoanedCompletionToken(aws, lent), DDS_RETCODE_OK);
    }

    DDS_AsyncWaitSetCompletionToken *lent = nullptr;
};

TEST_F(SubmitTask, null_arguments_are_reported)
{
    create(1);
    ProbeTask probe;
    doubles.clear();
    EXPECT_EQ(DDS_AsyncWaitSet_submit_task(nullptr, &probe.task, nullptr, ignoreToken()), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"self == ((void *)0)\"");
    EXPECT_EQ(DDS_AsyncWaitSet_submit_task(aws, nullptr, nullptr, ignoreToken()), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"task == ((void *)0)\"");
    EXPECT_LOG_COUNT(log, 2U);
    EXPECT_TRUE(doubles.calls().empty());
}

TEST_F(SubmitTask, the_ignore_token_and_null_mean_no_token)
{
    create(1);
    for (DDS_AsyncWaitSetCompletionToken *const given :
         {ignoreToken(), static_cast<DDS_AsyncWaitSetCompletionToken *>(nullptr)}) {
        ProbeTask probe([](const DDS_AWSTaskInfo *info) { EXPECT_EQ(info->_completionToken, nullptr); });
        EXPECT_EQ(submit(probe, given), DDS_RETCODE_OK);
        EXPECT_EQ(probe.executions, 1);
    }
    EXPECT_EQ(doubles.count("DDS_AsyncWaitSet_loanCompletionToken") + doubles.count("wait(infinite)"), 0);
    EXPECT_EQ(ignoreToken()->_submissionCount, 0U) << "the special tokens are never touched";
    EXPECT_NO_LOG(log);
}

TEST_F(SubmitTask, a_token_of_the_callers_is_not_waited_for)
{
    create(1);
    markStarted(aws);
    ProbeTask probe;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    doubles.clear();
    EXPECT_EQ(submit(probe, token), DDS_RETCODE_OK);
    EXPECT_EQ(token->_state, QUEUED);
    EXPECT_EQ(firstRequest()->_completionToken, token);
    EXPECT_EQ(doubles.count("DDS_AsyncWaitSet_loanCompletionToken") + doubles.count("wait(infinite)") +
                  doubles.count("DDS_AsyncWaitSet_returnLoanedCompletionToken"),
              0);
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(token->_state, PROCESSED);
}

TEST_F(SubmitTask, the_implicit_token_is_lent_waited_for_and_given_back)
{
    create(2);
    ProbeTask probe([this](const DDS_AWSTaskInfo *info) {
        EXPECT_EQ(lentTokens(), 1);
        lent = info->_completionToken;
        info->_completionToken->retCode = DDS_RETCODE_OK;
    });
    for (int round = 0; round < 2; ++round) {
        doubles.clear();
        EXPECT_EQ(submit(probe, implicitToken()), DDS_RETCODE_OK);
        EXPECT_EQ(doubles.count("DDS_AsyncWaitSet_loanCompletionToken"), 1);
        EXPECT_EQ(doubles.count("wait(infinite)"), 1);
        EXPECT_EQ(doubles.count("DDS_AsyncWaitSet_returnLoanedCompletionToken"), 1);
        expectGivenBack();
    }
    EXPECT_EQ(probe.executions, 4);
    EXPECT_EQ(implicitToken()->_submissionCount, 0U);
    EXPECT_NO_LOG(log);
}

TEST_F(SubmitTask, the_wait_stands_outside_the_critical_section)
{
    create(1);
    doubles.on("DDS_AsyncWaitSetCompletionToken_wait").before(1, [this] { EXPECT_EQ(criticalSectionDepth(), 0); });
    doubles.on("DDS_AsyncWaitSet_returnLoanedCompletionToken").before(1, [this] {
        EXPECT_EQ(criticalSectionDepth(), 0);
    });
    EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, newCondition()), DDS_RETCODE_OK);
    EXPECT_EQ(doubles.count("wait(infinite)"), 1);
}

TEST_F(SubmitTask, a_loan_that_fails_ends_the_submission)
{
    create(1);
    ProbeTask probe;
    doubles.on("DDS_AsyncWaitSet_loanCompletionToken").fail();
    EXPECT_EQ(submit(probe, implicitToken()), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "loan completion token");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(probe.executions, 0);
    EXPECT_EQ(lentTokens(), 0);
    EXPECT_EQ(criticalSectionDepth(), 0);
}

TEST_F(SubmitTask, a_refused_submission_is_reported_and_gives_its_lent_token_back)
{
    createWithIdleToken(1);
    aws->_isStopInitiated = 1;
    ProbeTask probe;
    EXPECT_EQ(submit(probe, implicitToken()), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, "cannot accept more completion tokens while the thread is stopping");
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_submitTaskI");
    EXPECT_LOG_COUNT(log, 2U);
    EXPECT_EQ(doubles.count("wait(infinite)"), 0);
    expectGivenBack();
    EXPECT_EQ(submit(probe), DDS_RETCODE_PRECONDITION_NOT_MET) << "without a token it is refused too";
    aws->_isStopInitiated = 0;
}

TEST_F(SubmitTask, a_request_that_cannot_be_built_never_waits)
{
    createWithIdleToken(2);
    ProbeTask probe;
    doubles.on("VESKFastBufferPool_getBufferWithSize").fail();
    EXPECT_EQ(submit(probe, implicitToken()), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, 2, ZYL_LOG_GET_FAILURE_s, "internal task information");
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_submitTaskI");
    EXPECT_EQ(doubles.count("wait(infinite)"), 0);
    EXPECT_EQ(lent->_state, READY);
    expectGivenBack();
    EXPECT_EQ(probe.executions, 0);
}

TEST_F(SubmitTask, a_request_that_cannot_be_built_reports_ok_to_the_callers_token)
{
    create(2);
    ProbeTask probe;
    DDS_AsyncWaitSetCompletionToken *const token = newToken();
    doubles.on("VESKFastBufferPool_getBufferWithSize").fail();
    EXPECT_EQ(submit(probe, token), DDS_RETCODE_OK);
    EXPECT_EQ(log.count(2, ZYL_LOG_ANY_FAILURE_s), 0);
    EXPECT_EQ(token->_state, QUEUED);
    token->_state = READY;
}

TEST_F(SubmitTask, a_wait_that_fails_keeps_the_lent_token)
{
    createWithIdleToken(1);
    ProbeTask probe;
    doubles.on("DDS_AsyncWaitSetCompletionToken_wait").fail();
    EXPECT_EQ(submit(probe, implicitToken()), DDS_RETCODE_ILLEGAL_OPERATION);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "wait for request completion");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(doubles.count("DDS_AsyncWaitSet_returnLoanedCompletionToken"), 0);
    EXPECT_EQ(lent->_state, PROCESSED) << "its request is done, so it comes home at once";
    expectGivenBack();
}

TEST_F(SubmitTask, a_wait_that_is_refused_keeps_the_lent_token)
{
    createWithIdleToken(1);
    for (const bool isStarted : {true, false}) {
        markStarted(aws, isStarted);
        ProbeTask probe;
        {
            const PoolThreadGuise guise(aws);
            EXPECT_EQ(submit(probe, implicitToken()), DDS_RETCODE_PRECONDITION_NOT_MET);
        }
        EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, "waiting for request processed is not allowed within the same thread");
        EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "wait for request completion");
        EXPECT_LOG_COUNT(log, 2U);
        if (isStarted) {
            EXPECT_EQ(lent->_state, QUEUED);
            EXPECT_EQ(lentTokens(), 1) << "kept until its request is done";
            EXPECT_EQ(executeAs(0), DDS_RETCODE_OK) << "the request is carried out all the same";
        }
        EXPECT_EQ(probe.executions, 1);
        markStarted(aws, false);
        expectGivenBack();
        log.clear();
    }
}

TEST_F(SubmitTask, a_request_that_failed_reports_it_and_gives_its_lent_token_back)
{
    createWithIdleToken(2);
    DDS_Condition *const condition = newCondition();
    doubles.on("DDS_WaitSet_attach_condition").fail();
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_attachCondition, implicitToken(), condition), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "attach condition");
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "wait for request completion");
    EXPECT_LOG_COUNT(log, 2U);
    expectGivenBack();
    EXPECT_EQ(DDS_AsyncWaitSet_isHandlerAttached(aws, condition), 0);
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_attachCondition, implicitToken(), condition), DDS_RETCODE_OK)
        << "the next one succeeds";
    expectGivenBack();
}

TEST_F(SubmitTask, a_token_that_cannot_be_given_back_is_reported)
{
    createWithIdleToken(1);
    doubles.on("DDS_AsyncWaitSet_returnLoanedCompletionToken").fail();
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_attachCondition, implicitToken(), newCondition()),
              DDS_RETCODE_ILLEGAL_OPERATION);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "return loaned token");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(registered().size(), 1U) << "the request was carried out";
    expectKept();
}

TEST_F(SubmitTask, a_task_that_needs_a_started_wait_set_is_turned_away_under_the_lock_without_a_word)
{
    createWithIdleToken(1);
    void *const suspended = ZYLOsapiUtility_intToPointer(DDS_SUSPENDED_AWS_STARTED_STATE);
    for (DDS_AsyncWaitSetCompletionToken *const given : {ignoreToken(), implicitToken(), lent}) {
        doubles.clear();
        EXPECT_EQ(DDS_AsyncWaitSet_submit_task(aws, &AWS_setStateOfStarted, suspended, given), DDS_RETCODE_NOT_ENABLED);
        EXPECT_EQ(doubles.count("enter"), 1);
    }
    EXPECT_NO_LOG(log);
    EXPECT_EQ(aws->_runningState, DDS_RUNNING_AWS_STARTED_STATE) << "it was executed";
    EXPECT_EQ(lent->_submissionCount, 0U);
    expectGivenBack();

    markStarted(aws);
    EXPECT_EQ(DDS_AsyncWaitSet_submit_task(aws, &AWS_setStateOfStarted, suspended, ignoreToken()), DDS_RETCODE_OK);
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(aws->_runningState, DDS_SUSPENDED_AWS_STARTED_STATE);
}

/// An implicit attach to a wait set of two that is not started, with one failing area step.
struct AreaFault {
    const char *step;                  ///< "enter" or "leave".
    int nth;                           ///< Which one of the whole call.
    DDS_ReturnCode_t retCode;          ///< Its result.
    std::vector<const char *> report;  ///< Messages after that of the area.
    bool isAttached;
    bool isKept;
};

TEST_F(SubmitTask, every_failing_area_gives_an_error_and_only_a_failed_wait_or_return_keeps_the_token)
{
    const AreaFault faults[] = {
        {"enter", 1, DDS_RETCODE_ERROR, {}, false, false},                              // submission
        {"enter", 2, DDS_RETCODE_ERROR, {"loan completion token"}, false, false},       // loan
        {"enter", 3, DDS_RETCODE_OK, {}, true, false},                                  // the first execution's report
        {"enter", 4, DDS_RETCODE_ERROR, {"wait for request completion"}, true, false},  // wait; it comes home
        {"enter", 5, DDS_RETCODE_ERROR, {"return loaned token"}, true, true},           // return
        {"leave", 1, DDS_RETCODE_ERROR, {"loan completion token"}, false, true},        // the loan counts
        {"leave", 2, DDS_RETCODE_OK, {}, true, false},                                  // the first execution's report
        {"leave", 3, DDS_RETCODE_ERROR, {}, true, true},                                // submission: not waited for
        {"leave", 4, DDS_RETCODE_ERROR, {"wait for request completion"}, true, false},  // wait; it comes home
        {"leave", 5, DDS_RETCODE_ERROR, {"return loaned token"}, true, false},          // return
    };
    createWithIdleToken(2);
    DDS_Condition *const condition = newCondition();
    for (const AreaFault &fault : faults) {
        SCOPED_TRACE(std::string(fault.step) + " " + std::to_string(fault.nth));
        doubles.heal();
        area(fault.step).fail(fault.nth);
        log.clear();
        EXPECT_EQ(submit(DDS_AsyncWaitSetTask_attachCondition, implicitToken(), condition), fault.retCode);
        EXPECT_LOG(log, 2, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, fault.step);
        for (const char *const message : fault.report) EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, message);
        EXPECT_LOG_COUNT(log, 1U + fault.report.size());
        EXPECT_EQ(criticalSectionDepth(), 0);
        EXPECT_EQ(liveRequests() + queueLength() + doorbell(), 0);
        EXPECT_EQ(DDS_AsyncWaitSet_isHandlerAttached(aws, condition), fault.isAttached ? 1 : 0);
        if (fault.isKept)
            expectKept();
        else
            expectGivenBack();
        EXPECT_EQ(DDS_AsyncWaitSet_detach_condition(aws, condition), DDS_RETCODE_OK);
    }
}

TEST_F(SubmitTask, a_refusal_whose_leave_fails_is_an_error)
{
    create(1);
    aws->_isStopInitiated = 1;
    ProbeTask probe;
    area("leave").fail();
    EXPECT_EQ(submit(probe), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_submitTaskI");
    EXPECT_LOG(log, 2, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, "leave");
    EXPECT_LOG_COUNT(log, 3U);
    aws->_isStopInitiated = 0;
}

}  // namespace
