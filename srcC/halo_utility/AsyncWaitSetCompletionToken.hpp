/// @file
/// Token helpers of this folder: what a submission, a waiter and a deletion do to a token.
///
/// Protection: the critical section of the token's owner, unless a function says otherwise.
#ifndef ASYNC_WAIT_SET_COMPLETION_TOKEN_HPP
#define ASYNC_WAIT_SET_COMPLETION_TOKEN_HPP

#include "AsyncWaitSetLocks.hpp"

extern "C" {

/// Lend a token, an idle one or a new one. Enters the critical section. @return null on failure.
DDS_AsyncWaitSetCompletionToken *DDS_AsyncWaitSet_loanCompletionToken(DDS_AsyncWaitSet *self);
/// Take a lent token back into the pool of idle ones. Enters the critical section.
DDS_ReturnCode_t DDS_AsyncWaitSet_returnLoanedCompletionToken(DDS_AsyncWaitSet *self,
                                                              DDS_AsyncWaitSetCompletionToken *completionToken);

}  // extern "C"

/// Whether the token is one of the two special ones, which are known by their addresses and never looked into.
inline bool AWS_isSentinel(const DDS_AsyncWaitSetCompletionToken *token)
{
    return token == DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE ||
           token == DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT;
}

/// The idle tokens, kept for the next loan.
inline VESKUserDataListView<DDS_AsyncWaitSetCompletionToken> AWS_idleTokens(const DDS_AsyncWaitSet *self)
    ZYL_REQUIRES(self->_criticalSectionEA)
{
    return {self->_completionTokenPool};
}

/// The state that the event leads to, or INVALID.
inline DDS_AsyncWaitSetCompletionTokenState AWS_nextTokenState(const DDS_AsyncWaitSetCompletionToken *token,
                                                               DDS_AsyncWaitSetCompletionTokenEvent event)
{
    return DDS_AsyncWaitSet_g_CT_STATES[token->_state][event];
}

/// A waiter steps inside: from here on the token survives its own deletion.
void AWS_stepInsideToken(DDS_AsyncWaitSetCompletionToken *token);
/// The waiter steps outside, on every path; destroys the token if it was deleted meanwhile and no waiter is left.
/// Needs no lock, because a failed area may be the reason for stepping out.
void AWS_stepOutsideToken(DDS_AsyncWaitSetCompletionToken *token);
/// Destroy the token now, or leave it to the waiter that is inside.
void AWS_destroyToken(DDS_AsyncWaitSetCompletionToken *token);

/// Put a token back to the idle ones. Its outcome is for a waiter that is still inside, and for nobody later.
void AWS_bringHome(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *token)
    ZYL_REQUIRES(self->_criticalSectionEA);
/// The wait of a short form failed or was refused: from here on its token is nobody's. It comes home now, or with the
/// last notification of its request. Tokens that were not lent to a short form are left alone.
void AWS_keepToken(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetCompletionToken *token)
    ZYL_REQUIRES(self->_criticalSectionEA);

/// Complete a token whose request will never be executed: PROCESSED with ERROR, and its waiter told.
DDS_ReturnCode_t AWS_completeTokenWithError(DDS_AsyncWaitSetCompletionToken *token);

#endif
