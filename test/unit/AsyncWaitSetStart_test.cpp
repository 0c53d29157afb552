/// @file
/// Start, step by step: its checks, what it asks of its neighbours and in which order, and what it makes of the failure
/// of each of them. What happens to a pool that a failed start leaves behind has its own file.
// Replaces: DDS_AsyncWaitSet_submitTaskI DDS_AsyncWaitSet_createThread DDS_AsyncWaitSetCompletionToken_wait
// Replaces: DDS_AsyncWaitSet_returnLoanedCompletionToken DDS_WaitSet_set_property DDS_CountingCondition_increment
// Replaces: VESKFastBufferPool_getBufferWithSize
#include "StartFixture.hpp"

namespace {

using testing::ElementsAre;

const char *const tokenForm = "DDS_AsyncWaitSet_start_with_completion_token";
const char *const submitTask = "DDS_AsyncWaitSet_submitTaskI";
const char *const createThread = "DDS_AsyncWaitSet_createThread";
const char *const waitForToken = "DDS_AsyncWaitSetCompletionToken_wait";
const char *const returnToken = "DDS_AsyncWaitSet_returnLoanedCompletionToken";

class Start : public StartFixture {
protected:
    /// Nothing is queued, nothing rings, nothing runs.
    void expectNothingLeft()
    {
        EXPECT_FALSE(isStarted());
        EXPECT_EQ(depth(), 0);
        EXPECT_EQ(aws->_internalTaskQueue._size, 0);
        EXPECT_EQ(DDS_CountingCondition_get_count(aws->_taskCondition), 0);
        EXPECT_EQ(aws->_isPoolFailed, 0);
        EXPECT_EQ(aws->_isPoolAbandoned, 0);
    }
    bool isCompletedWithError()
    {
        return token->_state == DDS_AsyncWaitSetCompletionTokenState_PROCESSED && outcome() == DDS_RETCODE_ERROR;
    }
};

// ---------------------------------------------------------------- before anything is queued

TEST_F(Start, null_arguments_are_reported_in_their_order)
{
    create(1);
    const LogCapture log(0xff);
    EXPECT_EQ(DDS_AsyncWaitSet_start_with_completion_token(nullptr, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "self");
    EXPECT_LOG_COUNT(log, 1u);
    EXPECT_EQ(start(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, DDS_LOG_BAD_PARAMETER_s, "completion_token");
    EXPECT_EQ(DDS_AsyncWaitSet_start(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG_COUNT(log, 3u);
    EXPECT_EQ(log.entries()[2].function, "DDS_AsyncWaitSet_start");
    EXPECT_EQ(log.entries()[2].text, "!bad parameter: self");
}

TEST_F(Start, an_area_that_cannot_be_entered_fails_and_changes_nothing)
{
    create(2);
    const LogCapture log(0xff);
    entering().fail();
    EXPECT_EQ(start(token), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, "enter");
    EXPECT_LOG_COUNT(log, 1u);
    expectNothingLeft();
    EXPECT_EQ(token->_state, DDS_AsyncWaitSetCompletionTokenState_READY);
    EXPECT_EQ(factory.created, 0);
}

TEST_F(Start, starting_twice_is_a_noticed_success_that_uses_no_token)
{
    create(2);
    ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    for (DDS_AsyncWaitSetCompletionToken *const given : {token, ignoreToken(), implicitToken()}) {
        const LogCapture log(ZYL_LOG_LEVEL_WARNING | ZYL_LOG_LEVEL_NOTICE | ZYL_LOG_LEVEL_TRACE);
        EXPECT_EQ(start(given), DDS_RETCODE_OK);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_NOTICE, ZYL_LOG_ANY_s, "already started");
        EXPECT_LOG_COUNT(log, 1u);
    }
    EXPECT_EQ(token->_state, DDS_AsyncWaitSetCompletionTokenState_READY);
    EXPECT_EQ(token->_submissionCount, 0u);
    EXPECT_EQ(loanCount(), 1);
    EXPECT_EQ(factory.created, 2);
    expectItRunsAndStops();
}

TEST_F(Start, a_started_wait_set_stays_started_when_the_second_start_cannot_leave_the_area)
{
    create(1);
    ASSERT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    const LogCapture log;
    leaving().fail();
    EXPECT_EQ(start(token), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, "leave");
    EXPECT_LOG_COUNT(log, 1u);
    expectItRunsAndStops();
}

TEST_F(Start, an_implicit_start_under_the_critical_section_is_refused_before_anything_is_queued)
{
    create(2);
    ASSERT_NE(VESKWorker_enterExclusiveArea(worker(), nullptr, aws->_criticalSectionEA), 0);
    const LogCapture log;
    EXPECT_EQ(start(implicitToken()), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_s,
               "waiting for request processed is not allowed within the same thread");
    EXPECT_LOG_COUNT(log, 1u);
    ASSERT_NE(VESKWorker_leaveExclusiveArea(worker(), nullptr, aws->_criticalSectionEA), 0);
    expectNothingLeft();
    EXPECT_EQ(loanCount(), 1);
    EXPECT_EQ(factory.created, 0);
}

TEST_F(Start, a_loan_that_fails_fails_the_start)
{
    create(2);
    doubles.on(loanToken).fail();
    const auto id = static_cast<unsigned long long>(ZYLOsapiThread_getCurrentThreadID());
    const LogCapture log(0xff);
    EXPECT_EQ(start(implicitToken()), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "loan completion token");
    EXPECT_LOG_COUNT(log, 2u);
    EXPECT_EQ(log.entries()[0].text, LogCapture::format("[AWS|%llu]: sending start request\n", id));
    EXPECT_EQ(log.entries()[0].level, ZYL_LOG_LEVEL_TRACE);
    expectNothingLeft();
    EXPECT_EQ(factory.created, 0);
}

// ---------------------------------------------------------------- queueing

TEST_F(Start, the_start_task_is_queued_with_the_resolved_token_when_the_wait_set_counts_as_started)
{
    create(2);
    for (DDS_AsyncWaitSetCompletionToken *const given : {token, ignoreToken(), implicitToken()}) {
        doubles.clear();
        doubles.on(submitTask)
            .instead(1, [&](DDS_AsyncWaitSet *, DDS_Task *task, void *userData, DDS_AsyncWaitSetCompletionToken *with) {
                EXPECT_TRUE(isStarted());
                EXPECT_GE(depth(), 1);
                EXPECT_EQ(task->execute, DDS_AsyncWaitSetTask_start);
                EXPECT_EQ(task->taskData, nullptr);
                EXPECT_EQ(userData, nullptr);
                EXPECT_EQ(with, given == ignoreToken() ? nullptr : given == implicitToken() ? lent : token);
                return DDS_RETCODE_TIMEOUT;
            });
        const LogCapture log;
        EXPECT_EQ(start(given), DDS_RETCODE_TIMEOUT);
        EXPECT_EQ(doubles.count(submitTask), 1);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_submitTaskI");
        EXPECT_LOG_COUNT(log, 1u);
        expectNothingLeft();
        EXPECT_EQ(loanCount(), given == implicitToken() ? 2 : 1);  // a lent token is kept
    }
    EXPECT_EQ(factory.created, 0);
    EXPECT_EQ(token->_state, DDS_AsyncWaitSetCompletionTokenState_READY);
    EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_PRECONDITION_NOT_MET);
    takeBackLent();
}

TEST_F(Start, a_token_that_is_refused_is_left_as_it_was)
{
    create(1);
    const DDS_AsyncWaitSetProperty_t property = propertyOf(1);
    DDS_AsyncWaitSet *const other = DDS_AsyncWaitSet_new(&property);
    DDS_AsyncWaitSetCompletionToken *const foreign = DDS_AsyncWaitSet_create_completion_token(other);
    LogCapture log;
    EXPECT_EQ(start(foreign), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_s, "completion token does not belong to this AWS");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_submitTaskI");
    EXPECT_EQ(foreign->_state, DDS_AsyncWaitSetCompletionTokenState_READY);
    expectNothingLeft();

    log.clear();
    token->_state = DDS_AsyncWaitSetCompletionTokenState_QUEUED;
    EXPECT_EQ(start(token), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_s, "completion token currently in use");
    EXPECT_LOG_COUNT(log, 3u);
    EXPECT_EQ(token->_state, DDS_AsyncWaitSetCompletionTokenState_QUEUED);
    token->_state = DDS_AsyncWaitSetCompletionTokenState_READY;
    expectNothingLeft();
    EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(other, foreign), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_delete(other), DDS_RETCODE_OK);
}

TEST_F(Start, a_doorbell_that_cannot_be_rung_fails_the_start_and_tells_the_own_token)
{
    create(2);
    const char *const setProperty = "DDS_WaitSet_set_property";
    for (const char *const step : {setProperty, "DDS_CountingCondition_increment"}) {
        const LogCapture log;
        doubles.on(step).fail();
        EXPECT_EQ(start(token), DDS_RETCODE_OUT_OF_RESOURCES);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s,
                   step == setProperty ? "set WaitSet property" : "trigger internal request condition");
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_submitTaskI");
        EXPECT_LOG_COUNT(log, 2u);
        EXPECT_TRUE(isCompletedWithError());
        expectNothingLeft();
    }
    EXPECT_EQ(factory.created, 0);
    EXPECT_EQ(start(token), DDS_RETCODE_OK);
    EXPECT_EQ(outcome(), DDS_RETCODE_OK);
    expectItRunsAndStops();
}

TEST_F(Start, a_request_that_cannot_be_built_fails_the_start_without_creating_a_thread)
{
    create(2);
    for (DDS_AsyncWaitSetCompletionToken *const given : {token, ignoreToken(), implicitToken()}) {
        const LogCapture log;
        doubles.on("VESKFastBufferPool_getBufferWithSize").fail();
        EXPECT_EQ(start(given), DDS_RETCODE_ERROR);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_GET_FAILURE_s, "internal task information");
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_submitTaskI");
        EXPECT_LOG_COUNT(log, 3u);
        expectNothingLeft();
    }
    EXPECT_EQ(factory.created, 0);
    EXPECT_TRUE(isCompletedWithError());
    EXPECT_EQ(loanCount(), 2);
    takeBackLent();
    EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OK);
    expectItRunsAndStops();
}

