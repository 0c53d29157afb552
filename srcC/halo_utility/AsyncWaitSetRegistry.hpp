/// @file
/// The registry of attached conditions: walking it, changing it.
///
/// Who may call: whoever has the registry turn (AsyncWaitSetLocks.hpp).
#ifndef ASYNC_WAIT_SET_REGISTRY_HPP
#define ASYNC_WAIT_SET_REGISTRY_HPP

#include "AsyncWaitSetLocks.hpp"

/// The attached conditions in registry order.
using AWS_Registered = VESKInlineListView<DDS_AWSConditionInfo>;
inline AWS_Registered AWS_registered(const DDS_AsyncWaitSet *self) ZYL_REQUIRES(AWS_registryTurn)
{
    return {self->_conditionInfoList};
}

extern "C" {

/// Insert a prepared record in order. Registry turn held.
void DDS_AsyncWaitSet_addConditionInfo(DDS_AsyncWaitSet *self, struct DDS_AWSConditionInfo *conditionInfo);
/// Unlink a record and keep the dispatch cursor valid. Registry turn held.
void DDS_AsyncWaitSet_removeConditionInfo(DDS_AsyncWaitSet *self, struct DDS_AWSConditionInfo *conditionInfo);

}  // extern "C"

#endif
