/// @file
/// Request helpers of this folder: the queue as submission, execution, notification and start see it.
///
/// Protection: the critical section for everything here.
#ifndef ASYNC_WAIT_SET_REQUEST_HPP
#define ASYNC_WAIT_SET_REQUEST_HPP

#include "AsyncWaitSetLocks.hpp"
#include "AsyncWaitSetLog.hpp"

/// The requests that some pool thread has not finished, the oldest first.
inline VESKInlineListView<DDS_AWSTaskInfo> AWS_requests(const DDS_AsyncWaitSet *self)
    ZYL_REQUIRES(self->_criticalSectionEA)
{
    return {self->_internalTaskQueue};
}

/// The oldest of them, or null.
inline DDS_AWSTaskInfo *AWS_firstRequest(const DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    return AWS_requests(self).first();
}

/// Queue a request behind the others.
void AWS_appendRequest(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo) ZYL_REQUIRES(self->_criticalSectionEA);
/// Take a request out of the queue, if it is in it, and tell the starts that wait for an empty one.
void AWS_unlinkRequest(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo) ZYL_REQUIRES(self->_criticalSectionEA);
/// Drop a request that nobody will execute: out of the queue, record returned, doorbell lowered. Its token is not told.
void AWS_dropRequest(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo) ZYL_REQUIRES(self->_criticalSectionEA);
/// A request whose submission failed leaves the queue and forgets its token. Its record stays until finalization,
/// unless its last notification has returned it already. Batching comes back if it was the only request.
void AWS_strandRequest(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo) ZYL_REQUIRES(self->_criticalSectionEA);
/// Return the records of stranded requests: they are in no queue and nobody waits for them.
void AWS_returnStrandedRequests(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA);

/// Ring for a request that has just been queued. While any is pending a single event ends every wait: batching would
/// delay it.
AWSStep AWS_ringDoorbell(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA);
/// One request less. Batching comes back with the last.
AWSStep AWS_lowerDoorbell(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA);

/// Sleep until the queue has become empty or something else about an old pool has changed. The critical section is left
/// meanwhile, and lost when the step failed.
/// Blocks.
AWSStep AWS_awaitQueueChange(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA);
/// Let the starts that wait for an old pool look again.
void AWS_wakeStarters(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA);

/// Whether this execution is the request's last. For a claimed request that was decided by the last claim: looked up
/// later, two threads could both see a full count.
inline bool AWS_isLastExecution(const DDS_AWSTaskInfo *taskInfo)
{
    if (taskInfo->_isClaimed != 0) return handoffRead(taskInfo->_lastClaimant) == AWS_currentThread(taskInfo->_owner);
    return handoffRead(taskInfo->_executionCount) >= taskInfo->_owner->_property.thread_pool_size;
}

/// The same for start and stop, which happen once however often they are executed.
inline bool AWS_completesExecution(const DDS_AWSTaskInfo *taskInfo)
{
    return AWS_isLastExecution(taskInfo) &&
           handoffRead(taskInfo->_executionCount) == taskInfo->_owner->_property.thread_pool_size;
}

#endif
