/// @file
/// The registry: the attached conditions in dispatch order, the dispatch cursor, and an internal walk.
///
/// Protection: the registry turn (AsyncWaitSetLocks.hpp).
#include "AsyncWaitSetRegistry.hpp"

#include "AsyncWaitSet.pkg.h"
#include "AsyncWaitSetLocks.hpp"
#include "AsyncWaitSetLog.hpp"
#include "halo_runtime/platform/Boundary.pkg.hpp"

AWSRegistryTurn AWS_registryTurn;

DDS_AWSConditionInfo *DDS_AsyncWaitSet_lookUpConditionInfo(DDS_AsyncWaitSet *self, DDS_Condition *condition)
{
    if (self == nullptr) return AWS_NULL(nullptr, self);
    if (condition == nullptr) return AWS_NULL(nullptr, condition);
    AWS_borrowRegistryTurn();
    for (DDS_AWSConditionInfo *info : AWS_registered(self))
        if (info->_condition == condition) return info;
    return nullptr;
}

int DDS_AsyncWaitSet_isHandlerAttached(DDS_AsyncWaitSet *self, DDS_Condition *condition)
{
    if (self == nullptr) return AWS_NULL(0, self);
    return DDS_AsyncWaitSet_lookUpConditionInfo(self, condition) != nullptr ? 1 : 0;
}

void DDS_AsyncWaitSet_addConditionInfo(DDS_AsyncWaitSet *self, DDS_AWSConditionInfo *conditionInfo)
{
    if (self == nullptr) return AWS_NULL(static_cast<void>(0), self);
    if (conditionInfo == nullptr) return AWS_NULL(static_cast<void>(0), conditionInfo);
    AWS_claimRegistryTurn(self);  // The caller's: an attach on its last execution.
    if (VESKInlineList_isNodeInList(&self->_conditionInfoList, &conditionInfo->_node) != 0)
        return AWS_PRECONDITION(static_cast<void>(0),
                                "VESKInlineList_isNodeInList(&self->_conditionInfoList, handlerInfoAsNode)");

    for (DDS_AWSConditionInfo *info : AWS_registered(self)) {
        const void *const newData = DDS_Condition_get_handler(conditionInfo->_condition).handler_data;
        const void *const data = DDS_Condition_get_handler(info->_condition).handler_data;
        const int order = platform::callOut("compare function", "wait set", self, [&] {
            return self->_compareConditionHandler(newData, data, self->_compareUserData);
        });
        if (order < 0)
            return VESKInlineList_addNodeBeforeEA(&self->_conditionInfoList, &info->_node, &conditionInfo->_node);
    }
    VESKInlineList_addNodeToBackEA(&self->_conditionInfoList, &conditionInfo->_node);
}

void DDS_AsyncWaitSet_removeConditionInfo(DDS_AsyncWaitSet *self, DDS_AWSConditionInfo *conditionInfo)
{
    if (self == nullptr) return AWS_NULL(static_cast<void>(0), self);
    if (conditionInfo == nullptr) return AWS_NULL(static_cast<void>(0), conditionInfo);
    AWS_claimRegistryTurn(self);  // The caller's: an attach or detach on its last execution.
    if (VESKInlineList_isNodeInList(&self->_conditionInfoList, &conditionInfo->_node) == 0)
        return AWS_PRECONDITION(static_cast<void>(0),
                                "!VESKInlineList_isNodeInList( &self->_conditionInfoList, &conditionInfo->_node)");

    if (self->_nextConditionInfo == conditionInfo) self->_nextConditionInfo = AWS_Registered::next(conditionInfo);
    VESKInlineList_removeNodeEA(&self->_conditionInfoList, &conditionInfo->_node);
}

void DDS_AsyncWaitSet_start_condition_iteratorI(DDS_AsyncWaitSet *self)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(static_cast<void>(0), self);
    AWS_borrowRegistryTurn();
    self->_conditionIterator = AWS_registered(self).first();
}

DDS_Condition *DDS_AsyncWaitSet_get_next_conditionI(DDS_AsyncWaitSet *self)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(nullptr, self);
    AWS_borrowRegistryTurn();
    const DDS_AWSConditionInfo *const info = self->_conditionIterator;
    if (info == nullptr) return nullptr;
    self->_conditionIterator = AWS_Registered::next(info);
    return info->_condition;
}
