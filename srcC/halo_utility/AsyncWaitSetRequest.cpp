/// @file
/// Requests: their records, the queue, and who waits for the queue to become empty.
///
/// Protection: the critical section.
#include "AsyncWaitSetRequest.hpp"

#include "AsyncWaitSet.pkg.h"
#include "AsyncWaitSetLog.hpp"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiNotice.pkg.h"

namespace {

/// A start that waits for an old pool, on its own stack.
struct Starter {
    VESKInlineListNode node;  ///< Link in `_starterList`: critical section.
    ZYLOsapiNotice notice;
};

}  // namespace

AWSAreaOutcome AWS_awaitQueueChange(DDS_AsyncWaitSet *self) ZYL_NOT_ANALYZED
{
    Starter starter = {};
    ZYLOsapiNotice_initialize(&starter.notice);
    VESKInlineList_addNodeToBackEA(&self->_starterList, &starter.node);
    if (!AWS_leaveCriticalSection(self)) {
        // Left or not, the record goes with this stack: take it out of the list, inside if that can be had.
        const bool isInside = AWS_enterCriticalSection(self);
        if (VESKInlineList_isNodeInList(&self->_starterList, &starter.node) != 0)
            VESKInlineList_removeNodeEA(&self->_starterList, &starter.node);
        if (isInside) static_cast<void>(AWS_leaveCriticalSection(self));
        return AWSAreaOutcome::leaveFailed;
    }
    ZYLOsapiNotice_wait(&starter.notice, "old pool");
    return AWS_enterCriticalSection(self) ? AWSAreaOutcome::inside : AWSAreaOutcome::enterFailed;
}

void AWS_wakeStarters(DDS_AsyncWaitSet *self)
{
    while (VESKInlineListNode *const node = VESKInlineList_getFirst(&self->_starterList)) {
        VESKInlineList_removeNodeEA(&self->_starterList, node);
        ZYLOsapiNotice_raise(&reinterpret_cast<Starter *>(node)->notice);
    }
}

void AWS_appendRequest(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo)
{
    VESKInlineList_addNodeToBackEA(&self->_internalTaskQueue, &taskInfo->_node);
    handoffWrite(self->_queuedRequestCount, self->_internalTaskQueue._size);
}

void AWS_unlinkRequest(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo)
{
    if (VESKInlineList_isNodeInList(&self->_internalTaskQueue, &taskInfo->_node) == 0) return;
    VESKInlineList_removeNodeEA(&self->_internalTaskQueue, &taskInfo->_node);
    handoffWrite(self->_queuedRequestCount, self->_internalTaskQueue._size);
    if (AWS_firstRequest(self) == nullptr) AWS_wakeStarters(self);
}

void AWS_dropRequest(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo)
{
    AWS_unlinkRequest(self, taskInfo);
    DDS_AsyncWaitSet_returnTaskInfo(self, taskInfo);
    static_cast<void>(DDS_CountingCondition_decrement(self->_taskCondition, 1));
    if (AWS_firstRequest(self) == nullptr)
        static_cast<void>(DDS_WaitSet_set_property(self->_sharedWaitSet, &self->_property.waitset_property));
}

DDS_AsyncWaitSetTaskInfo *DDS_AsyncWaitSet_getTaskInfo(DDS_AsyncWaitSet *self, struct DDS_Task *task,
                                                       void *taskUserData, DDS_AsyncWaitSetCompletionToken *token)
{
    if (self == nullptr) return AWS_NULL(nullptr, self);
    if (task == nullptr) return AWS_NULL(nullptr, task);
    AWS_isInsideCriticalSection(self);

    auto *const taskInfo =
        static_cast<DDS_AWSTaskInfo *>(VESKFastBufferPool_getBufferWithSize(self->_taskInfoPool, -1));
    if (taskInfo == nullptr) return AWS_GET_FAILED(nullptr, "task info");
    *taskInfo = {};
    VESKInlineListNode_init(&taskInfo->_node);
    taskInfo->_owner = self;
    taskInfo->_task = *task;
    taskInfo->_taskUserData = taskUserData;
    taskInfo->_completionToken = token;
    VESKInlineList_addNodeToBackEA(&self->_liveTaskInfoList, &taskInfo->_liveNode);

    const DDS_UnsignedLong poolSize = self->_property.thread_pool_size;
    taskInfo->_threadNodes =
        ZYLOsapiHeap_allocateArray<VESKInlineListUserDataNode>(poolSize, "struct VESKInlineListUserDataNode");
    if (taskInfo->_threadNodes == nullptr) {
        DDS_AsyncWaitSet_returnTaskInfo(self, taskInfo);
        return AWS_FAILED_AS(nullptr, ZYL_OSAPI_MEMORY_LOG_OUT_OF_HEAP_ARRAY_dd, static_cast<int>(poolSize),
                             static_cast<int>(sizeof(VESKInlineListUserDataNode)));
    }
    for (DDS_UnsignedLong i = 0; i < poolSize; ++i) {
        VESKInlineListNode_init(&taskInfo->_threadNodes[i].node);
        taskInfo->_threadNodes[i].userData = taskInfo;
    }
    return taskInfo;
}

void DDS_AsyncWaitSet_returnTaskInfo(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetTaskInfo *taskInfo)
{
    if (self == nullptr) return AWS_NULL(static_cast<void>(0), self);
    AWS_isInsideCriticalSection(self);
    if (VESKInlineList_isNodeInList(&self->_liveTaskInfoList, &taskInfo->_liveNode) != 0)
        VESKInlineList_removeNodeEA(&self->_liveTaskInfoList, &taskInfo->_liveNode);
    if (taskInfo->_threadNodes != nullptr) ZYLOsapiHeap_freeArray(taskInfo->_threadNodes);
    taskInfo->_threadNodes = nullptr;
    VESKFastBufferPool_returnBuffer(self->_taskInfoPool, taskInfo);
}
