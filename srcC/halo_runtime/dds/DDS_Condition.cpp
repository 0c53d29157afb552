/// @file
/// What all conditions have in common: trigger value, handler, dispatch.
///
/// Protection: the condition's mutex, except that trigger value and handler are read without a lock.
/// Calls out: DDS_Condition_dispatch runs the handler, with no lock held.
#include "DDS_Condition.hpp"

#include <new>

#include "../platform/Boundary.pkg.hpp"
#include "DDS_Log.hpp"
#include "DDS_WaitSet.hpp"

namespace {

/// A handler that clears the value and then takes data must see the data of a producer that still read the value as
/// true. The producer writes data, then reads the value; the handler writes the value, then reads data: one of them
/// sees the other's write only if a fence stands between the two steps on both sides. This is the handler's.
void fenceAfterClear()
{
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wtsan"  // The sanitizer does not follow fences; nothing it checks depends on this one.
#endif
    __atomic_thread_fence(__ATOMIC_SEQ_CST);
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
}

/// Whether something has been reported before; it counts as reported from here on.
bool isReportedAlready(int &mark)
{
    return sharedRead(mark) != 0 || handoffExchange(mark, 1) != 0;
}

/// Read the handler's two fields; they belong together only if nobody replaces them meanwhile.
DDS_ConditionHandler readHandlerFields(const DDS_Condition *self)
{
    return {handoffRead(self->_handlerData), handoffRead(self->_onTriggered)};
}

}  // namespace

void DDS_Condition_initializeI(DDS_Condition *self)
{
    new (self) DDS_Condition{};
    ZYLPlatform_initMutex(self->_mutex, "condition");
}

bool DDS_Condition_finalizeI(DDS_Condition *self)
{
    {
        const platform::Lock lock(self->_mutex);
        if (self->_attachments != nullptr) return false;
    }
    ZYLPlatform_destroyMutex(self->_mutex);
    return true;
}

void DDS_Condition_changeTriggerI(DDS_Condition *self, bool isTriggered, DDS_WaitSetWakeList *wakes)
{
    handoffWrite(self->_triggerValue, isTriggered ? 1 : 0);
    if (!isTriggered) fenceAfterClear();
    for (DDS_WaitSetAttachment *attachment = self->_attachments; attachment != nullptr;) {
        DDS_WaitSetAttachment_claimOfCondition(attachment);
        if (!attachment->_isMasked) {
            if (isTriggered)
                wakes->add(DDS_WaitSetAttachment_addEvent(attachment));
            else
                DDS_WaitSetAttachment_withdraw(attachment);
        }
        attachment = attachment->_nextOfCondition;
    }
}

DDS_Boolean DDS_Condition_get_trigger_value(DDS_Condition *self)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_BOOLEAN_FALSE, self);
    return handoffRead(self->_triggerValue) != 0 ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
}

DDS_ReturnCode_t DDS_Condition_set_handler(DDS_Condition *self, const struct DDS_ConditionHandler *handler)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (handler == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, handler);
    bool isAttached = false;
    {
        const platform::Lock lock(self->_mutex);
        isAttached = self->_attachments != nullptr;
        if (!isAttached) {
            const int version = sharedRead(self->_handlerVersion);
            handoffWrite(self->_handlerVersion, version + 1);
            handoffWrite(self->_handlerData, handler->handler_data);
            handoffWrite(self->_onTriggered, handler->on_condition_triggered);
            handoffWrite(self->_handlerVersion, version + 2);
        }
    }
    if (isAttached)
        return DDS_REFUSED(DDS_RETCODE_PRECONDITION_NOT_MET, "the handler of an attached condition cannot be changed");
    return DDS_RETCODE_OK;
}

struct DDS_ConditionHandler DDS_Condition_get_handler(DDS_Condition *self)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_ConditionHandler{}, self);
    // The handler of an attached condition cannot change, so that every dispatch of a wait set comes through here
    // without a lock. Only who reads the handler of a detached condition while it is replaced gets into the second
    // part: whoever sees a new field also sees that the version has changed.
    const int version = handoffRead(self->_handlerVersion);
    const DDS_ConditionHandler handler = readHandlerFields(self);
    if (version % 2 == 0 && sharedRead(self->_handlerVersion) == version) return handler;

    const platform::Lock lock(self->_mutex);
    return readHandlerFields(self);
}

DDS_ReturnCode_t DDS_Condition_dispatch(DDS_Condition *self)
{
    if (self == nullptr) return DDS_BAD_PARAMETER(DDS_RETCODE_BAD_PARAMETER, self);
    if (handoffRead(self->_triggerValue) == 0) return DDS_RETCODE_OK;
    const DDS_ConditionHandler handler = DDS_Condition_get_handler(self);
    if (handler.on_condition_triggered == nullptr) {
        if (isReportedAlready(self->_isMissingHandlerReported)) return DDS_RETCODE_OK;
        return DDS_REFUSED(
            DDS_RETCODE_OK,
            "a triggered condition has no handler: it stays triggered and is dispatched again and again");
    }
    platform::callOut("on_condition_triggered", "condition", self,
                      [&] { handler.on_condition_triggered(handler.handler_data, self); });
    return DDS_RETCODE_OK;
}
