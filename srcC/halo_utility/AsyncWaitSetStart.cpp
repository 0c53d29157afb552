/// @file
/// Start: queue the start request, create the pool threads, and undo both when that fails partway. Before that it looks
/// for an old pool that is not gone yet (AsyncWaitSetOldPool.cpp): only without one may it recycle the thread records.
///
/// Protection: the critical section.
/// Calls out: the thread factory, with the critical section held.
#include "AsyncWaitSetCompletionToken.hpp"
#include "AsyncWaitSetLocks.hpp"
#include "AsyncWaitSetLog.hpp"
#include "AsyncWaitSetOldPool.hpp"
#include "AsyncWaitSetRequest.hpp"
#include "AsyncWaitSetSubmission.hpp"
#include "AsyncWaitSetTask.hpp"
#include "AsyncWaitSetThread.hpp"

namespace {

/// One attempt to start, between taking the token and giving the critical section up.
struct Attempt {
    bool isImplicit;                         ///< The caller wants to wait with a token that is lent to it.
    DDS_AsyncWaitSetCompletionToken *token;  ///< The caller's, or the lent one; null for none.
    bool isBegun;                            ///< There is something to undo.
    int wasStarted;                          ///< The started mark before.
    bool isTokenAccepted;                    ///< Submission has taken the token.
    DDS_AWSTaskInfo *request;                ///< The queued start request, or null.
    DDS_UnsignedLong triedCount;             ///< Thread records that this attempt has recycled.
};

/// Queue the start request. A request that could not be built counts as a failure, even if its token was accepted.
DDS_ReturnCode_t submitStart(DDS_AsyncWaitSet *self, Attempt &attempt) ZYL_REQUIRES(self->_criticalSectionEA)
{
    const unsigned formerSubmission = attempt.token != nullptr ? attempt.token->_submissionCount : 0;
    DDS_Task task = {nullptr, DDS_AsyncWaitSetTask_start};
    const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_submitTaskI(self, &task, nullptr, attempt.token);
    attempt.isTokenAccepted = attempt.token != nullptr && attempt.token->_submissionCount != formerSubmission;
    if (retCode != DDS_RETCODE_OK) return retCode;
    if (attempt.isTokenAccepted && attempt.token->_isRequestMissing != 0) return DDS_RETCODE_ERROR;
    attempt.request = AWS_requests(self).last();
    return DDS_RETCODE_OK;
}

/// Create the pool threads in the order of their indices, up to the first failure.
DDS_ReturnCode_t createThreads(DDS_AsyncWaitSet *self, Attempt &attempt)
{
    DDS_ReturnCode_t retCode = DDS_RETCODE_OK;
    while (retCode == DDS_RETCODE_OK && attempt.triedCount < self->_property.thread_pool_size)
        retCode = DDS_AsyncWaitSet_createThread(self, static_cast<DDS_Long>(attempt.triedCount++));
    return retCode;
}

/// Lend a token if one is wanted, queue the request, create the threads.
AWSStep attemptStart(DDS_AsyncWaitSet *self, Attempt &attempt) ZYL_REQUIRES(self->_criticalSectionEA)
{
    if (attempt.isImplicit) {
        attempt.token = DDS_AsyncWaitSet_loanCompletionToken(self);
        if (attempt.token == nullptr) return AWS_STEP_FAILED(DDS_RETCODE_ERROR, "loan completion token");
    }
    attempt.isBegun = true;
    attempt.wasStarted = handoffExchange(self->_isStarted, 1);
    DDS_ReturnCode_t retCode = submitStart(self, attempt);
    if (retCode != DDS_RETCODE_OK) return AWS_STEP_FAILED(retCode, "DDS_AsyncWaitSet_submitTaskI");
    retCode = createThreads(self, attempt);
    if (retCode != DDS_RETCODE_OK) return AWS_STEP_FAILED(retCode, "DDS_AsyncWaitSet_createThread");
    return {};
}

/// The created threads of an attempt that failed finish its request without the missing ones, and rest then.
void leaveToCreatedThreads(DDS_AsyncWaitSet *self, const Attempt &attempt, DDS_UnsignedLong createdCount)
    ZYL_REQUIRES(self->_criticalSectionEA)
{
    const DDS_UnsignedLong missingCount = self->_property.thread_pool_size - createdCount;
    static_cast<void>(handoffAdd(attempt.request->_executionCount, missingCount));
    attempt.request->_notificationCount += missingCount;
    self->_isPoolFailed = 1;
}

/// Undo an attempt that failed, with the area still held, so that nothing of it can hang: the caller's own token is
/// told, and a request that fewer than all threads can execute is counted as executed by the missing ones.
void abandonAttempt(DDS_AsyncWaitSet *self, const Attempt &attempt) ZYL_REQUIRES(self->_criticalSectionEA)
{
    if (attempt.isTokenAccepted && !attempt.isImplicit &&
        attempt.token->_state == DDS_AsyncWaitSetCompletionTokenState_QUEUED)
        static_cast<void>(AWS_completeTokenWithError(attempt.token));
    if (attempt.request != nullptr) {
        attempt.request->_completionToken = nullptr;
        DDS_UnsignedLong createdCount = 0;
        for (DDS_UnsignedLong i = 0; i < attempt.triedCount; ++i)
            if (self->_threadPool[i]._threadHandle != nullptr) createdCount += 1;
        if (createdCount == 0)
            AWS_dropRequest(self, attempt.request);
        else
            leaveToCreatedThreads(self, attempt, createdCount);
    }
    handoffWrite(self->_isStarted, attempt.wasStarted);
}

/// A start whose wait failed leaves the wait set not started although its threads run. Remember that, unless somebody
/// has stopped them meanwhile. Without the area the mark is left out: there is nothing better to do.
void markAbandoned(DDS_AsyncWaitSet *self)
{
    if (!AWS_enterCriticalSection(self)) return handoffWrite(self->_isStarted, 0);
    if (handoffRead(self->_isStarted) != 0 && handoffRead(self->_isStopInitiated) == 0) self->_isPoolAbandoned = 1;
    handoffWrite(self->_isStarted, 0);
    static_cast<void>(AWS_leaveCriticalSection(self));
}

/// Wait for the request of a start and give the lent token back. Blocks.
AWSStep awaitStart(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *lent)
{
    DDS_ReturnCode_t retCode = DDS_AsyncWaitSetCompletionToken_wait(lent, &DDS_DURATION_INFINITE);
    if (retCode != DDS_RETCODE_OK) return AWS_STEP_FAILED(retCode, "wait for request completion");
    retCode = DDS_AsyncWaitSet_returnLoanedCompletionToken(self, lent);
    if (retCode != DDS_RETCODE_OK) return AWS_STEP_FAILED(retCode, "return loaned token");
    return {};
}

}  // namespace

