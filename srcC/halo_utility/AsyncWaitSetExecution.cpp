/// @file
/// Requests from the pool's side: claiming and executing them, counting what is finished, and a caller's wait for one.
///
/// A request is executed once by every pool thread and is finished when the last of them has reported. A thread claims
/// under the critical section, executes outside of it, and then passes the barrier once for every request it executed:
/// so no thread sees the queue again while a request that it executed is still in it, and none executes one twice.
///
/// Protection: the queue, the counts and the tokens belong to the critical section.
/// Calls out: the listener, through the tasks.
#include "AsyncWaitSet.pkg.h"
#include "AsyncWaitSetCompletionToken.hpp"
#include "AsyncWaitSetLog.hpp"
#include "AsyncWaitSetRequest.hpp"
#include "halo_runtime/zyl/ZYLTime.pkg.h"

namespace {

/// Whether a start request is queued; the first claim of a thread waits for nothing else.
bool isStartQueued(const DDS_AsyncWaitSet *self) ZYL_REQUIRES(self->_criticalSectionEA)
{
    for (const DDS_AWSTaskInfo *taskInfo = AWS_firstRequest(self); taskInfo != nullptr;
         taskInfo = AWS_requestOf(VESKInlineListNode_getNext(&taskInfo->_node)))
        if (taskInfo->_task.execute == DDS_AsyncWaitSetTask_start) return true;
    return false;
}

/// Put every queued request on the thread's own list and count the claim. The claim that completes the count is noted:
/// its thread is the one that will execute the request last.
void claimRequests(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetThread *thread, VESKInlineList *claimed)
    ZYL_REQUIRES(self->_criticalSectionEA)
{
    if (thread->_mustClaimStart != 0 && !isStartQueued(self)) return;
    for (DDS_AWSTaskInfo *taskInfo = AWS_firstRequest(self); taskInfo != nullptr;
         taskInfo = AWS_requestOf(VESKInlineListNode_getNext(&taskInfo->_node))) {
        VESKInlineList_addNodeToBackEA(claimed, &taskInfo->_threadNodes[thread->index].node);
        if (taskInfo->_isClaimed == 0) taskInfo->_isClaimed = 1;  // earlier claimants read it without the section
        if (handoffAdd(taskInfo->_executionCount, 1) == self->_property.thread_pool_size)
            handoffWrite(taskInfo->_lastClaimant, thread);
        thread->_mustClaimStart = 0;
        thread->_hasFoundWork = 1;
    }
}

/// Whether lowering the doorbell is this request's business. A request that was executed by its submitter never rang
/// it, so it leaves it alone while others are queued.
bool ownsDoorbell(const DDS_AsyncWaitSet *self, bool isInline) ZYL_REQUIRES(self->_criticalSectionEA)
{
    return !isInline || AWS_firstRequest(self) == nullptr;
}

}  // namespace

DDS_ReturnCode_t DDS_AsyncWaitSet_notifyTaskExecutedI(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetTaskInfo *taskInfo)
{
    if (self == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, self);
    if (taskInfo == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, taskInfo);
    AWS_isInsideCriticalSection(self);

    taskInfo->_notificationCount += 1;
    if (taskInfo->_notificationCount != self->_property.thread_pool_size) return DDS_RETCODE_OK;

    AWS_unlinkRequest(self, taskInfo);
    DDS_AsyncWaitSetCompletionToken *const token = taskInfo->_completionToken;
    const bool isInline = taskInfo->_isInline != 0;
    DDS_AsyncWaitSet_returnTaskInfo(self, taskInfo);

    if (ownsDoorbell(self, isInline)) {
        DDS_ReturnCode_t retCode = DDS_CountingCondition_decrement(self->_taskCondition, 1);
        if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "reset internal request condition");
        if (DDS_CountingCondition_get_count(self->_taskCondition) == 0) {
            retCode = DDS_WaitSet_set_property(self->_sharedWaitSet, &self->_property.waitset_property);
            if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "set WaitSet property");
        }
    }
    if (token == nullptr) return DDS_RETCODE_OK;

    const auto nextState = AWS_nextTokenState(token, DDS_AsyncWaitSetCompletionTokenEvent_NOTIFY);
    if (nextState == DDS_AsyncWaitSetCompletionTokenState_INVALID)
        return AWS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET, "invalid event completion token state");
    token->_state = nextState;
    return token->_handler.notify(token->_handler.handlerData, token);
}

