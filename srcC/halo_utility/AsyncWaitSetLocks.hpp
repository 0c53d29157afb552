/// @file
/// The law of the locks.
///
/// A wait set has two exclusive areas and one right, taken in this order and never the other way:
///
/// 1. **Leadership** (`_threadPoolSynchronizerEA`, level L). The thread that holds it waits on the shared wait set and
///    picks the condition to dispatch. It is given up around a handler and around the barrier. A pool of one thread has
///    no such area: its thread always leads.
/// 2. **Critical section** (`_criticalSectionEA`, level L + 1). It protects the request queue, the tokens and the
///    doorbell. It is re-entrant. It is never held while a task of a started wait set is executed, while anybody blocks
///    on a token, or while a handler runs. A thread inside it never asks for leadership.
///
/// The **registry turn** is the right to walk or change the registry. It has no lock; who has it follows from the
/// protocol:
/// - in a started wait set, the leader inside its wake-up handler has it, for walking, for the cursor and for marking a
///   condition as locked; no registry change can happen then, because
/// - the execution of a request that is its *last* has it for everything: the last claimant knows that every other pool
///   thread has claimed the request too and therefore is executing tasks or waiting at the barrier, which it leaves
///   only after this execution has been notified; none of them is in a wake-up handler or its dispatch;
/// - in a wait set that is not started, the thread inside the critical section has it. Stop and start hand it over: the
///   stop clears `_isStarted` inside the critical section after its last use of the registry, and a start sets it
///   there.
///
/// A *claim* stands where the analysis cannot see that something is held and the protocol says that it is. The
/// simulation build checks every claim: the critical section by its depth, the registry turn by the three reasons
/// above.
///
/// Who may wait for whom: a pool thread waits for leadership, for the critical section (held only briefly), for the
/// barrier (with neither area), and in handlers for what the application does there. Nobody waits for a pool thread
/// with an area in hand: old threads are joined with nothing held, because what they still do while they end, the
/// destructors of their thread-local objects, may enter one.
#ifndef ASYNC_WAIT_SET_LOCKS_HPP
#define ASYNC_WAIT_SET_LOCKS_HPP

#include "AsyncWaitSetRecords.pkg.h"
#include "halo_runtime/vesk/VESKInlineListView.pkg.hpp"
#include "halo_runtime/zyl/ZYLClaim.pkg.hpp"
#include "halo_runtime/zyl/ZYLShared.pkg.hpp"

/// Whether the thread that leads has others to share the work with. A pool of one has no leadership and no barrier.
inline bool AWS_hasFollowers(const DDS_AsyncWaitSet *self)
{
    return self->_property.thread_pool_size != 1;
}

/// The calling thread's worker.
inline VESKWorker *AWS_worker(const DDS_AsyncWaitSet *self)
{
    return DDS_AsyncWaitSetGlobals_getWorker(self->_globals);
}

/// The calling pool thread's record, null elsewhere.
inline DDS_AsyncWaitSetThread *AWS_currentThread(const DDS_AsyncWaitSet *self)
{
    return DDS_AsyncWaitSetGlobals_getThreadSpecific(self->_globals);
}

// ---------------------------------------------------------------- the critical section

/// Enter the critical section. A pool thread that executes requests has its worker at hand.
inline bool AWS_enterCriticalSectionAs(DDS_AsyncWaitSet *self, VESKWorker *worker)
    ZYL_TRY_ACQUIRE(true, self->_criticalSectionEA)
{
    return VESKWorker_enterExclusiveArea(worker, nullptr, self->_criticalSectionEA) != 0;
}
inline bool AWS_enterCriticalSection(DDS_AsyncWaitSet *self) ZYL_TRY_ACQUIRE(true, self->_criticalSectionEA)
{
    return AWS_enterCriticalSectionAs(self, AWS_worker(self));
}

/// Leave the critical section. A failure is a failure of the operation, but the section counts as left.
inline bool AWS_leaveCriticalSectionAs(DDS_AsyncWaitSet *self, VESKWorker *worker) ZYL_RELEASE(self->_criticalSectionEA)
{
    return VESKWorker_leaveExclusiveArea(worker, nullptr, self->_criticalSectionEA) != 0;
}
inline bool AWS_leaveCriticalSection(DDS_AsyncWaitSet *self) ZYL_RELEASE(self->_criticalSectionEA)
{
    return AWS_leaveCriticalSectionAs(self, AWS_worker(self));
}

/// How often the calling thread would have to leave the critical section to be outside.
inline int AWS_criticalSectionDepth(const DDS_AsyncWaitSet *self)
{
    return VESKWorker_getExclusiveAreaDepth(AWS_worker(self), self->_criticalSectionEA);
}

/// Whether leaving the critical section once would still leave the calling thread inside.
inline bool AWS_hasCriticalSectionTwice(const DDS_AsyncWaitSet *self)
{
    return AWS_criticalSectionDepth(self) > 1;
}

