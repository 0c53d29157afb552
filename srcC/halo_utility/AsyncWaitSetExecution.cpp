/// @file
/// The pool's side of a request: claim it, execute it, meet the others at the barrier.
///
/// A request is executed once by every pool thread and is finished when the last of them has reported. A thread claims
/// under the critical section, executes outside of it, and then passes the barrier once for every request it executed:
/// so no thread sees the queue again while a request that it executed is still in it, and none executes one twice.
///
/// Protection: the queue and the counts of claims belong to the critical section.
/// Calls out: the listener, through the tasks.
#include "AsyncWaitSetExecution.hpp"

#include "AsyncWaitSetLeadership.hpp"
#include "AsyncWaitSetLog.hpp"
#include "AsyncWaitSetNotification.hpp"
#include "AsyncWaitSetRequest.hpp"
#include "AsyncWaitSetTask.hpp"

namespace {

/// Whether a start request is queued; the first claim of a thread waits for nothing else.
bool isStartQueued(const DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    for (const DDS_AWSTaskInfo *taskInfo : AWS_requests(self))
        if (taskInfo->_task.execute == DDS_AsyncWaitSetTask_start) return true;
    return false;
}

/// Put every queued request on the thread's own list and count the claim. The claim that completes the count is noted:
/// its thread is the one that will execute the request last.
void claimRequests(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetThread *thread, VESKInlineList *claimed)
    ZYL_REQUIRES(self->_criticalSectionEA)
{
    if (thread->_mustClaimStart != 0 && !isStartQueued(self)) return;
    for (DDS_AWSTaskInfo *taskInfo : AWS_requests(self)) {
        VESKInlineList_addNodeToBackEA(claimed, &taskInfo->_threadNodes[thread->index].node);
        if (taskInfo->_isClaimed == 0) taskInfo->_isClaimed = 1;  // earlier claimants read it without the section
        if (handoffAdd(taskInfo->_executionCount, 1) == self->_property.thread_pool_size)
            handoffWrite(taskInfo->_lastClaimant, thread);
        thread->_mustClaimStart = 0;
        thread->_hasFoundWork = 1;
    }
}

/// Give leadership up, meet the other threads once for every request executed, and lead again. Blocks.
AWSStep meetOthers(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetThread *thread)
{
    if (DDS_AsyncWaitSet_promoteNewLeader(self, thread) == 0)
        return AWS_STEP_FAILED(DDS_RETCODE_ERROR, "promote new leader");
    if (DDS_AsyncWaitSet_waitForThreads(self, thread->_lastRequestCount) == 0)
        return AWS_STEP_FAILED(DDS_RETCODE_ERROR, "wait for threads");
    thread->_lastRequestCount = 0;
    if (DDS_AsyncWaitSet_becomeNewLeader(self, thread) == 0) return AWS_STEP_FAILED(DDS_RETCODE_ERROR, "become leader");
    return {};
}

}  // namespace

bool AWS_passBarrier(DDS_AsyncWaitSet *self, DDS_Long cycleCount)
{
    if (!AWS_hasFollowers(self)) return true;
    for (DDS_Long i = 0; i < cycleCount; ++i)
        if (ZYLOsapiBarrier_wait(self->_barrier) != ZYL_OSAPI_SEMAPHORE_STATUS_OK) return false;
    return true;
}

int DDS_AsyncWaitSet_waitForThreads(DDS_AsyncWaitSet *self, DDS_Long waitCycleCount)
{
    if (self == nullptr) return AWS_NULL(0, self);
    if (!AWS_hasFollowers(self)) return 1;
    AWS_TRACE_THREAD(AWS_currentThread(self), "waiting for thread pool");
    if (!AWS_passBarrier(self, waitCycleCount)) return AWS_FAILED(0, "barrier wait");
    return 1;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_executeInternalTasks(DDS_AsyncWaitSet *self,
                                                       struct DDS_AWSTaskInfo **pendingStopTaskOut,
                                                       DDS_AsyncWaitSetThread *thread)
{
    if (self == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, self);
    // Most wake-ups are for conditions. A request that is queued just now keeps the doorbell up for the next one.
    if (handoffRead(self->_queuedRequestCount) == 0) return DDS_RETCODE_OK;

    VESKInlineList taskProcessingList;
    VESKInlineList_init(&taskProcessingList);
    if (!AWS_enterCriticalSectionAs(self, thread->_awsWorker)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "enter");
    claimRequests(self, thread, &taskProcessingList);
    if (!AWS_leaveCriticalSectionAs(self, thread->_awsWorker)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "leave");
    if (VESKInlineList_getFirst(&taskProcessingList) == nullptr) return DDS_RETCODE_OK;

    while (VESKInlineListNode *const node = VESKInlineList_getFirst(&taskProcessingList)) {
        DDS_AWSTaskInfo *const taskInfo = VESKUserDataListView<DDS_AWSTaskInfo>::recordOf(node);
        thread->_lastRequestCount += 1;
        thread->_executedRequest = taskInfo;
        static_cast<void>(taskInfo->_task.execute(taskInfo->_task.taskData, taskInfo));
        thread->_executedRequest = nullptr;
        const bool isLastOfBatch = VESKInlineListNode_getNext(node) == nullptr;  // unlinking forgets it
        VESKInlineList_removeNodeEA(&taskProcessingList, node);

        if (taskInfo->_task.execute == DDS_AsyncWaitSetTask_stop) {
            *pendingStopTaskOut = taskInfo;  // acknowledged as the thread's last act
            if (!isLastOfBatch)
                return AWS_PRECONDITION(DDS_RETCODE_ERROR,
                                        "VESKInlineListNode_getNext(&userNode->node) != ((void *)0)");
        } else {
            const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_notify_task_executed(self, taskInfo);
            if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "notify request processed");
        }
    }
    if (*pendingStopTaskOut != nullptr) return DDS_RETCODE_OK;

    return AWS_REPORT(meetOthers(self, thread));
}
