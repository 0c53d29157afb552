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
/// AWS_claimRegistryTurn stands where the turn is used and claims one of these reasons.
///
/// Who may wait for whom: a pool thread waits for leadership, for the critical section (held only briefly), for the
/// barrier (with neither area), and in handlers for what the application does there. Nobody waits for a pool thread
/// with an area in hand, except start, which joins threads that have acknowledged their stop and touch no area again.
#ifndef ASYNC_WAIT_SET_LOCKS_HPP
#define ASYNC_WAIT_SET_LOCKS_HPP

#include "AsyncWaitSetRecords.pkg.h"
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

/// Enter the critical section with the calling thread's worker.
/// The analysis cannot see through the area's own annotations; the word at the declaration is what callers rely on.
inline bool AWS_enterCriticalSection(DDS_AsyncWaitSet *self)
    ZYL_TRY_ACQUIRE(true, self->_criticalSectionEA) ZYL_NOT_ANALYZED
{
    return VESKWorker_enterExclusiveArea(AWS_worker(self), nullptr, self->_criticalSectionEA) != 0;
}

/// Leave the critical section. A failure is a failure of the operation, but the section counts as left.
inline bool AWS_leaveCriticalSection(DDS_AsyncWaitSet *self) ZYL_RELEASE(self->_criticalSectionEA) ZYL_NOT_ANALYZED
{
    return VESKWorker_leaveExclusiveArea(AWS_worker(self), nullptr, self->_criticalSectionEA) != 0;
}

/// The same pair for a pool thread that executes requests: it has its worker at hand.
inline bool AWS_enterCriticalSectionAs(DDS_AsyncWaitSet *self, VESKWorker *worker)
    ZYL_TRY_ACQUIRE(true, self->_criticalSectionEA) ZYL_NOT_ANALYZED
{
    return VESKWorker_enterExclusiveArea(worker, nullptr, self->_criticalSectionEA) != 0;
}
inline bool AWS_leaveCriticalSectionAs(DDS_AsyncWaitSet *self, VESKWorker *worker)
    ZYL_RELEASE(self->_criticalSectionEA) ZYL_NOT_ANALYZED
{
    return VESKWorker_leaveExclusiveArea(worker, nullptr, self->_criticalSectionEA) != 0;
}

/// The operation's contract says that its caller is inside the critical section.
inline void AWS_isInsideCriticalSection(const DDS_AsyncWaitSet *self) ZYL_ASSERT_HELD(self->_criticalSectionEA)
{
    static_cast<void>(self);
}

/// Whether leaving the critical section once would still leave the calling thread inside.
inline bool AWS_hasCriticalSectionTwice(const DDS_AsyncWaitSet *self)
{
    return VESKWorker_getExclusiveAreaDepth(AWS_worker(self), self->_criticalSectionEA) > 1;
}

/// Use the registry for one of the reasons at the top of this file.
inline void AWS_claimRegistryTurn() ZYL_ASSERT_HELD(AWS_registryTurn) {}

/// The calling pool thread's record, null elsewhere.
inline DDS_AsyncWaitSetThread *AWS_currentThread(const DDS_AsyncWaitSet *self)
{
    return DDS_AsyncWaitSetGlobals_getThreadSpecific(self->_globals);
}

/// Whether a pool thread of another wait set must not hand a request to this one or wait on it: only a strictly lower
/// level may. Waiting along rising levels cannot close a circle.
inline bool AWS_isDeadLockRisk(const DDS_AsyncWaitSet *self, const DDS_AsyncWaitSetThread *thread)
{
    return thread != nullptr && thread->_owner != self && thread->_owner->_property.level >= self->_property.level;
}

#endif
