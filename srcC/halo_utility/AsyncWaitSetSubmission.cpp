/// @file
/// Submission. A request to a started wait set is queued and the doorbell rung; one to a wait set that is not started
/// is executed here, once for every pool thread that there would be.
///
/// Protection: the critical section. The public form enters it; the form with a trailing `I` expects it.
/// Calls out: the listener, when a request is executed here; then the critical section is held.
#include "AsyncWaitSetSubmission.hpp"

#include "AsyncWaitSet.pkg.h"
#include "AsyncWaitSetCompletionToken.hpp"
#include "AsyncWaitSetLog.hpp"
#include "AsyncWaitSetNotification.hpp"
#include "AsyncWaitSetRequest.hpp"
#include "AsyncWaitSetTask.hpp"

namespace {

/// Whether the record has not been returned. Compares addresses only.
bool isLive(const DDS_AsyncWaitSet *self, const DDS_AWSTaskInfo *taskInfo) ZYL_REQUIRES(self->_criticalSectionEA)
{
    const VESKInlineListNode *node = VESKInlineList_getFirst(&self->_liveTaskInfoList);
    while (node != nullptr && node != &taskInfo->_liveNode) node = VESKInlineListNode_getNext(node);
    return node != nullptr;
}

/// A request whose submission failed leaves the queue and forgets its token. Its record stays until finalization,
/// unless its last notification has returned it already. Batching comes back if it was the only request.
void strandRequest(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo) ZYL_REQUIRES(self->_criticalSectionEA)
{
    if (!isLive(self, taskInfo)) return;
    taskInfo->_completionToken = nullptr;
    if (VESKInlineList_isNodeInList(&self->_internalTaskQueue, &taskInfo->_node) == 0) return;
    AWS_unlinkRequest(self, taskInfo);
    if (AWS_firstRequest(self) == nullptr)
        static_cast<void>(DDS_WaitSet_set_property(self->_sharedWaitSet, &self->_property.waitset_property));
}

/// A new submission begins: READY, no result yet, and whoever waits for the previous one can tell.
void beginSubmission(DDS_AsyncWaitSetCompletionToken *token)
{
    token->_state = DDS_AsyncWaitSetCompletionTokenState_READY;
    token->_taskResult = nullptr;
    handoffWrite(token->retCode, DDS_RETCODE_ERROR);
    token->_submissionCount += 1;
    token->_isRequestMissing = 0;
    token->_waitOutcome = DDS_RETCODE_OK;
}

/// Give back a lent token whose submission was refused or failed: nothing will ever be told to it.
void giveBackUnused(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *token)
{
    token->_state = DDS_AsyncWaitSetCompletionTokenState_READY;
    static_cast<void>(DDS_AsyncWaitSet_returnLoanedCompletionToken(self, token));
}

}  // namespace

