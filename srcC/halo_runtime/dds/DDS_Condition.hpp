/// @file
/// The condition records and what this folder does with them.
///
/// Protection: the condition's mutex; each field says so. The locks of this folder and their order are described in
/// DDS_WaitSet.hpp.
#ifndef DDS_CONDITION_HPP
#define DDS_CONDITION_HPP

#include "../zyl/ZYLShared.pkg.hpp"
#include "dds_c/dds_c_condition.h"

struct DDS_WaitSetAttachment;
class DDS_WaitSetWakeList;

/// The part that every condition begins with.
struct DDS_Condition {
    platform::Mutex _mutex;
    /// One for each wait set that it is attached to.
    DDS_WaitSetAttachment *_attachments ZYL_GUARDED_BY(_mutex) = nullptr;
    /// Handoff: who sees it true sees what came before. Written under `_mutex`.
    int _triggerValue ZYL_SHARED = 0;
    /// Handoff: odd while the handler is being replaced. Written under `_mutex`.
    int _handlerVersion ZYL_SHARED = 0;
    /// Handoff, see DDS_Condition_get_handler. Written under `_mutex`.
    void *_handlerData ZYL_SHARED = nullptr;
    /// As `_handlerData`.
    DDS_ConditionHandler_OnConditionTriggeredCallback _onTriggered ZYL_SHARED = nullptr;
    /// That it was dispatched without a handler has been reported.
    int _isMissingHandlerReported ZYL_SHARED = 0;
};

struct DDS_GuardCondition {
    DDS_Condition _condition;  ///< First, so that the record is a condition.
};

struct DDS_CountingCondition {
    DDS_Condition _condition;  ///< First, so that the record is a condition.
    int _count ZYL_SHARED;     ///< Its own value only. Written under the condition's mutex.
};

/// Make a condition out of fresh memory: not triggered, no handler, attached nowhere.
void DDS_Condition_initializeI(DDS_Condition *self);

/// End a condition that is attached nowhere.
/// Returns: false, with nothing changed, when it is attached.
bool DDS_Condition_finalizeI(DDS_Condition *self) ZYL_EXCLUDES(self->_mutex);

/// Change the trigger value and tell the wait sets. A value of true counts as one event, also when it was true before.
/// Sleepers that have to wake are added to `wakes`.
void DDS_Condition_changeTriggerI(DDS_Condition *self, bool isTriggered, DDS_WaitSetWakeList *wakes)
    ZYL_REQUIRES(self->_mutex);

#endif
