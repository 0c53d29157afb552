/// @file
/// Conditions: what a wait set waits for. A condition has a trigger value and, for the asynchronous wait set, a
/// handler.
///
/// Every operation is thread-safe unless its comment says otherwise. No operation calls application code except
/// `DDS_Condition_dispatch`.
#ifndef DDS_C_CONDITION_H
#define DDS_C_CONDITION_H

#include "dds_c_common.h"
#include "generic/dds_c_sequence_TSeq.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Anything with a trigger value that can be attached to wait sets. Opaque; guard and counting conditions begin with
/// it.
typedef struct DDS_Condition DDS_Condition;
/// Element of DDS_ConditionSeq.
typedef DDS_Condition *DDS_Condition_ptr;
/// A condition whose trigger value the application sets.
typedef struct DDS_GuardCondition DDS_GuardCondition;
/// A condition that is triggered exactly while its count is above 0.
typedef struct DDS_CountingCondition DDS_CountingCondition;

/// Called when a triggered condition is dispatched.
typedef void (*DDS_ConditionHandler_OnConditionTriggeredCallback)(void *handler_data, DDS_Condition *condition);

/// What a condition runs when it is dispatched.
typedef struct DDS_ConditionHandler {
    void *handler_data;  ///< Context of the handler, passed back; also the key that orders conditions in a registry.
    /// May be null: dispatch does nothing then, and says so once; in a started wait set such a condition is dispatched
    /// again and again as long as it is triggered.
    DDS_ConditionHandler_OnConditionTriggeredCallback on_condition_triggered;
} DDS_ConditionHandler;

/// Sequence of condition pointers.
DDS_SEQUENCE(DDS_ConditionSeq, DDS_Condition_ptr);

/// @return the current trigger value; false for null.
/// Lock-free. A value read here may have changed when the caller looks at it.
DDS_API DDS_Boolean DDS_Condition_get_trigger_value(DDS_Condition *self);

/// Install the handler; a copy of the record is kept.
///
/// @param self     not null.
/// @param handler  not null; its `handler_data` must outlive the condition or the next handler.
/// @retval DDS_RETCODE_OK                    installed.
/// @retval DDS_RETCODE_BAD_PARAMETER         a null argument.
/// @retval DDS_RETCODE_PRECONDITION_NOT_MET  the condition is attached to a wait set; nothing changed.
DDS_API DDS_ReturnCode_t DDS_Condition_set_handler(DDS_Condition *self, const struct DDS_ConditionHandler *handler);

/// @return a copy of the handler; both fields null when none was installed or `self` is null.
DDS_API struct DDS_ConditionHandler DDS_Condition_get_handler(DDS_Condition *self);

/// Run the handler on the calling thread if the condition is triggered; otherwise do nothing.
///
/// The trigger value has level semantics: a condition that its handler leaves triggered will be dispatched again. A
/// handler therefore sets the value to false *before* it takes the data that the value stands for.
/// Calls out: the handler, with no lock of the library held.
/// @retval DDS_RETCODE_OK             the handler ran, or there was nothing to do.
/// @retval DDS_RETCODE_BAD_PARAMETER  null.
DDS_API DDS_ReturnCode_t DDS_Condition_dispatch(DDS_Condition *self);

/// @return a guard condition that is not triggered and has no handler, or null when memory ended.
/// The caller owns it and gives it to DDS_GuardCondition_delete.
DDS_API DDS_GuardCondition *DDS_GuardCondition_new(void);

/// Delete a guard condition. Nobody may use it meanwhile or afterwards; that another thread still sets its trigger
/// value is the caller's fault and is not detected.
/// @retval DDS_RETCODE_OK                    deleted.
/// @retval DDS_RETCODE_BAD_PARAMETER         null.
/// @retval DDS_RETCODE_PRECONDITION_NOT_MET  still attached to a wait set; nothing changed.
DDS_API DDS_ReturnCode_t DDS_GuardCondition_delete(DDS_GuardCondition *self);

/// @return the same object as a condition; null for null.
DDS_API DDS_Condition *DDS_GuardCondition_as_condition(DDS_GuardCondition *self);

/// Set the trigger value. Setting a value that the condition already has changes nothing and wakes nobody; when it is
/// true already this costs one atomic read.
///
/// Not async-signal-safe: a signal handler must not call it. Let the handler write to a pipe that a thread reads, or
/// wait for the signal in a thread (sigwait), and set the value there.
///
/// A producer publishes its data first and sets the value then; a handler clears the value first and takes the data
/// then. With data behind a mutex nothing is ever missed. A lock-free producer places a sequentially consistent fence
/// between publishing and this call.
/// @retval DDS_RETCODE_OK             set.
/// @retval DDS_RETCODE_BAD_PARAMETER  null.
DDS_API DDS_ReturnCode_t DDS_GuardCondition_set_trigger_value(DDS_GuardCondition *self, DDS_Boolean value);

/// @return the current trigger value; false for null.
DDS_API DDS_Boolean DDS_GuardCondition_get_trigger_value(DDS_GuardCondition *self);

/// @return the same object as a condition; null for null.
DDS_API DDS_Condition *DDS_CountingCondition_as_condition(DDS_CountingCondition *self);

/// @return a counting condition with count 0, or null when memory ended.
DDS_API DDS_CountingCondition *DDS_CountingCondition_new(void);

/// Add to the count. Every increment is one event for the wait sets that the condition is attached to.
/// @param amount  above 0.
/// @retval DDS_RETCODE_OK                added.
/// @retval DDS_RETCODE_BAD_PARAMETER     null, or an amount that is not positive.
/// @retval DDS_RETCODE_OUT_OF_RESOURCES  the count would leave the range of an int; nothing changed.
DDS_API DDS_ReturnCode_t DDS_CountingCondition_increment(DDS_CountingCondition *self, DDS_Long amount);

/// Subtract from the count, which never falls below 0.
/// @param amount  above 0.
/// @retval DDS_RETCODE_OK             subtracted, or already 0.
/// @retval DDS_RETCODE_BAD_PARAMETER  null, or an amount that is not positive.
DDS_API DDS_ReturnCode_t DDS_CountingCondition_decrement(DDS_CountingCondition *self, DDS_Long amount);

/// @return the current count; 0 for null.
DDS_API int DDS_CountingCondition_get_count(DDS_CountingCondition *self);

/// Delete a counting condition. Same results as DDS_GuardCondition_delete.
DDS_API DDS_ReturnCode_t DDS_CountingCondition_delete(DDS_CountingCondition *self);

#ifdef __cplusplus
}
#endif

#endif
