/// @file
/// The plain wait set: making it, deleting it, its property, and the queries for the application.
///
/// Protection: see DDS_WaitSet.hpp.
#include "DDS_WaitSet.hpp"

#include <new>

#include "../zyl/ZYLOsapiHeap.pkg.h"
#include "DDS_ConditionSeq.hpp"
#include "DDS_Duration.pkg.h"
#include "DDS_Log.hpp"
#include "DDS_WaitSet.pkg.h"

const struct DDS_WaitSetProperty_t DDS_WAITSET_PROPERTY_DEFAULT = {
    1, {DDS_DURATION_INFINITE_SEC, DDS_DURATION_INFINITE_NSEC}};

namespace {

/// The name of the field that breaks its rule, or null when the property is good.
const char *badFieldOf(const DDS_WaitSetProperty_t &property)
{
    if (property.max_event_count < 1) return "max_event_count";
    if (DDS_Duration_is_valid_timeout(&property.max_event_delay) == 0) return "max_event_delay";
    return nullptr;
}

void installProperty(DDS_WaitSet *self, const DDS_WaitSetProperty_t &property) ZYL_REQUIRES(self->_eventMutex)
{
    self->_property = property;
    self->_maxEventDelay_ns = DDS_Duration_to_ns(&property.max_event_delay);
}

}  // namespace

DDS_WaitSet *DDS_WaitSet_newI(DDS_DomainParticipantFactory * /*factory*/, DDS_Long maxEventCount,
                              const struct DDS_Duration_t *maxEventDelay)
{
    if (maxEventDelay == nullptr) return DDS_FAILED_AS(nullptr, DDS_LOG_BAD_PARAMETER_s, "max_event_delay");
    const DDS_WaitSetProperty_t property = {maxEventCount, *maxEventDelay};
    const char *const badField = badFieldOf(property);
    if (badField != nullptr) return DDS_FAILED_AS(nullptr, DDS_LOG_BAD_PARAMETER_s, badField);

    void *const block = ZYLOsapiHeap_allocateStructure<DDS_WaitSet>("DDS_WaitSet");
    if (block == nullptr) return DDS_CREATE_FAILED(nullptr, "DDS_WaitSet");
    auto *const self = new (block) DDS_WaitSet{};
    ZYLPlatform_initMutex(self->_attachMutex, "wait set attachments");
    ZYLPlatform_initMutex(self->_eventMutex, "wait set events");
    const platform::Lock lock(self->_eventMutex);
    installProperty(self, property);
    return self;
}

DDS_WaitSet *DDS_WaitSet_new(void)
{
    return DDS_WaitSet_new_with_property(&DDS_WAITSET_PROPERTY_DEFAULT);
}

DDS_WaitSet *DDS_WaitSet_new_with_property(const struct DDS_WaitSetProperty_t *property)
{
    if (property == nullptr) return DDS_BAD_PARAMETER(nullptr, property);
    return DDS_WaitSet_newI(DDS_DomainParticipantFactory_get_instance(), property->max_event_count,
                            &property->max_event_delay);
}

DDS_ReturnCode_t DDS_WaitSet_delete(DDS_WaitSet *self)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    // A wait that returned OK and was not ended has nobody inside, so it does not stand in the way.
    if (handoffRead(self->_waitState) == DDS_WAIT_SET_WAITING)
        return DDS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET, "a wait set in which a thread waits cannot be deleted");
    DDS_WaitSet_detachAllI(self);
    ZYLPlatform_destroyMutex(self->_eventMutex);
    ZYLPlatform_destroyMutex(self->_attachMutex);
    ZYLOsapiHeap_freeStructure(self);
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_WaitSet_set_property(DDS_WaitSet *self, const struct DDS_WaitSetProperty_t *property)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (property == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, property);
    const char *const badField = badFieldOf(*property);
    if (badField != nullptr) return DDS_FAILED_AS(DDS_RETCODE_BAD_PARAMETER, DDS_LOG_BAD_PARAMETER_s, badField);

    DDS_WaitSetWakeList wakes;
    const platform::Lock lock(self->_eventMutex);
    installProperty(self, *property);
    wakes.add(DDS_WaitSet_takeSleeperI(self));
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_WaitSet_get_property(DDS_WaitSet *self, struct DDS_WaitSetProperty_t *property)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (property == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, property);
    const platform::Lock lock(self->_eventMutex);
    *property = self->_property;
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_WaitSet_get_conditions(DDS_WaitSet *self, struct DDS_ConditionSeq *attached_conditions)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (attached_conditions == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, attached_conditions);

    int count = DDS_WaitSet_start_conditions_iteratorI(self, 0);
    bool isFilled = true;
    while (isFilled && !DDS_ConditionSeq_hasRoomI(attached_conditions, count)) {
        // Not during the walk: a sequence that cannot grow says so, and no sink is called under the attach mutex.
        DDS_WaitSet_end_conditions_iteratorI(self);
        isFilled = DDS_ConditionSeq_ensure_length(attached_conditions, count, count) != DDS_BOOLEAN_FALSE;
        count = DDS_WaitSet_start_conditions_iteratorI(self, 0);
    }
    isFilled = isFilled && DDS_ConditionSeq_set_length(attached_conditions, static_cast<DDS_UnsignedLong>(count)) !=
                               DDS_BOOLEAN_FALSE;
    for (DDS_Long i = 0; isFilled && i < count; ++i) {
        DDS_Condition_ptr *const element = DDS_ConditionSeq_get_reference(attached_conditions, i);
        isFilled = element != nullptr;
        if (isFilled) *element = DDS_WaitSet_get_next_conditionI(self, 0);
    }
    DDS_WaitSet_end_conditions_iteratorI(self);
    if (!isFilled) return DDS_FAILED(DDS_RETCODE_OUT_OF_RESOURCES, "ensure length of attached conditions sequence");
    return DDS_RETCODE_OK;
}
