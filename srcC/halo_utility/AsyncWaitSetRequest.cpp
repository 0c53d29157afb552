/// @file
/// Requests: their records, the queue, the doorbell, and who waits for the queue to become empty.
///
/// Protection: the critical section.
#include "AsyncWaitSetRequest.hpp"

#include "AsyncWaitSet.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiNotice.pkg.h"

namespace {

/// A start that waits for an old pool, on its own stack.
struct Starter {
    VESKInlineListNode node;  ///< Link in `_starterList`: critical section.
    ZYLOsapiNotice notice;
};

/// The records that have not been returned.
using LiveRequests = VESKInlineListView<DDS_AWSTaskInfo, offsetof(DDS_AWSTaskInfo, _liveNode)>;

/// Whether the record has not been returned. Compares addresses only.
bool isLive(const DDS_AsyncWaitSet *self, const DDS_AWSTaskInfo *taskInfo) ZYL_REQUIRES(self->_criticalSectionEA)
{
    for (const DDS_AWSTaskInfo *live : LiveRequests{self->_liveTaskInfoList})
        if (live == taskInfo) return true;
    return false;
}

bool isQueued(const DDS_AsyncWaitSet *self, const DDS_AWSTaskInfo *taskInfo) ZYL_REQUIRES(self->_criticalSectionEA)
{
    return VESKInlineList_isNodeInList(&self->_internalTaskQueue, &taskInfo->_node) != 0;
}

/// Bring batching back. Returns: what the plain wait set says to that.
DDS_ReturnCode_t restoreProperty(DDS_AsyncWaitSet *self)
{
    return DDS_WaitSet_set_property(self->_sharedWaitSet, &self->_property.waitset_property);
}

void forgetStarter(DDS_AsyncWaitSet *self, Starter &starter) ZYL_REQUIRES(self->_criticalSectionEA)
{
    if (VESKInlineList_isNodeInList(&self->_starterList, &starter.node) != 0)
        VESKInlineList_removeNodeEA(&self->_starterList, &starter.node);
}

/// Give a record back to its pool, whatever has become of it.
void returnRecord(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo) ZYL_REQUIRES(self->_criticalSectionEA)
{
    if (VESKInlineList_isNodeInList(&self->_liveTaskInfoList, &taskInfo->_liveNode) != 0)
        VESKInlineList_removeNodeEA(&self->_liveTaskInfoList, &taskInfo->_liveNode);
    if (taskInfo->_threadNodes != nullptr) ZYLOsapiHeap_freeArray(taskInfo->_threadNodes);
    taskInfo->_threadNodes = nullptr;
    VESKFastBufferPool_returnBuffer(self->_taskInfoPool, taskInfo);
}

}  // namespace

void AWS_appendRequest(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo)
{
    VESKInlineList_addNodeToBackEA(&self->_internalTaskQueue, &taskInfo->_node);
    handoffWrite(self->_queuedRequestCount, self->_internalTaskQueue._size);
}

void AWS_unlinkRequest(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo)
{
    if (!isQueued(self, taskInfo)) return;
    VESKInlineList_removeNodeEA(&self->_internalTaskQueue, &taskInfo->_node);
    handoffWrite(self->_queuedRequestCount, self->_internalTaskQueue._size);
    if (AWS_firstRequest(self) == nullptr) AWS_wakeStarters(self);
}

void AWS_dropRequest(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo)
{
    AWS_unlinkRequest(self, taskInfo);
    DDS_AsyncWaitSet_returnTaskInfo(self, taskInfo);
    static_cast<void>(DDS_CountingCondition_decrement(self->_taskCondition, 1));
    if (AWS_firstRequest(self) == nullptr) static_cast<void>(restoreProperty(self));
}

void AWS_strandRequest(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo)
{
    if (!isLive(self, taskInfo)) return;
    taskInfo->_completionToken = nullptr;
    if (!isQueued(self, taskInfo)) return;
    AWS_unlinkRequest(self, taskInfo);
    if (AWS_firstRequest(self) == nullptr) static_cast<void>(restoreProperty(self));
}

void AWS_returnStrandedRequests(DDS_AsyncWaitSet *self)
{
    while (DDS_AWSTaskInfo *const taskInfo = LiveRequests{self->_liveTaskInfoList}.first())
        returnRecord(self, taskInfo);
}

AWSStep AWS_ringDoorbell(DDS_AsyncWaitSet *self)
{
    if (DDS_CountingCondition_get_count(self->_taskCondition) == 0) {
        const DDS_ReturnCode_t retCode =
            DDS_WaitSet_set_property(self->_sharedWaitSet, &DDS_AWS_g_IMMEDIATE_WAKEUP_WAITSET_PROPERTY);
        if (retCode != DDS_RETCODE_OK) return AWS_STEP_FAILED(retCode, "set WaitSet property");
    }
    const DDS_ReturnCode_t retCode = DDS_CountingCondition_increment(self->_taskCondition, 1);
    if (retCode != DDS_RETCODE_OK) return AWS_STEP_FAILED(retCode, "trigger internal request condition");
    return {};
}

AWSStep AWS_lowerDoorbell(DDS_AsyncWaitSet *self)
{
    DDS_ReturnCode_t retCode = DDS_CountingCondition_decrement(self->_taskCondition, 1);
    if (retCode != DDS_RETCODE_OK) return AWS_STEP_FAILED(retCode, "reset internal request condition");
    if (DDS_CountingCondition_get_count(self->_taskCondition) != 0) return {};
    retCode = restoreProperty(self);
    if (retCode != DDS_RETCODE_OK) return AWS_STEP_FAILED(retCode, "set WaitSet property");
    return {};
}

AWSStep AWS_awaitQueueChange(DDS_AsyncWaitSet *self)
{
    Starter starter = {};
    ZYLOsapiNotice_initialize(&starter.notice);
    VESKInlineList_addNodeToBackEA(&self->_starterList, &starter.node);
    if (!AWS_leaveCriticalSection(self)) {
        // Left or not, the record goes with this stack: take it out of the list, inside if that can be had.
        if (AWS_enterCriticalSection(self)) {
            forgetStarter(self, starter);
            static_cast<void>(AWS_leaveCriticalSection(self));
            AWS_countAsInside(self);
        } else {
            AWS_countAsInside(self);
            forgetStarter(self, starter);
        }
        return AWS_lostArea("leave");
    }
    ZYLOsapiNotice_wait(&starter.notice, "old pool");
    if (AWS_enterCriticalSection(self)) return {};
    AWS_countAsInside(self);
    return AWS_lostArea("enter");
}

void AWS_wakeStarters(DDS_AsyncWaitSet *self)
{
    while (Starter *const starter = VESKInlineListView<Starter>{self->_starterList}.first()) {
        VESKInlineList_removeNodeEA(&self->_starterList, &starter->node);
        ZYLOsapiNotice_raise(&starter->notice);
    }
}

DDS_AsyncWaitSetTaskInfo *DDS_AsyncWaitSet_getTaskInfo(DDS_AsyncWaitSet *self, struct DDS_Task *task,
                                                       void *taskUserData, DDS_AsyncWaitSetCompletionToken *token)
{
    if (self == nullptr) return AWS_NULL(nullptr, self);
    if (task == nullptr) return AWS_NULL(nullptr, task);
    AWS_claimCriticalSection(self);

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
    AWS_claimCriticalSection(self);
    returnRecord(self, taskInfo);
}
