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

/// The threads of a start that failed partway have been joined: drop a request that none of them took.
void forgetFailedPool(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    while (DDS_AWSTaskInfo *const taskInfo = AWS_firstRequest(self)) AWS_dropRequest(self, taskInfo);
    self->_isPoolFailed = 0;
    endRecovery(self);
}

/// Join the threads of a start that failed partway. Those that rest at the barrier are let go. Blocks.
AWSStep retireFailedPool(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    handoffWrite(self->_isRecovering, 1);
    ZYLOsapiBarrier_abort(self->_barrier);
    if (!AWS_leaveCriticalSection(self)) {
        AWS_countAsInside(self);
        return giveUpRecovery(self, AWS_lostArea("leave"));
    }
    for (DDS_UnsignedLong i = 0; i < self->_property.thread_pool_size; ++i)
        DDS_AsyncWaitSetThread_finalize(&self->_threadPool[i]);
    ZYLOsapiBarrier_reset(self->_barrier);

    if (AWS_enterCriticalSection(self)) {
        forgetFailedPool(self);
        return {};
    }
    // What was begun must not be lost to one failure: there is a second try, although the start has failed.
    const AWSStep step = AWS_lostArea("enter");
    if (!AWS_enterCriticalSection(self)) {
        AWS_countAsInside(self);
        return giveUpRecovery(self, step);
    }
    forgetFailedPool(self);
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

/// What is to be done about the old pool that has been found. Blocks.
AWSStep dealWithOldPool(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    if (handoffRead(self->_isRecovering) == 0 && self->_isPoolFailed != 0) return retireFailedPool(self);
    if (handoffRead(self->_isRecovering) == 0 && self->_isPoolAbandoned != 0) return retireAbandonedPool(self);
    return AWS_awaitQueueChange(self);
}

bool isOldPoolLeft(const DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    return AWS_firstRequest(self) != nullptr || handoffRead(self->_isRecovering) != 0 || self->_isPoolFailed != 0 ||
           self->_isPoolAbandoned != 0;
}

}  // namespace

bool AWS_isStartedForGood(const DDS_AsyncWaitSet *self)
{
    return handoffRead(self->_isRecovering) == 0 && handoffRead(self->_isStarted) != 0;
}

AWSStep AWS_awaitOldPool(DDS_AsyncWaitSet *self)
{
    while (!AWS_isStartedForGood(self) && isOldPoolLeft(self)) {
        const DDS_AsyncWaitSetThread *const thread = AWS_currentThread(self);
        if (thread != nullptr && thread->_owner == self) return refusal();
        if (AWS_hasCriticalSectionTwice(self)) return refusal();
        if (AWS_isDeadLockRisk(self, thread)) return {};
        const AWSStep step = dealWithOldPool(self);
        if (step.hasFailed()) return step;
    }
    return {};
}
