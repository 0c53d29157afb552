/// @file
/// What can be asked of a wait set at any time: whether it is started, its property, its conditions, its plain wait
/// set.
///
/// Protection: none needed. Property and shared wait set are const after creation, `_isStarted` is a handoff, and the
/// conditions are read from the plain wait set, which locks by itself.
#include "AsyncWaitSet.pkg.h"
#include "AsyncWaitSetLocks.hpp"
#include "AsyncWaitSetLog.hpp"

DDS_Boolean DDS_AsyncWaitSet_is_started(DDS_AsyncWaitSet *self)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_BOOLEAN_FALSE, self);
    return handoffRead(self->_isStarted) != 0 ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_get_property(DDS_AsyncWaitSet *self, struct DDS_AsyncWaitSetProperty_t *property)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (property == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, property);
    if (DDS_AsyncWaitSetProperty_t_copy(property, &self->_property) == nullptr)
        return AWS_FAILED(DDS_RETCODE_ERROR, "copy property");
    return DDS_RETCODE_OK;
}

DDS_WaitSet *DDS_AsyncWaitSet_get_waitsetI(DDS_AsyncWaitSet *self)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(nullptr, self);
    return self->_sharedWaitSet;
}

DDS_ReturnCode_t DDS_AsyncWaitSet_get_conditions(DDS_AsyncWaitSet *self, struct DDS_ConditionSeq *attached_conditions)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (attached_conditions == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, attached_conditions);

    static_cast<void>(DDS_ConditionSeq_set_length(attached_conditions, 0));
    DDS_ReturnCode_t retCode = DDS_RETCODE_OK;
    const int attachedCount = DDS_WaitSet_start_conditions_iteratorI(self->_sharedWaitSet, 0);
    if (attachedCount > 0 && DDS_ConditionSeq_set_maximum(attached_conditions, attachedCount) == DDS_BOOLEAN_FALSE)
        retCode = AWS_FAILED(DDS_RETCODE_ERROR, "set maximum in attach_conditions sequence");

    const DDS_Condition *const doorbell = DDS_CountingCondition_as_condition(self->_taskCondition);
    DDS_UnsignedLong count = 0;
    while (attachedCount > 0 && retCode == DDS_RETCODE_OK) {
        DDS_Condition *const condition = DDS_WaitSet_get_next_conditionI(self->_sharedWaitSet, 0);
        if (condition == nullptr) break;
        if (condition == doorbell) continue;
        if (DDS_ConditionSeq_set_length(attached_conditions, count + 1) == DDS_BOOLEAN_FALSE) {
            retCode = AWS_FAILED(DDS_RETCODE_ERROR, "ensure length in attach_conditions sequence");
            break;
        }
        DDS_Condition_ptr *const currentCondition =
            DDS_ConditionSeq_get_reference(attached_conditions, static_cast<DDS_Long>(count));
        if (currentCondition == nullptr) {
            retCode = AWS_NULL(DDS_RETCODE_ERROR, currentCondition);
            break;
        }
        *currentCondition = condition;
        count += 1;
    }
    DDS_WaitSet_end_conditions_iteratorI(self->_sharedWaitSet);
    return retCode;
}
