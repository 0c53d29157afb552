/// @file
/// The old pool: threads of an earlier start that a start finds when it wants to recycle their records. It is one of
/// these:
/// - threads that have claimed a stop and have not all acknowledged it: their request is still queued;
/// - the threads of a start that failed partway: they finish the start request and rest at the barrier;
/// - the threads of a start whose wait failed: they run although the wait set is not started.
/// A start waits until the first is gone and retires the other two itself, outside the critical section, because the
/// threads need it to finish. Everything is tested again afterwards.
///
/// Protection: the critical section, left and entered again.
/// Calls out: the thread factory, to join threads, outside the critical section.
#include "AsyncWaitSetOldPool.hpp"

#include "AsyncWaitSetLocks.hpp"
#include "AsyncWaitSetRequest.hpp"
#include "AsyncWaitSetSubmission.hpp"
#include "AsyncWaitSetTask.hpp"
#include "AsyncWaitSetThread.hpp"

namespace {

/// Sleep until something about the old pool has changed.
AWSReadiness awaitChange(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    switch (AWS_awaitQueueChange(self)) {
        case AWSAreaOutcome::inside:
            return AWSReadiness::ready;
        case AWSAreaOutcome::leaveFailed:
            return AWSReadiness::leaveFailed;
        default:
            return AWSReadiness::enterFailed;
    }
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
AWSReadiness retireFailedPool(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA) ZYL_NOT_ANALYZED
{
    handoffWrite(self->_isRecovering, 1);
    ZYLOsapiBarrier_abort(self->_barrier);
    if (!AWS_leaveCriticalSection(self)) {
        giveUpRecovery(self);
        return AWSReadiness::leaveFailed;
    }
    for (DDS_UnsignedLong i = 0; i < self->_property.thread_pool_size; ++i)
        DDS_AsyncWaitSetThread_finalize(&self->_threadPool[i]);
    ZYLOsapiBarrier_reset(self->_barrier);

    bool isInside = false;
    const bool isBack = enterToFinish(self, isInside);
    if (!isInside) {
        giveUpRecovery(self);
        return AWSReadiness::enterFailed;
    }
    while (DDS_AWSTaskInfo *const taskInfo = AWS_firstRequest(self)) AWS_dropRequest(self, taskInfo);
    self->_isPoolFailed = 0;
    endRecovery(self);
    if (isBack) return AWSReadiness::ready;
    static_cast<void>(AWS_leaveCriticalSection(self));
    return AWSReadiness::enterFailed;
}

/// Stop the threads of a start whose wait failed, as a stop request does, and wait until they have acknowledged it.
/// Blocks.
AWSReadiness retireAbandonedPool(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA) ZYL_NOT_ANALYZED
{
    handoffWrite(self->_isRecovering, 1);
    handoffWrite(self->_isStarted, 1);
    DDS_Task task = {};
    task.execute = DDS_AsyncWaitSetTask_stop;
    AWSReadiness readiness = AWSReadiness::ready;
    if (DDS_AsyncWaitSet_submitTaskI(self, &task, nullptr, nullptr) != DDS_RETCODE_OK) {
        handoffWrite(self->_isStarted, 0);
        readiness = AWSReadiness::refused;
    } else {
        self->_isPoolAbandoned = 0;
        while (readiness == AWSReadiness::ready && AWS_firstRequest(self) != nullptr) readiness = awaitChange(self);
    }
    if (readiness == AWSReadiness::enterFailed || readiness == AWSReadiness::leaveFailed)
        giveUpRecovery(self);
    else
        endRecovery(self);
    return readiness;
}

}  // namespace

AWSReadiness AWS_awaitOldPool(DDS_AsyncWaitSet *self)
{
    AWSReadiness readiness = AWSReadiness::ready;
    while (readiness == AWSReadiness::ready) {
        const bool isRecovering = handoffRead(self->_isRecovering) != 0;
        if (!isRecovering && handoffRead(self->_isStarted) != 0) return AWSReadiness::alreadyStarted;
        const bool isOldPoolLeft = AWS_firstRequest(self) != nullptr || isRecovering || self->_isPoolFailed != 0 ||
                                   self->_isPoolAbandoned != 0;
        if (!isOldPoolLeft) return AWSReadiness::ready;

        const DDS_AsyncWaitSetThread *const thread = AWS_currentThread(self);
        if (thread != nullptr && thread->_owner == self) return AWSReadiness::refused;
        if (AWS_hasCriticalSectionTwice(self)) return AWSReadiness::refused;
        if (AWS_isDeadLockRisk(self, thread)) return AWSReadiness::ready;

        if (!isRecovering && self->_isPoolFailed != 0)
            readiness = retireFailedPool(self);
        else if (!isRecovering && self->_isPoolAbandoned != 0)
            readiness = retireAbandonedPool(self);
        else
            readiness = awaitChange(self);
    }
    return readiness;
}
