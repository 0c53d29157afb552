/// @file
/// What the rest of the library may call beside the public operations. Each says which lock it expects. The operations
/// of this folder's own are in a header for each subject beside this one.
#ifndef ASYNC_WAIT_SET_PKG_H
#define ASYNC_WAIT_SET_PKG_H

#include "AsyncWaitSetRecords.pkg.h"

#ifdef __cplusplus
extern "C" {
#endif

// ---------------------------------------------------------------- object

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
/// @param threadName  17 bytes. @return 1, or 0 on failure.
DDS_API int DDS_AsyncWaitSet_create_thread_name(char *threadName, const char *threadNamePrefix, DDS_Long threadIndex);

// ---------------------------------------------------------------- registry

/// @return the condition's record, or null. Registry turn held.
DDS_API struct DDS_AWSConditionInfo *DDS_AsyncWaitSet_lookUpConditionInfo(DDS_AsyncWaitSet *self,
                                                                          DDS_Condition *condition);
/// @return whether the condition is registered. Registry turn held.
DDS_API int DDS_AsyncWaitSet_isHandlerAttached(DDS_AsyncWaitSet *self, DDS_Condition *condition);
/// Begin the one internal walk that a wait set can have. No attach or detach may run before it ends.
DDS_API void DDS_AsyncWaitSet_start_condition_iteratorI(DDS_AsyncWaitSet *self);
/// @return the next condition of the walk, null at the end and ever after.
DDS_API DDS_Condition *DDS_AsyncWaitSet_get_next_conditionI(DDS_AsyncWaitSet *self);

// ---------------------------------------------------------------- requests

/// @return a request record, or null when memory ended. Critical section held.
DDS_AsyncWaitSetTaskInfo *DDS_AsyncWaitSet_getTaskInfo(DDS_AsyncWaitSet *self, struct DDS_Task *task,
                                                       void *taskUserData, DDS_AsyncWaitSetCompletionToken *token);
/// Give a request record back; it must be in no list. Critical section held.
void DDS_AsyncWaitSet_returnTaskInfo(DDS_AsyncWaitSet *self, DDS_AsyncWaitSetTaskInfo *taskInfo);
/// Submit with a token or one of the two special ones; takes the critical section itself.
/// Blocks with the implicit token until the request is done.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_submit_task(DDS_AsyncWaitSet *self, struct DDS_Task *task, void *taskUserData,
                                                      DDS_AsyncWaitSetCompletionToken *completionToken);
/// Wait for the token's request. Critical section held on entry and on return, released meanwhile.
/// Blocks.
DDS_API DDS_ReturnCode_t DDS_AsyncWaitSet_waitForTaskExecutedI(DDS_AsyncWaitSet *self,
                                                               DDS_AsyncWaitSetCompletionToken *completionToken,
                                                               const struct DDS_Duration_t *timeout);

#ifdef __cplusplus
}
#endif

#endif
