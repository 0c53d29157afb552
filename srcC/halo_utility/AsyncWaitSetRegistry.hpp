/// @file
/// Changing the registry of attached conditions.
///
/// Who may call: whoever has the registry turn (AsyncWaitSetLocks.hpp).
#ifndef ASYNC_WAIT_SET_REGISTRY_HPP
#define ASYNC_WAIT_SET_REGISTRY_HPP

#include "AsyncWaitSetRecords.pkg.h"

extern "C" {

/// Insert a prepared record in order. Registry turn held.
void DDS_AsyncWaitSet_addConditionInfo(DDS_AsyncWaitSet *self, struct DDS_AWSConditionInfo *conditionInfo);
/// Unlink a record and keep the dispatch cursor valid. Registry turn held.
void DDS_AsyncWaitSet_removeConditionInfo(DDS_AsyncWaitSet *self, struct DDS_AWSConditionInfo *conditionInfo);

}  // extern "C"

#endif
