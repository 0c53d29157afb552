/// @file
/// Submission. A request to a started wait set is queued and the doorbell rung; one to a wait set that is not started
/// is executed here, once for every pool thread that there would be.
///
/// Protection: the critical section. The public form enters it; the form with a trailing `I` expects it.
/// Calls out: the listener, when a request is executed here; then the critical section is held.
#include "AsyncWaitSetSubmission.hpp"

#include "AsyncWaitSet.pkg.h"
#include "AsyncWaitSetCompletionToken.hpp"
#include "AsyncWaitSetNotification.hpp"
#include "AsyncWaitSetRequest.hpp"
#include "AsyncWaitSetTask.hpp"

namespace {

/// A new submission begins: READY, no result yet, and whoever waits for the previous one can tell.
void beginSubmission(DDS_AsyncWaitSetCompletionToken *token)
{
    token->_state = DDS_AsyncWaitSetCompletionTokenState_READY;
    token->_taskResult = nullptr;
    handoffWrite(token->retCode, DDS_RETCODE_ERROR);
    token->_submissionCount += 1;
    token->_isRequestMissing = 0;
    token->_isTold = 0;
}

/// Take the token for a request: QUEUED from here on. Speaks for the operation where two messages are due.
AWSStep takeToken(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *token, const char *operation)
    ZYL_REQUIRES(self->_criticalSectionEA)
{
    if (token->_owner != self)
        return AWS_STEP_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET, "completion token does not belong to this AWS");
    const auto nextState = AWS_nextTokenState(token, DDS_AsyncWaitSetCompletionTokenEvent_SUBMIT);
    if (nextState == DDS_AsyncWaitSetCompletionTokenState_INVALID) {
        if (token->_state == DDS_AsyncWaitSetCompletionTokenState_QUEUED)
            AWS_REFUSED_FOR(operation, "completion token currently in use");
        return AWS_STEP_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET, "invalid completion token state");
    }
    beginSubmission(token);
    const DDS_ReturnCode_t retCode = token->_handler.reset(token->_handler.handlerData, token);
    if (retCode != DDS_RETCODE_OK) return AWS_STEP_FAILED(retCode, "reset event completion token handler");
    token->_state = nextState;
    return {};
}

/// Leave the request to the pool threads.
AWSStep queueRequest(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo) ZYL_REQUIRES(self->_criticalSectionEA)
{
    AWS_appendRequest(self, taskInfo);
    const AWSStep step = AWS_ringDoorbell(self);
    if (!step.hasFailed())
        handoffWrite(self->_isStopInitiated, taskInfo->_task.execute == DDS_AsyncWaitSetTask_stop ? 1 : 0);
    return step;
}

/// Execute the request for all pool threads. Calls out: the listener.
AWSStep executeHere(DDS_AsyncWaitSet *self, DDS_AWSTaskInfo *taskInfo) ZYL_REQUIRES(self->_criticalSectionEA)
{
    const DDS_Task task = taskInfo->_task;  // the last notification returns the record
    taskInfo->_isInline = 1;
    for (DDS_UnsignedLong i = 0; i < self->_property.thread_pool_size; ++i) {
        static_cast<void>(handoffAdd(taskInfo->_executionCount, 1));
        static_cast<void>(task.execute(task.taskData, taskInfo));
        const DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_notifyTaskExecutedI(self, taskInfo);
        if (retCode != DDS_RETCODE_OK) return AWS_STEP_FAILED(retCode, "notify request processed");
    }
    return {};
}

/// Submit with the token, or with one that is lent here for a caller who wants to wait.
AWSStep submitInside(DDS_AsyncWaitSet *self, DDS_Task *task, void *taskUserData, DDS_AsyncWaitSetCompletionToken *token,
                     AWSImplicitWait &implicitWait, DDS_AsyncWaitSetCompletionToken **lentOut)
    ZYL_REQUIRES(self->_criticalSectionEA)
{
    // A stop that came in between is answered as if it had come first; the verb prints.
    if (task == &AWS_setStateOfStarted && handoffRead(self->_isStarted) == 0) return {DDS_RETCODE_NOT_ENABLED};
    if (token == DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE) token = nullptr;
    if (token == DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT) {
        token = *lentOut = DDS_AsyncWaitSet_loanCompletionToken(self);
        if (token == nullptr) return AWS_STEP_FAILED(DDS_RETCODE_ERROR, "loan completion token");
        token->_implicitWait = &implicitWait;
    }
    DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_submitTaskI(self, task, taskUserData, token);
    if (retCode == DDS_RETCODE_OK && *lentOut != nullptr && token->_isRequestMissing != 0) retCode = DDS_RETCODE_ERROR;
    if (retCode != DDS_RETCODE_OK) return AWS_STEP_FAILED(retCode, "DDS_AsyncWaitSet_submitTaskI");
    return {};
}

