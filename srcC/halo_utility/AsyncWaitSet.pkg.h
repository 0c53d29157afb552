/// @file
/// The operations of the asynchronous wait set that are not for applications: first those for the rest of the library,
/// then those of this folder. Each says which lock it expects.
#ifndef ASYNC_WAIT_SET_PKG_H
#define ASYNC_WAIT_SET_PKG_H

#include "AsyncWaitSetRecords.pkg.h"

#ifdef __cplusplus
extern "C" {
#endif

// ---------------------------------------------------------------- object (AsyncWaitSet.cpp, AsyncWaitSetLifecycle.cpp)

/// Create with everything chosen. `compareHandler` orders the registry by the conditions' handler data; null keeps
/// attach order. @return null on failure.
DDS_API DDS_AsyncWaitSet *DDS_AsyncWaitSet_newI(DDS_DomainParticipantFactory *factory,
                                                const struct DDS_AsyncWaitSetProperty_t *awsProperty,
                                                const struct DDS_AsyncWaitSetListener *listener,
                                                const struct DDS_ThreadFactory *threadFactory,
                                                VESKOrderedDataTypeCompareWithUserDataFunction compareHandler,
                                                void *compareUserData);
/// Build a wait set in the caller's storage. @return 1, or 0 with everything released again.
int DDS_AsyncWaitSet_initialize(DDS_AsyncWaitSet *self, DDS_DomainParticipantFactory *factory,
                                DDS_AsyncWaitSetGlobals *globals, const struct DDS_AsyncWaitSetProperty_t *awsProperty,
                                const struct DDS_AsyncWaitSetListener *listener,
                                const struct DDS_ThreadFactory *threadFactory,
                                VESKOrderedDataTypeCompareWithUserDataFunction compareConditionHandler,
                                void *compareUserData);
/// Stop, detach and release whatever the record holds; also unwinds a record that was built partway.
DDS_ReturnCode_t DDS_AsyncWaitSet_finalize(DDS_AsyncWaitSet *self);
/// @return the shared plain wait set, null for null.
DDS_API DDS_WaitSet *DDS_AsyncWaitSet_get_waitsetI(DDS_AsyncWaitSet *self);

// ---------------------------------------------------------------- pool threads (AsyncWaitSetThread.cpp, ...Run.cpp)

/// @return 1, or 0 for a null argument.
int DDS_AsyncWaitSetThread_initialize(struct DDS_AsyncWaitSetThread *self, DDS_AsyncWaitSet *owner);
/// Join the thread, if any, and release what the record holds.
/// Blocks. Calls out: the thread factory.
void DDS_AsyncWaitSetThread_finalize(struct DDS_AsyncWaitSetThread *self);
/// @param threadName  17 bytes. @return 1, or 0 on failure.
DDS_API int DDS_AsyncWaitSet_create_thread_name(char *threadName, const char *threadNamePrefix, DDS_Long threadIndex);
/// Recycle the record at the index and start a thread in it. Critical section held.
/// Calls out: the thread factory.
DDS_ReturnCode_t DDS_AsyncWaitSet_createThread(DDS_AsyncWaitSet *self, DDS_Long threadIndex);
/// The body of a pool thread. @return null.
void *DDS_AsyncWaitSet_run(void *threadParam);
/// Wait at the barrier `waitCycleCount` times. Leadership given up. @return 1, or 0 on failure.
/// Blocks.
int DDS_AsyncWaitSet_waitForThreads(DDS_AsyncWaitSet *self, DDS_Long waitCycleCount);
/// Lead and report the thread. Calls out: the listener. Blocks until it leads.
void DDS_AsyncWaitSet_onThreadSpawned(DDS_AsyncWaitSet *self, struct DDS_AsyncWaitSetThread *thread);
/// Calls out: the listener. Leadership held.
void DDS_AsyncWaitSet_onWaitTimeout(DDS_AsyncWaitSet *self, struct DDS_AsyncWaitSetThread *thread);
/// Report the thread and give leadership up. Calls out: the listener.
void DDS_AsyncWaitSet_onThreadDeleted(DDS_AsyncWaitSet *self, struct DDS_AsyncWaitSetThread *thread);

// ---------------------------------------------------------------- dispatch (AsyncWaitSetDispatch.cpp)

/// Called by the one pool thread, inside its wait. Calls out: handlers.
void DDS_AsyncWaitSet_onWakeUpSingleThread(void *handlerData, struct DDS_ConditionSeq *conditionSeq);
/// Called by the leader, inside its wait; returns as leader. Calls out: one handler, with no lock held.
void DDS_AsyncWaitSet_onWakeUpThreadPool(void *handlerData, struct DDS_ConditionSeq *conditionSeq);
/// Give leadership up. @return 1, or 0 on failure.
int DDS_AsyncWaitSet_promoteNewLeader(DDS_AsyncWaitSet *self, struct DDS_AsyncWaitSetThread *thread);
/// Blocks until the calling thread leads. @return 1, or 0 on failure.
int DDS_AsyncWaitSet_becomeNewLeader(DDS_AsyncWaitSet *self, struct DDS_AsyncWaitSetThread *thread);

// ---------------------------------------------------------------- registry (AsyncWaitSetRegistry.cpp)

/// @return the condition's record, or null. Registry turn held.
DDS_API struct DDS_AWSConditionInfo *DDS_AsyncWaitSet_lookUpConditionInfo(DDS_AsyncWaitSet *self,
                                                                          DDS_Condition *condition);
/// @return whether the condition is registered. Registry turn held.
DDS_API int DDS_AsyncWaitSet_isHandlerAttached(DDS_AsyncWaitSet *self, DDS_Condition *condition);
/// Insert a prepared record in order. Registry turn held.
void DDS_AsyncWaitSet_addConditionInfo(DDS_AsyncWaitSet *self, struct DDS_AWSConditionInfo *conditionInfo);
/// Unlink a record and keep the dispatch cursor valid. Registry turn held.
void DDS_AsyncWaitSet_removeConditionInfo(DDS_AsyncWaitSet *self, struct DDS_AWSConditionInfo *conditionInfo);
/// Begin the one internal walk that a wait set can have. No attach or detach may run before it ends.
DDS_API void DDS_AsyncWaitSet_start_condition_iteratorI(DDS_AsyncWaitSet *self);
/// @return the next condition of the walk, null at the end and ever after.
DDS_API DDS_Condition *DDS_AsyncWaitSet_get_next_conditionI(DDS_AsyncWaitSet *self);

// ---------------------------------------------------------------- requests (AsyncWaitSetRequest.cpp, ...Execution.cpp)

/// @return a request record, or null when memory ended. Critical section held.
DDS_AsyncWaitSetTaskInfo *DDS_AsyncWaitSet_getTaskInfo(DDS_AsyncWaitSet *self, struct DDS_Task *task,
                                                       void *taskUserData, DDS_AsyncWaitSetCompletionToken *token);
/// Give a request record back; it must be in no list. Critical section held.
void DDS_AsyncWaitSet_returnTaskInfo(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetTaskInfo *taskInfo);
/// Queue a request, or execute it here when the wait set is not started. Critical section held.
/// Calls out: the listener, when executed here.
DDS_ReturnCode_t DDS_AsyncWaitSet_submitTaskI(DDS_AsyncWaitSet *self, struct DDS_Task *task, void *taskUserData,
                                              DDS_AsyncWaitSetCompletionToken *completionToken);
/// Submit with a token or one of the two special ones; takes the critical section itself.
/// Blocks with the implicit token until the request is done.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_submit_task(DDS_AsyncWaitSet *self, struct DDS_Task *task, void *taskUserData,
                                                      DDS_AsyncWaitSetCompletionToken *completionToken);
