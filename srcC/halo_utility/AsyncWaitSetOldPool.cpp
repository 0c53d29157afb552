/// @file
/// The old pool: threads of an earlier start that a start finds when it wants to recycle their records. It is one of
/// these:
/// - threads that have claimed a stop and have not all acknowledged it: their request is still queued;
/// - threads that have acknowledged their stop and have not been joined: what they still run, thread-local destructors
///   among it, may call operations of the wait set;
/// - the threads of a start that failed partway: they finish the start request and rest at the barrier;
/// - the threads of a start whose wait failed: they run although the wait set is not started.
/// A start waits until the first are through, stops the last, and joins all others; both outside the critical section,
/// because the threads need it to finish. One start does it, the others wait meanwhile, and everything is tested again
/// afterwards. A thread that is to be joined can neither do that nor wait for it.
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

/// The calling thread must not wait for the old pool, or could not stop it.
AWSStep refusal()
{
    return AWS_STEP_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET,
                            "cannot accept more completion tokens while the thread is stopping");
}

/// The old pool is gone: let everybody look again.
void endRecovery(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    handoffWrite(self->_isRecovering, 0);
    AWS_wakeStarters(self);
}

/// The critical section failed on the way: nobody may go on waiting for this recovery. The next start begins another.
/// Returns: that failure.
AWSStep giveUpRecovery(DDS_AsyncWaitSet *self, const AWSStep &step) ZYL_REQUIRES(self->_criticalSectionEA)
{
    AWS_countAsOutside(self);
    if (AWS_enterCriticalSection(self)) {
        endRecovery(self);
        static_cast<void>(AWS_leaveCriticalSection(self));
    } else {
        handoffWrite(self->_isRecovering, 0);
    }
    AWS_countAsInside(self);
    return step;
}

/// The threads have been joined: note that. A request that none of those of a failed start took is dropped.
void forgetThreads(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    for (DDS_UnsignedLong i = 0; i < self->_property.thread_pool_size; ++i)
        VESKService_end(&self->_threadPool[i]._service, self->_globals->_workerPerThread);
    if (self->_isPoolFailed != 0) {
        while (DDS_AWSTaskInfo *const taskInfo = AWS_firstRequest(self)) AWS_dropRequest(self, taskInfo);
        self->_isPoolFailed = 0;
    }
    endRecovery(self);
}

/// Join the threads, in the order of their indices, and release what their records hold. Blocks.
void joinThreads(DDS_AsyncWaitSet *self, bool isPoolFailed)
{
    for (DDS_UnsignedLong i = 0; i < self->_property.thread_pool_size; ++i)
        DDS_AsyncWaitSetThread_finalize(&self->_threadPool[i]);
    if (isPoolFailed) ZYLOsapiBarrier_reset(self->_barrier);
}

/// Join the old threads with nothing held. Those of a failed start that rest at the barrier are let go. Blocks.
AWSStep retireThreads(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    handoffWrite(self->_isRecovering, 1);
    const bool isPoolFailed = self->_isPoolFailed != 0;
    if (isPoolFailed) ZYLOsapiBarrier_abort(self->_barrier);
    if (!AWS_leaveCriticalSection(self)) {
        AWS_countAsInside(self);
        return giveUpRecovery(self, AWS_lostArea("leave"));
    }
    joinThreads(self, isPoolFailed);
    if (AWS_enterCriticalSection(self)) {
        forgetThreads(self);
        return {};
    }
    // What was begun must not be lost to one failure: there is a second try, although the start has failed.
    const AWSStep step = AWS_lostArea("enter");
    if (!AWS_enterCriticalSection(self)) {
        AWS_countAsInside(self);
        return giveUpRecovery(self, step);
    }
    forgetThreads(self);
    static_cast<void>(AWS_leaveCriticalSection(self));
    AWS_countAsInside(self);
    return step;
}

/// Stop the threads of a start whose wait failed, as a stop request does, and wait until they have acknowledged it.
/// Blocks.
AWSStep retireAbandonedPool(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    handoffWrite(self->_isRecovering, 1);
    handoffWrite(self->_isStarted, 1);
    DDS_Task task = {nullptr, DDS_AsyncWaitSetTask_stop};
    if (DDS_AsyncWaitSet_submitTaskI(self, &task, nullptr, nullptr) != DDS_RETCODE_OK) {
        handoffWrite(self->_isStarted, 0);
        endRecovery(self);
        return refusal();
    }
    self->_isPoolAbandoned = 0;
    while (AWS_firstRequest(self) != nullptr) {
        const AWSStep step = AWS_awaitQueueChange(self);
        if (step.hasFailed()) return giveUpRecovery(self, step);
    }
    endRecovery(self);
    return {};
}

/// Whether a thread has not been noted as joined.
bool isThreadLeft(const DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    for (DDS_UnsignedLong i = 0; i < self->_property.thread_pool_size; ++i)
        if (VESKService_isOpen(&self->_threadPool[i]._service) != 0) return true;
    return false;
}

bool isOldPoolLeft(const DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    return AWS_firstRequest(self) != nullptr || handoffRead(self->_isRecovering) != 0 || self->_isPoolFailed != 0 ||
           self->_isPoolAbandoned != 0 || isThreadLeft(self);
}

/// What is to be done about the old pool that has been found. Blocks.
AWSStep dealWithOldPool(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    const bool isRecovering = handoffRead(self->_isRecovering) != 0;
    if (!isRecovering && self->_isPoolAbandoned != 0) return retireAbandonedPool(self);
    if (!isRecovering && (self->_isPoolFailed != 0 || AWS_firstRequest(self) == nullptr)) return retireThreads(self);
    return AWS_awaitQueueChange(self);
}

/// Whether the calling thread may wait for an old pool, or else how its start is refused.
AWSStep refuseToWait(const DDS_AsyncWaitSet *self, const char *operation) ZYL_REQUIRES(self->_criticalSectionEA)
{
    if (AWS_isOwnThread(self) || AWS_hasCriticalSectionTwice(self)) return refusal();
    const AWSFormerService former = AWS_formerService(self);
    if (former.owner == nullptr || former.level < self->_property.level) return {};
    return AWS_DEAD_LOCK_RISK_FOR(AWSStep{DDS_RETCODE_PRECONDITION_NOT_MET}, operation, "WSCT", self,
                                  ZYLOsapiThread_getCurrentThreadID(), former.level);
}

}  // namespace

bool AWS_isStartedForGood(const DDS_AsyncWaitSet *self)
{
    return handoffRead(self->_isRecovering) == 0 && handoffRead(self->_isStarted) != 0;
}

AWSStep AWS_awaitOldPool(DDS_AsyncWaitSet *self, const char *operation)
{
    while (!AWS_isStartedForGood(self) && isOldPoolLeft(self)) {
        AWSStep step = refuseToWait(self, operation);
        if (step.hasFailed()) return step;
        if (AWS_isDeadLockRisk(self, AWS_currentThread(self))) return {};
        step = dealWithOldPool(self);
        if (step.hasFailed()) return step;
    }
    return {};
}
