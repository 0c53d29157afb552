/// @file
/// Request helpers of this folder: the queue as submission, execution, notification and start see it.
///
/// Protection: the critical section for everything here.
#ifndef ASYNC_WAIT_SET_REQUEST_HPP
#define ASYNC_WAIT_SET_REQUEST_HPP

#include "AsyncWaitSetLocks.hpp"

/// A record is its own node.
inline DDS_AWSTaskInfo *AWS_requestOf(VESKInlineListNode *node)
{
    return reinterpret_cast<DDS_AWSTaskInfo *>(node);
}

/// The oldest request that some pool thread has not finished, or null.
inline DDS_AWSTaskInfo *AWS_firstRequest(const DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    return AWS_requestOf(VESKInlineList_getFirst(&self->_internalTaskQueue));
}

/// Queue a request behind the others.
void AWS_appendRequest(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo) ZYL_REQUIRES(self->_criticalSectionEA);
/// Take a request out of the queue, if it is in it, and tell the starts that wait for an empty one.
void AWS_unlinkRequest(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo) ZYL_REQUIRES(self->_criticalSectionEA);
/// Drop a request that nobody will execute: out of the queue, record returned, doorbell lowered. Its token is not told.
void AWS_dropRequest(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo) ZYL_REQUIRES(self->_criticalSectionEA);

/// How a function that leaves the critical section and enters it again has ended.
enum class AWSAreaOutcome { inside, enterFailed, leaveFailed };

/// Sleep until the queue has become empty or something else about an old pool has changed. The critical section is left
/// meanwhile. Blocks.
AWSAreaOutcome AWS_awaitQueueChange(DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA);
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