DDS_ReturnCode_t DDS_AsyncWaitSet_notify_task_executed(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetTaskInfo *taskInfo)
{
    if (self == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, self);
    if (taskInfo == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, taskInfo);
    if (!AWS_enterCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "enter");
    const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_notifyTaskExecutedI(self, taskInfo);
    if (!AWS_leaveCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "leave");
    return retCode;
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
        auto *const taskInfo =
            static_cast<DDS_AWSTaskInfo *>(reinterpret_cast<VESKInlineListUserDataNode *>(node)->userData);
        thread->_lastRequestCount += 1;
        static_cast<void>(taskInfo->_task.execute(taskInfo->_task.taskData, taskInfo));
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

    if (DDS_AsyncWaitSet_promoteNewLeader(self, thread) == 0)
        return AWS_FAILED(DDS_RETCODE_ERROR, "promote new leader");
    if (DDS_AsyncWaitSet_waitForThreads(self, thread->_lastRequestCount) == 0)
        return AWS_FAILED(DDS_RETCODE_ERROR, "wait for threads");
    thread->_lastRequestCount = 0;
    if (DDS_AsyncWaitSet_becomeNewLeader(self, thread) == 0) return AWS_FAILED(DDS_RETCODE_ERROR, "become leader");
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_waitForTaskExecutedI(
    DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *completionToken,
    const struct DDS_Duration_t *timeout) ZYL_NOT_ANALYZED  // A failed area loses the critical section.
{
    if (self == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, self);
    if (completionToken->_owner == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, completionToken->_owner);
    if (completionToken->_owner != self)
        return AWS_PRECONDITION(DDS_RETCODE_BAD_PARAMETER, "completionToken->_owner != self");
    AWS_isInsideCriticalSection(self);
    const DDS_AsyncWaitSetThread *const thread = AWS_currentThread(self);
    if (thread != nullptr && thread->_owner == self)
        return AWS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET,
                           "waiting for request processed is not allowed within the same thread");
    if (AWS_isDeadLockRisk(self, thread))
        return AWS_DEAD_LOCK_RISK(DDS_RETCODE_PRECONDITION_NOT_MET, "AWS", self, thread);
    if (completionToken->_isWaiting != 0)
        return AWS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET,
                           "there is already a thread waiting on this completion token");

    const auto nextState = AWS_nextTokenState(completionToken, DDS_AsyncWaitSetCompletionTokenEvent_WAIT);
    if (nextState == DDS_AsyncWaitSetCompletionTokenState_INVALID)
        return AWS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET, "invalid event completion token state");
    if (nextState == completionToken->_state) {
        handoffWrite(completionToken->retCode, DDS_RETCODE_OK);
        return DDS_RETCODE_OK;
    }
    if (AWS_hasCriticalSectionTwice(self))  // the notifier could never come in
        return AWS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET,
                           "waiting for request processed is not allowed within the same thread");

    completionToken->_isWaiting = 1;
    const unsigned submission = completionToken->_submissionCount;
    AWS_stepInsideToken(completionToken);
    if (!AWS_leaveCriticalSection(self)) {
        AWS_stepOutsideToken(completionToken);
        AWS_isInsideCriticalSection(self);
        return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "leave");
    }
    struct ZYLNtpTime timeoutAsNtp;
    DDS_Duration_to_ntp_time(timeout, &timeoutAsNtp);
    const DDS_ReturnCode_t retCode =
        completionToken->_handler.wait(completionToken->_handler.handlerData, completionToken, &timeoutAsNtp);
    if (!AWS_enterCriticalSection(self)) {
        AWS_stepOutsideToken(completionToken);
        return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "enter");
    }
    completionToken->_isWaiting = 0;
    if (retCode == DDS_RETCODE_OK && completionToken->_submissionCount == submission)
        completionToken->_state = nextState;
    AWS_stepOutsideToken(completionToken);
    return retCode;
}
