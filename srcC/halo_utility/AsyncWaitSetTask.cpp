/// @file
/// The five internal tasks. Every pool thread executes each of them once; what they change is changed by the last
/// execution alone, which has the registry turn.
///
/// Protection: pool threads execute without the critical section; a wait set that is not started executes inside it.
/// Calls out: the listener.
#include "AsyncWaitSetTask.hpp"

#include "AsyncWaitSet.pkg.h"
#include "AsyncWaitSetLog.hpp"
#include "AsyncWaitSetRegistry.hpp"
#include "AsyncWaitSetRelay.hpp"
#include "AsyncWaitSetRequest.hpp"
#include "halo_runtime/platform/Boundary.pkg.hpp"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

namespace {

/// Carries a task's result to its token, on every return.
struct AWSOutcome {
    DDS_AWSTaskInfo *taskInfo;
    DDS_ReturnCode_t retCode;

    ~AWSOutcome()
    {
        if (taskInfo->_completionToken != nullptr) handoffWrite(taskInfo->_completionToken->retCode, retCode);
    }
};

/// The part of an execution that is not the last: report OK, but never over the result of the last one, which another
/// thread may be writing already. Until all threads have claimed, there is no last one.
/// Nothing is reported when the critical section cannot be entered.
AWSStep reportEarlyExecution(const DDS_AWSTaskInfo *taskInfo)
{
    DDS_AsyncWaitSet *const self = taskInfo->_owner;
    if (taskInfo->_completionToken == nullptr) return {};
    if (!AWS_enterCriticalSection(self)) return AWS_STEP_AREA_FAILED("enter");
    if (handoffRead(taskInfo->_executionCount) < self->_property.thread_pool_size)
        handoffWrite(taskInfo->_completionToken->retCode, DDS_RETCODE_OK);
    if (!AWS_leaveCriticalSection(self)) return AWS_STEP_AREA_FAILED("leave");
    return {};
}

/// Switch all registered conditions in or out of the waits, in registry order. Warns for the operation, and goes on.
void maskAll(DDS_AsyncWaitSet *self, DDS_Boolean takesPart, const char *operation) ZYL_REQUIRES(AWS_registryTurn)
{
    for (const DDS_AWSConditionInfo *info : AWS_registered(self))
        if (DDS_WaitSet_mask_condition(self->_sharedWaitSet, info->_condition, takesPart) != DDS_RETCODE_OK)
            AWS_WARN_FOR(operation, "mask condition");
}

/// A fresh record for the condition, in no list. Returns: null when memory ended.
DDS_AWSConditionInfo *newConditionInfo(DDS_AsyncWaitSet *self, DDS_Condition *condition) ZYL_REQUIRES(AWS_registryTurn)
{
    auto *const info =
        static_cast<DDS_AWSConditionInfo *>(VESKFastBufferPool_getBufferWithSize(self->_conditionInfoPool, -1));
    if (info == nullptr) return nullptr;
    *info = {};
    VESKInlineListNode_init(&info->_node);
    info->_condition = condition;
    return info;
}

/// Take a record out of the registry and give it back.
void forgetCondition(DDS_AsyncWaitSet *self, DDS_AWSConditionInfo *info) ZYL_REQUIRES(AWS_registryTurn)
{
    DDS_AsyncWaitSet_removeConditionInfo(self, info);
    VESKFastBufferPool_returnBuffer(self->_conditionInfoPool, info);
}

/// Call the listener about a condition, if it wants to hear that. Calls out.
void tell(const DDS_AsyncWaitSet *self, const char *event, void (*callback)(void *, DDS_Condition *),
          DDS_Condition *condition)
{
    if (callback == nullptr) return;
    platform::callOut(event, "wait set", self, [&] { callback(self->_listener.listener_data, condition); });
}

/// The wait set is stopped: one step for everybody else, inside the critical section. Between these writes an attach
/// would find a half stopped wait set.
void finishStop(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *token)
{
    handoffWrite(self->_isStarted, 0);
    handoffWrite(self->_isStopInitiated, 0);
    if (token != nullptr) handoffWrite(token->retCode, DDS_RETCODE_OK);
    handoffWrite(self->_runningState, DDS_RUNNING_AWS_STARTED_STATE);
}

}  // namespace