/// The wait on a lent token could not get back into the critical section, so what it could not do is done here. There
/// is a second try: one failure must not lose the token.
void keepTokenOf(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *lent, AWSImplicitWait &implicitWait)
{
    for (int left = 2; left > 0; --left) {
        if (!AWS_enterCriticalSection(self)) continue;
        lent->_implicitWait = &implicitWait;  // the wait may have succeeded and could not leave
        AWS_keepToken(self, lent);
        static_cast<void>(AWS_leaveCriticalSection(self));
        return;
    }
}

/// Give back a lent token whose submission was refused or failed: nothing will ever be told to it.
void giveBackUnused(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *token)
{
    token->_state = DDS_AsyncWaitSetCompletionTokenState_READY;
    static_cast<void>(DDS_AsyncWaitSet_returnLoanedCompletionToken(self, token));
}

}  // namespace

DDS_Task AWS_setStateOfStarted = {nullptr, DDS_AsyncWaitSetTask_setState};

DDS_ReturnCode_t DDS_AsyncWaitSet_submitTaskI(DDS_AsyncWaitSet *self, struct DDS_Task *task, void *taskUserData,
                                              DDS_AsyncWaitSetCompletionToken *completionToken)
{
    if (self == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, self);
    AWS_claimCriticalSection(self);
    if (handoffRead(self->_isStopInitiated) != 0)
        return AWS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET,
                           "cannot accept more completion tokens while the thread is stopping");
    const DDS_AsyncWaitSetThread *const thread = AWS_currentThread(self);
    if (AWS_isDeadLockRisk(self, thread))
        return AWS_DEAD_LOCK_RISK(DDS_RETCODE_PRECONDITION_NOT_MET, "WSCT", self, thread);
    if (completionToken != nullptr) {
        const AWSStep step = takeToken(self, completionToken, __func__);
        if (step.hasFailed()) return AWS_REPORT(step);
    }

    DDS_AWSTaskInfo *const taskInfo = DDS_AsyncWaitSet_getTaskInfo(self, task, taskUserData, completionToken);
    if (taskInfo == nullptr) {
        // Deliberate: with a token this is OK, and the token stays queued with nothing behind it; the mark tells those
        // who lent it. (AsyncWaitSetRequest_test: a_request_that_cannot_be_built_reports_ok_to_its_own_token)
        if (completionToken != nullptr) completionToken->_isRequestMissing = 1;
        return AWS_GET_FAILED(completionToken != nullptr ? DDS_RETCODE_OK : DDS_RETCODE_ERROR,
                              "internal task information");
    }
    const AWSStep step =
        handoffRead(self->_isStarted) != 0 ? queueRequest(self, taskInfo) : executeHere(self, taskInfo);
    if (!step.hasFailed()) return DDS_RETCODE_OK;
    static_cast<void>(AWS_REPORT(step));
    AWS_strandRequest(self, taskInfo);
    return step.retCode;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_submit_task(DDS_AsyncWaitSet *self, struct DDS_Task *task, void *taskUserData,
                                              DDS_AsyncWaitSetCompletionToken *completionToken)
{
    if (self == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, self);
    if (task == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, task);
    if (!AWS_enterCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "enter");
    AWSImplicitWait implicitWait = {};
    DDS_AsyncWaitSetCompletionToken *lent = nullptr;
    const AWSStep step = submitInside(self, task, taskUserData, completionToken, implicitWait, &lent);
    if (step.hasFailed()) {
        static_cast<void>(AWS_REPORT(step));
        if (lent != nullptr) giveBackUnused(self, lent);
    }
    if (!AWS_leaveCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "leave");
    if (step.hasFailed() || lent == nullptr) return step.retCode;

    const DDS_ReturnCode_t retCode = DDS_AsyncWaitSetCompletionToken_wait(lent, &DDS_DURATION_INFINITE);
    if (retCode != DDS_RETCODE_OK) {
        AWS_WARN("wait for request completion");
        if (implicitWait.hasOutcome == 0) {  // the wait itself failed: the token is kept, and no longer ours
            if (implicitWait.isTokenKept == 0) keepTokenOf(self, lent, implicitWait);
            return retCode;
        }
    }
    const DDS_ReturnCode_t returnCode = DDS_AsyncWaitSet_returnLoanedCompletionToken(self, lent);
    if (returnCode != DDS_RETCODE_OK) AWS_WARN("return loaned token");
    return retCode != DDS_RETCODE_OK ? retCode : returnCode;
}
