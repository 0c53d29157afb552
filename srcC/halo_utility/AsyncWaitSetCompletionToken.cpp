/// @file
/// Completion tokens: the state table, the special tokens, lending, returning, creating, deleting.
///
/// Protection: token fields and the pool of idle tokens belong to the owner's critical section, which every operation
/// here enters and leaves. A waiter blocks outside of it.
#include "AsyncWaitSetCompletionToken.hpp"

#include "AsyncWaitSetLocks.hpp"
#include "AsyncWaitSetLog.hpp"

namespace {

#define AWS_STATE(state_) DDS_AsyncWaitSetCompletionTokenState_##state_

/// Bits of a token's waiter mark: whether it was deleted, and the number of waiter frames inside.
constexpr int deletedMark = 1;
constexpr int oneWaiter = 2;

struct DDS_AsyncWaitSetCompletionTokenImpl DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE_VALUE = {};

}  // namespace

// Columns: wait, submit, notify.
const DDS_AsyncWaitSetCompletionTokenState
    DDS_AsyncWaitSet_g_CT_STATES[DDS_AsyncWaitSetCompletionTokenState_COUNT]
                                [DDS_AsyncWaitSetCompletionTokenEvent_COUNT] = {
                                    {AWS_STATE(INVALID), AWS_STATE(QUEUED), AWS_STATE(INVALID)},       // READY
                                    {AWS_STATE(PROCESSED), AWS_STATE(INVALID), AWS_STATE(PROCESSED)},  // QUEUED
                                    {AWS_STATE(PROCESSED), AWS_STATE(QUEUED), AWS_STATE(INVALID)},     // PROCESSED
};

struct DDS_AsyncWaitSetCompletionTokenImpl DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT_VALUE = {};

DDS_AsyncWaitSetCompletionToken *const DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE =
    &DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE_VALUE;
DDS_AsyncWaitSetCompletionToken *const DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT =
    &DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT_VALUE;

void AWS_stepInsideToken(DDS_AsyncWaitSetCompletionToken *token)
{
    static_cast<void>(handoffAdd(token->_waiterMark, oneWaiter));
}

void AWS_stepOutsideToken(DDS_AsyncWaitSetCompletionToken *token)
{
    if (handoffAdd(token->_waiterMark, -oneWaiter) == deletedMark)
        DDS_SemaphoreAsyncWaitSetCompletionToken_delete(token);
}

void AWS_destroyToken(DDS_AsyncWaitSetCompletionToken *token)
{
    if (handoffAdd(token->_waiterMark, deletedMark) == deletedMark)
        DDS_SemaphoreAsyncWaitSetCompletionToken_delete(token);
}

void AWS_bringHome(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *token)
{
    token->_isWaiting = 0;
    token->_isKept = 0;
    token->_implicitWait = nullptr;
    VESKInlineListNode *const node = &token->_loanedNode.node;
    if (VESKInlineList_isNodeInList(&self->_completionTokenPool, node) != 0) return;
    VESKInlineList_addNodeToBackEA(&self->_completionTokenPool, node);
    static_cast<void>(handoffAdd(self->_loanedCompletionTokenCount, -1));
}

void AWS_keepToken(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *token)
{
    if (token->_implicitWait == nullptr) return;
    token->_implicitWait->isTokenKept = 1;
    token->_implicitWait = nullptr;
    token->_isKept = 1;
    if (token->_state == DDS_AsyncWaitSetCompletionTokenState_PROCESSED) AWS_bringHome(self, token);
}

DDS_ReturnCode_t AWS_completeTokenWithError(DDS_AsyncWaitSetCompletionToken *token)
{
    handoffWrite(token->retCode, DDS_RETCODE_ERROR);
    token->_state = DDS_AsyncWaitSetCompletionTokenState_PROCESSED;
    return token->_handler.notify(token->_handler.handlerData, token);
}

