/// @file
/// The private records of the asynchronous wait set, every field with what protects it.
///
/// Who protects what:
/// - *critical section*: `_criticalSectionEA`, the wait set's inner lock.
/// - *leadership*: `_threadPoolSynchronizerEA`, the outer lock; with one pool thread, being that thread.
/// - *registry turn*: no lock but a right; see AsyncWaitSetLocks.hpp.
/// - *own thread*: written by the pool thread itself while it runs, by the controlling thread while none runs in it.
/// The fields after a blank line at the end of a record are this implementation's own.
#ifndef ASYNC_WAIT_SET_RECORDS_PKG_H
#define ASYNC_WAIT_SET_RECORDS_PKG_H

#include "AsyncWaitSetCompletionToken.pkg.h"
#include "AsyncWaitSetGlobals.pkg.h"
#include "halo_runtime/dds/DDS_WaitSet.pkg.h"
#include "halo_runtime/vesk/VESKExclusiveArea.pkg.h"
#include "halo_runtime/vesk/VESKFastBufferPool.pkg.h"
#include "halo_runtime/vesk/VESKInlineList.pkg.h"
#include "halo_runtime/vesk/VESKOrderedData.pkg.h"
#include "halo_runtime/vesk/VESKService.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiBarrier.pkg.h"