DDS_ReturnCode_t DDS_AsyncWaitSet_submitTaskI(DDS_AsyncWaitSet *self, struct DDS_Task *task, void *taskUserData,
                                              DDS_AsyncWaitSetCompletionToken *completionToken)
{
    if (self == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, self);
    AWS_isInsideCriticalSection(self);
    if (handoffRead(self->_isStopInitiated) != 0)
        return AWS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET,
                           "cannot accept more completion tokens while the thread is stopping");
    const DDS_AsyncWaitSetThread *const thread = AWS_currentThread(self);
    if (AWS_isDeadLockRisk(self, thread))
        return AWS_DEAD_LOCK_RISK(DDS_RETCODE_PRECONDITION_NOT_MET, "WSCT", self, thread);

    DDS_ReturnCode_t retCode = DDS_RETCODE_ERROR;
    if (completionToken != nullptr) {
        if (completionToken->_owner != self)
            return AWS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET, "completion token does not belong to this AWS");
        const auto nextState = AWS_nextTokenState(completionToken, DDS_AsyncWaitSetCompletionTokenEvent_SUBMIT);
        if (nextState == DDS_AsyncWaitSetCompletionTokenState_INVALID) {
            if (completionToken->_state == DDS_AsyncWaitSetCompletionTokenState_QUEUED)
                AWS_REFUSED(static_cast<void>(0), "completion token currently in use");
            return AWS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET, "invalid completion token state");
        }
        beginSubmission(completionToken);
        retCode = completionToken->_handler.reset(completionToken->_handler.handlerData, completionToken);
        if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "reset event completion token handler");
        completionToken->_state = nextState;
    }

    DDS_AWSTaskInfo *const taskInfo = DDS_AsyncWaitSet_getTaskInfo(self, task, taskUserData, completionToken);
    if (taskInfo == nullptr) {
        // Deliberate: with a token this is OK, and the token stays queued with nothing behind it; the mark tells those
        // who lent it. (AsyncWaitSetRequest_test: a_request_that_cannot_be_built_reports_ok_to_its_own_token)
        if (completionToken != nullptr) completionToken->_isRequestMissing = 1;
        return AWS_GET_FAILED(retCode, "internal task information");
    }

    retCode = DDS_RETCODE_OK;
    if (handoffRead(self->_isStarted) != 0) {
        AWS_appendRequest(self, taskInfo);
        if (DDS_CountingCondition_get_count(self->_taskCondition) == 0)
            retCode = DDS_WaitSet_set_property(self->_sharedWaitSet, &DDS_AWS_g_IMMEDIATE_WAKEUP_WAITSET_PROPERTY);
        if (retCode != DDS_RETCODE_OK) {
            AWS_WARN("set WaitSet property");
        } else {
            retCode = DDS_CountingCondition_increment(self->_taskCondition, 1);
            if (retCode != DDS_RETCODE_OK) AWS_WARN("trigger internal request condition");
        }
        if (retCode == DDS_RETCODE_OK)
            handoffWrite(self->_isStopInitiated, task->execute == DDS_AsyncWaitSetTask_stop ? 1 : 0);
    } else {
        taskInfo->_isInline = 1;
        for (DDS_UnsignedLong i = 0; retCode == DDS_RETCODE_OK && i < self->_property.thread_pool_size; ++i) {
            static_cast<void>(handoffAdd(taskInfo->_executionCount, 1));
            static_cast<void>(task->execute(task->taskData, taskInfo));
            retCode = DDS_AsyncWaitSet_notifyTaskExecutedI(self, taskInfo);
            if (retCode != DDS_RETCODE_OK) AWS_WARN("notify request processed");
        }
    }
    if (retCode != DDS_RETCODE_OK) strandRequest(self, taskInfo);
    return retCode;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_submit_task(DDS_AsyncWaitSet *self, struct DDS_Task *task, void *taskUserData,
                                              DDS_AsyncWaitSetCompletionToken *completionToken)
{
    if (self == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, self);
    if (task == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, task);
    if (!AWS_enterCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "enter");

    const bool isImplicit = completionToken == DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT;
    DDS_AsyncWaitSetCompletionToken *token =
        completionToken == DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE ? nullptr : completionToken;
    DDS_ReturnCode_t retCode = DDS_RETCODE_ERROR;
    if (task->_mustBeStarted != 0 && handoffRead(self->_isStarted) == 0) {
        task->_wasNotStarted = 1;  // the verb prints
        retCode = DDS_RETCODE_PRECONDITION_NOT_MET;
    } else if (isImplicit && (token = DDS_AsyncWaitSet_loanCompletionToken(self)) == nullptr) {
        AWS_WARN("loan completion token");
    } else {
        retCode = DDS_AsyncWaitSet_submitTaskI(self, task, taskUserData, token);
        if (retCode == DDS_RETCODE_OK && isImplicit && token->_isRequestMissing != 0) retCode = DDS_RETCODE_ERROR;
        if (retCode != DDS_RETCODE_OK) {
            AWS_WARN("DDS_AsyncWaitSet_submitTaskI");
            if (isImplicit) giveBackUnused(self, token);
        }
    }
    if (!AWS_leaveCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "leave");
    if (retCode != DDS_RETCODE_OK || !isImplicit) return retCode;

    retCode = DDS_AsyncWaitSetCompletionToken_wait(token, &DDS_DURATION_INFINITE);
    if (retCode != DDS_RETCODE_OK) {
        AWS_WARN("wait for request completion");
        if (retCode != token->_waitOutcome) return retCode;  // the wait itself failed: the token is kept
    }
    const DDS_ReturnCode_t returnCode = DDS_AsyncWaitSet_returnLoanedCompletionToken(self, token);
    if (returnCode != DDS_RETCODE_OK) AWS_WARN("return loaned token");
    return retCode != DDS_RETCODE_OK ? retCode : returnCode;
}
