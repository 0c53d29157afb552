/// @file
/// The completion token's record, its state machine and the semaphore that it is made of.
///
/// Protection: a token's fields belong to its owner's critical section, except where a field says otherwise.
#ifndef ASYNC_WAIT_SET_COMPLETION_TOKEN_PKG_H
#define ASYNC_WAIT_SET_COMPLETION_TOKEN_PKG_H

#include "dds_c/dds_c_asyncwaitset.h"
#include "halo_runtime/platform/Annotations.pkg.h"
#include "halo_runtime/vesk/VESKInlineList.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiSemaphore.pkg.h"

#ifdef __cplusplus
extern "C" {
#endif

/// INVALID has the value of COUNT: it marks a forbidden transition and is never a token's state.
typedef enum DDS_AsyncWaitSetCompletionTokenState {
    DDS_AsyncWaitSetCompletionTokenState_READY = 0,
    DDS_AsyncWaitSetCompletionTokenState_QUEUED = 1,
    DDS_AsyncWaitSetCompletionTokenState_PROCESSED = 2,
    DDS_AsyncWaitSetCompletionTokenState_COUNT = 3,
    DDS_AsyncWaitSetCompletionTokenState_INVALID = 3
} DDS_AsyncWaitSetCompletionTokenState;

/// The columns of the state table.
typedef enum DDS_AsyncWaitSetCompletionTokenEvent {
    DDS_AsyncWaitSetCompletionTokenEvent_WAIT = 0,
    DDS_AsyncWaitSetCompletionTokenEvent_SUBMIT = 1,
    DDS_AsyncWaitSetCompletionTokenEvent_NOTIFY = 2,
    DDS_AsyncWaitSetCompletionTokenEvent_COUNT = 3
} DDS_AsyncWaitSetCompletionTokenEvent;

/// Next state by current state and event. Read-only.
extern const DDS_AsyncWaitSetCompletionTokenState
    DDS_AsyncWaitSet_g_CT_STATES[DDS_AsyncWaitSetCompletionTokenState_COUNT]
                                [DDS_AsyncWaitSetCompletionTokenEvent_COUNT];

typedef DDS_ReturnCode_t (*DDS_AsyncWaitSetCompletionTokenHandler_ResetFcn)(void *handlerData,
                                                                            DDS_AsyncWaitSetCompletionToken *token);
typedef DDS_ReturnCode_t (*DDS_AsyncWaitSetCompletionTokenHandler_NotifyFcn)(void *handlerData,
                                                                             DDS_AsyncWaitSetCompletionToken *token);
typedef DDS_ReturnCode_t (*DDS_AsyncWaitSetCompletionTokenHandler_WaitFcn)(void *handlerData,
                                                                           DDS_AsyncWaitSetCompletionToken *token,
                                                                           const struct ZYLNtpTime *timeout);

/// How a token blocks its waiter. `reset` and `notify` are called inside the critical section, `wait` outside.
typedef struct DDS_AsyncWaitSetCompletionTokenHandler {
    void *handlerData;
    DDS_AsyncWaitSetCompletionTokenHandler_ResetFcn reset;
    DDS_AsyncWaitSetCompletionTokenHandler_NotifyFcn notify;
    DDS_AsyncWaitSetCompletionTokenHandler_WaitFcn wait;
} DDS_AsyncWaitSetCompletionTokenHandler;

struct DDS_AsyncWaitSetCompletionTokenImpl {
    DDS_AsyncWaitSetCompletionTokenState _state;
    DDS_AsyncWaitSet *_owner;  ///< Only this wait set accepts the token; const after creation.
    int _isWaiting;            ///< 1 while a thread is blocked on the token; stays set after a failed area.
    void *_taskResult;         ///< Cleared at every submission.
    struct DDS_AsyncWaitSetCompletionTokenHandler _handler;  ///< Const after creation.
    struct VESKInlineListUserDataNode _loanedNode;           ///< Link in the owner's pool of idle tokens.
    DDS_ReturnCode_t retCode ZYL_SHARED;                     ///< Outcome of the last request, written by its task.

    unsigned _submissionCount;   ///< Tells a waiter whether its request is still the token's last one.
    int _isRequestMissing;       ///< The last submission was accepted, but its request could not be built.
    int _waiterMark ZYL_SHARED;  ///< Waiters inside, and whether the token was deleted under them.
    int _isTold;                 ///< The outcome has been told to somebody, or is nobody's: a wait reports OK.
    int _isKept;                 ///< Its wait failed or was refused: it comes home when its request is processed.
    struct AWSImplicitWait *_implicitWait;  ///< Of the short form that was lent the token and waits; else null.
};

/// The wait of a short form for its own request, on the stack of its caller. Written in the critical section.
typedef struct AWSImplicitWait {
    int hasOutcome;   ///< The wait succeeded, and its result is the request's outcome.
    int isTokenKept;  ///< It did not, and the token has been marked: it is no longer the caller's.
} AWSImplicitWait;

/// The concrete token.
typedef struct DDS_SemaphoreAsyncWaitSetCompletionToken {
    struct DDS_AsyncWaitSetCompletionTokenImpl _parent;  ///< First, so that a pointer to one is a token pointer.
    ZYLOsapiSemaphore *_semaphore;
} DDS_SemaphoreAsyncWaitSetCompletionToken;

/// @return a new READY token owned by the wait set, or null when memory ended.
DDS_AsyncWaitSetCompletionToken *DDS_SemaphoreAsyncWaitSetCompletionToken_new(DDS_AsyncWaitSet *self);
/// Free the token and its semaphore.
void DDS_SemaphoreAsyncWaitSetCompletionToken_delete(DDS_AsyncWaitSetCompletionToken *token);

extern DDS_API struct DDS_AsyncWaitSetCompletionTokenImpl
    DDS_ASYNC_WAITSET_COMPLETION_TOKEN_USE_IMPLICIT_AND_WAIT_VALUE;

#ifdef __cplusplus
}
#endif

#endif