#ifdef __cplusplus
/// The right to walk or change the registry of conditions; AsyncWaitSetLocks.hpp says who has it.
struct ZYL_CAPABILITY("registry turn") AWSRegistryTurn {};
extern AWSRegistryTurn AWS_registryTurn;
extern "C" {
#endif

struct DDS_AWSTaskInfo;
typedef struct DDS_AWSTaskInfo DDS_AsyncWaitSetTaskInfo;
/// What every pool thread runs once for a request; the result is ignored.
typedef void *(*DDS_Task_ExecuteFcn)(void *taskData, DDS_AsyncWaitSetTaskInfo *taskInfo);

/// A task as its submitter describes it. It is copied.
typedef struct DDS_Task {
    void *taskData;
    DDS_Task_ExecuteFcn execute;
} DDS_Task;

/// A submitted request.
struct DDS_AWSTaskInfo {
    struct VESKInlineListNode _node;                    ///< Link in the queue: critical section.
    DDS_AsyncWaitSet *_owner;                           ///< Const after creation.
    struct VESKInlineListUserDataNode *_threadNodes;    ///< Entry i belongs to the pool thread of index i.
    struct DDS_Task _task;                              ///< Const after creation.
    void *_taskUserData;                                ///< Const after creation.
    uint32_t _executionCount ZYL_SHARED;                ///< Threads that claimed it; written in the critical section.
    uint32_t _notificationCount;                        ///< Executions reported finished: critical section.
    DDS_AsyncWaitSetCompletionToken *_completionToken;  ///< Whom to tell; null for nobody. Changed only before a claim.

    struct DDS_AsyncWaitSetThread *_lastClaimant ZYL_SHARED;  ///< The thread whose claim was the last one.
    int _isClaimed;                       ///< Claimed by pool threads, so `_lastClaimant` decides what is last.
    int _isInline;                        ///< Executed by the submitting thread; const once executed.
    struct VESKInlineListNode _liveNode;  ///< Link in the list of records that have not been returned.
};
typedef struct DDS_AWSTaskInfo DDS_AWSTaskInfo;

/// An attached condition.
typedef struct DDS_AWSConditionInfo {
    struct VESKInlineListNode _node;  ///< Link in the registry: registry turn.
    DDS_Condition *_condition;        ///< Not owned; const while registered.
    int isLocked ZYL_SHARED;          ///< 1 while a pool thread dispatches the condition.
} DDS_AWSConditionInfo;

/// A pool thread.
typedef struct DDS_AsyncWaitSetThread {
    DDS_AsyncWaitSet *_owner;
    char *_threadName;                                  ///< Heap string of 17 bytes; const while the thread runs.
    void *_threadHandle;                                ///< Of the thread factory; controlling thread.
    DDS_UnsignedLongLong _threadId;                     ///< Own thread.
    VESKWorker *_awsWorker;                             ///< Own thread. Ends with the thread.
    VESKWorker *_ddsWorker;                             ///< Own thread.
    DDS_Long index;                                     ///< Position in the pool; const while the thread runs.
    DDS_Long _lastRequestCount;                         ///< Requests executed since the last barrier. Own thread.
    struct DDS_AWSConditionInfo *_lockedConditionInfo;  ///< What it dispatches and has not unlocked. Own thread.

    int _mustClaimStart;                       ///< Its first claim has to hold the start request. Own thread.
    int _hasFoundWork;                         ///< Its last wake-up found a condition or a request. Own thread.
    struct DDS_AWSTaskInfo *_executedRequest;  ///< What it executes just now, or null. Own thread.
    /// From before the thread exists until it is noted as joined. Begun and ended in the critical section, or alone.
    struct VESKService _service;
} DDS_AsyncWaitSetThread;

typedef void (*DDS_AsyncWaitSetThreadHandler_OnWakeUpCallback)(void *handlerData,
                                                               struct DDS_ConditionSeq *conditionSeq);
/// What a pool thread does when its wait ended.
typedef struct DDS_AsyncWaitSetThreadHandler {
    void *handler_data;
    DDS_AsyncWaitSetThreadHandler_OnWakeUpCallback on_wake_up;
} DDS_AsyncWaitSetThreadHandler;

typedef enum DDS_AsyncWaitSetStartedStateKind {
    DDS_SUSPENDED_AWS_STARTED_STATE = 0,
    DDS_RUNNING_AWS_STARTED_STATE = 1,
    DDS_AsyncWaitSetStartedStateKind_count = 2
} DDS_AsyncWaitSetStartedStateKind;

/// Sizes of the two area names, terminator included.
#define AWS_CRITICAL_SECTION_NAME_SIZE 34
#define AWS_SYNCHRONIZER_NAME_SIZE 30

/// The wait set. "Const" is meant between creation and deletion.
struct DDS_AsyncWaitSetImpl {
    struct DDS_AsyncWaitSetProperty_t _property;  ///< Const.
    struct DDS_AsyncWaitSetListener _listener;    ///< Const.
    DDS_AsyncWaitSetGlobals *_globals;            ///< Const, not owned.
    DDS_WaitSet *_sharedWaitSet;                  ///< Const; locks by itself.
    DDS_CountingCondition *_taskCondition;        ///< Const; the doorbell. Rung in the critical section.
    struct DDS_ThreadFactory _threadFactory;      ///< Const.
    struct DDS_AsyncWaitSetThread *_threadPool;   ///< Const; the records: see there.
    VESKExclusiveArea *_criticalSectionEA;        ///< Const.
    char _criticalSectionEaName[AWS_CRITICAL_SECTION_NAME_SIZE];
    VESKExclusiveArea *_threadPoolSynchronizerEA;  ///< Const; null with one pool thread.
    char _threadPoolSynchronizerEaName[AWS_SYNCHRONIZER_NAME_SIZE];
    struct DDS_AsyncWaitSetThreadHandler _threadHandler;                               ///< Const.
    struct VESKInlineList _conditionInfoList ZYL_GUARDED_BY(AWS_registryTurn);         ///< In registry order.
    struct DDS_AWSConditionInfo *_nextConditionInfo ZYL_GUARDED_BY(AWS_registryTurn);  ///< Next scan's start.
    struct DDS_AWSConditionInfo *_conditionIterator ZYL_GUARDED_BY(AWS_registryTurn);  ///< Internal walk.
    VESKOrderedDataTypeCompareWithUserDataFunction _compareConditionHandler;           ///< Const.
    void *_compareUserData;                                                            ///< Const.
    VESKFastBufferPool *_conditionInfoPool;  ///< Const; taken from and returned to with the registry turn.
    VESKFastBufferPool *_taskInfoPool;       ///< Const; taken from and returned to in the critical section.
    struct VESKInlineList _internalTaskQueue ZYL_GUARDED_BY(_criticalSectionEA);  ///< Not yet notified by all.
    ZYLOsapiBarrier *_barrier;                                                    ///< Const; null with one thread.
    int _isStarted ZYL_SHARED;        ///< Handoff: 0 returns the registry. Written in the critical section.
    int _isStopInitiated ZYL_SHARED;  ///< Handoff. Written in the critical section.
    DDS_AsyncWaitSetStartedStateKind _runningState ZYL_SHARED;
    struct VESKInlineList _completionTokenPool ZYL_GUARDED_BY(_criticalSectionEA);  ///< Idle tokens.
    int _loanedCompletionTokenCount ZYL_SHARED;  ///< Tokens handed out; written in the critical section.

    int _queuedRequestCount ZYL_SHARED;  ///< Length of the queue, so that an idle wake-up needs no lock.
    struct VESKInlineList _liveTaskInfoList ZYL_GUARDED_BY(_criticalSectionEA);  ///< Requests not returned.
    struct VESKInlineList _starterList ZYL_GUARDED_BY(_criticalSectionEA);       ///< Starts waiting for an old pool.
    int _isPoolFailed ZYL_GUARDED_BY(_criticalSectionEA);     ///< A start failed partway; its threads rest.
    int _isPoolAbandoned ZYL_GUARDED_BY(_criticalSectionEA);  ///< A start's wait failed; its threads run.
    int _isRecovering ZYL_SHARED;                             ///< A start is retiring an old pool.
};

/// { 1, infinite }: installed on the shared wait set while requests are pending.
extern const struct DDS_WaitSetProperty_t DDS_AWS_g_IMMEDIATE_WAKEUP_WAITSET_PROPERTY;

#ifdef __cplusplus
}
#endif

#endif