void *DDS_AsyncWaitSetTask_start(void *taskData, DDS_AsyncWaitSetTaskInfo *taskInfo)
{
    static_cast<void>(taskData);
    if (taskInfo == nullptr) return AWS_NULL(nullptr, taskInfo);
    DDS_AsyncWaitSetThread *const thread = AWS_currentThread(taskInfo->_owner);
    if (thread == nullptr) return AWS_GET_FAILED(nullptr, "AsyncWaitSet thread");

    DDS_AsyncWaitSet_onThreadSpawned(thread->_owner, thread);
    if (AWS_completesExecution(taskInfo) && taskInfo->_completionToken != nullptr)
        handoffWrite(taskInfo->_completionToken->retCode, DDS_RETCODE_OK);
    return nullptr;
}

void *DDS_AsyncWaitSetTask_stop(void *taskData, DDS_AsyncWaitSetTaskInfo *taskInfo)
{
    static_cast<void>(taskData);
    if (taskInfo == nullptr) return AWS_NULL(nullptr, taskInfo);
    DDS_AsyncWaitSet *const self = taskInfo->_owner;
    DDS_AsyncWaitSetThread *const thread = AWS_currentThread(self);
    // A stop that its submitter executes retires nobody: the submitter may be a pool thread of another wait set.
    if (thread != nullptr && taskInfo->_isInline == 0) DDS_AsyncWaitSet_onThreadDeleted(thread->_owner, thread);
    if (!AWS_completesExecution(taskInfo)) return nullptr;

    AWS_claimRegistryTurn(self);  // Last execution; ends when `_isStarted` is cleared.
    if (handoffRead(self->_runningState) == DDS_SUSPENDED_AWS_STARTED_STATE) maskAll(self, DDS_BOOLEAN_TRUE, __func__);
    if (!AWS_enterCriticalSection(self)) {
        // The stop takes effect all the same, for the pool threads are leaving; but it is no success.
        finishStop(self, nullptr);
        return AWS_AREA_FAILED(nullptr, "enter");
    }
    finishStop(self, taskInfo->_completionToken);
    if (!AWS_leaveCriticalSection(self)) return AWS_AREA_FAILED(nullptr, "leave");
    return nullptr;
}

void *DDS_AsyncWaitSetTask_attachCondition(void *taskData, DDS_AsyncWaitSetTaskInfo *taskInfo)
{
    static_cast<void>(taskData);
    if (taskInfo == nullptr) return AWS_NULL(nullptr, taskInfo);
    DDS_AsyncWaitSet *const self = taskInfo->_owner;
    auto *const condition = static_cast<DDS_Condition *>(taskInfo->_taskUserData);
    if (!AWS_isLastExecution(taskInfo)) {
        static_cast<void>(AWS_REPORT(reportEarlyExecution(taskInfo)));
        return nullptr;
    }

    AWSOutcome outcome{taskInfo, DDS_RETCODE_OK};
    AWS_claimRegistryTurn(self);  // Last execution.
    AWS_TRACE_THREAD(AWS_currentThread(self), "processing attach condition request");
    if (DDS_AsyncWaitSet_lookUpConditionInfo(self, condition) != nullptr) return nullptr;

    outcome.retCode = DDS_RETCODE_ERROR;
    DDS_AWSConditionInfo *const info = newConditionInfo(self, condition);
    if (info == nullptr) return AWS_GET_FAILED(nullptr, "event handler info object from pool");
    DDS_AsyncWaitSet_addConditionInfo(self, info);
    outcome.retCode = DDS_WaitSet_attach_condition(self->_sharedWaitSet, condition);
    if (outcome.retCode != DDS_RETCODE_OK) {
        AWS_WARN("attach condition");
        forgetCondition(self, info);
        return nullptr;
    }

    const bool isRunning = handoffRead(self->_runningState) == DDS_RUNNING_AWS_STARTED_STATE;
    // Deliberate: a condition that could not be masked stays attached, its listener is not called, and the request
    // succeeds. (AsyncWaitSetTask_test: an_attach_whose_mask_fails_stands_without_a_callback)
    if (DDS_WaitSet_mask_condition(self->_sharedWaitSet, condition, isRunning ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE) !=
        DDS_RETCODE_OK)
        return AWS_FAILED(nullptr, "mask condition");
    tell(self, "on_condition_attached", self->_listener.on_condition_attached, condition);
    return nullptr;
}

