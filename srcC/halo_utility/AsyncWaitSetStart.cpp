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
    DDS_AsyncWaitSetCompletionToken *ownToken;  ///< The caller's token once its submission was accepted, else null.
    DDS_AWSTaskInfo *request;                   ///< The queued start request, or null.
    DDS_UnsignedLong triedCount;                ///< Thread records that this attempt has recycled.
};

/// Queue the start request. A request that could not be built counts as a failure, even if its token was accepted.
DDS_ReturnCode_t submitStart(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *token, bool isOwnToken,
                             Attempt &attempt) ZYL_REQUIRES(self->_criticalSectionEA)
{
    const unsigned formerSubmission = token != nullptr ? token->_submissionCount : 0;
    DDS_Task task = {};
    task.execute = DDS_AsyncWaitSetTask_start;
    const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_submitTaskI(self, &task, nullptr, token);
    const bool isTokenAccepted = token != nullptr && token->_submissionCount != formerSubmission;
    if (isTokenAccepted && isOwnToken) attempt.ownToken = token;
    if (retCode != DDS_RETCODE_OK) return retCode;
    if (isTokenAccepted && token->_isRequestMissing != 0) return DDS_RETCODE_ERROR;
    attempt.request = AWS_requestOf(self->_internalTaskQueue._tail);
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

/// Undo an attempt that failed, with the area still held, so that nothing of it can hang: the caller's own token is
/// told, and a request that fewer than all threads can execute is counted as executed by the missing ones.
void abandonAttempt(DDS_AsyncWaitSet *self, const Attempt &attempt) ZYL_REQUIRES(self->_criticalSectionEA)
{
    if (attempt.ownToken != nullptr && attempt.ownToken->_state == DDS_AsyncWaitSetCompletionTokenState_QUEUED)
        static_cast<void>(AWS_completeTokenWithError(attempt.ownToken));
    if (attempt.request == nullptr) return;

    attempt.request->_completionToken = nullptr;
    DDS_UnsignedLong createdCount = 0;
    for (DDS_UnsignedLong i = 0; i < attempt.triedCount; ++i)
        if (self->_threadPool[i]._threadHandle != nullptr) createdCount += 1;
    if (createdCount == 0) return AWS_dropRequest(self, attempt.request);

    const DDS_UnsignedLong missingCount = self->_property.thread_pool_size - createdCount;
    static_cast<void>(handoffAdd(attempt.request->_executionCount, missingCount));
    attempt.request->_notificationCount += missingCount;
    self->_isPoolFailed = 1;
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

}  // namespace

DDS_ReturnCode_t DDS_AsyncWaitSet_start_with_completion_token(DDS_AsyncWaitSet *self,
                                                              DDS_AsyncWaitSetCompletionToken *completion_token)
    ZYL_NOT_ANALYZED  // Looking for an old pool may lose the critical section.
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (completion_token == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, completion_token);
    if (!AWS_enterCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "enter");

    const bool isImplicit = completion_token == DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT;
    DDS_AsyncWaitSetCompletionToken *token =
        completion_token == DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE ? nullptr : completion_token;
    DDS_ReturnCode_t retCode = DDS_RETCODE_OK;
    const AWSReadiness readiness = AWS_awaitOldPool(self);
    if (readiness == AWSReadiness::enterFailed) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "enter");
    if (readiness == AWSReadiness::leaveFailed) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "leave");
    const bool isStarting = readiness == AWSReadiness::ready && !(isImplicit && AWS_hasCriticalSectionTwice(self));
    if (readiness == AWSReadiness::alreadyStarted) {
        AWS_NOTICE(static_cast<void>(0), "already started");
    } else if (readiness == AWSReadiness::refused) {
        retCode = AWS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET,
                              "cannot accept more completion tokens while the thread is stopping");
    } else if (!isStarting) {
        retCode = AWS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET,
                              "waiting for request processed is not allowed within the same thread");
    } else if (AWS_TRACE_CALL("sending start request");
               isImplicit && (token = DDS_AsyncWaitSet_loanCompletionToken(self)) == nullptr) {
        retCode = AWS_FAILED(DDS_RETCODE_ERROR, "loan completion token");
    } else {
        const int wasStarted = handoffExchange(self->_isStarted, 1);
        Attempt attempt = {};
        retCode = submitStart(self, token, !isImplicit, attempt);
        if (retCode != DDS_RETCODE_OK)
            AWS_WARN("DDS_AsyncWaitSet_submitTaskI");
        else if ((retCode = createThreads(self, attempt)) != DDS_RETCODE_OK)
            AWS_WARN("DDS_AsyncWaitSet_createThread");
        if (retCode != DDS_RETCODE_OK) {
            abandonAttempt(self, attempt);
            handoffWrite(self->_isStarted, wasStarted);
        }
    }
    if (!AWS_leaveCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "leave");
    if (retCode != DDS_RETCODE_OK || !isStarting || !isImplicit) return retCode;

    retCode = DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_INFINITE);
    if (retCode != DDS_RETCODE_OK) {
        AWS_WARN("wait for request completion");
    } else {
        retCode = DDS_AsyncWaitSet_returnLoanedCompletionToken(self, token);
        if (retCode != DDS_RETCODE_OK) AWS_WARN("return loaned token");
    }
    if (retCode != DDS_RETCODE_OK) markAbandoned(self);
    return retCode;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_start(DDS_AsyncWaitSet *self)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    const DDS_ReturnCode_t retCode =
        DDS_AsyncWaitSet_start_with_completion_token(self, DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT);
    if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "DDS_AsyncWaitSet_start_with_completion_token");
    return DDS_RETCODE_OK;
}