DDS_ReturnCode_t DDS_AsyncWaitSet_start_with_completion_token(DDS_AsyncWaitSet *self,
                                                              DDS_AsyncWaitSetCompletionToken *completion_token)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (completion_token == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, completion_token);
    if (!AWS_enterCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "enter");
    Attempt attempt = {};
    attempt.isImplicit = completion_token == DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT;
    if (completion_token != DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE) attempt.token = completion_token;

    AWSStep step = AWS_awaitOldPool(self, __func__);
    if (step.isAreaLost) {
        AWS_countAsOutside(self);
        return AWS_REPORT(step);
    }
    if (!step.hasFailed() && AWS_isStartedForGood(self)) {
        AWS_NOTICE(static_cast<void>(0), "already started");
    } else if (!step.hasFailed() && attempt.isImplicit && AWS_hasCriticalSectionTwice(self)) {
        step = AWS_STEP_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET,
                                "waiting for request processed is not allowed within the same thread");
    } else if (!step.hasFailed()) {
        AWS_TRACE_CALL("sending start request");
        step = attemptStart(self, attempt);
    }
    static_cast<void>(AWS_REPORT(step));
    if (step.hasFailed() && attempt.isBegun) abandonAttempt(self, attempt);
    if (!AWS_leaveCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "leave");
    if (!attempt.isBegun || step.hasFailed() || !attempt.isImplicit) return step.retCode;

    step = awaitStart(self, attempt.token);
    static_cast<void>(AWS_REPORT(step));
    if (step.hasFailed()) markAbandoned(self);
    return step.retCode;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_start(DDS_AsyncWaitSet *self)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    const DDS_ReturnCode_t retCode =
        DDS_AsyncWaitSet_start_with_completion_token(self, DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT);
    if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "DDS_AsyncWaitSet_start_with_completion_token");
    return DDS_RETCODE_OK;
}