DDS_AsyncWaitSetCompletionToken *DDS_AsyncWaitSet_loanCompletionToken(DDS_AsyncWaitSet *self)
{
    if (self == nullptr) return AWS_NULL(nullptr, self);
    if (!AWS_enterCriticalSection(self)) return AWS_AREA_FAILED(nullptr, "enter");

    DDS_AsyncWaitSetCompletionToken *token = AWS_idleTokens(self).first();
    if (token != nullptr) {
        VESKInlineList_removeNodeEA(&self->_completionTokenPool, &token->_loanedNode.node);
        token->_isTold = 1;  // what it was used for before is nobody's business
    } else {
        token = DDS_SemaphoreAsyncWaitSetCompletionToken_new(self);
        if (token == nullptr)
            token = AWS_FAILED_AS(nullptr, ZYL_LOG_CREATION_FAILURE_s, "DDS_AsyncWaitSetCompletionToken");
    }
    if (token != nullptr) static_cast<void>(handoffAdd(self->_loanedCompletionTokenCount, 1));

    // Deliberate: a token that was counted as lent is lost when the area cannot be left.
    // (AsyncWaitSetCompletionToken_test: a_loan_that_cannot_leave_the_area_returns_null_and_counts)
    if (!AWS_leaveCriticalSection(self)) return AWS_AREA_FAILED(nullptr, "leave");
    return token;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_returnLoanedCompletionToken(DDS_AsyncWaitSet *self,
                                                              DDS_AsyncWaitSetCompletionToken *completionToken)
{
    if (self == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, self);
    if (completionToken == nullptr) return AWS_NULL(DDS_RETCODE_BAD_PARAMETER, completionToken);
    if (!AWS_enterCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "enter");

    DDS_ReturnCode_t retCode = DDS_RETCODE_OK;
    if (completionToken->_owner != self) {
        retCode = AWS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET,
                              "the specified completion token was not loaned from this AsyncWaitSet");
    } else if (completionToken->_state == DDS_AsyncWaitSetCompletionTokenState_QUEUED) {
        retCode = AWS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET,
                              "completion token cannot be returned for reuse or deletion.\n"
                              "It is associated with a task pending processing.");
    } else {
        AWS_bringHome(self, completionToken);
    }

    if (!AWS_leaveCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "leave");
    return retCode;
}

DDS_AsyncWaitSetCompletionToken *DDS_AsyncWaitSet_create_completion_token(DDS_AsyncWaitSet *self)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(nullptr, self);
    if (!AWS_enterCriticalSection(self)) return AWS_AREA_FAILED(nullptr, "enter");
    DDS_AsyncWaitSetCompletionToken *token = DDS_AsyncWaitSet_loanCompletionToken(self);
    if (token == nullptr) token = AWS_FAILED(nullptr, "loan completion token");
    if (!AWS_leaveCriticalSection(self)) return AWS_AREA_FAILED(nullptr, "leave");
    return token;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_delete_completion_token(DDS_AsyncWaitSet *self,
                                                          DDS_AsyncWaitSetCompletionToken *completion_token)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (completion_token == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, completion_token);
    if (AWS_isSentinel(completion_token)) return DDS_RETCODE_OK;
    if (!AWS_enterCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "enter");

    DDS_ReturnCode_t retCode = DDS_RETCODE_OK;
    if (DDS_AsyncWaitSet_returnLoanedCompletionToken(self, completion_token) != DDS_RETCODE_OK) {
        retCode = AWS_FAILED(DDS_RETCODE_PRECONDITION_NOT_MET, "return loaned completion");
    } else {
        VESKInlineList_removeNodeEA(&self->_completionTokenPool, &completion_token->_loanedNode.node);
        AWS_destroyToken(completion_token);
    }

    if (!AWS_leaveCriticalSection(self)) return AWS_AREA_FAILED(DDS_RETCODE_ERROR, "leave");
    return retCode;
}
