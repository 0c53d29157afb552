/// @file
/// Waiting for a token: what is refused, what the waiter brings back, and what a token can go through while somebody
/// waits on it. The test stands in the token's wait, so nobody blocks.
// Replaces: DDS_WaitSet_attach_condition
#include <thread>

#include "AwsQueueFixture.hpp"
#include "halo_runtime/zyl/ZYLShared.pkg.hpp"

namespace {

using Token = DDS_AsyncWaitSetCompletionToken;
constexpr auto READY = DDS_AsyncWaitSetCompletionTokenState_READY;
constexpr auto QUEUED = DDS_AsyncWaitSetCompletionTokenState_QUEUED;
constexpr auto PROCESSED = DDS_AsyncWaitSetCompletionTokenState_PROCESSED;
constexpr DDS_Duration_t oneAndAHalf = {1, 500000000};

const char *const sameThread = "waiting for request processed is not allowed within the same thread";
const char *const taken = "there is already a thread waiting on this completion token";

class TokenWait : public AwsQueueTest {
protected:
    void createStarted(DDS_UnsignedLong poolSize = 1, DDS_Long level = 1)
    {
        create(poolSize, level);
        markStarted(aws);
    }
    /// The internal form, which expects the critical section.
    DDS_ReturnCode_t waitI(Token *token, const DDS_Duration_t &timeout = DDS_DURATION_ZERO)
    {
        enter();
        const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_waitForTaskExecutedI(aws, token, &timeout);
        if (criticalSectionDepth() > 0) leave();
        return retCode;
    }
    static DDS_ReturnCode_t wait(Token *token, const DDS_Duration_t &timeout = DDS_DURATION_ZERO)
    {
        return DDS_AsyncWaitSetCompletionToken_wait(token, &timeout);
    }
    /// A token with a queued request.
    Token *queuedToken()
    {
        Token *const token = newToken();
        EXPECT_EQ(submit(probe, token), DDS_RETCODE_OK);
        EXPECT_EQ(token->_state, QUEUED);
        return token;
    }
    void finishRequest() { EXPECT_EQ(executeAs(0), DDS_RETCODE_OK); }

