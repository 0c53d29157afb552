/// @file
/// The plain wait set's operations for the rest of the library.
#ifndef DDS_WAIT_SET_PKG_H
#define DDS_WAIT_SET_PKG_H

#include "DDS_DomainParticipantFactory.pkg.h"
#include "dds_c/dds_c_waitset.h"

#ifdef __cplusplus
extern "C" {
#endif

/// @return a wait set, or null for a bad property or when memory ended.
DDS_WaitSet *DDS_WaitSet_newI(DDS_DomainParticipantFactory *factory, DDS_Long maxEventCount,
                              const struct DDS_Duration_t *maxEventDelay);

/// Switch an attached condition in (true) or out (false) of the waits. Idempotent; allowed at any time, also between a
/// wait and its end. A condition that is triggered when it is switched in ends a wait that is already blocked.
/// @retval DDS_RETCODE_OK                    done.
/// @retval DDS_RETCODE_BAD_PARAMETER         a null argument.
/// @retval DDS_RETCODE_PRECONDITION_NOT_MET  not attached to this wait set.
DDS_ReturnCode_t DDS_WaitSet_mask_condition(DDS_WaitSet *self, DDS_Condition *condition, DDS_Boolean takesPart);

/// Wait. After DDS_RETCODE_OK the wait set stays in the woken state, in which nobody can wait, until
/// DDS_WaitSet_end_waitI; after any other code the wait is closed. Results as for DDS_WaitSet_wait.
/// Blocks.
DDS_ReturnCode_t DDS_WaitSet_waitI(DDS_WaitSet *self, struct DDS_ConditionSeq *activeConditions,
                                   const struct DDS_Duration_t *timeout);
/// Close a wait that returned DDS_RETCODE_OK.
void DDS_WaitSet_end_waitI(DDS_WaitSet *self);

/// Begin a walk over the attached conditions; nothing is attached or detached before
/// DDS_WaitSet_end_conditions_iteratorI. Triggers, masks and waits go on meanwhile. `reserved` is 0.
/// @return how many are attached.
int DDS_WaitSet_start_conditions_iteratorI(DDS_WaitSet *self, int reserved);
/// @return the next condition of the walk, null at the end.
DDS_Condition *DDS_WaitSet_get_next_conditionI(DDS_WaitSet *self, int reserved);
/// End the walk.
void DDS_WaitSet_end_conditions_iteratorI(DDS_WaitSet *self);

/// @return a counting condition with count 0, or null when memory ended.
DDS_CountingCondition *DDS_CountingCondition_newI(DDS_DomainParticipantFactory *factory);

#ifdef __cplusplus
}
#endif

#endif
