/// @file
/// Start: queue the start request, create the pool threads, and deal with an old pool that is not gone yet.
///
/// An old pool is one of these:
/// - threads that have claimed a stop and have not all acknowledged it: their request is still queued;
/// - the threads of a start that failed partway: they finish the start request and rest at the barrier;
/// - the threads of a start whose wait failed: they run although the wait set is not started.
/// A start waits until the first is gone and retires the other two itself, outside the critical section, because the
/// threads need it to finish. Only then may it recycle the thread records.
///
/// Protection: the critical section; a start that waits or retires leaves it and tests everything again afterwards.
/// Calls out: the thread factory, with the critical section held when it creates threads.
#include "AsyncWaitSet.pkg.h"
#include "AsyncWaitSetCompletionToken.hpp"
#include "AsyncWaitSetLog.hpp"
#include "AsyncWaitSetRequest.hpp"
#include "halo_runtime/zyl/ZYLOsapiNotice.pkg.h"

namespace {

/// A start that waits for an old pool, on its own stack.
struct Starter {
    VESKInlineListNode node;  ///< Link in `_starterList`: critical section.
    ZYLOsapiNotice notice;
};

/// What a start has to do after it has looked for an old pool.
enum class Readiness {
    ready,           ///< No old pool is left, or submission will refuse this start anyway.
    alreadyStarted,  ///< Nothing to do.
    refused,         ///< The calling thread must not wait for the old pool.
    enterFailed,     ///< The critical section could not be had back.
    leaveFailed      ///< It could not be given up.
};

/// Sleep until something about the old pool has changed.
Readiness awaitChange(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA) ZYL_NOT_ANALYZED
{
    Starter starter = {};
    ZYLOsapiNotice_initialize(&starter.notice);
    VESKInlineList_addNodeToBackEA(&self->_starterList, &starter.node);
    if (!AWS_leaveCriticalSection(self)) {
        // Left or not, the record goes with this stack: take it out of the list, inside if that can be had.
        const bool isInside = AWS_enterCriticalSection(self);
        if (VESKInlineList_isNodeInList(&self->_starterList, &starter.node) != 0)
            VESKInlineList_removeNodeEA(&self->_starterList, &starter.node);
        if (isInside) static_cast<void>(AWS_leaveCriticalSection(self));
        return Readiness::leaveFailed;
    }
    ZYLOsapiNotice_wait(&starter.notice, "old pool");
    return AWS_enterCriticalSection(self) ? Readiness::ready : Readiness::enterFailed;
}

/// Enter the critical section to finish what was begun outside of it. What was begun must not be lost to one failure,
/// so there is a second try. Returns: whether the first one succeeded; `isInsideOut` tells whether either did.
bool enterToFinish(DDS_AsyncWaitSet *self, bool &isInsideOut) ZYL_NOT_ANALYZED
{
    const bool isFirst = AWS_enterCriticalSection(self);
    isInsideOut = isFirst || AWS_enterCriticalSection(self);
    return isFirst;
}

/// The old pool is gone: let everybody look again.
void endRecovery(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    handoffWrite(self->_isRecovering, 0);
    AWS_wakeStarters(self);
}

/// The critical section failed on the way: nobody may go on waiting for this recovery. The next start begins another.
void giveUpRecovery(DDS_AsyncWaitSet *self) ZYL_NOT_ANALYZED
{
    if (!AWS_enterCriticalSection(self)) return handoffWrite(self->_isRecovering, 0);
    endRecovery(self);
    static_cast<void>(AWS_leaveCriticalSection(self));
}

/// Join the threads of a start that failed partway. Those that rest at the barrier are let go; a request that no thread
/// took is dropped. Blocks.
Readiness retireFailedPool(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA) ZYL_NOT_ANALYZED
{
    handoffWrite(self->_isRecovering, 1);
    ZYLOsapiBarrier_abort(self->_barrier);
    if (!AWS_leaveCriticalSection(self)) {
        giveUpRecovery(self);
        return Readiness::leaveFailed;
    }
    for (DDS_UnsignedLong i = 0; i < self->_property.thread_pool_size; ++i)
        DDS_AsyncWaitSetThread_finalize(&self->_threadPool[i]);
    ZYLOsapiBarrier_reset(self->_barrier);

    bool isInside = false;
    const bool isBack = enterToFinish(self, isInside);
    if (!isInside) {
        giveUpRecovery(self);
        return Readiness::enterFailed;
    }
    while (DDS_AWSTaskInfo *const taskInfo = AWS_firstRequest(self)) AWS_dropRequest(self, taskInfo);
    self->_isPoolFailed = 0;
    endRecovery(self);
    if (isBack) return Readiness::ready;
    static_cast<void>(AWS_leaveCriticalSection(self));
    return Readiness::enterFailed;
}

/// Stop the threads of a start whose wait failed, as a stop request does, and wait until they have acknowledged it.
/// Blocks.
Readiness retireAbandonedPool(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA) ZYL_NOT_ANALYZED
{
    handoffWrite(self->_isRecovering, 1);
    handoffWrite(self->_isStarted, 1);
    DDS_Task task = {};
    task.execute = DDS_AsyncWaitSetTask_stop;
    Readiness readiness = Readiness::ready;
    if (DDS_AsyncWaitSet_submitTaskI(self, &task, nullptr, nullptr) != DDS_RETCODE_OK) {
        handoffWrite(self->_isStarted, 0);
        readiness = Readiness::refused;
    } else {
        self->_isPoolAbandoned = 0;
        while (readiness == Readiness::ready && AWS_firstRequest(self) != nullptr) readiness = awaitChange(self);
    }
    if (readiness == Readiness::enterFailed || readiness == Readiness::leaveFailed)
        giveUpRecovery(self);
    else
        endRecovery(self);
    return readiness;
}

/// Look for an old pool, and wait until it is gone. Blocks.
Readiness awaitOldPool(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    Readiness readiness = Readiness::ready;
    while (readiness == Readiness::ready) {
        const bool isRecovering = handoffRead(self->_isRecovering) != 0;
        if (!isRecovering && handoffRead(self->_isStarted) != 0) return Readiness::alreadyStarted;
        const bool isOldPoolLeft = AWS_firstRequest(self) != nullptr || isRecovering || self->_isPoolFailed != 0 ||
                                   self->_isPoolAbandoned != 0;
        if (!isOldPoolLeft) return Readiness::ready;

        const DDS_AsyncWaitSetThread *const thread = AWS_currentThread(self);
        if (thread != nullptr && thread->_owner == self) return Readiness::refused;
        if (AWS_hasCriticalSectionTwice(self)) return Readiness::refused;
        if (AWS_isDeadLockRisk(self, thread)) return Readiness::ready;

        if (!isRecovering && self->_isPoolFailed != 0)
            readiness = retireFailedPool(self);
        else if (!isRecovering && self->_isPoolAbandoned != 0)
            readiness = retireAbandonedPool(self);
        else
            readiness = awaitChange(self);
    }
    return readiness;
}

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

void AWS_wakeStarters(DDS_AsyncWaitSet *self)
{
    while (VESKInlineListNode *const node = VESKInlineList_getFirst(&self->_starterList)) {
        VESKInlineList_removeNodeEA(&self->_starterList, node);
        ZYLOsapiNotice_raise(&reinterpret_cast<Starter *>(node)->notice);
    }
}

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
    const Readiness readiness = awaitOldPool(self);
    if (readiness == Readiness::enterFailed) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "enter");
    if (readiness == Readiness::leaveFailed) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "leave");
    const bool isStarting = readiness == Readiness::ready && !(isImplicit && AWS_hasCriticalSectionTwice(self));
    if (readiness == Readiness::alreadyStarted) {
        AWS_NOTICE(static_cast<void>(0), "already started");
    } else if (readiness == Readiness::refused) {
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