    ProbeTask probe{[](const DDS_AWSTaskInfo *info) {
        if (info->_completionToken != nullptr)
            handoffWrite(info->_completionToken->retCode, DDS_RETCODE_OUT_OF_RESOURCES);
    }};
};

// ---------------------------------------------------------------- the internal form

TEST_F(TokenWait, the_internal_wait_needs_a_wait_set_and_a_token_of_it)
{
    create(1);
    Token *const token = newToken();
    Token *const foreign = newToken(createOther(1, 1));
    const DDS_Duration_t *const timeout = &DDS_DURATION_ZERO;
    EXPECT_EQ(DDS_AsyncWaitSet_waitForTaskExecutedI(nullptr, token, timeout), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"self == ((void *)0)\"");
    EXPECT_EQ(waitI(ignoreToken()), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"completionToken->_owner == ((void *)0)\"");
    EXPECT_EQ(waitI(foreign), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"completionToken->_owner != self\"");
    EXPECT_LOG_COUNT(log, 3U);
}

TEST_F(TokenWait, a_pool_thread_never_waits_for_its_own_wait_set)
{
    createStarted();
    Token *const token = queuedToken();
    TokenInterceptor interceptor(token);
    interceptor.onWait = [](const ZYLNtpTime &) {
        ADD_FAILURE() << "it waits";
        return DDS_RETCODE_ERROR;
    };
    for (const auto state : {QUEUED, PROCESSED, READY}) {
        token->_state = state;
        log.clear();
        const PoolThreadGuise guise(aws);
        EXPECT_EQ(wait(token), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, sameThread);
        EXPECT_LOG_COUNT(log, 1U);
        EXPECT_EQ(token->_state, state);
        EXPECT_EQ(token->_isWaiting, 0);
    }
    token->_state = QUEUED;
    finishRequest();
}

TEST_F(TokenWait, a_pool_thread_waits_for_a_strictly_higher_level_only)
{
    create(1, 5);
    Token *const token = newToken();
    for (const DDS_Long callerLevel : {4, 5, 6}) {
        token->_state = PROCESSED;
        token->retCode = DDS_RETCODE_ERROR;
        const PoolThreadGuise guise(createOther(1, callerLevel));
        log.clear();
        if (callerLevel < 5) {
            EXPECT_EQ(waitI(token), DDS_RETCODE_OK);
            EXPECT_NO_LOG(log);
            continue;
        }
        EXPECT_EQ(waitI(token), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_TRACE(log, 2,
                     LogCapture::format("DDS_AsyncWaitSet_waitForTaskExecutedI: tid %llu dead lock risk: cannot enter "
                                        "AWS of level %d from AWS of level %d\n",
                                        static_cast<unsigned long long>(guise.thread()->_threadId), 5, callerLevel));
        EXPECT_LOG_COUNT(log, 1U);
        EXPECT_EQ(token->retCode, DDS_RETCODE_ERROR);
    }
}

TEST_F(TokenWait, a_token_that_was_never_submitted_cannot_be_waited_for)
{
    create(1);
    Token *const token = newToken();
    EXPECT_EQ(wait(token), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, "invalid event completion token state");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(token->_state, READY);
}

TEST_F(TokenWait, the_internal_wait_for_a_processed_token_returns_at_once_and_forgets_the_code)
{
    create(1);
    Token *const token = newToken();
    token->_state = PROCESSED;
    token->retCode = DDS_RETCODE_ERROR;
    doubles.clear();
    EXPECT_EQ(waitI(token), DDS_RETCODE_OK);
    EXPECT_EQ(token->retCode, DDS_RETCODE_OK);
    EXPECT_THAT(doubles.calls(), testing::ElementsAre("enter", "leave")) << "the test's own";
    EXPECT_NO_LOG(log);
}

TEST_F(TokenWait, a_waiter_gives_the_critical_section_up_and_changes_the_token_when_it_is_back)
{
    createStarted();
    Token *const token = queuedToken();
    TokenInterceptor interceptor(token);
    interceptor.onWait = [&](const ZYLNtpTime &timeout) {
        EXPECT_EQ(criticalSectionDepth(), 0);
        EXPECT_EQ(token->_isWaiting, 1);
        EXPECT_EQ(timeout.sec, 1);
        EXPECT_EQ(timeout.frac, 0x80000000U);
        area("enter").before(1, [&] {
            EXPECT_EQ(token->_isWaiting, 1);
            EXPECT_EQ(token->_state, QUEUED);
        });
        return DDS_RETCODE_OK;
    };
    EXPECT_EQ(waitI(token, oneAndAHalf), DDS_RETCODE_OK);
    EXPECT_EQ(token->_isWaiting, 0);
    EXPECT_EQ(token->_state, PROCESSED);
    EXPECT_NO_LOG(log);
    token->_state = QUEUED;
    finishRequest();
}

TEST_F(TokenWait, a_wait_that_ends_otherwise_passes_its_code_on_and_leaves_the_state)
{
    createStarted();
    Token *const token = queuedToken();
    for (const auto code : {DDS_RETCODE_TIMEOUT, DDS_RETCODE_ILLEGAL_OPERATION}) {
        TokenInterceptor interceptor(token);
        interceptor.onWait = [&](const ZYLNtpTime &) { return code; };
        EXPECT_EQ(waitI(token), code);
        EXPECT_EQ(wait(token), code);
        EXPECT_EQ(token->_state, QUEUED);
        EXPECT_EQ(token->_isWaiting, 0);
    }
    finishRequest();
    EXPECT_EQ(token->_state, PROCESSED);
    EXPECT_NO_LOG(log);
}

TEST_F(TokenWait, a_second_waiter_is_refused)
{
    createStarted();
    Token *const token = queuedToken();
    TokenInterceptor interceptor(token);
    interceptor.onWait = [&](const ZYLNtpTime &) {
        EXPECT_EQ(wait(token), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_EQ(token->_isWaiting, 1) << "the first one still waits";
        finishRequest();
        EXPECT_EQ(wait(token), DDS_RETCODE_PRECONDITION_NOT_MET) << "even when the request is done";
        return DDS_RETCODE_OK;
    };
    EXPECT_EQ(wait(token), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, taken);
    EXPECT_LOG_COUNT(log, 2U);
}

TEST_F(TokenWait, a_wait_with_a_failing_area_is_an_error_and_leaves_the_token_taken)
{
    createStarted();
    Token *const token = queuedToken();
    TokenInterceptor interceptor(token);
    interceptor.onWait = [](const ZYLNtpTime &) { return DDS_RETCODE_OK; };
    enter();
    area("leave").fail();
    EXPECT_EQ(DDS_AsyncWaitSet_waitForTaskExecutedI(aws, token, &DDS_DURATION_ZERO), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, 2, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, "leave");
    EXPECT_EQ(token->_isWaiting, 1);
    EXPECT_EQ(waitI(token), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, taken);

    token->_isWaiting = 0;
    log.clear();
    enter();
    area("enter").fail();
    EXPECT_EQ(DDS_AsyncWaitSet_waitForTaskExecutedI(aws, token, &DDS_DURATION_ZERO), DDS_RETCODE_ERROR);
    EXPECT_LOG(log, 2, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, "enter");
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(token->_isWaiting, 1);
    EXPECT_EQ(token->_state, QUEUED);
    finishRequest();
    disown(token);
    interceptor.release();
    const std::size_t blocks = ZYLOsapiHeap_getBlockCount();
    EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(aws, token), DDS_RETCODE_OK);
    EXPECT_LT(ZYLOsapiHeap_getBlockCount(), blocks) << "no waiter is inside, so it is freed at once";
}

// ---------------------------------------------------------------- the public form

TEST_F(TokenWait, the_public_wait_checks_its_arguments)
{
    create(1);
    Token *const token = newToken();
    for (Token *const bad : {static_cast<Token *>(nullptr), ignoreToken(), implicitToken()}) {
        log.clear();
        EXPECT_EQ(wait(bad), DDS_RETCODE_BAD_PARAMETER);
        EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "completion_token");
        EXPECT_LOG_COUNT(log, 1U);
    }
    log.clear();
    EXPECT_EQ(DDS_AsyncWaitSetCompletionToken_wait(token, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(wait(token, {-1, 0}), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(wait(token, {0, 1000000000}), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 2, DDS_LOG_BAD_PARAMETER_s, "timeout");
    EXPECT_LOG_COUNT(log, 3U);
    EXPECT_EQ(log.count(2, DDS_LOG_BAD_PARAMETER_s), 3);
    log.clear();
    Token orphan = {};
    EXPECT_EQ(wait(&orphan), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_LOG(log, 1, ZYL_LOG_PRECONDITION_FAILURE_s, "\"completionToken->_owner == ((void *)0)\"");
    EXPECT_LOG_COUNT(log, 1U);
}

TEST_F(TokenWait, the_public_wait_reports_a_failing_area)
{
    create(1);
    Token *const token = newToken();
    token->_state = PROCESSED;
    token->retCode = DDS_RETCODE_OK;
    for (const char *const step : {"enter", "leave"}) {
        log.clear();
        area(step).fail();
        EXPECT_EQ(wait(token), DDS_RETCODE_ERROR);
        EXPECT_LOG(log, 2, VESK_LOG_WORKER_EXCLUSIVE_AREA_FAILURE_s, step);
        EXPECT_LOG_COUNT(log, 1U);
        EXPECT_EQ(criticalSectionDepth(), 0);
        EXPECT_EQ(token->_waiterMark, 0);
    }
    EXPECT_EQ(wait(token), DDS_RETCODE_OK);
}

TEST_F(TokenWait, a_failed_inline_request_reaches_its_waiter_once)
{
    create(2);
    Token *const token = newToken();
    doubles.on("DDS_WaitSet_attach_condition").fail();
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_attachCondition, token, newCondition()), DDS_RETCODE_OK);
    EXPECT_EQ(wait(token), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_EQ(token->retCode, DDS_RETCODE_OK);
    EXPECT_EQ(wait(token), DDS_RETCODE_OK) << "it has been told";
}

TEST_F(TokenWait, a_blocked_waiter_brings_the_outcome_of_its_request)
{
    createStarted();
    Token *const token = queuedToken();
    TokenInterceptor interceptor(token);
    interceptor.onWait = [&](const ZYLNtpTime &) {
        finishRequest();
        return DDS_RETCODE_OK;
    };
    EXPECT_EQ(wait(token), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_EQ(token->retCode, DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_EQ(token->_state, PROCESSED);
}

TEST_F(TokenWait, a_time_out_is_a_time_out_whatever_the_request_has_reported_so_far)
{
    createStarted();
    Token *const token = queuedToken();
    token->retCode = DDS_RETCODE_OK;
    EXPECT_EQ(wait(token), DDS_RETCODE_TIMEOUT);
    EXPECT_EQ(token->_state, QUEUED);
    finishRequest();
    EXPECT_EQ(wait(token), DDS_RETCODE_OUT_OF_RESOURCES);
}

TEST_F(TokenWait, a_token_submitted_again_is_left_alone_by_the_waiter_of_its_former_request)
{
    createStarted();
    Token *const token = queuedToken();
    {
        TokenInterceptor interceptor(token);
        interceptor.onWait = [&](const ZYLNtpTime &) {
            finishRequest();
            EXPECT_EQ(submit(probe, token), DDS_RETCODE_OK);
            token->retCode = DDS_RETCODE_TIMEOUT;
            return DDS_RETCODE_OK;
        };
        EXPECT_EQ(wait(token), DDS_RETCODE_OK) << "not the code of the new request";
    }
    EXPECT_EQ(token->_state, QUEUED) << "the new request is pending";
    EXPECT_EQ(token->retCode, DDS_RETCODE_TIMEOUT);
    EXPECT_EQ(token->_isWaiting, 0);
    EXPECT_EQ(wait(token), DDS_RETCODE_TIMEOUT) << "an old notification does not pass for the new one";
    finishRequest();
    EXPECT_EQ(wait(token), DDS_RETCODE_OUT_OF_RESOURCES);
}

TEST_F(TokenWait, a_token_deleted_under_its_waiter_is_destroyed_when_the_waiter_leaves)
{
    createStarted();
    for (const char *const failing : {"", "enter"}) {
        Token *const token = queuedToken();
        TokenInterceptor interceptor(token);
        std::size_t blocks = 0;
        interceptor.onWait = [&](const ZYLNtpTime &) {
            finishRequest();
            disown(token);
            blocks = ZYLOsapiHeap_getBlockCount();
            EXPECT_EQ(DDS_AsyncWaitSet_delete_completion_token(aws, token), DDS_RETCODE_OK);
            EXPECT_EQ(lentTokens() + idleTokens(), 0) << "counted as deleted at once";
            EXPECT_EQ(ZYLOsapiHeap_getBlockCount(), blocks) << "but still there for its waiter";
            if (*failing != '\0') area(failing).fail();
            interceptor.release();
            return DDS_RETCODE_OK;
        };
        // The internal wait loses the critical section when it cannot enter it again; the public form then leaves what
        // it does not hold.
        EXPECT_EQ(wait(token), *failing != '\0' ? DDS_RETCODE_ERROR : DDS_RETCODE_OUT_OF_RESOURCES);
        EXPECT_LT(ZYLOsapiHeap_getBlockCount(), blocks);
        EXPECT_EQ(criticalSectionDepth(), 0);
    }
}

// ---------------------------------------------------------------- inside the critical section

TEST_F(TokenWait, a_wait_inside_the_critical_section_is_refused_only_if_it_would_block)
{
    createStarted();
    Token *const token = queuedToken();
    enter();
    EXPECT_EQ(wait(token), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, sameThread);
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(token->_isWaiting, 0);
    EXPECT_EQ(token->_state, QUEUED);
    leave();
    finishRequest();
    enter();
    EXPECT_EQ(wait(token), DDS_RETCODE_OUT_OF_RESOURCES);
    leave();
    EXPECT_EQ(criticalSectionDepth(), 0);
}

TEST_F(TokenWait, a_callback_of_an_inline_request_may_make_requests_but_not_block)
{
    createStarted();
    Token *const stopToken = newToken();
    EXPECT_EQ(submit(DDS_AsyncWaitSetTask_stop, stopToken), DDS_RETCODE_OK);
    EXPECT_EQ(executeAs(0), DDS_RETCODE_OK);  // not started any more, the stop not acknowledged
    DDS_Condition *const inner = newCondition();
    heard.onEvent = [&](const RecordingListener::Event &event) {
        if (event.condition == inner) return;
        EXPECT_EQ(criticalSectionDepth(), 1);
        EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, inner), DDS_RETCODE_OK) << "done at once, so no wait";
        EXPECT_NO_LOG(log);
        EXPECT_EQ(wait(stopToken), DDS_RETCODE_PRECONDITION_NOT_MET);
        EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, sameThread);
    };
    EXPECT_EQ(DDS_AsyncWaitSet_attach_condition(aws, newCondition()), DDS_RETCODE_OK);
    EXPECT_THAT(registered(), testing::SizeIs(2));
    heard.onEvent = {};
    EXPECT_EQ(acknowledgeStopAs(0), DDS_RETCODE_OK);
    EXPECT_EQ(wait(stopToken), DDS_RETCODE_OK);
}

TEST_F(TokenWait, an_implicit_start_inside_the_critical_section_is_refused_before_anything_is_queued)
{
    create(1);
    enter();
    EXPECT_EQ(DDS_AsyncWaitSet_start_with_completion_token(aws, implicitToken()), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(criticalSectionDepth(), 1);
    leave();
    EXPECT_LOG(log, 2, ZYL_LOG_ANY_s, sameThread);
    EXPECT_LOG_COUNT(log, 1U);
    EXPECT_EQ(aws->_isStarted, 0);
    EXPECT_EQ(queueLength() + liveRequests() + doorbell() + lentTokens(), 0);
    EXPECT_EQ(aws->_threadPool[0]._threadHandle, nullptr);
}

// ---------------------------------------------------------------- two real threads

TEST_F(TokenWait, a_notification_wakes_the_thread_that_waits)
{
    createStarted();
    Token *const token = queuedToken();
    DDS_ReturnCode_t retCode = DDS_RETCODE_ERROR;
    std::thread waiter([&] { retCode = wait(token, DDS_DURATION_INFINITE); });
    finishRequest();
    waiter.join();
    EXPECT_EQ(retCode, DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_EQ(token->_state, PROCESSED);
    EXPECT_EQ(token->_waiterMark, 0);
}

}  // namespace