TEST_F(Start, a_pool_thread_of_a_level_that_is_not_lower_is_refused)
{
    create(2, 1);
    const DDS_AsyncWaitSetProperty_t property = propertyOf(1, 1);
    DDS_AsyncWaitSet *const other = DDS_AsyncWaitSet_new(&property);
    {
        const PoolThreadGuise guise(other);
        const LogCapture log;
        EXPECT_EQ(start(token), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_TRACE(log, ZYL_LOG_LEVEL_WARNING,
                     LogCapture::format("%s: tid %llu dead lock risk: cannot enter WSCT of level %d from WSCT of level "
                                        "%d\n",
                                        "DDS_AsyncWaitSet_submitTaskI",
                                        static_cast<unsigned long long>(guise.thread()->_threadId), 1, 1));
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_submitTaskI");
        EXPECT_LOG_COUNT(log, 2u);
    }
    expectNothingLeft();
    EXPECT_EQ(token->_state, DDS_AsyncWaitSetCompletionTokenState_READY);
    EXPECT_EQ(DDS_AsyncWaitSet_delete(other), DDS_RETCODE_OK);
}

// ---------------------------------------------------------------- threads

TEST_F(Start, threads_are_created_in_the_order_of_their_indices_with_the_area_held)
{
    create(3);
    doubles.on(createThread).before([&] {
        EXPECT_GE(depth(), 1);
        EXPECT_TRUE(isStarted());
    });
    EXPECT_EQ(start(token), DDS_RETCODE_OK);
    EXPECT_EQ(depth(), 0);
    EXPECT_THAT(doubles.callsOf({createThread}),
                ElementsAre("DDS_AsyncWaitSet_createThread(0)", "DDS_AsyncWaitSet_createThread(1)",
                            "DDS_AsyncWaitSet_createThread(2)"));
    EXPECT_EQ(outcome(), DDS_RETCODE_OK);
    EXPECT_EQ(listener.count("spawned"), 3);
    expectItRunsAndStops();
    EXPECT_EQ(listener.count("deleted"), 3);
}

TEST_F(Start, the_code_of_a_failed_thread_creation_is_returned)
{
    create(3);
    doubles.on(createThread).with(1).fail(1, DDS_RETCODE_OUT_OF_RESOURCES);
    const LogCapture log;
    EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_createThread");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, tokenForm);
    EXPECT_LOG_COUNT(log, 2u);
    EXPECT_EQ(log.entries()[1].function, "DDS_AsyncWaitSet_start");
    EXPECT_THAT(doubles.callsOf({createThread}),
                ElementsAre("DDS_AsyncWaitSet_createThread(0)", "DDS_AsyncWaitSet_createThread(1)"));
    EXPECT_FALSE(isStarted());
    EXPECT_EQ(factory.created, 1);
    EXPECT_NE(aws->_threadPool[0]._threadHandle, nullptr);
    EXPECT_EQ(loanCount(), 2);
    takeBackLent();
}

// ---------------------------------------------------------------- after the threads

TEST_F(Start, a_start_that_cannot_leave_the_area_stays_started_and_keeps_its_lent_token)
{
    create(2);
    for (const bool isImplicit : {false, true}) {
        doubles.clear();
        const LogCapture log;
        leaving().fail(isImplicit ? 3 : 1);  // the loan leaves it too, and the second start joins the old threads first
        EXPECT_EQ(start(isImplicit ? implicitToken() : token), DDS_RETCODE_ERROR);
        EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, "leave");
        EXPECT_LOG_COUNT(log, 1u);
        EXPECT_EQ(doubles.count(waitForToken), 0);
        EXPECT_EQ(loanCount(), isImplicit ? 2 : 1);
        EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(isImplicit ? lent : token, &DDS_DURATION_INFINITE),
                  DDS_RETCODE_OK);
        if (isImplicit) takeBackLent();
        expectItRunsAndStops();
    }
}

