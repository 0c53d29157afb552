/// @file
/// Waiting for a request through its token: the public wait, and the wait inside the critical section behind it.
///
/// Protection: token fields belong to the owner's critical section, which is given up while the waiter sleeps.
/// Blocks.
#include "AsyncWaitSet.pkg.h"
#include "AsyncWaitSetCompletionToken.hpp"
#include "AsyncWaitSetLocks.hpp"
#include "AsyncWaitSetLog.hpp"
#include "halo_runtime/dds/DDS_Duration.pkg.h"

namespace {

/// Block on the token with the critical section given up. A step that failed with nothing to say is the wait's own
/// result. Blocks.
AWSStep sleepOnToken(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *token,
                     const struct DDS_Duration_t *timeout) ZYL_REQUIRES(self->_criticalSectionEA)
{
    if (!AWS_leaveCriticalSection(self)) {
        AWS_countAsInside(self);
        return AWS_STEP_AREA_FAILED("leave");
    }
    struct ZYLNtpTime timeoutAsNtp;
    DDS_Duration_to_ntp_time(timeout, &timeoutAsNtp);
    const DDS_ReturnCode_t retCode = token->_handler.wait(token->_handler.handlerData, token, &timeoutAsNtp);
    if (!AWS_enterCriticalSection(self)) {
        AWS_countAsInside(self);
        return AWS_STEP_AREA_FAILED("enter");
    }
    return {retCode};
}

/// A wait on the token has succeeded. Returns: the outcome, unless somebody has been told before; it is told once.
DDS_ReturnCode_t tellOutcome(DDS_AsyncWaitSetCompletionToken *token, DDS_ReturnCode_t outcome)
{
    if (token->_implicitWait != nullptr) token->_implicitWait->hasOutcome = 1;
    token->_implicitWait = nullptr;
    const bool isTold = token->_isTold != 0;
    token->_isTold = 1;
    return isTold ? DDS_RETCODE_OK : outcome;
}

}  // namespace

DDS_ReturnCode_t DDS_AsyncWaitSet_waitForTaskExecutedI(DDS_AsyncWaitSet *self,
                                                       DDS_AsyncWaitSetCompletionToken *completionToken,
                                                       const struct DDS_Duration_t *timeout)
{
    if (self == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, self);
    if (completionToken->_owner == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, completionToken->_owner);
    if (completionToken->_owner != self)
        return AWS_PRECONDITION(DDS_RETCODE_BAD_PARAMETER, "completionToken->_owner != self");
    AWS_claimCriticalSection(self);
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
    const AWSStep step = sleepOnToken(self, completionToken, timeout);
    if (step.message == nullptr) {  // back inside; otherwise the token is not this thread's to touch
        completionToken->_isWaiting = 0;
        if (!step.hasFailed() && completionToken->_submissionCount == submission) completionToken->_state = nextState;
    }
    AWS_stepOutsideToken(completionToken);
    return AWS_REPORT(step);
}

DDS_ReturnCode_t DDS_AsyncWaitSetCompletionToken_wait(DDS_AsyncWaitSetCompletionToken *completion_token,
                                                      const struct DDS_Duration_t *timeout)
{
    if (completion_token == nullptr || AWS_isSentinel(completion_token))
        return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, completion_token);
    if (timeout == nullptr || DDS_Duration_is_valid_timeout(timeout) == 0)
        return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, timeout);
    DDS_AsyncWaitSet *const self = completion_token->_owner;
    if (self == nullptr) return AWS_PRECONDITION(DDS_RETCODE_BAD_PARAMETER, "completionToken->_owner == ((void *)0)");
    if (!AWS_enterCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "enter");

    AWS_stepInsideToken(completion_token);
    const unsigned submission = completion_token->_submissionCount;
    const bool wasProcessed = completion_token->_state == DDS_AsyncWaitSetCompletionTokenState_PROCESSED;
    DDS_ReturnCode_t outcome = handoffRead(completion_token->retCode);  // the wait overwrites that of a processed token
    AWSImplicitWait *const implicitWait = completion_token->_implicitWait;
    DDS_ReturnCode_t retCode = DDS_AsyncWaitSet_waitForTaskExecutedI(self, completion_token, timeout);
    if (retCode == DDS_RETCODE_OK) {
        if (!wasProcessed) outcome = handoffRead(completion_token->retCode);
        if (completion_token->_submissionCount == submission) retCode = tellOutcome(completion_token, outcome);
    } else if (AWS_criticalSectionDepth(self) > 0) {
        AWS_keepToken(self, completion_token);
    }
    AWS_stepOutsideToken(completion_token);

    if (AWS_leaveCriticalSection(self)) return retCode;
    if (implicitWait != nullptr) implicitWait->hasOutcome = 0;
    return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "leave");
}