/// The operation's contract says that its caller is inside the critical section.
inline void AWS_claimCriticalSection(const DDS_AsyncWaitSet *self) ZYL_ASSERT_HELD(self->_criticalSectionEA)
{
    ZYL_CLAIM(AWS_criticalSectionDepth(self) > 0, "the critical section is claimed by a thread that is outside");
    static_cast<void>(self);
}

/// The critical section could not be had back (or given up), which is this operation's failure; the caller, who entered
/// it, will leave it as if nothing had happened.
inline void AWS_countAsInside(const DDS_AsyncWaitSet *self) ZYL_ASSERT_HELD(self->_criticalSectionEA)
{
    static_cast<void>(self);
}
/// The same, for a caller who must not leave it again. Not analyzed: nothing is released.
inline void AWS_countAsOutside(const DDS_AsyncWaitSet *self) ZYL_RELEASE(self->_criticalSectionEA) ZYL_NOT_ANALYZED
{
    static_cast<void>(self);
}

// ---------------------------------------------------------------- the registry turn

/// Use everything: nobody else knows a wait set that is being built, and nobody else may use one that is being deleted;
/// its pool threads have been stopped, or do not touch what is used.
inline void AWS_claimAlone(const DDS_AsyncWaitSet *self) ZYL_ASSERT_HELD(self->_criticalSectionEA, AWS_registryTurn)
{
    static_cast<void>(self);
}

#if defined(ASYNCWAITSET_SIMULATION)
/// Whether the calling thread leads and is not executing requests: then it is in a wake-up handler.
inline bool AWS_isInWakeUp(const DDS_AsyncWaitSet *self, const DDS_AsyncWaitSetThread *thread)
{
    if (thread == nullptr || thread->_owner != self || thread->_lastRequestCount != 0) return false;
    return !AWS_hasFollowers(self) ||
           VESKWorker_getExclusiveAreaDepth(AWS_worker(self), self->_threadPoolSynchronizerEA) > 0;
}

/// Whether the calling thread executes a request of which its claim was the last one.
inline bool AWS_isLastClaimant(const DDS_AsyncWaitSet *self, const DDS_AsyncWaitSetThread *thread)
{
    if (thread == nullptr || thread->_owner != self || thread->_executedRequest == nullptr) return false;
    return thread->_executedRequest->_isClaimed != 0 && handoffRead(thread->_executedRequest->_lastClaimant) == thread;
}

/// Whether the calling thread is inside the critical section of a wait set that no pool thread serves: it is not
/// started, or a callback of the inline request that is being executed here has just queued its start.
inline bool AWS_isInsideUnserved(const DDS_AsyncWaitSet *self)
{
    if (AWS_criticalSectionDepth(self) == 0) return false;
    AWS_claimAlone(self);  // It has just been seen to be inside.
    if (handoffRead(self->_isStarted) == 0) return true;
    const DDS_AWSTaskInfo *const first = VESKInlineListView<DDS_AWSTaskInfo>{self->_internalTaskQueue}.first();
    return first != nullptr && handoffRead(first->_executionCount) == 0 && self->_threadPool[0]._mustClaimStart != 0;
}
#endif

/// Use the registry for one of the three reasons at the top of this file.
inline void AWS_claimRegistryTurn(const DDS_AsyncWaitSet *self) ZYL_ASSERT_HELD(AWS_registryTurn)
{
    ZYL_CLAIM(AWS_isInWakeUp(self, AWS_currentThread(self)) || AWS_isLastClaimant(self, AWS_currentThread(self)) ||
                  AWS_isInsideUnserved(self),
              "the registry is used by a thread that has no turn");
    static_cast<void>(self);
}

/// Use the registry because the caller says so: a caller in another module keeps attach and detach away by its own
/// means, which cannot be checked here.
inline void AWS_borrowRegistryTurn() ZYL_ASSERT_HELD(AWS_registryTurn) {}

// ---------------------------------------------------------------- threads that have left a pool

/// What the calling thread served last, if that has not been joined: it is an application thread again, but it cannot
/// wait for its own end.
struct AWSFormerService {
    const void *owner;  ///< The wait set, to be compared only; null for none.
    int level;          ///< Its level.
};
inline AWSFormerService AWS_formerService(const DDS_AsyncWaitSet *self)
{
    AWSFormerService former = {};
    if (AWS_currentThread(self) == nullptr)
        former.owner = VESKService_getOwnerServed(self->_globals->_workerPerThread, &former.level);
    return former;
}

/// Whether the calling thread is one of the wait set's, running or not yet joined.
inline bool AWS_isOwnThread(const DDS_AsyncWaitSet *self)
{
    const DDS_AsyncWaitSetThread *const thread = AWS_currentThread(self);
    return thread != nullptr ? thread->_owner == self : AWS_formerService(self).owner == self;
}

// ---------------------------------------------------------------- the nesting rule

/// Whether a pool thread of another wait set must not hand a request to this one or wait on it: only a strictly lower
/// level may. Waiting along rising levels cannot close a circle.
inline bool AWS_isDeadLockRisk(const DDS_AsyncWaitSet *self, const DDS_AsyncWaitSetThread *thread)
{
    return thread != nullptr && thread->_owner != self && thread->_owner->_property.level >= self->_property.level;
}

#endif
