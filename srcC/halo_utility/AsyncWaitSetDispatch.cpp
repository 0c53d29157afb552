/// @file
/// Dispatch: the two wake-up handlers, and the early unlock.
///
/// The leader waits, picks one triggered condition, takes it out of the waits, gives leadership up and only then runs
/// the handler: a slow handler holds up nobody, and no condition is dispatched twice at once.
///
/// Protection: leadership for the pick and the cursor; `isLocked` is set by the leader and cleared by the thread that
/// dispatches. The mask in the shared wait set, not the mark, keeps a locked condition from waking the next leader.
/// Calls out: handlers, with no lock held.
#include "AsyncWaitSetDispatch.hpp"

#include "AsyncWaitSetLeadership.hpp"
#include "AsyncWaitSetLocks.hpp"
#include "AsyncWaitSetLog.hpp"
#include "AsyncWaitSetRegistry.hpp"

namespace {

bool isDispatchable(const DDS_AWSConditionInfo *info)
{
    return handoffRead(info->isLocked) == 0 && DDS_Condition_get_trigger_value(info->_condition) != DDS_BOOLEAN_FALSE;
}

/// What a scan of the registry found.
struct Scan {
    DDS_AWSConditionInfo *target;  ///< Null when nothing is to be dispatched.
    int examinedCount;             ///< Conditions looked at before the target.
    bool isBroken;                 ///< The registry was empty although it counts conditions.
};

/// Find the first unlocked, triggered condition from the cursor on, once around, and move the cursor behind it.
Scan pickCondition(DDS_AsyncWaitSet *self) ZYL_REQUIRES(AWS_registryTurn)
{
    const int conditionCount = self->_conditionInfoList._size;
    DDS_AWSConditionInfo *conditionInfo = self->_nextConditionInfo;
    for (int i = 0; i < conditionCount; ++i) {
        if (conditionInfo == nullptr) conditionInfo = AWS_registered(self).first();
        if (conditionInfo == nullptr) return {nullptr, i, true};
        if (isDispatchable(conditionInfo)) {
            self->_nextConditionInfo = AWS_Registered::next(conditionInfo);
            return {conditionInfo, i, false};
        }
        conditionInfo = AWS_Registered::next(conditionInfo);
    }
    return {nullptr, conditionCount, false};
}

}  // namespace

void DDS_AsyncWaitSet_onWakeUpSingleThread(void *handlerData, struct DDS_ConditionSeq *conditionSeq)
{
    static_cast<void>(conditionSeq);
    if (handlerData == nullptr) return AWS_NULL(static_cast<void>(0), handlerData);
    auto *const self = static_cast<DDS_AsyncWaitSet *>(handlerData);
    DDS_WaitSet_end_waitI(self->_sharedWaitSet);

    AWS_claimRegistryTurn(self);  // The only pool thread.
    if (AWS_registered(self).first() != nullptr) self->_threadPool[0]._hasFoundWork = 1;
    for (const DDS_AWSConditionInfo *info : AWS_registered(self))
        static_cast<void>(DDS_Condition_dispatch(info->_condition));
}

void DDS_AsyncWaitSet_onWakeUpThreadPool(void *handlerData, struct DDS_ConditionSeq *conditionSeq)
{
    static_cast<void>(conditionSeq);
    if (handlerData == nullptr) return AWS_NULL(static_cast<void>(0), handlerData);
    auto *const self = static_cast<DDS_AsyncWaitSet *>(handlerData);
    DDS_AsyncWaitSetThread *const thread = AWS_currentThread(self);
    if (thread == nullptr) return AWS_GET_FAILED(static_cast<void>(0), "AsyncWaitSet thread");

    AWS_claimRegistryTurn(self);  // The leader, inside its wake-up.
    const Scan scan = pickCondition(self);
    if (scan.isBroken) return AWS_PRECONDITION(static_cast<void>(0), "conditionInfo == ((void *)0)");
    DDS_AWSConditionInfo *const target = scan.target;
    if (target == nullptr) return DDS_WaitSet_end_waitI(self->_sharedWaitSet);

    DDS_Condition *const condition = target->_condition;
    if (DDS_WaitSet_mask_condition(self->_sharedWaitSet, condition, DDS_BOOLEAN_FALSE) != DDS_RETCODE_OK)
        AWS_WARN("lock condition");
    thread->_hasFoundWork = 1;
    thread->_lockedConditionInfo = target;
    handoffWrite(target->isLocked, 1);
    DDS_WaitSet_end_waitI(self->_sharedWaitSet);
    if (DDS_AsyncWaitSet_promoteNewLeader(self, thread) == 0) return AWS_WARN("promote new leader");

    AWS_TRACE_THREAD_AS(thread, ZYL_LOG_LEVEL_DISPATCH, "notifying condition handler at index %d\n",
                        scan.examinedCount);
    static_cast<void>(DDS_Condition_dispatch(condition));

    if (thread->_lockedConditionInfo != nullptr) {
        if (DDS_WaitSet_mask_condition(self->_sharedWaitSet, condition, DDS_BOOLEAN_TRUE) != DDS_RETCODE_OK)
            AWS_WARN("unlock condition");
        thread->_lockedConditionInfo = nullptr;
    }
    // Deliberate: cleared even after an early unlock, when another thread may have marked it since.
    // (AsyncWaitSetDispatch_test: the_lock_mark_is_cleared_after_an_early_unlock_too)
    handoffWrite(target->isLocked, 0);
    if (DDS_AsyncWaitSet_becomeNewLeader(self, thread) == 0) AWS_WARN("become leader");
}

DDS_ReturnCode_t DDS_AsyncWaitSet_unlock_condition(DDS_AsyncWaitSet *self, DDS_Condition *condition)
{
    if (self == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (condition == nullptr) return AWS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, condition);
    DDS_AsyncWaitSetThread *const thread = AWS_currentThread(self);
    if (thread == nullptr)
        return AWS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET,
                           "a condition can be unlocked only from a dispatching thread");
    DDS_AWSConditionInfo *const locked = thread->_lockedConditionInfo;
    if (locked == nullptr) return DDS_RETCODE_OK;
    // A condition can be attached to two wait sets; what is locked is locked in the thread's own.
    if (thread->_owner != self || locked->_condition != condition)
        return AWS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET, "specified condition is not being dispatched");

    const DDS_ReturnCode_t retCode = DDS_WaitSet_mask_condition(self->_sharedWaitSet, condition, DDS_BOOLEAN_TRUE);
    if (retCode != DDS_RETCODE_OK) return AWS_FAILED(retCode, "mask condition");
    handoffWrite(locked->isLocked, 0);
    thread->_lockedConditionInfo = nullptr;
    return DDS_RETCODE_OK;
}
