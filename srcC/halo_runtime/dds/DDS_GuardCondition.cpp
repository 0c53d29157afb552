/// @file
/// The guard condition: the application sets its trigger value.
///
/// Protection: the condition's mutex. Setting a true value to true takes no lock.
#include "../zyl/ZYLOsapiHeap.pkg.h"
#include "DDS_Log.hpp"
#include "DDS_WaitSet.hpp"

DDS_GuardCondition *DDS_GuardCondition_new(void)
{
    auto *const self = ZYLOsapiHeap_allocateStructure<DDS_GuardCondition>("DDS_GuardCondition");
    if (self == nullptr) return DDS_CREATE_FAILED(nullptr, "DDS_GuardCondition");
    DDS_Condition_initializeI(&self->_condition);
    return self;
}

DDS_ReturnCode_t DDS_GuardCondition_delete(DDS_GuardCondition *self)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (!DDS_Condition_finalizeI(&self->_condition))
        return DDS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET, "an attached condition cannot be deleted");
    ZYLOsapiHeap_freeStructure(self);
    return DDS_RETCODE_OK;
}

DDS_Condition *DDS_GuardCondition_as_condition(DDS_GuardCondition *self)
{
    return reinterpret_cast<DDS_Condition *>(self);
}

DDS_ReturnCode_t DDS_GuardCondition_set_trigger_value(DDS_GuardCondition *self, DDS_Boolean value)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    const int wanted = value != DDS_BOOLEAN_FALSE ? 1 : 0;
    // A producer that finds the value true leaves its data to the handler that will clear it; see fenceAfterClear in
    // DDS_Condition.cpp. Clearing always takes the lock: when it returns, no wait reports the condition any more.
    if (wanted != 0 && sharedRead(self->_condition._triggerValue) != 0) return DDS_RETCODE_OK;

    DDS_WaitSetWakeList wakes;
    const platform::Lock lock(self->_condition._mutex);
    if (sharedRead(self->_condition._triggerValue) != wanted)
        DDS_Condition_changeTriggerI(&self->_condition, wanted != 0, &wakes);
    return DDS_RETCODE_OK;
}

DDS_Boolean DDS_GuardCondition_get_trigger_value(DDS_GuardCondition *self)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_BOOLEAN_FALSE, self);
    return DDS_Condition_get_trigger_value(&self->_condition);
}
