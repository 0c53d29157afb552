/// @file
/// What a pool thread does when its wait has ended.
///
/// Who may call: the leader, between a wait that returned OK and its end.
#ifndef ASYNC_WAIT_SET_DISPATCH_HPP
#define ASYNC_WAIT_SET_DISPATCH_HPP

#include "AsyncWaitSetRecords.pkg.h"

extern "C" {

/// Called by the one pool thread, inside its wait. Calls out: handlers.
void DDS_AsyncWaitSet_onWakeUpSingleThread(void *handlerData, struct DDS_ConditionSeq *conditionSeq);
/// Called by the leader, inside its wait; returns as leader. Calls out: one handler, with no lock held.
void DDS_AsyncWaitSet_onWakeUpThreadPool(void *handlerData, struct DDS_ConditionSeq *conditionSeq);

}  // extern "C"

#endif