void *DDS_AsyncWaitSetTask_detachCondition(void *taskData, DDS_AsyncWaitSetTaskInfo *taskInfo)
{
    static_cast<void>(taskData);
    if (taskInfo == nullptr) return AWS_NULL(nullptr, taskInfo);
    DDS_AsyncWaitSet *const self = taskInfo->_owner;
    auto *const condition = static_cast<DDS_Condition *>(taskInfo->_taskUserData);
    if (!AWS_isLastExecution(taskInfo)) {
        static_cast<void>(AWS_REPORT(reportEarlyExecution(taskInfo)));
        return nullptr;
    }

    AWSOutcome outcome{taskInfo, DDS_RETCODE_OK};
    AWS_claimRegistryTurn(self);  // Last execution.
    AWS_TRACE_THREAD(AWS_currentThread(self), "processing detach condition request");
    DDS_AWSConditionInfo *const info = DDS_AsyncWaitSet_lookUpConditionInfo(self, condition);
    if (info == nullptr) return nullptr;

    outcome.retCode = DDS_RETCODE_ERROR;
    if (DDS_WaitSet_mask_condition(self->_sharedWaitSet, condition, DDS_BOOLEAN_TRUE) != DDS_RETCODE_OK)
        return AWS_FAILED(nullptr, "mask condition");
    outcome.retCode = DDS_WaitSet_detach_condition(self->_sharedWaitSet, condition);
    if (outcome.retCode != DDS_RETCODE_OK) return AWS_FAILED(nullptr, "detach condition");

    tell(self, "on_condition_detached", self->_listener.on_condition_detached, condition);  // before the record goes
    forgetCondition(self, info);
    return nullptr;
}

void *DDS_AsyncWaitSetTask_setState(void *taskData, DDS_AsyncWaitSetTaskInfo *taskInfo)
{
    static_cast<void>(taskData);
    if (taskInfo == nullptr) return AWS_NULL(nullptr, taskInfo);
    DDS_AsyncWaitSet *const self = taskInfo->_owner;
    const auto startedState = static_cast<unsigned>(ZYLOsapiUtility_pointerToInt(taskInfo->_taskUserData));
    if (startedState >= DDS_AsyncWaitSetStartedStateKind_count)
        return AWS_PRECONDITION(nullptr, "startedState < 0 || startedState >= DDS_AsyncWaitSetStartedStateKind_count");
    if (!AWS_isLastExecution(taskInfo)) {
        static_cast<void>(AWS_REPORT(reportEarlyExecution(taskInfo)));
        return nullptr;
    }

    const AWSOutcome outcome{taskInfo, DDS_RETCODE_OK};
    AWS_claimRegistryTurn(self);  // Last execution.
    AWS_TRACE_THREAD(AWS_currentThread(self), "processing set state request");
    handoffWrite(self->_runningState, static_cast<DDS_AsyncWaitSetStartedStateKind>(startedState));
    const DDS_Boolean takesPart = startedState == DDS_RUNNING_AWS_STARTED_STATE ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
    maskAll(self, takesPart, __func__);
    return nullptr;
}
