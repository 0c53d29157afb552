/// @file
/// The plain wait set: one thread blocks in it until attached conditions trigger.
///
/// A condition that is attached, unmasked and triggered is *active*. Each rise of a trigger value (and each increment
/// of a counting condition) is an event. A wait ends with OK when `max_event_count` events have gathered, or when
/// `max_event_delay` has passed since the oldest of them, or at its time-out if any condition is active; it ends at
/// once for a condition that an earlier wait already reported and that is still active.
///
/// All operations are thread-safe. One thread waits at a time.
#ifndef DDS_C_WAITSET_H
#define DDS_C_WAITSET_H

#include "dds_c_common.h"
#include "dds_c_condition.h"

#ifdef __cplusplus
extern "C" {
#endif

/// A plain wait set. Opaque.
typedef struct DDS_WaitSet DDS_WaitSet;

/// When a wait returns.
typedef struct DDS_WaitSetProperty_t {
    DDS_Long max_event_count;               ///< Events after which a wait returns; at least 1.
    struct DDS_Duration_t max_event_delay;  ///< How long a wait keeps collecting after the first event.
} DDS_WaitSetProperty_t;

/// { 1, infinite }: wake at the first event.
DDS_API extern const struct DDS_WaitSetProperty_t DDS_WAITSET_PROPERTY_DEFAULT;

/// @return a wait set with the default property, or null when memory ended.
DDS_API DDS_WaitSet *DDS_WaitSet_new(void);

/// @param property  not null; `max_event_count` at least 1, `max_event_delay` not negative and well-formed.
/// @return a wait set, or null for a bad property or when memory ended.
DDS_API DDS_WaitSet *DDS_WaitSet_new_with_property(const struct DDS_WaitSetProperty_t *property);

/// Delete a wait set; what is still attached is detached, the conditions themselves stay.
/// @retval DDS_RETCODE_OK                    deleted.
/// @retval DDS_RETCODE_BAD_PARAMETER         null.
/// @retval DDS_RETCODE_PRECONDITION_NOT_MET  a wait is in progress; nothing changed.
DDS_API DDS_ReturnCode_t DDS_WaitSet_delete(DDS_WaitSet *self);

/// Block until the wait ends.
///
/// @param active_conditions  not null; receives the active conditions. One that owns its memory and has no room for
///                           them grows at once to the number of attached conditions, or to its own bound if that is
///                           lower; if memory is short, to the number of active ones.
/// @param timeout            not null, not negative, well-formed; infinite means no limit.
/// @retval DDS_RETCODE_OK                    ended by events; the sequence is not empty.
/// @retval DDS_RETCODE_TIMEOUT               the time has passed and nothing is active; the sequence is empty.
/// @retval DDS_RETCODE_BAD_PARAMETER         a null or malformed argument.
/// @retval DDS_RETCODE_PRECONDITION_NOT_MET  another thread waits on this wait set.
/// @retval DDS_RETCODE_OUT_OF_RESOURCES      the sequence has no room for what is active, and could not be grown;
///                                           everything stays active.
/// Blocks.
DDS_API DDS_ReturnCode_t DDS_WaitSet_wait(DDS_WaitSet *self, struct DDS_ConditionSeq *active_conditions,
                                          const struct DDS_Duration_t *timeout);

/// Attach a condition, unmasked. If it is triggered this is an event. Attaching it twice changes nothing.
/// @retval DDS_RETCODE_OK                attached.
/// @retval DDS_RETCODE_BAD_PARAMETER     a null argument.
/// @retval DDS_RETCODE_OUT_OF_RESOURCES  memory ended; nothing changed.
DDS_API DDS_ReturnCode_t DDS_WaitSet_attach_condition(DDS_WaitSet *self, DDS_Condition *condition);

/// Detach a condition. A blocked wait goes on without it.
/// @retval DDS_RETCODE_OK                    detached.
/// @retval DDS_RETCODE_BAD_PARAMETER         a null argument.
/// @retval DDS_RETCODE_PRECONDITION_NOT_MET  it is not attached to this wait set.
DDS_API DDS_ReturnCode_t DDS_WaitSet_detach_condition(DDS_WaitSet *self, DDS_Condition *condition);

/// Fill a sequence with the attached conditions, in no particular order.
/// @retval DDS_RETCODE_OK                filled.
/// @retval DDS_RETCODE_BAD_PARAMETER     a null argument.
/// @retval DDS_RETCODE_OUT_OF_RESOURCES  the sequence could not be grown.
DDS_API DDS_ReturnCode_t DDS_WaitSet_get_conditions(DDS_WaitSet *self, struct DDS_ConditionSeq *attached_conditions);

/// Change the property; a blocked wait continues under the new one.
/// @retval DDS_RETCODE_OK             changed.
/// @retval DDS_RETCODE_BAD_PARAMETER  a null argument or a bad property; nothing changed.
DDS_API DDS_ReturnCode_t DDS_WaitSet_set_property(DDS_WaitSet *self, const struct DDS_WaitSetProperty_t *property);

/// Copy the property out.
/// @retval DDS_RETCODE_OK             copied.
/// @retval DDS_RETCODE_BAD_PARAMETER  a null argument.
DDS_API DDS_ReturnCode_t DDS_WaitSet_get_property(DDS_WaitSet *self, struct DDS_WaitSetProperty_t *property);

#ifdef __cplusplus
}
#endif

#endif