TEST_F(Start, a_failed_start_that_cannot_leave_the_area_either_is_an_error)
{
    create(2);
    doubles.on(submitTask).fail(1, DDS_RETCODE_TIMEOUT);
    const LogCapture log;
    leaving().fail();
    EXPECT_EQ(start(token), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "DDS_AsyncWaitSet_submitTaskI");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, "leave");
    EXPECT_LOG_COUNT(log, 2u);
    expectNothingLeft();
}

TEST_F(Start, a_wait_that_fails_fails_the_start_and_keeps_the_lent_token)
{
    create(2);
    doubles.on(waitForToken).instead(1, [&](DDS_AsyncWaitSetCompletionToken *waited, const DDS_Duration_t *timeout) {
        EXPECT_EQ(waited, lent);
        EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(waited, timeout), DDS_RETCODE_OK);
        return DDS_RETCODE_OUT_OF_RESOURCES;
    });
    const LogCapture log;
    EXPECT_EQ(DDS_AsyncWaitSet_start(aws), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "wait for request completion");
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, tokenForm);
    EXPECT_LOG_COUNT(log, 2u);
    EXPECT_FALSE(isStarted());
    EXPECT_EQ(listener.count("spawned"), 2);
    EXPECT_EQ(loanCount(), 2);
    EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(aws, std::exchange(token, nullptr)), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_AsyncWaitSet_delete(aws), DDS_RETCODE_PRECONDITION_NOT_MET);
    takeBackLent();
}

TEST_F(Start, a_token_that_cannot_be_given_back_fails_the_start)
{
    create(2);
    doubles.on(returnToken).instead(1, [&](DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *given) {
        EXPECT_EQ(given, lent);
        EXPECT_EQ(DDS_AsyncWaitSet_returnLoanedCompletionToken(self, given), DDS_RETCODE_OK);
        return DDS_RETCODE_TIMEOUT;
    });
    const LogCapture log;
    EXPECT_EQ(start(implicitToken()), DDS_RETCODE_TIMEOUT);
    EXPECT_LOG(log, ZYL_LOG_LEVEL_WARNING, ZYL_LOG_ANY_FAILURE_s, "return loaned token");
    EXPECT_LOG_COUNT(log, 1u);
    EXPECT_FALSE(isStarted());
    EXPECT_EQ(loanCount(), 1);
    EXPECT_EQ(listener.count("spawned"), 2);
}

}  // namespace
