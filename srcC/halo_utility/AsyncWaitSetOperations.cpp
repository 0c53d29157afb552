/// @file
/// The application's verbs, except start: each checks its arguments, packs a task and submits it.
///
/// Protection: none of its own; submission takes the critical section.
/// Blocks: the short forms, and the token forms with the implicit token.
#include "AsyncWaitSet.pkg.h"
#include "AsyncWaitSetLocks.hpp"
#include "AsyncWaitSetLog.hpp"
#include "AsyncWaitSetSubmission.hpp"
#include "AsyncWaitSetTask.hpp"
#include "halo_runtime/zyl/ZYLOsapiUtility.pkg.h"

namespace {

DDS_AsyncWaitSetCompletionToken *implicitToken()
{
    return DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT;
}

DDS_Task taskOf(DDS_Task_ExecuteFcn execute)
{
    DDS_Task task = {};
    task.execute = execute;
    return task;
}

/// Both suspend and resume: only the state that they ask for tells them apart.
DDS_ReturnCode_t submitState(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetStartedStateKind state,
                             DDS_AsyncWaitSetCompletionToken *completion_token)
{
    return DDS_AsyncWaitSet_submit_task(self, &AWS_setStateOfStarted, ZYLOsapiUtility_intToPointer(state),
                                        completion_token);
}

}  // namespace

DDS_ReturnCode_t DDS_AsyncWaitSet_stop_with_completion_token(DDS_AsyncWaitSet *self,
                                                             DDS_AsyncWaitSetCompletionToken *completion_token)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (completion_token == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, completion_token);
    if (completion_token == DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE)
        return AWS_FAILED_AS(DDS_RETCODE_BAD_PARAMETER, DDS_LOG_BAD_PARAMETER_s,
                             "completion_token. NIL is not allowed for stop");

    AWS_TRACE_CALL("sending stop request");
    DDS_Task task = taskOf(DDS_AsyncWaitSetTask_stop);
    const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_submit_task(self, &task, nullptr, completion_token);
    if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "submit internal task");
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_stop(DDS_AsyncWaitSet *self)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_stop_with_completion_token(self, implicitToken());
    if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "DDS_AsyncWaitSet_stop_with_completion_token");
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_suspend_with_completion_token(DDS_AsyncWaitSet *self,
                                                                DDS_AsyncWaitSetCompletionToken *completion_token)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (completion_token == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, completion_token);
    if (DDS_AsyncWaitSet_is_started(self) == DDS_BOOLEAN_FALSE)
        return AWS_NOTICE(DDS_RETCODE_PRECONDITION_NOT_MET, "AWS is not started");

    AWS_TRACE_CALL("sending set_state request");
    const DDS_ReturnCode_t retCode = submitState(self, DDS_SUSPENDED_AWS_STARTED_STATE, completion_token);
    if (retCode == DDS_RETCODE_NOT_ENABLED) return AWS_NOTICE(DDS_RETCODE_PRECONDITION_NOT_MET, "AWS is not started");
    if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "submit internal task");
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_resume_with_completion_token(DDS_AsyncWaitSet *self,
                                                               DDS_AsyncWaitSetCompletionToken *completion_token)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (completion_token == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, completion_token);
    if (DDS_AsyncWaitSet_is_started(self) == DDS_BOOLEAN_FALSE)
        return AWS_NOTICE(DDS_RETCODE_PRECONDITION_NOT_MET, "AWS is not started");

    AWS_TRACE_CALL("sending set_state request");
    const DDS_ReturnCode_t retCode = submitState(self, DDS_RUNNING_AWS_STARTED_STATE, completion_token);
    if (retCode == DDS_RETCODE_NOT_ENABLED) return AWS_NOTICE(DDS_RETCODE_PRECONDITION_NOT_MET, "AWS is not started");
    if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "submit internal task");
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_attach_condition_with_completion_token(
    DDS_AsyncWaitSet *self, DDS_Condition *condition, DDS_AsyncWaitSetCompletionToken *completion_token)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (condition == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, condition);
    if (completion_token == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, completion_token);

    AWS_TRACE_CALL("sending attach condition request");
    DDS_Task task = taskOf(DDS_AsyncWaitSetTask_attachCondition);
    const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_submit_task(self, &task, condition, completion_token);
    if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "submit internal task");
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_attach_condition(DDS_AsyncWaitSet *self, DDS_Condition *condition)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (condition == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, condition);
    const DDS_ReturnCode_t retCode =
        DDS_AsyncWaitSet_attach_condition_with_completion_token(self, condition, implicitToken());
    if (retCode != DDS_RETCODE_OK)
        return AWS_FAILED(retCode, "DDS_AsyncWaitSet_attach_condition_with_completion_token");
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_detach_condition_with_completion_token(
    DDS_AsyncWaitSet *self, DDS_Condition *condition, DDS_AsyncWaitSetCompletionToken *completion_token)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (condition == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, condition);
    if (completion_token == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, completion_token);

    AWS_TRACE_CALL("sending detach condition request");
    DDS_Task task = taskOf(DDS_AsyncWaitSetTask_detachCondition);
    const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_submit_task(self, &task, condition, completion_token);
    if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "submit internal task");
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_detach_condition(DDS_AsyncWaitSet *self, DDS_Condition *condition)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (condition == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, condition);
    const DDS_ReturnCode_t retCode =
        DDS_AsyncWaitSet_detach_condition_with_completion_token(self, condition, implicitToken());
    if (retCode != DDS_RETCODE_OK)
        return AWS_FAILED(retCode, "DDS_AsyncWaitSet_detach_condition_with_completion_token");
    return DDS_RETCODE_OK;
}
