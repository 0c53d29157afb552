/// @file
/// Leadership: take it, give it up. A pool of one thread has nobody to share it with.
///
/// Protection: this is one; whoever leads holds `_threadPoolSynchronizerEA`.
#include "AsyncWaitSetLeadership.hpp"

#include "AsyncWaitSetLocks.hpp"
#include "AsyncWaitSetLog.hpp"

int DDS_AsyncWaitSet_becomeNewLeader(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetThread *thread) ZYL_NOT_ANALYZED
{
    if (!AWS_hasFollowers(self)) return 1;
    VESKWorker *const worker = AWS_worker(self);
    if (VESKWorker_enterExclusiveArea(worker, nullptr, self->_threadPoolSynchronizerEA) == 0)
        return AWS_LEADERSHIP_FAILED(0, worker, ZYL_LOG_FAILED_TO_LOCK_TEMPLATE);
    AWS_TRACE_THREAD(thread, "became new leader");
    return 1;
}

int DDS_AsyncWaitSet_promoteNewLeader(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetThread *thread) ZYL_NOT_ANALYZED
{
    if (!AWS_hasFollowers(self)) return 1;
    AWS_TRACE_THREAD(thread, "promoting new leader");
    VESKWorker *const worker = AWS_worker(self);
    if (VESKWorker_leaveExclusiveArea(worker, nullptr, self->_threadPoolSynchronizerEA) == 0)
        return AWS_LEADERSHIP_FAILED(0, worker, ZYL_LOG_FAILED_TO_UNLOCK_TEMPLATE);
    return 1;
}