/// Report one execution finished; the last one completes the request. Critical section held.
DDS_ReturnCode_t DDS_AsyncWaitSet_notifyTaskExecutedI(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetTaskInfo *taskInfo);
/// The same; takes the critical section itself.
DDS_ReturnCode_t DDS_AsyncWaitSet_notify_task_executed(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetTaskInfo *taskInfo);
/// Claim and execute what is queued, then meet the other threads. On a pool thread that leads (or that just begins);
/// returns as leader unless `*pendingStopTaskOut` is set.
/// Blocks. Calls out: the listener.
DDS_ReturnCode_t DDS_AsyncWaitSet_executeInternalTasks(DDS_AsyncWaitSet *self,
                                                       struct DDS_AWSTaskInfo **pendingStopTaskOut,
                                                       struct DDS_AsyncWaitSetThread *thread);
/// Wait for the token's request. Critical section held on entry and on return, released meanwhile.
/// Blocks.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_waitForTaskExecutedI(DDS_AsyncWaitSet *self,
                                                               DDS_AsyncWaitSetCompletionToken *completionToken,
                                                               const struct DDS_Duration_t *timeout);

// ---------------------------------------------------------------- tasks (AsyncWaitSetTask.cpp)
// Executed once by every pool thread without the critical section, or by the submitting thread inside it. All return
// null and report through the token's retCode.

void *DDS_AsyncWaitSetTask_start(void *taskData, DDS_AsyncWaitSetTaskInfo *taskInfo);
void *DDS_AsyncWaitSetTask_stop(void *taskData, DDS_AsyncWaitSetTaskInfo *taskInfo);
void *DDS_AsyncWaitSetTask_attachCondition(void *taskData, DDS_AsyncWaitSetTaskInfo *taskInfo);
void *DDS_AsyncWaitSetTask_detachCondition(void *taskData, DDS_AsyncWaitSetTaskInfo *taskInfo);
void *DDS_AsyncWaitSetTask_setState(void *taskData, DDS_AsyncWaitSetTaskInfo *taskInfo);

// ---------------------------------------------------------------- tokens (AsyncWaitSetCompletionToken.cpp)

/// Lend a token, an idle one or a new one. Enters the critical section. @return null on failure.
DDS_AsyncWaitSetCompletionToken *DDS_AsyncWaitSet_loanCompletionToken(DDS_AsyncWaitSet *self);
/// Take a lent token back into the pool of idle ones. Enters the critical section.
DDS_ReturnCode_t DDS_AsyncWaitSet_returnLoanedCompletionToken(DDS_AsyncWaitSet *self,
                                                              DDS_AsyncWaitSetCompletionToken *completionToken);

#ifdef __cplusplus
}
#endif

#endif
