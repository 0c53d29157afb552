/// @file
/// The counting condition: triggered exactly while its count is above 0; each increment is an event.
///
/// Protection: the condition's mutex. The count is read without a lock.
#include "../zyl/ZYLOsapiHeap.pkg.h"
#include "DDS_Log.hpp"
#include "DDS_WaitSet.hpp"
#include "DDS_WaitSet.pkg.h"

DDS_CountingCondition *DDS_CountingCondition_newI(DDS_DomainParticipantFactory * /*factory*/)
{
    auto *const self = ZYLOsapiHeap_allocateStructure<DDS_CountingCondition>("DDS_CountingCondition");
    if (self == nullptr) return DDS_CREATE_FAILED(nullptr, "DDS_CountingCondition");
    DDS_Condition_initializeI(&self->_condition);
    self->_count = 0;
    return self;
}

DDS_CountingCondition *DDS_CountingCondition_new(void)
{
    return DDS_CountingCondition_newI(DDS_DomainParticipantFactory_get_instance());
}

DDS_ReturnCode_t DDS_CountingCondition_delete(DDS_CountingCondition *self)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (!DDS_Condition_finalizeI(&self->_condition))
        return DDS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET, "an attached condition cannot be deleted");
    ZYLOsapiHeap_freeStructure(self);
    return DDS_RETCODE_OK;
}

DDS_Condition *DDS_CountingCondition_as_condition(DDS_CountingCondition *self)
{
    return reinterpret_cast<DDS_Condition *>(self);
}

DDS_ReturnCode_t DDS_CountingCondition_increment(DDS_CountingCondition *self, DDS_Long amount)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (amount <= 0) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, amount);
    int count = 0;
    bool isTooLarge = false;
    {
        DDS_WaitSetWakeList wakes;
        const platform::Lock lock(self->_condition._mutex);
        isTooLarge = __builtin_add_overflow(sharedRead(self->_count), amount, &count);
        if (!isTooLarge) {
            sharedWrite(self->_count, count);
            DDS_Condition_changeTriggerI(&self->_condition, true, &wakes);
        }
    }
    if (isTooLarge) return DDS_REFUSED(DDS_RETCODE_OUT_OF_RESOURCES, "the count would become too large");
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_CountingCondition_decrement(DDS_CountingCondition *self, DDS_Long amount)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (amount <= 0) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, amount);
    DDS_WaitSetWakeList wakes;
    const platform::Lock lock(self->_condition._mutex);
    const int count = sharedRead(self->_count);
    if (count == 0) return DDS_RETCODE_OK;
    sharedWrite(self->_count, count > amount ? count - amount : 0);
    if (count <= amount) DDS_Condition_changeTriggerI(&self->_condition, false, &wakes);
    return DDS_RETCODE_OK;
}

int DDS_CountingCondition_get_count(DDS_CountingCondition *self)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(0, self);
    return sharedRead(self->_count);
}
